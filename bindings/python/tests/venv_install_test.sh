#!/bin/sh
# As a new user would: a fresh venv, `pip install` of the package from a clean
# copy of the source (offline, ZOPRA_DOCUMENT_LOADER_LIBRARY unset), then the
# package's smoke test and the translate example on a corpus file, run from
# elsewhere. Exit 77 (skipped) without the corpus file.
#   venv_install_test.sh PYTHON3 SOURCE_DIR WORK_DIR CORPUS_DIR
set -eu
python=$1 source=$2 work=$3 corpus=$4
input=$corpus/pysf-lo-writer.pdf
[ -f "$input" ] || { echo "corpus file $input absent: skipped"; exit 77; }
rm -rf "$work"
mkdir -p "$work/src" "$work/run"
# The files under version control (and new ones not ignored); no build tree.
if git -C "$source" rev-parse >/dev/null 2>&1; then
  (cd "$source" && git ls-files -co --exclude-standard -z | xargs -0 tar -cf -) | tar -C "$work/src" -xf -
else
  tar -C "$source" --exclude=./.git --exclude='./build*' -cf - . | tar -C "$work/src" -xf -
fi
"$python" -m venv "$work/venv"
unset ZOPRA_DOCUMENT_LOADER_LIBRARY
export ZOPRA_CMAKE_BUILD_DIR="$work/build"
"$work/venv/bin/python" -m pip install -q --no-index "$work/src/bindings/python"
cd "$work/run"
venv_python=$work/venv/bin/python
# The library that loads is the one inside the installed package.
loaded=$("$venv_python" -c 'from zopra_document_loader import _library; print(_library.library()._name)')
case $loaded in
  "$work/venv/"*/zopra_document_loader/libzopra_document_loader.so.0) ;;
  *) echo "loaded $loaded, not the package's own library"; exit 1 ;;
esac
"$venv_python" -m zopra_document_loader "$input" >smoke.txt
pages=$(pdfinfo "$input" 2>/dev/null | sed -n 's/^Pages: *//p')
[ "$(head -n 1 smoke.txt)" = "pages: ${pages:-1}" ] || { echo "smoke test: $(head -n 1 smoke.txt)"; exit 1; }
# A map whose key is the first item's text with its white space doubled:
# matched after collapsing, replaced, and gone from the written file.
"$venv_python" - "$input" >map.json <<'PY'
import json, sys
from zopra_document_loader import Document
with Document(sys.argv[1]) as document:
    text = next(item.text for item in document[0].items() if len(item.text.split()) > 1)
json.dump({"  " + text.replace(" ", "  "): "Zopra replaced"}, sys.stdout)
PY
"$venv_python" "$work/src/bindings/python/examples/translate.py" "$input" out.pdf map.json
"$venv_python" -m zopra_document_loader out.pdf | grep -q "Zopra replaced" || {
  echo "translate.py: the new text is not in out.pdf"
  exit 1
}
echo "venv install, smoke test and translate passed"
