#!/bin/bash
# Markdown to HTML on a ~10 MB README-like document (headings, paragraphs with emphasis,
# links and code, nested and task lists, tables, fenced code, quotes, Japanese text),
# then on ~10 MB of plain prose paragraphs: `quillo-tool markdown` against cmark-gfm with
# its GitHub extensions and against md4c (bench/md4c-html.c over md_html), each document
# in one hyperfine run; prints the medians and the ratios (target: 1.0 or less against
# cmark-gfm). On prose the renderer has little to do, so reading, decoding and writing
# the text show.
# Usage: bench/markdown.sh [BUILD_DIR]   (default: build)
set -euo pipefail

build=${1:-build}
tool=$(realpath "$build/bin/quillo-tool")
here=$(dirname "$0")
runs=${RUNS:-10}
megabytes=${MARKDOWN_MB:-10}

for program in hyperfine cmark-gfm python3 cc pkg-config; do
    command -v "$program" >/dev/null || { echo "needs $program (scripts/install-deps)" >&2; exit 1; }
done

work=$(mktemp -d "${TMPDIR:-/var/tmp}/quillo-bench-markdown-XXXXXX")
trap 'rm -rf "$work"' EXIT
doc="$work/README.md"
prose="$work/prose.md"
md4c="$work/md4c-html"
# shellcheck disable=SC2046
cc -O2 -o "$md4c" "$here/md4c-html.c" $(pkg-config --cflags --libs md4c-html)

python3 - "$doc" "$megabytes" <<'PY'
import random, sys
path, megabytes = sys.argv[1], float(sys.argv[2])
random.seed(11)
words = ("the file manager shows every folder in a pane and copies between them while "
         "tags and the palette keep track of history preview renders markdown quickly").split()
japanese = ["ファイル", "フォルダ", "プレビュー", "日本語の文章", "見出し", "検索", "設定", "タグ"]

def sentence():
    parts = []
    for _ in range(random.randint(8, 20)):
        r = random.random()
        w = random.choice(words)
        if r < 0.015: w = f"**{w}**"
        elif r < 0.03: w = f"*{w}*"
        elif r < 0.05: w = f"`{w}()`"
        elif r < 0.06: w = f"[{w}](https://example.com/{w}/{random.randint(1, 999)})"
        elif r < 0.063: w = f"https://quillo.app/docs/{w}."
        elif r < 0.14: w = random.choice(japanese)
        elif r < 0.142: w = f"~~{w}~~"
        elif r < 0.147: w = f"{w}_{random.choice(words)}"
        parts.append(w)
    return " ".join(parts).capitalize() + "."

def paragraph():
    return "\n".join(sentence() for _ in range(random.randint(2, 5)))

def section(n):
    out = [f"## {random.choice(words).title()} {random.choice(japanese)} {n}", "", paragraph(), ""]
    kind = n % 6
    if kind == 0:
        for i in range(random.randint(3, 6)):
            out.append(f"- {sentence()}")
            if i % 2:
                out.append(f"  - [{'x' if i % 3 else ' '}] {sentence()}")
    elif kind == 1:
        out += ["| 名前 | Size | Kind |", "|:--|--:|:-:|"]
        out += [f"| `{random.choice(words)}.md` | {random.randint(1, 99999)} | {random.choice(japanese)} |"
                for _ in range(random.randint(4, 12))]
    elif kind == 2:
        out.append("```swift")
        out += [f"let {random.choice(words)} = \"{random.choice(japanese)}\" // <{n}> & more"
                for _ in range(random.randint(4, 15))]
        out.append("```")
    elif kind == 3:
        out += [f"> {sentence()}" for _ in range(random.randint(1, 4))]
    elif kind == 4:
        out += [f"{i}. {sentence()}" for i in range(1, random.randint(3, 7))]
    else:
        out += [f"### {random.choice(japanese)}", "", paragraph(), "", "---"]
    out += ["", paragraph(), ""]
    return "\n".join(out)

with open(path, "w", encoding="utf-8") as f:
    f.write("---\ntitle: Quillo\nversion: 1.0\n---\n\n# Quillo README\n\n")
    size, n = 0, 0
    while size < megabytes * 1_000_000:
        text = section(n) + "\n"
        f.write(text)
        size += len(text.encode())
        n += 1
PY
python3 - "$prose" "$megabytes" <<'PY'
import random, sys
path, megabytes = sys.argv[1], float(sys.argv[2])
random.seed(12)
words = ("lorem ipsum dolor sit amet consectetur adipiscing elit sed do eiusmod tempor "
         "incididunt ut labore et dolore magna aliqua ファイル 日本語の文章").split()
with open(path, "w", encoding="utf-8") as f:
    size = 0
    while size < megabytes * 1_000_000:
        lines = [" ".join(random.choice(words) for _ in range(12)) for _ in range(random.randint(3, 6))]
        text = "\n".join(lines) + "\n\n"
        f.write(text)
        size += len(text.encode())
PY

compare() {
    local file=$1 title=$2
    echo
    echo "== $title: $(du -h "$file" | cut -f1), $(wc -l <"$file") lines (hyperfine, $runs runs)"
    hyperfine --warmup 1 --runs "$runs" --export-json "$work/h.json" \
        "$tool markdown $file" \
        "cmark-gfm -e table -e strikethrough -e autolink -e tasklist $file" \
        "$md4c $file" \
        >/dev/null
    python3 - "$work/h.json" <<'PY'
import json, statistics, sys
labels = ["quillo-tool markdown", "cmark-gfm", "md4c"]
ms = [statistics.median(r["times"]) * 1000 for r in json.load(open(sys.argv[1]))["results"]]
for label, value in zip(labels, ms):
    print(f"{label:<26}median {value:7.1f} ms")
print(f"{'ratio (ours / cmark-gfm)':<33}{ms[0] / ms[1]:7.2f}")
print(f"{'ratio (ours / md4c)':<33}{ms[0] / ms[2]:7.2f}")
PY
}

compare "$doc" "README-like document"
compare "$prose" "plain prose"
