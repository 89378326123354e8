"""`python -m zopra_document_loader FILE`: the page count and the text of
every page, to check that the package and its library work."""

from __future__ import annotations

import sys
from typing import List, Optional

from . import Document, PdfError


def main(argv: Optional[List[str]] = None) -> int:
    arguments = sys.argv[1:] if argv is None else argv
    if len(arguments) != 1 or arguments[0].startswith("-"):
        print("usage: python -m zopra_document_loader FILE.pdf", file=sys.stderr)
        return 2
    try:
        with Document(arguments[0]) as document:
            print(f"pages: {len(document)}")
            for page in document:
                sys.stdout.write(page.text() + "\f")
    except (OSError, PdfError) as error:
        print(f"{arguments[0]}: {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
