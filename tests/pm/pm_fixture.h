// tests/pm/pm_fixture.h - the access layer, started on files of a temporary directory.

#ifndef FENWIRE_TESTS_PM_PM_FIXTURE_H
#define FENWIRE_TESTS_PM_PM_FIXTURE_H

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "attributes/attributes_state.h"
#include "operator/operator_state.h"
#include "pm/disk/os_calls.h"
#include "pm/pm.h"
#include "pm/pm_file.h"
#include "pm/pm_memory.h"
#include "pm/pm_state.h"
#include "tests/support/fake_infrastructure.h"
#include "tests/support/set_mark.h"
#include "tests/support/temp_directory.h"

class Pm : public testing::Test {
protected:
    Pm()
    {
        SG_opHandle = fake.op();
        fake.op()->PX_Loginit(fake.op(), "Fenwire", 1, nullptr, 0, &Public_loghandle);
        FW_TraceLvl = 1;
        Start(1);
    }
    ~Pm() override { pmShutDown(2); }

    void Start(uint32_t level)
    {
        const pmInitParms parms = {.TraceLvl = level, .UtilityId = "test", .InterfaceVerNo = 3};
        ASSERT_EQ(pmInit(&parms), pmrcOk);
        const pmAttachParms attach = {};
        ASSERT_EQ(pmAttach(&attach, 1, &module), pmrcOk);
    }

    // From here on the layer traces to fake.private_log.
    void OpenPrivateLog()
    {
        fake.op()->PX_Loginit(fake.op(), "Fenwire", 1, "private", 0, &Private_loghandle);
        FW_TraceLvl = 5;
        pmTrace(1, nullptr, 5);
    }

    static void Quote(const char *open, const char *close, const char *escape = "")
    {
        bQuotedData = kOptional;
        SetMark(TextDelimiter, ",");
        SetMark(OpenQuoteMark, open);
        SetMark(CloseQuoteMark, close);
        SetMark(EscapeQuoteCharacter, escape);
        bLongOpenQuote = strlen(open) > 1;
    }

    int Open(const std::string &path, uint32_t buffer_size = 1024, uint16_t mode = kOpenRead)
    {
        return pmOpen(mode, false, file_format, nullptr, buffer_size, 0, path.c_str(), module,
                      nullptr, &file);
    }

    void OpenText(const std::string &bytes, uint32_t buffer_size = 1024)
    {
        directory.Write("data.txt", bytes);
        ASSERT_EQ(Open(directory.File("data.txt"), buffer_size),
                  bytes.empty() ? pmrcEmptyFile : pmrcOk);
    }

    pmFile *Object() const { return static_cast<pmFile *>(pmGetMemA(file)); }

    // "a|b|c|->9": the records and the code that ended the reading; a record of 35 has no bar.
    std::string ReadAll() const
    {
        std::string shown;
        for (;;) {
            pmRecord record = {};
            const int code = pmRead(file, &record);
            if (record.Data != nullptr && code != pmrcEOF) {
                shown.append(reinterpret_cast<char *>(record.Data), record.DataLength);
                shown += code == pmrcOk ? "|" : "";
                shown += record.Data[record.DataLength] != 0 ? "(no zero behind)" : "";
            }
            if (code != pmrcOk)
                return shown + "->" + std::to_string(code);
        }
    }

    std::string ReadText(const std::string &bytes, uint32_t buffer_size = 1024)
    {
        OpenText(bytes, buffer_size);
        const std::string shown = ReadAll();
        EXPECT_EQ(pmClose(file), pmrcOk);
        return shown;
    }

    int Write(const std::string &bytes) const
    {
        std::vector<char> exact(bytes.begin(), bytes.end());
        pmRecord record = {};
        record.DataLength = static_cast<uint32_t>(exact.size());
        record.Data = reinterpret_cast<uint8_t *>(exact.data());
        return pmWrite(file, &record);
    }

    Fake fake;
    TempDirectory directory;
    pmToken module = 0, file = 0;
    uint32_t file_format = 1;
};

#endif
