// pm/pm_trace.h - the trace of the access layer: lines to the private log under a level of its own.
//
//     PM_TRACE(2, "FileName='%s', Format=%u", name, format);    written at level 3 and above
//
// One word, pmTraceLvl, is tested at every site. It holds the level of the file or module at hand, so
// that a single file can be traced, or kept quiet.
//
//   above 1  errors, warnings, modules, open and close of files
//   above 2  file names, modes, sizes, versions, positions
//   above 3  every record
//   above 4  entries and exits, buffer internals

#ifndef FENWIRE_PM_PM_TRACE_H
#define FENWIRE_PM_PM_TRACE_H

#include <cstdint>

#include "pm/pm_layer_state.h"

#define PM_TRACE(above, ...)                    \
    do {                                        \
        if (pmTraceLvl > (above)) [[unlikely]]  \
            pmTraceLine(__func__, __VA_ARGS__); \
    } while (false)

[[gnu::format(printf, 2, 3)]] void pmTraceLine(const char *function, const char *format, ...);

// One line of three texts, message 19004. Nothing without a private log.
void trceprnt(const char *function, const char *text, const char *text2);

// Bytes as hexadecimal lines, as the given message. Test the level first. At most max bytes are
// shown; a line that repeats the one before it is left out. header: a line that says what follows.
void pmHexDmp(int message, uint32_t max, const void *address, uint32_t length, const char *label,
              bool header);
inline constexpr int kDumpMessage = 19005;
inline constexpr uint32_t kDumpBytes = 4096;

#endif
