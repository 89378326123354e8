#!/usr/bin/env python3
"""Compares the words of `zopra-pdf text` with those of pdftotext.

For every PDF of a folder that pdftotext reads (per ORACLE.tsv when present),
both outputs are NFKC-normalised, stripped of format characters, split on
white space and compared as word multisets. A second score compares the
words as runs of letters, marks and digits alone, so that punctuation a
reader attaches to the wrong side of a word (pdftotext's "החוטים ,אני" in
right-to-left lines) does not count against either side. Prints both F1
scores per file, their medians, and the median per feature tag of
MANIFEST.tsv.

usage: text_words_f1.py [--tool build/tools/zopra-pdf] [FOLDER]
"""
import argparse
import collections
import os
import statistics
import subprocess
import sys
import unicodedata


def words(text):
    # Invisible format characters (pdftotext wraps right-to-left runs in
    # U+202A..U+202C embedding marks) are not part of any word.
    text = "".join(c for c in unicodedata.normalize("NFKC", text) if unicodedata.category(c) != "Cf")
    return collections.Counter(text.split())


def letter_words(text):
    kept = "".join(c if unicodedata.category(c)[0] in "LMN" else " " for c in unicodedata.normalize("NFKC", text))
    return collections.Counter(kept.split())


def f1(ours, theirs):
    if not ours and not theirs:
        return 1.0
    common = sum((ours & theirs).values())
    if common == 0:
        return 0.0
    precision = common / sum(ours.values())
    recall = common / sum(theirs.values())
    return 2 * precision * recall / (precision + recall)


def run(command, need_success=True):
    try:
        result = subprocess.run(command, capture_output=True, timeout=300)
    except subprocess.TimeoutExpired:
        return None
    if need_success and result.returncode != 0:
        return None
    return result.stdout.decode("utf-8", "replace")


def read_tsv(path):
    if not os.path.exists(path):
        return {}
    with open(path, encoding="utf-8") as f:
        header = f.readline().rstrip("\n").split("\t")
        return {row[0]: dict(zip(header, row))
                for row in (line.rstrip("\n").split("\t") for line in f)}


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    parser = argparse.ArgumentParser()
    parser.add_argument("--tool", default=os.path.join(here, "..", "build", "tools", "zopra-pdf"))
    parser.add_argument("folder", nargs="?", default=os.path.join(here, "..", "..", "shared", "corpus"))
    args = parser.parse_args()

    oracle = read_tsv(os.path.join(args.folder, "ORACLE.tsv"))
    manifest = read_tsv(os.path.join(args.folder, "MANIFEST.tsv"))
    scores = {}
    letters = {}
    for name in sorted(os.listdir(args.folder)):
        if not name.endswith(".pdf"):
            continue
        row = oracle.get(name, {})
        if row.get("pdftotext_rc", "0") != "0" or row.get("password"):
            continue
        path = os.path.join(args.folder, name)
        theirs = run(["pdftotext", "-enc", "UTF-8", path, "-"])
        if theirs is None:
            continue
        # A page that fails is reported by the tool but the others still count.
        ours = run([args.tool, "text", path, "-"], need_success=False)
        score = f1(words(ours or ""), words(theirs))
        scores[name] = score
        letters[name] = f1(letter_words(ours or ""), letter_words(theirs))
        print(f"{score:6.3f} {letters[name]:6.3f}  {name}")

    if not scores:
        print("no files compared")
        return 1
    print(f"\nfiles: {len(scores)}  median F1: {statistics.median(scores.values()):.3f}"
          f"  mean F1: {statistics.mean(scores.values()):.3f}"
          f"  (letters and digits: median {statistics.median(letters.values()):.3f},"
          f" mean {statistics.mean(letters.values()):.3f})")
    by_feature = collections.defaultdict(list)
    for name, score in scores.items():
        for feature in manifest.get(name, {}).get("features", "").split(","):
            if feature:
                by_feature[feature].append(score)
    print("\nmedian F1 per feature (files):")
    for feature, values in sorted(by_feature.items()):
        print(f"  {feature:32s} {statistics.median(values):6.3f} ({len(values)})")
    return 0


if __name__ == "__main__":
    sys.exit(main())
