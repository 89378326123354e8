"""Removing text, drawing new text and writing the document."""

from __future__ import annotations

import json
import os
import shutil
import subprocess
import sys
from pathlib import Path

import pytest

from zopra_document_loader import Document

PACKAGE_ROOT = Path(__file__).resolve().parents[1]


def page_texts(path):
    with Document(path) as document:
        return [[item.text for item in page.items()] for page in document]


@pytest.mark.parametrize("chosen, remaining", [
    (None, []),
    ([1], ["Hello world"]),
    ([0, 0], ["Second item"]),
    ([], ["Hello world", "Second item"]),
])
def test_removal_keeps_other_text_and_graphics(sample, tmp_path, chosen, remaining):
    out = tmp_path / "out.pdf"
    with Document(sample) as document:
        page = document.page(0)
        page.items()
        assert page.remove_text(chosen) == []
        # A second call with the same items changes nothing.
        assert page.remove_text(chosen) == []
        document.save(out)
    assert page_texts(out) == [remaining, ["Rotated page"]]
    with Document(out) as written, Document(sample) as original:
        assert written.page(0).graphics() == original.page(0).graphics()


def test_replacement_cycle(sample, font, tmp_path):
    out = tmp_path / "out.pdf"
    with Document(sample) as document:
        page = document.page(0)
        hello = page.items()[0]
        page.remove_text([hello])
        widths = [page.set_text(hello, "Bonjour le monde", font, size) for size in (12.0, 6.0)]
        assert widths[1] == pytest.approx(widths[0] / 2)
        page.draw_text()
        document.save(out)
    assert page_texts(out) == [["Second item", "Bonjour le monde"], ["Rotated page"]]
    with Document(out) as written:
        drawn = written.page(0).items()[1]
        assert drawn.matrix == pytest.approx(hello.matrix)
        assert (drawn.font_size, drawn.width) == pytest.approx((6.0, widths[1]))
    if shutil.which("pdftotext"):
        # -raw: content order, so the skewed line stays one line.
        shown = subprocess.run(["pdftotext", "-raw", "-f", "1", "-l", "1", str(out), "-"],
                               capture_output=True, text=True, check=True).stdout
        assert "Bonjour le monde" in shown and "Second" in shown
        assert "Hello" not in shown


def test_translate_example(sample, font, tmp_path):
    mapping = tmp_path / "map.json"
    long_text = "Un texte bien plus long que l'original"
    mapping.write_text(json.dumps({"Hello world": long_text, "Rotated page": "Page tournée",
                                   "Second item": ""}), encoding="utf-8")
    out = tmp_path / "out.pdf"
    environment = dict(os.environ, PYTHONPATH=str(PACKAGE_ROOT))
    subprocess.run([sys.executable, str(PACKAGE_ROOT / "examples" / "translate.py"), str(sample),
                    str(out), str(mapping), "--font", str(font)], env=environment, check=True)
    assert page_texts(out) == [[long_text], ["Page tournée"]]
    with Document(out) as written:
        shrunk, = written.page(0).items()
    # Too wide at any size: drawn at half the original size.
    assert shrunk.font_size == pytest.approx(6.0)
