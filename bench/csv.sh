#!/bin/bash
# CSV preview of a file of about 200 MB (quoted fields, line breaks inside quotes,
# Japanese text): `quillo-tool csv` (checks the whole file for UTF-8, renders the first
# 2,000 rows) against Python reading and decoding the whole file, and Miller printing
# the first 2,000 records as JSON, in one run (target: ratio to Python 0.5 or less).
# Usage: bench/csv.sh [BUILD_DIR]   (default: build)
set -euo pipefail

build=${1:-build}
tool=$(realpath "$build/bin/quillo-tool")
runs=${RUNS:-10}
megabytes=${CSV_MB:-200}

for program in hyperfine python3 mlr; do
    command -v "$program" >/dev/null || { echo "needs $program (scripts/install-deps)" >&2; exit 1; }
done

work=$(mktemp -d "${TMPDIR:-/var/tmp}/quillo-bench-csv-XXXXXX")
trap 'rm -rf "$work"' EXIT
csv="$work/orders.csv"

python3 - "$csv" "$megabytes" <<'PY'
import random, sys
path, size = sys.argv[1], int(sys.argv[2]) * 1000 * 1000
random.seed(3)
names = ["山田 太郎", "佐藤 花子", "Suzuki Ichiro", "高橋 \"タカ\" 健", "田中, 美咲", "Smith, John"]
items = ["ノートパソコン", "ケーブル 2m", "モニター 27インチ", "keyboard", "マウス（無線）"]
notes = ["", "至急", "配送先:\n東京都千代田区1-1", "see \"terms\"", "返品可;保証1年"]
def quoted(text):
    return '"' + text.replace('"', '""') + '"'
with open(path, "w", encoding="utf-8", newline="") as out:
    out.write("注文番号,顧客,商品,数量,単価,金額,備考\r\n")
    written, n = 0, 0
    lines = []
    while written < size:
        n += 1
        quantity = random.randint(1, 20)
        price = random.randint(100, 200000)
        line = ",".join([str(100000 + n), quoted(random.choice(names)), quoted(random.choice(items)),
                         str(quantity), quoted(f"¥{price:,}"), quoted(f"{quantity * price:,}"),
                         quoted(random.choice(notes))]) + "\r\n"
        lines.append(line)
        written += len(line.encode())
        if len(lines) == 10000:
            out.write("".join(lines))
            lines = []
    out.write("".join(lines))
PY
echo "file: $(du -h --apparent-size "$csv" | cut -f1), $(wc -l <"$csv") lines"
echo "data rows shown: $("$tool" csv "$csv" | grep -c "^<tr>")"

hyperfine --warmup 2 --runs "$runs" --export-json "$work/h.json" \
    "$tool csv $csv" \
    "python3 -c \"open('$csv','rb').read().decode('utf-8')\"" \
    "mlr --icsv --ojson head -n 2000 $csv" \
    >/dev/null
python3 - "$work/h.json" <<'PY'
import json, statistics, sys
ours, python, mlr = (statistics.median(r["times"]) * 1000
                     for r in json.load(open(sys.argv[1]))["results"])
print(f"{'quillo-tool csv':<26}median {ours:7.1f} ms")
print(f"{'python3 decode':<26}median {python:7.1f} ms")
print(f"{'mlr head -n 2000':<26}median {mlr:7.1f} ms")
print(f"{'ratio (ours / python)':<33}{ours / python:7.2f}")
print(f"{'ratio (ours / mlr)':<33}{ours / mlr:7.2f}")
PY
