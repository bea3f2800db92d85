#!/usr/bin/env bash
# What the agent costs a program that is monitored: ddsperf with and without orx-run. See agent.py.
set -euo pipefail
exec python3 "$(dirname "$0")/agent.py" "${1:?usage: run.sh BUILD_FOLDER RESULTS_JSON}" "${2:?}"
