#!/usr/bin/env bash
# Plants each known fault of scripts/faults/ in turn into a scratch copy of HEAD (what is
# committed), builds the test programs named on the patch's "Tests:" line and runs them. Every fault must make one of them
# fail: a fault that passes means a test was lost. Run it after changing the tests, not in CI
# (each fault costs a rebuild).
#   scripts/plant-faults.sh                 every fault
#   scripts/plant-faults.sh crc-init ...    the named ones
# The scratch tree and its Debug build stay in $K7310_FAULTS_DIR (default /tmp/k7310-faults)
# so that a second run rebuilds only what a fault touches. With K7310_LOCK set to a file, each
# build and test run waits for that lock (a machine shared with other builds); the programs
# started meanwhile do not inherit it.
set -uo pipefail
cd "$(dirname "$0")/.."
repo=$PWD
scratch=${K7310_FAULTS_DIR:-/tmp/k7310-faults}
locked() {
    if [ -n "${K7310_LOCK:-}" ]; then flock -o "$K7310_LOCK" "$@"; else "$@"; fi
}

if [ -d "$scratch/.git" ] || [ -f "$scratch/.git" ]; then
    git -C "$scratch" checkout -q -- .
    git -C "$scratch" checkout -q --detach "$(git rev-parse HEAD)" || exit 1
else
    git worktree add -q --detach "$scratch" HEAD
fi

cmake -S "$scratch" -B "$scratch/build" -G Ninja -DCMAKE_BUILD_TYPE=Debug >/dev/null

names=("$@")
[ ${#names[@]} -eq 0 ] && names=($(ls scripts/faults/*.patch | xargs -n1 basename | sed 's/\.patch$//'))

missed=0
for name in "${names[@]}"; do
    patch="$repo/scripts/faults/$name.patch"
    tests=$(sed -n 's/^Tests: //p' "$patch")
    if ! git -C "$scratch" apply --whitespace=nowarn "$patch"; then
        echo "$name: does not apply any more (the code moved); rewrite the patch"
        missed=1
        continue
    fi
    log="$scratch/build/fault-$name.log"
    if locked cmake --build "$scratch/build" -j2 --target $tests >"$log" 2>&1; then
        regex="^($(echo $tests | tr ' ' '|'))\$"
        if locked ctest --test-dir "$scratch/build" -R "$regex" --output-on-failure >>"$log" 2>&1; then
            echo "$name: MISSED (no test failed)"
            missed=1
        else
            failed=$(grep -oE '^FAIL!  : [A-Za-z_0-9]+::[A-Za-z_0-9]+(\([^)]*\))?' "$log" | sed 's/^FAIL!  : //' |
                sort -u | head -3 | tr '\n' ' ')
            echo "$name: caught by ${failed:-a crash or time-out (see $log)}"
        fi
    else
        echo "$name: does not build (see $log)"
        missed=1
    fi
    # A test that a fault made abort can leave its simulator behind.
    pkill -f "^$scratch/build/bin/k7310sim" || true
    git -C "$scratch" apply -R --whitespace=nowarn "$patch"
done
exit $missed
