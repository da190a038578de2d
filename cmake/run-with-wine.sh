#!/usr/bin/env bash
# Runs a Windows program with Wine: run-with-wine.sh PROGRAM.exe [ARGUMENT...]
# Wine's own files lie beside the program (build/<preset>/wine) or where WINEPREFIX says; the home folder stays
# untouched, no display is asked for unless RASTREL_DISPLAY names one, and Wine's server lives on for a while, so that
# the next start takes milliseconds.
set -euo pipefail

if [ -z "${WINEPREFIX:-}" ]; then
    folder=$(cd "$(dirname "$1")" && pwd)
    while [ "$folder" != / ] && [ ! -f "$folder/CMakeCache.txt" ]; do
        folder=$(dirname "$folder")
    done
    [ "$folder" != / ] || folder=$(cd "$(dirname "$1")" && pwd)
    export WINEPREFIX=$folder/wine
fi
# Wine stores file names in the encoding of this locale: one that holds them all.
export LC_ALL=C.UTF-8
export WINEDEBUG=${WINEDEBUG:--all} WINEDLLOVERRIDES="mscoree,mshtml=" WINEARCH=win64
unset DISPLAY WAYLAND_DISPLAY
[ -z "${RASTREL_DISPLAY:-}" ] || export DISPLAY=$RASTREL_DISPLAY

for wine in /usr/lib/wine/wine64 wine64 wine; do
    wine=$(command -v "$wine") && break
done
[ -n "$wine" ] || { echo "run-with-wine.sh: needs Wine (package wine64)" >&2; exit 127; }

# Several tests may start at once: one of them sets up Wine's files, the others wait for it.
if [ ! -f "$WINEPREFIX/ready" ]; then
    mkdir -p "$WINEPREFIX"
    exec 9>"$WINEPREFIX/lock"
    flock 9
    if [ ! -f "$WINEPREFIX/ready" ]; then
        if ! "$wine" wineboot --init >"$WINEPREFIX/setup.log" 2>&1 </dev/null 9>&-; then
            cat "$WINEPREFIX/setup.log" >&2
            exit 126
        fi
        touch "$WINEPREFIX/ready"
    fi
    exec 9>&-
fi
exec "$wine" "$@"
