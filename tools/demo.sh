#!/usr/bin/env bash
# Shows the main job: programs that know nothing of monitoring run under orx-run, a collector reads what they publish
# and serves it, and orxctl shows it. On a terminal the view is drawn anew every two seconds; elsewhere it is lines.
# Ctrl-C, or --for SECONDS, stops everything. With --tail, orx-tail shows what comes over the wire, without a collector.
set -euo pipefail
usage="usage: demo.sh BUILD_FOLDER [--for SECONDS] [--domain OF_THE_PROGRAMS] [--monitoring DOMAIN] [--port N] [--tail]"
build=${1:?$usage}
shift
wrong() { printf '%s\n%s\n' "$1" "$usage" >&2; exit 2; }

domain=0
monitoring=2
port=9464
seconds=
tail=
while [ $# -gt 0 ]; do
  case "$1" in
    --for)
      [[ "${2:-}" =~ ^[0-9]{1,6}([.][0-9]{1,6})?$ ]] || wrong "--for wants a number of seconds"
      seconds=$2; shift ;;
    --domain)
      [[ "${2:-}" =~ ^[0-9]+$ ]] || wrong "--domain wants a number"
      domain=$2; shift ;;
    --monitoring)
      [[ "${2:-}" =~ ^[0-9]+$ ]] || wrong "--monitoring wants a number"
      monitoring=$2; shift ;;
    --port)
      [[ "${2:-}" =~ ^[0-9]+$ ]] || wrong "--port wants a number"
      port=$2; shift ;;
    --tail) tail=1 ;;
    *) wrong "unknown argument: $1" ;;
  esac
  shift
done
bin=$(cd "$build/bin" && pwd)
logs=$(mktemp -d "${TMPDIR:-/tmp}/orx-demo.XXXXXX")

# A child that does not end when it is asked to is killed.
children=()
names=()
stop() {
  trap - EXIT
  trap '' INT TERM HUP
  local child left
  for child in "${children[@]}"; do kill "$child" 2>/dev/null || true; done
  for left in {1..50}; do
    local alive=0
    for child in "${children[@]}"; do ! kill -0 "$child" 2>/dev/null || alive=1; done
    [ $alive = 1 ] || break
    sleep 0.1
  done
  for child in "${children[@]}"; do
    kill -KILL "$child" 2>/dev/null || true
    wait "$child" 2>/dev/null || true
  done
  rm -rf "$logs"
}
trap stop EXIT
trap 'exit 0' INT TERM HUP

# start NAME PROGRAM...: in the background, with its output in a file of that name.
start() {
  "${@:2}" </dev/null >"$logs/$1" 2>&1 &
  children+=($!)
  names+=("$1")
}

fail() {
  printf '%s\n' "$1" >&2
  [ -z "${2:-}" ] || { echo "the end of what $2 printed:"; tail -20 "$logs/$2"; } >&2
  exit 1
}

# Ends when a part did.
check_parts() {
  local i status
  for i in "${!children[@]}"; do
    kill -0 "${children[i]}" 2>/dev/null && continue
    status=0
    wait "${children[i]}" || status=$?
    fail "${names[i]} ended with status $status" "${names[i]}"
  done
}

# await WHAT COMMAND...: until the command succeeds; a minute at most.
await() {
  local deadline=$((SECONDS + 60))
  until "${@:2}"; do
    check_parts
    [ $SECONDS -lt $deadline ] || fail "$1 did not come within a minute" collector
    sleep 0.1
  done
}

now() { echo "${EPOCHREALTIME//[!0-9]/}"; } # microseconds
deadline=
begin_countdown() { [ -z "$seconds" ] || deadline=$(($(now) + $(awk "BEGIN { printf \"%d\", $seconds * 1e6 }"))); }
is_over() { [ -n "$deadline" ] && [ "$(now)" -ge "$deadline" ]; }
# Sleeps for two seconds, or until the time is over.
rest() {
  local left=2000000 until_end
  if [ -n "$deadline" ]; then
    until_end=$((deadline - $(now)))
    [ $until_end -ge $left ] || left=$((until_end > 0 ? until_end : 0))
  fi
  sleep "$((left / 1000000)).$(printf %06d $((left % 1000000)))" & # a signal ends a wait at once, a sleep not
  wait $! || true
}

# Metrics are polled once a second, and what the engine has to say comes down to its information.
options=(--polling-period 1 --collect informational --forward informational)
run_program() {
  echo "   orx-run --app-name $1 ${options[*]} -- ${*:2}"
  start "$1" "$bin/orx-run" --domain "$monitoring" --app-name "$1" "${options[@]}" -- "${@:2}"
}

