#!/usr/bin/env python3
"""Replace the text items of a PDF that equal a key of a JSON map.

usage: translate.py IN OUT MAP.json [--font FONT.ttf] [--match nfkc|exact]

MAP.json holds {"original": "new", ...}. On every page, each item whose text
matches a key is removed and the new text is drawn at its place, in its
size, or smaller (down to half) until it fits the item's width. An empty new
text only removes the item. Keys match as zopra-pdf replace matches them:
after NFKC normalisation with white space collapsed (ligatures read as their
letters), or with --match exact code point for code point.
"""

from __future__ import annotations

import argparse
import json
import sys
from typing import Dict, List, Optional

from zopra_document_loader import MATCH_MODES, Document, Page, TextItem, match_key

DEFAULT_FONT = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf"


def set_fitting(page: Page, item: TextItem, text: str, font: str) -> float:
    """Set ``text`` at ``item``, 5 % smaller each step until it fits; return the size."""
    size, smallest = item.font_size, item.font_size / 2
    while True:
        width = page.set_text(item, text, font, size, item.horizontal_scaling)
        if width <= item.width or size <= smallest:
            return size
        size = max(size * 0.95, smallest)


def main(argv: Optional[List[str]] = None) -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("input")
    parser.add_argument("output")
    parser.add_argument("map")
    parser.add_argument("--font", default=DEFAULT_FONT, help="TrueType font file")
    parser.add_argument("--match", choices=MATCH_MODES, default="nfkc",
                        help="how keys are compared with item texts (default nfkc)")
    args = parser.parse_args(argv)
    with open(args.map, encoding="utf-8") as file:
        mapping: Dict[str, str] = {match_key(key, args.match): new
                                   for key, new in json.load(file).items()}

    replaced = 0
    with Document(args.input) as document:
        for page in document:
            matches = [(item, mapping[key]) for item in page.items()
                       if (key := match_key(item.text, args.match)) in mapping]
            if not matches:
                continue
            page.remove_text([item for item, _ in matches])
            for item, new in matches:
                if new:
                    set_fitting(page, item, new, args.font)
                    page.draw_text()
            replaced += len(matches)
        document.save(args.output)
    print(f"replaced {replaced} items; wrote {args.output}", file=sys.stderr)
    return 0


if __name__ == "__main__":
    sys.exit(main())
