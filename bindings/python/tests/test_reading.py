"""Page data read through the binding, checked against what the test files hold."""

from __future__ import annotations

import pytest

import pdfgen
from zopra_document_loader import Document, Graphic, ImageFormat

NO_CLIP = (0.0, 0.0, 300.0, 200.0)


def test_pages_size_rotation_and_indexing(sample):
    with Document(sample) as document:
        assert len(document) == 2
        pages = [(p.index, p.width, p.height, p.rotation) for p in document]
        assert pages == [(0, 300.0, 200.0, 0), (1, 500.0, 400.0, 90)]
        assert document.page(-1).index == document[1].index == 1
        with pytest.raises(IndexError):
            document.page(-3)


@pytest.mark.parametrize("mapped", [False, True])
def test_items_carry_every_field_and_agree_with_page_text(sample, mapped):
    with Document(sample, mapped=mapped) as document:
        page = document.page(0)
        items = page.items()
        # Helvetica advances: "Hello world" 4945/1000 em, "Second item" 5558/1000 em.
        assert [(i.index, i.text, i.matrix, i.font_size, i.horizontal_scaling, i.leading)
                for i in items] == [
            (0, "Hello world", (1.5, 0.25, -0.25, 1.5, 20.0, 150.0), 12.0, 1.0, 0.0),
            (1, "Second item", (1.0, 0.0, 0.0, 1.0, 20.0, 120.0), 10.0, 0.5, 16.0),
        ]
        assert [i.width for i in items] == pytest.approx([4.945 * 12, 5.558 * 10 * 0.5])
        assert page.text() == "Hello world\nSecond item\n"
        # The whole-page string leaves the items of page 0 in place.
        assert document.page(1).text() == "Rotated page\n"
        assert page.items() == items


def test_graphics_records(sample):
    line = Graphic(is_image=False, x=10, y=10, width=100, height=0, start=(10, 10),
                   end=(110, 10), clip=NO_CLIP, is_line=True, closed=False, stroke=True,
                   fill=False, line_width=2, fill_color=(), stroke_color=(0, 0, 1),
                   object_number=0)
    rect = Graphic(is_image=False, x=150, y=20, width=30, height=40, start=(150, 20),
                   end=(180, 60), clip=NO_CLIP, is_line=False, closed=True, stroke=False,
                   fill=True, line_width=2, fill_color=(1, 0, 0), stroke_color=(0, 0, 1),
                   object_number=0)

    def image(x, y, size, number):
        return Graphic(is_image=True, x=x, y=y, width=size, height=size, start=(x, y),
                       end=(x + size, y + size), clip=NO_CLIP, is_line=False, closed=True,
                       stroke=False, fill=False, line_width=1, fill_color=(),
                       stroke_color=(), object_number=number)

    with Document(sample) as document:
        page = document.page(0)
        assert page.graphics() == [line, rect, image(200, 100, 40, 8), image(250, 150, 20, 9)]
        assert page.graphics(min_size=45) == [line]
        assert line.bounds == (10, 10, 100, 0)
        assert document.page(1).graphics() == []


def test_images_formats_and_stored_bytes(sample):
    with Document(sample) as document:
        images = document.page(0).images()
        assert [(i.index, i.format, i.data) for i in images] == [
            (0, ImageFormat.JPEG, pdfgen.TINY_JPEG),
            (1, ImageFormat.UNKNOWN, pdfgen.FLATE_IMAGE),
        ]
        assert [i.format.value for i in images] == ["jpeg", "unknown"]
        assert document.page(1).images() == []
