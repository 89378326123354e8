// Placeholder until the filters land: streams are returned as stored.
#include "pdf/model/document.h"

namespace zopra::pdf {

Bytes Document::decodeStream(const Object& source) const {
  if (!source.isStream) return {};
  if (source.createdStream) return source.data;
  return storedStream(source);
}

}  // namespace zopra::pdf
