// Writes seed inputs for the fuzz targets into FOLDER/<target>/: small valid
// documents made with the test builder, content streams, CMaps, filter inputs
// and object syntax. Documents encrypted by qpdf are added when qpdf is
// installed, and the real-world files of the corpus folder, when present and
// unless --no-corpus is given, are added to the documents.
//
//   make_seeds FOLDER [--no-corpus]
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "filter_input.h"
#include "support/pdf_builder.h"
#include "support/test_files.h"

namespace {

namespace fs = std::filesystem;
using zopra::fuzz::FilterInput;
using zopra::test::PdfBuilder;

class Seeds {
 public:
  explicit Seeds(fs::path folder) : folder_(std::move(folder)) {}

  fs::path write(const std::string& target, const std::string& name, const std::string& bytes) {
    fs::create_directories(folder_ / target);
    fs::path path = folder_ / target / name;
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!out) {
      std::fprintf(stderr, "cannot write %s\n", path.string().c_str());
      std::exit(1);
    }
    ++count_;
    return path;
  }
  void added() { ++count_; }
  const fs::path& folder() const { return folder_; }
  int count() const { return count_; }

 private:
  fs::path folder_;
  int count_ = 0;
};

std::string deflate(const std::string& data) {
  uLongf size = compressBound(static_cast<uLong>(data.size()));
  std::string out(size, '\0');
  if (compress(reinterpret_cast<Bytef*>(out.data()), &size,
               reinterpret_cast<const Bytef*>(data.data()), static_cast<uLong>(data.size())) != Z_OK) {
    std::fprintf(stderr, "compress failed\n");
    std::exit(1);
  }
  out.resize(size);
  return out;
}

std::string hex(const std::string& data) {
  static const char kDigits[] = "0123456789abcdef";
  std::string out;
  for (unsigned char byte : data) {
    out += kDigits[byte >> 4];
    out += kDigits[byte & 15];
  }
  return out + ">";
}

int paeth(int left, int up, int upperLeft) {
  int estimate = left + up - upperLeft;
  int toLeft = std::abs(estimate - left);
  int toUp = std::abs(estimate - up);
  int toUpperLeft = std::abs(estimate - upperLeft);
  if (toLeft <= toUp && toLeft <= toUpperLeft) return left;
  return toUp <= toUpperLeft ? up : upperLeft;
}

// PNG rows of `rowSize` bytes (the data padded with spaces), the row tags
// cycling through None, Sub, Up, Average and Paeth.
std::string pngPredicted(std::string data, std::size_t rowSize, std::size_t pixelSize) {
  while (data.size() % rowSize != 0) data += ' ';
  std::string out;
  std::string previous(rowSize, '\0');
  for (std::size_t row = 0; row * rowSize < data.size(); ++row) {
    const std::string raw = data.substr(row * rowSize, rowSize);
    const int tag = static_cast<int>(row % 5);
    out += static_cast<char>(tag);
    for (std::size_t i = 0; i < rowSize; ++i) {
      int left = i >= pixelSize ? static_cast<unsigned char>(raw[i - pixelSize]) : 0;
      int up = static_cast<unsigned char>(previous[i]);
      int upperLeft = i >= pixelSize ? static_cast<unsigned char>(previous[i - pixelSize]) : 0;
      int predicted = tag == 1 ? left : tag == 2 ? up : tag == 3 ? (left + up) / 2
                    : tag == 4 ? paeth(left, up, upperLeft) : 0;
      out += static_cast<char>(static_cast<unsigned char>(raw[i]) - predicted);
    }
    previous = raw;
  }
  return out;
}

std::string tiffPredicted(const std::string& data, std::size_t rowSize, std::size_t pixelSize) {
  std::string out = data;
  for (std::size_t row = 0; row + rowSize <= data.size(); row += rowSize) {
    for (std::size_t i = pixelSize; i < rowSize; ++i) {
      out[row + i] = static_cast<char>(data[row + i] - data[row + i - pixelSize]);
    }
  }
  return out;
}

const char* const kPageText = "BT /F1 24 Tf 72 700 Td (Hello, world) Tj ET";

// ---- Documents ---------------------------------------------------------------

std::string simpleText() {
  PdfBuilder b = PdfBuilder::simple({kPageText});
  b.finishWithTable("/Root 1 0 R");
  return b.bytes();
}

