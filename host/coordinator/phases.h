// host/coordinator/phases.h - the order of a job: which method and phase every instance is in.
//
// A pure state machine; processes are somebody else's business. It is told what each instance answered,
// and says what is to be called next:
//
//     41   the instance waits at the barrier; when no instance is under way any more, those that wait
//          go into the next phase
//     42   the method is over for this instance; when it is over for all, the next method starts
//     33   a checkpoint of all steps is wanted; the instance waits for it
//     else the job has failed: what is under way is let come back, then everybody is terminated
//
// Repeats (43, 0, 68) stay inside the instance and never come here. Methods: initiate, restart when the
// job goes on from a checkpoint, execute, and, whatever happened, terminate. The caller has the word before
// the first execute call (BeginRows) and behind the last (GoOnToTerminate).
//
// A checkpoint lies between the calls of a method:
//
//     Hold     what comes back from execute stays back, until nobody is under way: held()
//     Checkpoint   the checkpoint method of everybody who lives; when all have answered 42: checkpointed()
//     Release  the methods go on where they were

#ifndef FENWIRE_HOST_COORDINATOR_PHASES_H
#define FENWIRE_HOST_COORDINATOR_PHASES_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace fenwire {

enum class Method : uint32_t { Initiate = 1, Execute, Terminate, None, Restart, Checkpoint };
const char *MethodName(Method method);

// What an instance answers when it was stopped between two calls, and when it has handed over as many
// rows as may lie between two checkpoints.
inline constexpr int32_t kStopped = -1, kRowsDue = -2;

struct MethodCall {
    Method method = Method::None;
    uint32_t phase = 0;
    std::vector<int> instances;  // to be called with it
};

class Phases {
public:
    explicit Phases(int instances, bool restarts = false);

    // What is to be called now; empty instances: wait for answers, or for the caller's word.
    MethodCall Next();

    void Answered(int instance, int32_t status);
    void Died(int instance);  // it is never called again
    void Fail();              // from outside: a signal, the target, a protocol error

    // Execute may begin; is over for all.
    bool at_rows_begin() const { return gate_ == Gate::RowsBegin; }
    bool at_rows_end() const { return gate_ == Gate::RowsEnd; }
    void BeginRows();
    void GoOnToTerminate();

    // ---- Checkpoint
    bool wants_checkpoint() const { return wants_checkpoint_; }
    void Hold() { holding_ = true; }
    bool held() const { return !under_way(); }
    MethodCall Checkpoint();  // only while nobody is under way
    bool checkpointed() const { return checkpointing_ && !under_way(); }
    void Release();

    bool done() const { return method_ == Method::None; }
    bool failed() const { return failed_; }
    bool under_way() const;  // an instance is inside a call
    bool under_way(int instance) const { return Of(instance) == Where::Calling; }
    Method method() const { return checkpointing_ ? Method::Checkpoint : method_; }

private:
    enum class Where : uint8_t { Ready, Calling, Held, Barrier, Ended, Dead };
    enum class Gate : uint8_t { Open, RowsBegin, RowsEnd };
    Where &Of(int instance) { return where_[static_cast<size_t>(instance - 1)]; }
    Where Of(int instance) const { return where_[static_cast<size_t>(instance - 1)]; }
    bool Any(Where where) const;
    MethodCall CallReady(Method method, uint32_t phase);
    void Enter(Method method);
    void LeaveMethod();
    Where After(int32_t status);

    std::vector<Where> where_, before_checkpoint_;
    const bool restarts_;
    Method method_ = Method::Initiate;
    uint32_t phase_ = 1;
    Gate gate_ = Gate::Open;
    bool failed_ = false, holding_ = false, wants_checkpoint_ = false, checkpointing_ = false;
};

}  // namespace fenwire

#endif
