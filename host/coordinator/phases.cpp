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
    case Method::Execute:
        return "execute";
    case Method::Terminate:
        return "terminate";
    default:
        return "none";
    }
}

Phases::Phases(int instances) : where_(static_cast<size_t>(instances), Where::Ready) {}

bool Phases::Any(Where where) const
{
    return std::find(where_.begin(), where_.end(), where) != where_.end();
}

bool Phases::under_way() const { return Any(Where::Calling); }

void Phases::Enter(Method method)
{
    method_ = method;
    phase_ = 1;
    rows_end_ = false;
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
    else if (method_ == Method::Initiate)
        Enter(Method::Execute);
    else
        rows_end_ = true;
}

void Phases::GoOnToTerminate()
{
    if (rows_end_)
        Enter(Method::Terminate);
}

MethodCall Phases::Next()
{
    if (method_ == Method::None || rows_end_ || under_way())
        return {};
    if (failed_ && method_ != Method::Terminate)
        LeaveMethod();
    if (!Any(Where::Ready)) {
        if (Any(Where::Barrier)) {
            ++phase_;
            std::replace(where_.begin(), where_.end(), Where::Barrier, Where::Ready);
        } else {
            LeaveMethod();
        }
    }
    if (method_ == Method::None || rows_end_)
        return {};
    MethodCall call = {method_, phase_, {}};
    for (size_t i = 0; i < where_.size(); ++i) {
        if (where_[i] != Where::Ready)
            continue;
        where_[i] = Where::Calling;
        call.instances.push_back(static_cast<int>(i) + 1);
    }
    if (call.instances.empty() && method_ == Method::Terminate)
        method_ = Method::None;  // nobody is left to terminate
    return call;
}

void Phases::Answered(int instance, int32_t status)
{
    if (Of(instance) != Where::Calling)
        return;
    if (status == PXSTC_NextPhase) {
        Of(instance) = Where::Barrier;
    } else {
        Of(instance) = Where::Ended;
        failed_ = failed_ || status != PXSTC_EndMethod;
    }
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
    if (rows_end_)
        Enter(Method::Terminate);
}

}  // namespace fenwire
