#!/bin/sh
# Installs the build tree into a temporary prefix, then builds and runs a small
# C client against it, once through pkg-config and once through CMake's
# find_package. Exit 77 (skipped) without pkg-config.
#   install_test.sh BUILD_DIR C_COMPILER CMAKE [EXTRA_CFLAGS]
set -eu
build_dir=$1
cc=$2
cmake=$3
extra_cflags=${4:-}

if ! command -v pkg-config >/dev/null 2>&1; then
  echo "pkg-config not found: skipped"
  exit 77
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/zopra-install-XXXXXX")
trap 'rm -rf "$work"' EXIT INT TERM
prefix=$work/prefix

"$cmake" --install "$build_dir" --prefix "$prefix" >"$work/install.log" 2>&1 || {
  cat "$work/install.log"
  echo "cmake --install failed"
  exit 1
}

# The installed tool runs from the prefix with nothing else set: it finds the
# library beside it. The prefix is moved first, so that no path of the build
# or of the install step can be what makes it work.
mv "$prefix" "$work/moved"
prefix=$work/moved
tool=$(find "$prefix" -name zopra-pdf -type f | head -n 1)
if [ -n "$tool" ]; then
  sample=$(dirname "$0")/../../examples/sample.pdf
  env -u LD_LIBRARY_PATH "$tool" info "$sample" | grep -q "pages: 2" || {
    echo "the installed zopra-pdf does not read the sample"
    exit 1
  }
  man -l "$prefix/share/man/man1/zopra-pdf.1" >/dev/null 2>&1 || {
    echo "share/man/man1/zopra-pdf.1 is not installed, or man cannot read it"
    exit 1
  }
fi

pc_file=$(find "$prefix" -name zopra_document_loader.pc | head -n 1)
[ -n "$pc_file" ] || { echo "zopra_document_loader.pc not installed"; exit 1; }

cat >"$work/client.c" <<'CEOF'
#include <stdio.h>
#include <zopra_document_loader.h>

int main(int argc, char** argv) {
  ZOPRADocumentLoader* loader = NULL;
  uint32_t count = 0;
  int32_t status;
  if (zopraDocumentLoaderCreate(&loader) != ZOPRA_STATUS_SUCCESS) return 1;
  status = zopraDocumentLoaderOpenFileA(loader, argc > 1 ? argv[1] : "/nonexistent/file.pdf");
  if (status != ZOPRA_STATUS_OTHER_ERROR) return 3;
  if (zopraDocumentLoaderGetPageCount(loader, &count) != ZOPRA_STATUS_INVALID_ARGUMENT) return 4;
  zopraDocumentLoaderDestroy(loader);
  puts("client ok");
  return 0;
}
CEOF

# pkg-config
PKG_CONFIG_PATH=$(dirname "$pc_file")
export PKG_CONFIG_PATH
flags=$(pkg-config --cflags --libs zopra_document_loader)
libdir=$(pkg-config --variable=libdir zopra_document_loader)
# shellcheck disable=SC2086
"$cc" $extra_cflags -o "$work/client" "$work/client.c" $flags "-Wl,-rpath,$libdir"
"$work/client"

# find_package
config=$(find "$prefix" -name zopra_document_loader-config.cmake | head -n 1)
[ -n "$config" ] || { echo "zopra_document_loader-config.cmake not installed"; exit 1; }
mkdir "$work/project"
cp "$work/client.c" "$work/project/client.c"
cat >"$work/project/CMakeLists.txt" <<'CEOF'
cmake_minimum_required(VERSION 3.20)
project(zopra_client C)
find_package(zopra_document_loader 0.1 REQUIRED)
add_executable(client client.c)
target_link_libraries(client PRIVATE zopra::zopra_document_loader)
CEOF
"$cmake" -S "$work/project" -B "$work/project/build" -DCMAKE_C_COMPILER="$cc" \
  -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_C_FLAGS="$extra_cflags" \
  -DCMAKE_EXE_LINKER_FLAGS="$extra_cflags" >"$work/configure.log" 2>&1 || {
  cat "$work/configure.log"
  echo "find_package project failed to configure"
  exit 1
}
"$cmake" --build "$work/project/build" >"$work/build.log" 2>&1 || {
  cat "$work/build.log"
  echo "find_package project failed to build"
  exit 1
}
"$work/project/build/client"
