// tests/fileset/fileset_fixture.h - an instance whose attributes are read: the file set comes next.

#ifndef FENWIRE_TESTS_FILESET_FILESET_FIXTURE_H
#define FENWIRE_TESTS_FILESET_FILESET_FIXTURE_H

#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "attributes/attributes_state.h"
#include "fileset/fileset.h"
#include "operator/messages.h"
#include "tests/support/open_logs.h"
#include "tests/support/temp_directory.h"

class Fileset : public testing::Test {
protected:
    Fileset()
    {
        OpenLogs(fake);
        FW_TraceLvl = 2;
        StatsTraceLevel = 2;
        OperatorType = 1;
        Reading = 1;
        TotalInstances = 1;
        snprintf(DirInfoVarName, sizeof DirInfoVarName, "DirInfo");
        snprintf(FileNamesVarName, sizeof FileNamesVarName, "FileNames");
        snprintf(DirInfo.DirName, sizeof DirInfo.DirName, "%s/", directory.path().c_str());
    }

    void Name(const std::string &pattern)
    {
        snprintf(FW_FileName, sizeof FW_FileName, "%s", pattern.c_str());
        bEnableScan = pattern.find('*') != std::string::npos ? kYes : kNo;
    }

    FileNamesEntry Entry(size_t index)
    {
        FileNamesEntry entry = {};
        memcpy(&entry, fake.globals["FileNames"].at(index - 1).data(), sizeof entry);
        return entry;
    }

    // FileNames as instance 1 left it: status, instance and size of each file; its name is its index.
    struct Published {
        int32_t status, instance;
        int64_t size = 0;
    };
    void Publish(const std::vector<Published> &files)
    {
        fake.globals["FileNames"].clear();
        for (const Published &file : files) {
            FileNamesEntry entry = {};
            entry.Status = file.status;
            entry.Instance = file.instance;
            entry.Size = file.size;
            snprintf(entry.Name, sizeof entry.Name, "%zu", fake.globals["FileNames"].size() + 1);
            fake.globals["FileNames"].emplace_back(reinterpret_cast<const char *>(&entry),
                                                   sizeof entry);
        }
        DirInfo.FileCount = static_cast<int32_t>(files.size());
        fake.globals["DirInfo"] = {
            std::string(reinterpret_cast<const char *>(&DirInfo), sizeof DirInfo)};
    }

    Fake fake;
    TempDirectory directory;
};

#endif
