#!/usr/bin/env python3
"""Erase-all on every corpus file, judged by independent tools.

For each file: `zopra-pdf erase IN OUT` removes all text; pdftotext then
counts the words left (only annotation and form-field text may remain), and
ghostscript draws every page of the original without its text
(-dFILTERTEXT) and every page of the erased file; a page holds when at most
0.1 % of its pixels differ by more than 16 grey levels at 36 dpi.

usage: erase_corpus.py ZOPRA_PDF CORPUS_DIR [WORK_DIR]
"""
import os
import subprocess
import sys
import tempfile


def pages_of(pgm_dir, prefix):
    return sorted(f for f in os.listdir(pgm_dir) if f.startswith(prefix))


def read_pgm(path):
    with open(path, "rb") as f:
        data = f.read()
    # P5 header: magic, width, height, maxval, then one byte per pixel.
    fields = []
    pos = 0
    while len(fields) < 4:
        while data[pos:pos + 1].isspace():
            pos += 1
        if data[pos:pos + 1] == b"#":
            pos = data.index(b"\n", pos) + 1
            continue
        end = pos
        while not data[end:end + 1].isspace():
            end += 1
        fields.append(data[pos:end])
        pos = end
    return int(fields[1]), int(fields[2]), data[pos + 1:]


def render(pdf, out_dir, prefix, options):
    subprocess.run(["gs", "-q", "-dNOPAUSE", "-dBATCH", "-dSAFER", "-sDEVICE=pgmraw", "-r36",
                    *options, "-sOutputFile=" + os.path.join(out_dir, prefix + "%05d.pgm"), pdf],
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=600)


def main():
    tool, corpus = sys.argv[1], sys.argv[2]
    work = sys.argv[3] if len(sys.argv) > 3 else tempfile.mkdtemp()
    total_pages = held_pages = 0
    for name in sorted(os.listdir(corpus)):
        if not name.endswith(".pdf"):
            continue
        source = os.path.join(corpus, name)
        erased = os.path.join(work, "erased-" + name)
        result = subprocess.run([tool, "erase", source, erased], capture_output=True, text=True, timeout=600)
        if result.returncode != 0 or not os.path.exists(erased):
            print(f"{name}\terase exit {result.returncode}\t{result.stderr.strip()[:100]}")
            continue
        words = subprocess.run(["pdftotext", "-q", erased, "-"], capture_output=True, text=True,
                               errors="replace").stdout.split()
        pgm = tempfile.mkdtemp(dir=work)
        render(source, pgm, "a", ["-dFILTERTEXT"])
        render(erased, pgm, "b", [])
        expected, actual = pages_of(pgm, "a"), pages_of(pgm, "b")
        differing = []
        for index, (a, b) in enumerate(zip(expected, actual)):
            wa, ha, pa = read_pgm(os.path.join(pgm, a))
            wb, hb, pb = read_pgm(os.path.join(pgm, b))
            off = sum(1 for x, y in zip(pa, pb) if abs(x - y) > 16) if (wa, ha) == (wb, hb) else len(pa)
            if off > len(pa) / 1000:
                differing.append(index + 1)
        pages = min(len(expected), len(actual))
        total_pages += pages
        held_pages += pages - len(differing)
        subprocess.run(["rm", "-rf", pgm, erased])
        shown = ",".join(map(str, differing[:8])) + ("..." if len(differing) > 8 else "")
        print(f"{name}\t{len(words)} words left\t{pages - len(differing)}/{pages} pages held\t{shown}\t"
              f"{' '.join(words[:8])}")
        sys.stdout.flush()
    share = 100.0 * held_pages / total_pages if total_pages else 0
    print(f"all\t{held_pages}/{total_pages} pages held ({share:.1f} %)")


if __name__ == "__main__":
    main()
