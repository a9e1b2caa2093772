// tests/host/coordinator/phases_test.cpp - which method and phase comes next, for any answers.

#include <gtest/gtest.h>
#include <string>

#include "host/coordinator/phases.h"
#include "infrastructure/infrastructure.h"

using namespace fenwire;

namespace {

std::string Show(const MethodCall &call)
{
    if (call.instances.empty())
        return "-";
    std::string text =
        MethodName(call.method) + std::string(" ") + std::to_string(call.phase) + ":";
    for (const int instance : call.instances)
        text += " " + std::to_string(instance);
    return text;
}

void AnswerAll(Phases &phases, const MethodCall &call, int32_t status)
{
    for (const int instance : call.instances)
        phases.Answered(instance, status);
}

// Goes on with good answers, and writes down what was called.
std::string Finish(Phases &phases)
{
    std::string calls;
    while (!phases.done()) {
        if (phases.at_rows_end()) {
            phases.GoOnToTerminate();
            calls += "settle; ";
        }
        const MethodCall call = phases.Next();
        if (call.instances.empty() && phases.at_rows_end())
            continue;
        if (call.instances.empty())
            break;
        calls += Show(call) + "; ";
        const bool more = call.method != Method::Execute && call.phase == 1;
        AnswerAll(phases, call, more ? PXSTC_NextPhase : PXSTC_EndMethod);
    }
    return calls;
}

}  // namespace

TEST(Phases, GoodJobGoesThroughItsMethodsWithABarrierBetweenPhases)
{
    Phases phases(2);
    EXPECT_EQ(Finish(phases), "initiate 1: 1 2; initiate 2: 1 2; execute 1: 1 2; settle; "
                              "terminate 1: 1 2; terminate 2: 1 2; ");
    EXPECT_TRUE(phases.done());
    EXPECT_FALSE(phases.failed());
}

TEST(Phases, BarrierCountsOnlyThoseWhoAreStillInTheMethod)
{
    Phases phases(3);
    AnswerAll(phases, phases.Next(), PXSTC_EndMethod);
    const MethodCall execute = phases.Next();
    EXPECT_EQ(Show(execute), "execute 1: 1 2 3");
    phases.Answered(2, PXSTC_EndMethod);
    phases.Answered(1, PXSTC_NextPhase);
    EXPECT_EQ(Show(phases.Next()), "-");  // 3 is under way
    phases.Answered(3, PXSTC_NextPhase);
    EXPECT_EQ(Show(phases.Next()), "execute 2: 1 3");
}

TEST(Phases, WhateverGoesWrongEverybodyWhoIsLeftIsTerminated)
{
    // clang-format off
    static constexpr struct {
        const char *about;
        int32_t status;  // of instance 1 in execute; 0: it dies
        const char *rest;
    } kCases[] = {
        {"a failing status",       PXSTC_FatalError, "terminate 1: 1 2; terminate 2: 1 2; "},
        {"a status beside the exit code rule", PXSTC_Length, "terminate 1: 1 2; terminate 2: 1 2; "},
        {"a checkpoint request",   PXSTC_Checkpoint, "terminate 1: 1 2; terminate 2: 1 2; "},
        {"a dead instance",        0,                "terminate 1: 2; terminate 2: 2; "    },
    };
    // clang-format on
    for (const auto &c : kCases) {
        Phases phases(2);
        AnswerAll(phases, phases.Next(), PXSTC_EndMethod);
        (void)phases.Next();
        if (c.status == 0)
            phases.Died(1);
        else
            phases.Answered(1, c.status);
        EXPECT_EQ(Show(phases.Next()), "-") << c.about;  // 2 is under way: it is called back first
        phases.Answered(2, kStopped);
        EXPECT_EQ(Finish(phases), c.rest) << c.about;
        EXPECT_TRUE(phases.failed()) << c.about;
        EXPECT_TRUE(phases.done()) << c.about;
    }
}

TEST(Phases, FailureFromOutsideWhileRowsAreSettledLeadsToTerminate)
{
    Phases phases(1);
    AnswerAll(phases, phases.Next(), PXSTC_EndMethod);
    AnswerAll(phases, phases.Next(), PXSTC_EndMethod);
    EXPECT_TRUE(phases.at_rows_end() || phases.Next().instances.empty());
    ASSERT_TRUE(phases.at_rows_end());
    phases.Fail();
    EXPECT_EQ(Finish(phases), "terminate 1: 1; terminate 2: 1; ");
}

TEST(Phases, NobodyLeftEndsTheJob)
{
    Phases phases(2);
    (void)phases.Next();
    phases.Died(1);
    phases.Died(2);
    EXPECT_EQ(Show(phases.Next()), "-");
    EXPECT_TRUE(phases.done());
}
