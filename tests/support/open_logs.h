// tests/support/open_logs.h - the logs as an instance's first call opens them.

#ifndef FENWIRE_TESTS_SUPPORT_OPEN_LOGS_H
#define FENWIRE_TESTS_SUPPORT_OPEN_LOGS_H

#include "operator/messages.h"
#include "tests/support/fake_infrastructure.h"

inline void OpenLogs(Fake &fake)
{
    SG_opHandle = fake.op();
    fake.op()->PX_Loginit(fake.op(), "Fenwire", 1, nullptr, 0, &Public_loghandle);
    fake.op()->PX_Loginit(fake.op(), "Fenwire", 1, "private", 0, &Private_loghandle);
}

#endif
