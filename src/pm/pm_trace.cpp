// pm/pm_trace.cpp

#include "pm/pm_trace.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "operator/messages.h"

namespace {

constexpr size_t kNameWidth = 20;
constexpr uint32_t kPerLine = 16, kPerGroup = 4;

// " 00 01 02 03.04 05 ..." and "*....*" of up to 16 bytes.
void FormatBytes(const uint8_t *bytes, uint32_t count, char *hex, char *chars)
{
    for (uint32_t i = 0; i < kPerLine; ++i, hex += 3) {
        const char before = i != 0 && i % kPerGroup == 0 ? '.' : ' ';
        const bool printable = i < count && bytes[i] >= 0x20 && bytes[i] < 0x7F;
        if (i < count)
            snprintf(hex, 4, "%c%02X", before, bytes[i]);
        else
            memcpy(hex, "   ", 4);
        chars[i] = printable ? static_cast<char>(bytes[i]) : '.';
    }
    chars[count] = '\0';
}

void DumpLine(int message, const char *label, uint32_t offset, const uint8_t *bytes, uint32_t count)
{
    char hex[kPerLine * 3 + 1], chars[kPerLine + 1], line[160];
    FormatBytes(bytes, count, hex, chars);
    snprintf(line, sizeof line, " %04X%s *%s*", offset, hex, chars);
    PutPrivateLine(message, label, line);
}

}  // namespace

void trceprnt(const char *function, const char *text, const char *text2)
{
    char name[kNameWidth + 1] = "    ";
    if (Private_loghandle == nullptr)
        return;
    if (bDisplayFuncName != 0)
        snprintf(name, sizeof name, "%-20.20s", function);
    PutPrivateLine(19004, name, text, text2);
}

void pmTraceLine(const char *function, const char *format, ...)
{
    char text[2048];
    va_list args;
    if (Private_loghandle == nullptr)
        return;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    trceprnt(function, text, "");
}

void pmHexDmp(int message, uint32_t max, const void *address, uint32_t length, const char *label,
              bool header)
{
    char line[160];
    if (address == nullptr) {
        PutPrivateLine(message, label, " Address provided is null, no data to display.");
        return;
    }
    if (header) {
        snprintf(line, sizeof line,
                 " Hexadecimal formatted display from address %08llX for %u bytes.",
                 static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(address)), length);
        PutPrivateLine(message, label, line);
    }
    if (length > max) {
        snprintf(line, sizeof line, " HexDump truncated buffer from %u bytes to %u bytes.", length,
                 max);
        PutPrivateLine(message, label, line);
        length = max;
    }
    const auto *bytes = static_cast<const uint8_t *>(address);
    bool repeating = false;
    for (uint32_t at = 0; at < length; at += kPerLine) {
        const bool last = length - at <= kPerLine;
        const bool same =
            !last && at != 0 && memcmp(bytes + at, bytes + at - kPerLine, kPerLine) == 0;
        if (!same)
            DumpLine(message, label, at, bytes + at, last ? length - at : kPerLine);
        else if (!repeating)
            PutPrivateLine(message, label, "  ....");
        repeating = same;
    }
}