std::string textOperators() {
  PdfBuilder b = PdfBuilder::simple(
      {"BT /F1 12 Tf 14 TL 72 720 Td (First line) Tj T* (second) ' 2 1 (third) \" ET\n"
       "BT /F1 10 Tf 2 Tc 3 Tw 90 Tz 1 0 0 1 72 600 Tm [(Ke) 120 (rn) -250 (ed)] TJ 5 Ts (up) Tj ET",
       "q 0.5 0 0 0.5 100 100 cm 1 0 0 rg 0 0 1 RG 10 10 200 50 re f Q\n"
       "BT /F1 9 Tf 0 1 -1 0 300 300 Tm 3 Tr (rotated, invisible) Tj 0 Tr ET\n"
       "BI /W 2 /H 2 /CS /G /BPC 8 ID \x01\x02\x03\x04 EI\n"
       "BT /F1 9 Tf 72 72 Td (after the image) Tj ET"});
  b.finishWithTable("/Root 1 0 R /Info << /Title (Operators) >>");
  return b.bytes();
}

std::string forms() {
  PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
  b.object(3, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 400 400] /Resources << /Font "
              "<< /F1 4 0 R >> /XObject << /X1 5 0 R /X3 7 0 R /Im 8 0 R >> >> /Contents 9 0 R >>");
  b.object(4, "<< /Type /Font /Subtype /Type1 /BaseFont /Times-Roman >>");
  b.stream(5, "/Type /XObject /Subtype /Form /BBox [0 0 100 100] /Matrix [2 0 0 2 10 10] "
              "/Resources << /Font << /F1 4 0 R >> /XObject << /X2 6 0 R >> >>",
           "BT /F1 8 Tf 0 0 Td (outer form) Tj ET /X2 Do");
  b.stream(6, "/Type /XObject /Subtype /Form /BBox [0 0 50 50] /Resources << /Font << /F1 4 0 R >> >>",
           "BT /F1 6 Tf 0 20 Td (inner form) Tj ET");
  // A form that draws itself.
  b.stream(7, "/Type /XObject /Subtype /Form /BBox [0 0 10 10] /Resources << /XObject << /X3 7 0 R >> "
              "/Font << /F1 4 0 R >> >>",
           "BT /F1 5 Tf (loop) Tj ET /X3 Do");
  b.stream(8, "/Type /XObject /Subtype /Image /Width 1 /Height 1 /ColorSpace /DeviceGray "
              "/BitsPerComponent 8", "\x80");
  b.stream(9, "", "/X1 Do q 1 0 0 1 100 100 cm /X1 Do /X3 Do Q 50 0 0 50 0 0 cm /Im Do");
  b.finishWithTable("/Root 1 0 R");
  return b.bytes();
}

std::string toUnicodeFonts() {
  const std::string cmap =
      "/CIDInit /ProcSet findresource begin 12 dict begin begincmap\n"
      "/CMapName /Fuzz-UCS def /CMapType 2 def\n"
      "1 begincodespacerange <00> <FF> endcodespacerange\n"
      "3 beginbfchar <01> <0041> <02> <00660066> <03> <D83DDE00> endbfchar\n"
      "2 beginbfrange <10> <1F> <0061> <20> <22> [<0078> <0079> <007A>] endbfrange\n"
      "endcmap CMapName currentdict /CMap defineresource pop end end\n";
  PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
  b.object(3, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Resources << /Font "
              "<< /F1 4 0 R /F2 7 0 R >> >> /Contents 8 0 R >>");
  b.object(4, "<< /Type /Font /Subtype /TrueType /BaseFont /Fuzz-Sans /FirstChar 1 /LastChar 34 "
              "/Widths [500 600 700 0 0 0 0 0 0 0 0 0 0 0 0 400 400 400 400 400 400 400 400 400 400 "
              "400 400 400 400 400 400 300 300 300] /FontDescriptor 5 0 R /ToUnicode 6 0 R "
              "/Encoding << /BaseEncoding /WinAnsiEncoding /Differences [1 /A /ff /smileface] >> >>");
  b.object(5, "<< /Type /FontDescriptor /FontName /Fuzz-Sans /Flags 32 /MissingWidth 250 >>");
  b.stream(6, "/Filter /FlateDecode", deflate(cmap));
  b.object(7, "<< /Type /Font /Subtype /Type1 /BaseFont /CMR10 /Encoding << /Differences "
              "[0 /Gamma /Delta 65 /A /B /fi] >> >>");
  b.stream(8, "", "BT /F1 12 Tf 72 700 Td <0102031011202122> Tj /F2 12 Tf 0 -20 Td <000141424344> Tj ET");
  b.finishWithTable("/Root 1 0 R");
  return b.bytes();
}

