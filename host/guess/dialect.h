// host/guess/dialect.h - which delimiter, quotes and escape a file has.
//
// Every candidate of the tables in dialect.cpp reads the head of the file, with quotes and all, and gets a
// score. The idea: under the right dialect nearly all records have the same number of columns, and the
// values look like values. So the score is
//
//     (share of records with the commonest number of columns, and well formed)^2
//   x more with clean values: numbers, dates, texts without other delimiters or stray quotes in them
//   x more with more columns, but less with columns that never hold a letter or digit (a||b under "|")
//   x the candidate's own weight
//
// and a file in which no candidate reaches kOneColumn has a single column. Candidates that would read the
// same as a simpler one, because their quote or escape never acts, are left out.

#ifndef FENWIRE_HOST_GUESS_DIALECT_H
#define FENWIRE_HOST_GUESS_DIALECT_H

#include <string>

#include "host/guess/records.h"
#include "host/guess/sample.h"

namespace fenwire {

struct DialectGuess {
    Dialect dialect;
    size_t columns = 1;
    double score = 0;
    double consistent = 0;   // share of the records
    std::string_view rival;  // another delimiter that scores nearly as well; empty: none
    bool escapes_delimiters =
        false;  // the escape stands before delimiters, or before other bytes too
    bool escapes_quotes = false;
};

// GuessError when the head holds no whole record, or line ends that can't be read.
DialectGuess FindDialect(const Sample &sample);

// "comma", "tab", or the bytes in quotes.
std::string DelimiterName(std::string_view delimiter);

}  // namespace fenwire

#endif
