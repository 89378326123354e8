"""How map keys are compared with item texts.

People write maps from what they read, not from code points: a key
"efficient" should find an item that holds the "ﬃ" ligature, and a key with
one space an item with two. Both sides are therefore compared after Unicode
NFKC normalisation, with every run of white space made one space and none at
either end. ``zopra-pdf replace --map`` compares the same way.
"""

from __future__ import annotations

import unicodedata

#: The ways of matching: NFKC with collapsed white space, or code point for
#: code point.
MATCH_MODES = ("nfkc", "exact")


def match_key(text: str, mode: str = "nfkc") -> str:
    """The form of ``text`` that is compared under ``mode``."""
    if mode == "exact":
        return text
    if mode != "nfkc":
        raise ValueError(f"match mode must be one of {MATCH_MODES}, not {mode!r}")
    return " ".join(unicodedata.normalize("NFKC", text).split())
