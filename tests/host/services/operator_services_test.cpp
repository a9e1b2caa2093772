// tests/host/services/operator_services_test.cpp - the boundary's services as a library calls them.

#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <thread>

#include <sys/socket.h>
#include <sys/stat.h>

#include "host/coordinator/shared_objects.h"
#include "host/services/operator_services.h"
#include "tests/support/holds.h"
#include "tests/support/temp_directory.h"

using namespace fenwire;

namespace {

Job TestJob(const TempDirectory &folder)
{
    Job job;
    job.folder = folder.path();
    job.file = folder.File("job.toml");
    job.state = folder.File(".fenwire/test");
    std::filesystem::create_directories(job.state / "logs");
    job.name = "test";
    job.target_type = "print";
    job.columns.resize(2);
    job.columns[0].length = 10;
    job.columns[1].length = 20;
    job.producer.instances = 2;
    job.producer.attributes = {{"SkipRows", 3, {}},
                               {"FileName", std::string("*.csv"), {}},
                               {"Words", std::vector<std::string>{"x", "y"}, {}}};
    return job;
}

// One instance's services; a thread plays the coordinator and keeps what is told.
class Instance {
public:
    Instance(const Job &job, int number, Board &board, SharedObjects &objects,
             std::vector<RowRing> &rings)
        : pair_(Channel::Pair()), coordinator_([this, &objects] { Serve(objects); }),
          link_(std::move(pair_.second), board), rows_(job, board, rings, number),
          services(job, number, link_, &rows_, nullptr, {})
    {
    }
    ~Instance()
    {
        shutdown(pair_.first.fd(), SHUT_RDWR);
        coordinator_.join();
    }
    PxOperator *op() { return services.handle(); }
    void Publish() { rows_.Publish(); }

private:
    void Serve(SharedObjects &objects)
    {
        InMessage message;
        while (pair_.first.Receive(message))
            objects.Serve(message, pair_.first);
    }
    std::pair<Channel, Channel> pair_;
    std::thread coordinator_;
    Link link_;
    RingOutlet rows_;

public:
    OperatorServices services;
};

class Services : public testing::Test {
protected:
    std::string Attribute(const char *name)
    {
        const void *value = nullptr;
        int32_t length = 0;
        const PxStatus status = one->PX_GetAttribute(one, name, &value, &length);
        if (status != PXSTC_Success)
            return "status " + std::to_string(status);
        return {static_cast<const char *>(value), static_cast<size_t>(length)};
    }

    std::string Read(PxOperator *op, const char *name, uint32_t index)
    {
        const void *element = nullptr;
        uint32_t length = 0;
        const PxStatus status = op->PX_ReadGlobalVar(op, name, index, &element, &length);
        if (status != PXSTC_Success)
            return "status " + std::to_string(status);
        return std::string(static_cast<const char *>(element), length).c_str();
    }

    TempDirectory folder;
    const Job job = TestJob(folder);
    Mapping map{MakeSharedBlock("board", Board::Bytes(2, 1))};
    Board &board = Board::Make(map.data(), 2, 1);
    SharedObjects objects{board};
    std::vector<RowRing> rings{2};
    Instance first{job, 1, board, objects, rings}, second{job, 2, board, objects, rings};
    PxOperator *const one = first.op(), *const two = second.op();
};

std::string Integer(int32_t number)
{
    return {reinterpret_cast<const char *>(&number), sizeof number};
}

}  // namespace

