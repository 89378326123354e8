#!/usr/bin/env python3
"""Measures `zopra-pdf segments` against pdftotext, and the round trip.

For every PDF of a folder that pdftotext reads (per ORACLE.tsv when present):
- the words of all segments against the words of pdftotext (NFKC, split on
  white space, hyphens at line ends joined back on both sides as well as
  possible: compared as word multisets), as an F1 score;
- the number of words per segment (the median over all segments);
- with --round-trip, `zopra-pdf replace --segments` with every segment's text
  unchanged, and the F1 of pdftotext's words of the result against those of
  the input.

usage: segments_words_f1.py [--tool build/tools/zopra-pdf] [--round-trip]
                            [--max-pages N] [FOLDER|FILE...]
"""
import argparse
import collections
import json
import os
import statistics
import subprocess
import sys
import tempfile
import unicodedata

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from text_words_f1 import f1, read_tsv, run  # noqa: E402


def words(text):
    # pdftotext keeps a hyphen at a line end and breaks the word; the
    # segments join it back. Both sides are compared with every hyphen
    # dropped and words split there.
    text = unicodedata.normalize("NFKC", text).replace("-\n", "").replace("-", " ")
    return collections.Counter(text.split())


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    parser = argparse.ArgumentParser()
    parser.add_argument("--tool", default=os.path.join(here, "..", "build", "tools", "zopra-pdf"))
    parser.add_argument("--round-trip", action="store_true")
    parser.add_argument("--max-pages", type=int, default=50)
    parser.add_argument("paths", nargs="*", default=[os.path.join(here, "..", "..", "shared", "corpus")])
    args = parser.parse_args()

    files = []
    for path in args.paths:
        if os.path.isdir(path):
            oracle = read_tsv(os.path.join(path, "ORACLE.tsv"))
            for name in sorted(os.listdir(path)):
                row = oracle.get(name, {})
                if name.endswith(".pdf") and row.get("pdftotext_rc", "0") == "0" and not row.get("password"):
                    files.append(os.path.join(path, name))
        else:
            files.append(path)
    scores, trips, sizes = {}, {}, []
    pages = ["-f", "1", "-l", str(args.max_pages)]
    with tempfile.TemporaryDirectory() as work:
        for path in files:
            name = os.path.basename(path)
            theirs = run(["pdftotext", "-enc", "UTF-8"] + pages + [path, "-"])
            if theirs is None:
                continue
            out = run([args.tool, "segments"] + pages + [path, "-"], need_success=False)
            try:
                segments = json.loads(out or "")["segments"]
            except ValueError:
                segments = []
            scores[name] = f1(words(" ".join(s["text"] for s in segments)), words(theirs))
            sizes += [len(s["text"].split()) for s in segments]
            line = f"{scores[name]:6.3f}  {len(segments):6d} segments"
            if args.round_trip and segments:
                listing = os.path.join(work, "segments.json")
                result = os.path.join(work, "result.pdf")
                with open(listing, "w", encoding="utf-8") as f:
                    json.dump({"segments": segments}, f)
                run([args.tool, "replace", path, result, "--segments", listing], need_success=False)
                back = run(["pdftotext", "-enc", "UTF-8"] + pages + [result, "-"]) if os.path.exists(result) else None
                trips[name] = f1(words(back or ""), words(theirs))
                line += f"  round trip {trips[name]:6.3f}"
                if os.path.exists(result):
                    os.remove(result)
            print(f"{line}  {name}", flush=True)
    if not scores:
        print("no files compared")
        return 1
    print(f"\nfiles: {len(scores)}  median F1: {statistics.median(scores.values()):.3f}"
          f"  mean F1: {statistics.mean(scores.values()):.3f}")
    if sizes:
        print(f"segments: {len(sizes)}  median words per segment: {statistics.median(sizes)}"
              f"  mean: {statistics.mean(sizes):.1f}")
    if trips:
        print(f"round trip: median F1 {statistics.median(trips.values()):.3f}"
              f"  minimum {min(trips.values()):.3f}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
