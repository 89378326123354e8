"""Writes small PDF files for the tests: numbered objects, a classic
cross-reference table with the offsets they land at, and a trailer."""

from __future__ import annotations

import zlib
from typing import List

# An 8 x 8 grey JPEG (half black, half grey) made with ghostscript's jpeggray
# device, with its ICC profile segment left out.
TINY_JPEG = bytes.fromhex(
    "ffd8ffe000104a46494600010101004800480000ffdb004300100b0c0e0c0a100e0d0e121110"
    "1318281a181616183123251d283a333d3c3933383740485c4e404457453738506d51575f6267"
    "68673e4d71797064785c656763ffc0000b080008000801011100ffc4001f00000105010101"
    "01010100000000000000000102030405060708090a0bffc400b510000201030302040305"
    "0504040000017d01020300041105122131410613516107227114328191a1082342b1c115"
    "52d1f02433627282090a161718191a25262728292a3435363738393a434445464748494a"
    "535455565758595a636465666768696a737475767778797a838485868788898a9293949596"
    "9798999aa2a3a4a5a6a7a8a9aab2b3b4b5b6b7b8b9bac2c3c4c5c6c7c8c9cad2d3d4d5d6d7"
    "d8d9dae1e2e3e4e5e6e7e8e9eaf1f2f3f4f5f6f7f8f9faffda0008010100003f00e83c2bff"
    "002f5ff00ffd9abfffd9"
)

# 2 x 2 grey samples and their Flate encoding, for an image of no known format.
FLATE_SAMPLES = bytes([0, 85, 170, 255])
FLATE_IMAGE = zlib.compress(FLATE_SAMPLES)


def stream(entries: str, data: bytes) -> bytes:
    """A stream object body: the dictionary ``entries`` plus the Length."""
    head = b"<< " + entries.encode() + b" /Length %d >>\nstream\n" % len(data)
    return head + data + b"\nendstream"


def pdf(objects: List[bytes]) -> bytes:
    """A PDF file of ``objects`` (object 1 is the catalog)."""
    out = bytearray(b"%PDF-1.7\n%\xe2\xe3\xcf\xd3\n")
    offsets = []
    for number, body in enumerate(objects, start=1):
        offsets.append(len(out))
        out += b"%d 0 obj\n" % number + body + b"\nendobj\n"
    start = len(out)
    out += b"xref\n0 %d\n0000000000 65535 f \n" % (len(objects) + 1)
    for offset in offsets:
        out += b"%010d 00000 n \n" % offset
    out += b"trailer\n<< /Size %d /Root 1 0 R >>\n" % (len(objects) + 1)
    out += b"startxref\n%d\n%%%%EOF\n" % start
    return bytes(out)


PAGE_ONE = b"""BT /F1 12 Tf 1.5 0.25 -0.25 1.5 20 150 Tm (Hello world) Tj ET
BT /F1 10 Tf 50 Tz 16 TL 20 120 Td (Second item) Tj ET
2 w 0 0 1 RG 10 10 m 110 10 l S
1 0 0 rg 150 20 30 40 re f
q 40 0 0 40 200 100 cm /Im1 Do Q
q 20 0 0 20 250 150 cm /Im2 Do Q
"""
PAGE_TWO = b"BT /F1 14 Tf 30 300 Td (Rotated page) Tj ET\n"


def sample() -> bytes:
    """Two pages. Page 1 (300 x 200): two text items (the first on a skewed
    matrix, the second at 50 % horizontal scaling with a leading of 16), a blue stroked line, a
    red filled rectangle, a JPEG image (object 8) and a Flate image (object 9).
    Page 2: a 400 x 500 crop box, rotated by 90 degrees, one text item."""
    resources = b"/Resources << /Font << /F1 5 0 R >> /XObject << /Im1 8 0 R /Im2 9 0 R >> >>"
    return pdf([
        b"<< /Type /Catalog /Pages 2 0 R >>",
        b"<< /Type /Pages /Kids [3 0 R 4 0 R] /Count 2 >>",
        b"<< /Type /Page /Parent 2 0 R /MediaBox [0 0 300 200] " + resources
        + b" /Contents 6 0 R >>",
        b"<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /CropBox [0 0 400 500] /Rotate 90 "
        + resources + b" /Contents 7 0 R >>",
        b"<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding /WinAnsiEncoding >>",
        stream("", PAGE_ONE),
        stream("", PAGE_TWO),
        stream("/Type /XObject /Subtype /Image /Width 8 /Height 8 /ColorSpace /DeviceGray "
               "/BitsPerComponent 8 /Filter /DCTDecode", TINY_JPEG),
        stream("/Type /XObject /Subtype /Image /Width 2 /Height 2 /ColorSpace /DeviceGray "
               "/BitsPerComponent 8 /Filter /FlateDecode", FLATE_IMAGE),
    ])


def broken_flate() -> bytes:
    """One page whose content claims Flate but holds no valid deflate data."""
    return pdf([
        b"<< /Type /Catalog /Pages 2 0 R >>",
        b"<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        b"<< /Type /Page /Parent 2 0 R /MediaBox [0 0 100 100] /Contents 4 0 R >>",
        stream("/Filter /FlateDecode", b"\x78\x9cthis is not deflate data at all"),
    ])
