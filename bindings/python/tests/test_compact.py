"""Compact output: drawn fonts cut to their glyphs, new streams compressed,
unused objects left out. Judged with fontTools, qpdf, pdftotext and
ghostscript against the plain writer's output."""

from __future__ import annotations

import base64
import io
import json
import re
import shutil
import subprocess
import zlib
from pathlib import Path

import pytest

from zopra_document_loader import Document

# Font, and a text that draws composite glyphs (accented letters) with it.
FONTS = [
    ("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf", "Déjà vu à Noël"),
    ("/usr/share/fonts/truetype/liberation/LiberationSerif-Regular.ttf", "Écrit à Noël, ça"),
    ("/usr/share/fonts/opentype/ipafont-gothic/ipag.ttf", "日本語のテキスト"),
]
TOOLS = ("qpdf", "pdftotext", "gs")


def needs_tools():
    missing = [tool for tool in TOOLS if not shutil.which(tool)]
    if missing:
        pytest.skip(f"missing {', '.join(missing)} (Debian qpdf, poppler-utils, ghostscript)")


def run(*command: str) -> bytes:
    return subprocess.run(command, capture_output=True, check=True).stdout


def objects(path: Path) -> dict:
    """Object number -> qpdf's JSON form of the object, stream data decoded."""
    found = {}
    document = json.loads(run("qpdf", "--json-output", "--json-stream-data=inline", str(path), "-"))
    for key, item in document["qpdf"][1].items():
        number = re.fullmatch(r"obj:(\d+) 0 R", key)
        if number and "stream" in item:
            data = base64.b64decode(item["stream"].get("data", ""))
            if item["stream"]["dict"].get("/Filter") == "/FlateDecode":
                data = zlib.decompress(data)
            item["stream"]["data"] = data
        if number:
            found[int(number.group(1))] = item
    return found


def render(path: Path) -> bytes:
    return run("gs", "-q", "-dNOPAUSE", "-dBATCH", "-dSAFER", "-sDEVICE=pgmraw", "-r72", "-dFirstPage=1",
               "-dLastPage=1", "-sOutputFile=-", str(path))


def replaced(sample: Path, tmp_path: Path, font: str, text: str):
    """The sample with its first item replaced by `text`, written compact and plain."""
    compact, plain = tmp_path / "compact.pdf", tmp_path / "plain.pdf"
    with Document(sample) as document:
        page = document.page(0)
        first = page.items()[0]
        page.remove_text([first])
        page.set_text(first, text, font, 8.0)
        page.draw_text()
        document.save(compact)
        document.save(plain, compact=False)
    return compact, plain


def glyph_id(font, name: str) -> int:
    return font.getGlyphID(name)


def components(font, gid: int) -> list:
    glyph = font["glyf"][font.getGlyphOrder()[gid]]
    return [glyph_id(font, name) for name in glyph.getComponentNames(font["glyf"])] if glyph.isComposite() else []


@pytest.mark.parametrize("font_path, text", FONTS, ids=lambda value: Path(value).stem if "/" in value else "")
def test_subset_font_keeps_drawn_glyphs_only(sample, tmp_path, font_path, text):
    ttlib = pytest.importorskip("fontTools.ttLib")
    needs_tools()
    if not Path(font_path).is_file():
        pytest.skip(f"{font_path} is not installed")
    compact, plain = replaced(sample, tmp_path, font_path, text)

    for written in (compact, plain):
        run("qpdf", "--check", str(written))
    assert run("pdftotext", str(compact), "-") == run("pdftotext", str(plain), "-")
    assert render(compact) == render(plain)

    found = objects(compact)
    descriptor, = [item["value"] for item in found.values() if "/FontFile2" in item.get("value", {})]
    file_number = int(descriptor["/FontFile2"].split()[0])
    subset = ttlib.TTFont(io.BytesIO(found[file_number]["stream"]["data"]))
    original = ttlib.TTFont(font_path)
    postscript = original["name"].getDebugName(6)
    assert re.fullmatch(r"/[A-Z]{6}\+" + re.escape(postscript), descriptor["/FontName"])
    bases = {item["value"]["/BaseFont"] for item in found.values()
             if item.get("value", {}).get("/Subtype") in ("/Type0", "/CIDFontType2")}
    assert bases == {descriptor["/FontName"]}

    cmap = original.getBestCmap()
    drawn = {glyph_id(original, cmap[ord(c)]) for c in text if ord(c) in cmap}
    kept = {0} | drawn
    pending = list(drawn)
    while pending:
        for part in components(original, pending.pop()):
            if part not in kept:
                kept.add(part)
                pending.append(part)
    assert any(components(original, gid) for gid in drawn) or "日" in text

    order, original_order = subset.getGlyphOrder(), original.getGlyphOrder()
    for gid in sorted(kept):
        mine, theirs = subset["glyf"][order[gid]], original["glyf"][original_order[gid]]
        assert subset["hmtx"][order[gid]][0] == original["hmtx"][original_order[gid]][0], gid
        assert components(subset, gid) == components(original, gid), gid
        if not mine.isComposite():
            assert list(mine.getCoordinates(subset["glyf"])[0]) == \
                list(theirs.getCoordinates(original["glyf"])[0]), gid
    for gid in range(len(order)):
        if gid not in kept:
            assert subset["glyf"][order[gid]].numberOfContours == 0, gid
    assert len(found[file_number]["stream"]["data"]) < Path(font_path).stat().st_size / 4


def test_removed_content_is_left_out(sample, tmp_path):
    needs_tools()
    compact, plain = tmp_path / "compact.pdf", tmp_path / "plain.pdf"
    with Document(sample) as document:
        document.page(0).remove_text()
        document.save(compact)
        document.save(plain, compact=False)
    before = objects(sample)
    page, = [item["value"] for item in before.values()
             if item.get("value", {}).get("/Type") == "/Page" and "/Rotate" not in item["value"]]
    contents = page["/Contents"]
    old = int((contents if isinstance(contents, str) else contents[0]).split()[0])
    assert old in objects(plain)
    assert old not in objects(compact)
    run("qpdf", "--check", str(compact))
    assert run("pdftotext", str(compact), "-") == run("pdftotext", str(plain), "-")
    assert render(compact) == render(plain)
    # Every stream the library wrote is compressed.
    for number, item in objects(compact).items():
        if number not in before and "stream" in item and item["stream"]["data"]:
            assert item["stream"]["dict"].get("/Filter") == "/FlateDecode"
