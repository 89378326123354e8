#!/bin/sh
# Checks zopra-pdf's output formats, failure lines and exit codes.
#   tool_test.sh ZOPRA_PDF SAMPLE_PDF
set -u
tool=$1
sample=$2
work=$(mktemp -d "${TMPDIR:-/tmp}/zopra-tool-XXXXXX")
trap 'rm -rf "$work"' EXIT INT TERM
failures=0

fail() {
  echo "FAILED: $*"
  failures=$((failures + 1))
}

# expect_run NAME EXPECTED_EXIT EXPECTED_STDOUT_FILE|- EXPECTED_STDERR_PATTERN|- ARGS...
# A stderr pattern means: exactly one line on stderr, matching it.
expect_run() {
  name=$1 code=$2 out=$3 err=$4
  shift 4
  "$tool" "$@" >"$work/stdout" 2>"$work/stderr"
  actual=$?
  [ "$actual" -eq "$code" ] || fail "$name: exit $actual, expected $code"
  if [ "$out" != - ] && ! cmp -s "$out" "$work/stdout"; then
    fail "$name: unexpected output:"
    cat "$work/stdout"
  fi
  if [ "$err" != - ]; then
    lines=$(wc -l <"$work/stderr")
    if [ "$lines" -ne 1 ] || ! grep -q -- "$err" "$work/stderr"; then
      fail "$name: stderr should be one line matching '$err':"
      cat "$work/stderr"
    fi
  fi
}

# PDFs with exact offsets: start_pdf FILE, add_object N DICT..., end_pdf.
start_pdf() {
  pdf=$1 offsets="" objects=1
  printf '%%PDF-1.4\n' >"$pdf"
}
add_object() {
  offsets="$offsets $(wc -c <"$pdf")" objects=$(($1 + 1))
  printf '%s 0 obj\n%s\nendobj\n' "$1" "$2" >>"$pdf"
}
end_pdf() {
  xref=$(wc -c <"$pdf")
  {
    printf 'xref\n0 %d\n0000000000 65535 f \n' "$objects"
    for offset in $offsets; do printf '%010d 00000 n \n' "$offset"; done
    printf 'trailer\n<< /Size %d /Root 1 0 R >>\nstartxref\n%s\n%%%%EOF\n' "$objects" "$xref"
  } >>"$pdf"
}
# twelve_pages FILE HEIGHT: twelve pages 200 wide and HEIGHT high in
# Helvetica (/F1), page N showing the content that `page_content N` prints.
twelve_pages() {
  start_pdf "$1"
  add_object 1 "<< /Type /Catalog /Pages 2 0 R >>"
  kids=""
  for n in $(seq 12); do kids="$kids $((2 * n + 2)) 0 R"; done
  add_object 2 "<< /Type /Pages /Kids [$kids] /Count 12 >>"
  add_object 3 "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>"
  for n in $(seq 12); do
    add_object $((2 * n + 2)) "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 200 $2] /Contents $((2 * n + 3)) 0 R /Resources << /Font << /F1 3 0 R >> >> >>"
    content=$(page_content "$n")
    add_object $((2 * n + 3)) "<< /Length ${#content} >>
stream
$content
endstream"
  done
  end_pdf
}
# Page 1 rotated by 270 with fractional A4 sizes, page 2 with a crop box.
start_pdf "$work/pages.pdf"
add_object 1 "<< /Type /Catalog /Pages 2 0 R >>"
add_object 2 "<< /Type /Pages /Kids [3 0 R 4 0 R] /Count 2 >>"
add_object 3 "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 595.2756 841.8898] /Rotate 270 >>"
add_object 4 "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /CropBox [0 0 100.25 50] >>"
end_pdf

printf 'pages: 2\npage 1: 841.89 x 595.276, rotation 270\npage 2: 100.25 x 50, rotation 0\n' \
  >"$work/expected.txt"
expect_run "info" 0 "$work/expected.txt" - info "$pdf"
printf '{"file":"%s","page_count":2,"pages":[{"page":1,"width":841.89,"height":595.276,"rotation":270},{"page":2,"width":100.25,"height":50,"rotation":0}]}\n' \
  "$pdf" >"$work/expected.json"
expect_run "info --json" 0 "$work/expected.json" - info --json "$pdf"

printf 'pages: 2\npage 1: 612 x 792, rotation 0\npage 2: 612 x 792, rotation 0\n' \
  >"$work/sample.txt"

# Page text: the sample's second page alone, ended by a form feed, and its
# first item with page, number, position, size, effective size and width.
expect_run "text" 0 - - text "$sample" - -f 2 -l 2
if ! head -n 1 "$work/stdout" | grep -q -- "-2-" || [ "$(tail -c 1 "$work/stdout" | od -An -c | tr -d ' ')" != '\f' ]; then
  fail "text -f 2 -l 2: expected page 2 only, ended by a form feed"
fi
cp "$work/stdout" "$work/page2.txt"
printf '2\t1\t282.17\t744\t10\t10\t11.66\t-2-\n' >"$work/item.txt"
# Page ranges, as pdftotext: a last page beyond the end is the end, a first
# page after the last one is refused with exit status 10.
# Columns: exit status, command, FIRST/LAST of the refusal (- for none), options.
while read -r code command pages options; do
  error="sample.pdf: wrong page range: first page ${pages%/*} is after the last page ${pages#*/}\$"
  [ "$pages" != - ] || error=-
  # shellcheck disable=SC2086
  expect_run "$command $options" "$code" - "$error" $command "$sample" $options
  [ "$code" -ne 0 ] || case $command in
    text) cmp -s "$work/stdout" "$work/page2.txt" || fail "text $options: not page 2 alone" ;;
    *) [ "$(head -n 1 "$work/stdout")" = "$(cat "$work/item.txt")" ] && [ "$(cut -f1 "$work/stdout" | sort -u)" = 2 ] ||
         fail "items $options: not the items of page 2 alone" ;;
  esac
