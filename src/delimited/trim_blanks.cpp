// delimited/trim_blanks.cpp - trimming a whole record in place, for callers without a scanner.

#include "attributes/attributes_state.h"
#include "delimited/delimited.h"
#include "pm/pm_state.h"

void TrimBlanks()
{
    const uint8_t *read = pmBuffer.Data, *end = read + pmBuffer.DataLength;
    uint8_t *write = pmBuffer.Data;
    const bool escapes = EscapeTextCharacter.length != 0;

    while (read < end) {
        if (bTrimLeadingBlanks != 0) {
            while (read < end && *read == cTrimLeadingChar && *read != cDelimiter)
                ++read;
        }
        uint8_t *kept = write;  // one past the last byte that no trailing trim may take
        while (read < end && *read != cDelimiter) {
            const bool escaped =
                escapes && *read == cEscapeTextCharacter && end - read > 1 && read[1] == cDelimiter;
            if (escaped)
                *write++ = *read++;
            const bool trimmed = !escaped && *read == cTrimTrailingChar;
            *write++ = *read++;
            if (!trimmed)
                kept = write;
        }
        if (bTrimTrailingBlanks != 0)
            write = kept;
        if (read < end)
            *write++ = *read++;
    }
    pmBuffer.DataLength = static_cast<uint32_t>(write - pmBuffer.Data);
}
