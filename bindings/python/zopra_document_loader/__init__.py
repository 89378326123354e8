"""Read PDF pages and replace their text through libzopra_document_loader.

>>> from zopra_document_loader import Document
>>> with Document("in.pdf") as doc:
...     for page in doc:
...         print(page.width, page.height, page.text())

The shared library is loaded on first use: from the path in the environment
variable ``ZOPRA_DOCUMENT_LOADER_LIBRARY``, else from a
``libzopra_document_loader.so*`` in this package's folder or its parent, else
through the system's dynamic loader. ``pip install`` builds the library and
puts it in this package's folder. When none loads, the first
:class:`Document` raises :class:`LibraryNotFoundError` (an ImportError) that
lists every place tried.
"""

from ._library import ENVIRONMENT_VARIABLE, LibraryNotFoundError
from .document import Document, Page
from .matching import MATCH_MODES, match_key
from .errors import BrokenStream, InvalidArgument, OutOfMemory, PasswordRequired, PdfError
from .records import (Alignment, BlockFlowResult, Graphic, Image, ImageFormat, TextBlock, TextFit, TextItem,
                      TextStyle)

__all__ = [
    "Alignment",
    "ENVIRONMENT_VARIABLE",
    "BlockFlowResult",
    "BrokenStream",
    "Document",
    "Graphic",
    "Image",
    "ImageFormat",
    "InvalidArgument",
    "LibraryNotFoundError",
    "MATCH_MODES",
    "OutOfMemory",
    "Page",
    "PasswordRequired",
    "PdfError",
    "TextBlock",
    "TextFit",
    "TextItem",
    "TextStyle",
    "match_key",
]
__version__ = "0.1.0"
