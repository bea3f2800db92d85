#!/usr/bin/env bash
# Compares what the libraries export with the lists beside this script. A line of a list is an extended regular
# expression for whole names; every exported name must match a line, and every line some name.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=${1:?usage: exports.sh BUILD_FOLDER}
status=0
for list in "$here"/exports/*.txt; do
  library="$build/lib/$(basename "$list" .txt).so"
  [ -e "$library" ] || { echo "exports: $library is missing" >&2; status=1; continue; }
  names=$(nm -D --defined-only "$library" | awk '$2 ~ /[A-Z]/ {print $3}' | sed 's/@.*//' | sort -u)
  patterns=$(grep -v -E '^(#|$)' "$list")
  extra=$(grep -v -x -E -f <(printf '%s\n' "$patterns") <<<"$names" || true)
  if [ -n "$extra" ]; then
    echo "exports: $(basename "$library") exports what is not on its list:" >&2
    head -20 <<<"$extra" >&2
    status=1
  fi
  while read -r pattern; do
    grep -q -x -E -e "$pattern" <<<"$names" || { echo "exports: $(basename "$library") lacks $pattern" >&2; status=1; }
  done <<<"$patterns"
  echo "exports: $(basename "$library"), $(wc -l <<<"$names") names"
done
exit $status
