#!/bin/bash
# Numbering 10,000 files in one folder: `quillo-tool rename --mode sequence` (two phases
# through hidden names, with its durable journal) against the Debian `rename` command
# (perl, file-rename) making the same names, each on a fresh folder per run, in one
# hyperfine run; prints the medians and the ratio (target: 2.0 or less).
# Usage: bench/rename.sh [BUILD_DIR]   (default: build)
set -euo pipefail

build=${1:-build}
tool=$(realpath "$build/bin/quillo-tool")
runs=${RUNS:-10}
files=${FILES:-10000}

for program in hyperfine file-rename; do
    command -v "$program" >/dev/null || { echo "needs $program (scripts/install-deps)" >&2; exit 1; }
done

work=$(mktemp -d "${TMPDIR:-/var/tmp}/quillo-bench-rename-XXXXXX")
trap 'rm -rf "$work"' EXIT
# The journal goes here, not into the real data folder.
export XDG_DATA_HOME="$work/data"

# file1.txt … file10000.txt in numeric order: both number the files in that order.
seq -f 'file%g.txt' 1 "$files" >"$work/list"

cat >"$work/fresh" <<EOF
#!/bin/bash
rm -rf "$work/tree" && mkdir "$work/tree" && cd "$work/tree" && xargs -a "$work/list" touch
EOF
cat >"$work/ours" <<EOF
#!/bin/bash
mapfile -t names <"$work/list"
cd "$work/tree" && exec "$tool" rename --mode sequence --prefix img_ --digits 5 "\${names[@]}"
EOF
cat >"$work/peer" <<EOF
#!/bin/bash
mapfile -t names <"$work/list"
cd "$work/tree" && exec file-rename 's/^file(\\d+)\\.txt\$/sprintf("img_%05d.txt", \$1)/e' "\${names[@]}"
EOF
chmod +x "$work/fresh" "$work/ours" "$work/peer"

# Both must leave the same names, and ours nothing hidden.
"$work/fresh" && "$work/ours" >/dev/null && ls -A "$work/tree" >"$work/ours.names"
"$work/fresh" && "$work/peer" && ls -A "$work/tree" >"$work/peer.names"
if ! cmp -s "$work/ours.names" "$work/peer.names"; then
    echo "DIFFERENT NAMES:" >&2
    diff "$work/ours.names" "$work/peer.names" | head >&2
    exit 1
fi
echo "files: $files, both leave the same $(wc -l <"$work/ours.names") names"

echo
echo "== numbering $files files (hyperfine, $runs runs, a fresh folder for each)"
hyperfine --warmup 1 --runs "$runs" --export-json "$work/h.json" -N \
    --prepare "$work/fresh" "$work/ours" "$work/peer" >/dev/null
"$(dirname "$0")/hyperfine-ratio" "$work/h.json" "quillo-tool rename" "rename (perl)" rename
