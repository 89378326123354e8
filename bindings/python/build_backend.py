"""A minimal build backend for this pure-Python package.

`pip install ./bindings/python` calls it to turn the package folder into a
wheel. It needs nothing beyond the standard library, so the install works
offline and with any pip, where setuptools would need itself and `wheel`
downloaded or installed first. The wheel holds the package's modules, its
`py.typed` marker, and a copy of the shared library when one has been put
beside the modules.
"""
import base64
import hashlib
import os
import zipfile

NAME = "zopra_document_loader"
VERSION = "0.1.0"
SUMMARY = ("Read PDF pages (size, text, graphics, images) and replace their text "
           "through libzopra_document_loader")
TAG = "py3-none-any"
HERE = os.path.dirname(os.path.abspath(__file__))
DIST_INFO = f"{NAME}-{VERSION}.dist-info"


def _metadata():
    return (f"Metadata-Version: 2.1\nName: {NAME}\nVersion: {VERSION}\n"
            f"Summary: {SUMMARY}\nRequires-Python: >=3.8\n")


def _package_files():
    folder = os.path.join(HERE, NAME)
    for name in sorted(os.listdir(folder)):
        path = os.path.join(folder, name)
        if os.path.isfile(path) and (name.endswith(".py") or name == "py.typed"
                                     or name.startswith("libzopra_document_loader.so")):
            yield f"{NAME}/{name}", path


def _digest(data):
    return base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()


def get_requires_for_build_wheel(config_settings=None):
    return []


def prepare_metadata_for_build_wheel(metadata_directory, config_settings=None):
    folder = os.path.join(metadata_directory, DIST_INFO)
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, "METADATA"), "w", encoding="utf-8") as out:
        out.write(_metadata())
    return DIST_INFO


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    wheel_name = f"{NAME}-{VERSION}-{TAG}.whl"
    entries = [(archive, open(path, "rb").read()) for archive, path in _package_files()]
    entries.append((f"{DIST_INFO}/METADATA", _metadata().encode()))
    entries.append((f"{DIST_INFO}/WHEEL",
                    f"Wheel-Version: 1.0\nGenerator: {NAME} build_backend\n"
                    f"Root-Is-Purelib: true\nTag: {TAG}\n".encode()))
    record = "".join(f"{name},sha256={_digest(data)},{len(data)}\n" for name, data in entries)
    record += f"{DIST_INFO}/RECORD,,\n"
    entries.append((f"{DIST_INFO}/RECORD", record.encode()))
    with zipfile.ZipFile(os.path.join(wheel_directory, wheel_name), "w", zipfile.ZIP_DEFLATED) as wheel:
        for name, data in entries:
            wheel.writestr(name, data)
    return wheel_name
