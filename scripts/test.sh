#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh
ctest --test-dir "${K7310_BUILD_DIR:-build}" --output-on-failure -j2
