"""Fixtures: the package from this source tree, PDF files written per test,
and the DejaVu Sans font (tests that draw text skip without it)."""

from __future__ import annotations

import sys
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parents[1]))

import pdfgen  # noqa: E402

FONT = Path("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf")


@pytest.fixture
def sample(tmp_path: Path) -> Path:
    path = tmp_path / "sample.pdf"
    path.write_bytes(pdfgen.sample())
    return path


@pytest.fixture
def font() -> Path:
    if not FONT.is_file():
        pytest.skip(f"{FONT} is not installed (Debian package fonts-dejavu-core)")
    return FONT
