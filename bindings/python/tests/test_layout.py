"""Style, room, alignment and the library's fit, seen from Python."""

from __future__ import annotations

from pathlib import Path

import pytest

import pdfgen
from zopra_document_loader import Alignment, Document

GOTHIC = Path("/usr/share/fonts/opentype/ipafont-gothic/ipag.ttf")

# A title centred on a 612 pt page (Helvetica-Bold 18, 131 pt wide), a label
# with a neighbour 100 pt to its right, and body text at the left margin.
CONTENT = b"""BT /F2 18 Tf 239.5 750 Td (Annual Report) Tj ET
BT /F1 10 Tf 72 700 Td (Name) Tj 100 0 Td (Value) Tj ET
BT /F1 10 Tf 72 650 Td (Lorem ipsum dolor sit amet, consectetur) Tj ET
"""


@pytest.fixture
def page_file(tmp_path: Path) -> Path:
    path = tmp_path / "layout.pdf"
    path.write_bytes(pdfgen.pdf([
        b"<< /Type /Catalog /Pages 2 0 R >>",
        b"<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        b"<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] "
        b"/Resources << /Font << /F1 4 0 R /F2 5 0 R >> >> /Contents 6 0 R >>",
        b"<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>",
        b"<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica-Bold >>",
        pdfgen.stream("", CONTENT),
    ]))
    return path


@pytest.mark.parametrize("text, font_name, bold, alignment, room", [
    ("Annual Report", "Helvetica-Bold", True, Alignment.CENTER, 612 - 72 - 239.5),
    ("Name", "Helvetica", False, Alignment.LEFT, 100 - 3),
])
def test_style_room_and_alignment(page_file, text, font_name, bold, alignment, room):
    with Document(page_file) as document:
        page = document.page(0)
        item = next(item for item in page.items() if item.text == text)
        style = page.style(item)
        assert (style.font_name, style.bold, style.italic) == (font_name, bold, False)
        assert style.box[0] == pytest.approx(item.matrix[4])
        assert page.alignment(item) is alignment
        assert page.room(item) == pytest.approx(room, abs=0.01)


@pytest.mark.parametrize("text, new, centred, shrunk", [
    ("Annual Report", "Jahresbericht des Vorstands", True, False),
    ("Name", "Vollständiger Name des Kunden", False, True),
])
def test_fit_keeps_centre_and_fills_room(page_file, font, tmp_path, text, new, centred, shrunk):
    out = tmp_path / "out.pdf"
    with Document(page_file) as document:
        page = document.page(0)
        item = next(item for item in page.items() if item.text == text)
        page.remove_text([item])
        fit = page.fit_text(item, new, font)
        page.draw_text()
        document.save(out)
    assert (fit.font_size < item.font_size) == shrunk
    assert not fit.overflows and fit.missing_characters == 0
    with Document(out) as written:
        drawn = next(d for d in written.page(0).items() if d.text == new)
    assert drawn.font_size == pytest.approx(fit.font_size)
    start, end = drawn.matrix[4], drawn.matrix[4] + drawn.width
    if centred:
        assert start + end == pytest.approx(2 * item.matrix[4] + item.width, abs=0.1)
    else:
        assert start == pytest.approx(item.matrix[4])
        assert drawn.width == pytest.approx(fit.room, rel=1e-4)


def test_fallback_fonts_and_missing_characters(page_file, font):
    if not GOTHIC.is_file():
        pytest.skip(f"{GOTHIC} is not installed (Debian package fonts-ipafont-gothic)")
    with Document(page_file) as document:
        page = document.page(0)
        page.items()
        assert page.fit_text(0, "Tokyo 東京", [font]).missing_characters == 2
        assert page.fit_text(0, "Tokyo 東京", [font, GOTHIC]).missing_characters == 0
        page.set_text(0, "東京", [font], 10)
        assert page.missing_characters() == 2
