// cli/list.cpp - `fenwire list`: what there is, one line each.

#include <algorithm>
#include <fmt/format.h>

#include "cli/reference.h"
#include "cli/verbs.h"
#include "host/job/column_types.h"
#include "host/job/words.h"
#include "host/sources/source.h"
#include "host/targets/target.h"

namespace fenwire {

namespace {

void ListAttributes()
{
    const AttributeInfo *last = nullptr;
    for (const AttributeInfo &attribute : AttributeCatalogue()) {
        if (last == nullptr || last->group != attribute.group)
            fmt::print("{}{}\n", last == nullptr ? "" : "\n", GroupTitle(attribute.group));
        last = &attribute;
        const std::string standing = StandingShown(attribute);
        const std::string_view side = SideShown(attribute);
        fmt::print("  {:<28} {}{}{}{}\n", attribute.name, attribute.required ? "required: " : "",
                   ValidValues(attribute), side.empty() ? "" : fmt::format(", {}", side),
                   standing.empty() ? "" : " (" + standing + ")");
    }
}

std::string SizeShown(const ColumnType &type)
{
    switch (type.rule) {
    case SizeRule::Bytes:
        return type.unit == 1 ? "(n): n bytes" : fmt::format("(n): {} n bytes", type.unit);
    case SizeRule::Decimal:
        return "(precision) or (precision,scale): 1, 2, 4, 8 or 16 bytes";
    case SizeRule::Number:
        return fmt::format("alone, (precision) or (precision,scale): {} bytes", type.unit);
    case SizeRule::Fraction:
        return fmt::format("alone or (digits of a second): {} bytes", type.unit);
    case SizeRule::Fixed:
        break;
    }
    return fmt::format("{} byte{}", type.unit, type.unit == 1 ? "" : "s");
}

void ListTypes()
{
    uint32_t code = 0;
    for (const ColumnType &type : ColumnTypes()) {
        fmt::print("{:>3}  {:<32} {}{}{}\n", code, type.name, SizeShown(type),
                   FitsDelimited(code)         ? "; delimited data"
                   : FitsDelimitedOutput(code) ? "; delimited data, to write"
                                               : "",
                   FitsText(code) ? "; text data" : "");
        ++code;
    }
}

void ListMessages()
{
    for (const MessageHelp &message : MessageCatalogue())
        fmt::print("{:05}  {:<11}  {}\n", message.number, MessageSeverity(message),
                   MessageShown(message));
}

template <class Kinds>
void ListKinds(const Kinds &kinds)
{
    for (const auto &kind : kinds) {
        fmt::print("{}: {}\n", kind.name, kind.about);
        for (const SettingKey &key : kind.keys)
            fmt::print("  {:<12} {:<8} {}{}\n", key.name, key.kind,
                       key.required ? "required: " : "", key.about);
    }
}

void ListSources() { ListKinds(SourceKinds()); }
void ListTargets() { ListKinds(TargetKinds()); }

constexpr struct {
    std::string_view name;
    void (*print)();
} kSubjects[] = {
    {"attributes", ListAttributes}, {"types", ListTypes},     {"messages", ListMessages},
    {"sources", ListSources},       {"targets", ListTargets},
};

}  // namespace

int ListVerb(const std::string &subject)
{
    std::vector<std::string_view> names;
    for (const auto &[name, print] : kSubjects) {
        if (name == subject) {
            print();
            return kExitGood;
        }
        names.push_back(name);
    }
    const std::string nearest = DidYouMean(subject, names);
    throw UsageError(fmt::format("there is no list of {}", Quoted(subject)),
                     nearest.empty() ? fmt::format("there are {}", OrList(names)) : nearest);
}

}  // namespace fenwire
