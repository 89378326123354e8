"""Finding and loading the shared library, and the prototypes of its calls."""

from __future__ import annotations

import ctypes
import ctypes.util
import os
from pathlib import Path
from typing import List, Mapping, Optional, Tuple

ENVIRONMENT_VARIABLE = "ZOPRA_DOCUMENT_LOADER_LIBRARY"
SONAME = "libzopra_document_loader.so.0"

_PACKAGE_DIR = Path(__file__).resolve().parent


class LibraryNotFoundError(ImportError):
    """No copy of libzopra_document_loader could be loaded.

    ``attempts`` lists each place tried with the reason it failed, in order.
    """

    def __init__(self, attempts: List[Tuple[str, str]]) -> None:
        self.attempts = attempts
        lines = "\n".join(f"  {place}: {reason}" for place, reason in attempts)
        super().__init__(
            "cannot load libzopra_document_loader; set "
            f"{ENVIRONMENT_VARIABLE} to the path of the shared library. Tried:\n{lines}"
        )


class TextInfo(ctypes.Structure):
    """ZOPRADocumentLoaderTextInfo."""

    _fields_ = [
        ("text", ctypes.c_char_p),
        ("a", ctypes.c_double),
        ("b", ctypes.c_double),
        ("c", ctypes.c_double),
        ("d", ctypes.c_double),
        ("e", ctypes.c_double),
        ("f", ctypes.c_double),
        ("fontSize", ctypes.c_double),
        ("horizontalScaling", ctypes.c_double),
        ("width", ctypes.c_double),
        ("leading", ctypes.c_double),
    ]


class TextStyle(ctypes.Structure):
    """ZOPRADocumentLoaderTextStyle."""

    _fields_ = [
        ("fontName", ctypes.c_char_p),
        ("bold", ctypes.c_uint32),
        ("italic", ctypes.c_uint32),
        ("serif", ctypes.c_uint32),
        ("fixedPitch", ctypes.c_uint32),
        ("x0", ctypes.c_double),
        ("y0", ctypes.c_double),
        ("x1", ctypes.c_double),
        ("y1", ctypes.c_double),
        ("shownSize", ctypes.c_double),
    ]


class TextFit(ctypes.Structure):
    """ZOPRADocumentLoaderTextFit."""

    _fields_ = [
        ("fontSize", ctypes.c_double),
        ("shownSize", ctypes.c_double),
        ("width", ctypes.c_double),
        ("room", ctypes.c_double),
        ("offset", ctypes.c_double),
        ("alignment", ctypes.c_int32),
        ("missingCharacters", ctypes.c_uint32),
        ("overflows", ctypes.c_int32),
    ]


class GraphicsInfo(ctypes.Structure):
    """ZOPRADocumentLoaderGraphicsInfo."""

    _fields_ = [
        ("type", ctypes.c_uint32),
        ("x", ctypes.c_double),
        ("y", ctypes.c_double),
        ("width", ctypes.c_double),
        ("height", ctypes.c_double),
        ("startX", ctypes.c_double),
        ("startY", ctypes.c_double),
        ("endX", ctypes.c_double),
        ("endY", ctypes.c_double),
        ("clipX", ctypes.c_double),
        ("clipY", ctypes.c_double),
        ("clipWidth", ctypes.c_double),
        ("clipHeight", ctypes.c_double),
        ("isLine", ctypes.c_uint32),
        ("closed", ctypes.c_uint32),
        ("stroke", ctypes.c_uint32),
        ("fill", ctypes.c_uint32),
        ("lineWidth", ctypes.c_double),
        ("fillColorType", ctypes.c_uint32),
        ("fillColor", ctypes.c_double * 4),
        ("strokeColorType", ctypes.c_uint32),
        ("strokeColor", ctypes.c_double * 4),
        ("objectNumber", ctypes.c_uint32),
    ]


