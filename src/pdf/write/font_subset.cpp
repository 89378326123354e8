// Subsetting with HarfBuzz's subsetter: it already knows the glyf, loca,
// hmtx, cmap, hinting and bitmap tables, closes composite glyphs over their
// components and can keep glyph indices as they are, which is exactly what a
// CIDFontType2 font with an identity CID map needs.
#include "pdf/write/font_subset.h"

#include <hb-ot.h>
#include <hb-subset.h>
#include <hb.h>

#include <limits>
#include <memory>

namespace zopra::pdf {

namespace {

constexpr std::uint64_t kFnvOffset = 0xcbf29ce484222325ULL;
constexpr std::uint64_t kFnvPrime = 0x100000001b3ULL;

struct BlobRelease {
  void operator()(hb_blob_t* blob) const { hb_blob_destroy(blob); }
};
struct FaceRelease {
  void operator()(hb_face_t* face) const { hb_face_destroy(face); }
};
struct InputRelease {
  void operator()(hb_subset_input_t* input) const { hb_subset_input_destroy(input); }
};
using Blob = std::unique_ptr<hb_blob_t, BlobRelease>;
using Face = std::unique_ptr<hb_face_t, FaceRelease>;
using Input = std::unique_ptr<hb_subset_input_t, InputRelease>;

// A face over the bytes, which must outlive it; null when HarfBuzz cannot
// take them.
Face openFace(const Bytes& font) {
  if (font.empty() || font.size() > std::numeric_limits<unsigned int>::max()) return nullptr;
  Blob blob(hb_blob_create_or_fail(reinterpret_cast<const char*>(font.data()),
                                   static_cast<unsigned int>(font.size()), HB_MEMORY_MODE_READONLY, nullptr,
                                   nullptr));
  if (!blob) return nullptr;
  Face face(hb_face_create(blob.get(), 0));
  if (!face || hb_face_get_glyph_count(face.get()) == 0) return nullptr;
  return face;
}

}  // namespace

std::optional<Bytes> subsetTrueType(const Bytes& font, const std::set<std::uint16_t>& glyphs,
                                    const std::set<std::uint32_t>& unicodes) {
  Face face = openFace(font);
  Input input(hb_subset_input_create_or_fail());
  if (!face || !input) return std::nullopt;
  hb_set_t* glyphSet = hb_subset_input_glyph_set(input.get());
  hb_set_add(glyphSet, 0);
  for (std::uint16_t glyph : glyphs) hb_set_add(glyphSet, glyph);
  hb_set_t* unicodeSet = hb_subset_input_unicode_set(input.get());
  for (std::uint32_t unicode : unicodes) hb_set_add(unicodeSet, unicode);
  hb_subset_input_set_flags(input.get(), HB_SUBSET_FLAGS_RETAIN_GIDS | HB_SUBSET_FLAGS_NOTDEF_OUTLINE);
  Face subset(hb_subset_or_fail(face.get(), input.get()));
  if (!subset) return std::nullopt;
  Blob blob(hb_face_reference_blob(subset.get()));
  unsigned int length = 0;
  const char* data = blob ? hb_blob_get_data(blob.get(), &length) : nullptr;
  if (!data || length == 0) return std::nullopt;
  return Bytes(reinterpret_cast<const std::uint8_t*>(data), reinterpret_cast<const std::uint8_t*>(data) + length);
}

std::string subsetTag(const std::string& seed) {
  std::uint64_t hash = kFnvOffset;
  for (char c : seed) {
    hash ^= static_cast<unsigned char>(c);
    hash *= kFnvPrime;
  }
  std::string tag(6, 'A');
  for (char& letter : tag) {
    letter = static_cast<char>('A' + hash % 26);
    hash /= 26;
  }
  return tag;
}

}  // namespace zopra::pdf
