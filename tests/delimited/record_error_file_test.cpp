// tests/delimited/record_error_file_test.cpp - the record error file where something goes wrong.
//
// What it holds when all goes well is tested as whole jobs. Two instances are played in one process,
// one after the other, so that the merge can be disturbed.

#include <cerrno>
#include <filesystem>

#include <sys/stat.h>

#include "delimited/delimited_state.h"
#include "delimited/record_error_file.h"
#include "operator/operator_state.h"
#include "tests/pm/pm_fixture.h"
#include "tests/support/open_logs.h"

namespace {

std::string written;  // to standard error
int pauses = 0;

ssize_t FullDisk(int, const void *, size_t) { return errno = ENOSPC, -1; }

class RecordErrorFile : public Pm {
protected:
    RecordErrorFile()
    {
        OpenLogs(fake);
        OperatorType = 1;
        TotalInstances = 2;
        snprintf(SG_RowErrFileName, sizeof SG_RowErrFileName, "%s", directory.File("bad").c_str());
        snprintf(SystemLogDirectory, sizeof SystemLogDirectory, "%s", directory.path().c_str());
    }

    // The other instance's variables are as a new process has them.
    PxStatus BecomeInstance(int32_t instance)
    {
        ThisInstance = instance;
        SG_pmFpErrors = pmHandleErrors = 0;
        SG_ContinueOnRowError = CurrentExitCode = 0;
        SG_ErrorRowCount = 0;
        FW_TraceLvl = 5;
        return SetUpRecordErrorFile();
    }

    PxStatus Keep(const std::string &record)
    {
        raw_ = record;
        pmBufferOrig.Data = reinterpret_cast<uint8_t *>(raw_.data());
        pmBufferOrig.DataLength = static_cast<uint32_t>(raw_.size());
        return WrRecErrFile("bad");
    }

    std::string TemporaryPath()
    {
        char path[kMaxErrorPath];
        MakeRowErrorFileName(path, 2, getpid());
        return path;
    }

    std::string raw_;
};

}  // namespace

TEST_F(RecordErrorFile, WhatCanNotBeMergedIsKeptAndToldOf)
{
    namespace fs = std::filesystem;
    static const auto move_away = [](const std::string &path) { fs::rename(path, path + ".away"); };
    // clang-format off
    const struct {
        const char *about;
        void (*disturb)(const std::string &temporary);
        const char *named, *message, *trace;
        bool left;
    } cases[] = {
        {"nothing", [](const std::string &) {}, "one\ntwo\r\n\nthree\n", "", "3 error records copied.", false},
        {"a killed process", [](const std::string &path) { std::ofstream(path, std::ios::app) << "fo"; },
         "one\ntwo\r\n\nthree\nfo\n", "", "4 error records copied.", false},
        {"gone", [](const std::string &path) { fs::remove(path); },
         "one\n", "19994(2,", "Error records from instance 2 will be missing.", false},
        {"another file in its place", [](const std::string &path) { move_away(path); std::ofstream(path) << "planted"; },
         "one\n", "19994(2,", "is not the one that the instance wrote", true},
        {"a link in its place", [](const std::string &path) { move_away(path); fs::create_symlink(path + ".away", path); },
         "one\n", "19994(2,", "will be missing.", true},
        {"disk full", [](const std::string &) { os.write = FullDisk; },
         "one\n", "19994(2,", "Some or all record errors from instance 2 may be missing.", true},
        {"can't be removed", [](const std::string &) { os.unlink = [](const char *) { return errno = EACCES, -1; }; },
         "one\ntwo\r\n\nthree\n", "", "Unable to remove temporary record error file.", true},
    };
    // clang-format on
    const OsCalls real = os;
    for (const auto &c : cases) {
        ASSERT_EQ(BecomeInstance(1), PXSTC_Success) << c.about;
        ASSERT_EQ(Keep("one"), PXSTC_Success);
        ASSERT_EQ(FlushRecordErrorFile(), PXSTC_Success);
        const pmToken own_module = pmHandleErrors, own_file = SG_pmFpErrors;
        ASSERT_EQ(BecomeInstance(2), PXSTC_Success) << c.about;
        for (const char *record : {"two\r", "", "three"})
            ASSERT_EQ(Keep(record), PXSTC_Success);
        ASSERT_EQ(CloseRecordErrorFile(), PXSTC_Success);
        const std::string temporary = TemporaryPath();
        for (const std::string &path : {temporary, directory.File("bad")}) {
            struct stat info = {};
            stat(path.c_str(), &info);
            EXPECT_EQ(info.st_mode & 0777, 0600U) << path;
        }
        c.disturb(temporary);
        fake.public_log.clear();
        fake.private_log.clear();
        ThisInstance = 1;
        pmHandleErrors = own_module;
        SG_pmFpErrors = own_file;
        AppendRowErrorFile();
        os = real;
        EXPECT_EQ(directory.Read("bad"), c.named) << c.about;
        EXPECT_TRUE(fake.Told(c.message)) << c.about << fake.public_log;
        EXPECT_EQ(fake.Told("19994"), *c.message != '\0') << c.about;
        EXPECT_TRUE(fake.Traced(c.trace)) << c.about << fake.private_log;
        EXPECT_EQ(std::filesystem::exists(std::filesystem::symlink_status(temporary)), c.left)
            << c.about;
        EXPECT_EQ(CurrentExitCode, 0) << c.about << ": the job's outcome stands";
        std::filesystem::remove(temporary);
        std::filesystem::remove(temporary + ".away");
    }
}

