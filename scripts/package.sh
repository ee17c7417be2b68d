#!/usr/bin/env bash
# Builds the Debian package build-release/k7310console_<version>_<arch>.deb: a Release build of
# what gets installed only (the programs, the data file, the help, the compressed manual pages
# and changelog; no tests, no benchmarks), then CPack. Extra arguments go to cmake's configure step. Warnings are errors when CI=true.
# K7310_BUILD_TYPE changes the build type (CI packages its RelWithDebInfo test build as it is,
# instead of compiling everything a second time).
set -euo pipefail
cd "$(dirname "$0")/.."
build_dir=${K7310_PACKAGE_DIR:-build-release}
werror=OFF
[ "${CI:-}" = "true" ] && werror=ON
# CPack installs without building everything first: k7310_installed (cmake/install.cmake)
# depends on all it needs.
cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=${K7310_BUILD_TYPE:-Release} -DK7310_WERROR=$werror \
      -DCMAKE_SKIP_INSTALL_ALL_DEPENDENCY=ON "$@" >/dev/null
cmake --build "$build_dir" -j2 --target k7310_installed
rm -f "$build_dir"/k7310console_*.deb
(cd "$build_dir" && cpack -G DEB >/dev/null)
ls "$build_dir"/k7310console_*.deb
