#!/bin/bash
# Filtering 100,000 file-like names by a typed query: the palette's matcher in process
# (FuzzyMatchBench), then whole programs: `FuzzyMatchBench --filter` against
# `fzf --filter` on the same list.
# Usage: bench/fuzzy.sh [BUILD_DIR] [QUERY]   (defaults: build, "rep")
set -euo pipefail

build=${1:-build}
query=${2:-rep}
bench=$(realpath "$build/bin/FuzzyMatchBench")
runs=${RUNS:-10}
names=${NAMES:-100000}

if ! command -v fzf >/dev/null; then
    echo "fzf is not installed (scripts/install-deps installs it); skipping."
    exit 0
fi

work=$(mktemp -d "${TMPDIR:-/var/tmp}/quillo-bench-fuzzy-XXXXXX")
trap 'rm -rf "$work"' EXIT
list="$work/names.txt"

python3 - "$list" "$names" <<'PY'
import sys
path, count = sys.argv[1], int(sys.argv[2])
words = ["report", "Budget", "invoice", "draft", "FileBrowser", "notes", "資料", "議事録",
         "Café", "photo"]
extensions = ["pdf", "txt", "jpg", "cpp", "md"]
with open(path, "w", encoding="utf-8") as out:
    for i in range(count):
        word = lambda k: words[(i // k + k) % 10]
        out.write(f"src/{word(7)}/{word(3)}_{word(1)}-{i}.{extensions[i % 5]}\n")
PY
echo "list: $names names, $(du -h "$list" | cut -f1), query \"$query\""
echo "matches: ours $("$bench" --filter "$query" "$list" | wc -l)," \
     "fzf $(fzf --filter "$query" < "$list" | wc -l)"

echo
echo "== in process (FuzzyMatchBench, median of 5)"
"$bench" --benchmark_repetitions=5 --benchmark_report_aggregates_only=true 2>/dev/null |
    grep -E "median|^Benchmark"

echo
echo "== whole programs (hyperfine, $runs runs)"
hyperfine --warmup 2 --runs "$runs" --export-json "$work/h.json" -i \
    "$bench --filter '$query' $list" \
    "fzf --filter '$query' < $list" \
    >/dev/null
"$(dirname "$0")/hyperfine-ratio" "$work/h.json" "FuzzyMatchBench --filter" "fzf --filter" fzf