done <<END
0 text - - -f 2 -l 9
10 text 3/2 - -f 3
10 text 2/1 - -f 2 -l 1
0 items - --page 2
10 items 3/2 -f 3
10 graphics 3/2 -f 3
10 images 3/2 -f 3
END
# Without a page option items covers every page, each line led by its page.
expect_run "items" 0 - - items "$sample"
[ "$(cut -f1 "$work/stdout" | uniq | tr '\n' ' ')" = "1 2 " ] || fail "items: not pages 1 and 2 in order"
grep -q "^$(cat "$work/item.txt")\$" "$work/stdout" || fail "items: page 2's first item is missing"

# Graphics and images: page 1 strokes a line, fills a red rectangle and draws
# one image twice; page 2 is empty.
start_pdf "$work/graphics.pdf"
content='0 0 m 100 0 l S 1 0 0 rg 10 20 30 40 re f q 100 0 0 50 200 300 cm /Im Do Q q 100 0 0 50 0 0 cm /Im Do Q'
add_object 1 "<< /Type /Catalog /Pages 2 0 R >>"
add_object 2 "<< /Type /Pages /Kids [3 0 R 4 0 R] /Count 2 >>"
add_object 3 "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 6 0 R /Resources << /XObject << /Im 5 0 R >> >> >>"
add_object 4 "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] >>"
add_object 5 "$(printf '<< /Type /XObject /Subtype /Image /Width 1 /Height 1 /ColorSpace /DeviceGray /BitsPerComponent 8 /Filter /DCTDecode /Length 9 >>\nstream\nJPEG DATA\nendstream')"
add_object 6 "$(printf '<< /Length %d >>\nstream\n%s\nendstream' ${#content} "$content")"
end_pdf

tab=$(printf '\t')
cat >"$work/graphics.txt" <<END
1${tab}line${tab}0${tab}0${tab}100${tab}0${tab}stroke${tab}1${tab}-${tab}-${tab}0
1${tab}rect${tab}10${tab}20${tab}30${tab}40${tab}fill${tab}1${tab}rgb:1,0,0${tab}-${tab}0
1${tab}image${tab}200${tab}300${tab}100${tab}50${tab}-${tab}1${tab}-${tab}-${tab}5
1${tab}image${tab}0${tab}0${tab}100${tab}50${tab}-${tab}1${tab}-${tab}-${tab}5
END
expect_run "graphics" 0 "$work/graphics.txt" - graphics "$pdf"
grep -v rect "$work/graphics.txt" >"$work/graphics-min.txt"
expect_run "graphics --min" 0 "$work/graphics-min.txt" - graphics "$pdf" --page 1 --min 40.5
if command -v python3 >/dev/null 2>&1; then
  expect_run "graphics --json" 0 - - graphics --json "$pdf"
  python3 -c '
import json, sys
pages = json.load(open(sys.argv[1]))["pages"]
rect = pages[0]["entries"][1]
assert [len(p["entries"]) for p in pages] == [4, 0]
assert rect["kind"] == "rect" and rect["fill"] and not rect["stroke"] and rect["end"] == [40, 60]
assert rect["fill_color"] == {"space": "rgb", "components": [1, 0, 0]} and rect["stroke_color"] is None
assert pages[0]["entries"][3]["object"] == 5
' "$work/stdout" || fail "graphics --json: unexpected JSON"
fi

{
  printf '%5s %6s %7s %-6s %10s %9s %9s %9s %9s\n' page index object format bytes x y width height
  printf '%5s %6s %7s %-6s %10s %9s %9s %9s %9s\n' 1 1 5 jpeg 9 200 300 100 50
  printf '%5s %6s %7s %-6s %10s %9s %9s %9s %9s\n' 1 2 5 jpeg 9 0 0 100 50
} >"$work/images.txt"
expect_run "images" 0 "$work/images.txt" - images "$pdf"
expect_run "images -o" 0 /dev/null - images "$pdf" -o "$work/images"
printf 'JPEG DATA' | cmp -s - "$work/images/page-1-image-1.jpg" || fail "images -o: wrong bytes"
[ "$(ls "$work/images")" = "page-1-image-1.jpg" ] || fail "images -o: the image drawn twice is written twice"
expect_run "images -o into a missing folder" 9 - "cannot create the folder" \
  images "$pdf" -o "$work/missing/images"

# Effective size: the Tf size scaled by the text matrix and the CTM.
start_pdf "$work/scaled.pdf"
content='BT /F1 1 Tf 12 0 0 12 72 700 Tm (Hi) Tj ET q 2 0 0 2 0 0 cm BT /F1 1 Tf 3 0 0 6 36 300 Tm (Ho) Tj ET Q'
add_object 1 "<< /Type /Catalog /Pages 2 0 R >>"
add_object 2 "<< /Type /Pages /Kids [3 0 R] /Count 1 >>"
add_object 3 "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 4 0 R /Resources << /Font << /F1 5 0 R >> >> >>"
add_object 4 "$(printf '<< /Length %d >>\nstream\n%s\nendstream' ${#content} "$content")"
add_object 5 "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>"
end_pdf
printf '1\t1\t72\t700\t1\t12\t11.328\tHi\n1\t2\t72\t600\t1\t12\t7.668\tHo\n' >"$work/scaled.txt"
expect_run "items, scaled text" 0 "$work/scaled.txt" - items "$pdf"
item='{"page":1,"item":%d,"text":"%s","x":72,"y":%d,"font_size":1,"effective_font_size":12,"width":%s}'
printf "{\"file\":\"%s\",\"pages\":[{\"page\":1,\"items\":[$item,$item]}]}\n" \
  "$pdf" 1 Hi 700 11.328 2 Ho 600 7.668 >"$work/scaled.json"
expect_run "items --json, scaled text" 0 "$work/scaled.json" - items --json "$pdf"

