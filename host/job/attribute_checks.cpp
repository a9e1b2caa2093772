// host/job/attribute_checks.cpp - what can be said of a step's attributes before anything is started.
//
// The operator looks at everything again and has the last word. What is refused here would end its
// start in the same way, one fault at a time and without a line of the job file to point at.

#include "host/job/attribute_checks.h"

#include <algorithm>
#include <fmt/format.h>

#include "host/job/attribute_catalogue.h"
#include "host/job/words.h"

namespace fenwire {

namespace {

constexpr size_t kMaxMarkBytes = 100;

// ---- One value --------------------------------------------------------------------------------

class ValueReader {
public:
    ValueReader(const AttributeInfo &info, Role role, const Value &value,
                std::vector<Complaint> &found)
        : info_(info), role_(role), value_(value), found_(found)
    {
    }

    std::optional<Attribute> Read()
    {
        Attribute attribute{std::string(info_.name), {}, value_.at};
        if (value_.kind == ValueKind::List)
            return ReadList(std::move(attribute));
        if (info_.kind == AttributeKind::Integer)
            return ReadInteger(std::move(attribute));
        std::string text = value_.text;
        if (IsYesNo(info_.kind) && value_.kind == ValueKind::Boolean)
            text = value_.boolean ? "Yes" : "No";
        else if (value_.kind != ValueKind::Text && !value_.FromCommandLine())
            return Refuse(fmt::format("{} must be {}, not {}", info_.name, Wanted(),
                                      KindInWords(value_.kind)),
                          WantedHint());
        if (!CheckText(text))
            return std::nullopt;
        attribute.value = std::move(text);
        return attribute;
    }

private:
    std::optional<Attribute> Refuse(std::string what, std::string hint = {})
    {
        found_.push_back({value_.at, std::move(what), std::move(hint)});
        return std::nullopt;
    }

    std::string Wanted() const
    {
        return IsYesNo(info_.kind) || info_.kind == AttributeKind::Word ? ValidValues(info_, role_)
                                                                        : "text";
    }

    std::string WantedHint() const
    {
        if (value_.kind == ValueKind::Integer)
            return fmt::format("in quotes: {} = \"{}\"", info_.name, value_.integer);
        return value_.kind == ValueKind::Date ? "put it in quotes" : "";
    }

    // The operator is to see that it got several values, so they go to it as they are.
    std::optional<Attribute> ReadList(Attribute attribute)
    {
        std::vector<std::string> texts;
        for (const Value &item : value_.items) {
            if (item.faulty)
                return std::nullopt;
            if (item.kind == ValueKind::Text)
                texts.push_back(item.text);
            else if (item.kind == ValueKind::Integer)
                texts.push_back(fmt::format("{}", item.integer));
            else
                return Refuse(fmt::format("a list for {} must hold text, not {}", info_.name,
                                          KindInWords(item.kind)));
        }
        attribute.value = std::move(texts);
        return attribute;
    }

    std::optional<Attribute> ReadInteger(Attribute attribute)
    {
        if (value_.kind != ValueKind::Integer)
            return Refuse(fmt::format("{} must be a {}, not {}", info_.name, ValidValues(info_),
                                      value_.FromCommandLine() ? Quoted(value_.text)
                                                               : KindInWords(value_.kind)),
                          value_.kind == ValueKind::Text && !value_.text.empty() &&
                                  !value_.FromCommandLine() &&
                                  value_.text.find_first_not_of("0123456789") == std::string::npos
                              ? fmt::format("without quotes: {} = {}", info_.name, value_.text)
                              : "");
        if (value_.integer < info_.minimum || value_.integer > info_.maximum)
            return Refuse(fmt::format("{} is {}; it must be a whole number from {} to {}",
                                      info_.name, value_.integer, info_.minimum, info_.maximum));
        attribute.value = static_cast<int32_t>(value_.integer);
        return attribute;
    }

    bool CheckText(const std::string &text)
    {
        switch (info_.kind) {
        case AttributeKind::Word:
            return CheckWord(text);
        case AttributeKind::YesNo:
        case AttributeKind::YesNoOptional:
        case AttributeKind::YesNoWithoutLog:
            if (YesNoValue(info_.kind, text) >= 0)
                return true;
            Refuse(fmt::format("{} can't be {}", info_.name, Quoted(text)),
                   fmt::format("valid are {}", ValidValues(info_)));
            return false;
        case AttributeKind::Mark:
            return CheckLength(text.size(), kMaxMarkBytes);
        case AttributeKind::HexMark:
            if (text.size() % 2 == 0 &&
                std::ranges::all_of(text, [](unsigned char c) { return isxdigit(c) != 0; }))
                return CheckLength(text.size() / 2, kMaxMarkBytes);
            Refuse(fmt::format("{} can't be {}: it takes hexadecimal digits, two for each byte",
                               info_.name, Quoted(text)),
                   "09 is the tab character, 7C the vertical bar");
            return false;
        default:
            return CheckLength(text.size(), info_.max_bytes);
        }
    }

