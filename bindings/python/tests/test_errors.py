"""Failures become exceptions; handles are freed; the library loader says
where it looked."""

from __future__ import annotations

import ctypes.util
import gc
import shutil
import subprocess
from pathlib import Path

import pytest

import pdfgen
import zopra_document_loader.document as document_module
from zopra_document_loader import (BrokenStream, Document, InvalidArgument, LibraryNotFoundError,
                                   OutOfMemory, PasswordRequired, PdfError, _library)
from zopra_document_loader.errors import check


def encrypted(sample: Path) -> Path:
    if not shutil.which("qpdf"):
        pytest.skip("qpdf is not installed")
    out = sample.with_name("encrypted.pdf")
    subprocess.run(["qpdf", "--encrypt", "user", "owner", "256", "--", str(sample), str(out)],
                   check=True)
    return out


def closed(sample: Path) -> Document:
    document = Document(sample)
    document.close()
    return document


def opened_page(sample: Path, with_items: bool = True):
    page = Document(sample).page(0)
    if with_items:
        page.items()
    return page


# name: (action on the sample file, exception class, status, text in the message)
FAILURES = {
    "missing file": (lambda s: Document(s.with_name("missing.pdf")), PdfError, -128,
                     "zopraDocumentLoaderOpenFileA"),
    "encrypted": (lambda s: Document(encrypted(s)), PasswordRequired, -24, "OpenFileA"),
    "broken Flate content": (
        lambda s: (s.write_bytes(pdfgen.broken_flate()), Document(s).page(0).text()),
        BrokenStream, -25, "zopraDocumentLoaderGetPageTextSize(page 0)"),
    "closed document, page": (lambda s: closed(s).page(0), InvalidArgument, -1, "closed"),
    "item out of range": (lambda s: opened_page(s).remove_text([2]), InvalidArgument, -1,
                          "RemoveOriginalTextByIndex"),
    "items of another page": (
        lambda s: (opened_page(s).document.page(1).set_text(0, "x", s, 10)),
        InvalidArgument, -1, "call items() on this page first"),
    "negative minimum size": (lambda s: opened_page(s, False).graphics(-1), InvalidArgument, -1,
                              "ExtractPageGraphics"),
    "nothing set to draw": (lambda s: opened_page(s).draw_text(), InvalidArgument, -1,
                            "DrawText"),
    "font not TrueType": (lambda s: opened_page(s).set_text(0, "x", s, 10), PdfError, -128,
                          "SetTextA"),
}


@pytest.mark.parametrize("name", FAILURES)
def test_failures_raise_by_status(sample, name):
    action, kind, status, message = FAILURES[name]
    with pytest.raises(PdfError) as caught:
        action(sample)
    assert type(caught.value) is kind
    assert caught.value.status == status
    assert message in str(caught.value) and f"status {status}" in str(caught.value)


@pytest.mark.parametrize("status, kind", [
    (-1, InvalidArgument), (-5, OutOfMemory), (-24, PasswordRequired), (-25, BrokenStream),
    (-15, PdfError), (-128, PdfError), (-77, PdfError),
])
def test_status_mapping(status, kind):
    with pytest.raises(PdfError) as caught:
        check(status, "someCall")
    assert type(caught.value) is kind
    assert (caught.value.status, caught.value.call) == (status, "someCall")
    assert str(caught.value).startswith("someCall: ")
    check(0, "someCall")


def test_handles_freed_on_close_collection_and_failed_open(sample, monkeypatch):
    real = _library.library()

    class Counting:
        def __init__(self):
            self.live = set()
            self.destroyed = 0

        def __getattr__(self, name):
            return getattr(real, name)

        def zopraDocumentLoaderCreate(self, out):
            status = real.zopraDocumentLoaderCreate(out)
            self.live.add(out._obj.value)
            return status

        def zopraDocumentLoaderDestroy(self, handle):
            self.live.remove(handle.value)
            self.destroyed += 1
            real.zopraDocumentLoaderDestroy(handle)

    counting = Counting()
    monkeypatch.setattr(document_module, "library", lambda: counting)

    document = Document(sample)
    document.close()
    document.close()
    assert (counting.live, counting.destroyed, document.closed) == (set(), 1, True)

    with Document(sample) as document:
        assert len(counting.live) == 1
    assert counting.live == set()

    page = Document(sample).page(0)
    gc.collect()
    assert len(counting.live) == 1 and page.text()  # the page keeps its document
    del page
    gc.collect()
    assert counting.live == set()

    with pytest.raises(PdfError) as caught:
        Document(sample.with_name("missing.pdf"))
    # Freed at once, although the traceback still holds the object.
    assert (counting.live, counting.destroyed) == (set(), 4)
    del caught


def test_library_search_order_and_error(tmp_path, monkeypatch):
    real = Path(_library.library()._name).resolve()
    package = tmp_path / "pkg"
    package.mkdir()
    monkeypatch.setattr(ctypes.util, "find_library", lambda name: None)

    # Next to the package (in its parent folder), then the environment variable first.
    (tmp_path / "libzopra_document_loader.so.0").symlink_to(real)
    found = _library.load(environ={}, package_dir=package)
    assert found._name == str(tmp_path / "libzopra_document_loader.so.0")
    found = _library.load(environ={_library.ENVIRONMENT_VARIABLE: str(real)}, package_dir=package)
    assert found._name == str(real)

    (tmp_path / "libzopra_document_loader.so.0").unlink()
    (package / "libzopra_document_loader.so").write_bytes(b"not a library")
    monkeypatch.setattr(_library, "SONAME", "libzopra_document_loader_missing.so.0")
    with pytest.raises(ImportError) as caught:
        _library.load(environ={_library.ENVIRONMENT_VARIABLE: "/nowhere/lib.so"},
                      package_dir=package)
    assert isinstance(caught.value, LibraryNotFoundError)
    message = str(caught.value)
    for place in ("ZOPRA_DOCUMENT_LOADER_LIBRARY=/nowhere/lib.so",
                  str(package / "libzopra_document_loader.so"),
                  f"{tmp_path}/libzopra_document_loader.so*",
                  'find_library("zopra_document_loader")',
                  "libzopra_document_loader_missing.so.0"):
        assert place in message
    assert len(caught.value.attempts) == 5
