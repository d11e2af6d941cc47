#!/bin/bash
# Times `git status` on a working tree with 100,000 modified files in 1,000 folders,
# the query a pane runs on every refresh, and the parse of its output in process,
# and prints both medians and their ratio (target: parse below 5% of git).
# Usage: bench/git-status.sh [BUILD_DIR]   (default: build)
set -euo pipefail

build=${1:-build}
parser=$(realpath "$build/bin/GitParseBench")
runs=${RUNS:-10}
folders=1000
per_folder=100

command -v git >/dev/null || { echo "needs git" >&2; exit 1; }
work=$(mktemp -d "${TMPDIR:-/var/tmp}/quillo-bench-git-XXXXXX")
trap 'rm -rf "$work"' EXIT
repo="$work/repo"

# No user or system configuration: the figures must not depend on the machine's setup.
export GIT_CONFIG_NOSYSTEM=1 GIT_CONFIG_GLOBAL=/dev/null
git_() { git -C "$repo" -c user.name=bench -c user.email=bench@example.invalid "$@"; }

echo "making $((folders * per_folder)) committed files, then changing them all ..." >&2
mkdir -p "$repo"
git_ init -q -b main
python3 - "$repo" "$folders" "$per_folder" <<'PY'
import os, sys
root, folders, per = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
for d in range(folders):
    folder = os.path.join(root, "src", f"module{d:04d}")
    os.makedirs(folder)
    for f in range(per):
        with open(os.path.join(folder, f"file{f:03d}.txt"), "w") as out:
            out.write(f"line {d} {f}\n")
PY
git_ add -A
git_ commit -q -m base
find "$repo/src" -type f -exec sh -c 'for f; do echo changed >>"$f"; done' sh {} +

# Exactly what a pane runs: fsmonitor off, no optional locks, so no run refreshes the
# index for the next one.
export GIT_OPTIONAL_LOCKS=0
status=(git -C "$repo" -c core.fsmonitor=false status --porcelain=v1 -z --branch --ignored)
"${status[@]}" >"$work/status.out"
records=$(tr -cd '\0' <"$work/status.out" | wc -c)
echo "output: $(stat -c %s "$work/status.out") bytes, $records records"

if command -v hyperfine >/dev/null; then
    hyperfine --shell=none --warmup 1 --runs "$runs" --export-json "$work/git.json" \
        "$(printf "%q " "${status[@]}")" >/dev/null
    git_ms=$(python3 -c 'import json, sys; print(json.load(open(sys.argv[1]))["results"][0]["median"] * 1000)' \
        "$work/git.json")
else
    "${status[@]}" >/dev/null
    for _ in $(seq "$runs"); do
        start=$(date +%s%N)
        "${status[@]}" >/dev/null
        echo $((($(date +%s%N) - start) / 1000)) >>"$work/git.us"
    done
    git_ms=$(sort -n "$work/git.us" | python3 -c 'import statistics, sys; print(statistics.median(int(l) for l in sys.stdin) / 1000)')
fi

"$parser" --benchmark_repetitions="$runs" --benchmark_report_aggregates_only=true \
    --benchmark_format=json "$work/status.out" >"$work/parse.json"

python3 - "$git_ms" "$work/parse.json" "$runs" <<'PY'
import json, sys
git_ms = float(sys.argv[1])
scale = {"ns": 1e-6, "us": 1e-3, "ms": 1.0, "s": 1000.0}
for b in json.load(open(sys.argv[2]))["benchmarks"]:
    if b.get("aggregate_name") == "median":
        parse_ms = b["real_time"] * scale[b["time_unit"]]
print(f"medians of {sys.argv[3]} runs")
print(f"  git status               {git_ms:9.2f} ms")
print(f"  GitSnapshot::parse       {parse_ms:9.2f} ms")
print(f"  parse / git              {parse_ms / git_ms:9.3f}  (target < 0.05)")
PY