    bool CheckLength(size_t bytes, size_t limit)
    {
        if (bytes <= limit)
            return true;
        Refuse(fmt::format("{} is {} bytes long; the limit is {}", info_.name, bytes, limit));
        return false;
    }

    bool CheckWord(const std::string &text)
    {
        const auto among = [&](std::string_view words) {
            return std::ranges::any_of(SplitWords(words),
                                       [&](std::string_view word) { return SameWord(word, text); });
        };
        const std::string_view valid = WordsOf(info_, role_);
        if (among(valid) || among(info_.also))
            return true;
        const std::vector<std::string_view> words = SplitWords(valid);
        const std::string nearest = DidYouMean(text, words);
        Refuse(fmt::format("{} can't be {}", info_.name, Quoted(text)),
               nearest.empty() ? fmt::format("valid are {}", OrList(words)) : nearest);
        return false;
    }

    const AttributeInfo &info_;
    const Role role_;
    const Value &value_;
    std::vector<Complaint> &found_;
};

void UnknownAttribute(const Entry &entry, std::vector<Complaint> &found)
{
    std::vector<std::string_view> names = AttributeNames();
    names.emplace_back("instances");
    const std::string nearest = DidYouMean(entry.key, names);
    found.push_back({entry.at, fmt::format("unknown attribute {}", Quoted(entry.key)),
                     nearest.empty() ? "fenwire list attributes shows them all" : nearest});
}

// ---- Rules between attributes -----------------------------------------------------------------

class Rules {
public:
    Rules(const Step &step, const Value &section, std::vector<Complaint> &found)
        : step_(step), section_(section), found_(found)
    {
    }

    void Check()
    {
        CheckRequired();
        CheckFileName();
        CheckPairs();
        CheckFormat();
        if (SameWord(Text("Format"), "Delimited"))
            CheckMarks();
    }

private:
    const Attribute *Find(std::string_view name) const
    {
        const auto at = std::ranges::find(step_.attributes, name, &Attribute::name);
        return at != step_.attributes.end() ? &*at : nullptr;
    }

    std::string Text(std::string_view name) const { return step_.Text(std::string(name)); }

    bool writes() const { return step_.role == Role::Consumer; }

    void Complain(std::string_view name, std::string what, std::string hint = {})
    {
        const Attribute *given = Find(name);
        found_.push_back(
            {given != nullptr ? given->at : step_.at, std::move(what), std::move(hint)});
    }

    // A mark in either form; null: not given.
    const Attribute *FindMark(const AttributeInfo &info) const
    {
        const Attribute *plain = Find(info.name);
        return plain != nullptr ? plain : Find(info.partner);
    }

    // A name in the wrong case was complained of already.
    bool GivenInAnyCase(std::string_view name) const
    {
        return std::ranges::any_of(section_.entries,
                                   [&](const Entry &entry) { return SameWord(entry.key, name); });
    }

    void CheckRequired()
    {
        for (const AttributeInfo &info : AttributeCatalogue()) {
            if (info.required && !GivenInAnyCase(info.name))
                Complain(info.name, fmt::format("{} is missing", info.name),
                         info.kind == AttributeKind::Word
                             ? fmt::format("add {} = \"...\": {}", info.name, ValidValues(info))
                             : fmt::format("add {} = \"...\" to this section", info.name));
        }
    }

    void CheckFileName()
    {
        const Attribute *name = Find("FileName");
        if (name == nullptr)
            return;
        const std::string text = Text("FileName");
        if (text.empty() && std::holds_alternative<std::string>(name->value))
            Complain("FileName", "FileName is empty",
                     writes() ? "name the file to write"
                              : "name the file to read, or a pattern like *.csv");
        if (text.find('/') != std::string::npos && Find("DirectoryPath") != nullptr)
            Complain("FileName", "FileName holds a path, and DirectoryPath is given too",
                     "leave the directory in DirectoryPath and the name in FileName");
        if (writes())
            CheckOutputName(text);
        else if (text.find('/') != std::string::npos && text.find('*') != std::string::npos &&
                 YesNoValue(AttributeKind::YesNo, Text("EnableScan")) != 0)
            Complain("FileName", "a pattern with * works only without a path in FileName",
                     "put the directory into DirectoryPath; or, when the * is part of a name, add "
                     "EnableScan = \"No\"");
    }

