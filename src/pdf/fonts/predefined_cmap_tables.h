// The generated predefined CMap tables and their name registry. The arrays are
// written at build time from the Adobe-Japan1 CMap data; see
// cmap_generator/generate_cmap_tables.cpp.
#pragma once

#include <cstddef>

#include "pdf/fonts/font_info.h"
#include "pdf/fonts/predefined_cmap.h"

namespace zopra::pdf {

struct PredefinedCMapTable {
  // The CMap name without its "-H" or "-V" suffix.
  const char* name;
  // Sorted by byte length, then code; entryCount entries before the terminator.
  const CMapEntry* entries;
  std::size_t entryCount;
  const CodeSpaceRange* codeSpace;
};

extern const PredefinedCMapTable predefinedCMapTables[];
extern const std::size_t predefinedCMapTableCount;

// Each table ends with an entry whose byte length is 255.
extern const CMapEntry codeToUtf32TblForEncIdentity[];
extern const CMapEntry codeToUtf32TblForEncH[];
extern const CMapEntry codeToUtf32TblForEncRksj[];
extern const CMapEntry codeToUtf32TblForEncEuc[];
extern const CMapEntry codeToUtf32TblForEnc90ms_rksj[];
extern const CMapEntry codeToUtf32TblForEnc90msp_rksj[];
extern const CMapEntry codeToUtf32TblForEnc90pv_rksj[];
extern const CMapEntry codeToUtf32TblForEnc78[];
extern const CMapEntry codeToUtf32TblForEnc78_rksj[];
extern const CMapEntry codeToUtf32TblForEnc78ms_rksj[];
extern const CMapEntry codeToUtf32TblForEnc78_euc[];
extern const CMapEntry codeToUtf32TblForEnc83pv_rksj[];
extern const CMapEntry codeToUtf32TblForEncAdd[];
extern const CMapEntry codeToUtf32TblForEncAdd_rksj[];
extern const CMapEntry codeToUtf32TblForEncExt[];
extern const CMapEntry codeToUtf32TblForEncExt_rksj[];
extern const CMapEntry codeToUtf32TblForEncNwp[];
extern const CMapEntry codeToUtf32TblForEncUnijis_ucs2[];
extern const CMapEntry codeToUtf32TblForEncUnijis_ucs2_hw[];
extern const CMapEntry codeToUtf32TblForEncUnijis_utf8[];
extern const CMapEntry codeToUtf32TblForEncUnijis_utf16[];
extern const CMapEntry codeToUtf32TblForEncUnijis_utf32[];
extern const CMapEntry codeToUtf32TblForEncUnijis2004_utf8[];
extern const CMapEntry codeToUtf32TblForEncUnijis2004_utf16[];
extern const CMapEntry codeToUtf32TblForEncUnijis2004_utf32[];
extern const CMapEntry codeToUtf32TblForEncUnijisX0213_utf32[];
extern const CMapEntry codeToUtf32TblForEncUnijisX02132004_utf32[];
extern const CMapEntry codeToUtf32TblForEncHiragana[];
extern const CMapEntry codeToUtf32TblForEncKatakana[];
extern const CMapEntry codeToUtf32TblForEncHankaku[];
extern const CMapEntry codeToUtf32TblForEncRoman[];
extern const CMapEntry codeToUtf32TblForEncWp_Symbol[];

}  // namespace zopra::pdf
