// cli/reference.cpp - messages and attributes in words.

#include "cli/reference.h"

#include <algorithm>
#include <fmt/format.h>

#include "operator/message_table.h"

namespace fenwire {

namespace {

const MessageRow &RowOf(const MessageHelp &message)
{
    return *std::ranges::find(kMessages, message.number, &MessageRow::number);
}

}  // namespace

std::string MessageShown(const MessageHelp &message)
{
    const char *kinds = RowOf(message).args;
    std::string shown;
    for (const char *p = message.text; *p != '\0'; ++p) {
        if (*p == '%')
            shown += kinds[*++p - '1'] == 't' ? "<text>" : "<number>";
        else
            shown += *p;
    }
    return shown;
}

const char *MessageSeverity(const MessageHelp &message)
{
    switch (RowOf(message).severity) {
    case Information:
        return "information";
    case Warning:
        return "warning";
    default:
        return "error";
    }
}

std::string_view SideShown(const AttributeInfo &attribute)
{
    const bool reads = DoesSomethingIn(attribute, Role::Producer);
    const bool writes = DoesSomethingIn(attribute, Role::Consumer);
    return reads == writes ? "" : reads ? "to read only" : "to write only";
}

std::string StandingShown(const AttributeInfo &attribute)
{
    switch (attribute.support) {
    case Support::NoOnly:
        return fmt::format("only No: {} is not available in this version", attribute.feature);
    case Support::Later:
        return fmt::format("not available in this version: {}", attribute.feature);
    case Support::Ignored:
        return "accepted, without effect in this version";
    case Support::Runner:
        return "supplied by the runner; a job can't give it";
    case Support::Now:
        break;
    }
    return {};
}

}  // namespace fenwire