# Rewrite: the copy reads like the original and passes qpdf's check; the
# input itself is never the output, however its path is spelt. The text goes
# to FILE.txt by default.
cp "$sample" "$work/in.pdf"
expect_run "rewrite" 0 /dev/null - rewrite "$work/in.pdf" "$work/out.pdf"
expect_run "rewrite output" 0 "$work/sample.txt" - info "$work/out.pdf"
expect_run "text to in.txt" 0 /dev/null - text "$work/in.pdf"
mv "$work/out.pdf" "$work/out.PDF"
expect_run "text to out.txt" 0 /dev/null - text "$work/out.PDF"
cmp -s "$work/in.txt" "$work/out.txt" || fail "rewrite: the text of the copy differs"
if command -v qpdf >/dev/null 2>&1 && ! qpdf --check "$work/out.PDF" >/dev/null 2>&1; then
  fail "rewrite: qpdf --check rejects the copy"
fi
ln -s in.pdf "$work/link.pdf"
refusal="refusing to overwrite the input file"
expect_run "rewrite onto the input" 2 /dev/null "in.pdf: $refusal" \
  rewrite "$work/in.pdf" "$work/in.pdf"
expect_run "rewrite onto a link to the input" 2 /dev/null "link.pdf: $refusal" \
  rewrite "$work/in.pdf" "$work/link.pdf"
expect_run "rewrite onto the input by another path" 2 /dev/null "$refusal" \
  rewrite "$work/in.pdf" "$work/../$(basename "$work")/in.pdf"
cmp -s "$sample" "$work/in.pdf" || fail "rewrite changed its input"
if [ -w /dev/full ]; then
  expect_run "text onto a full device" 9 /dev/null "/dev/full: cannot write the file" text "$work/in.pdf" /dev/full
fi

# Threads: twelve pages, each reading "Page N". -j 1 and -j 4 give the same
# bytes for one file, several files (one unreadable) and a folder; several
# inputs give what each gives alone, in argument order (a folder's by name).
page_content() { echo "BT /F1 12 Tf 20 100 Td (Page $1) Tj ET"; }
twelve_pages "$work/many.pdf" 200
mkdir "$work/folder"
cp "$work/many.pdf" "$work/folder/b.pdf"
cp "$sample" "$work/folder/a.pdf"
printf 'not a PDF\n' >"$work/junk.pdf"
"$tool" text "$work/many.pdf" - >"$work/many.txt"
"$tool" text "$sample" - >"$work/sample-alone.txt"
if command -v pdftotext >/dev/null 2>&1; then
  pdftotext "$work/many.pdf" - | tr -s ' \n' ' ' >"$work/theirs.txt"
  tr -s ' \n' ' ' <"$work/many.txt" | cmp -s - "$work/theirs.txt" || fail "text: not pdftotext's pages in order"
fi
while IFS='|' read -r name code expected args; do
  # shellcheck disable=SC2086
  "$tool" $args -j 1 >"$work/j1" 2>"$work/e1"
  c1=$?
  # shellcheck disable=SC2086
  "$tool" $args -j 4 >"$work/j4" 2>"$work/e4"
  c4=$?
  [ "$c1" -eq "$code" ] && [ "$c4" -eq "$code" ] || fail "$name: exit $c1 and $c4, expected $code"
  cmp -s "$work/j1" "$work/j4" && cmp -s "$work/e1" "$work/e4" || fail "$name: -j 1 and -j 4 differ"
  # shellcheck disable=SC2086
  [ -z "$expected" ] || cat $expected | cmp -s - "$work/j4" || fail "$name: not $expected"
done <<EOF
text|0||text -o - $work/many.pdf
items|0||items $work/many.pdf
items --json|0||items --json $work/many.pdf
text, three files|3|$work/many.txt $work/sample-alone.txt $work/many.txt|text -o - $work/many.pdf $work/junk.pdf $sample $work/many.pdf
text, a folder|0|$work/sample-alone.txt $work/many.txt|text -o - $work/folder
items, a folder|0||items $work/folder
EOF
[ "$(cut -f1 "$work/j4" | uniq | tr '\n' ' ')" = "$work/folder/a.pdf $work/folder/b.pdf " ] ||
  fail "items, a folder: not a.pdf then b.pdf, each line led by its name"
[ "$(grep -c "^$work/folder/b.pdf" "$work/j4")" -eq 12 ] || fail "items, a folder: not twelve items of b.pdf"
expect_run "text, two files beside them" 0 /dev/null - text -j 2 "$work/folder/b.pdf" "$work/folder/a.pdf"
cmp -s "$work/folder/b.txt" "$work/many.txt" && cmp -s "$work/folder/a.txt" "$work/sample-alone.txt" ||
  fail "text, two files: not each text beside its file"

