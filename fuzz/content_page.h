// The one-page document that the content fuzz targets run their input in:
// its resources hold a simple font with an encoding (F1), a composite font
// with a ToUnicode map (F2), a Type 3 font whose widths are in glyph space
// (F3), a form showing text (X1) and an image (Im1).
#pragma once

#include <string>

#include "support/pdf_builder.h"

namespace zopra::fuzz {

inline std::string contentPage(const std::string& content) {
  // Type 3 widths in glyph space: 100 units make one em at this FontMatrix.
  std::string widths;
  for (int code = 32; code <= 126; ++code) widths += std::to_string(40 + code % 7 * 10) + ' ';
  zopra::test::PdfBuilder builder;
  builder.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  builder.object(2, "<< /Type /Pages /Kids [9 0 R] /Count 1 >>");
  builder.object(3, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding "
                    "<< /Differences [128 /bullet /emdash] >> >>");
  builder.object(4, "<< /Type /Font /Subtype /Type0 /BaseFont /Fuzz /Encoding /Identity-H "
                    "/DescendantFonts [5 0 R] /ToUnicode 6 0 R >>");
  builder.object(5, "<< /Type /Font /Subtype /CIDFontType2 /BaseFont /Fuzz "
                    "/CIDSystemInfo << /Registry (Adobe) /Ordering (Identity) /Supplement 0 >> "
                    "/DW 1000 /W [1 [500 600] 10 20 250] >>");
  builder.stream(6, "",
                 "begincmap\n1 begincodespacerange <0000> <FFFF> endcodespacerange\n"
                 "2 beginbfchar <0001> <0041> <0002> <00660069> endbfchar\n"
                 "1 beginbfrange <0010> <00FF> <0061> endbfrange\nendcmap\n");
  builder.stream(7, "/Type /XObject /Subtype /Form /BBox [0 0 100 100] /Matrix [1 0 0 1 10 10] "
                    "/Resources << /Font << /F1 3 0 R >> >>",
                 "BT /F1 10 Tf 0 0 Td (form) Tj [(a) 300 (b)] TJ ET");
  builder.object(8, "<< /Type /Font /Subtype /Type3 /FontMatrix [0.01 0 0 0.01 0 0] /FontBBox [0 0 100 100] "
                    "/CharProcs << >> /Encoding << /Differences [65 /A] >> /FirstChar 32 /LastChar 126 "
                    "/Widths [" + widths + "] >>");
  builder.object(9, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Resources "
                    "<< /Font << /F1 3 0 R /F2 4 0 R /F3 8 0 R >> /XObject << /X1 7 0 R /Im1 11 0 R >> >> "
                    "/Contents 10 0 R >>");
  builder.stream(10, "", content);
  builder.stream(11, "/Type /XObject /Subtype /Image /Width 1 /Height 1 /ColorSpace /DeviceGray "
                     "/BitsPerComponent 8",
                 "\x80");
  builder.finishWithTable("/Root 1 0 R");
  return builder.bytes();
}

}  // namespace zopra::fuzz
