// host/values/texts.h - values that are text, two-byte characters or bytes.

#ifndef FENWIRE_HOST_VALUES_TEXTS_H
#define FENWIRE_HOST_VALUES_TEXTS_H

#include "host/values/values.h"

namespace fenwire {

Misfit BytesFromHex(const ValueType &type, std::string_view text, uint8_t *to, uint32_t *bytes);
Misfit GraphicFromUtf8(const ValueType &type, std::string_view text, uint8_t *to, uint32_t *bytes);

void AppendHex(const uint8_t *value, uint32_t bytes, std::string &to);
// False: it is no UTF-16.
bool AppendUtf8(const uint8_t *value, uint32_t bytes, std::string &to);

}  // namespace fenwire

#endif
