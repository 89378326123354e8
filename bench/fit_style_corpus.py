#!/usr/bin/env python3
"""Measures how `zopra-pdf replace` keeps size, place and style on real pages.

For the first pages of every PDF of a folder, every other item is replaced by
a pseudo-translation (each word given accents and made about 30% longer) with
the tool's default font choice. The original and the output are then read
with the Python package, and the script prints:
- of the replaced items whose new text fits their room at the item's size
  (judged from the output: its width scaled back to that size), how many
  kept the size;
- how many new texts overlap a kept item that the original did not, and
  how many left-aligned ones are still wider than their room as drawn;
- of the bold, italic and monospace items, how many got a matching face
  (by the style the library reads from the new font);
- of the centred items, how many stayed centred (centre within 1 point);
- per script (Greek, Cyrillic, Japanese: the pseudo-translation written in
  its letters), how many of the characters drawn pdftotext reads back.

usage: fit_style_corpus.py [--pages N] [--tool build/tools/zopra-pdf] [FOLDER]
Needs the Python package on PYTHONPATH (bindings/python) and the library
(ZOPRA_DOCUMENT_LOADER_LIBRARY, or the package's bundled copy).
"""
import argparse
import collections
import json
import os
import subprocess
import sys
import tempfile
import unicodedata

from zopra_document_loader import Alignment, Document

ACCENTS = str.maketrans("aeiouyAEIOUYcnsz", "áéíöüýÁÉÍÖÜÝçñšž")
# Pseudo-translations into other scripts: each letter of the accented
# Latin one becomes a letter of the script (Japanese: one kana for two
# letters, as wide as the Latin word).
GREEK = dict(zip("abcdefghijklmnopqrstuvwxyz", "αβψδεφγηιξκλμνοπρστθωςχυζ"))
CYRILLIC = dict(zip("abcdefghijklmnopqrstuvwxyz", "абцдефгхийклмнопярстужвхыз"))
KANA = "アイウエオカキクケコサシスセソタチツテトナニヌネノハヒフヘホマミムメモヤユヨラリルレロワン"


def in_script(text, script):
    plain = unicodedata.normalize("NFKD", text)
    letters = [c.lower() for c in plain if c.isalpha() and c.isascii()]
    if script == "Japanese":
        words = []
        for word in text.split():
            codes = [ord(c) for c in unicodedata.normalize("NFKD", word) if c.isalpha() and c.isascii()]
            words.append("".join(KANA[(codes[i] * 7 + i) % len(KANA)] for i in range(0, len(codes), 2)))
        return " ".join(w for w in words if w) or KANA[0]
    table = GREEK if script == "Greek" else CYRILLIC
    out = "".join(table.get(c, c) if c.isalpha() else c for c in (ch.lower() for ch in plain)
                  if not unicodedata.combining(c))
    return out if letters else text


SCRIPTS = ("Greek", "Cyrillic", "Japanese")


