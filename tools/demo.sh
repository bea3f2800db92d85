#!/usr/bin/env bash
# Watches two DDS programs that know nothing of monitoring: a ddsperf publisher and a subscriber run under orx-run,
# and orx-tail prints their tree and events as they come. Ctrl-C, or --for SECONDS, stops everything.
set -euo pipefail
build=${1:?usage: demo.sh BUILD_FOLDER [--for SECONDS]}
shift
seconds=()
if [ "${1:-}" = --for ]; then
  [[ "${2:-}" =~ ^[0-9]+([.][0-9]+)?$ ]] || { echo "--for wants a number of seconds" >&2; exit 2; }
  seconds=(--for "$2")
  shift 2
fi
[ $# -eq 0 ] || { echo "unknown argument: $1" >&2; exit 2; }
bin=$(cd "$build/bin" && pwd)

children=()
stop() {
  trap - EXIT INT TERM
  local child
  for child in "${children[@]}"; do kill "$child" 2>/dev/null || true; done
  for child in "${children[@]}"; do wait "$child" 2>/dev/null || true; done
}
trap stop EXIT
trap 'exit 0' INT TERM

echo "== orx-tail shows what two ddsperf processes under orx-run publish in domain 2; Ctrl-C stops"
"$bin/orx-run" --app-name subscriber -- ddsperf -Q initwait:0 sub >/dev/null 2>&1 &
children+=($!)
"$bin/orx-run" --app-name publisher -- ddsperf -Q initwait:0 pub 10Hz size 64 >/dev/null 2>&1 &
children+=($!)
"$bin/orx-tail" "${seconds[@]}" &
tail=$!
children+=("$tail")
wait "$tail"