class BlockInfo(ctypes.Structure):
    """ZOPRADocumentLoaderBlockInfo."""

    _fields_ = [
        ("text", ctypes.c_char_p),
        ("x0", ctypes.c_double),
        ("y0", ctypes.c_double),
        ("x1", ctypes.c_double),
        ("y1", ctypes.c_double),
        ("kind", ctypes.c_int32),
        ("alignment", ctypes.c_int32),
        ("shownSize", ctypes.c_double),
        ("leading", ctypes.c_double),
        ("lineCount", ctypes.c_uint32),
        ("itemCount", ctypes.c_uint32),
        ("fontName", ctypes.c_char_p),
        ("bold", ctypes.c_uint32),
        ("italic", ctypes.c_uint32),
        ("styleItem", ctypes.c_uint32),
    ]


class BlockFlow(ctypes.Structure):
    """ZOPRADocumentLoaderBlockFlow."""

    _fields_ = [
        ("linesUsed", ctypes.c_uint32),
        ("blockLines", ctypes.c_uint32),
        ("shownSize", ctypes.c_double),
        ("scale", ctypes.c_double),
        ("overflows", ctypes.c_int32),
        ("missingCharacters", ctypes.c_uint32),
        ("x0", ctypes.c_double),
        ("y0", ctypes.c_double),
        ("x1", ctypes.c_double),
        ("y1", ctypes.c_double),
    ]


_handle = ctypes.c_void_p
_u32 = ctypes.c_uint32
_u32_p = ctypes.POINTER(ctypes.c_uint32)
_double = ctypes.c_double
_double_p = ctypes.POINTER(ctypes.c_double)
_text = ctypes.c_char_p
_status = ctypes.c_int32

# name: (result type, argument types)
_PROTOTYPES = {
    "zopraDocumentLoaderCreate": (_status, [ctypes.POINTER(_handle)]),
    "zopraDocumentLoaderDestroy": (None, [_handle]),
    "zopraDocumentLoaderOpenFileA": (_status, [_handle, _text]),
    "zopraDocumentLoaderOpenFileMappedA": (_status, [_handle, _text]),
    "zopraDocumentLoaderGetPageCount": (_status, [_handle, _u32_p]),
    "zopraDocumentLoaderGetPageSize": (_status, [_handle, _double_p, _double_p, _u32_p, _u32]),
    "zopraDocumentLoaderExtractPageText": (_status, [_handle, _u32]),
    "zopraDocumentLoaderGetPageTextCount": (_status, [_handle, _u32_p, _u32]),
    "zopraDocumentLoaderGetText": (_status, [_handle, ctypes.POINTER(TextInfo), _u32]),
    "zopraDocumentLoaderGetPageTextSize": (_status, [_handle, _u32_p, _u32]),
    "zopraDocumentLoaderGetPageText": (_status, [_handle, ctypes.c_char_p, _u32]),
    "zopraDocumentLoaderRemoveOriginalText": (_status, [_handle, _u32]),
    "zopraDocumentLoaderRemoveOriginalTextByIndex": (_status, [_handle, _u32, _u32_p, _u32]),
    "zopraDocumentLoaderGetUnremovedTextCount": (_status, [_handle, _u32_p]),
    "zopraDocumentLoaderGetUnremovedText": (_status, [_handle, _u32, _u32_p]),
    "zopraDocumentLoaderExtractPageGraphics": (_status, [_handle, _u32, _double]),
    "zopraDocumentLoaderGetPageGraphicsCount": (_status, [_handle, _u32_p, _u32]),
    "zopraDocumentLoaderGetGraphicsArray": (
        _status,
        [_handle, ctypes.POINTER(GraphicsInfo), _u32, _u32],
    ),
    "zopraDocumentLoaderGetImageCount": (_status, [_handle, _u32_p, _u32]),
    "zopraDocumentLoaderGetImageFormat": (_status, [_handle, _u32_p, _u32, _u32]),
    "zopraDocumentLoaderGetImageBufferSize": (_status, [_handle, _u32_p, _u32, _u32]),
    "zopraDocumentLoaderGetImageBuffer": (
        _status,
        [_handle, ctypes.POINTER(ctypes.c_uint8), _u32, _u32, _u32],
    ),
    "zopraDocumentLoaderSetTextA": (_status, [_handle, _text, _u32, _u32, _text, _double, _double]),
    "zopraDocumentLoaderGetTextWidth": (_status, [_handle, _double_p]),
    "zopraDocumentLoaderGetTextStyle": (_status, [_handle, ctypes.POINTER(TextStyle), _u32]),
    "zopraDocumentLoaderGetTextRoom": (_status, [_handle, _u32, _double_p]),
    "zopraDocumentLoaderGetTextAlignment": (_status, [_handle, _u32, ctypes.POINTER(ctypes.c_int32)]),
    "zopraDocumentLoaderSetTextChainA": (
        _status,
        [_handle, _text, _u32, _u32, ctypes.POINTER(_text), _u32, _double, _double],
    ),
    "zopraDocumentLoaderGetMissingCharacterCount": (_status, [_handle, _u32_p]),
    "zopraDocumentLoaderFitTextA": (
        _status,
        [_handle, _text, _u32, _u32, ctypes.POINTER(_text), _u32, _double, ctypes.POINTER(TextFit)],
    ),
    "zopraDocumentLoaderMoveText": (_status, [_handle, _double, _double]),
    "zopraDocumentLoaderDrawText": (_status, [_handle]),
    "zopraDocumentLoaderWriteDocumentA": (_status, [_handle, _text]),
    "zopraDocumentLoaderWriteDocumentCompactA": (_status, [_handle, _text, _u32]),
    "zopraDocumentLoaderExtractPageBlocks": (_status, [_handle, _u32, _u32_p]),
    "zopraDocumentLoaderGetBlock": (_status, [_handle, _u32, ctypes.POINTER(BlockInfo)]),
    "zopraDocumentLoaderGetBlockItems": (_status, [_handle, _u32, _u32_p, _u32, _u32_p]),
    "zopraDocumentLoaderFlowBlockA": (
        _status,
        [_handle, _u32, _text, ctypes.POINTER(_text), _u32, _double, ctypes.POINTER(BlockFlow)],
    ),
}


