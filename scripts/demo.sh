#!/usr/bin/env bash
# Installs what is missing, builds, starts the panel simulator and the console talking to it,
# and stops the simulator when the console exits.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh
bin=${K7310_BUILD_DIR:-build}/bin
link="${XDG_RUNTIME_DIR:-/tmp}/k7310sim.tty"

# One realistic panel (firmware 2.8, slave 1, 9600 bauds, 1 stop bit) answering with the
# delays of a real line.
"$bin/k7310sim" --link "$link" --line-timing &
sim_pid=$!
trap 'kill "$sim_pid" 2>/dev/null || true; wait "$sim_pid" 2>/dev/null || true' EXIT
for _ in $(seq 50); do [ -e "$link" ] && break; sleep 0.1; done
if [ ! -e "$link" ]; then
  echo "demo: the simulator did not come up at $link" >&2
  exit 1
fi

# The settings file lies beside the program, or in the per-user folder when the program's
# folder is read-only. The simulator's port is written only when no port is chosen yet.
ini="$bin/k7310console.ini"
if [ ! -w "$bin" ]; then
  ini="${XDG_CONFIG_HOME:-$HOME/.config}/k7310console/k7310console.ini"
  mkdir -p "$(dirname "$ini")"
fi
has_port() {
  [ -f "$ini" ] && awk '
    /^[[:space:]]*\[/ { section = tolower($0); gsub(/[][[:space:]]/, "", section) }
    section == "communication" && tolower($0) ~ /^[[:space:]]*port[[:space:]]*=/ { found = 1 }
    END { exit found ? 0 : 1 }' "$ini"
}
if ! has_port; then
  if [ -f "$ini" ] && grep -qi '^[[:space:]]*\[communication\]' "$ini"; then
    awk -v port="$link" '
      { print }
      tolower($0) ~ /^[[:space:]]*\[communication\]/ && !done { print "Port=" port; done = 1 }' \
      "$ini" > "$ini.tmp" && mv "$ini.tmp" "$ini"
  else
    printf '[Communication]\nPort=%s\n' "$link" >> "$ini"
  fi
  echo "demo: the console's port is now $link"
fi

"$bin/k7310console"