    void CheckOutputName(const std::string &name)
    {
        if (name.ends_with(".gz") || name.ends_with(".zip"))
            Complain("FileName",
                     fmt::format("FileName {} asks for compressed files, which this version can't "
                                 "write",
                                 Quoted(name)),
                     "leave the ending away, and compress the files afterwards");
        else if (name.ends_with('/'))
            Complain("FileName", fmt::format("FileName {} names a directory", Quoted(name)),
                     "name the file to write");
    }

    // Text has no place for bytes that are not text.
    void CheckFormat()
    {
        const std::string format = Text("Format");
        if ((SameWord(format, "Text") || SameWord(format, "Delimited")) &&
            YesNoValue(AttributeKind::YesNo, Text("IndicatorMode")) == 1)
            Complain("IndicatorMode",
                     fmt::format("IndicatorMode does not go with Format {}", Quoted(format)),
                     "remove it, or use a binary format such as \"Formatted\"");
    }

    void CheckPairs()
    {
        for (const AttributeInfo &info : AttributeCatalogue()) {
            if (info.kind == AttributeKind::HexMark && Find(info.name) != nullptr &&
                Find(info.partner) != nullptr)
                Complain(info.name,
                         fmt::format("{} and {} exclude each other", info.partner, info.name),
                         "remove one of them");
        }
    }

    bool AllZero(std::string_view name) const
    {
        if (Find(name) == nullptr || !std::holds_alternative<std::string>(Find(name)->value))
            return false;
        return Text(name).find_first_not_of('0') == std::string::npos;
    }

    void CheckMarks()
    {
        for (const std::string_view name :
             {"TextDelimiter", "EscapeTextDelimiter", "EscapeQuoteDelimiter"}) {
            const Attribute *plain = Find(name);
            const std::string hex = std::string(name) + "HEX";
            if (plain != nullptr && std::holds_alternative<std::string>(plain->value) &&
                Text(name).empty())
                Complain(name, fmt::format("{} is empty", name),
                         "give at least one byte, or leave it out");
            if (AllZero(hex))
                Complain(hex, fmt::format("{} must have at least one byte that is not zero", hex));
        }
        CheckQuotes();
        CheckTrim();
    }

    void CheckQuotes()
    {
        if (section_.Find("QuotedData") != nullptr &&
            YesNoValue(AttributeKind::YesNoOptional, Text("QuotedData")) != 0)
            return;  // the open quote mark has a default
        const bool open = FindMark(*FindAttribute("OpenQuoteMark")) != nullptr;
        const Attribute *close = FindMark(*FindAttribute("CloseQuoteMark"));
        const Attribute *escape = FindMark(*FindAttribute("EscapeQuoteDelimiter"));
        if (open)
            return;
        if (close != nullptr)
            Complain(close->name, fmt::format("{} needs OpenQuoteMark", close->name),
                     "add OpenQuoteMark, or QuotedData = \"Yes\"");
        else if (escape != nullptr)
            Complain(escape->name, fmt::format("{} needs OpenQuoteMark", escape->name),
                     "add QuotedData = \"Yes\", or remove it");
    }

    void CheckTrim()
    {
        const std::string mode = Text("TrimColumns");
        const Attribute *mark = FindMark(*FindAttribute("TrimChar"));
        if (mode.empty() || SameWord(mode, "None") || mark == nullptr ||
            !std::holds_alternative<std::string>(mark->value))
            return;
        const size_t bytes = Text(mark->name).size() / (mark->name.ends_with("HEX") ? 2 : 1);
        if (bytes != 1)
            Complain(mark->name,
                     fmt::format("{} is {} bytes long; it must be one byte", mark->name, bytes));
    }