std::string type0Font(const std::string& encoding, const std::string& content) {
  PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
  b.object(3, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 595 842] /Resources << /Font "
              "<< /F1 4 0 R >> >> /Contents 7 0 R >>");
  b.object(4, "<< /Type /Font /Subtype /Type0 /BaseFont /Fuzz-CID /Encoding /" + encoding +
                  " /DescendantFonts [5 0 R] /ToUnicode 6 0 R >>");
  b.object(5, "<< /Type /Font /Subtype /CIDFontType2 /BaseFont /Fuzz-CID /CIDSystemInfo "
              "<< /Registry (Adobe) /Ordering (Japan1) /Supplement 6 >> /DW 1000 "
              "/W [1 [500 600 700] 100 200 250 633 [1000]] /CIDToGIDMap /Identity >>");
  b.stream(6, "",
           "begincmap\n1 begincodespacerange <0000> <FFFF> endcodespacerange\n"
           "2 beginbfchar <0001> <3042> <0002> <30A2> endbfchar\n"
           "1 beginbfrange <0064> <0070> <0030> endbfrange\nendcmap\n");
  b.stream(7, "", content);
  b.finishWithTable("/Root 1 0 R");
  return b.bytes();
}

// Objects 1 to 4 in object stream 5, listed by a cross-reference stream that
// is compressed with a PNG predictor, as most producers write it. `nested`
// stores stream 5 itself in object stream 8.
std::string objectStreams(bool nested) {
  const std::string objects[] = {
      "<< /Type /Catalog /Pages 2 0 R >>",
      "<< /Type /Pages /Kids [3 0 R] /Count 1 /MediaBox [0 0 612 792] >>",
      "<< /Type /Page /Parent 2 0 R /Resources << /Font << /F1 4 0 R >> >> /Contents 6 0 R >>",
      "<< /Type /Font /Subtype /Type1 /BaseFont /Courier >>"};
  std::string header;
  std::string body;
  for (int i = 0; i < 4; ++i) {
    header += std::to_string(i + 1) + " " + std::to_string(body.size()) + " ";
    body += objects[i] + "\n";
  }
  PdfBuilder b;
  const std::string inner = "/Type /ObjStm /N 4 /First " + std::to_string(header.size()) + " /Filter /FlateDecode";
  const std::string packed = deflate(header + body);
  if (nested) {
    b.stream(8, "/Type /ObjStm /N 1 /First 4 /Filter /FlateDecode",
             deflate("5 0 << " + inner + " /Length " + std::to_string(packed.size()) + " >>\nstream\n" + packed +
                     "\nendstream"));
  } else {
    b.stream(5, inner, packed);
  }
  b.stream(6, "", kPageText);
  const std::size_t xrefOffset = b.bytes().size();
  std::string data;
  auto put = [&data](int type, std::size_t field2, int field3) {
    data += static_cast<char>(type);
    for (int shift = 24; shift >= 0; shift -= 8) data += static_cast<char>((field2 >> shift) & 0xFF);
    data += static_cast<char>(field3 >> 8);
    data += static_cast<char>(field3 & 0xFF);
  };
  put(0, 0, 65535);
  for (int i = 0; i < 4; ++i) put(2, 5, i);
  put(nested ? 2 : 1, nested ? 8 : b.offsetOf(5), 0);
  put(1, b.offsetOf(6), 0);
  put(1, xrefOffset, 0);
  if (nested) put(1, b.offsetOf(8), 0);
  data = deflate(pngPredicted(data, 7, 1));
  b.raw("7 0 obj\n<< /Type /XRef /Size " + std::string(nested ? "9" : "8") + " /W [1 4 2] /Root 1 0 R /Filter /FlateDecode "
        "/DecodeParms << /Predictor 12 /Columns 7 >> /Length " +
        std::to_string(data.size()) + " >>\nstream\n" + data + "\nendstream\nendobj\nstartxref\n" +
        std::to_string(xrefOffset) + "\n%%EOF\n");
  return b.bytes();
}

