// Failure kinds of the engine and the exception that carries them.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace zopra::pdf {

enum class Error : std::uint32_t {
  None = 0,
  InvalidArgument = 1,
  Format = 2,
  Encryption = 3,
  Stream = 4,
  Io = 5,
};

// Thrown by value with one of the engine's fixed messages. It deliberately does
// not derive from std::exception: the load sequence treats engine failures and
// standard-library failures differently.
class Exception {
 public:
  Exception(Error kind, std::string message) : kind_(kind), message_(std::move(message)) {}
  Error kind() const { return kind_; }
  const std::string& message() const { return message_; }

 private:
  Error kind_;
  std::string message_;
};

}  // namespace zopra::pdf
