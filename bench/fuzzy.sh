#!/bin/bash
# Filtering 1,000,000 paths by a typed query: the palette's matcher in process
# (FuzzyMatchBench), then whole programs: `quillo-tool fuzzy` against `fzf --filter`
# on the same list, for queries of 1, 3 and 8 characters (target: ratio 0.5 or less).
# Usage: bench/fuzzy.sh [BUILD_DIR]   (default: build)
set -euo pipefail

build=${1:-build}
tool=$(realpath "$build/bin/quillo-tool")
bench=$(realpath "$build/bin/FuzzyMatchBench")
runs=${RUNS:-10}
paths=${PATHS_COUNT:-1000000}
queries=(s lib usrshare)

for program in hyperfine fzf python3; do
    command -v "$program" >/dev/null || { echo "needs $program (scripts/install-deps)" >&2; exit 1; }
done

work=$(mktemp -d "${TMPDIR:-/var/tmp}/quillo-bench-fuzzy-XXXXXX")
trap 'rm -rf "$work"' EXIT
list="$work/paths.txt"

# The paths under /usr, repeated, with one line in twenty a Japanese document path so
# that non-ASCII text is matched too.
find /usr 2>/dev/null >"$work/usr.txt" || true
python3 - "$work/usr.txt" "$list" "$paths" <<'PY'
import sys
source, path, count = sys.argv[1], sys.argv[2], int(sys.argv[3])
found = open(source, "rb").read().splitlines()
folders = ["書類", "写真", "ダウンロード", "プロジェクト/見積もり", "デスクトップ"]
names = ["新規フォルダ", "議事録", "請求書", "スクリーンショット", "資料"]
with open(path, "wb") as out:
    for i in range(count):
        if i % 20 == 19:
            line = f"/home/user/{folders[i % 5]}/{names[i // 5 % 5]} {i}.txt".encode()
        else:
            line = found[i % len(found)]
        out.write(line + b"\n")
PY
echo "list: $paths paths, $(du -h "$list" | cut -f1)"

echo
echo "== in process (FuzzyMatchBench, median of 5)"
"$bench" --benchmark_repetitions=5 --benchmark_report_aggregates_only=true 2>/dev/null |
    grep -E "median|^Benchmark"

for query in "${queries[@]}"; do
    echo
    echo "== \"$query\": whole programs (hyperfine, $runs runs)"
    echo "matches: ours $("$tool" fuzzy "$query" <"$list" | wc -l)," \
         "fzf $(fzf --filter "$query" <"$list" | wc -l)"
    hyperfine --warmup 1 --runs "$runs" --export-json "$work/h.json" \
        "$tool fuzzy '$query' < $list" \
        "fzf --filter '$query' < $list" \
        >/dev/null
    "$(dirname "$0")/hyperfine-ratio" "$work/h.json" "quillo-tool fuzzy" "fzf --filter" fzf
done
