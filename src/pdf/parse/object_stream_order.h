// The order in which object streams are read when some are stored inside
// others.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "pdf/model/document.h"

namespace zopra::pdf {

// The object streams that cross-reference data lists (stream number -> the
// objects it holds), grouped by depth: 0 for a stream the file holds itself,
// n + 1 for one stored in a stream of depth n. Nothing when a chain is deeper
// than `limit` or loops (a stream stored in itself, or A in B in A).
std::optional<std::vector<std::vector<std::uint32_t>>> objectStreamsByDepth(
    const std::map<std::uint32_t, std::vector<CompressedEntry>>& entries, int limit);

}  // namespace zopra::pdf
