#include "pdf/content/text_operator_scanner.h"

#include <cstdio>

namespace zopra::pdf {

namespace {

// Deliberately only line feed, carriage return and space: tab and form feed
// do not separate BT, ET or an operator from its string here.
bool scannerWhiteSpace(std::uint8_t byte) { return byte == '\n' || byte == '\r' || byte == ' '; }

}  // namespace

TjScanner::Action TjScanner::step(std::uint8_t byte) {
  using State = TjParseState;
  Action action = Action::Output;
  // In strings the byte after a backslash is held without being looked at.
  if (escaped_) {
    escaped_ = false;
    previous_ = byte;
    return Action::Pending;
  }
  switch (state_) {
    case State::Outside:
      if (byte == 'B' && (previous_ == 0 || scannerWhiteSpace(previous_))) state_ = State::SawB;
      break;
    case State::SawB:
      state_ = byte == 'T' ? State::SawBT : State::Outside;
      break;
    case State::SawBT:
      state_ = scannerWhiteSpace(byte) ? State::InText : State::Outside;
      break;
    case State::SawE:
      state_ = byte == 'T' ? State::SawET : State::InText;
      break;
    case State::SawET:
      state_ = scannerWhiteSpace(byte) ? State::Outside : State::InText;
      break;
    case State::InText:
      if (byte == 'E') {
        if (scannerWhiteSpace(previous_)) state_ = State::SawE;
      } else if (byte == '[') {
        action = Action::Pending;
        state_ = State::InArray;
      } else if (byte == '(') {
        action = Action::Pending;
        depth_ = 1;
        state_ = State::InString;
      } else if (byte == '<') {
        action = Action::Pending;
        state_ = State::InHexString;
      }
      break;
    case State::InArray:
      action = Action::Pending;
      if (byte == '(') {
        depth_ = 1;
        state_ = State::InArrayString;
      } else if (byte == ']') {
        state_ = State::AfterArray;
      }
      break;
    case State::InArrayString:
    case State::InString:
      action = Action::Pending;
      if (byte == '(') {
        ++depth_;
      } else if (byte == ')') {
        if (--depth_ == 0) state_ = state_ == State::InString ? State::AfterString : State::InArray;
      } else if (byte == '\\') {
        escaped_ = true;
      }
      break;
    case State::AfterArray:
      if (scannerWhiteSpace(byte)) {
        action = Action::Pending;
      } else if (byte == 'T') {
        action = Action::Pending;
        state_ = State::AfterArrayT;
      } else {
        action = Action::Flush;
        state_ = State::InText;
      }
      break;
    case State::AfterArrayT:
      action = byte == 'J' ? Action::Found : Action::Flush;
      state_ = State::InText;
      break;
    case State::InHexString:
      action = Action::Pending;
      if (byte == '>') state_ = State::AfterString;
      break;
    case State::AfterString:
      if (scannerWhiteSpace(byte)) {
        action = Action::Pending;
      } else if (byte == '\'' || byte == '"') {
        action = Action::Found;
        state_ = State::InText;
      } else if (byte == 'T') {
        action = Action::Pending;
        state_ = State::AfterStringT;
      } else {
        action = Action::Flush;
        state_ = State::InText;
      }
      break;
    case State::AfterStringT:
      action = byte == 'j' ? Action::Found : Action::Flush;
      state_ = State::InText;
      break;
    default:
      // Only a caller handing in a state of its own making gets here.
      std::fputs("Error: undefined state\n", stderr);
      return Action::Drop;
  }
  previous_ = byte;
  return action;
}

void TextOperatorFinder::feed(const std::uint8_t* bytes, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i, ++offset_) {
    if (scanner_.step(bytes[i]) == TjScanner::Action::Found) positions_.push_back(offset_);
  }
}

}  // namespace zopra::pdf