// A chain of forms, each drawing the next one twice (1024 leaves): small
// here, but the shape whose work multiplies with every level.
std::string formFanOut() {
  constexpr std::uint32_t kLevels = 10;
  constexpr std::uint32_t kFirstForm = 6;
  PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
  b.object(3, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Resources "
              "<< /XObject << /L 6 0 R >> >> /Contents 4 0 R >>");
  b.stream(4, "", "/L Do");
  b.object(5, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
  for (std::uint32_t level = 0; level < kLevels; ++level) {
    const std::uint32_t number = kFirstForm + level;
    const bool leaf = level + 1 == kLevels;
    const std::string resources =
        leaf ? "/Font << /F1 5 0 R >>" : "/XObject << /L " + std::to_string(number + 1) + " 0 R >>";
    b.stream(number, "/Type /XObject /Subtype /Form /BBox [0 0 10 10] /Resources << " + resources + " >>",
             leaf ? "BT /F1 4 Tf (leaf) Tj ET" : "/L Do 1 0 0 1 1 0 cm /L Do");
  }
  b.finishWithTable("/Root 1 0 R");
  return b.bytes();
}

// A page tree that reaches the same node along several paths.
std::string sharedPageTree() {
  PdfBuilder b = PdfBuilder::simple({kPageText});
  b.object(2, "<< /Type /Pages /Kids [6 0 R 6 0 R 4 0 R] /Count 5 >>");
  b.object(6, "<< /Type /Pages /Parent 2 0 R /Kids [4 0 R 4 0 R] /Count 2 >>");
  b.finishWithTable("/Root 1 0 R");
  return b.bytes();
}

// Many objects and no cross-reference data: the whole file is scanned.
std::string manyObjectsWithoutCrossReference() {
  PdfBuilder b = PdfBuilder::simple({kPageText});
  for (std::uint32_t number = 10; number < 210; ++number) {
    b.object(number, "<< /Index " + std::to_string(number) + " /Next " + std::to_string(number + 1) +
                         " 0 R /Data [1 2 3 (text)] >>");
  }
  b.raw("trailer\n<< /Root 1 0 R /Size 210 >>\n");
  b.finishWithoutXref();
  return b.bytes();
}

std::string crossReferenceStream() {
  PdfBuilder b = PdfBuilder::simple({kPageText});
  b.finishWithXrefStream(6, "/Root 1 0 R");
  return b.bytes();
}

std::string incrementalUpdate(bool updateWithStream) {
  PdfBuilder b = PdfBuilder::simple({kPageText});
  b.finishWithTable("/Root 1 0 R");
  b.stream(5, "", "BT /F1 24 Tf 72 650 Td (Updated text) Tj ET");
  b.object(6, "<< /Title (Second revision) >>");
  if (updateWithStream) {
    b.finishWithXrefStream(7, "/Root 1 0 R /Info 6 0 R");
  } else {
    b.finishWithTable("/Root 1 0 R /Info 6 0 R");
  }
  return b.bytes();
}

std::string pageTree() {
  PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [3 0 R 6 0 R] /Count 3 /MediaBox [0 0 612 792] "
              "/Resources << /Font << /F1 8 0 R >> >> /Rotate 90 >>");
  b.object(3, "<< /Type /Pages /Parent 2 0 R /Kids [4 0 R 5 0 R] /Count 2 /CropBox [10 10 500 700] >>");
  b.object(4, "<< /Type /Page /Parent 3 0 R /Contents 9 0 R >>");
  b.object(5, "<< /Type /Page /Parent 3 0 R /Rotate 180 /MediaBox [0 0 200 300] /Contents [9 0 R 10 0 R] >>");
  b.object(6, "<< /Type /Page /Parent 2 0 R /UserUnit 2 /Contents 10 0 R >>");
  b.object(8, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica-Bold >>");
  b.stream(9, "", "BT /F1 12 Tf 50 50 Td (shared stream) Tj ET");
  b.stream(10, "", "BT /F1 12 Tf 50 80 Td (second stream) Tj ET");
  b.finishWithTable("/Root 1 0 R");
  return b.bytes();
}

// Content streams behind filter chains and predictors.
std::string filteredContent() {
  const std::string first = "BT /F1 18 Tf 72 700 Td (Through Flate and ASCIIHex) Tj ET";
  const std::string second = "BT /F1 18 Tf 72 650 Td (PNG predicted rows) Tj ET";
  const std::string third = "BT /F1 18 Tf 72 600 Td (RunLength and ASCII85) Tj ET";
  PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
  b.object(3, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Resources << /Font "
              "<< /F1 4 0 R >> >> /Contents [5 0 R 6 0 R 7 0 R] >>");
  b.object(4, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
  b.stream(5, "/Filter [/ASCIIHexDecode /FlateDecode]", hex(deflate(first)));
  b.stream(6, "/Filter /FlateDecode /DecodeParms << /Predictor 15 /Colors 3 /Columns 4 >>",
           deflate(pngPredicted(second, 12, 3)));
  // RunLength data (one literal run, then the end marker) in ASCII85 "z"-free form.
  std::string runs = std::string(1, static_cast<char>(third.size() - 1)) + third + "\x80";
  std::string ascii85;
  for (std::size_t i = 0; i < runs.size(); i += 4) {
    std::size_t count = std::min<std::size_t>(4, runs.size() - i);
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 4; ++k) {
      group = (group << 8) | (k < count ? static_cast<unsigned char>(runs[i + k]) : 0u);
    }
    char digits[5];
    for (int k = 4; k >= 0; --k) {
      digits[k] = static_cast<char>('!' + group % 85);
      group /= 85;
    }
    ascii85.append(digits, count + 1);
  }
  b.stream(7, "/Filter [/A85 /RL]", ascii85 + "~>");
  b.finishWithTable("/Root 1 0 R");
  return b.bytes();
}

std::string shiftedOffsets() {
  PdfBuilder b = PdfBuilder::simple({kPageText, "BT /F1 10 Tf 10 10 Td (page two) Tj ET"});
  zopra::test::XrefOptions options;
  options.offsetAdjust = 7;
  b.finishWithTable("/Root 1 0 R", options);
  return b.bytes();
}

std::string withoutCrossReference() {
  PdfBuilder b = PdfBuilder::simple({kPageText});
  b.raw("trailer\n<< /Root 1 0 R >>\n");
  b.finishWithoutXref();
  return b.bytes();
}

void writeDocuments(Seeds& seeds, bool withCorpus) {
  const std::string target = "fuzz_open";
  const fs::path plain = seeds.write(target, "simple_text.pdf", simpleText());
  seeds.write(target, "text_operators.pdf", textOperators());
  seeds.write(target, "forms.pdf", forms());
  seeds.write(target, "tounicode_fonts.pdf", toUnicodeFonts());
  seeds.write(target, "type0_identity.pdf",
              type0Font("Identity-H", "BT /F1 16 Tf 72 700 Td <000100020003> Tj [<0064> 200 <0070>] TJ ET"));
  seeds.write(target, "type0_sjis.pdf",
              type0Font("90ms-RKSJ-H", "BT /F1 16 Tf 72 700 Td <82A082A2414243> Tj ET"));
  seeds.write(target, "object_streams.pdf", objectStreams(false));
  seeds.write(target, "nested_object_streams.pdf", objectStreams(true));
  seeds.write(target, "xref_stream.pdf", crossReferenceStream());
  seeds.write(target, "incremental_table.pdf", incrementalUpdate(false));
  seeds.write(target, "incremental_stream.pdf", incrementalUpdate(true));
  seeds.write(target, "page_tree.pdf", pageTree());
  seeds.write(target, "filtered_content.pdf", filteredContent());
  seeds.write(target, "shifted_offsets.pdf", shiftedOffsets());
  seeds.write(target, "no_xref.pdf", withoutCrossReference());
  seeds.write(target, "form_fan_out.pdf", formFanOut());
  seeds.write(target, "shared_page_tree.pdf", sharedPageTree());
  seeds.write(target, "many_objects_no_xref.pdf", manyObjectsWithoutCrossReference());

  if (zopra::test::haveProgram("qpdf")) {
    const std::pair<const char*, const char*> kinds[] = {
        {"encrypted_rc4.pdf", "--allow-weak-crypto --encrypt '' owner 128"},
        {"encrypted_aes128.pdf", "--encrypt '' owner 128 --use-aes=y"},
        {"encrypted_aes256.pdf", "--object-streams=generate --encrypt '' owner 256"}};
    const fs::path folder = seeds.folder() / target;
    for (const auto& [name, options] : kinds) {
      std::string command = "qpdf " + std::string(options) + " -- '" + plain.string() + "' '" +
                            (folder / name).string() + "' >/dev/null 2>&1";
      int status = zopra::test::run(command);
      if (status == 0 || status == 3) seeds.added();
    }
  }

  const std::string corpus = withCorpus ? zopra::test::corpusDirectory() : "";
  if (!corpus.empty()) {
    for (const fs::directory_entry& entry : fs::directory_iterator(corpus)) {
      if (entry.path().extension() != ".pdf") continue;
      fs::copy_file(entry.path(), seeds.folder() / target / ("corpus-" + entry.path().filename().string()),
                    fs::copy_options::overwrite_existing);
      seeds.added();
    }
  }
}

// ---- Content streams -----------------------------------------------------------

void writeContent(Seeds& seeds) {
  const char* const kStreams[] = {
      "BT /F1 12 Tf 72 712 Td (Hello) Tj 0 -14 Td [(W) 120 (orld)] TJ ET",
      "q 1 0 0 1 50 50 cm 0.5 g 1 0 0 rg 10 10 100 50 re f Q",
      "BT /F1 10 Tf 2 Tc 3 Tw 90 Tz 12 TL 1 0 0 1 100 600 Tm (a) Tj T* (b) ' 1 2 (c) \" 3 Tr 5 Ts ET",
      "/X1 Do q 2 0 0 2 0 0 cm /X1 Do Q /Im1 Do",
      "BT /F2 14 Tf <0001000200100011> Tj [<0001> -500 <0020>] TJ ET",
      "BI /W 2 /H 2 /CS /G /BPC 8 ID \x01\xff\xfe\x02 EI Q BT /F1 9 Tf (after) Tj ET",
      "BI /W 4 /H 4 /CS /RGB /BPC 8 /F /AHx ID 00ff00ff> EI BT /F1 9 Tf (filtered image) Tj ET",
      "BI /IM true /W 8 /H 1 /D [1 0] ID \xaa EI",
      "BT /F1 12 Tf (esc \\( \\) \\\\ \\n \\101 \\7 \\\r\n) Tj <48656C6C6F> Tj ET",
      "% a comment\n[[1 2] [3 [4]]] pop BT /F1 1000 Tf -.5 +.5 Td ET",
      "/Span << /ActualText (x) >> BDC BT /F1 12 Tf (y) Tj ET EMC /OC /MC0 BDC EMC",
      "10 10 m 20 20 l 30 30 40 40 50 50 c h W n S B b* f* 0 0 10 10 re W* n",
      "/DeviceRGB cs 1 0 0 sc /Pattern CS /P1 SCN 0 0 0 1 k 0.2 G",
      "BT /F1 -12 Tf 0 1 -1 0 200 200 Tm (rotated) Tj /F2 0 Tf <0001> Tj ET",
      "BT /F1 12 Tf 100 100 Td (one) Tj 30 0 Td (two) Tj 0 -40 Td (three) Tj ET BT (no font) Tj ET",
      "q q q Q Q Q Q Q 1 0 0 1 0 0 cm BT /Nope 12 Tf (unknown font) Tj ET",
      "/Name#20with#23hash Do <</Inline <<dict>> >> BDC [(a) <62> 1 2 /n] TJ",
  };
  int index = 0;
  for (const char* stream : kStreams) {
    std::string name = "content_" + std::to_string(index++) + ".txt";
    seeds.write("fuzz_content", name, stream);
    // The removal scanner reads the same streams.
    seeds.write("fuzz_removal", name, stream);
    seeds.write("fuzz_adoption", name, stream);
  }
}

// ---- ToUnicode CMaps -----------------------------------------------------------

void writeCMaps(Seeds& seeds) {
  const char* const kCMaps[] = {
      "/CIDInit /ProcSet findresource begin 12 dict begin begincmap\n"
      "/CIDSystemInfo << /Registry (Adobe) /Ordering (UCS) /Supplement 0 >> def\n"
      "/CMapName /Adobe-Identity-UCS def /CMapType 2 def\n"
      "1 begincodespacerange <0000> <FFFF> endcodespacerange\n"
      "2 beginbfchar <0003> <0020> <0011> <0041> endbfchar\n"
      "2 beginbfrange <0024> <0030> <0061> <0100> <0102> [<00660066> <00660069> <D835DC00>] endbfrange\n"
      "endcmap CMapName currentdict /CMap defineresource pop end end\n",
      "begincmap 1 begincodespacerange <00> <FF> endcodespacerange\n"
      "3 beginbfchar <20> <0020> <41> <0391> <42> <> endbfchar endcmap",
      "begincmap 3 begincodespacerange <00> <80> <8140> <9FFC> <E040> <FCFC> endcodespacerange\n"
      "1 beginbfrange <8140> <817E> <3000> endbfrange\n"
      "2 beginbfchar <41> <FF21> <82A0> <3042> endbfchar endcmap",
      "begincmap 1 begincodespacerange <00000000> <FFFFFFFF> endcodespacerange\n"
      "1 beginbfrange <000000FE> <00000102> <00E9> endbfrange\n"
      "1 beginbfchar <00010203> <0030003100320033> endbfchar endcmap",
      "1 beginbfrange <00FE> <0101> <00FF> endbfrange 1 beginbfrange <FFFE> <FFFF> <FFFF> endbfrange",
      "2 beginbfchar <01> /space <02> (literal) endbfchar 1 beginbfrange <10> <05> <0041> endbfrange",
  };
  int index = 0;
  for (const char* cmap : kCMaps) {
    seeds.write("fuzz_cmap", "cmap_" + std::to_string(index++) + ".txt", cmap);
  }
}

// ---- Filter inputs ---------------------------------------------------------------

void writeFilterInputs(Seeds& seeds) {
  const std::string text = "BT /F1 12 Tf 72 700 Td (Filtered text, repeated repeated repeated) Tj ET\n";
  // A deque, so that the pointers handed out by `add` stay valid.
  std::deque<std::pair<std::string, FilterInput>> inputs;
  auto add = [&inputs](const std::string& name, std::uint8_t filter, const std::string& data,
                       std::int64_t predictor = 1, std::int64_t colors = 1, std::int64_t columns = 1) {
    FilterInput input;
    input.filter = filter;
    input.predictor.predictor = predictor;
    input.predictor.colors = colors;
    input.predictor.columns = columns;
    input.data.assign(data.begin(), data.end());
    inputs.emplace_back(name, input);
    return &inputs.back().second;
  };
  add("flate", 0, deflate(text));
  for (std::int64_t predictor = 10; predictor <= 15; ++predictor) {
    add("flate_png_" + std::to_string(predictor), 0, deflate(pngPredicted(text, 15, 3)), predictor, 3, 5);
  }
  add("flate_tiff", 0, deflate(tiffPredicted(text, 8, 2)), 2, 2, 4);
  add("hex", 1, hex(text));
  add("hex_odd_with_spaces", 1, "48 65 6c\n6C 6f 2>");
  add("ascii85", 2, "87cURD]i,\"Ebo80z!!~>");
  add("runlength", 3, "\x04Hello\xfd!\x80");
  add("lzw", 4, "\x80\x0b\x60\x50\x22\x0c\x0c\x85\x01");
  add("lzw_early_change_0", 4, "\x80\x0b\x60\x50\x22\x0c\x0c\x85\x01")->earlyChange = 0;
  FilterInput* damaged = add("flate_damaged", 0, deflate(text + text + text).substr(0, 40));
  damaged->throughDocument = true;

  // Through a stream dictionary: a filter chain with parameters in each form.
  FilterInput* chain = add("chain_hex_flate_png", 1, hex(deflate(pngPredicted(text, 12, 3))), 12, 3, 4);
  chain->throughDocument = true;
  chain->secondFilter = 1;
  chain->parameters = FilterInput::Parameters::Array;
  FilterInput* reference = add("chain_reference_parameters", 1, hex(deflate(pngPredicted(text, 12, 3))), 12, 3, 4);
  reference->throughDocument = true;
  reference->secondFilter = 1;
  reference->abbreviated = true;
  reference->parameters = FilterInput::Parameters::Reference;
  FilterInput* lone = add("lone_name_dictionary", 0, deflate(tiffPredicted(text, 8, 2)), 2, 2, 4);
  lone->throughDocument = true;
  lone->loneName = true;
  lone->parameters = FilterInput::Parameters::Dictionary;
  FilterInput* crypt = add("chain_crypt", 3, "\x02" "abc\x80");
  crypt->throughDocument = true;
  crypt->secondFilter = 5;
  FilterInput* unsupported = add("chain_unsupported", 2, "z~>");
  unsupported->throughDocument = true;
  unsupported->secondFilter = 6;

  for (const auto& [name, input] : inputs) {
    zopra::pdf::Bytes bytes = zopra::fuzz::writeFilterInput(input);
    seeds.write("fuzz_filters", name + ".bin", std::string(bytes.begin(), bytes.end()));
  }
}

// ---- Object syntax ------------------------------------------------------------------

void writeObjects(Seeds& seeds) {
  const char* const kObjects[] = {
      "1 0 obj\n<< /Type /Page /MediaBox [0 0 612 792] /Contents 4 0 R /Resources << /Font << /F1 5 0 R >> >> >>\nendobj\n",
      "2 0 obj\n<< /Length 11 >>\nstream\nHello world\nendstream\nendobj\n",
      "3 0 obj << /Length 9 0 R /Filter /FlateDecode >> stream\r\nabc\r\nendstream endobj",
      "4 0 obj [1 -2.5 +3 .5 (str \\) (nested)) <4142 43> /Na#6De true false null 12 0 R] endobj",
      "5 0 obj << /A << /B [ ] /C <<>> >> /D (\\101\\n\\\r\n) /E <> /F 1 2 /G -0 >> endobj",
      "6 0 obj\n(unterminated string",
      "7 65535 obj 42 endobj 8 0 obj /Name endobj",
      "9 0 obj << /Length 3 >> stream\nabc\nendstream\n% comment\nendobj",
      "[[[[[[[[[[1]]]]]]]]]] << /K [<< /L [1 2 R] >>] >> {1 2} xref trailer",
  };
  int index = 0;
  for (const char* object : kObjects) {
    seeds.write("fuzz_object", "object_" + std::to_string(index++) + ".txt", object);
  }
}

// ---- TrueType fonts ------------------------------------------------------------------

std::string be16(unsigned value) {
  std::string bytes(2, '\0');
  bytes[0] = static_cast<char>((value >> 8) & 0xFF);
  bytes[1] = static_cast<char>(value & 0xFF);
  return bytes;
}
std::string be32(unsigned value) { return be16(value >> 16) + be16(value & 0xFFFF); }

// A font of the given tables, with its table directory.
std::string trueType(const std::vector<std::pair<std::string, std::string>>& tables) {
  std::string font = be32(0x00010000) + be16(static_cast<unsigned>(tables.size())) + be16(0) + be16(0) + be16(0);
  std::size_t offset = 12 + 16 * tables.size();
  std::string data;
  for (const auto& [tag, table] : tables) {
    font += tag + be32(0) + be32(static_cast<unsigned>(offset + data.size())) +
            be32(static_cast<unsigned>(table.size()));
    data += table;
    while (data.size() % 4) data += '\0';
  }
  return font + data;
}

void writeFonts(Seeds& seeds) {
  std::string head = be32(0x00010000) + be32(0) + be32(0) + be32(0x5F0F3CF5) + be16(0) + be16(2048) +
                     std::string(16, '\0') + be16(0xFF00) + be16(0xFE00) + be16(1200) + be16(1900) +
                     std::string(10, '\0');
  std::string hhea = be32(0x00010000) + be16(1900) + be16(0xFE00) + std::string(26, '\0') + be16(3);
  std::string maxp = be32(0x00005000) + be16(5);
  std::string hmtx = be16(500) + be16(0) + be16(600) + be16(0) + be16(700) + be16(0);
  // Format 4: 'A'..'C' to glyphs 1..3 by delta, and the final segment.
  std::string format4 = be16(4) + be16(32) + be16(0) + be16(4) + be16(4) + be16(1) + be16(0) +
                        be16('C') + be16(0xFFFF) + be16(0) + be16('A') + be16(0xFFFF) +
                        be16(static_cast<unsigned>(1 - 'A') & 0xFFFF) + be16(1) + be16(0) + be16(0);
  // Format 12: one group from U+1F600.
  std::string format12 = be16(12) + be16(0) + be32(28) + be32(0) + be32(1) + be32(0x1F600) + be32(0x1F602) + be32(1);
  std::string cmap = be16(0) + be16(2) + be16(3) + be16(1) + be32(20) + be16(3) + be16(10) +
                     be32(static_cast<unsigned>(20 + format4.size()));
  cmap += format4 + format12;
  seeds.write("fuzz_true_type", "both_cmaps.ttf",
              trueType({{"cmap", cmap}, {"head", head}, {"hhea", hhea}, {"hmtx", hmtx}, {"maxp", maxp}}));
  seeds.write("fuzz_true_type", "no_cmap.ttf",
              trueType({{"head", head}, {"hhea", hhea}, {"hmtx", hmtx}, {"maxp", maxp}}));
  seeds.write("fuzz_true_type", "otto.otf", "OTTO" + std::string(8, '\0'));
}

}  // namespace

