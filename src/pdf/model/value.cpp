#include "pdf/model/value.h"

#include <cmath>
#include <utility>

namespace zopra::pdf {

Value Value::Boolean(bool value) {
  Value v;
  v.kind = Kind::Boolean;
  v.boolean = value;
  return v;
}

Value Value::Number(double value) {
  Value v;
  v.kind = Kind::Number;
  v.number = value;
  return v;
}

Value Value::String(std::string bytes) {
  Value v;
  v.kind = Kind::String;
  v.text = std::move(bytes);
  return v;
}

Value Value::Name(std::string name) {
  Value v;
  v.kind = Kind::Name;
  v.text = std::move(name);
  return v;
}

Value Value::Array(ValueArray items) {
  Value v;
  v.kind = Kind::Array;
  v.array = std::move(items);
  return v;
}

Value Value::Dictionary(ValueDictionary entries) {
  Value v;
  v.kind = Kind::Dictionary;
  v.dictionary = std::move(entries);
  return v;
}

Value Value::Reference(std::uint32_t number, std::uint32_t generationNumber) {
  Value v;
  v.kind = Kind::Reference;
  v.objectNumber = number;
  v.generation = generationNumber;
  return v;
}

Value Value::Keyword(std::string word) {
  Value v;
  v.kind = Kind::Keyword;
  v.text = std::move(word);
  return v;
}

const Value* Value::find(std::string_view key) const {
  if (kind != Kind::Dictionary) return nullptr;
  auto it = dictionary.find(key);
  return it == dictionary.end() ? nullptr : &it->second;
}

Value* Value::find(std::string_view key) {
  if (kind != Kind::Dictionary) return nullptr;
  auto it = dictionary.find(key);
  return it == dictionary.end() ? nullptr : &it->second;
}

bool isWholeNumber(double number, double low, double high) {
  return std::isfinite(number) && number >= low && number <= high && std::floor(number) == number;
}

}  // namespace zopra::pdf
