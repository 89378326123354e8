#include "pdf/parse/lexer.h"
namespace zopra::pdf {
bool parseObjectAt(const Bytes&, std::uint64_t, Object&, std::uint64_t&) { return false; }
}  // namespace zopra::pdf
