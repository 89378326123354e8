// One leaf of the page tree with its inherited attributes.
#pragma once

#include <cstdint>
#include <memory>

#include "pdf/model/value.h"

namespace zopra::pdf {

struct Page {
  // The object that holds the page dictionary; 0 when the dictionary is
  // written in place inside another object.
  std::uint32_t objectNumber = 0;
  // A page dictionary written in place, where the document holds it (inside
  // its parent's object, never a copy). Pages held by an object of their own
  // are reached through Document::pageDictionary, which parses the object
  // again when it was dropped.
  Value* dictionary = nullptr;
  // The page's own or inherited "Resources" entry as written (often a
  // reference); null when there is none. Pages that inherit one entry share
  // one copy of it.
  std::shared_ptr<const Value> resources;
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
