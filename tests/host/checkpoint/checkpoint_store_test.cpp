// tests/host/checkpoint/checkpoint_store_test.cpp - what is saved is found, and bad stores are said to be.

#include <csignal>
#include <cstring>
#include <gtest/gtest.h>
#include <random>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/checkpoint/checkpoints.h"
#include "host/checkpoint/run_state.h"
#include "tests/support/temp_directory.h"

using namespace fenwire;

namespace {

struct CheckpointStoreTest : testing::Test {
    TempDirectory folder;
    Job job;
    std::string file;

    CheckpointStoreTest()
    {
        job.name = "load";
        job.folder = folder.path();
        job.file = job.folder / "load.toml";
        job.state = job.folder / ".fenwire/load";
        job.target_type = "null";
        file = job.state / "checkpoint.db";
        std::filesystem::create_directories(job.state);
    }

    StoredGeneration Stored(uint64_t number, size_t record = 100) const
    {
        Generation generation;
        generation.run = "r1";
        generation.number = number;
        generation.ledger = std::string(record, static_cast<char>('a' + number % 20));
        return {"r1", job.name, job.file, number, EncodeGeneration(generation)};
    }
    void Save(uint64_t number) const { CheckpointStore(job).Save(Stored(number)); }
    int64_t Found(const std::string &run = {}) const
    {
        const auto found = FindGeneration(job, run);
        return found ? static_cast<int64_t>(found->number) : -1;
    }
    std::string FindError() const
    {
        try {
            FindGeneration(job, {});
        } catch (const std::runtime_error &failure) {
            return failure.what();
        }
        return {};
    }
};

}  // namespace

TEST_F(CheckpointStoreTest, LastGenerationIsFoundUntilForgotten)
{
    EXPECT_EQ(Found(), -1);
    {
        CheckpointStore store(job);
        EXPECT_EQ(Found(), -1);
        for (const uint64_t number : {0, 1, 2}) {
            store.Save(Stored(number));
            EXPECT_EQ(Found(), static_cast<int64_t>(number));
        }
    }
    struct stat info;
    ASSERT_EQ(stat(file.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0600U);
    EXPECT_EQ(Found("r1"), 2);
    EXPECT_EQ(Found("r2"), -1);
    ForgetGeneration(job, "r1");
    EXPECT_EQ(Found(), -1);
    EXPECT_TRUE(std::filesystem::is_empty(job.state));
}

TEST_F(CheckpointStoreTest, BadStoresAreSaidToBeAndCanBeForgotten)
{
    const struct {
        const char *about, *words;
        void (*spoil)(CheckpointStoreTest &);
    } cases[] = {
        {"text", "no store of checkpoints",
         [](CheckpointStoreTest &t) { t.folder.Write(".fenwire/load/checkpoint.db", "text"); }},
        {"half", "damaged",
         [](CheckpointStoreTest &t) { ASSERT_EQ(truncate(t.file.c_str(), 6000), 0); }},
        {"changed", "damaged",
         [](CheckpointStoreTest &t) {
             std::string bytes = t.folder.Read(".fenwire/load/checkpoint.db");
             bytes[bytes.rfind("ffffffffff")] = 'g';
             t.folder.Write(".fenwire/load/checkpoint.db", bytes);
         }},
        {"link", "can't be opened",
         [](CheckpointStoreTest &t) {
             rename(t.file.c_str(), t.folder.File("there").c_str());
             ASSERT_EQ(symlink(t.folder.File("there").c_str(), t.file.c_str()), 0);
         }},
        {"of another job", "kept elsewhere",
         [](CheckpointStoreTest &t) { t.job.file = "/somewhere/else.toml"; }},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.about);
        Save(5);
        row.spoil(*this);
        const std::string words = FindError();
        EXPECT_NE(words.find(row.words), std::string::npos) << words;
        EXPECT_NE(words.find("fenwire run --fresh " + job.file.string()), std::string::npos)
            << words;
        ForgetGeneration(job, {});
        EXPECT_EQ(Found(), -1);
    }
    std::filesystem::create_directory(file);
    EXPECT_NE(FindError().find("no plain file"), std::string::npos);
    EXPECT_THROW(CheckpointStore store(job), std::runtime_error);
}

// Enough is written for the kill to meet every step of a save.
TEST_F(CheckpointStoreTest, KillLeavesAWholeGeneration)
{
    std::mt19937 random(2);
    int64_t last = -1;
    for (int round = 0; round < 20; ++round) {
        const pid_t child = fork();
        if (child == 0) {
            CheckpointStore store(job);
            for (auto number = static_cast<uint64_t>(last + 1);; ++number)
                store.Save(Stored(number, 200'000));
        }
        usleep(1000 + static_cast<useconds_t>(random() % 100'000));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        const int64_t found = Found();
        EXPECT_GE(found, last);
        last = found;
    }
    EXPECT_GT(last, 0);
}

TEST_F(CheckpointStoreTest, PlaceFollowsSourceAndTarget)
{
    Job sums = job, retry = job, stdin_job = job, unload = job, within = job, print = job;
    sums.target = {{"checksum", true, {}}};
    retry.retry_of = "errors";
    stdin_job.source_type = "stdin";
    unload.target_type.clear();
    within.target_type = "sqlite";
    print.target_type = "print";
    const struct {
        const Job &job;
        CheckpointPlace place;
    } cases[] = {
        {job, CheckpointPlace::Beside},    {sums, CheckpointPlace::None},
        {retry, CheckpointPlace::None},    {stdin_job, CheckpointPlace::None},
        {unload, CheckpointPlace::Beside}, {within, CheckpointPlace::Within},
        {print, CheckpointPlace::None},
    };
    for (const auto &row : cases)
        EXPECT_EQ(PlaceOfCheckpoints(row.job), row.place) << &row - cases;
}

TEST_F(CheckpointStoreTest, RunStateIsReadAsWrittenOrNotAtAll)
{
    RunState state;
    state.run = NewRunId();
    state.outcome = RunState::Outcome::Stopped;
    state.began = state.changed = UtcNow();
    state.process = 17;
    state.reason = "a \"quoted\"\nreason \xFF";
    state.keeps_checkpoints = true;
    EXPECT_NE(NewRunId(), state.run);
    EXPECT_FALSE(ReadRunState(job).has_value());
    folder.Write(".fenwire/load/run.json.part", "left behind");
    WriteRunState(job, state);
    const auto found = ReadRunState(job);
    ASSERT_TRUE(found.has_value());
    EXPECT_EQ(found->run, state.run);
    EXPECT_EQ(found->outcome, state.outcome);
    EXPECT_EQ(found->began, state.began);
    EXPECT_EQ(found->process, 17);
    EXPECT_TRUE(found->keeps_checkpoints);
    const std::string whole = folder.Read(".fenwire/load/run.json");
    for (size_t length = 0; length + 2 < whole.size(); ++length) {
        folder.Write(".fenwire/load/run.json", whole.substr(0, length));
        EXPECT_FALSE(ReadRunState(job).has_value()) << length;
    }
    for (const char *part : {"stopped", "true", "17", "run"}) {
        std::string changed = whole;
        changed.replace(changed.find(part), strlen(part), "null");
        folder.Write(".fenwire/load/run.json", changed);
        EXPECT_FALSE(ReadRunState(job).has_value()) << part;
    }
}
