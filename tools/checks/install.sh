#!/usr/bin/env bash
# Installs into a folder of its own, and builds with what is there: by pkg-config, by the CMake package, and types by idlc.
set -euo pipefail
build=$(realpath "${1:?usage: install.sh BUILD_FOLDER}")
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install "$build" --prefix "$prefix" >/dev/null
mkdir "$prefix/user" "$prefix/types"
cat >"$prefix/user/user.c" <<'C'
#include "orxmonitoring2d/forwarder.h"
#include "orxmonitoring2d/metric_catalogue.h"
#include "zddsc/monitoring.h"
int main(void) { return ORX_MonitoringHost_initialize() && ORX_MonitoringHost_load_library(NULL) ? 0 : 1; }
C
cat >"$prefix/user/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.20)
project(user C)
find_package(orxmonitoring2d REQUIRED)
add_executable(user user.c)
target_link_libraries(user PRIVATE orxmonitoring2d::zddsc)
CMAKE
cd "$prefix/user"
folder=$(dirname "$(find "$prefix" -name orxmonitoring2d.pc)")
read -ra flags <<<"$(PKG_CONFIG_PATH=$folder pkg-config --cflags --libs orxmonitoring2d)"
gcc -std=c11 user.c "${flags[@]}" -o by_pkg_config
LD_LIBRARY_PATH=$(dirname "$folder") ./by_pkg_config
cmake -S . -B build -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build build >/dev/null
build/user
units=0
for unit in "$prefix"/share/orxmonitoring2d/idl/*.idl; do
  idlc -f case-sensitive -o "$prefix/types" "$unit" 2>/dev/null
  units=$((units + 1))
done
echo "install: a host builds by pkg-config and by CMake and runs, and idlc takes $units units"
