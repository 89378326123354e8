// Several threads, each with its own handle, read the same files at the same
// time: the tables the engine builds once and shares between handles (glyph
// names, the TeX text codes, the compiled-in CMaps, the standard widths, the
// cipher tables) and the libraries it calls (FriBidi, HarfBuzz, zlib) must
// give every thread what a single thread gets. Built with -DZOPRA_TSAN=ON the
// same run is checked by ThreadSanitizer for data races.
//
// This file holds one test on purpose: the threads must be the first to reach
// the tables built on first use, so the concurrent first use is what runs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <latch>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/pdf_builder.h"
#include "support/test_files.h"
#include "zopra_document_loader.h"

namespace {

const char* const kDejaVu = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
constexpr unsigned kThreads = 4;
// Pages read per file: enough to reach every font of the corpus files below,
// few enough to keep the run short under ThreadSanitizer.
constexpr std::uint32_t kPagesPerFile = 4;

using Handle = std::unique_ptr<ZOPRADocumentLoader, void (*)(ZOPRADocumentLoader*)>;

struct Input {
  std::string path;
  // Set for the built files: a text is drawn in a TrueType font and the
  // document written compacted (font subsetting, Flate, object streams).
  bool draw = false;
};

std::uint64_t fnv1a(const void* data, std::size_t size) {
  std::uint64_t hash = 1469598103934665603ull;
  for (std::size_t i = 0; i < size; ++i) {
    hash = (hash ^ static_cast<const unsigned char*>(data)[i]) * 1099511628211ull;
  }
  return hash;
}

std::string format(const char* pattern, double a, double b, double c, double d) {
  char line[160];
  std::snprintf(line, sizeof line, pattern, a, b, c, d);
  return line;
}

// Everything the handle reports about the first pages of `input`, as text.
// A failing call adds its status, so a thread that fails where the serial
// run succeeds shows as a difference.
std::string readAll(ZOPRADocumentLoader* loader, const Input& input, const std::string& drawnPath) {
  std::string out = "open " + std::to_string(zopraDocumentLoaderOpenFileA(loader, input.path.c_str())) + "\n";
  std::uint32_t pages = 0;
  if (zopraDocumentLoaderGetPageCount(loader, &pages) != ZOPRA_STATUS_SUCCESS) return out;
  for (std::uint32_t page = 0; page < std::min(pages, kPagesPerFile); ++page) {
    std::uint32_t size = 0;
    out += "page " + std::to_string(page) + " text " +
           std::to_string(zopraDocumentLoaderGetPageTextSize(loader, &size, page)) + "\n";
    std::string text(size + 1, '\0');
    if (zopraDocumentLoaderGetPageText(loader, text.data(), size + 1) == ZOPRA_STATUS_SUCCESS) out += text.c_str();

    std::uint32_t count = 0;
    out += "items " + std::to_string(zopraDocumentLoaderExtractPageText(loader, page)) + "\n";
    if (zopraDocumentLoaderGetPageTextCount(loader, &count, page) == ZOPRA_STATUS_SUCCESS) {
      for (std::uint32_t i = 0; i < count; ++i) {
        ZOPRADocumentLoaderTextInfo info{};
        ZOPRADocumentLoaderTextStyle style{};
        if (zopraDocumentLoaderGetText(loader, &info, i) != ZOPRA_STATUS_SUCCESS ||
            zopraDocumentLoaderGetTextStyle(loader, &style, i) != ZOPRA_STATUS_SUCCESS) {
          out += "item failed\n";
          continue;
        }
        out += std::string(info.text) + " | " + style.fontName + format(" %.3f %.3f %.3f %.3f\n", info.e, info.f,
                                                                          info.width, style.shownSize);
      }
    }

    out += "graphics " + std::to_string(zopraDocumentLoaderExtractPageGraphics(loader, page, 0)) + "\n";
    if (zopraDocumentLoaderGetPageGraphicsCount(loader, &count, page) == ZOPRA_STATUS_SUCCESS && count > 0) {
      std::vector<ZOPRADocumentLoaderGraphicsInfo> entries(count);
      if (zopraDocumentLoaderGetGraphicsArray(loader, entries.data(), count, 0) == ZOPRA_STATUS_SUCCESS) {
        for (const auto& entry : entries) {
          out += std::to_string(entry.type) + format(" %.3f %.3f %.3f %.3f", entry.x, entry.y, entry.width,
                                                     entry.height) + " " + std::to_string(entry.objectNumber) + "\n";
        }
      }
    }

    out += "blocks " + std::to_string(zopraDocumentLoaderExtractPageBlocks(loader, page, &count));
    out += " " + std::to_string(count) + "\n";

    out += "images " + std::to_string(zopraDocumentLoaderGetImageCount(loader, &count, page)) + "\n";
    for (std::uint32_t i = 0; i < count; ++i) {
      std::uint32_t imageFormat = 0;
      std::uint32_t bytes = 0;
      zopraDocumentLoaderGetImageFormat(loader, &imageFormat, page, i);
      zopraDocumentLoaderGetImageBufferSize(loader, &bytes, page, i);
      std::vector<std::uint8_t> buffer(std::max<std::uint32_t>(bytes, 1));
      const std::int32_t status = zopraDocumentLoaderGetImageBuffer(loader, buffer.data(), bytes, page, i);
      out += std::to_string(imageFormat) + " " + std::to_string(bytes) + " " + std::to_string(status) + " " +
             std::to_string(fnv1a(buffer.data(), bytes)) + "\n";
    }
  }

  if (input.draw) {
    // One call per statement: the operands of + are not evaluated in order.
    out += "draw " + std::to_string(zopraDocumentLoaderExtractPageText(loader, 0));
    out += " " + std::to_string(zopraDocumentLoaderSetTextA(loader, "Gr\xC3\xBC\xC3\x9F" "e \xCE\xA9", 0, 0, kDejaVu, 12, 1));
    out += " " + std::to_string(zopraDocumentLoaderDrawText(loader));
    // The writer's own deflate threads run beside the other handles'.
    out += " " + std::to_string(zopraDocumentLoaderSetWriteThreads(loader, 2));
    out += " " + std::to_string(zopraDocumentLoaderWriteDocumentCompactA(loader, drawnPath.c_str(), ZOPRA_COMPACT_ALL));
    out += "\n";
    const std::string written = zopra::test::readFile(drawnPath);
    out += std::to_string(written.size()) + " " + std::to_string(fnv1a(written.data(), written.size())) + "\n";
  }
  return out;
}

// A page with a standard font, a TeX text font whose codes below 32 and
// Differences names are mapped through the shared tables, a Shift-JIS CMap
// font, paths and an image; a second page with plain text.
std::string builtFile() {
  zopra::test::PdfBuilder builder;
  builder.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  builder.object(2, "<< /Type /Pages /Kids [4 0 R 6 0 R] /Count 2 >>");
  builder.object(3, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
  const std::string resources =
      " /Resources << /Font << /F1 3 0 R /F2 20 0 R /F3 21 0 R >> /XObject << /Im1 24 0 R >> >>";
  builder.object(4, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 5 0 R" + resources + " >>");
  builder.stream(5, "",
                 "BT /F1 12 Tf 72 700 Td (Hello, threads) Tj ET BT /F2 12 Tf 72 680 Td (\\001\\002AB) Tj ET "
                 "BT /F3 12 Tf 72 660 Td <82A082A2> Tj ET 0.5 g 72 500 100 50 re f 1 0 0 RG 2 w 72 480 m 300 480 l S "
                 "q 50 0 0 50 72 400 cm /Im1 Do Q");
  builder.object(6, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 7 0 R" + resources + " >>");
  builder.stream(7, "", "BT /F1 10 Tf 100 100 Td (Second page) Tj ET");
  builder.object(20, "<< /Type /Font /Subtype /Type1 /BaseFont /CMR10 "
                     "/Encoding << /Type /Encoding /Differences [65 /Omega /a19] >> >>");
  builder.object(21, "<< /Type /Font /Subtype /Type0 /BaseFont /MS-Mincho /Encoding /90ms-RKSJ-H "
                     "/DescendantFonts [22 0 R] >>");
  builder.object(22, "<< /Type /Font /Subtype /CIDFontType0 /BaseFont /MS-Mincho /DW 1000 /FontDescriptor 23 0 R "
                     "/CIDSystemInfo << /Registry (Adobe) /Ordering (Japan1) /Supplement 2 >> >>");
  builder.object(23, "<< /Type /FontDescriptor /FontName /MS-Mincho /Flags 4 /FontBBox [0 -120 1000 880] "
                     "/ItalicAngle 0 /Ascent 880 /Descent -120 /CapHeight 700 /StemV 80 >>");
  builder.stream(24, "/Type /XObject /Subtype /Image /Width 2 /Height 2 /ColorSpace /DeviceGray /BitsPerComponent 8",
                 std::string("\x00\xff\xff\x00", 4));
  builder.finishWithTable("/Root 1 0 R");
  return builder.write("threads-plain.pdf");
}

TEST(HandleThreads, HandlesOnSeveralThreadsReadWhatOneThreadReads) {
  const std::string plain = builtFile();
  const bool draw = std::filesystem::exists(kDejaVu);
  std::vector<Input> inputs = {{plain, draw}};
  // AES with an MD5 key (revision 4) and with SHA-2 (revision 6), by qpdf.
  if (zopra::test::haveProgram("qpdf")) {
    for (const char* arguments : {"128 --use-aes=y", "256"}) {
      const std::string path = zopra::test::tempDirectory() + "/threads-aes" + arguments[0] + ".pdf";
      const int status = zopra::test::run("qpdf --allow-weak-crypto --encrypt '' own " + std::string(arguments) +
                                          " -- '" + plain + "' '" + path + "'");
      ASSERT_TRUE(status == 0 || status == 3) << "qpdf failed: " << status;
      inputs.push_back({path, draw});
    }
  }
  // Real files when the corpus is there: CJK CMaps, TeX fonts, AES, images.
  const std::string corpus = zopra::test::corpusDirectory();
  for (const char* name : {"pdfjs-90ms-rksj-h.pdf", "pdfjs-noembed-eucjp.pdf", "deb-platex.pdf",
                           "pdfjs-sechandler.pdf", "pdfjs-tracemonkey.pdf", "nico-balloon-jp2k.pdf"}) {
    if (!corpus.empty() && std::filesystem::exists(corpus + "/" + name)) inputs.push_back({corpus + "/" + name});
  }

  // The threads first, all released at once, each starting at another file.
  std::vector<std::vector<std::string>> seen(kThreads, std::vector<std::string>(inputs.size()));
  std::latch start(kThreads);
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      Handle handle(nullptr, zopraDocumentLoaderDestroy);
      ZOPRADocumentLoader* created = nullptr;
      if (zopraDocumentLoaderCreate(&created) == ZOPRA_STATUS_SUCCESS) handle.reset(created);
      start.arrive_and_wait();
      if (!handle) return;
      for (std::size_t k = 0; k < inputs.size(); ++k) {
        const std::size_t i = (k + t) % inputs.size();
        const std::string drawn = zopra::test::tempDirectory() + "/threads-drawn-" + std::to_string(t) + "-" +
                                  std::to_string(i) + ".pdf";
        seen[t][i] = readAll(handle.get(), inputs[i], drawn);
      }
    });
  }
  for (auto& thread : threads) thread.join();

  ZOPRADocumentLoader* created = nullptr;
  ASSERT_EQ(zopraDocumentLoaderCreate(&created), ZOPRA_STATUS_SUCCESS);
  const Handle handle(created, zopraDocumentLoaderDestroy);
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    const std::string serial = readAll(handle.get(), inputs[i], zopra::test::tempDirectory() + "/threads-drawn.pdf");
    for (unsigned t = 0; t < kThreads; ++t) {
      EXPECT_EQ(seen[t][i], serial) << inputs[i].path << ", thread " << t;
    }
    // The built file and its encrypted copies read as expected: the
    // comparison above must not pass on output that is empty or all failures.
    if (inputs[i].path.find("/threads-") == std::string::npos) continue;
    SCOPED_TRACE(inputs[i].path);
    for (const char* expected : {"Hello, threads | Helvetica",
                                 "\xCE\x94\xCE\x98\xCE\xA9\xE2\x9C\x93 | CMR10",  // codes 1, 2 and Differences
                                 "\xE3\x81\x82\xE3\x81\x84 | MS-Mincho",         // Shift-JIS 82A0 82A2
                                 "Second page",
                                 "1 72.000 400.000 50.000 50.000", "blocks 0 3\nimages 0\n0 "}) {
      EXPECT_NE(serial.find(expected), std::string::npos) << expected << " not in\n" << serial;
    }
    if (draw) {
      EXPECT_NE(serial.find("draw 0 0 0 0 0\n"), std::string::npos) << serial;
    }
  }
}

}  // namespace
