// host/job/document.cpp - reading TOML: bytes, syntax, values, environment variables, overrides.

#include "host/job/document.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>
#include <fstream>
#include <optional>
#include <sstream>
#include <toml++/toml.h>

#include "host/job/words.h"

namespace fenwire {

namespace {

namespace fs = std::filesystem;

constexpr uintmax_t kLargestFile = 16u << 20;

[[noreturn]] void Refuse(const fs::path &file, std::string what, std::string hint = {})
{
    throw MakeJobError(file.string(), {}, {{kWholeFile, std::move(what), std::move(hint)}});
}

// ---- Positions: the parser counts characters, everybody else counts bytes ----------------------

class Lines {
public:
    explicit Lines(std::string_view source) : source_(source)
    {
        starts_.push_back(0);
        for (size_t i = 0; i < source.size(); ++i) {
            if (source[i] == '\n')
                starts_.push_back(i + 1);
        }
    }

    SourcePosition Position(const toml::source_position &at) const
    {
        if (at.line == 0 || at.line > starts_.size())
            return kWholeFile;
        const size_t start = starts_[at.line - 1];
        size_t byte = start;
        for (size_t i = 1; i < at.column && byte < source_.size() && source_[byte] != '\n'; ++i)
            byte += std::max<size_t>(1, Utf8Length(source_.substr(byte)));
        return {static_cast<int>(at.line), static_cast<int>(byte - start + 1)};
    }

    SourcePosition Position(size_t byte) const
    {
        const auto line = std::ranges::upper_bound(starts_, byte) - starts_.begin();
        return {static_cast<int>(line), static_cast<int>(byte - starts_[line - 1] + 1)};
    }

private:
    std::string_view source_;
    std::vector<size_t> starts_;
};

void RequireUtf8(const std::string &file, const std::string &source)
{
    for (size_t i = 0; i < source.size();) {
        const size_t length = Utf8Length(std::string_view(source).substr(i));
        if (length > 0 && source[i] != '\0') {
            i += length;
            continue;
        }
        const auto byte = static_cast<uint8_t>(source[i]);
        const SourcePosition at = Lines(source).Position(i);
        if (byte == 0 || i == 0)
            Refuse(file,
                   fmt::format("no job file: byte 0x{:02X} at the start of column {} of line {} "
                               "can't stand in text",
                               byte, at.column, at.line),
                   "a job file is text in UTF-8; see docs/job-file.md");
        throw MakeJobError(
            file, source,
            {{at, fmt::format("byte 0x{:02X} is not UTF-8", byte), "save the file in UTF-8"}});
    }
}

// ---- Environment variables --------------------------------------------------------------------

bool IsVariableByte(char c) { return isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; }

// ${NAME} becomes the variable's text, $${ becomes ${. What is wrong, or nothing.
std::optional<Complaint> PutInEnvironment(std::string &text, SourcePosition at)
{
    std::string result;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text.compare(i, 3, "$${") == 0) {
            result += "${";
            i += 2;
            continue;
        }
        if (text.compare(i, 2, "${") != 0) {
            result += text[i];
            continue;
        }
        const size_t end = text.find('}', i);
        const std::string name =
            end == std::string::npos ? std::string() : text.substr(i + 2, end - i - 2);
        if (name.empty() || !std::ranges::all_of(name, IsVariableByte))
            return Complaint{at, "\"${\" begins no environment variable",
                             "write ${NAME}, or $${ for the two characters themselves"};
        const char *value = getenv(name.c_str());
        if (value == nullptr)
            return Complaint{at, fmt::format("environment variable {} is not set", name),
                             fmt::format("set it before the start: export {}=...", name)};
        result += value;
        i = end;
    }
    text = std::move(result);
    return std::nullopt;
}

void FinishText(Value &value, std::vector<Complaint> &found)
{
    if (std::optional<Complaint> wrong = PutInEnvironment(value.text, value.at)) {
        found.push_back(std::move(*wrong));
        value.faulty = true;
    } else if (value.text.find('\0') != std::string::npos) {
        found.push_back({value.at, "a text can't hold a zero byte",
                         "for a delimiter or another mark use its HEX attribute"});
        value.faulty = true;
    }
}

// ---- Values -----------------------------------------------------------------------------------

class Converter {
public:
    Converter(const Lines &lines, std::vector<Complaint> &found) : lines_(lines), found_(found) {}

    Value Convert(const toml::node &node)
    {
        Value value;
        value.at = lines_.Position(node.source().begin);
        if (const auto *text = node.as_string()) {
            value.text = text->get();
            FinishText(value, found_);
        } else if (const auto *integer = node.as_integer()) {
            value.kind = ValueKind::Integer;
            value.integer = integer->get();
        } else if (const auto *boolean = node.as_boolean()) {
            value.kind = ValueKind::Boolean;
            value.boolean = boolean->get();
        } else if (const auto *real = node.as_floating_point()) {
            value.kind = ValueKind::Real;
            value.real = real->get();
        } else if (const auto *list = node.as_array()) {
            value.kind = ValueKind::List;
            for (const toml::node &item : *list)
                value.items.push_back(Convert(item));
        } else if (const auto *table = node.as_table()) {
            ConvertTable(*table, value);
        } else {
            value.kind = ValueKind::Date;
        }
        return value;
    }

private:
    void ConvertTable(const toml::table &table, Value &value)
    {
        value.kind = ValueKind::Section;
        for (const auto &[key, node] : table)
            value.entries.push_back(
                {std::string(key.str()), lines_.Position(key.source().begin), Convert(node)});
        std::ranges::stable_sort(value.entries, [](const Entry &a, const Entry &b) {
            return std::pair(a.at.line, a.at.column) < std::pair(b.at.line, b.at.column);
        });
    }