# Erase: all text goes, or chosen items only (numbered as items prints them).
expect_run "erase" 0 /dev/null - erase "$work/in.pdf" "$work/erased.pdf"
"$tool" text "$work/erased.pdf"
[ "$(tr -d '\f\n' <"$work/erased.txt")" = "" ] || fail "erase: text left in the copy"
expect_run "erase items" 0 /dev/null - erase "$work/in.pdf" "$work/one.pdf" --items 2:1
"$tool" items "$work/one.pdf" --page 2 | cut -f3- >"$work/after.txt"
"$tool" items "$work/in.pdf" --page 2 | cut -f3- | tail -n +2 >"$work/before.txt"
cmp -s "$work/before.txt" "$work/after.txt" || fail "erase --items 2:1: other items changed"
# Lists for one page name the items of one extraction, whatever their order.
expect_run "erase items twice" 0 /dev/null - erase "$work/in.pdf" "$work/two.pdf" --items 2:3 --items 2:1,3
"$tool" items "$work/two.pdf" --page 2 | cut -f3- >"$work/after.txt"
"$tool" items "$work/in.pdf" --page 2 | cut -f3- | sed 1d | sed 2d >"$work/before.txt"
cmp -s "$work/before.txt" "$work/after.txt" || fail "erase --items 2:3 --items 2:1,3: not items 1 and 3 gone"
# Replace: new text for chosen items, read back by the tool and by
# pdftotext; every refusal is one line, exit status 2 and no output file.
dejavu=/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf
replaced="$work/replaced.pdf"
expect_refusal() {
  name=$1 pattern=$2
  shift 2
  rm -f "$replaced"
  expect_run "$name" 2 /dev/null "$pattern" replace "$work/in.pdf" "$replaced" "$@"
  [ ! -e "$replaced" ] || fail "$name: an output file was left behind"
}
# The font size of the item of page 1 that reads $2, as items prints it.
size_of() {
  "$tool" items "$1" --page 1 | awk -F '\t' -v text="$2" '$8 == text { print $5 }'
}
if [ -f "$dejavu" ]; then
  printf '[{"page":1,"item":10,"text":"2. Seiten"},\n {"page":1,"item":2,"text":"Ein Beispiel \\u2013 \\ud83d\\ude00 \\u00e4"}]\n' \
    >"$work/list.json"
  expect_run "replace, array map" 0 - - replace "$work/in.pdf" "$replaced" --map "$work/list.json"
  [ ! -s "$work/stderr" ] || fail "replace: unexpected stderr $(cat "$work/stderr")"
  grep -q "^replaced 2 items on 1 page (.*); wrote $replaced, [0-9]* bytes\$" "$work/stdout" ||
    fail "replace: unexpected summary $(cat "$work/stdout")"
  [ -n "$(size_of "$replaced" "Ein Beispiel – 😀 ä")" ] && [ -z "$(size_of "$replaced" "A sample document")" ] ||
    fail "replace: the items do not read the new text"
  if command -v pdftotext >/dev/null 2>&1; then
    pdftotext -f 1 -l 1 "$replaced" "$work/replaced.txt"
    grep -q "^2\. Seiten\$" "$work/replaced.txt" && ! grep -q "A sample document" "$work/replaced.txt" ||
      fail "replace: pdftotext does not read the new text"
  fi
  if command -v qpdf >/dev/null 2>&1 && ! qpdf --check "$replaced" >/dev/null 2>&1; then
    fail "replace: qpdf --check rejects the output"
  fi

  # Object map: every item with that text; keys that match nothing are named.
  printf '{"2. Pages": "2. Seiten", "no such line": "x"}' >"$work/texts.json"
  expect_run "replace, object map" 0 - 'no item reads "no such line"' \
    replace "$work/in.pdf" "$replaced" --map "$work/texts.json" --font "$dejavu"
  grep -q "^replaced 1 item on 1 page " "$work/stdout" || fail "replace: object map summary $(cat "$work/stdout")"

  # Fitting item 2 ("A sample document", size 10) into its room on the line:
  # six times this line does not fit at half the size.
  long_text=$(echo "A much longer line than the item has room for" | sed 's/.*/& & & & & &/')
  printf '[{"page":1,"item":2,"text":"%s"}]' "$long_text" >"$work/long.json"
  expect_run "replace, shrink to the minimum" 0 - "in.pdf, page 1: item 2 overflows its room (.* at 5 pt, room " \
    replace "$work/in.pdf" "$replaced" --map "$work/long.json"
  grep -q "(1 shrunk, 1 overflowing, 0 with missing characters)" "$work/stdout" ||
    fail "replace: shrink summary $(cat "$work/stdout")"
  expect_run "replace, shrink far enough" 0 - - replace "$work/in.pdf" "$replaced" --map "$work/long.json" --min-size 1
  [ ! -s "$work/stderr" ] || fail "replace --min-size: unexpected stderr $(cat "$work/stderr")"
  grep -q "(1 shrunk, 0 overflowing, 0 with missing characters)" "$work/stdout" ||
    fail "replace: --min-size summary $(cat "$work/stdout")"
  size=$(size_of "$replaced" "$long_text")
  awk -v s="$size" 'BEGIN { exit !(s >= 1 && s < 5) }' || fail "replace: shrunk to size $size"
  expect_run "replace, no fitting" 0 - "item 2 overflows its room (.* at 10 pt," \
    replace "$work/in.pdf" "$replaced" --map "$work/long.json" --fit none
  [ "$(size_of "$replaced" "$long_text")" = 10 ] || fail "replace --fit none changed the size"

  # One document edited on threads: each -j gives the bytes -j 1 gives,
  # with a font drawn on both pages, a bold one first drawn (and so first
  # named by its thread) on the second page, a removal alone, and the
  # compact and the plain writer.
  printf '[{"page":1,"item":4,"text":"Eine Bibliothek"},{"page":2,"item":2,"text":"3. Das Werkzeug"},
    {"page":2,"item":3,"text":"Das Programm"},{"page":2,"item":8,"text":""}]' >"$work/pages.json"
  for plain in "" --plain; do
    for jobs in 1 3; do
      expect_run "replace -j $jobs $plain" 0 - - replace "$work/in.pdf" "$work/j$jobs.pdf" --map "$work/pages.json" \
        -j $jobs $plain
      cp "$work/stdout" "$work/j$jobs.out"
      expect_run "erase -j $jobs $plain" 0 /dev/null - erase "$work/in.pdf" "$work/e$jobs.pdf" -j $jobs $plain
    done
    cmp -s "$work/j1.pdf" "$work/j3.pdf" || fail "replace $plain: -j 3 output differs from -j 1"
    sed "s/j1.pdf/j3.pdf/" "$work/j1.out" | cmp -s - "$work/j3.out" || fail "replace $plain: -j 3 summary differs"
    cmp -s "$work/e1.pdf" "$work/e3.pdf" || fail "erase $plain: -j 3 output differs from -j 1"
  done
  if command -v pdffonts >/dev/null 2>&1; then
    [ "$(pdffonts "$work/j3.pdf" | grep -c CID)" -ge 2 ] || fail "replace -j 3: fewer than two fonts drawn"
  fi

  # Uneven pages: the last six of twelve hold 2,000 lines each, which the
  # cost estimate of a list map does not see, so the thread done first
  # takes pages from the other onto a handle of its own. The file, the
  # summary and the reports (an overflow on every page) are those of -j 1.
  page_content() {
    if [ "$1" -gt 6 ]; then
      awk 'BEGIN { printf "BT /F1 8 Tf 20 19990 Td"; for (i = 1; i <= 2000; ++i) printf " (Line %d) Tj 0 -10 Td", i; print " ET" }'
    else
      echo "BT /F1 8 Tf 20 19990 Td (Line 1) Tj ET"
    fi
  }
  twelve_pages "$work/uneven.pdf" 20000
  for n in $(seq 12); do printf '{"page":%d,"item":1,"text":"A line far too long for its place"}\n' "$n"; done |
    paste -sd, | sed 's/.*/[&]/' >"$work/uneven.json"
  for jobs in 1 2; do
    "$tool" replace -j $jobs "$work/uneven.pdf" "$work/u$jobs.pdf" --map "$work/uneven.json" --fit none \
      >"$work/u$jobs.out" 2>"$work/u$jobs.err" || fail "replace -j $jobs, uneven pages: exit $?"
  done
  [ "$(grep -c "overflows its room" "$work/u1.err")" -eq 6 ] || fail "replace, uneven pages: $(cat "$work/u1.err")"
  cmp -s "$work/u1.pdf" "$work/u2.pdf" || fail "replace, uneven pages: -j 2 output differs from -j 1"
  sed "s/u1.pdf/u2.pdf/" "$work/u1.out" | cmp -s - "$work/u2.out" || fail "replace, uneven pages: -j 2 summary differs"
  cmp -s "$work/u1.err" "$work/u2.err" || fail "replace, uneven pages: -j 2 reports differ"
  # A map over 1 MiB is read in two halves with -j 2: the same file, and a
  # mistake in its second half named at the same line and column.
  awk 'BEGIN { printf "["; for (p = 7; p <= 12; ++p) for (i = 1; i <= 2000; ++i)
    printf "%s{\"page\": %d, \"item\": %d, \"text\": \"Zeile %d, ein \\\"Text\\\" mit \\\\, der die Karte recht gross macht\"}\n",
      (p == 7 && i == 1) ? "" : ",", p, i, i; print "]" }' >"$work/big.json"
  [ "$(wc -c <"$work/big.json")" -gt 1048576 ] || fail "replace, big map: the map is not over 1 MiB"
  for jobs in 1 2; do
    "$tool" replace -j $jobs "$work/uneven.pdf" "$work/b$jobs.pdf" --map "$work/big.json" --font "$dejavu" \
      >/dev/null 2>&1 || fail "replace -j $jobs, big map: exit $?"
  done
  cmp -s "$work/b1.pdf" "$work/b2.pdf" || fail "replace, big map: -j 2 output differs from -j 1"
  sed '11000s/"text"/"text" "text"/' "$work/big.json" >"$work/bigbad.json"
  for jobs in 1 2; do
    "$tool" replace -j $jobs "$work/uneven.pdf" "$work/bad$jobs.pdf" --map "$work/bigbad.json" 2>"$work/bad$jobs.err"
    [ $? -eq 2 ] && [ ! -e "$work/bad$jobs.pdf" ] || fail "replace -j $jobs, big malformed map: not refused"
  done
  grep -q "bigbad.json:11000:" "$work/bad2.err" && cmp -s "$work/bad1.err" "$work/bad2.err" ||
    fail "replace, big malformed map: $(cat "$work/bad1.err" "$work/bad2.err")"

  printf '[{"page":1,\n' >"$work/bad.json"
  expect_refusal "replace, malformed map" "bad.json:2:0: string or '}' expected" --map "$work/bad.json"
  printf '[{"page":1,"item":1,"text":"x"},{"item":1,"page":1,"text":"y"}]' >"$work/bad.json"
  expect_refusal "replace, item twice" "bad.json: entries 1 and 2 give page 1 item 1 twice" --map "$work/bad.json"
  printf '{"a":"b",\n "a":"c"}' >"$work/bad.json"
  expect_refusal "replace, key twice" "bad.json:2:4: duplicate object key" --map "$work/bad.json"
  printf '{"find":"a","\\ufb01nd":"b"}' >"$work/bad.json"
  expect_refusal "replace, keys alike" 'match the same texts' --map "$work/bad.json"
  expect_refusal "replace, missing map" "missing.json: cannot read the map file" --map "$work/missing.json"
  expect_refusal "replace, missing font" "missing.ttf: cannot read the font file" \
    --map "$work/list.json" --font "$work/missing.ttf"
  expect_refusal "replace, not a font" "list.json: not a TrueType font" \
    --map "$work/list.json" --font "$work/list.json"
  expect_run "replace onto the input" 2 /dev/null "in.pdf: $refusal" \
    replace "$work/in.pdf" "$work/in.pdf" --map "$work/list.json"
  cmp -s "$sample" "$work/in.pdf" || fail "replace changed its input"

  # Object map keys meet item texts after NFKC, white space collapsed, unless
  # --match exact. The items read "ﬁnd" (a ligature), "two  spaces" and
  # "no<U+00A0>break" and "café" (one code point). Columns: mode, items
  # replaced, key as JSON.
  start_pdf "$work/match.pdf"
  content='BT /F1 12 Tf 72 700 Td (\001nd) Tj 0 -20 Td (two  spaces) Tj 0 -20 Td (no\240break) Tj 0 -20 Td (caf\351) Tj ET'
  add_object 1 "<< /Type /Catalog /Pages 2 0 R >>"
  add_object 2 "<< /Type /Pages /Kids [3 0 R] /Count 1 >>"
  add_object 3 "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 4 0 R /Resources << /Font << /F1 5 0 R >> >> >>"
  add_object 4 "$(printf '<< /Length %d >>\nstream\n%s\nendstream' ${#content} "$content")"
  add_object 5 "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding << /BaseEncoding /WinAnsiEncoding /Differences [1 /fi] >> >>"
  end_pdf
  while read -r mode count key; do
    printf '{%s: "New"}' "$key" >"$work/match.json"
    expect_run "replace --match $mode $key" 0 - - replace "$pdf" "$replaced" --map "$work/match.json" --match "$mode"
    grep -q "^replaced $count item" "$work/stdout" || fail "replace --match $mode $key: $(cat "$work/stdout")"
  done <<'END'
