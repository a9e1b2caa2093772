// tests/support/missing_parts.cpp - weak ends for calls into parts that do not stand yet.

#include "pm/pm.h"
#include "pm/pm_state.h"

[[gnu::weak]] void DumpFileInfo(int32_t) {}
[[gnu::weak]] int32_t CharLengthSingleByte(const uint8_t *, uint32_t *) { return 0; }
[[gnu::weak]] const char *pmErrorText(int) { return "words of the code"; }
