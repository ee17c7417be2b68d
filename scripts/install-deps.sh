#!/usr/bin/env bash
# Installs the Debian 12 packages that k7310console needs to build, run and test.
# Idempotent: only missing packages are installed. Runs as root or through sudo.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config clang-format clang
  qt6-base-dev qt6-serialport-dev qt6-tools-dev qt6-tools-dev-tools libqt6sql6-sqlite
  qt6-svg-dev libqt6svg6
  libsqlcipher-dev sqlcipher
  libmodbus-dev mbpoll python3-pymodbus python3-serial python3-serial-asyncio socat
  xvfb xauth xdotool imagemagick poppler-utils
  # the package's checks in CI (.ci/check-package)
  lintian appstream desktop-file-utils
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all packages present"
  exit 0
fi

if [ "$(id -u)" -eq 0 ]; then
  as_root=()
elif command -v sudo >/dev/null 2>&1; then
  as_root=(sudo)
else
  echo "install-deps: missing ${missing[*]}; run this script as root or install sudo" >&2
  exit 1
fi

echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
