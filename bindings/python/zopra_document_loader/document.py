"""Documents and pages on top of the C calls."""

from __future__ import annotations

import ctypes
import os
import weakref
from typing import Any, Iterable, Iterator, List, Optional, Sequence, Union

from ._library import BlockFlow, BlockInfo, GraphicsInfo, TextFit as _TextFit, TextInfo, TextStyle as _TextStyle, library
from .errors import INVALID_ARGUMENT, InvalidArgument, check
from .records import Alignment, BlockFlowResult, Graphic, Image, ImageFormat, TextBlock, TextFit, TextItem, TextStyle

_KINDS = ("paragraph", "heading", "list-item", "table-cell", "caption", "code")
_ALIGNMENTS = ("left", "center", "right", "justified")

PathArg = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]

# Components per colour type: none, grey, RGB, CMYK.
_COMPONENTS = {0: 0, 1: 1, 2: 3, 3: 4}
# ZOPRA_COMPACT_ALL: subset fonts, compress new streams, leave out unused
# objects, pack objects into object streams.
_COMPACT_ALL = 0xF


def _encode_path(path: PathArg) -> bytes:
    encoded = os.fsencode(path)
    if b"\0" in encoded:
        raise ValueError("embedded null byte in path")
    return encoded


def _encode_text(text: str) -> bytes:
    encoded = text.encode("utf-8")
    if b"\0" in encoded:
        raise ValueError("embedded null character in text")
    return encoded


def _font_chain(fonts: Union[PathArg, Sequence[PathArg]]) -> Any:
    """A C array of the encoded paths of a font or a chain of fonts."""
    paths = [fonts] if isinstance(fonts, (str, bytes, os.PathLike)) else list(fonts)
    encoded = [_encode_path(path) for path in paths]
    return (ctypes.c_char_p * max(len(encoded), 1))(*encoded), len(encoded)


def _color(kind: int, components: Any) -> tuple:
    return tuple(components[:_COMPONENTS.get(kind, 0)])


