// operator/clock.h - wall clock and processor time, as the logs show them.

#ifndef FENWIRE_OPERATOR_CLOCK_H
#define FENWIRE_OPERATOR_CLOCK_H

#include <cstdint>

// Stores the time in whole seconds, in CurrentSystemTime too. Non-zero when the system has none: a
// warning and message 19100 are out then.
int32_t FetchCurrentTime(int64_t *seconds);

// "hh:mm:ss" of local time, in a static buffer.
const char *TimeEncode(int64_t seconds);

// Processor seconds that this process has used, user and system.
double ProcessCpuSeconds();

#endif
