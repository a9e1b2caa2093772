// host/sources/stdin_source.cpp - delimited text from standard input, as the print target writes it.
//
// Typed columns are given their binary values. The first row that does not fit ends the job: what comes
// from a pipe can't be looked at again, so there are no bad records that are set aside.

#include <fmt/format.h>

#include <unistd.h>

#include "host/job/words.h"
#include "host/sources/delimited_reader.h"
#include "host/sources/kinds.h"
#include "host/values/values.h"

namespace fenwire {

namespace {

// Text has up to twice the bytes of its value in hexadecimal digits, and twice that with every byte a
// quote; kMostValueText covers what numbers and dates look like.
size_t MostTextBytes(const Job &job)
{
    size_t most = 64 * 1024;
    for (const Column &column : job.columns)
        most += size_t{4} * column.length + 2 * kMostValueText;
    return most;
}

class StdinSource final : public Source {
public:
    explicit StdinSource(const Job &job)
        : keys_(job.source), columns_(job.columns), layout_(job.columns),
          reader_(keys_, STDIN_FILENO, "standard input", MostTextBytes(job))
    {
        uint32_t longest = 0;
        for (const Column &column : columns_) {
            types_.push_back(ValueTypeOf(column));
            longest = std::max({longest, column.length, types_.back().bytes});
        }
        value_.resize(longest);
    }

    void Check() override {}

    void Open(int, int) override
    {
        if (keys_.header) {
            reader_.SkipMark();
            if (reader_.Next())
                CheckHeader();
        }
    }

    bool Read(RowOutlet &rows) override
    {
        size_t bytes = 0;
        do {
            if (!reader_.Next())
                return false;
            CheckCount();
            const size_t row = PutRow(rows.Reserve());
            rows.Append(row);
            bytes += row;
        } while (bytes < kBatchBytes && !reader_.Dry());
        return true;
    }

private:
    void CheckCount() const
    {
        const size_t count = reader_.fields().size();
        if (count == columns_.size())
            return;
        throw SourceError(fmt::format(
            "{}: {} value{} where the job has {} column{}; between them stands {}{}",
            reader_.Place(), count, count == 1 ? "" : "s", columns_.size(),
            columns_.size() == 1 ? "" : "s", Quoted(keys_.delimiter),
            keys_.quote.empty() ? ", and quotes have no meaning without the key quote" : ""));
    }

    // Another order of columns would put values into the wrong ones.
    void CheckHeader() const
    {
        CheckCount();
        for (size_t i = 0; i < columns_.size(); ++i) {
            const std::string_view name = reader_.fields()[i].text;
            if (!SameWord(name, columns_[i].name))
                throw SourceError(
                    fmt::format("{}: column {} of the header is {}, that of the job {}; give the "
                                "columns in the "
                                "order and with the names of the header, or take the header away",
                                reader_.Place(), i + 1, Quoted(name), Quoted(columns_[i].name)));
        }
    }

    size_t PutRow(uint8_t *to)
    {
        RowBuilder builder(layout_, to);
        for (size_t i = 0; i < columns_.size(); ++i) {
            const DelimitedReader::Field &field = reader_.fields()[i];
            if (!field.quoted && field.text == keys_.null)
                builder.Null();
            else if (!IsPlainText(types_[i]) || types_[i].fixed ||
                     !builder.Put(field.text.data(), field.text.size()))
                PutConverted(builder, i, field.text);
        }
        return builder.bytes();
    }

    void PutConverted(RowBuilder &builder, size_t i, std::string_view text)
    {
        uint32_t bytes = 0;
        const Misfit misfit = BinaryFromText(types_[i], text, value_.data(), &bytes);
        if (misfit == Misfit::None && builder.Put(value_.data(), bytes))
            return;
        throw SourceError(
            fmt::format("{}, column {}: {}", reader_.Place(), Quoted(columns_[i].name),
                        MisfitWords(types_[i], Shown(text),
                                    misfit == Misfit::None ? Misfit::TooLong : misfit)));
    }

    // What a message has of a value, which may be of any length.
    static std::string_view Shown(std::string_view text) { return text.substr(0, 100); }

    DelimitedKeys keys_;
    std::vector<Column> columns_;
    RowLayout layout_;
    DelimitedReader reader_;
    std::vector<ValueType> types_;
    std::vector<uint8_t> value_;
};

}  // namespace

void CheckStdinSettings(const Job &job, std::vector<Complaint> &found)
{
    CheckDelimitedKeys(job, job.source, job.source_at, "stdin can't read", "source", found);
}

std::unique_ptr<Source> MakeStdinSource(const Job &job)
{
    return std::make_unique<StdinSource>(job);
}

}  // namespace fenwire
