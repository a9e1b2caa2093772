// host/job/delimited_keys.cpp

#include "host/job/delimited_keys.h"

#include <fmt/format.h>

#include "host/job/words.h"

namespace fenwire {

namespace {

bool HoldsLineEnd(std::string_view text)
{
    return text.find_first_of("\r\n") != std::string_view::npos;
}

bool Overlap(const std::string &a, const std::string &b)
{
    return !a.empty() && !b.empty() && a.find(b) != std::string::npos;
}

}  // namespace

void CheckDelimitedKeys(const Job &job, const Settings &settings, SourcePosition section,
                        const char *what, const char *other, std::vector<Complaint> &found)
{
    const auto [delimiter, quote, null, header] = DelimitedKeys(settings);
    const auto complain = [&](const char *key, std::string words, const char *hint) {
        found.push_back({PositionOf(settings, section, key), std::move(words), hint});
    };
    if (delimiter.empty())
        complain("delimiter", "delimiter is empty, so columns could not be told apart",
                 "\"|\", \",\" and \"\\t\" are the common ones");
    if (HoldsLineEnd(delimiter))
        complain("delimiter", "delimiter holds a line end, which ends a row",
                 "\"|\", \",\" and \"\\t\" are the common ones");
    if (!quote.empty() && (Utf8Length(quote) != quote.size() || HoldsLineEnd(quote)))
        complain("quote", fmt::format("quote must be one character, not {}", Quoted(quote)),
                 "'\"' is the common one");
    if (Overlap(delimiter, quote) || Overlap(quote, delimiter))
        complain("quote", "quote and delimiter hold each other, so values could not be told apart",
                 "use another character for one of them");
    if (HoldsLineEnd(null) || Overlap(null, quote) ||
        (null + delimiter).find(delimiter) < null.size())
        complain("null", "null holds a line end, the delimiter or the quote",
                 "use a text without them, such as \"NULL\"");
    if (IsUtf16(job.charset))
        found.push_back({PositionOf(settings, section, "type"),
                         fmt::format("{} the character set {} in this version", what, job.charset),
                         fmt::format("use UTF8, or another {}", other)});
}

}  // namespace fenwire