    const Step &step_;
    const Value &section_;
    std::vector<Complaint> &found_;
};

// ---- Character sets ---------------------------------------------------------------------------

constexpr std::string_view kCharacterSets[] = {
    "ASCII",
    "UTF8",
    "UTF16",
    "UCS-2",
    "SCHINESE936_6R0",
    "SCHGB2312_1T0",
    "KANJIEUC_0U",
    "SDKANJIEUC_1U3",
    "KANJISJIS_0S",
    "SDKANJISJIS_1S3",
    "KANJI932_1S0",
    "TCHBIG5_1R0",
    "SDTCHBIG5_3R0",
    "HANGULKSC5601_2R4",
    "SDHANGULKSC5601_4R4",
};
constexpr size_t kMaxCharacterSetBytes = 30;

// "Not at all" is true of a step that could not do it anyway.
bool PassesOnTheOtherSide(const AttributeInfo &info, const Attribute &attribute)
{
    if (!info.absent_passes)
        return false;
    if (const int32_t *number = std::get_if<int32_t>(&attribute.value))
        return *number == 0;
    const auto *text = std::get_if<std::string>(&attribute.value);
    return text != nullptr && YesNoValue(info.kind, *text) == 0;
}

}  // namespace

std::optional<Attribute> ReadAttribute(const Entry &entry, Role role, std::vector<Complaint> &found)
{
    const AttributeInfo *info = FindAttribute(entry.key);
    if (info == nullptr && entry.key.starts_with("SYSTEM_"))
        info = FindAttribute("SYSTEM_CharSetId");  // any of them is refused in the same words
    if (info == nullptr) {
        UnknownAttribute(entry, found);
        return std::nullopt;
    }
    if (entry.value.faulty)
        return std::nullopt;
    if (info->support == Support::Runner) {
        found.push_back(
            {entry.at, fmt::format("{} is supplied by the runner", entry.key),
             entry.key == "SYSTEM_CharSetId" ? "set charset in [job] instead" : "remove it"});
        return std::nullopt;
    }
    if (info->support == Support::Later) {
        found.push_back({entry.at,
                         fmt::format("{} asks for {}, which is not available in this version",
                                     info->name, info->feature),
                         "remove it"});
        return std::nullopt;
    }
    std::optional<Attribute> attribute = ValueReader(*info, role, entry.value, found).Read();
    if (attribute && !IsTakenBy(*info, role) && !PassesOnTheOtherSide(*info, *attribute)) {
        found.push_back(
            {entry.at,
             fmt::format("{} is for steps that {}", info->name,
                         role == Role::Producer ? "write" : "read"),
             fmt::format("remove it from [{}]", role == Role::Producer ? "producer" : "consumer")});
        return std::nullopt;
    }
    if (attribute && info->support == Support::NoOnly &&
        std::holds_alternative<std::string>(attribute->value) &&
        YesNoValue(info->kind, std::get<std::string>(attribute->value)) > 0) {
        found.push_back({entry.value.at,
                         fmt::format("{} asks for {}, which is not available in this version",
                                     info->name, info->feature),
                         "remove it, or set it to No"});
        return std::nullopt;
    }
    return attribute;
}

void CheckStepAttributes(const Step &step, const Value &section, std::vector<Complaint> &found)
{
    Rules(step, section, found).Check();
}

void CheckValidUtf8(const Job &job, std::vector<Complaint> &found)
{
    const auto given = std::ranges::find(job.producer.attributes, "ValidUTF8", &Attribute::name);
    if (given == job.producer.attributes.end())
        return;
    const std::string set = job.charset.substr(0, job.charset.find_last_not_of(' ') + 1);
    if (!SameWord(set, "UTF8") && set != "63")
        found.push_back({given->at,
                         fmt::format("ValidUTF8 needs data in UTF8, not {}", Quoted(set)),
                         "remove it, or set charset in [job] to UTF8"});
    if (!SameWord(job.producer.Text("Format"), "Delimited"))
        found.push_back({given->at, "ValidUTF8 needs delimited data",
                         "remove it, or set Format to \"Delimited\""});
}

void CheckCharacterSet(const std::string &name, SourcePosition at, std::vector<Complaint> &found)
{
    const std::string upper = UpperCase(name.substr(0, name.find_last_not_of(' ') + 1));
    const bool number = !upper.empty() && upper.size() <= 3 &&
                        upper.find_first_not_of("0123456789") == std::string::npos;
    const size_t mark = upper.find('_');
    const bool single_byte =
        mark != std::string::npos && mark + 2 < upper.size() && upper[mark + 2] == 'A';
    if (upper.size() > kMaxCharacterSetBytes) {
        found.push_back({at,
                         fmt::format("charset is {} bytes long; the limit is {}", upper.size(),
                                     kMaxCharacterSetBytes),
                         {}});
    } else if (!upper.empty() &&
               std::ranges::find(kCharacterSets, upper) == std::end(kCharacterSets) &&
               !single_byte && !(number && std::stoi(upper) <= 255)) {
        const std::string nearest = DidYouMean(name, kCharacterSets);
        found.push_back({at, fmt::format("unknown character set {}", Quoted(name)),
                         nearest.empty()
                             ? "UTF8 and ASCII are the common ones; docs/job-file.md names them all"
                             : nearest});
    }
}

}  // namespace fenwire
