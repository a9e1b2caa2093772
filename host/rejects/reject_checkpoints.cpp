// host/rejects/reject_checkpoints.cpp - the bad records of a job that is stopped and goes on.

#include "host/rejects/reject_run.h"

namespace fenwire {

void RejectRun::AddErrorFile(int, const std::string &) {}
std::string RejectRun::Save() { return {}; }
void RejectRun::Restore(const std::string &) { Open(); }
void RejectRun::Complete() {}

}  // namespace fenwire
