"""Plain records handed out by :class:`~zopra_document_loader.Page`."""

from __future__ import annotations

import enum
from dataclasses import dataclass
from typing import Tuple


class ImageFormat(str, enum.Enum):
    """How an image's bytes are encoded (from its Filter entry)."""

    #: No filter the library recognises: the stream data as stored.
    UNKNOWN = "unknown"
    #: DCTDecode: the bytes are a JPEG file.
    JPEG = "jpeg"
    #: JPXDecode: the bytes are a JPEG 2000 file.
    JPX = "jpx"

    @classmethod
    def from_code(cls, code: int) -> "ImageFormat":
        """The format for a ZOPRA_IMAGE_FORMAT_* value; unexpected values are UNKNOWN."""
        return {1: cls.JPEG, 2: cls.JPX}.get(code, cls.UNKNOWN)


Matrix = Tuple[float, float, float, float, float, float]


@dataclass(frozen=True)
class TextItem:
    """One text item of a page, as the last extraction of that page gave it."""

    #: Position in the page's item list: the number :meth:`Page.remove_text`
    #: and :meth:`Page.set_text` take.
    index: int
    text: str
    #: The text matrix (a, b, c, d, e, f) of the item's first glyph in page
    #: space: (e, f) starts the baseline, (a, b) is the direction and scale
    #: of the text's x axis.
    matrix: Matrix
    #: The font size (Tf operand) in force for the first glyph.
    font_size: float
    #: The horizontal scaling, 1.0 for 100 %.
    horizontal_scaling: float
    #: The advance along the baseline in the units of ``matrix``; a new text
    #: fits in the item's place when :meth:`Page.set_text` measures at most this.
    width: float
    #: The text leading (TL) in force, in the same units.
    leading: float


class Alignment(enum.IntEnum):
    """How an item sits in its cell, column or page (ZOPRA_ALIGNMENT_*)."""

    LEFT = 0
    CENTER = 1
    RIGHT = 2


@dataclass(frozen=True)
class TextStyle:
    """The look and place of a text item (:meth:`Page.style`)."""

    #: BaseFont without a subset tag; "" when the font has none.
    font_name: str
    bold: bool
    italic: bool
    serif: bool
    fixed_pitch: bool
    #: The item's box on the page (x0, y0, x1, y1), PDF units, page space.
    box: Tuple[float, float, float, float]
    #: The font size in points as the page shows it.
    shown_size: float


@dataclass(frozen=True)
class TextFit:
    """What :meth:`Page.fit_text` did. Widths in the unit of :attr:`TextItem.width`."""

    #: The size the text is set at (Tf units) and that size in points as shown.
    font_size: float
    shown_size: float
    width: float
    #: The item's room (:meth:`Page.room`).
    room: float
    #: The distance moved along the baseline for the alignment.
    offset: float
    alignment: Alignment
    #: Characters that no font of the chain has (drawn as spaces).
    missing_characters: int
    #: True when the text is wider than the room even at the smallest size.
    overflows: bool


@dataclass(frozen=True)
class Graphic:
    """One painted piece of a path, or one drawn image, in page space (PDF
    units, before page rotation)."""

    is_image: bool
    #: The box cut to the clip.
    x: float
    y: float
    width: float
    height: float
    #: A line's first and last point; else the lower left and upper right
    #: corners of the box before clipping.
    start: Tuple[float, float]
    end: Tuple[float, float]
    #: The clip rectangle in force: (x, y, width, height).
    clip: Tuple[float, float, float, float]
    is_line: bool
    closed: bool
    stroke: bool
    fill: bool
    line_width: float
    #: () when the content set no colour, else 1 (grey), 3 (RGB) or 4 (CMYK)
    #: components.
    fill_color: Tuple[float, ...]
    stroke_color: Tuple[float, ...]
    #: The image XObject's object number; 0 for paths.
    object_number: int

    @property
    def bounds(self) -> Tuple[float, float, float, float]:
        """(x, y, width, height) of the box cut to the clip."""
        return (self.x, self.y, self.width, self.height)


@dataclass(frozen=True)
class Image:
    """One drawing of an image XObject by a page."""

    #: Position in the page's drawing order.
    index: int
    format: ImageFormat
    #: The stream data as stored, decrypted, with no filter undone.
    data: bytes


@dataclass(frozen=True)
class TextBlock:
    """One block of a page: a paragraph, heading, list item, table cell or
    caption, as :meth:`Page.blocks` found it."""

    #: The page (from 0) and the block's position in the page's reading order.
    page: int
    index: int
    #: Lines joined by a space, words hyphenated at a line end joined back,
    #: ligatures spelled out.
    text: str
    #: (x0, y0, x1, y1) in page space, PDF units.
    box: Tuple[float, float, float, float]
    #: "paragraph", "heading", "list-item", "table-cell", "caption" or "code".
    kind: str
    #: "left", "center", "right" or "justified".
    alignment: str
    #: Shown size (points) of most of its text, and its baseline distance.
    size: float
    leading: float
    line_count: int
    #: Indices of its items (those of :meth:`Page.items`), line by line.
    items: Tuple[int, ...]
    font_name: str
    bold: bool
    italic: bool

    @property
    def id(self) -> str:
        """The id ``zopra-pdf segments`` gives the block: pPAGE-bBLOCK from 1."""
        return f"p{self.page + 1}-b{self.index + 1}"


@dataclass(frozen=True)
class BlockFlowResult:
    """What :meth:`Page.replace_block` drew."""

    lines_used: int
    block_lines: int
    #: The one size of the new text in points, and as a factor of the block's.
    size: float
    scale: float
    #: True when even the smallest size needed more room than there is.
    overflows: bool
    #: Characters the font has no glyph for (drawn as spaces).
    missing_characters: int
    box: Tuple[float, float, float, float]