TEST_F(RecordErrorFile, WhatCanNotBeKeptEndsTheJob)
{
    TotalInstances = 1;
    ASSERT_EQ(BecomeInstance(1), PXSTC_Success);
    os.write = FullDisk;
    EXPECT_EQ(Keep("in the buffer"), PXSTC_Success);
    EXPECT_EQ(FlushRecordErrorFile(), PXSTC_FatalError);
    EXPECT_TRUE(fake.Told("19434(pmFlush,34,")) << fake.public_log;
    EXPECT_EQ(CurrentExitCode, 12);
    fake.public_log.clear();
    SG_LatencyOn = 'Y';
    EXPECT_EQ(Keep("at once"), PXSTC_FatalError);
    EXPECT_EQ(fake.public_log.substr(0, 26), "19306() 19434(pmWrite,34,p") << fake.public_log;
    EXPECT_TRUE(fake.Traced("Writing error record to error file ('" + directory.File("bad") +
                            "') on record 1"));
    EXPECT_EQ(SG_ErrorRowCount, 1U) << "what was not kept is not counted";
}

// By what somebody planted, or by a process of the same number that was killed.
TEST_F(RecordErrorFile, NameThatIsTakenIsLeftAlone)
{
    ASSERT_EQ(BecomeInstance(1), PXSTC_Success);
    const pmToken own_module = pmHandleErrors, own_file = SG_pmFpErrors;
    directory.Write("victim", "precious");
    std::filesystem::create_symlink(directory.File("victim"), TemporaryPath());
    ASSERT_EQ(BecomeInstance(2), PXSTC_Success);
    EXPECT_EQ(Keep("two"), PXSTC_Success);
    EXPECT_EQ(CloseRecordErrorFile(), PXSTC_Success);
    ThisInstance = 1;
    pmHandleErrors = own_module;
    SG_pmFpErrors = own_file;
    AppendRowErrorFile();
    EXPECT_EQ(directory.Read("bad"), "two\n");
    EXPECT_EQ(directory.Read("victim"), "precious");
}

TEST_F(RecordErrorFile, DataIsNeverTheErrorFile)
{
    snprintf(DirectoryPath, sizeof DirectoryPath, "%s/", directory.path().c_str());
    snprintf(FW_FileName, sizeof FW_FileName, "bad");
    directory.Write("bad", "precious");
    EXPECT_EQ(BecomeInstance(1), PXSTC_FatalError);
    EXPECT_TRUE(fake.Told("19996("));
    EXPECT_EQ(directory.Read("bad"), "precious");
    // Found by a pattern, it is met when it is opened, by whichever instance.
    snprintf(FW_FileName, sizeof FW_FileName, "*");
    ASSERT_EQ(BecomeInstance(1), PXSTC_Success);
    ASSERT_EQ(BecomeInstance(2), PXSTC_Success);
    pmToken other = 0;
    EXPECT_EQ(Open(directory.File("bad")), pmrcEmptyFile);
    EXPECT_TRUE(IsRecordErrorFile(file));
    directory.Write("other", "1");
    EXPECT_EQ(pmOpen(kOpenRead, false, 1, nullptr, 64, 0, directory.File("other").c_str(), module,
                     nullptr, &other),
              pmrcOk);
    EXPECT_FALSE(IsRecordErrorFile(other));
}

TEST_F(RecordErrorFile, LimitCountsOverAllInstances)
{
    SG_ErrorRowLimit = 3;
    ASSERT_EQ(BecomeInstance(1), PXSTC_Success);
    EXPECT_EQ(Keep("a") + Keep("b"), 0);
    EXPECT_EQ(SG_ContinueOnRowError, 1);
    ASSERT_EQ(BecomeInstance(2), PXSTC_Success);
    EXPECT_EQ(Keep("c"), PXSTC_Success);
    EXPECT_EQ(SG_ContinueOnRowError, 2);
    // Published at a checkpoint, and added up in the next call.
    const auto element = [](uint32_t count) {
        const uint32_t words[] = {0, count, 0};
        return std::string(reinterpret_cast<const char *>(words), sizeof words);
    };
    fake.globals["RecordErrorCount"] = {element(2), element(0)};
    EXPECT_EQ(AccumulateErrorCounts(), PXSTC_Success);
    fake.globals["RecordErrorCount"] = {element(2), element(1)};
    EXPECT_EQ(AccumulateErrorCounts(), PXSTC_FatalError);
    EXPECT_TRUE(fake.Traced("Error Row Limit [3] Reached or exceeded"));
    EXPECT_EQ(CurrentExitCode, 12);
}

TEST_F(RecordErrorFile, WaitsForInstanceOneButNotForEver)
{
    os.ppoll = [](pollfd *, nfds_t, const timespec *, const sigset_t *) { return ++pauses, 0; };
    EXPECT_EQ(BecomeInstance(2), PXSTC_FatalError);
    EXPECT_GT(pauses, 30);
    pauses = 0;
    fake.failing["PX_UpdateGlobalVar"] = PXSTC_NotSupported;
    EXPECT_EQ(BecomeInstance(2), PXSTC_FatalError);
    EXPECT_EQ(pauses, 0) << "only a variable that is not there yet is waited for";
}

TEST_F(RecordErrorFile, StandardErrorTakesRecordsByTheirLength)
{
    using namespace std::string_literals;
    bErrorsTostderr = 1;
    RowErrorVerbosity = 1;
    os.write = [](int descriptor, const void *bytes, size_t length) -> ssize_t {
        const size_t some = std::min<size_t>(length, 7);
        written += descriptor == 2 ? std::string(static_cast<const char *>(bytes), some) : "?";
        return static_cast<ssize_t>(some);
    };
    EXPECT_EQ(Keep("a\0b"s), PXSTC_Success);
    EXPECT_EQ(written, "[1] WARNING Below record: bad\na\0b\n"s);
}
