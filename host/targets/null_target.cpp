// host/targets/null_target.cpp - counts rows and keeps nothing.
//
// With a checksum the rows come here; without it they are counted where they are read. The checksum is the sum of the rows' hashes, so it does not depend on which instance read a row, or
// when: two jobs that moved the same rows show the same.

#include <fmt/format.h>

#include "host/targets/kinds.h"
#include "host/targets/row_hash.h"

namespace fenwire {

namespace {

class NullTarget final : public Target {
public:
    void Check() override {}
    void Open(Start) override { report_ = {}, checksum_ = 0; }

    void Put(int, const RowBatch &rows) override
    {
        uint64_t count = 0, bytes = 0, sum = 0;
        rows.ForEach([&](const RowRecord &row) {
            ++count;
            bytes += row.data_bytes();
            sum += HashRow(row, rows.columns);
        });
        report_.rows += count;
        report_.bytes += bytes;
        checksum_ += sum;
    }

    void Count(uint64_t rows, uint64_t bytes) override
    {
        report_.rows += rows;
        report_.bytes += bytes;
        counted_ = true;
    }

    TargetReport Commit(const StoredGeneration *) override
    {
        if (!counted_)
            report_.note = fmt::format("checksum {:016x}", checksum_);
        return report_;
    }

    void GoOn() override {}
    void Abort() noexcept override {}

private:
    TargetReport report_;
    uint64_t checksum_ = 0;
    bool counted_ = false;
};

}  // namespace

std::unique_ptr<Target> MakeNullTarget(const Job &) { return std::make_unique<NullTarget>(); }

}  // namespace fenwire
