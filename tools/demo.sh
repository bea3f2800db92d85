#!/usr/bin/env bash
# Watches two DDS programs that know nothing of monitoring: a ddsperf publisher and a subscriber run under orx-run,
# and orx-tail prints their tree, events, polled metrics and log messages as they come. Ctrl-C, or --for SECONDS, stops everything.
set -euo pipefail
usage="usage: demo.sh BUILD_FOLDER [--for SECONDS] [--domain OF_THE_PROGRAMS] [--monitoring DOMAIN]"
build=${1:?$usage}
shift
wrong() { printf '%s\n%s\n' "$1" "$usage" >&2; exit 2; }

domain=0
monitoring=2
seconds=()
while [ $# -gt 0 ]; do
  case "$1" in
    --for)
      [[ "${2:-}" =~ ^[0-9]+([.][0-9]+)?$ ]] || wrong "--for wants a number of seconds"
      seconds=(--for "$2") ;;
    --domain)
      [[ "${2:-}" =~ ^[0-9]+$ ]] || wrong "--domain wants a number"
      domain=$2 ;;
    --monitoring)
      [[ "${2:-}" =~ ^[0-9]+$ ]] || wrong "--monitoring wants a number"
      monitoring=$2 ;;
    *) wrong "unknown argument: $1" ;;
  esac
  shift 2
done
bin=$(cd "$build/bin" && pwd)

# A child that does not end when it is asked to is killed.
children=()
stop() {
  trap - EXIT
  trap '' INT TERM
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
}
trap stop EXIT
trap 'exit 0' INT TERM

# Metrics are polled once a second, and what the engine has to say comes down to its information.
options=(--polling-period 1 --collect informational --forward informational)

# run NAME PROGRAM...: under the agent, without its own output.
run() {
  echo "   orx-run --app-name $1 ${options[*]} -- ${*:2}"
  "$bin/orx-run" --domain "$monitoring" --app-name "$1" "${options[@]}" -- "${@:2}" </dev/null >/dev/null &
  children+=($!)
}

echo "== Two unmodified programs in domain $domain, observed in domain $monitoring; Ctrl-C stops everything"
run subscriber ddsperf -i "$domain" -Q initwait:0 sub
run publisher ddsperf -i "$domain" -Q initwait:0 pub 10Hz size 64
echo "   orx-tail --stats --tree"
echo "== Events: time, application, path, what changed, live or snapshot and its epochs. Polled values that changed:"
echo "   marked periodic. Log messages: facility, severity, number, category, text. At the end: losses, and the tree"
"$bin/orx-tail" --domain "$monitoring" --stats --tree "${seconds[@]}" </dev/null &
tail=$!
children+=("$tail")
wait "$tail"