// Texts as items and map keys hold them: ligatures, fullwidth forms, spaces
// of every kind, and bytes that are not UTF-8.
void writeMatchKeys(Seeds& seeds) {
  const char* const texts[] = {"e\xef\xac\x83\x63ient", "  two \xc2\xa0 spaces\t\n",
                               "\xef\xbd\x86\xef\xbd\x95\xe3\x80\x80\xe2\x91\xa0",
                               "\xc2\xbd\xe2\x80\xa6\xe2\x81\x97\xff\xe2\x82", "\xef\xbd\xb6\xef\xbe\x9e"};
  int index = 0;
  for (const char* text : texts) seeds.write("fuzz_match_key", "key_" + std::to_string(index++) + ".txt", text);
}

// Maps and segments files in small: arrays and a "segments" member, with
// escaped quotes, nesting, a duplicate key and a truncated one.
void writeJsonDocuments(Seeds& seeds) {
  const char* const texts[] = {
      R"([{"page": 1, "item": 2, "text": "a \"quoted\" [text]"}, {"page": 2, "item": 1, "text": "b\\"}])",
      R"({"file": "x.pdf", "segments": [{"id": "p1-b1", "text": "eins, zwei"}, {"id": "p1-b2", "text": "]"}], "n": 2})",
      R"({"segments": [1, [2, 3], {"segments": [4]}], "segments": []})",
      R"([1, 2, {"a": [3, 4]}, "x",)",
      R"(  [ "a" , "b" , "c" ]  x)"};
  int index = 0;
  for (const char* text : texts) seeds.write("fuzz_json_split", "json_" + std::to_string(index++) + ".json", text);
}

int main(int argc, char** argv) {
  if (argc < 2 || (argc == 3 && std::string(argv[2]) != "--no-corpus") || argc > 3) {
    std::fprintf(stderr, "usage: %s FOLDER [--no-corpus]\n", argv[0]);
    return 2;
  }
  Seeds seeds{fs::path(argv[1])};
  writeDocuments(seeds, argc == 2);
  writeContent(seeds);
  writeCMaps(seeds);
  writeFilterInputs(seeds);
  writeObjects(seeds);
  writeFonts(seeds);
  writeMatchKeys(seeds);
  writeJsonDocuments(seeds);
  std::printf("wrote %d seeds to %s\n", seeds.count(), argv[1]);
  return 0;
}