nfkc 1 "find"
exact 0 "find"
nfkc 1 "\uff46\uff49\uff4e\uff44"
nfkc 1 " two\u3000 spaces\n"
exact 0 "two spaces"
nfkc 1 "no break"
nfkc 1 "no\u2002break"
nfkc 1 "cafe\u0301"
exact 0 "cafe\u0301"
END

  # Faces follow the item's style, fallbacks give other scripts, and what no
  # font has is named. Items 1-4 are set in Helvetica-Bold, Courier,
  # Times-Italic and Helvetica; item 5 at 1 Tf in a matrix that shows 10 pt.
  # Columns: item, new text (JSON), a fragment of the embedded font names
  # (pdffonts) or - , the stderr line or - , the text pdftotext reads or - ,
  # and the fontconfig pattern of the installed fonts the row needs (a file
  # name holding the fragment), without which it is skipped.
  start_pdf "$work/styles.pdf"
  content='BT /F1 12 Tf 20 170 Td (Bold) Tj /F2 12 Tf 0 -30 Td (Code) Tj /F3 12 Tf 0 -30 Td (Slanted) Tj /F4 12 Tf 0 -30 Td (Plain) Tj ET BT /F4 1 Tf 10 0 0 10 20 40 Tm (Scaled) Tj ET'
  add_object 1 "<< /Type /Catalog /Pages 2 0 R >>"
  add_object 2 "<< /Type /Pages /Kids [3 0 R] /Count 1 >>"
  add_object 3 "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 200 200] /Contents 4 0 R /Resources << /Font << /F1 5 0 R /F2 6 0 R /F3 7 0 R /F4 8 0 R >> >> >>"
  add_object 4 "$(printf '<< /Length %d >>\nstream\n%s\nendstream' ${#content} "$content")"
  add_object 5 "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica-Bold >>"
  add_object 6 "<< /Type /Font /Subtype /Type1 /BaseFont /Courier >>"
  add_object 7 "<< /Type /Font /Subtype /Type1 /BaseFont /Times-Italic >>"
  add_object 8 "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>"
  end_pdf
  styles=$pdf
  while read -r item text face error reads needs; do
    [ "$needs" = - ] || fc-list "$needs" file 2>/dev/null | grep -q -- "${face#-}" || continue
    printf '[{"page":1,"item":%s,"text":%s}]' "$item" "$text" >"$work/style.json"
    expect_run "replace item $item with $text" 0 - "$(echo "$error" | tr _ ' ')" \
      replace "$styles" "$replaced" --map "$work/style.json"
    [ "$error" != - ] || [ ! -s "$work/stderr" ] || fail "replace item $item: unexpected stderr $(cat "$work/stderr")"
    if [ "$face" != - ] && command -v pdffonts >/dev/null 2>&1; then
      fonts=$(pdffonts "$replaced" | tail -n +3 | cut -d' ' -f1 | tr '\n' ' ')
      case $fonts in *"$face"*) ;; *) fail "replace item $item: fonts $fonts, expected a $face face" ;; esac
    fi
    if [ "$reads" != - ] && command -v pdftotext >/dev/null 2>&1; then
      pdftotext -enc UTF-8 "$replaced" - | grep -q "^$reads\$" || fail "replace item $item: pdftotext does not read $reads"
    fi
  done <<'END'