run_tail() {
  echo "== Two unmodified programs in domain $domain, observed in domain $monitoring; Ctrl-C stops everything"
  run_program subscriber ddsperf -i "$domain" -Q initwait:0 sub
  run_program publisher ddsperf -i "$domain" -Q initwait:0 pub 10Hz size 64
  echo "   orx-tail --stats --tree"
  echo "== Events: time, application, path, what changed, live or snapshot and its epochs. Polled values that changed:"
  echo "   marked periodic. Log messages: facility, severity, number, category, text. At the end: losses, and the tree"
  "$bin/orx-tail" --domain "$monitoring" --stats --tree ${seconds:+--for "$seconds"} </dev/null &
  children+=($!)
  names+=(orx-tail)
  wait $!
}

# The address that the collector says it listens at.
url=
find_url() { url=$(grep -o 'http://[^ ]*' "$logs/collector" 2>/dev/null | head -1); [ -n "$url" ]; }
start_collector() { start collector "$bin/orx-collector" --domain "$monitoring" --listen "127.0.0.1:$1"; }
is_collector_there_or_gone() { find_url || ! kill -0 "${children[0]}" 2>/dev/null; }

run_collector() {
  echo "   orx-collector"
  start_collector "$port"
  await_first_collector
  if [ -z "$url" ] && grep -qi 'in use' "$logs/collector"; then
    echo "   port $port is taken: the collector takes a free one"
    wait "${children[0]}" || true
    children=()
    names=()
    start_collector 0
  fi
  await "the collector" find_url
}
await_first_collector() {
  local left
  for left in {1..600}; do
    ! is_collector_there_or_gone || return 0
    sleep 0.1
  done
}

ctl() { "$bin/orxctl" --collector "$url" "$@"; }
are_all_there() {
  local listed name
  listed=$(ctl applications 2>/dev/null) || return 1
  for name in pinger ponger publisher subscriber; do grep -q "^$name " <<<"$listed" || return 1; done
}
does_data_flow() { ctl show '//data_writers/*' 2>/dev/null | grep -Eq 'pushed_samples_total +[1-9]'; }

# A line for each endpoint at work: what it wrote or read, and how many others it matched.
print_values() {
  ctl show '//data_*/*' 2>/dev/null | awk '
    function flush() {
      if (matched > 0 && samples > 0)
        printf "   %-10s  %-12s  %-26s  %8s samples  %3s matched\n", application, kind, name, samples, matched
      samples = matched = ""
    }
    /^\// { flush(); n = split($0, part, "/"); application = part[3]; name = part[n] }
    $1 == "class" { kind = $2 }
    $1 ~ /_protocol_(pushed|received)_samples_total$/ { samples = $2 }
    $1 ~ /_matched_current_count$/ { matched = $2 }
    END { flush() }'
}

print_addresses() {
  echo "   browser     $url/"
  echo "   Prometheus  $url/metrics"
  echo "   orxctl      ORX_COLLECTOR=$url $bin/orxctl tree"
}

draw() {
  printf '\e[H\e[2J'
  echo "== Four unmodified programs in domain $domain, collected from domain $monitoring; Ctrl-C stops everything"
  print_addresses
  echo "== orxctl applications"
  ctl applications
  echo "== live values, out of orxctl show '//data_*/*'"
  print_values
  echo "== orxctl logs -n 8"
  ctl logs -n 8 | cut -c "1-${COLUMNS:-80}" # which the shell keeps
}

view_on_terminal() {
  ctl tree
  rest
  while ! is_over; do
    check_parts
    draw
    rest
  done
}

# The program itself is the child, so that it ends with the others.
follow() {
  "$bin/orxctl" --collector "$url" "$1" -f "${@:2}" </dev/null 2>"$logs/$1" &
  children+=($!)
  names+=("$1")
}

# What happens and what is logged, as it comes, and the values now and then.
view_as_lines() {
  echo "== orxctl applications"
  ctl applications
  echo "== orxctl tree"
  ctl tree
  echo "== orxctl events -f, orxctl logs -f, and live values out of orxctl show '//data_*/*'"
  follow events
  follow logs -n 5
  while ! is_over; do
    check_parts
    print_values
    rest
  done
  print_values
}

if [ -n "$tail" ]; then
  run_tail
  exit 0
fi
echo "== Four unmodified programs in domain $domain, collected from domain $monitoring; Ctrl-C stops everything"
run_collector
run_program ponger ddsperf -i "$domain" pong
run_program pinger ddsperf -i "$domain" ping 10Hz size 64
run_program subscriber ddsperf -i "$domain" -Q initwait:0 sub
run_program publisher ddsperf -i "$domain" -Q initwait:0 pub 100Hz size 64
print_addresses
await "every program" are_all_there
await "data" does_data_flow
begin_countdown
if [ -t 1 ]; then view_on_terminal; else view_as_lines; fi
