// host/sources/generator_source.cpp - rows by rule and seed, for tests and measurements.
//
// Row k depends on the seed and k alone. Part i of n delivers one run of them, so that the set of rows is
// the same for any number of instances, and the place of a part is the number of its next row. With repeat,
// row k is row k modulo repeat: these are made once, and then a row costs a copy, so that what comes behind
// the source can be measured.

#include <algorithm>
#include <fmt/format.h>
#include <utility>

#include "host/job/words.h"
#include "host/sources/kinds.h"
#include "host/sources/position.h"
#include "host/sources/row_maker.h"

namespace fenwire {

namespace {

constexpr size_t kMostPoolBytes = size_t{256} << 20;

constexpr std::pair<std::string_view, TextStyle> kStyles[] = {{"plain", TextStyle::Plain},
                                                              {"marks", TextStyle::Marks},
                                                              {"utf8", TextStyle::Utf8},
                                                              {"all", TextStyle::All}};

TextStyle StyleOf(const Job &job)
{
    const std::string word = SettingOr<std::string>(job.source, "text", "plain");
    for (const auto &[name, style] : kStyles) {
        if (name == word)
            return style;
    }
    throw SourceError(fmt::format("text = {} is none of plain, marks, utf8 and all", Quoted(word)));
}

RowRule RuleOf(const Job &job)
{
    return {static_cast<uint64_t>(SettingOr<int64_t>(job.source, "seed", 1)),
            static_cast<uint32_t>(SettingOr<int64_t>(job.source, "nulls", 0)), StyleOf(job),
            SettingOr(job.source, "edges", false)};
}

class GeneratorSource final : public Source {
public:
    explicit GeneratorSource(const Job &job)
        : maker_(job, RuleOf(job)),
          rows_(static_cast<uint64_t>(SettingOr<int64_t>(job.source, "rows", 0))),
          repeat_(static_cast<uint64_t>(SettingOr<int64_t>(job.source, "repeat", 0)))
    {
    }

    void Check() override {}

    void Open(int part, int parts) override
    {
        const uint64_t share = rows_ / parts, rest = rows_ % parts;
        const auto before = static_cast<uint64_t>(part - 1);
        begin_ = next_ = share * before + std::min(before, rest);
        end_ = next_ + share + (before < rest ? 1 : 0);
        if (repeat_ != 0 && next_ < end_)
            FillPool();
    }

    bool Read(RowOutlet &rows) override
    {
        size_t bytes = 0;
        for (; next_ < end_ && bytes < kBatchBytes; ++next_) {
            uint8_t *to = rows.Reserve();
            const size_t row = repeat_ != 0 ? CopyRow(to) : maker_.Make(next_, to);
            rows.Append(row);
            bytes += row;
        }
        return next_ < end_;
    }

    std::optional<std::string> Position() override { return fmt::format("row {}", next_); }

    void GoTo(const std::string &position) override
    {
        PositionReader place(position);
        if (place.Word() != "row")
            place.Refuse();
        const auto row = place.Whole<uint64_t>();
        place.End();
        if (row < begin_ || row > end_)
            place.Refuse();
        next_ = row;
        turn_ = repeat_ != 0 ? row % repeat_ : 0;
    }

private:
    void FillPool()
    {
        const uint64_t most = std::min(repeat_, rows_);
        ends_ = {0};
        for (uint64_t row = 0; row < most; ++row) {
            const size_t used = ends_.back();
            if (used > kMostPoolBytes)
                throw SourceError(fmt::format("repeat = {} would keep more than {} MB of rows in "
                                              "memory; take a smaller number",
                                              repeat_, kMostPoolBytes >> 20));
            if (pool_.size() < used + maker_.layout().most_bytes())
                pool_.resize(2 * pool_.size() + maker_.layout().most_bytes());
            ends_.push_back(used + maker_.Make(row, pool_.data() + used));
        }
        turn_ = next_ % repeat_;
    }

    size_t CopyRow(uint8_t *to)
    {
        const size_t from = ends_[turn_], bytes = ends_[turn_ + 1] - from;
        memcpy(to, pool_.data() + from, bytes);
        if (++turn_ == ends_.size() - 1)
            turn_ = 0;
        return bytes;
    }

    RowMaker maker_;
    uint64_t rows_, repeat_;
    uint64_t begin_ = 0, next_ = 0, end_ = 0;
    std::vector<uint8_t> pool_;  // the rows that come again, and where each ends
    std::vector<size_t> ends_;
    uint64_t turn_ = 0;
};

}  // namespace

void CheckGeneratorSettings(const Job &job, std::vector<Complaint> &found)
{
    const auto in_range = [&](const char *key, int64_t least, int64_t most) {
        const int64_t value = SettingOr<int64_t>(job.source, key, least);
        if (value < least || value > most)
            found.push_back({PositionOf(job.source, job.source_at, key),
                             fmt::format("{} = {} must be from {} to {}", key, value, least, most),
                             {}});
    };
    in_range("rows", 0, int64_t{1} << 50);
    in_range("nulls", 0, 100);
    in_range("repeat", 1, 10'000'000);
    const auto complain = [&](std::string what, const char *hint) {
        found.push_back({PositionOf(job.source, job.source_at, "text"), std::move(what), hint});
    };
    try {
        const TextStyle style = StyleOf(job);
        if ((style == TextStyle::Utf8 || style == TextStyle::All) && !IsUtf16(job.charset) &&
            !SameWord(job.charset, "UTF8"))
            complain(fmt::format("the generator makes no characters of several bytes for the "
                                 "character set {}",
                                 Quoted(job.charset)),
                     "take text = \"marks\", or charset = \"UTF8\"");
    } catch (const SourceError &error) {
        complain(error.what(), "text = \"plain\" is the default");
    }
}

std::unique_ptr<Source> MakeGeneratorSource(const Job &job)
{
    return std::make_unique<GeneratorSource>(job);
}

}  // namespace fenwire
