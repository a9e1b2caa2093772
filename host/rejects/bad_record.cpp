// host/rejects/bad_record.cpp

#include "host/rejects/bad_record.h"

#include <array>
#include <cstring>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "host/job/words.h"

namespace fenwire {

namespace {

struct KindRow {
    std::string_view part;  // of the operator's words
    std::string_view kind;
};

// To give a fault a kind of its own, add a row; others get their words without numbers and names.
constexpr KindRow kKinds[] = {
    {"Too many columns", "too many columns"},
    {"Too few columns", "too few columns"},
    {"Field length overflow", "too long"},
    {"pxdatetime reformatting error", "bad date"},
    {"Invalid multi-byte character", "broken character"},
    {"First character not open quote", "does not begin with its quote mark"},
    {"did not immediately follow close quote", "goes on behind its closing quote mark"},
    {"QuoteEscape should be followed", "quote escape before another character"},
    {"Length of record read does not match", "wrong length"},
    {"DelimiterEscape should be followed", "delimiter escape before another character"},
};
constexpr size_t kLongestKind = 100;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool IsUtf8(std::string_view text)
{
    while (!text.empty()) {
        const size_t length = Utf8Length(text);
        if (length == 0)
            return false;
        text.remove_prefix(length);
    }
    return true;
}

// A record has no column of the file's name. Null: none of that number.
const Column *ColumnOfRecord(const Job &job, uint32_t number)
{
    for (const Column &column : job.columns) {
        if (!column.file_name && number-- == 1)
            return &column;
    }
    return nullptr;
}

constexpr std::string_view kBase64 =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

bool ReadBadRecord(const void *value, size_t length, BadRecord &record)
{
    if (length < sizeof record.head)
        return false;
    memcpy(&record.head, value, sizeof record.head);
    const std::string_view rest(static_cast<const char *>(value) + sizeof record.head,
                                length - sizeof record.head);
    if (uint64_t{record.head.text_bytes} + record.head.raw_bytes != rest.size())
        return false;
    record.text = rest.substr(0, record.head.text_bytes);
    record.raw = rest.substr(record.head.text_bytes);
    return true;
}

std::string ReasonKind(std::string_view text)
{
    for (const KindRow &row : kKinds) {
        if (text.find(row.part) != std::string_view::npos)
            return std::string(row.kind);
    }
    // Numbers become one "#", what stands in quotes is left out.
    std::string kind;
    bool quoted = false;
    for (const char c : text) {
        if (c == '\'')
            quoted = !quoted;
        const char shown = IsDigit(c) ? '#' : c;
        if ((!quoted || c == '\'') && !(shown == '#' && kind.ends_with('#')))
            kind += shown;
        if (kind.size() >= kLongestKind)
            break;
    }
    return kind.empty() ? "bad record" : Escaped(kind);
}

std::string ColumnWords(const Job &job, uint32_t column)
{
    if (column == 0)
        return {};
    const Column *found = ColumnOfRecord(job, column);
    return found == nullptr ? fmt::format("column {}", column)
                            : fmt::format("column {} '{}'", column, found->name);
}

std::string BadRecordLine(const Job &job, int instance, std::string_view file,
                          const BadRecord &record)
{
    using Json = nlohmann::ordered_json;
    const PxBadRecord &head = record.head;
    Json object = {{"file", file}, {"record", head.record}};
    object["offset"] = head.offset >= 0 ? Json(head.offset) : Json();
    object["column"] = head.column > 0 ? Json(head.column) : Json();
    const Column *column = ColumnOfRecord(job, head.column);
    object["column_name"] = column != nullptr ? Json(column->name) : Json();
    object["kind"] = ReasonKind(record.text);
    object["reason"] = record.text;
    object["message"] = head.message;
    object["left_out"] = head.left_out != 0;
    object["in_error_file"] = head.kept != 0;
    object["instance"] = instance;
    if (IsUtf8(record.raw))
        object["raw"] = record.raw;
    else
        object["raw_base64"] = Base64(record.raw);
    return object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string Excerpt(std::string_view raw) { return Quoted(raw); }

std::string Base64(std::string_view bytes)
{
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (size_t i = 0; i < bytes.size(); i += 3) {
        const auto byte = [&](size_t at) {
            return at < bytes.size() ? uint32_t{static_cast<uint8_t>(bytes[at])} : 0;
        };
        const uint32_t group = byte(i) << 16 | byte(i + 1) << 8 | byte(i + 2);
        for (size_t k = 0; k < 4; ++k)
            text += i + k <= bytes.size() ? kBase64[group >> (18 - 6 * k) & 63] : '=';
    }
    return text;
}

bool FromBase64(std::string_view text, std::string &bytes)
{
    if (text.size() % 4 != 0)
        return false;
    for (int padding = 0; padding < 2 && text.ends_with('='); ++padding)
        text.remove_suffix(1);
    bytes.clear();
    uint32_t bits = 0, held = 0;
    for (const char c : text) {
        const size_t digit = kBase64.find(c);
        if (digit == std::string_view::npos)
            return false;
        bits = bits << 6 | static_cast<uint32_t>(digit);
        if ((held += 6) >= 8)
            bytes += static_cast<char>(bits >> (held -= 8) & 0xFF);
    }
    return true;
}

}  // namespace fenwire