1 "Fett" Bold - Fett :weight=bold:fontformat=TrueType
2 "Kode" Mono - Kode :spacing=mono:fontformat=TrueType
3 "Schräg" Serif-Italic - Schräg :slant=100:fontformat=TrueType
4 "日本語の文" - - 日本語の文 :lang=ja:fontformat=TrueType
4 "Fehlt\u0378\udbff\udffd" - styles.pdf,_page_1:_item_4_has_2_characters_no_font_has - -
END
  grep -q " 0 overflowing, 1 with missing characters)" "$work/stdout" ||
    fail "replace: missing characters not counted: $(cat "$work/stdout")"
  # --min-size counts in points as shown: the 1 Tf item shrinks to 1/2.5 Tf,
  # 4 pt on the page, and overflows its room there.
  printf '[{"page":1,"item":5,"text":"%s"}]' "$(printf 'Far too long %.0s' 1 2 3 4 5 6 7 8 9 10)" >"$work/style.json"
  expect_run "replace --min-size 4 at 1 Tf" 0 - "styles.pdf, page 1: item 5 overflows its room (.* at 4 pt," \
    replace "$styles" "$replaced" --map "$work/style.json" --min-size 4
  "$tool" items "$replaced" --page 1 | awk -F '\t' '$8 ~ /^Far too long/ { print $5, $6 }' >"$work/sizes"
  [ "$(cat "$work/sizes")" = "0.4 4" ] || fail "replace --min-size 4: size and shown size $(cat "$work/sizes"), expected 0.4 4"
  grep -q "(1 shrunk, 1 overflowing, 0 with missing characters)" "$work/stdout" ||
    fail "replace --min-size: summary $(cat "$work/stdout")"
fi

# Failures: one stderr line naming the file, one exit code per status.
printf 'not a pdf at all\n' >"$work/text.pdf"
expect_run "not a PDF" 3 - "$work/text.pdf: not a PDF or damaged" info "$work/text.pdf"
# One mistake, one exit status, whatever the command, and no output file.
# Columns: exit status, stderr (spaces as _), command and arguments.
in=$work/in.pdf new=$work/new.out missing=$work/missing
mkdir "$work/folder.pdf"
cp "$sample" "$work/locked-out.pdf"
chmod 000 "$work/locked-out.pdf"
printf '[{"page":9,"item":1,"text":"x"}]' >"$work/page9.json"
printf '[{"page":1,"item":999,"text":"x"}]' >"$work/item999.json"
while read -r code pattern arguments; do
  case $arguments in replace*) [ -f "$dejavu" ] || continue ;; esac
  # Root reads any file.
  case $arguments in *locked-out*) [ "$(id -u)" -ne 0 ] || continue ;; esac
  # shellcheck disable=SC2086
  expect_run "$arguments" "$code" - "$(echo "$pattern" | tr _ ' ')" $arguments
  [ ! -e "$new" ] || fail "$arguments: an output file was written"