def pseudo(text):
    words = []
    for word in text.split():
        extra = word[: max(1, (len(word) * 3 + 9) // 10)]
        words.append((word + extra.lower()).translate(ACCENTS))
    return " ".join(words)


def normal(text):
    return " ".join(unicodedata.normalize("NFKC", text).split())


def read_page(document, index):
    """Per item of the page: (item, style, room in points, alignment)."""
    page = document.page(index)
    out = []
    for item in page.items():
        scale = (item.matrix[0] ** 2 + item.matrix[1] ** 2) ** 0.5
        out.append((item, page.style(item), page.room(item) * scale, page.alignment(item), scale))
    return out


def overlaps(a, b, tolerance=0.5):
    """Whether boxes (x0, y0, x1, y1) overlap by more than the tolerance in both directions."""
    return (min(a[2], b[2]) - max(a[0], b[0]) > tolerance and
            min(a[3], b[3]) - max(a[1], b[1]) > (min(a[3] - a[1], b[3] - b[1])) * 0.3)


def replace(tool, path, entries, out):
    with tempfile.NamedTemporaryFile("w", suffix=".json", delete=False, encoding="utf-8") as f:
        json.dump(entries, f, ensure_ascii=False)
        map_path = f.name
    try:
        result = subprocess.run([tool, "replace", path, out, "--map", map_path], capture_output=True, timeout=600)
    finally:
        os.unlink(map_path)
    return result.returncode == 0


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    parser = argparse.ArgumentParser()
    parser.add_argument("--tool", default=os.path.join(here, "..", "build", "tools", "zopra-pdf"))
    parser.add_argument("--pages", type=int, default=2)
    parser.add_argument("folder", nargs="?", default=os.path.join(here, "..", "..", "shared", "corpus"))
    args = parser.parse_args()

    totals = dict.fromkeys(["fits", "fits_kept", "replaced", "overlap", "overflow", "left", "styled", "styled_ok", "centred",
                            "centred_ok", "unmatched"], 0)
    scripts = {name: [0, 0] for name in SCRIPTS}
    work = tempfile.mkdtemp()
    for name in sorted(os.listdir(args.folder)):
        if not name.endswith(".pdf"):
            continue
        path = os.path.join(args.folder, name)
        try:
            with Document(path) as document:
                pages = {p: read_page(document, p) for p in range(min(args.pages, len(document)))}
        except Exception:  # unreadable or encrypted files are not this measure's concern
            continue
        chosen = {(p, i): pseudo(entry[0].text) for p, items in pages.items()
                  for i, entry in enumerate(items) if i % 2 == 0 and entry[0].text.strip()}
        if not chosen:
            continue
        out = os.path.join(work, "out.pdf")
        entries = [{"page": p + 1, "item": i + 1, "text": text} for (p, i), text in chosen.items()]
        if not replace(args.tool, path, entries, out):
            print(f"{name}: replace failed", file=sys.stderr)
            continue
        with Document(out) as document:
            for p, items in pages.items():
                drawn = {}
                for item, style, _, _, scale in read_page(document, p):
                    drawn.setdefault(normal(item.text), []).append((item, style, scale))
                kept_boxes = [entry[1].box for i, entry in enumerate(items) if (p, i) not in chosen]
                for i, (item, style, room, alignment, scale) in enumerate(items):
                    if (p, i) not in chosen:
                        continue
                    totals["replaced"] += 1
                    found = drawn.get(normal(chosen[(p, i)]))
                    if not found:
                        totals["unmatched"] += 1
                        continue
                    new, new_style, new_scale = found.pop(0)
                    at_size = new.width * new_scale * style.shown_size / max(new_style.shown_size, 1e-9)
                    if at_size <= room + 0.01:
                        totals["fits"] += 1
                        totals["fits_kept"] += abs(new_style.shown_size - style.shown_size) < 0.01
                    # Only overlaps the original item did not have already
                    # (text drawn over text in the input, or touching boxes).
                    totals["overlap"] += any(overlaps(new_style.box, box) and not overlaps(style.box, box)
                                             for box in kept_boxes)
                    if alignment == Alignment.LEFT:
                        totals["left"] += 1
                        totals["overflow"] += at_size * new_style.shown_size / style.shown_size > room + 0.01
                    wanted = (style.bold, style.italic, style.fixed_pitch)
                    if any(wanted):
                        totals["styled"] += 1
                        totals["styled_ok"] += all(not w or g for w, g in
                                                   zip(wanted, (new_style.bold, new_style.italic,
                                                                new_style.fixed_pitch)))
                    if alignment == Alignment.CENTER:
                        totals["centred"] += 1
                        old_centre = (style.box[0] + style.box[2]) / 2
                        new_centre = (new_style.box[0] + new_style.box[2]) / 2
                        totals["centred_ok"] += abs(old_centre - new_centre) <= 1.0
        for script in SCRIPTS:
            script_entries = [dict(entry, text=in_script(entry["text"], script)) for entry in entries]
            if not replace(args.tool, path, script_entries, out):
                continue
            read = subprocess.run(["pdftotext", "-enc", "UTF-8", "-l", str(args.pages), out, "-"],
                                  capture_output=True).stdout.decode("utf-8", "replace")
            # Characters of the script, as a multiset: read back completely
            # when every one drawn is read.
            wanted = collections.Counter(c for e in script_entries for c in e["text"] if ord(c) > 0x2FF)
            found = collections.Counter(c for c in read if ord(c) > 0x2FF)
            scripts[script][0] += sum(wanted.values())
            scripts[script][1] += sum((wanted & found).values())
        print(f"{name}: {len(chosen)} items replaced", flush=True)

    def share(part, whole):
        return f"{part}/{whole} ({100.0 * part / whole:.1f}%)" if whole else "0/0"

    print()
    print(f"replaced items:                  {totals['replaced']} ({totals['unmatched']} not found in the output)")
    print(f"fit their room and kept size:    {share(totals['fits_kept'], totals['fits'])}")
    print(f"new text overlapping kept items: {share(totals['overlap'], totals['replaced'])}")
    print(f"left-aligned, wider than room:   {share(totals['overflow'], totals['left'])}")
    print(f"bold/italic/mono matched:        {share(totals['styled_ok'], totals['styled'])}")
    print(f"centred stayed centred:          {share(totals['centred_ok'], totals['centred'])}")
    for script, (total, read) in scripts.items():
        print(f"{script + ' read back:':32} {share(read, total)}")


if __name__ == "__main__":
    main()
