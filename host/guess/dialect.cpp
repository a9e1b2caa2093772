// host/guess/dialect.cpp - which delimiter, quotes and escape a file has.

#include "host/guess/dialect.h"

#include <algorithm>
#include <fmt/format.h>
#include <map>

#include "host/guess/values.h"
#include "host/job/words.h"

namespace fenwire {

namespace {

constexpr size_t kMostRecords = 5000;
constexpr double kOneColumn = 0.3;  // what a file of a single column scores
constexpr double kRival = 0.9;      // share of the best score that is worth a remark

// In the order of preference where scores are equal.
constexpr struct {
    std::string_view bytes;
    const char *name;  // null: the bytes speak for themselves
    double weight;
} kDelimiters[] = {
    {",", "comma", 1},
    {"\t", "tab", 1.05},
    {";", "semicolon", 1},
    {"|", "vertical bar", 1},
    {"^", "caret", 1},
    {"~", "tilde", 1},
    {"\x1f", "unit separator", 1.1},
    {"\x1e", "record separator", 1.1},
    {"\x01", "control byte 1", 1.1},
    {"\x02", "control byte 2", 1.1},
    {":", "colon", 0.8},
    {"||", nullptr, 1},
    {"::", nullptr, 1},
    {"^^", nullptr, 1},
    {"~~", nullptr, 1},
    {";;", nullptr, 1},
    {"##", nullptr, 1},
    {"@@", nullptr, 1},
    {"$$", nullptr, 1},
    {"|~|", nullptr, 1},
    {"~|~", nullptr, 1},
    {"^|^", nullptr, 1},
    {"|^|", nullptr, 1},
    {"@|@", nullptr, 1},
    {"#|#", nullptr, 1},
    {"\xc2\xa6", "broken bar", 1},
    {"\xc2\xa7", "section sign", 1},
};
constexpr char kQuotes[] = {'"', '\'', 0};
constexpr char kEscapes[] = {0, '\\'};

bool HasWordByte(std::string_view text)
{
    return std::ranges::any_of(text, [](unsigned char c) { return c >= 0x80 || isalnum(c) != 0; });
}

// A value that holds what looks like another delimiter, or a quote that should have been taken off.
bool IsClean(const Field &field)
{
    const std::string_view text = field.text;
    if (field.quoted || text.empty())
        return true;
    if (text[0] == ' ' || text[0] == '"' || text.back() == '"' || text[0] == '\'')
        return false;
    if (text.find_first_of("|;\t\x1f\x01") != std::string_view::npos)
        return LookAt(text).look != Look::Text;
    for (size_t at = text.find(','); at != std::string_view::npos; at = text.find(',', at + 1)) {
        if (at + 1 >= text.size() || text[at + 1] != ' ')
            return LookAt(text).look != Look::Text;
    }
    return true;
}

// What one candidate makes of the head.
struct Trial {
    std::map<size_t, size_t> counts;  // records by number of columns
    size_t records = 0, malformed = 0, quoted = 0, values = 0, clean = 0;
    bool whole_record = false, escaped_delimiter = false, escaped_quote = false,
         escaped_other = false;
    std::vector<bool> meaningful;  // columns with a letter or digit in some record
    LineEnd line_end = LineEnd::Unknown;

    void Add(const Record &record)
    {
        ++records;
        malformed += record.malformed ? 1 : 0;
        escaped_delimiter |= record.escaped_delimiter;
        escaped_quote |= record.escaped_quote;
        escaped_other |= record.escaped_other;
        if (record.malformed)
            return;
        ++counts[record.fields.size()];
        values += record.fields.size();
        if (meaningful.size() < record.fields.size())
            meaningful.resize(record.fields.size());
        for (size_t i = 0; i < record.fields.size(); ++i) {
            const Field &field = record.fields[i];
            quoted += field.quoted ? 1 : 0;
            clean += IsClean(field) ? 1 : 0;
            meaningful[i] = meaningful[i] || HasWordByte(field.text);
        }
    }

