#!/usr/bin/env bash
# Configures and builds the whole tree into build/ (executables and run-time files in build/bin).
# Extra arguments go to cmake's configure step. Warnings are errors when CI=true.
set -euo pipefail
cd "$(dirname "$0")/.."
build_dir=${K7310_BUILD_DIR:-build}
werror=OFF
[ "${CI:-}" = "true" ] && werror=ON
cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=${K7310_BUILD_TYPE:-RelWithDebInfo} \
      -DK7310_WERROR=$werror "$@" >/dev/null
cmake --build "$build_dir" -j2
