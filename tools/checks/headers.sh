#!/usr/bin/env bash
# Compiles every public header by itself, as C11 and as C++20.
set -euo pipefail
cd "$(dirname "$0")/../.."
build=${1:?usage: headers.sh BUILD_FOLDER}
flags=(-Wall -Wextra -Wpedantic -Werror -fsyntax-only -Isrc/support/include -Imiddleware/include -Isrc/include -I"$build/generated/include")
count=0
while read -r header; do
  # Included, since a header of macros alone is no translation unit.
  source=$(printf '#include "%s"\ntypedef int notEmpty;\n' "$(realpath "$header")")
  gcc -std=c11 "${flags[@]}" -x c - <<<"$source"
  g++ -std=c++20 "${flags[@]}" -x c++ - <<<"$source"
  count=$((count + 1))
done < <(find src/support/include middleware/include src/include "$build/generated/include" -name '*.h' 2>/dev/null | sort)
echo "headers: $count compile as C11 and as C++20"
