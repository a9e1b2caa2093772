// host/targets/print_target.cpp - rows as delimited text.
//
// With a quote, a value stands in quotes when it could be mistaken: it holds the delimiter, the quote or
// a line end, or it is the text that stands for NULL. Quotes inside are doubled. Without a quote values go
// out as they are. A row is put together as a whole before any of it is written.

#include <array>
#include <csignal>
#include <fmt/format.h>
#include <optional>

#include <unistd.h>

#include "host/job/delimited_keys.h"
#include "host/job/words.h"
#include "host/targets/kinds.h"
#include "host/targets/output_file.h"
#include "host/values/values.h"

namespace fenwire {

namespace {

struct PrintStyle : DelimitedKeys {
    std::array<bool, 256> special = {};  // first bytes of what makes quotes necessary

    explicit PrintStyle(const Job &job) : DelimitedKeys(job.target)
    {
        for (const char first : {delimiter[0], quote.empty() ? '\n' : quote[0], '\n', '\r'})
            special[static_cast<uint8_t>(first)] = true;
    }

    bool NeedsQuotes(std::string_view value) const
    {
        if (value == null)
            return true;
        for (size_t i = 0; i < value.size(); ++i) {
            if (!special[static_cast<uint8_t>(value[i])])
                continue;
            const std::string_view rest = value.substr(i);
            // The end of a value may be the start of a delimiter too: "a:" before "::".
            if (rest[0] == '\n' || rest[0] == '\r' || rest.starts_with(delimiter) ||
                delimiter.starts_with(rest) || rest.starts_with(quote))
                return true;
        }
        return false;
    }

    void Append(std::string &line, std::string_view value) const
    {
        if (quote.empty() || !NeedsQuotes(value)) {
            line += value;
            return;
        }
        line += quote;
        for (size_t at; (at = value.find(quote)) != std::string_view::npos;
             value.remove_prefix(at + quote.size()))
            line.append(value.substr(0, at + quote.size())).append(quote);
        line.append(value).append(quote);
    }
};

class PrintTarget final : public Target {
public:
    explicit PrintTarget(const Job &job) : style_(job), path_(PathSetting(job, job.target, "file"))
    {
        for (const Column &column : job.columns) {
            names_.push_back(column.name);
            types_.push_back(ValueTypeOf(column));
        }
    }

    void Check() override
    {
        if (!path_.empty())
            PendingFile::Check(path_);
    }

    void Open(Start) override
    {
        report_ = {};
        // A reader that goes away is an error of the job, with words, not the end of this process.
        signal(SIGPIPE, SIG_IGN);
        if (path_.empty()) {
            writer_.emplace(STDOUT_FILENO, "standard output");
        } else {
            file_.emplace(path_);
            writer_.emplace(file_->fd(), fmt::format("file {}", Quoted(path_.string())));
        }
        if (style_.header)
            PutHeader();
    }

    void Put(int, const RowBatch &rows) override
    {
        rows.ForEach([&](const RowRecord &row) { PutRow(row, rows.columns); });
        if (path_.empty())
            writer_->Flush();  // somebody may be watching
    }

    TargetReport Commit(const StoredGeneration *) override
    {
        writer_->Flush();
        if (file_)
            file_->Publish();
        return report_;
    }

    void Abort() noexcept override
    {
        writer_.reset();
        file_.reset();
    }

private:
    void PutHeader()
    {
        std::string &line = writer_->buffer();
        for (const std::string &name : names_) {
            style_.Append(line, name);
            line += style_.delimiter;
        }
        EndRow(line);
    }

    void PutRow(const RowRecord &row, uint32_t columns)
    {
        std::string &line = writer_->buffer();
        const char *data = reinterpret_cast<const char *>(row.data(columns));
        for (uint32_t i = 0; i < columns; ++i) {
            const uint32_t length = row.length(i);
            if (length == kNullColumn) {
                line += style_.null;
            } else {
                style_.Append(line, TextOf(i, {data, length}));
                data += length;
            }
            line += style_.delimiter;
        }
        EndRow(line);
        ++report_.rows;
        report_.bytes += row.data_bytes();
    }

    // Holds until the next call.
    std::string_view TextOf(uint32_t column, std::string_view value)
    {
        const ValueType &type = types_[column];
        if (IsPlainText(type))
            return value;
        text_.clear();
        if (!AppendText(type, reinterpret_cast<const uint8_t *>(value.data()),
                        static_cast<uint32_t>(value.size()), text_))
            throw TargetError(fmt::format("column {} of row {} has bytes that are no value of "
                                          "type {}",
                                          Quoted(names_[column]), report_.rows + 1, type.name));
        return text_;
    }

    void EndRow(std::string &line)
    {
        line.resize(line.size() - style_.delimiter.size());
        line += '\n';
        writer_->RowDone();
    }

    PrintStyle style_;
    std::filesystem::path path_;
    std::vector<std::string> names_;
    std::vector<ValueType> types_;
    std::string text_;
    std::optional<PendingFile> file_;
    std::optional<FdWriter> writer_;
    TargetReport report_;
};

}  // namespace

void CheckPrintSettings(const Job &job, std::vector<Complaint> &found)
{
    CheckDelimitedKeys(job, job.target, job.target_at, "print can't write", "target", found);
}

std::unique_ptr<Target> MakePrintTarget(const Job &job)
{
    return std::make_unique<PrintTarget>(job);
}

}  // namespace fenwire
