// host/checkpoint/not_yet.cpp - bodies to come.

#include "host/checkpoint/checkpoints.h"
#include "host/checkpoint/run_state.h"

namespace fenwire {

CheckpointPlace PlaceOfCheckpoints(const Job &) { return CheckpointPlace::None; }
std::optional<Generation> FindGeneration(const Job &, const std::string &) { return std::nullopt; }
void ForgetGeneration(const Job &, const std::string &) {}
class CheckpointStore::Database {};
CheckpointStore::CheckpointStore(const Job &) {}
CheckpointStore::~CheckpointStore() = default;
void CheckpointStore::Save(const StoredGeneration &) {}
std::string EncodeGeneration(const Generation &) { return {}; }
Generation DecodeGeneration(std::string_view) { throw DamagedCheckpoint("not available"); }

std::string NewRunId() { return "1"; }
std::string UtcNow() { return {}; }
std::optional<RunState> ReadRunState(const Job &) { return std::nullopt; }
void WriteRunState(const Job &, const RunState &) {}

}  // namespace fenwire
