// host/guess/records.cpp - text cut into records and fields.

#include "host/guess/records.h"

namespace fenwire {

// Bytes of a line end at the position, 0 when there is none.
size_t RecordReader::LineEndHere(Record &record)
{
    const char c = text_[at_];
    if (c != '\n' && c != '\r')
        return 0;
    const bool pair = c == '\r' && at_ + 1 < text_.size() && text_[at_ + 1] == '\n';
    if (c == '\r' && !pair)
        return 0;
    if (dialect_.line_end == LineEnd::Unknown)
        dialect_.line_end = pair ? LineEnd::CrLf : LineEnd::Lf;
    if (pair == (dialect_.line_end == LineEnd::CrLf))
        return pair ? 2 : 1;
    record.other_line_end = true;
    return 0;  // of a CRLF in a LF file the LF comes next
}

// True: a delimiter or the end of the record stands here, and is passed.
bool RecordReader::FieldEnds(Record &record, bool &record_ends)
{
    if (At(dialect_.delimiter)) {
        at_ += dialect_.delimiter.size();
        return true;
    }
    if (const size_t length = LineEndHere(record); length > 0) {
        at_ += length;
        record_ends = true;
        return true;
    }
    return false;
}

// At an escape: the escape and what it stands before.
void RecordReader::SkipEscape(Record &record, Field &field, bool quoted)
{
    const std::string_view behind = text_.substr(at_ + 1);
    const bool itself = behind.starts_with(dialect_.escape);
    if (!quoted && behind.starts_with(dialect_.delimiter)) {
        record.escaped_delimiter = true;
        ++field.escapes;
        at_ += 1 + dialect_.delimiter.size();
    } else if (quoted && (itself || behind.starts_with(dialect_.quote))) {
        record.escaped_quote |= !itself;
        ++field.escapes;
        at_ += 2;
    } else {
        record.escaped_other |= quoted;
        ++at_;
    }
}

// The position is behind the opening quote. True: the closing one was found and passed.
bool RecordReader::ReadQuoted(Record &record, Field &field)
{
    const size_t start = at_;
    while (at_ < text_.size()) {
        const char c = text_[at_];
        if (dialect_.escape != 0 && c == dialect_.escape) {
            SkipEscape(record, field, true);
            continue;
        }
        if (c == dialect_.quote) {
            if (!text_.substr(at_ + 1).starts_with(dialect_.quote)) {
                field.text = text_.substr(start, at_ - start);
                ++at_;
                return true;
            }
            ++field.escapes;
            ++at_;
        }
        record.line_end_inside |= c == '\n';
        ++at_;
    }
    at_ = text_.size();
    field.text = text_.substr(start);
    return false;
}

// True: the record ends with the field.
bool RecordReader::ReadPlain(Record &record, Field &field)
{
    const size_t start = at_;
    bool record_ends = false;
    while (at_ < text_.size()) {
        const size_t here = at_;
        if (dialect_.escape != 0 && text_[at_] == dialect_.escape) {
            SkipEscape(record, field, false);
            continue;
        }
        if (FieldEnds(record, record_ends)) {
            field.text = text_.substr(start, here - start);
            return record_ends;
        }
        ++at_;
    }
    at_ = text_.size();
    field.text = text_.substr(start);
    record.complete = at_end_;
    return true;
}

bool RecordReader::Next(Record &record)
{
    if (at_ >= text_.size())
        return false;
    record = {.offset = at_, .fields = std::move(record.fields)};
    record.fields.clear();
    bool ends = false;
    while (!ends) {
        Field field;
        field.quoted = dialect_.quote != 0 && at_ < text_.size() && text_[at_] == dialect_.quote;
        if (!field.quoted) {
            ends = ReadPlain(record, field);
        } else {
            ++at_;
            const bool closed = ReadQuoted(record, field);
            if (at_ >= text_.size()) {
                ends = true;
                record.malformed |= !closed && at_end_;
                record.complete = at_end_;
            } else if (!FieldEnds(record, ends)) {
                record.malformed = true;
                Field rest;
                ends = ReadPlain(record, rest);
            }
        }
        record.fields.push_back(field);
    }
    return true;
}

std::string Unescaped(const Field &field, const Dialect &dialect)
{
    std::string data;
    const std::string_view text = field.text;
    for (size_t i = 0; i < text.size(); ++i) {
        const std::string_view behind = text.substr(i + 1);
        const bool escape = dialect.escape != 0 && text[i] == dialect.escape;
        const bool doubled = field.quoted && text[i] == dialect.quote;
        if (doubled || (escape && field.quoted &&
                        (behind.starts_with(dialect.quote) || behind.starts_with(dialect.escape))))
            ++i;
        else if (escape && !field.quoted && behind.starts_with(dialect.delimiter))
            continue;
        if (i < text.size())
            data += text[i];
    }
    return data;
}

}  // namespace fenwire
