// Loading builder output into a Document in one step, and objects made by
// hand.
#pragma once

#include <memory>
#include <string>

#include "pdf/model/document.h"
#include "support/pdf_builder.h"
#include "support/test_files.h"

namespace zopra::test {

struct Loaded {
  std::unique_ptr<pdf::Document> document = std::make_unique<pdf::Document>();
  pdf::Error result = pdf::Error::None;
  pdf::Document* operator->() { return document.get(); }
};

inline Loaded loadBytes(const std::string& bytes, const std::string& name,
                        pdf::FileBytes::Access access = pdf::FileBytes::Access::Read) {
  Loaded loaded;
  loaded.result = loaded.document->load(writeTempFile(name, bytes), access);
  return loaded;
}

// Puts `value` into `document` as the loaded object `number`, as if read
// from a file.
inline pdf::Object& putObject(pdf::Document& document, std::uint32_t number, pdf::Value value) {
  pdf::Object& object = document.objects[number];
  object.number = number;
  object.loaded = true;
  object.value = std::move(value);
  return object;
}

inline Loaded loadBuilder(const PdfBuilder& builder, const std::string& name) {
  return loadBytes(builder.bytes(), name);
}

}  // namespace zopra::test