class Document:
    """An open PDF document.

    The file is read whole when the document is opened; with ``mapped=True``
    it is mapped instead, so the document does not hold a copy of it (the file
    must then stay unchanged while the document is open). The library handle is
    released by :meth:`close`, at the end of a ``with`` block, or when the
    object is garbage collected. Any call on a closed document raises
    :class:`~zopra_document_loader.InvalidArgument`.

    A document (and its pages) must be used from one thread at a time.
    """

    def __init__(self, path: PathArg, *, mapped: bool = False) -> None:
        lib = library()
        handle = ctypes.c_void_p()
        check(lib.zopraDocumentLoaderCreate(ctypes.byref(handle)), "zopraDocumentLoaderCreate")
        self._lib = lib
        self._handle = handle
        self._finalizer = weakref.finalize(self, lib.zopraDocumentLoaderDestroy, handle)
        # The page whose items the handle holds (None: no extraction yet, or
        # the last one failed).
        self._text_page: Optional[int] = None
        # The page whose blocks the handle holds (a text extraction drops them).
        self._block_page: Optional[int] = None
        self.path = path
        try:
            self._call(
                "zopraDocumentLoaderOpenFileMappedA" if mapped else "zopraDocumentLoaderOpenFileA",
                _encode_path(path),
                label=repr(os.fsdecode(path)),
            )
            count = ctypes.c_uint32()
            self._call("zopraDocumentLoaderGetPageCount", ctypes.byref(count))
        except BaseException:
            self.close()
            raise
        self._page_count = count.value

    # -- lifetime ---------------------------------------------------------

    def close(self) -> None:
        """Release the library handle. Closing again does nothing."""
        self._finalizer()

    @property
    def closed(self) -> bool:
        """True once the handle has been released."""
        return not self._finalizer.alive

    def __enter__(self) -> "Document":
        return self

    def __exit__(self, *exc_info: object) -> None:
        self.close()

    def __repr__(self) -> str:
        state = "closed" if self.closed else f"{self._page_count} pages"
        return f"<Document {self.path!r}, {state}>"

    # -- calls ------------------------------------------------------------

    def _call(self, name: str, *args: Any, label: str = "") -> None:
        """Call ``name`` with the handle first and raise for a failed status."""
        call = f"{name}({label})" if label else name
        if self.closed:
            raise InvalidArgument(INVALID_ARGUMENT, call, "the document is closed")
        check(getattr(self._lib, name)(self._handle, *args), call)

    # -- pages ------------------------------------------------------------

    def __len__(self) -> int:
        if self.closed:
            raise InvalidArgument(INVALID_ARGUMENT, "len(Document)", "the document is closed")
        return self._page_count

    def page(self, index: int) -> "Page":
        """Page ``index``, counted from 0 (negative values count from the end).

        Raises IndexError outside the document.
        """
        count = len(self)
        if not -count <= index < count:
            raise IndexError(f"page {index} out of range for a document of {count} pages")
        index %= count
        width, height, rotation = ctypes.c_double(), ctypes.c_double(), ctypes.c_uint32()
        self._call(
            "zopraDocumentLoaderGetPageSize",
            ctypes.byref(width),
            ctypes.byref(height),
            ctypes.byref(rotation),
            ctypes.c_uint32(index),
            label=f"page {index}",
        )
        return Page(self, index, width.value, height.value, rotation.value)

    def __getitem__(self, index: int) -> "Page":
        return self.page(index)

    def __iter__(self) -> Iterator["Page"]:
        for index in range(len(self)):
            yield self.page(index)

    # -- output -----------------------------------------------------------

    def replace_block(
        self, block: TextBlock, text: str, fonts: Union[PathArg, Sequence[PathArg]], min_size: float = 0.0
    ) -> BlockFlowResult:
        """:meth:`Page.replace_block` on the block's own page."""
        return self.page(block.page).replace_block(block, text, fonts, min_size)

    def save(self, path: PathArg, compact: bool = True) -> None:
        """Write the document with every change made so far to a new,
        unencrypted PDF file (replaced whole, or left untouched on failure).

        By default the file is compact: fonts of drawn text keep only the
        glyphs drawn, streams the library made are compressed, objects
        nothing refers to any more are left out and the others are packed
        into compressed object streams. ``compact=False`` writes
        every object as it is, without compressing anything."""
        label = repr(os.fsdecode(path))
        if compact:
            self._call(
                "zopraDocumentLoaderWriteDocumentCompactA", _encode_path(path), _COMPACT_ALL, label=label
            )
        else:
            self._call("zopraDocumentLoaderWriteDocumentA", _encode_path(path), label=label)


