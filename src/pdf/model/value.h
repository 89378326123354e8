// One PDF direct value, and the small helpers every subsystem uses on it.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "pdf/model/value_dictionary.h"

namespace zopra::pdf {

using Bytes = std::vector<std::uint8_t>;
// Bytes held elsewhere, read only.
using ByteView = std::span<const std::uint8_t>;

class Value;
using ValueArray = std::vector<Value>;
// Ordered by plain byte comparison of the key; keys are unique.
using ValueDictionary = BasicDictionary<Value>;

// A PDF direct value. Deliberately not a union: every kind's payload sits side
// by side and only the one that `kind` names is meaningful.
class Value {
 public:
  enum class Kind : std::uint32_t {
    Null = 0,
    Boolean = 1,
    Number = 2,
    String = 3,
    Name = 4,
    Array = 5,
    Dictionary = 6,
    Reference = 7,
    Keyword = 8,
  };

  Kind kind = Kind::Null;
  bool boolean = false;
  double number = 0.0;
  // String bytes, Name characters (no solidus, #xx undone) or Keyword word.
  std::string text;
  ValueArray array;
  ValueDictionary dictionary;
  std::uint32_t objectNumber = 0;
  std::uint32_t generation = 0;

  static Value Boolean(bool value);
  static Value Number(double value);
  static Value String(std::string bytes);
  static Value Name(std::string name);
  static Value Array(ValueArray items);
  static Value Dictionary(ValueDictionary entries);
  static Value Reference(std::uint32_t number, std::uint32_t generation);
  static Value Keyword(std::string word);

  bool isNull() const { return kind == Kind::Null; }
  bool isNumber() const { return kind == Kind::Number; }
  bool isString() const { return kind == Kind::String; }
  bool isName() const { return kind == Kind::Name; }
  bool isName(std::string_view name) const { return kind == Kind::Name && text == name; }
  bool isArray() const { return kind == Kind::Array; }
  bool isDictionary() const { return kind == Kind::Dictionary; }
  bool isReference() const { return kind == Kind::Reference; }

  // Direct (unresolved) dictionary entry, or null when this is not a
  // dictionary or has no such key.
  const Value* find(std::string_view key) const;
  Value* find(std::string_view key);
};

// True when `number` is finite, integral and within [low, high].
bool isWholeNumber(double number, double low, double high);

}  // namespace zopra::pdf
