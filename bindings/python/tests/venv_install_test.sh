#!/bin/sh
# As a new user would: pip installs the package from a clean copy of the
# source into a fresh venv (offline, ZOPRA_DOCUMENT_LOADER_LIBRARY unset),
# then runs the smoke test and the translate example on a corpus file from
# elsewhere. Exit 77 (skipped) without the corpus.
#   venv_install_test.sh PYTHON3 SOURCE_DIR WORK_DIR CORPUS_DIR
set -eu
python=$1 source=$2 work=$3 input=$4/pysf-lo-writer.pdf
[ -f "$input" ] || { echo "corpus file $input absent: skipped"; exit 77; }
git -C "$source" rev-parse 2>/dev/null || { echo "$source is not a git checkout: skipped"; exit 77; }
rm -rf "$work"
mkdir -p "$work/src" "$work/run"
(cd "$source" && git ls-files -co --exclude-standard -z | xargs -0 tar -cf -) | tar -C "$work/src" -xf -
"$python" -m venv "$work/venv"
unset ZOPRA_DOCUMENT_LOADER_LIBRARY
ZOPRA_CMAKE_BUILD_DIR="$work/build" "$work/venv/bin/python" -m pip install -q --no-index "$work/src/bindings/python"
cd "$work/run"
python=$work/venv/bin/python
"$python" -c 'from zopra_document_loader import _library; print(_library.library()._name)' >loaded.txt
grep -q "^$work/venv/.*/zopra_document_loader/libzopra_document_loader.so.0\$" loaded.txt ||
  { echo "loaded $(cat loaded.txt), not the package's own library"; exit 1; }
"$python" -m zopra_document_loader "$input" | head -n 1 | grep -qx "pages: $(pdfinfo "$input" | sed -n 's/^Pages: *//p')"
# The key is the first item of several words with its spaces doubled: it
# matches after white space is collapsed, and the new text is in the output.
"$python" -c 'import json, sys; from zopra_document_loader import Document
text = next(i.text for i in Document(sys.argv[1])[0].items() if " " in i.text.strip())
json.dump({" " + text.replace(" ", "  "): "Zopra replaced"}, sys.stdout)' "$input" >map.json
"$python" "$work/src/bindings/python/examples/translate.py" "$input" out.pdf map.json
"$python" -m zopra_document_loader out.pdf | grep -q "Zopra replaced"
