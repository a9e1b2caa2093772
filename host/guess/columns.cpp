// host/guess/columns.cpp - what the sample says of each column.

#include "host/guess/columns.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <set>

#include "host/job/words.h"

namespace fenwire {

namespace {

constexpr size_t kPlacesShown = 5;
constexpr uint64_t kMostBefore = 10;  // records before a header
constexpr size_t kMostHeaderBytes = 64, kMostNameBytes = 60;

// Bytes of the value in the job's character set.
uint64_t SchemaBytes(std::string_view data, Encoding encoding)
{
    if (encoding != Encoding::Utf16)
        return data.size();
    uint64_t units = 0;
    for (const char c : data) {
        const auto byte = static_cast<uint8_t>(c);
        units += (byte & 0xC0) == 0x80 ? 0 : byte >= 0xF0 ? 2 : 1;
    }
    return 2 * units;
}

// Words that files name their columns with, where the values do not tell.
constexpr std::string_view kHeaderWords[] = {
    "ID",          "NAME",     "CODE",   "DATE",    "TYPE",     "CITY",     "COUNTRY", "STREET",
    "ADDRESS",     "EMAIL",    "STATUS", "STATE",   "TITLE",    "TEXT",     "VALUE",   "KEY",
    "NUMBER",      "AMOUNT",   "PRICE",  "COMMENT", "USER",     "CUSTOMER", "PRODUCT", "ITEM",
    "DESCRIPTION", "CATEGORY", "FIRST",  "LAST",    "PHONE",    "REGION",   "LABEL",   "NOTE",
    "COLUMN",      "FIELD",    "GROUP",  "KIND",    "CURRENCY", "UNIT",     "COMPANY", "VORNAME",
};

// "customer_id", "First Name", "orderDate"
bool HoldsHeaderWord(std::string_view text)
{
    std::string word;
    const auto known = [&] {
        return std::ranges::find(kHeaderWords, UpperCase(word)) != std::end(kHeaderWords);
    };
    bool lower = false;
    for (const char c : text) {
        const bool letter = isalpha(static_cast<unsigned char>(c)) != 0;
        const bool hump = letter && lower && isupper(static_cast<unsigned char>(c)) != 0;
        if (!letter || hump) {
            if (known())
                return true;
            word.clear();
        }
        if (letter)
            word += c;
        lower = letter && islower(static_cast<unsigned char>(c)) != 0;
    }
    return known();
}

}  // namespace

std::string ColumnReader::Place::Words() const
{
    const std::string file = Escaped(sample.path.filename().string());
    return record > 0 ? fmt::format("record {} of {}", record, file)
                      : fmt::format("a record near byte {} of {}", byte, file);
}

ColumnReader::ColumnReader(const DialectGuess &dialect, Encoding encoding, HeaderChoice choice)
    : dialect_(dialect), encoding_(encoding), choice_(choice)
{
    found_.columns.resize(dialect.columns);
}

bool ColumnReader::Fits(const Record &record) const
{
    return !record.malformed && record.fields.size() == dialect_.columns && !record.empty();
}

// ---- Records ----------------------------------------------------------------------------------

void ColumnReader::AddValues(const std::vector<std::string> &values, const Record &record,
                             const Place &place)
{
    for (size_t i = 0; i < values.size(); ++i) {
        ColumnFinding &column = found_.columns[i];
        column.tally.Add(LookAt(values[i]));
        column.repeats_first |= !first_.empty() && values[i] == first_[i];
        found_.all_quoted &= record.fields[i].quoted || values[i].empty();
        const uint64_t bytes = SchemaBytes(values[i], encoding_);
        if (bytes > column.longest) {
            column.longest = bytes;
            column.longest_place = place.Words();
        }
    }
    last_always_empty_ &= values.back().empty() && !record.fields.back().quoted;
}

void ColumnReader::AddUneven(const Record &record, const Place &place)
{
    found_.malformed += record.malformed ? 1 : 0;
    found_.uneven += record.malformed ? 0 : 1;
    auto &places = record.malformed ? found_.malformed_places : found_.uneven_places;
    if (places.size() == kPlacesShown)
        return;
    places.push_back(place.Words());
    if (!record.malformed)
        places.back() += fmt::format(": {} column{}", record.fields.size(),
                                     record.fields.size() == 1 ? "" : "s");
}

void ColumnReader::AddRecord(const Record &record, const Place &place)
{
    ++found_.records;
    found_.line_ends_inside += record.line_end_inside ? 1 : 0;
    found_.other_line_ends += record.other_line_end ? 1 : 0;
    if (record.empty() && dialect_.columns > 1) {
        ++found_.blank_lines;
        return;
    }
    if (!Fits(record) && !record.empty()) {
        AddUneven(record, place);
        return;
    }
    std::vector<std::string> values;
    values.reserve(record.fields.size());
    for (const Field &field : record.fields)
        values.push_back(Unescaped(field, dialect_.dialect));
    AddValues(values, record, place);
}

void ColumnReader::AddRecords(const Sample &sample, const Piece &piece, RecordReader reader,
                              uint64_t number)
{
    Record record;
    while (reader.Next(record) && record.complete) {
        AddRecord(record, {sample, number, piece.offset + record.offset});
        number += number > 0 ? 1 : 0;
    }
    found_.crlf = reader.line_end() == LineEnd::CrLf;
}

// The first record that fits may be the header. It is kept aside, and so is the same one at the start of
// other files. Returns the number of the record that comes next.
uint64_t ColumnReader::AddStart(const Sample &sample, RecordReader &reader)
{
    const Piece &head = sample.pieces[0];
    std::vector<std::pair<Record, uint64_t>> before;
    Record record;
    for (uint64_t number = 1; reader.Next(record) && record.complete; ++number) {
        if (!Fits(record) && before.size() < kMostBefore) {
            before.emplace_back(record, number);
            continue;
        }
        std::vector<std::string> values;
        for (const Field &field : record.fields)
            values.push_back(Unescaped(field, dialect_.dialect));
        const bool fits = Fits(record);
        const Place place{sample, number, head.offset + record.offset};
        if (fits && !before_first_) {
            before_first_ = before.size();
            first_ = values;
            first_place_ = place.Words();
            for (const std::string &value : values)
                first_lengths_.push_back(SchemaBytes(value, encoding_));
            last_always_empty_ &= values.back().empty() && !record.fields.back().quoted;
            return number + 1;
        }
        const bool same = fits && values == first_ && before.size() == before_first_;
        if (!same && other_start_.empty())
            other_start_ = sample.path.string();
        for (const auto &[early, at] : before)
            AddRecord(early, {sample, at, head.offset + early.offset});
        if (!same)
            AddRecord(record, place);
        return number + 1;
    }
    return 0;
}

// Where a piece from inside the file can be read from.
std::optional<size_t> ColumnReader::StartIn(const Piece &piece) const
{
    constexpr int kTries = 20, kMustFit = 5;
    size_t at = 0;
    for (int i = 0; i < kTries; ++i) {
        at = piece.text.find('\n', at);
        if (at == std::string::npos)
            return std::nullopt;
        RecordReader reader(piece.text, dialect_.dialect, piece.to_end, ++at);
        Record record;
        int fitting = 0;
        while (fitting < kMustFit && reader.Next(record) && record.complete && Fits(record))
            ++fitting;
        if (fitting == kMustFit)
            return at;
    }
    return std::nullopt;
}

void ColumnReader::Add(const Sample &sample)
{
    const Piece &head = sample.pieces[0];
    RecordReader reader(head.text, dialect_.dialect, head.to_end);
    AddRecords(sample, head, reader, AddStart(sample, reader));
    for (size_t i = 1; i < sample.pieces.size(); ++i) {
        const Piece &piece = sample.pieces[i];
        if (const std::optional<size_t> start = StartIn(piece))
            AddRecords(sample, piece,
                       RecordReader(piece.text, dialect_.dialect, piece.to_end, *start), 0);
        else
            found_.left_out.push_back(fmt::format("{} bytes at byte {} of {}", piece.text.size(),
                                                  piece.offset,
                                                  Escaped(sample.path.filename().string())));
    }
}

// ---- Header -----------------------------------------------------------------------------------

// Names are no numbers or dates, are short, and do not come again as values. Where a column below is
// numbers or dates that settles it; where all are texts, a word that columns are named with does.
bool ColumnReader::LooksLikeHeader()
{
    size_t typed = 0, known = 0, unnamed = 0;
    bool again = false;
    for (size_t i = 0; i < first_.size(); ++i) {
        const bool trailing = i + 1 == first_.size() && last_always_empty_;
        const Look look = LookAt(first_[i]).look;
        unnamed += look == Look::Empty && !trailing ? 1 : 0;
        if ((look != Look::Text && look != Look::Empty) || first_[i].size() > kMostHeaderBytes)
            return false;
        typed += found_.columns[i].tally.Typed() ? 1 : 0;
        known += HoldsHeaderWord(first_[i]) ? 1 : 0;
        again |= found_.columns[i].repeats_first && look != Look::Empty;
    }
    if (unnamed > 1 || (unnamed == 1 && first_.size() < 3))
        return false;
    if (typed > 0)
        return true;
    found_.header_doubtful = !again;
    return !again && known > 0 && (found_.records > 0 || known * 2 >= first_.size());
}

void ColumnReader::DropTrailingColumn()
{
    if (found_.columns.size() < 2 || !last_always_empty_ || first_.empty())
        return;
    found_.trailing_delimiter = true;
    found_.columns.pop_back();
    first_.pop_back();
}

Findings ColumnReader::Take()
{
    found_.header = choice_ == HeaderChoice::Guess ? !first_.empty() && LooksLikeHeader()
                                                   : choice_ == HeaderChoice::Yes;
    if (found_.header && !other_start_.empty())
        throw GuessError(fmt::format("the files do not begin alike: {} holds column names that {} "
                                     "does not begin with",
                                     first_place_, Quoted(other_start_)),
                         "guess them one by one, or say --header no");
    DropTrailingColumn();
    for (size_t i = 0; i < first_.size(); ++i) {
        ColumnFinding &column = found_.columns[i];
        if (found_.header) {
            column.header = first_[i];
            continue;
        }
        column.tally.Add(LookAt(first_[i]));
        if (first_lengths_[i] >= column.longest) {
            column.longest = first_lengths_[i];
            column.longest_place = first_place_;
        }
    }
    if (found_.header)
        found_.first_skipped = before_first_.value_or(0);
    else
        found_.records += (first_.empty() ? 0 : 1) + before_first_.value_or(0);
    if (!found_.header)
        found_.uneven += before_first_.value_or(0);
    std::vector<std::string> headers;
    for (const ColumnFinding &column : found_.columns)
        headers.push_back(column.header);
    const std::vector<std::string> names = SafeNames(headers);
    for (size_t i = 0; i < names.size(); ++i)
        found_.columns[i].name = names[i];
    return std::move(found_);
}

// ---- Names ------------------------------------------------------------------------------------

namespace {

// Characters beyond ASCII stay where they are UTF-8; all else but letters and digits becomes one _.
std::string SafeName(std::string_view header)
{
    std::string name;
    while (!header.empty() && name.size() < kMostNameBytes) {
        const size_t length = std::max<size_t>(Utf8Length(header), 1);
        const std::string_view c = header.substr(0, length);
        const bool control = c[0] == '\xc2' && length == 2 && static_cast<uint8_t>(c[1]) <= 0xA0;
        if (isalnum(static_cast<unsigned char>(c[0])) != 0 || (length > 1 && !control))
            name += c;
        else if (!name.empty() && name.back() != '_')
            name += '_';
        header.remove_prefix(length);
    }
    while (name.ends_with('_'))
        name.pop_back();
    if (!name.empty() && isdigit(static_cast<unsigned char>(name[0])) != 0)
        name = "c_" + name;
    return name;
}

}  // namespace

std::vector<std::string> SafeNames(const std::vector<std::string> &headers)
{
    std::vector<std::string> names;
    std::set<std::string> taken;
    for (size_t i = 0; i < headers.size(); ++i) {
        std::string name = SafeName(headers[i]);
        if (name.empty())
            name = fmt::format("column_{}", i + 1);
        const std::string base = name;
        for (size_t n = 2; !taken.insert(UpperCase(name)).second; ++n)
            name = fmt::format("{}_{}", base, n);
        names.push_back(std::move(name));
    }
    return names;
}

}  // namespace fenwire
