#!/bin/bash
# Zip archives of a tree of 20,000 files (about 600 MB) in 400 nested folders, half of
# the bytes generated log lines (compressible), half random (incompressible), a few
# files of several megabytes among many small ones:
#   compress: `quillo-tool compress DIR` against `zip -r -q -6` (Info-ZIP's default
#             level, which quillo uses too) and `bsdtar -a -cf out.zip`;
#   expand:   `quillo-tool expand` against `unzip -q` and `bsdtar -xf`, all on the
#             archive that zip made.
# Each tool runs RUNS times (default 3), interleaved, into a fresh output after a sync;
# no caches are dropped, so every tool reads a warm tree. Prints medians and the
# ratios to zip and unzip (targets: 1.0 or less).
# Usage: bench/archive.sh [BUILD_DIR]   (default: build)
set -euo pipefail

build=${1:-build}
tool=$(realpath "$build/bin/quillo-tool")
runs=${RUNS:-3}

for program in zip unzip bsdtar python3; do
    command -v "$program" >/dev/null || { echo "needs $program (scripts/install-deps)" >&2; exit 1; }
done

work=$(mktemp -d "${TMPDIR:-/tmp}/quillo-bench-archive-XXXXXX")
trap 'rm -rf "$work"' EXIT
data="$work/data"
out="$work/out"
mkdir -p "$data/tree" "$out"

echo "making the data ..." >&2
python3 - "$data/tree" <<'PY'
import os, random, sys
root = sys.argv[1]
random.seed(5)
words = ("request worker queue cache index folder preview tag palette copy move "
         "rename archive thumbnail session window pane").split()
levels = ["INFO", "DEBUG", "WARN", "ERROR"]
lines, size = [], 0
while size < 16 << 20:
    line = (f"2026-11-{random.randint(1, 30):02d} {random.randint(0, 23):02d}:"
            f"{random.randint(0, 59):02d}:{random.randint(0, 59):02d}.{random.randint(0, 999):03d} "
            f"{random.choice(levels)} {random.choice(words)}-{random.randint(1, 64)} "
            f"{' '.join(random.choices(words, k=random.randint(3, 9)))} "
            f"id={random.randint(1, 10**9)} took {random.randint(0, 5000)} ms\n")
    lines.append(line)
    size += len(line)
text = "".join(lines).encode()
total = 0
for n in range(20000):
    folder = os.path.join(root, f"group {n // 1000:02d}", f"folder {n // 50:03d}")
    os.makedirs(folder, exist_ok=True)
    size = random.randint(4, 6) << 20 if n % 400 == 7 else random.randint(0, 36000)
    if n % 2:
        start = random.randrange(0, len(text) - size)
        payload = text[start:start + size]
        name = f"log {n}.txt"
    else:
        payload = os.urandom(size)
        name = f"blob {n}.bin"
    with open(os.path.join(folder, name), "wb") as f:
        f.write(payload)
    total += size
print(f"tree: 20,000 files, {total / 1e6:.0f} MB", file=sys.stderr)
PY
sync

# Times in milliseconds, one line per run: "group:label ms".
timed() { # group:label command...
    local label=$1
    shift
    sync
    local start end
    start=$(date +%s%N)
    "$@" >/dev/null
    end=$(date +%s%N)
    echo "$label $(((end - start) / 1000000))" >>"$work/times"
}

: >"$work/times"
for round in $(seq 1 "$runs"); do
    rm -f "$data/tree.zip" && timed "compress:quillo" "$tool" compress "$data/tree"
    sizes="quillo $(stat -c %s "$data/tree.zip")"
    rm -f "$out/out.zip" && timed "compress:zip -r -q -6" bash -c "cd '$data' && zip -r -q -6 '$out/out.zip' tree"
    sizes="$sizes, zip $(stat -c %s "$out/out.zip")"
    rm -f "$out/out.zip" && timed "compress:bsdtar" bsdtar -a -cf "$out/out.zip" -C "$data" tree
done
rm -f "$data/tree.zip"
# The archive of the peer, so that the expanding side reads what any zip writer makes.
(cd "$data" && zip -r -q -6 "$work/in.zip" tree)

for round in $(seq 1 "$runs"); do
    rm -rf "$work/tree" && timed "expand:quillo" "$tool" expand "$work/in.zip"
    rm -rf "$out" && mkdir "$out" && timed "expand:unzip -q" unzip -q "$work/in.zip" -d "$out"
    rm -rf "$out" && mkdir "$out" && timed "expand:bsdtar" bsdtar -xf "$work/in.zip" -C "$out"
done
echo "archive bytes: $sizes"

python3 - "$work/times" "$runs" <<'PY'
import statistics, sys
times = {}
for line in open(sys.argv[1]):
    label, ms = line.rsplit(" ", 1)
    times.setdefault(label, []).append(int(ms))
print(f"medians of {sys.argv[2]} interleaved runs")
for group, peer in (("compress", "zip -r -q -6"), ("expand", "unzip -q")):
    m = {k.split(":", 1)[1]: statistics.median(v) for k, v in times.items()
         if k.startswith(group + ":")}
    print(f"== {group}")
    for name, ms in m.items():
        runs = " ".join(str(t) for t in times[group + ":" + name])
        print(f"  {name:14s} median {ms:7.0f} ms   ({runs})")
    print(f"  quillo / {peer}   {m['quillo'] / m[peer]:.3f}  (target <= 1.0)")
    print(f"  quillo / bsdtar   {m['quillo'] / m['bsdtar']:.3f}")
PY
