// host/guess/columns.h - what the sample says of each column, and of the records as a whole.
//
// Pieces from the middle and the tail of a file begin somewhere in a record, perhaps inside quotes. They
// are read from the first line end behind which several records have the right number of columns; a piece
// without such a place is left out, and the job file says so.

#ifndef FENWIRE_HOST_GUESS_COLUMNS_H
#define FENWIRE_HOST_GUESS_COLUMNS_H

#include <optional>
#include <string>
#include <vector>

#include "host/guess/dialect.h"
#include "host/guess/sample.h"
#include "host/guess/values.h"

namespace fenwire {

struct ColumnFinding {
    std::string header;  // as it stands in the file; empty: there is none
    std::string name;    // safe, and no other column has it
    Tally tally;
    uint64_t longest = 0;        // bytes, as the schema counts them
    std::string longest_place;   // "record 17 of a.csv"
    bool repeats_first = false;  // the first record's value occurs again
};

struct Findings {
    std::vector<ColumnFinding> columns;
    bool header = false;
    bool header_doubtful = false;  // all columns are text: it could be one all the same
    bool trailing_delimiter = false;
    uint64_t records = 0;        // that were looked at, without header
    uint64_t first_skipped = 0;  // records before the header, such as a title
    uint64_t blank_lines = 0, line_ends_inside = 0, other_line_ends = 0, malformed = 0, uneven = 0;
    bool all_quoted = true;  // every value that is not empty
    bool crlf = false;
    // The first few: "record 17 of a.csv: 3 columns", "record 18 of a.csv".
    std::vector<std::string> uneven_places, malformed_places;
    std::vector<std::string> left_out;  // pieces without a place to begin
};

// A person's word on the header instead of a look at the values.
enum class HeaderChoice : uint8_t { Guess, Yes, No };

// Adds up one file after the other.
class ColumnReader {
public:
    ColumnReader(const DialectGuess &dialect, Encoding encoding, HeaderChoice choice);
    void Add(const Sample &sample);
    // GuessError when files do not begin with the same header.
    Findings Take();

private:
    struct Place {
        const Sample &sample;
        uint64_t record;  // from 1; 0: not known
        uint64_t byte;
        std::string Words() const;
    };
    uint64_t AddStart(const Sample &sample, RecordReader &reader);
    void AddRecords(const Sample &sample, const Piece &piece, RecordReader reader, uint64_t number);
    void AddRecord(const Record &record, const Place &place);
    void AddValues(const std::vector<std::string> &values, const Record &record,
                   const Place &place);
    void AddUneven(const Record &record, const Place &place);
    bool Fits(const Record &record) const;
    std::optional<size_t> StartIn(const Piece &piece) const;
    bool LooksLikeHeader();
    void DropTrailingColumn();

    DialectGuess dialect_;
    Encoding encoding_;
    HeaderChoice choice_;
    Findings found_;
    std::vector<std::string> first_;  // the first fitting record of the first file
    std::vector<uint64_t> first_lengths_;
    std::string first_place_;
    std::optional<uint64_t> before_first_;  // records before it
    std::string other_start_;               // a file that does not begin as the first one does
    bool last_always_empty_ = true;
};

// Names that may stand in a schema and in a database: letters, digits and _, no two the same.
std::vector<std::string> SafeNames(const std::vector<std::string> &headers);

}  // namespace fenwire

#endif
