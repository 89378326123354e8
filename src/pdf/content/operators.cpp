// Dispatch of content-stream operators on the operand stack.
#include <cstddef>
#include <string>
#include <vector>

#include "pdf/content/interpreter.h"

namespace zopra::pdf {

namespace {

// Operands are taken right-aligned: fromTop 1 is the last operand. A missing
// or non-number operand counts as 0.
double number(const std::vector<Token>& operands, std::size_t fromTop) {
  if (fromTop == 0 || fromTop > operands.size()) return 0;
  const Token& token = operands[operands.size() - fromTop];
  return token.kind == Token::Kind::Number ? token.number : 0;
}

// The last six operands as a matrix.
Matrix matrixOperands(const std::vector<Token>& operands) {
  return Matrix{number(operands, 6), number(operands, 5), number(operands, 4),
                number(operands, 3), number(operands, 2), number(operands, 1)};
}

constexpr unsigned twoCharacters(char first, char second) {
  return static_cast<unsigned char>(first) << 8 | static_cast<unsigned char>(second);
}

Matrix translation(double tx, double ty) { return Matrix{1, 0, 0, 1, tx, ty}; }

Color grey(double value) {
  Color color;
  color.kind = 1;
  color.components[0] = value;
  return color;
}

Color rgb(const std::vector<Token>& operands) {
  Color color;
  color.kind = 2;
  color.components[0] = number(operands, 3);
  color.components[1] = number(operands, 2);
  color.components[2] = number(operands, 1);
  return color;
}

Color cmyk(const std::vector<Token>& operands) {
  Color color;
  color.kind = 3;
  for (std::size_t i = 0; i < 4; ++i) color.components[i] = number(operands, 4 - i);
  return color;
}

}  // namespace

void Interpreter::moveTextLine(double tx, double ty) {
  state.lineMatrix = translation(tx, ty) * state.lineMatrix;
  state.textMatrix = state.lineMatrix;
}

void Interpreter::nextLine() { moveTextLine(0, -state.leading); }

void Interpreter::execute(const std::string& op, const Value& resources,
                          std::uint32_t streamNumber, std::uint32_t ordinal, StateStack& stateStack,
                          const std::vector<Token>& operands) {
  const std::size_t count = operands.size();
  auto pagePoint = [this](double x, double y) { return state.ctm.point(x, y); };
  auto openSubpath = [this] {
    if (path.empty()) path.emplace_back();
  };
  // A path that is never painted would grow with every path operator; past
  // kMaxPathPoints further points are dropped.
  const bool buildPath = pathPoints < kMaxPathPoints;

  if (op.size() == 1) {
    switch (op[0]) {
      case 'q':
        // Real content nests a few dozen levels; beyond the limit the saves
        // are only counted, so that their Q operators stay paired.
        if (stateStack.states.size() >= kMaxSavedStates) {
          ++stateStack.uncountedSaves;
        } else {
          stateStack.states.push_back(state);
        }
        return;
      case 'Q':
        if (stateStack.uncountedSaves > 0) {
          --stateStack.uncountedSaves;
        } else if (!stateStack.states.empty()) {
          // The text matrices are not part of the saved state.
          Matrix textMatrix = state.textMatrix;
          Matrix lineMatrix = state.lineMatrix;
          state = std::move(stateStack.states.back());
          stateStack.states.pop_back();
          state.textMatrix = textMatrix;
          state.lineMatrix = lineMatrix;
        }
        return;
      case 'g':
        state.fillColor = grey(number(operands, 1));
        return;
      case 'G':
        state.strokeColor = grey(number(operands, 1));
        return;
      case 'k':
        state.fillColor = cmyk(operands);
        return;
      case 'K':
        state.strokeColor = cmyk(operands);
        return;
      case 'w':
        state.lineWidth = (count > 0 && operands.back().kind == Token::Kind::Number)
                              ? operands.back().number
                              : 1.0;
        return;
      case 'm':
        if (!buildPath) return;
        path.emplace_back();
        path.back().points.push_back(pagePoint(number(operands, 2), number(operands, 1)));
        ++pathPoints;
        return;
      case 'l':
        if (!buildPath) return;
        openSubpath();
        path.back().points.push_back(pagePoint(number(operands, 2), number(operands, 1)));
        ++pathPoints;
        return;
      case 'c':
        if (!buildPath) return;
        if (count < 6) return;
        openSubpath();
        for (std::size_t i = 6; i > 0; i -= 2) {
          path.back().points.push_back(pagePoint(number(operands, i), number(operands, i - 1)));
        }
        pathPoints += 3;
        return;
      case 'v':
      case 'y':
        if (!buildPath || count < 4) return;
        openSubpath();
        path.back().points.push_back(pagePoint(number(operands, 4), number(operands, 3)));
        path.back().points.push_back(pagePoint(number(operands, 2), number(operands, 1)));
        pathPoints += 2;
        return;
      case 'W':
        clipPending = true;
        return;
      case 'S':
      case 's':
        paint(true, false);
        return;
      case 'f':
      case 'F':
        paint(false, true);
        return;
      case 'B':
      case 'b':
        paint(true, true);
        return;
      case 'n':
        paint(false, false);
        return;
      case '\'':
      case '"':
        if (count == 0) return;
        if (op[0] == '"' && count >= 3) {
          state.wordSpacing = number(operands, 3);
          state.charSpacing = number(operands, 2);
        }
        nextLine();
        show(operands.back(), resources, streamNumber, ordinal, op);
        return;
      default:
        return;
    }
  }

  // Every other operator the interpreter knows has two characters: dispatch
  // on both at once rather than comparing strings one after the other.
  if (op.size() != 2) return;
  switch (twoCharacters(op[0], op[1])) {
    case twoCharacters('c', 'm'):
      if (count >= 6) state.ctm = matrixOperands(operands) * state.ctm;
      return;
    case twoCharacters('B', 'T'):
      state.textMatrix = Matrix();
      state.lineMatrix = Matrix();
      return;
    case twoCharacters('T', 'f'):
      state.fontName =
          (count >= 2 && operands[count - 2].kind == Token::Kind::Name) ? operands[count - 2].text : "";
      state.fontSize = number(operands, 1);
      return;
    case twoCharacters('T', 'c'):
      state.charSpacing = number(operands, 1);
      return;
    case twoCharacters('T', 'w'):
      state.wordSpacing = number(operands, 1);
      return;
    case twoCharacters('T', 'L'):
      state.leading = number(operands, 1);
      return;
    case twoCharacters('T', 's'):
      state.rise = number(operands, 1);
      return;
    case twoCharacters('T', 'z'):
      if (count == 0) {
        state.horizontalScale = 1.0;
      } else {
        const Token& last = operands.back();
        state.horizontalScale = (last.kind == Token::Kind::Number ? last.number : 100.0) / 100.0;
      }
      return;
    case twoCharacters('T', 'd'):
    case twoCharacters('T', 'D'): {
      double tx = count >= 2 ? number(operands, 2) : 0;
      double ty = number(operands, 1);
      if (op[1] == 'D') state.leading = -ty;
      moveTextLine(tx, ty);
      return;
    }
    case twoCharacters('T', '*'):
      nextLine();
      return;
    case twoCharacters('T', 'm'):
      if (count >= 6) {
        state.textMatrix = matrixOperands(operands);
        state.lineMatrix = state.textMatrix;
      }
      return;
    case twoCharacters('T', 'j'):
    case twoCharacters('T', 'J'):
      if (count == 0) return;
      show(operands.back(), resources, streamNumber, ordinal, op);
      return;
    case twoCharacters('r', 'g'):
      state.fillColor = rgb(operands);
      return;
    case twoCharacters('R', 'G'):
      state.strokeColor = rgb(operands);
      return;
    case twoCharacters('r', 'e'): {
      if (!buildPath) return;
      double x = number(operands, 4), y = number(operands, 3);
      double w = number(operands, 2), h = number(operands, 1);
      Subpath rectangle;
      rectangle.closed = true;
      rectangle.points = {pagePoint(x, y), pagePoint(x + w, y), pagePoint(x + w, y + h),
                          pagePoint(x, y + h)};
      path.push_back(std::move(rectangle));
      pathPoints += 4;
      return;
    }
    case twoCharacters('W', '*'):
      clipPending = true;
      return;
    case twoCharacters('f', '*'):
      paint(false, true);
      return;
    case twoCharacters('B', '*'):
    case twoCharacters('b', '*'):
      paint(true, true);
      return;
    case twoCharacters('D', 'o'): {
      std::string name;
      if (count > 0 && operands.back().kind == Token::Kind::Name) name = operands.back().text;
      drawXObject(resources, name);
      return;
    }
    default:
      return;
  }
}

}  // namespace zopra::pdf
