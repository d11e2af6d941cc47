#!/bin/bash
# Start-up time: from launching build/bin/quillo to the first paint of the home
# folder's list with its rows, the home folder holding 10,000 items. Runs under
# Xvfb and a private D-Bus session (so a Quillo already running elsewhere is never
# handed the launch). One warm-up run, then the median of 5. Target: under 0.5 s.
# Usage: bench/startup.sh [BUILD_DIR]   (default: build)
set -euo pipefail

build=${1:-build}
if [ -z "${QUILLO_BENCH_PRIVATE_BUS:-}" ]; then
    command -v dbus-run-session >/dev/null || { echo "needs dbus-run-session" >&2; exit 1; }
    QUILLO_BENCH_PRIVATE_BUS=1 exec dbus-run-session -- "$0" "$@"
fi
for program in Xvfb xwininfo; do
    command -v "$program" >/dev/null || { echo "needs $program" >&2; exit 1; }
done
quillo=$(realpath "$build/bin/quillo")
runs=5
count=10000

work=$(mktemp -d)
xvfb=
cleanup() {
    [ -n "$xvfb" ] && kill "$xvfb" 2>/dev/null && wait "$xvfb" 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT

home="$work/home"
mkdir -p "$home"
(cd "$home" && seq -f "file-%05g.txt" 1 $((count - 100)) | xargs touch &&
    seq -f "folder-%03g" 1 100 | xargs mkdir)

# A display number nobody uses.
display=99
while [ -e "/tmp/.X11-unix/X$display" ] || [ -e "/tmp/.X$display-lock" ]; do
    display=$((display + 1))
done
Xvfb ":$display" -screen 0 1920x1080x24 -nolisten tcp >"$work/xvfb.log" 2>&1 &
xvfb=$!
for _ in $(seq 100); do
    xwininfo -root -display ":$display" >/dev/null 2>&1 && break
    sleep 0.05
done
xwininfo -root -display ":$display" >/dev/null 2>&1 || { echo "Xvfb did not start" >&2; exit 1; }

# Prints "in-process-ms wall-ms" for one start.
run_once() {
    local start end inside
    start=$(date +%s%N)
    inside=$(env -i PATH="$PATH" HOME="$home" XDG_CONFIG_HOME="$work/config" \
        XDG_DATA_HOME="$work/data" XDG_CACHE_HOME="$work/cache" XDG_RUNTIME_DIR="$work/run" \
        DBUS_SESSION_BUS_ADDRESS="$DBUS_SESSION_BUS_ADDRESS" DISPLAY=":$display" \
        QT_QPA_PLATFORM=xcb LANG=C.UTF-8 QUILLO_REPORT_FIRST_PAINT=1 \
        timeout 30 "$quillo" 2>>"$work/quillo.log")
    end=$(date +%s%N)
    [ -n "$inside" ] || { echo "quillo reported no paint; see its log:" >&2; cat "$work/quillo.log" >&2; exit 1; }
    echo "$inside $(((end - start) / 1000000))"
}

mkdir -m 700 -p "$work/run"
run_once >/dev/null # warm-up: font and icon caches, the migration flag
: >"$work/times"
for _ in $(seq $runs); do
    run_once | tee -a "$work/times" | awk '{ printf "  run: %d ms in process, %d ms wall\n", $1, $2 }'
done

median() { sort -n | sed -n "$(((runs + 1) / 2))p"; }
inside=$(cut -d' ' -f1 "$work/times" | median)
wall=$(cut -d' ' -f2 "$work/times" | median)
echo "start to first painted list of $count items (median of $runs):"
echo "  $inside ms from main() (in process), $wall ms from exec (wall clock); target 500 ms"
