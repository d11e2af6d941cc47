#!/bin/bash
# Lists a 100,000-item folder with quillo-tool and with ls -l and find, warm cache,
# in one run, and prints the medians and ratios.
# Usage: bench/listing.sh [BUILD_DIR]   (default: build)
set -euo pipefail

build=${1:-build}
tool=$(realpath "$build/bin/quillo-tool")
data=${TMPDIR:-/tmp}/quillo-bench-listing-100k
count=100000
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

for program in hyperfine /usr/bin/time; do
    command -v "$program" >/dev/null || { echo "needs $program" >&2; exit 1; }
done

# Names of every shape a real folder has: digit runs, mixed case, Japanese, dot-files,
# no extension; sizes vary by group so that sorting by size has work to do.
make_data() {
    rm -rf "$data.partial"
    mkdir -p "$data.partial"
    (
        cd "$data.partial"
        awk -v n="$count" 'BEGIN {
            split("txt JPG png pdf docx tar.gz c h md", ext, " ");
            for (i = 0; i < n - 200; i++) {
                k = i % 8;
                if (k == 0) name = sprintf("file%d.%s", i, ext[i % 9 + 1]);
                else if (k == 1) name = sprintf("IMG_%05d.JPG", i);
                else if (k == 2) name = sprintf("報告書_%d.docx", i);
                else if (k == 3) name = sprintf(".dot%d", i);
                else if (k == 4) name = sprintf("Report %d v%d.pdf", i, i % 13);
                else if (k == 5) name = sprintf("data-%x", i * 2654435761 % 4294967296);
                else if (k == 6) name = sprintf("写真 %d.png", i);
                else name = sprintf("MixedCase_%d_File.%s", i, ext[i % 9 + 1]);
                print name > ("group" (i % 50));
            }
        }'
        for g in $(seq 0 49); do
            xargs -d "\n" truncate -s $((g * 997)) <"group$g"
            rm "group$g"
        done
        for i in $(seq 1 100); do mkdir "folder$i"; done
        for i in $(seq 1 50); do ln -s "file$((i * 8)).txt" "link$i"; done
        for i in $(seq 1 30); do ln -s "folder$i" "linkdir$i"; done
        for i in $(seq 1 20); do ln -s "missing$i" "dangling$i"; done
    )
    mv "$data.partial" "$data"
}

if [ ! -d "$data" ] || [ "$(find "$data" -mindepth 1 -maxdepth 1 | wc -l)" -ne "$count" ]; then
    echo "making $count items in $data ..." >&2
    rm -rf "$data"
    make_data
fi

hyperfine --warmup 2 --runs 10 --style basic --export-json "$work/result.json" \
    -n quillo-name "$tool list --sort name $data >/dev/null" \
    -n quillo-size "$tool list --sort size $data >/dev/null" \
    -n quillo-kind "$tool list --sort kind $data >/dev/null" \
    -n ls "ls -l --color=never $data >/dev/null" \
    -n find "find $data -maxdepth 1 -printf '%y %s %T@ %p\n' >/dev/null" >&2

peak() { /usr/bin/time -f %M "$@" 2>&1 >/dev/null | tail -n 1; }

python3 - "$work/result.json" <<'EOF'
import json, sys
results = {r["command"]: r["median"] * 1000 for r in json.load(open(sys.argv[1]))["results"]}
for name, ms in results.items():
    print(f"{name:12s} median {ms:8.1f} ms")
q = results["quillo-name"]
print(f"quillo/ls   {q / results['ls']:.2f}  (target <= 1.0)")
print(f"quillo/find {q / results['find']:.2f}  (target <= 1.5)")
EOF
echo "peak memory: quillo $(peak "$tool" list --sort name "$data") KiB," \
    "ls $(peak ls -l --color=never "$data") KiB, find $(peak find "$data" -maxdepth 1 -printf '%y %s %T@ %p\n') KiB"
echo "items: $count in $data"
