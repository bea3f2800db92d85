# Completion of orxctl's command line for bash. The program itself knows what may follow; it asks the collector for
# the names of applications and resources, and says nothing when there is none.

_orxctl() {
    local line=${COMP_LINE:0:COMP_POINT} word i
    local -a words=()
    # The shell takes words apart at '=' and ':' as well: those without a blank in between belong together.
    for ((i = 0; i <= COMP_CWORD; i++)); do
        local glued=1
        [[ $line == [[:space:]]* || ${#words[@]} -eq 0 ]] && glued=
        line=${line#"${line%%[![:space:]]*}"}
        word=${COMP_WORDS[i]}
        [[ $line == "$word"* ]] || word=$line
        line=${line#"$word"}
        if [[ $glued ]]; then words[-1]+=$word; else words+=("$word"); fi
    done
    local current=${words[-1]} quote=
    [[ $current == [\'\"]* ]] && quote=${current:0:1}
    for i in "${!words[@]}"; do
        words[i]=${words[i]#[\'\"]}
        words[i]=${words[i]%[\'\"]}
    done
    mapfile -t COMPREPLY < <("${words[0]}" __complete "${words[@]:1}" 2>/dev/null)
    # Only what stands behind the last '=' or ':' is replaced, unless it is quoted.
    local kept=
    [[ ! $quote && ${words[-1]} == *[=:]* ]] && kept=${words[-1]%"${words[-1]##*[=:]}"}
    for i in "${!COMPREPLY[@]}"; do
        [[ ${COMPREPLY[i]} == *[/=] ]] && compopt -o nospace 2>/dev/null
        COMPREPLY[i]=${COMPREPLY[i]#"$kept"}
        [[ $quote ]] || printf -v "COMPREPLY[$i]" %q "${COMPREPLY[i]}"
    done
}
complete -F _orxctl orxctl
