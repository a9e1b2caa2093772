// host/sources/delimited_reader.h - rows of delimited text from a descriptor, as fields.
//
// A row ends with "\n" or "\r\n", the last one also with the input. A field that begins with the quote
// goes to the quote that closes it, with delimiters and line ends as part of the value and quotes doubled;
// any other is what stands there. A row is looked at as a whole: while its end is not at hand, more is
// read, up to a limit.

#ifndef FENWIRE_HOST_SOURCES_DELIMITED_READER_H
#define FENWIRE_HOST_SOURCES_DELIMITED_READER_H

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/job/delimited_keys.h"

namespace fenwire {

class DelimitedReader {
public:
    struct Field {
        std::string_view text;
        bool quoted;
        bool doubled;  // had quotes inside
    };

    // what names the input in messages. A row of more text than most_row_bytes is an error.
    DelimitedReader(DelimitedKeys keys, int fd, std::string what, size_t most_row_bytes);

    // The next row's fields, until the next call. False: there is none. Throws SourceError.
    bool Next();
    const std::vector<Field> &fields() const { return fields_; }

    // Where the row begins: "standard input, line 7".
    std::string Place() const;
    // Whether Next must wait for input.
    bool Dry() const { return at_ == filled_; }
    // Drops a byte order mark at the beginning of the input.
    void SkipMark();

private:
    enum class Found : uint8_t { Delimiter, LineEnd, Nothing };

    bool ScanRow();
    bool ScanField(size_t &at, Found &behind);
    bool ScanQuoted(size_t &at, Found &behind);
    bool ScanPlain(size_t &at, Found &behind);
    bool FindBehindQuote(size_t &at, Found &behind);
    // Whether the bytes at a place are the text; *short_of: the buffer ends before that is known.
    bool Is(size_t at, std::string_view text, bool *short_of) const;
    void Undouble(Field &field);
    void Refill();

    DelimitedKeys keys_;
    int fd_;
    std::string what_;
    size_t most_row_bytes_;
    std::array<bool, 256> special_ = {};  // first bytes of what ends a plain field

    std::vector<char> buffer_;
    size_t at_ = 0, filled_ = 0;  // the next row begins at at_
    bool at_end_ = false;         // nothing comes behind what is filled
    std::vector<Field> fields_;
    uint64_t line_ = 0, next_line_ = 1;
};

}  // namespace fenwire

#endif
