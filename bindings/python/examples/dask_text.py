#!/usr/bin/env python3
"""Extract the text of a folder of PDFs with Dask's distributed scheduler.

usage: dask_text.py FOLDER OUT [--scheduler HOST:PORT] [--pages-per-task N]
                    [--workers N] [--max-pages N]

Every file is cut into ranges of --pages-per-task pages (default 50; 0 for
one task per file); each range is one task, run by any worker on its own
Document (a handle is never shared). The results are gathered in input
order and each file's text is written to OUT/NAME.txt, pages separated by a
form feed as pdftotext does. A file that cannot be read gives one line
"error: ..." instead of its text.

Without --scheduler a LocalCluster of --workers processes (default: one per
core) runs on this machine. With --scheduler the same code runs on a real
cluster: start `dask-scheduler` on one machine and `dask-worker HOST:8786`
on every machine that has this package and the files at the same path.
"""

from __future__ import annotations

import argparse
import os
import sys
from pathlib import Path
from typing import List, Optional, Sequence, Tuple

from zopra_document_loader import Document, PdfError

# One task: a file and the half-open page range [start, stop) it reads.
Task = Tuple[str, int, int]


def page_count(path: str) -> int:
    """The file's page count, or 0 when it cannot be opened (its one task
    then reports the error)."""
    try:
        with Document(path) as document:
            return len(document)
    except PdfError:
        return 0


def plan(paths: Sequence[str], pages_per_task: int, max_pages: Optional[int] = None) -> List[Task]:
    """The tasks for `paths`, in input order. `max_pages` reads only the
    first pages of each file."""
    tasks: List[Task] = []
    for path in paths:
        pages = page_count(path)
        if max_pages is not None:
            pages = min(pages, max_pages)
        step = pages_per_task if pages_per_task > 0 else max(pages, 1)
        tasks.extend((path, start, min(start + step, pages)) for start in range(0, max(pages, 1), step))
    return tasks


def extract_range(task: Task) -> List[str]:
    """The texts of the task's pages (runs on a worker)."""
    path, start, stop = task
    try:
        # Mapped: the workers of one machine share the system's copy of a file.
        with Document(path, mapped=True) as document:
            return [document[index].text() for index in range(start, stop)]
    except PdfError as error:
        return [f"error: {error}\n"]


def join(tasks: Sequence[Task], results: Sequence[List[str]]) -> List[Tuple[str, List[str]]]:
    """Each file's page texts, in input order, from the tasks' results."""
    files: List[Tuple[str, List[str]]] = []
    for (path, _, _), texts in zip(tasks, results):
        if not files or files[-1][0] != path:
            files.append((path, []))
        files[-1][1].extend(texts)
    return files


def extract_distributed(client, paths: Sequence[str], pages_per_task: int = 50,
                        max_pages: Optional[int] = None) -> List[Tuple[str, List[str]]]:
    """Runs the tasks on the client's cluster; gather keeps their order."""
    tasks = plan(paths, pages_per_task, max_pages)
    # pure=False: two equal ranges (a file given twice) still run as two tasks.
    futures = client.map(extract_range, tasks, pure=False)
    return join(tasks, client.gather(futures))


def extract_serial(paths: Sequence[str], pages_per_task: int = 50,
                   max_pages: Optional[int] = None) -> List[Tuple[str, List[str]]]:
    """The same work in this process, one task after the other."""
    tasks = plan(paths, pages_per_task, max_pages)
    return join(tasks, [extract_range(task) for task in tasks])


def main(argv: Optional[Sequence[str]] = None) -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("folder", type=Path)
    parser.add_argument("out", type=Path)
    parser.add_argument("--scheduler", help="address of a running dask-scheduler (HOST:PORT)")
    parser.add_argument("--pages-per-task", type=int, default=50)
    parser.add_argument("--workers", type=int, default=os.cpu_count() or 1)
    parser.add_argument("--max-pages", type=int)
    args = parser.parse_args(argv)

    from distributed import Client, LocalCluster  # Debian: python3-distributed

    paths = [str(path) for path in sorted(args.folder.glob("*.pdf"))]
    if args.scheduler:
        with Client(args.scheduler) as client:
            files = extract_distributed(client, paths, args.pages_per_task, args.max_pages)
    else:
        with LocalCluster(n_workers=args.workers, threads_per_worker=1, processes=True,
                          dashboard_address=None) as cluster, Client(cluster) as client:
            files = extract_distributed(client, paths, args.pages_per_task, args.max_pages)

    args.out.mkdir(parents=True, exist_ok=True)
    for path, texts in files:
        (args.out / (Path(path).stem + ".txt")).write_text("\f".join(texts), encoding="utf-8")
    print(f"{len(files)} files, {sum(len(texts) for _, texts in files)} pages", file=sys.stderr)
    return 0


if __name__ == "__main__":
    sys.exit(main())
