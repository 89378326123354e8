// One leaf of the page tree with its inherited attributes.
#pragma once

#include <cstdint>

#include "pdf/model/value.h"

namespace zopra::pdf {

struct Page {
  // The object that holds the page dictionary; 0 when the dictionary is
  // written in place inside another object.
  std::uint32_t objectNumber = 0;
  // The page dictionary inside the object map (not owned, not copied) for a
  // dictionary written in place. Pages held by an object are reached through
  // Document::pageDictionary, which parses the object again when needed.
  Value* dictionary = nullptr;
  // The page's own or inherited "Resources" and "Rotate". The box entries
  // ("MediaBox", "CropBox") are only read to compute x, y, width and height.
  ValueDictionary inherited;
  // Lower-left corner of the page box.
  double x = 0;
  double y = 0;
  // Extent of the page box in PDF units, exchanged for rotations of 90 and 270.
  double width = 0;
  double height = 0;
  // Degrees, normalised to 0..359.
  std::uint32_t rotation = 0;
};

}  // namespace zopra::pdf