TEST_F(Services, AttributesHaveTheirKindAndLength)
{
    const struct {
        const char *name;
        std::string value;
    } cases[] = {
        {"SYSTEM_InstanceNumber", Integer(1)},
        {"SYSTEM_MaxInstances", Integer(2)},
        {"SYSTEM_OperatorType", Integer(1)},
        {"SYSTEM_RestartMode", Integer(0)},
        {"SYSTEM_NOCHECKPOINT", Integer(0)},
        {"SYSTEM_MaxOperators", Integer(1)},
        {"SYSTEM_OperatorNumber", Integer(1)},
        {"SYSTEM_JobMaxRowSize_Allow", Integer(1024)},
        {"SYSTEM_LATENCYON", "N"},
        {"SYSTEM_ExecutePassed", "Y"},
        {"SYSTEM_CharSetId", "UTF8"},
        {"SYSTEM_JobName", "test"},
        {"SYSTEM_LOGDIRECTORY", (job.state / "logs").string()},
        {"SkipRows", Integer(3)},
        {"FileName", "*.csv"},
        {"Words", "status 13"},
        {"EventFunction", "status 5"},
        {"DirectoryPath", "status 5"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(Attribute(c.name), c.value) << c.name;
    for (const char *name :
         {"SYSTEM_OperatorName", "SYSTEM_TaskID", "SYSTEM_JobID", "SYSTEM_ScriptName"})
        EXPECT_FALSE(Holds(Attribute(name), "status ")) << name;
    EXPECT_EQ(one->PX_CreateAttribute(one, "SYSTEM_NOCHECKPOINT", 2, 0), PXSTC_Duplicate);
    EXPECT_EQ(one->PX_GetAttribute(one, nullptr, nullptr, nullptr), PXSTC_InvalidArgument);
}

TEST_F(Services, GlobalVariablesAreSeenByAllAndChecked)
{
    EXPECT_EQ(one->PX_CreateGlobalVar(one, "V", 8, 2), PXSTC_Success);
    EXPECT_EQ(two->PX_CreateGlobalVar(two, "V", 8, 2), PXSTC_Duplicate);
    EXPECT_EQ(Read(two, "V", 1), "");
    EXPECT_EQ(one->PX_UpdateGlobalVar(one, "V", "one", 4, 1), PXSTC_Success);
    EXPECT_EQ(two->PX_UpdateGlobalVar(two, "V", "two", 4, 2), PXSTC_Success);
    EXPECT_EQ(Read(two, "V", 1) + Read(one, "V", 2), "onetwo");

    const struct {
        const char *about;
        PxStatus status, wanted;
    } refused[] = {
        {"index 0", one->PX_UpdateGlobalVar(one, "V", "x", 1, 0), PXSTC_InvalidArgument},
        {"index 3 of 2", one->PX_UpdateGlobalVar(one, "V", "x", 1, 3), PXSTC_InvalidArgument},
        {"9 bytes for 8", one->PX_UpdateGlobalVar(one, "V", "123456789", 9, 1), PXSTC_Length},
        {"no data", one->PX_UpdateGlobalVar(one, "V", nullptr, 1, 1), PXSTC_InvalidArgument},
        {"no such name", one->PX_UpdateGlobalVar(one, "W", "x", 1, 1), PXSTC_NotFound},
        {"no name", one->PX_DeleteGlobalVar(one, nullptr), PXSTC_InvalidArgument},
        {"nothing to delete", one->PX_DeleteGlobalVar(one, "W"), PXSTC_NotFound},
        {"no elements", one->PX_CreateGlobalVar(one, "W", 8, 0), PXSTC_InvalidArgument},
        {"too much", one->PX_CreateGlobalVar(one, "W", 1 << 20, 0xFFFFFFFF), PXSTC_InvalidArgument},
    };
    for (const auto &c : refused)
        EXPECT_EQ(c.status, c.wanted) << c.about;

    // Deleted and made anew by one: the other must not look at what was.
    EXPECT_EQ(one->PX_DeleteGlobalVar(one, "V"), PXSTC_Success);
    EXPECT_EQ(Read(two, "V", 1), "status 5");
    EXPECT_EQ(one->PX_CreateGlobalVar(one, "V", 100, 1), PXSTC_Success);
    EXPECT_EQ(one->PX_UpdateGlobalVar(one, "V", "again", 6, 1), PXSTC_Success);
    EXPECT_EQ(Read(two, "V", 1), "again");
    EXPECT_EQ(Read(two, "V", 2), "status 2");
}

TEST_F(Services, MemoryBlocksAreSharedAndHaveRoomBehindThem)
{
    constexpr uint32_t kPage = 4096;
    ShmToken_t token = 0;
    void *here = nullptr, *there = nullptr;
    ASSERT_EQ(one->PX_ShmObtain(one, kPage, &token), PXSTC_Success);
    ASSERT_EQ(one->PX_ShmAttach(one, token, &here), PXSTC_Success);
    ASSERT_EQ(two->PX_ShmAttach(two, token, &there), PXSTC_Success);
    const std::string zeros(kPage + 64, '\0');
    EXPECT_EQ(memcmp(there, zeros.data(), zeros.size()), 0);
    memset(here, 'x', kPage + 64);
    EXPECT_EQ(static_cast<char *>(there)[kPage + 63], 'x');
    EXPECT_EQ(one->PX_ShmRelease(one, token), PXSTC_Success);
    EXPECT_EQ(static_cast<char *>(there)[0], 'x');  // the other still has it
    EXPECT_EQ(one->PX_ShmAttach(one, token, &here), PXSTC_NotFound);
    EXPECT_EQ(one->PX_ShmRelease(one, token), PXSTC_NotFound);
    EXPECT_EQ(one->PX_ShmObtain(one, 0, &token), PXSTC_InvalidArgument);
}

TEST_F(Services, RowsAreCheckedAndPacked)
{
    PxSchema **list = nullptr;
    int32_t count = 0;
    ASSERT_EQ(one->PX_GetTableSchemaList(one, 3, &list, &count), PXSTC_Success);
    EXPECT_EQ(one->PX_GetTableSchemaList(one, 1, &list, &count), PXSTC_InvalidArgument);
    PxSchema *schema = list[0];
    constexpr uint32_t kAllOnes = 0xFFFFFFFF;
    constexpr PxStatus kCount = 20;
    static constexpr char kRow[] = "abcdefgh";
    const struct {
        const char *about;
        int32_t columns;
        uint8_t nulls[2];
        uint32_t offsets[2], lengths[2], size;
        PxStatus wanted;
        const char *taken;
    } cases[] = {
        {"columns that touch", 2, {0, 0}, {0, 3}, {3, 5}, 8, PXSTC_Success, "abc|defgh;"},
        {"bytes between", 2, {0, 0}, {1, 6}, {2, 2}, 8, PXSTC_Success, "bc|gh;"},
        {"NULL", 2, {1, 0}, {0, 3}, {3, 2}, 8, PXSTC_Success, "NULL|de;"},
        {"all NULL", 2, {1, 1}, {0, 0}, {0, 0}, kAllOnes, PXSTC_Success, "NULL|NULL;"},
        {"empty", 2, {0, 0}, {0, 0}, {0, 0}, kAllOnes, PXSTC_Success, "|;"},
        {"empty beyond the row", 2, {0, 0}, {0, 99}, {3, 0}, 8, PXSTC_Success, "abc|;"},
        {"a column too many", 3, {0, 0}, {0, 3}, {3, 5}, 8, kCount, ""},
        {"below zero columns", -1, {0, 0}, {0, 3}, {3, 5}, 8, kCount, ""},
        {"behind the row", 2, {0, 0}, {0, 3}, {3, 6}, 8, PXSTC_Length, ""},
        {"sum beyond the row", 2, {0, 0}, {0, 0}, {8, 8}, 8, PXSTC_Length, ""},
        {"sum that wraps", 2, {0, 0}, {0, 0xFFFFFFFF}, {0xFFFFFFFF, 9}, 8, PXSTC_Length, ""},
        {"a row beyond all limits", 2, {0, 0}, {0, 3}, {3, 5}, 0xFFFFFFF0, PXSTC_Length, ""},
        {"bytes of a row of none", 2, {0, 0}, {0, 3}, {3, 5}, kAllOnes, PXSTC_Length, ""},
    };
    std::string wanted, seen;
    for (const auto &c : cases) {
        EXPECT_EQ(schema->PX_PutRow(schema, c.columns, c.nulls, c.offsets, c.lengths, kRow, c.size),
                  c.wanted)
            << c.about;
        wanted += c.taken;
    }
    EXPECT_EQ(schema->PX_PutRow(schema, 2, nullptr, nullptr, nullptr, kRow, 8), PXSTC_NullPointer);

    // The job's layout: NULL bits, then each column with its length in front.
    static constexpr char kLayout[] = "\x40\x03\0abc\0\0";
    for (const auto &[size, status] : std::initializer_list<std::pair<uint32_t, PxStatus>>{
             {8, PXSTC_Success}, {7, PXSTC_Length}, {9, PXSTC_Length}, {1, PXSTC_Length}})
        EXPECT_EQ(schema->PX_PutRow(schema, 0, nullptr, nullptr, nullptr, kLayout, size), status);
    wanted += "abc|NULL;";
    first.Publish();
    RingReader(rings[0]).Next(2, 1 << 20).ForEach([&](const RowRecord &row) {
        const char *data = reinterpret_cast<const char *>(row.data(2));
        for (uint32_t i = 0; i < 2; ++i) {
            const bool null = row.length(i) == kNullColumn;
            seen += (i > 0 ? "|" : "") + (null ? "NULL" : std::string(data, row.length(i)));
            data += null ? 0 : row.length(i);
        }
        seen += ";";
    });
    EXPECT_EQ(seen, wanted);
}

TEST_F(Services, PrivateLogsAreTheOwnersFilesAndSafeToShow)
{
    const std::string path = PrivateLogPath(job, "trace-1");
    for (const char *text : {"before", "now\x1b[2J\n!"}) {
        PxLog *log = nullptr;
        ASSERT_EQ(one->PX_Loginit(one, "test", 1, "trace-1", 0, &log), PXSTC_Success);
        PxLogArg args[3] = {};
        args[0].type = args[1].type = PX_ARG_TEXT;
        args[0].text = "FW_Routine          - ";
        args[1].text = text;
        EXPECT_EQ(one->PX_LogWrite(log, 19003, 2, 3, args), PXSTC_Success);
        EXPECT_EQ(one->PX_LogWrite(log, 19003, 2, 3, nullptr), PXSTC_InvalidArgument);
        EXPECT_EQ(one->PX_Logterm(log), PXSTC_Success);
    }
    const auto contents = [](const std::string &file) {
        std::ostringstream text;
        text << std::ifstream(file).rdbuf();
        return text.str();
    };
    EXPECT_EQ(contents(path), "FW_Routine          - now\\x1b[2J\\x0a!\n");
    EXPECT_EQ(contents(path + ".1"), "FW_Routine          - before\n");
    struct stat info = {};
    EXPECT_EQ(stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600U);
    PxLog *log = nullptr;
    EXPECT_NE(one->PX_Loginit(one, "test", 1, "no/such/folder", 0, &log), PXSTC_Success);
}
