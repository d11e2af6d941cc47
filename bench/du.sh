#!/bin/bash
# Folder size of a tree of about 200,000 small files in 20,000 folders: quillo-tool du
# against du -sb -l (apparent sizes, hard links counted each time), in one run, warm
# cache and (as root) cold cache, and prints the medians and ratios.
# du also counts each folder's own size and we do not, so the totals are not
# compared with each other; ours is checked against the sum of the file sizes.
# Usage: bench/du.sh [BUILD_DIR]   (default: build)
set -euo pipefail

build=${1:-build}
tool=$(realpath "$build/bin/quillo-tool")
warm_runs=${WARM_RUNS:-15}
cold_runs=${COLD_RUNS:-7}

work=$(mktemp -d "${TMPDIR:-/var/tmp}/quillo-bench-du-XXXXXX")
trap 'rm -rf "$work"' EXIT
tree="$work/tree"
empty="$work/empty"
mkdir -p "$empty"

# 20 × 20 × 49 folders, 10 files in each (sparse: only the apparent size matters),
# sizes from 0 to 16 KiB with a few larger ones, names of varied length, some hidden.
echo "making the tree in $tree ..." >&2
python3 - "$tree" <<'PY'
import os, random, sys
root = sys.argv[1]
random.seed(7)
def fill(folder):
    os.makedirs(folder, exist_ok=True)
    for f in range(10):
        name = (".hidden-%d" if f == 9 else "file %d of a folder.txt" if f % 3 else "f%d") % f
        size = random.randrange(0, 16384) if f else random.randrange(0, 1 << 20)
        with open(os.path.join(folder, name), "wb") as out:
            out.truncate(size)
for a in range(20):
    fill(os.path.join(root, f"area {a:02d}"))
    for b in range(20):
        fill(os.path.join(root, f"area {a:02d}", f"project-{b}"))
        for c in range(49):
            fill(os.path.join(root, f"area {a:02d}", f"project-{b}", f"d{c:03d}"))
PY
sync
files=$(find "$tree" -type f | wc -l)
folders=$(find "$tree" -type d | wc -l)
bytes=$(find "$tree" -type f -printf '%s\n' | awk '{ s += $1 } END { printf "%.0f", s }')
echo "tree: $files files in $folders folders, $bytes bytes of files (apparent)"

ours=$("$tool" du "$tree" | cut -f 1)
if [ "$ours" != "$bytes" ]; then
    echo "WRONG TOTAL: quillo-tool du says $ours, the files add up to $bytes" >&2
    exit 1
fi
echo "quillo-tool du total matches the sum of the file sizes"

# Starting each program once on an empty folder after the drop brings its own binary
# and libraries back, so the cold runs time reading the tree, not loading programs.
cat >"$work/cold-prepare" <<EOF
#!/bin/sh
sync
echo 3 >/proc/sys/vm/drop_caches
"$tool" du "$empty" >/dev/null
du -sb -l "$empty" >/dev/null
EOF
chmod +x "$work/cold-prepare"

hyperfine -N --warmup 3 --runs "$warm_runs" --style basic --export-json "$work/warm.json" \
    -n quillo "'$tool' du '$tree'" -n du "du -sb -l '$tree'" >&2
cold=no
if [ "$(id -u)" -eq 0 ] && [ -w /proc/sys/vm/drop_caches ]; then
    cold=yes
    hyperfine -N --runs "$cold_runs" --style basic --export-json "$work/cold.json" \
        --prepare "$work/cold-prepare" -n quillo "'$tool' du '$tree'" -n du "du -sb -l '$tree'" >&2
fi

python3 - "$work" "$cold" <<'PY'
import json, os, sys
work, cold = sys.argv[1], sys.argv[2] == "yes"
def report(kind, target):
    runs = {r["command"]: r for r in json.load(open(os.path.join(work, kind + ".json")))["results"]}
    q, d = runs["quillo"]["median"] * 1000, runs["du"]["median"] * 1000
    n = len(runs["quillo"]["times"])
    print(f"== {kind} cache, medians of {n} runs")
    print(f"  quillo-tool du  {q:8.1f} ms")
    print(f"  du -sb -l       {d:8.1f} ms")
    print(f"  quillo/du       {q / d:.2f}  (target <= {target})")
report("warm", 1.0)
if cold:
    report("cold", 0.8)
else:
    print("== cold cache skipped: dropping the page cache needs root")
PY
