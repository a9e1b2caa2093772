// pm/disk/disk_error.cpp - the words for a system call that failed.

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "pm/pm_file.h"
#include "pm/pm_trace.h"

int pmDiskError(const char *function, const char *text)
{
    const int error = errno;
    char reason[128] = "", words[kMaxFileName + 512];

    if (error != 0) {
        const char *system_text = strerror_r(error, reason, sizeof reason);
        PM_TRACE(1, "!ERROR! %s, errno=%d", text, error);
        PM_TRACE(1, "%s", system_text);
        snprintf(words, sizeof words, "%s: %s (%s)", function, text, system_text);
    } else {
        PM_TRACE(1, "!ERROR! %s", text);
        snprintf(words, sizeof words, "%s: %s ", function, text);
    }
    pmSetErrTxt(words, static_cast<uint32_t>(strlen(words)));
    return error == ENOENT ? pmrcNotFound : pmrcText;
}
