// Mapping of engine results to the C interface's status codes, and the
// exception firewall every exported function runs its body through.
#pragma once

#include <cstdint>
#include <new>

#include "pdf/model/error.h"
#include "zopra_document_loader.h"

namespace zopra::api {

// The one shared table: kinds 0 to 4; every larger kind is "other error".
inline std::int32_t statusFor(pdf::Error kind) {
  static constexpr std::int32_t kTable[5] = {
      ZOPRA_STATUS_SUCCESS, ZOPRA_STATUS_INVALID_ARGUMENT, ZOPRA_STATUS_OTHER_ERROR,
      ZOPRA_STATUS_ENCRYPTED_DOCUMENT, ZOPRA_STATUS_BROKEN_STREAM};
  auto index = static_cast<std::uint32_t>(kind);
  return index < 5 ? kTable[index] : ZOPRA_STATUS_OTHER_ERROR;
}

// Runs `body`, turning an allocation failure into ZOPRA_STATUS_MEMORY_INSUFFICIENT
// and any other exception into ZOPRA_STATUS_OTHER_ERROR.
template <typename Body>
std::int32_t guarded(Body&& body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return ZOPRA_STATUS_MEMORY_INSUFFICIENT;
  } catch (...) {
    return ZOPRA_STATUS_OTHER_ERROR;
  }
}

}  // namespace zopra::api
