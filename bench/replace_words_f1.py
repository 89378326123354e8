#!/usr/bin/env python3
"""Replaces every item of each file's first page by its own text and
compares the words pdftotext reads before and after.

For every PDF of a folder whose first page has text items, `zopra-pdf
replace` draws each item's own text in DejaVu Sans (shrunk to the item's
width where needed); the result must pass `qpdf --check`, and its first
page's words (NFKC-normalised multisets, as text_words_f1.py counts them)
are compared with the original's. Prints the F1 score per file, the median,
and the files below 0.8.

usage: replace_words_f1.py [--tool build/tools/zopra-pdf] [FOLDER]
"""
import argparse
import json
import os
import statistics
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from text_words_f1 import f1, read_tsv, run, words  # noqa: E402


def first_page_words(path):
    text = run(["pdftotext", "-enc", "UTF-8", "-f", "1", "-l", "1", path, "-"])
    return None if text is None else words(text)


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    parser = argparse.ArgumentParser()
    parser.add_argument("--tool", default=os.path.join(here, "..", "build", "tools", "zopra-pdf"))
    parser.add_argument("folder", nargs="?", default=os.path.join(here, "..", "..", "shared", "corpus"))
    args = parser.parse_args()

    oracle = read_tsv(os.path.join(args.folder, "ORACLE.tsv"))
    scores = {}
    rejected = []
    with tempfile.TemporaryDirectory() as work:
        for name in sorted(os.listdir(args.folder)):
            row = oracle.get(name, {})
            if not name.endswith(".pdf") or row.get("pdftotext_rc", "0") != "0" or row.get("password"):
                continue
            path = os.path.join(args.folder, name)
            listing = run([args.tool, "items", path, "--page", "1", "--json"])
            items = json.loads(listing)["pages"][0]["items"] if listing else []
            before = first_page_words(path)
            if not items or not before:
                continue
            map_path = os.path.join(work, "map.json")
            with open(map_path, "w", encoding="utf-8") as f:
                json.dump([{"page": 1, "item": i["item"], "text": i["text"]} for i in items], f)
            out = os.path.join(work, "out.pdf")
            replaced = subprocess.run([args.tool, "replace", path, out, "--map", map_path], capture_output=True)
            if replaced.returncode != 0:
                print(f"  fail  {name}: {replaced.stderr.decode('utf-8', 'replace').strip()}")
                rejected.append(name)
                continue
            # qpdf exits 2 on errors, 3 on warnings only.
            if subprocess.run(["qpdf", "--check", out], capture_output=True).returncode == 2:
                print(f" qpdf!  {name}")
                rejected.append(name)
            after = first_page_words(out) or words("")
            scores[name] = f1(after, before)
            print(f"{scores[name]:6.3f}  {name}")
            os.remove(out)

    if not scores:
        print("no files compared")
        return 1
    print(f"\nfiles: {len(scores)}  median F1: {statistics.median(scores.values()):.3f}"
          f"  mean F1: {statistics.mean(scores.values()):.3f}")
    print("below 0.8: " + (", ".join(n for n, s in sorted(scores.items()) if s < 0.8) or "none"))
    print("failed or rejected by qpdf: " + (", ".join(rejected) or "none"))
    return 0 if not rejected else 1


if __name__ == "__main__":
    sys.exit(main())
