// operator/event.cpp - PX_Event: questions and commands that come between two method calls.
//
// kEvents names what an infrastructure may ask. To answer an event, add its handler to the row. An
// event without one is refused with 16, which is an answer and no failure.

#include "operator/messages.h"
#include "operator/methods.h"

namespace {

struct EventRow {
    int64_t number;
    const char *about;
    PxStatus (*handle)();  // null: refused
};

// clang-format off
constexpr EventRow kEvents[] = {
    {1,  "buffer layout request", nullptr},
    {15, "user command",          nullptr},
    {17, "buffer mode offered",   nullptr},
    {36, "row size request",      nullptr},
};
// clang-format on

PxStatus Refuse(int64_t number, const char *about)
{
    FW_TRACE(1, "Event %lld (%s) is not supported", static_cast<long long>(number), about);
    return PXSTC_NotSupported;
}

}  // namespace

PxStatus PX_Event(PxOperator *handle)
{
    int64_t number = 0;

    SG_opHandle = handle;
    if (const PxStatus status =
            ReadRequiredAttribute("EventFunction", &number, static_cast<int32_t>(sizeof number)))
        return status;
    for (const EventRow &row : kEvents) {
        if (row.number == number)
            return row.handle != nullptr ? row.handle() : Refuse(number, row.about);
    }
    return Refuse(number, "unknown");
}
