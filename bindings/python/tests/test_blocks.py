"""Blocks of a page and new text flowed over them."""

from __future__ import annotations

import shutil
import subprocess
from pathlib import Path

import pytest

from zopra_document_loader import Document, InvalidArgument

SAMPLE = Path(__file__).resolve().parents[3] / "examples" / "sample.pdf"


def test_blocks_are_paragraphs_in_reading_order():
    with Document(SAMPLE) as document:
        blocks = document.page(0).blocks()
    assert [b.id for b in blocks[:3]] == ["p1-b1", "p1-b2", "p1-b3"]
    assert [b.kind for b in blocks[:3]] == ["heading", "paragraph", "heading"]
    first = blocks[3]
    assert first.text.startswith("libzopra_document_loader is a shared library that opens PDF files")
    assert (first.kind, first.alignment, first.line_count) == ("paragraph", "justified", 3)
    assert all(b.box[0] < b.box[2] and b.box[1] < b.box[3] for b in blocks)
    # Each item belongs to one block.
    items = [i for b in blocks for i in b.items]
    assert len(items) == len(set(items))


@pytest.mark.skipif(not shutil.which("pdftotext"), reason="pdftotext not installed")
def test_replace_block_flows_the_new_text(tmp_path, font):
    text = ("Diese Bibliothek oeffnet PDF-Dateien und macht aus ihren Seiten Daten, mit denen ein "
            "Programm arbeiten kann; eine Anwendung steuert sie ueber eine flache C-Schnittstelle.")
    out = tmp_path / "out.pdf"
    with Document(SAMPLE) as document:
        page = document.page(0)
        block = page.blocks()[3]
        result = document.replace_block(block, text, font)
        assert not result.overflows and result.missing_characters == 0
        assert result.lines_used >= 1 and 0 < result.scale <= 1
        page.items()
        # The blocks went with the new extraction.
        with pytest.raises(InvalidArgument):
            page.replace_block(block, "x", font)
        document.save(out)
    words = subprocess.run(["pdftotext", str(out), "-"], capture_output=True, check=True).stdout.decode()
    assert " ".join(words.split()).count(text) == 1
    assert "shared library" not in words