class Page:
    """One page of a :class:`Document`. Keeps the document alive."""

    def __init__(
        self, document: Document, index: int, width: float, height: float, rotation: int
    ) -> None:
        self.document = document
        #: Page number, from 0.
        self.index = index
        #: Displayed width and height in PDF units (exchanged for pages
        #: rotated by 90 or 270 degrees).
        self.width = width
        self.height = height
        #: Clockwise rotation in degrees, 0 to 359.
        self.rotation = rotation

    def __repr__(self) -> str:
        return f"<Page {self.index}: {self.width:g} x {self.height:g}, rotation {self.rotation}>"

    def _call(self, name: str, *args: Any) -> None:
        self.document._call(name, *args, label=f"page {self.index}")

    # -- reading ----------------------------------------------------------

    def text(self) -> str:
        """The page's text, one item per line, each line ended by a line feed."""
        size = ctypes.c_uint32()
        self._call("zopraDocumentLoaderGetPageTextSize", ctypes.byref(size), self.index)
        buffer = ctypes.create_string_buffer(size.value)
        self._call("zopraDocumentLoaderGetPageText", buffer, size.value)
        return buffer.raw[: size.value - 1].decode("utf-8", "replace")

    def items(self) -> List[TextItem]:
        """Extract the page's text items. They become the items that
        :meth:`remove_text` and :meth:`set_text` address by index, until
        ``items()`` is called on another page of the document."""
        document = self.document
        document._text_page = None
        document._block_page = None
        self._call("zopraDocumentLoaderExtractPageText", self.index)
        document._text_page = self.index
        count = ctypes.c_uint32()
        self._call("zopraDocumentLoaderGetPageTextCount", ctypes.byref(count), self.index)
        info = TextInfo()
        items = []
        for index in range(count.value):
            self._call("zopraDocumentLoaderGetText", ctypes.byref(info), index)
            items.append(
                TextItem(
                    index=index,
                    text=(info.text or b"").decode("utf-8", "replace"),
                    matrix=(info.a, info.b, info.c, info.d, info.e, info.f),
                    font_size=info.fontSize,
                    horizontal_scaling=info.horizontalScaling,
                    width=info.width,
                    leading=info.leading,
                )
            )
        return items

    def graphics(self, min_size: float = 0.0) -> List[Graphic]:
        """The painted path pieces and drawn images, in painting order,
        leaving out those whose width and height are both below ``min_size``."""
        self._call("zopraDocumentLoaderExtractPageGraphics", self.index, float(min_size))
        count = ctypes.c_uint32()
        self._call("zopraDocumentLoaderGetPageGraphicsCount", ctypes.byref(count), self.index)
        records = (GraphicsInfo * count.value)()
        if count.value:
            self._call("zopraDocumentLoaderGetGraphicsArray", records, count.value, 0)
        return [
            Graphic(
                is_image=bool(r.type),
                x=r.x,
                y=r.y,
                width=r.width,
                height=r.height,
                start=(r.startX, r.startY),
                end=(r.endX, r.endY),
                clip=(r.clipX, r.clipY, r.clipWidth, r.clipHeight),
                is_line=bool(r.isLine),
                closed=bool(r.closed),
                stroke=bool(r.stroke),
                fill=bool(r.fill),
                line_width=r.lineWidth,
                fill_color=_color(r.fillColorType, r.fillColor),
                stroke_color=_color(r.strokeColorType, r.strokeColor),
                object_number=r.objectNumber,
            )
            for r in records
        ]

    def images(self) -> List[Image]:
        """The images the page draws, one per drawing, with their stored bytes.

        Each image costs about three interpretations of the page."""
        count = ctypes.c_uint32()
        self._call("zopraDocumentLoaderGetImageCount", ctypes.byref(count), self.index)
        images = []
        for index in range(count.value):
            code, size = ctypes.c_uint32(), ctypes.c_uint32()
            self._call("zopraDocumentLoaderGetImageFormat", ctypes.byref(code), self.index, index)
            self._call(
                "zopraDocumentLoaderGetImageBufferSize", ctypes.byref(size), self.index, index
            )
            buffer = (ctypes.c_uint8 * max(size.value, 1))()
            self._call("zopraDocumentLoaderGetImageBuffer", buffer, size.value, self.index, index)
            images.append(
                Image(index, ImageFormat.from_code(code.value), bytes(buffer)[: size.value])
            )
        return images

    # -- editing ----------------------------------------------------------

    def _current_index(self, current_page: Optional[int], value: Any, record: type, kind: str) -> int:
        """The index of ``value`` (an index or a record of type ``record``)
        among this page's current items or blocks, ``current_page`` being the
        page they were read from."""
        if current_page != self.index:
            raise InvalidArgument(
                INVALID_ARGUMENT,
                f"page {self.index}",
                f"its {kind}s are not the current ones: call {kind}s() on this page first",
            )
        index = value.index if isinstance(value, record) else int(value)
        if index < 0:
            raise InvalidArgument(INVALID_ARGUMENT, f"page {self.index}", f"{kind} {index}")
        return index

    def _item_index(self, item: Union[int, TextItem]) -> int:
        """The index of an item of this page's current extraction."""
        return self._current_index(self.document._text_page, item, TextItem, "item")

    def remove_text(self, items: Optional[Iterable[Union[int, TextItem]]] = None) -> List[int]:
        """Remove text from the page's content.

        ``None`` removes all of it. Otherwise ``items`` are indices (or
        :class:`TextItem` records) of the last :meth:`items` of this page; the
        text after them keeps its place. Calls with items of one extraction
        add up, and repeating one changes nothing. An index out of range
        raises :class:`~zopra_document_loader.InvalidArgument` and changes
        nothing.

        Returns the indices of the items chosen so far whose glyphs are still
        on the page (one drawing of a form the page draws twice, say); an
        empty list is the normal case.
        """
        if items is None:
            self._call("zopraDocumentLoaderRemoveOriginalText", self.index)
            return []
        indices = [self._item_index(item) for item in items]
        array = (ctypes.c_uint32 * max(len(indices), 1))(*indices)
        self._call("zopraDocumentLoaderRemoveOriginalTextByIndex", self.index, array, len(indices))
        count = ctypes.c_uint32(0)
        self._call("zopraDocumentLoaderGetUnremovedTextCount", ctypes.byref(count))
        left = []
        for position in range(count.value):
            item = ctypes.c_uint32(0)
            self._call("zopraDocumentLoaderGetUnremovedText", position, ctypes.byref(item))
            left.append(item.value)
        return left

    def set_text(
        self,
        item: Union[int, TextItem],
        text: str,
        font_path: Union[PathArg, Sequence[PathArg]],
        size: float,
        scaling: float = 1.0,
    ) -> float:
        """Set up ``text`` to be drawn at the place of ``item`` (an index or a
        record of the last :meth:`items` of this page) in a TrueType font (or
        a chain of them, first choice first) of ``size``, and return its
        measured width, in the unit of
        :attr:`TextItem.width`. Nothing is drawn before :meth:`draw_text`."""
        index = self._item_index(item)
        if isinstance(font_path, (str, bytes, os.PathLike)):
            self._call("zopraDocumentLoaderSetTextA", _encode_text(text), self.index, index,
                       _encode_path(font_path), float(size), float(scaling))
        else:
            chain, count = _font_chain(font_path)
            self._call("zopraDocumentLoaderSetTextChainA", _encode_text(text), self.index, index,
                       chain, count, float(size), float(scaling))
        width = ctypes.c_double()
        self._call("zopraDocumentLoaderGetTextWidth", ctypes.byref(width))
        return width.value

    def style(self, item: Union[int, TextItem]) -> TextStyle:
        """The font name, weight, slant, box and shown size of ``item``."""
        index = self._item_index(item)
        record = _TextStyle()
        self._call("zopraDocumentLoaderGetTextStyle", ctypes.byref(record), index)
        return TextStyle(
            font_name=(record.fontName or b"").decode("utf-8", "replace"),
            bold=bool(record.bold),
            italic=bool(record.italic),
            serif=bool(record.serif),
            fixed_pitch=bool(record.fixedPitch),
            box=(record.x0, record.y0, record.x1, record.y1),
            shown_size=record.shownSize,
        )

    def room(self, item: Union[int, TextItem]) -> float:
        """The width new text may take at ``item``, in the unit of :attr:`TextItem.width`."""
        index = self._item_index(item)
        room = ctypes.c_double()
        self._call("zopraDocumentLoaderGetTextRoom", index, ctypes.byref(room))
        return room.value

    def alignment(self, item: Union[int, TextItem]) -> Alignment:
        """Whether ``item`` is left-aligned, centred or right-aligned."""
        index = self._item_index(item)
        value = ctypes.c_int32()
        self._call("zopraDocumentLoaderGetTextAlignment", index, ctypes.byref(value))
        return Alignment(value.value)

    def fit_text(
        self,
        item: Union[int, TextItem],
        text: str,
        fonts: Union[PathArg, Sequence[PathArg]],
        min_size: float = 0.0,
    ) -> TextFit:
        """Set ``text`` at ``item`` the way every client of the library does:
        at the item's size, smaller only when wider than the item's room
        (never below ``min_size`` points as shown), with the item's alignment
        kept. ``fonts`` is a TrueType file or a chain of them: each character
        comes from the first that has it. :meth:`draw_text` draws it."""
        index = self._item_index(item)
        chain, count = _font_chain(fonts)
        record = _TextFit()
        self._call("zopraDocumentLoaderFitTextA", _encode_text(text), self.index, index, chain, count,
                   float(min_size), ctypes.byref(record))
        return TextFit(
            font_size=record.fontSize,
            shown_size=record.shownSize,
            width=record.width,
            room=record.room,
            offset=record.offset,
            alignment=Alignment(record.alignment),
            missing_characters=record.missingCharacters,
            overflows=bool(record.overflows),
        )

    def missing_characters(self) -> int:
        """Characters of the text set last that no font of its chain has."""
        count = ctypes.c_uint32()
        self._call("zopraDocumentLoaderGetMissingCharacterCount", ctypes.byref(count))
        return count.value

    def draw_text(self) -> None:
        """Draw the text of the last :meth:`set_text` (once per call)."""
        self._call("zopraDocumentLoaderDrawText")

    # -- blocks -----------------------------------------------------------

    def blocks(self) -> List[TextBlock]:
        """The page's blocks in reading order. Extracts the page's items too
        (as :meth:`items` does): the blocks' item indices are theirs, and
        :meth:`replace_block` takes these blocks until the next extraction."""
        document = self.document
        document._text_page = None
        document._block_page = None
        count = ctypes.c_uint32()
        self._call("zopraDocumentLoaderExtractPageBlocks", self.index, ctypes.byref(count))
        document._text_page = self.index
        document._block_page = self.index
        info = BlockInfo()
        blocks = []
        for index in range(count.value):
            self._call("zopraDocumentLoaderGetBlock", index, ctypes.byref(info))
            items = (ctypes.c_uint32 * max(info.itemCount, 1))()
            n = ctypes.c_uint32()
            self._call("zopraDocumentLoaderGetBlockItems", index, items, info.itemCount, ctypes.byref(n))
            blocks.append(
                TextBlock(
                    page=self.index,
                    index=index,
                    text=(info.text or b"").decode("utf-8", "replace"),
                    box=(info.x0, info.y0, info.x1, info.y1),
                    kind=_KINDS[info.kind] if 0 <= info.kind < len(_KINDS) else "paragraph",
                    alignment=_ALIGNMENTS[info.alignment] if 0 <= info.alignment < len(_ALIGNMENTS) else "left",
                    size=info.shownSize,
                    leading=info.leading,
                    line_count=info.lineCount,
                    items=tuple(items[: n.value]),
                    font_name=(info.fontName or b"").decode("utf-8", "replace"),
                    bold=bool(info.bold),
                    italic=bool(info.italic),
                )
            )
        return blocks

    def replace_block(
        self, block: Union[int, TextBlock], text: str, fonts: Union[PathArg, Sequence[PathArg]],
        min_size: float = 0.0,
    ) -> BlockFlowResult:
        """Remove the text of ``block`` (an index or a record of the last
        :meth:`blocks` of this page) and draw ``text`` over its lines, in
        ``fonts`` (a TrueType file or a chain of them: each character comes
        from the first that has it): broken
        at the block's baselines, continued below while the room is free, else
        set smaller, one size for the whole block (not below ``min_size``
        points; 0 for a fifth of the block's size). An empty text only
        removes the block."""
        index = self._current_index(self.document._block_page, block, TextBlock, "block")
        n = ctypes.c_uint32()
        self._call("zopraDocumentLoaderGetBlockItems", index, None, 0, ctypes.byref(n))
        items = (ctypes.c_uint32 * max(n.value, 1))()
        self._call("zopraDocumentLoaderGetBlockItems", index, items, n.value, ctypes.byref(n))
        if n.value:
            self._call("zopraDocumentLoaderRemoveOriginalTextByIndex", self.index, items, n.value)
        flow = BlockFlow()
        if text.strip():
            chain, count = _font_chain(fonts)
            self._call(
                "zopraDocumentLoaderFlowBlockA",
                index,
                _encode_text(text),
                chain,
                count,
                float(min_size),
                ctypes.byref(flow),
            )
        return BlockFlowResult(
            lines_used=flow.linesUsed,
            block_lines=flow.blockLines,
            size=flow.shownSize,
            scale=flow.scale,
            overflows=bool(flow.overflows),
            missing_characters=flow.missingCharacters,
            box=(flow.x0, flow.y0, flow.x1, flow.y1),
        )
