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


std::vector<PdfBuilder::Entry> PdfBuilder::revisionEntries(std::uint32_t size, long long adjust) {
  std::vector<Entry> entries;
  auto used = [&](std::uint32_t n, std::size_t offset) {
    entries.push_back({n, static_cast<std::size_t>(static_cast<long long>(offset) + adjust), generations_[n], true});
  };
  if (lastXref_ < 0) {
    // The first revision covers every number from 0, the gaps as free entries.
    entries.push_back({0, 0, 65535, false});
    for (std::uint32_t n = 1; n < size; ++n) {
      auto it = revisionOffsets_.find(n);
      if (it == revisionOffsets_.end()) {
        entries.push_back({n, 0, 0, false});
      } else {
        used(n, it->second);
      }
    }
  } else {
    // An update lists only its own objects.
    for (const auto& [n, offset] : revisionOffsets_) used(n, offset);
  }
  return entries;
}

std::size_t PdfBuilder::finishWithTable(const std::string& trailerEntries, const XrefOptions& options) {
  std::size_t xrefOffset = out_.size();
  std::uint32_t size = offsets_.empty() ? 1 : offsets_.rbegin()->first + 1;
  out_ += "xref\n";
  const bool update = lastXref_ >= 0;
  if (!update) out_ += "0 " + std::to_string(size) + "\n";
  for (const Entry& e : revisionEntries(size, options.offsetAdjust)) {
    // An update writes one subsection per object.
    if (update) out_ += std::to_string(e.number) + " 1\n";
    char line[32];
    std::snprintf(line, sizeof line, "%010zu %05u %c \n", e.offset, e.generation, e.used ? 'n' : 'f');
    out_ += line;
  }
  out_ += "trailer\n<< /Size " + std::to_string(size) + previous() + " " + trailerEntries + " >>\nstartxref\n" +
          std::to_string(static_cast<long long>(xrefOffset) + options.startxrefAdjust) + "\n%%EOF\n";
  lastXref_ = static_cast<long long>(xrefOffset);
  revisionOffsets_.clear();
  return xrefOffset;
}

std::size_t PdfBuilder::finishWithXrefStream(std::uint32_t number, const std::string& trailerEntries,
                                             const XrefOptions& options) {
  std::size_t xrefOffset = out_.size();
  offsets_[number] = xrefOffset;
  revisionOffsets_[number] = xrefOffset;
  generations_[number] = 0;
  std::uint32_t size = offsets_.rbegin()->first + 1;
  const bool update = lastXref_ >= 0;
  std::string data, index = update ? " /Index [" : "";
  for (const Entry& e : revisionEntries(size, options.offsetAdjust)) {
    if (update) index += std::to_string(e.number) + " 1 ";
    data += static_cast<char>(e.used ? 1 : 0);
    const auto offset = static_cast<std::uint32_t>(e.offset);
    for (int shift = 24; shift >= 0; shift -= 8) data += static_cast<char>((offset >> shift) & 0xFF);
    data += static_cast<char>(e.generation >> 8);
    data += static_cast<char>(e.generation & 0xFF);
  }
  if (update) index += "]";
  out_ += std::to_string(number) + " 0 obj\n<< /Type /XRef /Size " + std::to_string(size) + " /W [1 4 2]" + index +
          previous() + " " + trailerEntries + " /Length " + std::to_string(data.size()) + " >>\nstream\n" + data +
          "\nendstream\nendobj\nstartxref\n" +
          std::to_string(static_cast<long long>(xrefOffset) + options.startxrefAdjust) + "\n%%EOF\n";
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
