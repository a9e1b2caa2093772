// host/coordinator/phases.h - the order of a job: which method and phase every instance is in.
//
// A pure state machine; processes are somebody else's business. It is told what each instance answered,
// and says what is to be called next:
//
//     41   the instance waits at the barrier; when no instance is under way any more, those that wait
//          go into the next phase
//     42   the method is over for this instance; when it is over for all, the next method starts
//     33   a checkpoint of the whole step: not built yet, so it fails the job
//     else the job has failed: what is under way is let come back, then everybody is terminated
//
// Repeats (43, 0, 68) stay inside the instance and never come here. Methods: initiate, execute, and,
// whatever happened, terminate. Between execute and terminate the caller settles the rows.

#ifndef FENWIRE_HOST_COORDINATOR_PHASES_H
#define FENWIRE_HOST_COORDINATOR_PHASES_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace fenwire {

enum class Method : uint32_t { Initiate = 1, Execute = 2, Terminate = 3, None = 4 };
const char *MethodName(Method method);

// What an instance answers when it was stopped between two calls.
inline constexpr int32_t kStopped = -1;

struct MethodCall {
    Method method = Method::None;
    uint32_t phase = 0;
    std::vector<int> instances;  // to be called with it
};

class Phases {
public:
    explicit Phases(int instances);

    // What is to be called now; empty instances: wait for answers, or done() or at_rows_end().
    MethodCall Next();

    void Answered(int instance, int32_t status);
    void Died(int instance);  // it is never called again
    void Fail();              // from outside: a signal, the target, a protocol error

    bool at_rows_end() const { return rows_end_; }  // execute is over for all: settle, then Go
    void GoOnToTerminate();
    bool done() const { return method_ == Method::None; }
    bool failed() const { return failed_; }
    bool under_way() const;  // an instance is inside a call
    bool under_way(int instance) const { return Of(instance) == Where::Calling; }
    Method method() const { return method_; }

private:
    enum class Where : uint8_t { Ready, Calling, Barrier, Ended, Dead };
    Where &Of(int instance) { return where_[static_cast<size_t>(instance - 1)]; }
    Where Of(int instance) const { return where_[static_cast<size_t>(instance - 1)]; }
    bool Any(Where where) const;
    void Enter(Method method);
    void LeaveMethod();

    std::vector<Where> where_;
    Method method_ = Method::Initiate;
    uint32_t phase_ = 1;
    bool failed_ = false, rows_end_ = false;
};

}  // namespace fenwire

#endif
