"""The build backend of this package: builds the engine, then the wheel.

`pip install ./bindings/python` and `pip wheel ./bindings/python` call it. It
needs nothing beyond the standard library, so both work offline and with any
pip. It builds libzopra_document_loader from the source tree around this
folder with CMake (so cmake, a C++20 compiler and zlib's headers must be
installed) and puts the shared library inside the package, which then loads
it without any setting. The wheel is tagged for this platform, since it
carries machine code.

Environment: ZOPRA_CMAKE_ARGS adds arguments to the CMake configuration (for
example a compiler launcher); ZOPRA_CMAKE_BUILD_DIR names the folder to build
in (default: a temporary folder, removed afterwards); CMAKE_BUILD_PARALLEL_LEVEL
sets the number of compile jobs, as for any CMake build.
"""
import base64
import glob
import hashlib
import os
import shlex
import shutil
import subprocess
import sys
import sysconfig
import tempfile
import zipfile

NAME = "zopra_document_loader"
VERSION = "0.1.0"
SUMMARY = ("Read PDF pages (size, text, graphics, images) and replace their text "
           "through libzopra_document_loader")
SONAME = "libzopra_document_loader.so.0"
HERE = os.path.dirname(os.path.abspath(__file__))
SOURCE_ROOT = os.path.dirname(os.path.dirname(HERE))
DIST_INFO = f"{NAME}-{VERSION}.dist-info"


def _tag():
    platform = sysconfig.get_platform().replace("-", "_").replace(".", "_")
    return f"py3-none-{platform}"


def _metadata():
    return (f"Metadata-Version: 2.1\nName: {NAME}\nVersion: {VERSION}\n"
            f"Summary: {SUMMARY}\nRequires-Python: >=3.8\n")


def _package_files():
    """The modules and the py.typed marker; a library left in the folder by
    hand is not taken, the wheel gets the one just built."""
    folder = os.path.join(HERE, NAME)
    for name in sorted(os.listdir(folder)):
        path = os.path.join(folder, name)
        if os.path.isfile(path) and (name.endswith(".py") or name == "py.typed"):
            yield f"{NAME}/{name}", path


def _digest(data):
    return base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()


def _run(command):
    print("build_backend:", " ".join(shlex.quote(part) for part in command), file=sys.stderr)
    subprocess.run(command, check=True, stdout=sys.stderr)


def _build_library(build_dir):
    """Builds the shared library alone in `build_dir`; returns its bytes."""
    if not os.path.isfile(os.path.join(SOURCE_ROOT, "CMakeLists.txt")):
        raise RuntimeError(f"no CMake project at {SOURCE_ROOT}: the package builds its library "
                           "from the source tree it sits in (bindings/python)")
    cmake = shutil.which("cmake")
    if not cmake:
        raise RuntimeError("cmake is needed to build libzopra_document_loader "
                           "(Debian: apt-get install cmake g++ zlib1g-dev)")
    _run([cmake, "-S", SOURCE_ROOT, "-B", build_dir, "-DCMAKE_BUILD_TYPE=Release",
          "-DBUILD_TESTING=OFF", "-DZOPRA_BUILD_TOOLS=OFF", "-DZOPRA_BUILD_BENCHMARKS=OFF"]
         + shlex.split(os.environ.get("ZOPRA_CMAKE_ARGS", "")))
    jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL") or str(os.cpu_count() or 1)
    _run([cmake, "--build", build_dir, "--target", "zopra_document_loader", "--parallel", jobs])
    built = sorted(glob.glob(os.path.join(build_dir, "**", SONAME), recursive=True))
    if not built:
        raise RuntimeError(f"the build made no {SONAME}")
    with open(os.path.realpath(built[0]), "rb") as library:
        return library.read()


def get_requires_for_build_wheel(config_settings=None):
    return []


def prepare_metadata_for_build_wheel(metadata_directory, config_settings=None):
    folder = os.path.join(metadata_directory, DIST_INFO)
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, "METADATA"), "w", encoding="utf-8") as out:
        out.write(_metadata())
    return DIST_INFO


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    build_dir = os.environ.get("ZOPRA_CMAKE_BUILD_DIR")
    if build_dir:
        library = _build_library(os.path.abspath(build_dir))
    else:
        with tempfile.TemporaryDirectory(prefix="zopra-wheel-") as scratch:
            library = _build_library(scratch)
    tag = _tag()
    wheel_name = f"{NAME}-{VERSION}-{tag}.whl"
    entries = [(archive, open(path, "rb").read()) for archive, path in _package_files()]
    entries.append((f"{NAME}/{SONAME}", library))
    entries.append((f"{DIST_INFO}/METADATA", _metadata().encode()))
    entries.append((f"{DIST_INFO}/WHEEL",
                    f"Wheel-Version: 1.0\nGenerator: {NAME} build_backend\n"
                    f"Root-Is-Purelib: false\nTag: {tag}\n".encode()))
    record = "".join(f"{name},sha256={_digest(data)},{len(data)}\n" for name, data in entries)
    record += f"{DIST_INFO}/RECORD,,\n"
    entries.append((f"{DIST_INFO}/RECORD", record.encode()))
    with zipfile.ZipFile(os.path.join(wheel_directory, wheel_name), "w", zipfile.ZIP_DEFLATED) as wheel:
        for name, data in entries:
            wheel.writestr(name, data)
    return wheel_name
