#!/bin/bash
# Starting to watch a tree of 20,000 folders (the watcher's default budget): time
# from constructing the watcher to ready(), median of 5, and the CPU used during
# 5 idle seconds afterwards (should be about nothing).
# Usage: bench/watch.sh [BUILD_DIR]   (default: build)
set -euo pipefail

build=${1:-build}
program=$(realpath "$build/bin/WatchStartBench")
data=${TMPDIR:-/tmp}/quillo-bench-watch-20k
count=20000

# 20 folders of 20 folders, and the rest spread below those: 20,000 with the top.
make_data() {
    python3 - "$data.partial" "$count" <<'PY'
import os, sys
root, count = sys.argv[1], int(sys.argv[2])
middles = [os.path.join(root, f"top{t}", f"mid{m}") for t in range(20) for m in range(20)]
for folder in middles:
    os.makedirs(folder)
for i in range(count - 1 - 20 - len(middles)):
    os.mkdir(os.path.join(middles[i % len(middles)], f"leaf{i}"))
PY
    mv "$data.partial" "$data"
}

if [ ! -d "$data" ] || [ "$(find "$data" -type d | wc -l)" -ne "$count" ]; then
    echo "making $count folders in $data ..." >&2
    rm -rf "$data" "$data.partial"
    make_data
fi

watches=$(cat /proc/sys/fs/inotify/max_user_watches)
echo "== watching $data ($count folders; max_user_watches $watches)"
"$program" "$data"
