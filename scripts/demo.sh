#!/usr/bin/env bash
# Installs what is missing, builds, and starts the console talking to the panel simulator.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh
bin=build/bin
link="${XDG_RUNTIME_DIR:-/tmp}/k7310sim.tty"
sim_pid=
if [ -x "$bin/k7310sim" ]; then
  "$bin/k7310sim" --link "$link" --line-timing &
  sim_pid=$!
  trap '[ -n "$sim_pid" ] && kill "$sim_pid" 2>/dev/null; wait 2>/dev/null || true' EXIT
  for _ in $(seq 50); do [ -e "$link" ] && break; sleep 0.1; done
  ini="$bin/k7310console.ini"
  # Seed the port only when the user has not chosen one.
  if [ -x "$bin/k7310seedport" ]; then "$bin/k7310seedport" "$ini" "$link"; fi
fi
"$bin/k7310console"
