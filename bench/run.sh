#!/usr/bin/env bash
# Runs every benchmark of a build folder, prints their tables, and joins their figures into results.json there.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$(cd "${1:?usage: run.sh BUILD_FOLDER}" && pwd)
results="$build/bench/results"
rm -rf "$results"
mkdir -p "$results"
for program in "$build"/bench/*_bench; do
  [ -x "$program" ] || continue
  "$program" "$results/$(basename "$program").json"
done
[ -x "$here/agent/run.sh" ] && "$here/agent/run.sh" "$build" "$results/agent.json"
python3 - "$results" "$build/results.json" <<'PYTHON'
import json, pathlib, sys
tables = []
for file in sorted(pathlib.Path(sys.argv[1]).glob("*.json")):
    tables += json.loads(file.read_text())
pathlib.Path(sys.argv[2]).write_text(json.dumps(tables, indent=2) + "\n")
PYTHON
echo
echo "figures: $build/results.json"
