#include "support/hostile_files.h"

#include <zlib.h>

#include <cstdint>
#include <stdexcept>

#include "support/pdf_builder.h"

namespace zopra::test {

namespace {

constexpr int kSuccess = 0;
constexpr int kBrokenStream = -25;
constexpr int kOtherError = -128;

void deflateInto(z_stream& stream, const char* data, std::size_t size, int flush, std::string& out) {
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data));
  stream.avail_in = static_cast<uInt>(size);
  char buffer[65536];
  do {
    stream.next_out = reinterpret_cast<Bytef*>(buffer);
    stream.avail_out = sizeof buffer;
    if (::deflate(&stream, flush) == Z_STREAM_ERROR) throw std::runtime_error("deflate failed");
    out.append(buffer, sizeof buffer - stream.avail_out);
  } while (stream.avail_out == 0 || stream.avail_in != 0);
}

// A stream object holding `data` compressed.
std::string flateStream(const std::string& entries, const std::string& data) {
  std::string packed = deflate(data);
  return "<< /Filter /FlateDecode " + entries + " /Length " + std::to_string(packed.size()) +
         " >>\nstream\n" + packed + "\nendstream";
}

std::string rawStream(const std::string& entries, const std::string& data) {
  return "<< " + entries + " /Length " + std::to_string(data.size()) + " >>\nstream\n" + data +
         "\nendstream";
}

std::string repeat(const std::string& text, std::size_t count) {
  std::string out;
  out.reserve(text.size() * count);
  for (std::size_t i = 0; i < count; ++i) out += text;
  return out;
}

