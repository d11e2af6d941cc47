#!/bin/bash
# Copies a 2 GiB file and a tree of 50,000 small files in 5,000 folders within one
# file system with quillo-tool and with cp -a, in one run, and prints medians and ratios.
# As root the 2 GiB file is also copied with a cold page cache (dropped before each run
# of either tool), so that the source is read from the disk as after a reboot.
# As root it works on a journaled ext4 loop image made here (the root file system of
# the build machines has no journal, which makes creating files after a large delete
# many times slower for every tool); otherwise it says so and uses $TMPDIR.
# Usage: bench/copy.sh [BUILD_DIR]   (default: build)
set -euo pipefail

build=${1:-build}
tool=$(realpath "$build/bin/quillo-tool")
runs=${RUNS:-5}

work=$(mktemp -d "${TMPDIR:-/var/tmp}/quillo-bench-copy-XXXXXX")
mounted=
cleanup() {
    if [ -n "$mounted" ]; then umount "$work/fs" || umount -l "$work/fs"; fi
    rm -rf "$work"
}
trap cleanup EXIT

where="$work/fs"
mkdir -p "$where"
if [ "$(id -u)" -eq 0 ] && command -v mkfs.ext4 >/dev/null; then
    truncate -s 12G "$work/image"
    # Inode tables and journal zeroed now, not by a kernel thread during the timings.
    mkfs.ext4 -q -F -O has_journal -E lazy_itable_init=0,lazy_journal_init=0 "$work/image"
    mount -o loop "$work/image" "$where"
    mounted=yes
    echo "file system: journaled ext4 loop image ($work/image, 12 GiB sparse)"
else
    echo "file system: could not make a journaled ext4 loop image (needs root);" \
        "using $where on $(df --output=fstype "$where" | tail -n 1)"
fi

data="$where/data"
out="$where/out"
mkdir -p "$data/tree" "$out"

echo "making the data ..." >&2
dd if=/dev/urandom of="$data/big" bs=8M count=256 status=none
# 5,000 folders of 10 files, sizes from 0 to about 8 KB, some modes and links.
python3 - "$data/tree" <<'PY'
import os, sys, random
root = sys.argv[1]
random.seed(1)
payload = os.urandom(9000)
for d in range(5000):
    folder = os.path.join(root, f"d{d // 100:02d}", f"folder {d}")
    os.makedirs(folder, exist_ok=True)
    for f in range(10):
        path = os.path.join(folder, f"file{f}.txt")
        with open(path, "wb") as out:
            out.write(payload[: random.randrange(0, 8192)])
        if f == 9:
            os.chmod(path, 0o600)
PY
sync

clone=no
if cp --reflink=always "$data/big" "$out/probe" 2>/dev/null; then clone=yes; fi
rm -f "$out/probe"
echo "file system clones (FICLONE): $clone"

# Rounds run the tools in turn, so that the page cache's write-back, which decides
# much of a 2 GiB copy's time, weighs on each alike. Times in milliseconds.
timed() { # label command...
    local label=$1
    shift
    rm -rf "$out" && mkdir "$out" && sync
    if [[ $label == cold:* ]]; then
        echo 3 >/proc/sys/vm/drop_caches
        # Only the data is cold: a copy is started from a running file manager, so
        # the programs and their libraries are read back in before the clock starts.
        "$tool" >/dev/null 2>&1 || true
        cp --version >/dev/null
    fi
    local start end
    start=$(date +%s%N)
    "$@" 2>/dev/null
    end=$(date +%s%N)
    echo "$label $(((end - start) / 1000000))" >>"$work/times"
}

rounds() { # group, then label/command pairs as "label|command"
    local group=$1
    shift
    for round in $(seq 0 "$runs"); do # round 0 warms up and is not counted
        for pair in "$@"; do
            local label=${pair%%|*}
            if [ "$round" -eq 0 ]; then
                rm -rf "$out" && mkdir "$out"
                bash -c "${pair#*|}" >/dev/null 2>&1
                rm -rf "$out" && mkdir "$out" && sync
            else
                timed "$group:$label" bash -c "${pair#*|}"
            fi
        done
    done
}

: >"$work/times"
large=("quillo --progress|'$tool' copy --progress '$data/big' '$out'"
    "cp -a|cp -a '$data/big' '$out/big'")
[ "$clone" = yes ] && large+=("cp -a --reflink=never|cp -a --reflink=never '$data/big' '$out/big'")
rounds large "${large[@]}"

if [ "$(id -u)" -eq 0 ]; then
    rounds cold "quillo --progress|'$tool' copy --progress '$data/big' '$out'" \
        "cp -a|cp -a '$data/big' '$out/big'"
else
    echo "cold page cache: dropping it needs root; not measured"
fi

tree=("quillo --progress|'$tool' copy --progress '$data/tree' '$out'"
    "quillo|'$tool' copy '$data/tree' '$out'"
    "cp -a|cp -a '$data/tree' '$out/tree'")
[ "$clone" = yes ] && tree+=("cp -a --reflink=never|cp -a --reflink=never '$data/tree' '$out/tree'")
rounds tree "${tree[@]}"

python3 - "$work/times" "$runs" <<'PY'
import statistics, sys
times = {}
for line in open(sys.argv[1]):
    label, ms = line.rsplit(" ", 1)
    times.setdefault(label, []).append(int(ms))
print(f"medians of {sys.argv[2]} interleaved runs after one warm-up round")
for group, title, target in (("large", "2 GiB file", 1.05),
                             ("cold", "2 GiB file, cold page cache", 1.10),
                             ("tree", "50,000 files in 5,000 folders", 1.10)):
    m = {k.split(":", 1)[1]: statistics.median(v) for k, v in times.items()
         if k.startswith(group + ":")}
    if not m:
        continue
    print(f"== {title}")
    for name, ms in m.items():
        runs = " ".join(str(t) for t in times[group + ":" + name])
        print(f"  {name:24s} median {ms:7.0f} ms   ({runs})")
    q = m["quillo --progress"]
    print(f"  quillo --progress / cp -a   {q / m['cp -a']:.3f}  (target <= {target})")
    if "cp -a --reflink=never" in m:
        print(f"  quillo --progress / cp -a --reflink=never   {q / m['cp -a --reflink=never']:.3f}")
    if "quillo" in m:
        print(f"  progress on / off           {q / m['quillo']:.3f}")
PY