done <<END
11 missing.pdf:_no_such_file info $work/missing.pdf
11 folder.pdf:_is_a_directory text $work/folder.pdf $new
11 cannot_be_read_(Permission_denied) images $work/locked-out.pdf
11 cannot_be_read_(Permission_denied) graphics $work/locked-out.pdf
11 missing.pdf:_no_such_file rewrite $work/missing.pdf $new
11 folder.pdf:_is_a_directory erase $work/folder.pdf $new
10 has_no_page_9_(it_has_2) erase $in $new --pages 1,9
10 has_no_page_9_(it_has_2) erase $in $new --items 9:1
10 has_no_page_9_(it_has_2) replace $in $new --map $work/page9.json --font $dejavu
10 page_2_has_no_item_999 erase $in $new --items 2:999
10 page_1_has_no_item_999 replace $in $new --map $work/item999.json --font $dejavu
9 out.txt:_cannot_write_the_file_(No_such_file_or_directory) text $in $missing/out.txt
9 out.pdf:_cannot_write_the_file_(No_such_file_or_directory) rewrite $in $missing/out.pdf
9 out.pdf:_cannot_write_the_file_(No_such_file_or_directory) erase $in $missing/out.pdf
9 out.pdf:_cannot_write_the_file_(No_such_file_or_directory) replace $in $missing/out.pdf --map $work/list.json --font $dejavu
9 images:_cannot_create_the_folder_(No_such_file_or_directory) images $in -o $missing/images
END

# A page whose content cannot be read (Flate data that is not Flate) is
# named; the other page is done, the output written, and the status is 12.
start_pdf "$work/broken.pdf"
add_object 1 "<< /Type /Catalog /Pages 2 0 R >>"
add_object 2 "<< /Type /Pages /Kids [3 0 R 4 0 R] /Count 2 >>"
page='/Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Resources << /Font << /F1 7 0 R >> >>'
add_object 3 "<< $page /Contents 5 0 R >>"
add_object 4 "<< $page /Contents 6 0 R >>"
add_object 5 "$(printf '<< /Length 4 /Filter /FlateDecode >>\nstream\nnone\nendstream')"
add_object 6 "$(printf '<< /Length 37 >>\nstream\nBT /F1 12 Tf 72 700 Td (Kept) Tj ET\nendstream')"
add_object 7 "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>"
end_pdf
printf '{"Kept":"New"}' >"$work/kept.json"
for command in "text $pdf $new" "erase $pdf $new" "replace $pdf $new --map $work/kept.json"; do
  case $command in replace*) [ -f "$dejavu" ] || continue ;; esac
  # shellcheck disable=SC2086
  expect_run "$command" 12 - "broken.pdf, page 1: cannot be read" $command
  if [ "${command%% *}" = text ]; then grep -q Kept "$new"; else [ -e "$new" ] && ! "$tool" text "$new" - 2>/dev/null | grep -q Kept; fi ||
    fail "$command: page 2 not done"
done

# A form drawn twice: its text goes only with both drawings. Choosing one is
# named and ends with status 13; the output is still written.
start_pdf "$work/twice.pdf"
add_object 1 "<< /Type /Catalog /Pages 2 0 R >>"
add_object 2 "<< /Type /Pages /Kids [3 0 R] /Count 1 >>"
add_object 3 "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 4 0 R /Resources << /XObject << /Fm 5 0 R >> >> >>"
add_object 4 "$(printf '<< /Length 59 >>\nstream\nq 1 0 0 1 0 100 cm /Fm Do Q q 1 0 0 1 0 300 cm /Fm Do Q\nendstream')"
add_object 5 "$(printf '<< /Subtype /Form /BBox [0 0 612 792] /Resources << /Font << /F1 6 0 R >> >> /Length 37 >>\nstream\nBT /F1 12 Tf 72 300 Td (Form) Tj ET\nendstream')"
add_object 6 "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>"
end_pdf
expect_run "erase one drawing of a form" 13 - "twice.pdf, page 1: item 2 was not removed" erase "$pdf" "$new" --items 1:2
[ "$("$tool" text "$new" - | grep -c Form)" = 2 ] || fail "erase --items 1:2: both drawings should stay"
expect_run "erase both drawings of a form" 0 - - erase "$pdf" "$new" --items 1:1,2
"$tool" text "$new" - | grep -q Form && fail "erase --items 1:1,2: the form's text stays"

if command -v qpdf >/dev/null 2>&1; then
  qpdf --encrypt secret secret 256 -- "$sample" "$work/locked.pdf"
  expect_run "password" 4 - "$work/locked.pdf: needs a password" info "$work/locked.pdf"
fi

# Usage errors: the reason on the first line, then the usage.
expect_usage() {
  name=$1 pattern=$2
  shift 2
  expect_run "$name" 2 - - "$@"
  if ! head -n 1 "$work/stderr" | grep -q -- "$pattern" || ! grep -q "^usage:" "$work/stderr"; then
    fail "$name: stderr should start with '$pattern' followed by the usage:"
    cat "$work/stderr"
  fi
}
expect_usage "no arguments" "no command given"
expect_usage "no file" "no file given" info
expect_usage "two files" "more than one file" info "$pdf" "$pdf"
# Segments: blocks out, translations in. The sample's paragraphs come out
# whole, and a pseudo-translation (each word doubled) comes back complete.
if [ -f "$dejavu" ] && command -v python3 >/dev/null 2>&1; then
  expect_run "segments" 0 - - segments "$work/in.pdf"
  segments="$work/in.segments.json"
  python3 - "$segments" "$work/long-segments.json" <<'END' || fail "segments: unexpected JSON"
import json, sys
document = json.load(open(sys.argv[1]))
segments = document["segments"]
ids = [s["id"] for s in segments]
assert len(ids) == len(set(ids)) and ids[0] == "p1-b1"
assert any(s["kind"] == "paragraph" and s["alignment"] == "justified" and s["lines"] == 3 and
           s["text"].startswith("libzopra_document_loader is a shared library") for s in segments)
