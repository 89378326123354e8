// Operator semantics of the content interpreter, fed one operator at a time.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "pdf/content/interpreter.h"

namespace zopra::pdf {
namespace {

Token num(double value) {
  Token t;
  t.kind = Token::Kind::Number;
  t.number = value;
  return t;
}

Token name(const std::string& text) {
  Token t;
  t.kind = Token::Kind::Name;
  t.text = text;
  return t;
}

Token str(const std::string& text) {
  Token t;
  t.kind = Token::Kind::String;
  t.text = text;
  return t;
}

Token array(std::vector<Token> elements) {
  Token t;
  t.kind = Token::Kind::Array;
  t.elements = std::move(elements);
  return t;
}

class InterpreterTest : public ::testing::Test {
 protected:
  InterpreterTest() : interpreter(document, page, &entries, nullptr, &images, 0, Rectangle{0, 0, 612, 792}) {}

  void op(const std::string& name, std::vector<Token> operands = {}) {
    interpreter.execute(name, resources, stream, ordinals, 0, stack, operands, nullptr);
  }

  Document document;
  Page page;
  std::vector<TextEntry> entries;
  std::vector<std::uint32_t> images;
  Interpreter interpreter;
  Value resources;
  std::uint32_t stream = 0;
  TextOperatorOrdinals ordinals;
  StateStack stack;
};

TEST_F(InterpreterTest, TextStateOperators) {
  op("BT");
  op("TL", {num(10)});
  op("T*");
  EXPECT_DOUBLE_EQ(interpreter.state.lineMatrix.f, -10);
  op("TD", {num(5), num(-12)});
  EXPECT_DOUBLE_EQ(interpreter.state.leading, 12);
  EXPECT_DOUBLE_EQ(interpreter.state.textMatrix.e, 5);
  EXPECT_DOUBLE_EQ(interpreter.state.textMatrix.f, -22);
  // One operand: it is ty, tx is 0.
  op("Td", {num(7)});
  EXPECT_DOUBLE_EQ(interpreter.state.lineMatrix.e, 5);
  EXPECT_DOUBLE_EQ(interpreter.state.lineMatrix.f, -15);

  op("Tz", {num(50)});
  EXPECT_DOUBLE_EQ(interpreter.state.horizontalScale, 0.5);
  op("Tz", {name("X")});
  EXPECT_DOUBLE_EQ(interpreter.state.horizontalScale, 1.0);
  op("Tz", {num(80)});
  op("Tz");
  EXPECT_DOUBLE_EQ(interpreter.state.horizontalScale, 1.0);

  op("Tf", {name("F1"), num(12)});
  EXPECT_EQ(interpreter.state.fontName, "F1");
  EXPECT_DOUBLE_EQ(interpreter.state.fontSize, 12);
  op("Tf", {num(9)});
  EXPECT_EQ(interpreter.state.fontName, "");
  EXPECT_DOUBLE_EQ(interpreter.state.fontSize, 9);

  op("rg", {num(0.1), num(0.2), num(0.3)});
  EXPECT_EQ(interpreter.state.fillColor.kind, 2u);
  EXPECT_DOUBLE_EQ(interpreter.state.fillColor.components[2], 0.3);
  EXPECT_DOUBLE_EQ(interpreter.state.fillColor.components[3], -1);
  op("K", {num(0.1), num(0.2), num(0.3), num(0.4)});
  EXPECT_EQ(interpreter.state.strokeColor.kind, 3u);
  EXPECT_DOUBLE_EQ(interpreter.state.strokeColor.components[3], 0.4);
  op("w", {name("x")});
  EXPECT_DOUBLE_EQ(interpreter.state.lineWidth, 1.0);
}

TEST_F(InterpreterTest, TextOperatorsRecordTheirSources) {
  // The font F1 is missing: the default font has zero widths, so only the
  // character spacing of 1 advances.
  op("BT");
  op("Tf", {name("F1"), num(10)});
  op("Tc", {num(1)});
  op("Tj");  // no operand: not counted
  EXPECT_EQ(ordinals.counted, 0u);
  op("TJ", {array({str("AB"), num(-120), str("CD")})});
  EXPECT_EQ(ordinals.counted, 1u);
  EXPECT_EQ(interpreter.fonts.count(0), 1u);
  ASSERT_EQ(entries.size(), 1u);
  const TextEntry& entry = entries[0];
  EXPECT_EQ(entry.text, "ABCD");
  EXPECT_EQ(entry.operatorName, "TJ");
  ASSERT_EQ(entry.sources.size(), 2u);
  EXPECT_EQ(entry.sources[0].source, entry.sources[1].source);
  EXPECT_EQ(entry.sources[0].element, 0u);
  EXPECT_EQ(entry.sources[1].element, 2u);
  EXPECT_DOUBLE_EQ(entry.sources[1].width, 2);
  EXPECT_DOUBLE_EQ(entry.sources[1].fontSize, 10);
  const TextSource::Operator& tj = *entry.sources[0].source;
  EXPECT_EQ(tj.ordinal, 0u);
  ASSERT_EQ(tj.elements.size(), 3u);
  EXPECT_FALSE(tj.elements[1].isString);
  EXPECT_DOUBLE_EQ(tj.elements[1].number, -120);
  EXPECT_EQ(tj.elements[2].bytes, "CD");
  // 2 for AB, 1.2 for the adjustment, 2 for CD.
  EXPECT_DOUBLE_EQ(interpreter.state.textMatrix.e, 5.2);
  EXPECT_DOUBLE_EQ(entry.endX, 5.2);

  // " sets the spacing, moves to the next line and is counted as well.
  op("TL", {num(14)});
  op("\"", {num(2), num(0.5), str("x y")});
  EXPECT_EQ(ordinals.counted, 2u);
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[1].text, "x y");
  EXPECT_DOUBLE_EQ(entries[1].f, -14);
  EXPECT_EQ(entries[1].firstOperator, 1u);
  const TextSource::Operator& quote = *entries[1].sources[0].source;
  EXPECT_EQ(quote.name, "\"");
  EXPECT_DOUBLE_EQ(quote.wordSpacing, 2);
  EXPECT_DOUBLE_EQ(quote.charSpacing, 0.5);
  // x, space (with word spacing), y.
  EXPECT_DOUBLE_EQ(interpreter.state.textMatrix.e, 0.5 * 3 + 2);

  // Inside a form, another stream counts from its own counter.
  TextOperatorOrdinals formOrdinals;
  StateStack formStack;
  std::vector<Token> operands{str("in form")};
  interpreter.execute("Tj", resources, 12, formOrdinals, 0, formStack, operands, nullptr);
  EXPECT_EQ(formOrdinals.counted, 1u);
  EXPECT_EQ(ordinals.counted, 2u);
  // It touches the line, so it is merged and the item now spans two streams.
  EXPECT_EQ(entries.back().text, "x yin form");
  EXPECT_FALSE(entries.back().rangeValid);
  EXPECT_EQ(entries.back().sources.back().source->stream, 12u);
  EXPECT_EQ(entries.back().sources.back().source->ordinal, 0u);
}

}  // namespace
}  // namespace zopra::pdf
