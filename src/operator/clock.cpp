// operator/clock.cpp

#include "operator/clock.h"

#include <cstring>
#include <ctime>

#include "operator/messages.h"

int32_t FetchCurrentTime(int64_t *seconds)
{
    const time_t now = time(nullptr);
    if (now == static_cast<time_t>(-1)) {
        FW_WARN(1, "can not obtain system time via function '%s'", "time");
        FW_Message<19100>("time", -1);
        return 1;
    }
    CurrentSystemTime = now;
    *seconds = now;
    return 0;
}

const char *TimeEncode(int64_t seconds)
{
    static char text[9];
    const time_t when = seconds;
    tm local = {};
    if (localtime_r(&when, &local) == nullptr ||
        strftime(text, sizeof text, "%H:%M:%S", &local) == 0)
        memcpy(text, "??:??:??", sizeof text);
    return text;
}

double ProcessCpuSeconds()
{
    timespec used = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) * 1e-9;
}
