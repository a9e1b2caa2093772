// tests/support/set_mark.h - a delimiter, quote mark or escape as its attribute would set it.

#ifndef FENWIRE_TESTS_SUPPORT_SET_MARK_H
#define FENWIRE_TESTS_SUPPORT_SET_MARK_H

#include <cstring>
#include <string_view>

#include "attributes/attributes_state.h"

inline void SetMark(SpecialCharValue &mark, std::string_view text)
{
    mark = {};
    mark.length = static_cast<int32_t>(text.size());
    memcpy(mark.value, text.data(), text.size());
}

#endif
