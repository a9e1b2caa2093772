// host/guess/records.h - text cut into records and fields, under a dialect that is being tried.
//
// The rules are those of the operator: a field is quoted when it begins with the quote; a doubled quote
// inside is one of the data; behind the closing quote only a delimiter or the record's end may stand; the
// first line end outside quotes settles the line ends of the file. What breaks a rule makes the record
// malformed, and reading goes on with the next line.
//
// Fields are views into the text, with their quotes off and their escapes still in: nothing is copied,
// because every candidate reads the whole sample.

#ifndef FENWIRE_HOST_GUESS_RECORDS_H
#define FENWIRE_HOST_GUESS_RECORDS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace fenwire {

enum class LineEnd : uint8_t { Unknown, Lf, CrLf };

struct Dialect {
    std::string_view delimiter;
    char quote = 0;   // 0: none
    char escape = 0;  // 0: none; before delimiters, and inside quotes before quotes and itself
    LineEnd line_end = LineEnd::Unknown;
};

struct Field {
    std::string_view text;
    uint32_t escapes = 0;  // bytes of text that are escapes and no data
    bool quoted = false;
};

struct Record {
    size_t offset = 0;  // in the text
    std::vector<Field> fields;
    bool malformed = false;
    bool complete = true;          // false: the text ended before the record did
    bool line_end_inside = false;  // a quoted field holds one
    bool other_line_end =
        false;  // a bare line feed in a CRLF file, or a CR before the LF of a LF file
    // An escape of the delimiter; inside quotes one that stands before neither quote nor escape.
    bool escaped_delimiter = false, escaped_other = false, escaped_quote = false;
    bool empty() const { return fields.size() == 1 && fields[0].text.empty() && !fields[0].quoted; }
};

class RecordReader {
public:
    // at_end: the file ends with the text, so that a last record without line end is complete.
    RecordReader(std::string_view text, const Dialect &dialect, bool at_end, size_t from = 0)
        : text_(text), dialect_(dialect), at_end_(at_end), at_(from)
    {
    }

    bool Next(Record &record);  // false: the text is used up
    LineEnd line_end() const { return dialect_.line_end; }

private:
    bool At(std::string_view mark) const { return text_.substr(at_).starts_with(mark); }
    size_t LineEndHere(Record &record);
    bool FieldEnds(Record &record, bool &record_ends);
    bool ReadQuoted(Record &record, Field &field);
    bool ReadPlain(Record &record, Field &field);
    void SkipEscape(Record &record, Field &field, bool quoted);

    std::string_view text_;
    Dialect dialect_;
    bool at_end_;
    size_t at_;
};

// The data of a field: escapes and doubled quotes undone.
std::string Unescaped(const Field &field, const Dialect &dialect);

}  // namespace fenwire

#endif
