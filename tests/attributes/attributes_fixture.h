// tests/attributes/attributes_fixture.h - attributes in, status and messages out.

#ifndef FENWIRE_TESTS_ATTRIBUTES_ATTRIBUTES_FIXTURE_H
#define FENWIRE_TESTS_ATTRIBUTES_ATTRIBUTES_FIXTURE_H

#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

#include "attributes/attributes.h"
#include "operator/messages.h"
#include "tests/support/open_logs.h"

// A value "#5" is the integer 5, "*" a list.
using Given = std::vector<std::pair<const char *, std::string>>;

class Attributes : public testing::Test {
protected:
    Attributes()
    {
        OpenLogs(fake);
        FW_TraceLvl = 5;
        OperatorType = 1;
        TotalInstances = 1;
    }

    static void Give(Fake &to, const Given &given)
    {
        for (const auto &[name, value] : given) {
            if (value == "*")
                to.lists.insert(name);
            else if (!value.empty() && value[0] == '#')
                to.integer[name] = atoi(value.c_str() + 1);
            else
                to.text[name] = value;
        }
    }

    // "48 19201(FileName) 19015(12) ": the answer and the public log of one group, read anew.
    std::string Read(PxStatus (*group)(), const Given &given)
    {
        const auto texts = fake.text;
        const auto integers = fake.integer;
        Give(fake, given);
        fake.public_log.clear();
        fake.private_log.clear();
        CurrentExitCode = 0;
        const PxStatus status = group();
        fake.text = texts;
        fake.integer = integers;
        fake.lists.clear();
        return std::to_string(status) + " " + fake.public_log;
    }

    Fake fake;
};

#endif