// Catalog 1, page tree 2, one page 3 with content object 4, the given
// resource entries and Helvetica as F1 (object 5).
PdfBuilder onePage(const std::string& contentObject, const std::string& resources = "") {
  PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
  b.object(3, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Resources << /Font << /F1 5 0 R >> " +
                  resources + " >> /Contents 4 0 R >>");
  b.object(4, contentObject);
  b.object(5, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
  return b;
}

HostileFile file(std::string name, const std::string& bytes, int openStatus, std::string openMessage,
                 int pageStatus = kSuccess, const std::string& pageMessage = "") {
  // Graphics run the same content with the same budgets.
  return {std::move(name), bytes,       openStatus, pageStatus, pageMessage,
          pageStatus,      pageMessage, std::move(openMessage)};
}

HostileFile readable(std::string name, const std::string& bytes) {
  return file(std::move(name), bytes, kSuccess, "");
}

HostileFile damagedPage(std::string name, const std::string& bytes, int status, std::string message) {
  return file(std::move(name), bytes, kSuccess, "", status, std::move(message));
}

// The builder's objects with a cross-reference table and a trailer naming
// the catalog, object 1.
std::string finished(PdfBuilder& b) {
  b.finishWithTable("/Root 1 0 R");
  return b.bytes();
}

// Page dictionaries written in place: the page tree root inside the catalog,
// the page inside the Kids array.
HostileFile inPlacePages() {
  PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages << /Type /Pages /Kids [<< /Type /Page /MediaBox "
              "[0 0 612 792] /Resources << /Font << /F1 3 0 R >> >> /Contents 4 0 R >>] >> >>");
  b.object(3, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
  b.stream(4, "", "BT /F1 12 Tf 72 700 Td (Hello in place) Tj ET");
  return readable("in-place-pages", finished(b));
}

// Every node lists its child twice: 40 levels describe 2^40 pages.
HostileFile sharedPageSubtree() {
  PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  for (std::uint32_t n = 2; n < 42; ++n) {
    std::string kid = std::to_string(n + 1) + " 0 R";
    b.object(n, "<< /Type /Pages /Kids [" + kid + " " + kid + "] /MediaBox [0 0 10 10] >>");
  }
  b.object(42, "<< /Type /Page >>");
  return file("shared-page-subtree", finished(b), kOtherError, "PDF page tree is too large");
}

// The same with a page's Contents: arrays of indirect arrays.
HostileFile sharedContents() {
  PdfBuilder b = onePage("[10 0 R 10 0 R]");
  for (std::uint32_t n = 10; n < 50; ++n) {
    std::string kid = std::to_string(n + 1) + " 0 R";
    b.object(n, "[" + kid + " " + kid + "]");
  }
  b.stream(50, "", "BT /F1 12 Tf (x) Tj ET");
  return damagedPage("shared-contents", finished(b), kOtherError, "page content is too complex");
}

// Forms that draw forms that draw forms: ten times at each of eight levels.
HostileFile formFanOut() {
  PdfBuilder b = onePage(rawStream("", "q /X8 Do Q"), "/XObject << /X8 18 0 R >>");
  b.stream(10, "/Type /XObject /Subtype /Form /BBox [0 0 10 10] /Resources << /Font << /F1 5 0 R >> >>",
           "BT /F1 12 Tf 10 10 Td (leaf) Tj ET");
  for (int level = 1; level <= 8; ++level) {
    std::string child = "/X" + std::to_string(level - 1);
    b.stream(static_cast<std::uint32_t>(10 + level),
             "/Type /XObject /Subtype /Form /BBox [0 0 10 10] /Resources << /XObject << " + child +
                 " " + std::to_string(10 + level - 1) + " 0 R >> >>",
             repeat(child + " Do ", 10));
  }
  return damagedPage("form-fan-out", finished(b), kOtherError, "page content is too complex");
}

// Millions of operators in a small compressed stream.
HostileFile manyOperators() {
  PdfBuilder b = onePage(flateStream("", repeat("0 g ", 9000000)));
  return damagedPage("many-operators", finished(b), kOtherError, "page content is too complex");
}

// No cross-reference data; thousands of "trailer" keywords, each followed by
// a value that never ends, so that each read runs to the end of the file.
// One page and a trailer, without cross-reference data.
const char* const kNoTable = "%PDF-1.4\n1 0 obj << /Type /Catalog /Pages 2 0 R >> endobj\n"
                             "2 0 obj << /Type /Pages /Kids [3 0 R] >> endobj\n"
                             "3 0 obj << /Type /Page /MediaBox [0 0 10 10] >> endobj\n"
                             "trailer << /Root 1 0 R >>\n";

HostileFile recoveryTrailers() { return readable("recovery-trailers", kNoTable + repeat("trailer << /A [ ", 40000)); }

// No cross-reference data; thousands of streams whose data never ends with
// "endstream", each found by a search to the end of the file.
HostileFile recoveryStreams() {
  std::string bytes = kNoTable;
  for (int n = 10; n < 30000; ++n) {
    bytes += std::to_string(n) + " 0 obj << /Length 1 >> stream\nx\nendobj\n";
  }
  return readable("recovery-streams", bytes);
}

// A megabyte of base font name, and a long string shown in that font.
HostileFile longBaseFont() {
  PdfBuilder b = onePage(flateStream("", "BT /F2 12 Tf (" + std::string(200000, 'a') + ") Tj ET"),
                         "/Font << /F2 6 0 R >>");
  b.object(6, "<< /Type /Font /Subtype /Type1 /BaseFont /" + repeat("CMC", 350000) + " >>");
  return readable("long-base-font", finished(b));
}

// Four hundred pages, each with its own Identity-H font.
HostileFile identityFonts() {
  PdfBuilder b;
  const int pages = 400;
  std::string kids;
  for (int i = 0; i < pages; ++i) kids += std::to_string(10 + 3 * i) + " 0 R ";
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [" + kids + "] >>");
  for (int i = 0; i < pages; ++i) {
    auto page = static_cast<std::uint32_t>(10 + 3 * i);
    b.object(page, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Resources << /Font << /F1 " +
                       std::to_string(page + 1) + " 0 R >> >> /Contents " + std::to_string(page + 2) +
                       " 0 R >>");
    b.object(page + 1, "<< /Type /Font /Subtype /Type0 /BaseFont /F /Encoding /Identity-H "
                       "/DescendantFonts [<< /Type /Font /Subtype /CIDFontType2 /BaseFont /F >>] >>");
    b.stream(page + 2, "", "BT /F1 12 Tf 72 700 Td <00410042> Tj ET");
  }
  return readable("identity-fonts", finished(b));
}

// Two hundred fonts share one large ToUnicode map.
HostileFile sharedToUnicode() {
  std::string cmap = "/CIDInit /ProcSet findresource begin 12 dict begin begincmap\n"
                     "1 begincodespacerange <0000> <FFFF> endcodespacerange\n";
  char line[48];
  for (int block = 0; block < 600; ++block) {
    cmap += "100 beginbfchar\n";
    for (int i = 0; i < 100; ++i) {
      int code = block * 100 + i;
      std::snprintf(line, sizeof line, "<%04X> <%04X>\n", code, 0x4E00 + code % 20000);
      cmap += line;
    }
    cmap += "endbfchar\n";
  }
  cmap += "endcmap end end\n";
  PdfBuilder b;
  const int fonts = 200;
  std::string names;
  for (int i = 0; i < fonts; ++i) names += "/F" + std::to_string(i) + " " + std::to_string(10 + i) + " 0 R ";
  std::string content = "BT 12 Tf ";
  for (int i = 0; i < fonts; ++i) content += "/F" + std::to_string(i) + " 12 Tf 72 700 Td <00410042> Tj ";
  content += "ET";
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [3 0 R] >>");
  b.object(3, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Resources << /Font << " + names +
                  ">> >> /Contents 4 0 R >>");
  b.object(4, flateStream("", content));
  b.object(5, flateStream("", cmap));
  for (int i = 0; i < fonts; ++i) {
    b.object(static_cast<std::uint32_t>(10 + i),
             "<< /Type /Font /Subtype /Type0 /BaseFont /F /Encoding /Identity-H /ToUnicode 5 0 R "
             "/DescendantFonts [<< /Type /Font /Subtype /CIDFontType2 /BaseFont /F >>] >>");
  }
  return readable("shared-tounicode", finished(b));
}

// No cross-reference data; sixteen object streams that each inflate to 40 MB
// of padding after the one page object they hold.
HostileFile objectStreamBombs() {
  std::string bytes = "%PDF-1.4\n1 0 obj << /Type /Catalog /Pages 2 0 R >> endobj\n2 0 obj << /Type /Pages /Kids [";
  for (int i = 0; i < 16; ++i) bytes += std::to_string(100 + i) + " 0 R ";
  bytes += "] >> endobj\n";
  for (int i = 0; i < 16; ++i) {
    std::string header = std::to_string(100 + i) + " 0 ";
    std::string packed =
        deflateBomb(header + "<< /Type /Page /MediaBox [0 0 10 10] >>", std::size_t{40} << 20);
    bytes += std::to_string(20 + i) + " 0 obj << /Type /ObjStm /N 1 /First " +
             std::to_string(header.size()) + " /Filter /FlateDecode /Length " +
             std::to_string(packed.size()) + " >> stream\n" + packed + "\nendstream endobj\n";
  }
  bytes += "trailer << /Root 1 0 R >>\n";
  return readable("object-stream-bombs", bytes);
}

// A PNG predictor whose rows would be half a gigabyte, over ten bytes.
HostileFile predictorRows() {
  PdfBuilder b = onePage(rawStream("/DecodeParms << /Predictor 12 /Columns 50000000 /Colors 5 >> "
                                   "/Filter /FlateDecode",
                                   deflate("0123456789")));
  return damagedPage("predictor-rows", finished(b), kBrokenStream, "truncated PNG predictor row");
}

// A cross-reference stream of one-byte entries that claims four billion
// objects over a stream that inflates to a gigabyte.
HostileFile crossReferenceEntries() {
  PdfBuilder b = onePage(rawStream("", "BT /F1 12 Tf 72 700 Td (entries) Tj ET"));
  std::string data = deflateBomb("", std::size_t{1} << 30, '\0');
  b.raw("9 0 obj << /Type /XRef /W [0 0 1] /Size 4000000000 /Root 1 0 R /Filter /FlateDecode /Length " +
        std::to_string(data.size()) + " >>\nstream\n" + data + "\nendstream\nendobj\n");
  b.raw("startxref\n" + std::to_string(b.bytes().rfind("9 0 obj")) + "\n%%EOF\n");
  return readable("cross-reference-entries", b.bytes());
}

// Index subsections whose counts come close to 2^32.
HostileFile crossReferenceIndex() {
  PdfBuilder b = onePage(rawStream("", "BT /F1 12 Tf 72 700 Td (index) Tj ET"));
  b.raw("9 0 obj << /Type /XRef /W [1 4 2] /Index [0 4294967295 4294967295 1] /Size 4294967295 "
        "/Root 1 0 R /Length 7 >>\nstream\n" + std::string("\x01\x00\x00\x00\x09\x00\x00", 7) +
        "\nendstream\nendobj\n");
  b.raw("startxref\n" + std::to_string(b.bytes().rfind("9 0 obj")) + "\n%%EOF\n");
  return readable("cross-reference-index", b.bytes());
}

// A content stream that inflates without end.
HostileFile contentBomb() {
  std::string data = deflateBomb("BT /F1 12 Tf 72 700 Td (bomb) Tj ET ", std::size_t{1} << 30);
  PdfBuilder b = onePage("<< /Filter /FlateDecode /Length " + std::to_string(data.size()) +
                         " >>\nstream\n" + data + "\nendstream");
  return damagedPage("content-bomb", finished(b), kBrokenStream, "decoded stream is too large");
}

// The same content bomb cut short: what inflates before the cut still
// passes the size limit.
HostileFile damagedContentBomb() {
  std::string data = deflateBomb("BT /F1 12 Tf 72 700 Td (bomb) Tj ET ", std::size_t{1} << 30);
  data.resize(data.size() - 100);
  PdfBuilder b = onePage("<< /Filter /FlateDecode /Length " + std::to_string(data.size()) +
                         " >>\nstream\n" + data + "\nendstream");
  return damagedPage("damaged-content-bomb", finished(b), kBrokenStream, "decoded stream is too large");
}

// LZW codes that each name the newest table entry: a run of one byte that
// grows by one per code, 7 MB per table, forty tables in 200 kB.
HostileFile lzwBomb() {
  std::string data;
  std::uint32_t bits = 0;
  unsigned count = 0;
  auto put = [&](std::uint32_t code, unsigned width) {
    bits = (bits << width) | code;
    for (count += width; count >= 8; bits &= (1u << count) - 1) {
      count -= 8;
      data.push_back(static_cast<char>(bits >> count));
    }
  };
  for (int table = 0; table < 40; ++table) {
    put(256, table == 0 ? 9 : 12);
    put('a', 9);
    for (std::uint32_t code = 258; code < 4096; ++code) {
      unsigned width = 9;
      while (width < 12 && code + 1 >= (1u << width)) ++width;
      put(code, width);
    }
  }
  put(257, 12);
  if (count > 0) data.push_back(static_cast<char>(bits << (8 - count)));
  PdfBuilder b = onePage("<< /Filter /LZWDecode /Length " + std::to_string(data.size()) + " >>\nstream\n" + data +
                         "\nendstream");
  return damagedPage("lzw-bomb", finished(b), kBrokenStream, "decoded stream is too large");
}

// A stream whose Length claims a hundred gigabytes.
HostileFile hugeLength() {
  PdfBuilder b = onePage("<< /Length 99999999999 >>\nstream\nBT /F1 12 Tf 72 700 Td (length) Tj ET\nendstream");
  return readable("huge-length", finished(b));
}

// A hundred thousand arrays nested in an object and in the page content.
HostileFile nestedArrays() {
  std::string nested = std::string(100000, '[') + std::string(100000, ']');
  PdfBuilder b = onePage(rawStream("", "BT /F1 12 Tf 72 700 Td " + nested + " TJ (nested) Tj ET"));
  b.object(6, nested);
  b.finishWithTable("/Root 1 0 R /Info 6 0 R");
  return readable("nested-arrays", b.bytes());
}

// A hundred thousand saves, and as many path pieces never painted.
HostileFile manySaves() {
  PdfBuilder b = onePage(flateStream("", repeat("q ", 100000) + repeat("0 0 1 1 re ", 2000000) +
                                             "BT /F1 12 Tf 72 700 Td (saves) Tj ET"));
  return readable("many-saves", finished(b));
}

// A font program of 200 MB declared in a few hundred bytes.
HostileFile fontProgramBomb() {
  std::string program = deflateBomb("%!PS-AdobeFont-1.0: Bomb\n/Encoding 256 array\n", std::size_t{200} << 20);
  PdfBuilder b = onePage(rawStream("", "BT /F2 12 Tf 72 700 Td (font) Tj ET"), "/Font << /F2 6 0 R >>");
  b.object(6, "<< /Type /Font /Subtype /Type1 /BaseFont /Bomb /FontDescriptor 7 0 R >>");
  b.object(7, "<< /Type /FontDescriptor /FontName /Bomb /FontFile 8 0 R >>");
  b.object(8, "<< /Filter /FlateDecode /Length1 100000000 /Length " + std::to_string(program.size()) +
                  " >>\nstream\n" + program + "\nendstream");
  return readable("font-program-bomb", finished(b));
}

// A form fills a path of a hundred thousand single points, each a graphics
// entry of its own, and the page draws it four times. Another form draws an
// image a hundred and forty thousand times. Text extraction makes no entries
// and reads the page.
HostileFile graphicsEntries() {
  PdfBuilder b = onePage(rawStream("", repeat("/P Do ", 4) + "/I Do"),
                         "/XObject << /P 6 0 R /I 7 0 R >>");
  b.object(6, flateStream("/Type /XObject /Subtype /Form /BBox [0 0 10 10]",
                          repeat("1 1 m ", 100000) + "f"));
  b.object(7, flateStream("/Type /XObject /Subtype /Form /BBox [0 0 10 10] "
                          "/Resources << /XObject << /Im 8 0 R >> >>",
                          repeat("/Im Do ", 140000)));
  b.object(8, rawStream("/Type /XObject /Subtype /Image /Width 1 /Height 1 /ColorSpace "
                        "/DeviceGray /BitsPerComponent 8",
                        "x"));
  HostileFile f = readable("graphics-entries", finished(b));
  f.graphicsStatus = kOtherError;
  f.graphicsMessage = "page content is too complex";
  return f;
}

// A page tree that declares a million pages and holds one.
HostileFile millionPagesDeclared() {
  PdfBuilder b;
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [3 0 R] /Count 1000000 >>");
  b.object(3, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] >>");
  return readable("million-pages-declared", finished(b));
}

// A page tree nested five thousand levels deep: the page lies below the
// depth the walk goes to.
HostileFile deepPageTree() {
  std::string bytes = "%PDF-1.4\n1 0 obj << /Type /Catalog /Pages 2 0 R >> endobj\n";
  for (int i = 2; i < 5000; ++i) {
    bytes += std::to_string(i) + " 0 obj << /Kids [" + std::to_string(i + 1) + " 0 R] /MediaBox [0 0 1 1] >> endobj\n";
  }
  return file("deep-page-tree", bytes + "5000 0 obj << /Type /Page >> endobj\ntrailer << /Root 1 0 R >>\n",
              kOtherError, "PDF contains no pages");
}

// Content streams whose Length names the next stream, three thousand long.
HostileFile lengthChain() {
  std::string bytes = kNoTable;
  bytes.replace(bytes.find("/MediaBox"), 0, "/Contents 10 0 R ");
  for (int i = 10; i < 3000; ++i) {
    bytes += std::to_string(i) + " 0 obj << /Length " + std::to_string(i + 1) + " 0 R >> stream\nx\nendstream endobj\n";
  }
  return readable("length-chain", bytes);
}

// Object headers every few bytes, each opening a string that never ends.
HostileFile unendingStrings() {
  return file("unending-strings", "%PDF-1.4\n" + repeat("1 0 obj (", 40000), kOtherError, "PDF has no indirect objects");
}

// A catalog that is a reference loop.
HostileFile referenceLoop() {
  return file("reference-loop", "%PDF-1.4\n1 0 obj 2 0 R endobj 2 0 obj 1 0 R endobj trailer << /Root 1 0 R >>",
              kOtherError, "PDF page tree was not found");
}

}  // namespace

std::string deflate(const std::string& data) {
  z_stream stream{};
  if (deflateInit(&stream, Z_BEST_COMPRESSION) != Z_OK) throw std::runtime_error("deflateInit");
  std::string out;
  deflateInto(stream, data.data(), data.size(), Z_FINISH, out);
  deflateEnd(&stream);
  return out;
}

std::string deflateBomb(const std::string& prefix, std::size_t size, char fill) {
  // After a full flush the compressor forgets everything before it, so every
  // further block of the same bytes compresses to the same output: compress
  // two blocks, then repeat the second block's output and fix the checksum.
  constexpr std::size_t kBlock = 1 << 20;
  const std::string block(kBlock, fill);
  const std::size_t blocks = size / kBlock;
  const std::size_t rest = size % kBlock;
  z_stream stream{};
  if (deflateInit(&stream, Z_BEST_COMPRESSION) != Z_OK) throw std::runtime_error("deflateInit");
  std::string out;
  deflateInto(stream, prefix.data(), prefix.size(), Z_FULL_FLUSH, out);
  uLong checksum = adler32(1, reinterpret_cast<const Bytef*>(prefix.data()), static_cast<uInt>(prefix.size()));
  const uLong blockChecksum = adler32(1, reinterpret_cast<const Bytef*>(block.data()), kBlock);
  if (blocks > 0) {
    std::size_t before = out.size();
    deflateInto(stream, block.data(), kBlock, Z_FULL_FLUSH, out);
    std::string repeated = out.substr(before);
    for (std::size_t i = 1; i < blocks; ++i) out += repeated;
  }
  for (std::size_t i = 0; i < blocks; ++i) checksum = adler32_combine(checksum, blockChecksum, kBlock);
  deflateInto(stream, block.data(), rest, Z_FINISH, out);
  deflateEnd(&stream);
  checksum = adler32_combine(checksum, adler32(1, reinterpret_cast<const Bytef*>(block.data()),
                                               static_cast<uInt>(rest)),
                             static_cast<z_off_t>(rest));
  for (int i = 0; i < 4; ++i) out[out.size() - 4 + i] = static_cast<char>((checksum >> (24 - 8 * i)) & 0xFF);
  return out;
}

std::vector<HostileFile> hostileFiles() {
  return {inPlacePages(),     sharedPageSubtree(), sharedContents(),  formFanOut(),
          manyOperators(),    recoveryTrailers(),  recoveryStreams(), longBaseFont(),
          identityFonts(),    sharedToUnicode(),   objectStreamBombs(), predictorRows(),
          crossReferenceEntries(), crossReferenceIndex(), contentBomb(), damagedContentBomb(),
          lzwBomb(),          hugeLength(),
          nestedArrays(),     manySaves(),         fontProgramBomb(), millionPagesDeclared(),
          graphicsEntries(),  deepPageTree(),      lengthChain(),     unendingStrings(),
          referenceLoop()};
}

}  // namespace zopra::test
