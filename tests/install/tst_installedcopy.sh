#!/usr/bin/env bash
# Installs the build into a staging folder, starts the installed console with a fresh HOME and
# checks that it reads its data and help from the installed tree, keeps its settings under
# HOME's .config, its help index under HOME's .cache, and writes nothing in the installed tree.
# Usage: tst_installedcopy.sh BUILD_DIR DRIVER_PLUGIN_DIR
set -euo pipefail
build=$1
driver=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
check() { # check DESCRIPTION COMMAND...
  local what=$1; shift
  if "$@"; then echo "ok   $what"; else echo "FAIL $what"; failures=$((failures + 1)); fi
}

DESTDIR="$work/root" cmake --install "$build" --prefix /usr >/dev/null
usr="$work/root/usr"
data="$usr/share/k7310console"
for file in bin/k7310console bin/k7310sim share/k7310console/k7310console.dat \
            share/k7310console/k7310console{,_fr,_de}.{qch,qhc} \
            share/applications/k7310console.desktop \
            share/icons/hicolor/scalable/apps/k7310console.svg \
            share/metainfo/org.example.k7310console.metainfo.xml \
            share/man/man1/k7310{console,sim}.1.gz share/doc/k7310console/{copyright,changelog.gz}; do
  check "installed $file" test -f "$usr/$file"
done

# Everything the installed tree holds, with sizes and times: it must not change.
tree() { (cd "$work/root" && find . -printf '%p %s %T@\n' | sort); }
before=$(tree)
home="$work/home"
mkdir "$home"
status=0
# No data folder of the system: the installed copy must find its own tree, not a package's.
env -i PATH="$PATH" HOME="$home" XDG_DATA_DIRS="$work/nowhere" QT_QPA_PLATFORM=offscreen \
    QT_PLUGIN_PATH="$driver" QT_QPA_GENERIC_PLUGINS=k7310driver \
    "$usr/bin/k7310console" 2>"$work/log" || status=$?
sed 's/^/  | /' "$work/log"

check "console ended normally" test "$status" -eq 0
check "data file opened from the installed tree" \
  grep -qxF "driver: open $data/k7310console.dat" "$work/log"
check "help opened from a per-user copy with its chapters" \
  grep -qE "^driver: help $home/\.cache/k7310console/help/k7310console\.qhc chapters [1-9]" \
  "$work/log"
check "help search finds pages" grep -qE '^driver: search hits [1-9]' "$work/log"
check "settings file under HOME's .config" \
  grep -q '^Language=' "$home/.config/k7310console/k7310console.ini"
check "nothing written in the installed tree" diff <(echo "$before") <(tree)
exit $((failures > 0))
