#!/usr/bin/env python3
"""Times `zopra-pdf replace` fitting and drawing every item of a document
replaced by its own text, with the faces the tool chooses by item style
(fontconfig, with fallbacks) against one fixed font, in the same run.

Three runs of the tool on the same array map, each ROUNDS times (the best
time counts):
- remove: every item removed, nothing drawn (the map's texts empty): the
  share of opening, extracting, removing and writing;
- fixed: every item drawn again with --font DejaVuSans.ttf;
- chosen: every item drawn again with the default font choice.
Prints the three times, the ratio chosen / fixed of the whole runs, and the
ratio of their fitting and drawing alone (each run less the remove run).
Target: the chosen faces add at most 30 % to the fixed font's cycle.

The document is deb-source2e.pdf of the corpus (found through its
MANIFEST.tsv); the script says so and exits 0 when it is absent.

usage: replace_fonts.py [--tool build/tools/zopra-pdf] [--rounds N]
                        [--pages N] [--font FONT.ttf] [FOLDER]
"""
import argparse
import json
import os
import subprocess
import sys
import tempfile
import time

DOCUMENT = "deb-source2e.pdf"


def find_document(folder):
    manifest = os.path.join(folder, "MANIFEST.tsv")
    if not os.path.isfile(manifest):
        return None
    with open(manifest, encoding="utf-8") as rows:
        for row in rows:
            name = row.split("\t", 1)[0]
            if name == DOCUMENT and os.path.isfile(os.path.join(folder, name)):
                return os.path.join(folder, name)
    return None


def best_time(command, rounds):
    best = None
    for _ in range(rounds):
        start = time.perf_counter()
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
        elapsed = time.perf_counter() - start
        if done.returncode != 0:
            sys.exit("%s: exit status %d" % (" ".join(command), done.returncode))
        best = elapsed if best is None else min(best, elapsed)
    return best, done.stdout.decode("utf-8", "replace").strip()


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    parser = argparse.ArgumentParser()
    parser.add_argument("--tool", default=os.path.join(here, "..", "build", "tools", "zopra-pdf"))
    parser.add_argument("--rounds", type=int, default=1)
    parser.add_argument("--pages", type=int, default=0, help="only the first N pages (0: all)")
    parser.add_argument("--font", default="/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf")
    parser.add_argument("folder", nargs="?", default=os.path.join(here, "..", "..", "shared", "corpus"))
    args = parser.parse_args()

    document = find_document(args.folder)
    if document is None:
        print("%s is not in %s: nothing to time" % (DOCUMENT, args.folder))
        return 0
    if not os.path.isfile(args.font):
        sys.exit("%s: no such font" % args.font)
    listing = subprocess.run([args.tool, "items", document, "--json"] +
                             (["-l", str(args.pages)] if args.pages else []),
                             stdout=subprocess.PIPE, check=True).stdout
    items = [{"page": item["page"], "item": item["item"], "text": item["text"]}
             for page in json.loads(listing)["pages"] for item in page["items"] if item["text"].strip()]
    with tempfile.TemporaryDirectory() as work:
        same = os.path.join(work, "same.json")
        empty = os.path.join(work, "empty.json")
        output = os.path.join(work, "out.pdf")
        with open(same, "w", encoding="utf-8") as out:
            json.dump(items, out, ensure_ascii=False)
        with open(empty, "w", encoding="utf-8") as out:
            json.dump([dict(item, text="") for item in items], out)
        replace = [args.tool, "replace", document, output, "--map"]
        remove, _ = best_time(replace + [empty], args.rounds)
        fixed, fixed_summary = best_time(replace + [same, "--font", args.font], args.rounds)
        chosen, chosen_summary = best_time(replace + [same], args.rounds)

    print("%s: %d items, %s pages, best of %d round(s)" %
          (DOCUMENT, len(items), args.pages or "all", args.rounds))
    print("  remove only        %8.3f s" % remove)
    print("  fixed font         %8.3f s   %s" % (fixed, fixed_summary))
    print("  chosen faces       %8.3f s   %s" % (chosen, chosen_summary))
    print("chosen / fixed, whole run:       %.3f" % (chosen / fixed))
    if fixed > remove:
        ratio = (chosen - remove) / (fixed - remove)
        print("chosen / fixed, fit and draw:    %.3f (target at most 1.30)" % ratio)
    return 0


if __name__ == "__main__":
    sys.exit(main())
