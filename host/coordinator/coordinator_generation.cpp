// host/coordinator/coordinator_generation.cpp - what a generation is made of, and what is given back of it.

#include <cstring>

#include "host/checkpoint/fingerprint.h"
#include "host/coordinator/coordinator.h"

namespace fenwire {

namespace {

constexpr uint64_t kMostRecordBytes = uint64_t{1} << 31;

}  // namespace

// ---- Records -----------------------------------------------------------------------------------

PxStatus Coordinator::TakeRecord(StepRun &step, int instance, InMessage &message)
{
    PackedBytes record;
    record.size = message.U64();
    const uint64_t bytes = message.U64();
    if (step.phases.method() != Method::Checkpoint)
        return PXSTC_NotSupported;
    if (record.size == 0 || record.size > kMostRecordBytes || bytes > kMostRecordBytes)
        return PXSTC_Length;
    record.pieces = ContentOf(message.TakeFd(), bytes);
    if (!IsSound(record))
        throw ProtocolError("a checkpoint record that is not packed as one");
    InstanceRecords &records = step.side == Side::Reading ? round_.reading : round_.writing;
    records[static_cast<size_t>(instance - 1)] = std::move(record);
    return PXSTC_Success;
}

// The record of the generation that the job goes on from.
void Coordinator::GiveRecord(StepRun &step, int instance)
{
    const PackedBytes *record = nullptr;
    if (plan_.from) {
        const InstanceRecords &records =
            step.side == Side::Reading ? plan_.from->reading : plan_.from->writing;
        const auto at = static_cast<size_t>(instance - 1);
        if (at < records.size() && records[at])
            record = &*records[at];
    }
    Channel &channel = step.Of(instance).channel();
    if (record == nullptr) {
        channel.Send(
            OutMessage(MessageKind::Reply).Put(int32_t{PXSTC_NullPointer}).Put(uint64_t{0}));
        return;
    }
    const UniqueFd block = MakeSharedBlock("fenwire-record", std::max<uint64_t>(record->size, 1));
    Unpack(*record, reinterpret_cast<char *>(Mapping(block).data()));
    channel.Send(OutMessage(MessageKind::Reply).Put(int32_t{PXSTC_Success}).Put(record->size),
                 &block);
}

// Of a part of the source.
std::string Coordinator::PositionOf(int part) const
{
    const auto at = static_cast<size_t>(part - 1);
    const bool known = plan_.from && at < plan_.from->reading.size() && plan_.from->reading[at];
    return known ? Unpacked(*plan_.from->reading[at]) : std::string();
}

// ---- Files -------------------------------------------------------------------------------------

// anew: what the files are is looked up; else it stays as the job found them when it began.
void Coordinator::NoteFiles(const StepRun &step, std::vector<FileIdentity> &files, bool anew)
{
    const Step &of = step.side == Side::Writing ? job_.consumer : job_.producer;
    const std::filesystem::path folder = of.Text("DirectoryPath");
    const auto entries = step.objects.Files();
    if (anew)
        files.clear();
    for (size_t i = 0; i < entries.size(); ++i) {
        if (i >= files.size())
            files.push_back(IdentityOf(job_, (folder / NameOf(entries[i])).string()));
        files[i].status = static_cast<uint32_t>(entries[i].status);
        files[i].instance = entries[i].instance;
    }
}

// Pipes and devices have no positions; a source has no files.
bool Coordinator::AllPlainFiles() const
{
    const auto plain = [](const FileIdentity &file) { return file.size >= 0; };
    return std::ranges::all_of(generation_.inputs, plain) &&
           std::ranges::all_of(generation_.outputs, plain);
}

// ---- The whole ---------------------------------------------------------------------------------

void Coordinator::MakeGeneration()
{
    Generation &made = generation_;
    made.run = run_.run;
    made.number = round_.why == Round::Why::First ? 0 : checkpoint_.generation + 1;
    made.rows_ended = IsLast();
    made.saved_at = UtcNow();
    made.fingerprint = FingerprintOf(job_);
    made.reading = std::move(round_.reading);
    made.writing = std::move(round_.writing);
    NoteFiles(reading(), made.inputs, false);
    if (writing() != nullptr)
        NoteFiles(*writing(), made.outputs, true);
    made.rows = target_ != nullptr ? ledger_.target_rows() : ledger_.rows_written();
    made.refused = ledger_.refused() + ledger_.target_refused();
    made.rejects = rejects_.Save();  // on the disk before anything counts on it
    made.ledger = ledger_.Save();
}

StoredGeneration Coordinator::Encoded() const
{
    return {run_.run, job_.name, job_.file.string(), generation_.number,
            EncodeGeneration(generation_)};
}

}  // namespace fenwire
