// host/guess/guess.cpp - what several files have in common, or where they differ.
//
// Two passes: the first finds each file's encoding and dialect and holds them to those of the first file;
// the second reads the columns of all of them under what was found. Samples are taken anew for the second
// pass, so that only one file's is in memory.

#include "host/guess/guess.h"

#include <fmt/format.h>

#include "host/job/words.h"

namespace fenwire {

namespace {

// ASCII is part of all other sets; all else must be the same.
void MergeEncoding(Guess &guess, const Sample &sample)
{
    static constexpr const char *kNames[] = {"ASCII", "UTF-8", "a set of one byte a character",
                                             "UTF-16"};
    const Encoding here = sample.encoding, before = guess.encoding;
    const bool wide = here == Encoding::Utf16, wide_before = before == Encoding::Utf16;
    if (!guess.files.empty() && here != before &&
        (wide || wide_before || (here != Encoding::Ascii && before != Encoding::Ascii)))
        throw GuessError(
            fmt::format("the files differ in their encoding: {} is {}, {} is {}",
                        Quoted(guess.files[0].string()), kNames[static_cast<size_t>(before)],
                        Quoted(sample.path.string()), kNames[static_cast<size_t>(here)]),
            "guess a job for each kind");
    if (guess.files.empty() || before == Encoding::Ascii)
        guess.encoding = here;
}

[[noreturn]] void Differ(const Guess &guess, const Sample &sample, const char *in,
                         const std::string &first, const std::string &other)
{
    throw GuessError(fmt::format("the files differ in their {}: {} has {}, {} has {}", in,
                                 Quoted(guess.files[0].string()), first,
                                 Quoted(sample.path.string()), other),
                     "guess a job for each kind");
}

std::string QuoteName(char quote)
{
    return quote == 0 ? "no quotes" : quote == '"' ? "double quotes" : "single quotes";
}

// A quote or an escape that only some files use holds for all.
void MergeDialect(Guess &guess, const Sample &sample)
{
    const DialectGuess here = FindDialect(sample);
    if (guess.files.empty()) {
        guess.dialect = here;
        return;
    }
    Dialect &dialect = guess.dialect.dialect;
    if (here.columns != guess.dialect.columns)
        Differ(guess, sample, "columns", fmt::format("{}", guess.dialect.columns),
               fmt::format("{}", here.columns));
    if (here.columns > 1 && here.dialect.delimiter != dialect.delimiter)
        Differ(guess, sample, "delimiter", DelimiterName(dialect.delimiter),
               DelimiterName(here.dialect.delimiter));
    if (here.dialect.quote != 0 && dialect.quote != 0 && here.dialect.quote != dialect.quote)
        Differ(guess, sample, "quotes", QuoteName(dialect.quote), QuoteName(here.dialect.quote));
    if (here.columns == 1 && here.dialect.delimiter != dialect.delimiter)
        dialect.delimiter = "@|@";  // each file has a text of its own that does not occur in it
    dialect.quote = dialect.quote != 0 ? dialect.quote : here.dialect.quote;
    dialect.escape = dialect.escape != 0 ? dialect.escape : here.dialect.escape;
    guess.dialect.escapes_delimiters |= here.escapes_delimiters;
    guess.dialect.escapes_quotes |= here.escapes_quotes;
    guess.dialect.consistent = std::min(guess.dialect.consistent, here.consistent);
}

void AddUp(Guess &guess, const Sample &sample)
{
    MergeEncoding(guess, sample);
    MergeDialect(guess, sample);
    guess.files.push_back(sample.path);
    guess.byte_order_mark |= sample.byte_order_mark;
    guess.whole &= sample.whole();
    guess.bytes += sample.size;
    guess.looked_at += sample.looked_at;
    guess.nul_bytes += sample.nul_bytes;
    guess.odd_bytes += sample.odd_bytes;
    guess.wide_units += sample.wide_units;
}

}  // namespace

Guess GuessFiles(const GuessRequest &request)
{
    Guess guess;
    for (const std::filesystem::path &file : request.files)
        AddUp(guess, TakeSample(file));
    guess.dialect.dialect.line_end = LineEnd::Unknown;  // each file has its own
    ColumnReader reader(guess.dialect, guess.encoding, request.header);
    for (const std::filesystem::path &file : request.files)
        reader.Add(TakeSample(file));
    guess.findings = reader.Take();
    return guess;
}

}  // namespace fenwire
