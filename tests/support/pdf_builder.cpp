#include "support/pdf_builder.h"

#include <cstdio>
#include <fstream>

#include "support/test_files.h"

namespace zopra::test {

PdfBuilder::PdfBuilder(std::string header) : out_(std::move(header)) {}

void PdfBuilder::object(std::uint32_t number, const std::string& body, std::uint32_t generation) {
  offsets_[number] = out_.size();
  revisionOffsets_[number] = out_.size();
  generations_[number] = generation;
  out_ += std::to_string(number) + " " + std::to_string(generation) + " obj\n" + body +
          "\nendobj\n";
}

void PdfBuilder::stream(std::uint32_t number, const std::string& dictionaryEntries,
                        const std::string& data, const std::string* lengthEntry) {
  std::string length = lengthEntry ? *lengthEntry : "/Length " + std::to_string(data.size());
  object(number, "<< " + dictionaryEntries + " " + length + " >>\nstream\n" + data + "\nendstream");
}

void PdfBuilder::raw(const std::string& text) { out_ += text; }

namespace {

std::string tableEntry(std::size_t offset, std::uint32_t generation, char type) {
  char line[32];
  std::snprintf(line, sizeof line, "%010zu %05u %c \n", offset, generation, type);
  return line;
}

}  // namespace

std::size_t PdfBuilder::finishWithTable(const std::string& trailerEntries,
                                        const XrefOptions& options) {
  std::size_t xrefOffset = out_.size();
  std::uint32_t size = offsets_.empty() ? 1 : offsets_.rbegin()->first + 1;
  out_ += "xref\n";
  if (lastXref_ < 0) {
    out_ += "0 " + std::to_string(size) + "\n";
    out_ += tableEntry(0, 65535, 'f');
    for (std::uint32_t n = 1; n < size; ++n) {
      auto it = revisionOffsets_.find(n);
      if (it == revisionOffsets_.end()) {
        out_ += tableEntry(0, 0, 'f');
      } else {
        out_ += tableEntry(static_cast<std::size_t>(static_cast<long long>(it->second) +
                                                    options.offsetAdjust),
                           generations_[n], 'n');
      }
    }
  } else {
    // An update lists only its own objects, one subsection each.
    for (const auto& [number, offset] : revisionOffsets_) {
      out_ += std::to_string(number) + " 1\n";
      out_ += tableEntry(static_cast<std::size_t>(static_cast<long long>(offset) +
                                                  options.offsetAdjust),
                         generations_[number], 'n');
    }
  }
  out_ += "trailer\n<< /Size " + std::to_string(size) + previous();
  out_ += " " + trailerEntries + " >>\nstartxref\n" +
          std::to_string(static_cast<long long>(xrefOffset) + options.startxrefAdjust) +
          "\n%%EOF\n";
  lastXref_ = static_cast<long long>(xrefOffset);
  revisionOffsets_.clear();
  return xrefOffset;
}

std::size_t PdfBuilder::finishWithXrefStream(std::uint32_t number,
                                             const std::string& trailerEntries,
                                             const XrefOptions& options) {
  std::size_t xrefOffset = out_.size();
  offsets_[number] = xrefOffset;
  revisionOffsets_[number] = xrefOffset;
  std::uint32_t size = offsets_.rbegin()->first + 1;
  std::string data;
  std::string index;
  auto put = [&data](std::uint8_t type, std::uint32_t field2, std::uint16_t field3) {
    data += static_cast<char>(type);
    for (int shift = 24; shift >= 0; shift -= 8) data += static_cast<char>((field2 >> shift) & 0xFF);
    data += static_cast<char>(field3 >> 8);
    data += static_cast<char>(field3 & 0xFF);
  };
  if (lastXref_ < 0) {
    put(0, 0, 65535);
    for (std::uint32_t n = 1; n < size; ++n) {
      auto it = revisionOffsets_.find(n);
      if (it == revisionOffsets_.end()) {
        put(0, 0, 0);
      } else {
        put(1, static_cast<std::uint32_t>(static_cast<long long>(it->second) + options.offsetAdjust),
            static_cast<std::uint16_t>(generations_[n]));
      }
    }
  } else {
    index = " /Index [";
    for (const auto& [n, offset] : revisionOffsets_) {
      index += std::to_string(n) + " 1 ";
      put(1, static_cast<std::uint32_t>(static_cast<long long>(offset) + options.offsetAdjust),
          static_cast<std::uint16_t>(generations_[n]));
    }
    index += "]";
  }
  std::string entries =
      "/Type /XRef /Size " + std::to_string(size) + " /W [1 4 2]" + index + previous() + " " + trailerEntries;
  generations_[number] = 0;
  out_ += std::to_string(number) + " 0 obj\n<< " + entries + " /Length " +
          std::to_string(data.size()) + " >>\nstream\n" + data + "\nendstream\nendobj\n";
  out_ += "startxref\n" +
          std::to_string(static_cast<long long>(xrefOffset) + options.startxrefAdjust) +
          "\n%%EOF\n";
  lastXref_ = static_cast<long long>(xrefOffset);
  revisionOffsets_.clear();
  return xrefOffset;
}

std::string PdfBuilder::previous() const {
  return lastXref_ < 0 ? "" : " /Prev " + std::to_string(lastXref_);
}

void PdfBuilder::finishWithoutXref() { out_ += "%%EOF\n"; }

std::string PdfBuilder::write(const std::string& name) const {
  return writeTempFile(name, out_);
}

PdfBuilder PdfBuilder::simple(const std::vector<std::string>& pageContents, const std::string& mediaBox,
                              const std::string& resources) {
  PdfBuilder b;
  std::string kids;
  for (std::size_t i = 0; i < pageContents.size(); ++i) {
    kids += std::to_string(4 + 2 * i) + " 0 R ";
  }
  b.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  b.object(2, "<< /Type /Pages /Kids [" + kids + "] /Count " +
                  std::to_string(pageContents.size()) + " >>");
  b.object(3, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
  for (std::size_t i = 0; i < pageContents.size(); ++i) {
    auto page = static_cast<std::uint32_t>(4 + 2 * i);
    b.object(page, "<< /Type /Page /Parent 2 0 R /MediaBox " + mediaBox +
                       " /Resources << /Font << /F1 3 0 R >> " + resources + " >> /Contents " +
                       std::to_string(page + 1) + " 0 R >>");
    b.stream(page + 1, "", pageContents[i]);
  }
  return b;
}

}  // namespace zopra::test
