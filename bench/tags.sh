#!/bin/bash
# Loading a tag library of 50,000 tagged items (target: under 200 ms in process),
# in process through the tag store, and whole programs: `quillo-tool tags` (reads
# the library, looks one path up) against Python's json.load of the same file.
# Usage: bench/tags.sh [BUILD_DIR]   (default: build)
set -euo pipefail

build=${1:-build}
tool=$(realpath "$build/bin/quillo-tool")
runs=${RUNS:-10}
items=${ITEMS:-50000}

work=$(mktemp -d "${TMPDIR:-/var/tmp}/quillo-bench-tags-XXXXXX")
trap 'rm -rf "$work"' EXIT
library="$work/tags.json"

python3 - "$library" "$items" <<'PY'
import base64, json, os, struct, sys, uuid
path, count = sys.argv[1], int(sys.argv[2])
tags = [{"color": "#3478F6", "id": str(uuid.uuid4()).upper(), "name": name}
        for name in [f"分類{i}" for i in range(10)] +
                    [f"分類{i % 10}/Client {i}" for i in range(10, 30)] +
                    [f"分類{i % 10}/Client {10 + i % 20}/年度 {2000 + i}" for i in range(30, 60)]]
tags.append({"color": "#FFD60A", "id": "00000000-0000-0000-0000-0000000FA001", "name": "お気に入り"})
items = []
for i in range(count):
    bookmark = base64.b64encode(b"QBM1" + struct.pack("<QQ", 2049, 1000000 + i)).decode()
    items.append({"bookmark": bookmark,
                  "path": f"/home/user/プロジェクト/{i // 100}/資料 {i}.pdf",
                  "tagIDs": sorted(tags[(i * 7 + k * 13) % 60]["id"] for k in range(i % 3 + 1))})
items.sort(key=lambda item: item["path"])
with open(path, "w", encoding="utf-8") as out:
    json.dump({"items": items, "manualOrder": False, "tags": tags}, out,
              ensure_ascii=False, indent=4, sort_keys=True)
PY
echo "library: $items items, $(du -h "$library" | cut -f1)"

echo
echo "== in process (TagStoreBench, median of 5)"
"$build/bin/TagStoreBench" --benchmark_repetitions=5 --benchmark_report_aggregates_only=true \
    2>/dev/null | grep -E "median|^Benchmark"

echo
echo "== whole programs (hyperfine, $runs runs)"
export QUILLO_TAGS_PATH="$library"
hyperfine --warmup 2 --runs "$runs" --export-json "$work/h.json" -N \
    "$tool tags /home/user/プロジェクト/3/資料\ 300.pdf" \
    "python3 -c 'import json,sys; json.load(open(sys.argv[1], encoding=\"utf-8\"))' $library" \
    >/dev/null
"$(dirname "$0")/hyperfine-ratio" "$work/h.json" "quillo-tool tags" "python3 json.load" python
