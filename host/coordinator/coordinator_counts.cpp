// host/coordinator/coordinator_counts.cpp - what instances tell of their files and bad records.

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "host/checkpoint/fingerprint.h"
#include "host/coordinator/coordinator.h"
#include "host/job/words.h"
#include "host/rejects/bad_record.h"
#include "operator/message_table.h"

namespace fenwire {

namespace {

std::string FileName(const StepRun &step, uint32_t index)
{
    const auto files = step.objects.Files();
    if (index < 1 || index > files.size())
        return "file " + std::to_string(index);
    return std::string(files[index - 1].name, strnlen(files[index - 1].name, sizeof files[0].name));
}

}  // namespace

void Coordinator::OnFileCounts(StepRun &step, int instance, InMessage &message)
{
    const double seconds = static_cast<double>(message.U64()) * 1e-6;
    const auto counts = message.Struct<PxFileCounts>();
    ledger_.AddFile(step.side, instance, counts, FileName(step, counts.index), seconds);
}

void Coordinator::OnSourceRows(StepRun &step, int part, InMessage &message)
{
    ledger_.SetSourceRows(part, message.U64());
    if (const std::string warning = message.Text(); !warning.empty())
        PublicLine(Warning, step.Who(part) + ": " + warning);
}

std::filesystem::path Coordinator::PathOf(const StepRun &step, const std::string &file) const
{
    const Step &of = step.side == Side::Writing ? job_.consumer : job_.producer;
    return job_.folder / of.Text("DirectoryPath") / file;
}

// A file that somebody removes, or moves another one over, is written to its end all the same, and then it
// is gone with its rows.
std::string Coordinator::LostOutput() const
{
    for (uint32_t i = 1; writing() != nullptr && i <= writing()->objects.Files().size(); ++i) {
        const auto path = PathOf(*writing(), FileName(*writing(), i));
        const uint64_t inode =
            i <= generation_.outputs.size() ? generation_.outputs[i - 1].inode : 0;
        std::error_code none;
        if (!exists(path, none))
            return "output file " + Quoted(path.string()) +
                   " is gone: it was removed or moved while it was written";
        if (inode != 0 && IdentityOf(job_, generation_.outputs[i - 1].path).inode != inode)
            return "output file " + Quoted(path.string()) +
                   " is another file now: it was moved or replaced while it was written";
    }
    return {};
}

// What keeps rows that have all arrived from counting as done; empty: nothing.
std::string Coordinator::WhyNotGood() const
{
    if (std::string imbalance = ledger_.Imbalance(); !imbalance.empty())
        return imbalance;
    if (std::string lost = LostOutput(); !lost.empty())
        return lost;
    if (rejects_.left_out() == ledger_.refused())
        return {};
    return "the operator left out " + std::to_string(rejects_.left_out()) +
           " bad records, but counts " + std::to_string(ledger_.refused()) + " as refused";
}

// For a process that ended without a word: its rows, as far as the board has them, and the file it had.
void Coordinator::CountLost(const StepRun &step, int instance)
{
    const uint64_t rows = BoardOf(step, instance).rows.load(std::memory_order_acquire);
    if (step.side == Side::Reading && job_.has_source()) {
        ledger_.SetSourceRows(instance, std::max(rows, ledger_.RowsOf(step.side, instance)));
        return;
    }
    PxFileCounts counts = {};
    for (const PxFileNamesEntry &file : step.objects.Files()) {
        ++counts.index;
        if (file.status != PX_FILE_InProcess || file.instance != instance)
            continue;
        const std::string name = FileName(step, counts.index);
        std::error_code unknown;
        const auto size = file_size(PathOf(step, name), unknown);
        const uint64_t told = ledger_.RowsOf(step.side, instance);
        counts.records = counts.rows = rows > told ? rows - told : 0;
        counts.bytes = unknown ? 0 : size;
        ledger_.AddFile(step.side, instance, counts, name, Seconds());
        return;
    }
}

void Coordinator::OnBadRecord(StepRun &step, int instance, InMessage &message)
{
    const auto record = message.Struct<PxBadRecord>();
    const uint64_t times = message.U64();
    const std::string kind = message.Text(), excerpt = message.Text();
    const std::string column = ColumnWords(job_, record.column);
    rejects_.Add(record, times, column.empty() ? kind : column + " " + kind);
    std::string &place = step.last_bad[static_cast<size_t>(instance - 1)];
    // Where a file keeps it, the record that ends a job is found there.
    place.clear();
    if (record.left_out == 0 || (rejects_.keeps() && record.kept != 0))
        return;
    place = FileName(step, record.index) + ", record " + std::to_string(record.record);
    if (record.offset >= 0)
        place += ", byte offset " + std::to_string(record.offset);
    if (!column.empty())
        place += ", " + column;
    place += ": " + Excerpt(excerpt);
}

// Where an instance failed: at the bad record that it told of last, when no file keeps that, else
// somewhere in its file.
std::string Coordinator::PlaceOf(const StepRun &step, int instance)
{
    const std::string &bad = step.last_bad[static_cast<size_t>(instance - 1)];
    return bad.empty() ? CurrentFile(step, instance) : bad;
}

// A state that can't be written is the old one, "running", with which no retry starts by itself.
void Coordinator::FinishRejects(bool good)
{
    using Rows = RejectRun::Rows;
    try {
        rejects_.End(good                                                  ? Rows::Committed
                     : checkpoint_.resumable && checkpoint_.generation > 0 ? Rows::Unfinished
                     : commit_in_doubt_ || Committing()                    ? Rows::InDoubt
                     : ledger_.committed()                                 ? Rows::Committed
                                                                           : Rows::Undone);
    } catch (const std::exception &failure) {
        PublicLine(Warning, failure.what());
    }
}

}  // namespace fenwire
