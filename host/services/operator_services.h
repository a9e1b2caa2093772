// host/services/operator_services.h - the boundary's objects for one instance: operator, schema, columns
// and logs, with every operation that the operator may call.
//
// An operation never lets an exception out: it answers a status. What an operation is asked is checked
// like anything from outside: null pointers, counts, lengths.

#ifndef FENWIRE_HOST_SERVICES_OPERATOR_SERVICES_H
#define FENWIRE_HOST_SERVICES_OPERATOR_SERVICES_H

#include <chrono>
#include <list>
#include <memory>
#include <vector>

#include "host/job/job.h"
#include "host/rejects/bad_record.h"
#include "host/services/attribute_store.h"
#include "host/services/link.h"
#include "host/services/log_file.h"
#include "host/streams/ring_outlet.h"
#include "host/streams/row_inlet.h"
#include "infrastructure/infrastructure.h"

namespace fenwire {

class OperatorServices {
public:
    // One of out and in is null: a producer's rows go out, a consumer's come in. rejects: the list of bad
    // records, open for appending; -1: none is kept.
    OperatorServices(const Job &job, int instance, Link &link, RingOutlet *out, RowInlet *in,
                     Checkpointing checkpoints, int rejects = -1);
    PxOperator *handle() { return &operator_.object; }
    void SetExecutePassed(bool passed)
    {
        attributes_.Set("SYSTEM_ExecutePassed", passed ? "Y" : "N");
    }
    void TellBadRecords();  // what the coordinator was not told yet; before every answer

private:
    // What the operator holds is the object; what lies behind it is ours.
    template <class Object>
    struct Owned {
        Object object = {};
        OperatorServices *owner = nullptr;
    };
    struct Log {
        PxLog object = {};
        OperatorServices *owner = nullptr;
        std::unique_ptr<LogFile> file;  // null: the public log
    };
    struct ColumnHandle {
        PxColumn object = {};
        const Column *column = nullptr;
        int32_t offset = 0;
        bool file_name = false;
    };
    struct Stream {
        PxSchema object = {};
        OperatorServices *owner = nullptr;
        RingOutlet *out = nullptr;
        RowInlet *in = nullptr;
        uint32_t columns = 0;
    };

    static OperatorServices &Of(PxOperator *op)
    {
        return *reinterpret_cast<Owned<PxOperator> *>(op)->owner;
    }
    void FillOperator();
    void FillLogs();
    void FillSchema();
    PxStatus OpenLog(const char *file, PxLog **log);
    PxStatus WritePublic(uint32_t number, int32_t msg_class, int32_t severity,
                         const PxLogArg *args);
    PxStatus PutStatistic(int32_t statistic, int32_t type, const void *value, int32_t length);
    PxStatus PutBadRecord(const void *value, size_t length);
    void CountBadRecord(const BadRecord &record);
    std::string FileName(uint32_t index);
    static PxStatus PutRow(PxSchema *schema, int32_t columns, const uint8_t *indicators,
                           const uint32_t *offsets, const uint32_t *lengths, const void *row,
                           uint32_t row_length);
    static PxStatus CountRow(PxSchema *schema, int32_t columns, const uint8_t *indicators,
                             const uint32_t *offsets, const uint32_t *lengths, const void *row,
                             uint32_t row_length);
    static PxStatus PutLayoutRow(PxSchema *schema, int32_t columns, const uint8_t *indicators,
                                 const uint32_t *offsets, const uint32_t *lengths, const void *row,
                                 uint32_t row_length);
    static PxStatus GetRow(PxSchema *schema, int32_t *columns, const uint8_t **indicators,
                           const uint32_t **offsets, const uint32_t **lengths, void **row,
                           uint32_t *row_length);
    PxStatus StreamFailed(const char *words) noexcept;

    using Clock = std::chrono::steady_clock;
    const Job &job_;
    const int instance_;
    Link &link_;
    AttributeStore attributes_;
    std::string user_;
    Owned<PxOperator> operator_;
    Stream stream_;
    PxSchema *schema_list_[1] = {};
    std::vector<ColumnHandle> columns_;
    std::vector<PxColumn *> column_list_;
    std::list<Log> logs_;
    const int rejects_;
    bool rejects_failed_ = false;
    struct PendingBad {
        PxBadRecord head = {};  // of the last one
        uint64_t times = 0;
        std::string kind, excerpt;
    } pending_bad_;
    Clock::time_point file_start_ = Clock::now(), told_bad_ = {};
};

}  // namespace fenwire

#endif
