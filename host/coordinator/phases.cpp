// host/coordinator/phases.cpp

#include "host/coordinator/phases.h"

#include <algorithm>

#include "infrastructure/infrastructure.h"

namespace fenwire {

const char *MethodName(Method method)
{
    switch (method) {
    case Method::Initiate:
        return "initiate";
    case Method::Restart:
        return "restart";
    case Method::Execute:
        return "execute";
    case Method::Checkpoint:
        return "checkpoint";
    case Method::Terminate:
        return "terminate";
    default:
        return "none";
    }
}

Phases::Phases(int instances, bool restarts)
    : where_(static_cast<size_t>(instances), Where::Ready), restarts_(restarts)
{
}

bool Phases::Any(Where where) const
{
    return std::find(where_.begin(), where_.end(), where) != where_.end();
}

bool Phases::under_way() const { return Any(Where::Calling); }

void Phases::Enter(Method method)
{
    method_ = method;
    phase_ = 1;
    gate_ = Gate::Open;
    holding_ = wants_checkpoint_ = checkpointing_ = false;
    for (Where &where : where_) {
        if (where != Where::Dead)
            where = Where::Ready;
    }
}

void Phases::LeaveMethod()
{
    if (method_ == Method::Terminate)
        method_ = Method::None;
    else if (failed_)
        Enter(Method::Terminate);
    else if (method_ == Method::Initiate && restarts_)
        Enter(Method::Restart);
    else
        gate_ = method_ == Method::Execute ? Gate::RowsEnd : Gate::RowsBegin;
}

void Phases::BeginRows()
{
    if (gate_ == Gate::RowsBegin)
        Enter(Method::Execute);
}

void Phases::GoOnToTerminate()
{
    if (gate_ == Gate::RowsEnd)
        Enter(Method::Terminate);
}

MethodCall Phases::CallReady(Method method, uint32_t phase)
{
    MethodCall call = {method, phase, {}};
    for (size_t i = 0; i < where_.size(); ++i) {
        if (where_[i] != Where::Ready)
            continue;
        where_[i] = Where::Calling;
        call.instances.push_back(static_cast<int>(i) + 1);
    }
    return call;
}

MethodCall Phases::Next()
{
    if (method_ == Method::None || under_way())
        return {};
    if (failed_ && method_ != Method::Terminate)
        Enter(Method::Terminate);
    if (gate_ != Gate::Open || holding_ || checkpointing_ || wants_checkpoint_)
        return {};
    if (!Any(Where::Ready)) {
        if (Any(Where::Barrier)) {
            ++phase_;
            std::replace(where_.begin(), where_.end(), Where::Barrier, Where::Ready);
        } else {
            LeaveMethod();
        }
    }
    if (method_ == Method::None || gate_ != Gate::Open)
        return {};
    MethodCall call = CallReady(method_, phase_);
    if (call.instances.empty() && method_ == Method::Terminate)
        method_ = Method::None;  // nobody is left to terminate
    return call;
}

MethodCall Phases::Checkpoint()
{
    if (under_way() || checkpointing_ || failed_)
        return {};
    checkpointing_ = true;
    wants_checkpoint_ = holding_ = false;
    before_checkpoint_ = where_;
    for (Where &where : where_) {
        if (where != Where::Dead)
            where = Where::Ready;
    }
    return CallReady(Method::Checkpoint, 1);
}

void Phases::Release()
{
    if (!checkpointed() || failed_)
        return;
    checkpointing_ = false;
    where_ = before_checkpoint_;
    std::replace(where_.begin(), where_.end(), Where::Held, Where::Ready);
}

Phases::Where Phases::After(int32_t status)
{
    const bool rows = method_ == Method::Execute && !checkpointing_ && !failed_;
    if (status == PXSTC_EndMethod)
        return Where::Ended;
    if (status == PXSTC_NextPhase && !checkpointing_)
        return Where::Barrier;
    if (rows && status == kStopped && holding_)
        return Where::Held;
    if (rows && (status == kRowsDue || status == PXSTC_Checkpoint)) {
        wants_checkpoint_ = true;
        return Where::Held;
    }
    failed_ = true;
    return Where::Ended;
}

void Phases::Answered(int instance, int32_t status)
{
    if (Of(instance) == Where::Calling)
        Of(instance) = After(status);
}

void Phases::Died(int instance)
{
    Of(instance) = Where::Dead;
    if (method_ != Method::None)
        failed_ = true;
}

void Phases::Fail()
{
    failed_ = true;
    if (gate_ == Gate::RowsEnd && !under_way())
        Enter(Method::Terminate);
}

}  // namespace fenwire
