// cli/explain.cpp - `fenwire explain`: a message or an attribute in words.

#include <charconv>
#include <fmt/format.h>

#include "cli/reference.h"
#include "cli/verbs.h"
#include "host/job/words.h"

namespace fenwire {

namespace {

// 19112, QLX19112, qlx19112; 0: no number.
int MessageNumber(std::string_view word)
{
    if (SameWord(word.substr(0, 3), "QLX"))
        word.remove_prefix(3);
    int number = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    return error == std::errc() && end == word.data() + word.size() ? number : 0;
}

void ExplainMessage(const MessageHelp &message)
{
    fmt::print("QLX{:05}, {}\n\n  {}\n", message.number, MessageSeverity(message),
               MessageShown(message));
    if (*message.remedy != '\0')
        fmt::print("\n  what to do: {}\n", message.remedy);
}

const char *StepsInWords(const AttributeInfo &attribute)
{
    switch (attribute.side) {
    case AttributeSide::Producer:
        return "[producer]";
    case AttributeSide::Consumer:
        return "[consumer]";
    case AttributeSide::Reading:
        return "[producer]; [consumer] takes it and does nothing with it";
    case AttributeSide::Both:
        break;
    }
    return "[producer] and [consumer]";
}

void ExplainAttribute(const AttributeInfo &attribute)
{
    fmt::print("{}{}\n\n  {}\n\n", attribute.name, attribute.required ? ", required" : "",
               attribute.about);
    fmt::print("  value:   {}\n", ValidValues(attribute));
    if (!attribute.absent.empty())
        fmt::print("  without: {}\n", attribute.absent);
    fmt::print("  for:     {}\n", StepsInWords(attribute));
    if (const std::string standing = StandingShown(attribute); !standing.empty())
        fmt::print("  note:    {}\n", standing);
    if (!attribute.partner.empty())
        fmt::print("  see:     {}\n", attribute.partner);
}

}  // namespace

int ExplainVerb(const std::string &subject)
{
    if (const int number = MessageNumber(subject); number != 0) {
        const MessageHelp *message = FindMessage(number);
        if (message == nullptr)
            throw UsageError(fmt::format("there is no message {}", number),
                             "fenwire list messages shows them all");
        ExplainMessage(*message);
        return kExitGood;
    }
    const AttributeInfo *attribute = FindAttributeOfAnyCase(subject);
    if (attribute == nullptr) {
        const std::string nearest = DidYouMean(subject, AttributeNames());
        throw UsageError(fmt::format("{} is neither a message nor an attribute", Quoted(subject)),
                         nearest.empty()
                             ? "fenwire list attributes and fenwire list messages show them all"
                             : nearest);
    }
    ExplainAttribute(*attribute);
    return kExitGood;
}

}  // namespace fenwire
