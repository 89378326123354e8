"""The Dask example on a LocalCluster of two worker processes reads the
corpus as one process does (skipped without the corpus or without Debian's
python3-distributed)."""

from __future__ import annotations

import os
from pathlib import Path

import pytest

EXAMPLES = Path(__file__).resolve().parents[1] / "examples"
CORPUS = Path(os.environ.get("ZOPRA_CORPUS_DIR", Path(__file__).resolve().parents[3] / ".." / "shared" / "corpus"))


def test_distributed_text_equals_serial_text(monkeypatch: pytest.MonkeyPatch) -> None:
    distributed = pytest.importorskip("distributed")
    if not (CORPUS / "ORACLE.tsv").is_file():
        pytest.skip(f"no corpus at {CORPUS}")
    monkeypatch.syspath_prepend(str(EXAMPLES))
    import dask_text

    # The first three pages of every file up to 2 MiB, two pages a task:
    # files of one task and of several, and files that cannot be read, in
    # under a minute in the sanitizer build.
    paths = [str(path) for path in sorted(CORPUS.glob("*.pdf")) if path.stat().st_size <= 2 << 20]
    with distributed.LocalCluster(n_workers=2, processes=True, threads_per_worker=1,
                                  dashboard_address=None) as cluster, distributed.Client(cluster) as client:
        spread = dask_text.extract_distributed(client, paths, pages_per_task=2, max_pages=3)
    serial = dask_text.extract_serial(paths, pages_per_task=2, max_pages=3)

    assert [path for path, _ in spread] == paths
    assert spread == serial
    with_text = [path for path, texts in serial if any(text.strip() and not text.startswith("error:") for text in texts)]
    assert len(with_text) >= len(paths) * 3 // 4
