#!/bin/bash
# Memory for a folder of 1,000,000 items: peak and settled resident size of the
# window showing it (offscreen, private D-Bus session, scratch home), of
# quillo-tool list, and of ls -l. Target: the window under 500 MB.
# Usage: bench/listing-memory.sh [BUILD_DIR]   (default: build)
set -euo pipefail

build=${1:-build}
if [ -z "${QUILLO_BENCH_PRIVATE_BUS:-}" ]; then
    command -v dbus-run-session >/dev/null || { echo "needs dbus-run-session" >&2; exit 1; }
    QUILLO_BENCH_PRIVATE_BUS=1 exec dbus-run-session -- "$0" "$@"
fi
quillo=$(realpath "$build/bin/quillo")
tool=$(realpath "$build/bin/quillo-tool")
count=1000000
data=${TMPDIR:-/var/tmp}/quillo-bench-listing-1m
work=$(mktemp -d)
pid=
cleanup() {
    [ -n "$pid" ] && kill "$pid" 2>/dev/null && wait "$pid" 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT

# Empty files with the names of a real folder: digit runs, Japanese, long and short.
if [ ! -d "$data" ] || [ "$(find "$data" -mindepth 1 -maxdepth 1 | wc -l)" -ne "$count" ]; then
    echo "making $count items in $data ..." >&2
    rm -rf "$data"
    python3 - "$data.partial" "$count" <<'PY'
import os, sys
folder, n = sys.argv[1], int(sys.argv[2])
os.makedirs(folder)
ext = ["txt", "JPG", "png", "pdf", "docx", "tar.gz", "c", "h", "md"]
shapes = [
    lambda i: f"file{i}.{ext[i % 9]}",
    lambda i: f"IMG_{i:07d}.JPG",
    lambda i: f"報告書_{i}.docx",
    lambda i: f"Project notes {i} (final version, reviewed).md",
    lambda i: f"Report {i} v{i % 13}.pdf",
    lambda i: f"data-{i * 2654435761 % 4294967296:x}",
    lambda i: f"写真 {i}.png",
    lambda i: f"MixedCase_{i}_File.{ext[i % 9]}",
]
for i in range(n):
    os.close(os.open(os.path.join(folder, shapes[i % 8](i)), os.O_CREAT | os.O_WRONLY, 0o644))
PY
    mv "$data.partial" "$data"
fi

peak() { /usr/bin/time -f %M "$@" 2>&1 >/dev/null | tail -n 1; }

# Clock ticks of CPU time the process has used.
ticks() { awk '{print $14 + $15}' "/proc/$1/stat"; }
field() { awk -v name="$2:" '$1 == name {print $2}' "/proc/$1/status"; }

export HOME="$work/home" XDG_CONFIG_HOME="$work/config" XDG_DATA_HOME="$work/data" \
    XDG_CACHE_HOME="$work/cache" QT_QPA_PLATFORM=offscreen
mkdir -p "$HOME"
"$quillo" "$data" >"$work/quillo.log" 2>&1 &
pid=$!
# Settled: the list is read, sorted and painted once the window has used no CPU
# time for three seconds in a row.
last=-1
idle=0
start=$SECONDS
while [ "$idle" -lt 3 ] && [ $((SECONDS - start)) -lt 600 ]; do
    sleep 1
    now=$(ticks "$pid")
    if [ "$now" = "$last" ]; then idle=$((idle + 1)); else idle=0; fi
    last=$now
done
window_peak=$(field "$pid" VmHWM)
window_settled=$(field "$pid" VmRSS)
kill "$pid"
wait "$pid" 2>/dev/null || true
pid=

mb() { echo "$(($1 / 1024)) MB"; }
echo "== memory, $count items in $data"
echo "window       peak $(mb "$window_peak"), settled $(mb "$window_settled")  (target < 500 MB)"
echo "quillo-tool  peak $(mb "$(peak "$tool" list --sort name "$data")")"
echo "ls -l        peak $(mb "$(peak ls -l --color=never "$data")")"