def _declare(library: ctypes.CDLL) -> ctypes.CDLL:
    """Set the result and argument types of every call used here."""
    for name, (result, arguments) in _PROTOTYPES.items():
        function = getattr(library, name)
        function.restype = result
        function.argtypes = arguments
    return library


def candidates(
    environ: Mapping[str, str] = os.environ, package_dir: Path = _PACKAGE_DIR
) -> List[Tuple[str, str]]:
    """The places to load the library from, in order, as (description, name
    handed to the dynamic loader)."""
    places: List[Tuple[str, str]] = []
    explicit = environ.get(ENVIRONMENT_VARIABLE)
    if explicit:
        places.append((f"{ENVIRONMENT_VARIABLE}={explicit}", explicit))
    for folder in (package_dir, package_dir.parent):
        found = sorted(folder.glob("libzopra_document_loader.so*"))
        if not found:
            places.append((f"{folder}/libzopra_document_loader.so*", ""))
        places.extend((str(path), str(path)) for path in found)
    system = ctypes.util.find_library("zopra_document_loader")
    places.append(('ctypes.util.find_library("zopra_document_loader")', system or ""))
    places.append((f"system loader: {SONAME}", SONAME))
    return places


def load(
    environ: Mapping[str, str] = os.environ, package_dir: Path = _PACKAGE_DIR
) -> ctypes.CDLL:
    """Load the first library of :func:`candidates` that the dynamic loader
    accepts and that exports the calls used here.

    Raises :class:`LibraryNotFoundError` naming every place tried.
    """
    attempts: List[Tuple[str, str]] = []
    for place, name in candidates(environ, package_dir):
        if not name:
            attempts.append((place, "not found"))
            continue
        try:
            return _declare(ctypes.CDLL(name))
        except (OSError, AttributeError) as error:
            attempts.append((place, str(error)))
    raise LibraryNotFoundError(attempts)


_loaded: Optional[ctypes.CDLL] = None


def library() -> ctypes.CDLL:
    """The shared library, loaded on first use and kept for the process."""
    global _loaded
    if _loaded is None:
        _loaded = load()
    return _loaded
