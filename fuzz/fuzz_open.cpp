// Fuzz target: the input is a PDF file. It is opened and read through the C
// interface the way an application does, and the answers of the different
// calls are checked against each other.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "temp_file.h"
#include "zopra_document_loader.h"

namespace {

// A few pages reach every code path; visiting thousands would only make each
// run slow.
constexpr std::uint32_t kMaxPages = 50;

void require(bool condition) {
  if (!condition) std::abort();
}

// Reads every byte up to `size`, so that a pointer into freed or too short
// storage is reported by the sanitizer here rather than in the caller.
std::size_t touch(const char* bytes, std::size_t size) {
  std::size_t sum = 0;
  for (std::size_t i = 0; i < size; ++i) sum += static_cast<unsigned char>(bytes[i]);
  return sum;
}

volatile std::size_t gSink;

void readPage(ZOPRADocumentLoader* loader, std::uint32_t page) {
  double width = 0;
  double height = 0;
  std::uint32_t rotation = 0;
  require(zopraDocumentLoaderGetPageSize(loader, &width, &height, &rotation, page) ==
          ZOPRA_STATUS_SUCCESS);

  // The item list, one item at a time.
  const std::int32_t extracted = zopraDocumentLoaderExtractPageText(loader, page);
  std::string joined;
  std::uint32_t count = 0;
  if (extracted == ZOPRA_STATUS_SUCCESS) {
    require(zopraDocumentLoaderGetPageTextCount(loader, &count, page) == ZOPRA_STATUS_SUCCESS);
    for (std::uint32_t index = 0; index < count; ++index) {
      ZOPRADocumentLoaderTextInfo info;
      require(zopraDocumentLoaderGetText(loader, &info, index) == ZOPRA_STATUS_SUCCESS);
      require(info.text != nullptr);
      std::size_t length = std::strlen(info.text);
      gSink = gSink + touch(info.text, length + 1);
      joined.append(info.text, length);
      joined += '\n';

      // Style and room of the item: a box that is one, a valid name, and
      // room never below the item's own width.
      ZOPRADocumentLoaderTextStyle style;
      require(zopraDocumentLoaderGetTextStyle(loader, &style, index) == ZOPRA_STATUS_SUCCESS);
      require(style.fontName != nullptr);
      gSink = gSink + touch(style.fontName, std::strlen(style.fontName) + 1);
      require(!(style.x0 > style.x1) && !(style.y0 > style.y1));
      double room = 0;
      const std::int32_t roomStatus = zopraDocumentLoaderGetTextRoom(loader, index, &room);
      require(roomStatus == ZOPRA_STATUS_SUCCESS || roomStatus == ZOPRA_STATUS_BROKEN_STREAM ||
              roomStatus == ZOPRA_STATUS_ENCRYPTED_DOCUMENT ||
              roomStatus == ZOPRA_STATUS_OTHER_ERROR ||
              roomStatus == ZOPRA_STATUS_MEMORY_INSUFFICIENT);
      if (roomStatus == ZOPRA_STATUS_SUCCESS) require(!(room < info.width));
      // The alignment comes from the same layout: it fails as the room does.
      std::int32_t alignment = -1;
      const std::int32_t alignmentStatus = zopraDocumentLoaderGetTextAlignment(loader, index, &alignment);
      require(alignmentStatus == roomStatus);
      if (alignmentStatus == ZOPRA_STATUS_SUCCESS) {
        require(alignment == ZOPRA_ALIGNMENT_LEFT || alignment == ZOPRA_ALIGNMENT_CENTER ||
                alignment == ZOPRA_ALIGNMENT_RIGHT);
      }
    }
  } else {
    require(zopraDocumentLoaderGetPageTextCount(loader, &count, page) ==
            ZOPRA_STATUS_INVALID_ARGUMENT);
  }

  // Graphics calls go here (page graphics, their count and each item) once
  // the C interface has them.

  // Image calls go here (the page's image count, each image's bytes and
  // format) once the C interface has them.

  // The whole page as one string. The same extraction runs again, now with
  // the fonts cached from the first run, so it must end the same way.
  std::uint32_t size = 0;
  const std::int32_t sized = zopraDocumentLoaderGetPageTextSize(loader, &size, page);
  require(sized == extracted);
  if (sized != ZOPRA_STATUS_SUCCESS) return;
  require(size >= 1);
  std::vector<char> buffer(size, '\x7F');
  require(zopraDocumentLoaderGetPageText(loader, buffer.data(), size) == ZOPRA_STATUS_SUCCESS);
  require(buffer[size - 1] == '\0');
  gSink = gSink + touch(buffer.data(), size);
  // Without NUL bytes in the text, every item's C string is its whole text,
  // and the page string is exactly the items joined line by line.
  const std::string pageText(buffer.data(), size - 1);
  if (pageText.find('\0') == std::string::npos) require(pageText == joined);

}

// Sets a new text at the first item of the last extraction (page 0), in
// DejaVu Sans when it is installed, measures it and draws it.
void drawOnFirstItem(ZOPRADocumentLoader* loader) {
  static const char* const kFont = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
  static const bool haveFont = std::ifstream(kFont).good();
  ZOPRADocumentLoaderTextInfo info;
  if (!haveFont || zopraDocumentLoaderGetText(loader, &info, 0) != ZOPRA_STATUS_SUCCESS) return;
  // The item's own size where it is a usable one.
  const double size = info.fontSize > 0 && info.fontSize < 1e4 ? info.fontSize : 10.0;
  require(zopraDocumentLoaderSetTextA(loader, "Gr\xC3\xBC\xC3\x9F" "e \xE2\x80\x93 new \xF0\x9F\x98\x80", 0, 0,
                                      kFont, size, info.horizontalScaling) == ZOPRA_STATUS_SUCCESS);
  double width = 0;
  require(zopraDocumentLoaderGetTextWidth(loader, &width) == ZOPRA_STATUS_SUCCESS);
  require(zopraDocumentLoaderDrawText(loader) != ZOPRA_STATUS_INVALID_ARGUMENT);

  // The fit of a longer text at the same item, with a chain whose second
  // font repeats the first: it ends, and what it reports holds together.
  const char* const chain[] = {kFont, kFont};
  ZOPRADocumentLoaderTextFit fit;
  const std::int32_t fitted = zopraDocumentLoaderFitTextA(
      loader, "Vollst\xC3\xA4ndige Bezeichnung \xE6\x9D\xB1\xE4\xBA\xAC", 0, 0, chain, 2, 4.0, &fit);
  if (fitted != ZOPRA_STATUS_SUCCESS) return;
  require(fit.fontSize > 0 && fit.missingCharacters == 2);
  require(fit.alignment >= ZOPRA_ALIGNMENT_LEFT && fit.alignment <= ZOPRA_ALIGNMENT_RIGHT);
  require(zopraDocumentLoaderGetTextWidth(loader, &width) == ZOPRA_STATUS_SUCCESS);
  require(width == fit.width || (width != width && fit.width != fit.width));
  require(zopraDocumentLoaderDrawText(loader) != ZOPRA_STATUS_INVALID_ARGUMENT);
}

// Groups page 0 into blocks, checks that their items are items of the page,
// and flows a new text over the first block.
void flowFirstBlock(ZOPRADocumentLoader* loader) {
  static const char* const kFont = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
  static const bool haveFont = std::ifstream(kFont).good();
  std::uint32_t blocks = 0, items = 0;
  if (zopraDocumentLoaderExtractPageBlocks(loader, 0, &blocks) != ZOPRA_STATUS_SUCCESS) return;
  require(zopraDocumentLoaderGetPageTextCount(loader, &items, 0) == ZOPRA_STATUS_SUCCESS);
  for (std::uint32_t index = 0; index < blocks; ++index) {
    ZOPRADocumentLoaderBlockInfo block;
    require(zopraDocumentLoaderGetBlock(loader, index, &block) == ZOPRA_STATUS_SUCCESS);
    std::vector<std::uint32_t> chosen(block.itemCount);
    std::uint32_t count = 0;
    require(zopraDocumentLoaderGetBlockItems(loader, index, chosen.data(), block.itemCount, &count) ==
            ZOPRA_STATUS_SUCCESS);
    require(count == block.itemCount && count > 0);
    for (std::uint32_t item : chosen) require(item < items);
  }
  if (!haveFont || blocks == 0) return;
  ZOPRADocumentLoaderBlockFlow flow;
  require(zopraDocumentLoaderFlowBlockA(loader, 0, "Ein neuer Absatz, l\xC3\xA4nger als der alte, \xE2\x80\x93 mit \xF0\x9F\x98\x80",
                                        &kFont, 1, 0.0, &flow) != ZOPRA_STATUS_INVALID_ARGUMENT);
}

// Removes some items of the first page (which ones, the input decides), all
// text of the second, writes the document and opens the copy again.
void editAndWrite(ZOPRADocumentLoader* loader, std::uint32_t pages, std::uint8_t choice) {
  static zopra::fuzz::TempFile copy;
  if (zopraDocumentLoaderExtractPageText(loader, 0) == ZOPRA_STATUS_SUCCESS) {
    std::uint32_t count = 0;
    require(zopraDocumentLoaderGetPageTextCount(loader, &count, 0) == ZOPRA_STATUS_SUCCESS);
    std::vector<std::uint32_t> chosen;
    for (std::uint32_t index = 0; index < count; ++index) {
      if ((index + choice) % 3 == 0) chosen.push_back(index);
    }
    const std::int32_t removed =
        zopraDocumentLoaderRemoveOriginalTextByIndex(loader, 0, chosen.data(), static_cast<std::uint32_t>(chosen.size()));
    require(removed != ZOPRA_STATUS_INVALID_ARGUMENT);
    if (count > 0) {
      require(zopraDocumentLoaderRemoveOriginalTextByIndex(loader, 0, &count, 1) ==
              ZOPRA_STATUS_INVALID_ARGUMENT);
    }
  }
  if (pages > 1) {
    require(zopraDocumentLoaderRemoveOriginalText(loader, 1) != ZOPRA_STATUS_INVALID_ARGUMENT);
  }
  drawOnFirstItem(loader);
  flowFirstBlock(loader);
  if (zopraDocumentLoaderWriteDocumentA(loader, copy.path().c_str()) != ZOPRA_STATUS_SUCCESS) return;
  ZOPRADocumentLoader* reader = nullptr;
  require(zopraDocumentLoaderCreate(&reader) == ZOPRA_STATUS_SUCCESS);
  // The copy is a complete file with a plain cross-reference table: it opens
  // with the same pages.
  if (zopraDocumentLoaderOpenFileA(reader, copy.path().c_str()) == ZOPRA_STATUS_SUCCESS) {
    std::uint32_t copied = 0;
    require(zopraDocumentLoaderGetPageCount(reader, &copied) == ZOPRA_STATUS_SUCCESS);
    require(copied == pages);
    if (copied > 0) gSink = gSink + static_cast<std::size_t>(zopraDocumentLoaderExtractPageText(reader, 0));
  }
  // The compact copy (subset font, compressed streams, only what the
  // trailer reaches) is written wherever the plain one is, and has the same
  // pages.
  require(zopraDocumentLoaderWriteDocumentCompactA(loader, copy.path().c_str(), ZOPRA_COMPACT_ALL) ==
          ZOPRA_STATUS_SUCCESS);
  if (zopraDocumentLoaderOpenFileA(reader, copy.path().c_str()) == ZOPRA_STATUS_SUCCESS) {
    std::uint32_t copied = 0;
    require(zopraDocumentLoaderGetPageCount(reader, &copied) == ZOPRA_STATUS_SUCCESS);
    require(copied == pages);
    if (copied > 0) gSink = gSink + static_cast<std::size_t>(zopraDocumentLoaderExtractPageText(reader, 0));
  }
  zopraDocumentLoaderDestroy(reader);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static zopra::fuzz::TempFile file;
  file.write(data, size);

  ZOPRADocumentLoader* loader = nullptr;
  require(zopraDocumentLoaderCreate(&loader) == ZOPRA_STATUS_SUCCESS);
  if (zopraDocumentLoaderOpenFileA(loader, file.path().c_str()) == ZOPRA_STATUS_SUCCESS) {
    std::uint32_t pages = 0;
    require(zopraDocumentLoaderGetPageCount(loader, &pages) == ZOPRA_STATUS_SUCCESS);
    for (std::uint32_t page = 0; page < pages && page < kMaxPages; ++page) readPage(loader, page);
    require(zopraDocumentLoaderExtractPageText(loader, pages) == ZOPRA_STATUS_INVALID_ARGUMENT);
    editAndWrite(loader, pages, size > 0 ? data[size / 2] : 0);
  }
  zopraDocumentLoaderDestroy(loader);
  return 0;
}