    std::pair<size_t, size_t> Commonest() const
    {
        std::pair<size_t, size_t> best = {1, 0};
        for (const auto &[columns, times] : counts) {
            if (times >= best.second)
                best = {columns, times};
        }
        return best;
    }
};

Trial Try(const Piece &head, const Dialect &dialect)
{
    Trial trial;
    RecordReader reader(head.text, dialect, head.to_end);
    Record record;
    while (trial.records < kMostRecords && reader.Next(record)) {
        if (!record.complete)
            break;
        trial.whole_record = true;
        if (!record.empty())
            trial.Add(record);
    }
    trial.line_end = reader.line_end();
    return trial;
}

// Whether quote and escape did anything; if not, a simpler candidate stands for this one.
bool Acts(const Dialect &dialect, const Trial &trial)
{
    return (dialect.quote == 0 || trial.quoted > 0) &&
           (dialect.escape == 0 || trial.escaped_delimiter || trial.escaped_quote);
}

DialectGuess Score(const Dialect &dialect, const Trial &trial, double weight)
{
    DialectGuess guess;
    guess.dialect = dialect;
    guess.dialect.line_end = trial.line_end;
    const auto [columns, times] = trial.Commonest();
    guess.columns = columns;
    if (trial.records == 0 || trial.values == 0)
        return guess;
    const auto share = [](size_t part, size_t of) {
        return static_cast<double>(part) / static_cast<double>(of);
    };
    guess.consistent = share(times, trial.records);
    guess.escapes_delimiters =
        dialect.escape != 0 && (trial.escaped_delimiter || trial.escaped_other);
    guess.escapes_quotes = dialect.escape != 0 && dialect.quote != 0;
    size_t idle = 0;
    for (size_t i = 0; i < columns && i < trial.meaningful.size(); ++i)
        idle += trial.meaningful[i] ? 0 : 1;
    guess.score = guess.consistent * guess.consistent *
                  (0.6 + 0.4 * share(trial.clean, trial.values)) * (1 - 0.5 * share(1, columns)) *
                  (1 - 0.5 * share(idle, columns)) * weight;
    if (columns == 1)
        guess.score = std::min(guess.score, kOneColumn);
    return guess;
}

std::vector<Dialect> Candidates(const std::string &text)
{
    std::vector<Dialect> candidates;
    for (const auto &delimiter : kDelimiters) {
        if (text.find(delimiter.bytes) == std::string::npos)
            continue;
        for (const char quote : kQuotes) {
            for (const char escape : kEscapes) {
                if ((quote == 0 || text.find(quote) != std::string::npos) &&
                    (escape == 0 || text.find(escape) != std::string::npos))
                    candidates.push_back({delimiter.bytes, quote, escape});
            }
        }
    }
    return candidates;
}

double WeightOf(std::string_view delimiter)
{
    return std::ranges::find(kDelimiters, delimiter, [](const auto &row) { return row.bytes; })
        ->weight;
}

// A delimiter for a file of one column: it must not occur.
std::string_view AbsentDelimiter(const Sample &sample)
{
    for (const std::string_view bytes : {"|", "\t", "\x1f", "\x01", "|~|"}) {
        if (std::ranges::all_of(sample.pieces, [&](const Piece &piece) {
                return piece.text.find(bytes) == std::string::npos;
            }))
            return bytes;
    }
    return "@|@";
}

DialectGuess OneColumn(const Sample &sample)
{
    DialectGuess best;
    best.score = -1;
    for (const char quote : kQuotes) {
        const Dialect dialect = {AbsentDelimiter(sample), quote, 0};
        const Trial trial = Try(sample.pieces[0], dialect);
        DialectGuess guess = Score(dialect, trial, 1);
        if (Acts(dialect, trial) && guess.score > best.score)
            best = guess;
    }
    return best;
}

void CheckLineEnds(const Sample &sample)
{
    const Piece &head = sample.pieces[0];
    const std::string shown = Quoted(sample.path.string());
    if (head.text.find('\n') != std::string::npos)
        return;
    if (std::ranges::count(head.text, '\r') > 1)
        throw GuessError(
            fmt::format("the lines of {} end with a carriage return alone, which can't be read",
                        shown),
            "convert it: tr '\\r' '\\n' <FILE >NEW");
    if (!head.to_end)
        throw GuessError(
            fmt::format("the first {} bytes of {} hold no line end: this is no file of records",
                        Sample::kHead, shown),
            "a record may have up to about 1 MB, and ends with LF or CRLF");
}

}  // namespace

DialectGuess FindDialect(const Sample &sample)
{
    CheckLineEnds(sample);
    DialectGuess best = OneColumn(sample), second;
    for (const Dialect &dialect : Candidates(sample.pieces[0].text)) {
        const Trial trial = Try(sample.pieces[0], dialect);
        if (!Acts(dialect, trial) || !trial.whole_record)
            continue;
        const DialectGuess guess = Score(dialect, trial, WeightOf(dialect.delimiter));
        if (guess.score > best.score + 1e-9) {
            if (best.dialect.delimiter != guess.dialect.delimiter)
                second = best;
            best = guess;
        } else if (guess.score > second.score &&
                   guess.dialect.delimiter != best.dialect.delimiter) {
            second = guess;
        }
    }
    if (best.columns > 1 && second.score > best.score * kRival)
        best.rival = second.dialect.delimiter;
    return best;
}

std::string DelimiterName(std::string_view delimiter)
{
    const auto *row =
        std::ranges::find(kDelimiters, delimiter, [](const auto &r) { return r.bytes; });
    return row != std::end(kDelimiters) && row->name != nullptr ? row->name : Quoted(delimiter);
}

}  // namespace fenwire
