// cli/docs.cpp - `fenwire docs`: the pages that are made from tables.
//
//     fenwire docs attributes > docs/attributes.md
//     fenwire docs messages > docs/messages.md
//
// A test compares the pages with what comes out here.

#include <fmt/format.h>

#include "cli/reference.h"
#include "cli/verbs.h"
#include "host/job/words.h"
#include "host/sources/source.h"
#include "host/targets/target.h"

namespace fenwire {

namespace {

// A bar would end a table's cell, an angle bracket begin a tag.
std::string Cell(std::string_view text)
{
    std::string cell;
    for (const char c : text)
        cell += c == '|' ? "\\|" : c == '<' ? "&lt;" : std::string(1, c);
    return cell;
}

void AttributesPage()
{
    fmt::print("# Attributes\n\nThe mixed-case keys of a step in a job file. `fenwire explain "
               "NAME` shows one of them.\n"
               "This page is made by `fenwire docs attributes`.\n");
    const AttributeInfo *last = nullptr;
    for (const AttributeInfo &attribute : AttributeCatalogue()) {
        if (last == nullptr || last->group != attribute.group)
            fmt::print(
                "\n## {}\n\n| attribute | value | without it | what it does |\n|---|---|---|---|\n",
                GroupTitle(attribute.group));
        last = &attribute;
        const std::string standing = StandingShown(attribute);
        const std::string_view side = SideShown(attribute);
        fmt::print("| `{}` | {} | {} | {}{}{} |\n", attribute.name, Cell(ValidValues(attribute)),
                   attribute.required ? "required" : Cell(attribute.absent), Cell(attribute.about),
                   side.empty() ? "" : fmt::format(" *{}.*", side),
                   standing.empty() ? "" : " *" + Cell(standing) + ".*");
    }
}

void MessagesPage()
{
    fmt::print("# Messages\n\nThe numbered messages, with what to do about each. Logs show them as "
               "QLX19112. `fenwire explain "
               "19112` shows one of them.\n"
               "This page is made by `fenwire docs messages`.\n\n"
               "| number | severity | text | what to do |\n|---|---|---|---|\n");
    for (const MessageHelp &message : MessageCatalogue())
        fmt::print("| {:05} | {} | {} | {} |\n", message.number, MessageSeverity(message),
                   Cell(MessageShown(message)), Cell(message.remedy));
}

// Sources or targets, with their keys.
template <class Kinds>
void KindsPage(const Kinds &kinds)
{
    for (const auto &kind : kinds) {
        std::string about = kind.about;
        about.replace(0, 1, UpperCase(about.substr(0, 1)));
        fmt::print("\n### `type = \"{}\"`\n\n{}.\n", kind.name, about);
        if (kind.keys.empty())
            continue;
        fmt::print("\n| key | value | |\n|---|---|---|\n");
        for (const SettingKey &key : kind.keys)
            fmt::print("| `{}` | {} | {}{} |\n", key.name, key.kind,
                       key.required ? "required: " : "", Cell(key.about));
    }
}

}  // namespace

int DocsVerb(const std::string &page)
{
    if (page == "attributes")
        AttributesPage();
    else if (page == "messages")
        MessagesPage();
    else if (page == "job-file-sources")
        KindsPage(SourceKinds());
    else if (page == "job-file-targets")
        KindsPage(TargetKinds());
    else
        throw UsageError(fmt::format("there is no page {}", Quoted(page)),
                         "pages are attributes, messages, job-file-sources and job-file-targets");
    return kExitGood;
}

}  // namespace fenwire
