// Fixed code-to-Unicode tables used when a font carries no usable encoding:
// the TeX Computer Modern fonts and the Windows-1252 upper control range.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace zopra::pdf {

// Codes 0 to 15 of the TeX math symbol fonts (CMSY).
extern const std::array<std::uint32_t, 16> computerModernSymbols;

// Codes 0 to 31 of the TeX text fonts (CMR, CMBX, CMTI, CMTT). Ligatures are
// spelled out as letters ("ff", "fi", ...) so that extracted text stays
// searchable. Built once on first use.
const std::array<std::vector<std::uint32_t>, 32>& computerModernRoman();

// Windows-1252 for codes 0x80 to 0x9F; the five undefined codes hold 0.
extern const std::array<std::uint32_t, 32> winAnsi;

}  // namespace zopra::pdf
