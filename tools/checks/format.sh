#!/usr/bin/env bash
# Holds every C and C++ source against .clang-format, or (--write) formats them.
set -euo pipefail
cd "$(dirname "$0")/../.."
mapfile -t files < <(git ls-files --cached --others --exclude-standard '*.c' '*.h' '*.cpp' '*.hpp')
[ ${#files[@]} -gt 0 ] || exit 0
case "${1:-}" in
  --write) clang-format -i "${files[@]}" ;;
  --check) clang-format --dry-run -Werror --ferror-limit=3 "${files[@]}" && echo "format: ${#files[@]} files" ;;
  *) echo "usage: $0 --check|--write" >&2; exit 2 ;;
esac
