#!/usr/bin/env python3
"""Replace the text items of a PDF that equal a key of a JSON map.

usage: translate.py IN OUT MAP.json [--font FONT.ttf] [--fallback FONT.ttf ...]
                    [--min-size PT] [--match nfkc|exact]

MAP.json holds {"original": "new", ...}. On every page, each item whose text
matches a key is removed and the new text is drawn at its place with the
library's own fit, the one zopra-pdf replace uses: at the item's size,
smaller only when it is wider than the room at the item (the free space
along its line, up to the next text, rule, cell or column edge), never below
--min-size points as shown (default: half the item's size), and centred or
right-aligned like the item. Each character comes from the first font of
--font and the fallbacks that has it (by default the Japanese IPA Gothic
font when installed). An empty new text only removes the item. Keys match
as zopra-pdf replace matches them: after NFKC normalisation with white space
collapsed (ligatures read as their letters), or with --match exact code
point for code point.
"""

from __future__ import annotations

import argparse
import json
import os
import sys
from typing import Dict, List, Optional

from zopra_document_loader import MATCH_MODES, Document, match_key

DEFAULT_FONT = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf"
DEFAULT_FALLBACKS = ["/usr/share/fonts/opentype/ipafont-gothic/ipag.ttf"]


def main(argv: Optional[List[str]] = None) -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("input")
    parser.add_argument("output")
    parser.add_argument("map")
    parser.add_argument("--font", default=DEFAULT_FONT, help="TrueType font file")
    parser.add_argument("--fallback", action="append", default=None,
                        help="TrueType font for characters the font lacks (repeatable)")
    parser.add_argument("--min-size", type=float, default=0.0,
                        help="smallest size in points as shown (default: half the item's)")
    parser.add_argument("--match", choices=MATCH_MODES, default="nfkc",
                        help="how keys are compared with item texts (default nfkc)")
    args = parser.parse_args(argv)
    with open(args.map, encoding="utf-8") as file:
        mapping: Dict[str, str] = {match_key(key, args.match): new
                                   for key, new in json.load(file).items()}

    fallbacks = args.fallback if args.fallback is not None else [
        path for path in DEFAULT_FALLBACKS if os.path.isfile(path)]
    chain = [args.font] + fallbacks
    replaced = overflowing = missing = 0
    with Document(args.input) as document:
        for page in document:
            matches = [(item, mapping[key]) for item in page.items()
                       if (key := match_key(item.text, args.match)) in mapping]
            if not matches:
                continue
            # The items' shown sizes, for the default minimum.
            styles = {item.index: page.style(item) for item, _ in matches}
            page.remove_text([item for item, _ in matches])
            for item, new in matches:
                if not new:
                    continue
                minimum = args.min_size or styles[item.index].shown_size / 2
                fit = page.fit_text(item, new, chain, minimum)
                page.draw_text()
                if fit.overflows:
                    overflowing += 1
                    print(f"page {page.index + 1} item {item.index}: overflows its room at "
                          f"{fit.shown_size:.2f} pt", file=sys.stderr)
                if fit.missing_characters:
                    missing += fit.missing_characters
                    print(f"page {page.index + 1} item {item.index}: {fit.missing_characters} "
                          "characters in no font", file=sys.stderr)
            replaced += len(matches)
        document.save(args.output)
    print(f"replaced {replaced} items, {overflowing} overflowing, {missing} missing characters; "
          f"wrote {args.output}", file=sys.stderr)
    return 0


if __name__ == "__main__":
    sys.exit(main())
