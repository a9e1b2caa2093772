// tests/operator/whole_instance.h - an instance from its first call to its last, over a directory of its own.

#ifndef FENWIRE_TESTS_OPERATOR_WHOLE_INSTANCE_H
#define FENWIRE_TESTS_OPERATOR_WHOLE_INSTANCE_H

#include <gtest/gtest.h>
#include <string>

#include "operator/methods.h"
#include "tests/support/fake_infrastructure.h"
#include "tests/support/temp_directory.h"

class WholeInstance : public testing::Test {
protected:
    WholeInstance() { fake.text["DirectoryPath"] = directory.path(); }

    // The statuses of all calls, a run of 43 as one: "41 42 43 42 41 42 ". Execute and the phases
    // of initiate stop at the first that fails; terminate runs in any case.
    std::string Run()
    {
        std::string statuses;
        if (Note(statuses, PX_Initiate(fake.op(), 1)) == PXSTC_NextPhase &&
            Note(statuses, PX_Initiate(fake.op(), 2)) == PXSTC_EndMethod) {
            while (Note(statuses, PX_Execute(fake.op(), 1)) == PXSTC_SamePhase) {
            }
        }
        Note(statuses, PX_Terminate(fake.op(), 1));
        Note(statuses, PX_Terminate(fake.op(), 2));
        return statuses;
    }

    // Of the only file.
    std::string Counts() const
    {
        if (fake.file_counts.size() != 1)
            return std::to_string(fake.file_counts.size()) + " files";
        const PxFileCounts &c = fake.file_counts[0];
        return "ended " + std::to_string(c.ended) + ", file " + std::to_string(c.index) +
               ", records " + std::to_string(c.records) + ", rows " + std::to_string(c.rows) +
               ", refused " + std::to_string(c.refused) + ", bytes " + std::to_string(c.bytes);
    }

    void TearDown() override
    {
        if (HasFailure())
            printf("console:\n%s\npublic log: %s\nprivate log:\n%s\n", fake.console.c_str(),
                   fake.public_log.c_str(), fake.private_log.c_str());
    }

    Fake fake;
    TempDirectory directory;

private:
    static PxStatus Note(std::string &statuses, PxStatus status)
    {
        const std::string word = std::to_string(status) + " ";
        if (status != PXSTC_SamePhase || !statuses.ends_with(" " + word))
            statuses += word;
        return status;
    }
};

#endif
