// host/services/bad_record_services.cpp - what the operator tells of a bad record: to the list of them,
// from this process, because a record may be longer than a message; and in short to the coordinator.
//
// The list has each one before the operator goes on. The coordinator counts: of records of one kind that
// come one behind the other, and that a file keeps, it is told now and then, and before anything that
// it might compare its counts with.

#include <cstring>

#include "host/rejects/bad_record.h"
#include "host/rejects/reject_list.h"
#include "host/services/operator_services.h"

namespace fenwire {

namespace {

constexpr size_t kExcerptBytes = 200;
constexpr std::chrono::milliseconds kTellAfter{50};

}  // namespace

std::string OperatorServices::FileName(uint32_t index)
{
    uint8_t *bytes = nullptr;
    uint32_t length = 0;
    PxFileNamesEntry entry;
    if (link_.Element("FileNames", index, &bytes, &length) != PXSTC_Success ||
        length != sizeof entry)
        return "file " + std::to_string(index);
    memcpy(&entry, bytes, sizeof entry);
    return {entry.name, strnlen(entry.name, sizeof entry.name)};
}

PxStatus OperatorServices::PutBadRecord(const void *value, size_t length)
{
    BadRecord record;
    if (!ReadBadRecord(value, length, record))
        return PXSTC_Length;
    if (rejects_ >= 0 && !rejects_failed_) {
        std::string file = FileName(record.head.index);
        if (!job_.retry_of.empty())  // the record error file or a copy of it, which won't stay
            file = std::filesystem::path(file).filename();
        const std::string line = BadRecordLine(job_, instance_, file, record);
        if (const std::string trouble = AppendLine(rejects_, line); !trouble.empty()) {
            rejects_failed_ = true;
            link_.Tell(OutMessage(MessageKind::Trouble)
                           .Put("the list of bad records " +
                                RejectListOf(RecordErrorFile(job_)).string() +
                                " can't be written: " + trouble));
        }
    }
    CountBadRecord(record);
    return rejects_failed_ ? PxStatus{PXSTC_FatalError} : PxStatus{PXSTC_Success};
}

void OperatorServices::CountBadRecord(const BadRecord &record)
{
    const std::string kind = ReasonKind(record.text);
    PendingBad &pending = pending_bad_;
    if (pending.times != 0 &&
        (pending.kind != kind || pending.head.column != record.head.column ||
         pending.head.left_out != record.head.left_out || pending.head.kept != record.head.kept))
        TellBadRecords();
    pending.head = record.head;
    pending.kind = kind;
    pending.excerpt = record.raw.substr(0, kExcerptBytes);
    ++pending.times;
    if (record.head.kept == 0 || Clock::now() - told_bad_ > kTellAfter)
        TellBadRecords();
}

void OperatorServices::TellBadRecords()
{
    PendingBad &pending = pending_bad_;
    if (pending.times == 0)
        return;
    link_.Tell(OutMessage(MessageKind::BadRecord)
                   .Raw(&pending.head, sizeof pending.head)
                   .Put(pending.times)
                   .Put(std::string_view(pending.kind))
                   .Put(std::string_view(pending.excerpt)));
    pending.times = 0;
    told_bad_ = Clock::now();
}

}  // namespace fenwire