for s in segments:
    s["text"] = " ".join(w + " " + w.upper() for w in s["text"].split()[:12])
json.dump(document, open(sys.argv[2], "w"))
END
  expect_run "replace --segments" 0 - - replace "$work/in.pdf" "$replaced" --segments "$work/long-segments.json"
  grep -q "^replaced 15 segments on 2 pages (.* 0 overflowing)" "$work/stdout" ||
    fail "replace --segments: unexpected summary $(cat "$work/stdout")"
  # Pages on threads: the same segments and the same replaced file.
  "$tool" segments -j 3 "$work/in.pdf" "$work/j3.json" && cmp -s "$segments" "$work/j3.json" ||
    fail "segments: -j 3 differs from -j 1"
  "$tool" replace -j 1 "$work/in.pdf" "$work/j1.pdf" --segments "$work/long-segments.json" >/dev/null &&
    "$tool" replace -j 3 "$work/in.pdf" "$work/j3.pdf" --segments "$work/long-segments.json" >/dev/null &&
    cmp -s "$work/j1.pdf" "$work/j3.pdf" || fail "replace --segments: -j 3 output differs from -j 1"
  expect_run "segments of the result" 0 - - segments "$replaced" "$work/back.json"
  python3 - "$work/long-segments.json" "$work/back.json" <<'END' || fail "replace --segments: words lost"
import json, sys
wanted = [w for s in json.load(open(sys.argv[1]))["segments"] for w in s["text"].split()]
found = [w for s in json.load(open(sys.argv[2]))["segments"] for w in s["text"].split()]
assert sorted(wanted) == sorted(found), (len(wanted), len(found))
END
  # XLIFF out, a target added with python3's xml module, XLIFF in.
  expect_run "segments --format xliff" 0 - - segments "$work/in.pdf" "$work/in.xlf" --format xliff
  python3 - "$work/in.xlf" <<'END' || fail "segments --format xliff: not XLIFF 2.1"
import sys, xml.etree.ElementTree as ET
ns = {"x": "urn:oasis:names:tc:xliff:document:2.0"}
tree = ET.parse(sys.argv[1])
assert tree.getroot().get("version") == "2.1"
unit = tree.find(".//x:unit[@id='p1-b2']", ns)
segment = unit.find("x:segment", ns)
assert segment.find("x:source", ns).text == "A sample document"
ET.SubElement(segment, "{urn:oasis:names:tc:xliff:document:2.0}target").text = "Ein Beispieldokument"
ET.register_namespace("", ns["x"])
tree.write(sys.argv[1], encoding="UTF-8", xml_declaration=True)
END
  expect_run "replace --segments --format xliff" 0 - - \
    replace "$work/in.pdf" "$replaced" --segments "$work/in.xlf" --format xliff
  "$tool" text "$replaced" - | grep -q "Ein Beispieldokument" || fail "replace from XLIFF: the target is not there"
  # Refusals: one line, exit status 2, no output.
  while read -r pattern json; do
    printf '%s' "$json" >"$work/bad-segments.json"
    expect_refusal "replace --segments $json" "$pattern" --segments "$work/bad-segments.json"
  done <<'END'
unknown.segment.id.p9-b1 {"segments":[{"id":"p9-b1","text":"x"}]}
unknown.segment.id.p1-b99 {"segments":[{"id":"p1-b99","text":"x"}]}
unknown.segment.id.b1 {"segments":[{"id":"b1","text":"x"}]}
given.twice {"segments":[{"id":"p1-b1","text":"x"},{"id":"p1-b1","text":"y"}]}
is.not.a.string {"segments":[{"id":"p1-b1","text":3}]}
no.string."id" {"segments":[{"text":"x"}]}
no."segments".array {"segment":[]}
END
fi
expect_usage "unknown command" "unknown command: frobnicate" frobnicate
expect_usage "unknown option" "unknown option: --frob" info --frob "$pdf"
expect_usage "bad page number" "not a page number: x" text "$sample" -f x
expect_usage "rewrite without an output" "needs an input and an output" rewrite "$sample"
expect_usage "replace without a map" "needs a map" replace "$work/in.pdf" "$replaced"
expect_usage "replace, bad fit" "--fit takes shrink or none: squeeze" \
  replace "$work/in.pdf" "$replaced" --map x.json --fit squeeze
expect_usage "replace, bad size" "not a font size in points: -1" \
  replace "$work/in.pdf" "$replaced" --map x.json --min-size -1
# Help: the overview and each command's, within 80 columns, with the exit
# statuses the manual page lists (which man reads without a warning).
manual=$3
MANWIDTH=80 man --warnings -l "$manual" >"$work/manual.txt" 2>"$work/manual.err" && [ ! -s "$work/manual.err" ] ||
  fail "man -l $manual: $(cat "$work/manual.err")"
sed -n '/^EXIT STATUS/,/^[A-Z]/p' "$work/manual.txt" | grep -o '^ *[0-9][0-9]*  ' | tr -d ' ' >"$work/manual-codes"
[ "$(wc -l <"$work/manual-codes")" -ge 14 ] || fail "the manual page lists $(wc -l <"$work/manual-codes") exit statuses"
for command in "" info text items segments graphics images rewrite erase replace; do
  # shellcheck disable=SC2086
  expect_run "$command --help" 0 - - $command --help
  grep -o '^ *[0-9][0-9]*  ' "$work/stdout" | tr -d ' ' | cmp -s - "$work/manual-codes" ||
    fail "$command --help: not the exit statuses of the manual page"
  grep -q "^usage: zopra-pdf $command" "$work/stdout" && ! grep -q '.\{81\}' "$work/stdout" ||
    fail "$command --help: no usage line, or a line wider than 80 columns"
done

if [ "$failures" -ne 0 ]; then
  echo "$failures checks failed"
  exit 1
fi
echo "all zopra-pdf checks passed"
