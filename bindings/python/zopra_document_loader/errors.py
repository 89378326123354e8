"""Exceptions raised for the status codes of the C library."""

from __future__ import annotations

from typing import Dict, Type

SUCCESS = 0
INVALID_ARGUMENT = -1
MEMORY_INSUFFICIENT = -5
NOT_SUPPORTED = -15
ENCRYPTED_DOCUMENT = -24
BROKEN_STREAM = -25
OTHER_ERROR = -128

_NAMES: Dict[int, str] = {
    INVALID_ARGUMENT: "invalid argument",
    MEMORY_INSUFFICIENT: "out of memory",
    NOT_SUPPORTED: "not supported",
    ENCRYPTED_DOCUMENT: "needs a password, or its encryption is damaged or unsupported",
    BROKEN_STREAM: "a stream of the document cannot be decoded",
    OTHER_ERROR: "not a PDF, damaged, or unreadable",
}


class PdfError(Exception):
    """A call of the library failed.

    ``status`` is the library's status code (a negative number); the message
    names the call that returned it.
    """

    def __init__(self, status: int, call: str, detail: str = "") -> None:
        self.status = status
        self.call = call
        reason = detail or _NAMES.get(status, "unknown status")
        super().__init__(f"{call}: {reason} (status {status})")


class InvalidArgument(PdfError):
    """Status -1: a bad argument, an item index out of range, or a closed document."""


class OutOfMemory(PdfError):
    """Status -5: the library ran out of memory."""


class PasswordRequired(PdfError):
    """Status -24: the document is encrypted and the empty password does not open it."""


class BrokenStream(PdfError):
    """Status -25: a stream the call needed cannot be decoded."""


_CLASSES: Dict[int, Type[PdfError]] = {
    INVALID_ARGUMENT: InvalidArgument,
    MEMORY_INSUFFICIENT: OutOfMemory,
    ENCRYPTED_DOCUMENT: PasswordRequired,
    BROKEN_STREAM: BrokenStream,
}


def error_for(status: int, call: str, detail: str = "") -> PdfError:
    """The exception for a failed ``status`` of ``call``: a subclass where
    the status has one, else a plain :class:`PdfError`."""
    return _CLASSES.get(status, PdfError)(status, call, detail)


def check(status: int, call: str) -> None:
    """Raise the exception for ``status`` unless it is success (0)."""
    if status != SUCCESS:
        raise error_for(status, call)
