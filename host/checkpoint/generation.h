// host/checkpoint/generation.h - what a checkpoint holds: everything that a job needs to go on from there.
//
// A generation is made by the coordinator when every instance has called its checkpoint method and the
// streams are empty. It is stored in the transaction that makes the rows last, as one run of bytes
// with a checksum, so it is there as a whole or not at all. What comes back from a store is hostile until
// DecodeGeneration has been through it.

#ifndef FENWIRE_HOST_CHECKPOINT_GENERATION_H
#define FENWIRE_HOST_CHECKPOINT_GENERATION_H

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "host/checkpoint/packed_bytes.h"

namespace fenwire {

// A file as it was when a job first saw it.
struct FileIdentity {
    static constexpr uint32_t kFinished = 2;

    std::string path;  // as the job opens it, from the job's folder
    uint64_t device = 0, inode = 0;
    int64_t size = -1;     // bytes; -1: it was not there
    int64_t time_ns = 0;   // of the last change
    uint32_t status = 0;   // at the checkpoint: 0 pending, 1 in work, kFinished
    int32_t instance = 0;  // whose it is, from 1
    bool operator==(const FileIdentity &) const = default;
};

// What instance i of a step wrote with PX_WriteCheckpointRecord, or part i of a source as its position,
// is at i - 1, and sound; empty: it wrote none.
using InstanceRecords = std::vector<std::optional<PackedBytes>>;

struct Generation {
    std::string run;          // of the run that began the job; a resumed one goes on with it
    uint64_t number = 0;      // 0: before the first row
    bool rows_ended = false;  // taken behind the last row: only the end of the job is missing
    std::string saved_at;     // UTC, "2026-11-21T20:15:00Z"
    std::string fingerprint;  // what must be the same in the job that goes on: FingerprintOf
    InstanceRecords reading, writing;
    std::vector<FileIdentity> inputs,
        outputs;                     // outputs: size is that which the checkpoint counts on
    uint64_t rows = 0, refused = 0;  // in the target or the output files; left out
    std::string ledger, rejects;     // Ledger::Save, RejectRun::Save
};

// The stored bytes are no generation: cut off, changed, of a later version.
class DamagedCheckpoint : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

std::string EncodeGeneration(const Generation &generation);
Generation DecodeGeneration(std::string_view bytes);  // throws DamagedCheckpoint

// Why a store refuses a generation: it holds one of another run of the job, or a later one of this run, which
// somebody else has taken. The lock of the state folder is of no help to two machines.
inline constexpr const char *kOvertaken = "another process runs this job, too, and has stored a "
                                          "checkpoint of its own: on another machine, or "
                                          "since the state folder was removed; wait for its end";

// A generation as a store keeps it.
struct StoredGeneration {
    std::string run, job, job_file;  // job_file: absolute
    uint64_t number = 0;
    std::string bytes;
};

}  // namespace fenwire

#endif