    const Lines &lines_;
    std::vector<Complaint> &found_;
};

// The parser's words, and the likely cause of the slips that everybody makes.
Complaint SyntaxComplaint(const toml::parse_error &error, const Lines &lines)
{
    static constexpr struct {
        std::string_view sign, hint;
    } kHints[] = {
        {"could not determine value type", "text stands in quotes: key = \"text\""},
        {"escape sequence", "in \"..\" a backslash begins an escape; write '..' for a plain text"},
        {"unescaped control characters", "a text ends with its quote on the same line"},
        {"expected '='", "a line looks like key = value"},
        {"redefine", "each key and each section may stand once"},
        {"array", "a list looks like [\"a\", \"b\"]"},
    };
    std::string what(error.description());
    if (const size_t cut = what.find(": ");
        what.starts_with("Error while parsing ") && cut != std::string::npos)
        what = what.substr(cut + 2);
    Complaint complaint{lines.Position(error.source().begin), "not valid TOML: " + what, {}};
    for (const auto &[sign, hint] : kHints) {
        if (what.find(sign) != std::string::npos) {
            complaint.hint = hint;
            break;
        }
    }
    return complaint;
}

// ---- The command line -------------------------------------------------------------------------

void MarkAsGiven(Value &value)
{
    value.at = kCommandLine;
    for (Value &item : value.items)
        MarkAsGiven(item);
}

// The text as TOML where that works, else as it stands.
Value GivenValue(const std::string &words, std::vector<Complaint> &found)
{
    Value value;
    const size_t before = found.size();
    bool parsed = false;
    try {
        const toml::table table = toml::parse("given = " + words);
        const Lines lines(words);
        if (table.size() == 1) {  // more: the words hold a line of their own
            value = Converter(lines, found).Convert(*table.get("given"));
            parsed = true;
        }
    } catch (const toml::parse_error &) {
    }
    if (!parsed || value.kind != ValueKind::Text)
        value.text = words;
    if (!parsed)
        FinishText(value, found);
    MarkAsGiven(value);
    for (size_t i = before; i < found.size(); ++i)
        found[i].at = kCommandLine;
    return value;
}

Entry &FindOrAdd(std::vector<Entry> &entries, const std::string &key, ValueKind kind)
{
    const auto at = std::ranges::find(entries, key, &Entry::key);
    if (at != entries.end())
        return *at;
    entries.push_back({key, kCommandLine, {}});
    entries.back().value.kind = kind;
    entries.back().value.at = kCommandLine;
    return entries.back();
}

}  // namespace

const Entry *Value::Find(std::string_view key) const
{
    const auto entry = std::ranges::find(entries, key, &Entry::key);
    return entry != entries.end() ? &*entry : nullptr;
}

const char *KindInWords(ValueKind kind)
{
    switch (kind) {
    case ValueKind::Text:
        return "text";
    case ValueKind::Integer:
        return "a whole number";
    case ValueKind::Boolean:
        return "true or false";
    case ValueKind::Real:
        return "a number with a fraction";
    case ValueKind::Date:
        return "a date or time";
    case ValueKind::List:
        return "a list";
    case ValueKind::Section:
        break;
    }
    return "a section of its own";
}

std::string ReadJobFile(const fs::path &file)
{
    std::error_code error;
    const fs::file_status status = fs::status(file, error);
    if (status.type() == fs::file_type::not_found)
        Refuse(file, "there is no such file", "give the path of a job file, such as load.toml");
    if (error)
        Refuse(file, fmt::format("can't be examined: {}", error.message()));
    if (status.type() == fs::file_type::directory)
        Refuse(file, "is a directory, not a job file",
               "give the path of a file in it, such as load.toml");
    if (status.type() != fs::file_type::regular)
        Refuse(file, "is not a regular file");
    if (const uintmax_t size = fs::file_size(file, error); !error && size > kLargestFile)
        Refuse(file, fmt::format("is {} bytes long; a job file has at most {}", size, kLargestFile),
               "give the job file, not the data");
    errno = 0;
    std::ifstream in(file, std::ios::binary);
    std::ostringstream bytes;
    if (!in || (in.peek() != std::ifstream::traits_type::eof() && !(bytes << in.rdbuf())))
        Refuse(file, fmt::format("can't be read: {}", strerror(errno != 0 ? errno : EIO)));
    if (std::ranges::all_of(bytes.view(), [](unsigned char c) { return isspace(c) != 0; }))
        Refuse(file, "is empty", "docs/job-file.md shows a small job to begin with");
    return std::move(bytes).str();
}

Value ParseDocument(const std::string &file, const std::string &source,
                    std::vector<Complaint> &found)
{
    RequireUtf8(file, source);
    const Lines lines(source);
    try {
        return Converter(lines, found).Convert(toml::parse(source));
    } catch (const toml::parse_error &error) {
        throw MakeJobError(file, source, {SyntaxComplaint(error, lines)});
    }
}

void ApplyOverrides(Value &document, const std::vector<Override> &overrides,
                    std::vector<Complaint> &found)
{
    const bool reads_source =
        document.Find("source") != nullptr && document.Find("producer") == nullptr;
    const std::string reader = reads_source ? "source" : "producer";
    for (const Override &given : overrides) {
        Entry &section = FindOrAdd(
            document.entries, given.step == kReadingStep ? reader : given.step, ValueKind::Section);
        if (section.value.kind == ValueKind::Section)
            FindOrAdd(section.value.entries, given.name, ValueKind::Text).value =
                GivenValue(given.value, found);
    }
}

}  // namespace fenwire
