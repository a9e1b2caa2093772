// host/targets/target.h - where rows go.
//
// A target lives in a process of its own, the target process, and gets the rows of all instances
// there, in batches. To add one: a class, and a row in kTargets (targets.cpp) with its name, its keys
// and what it promises. docs/job-file.md and `fenwire list targets` are made from that table.

#ifndef FENWIRE_HOST_TARGETS_TARGET_H
#define FENWIRE_HOST_TARGETS_TARGET_H

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/checkpoint/checkpoints.h"
#include "host/job/settings.h"
#include "host/streams/row_record.h"

namespace fenwire {

// What a target can't do, in words for the job's user: what, where, and what would be right.
class TargetError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct TargetReport {
    uint64_t rows = 0;     // taken for good: counted when committed
    uint64_t refused = 0;  // left out by the target's own rules, such as ON CONFLICT IGNORE
    uint64_t bytes = 0;    // of data
    std::string note;      // one line for the summary, such as a checksum; may be empty
    std::string warning;   // the rows are in, but something about them is odd; mostly empty
};

class Target {
public:
    virtual ~Target() = default;

    // Looks whether the job could run, and changes nothing: the file opens, the table's columns fit.
    virtual void Check() = 0;

    // Opens and begins. Called in the target process. Again: the job goes on from a generation, so what
    // the table holds stays, and the table is there.
    enum class Start : uint8_t { Anew, Again };
    virtual void Open(Start start) = 0;

    // Why rows may come twice when the job is resumed, in words; empty: they can't. Asked after Open.
    virtual std::string WhyNotExactlyOnce() const { return {}; }

    // Rows of one instance, from 1, in their order. They are gone after the call.
    virtual void Put(int instance, const RowBatch &rows) = 0;

    // Rows that were counted where they were read, for a target that does not take them.
    virtual void Count(uint64_t, uint64_t) { throw TargetError("this target takes rows"); }

    // Everything that was put is with the target, and what it would refuse it has refused: how many rows
    // it left out since Open. Called before every Commit.
    virtual uint64_t Settle() { return 0; }

    // Makes everything that was put last, and the generation with it, which takes the place of the job's
    // one before: both or neither, however this ends. Null: the job keeps none. What it reports counts from
    // Open.
    virtual TargetReport Commit(const StoredGeneration *generation) = 0;

    // Behind a commit that is not the last one: the next rows begin.
    virtual void GoOn() { throw TargetError("this target takes no checkpoints"); }

    // Undoes what was put since the last commit, as far as the target can. Never throws.
    virtual void Abort() noexcept = 0;
};

struct TargetKind {
    const char *name;
    const char *about;
    std::span<const SettingKey> keys;
    std::unique_ptr<Target> (*make)(
        const Job &job);  // throws TargetError for settings that don't fit
    // Complaints about the settings that need no opening; appended.
    void (*check_settings)(const Job &job, std::vector<Complaint> &found);
    // What a job leaves that failed before its commit, however it ended: a clause for the summary.
    const char *(*after_failure)(const Job &job);
    // Changes the settings so that rows are added to those of an earlier run of the job. Words: why that
    // can't be. Null: it adds by itself.
    std::string (*prepare_to_add)(Job &job);
    // Whether rows are only to be counted, where they are read. Null: they are carried to the target.
    bool (*only_counts)(const Job &job);
    // The columns of the table that takes the rows, for [schema] from = "target". Throws TargetError.
    // Null: the target has none by itself.
    std::vector<Column> (*columns)(const Job &job);
    // Null: the target can't take checkpoints.
    CheckpointPlace (*place)(const Job &job);
    // Of a target that keeps generations within itself, over a connection of their own. run and at_work
    // as in FindGeneration. Null: it keeps none.
    std::optional<StoredGeneration> (*find)(const Job &job, const std::string &run, bool at_work);
    void (*forget)(const Job &job, const std::string &run);
};

std::span<const TargetKind> TargetKinds();
const TargetKind *FindTargetKind(const std::string &name);  // null: there is none
std::unique_ptr<Target> MakeTarget(const Job &job);
bool TargetOnlyCounts(const Job &job);

}  // namespace fenwire

#endif
