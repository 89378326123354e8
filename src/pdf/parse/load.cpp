#include "pdf/model/document.h"
namespace zopra::pdf {
Error Document::load(const std::string&) { reset(); setError(Error::Format, "file is not a PDF"); return error; }
}  // namespace zopra::pdf
