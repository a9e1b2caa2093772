// tests/host/rejects/checkpoints_test.cpp - bad records of jobs that are killed and go on.

#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <random>

#include "host/rejects/reject_run.h"
#include "host/rejects/retry.h"
#include "tests/host/coordinator/job_runs.h"
#include "tests/support/holds.h"

using namespace fenwire;
namespace fs = std::filesystem;

namespace {

constexpr int kInstances = 3, kRecords = 7;

// Plays the operator: instance 1 writes the record error file, the others temporary files.
struct Bad : JobRun {
    Bad() : JobRun(kInstances)
    {
        Set("RecordErrorFileName", "bad");
        fs::create_directories(job.state / "logs");
    }

    fs::path FileOf(int instance) const
    {
        return instance == 1 ? fs::path(folder.File("bad"))
                             : job.state / "logs" /
                                   ("QLX_FWOP_RE_TMP_me_P" + std::to_string(process) + "_I" +
                                    std::to_string(instance) + ".txt");
    }

    static void Append(const fs::path &file, const std::string &text)
    {
        std::ofstream(file, std::ios::app) << text;
    }

    // The operator of the next attempt opens its files.
    void Start(RejectRun &run, bool restart)
    {
        ++process;
        for (int i = 1; i <= kInstances; ++i) {
            std::ofstream(FileOf(i), restart && i == 1 ? std::ios::app : std::ios::trunc);
            run.AddErrorFile(i, FileOf(i));
        }
    }

    void Reject(RejectRun &run, int instance, int number, bool left_out = true) const
    {
        const std::string line =
            "record " + std::to_string(number) + " of " + std::to_string(instance) + "\n";
        Append(FileOf(instance), line);
        EXPECT_EQ(AppendLine(run.fd(), line), "");
        PxBadRecord record = {};
        record.left_out = left_out;
        record.kept = 1;
        run.Add(record, 1, "too long");
    }

    // The operator joins its files.
    void Terminate() const
    {
        for (int i = 2; i <= kInstances; ++i) {
            std::ifstream temporary(FileOf(i));
            std::stringstream text;
            text << temporary.rdbuf();
            Append(FileOf(1), text.str());
            fs::remove(FileOf(i));
        }
    }

    std::vector<std::string> Sorted(const std::string &file) const
    {
        std::vector<std::string> lines = Lines(file);
        std::ranges::sort(lines);
        return lines;
    }

    int LeftBehind() const
    {
        const auto ours = [](const auto &entry) {
            const std::string name = entry.path().filename();
            return name.starts_with("bad-records") || name.starts_with("QLX_");
        };
        return static_cast<int>(
            std::ranges::count_if(fs::recursive_directory_iterator(job.state), ours));
    }

    int process = 100;
};

// One job, killed again and again wherever the dice say, and gone on with from its last checkpoint.
struct KilledJob : Bad {
    explicit KilledJob(unsigned seed) : dice(seed) {}

    bool Chance(int percent) { return static_cast<int>(dice() % 100) < percent; }

    void Checkpoint(RejectRun &run)
    {
        const std::string text = run.Save();
        if (Chance(20))
            return;  // killed before it was stored, or it was rolled back
        stored = text;
        stored_at = at;
    }

    // True: the job has ended.
    bool Attempt()
    {
        RejectRun run(job);
        at = stored_at;
        if (stored)
            EXPECT_EQ(run.Restore(*stored), "");
        else
            run.Open();
        Start(run, stored.has_value());
        if (!stored && Chance(50))
            Checkpoint(run);
        run.Begin();
        while (std::ranges::min(at) < kRecords) {
            const size_t i = dice() % kInstances;
            if (at[i] < kRecords)
                Reject(run, static_cast<int>(i) + 1, at[i]++);
            if (Chance(20))
                Checkpoint(run);
            if (Chance(kills < 10 ? 8 : 0))
                return ++kills, false;
        }
        Checkpoint(run);
        if (!stored || stored_at != at)
            return false;
        if (Chance(50))
            Terminate();
        else
            return false;
        run.Complete();
        if (Chance(50))
            return false;
        EXPECT_EQ(run.left_out(), uint64_t{kInstances * kRecords});
        stored.reset();
        run.Forget();
        run.End(RejectRun::Rows::Committed);
        return true;
    }

    std::mt19937 dice;
    std::array<int, kInstances> at = {}, stored_at = {};
    std::optional<std::string> stored;
    int kills = 0;
};

std::string WordsOf(const std::function<void()> &act)
{
    try {
        act();
        return {};
    } catch (const std::runtime_error &failure) {
        return failure.what();
    }
}

// A job with a checkpoint: a record of each of the instances before it, and one behind it.
std::string Stopped(Bad &bad, bool left_out)
{
    RejectRun run(bad.job);
    run.Open();
    bad.Start(run, false);
    run.Begin();
    for (int i = 1; i <= kInstances; ++i)
        bad.Reject(run, i, 1, left_out);
    const std::string saved = run.Save();
    EXPECT_EQ(run.Save(), saved);
    for (int i = 1; i <= kInstances; ++i)
        bad.Reject(run, i, 2, left_out);
    run.Save();  // that was never stored
    run.End(RejectRun::Rows::Unfinished);
    return saved;
}

}  // namespace

TEST(RejectCheckpoints, EachBadRecordIsKeptOnceWhereverTheJobIsKilled)
{
    for (unsigned seed = 1; seed <= 15; ++seed) {
        SCOPED_TRACE(seed);
        KilledJob bad(seed);
        std::ofstream(bad.job.state / "logs" / "QLX_FWOP_RE_TMP_me_P1_I2.txt") << "long ago\n";
        std::ofstream(bad.job.state / "bad-records-1-2") << "long ago\n";
        while (!bad.Attempt()) {
        }
        std::vector<std::string> expected;
        for (int i = 1; i <= kInstances; ++i) {
            for (int number = 0; number < kRecords; ++number)
                expected.push_back("record " + std::to_string(number) + " of " + std::to_string(i));
        }
        std::ranges::sort(expected);
        ASSERT_EQ(bad.Sorted("bad"), expected);
        ASSERT_EQ(bad.Sorted("bad.jsonl"), expected);
        ASSERT_EQ(bad.LeftBehind(), 0);
    }
}

TEST(RejectCheckpoints, WhatIsMissingRefusesBeforeAnythingIsTouched)
{
    struct Case {
        const char *about, *file;
        std::string words;  // of the refusal; "warning": of none
        bool left_out;      // no bad record has a row in the target
        std::function<void(const fs::path &)> change;
    };
    const auto cut = [](const fs::path &path) { fs::resize_file(path, 3); };
    const auto gone = [](const fs::path &path) { fs::remove(path); };
    const auto edited = [](const fs::path &path) {
        std::ofstream(path) << std::string(1000, '\n');
    };
    const auto link = [](const fs::path &path) {
        fs::rename(path, path.string() + ".moved");
        fs::create_symlink(path.string() + ".moved", path);
    };
    const auto other = [](const fs::path &path) {
        fs::remove(path);
        fs::create_directory(path);
    };
    const char *gathered = ".fenwire/scripted/bad-records-1-2";
    const Case cases[] = {
        {"nothing", "bad", "", true, [](const fs::path &) {}},
        {"errors cut", "bad", "is shorter than", true, cut},
        {"errors gone", "bad", "held 14 bytes", true, gone},
        {"errors edited", "bad", "was changed", true, edited},
        {"errors moved, and a link to them", "bad", "", true, link},
        {"a folder", "bad", "bad\"", true, other},
        {"gathered cut", gathered, "is shorter than", true, cut},
        {"gathered gone", gathered, "can't be opened", true, gone},
        {"gathered edited", gathered, "was changed", true, edited},
        {"gathered, a link", gathered, "can't be opened", true, link},
        {"list cut", "bad.jsonl", "warning", true, cut},
        {"list gone", "bad.jsonl", "warning", true, gone},
        {"list a link", "bad.jsonl", "warning", true, link},
        {"list cut, rows loaded", "bad.jsonl", "alone tells which", false, cut},
        {"list gone, rows loaded", "bad.jsonl", "alone tells which", false, gone},
        {"list edited, rows loaded", "bad.jsonl", "alone tells which", false, edited},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.about);
        Bad bad;
        const std::string saved = Stopped(bad, c.left_out);
        c.change(bad.folder.File(c.file));
        const auto state = [&] {
            return bad.Text("bad") + bad.Text("bad.jsonl") + bad.Text(gathered);
        };
        const std::string before = state();
        RejectRun run(bad.job);
        std::string warning;
        const std::string refusal = WordsOf([&] { warning = run.Restore(saved); });
        EXPECT_TRUE(Holds(refusal, c.words == "warning" ? "" : c.words));
        EXPECT_EQ(refusal.empty(), c.words.empty() || c.words == "warning") << refusal;
        EXPECT_EQ(warning.empty(), c.words != "warning") << warning;
        if (!refusal.empty()) {
            EXPECT_EQ(state(), before);
            EXPECT_TRUE(Holds(refusal, "fenwire run --fresh"));
        } else {
            EXPECT_EQ(bad.Text("bad"), "record 1 of 1\n");
            EXPECT_EQ(bad.Text(gathered), "record 1 of 2\n");
        }
    }
}

TEST(RejectCheckpoints, WordsFromAStoreAreNotBelieved)
{
    Bad bad;
    const std::string saved = Stopped(bad, true);
    const std::pair<const char *, const char *> changes[] = {
        {"\"bytes\":14", "\"bytes\":-1"},       {"\"bytes\":14", "\"bytes\":18446744073709551615"},
        {"\"bytes\":14", "\"bytes\":2"},        {"\"tail\":\"", "\"tail\":\"*"},
        {"\"attempt\":1", "\"attempt\":2"},     {"\"instance\":2", "\"instance\":1"},
        {"\"instance\":2", "\"instance\":3"},   {"\"instance\":3", "\"instance\":4"},
        {"\"attempts\":1", "\"attempts\":0"},   {"\"left_out\":6", "\"left_out\":\"6\""},
        {"\"reasons\":[[", "\"reasons\":[[1,"}, {"\"gathered\":[", "\"gathered\":[1,"},
        {"\"remarks\":", "\"remark\":"},        {"{", "["},
    };
    for (const auto &[what, by] : changes) {
        SCOPED_TRACE(by);
        std::string text = saved;
        if (text.find(what) == std::string::npos)
            text.replace(text.find("\"left_out\":"), 12, "\"left_out\":\"x\"");
        else
            text.replace(text.find(what), strlen(what), by);
        RejectRun run(bad.job);
        EXPECT_TRUE(Holds(WordsOf([&] { run.Restore(text); }), "damaged"));
    }
    bad.Set("RecordErrorFileName", "worse");
    RejectRun run(bad.job);
    EXPECT_TRUE(Holds(WordsOf([&] { run.Restore(saved); }), "worse"));
}

TEST(RejectCheckpoints, AnInstanceCantNameAnotherFile)
{
    Bad bad;
    RejectRun run(bad.job);
    run.Open();
    const fs::path logs = bad.job.state / "logs";
    std::ofstream(bad.folder.File("secret")) << "x";
    fs::create_symlink(bad.folder.File("secret"), logs / "QLX_FWOP_RE_TMP_link");
    fs::create_hard_link(bad.folder.File("secret"), logs / "QLX_FWOP_RE_TMP_twice");
    std::ofstream(logs / "QLX_FWOP_RE_TMP_mine") << "x";
    for (const fs::path &path :
         {fs::path(bad.folder.File("secret")), logs / "QLX_FWOP_RE_TMP_link",
          logs / "QLX_FWOP_RE_TMP_twice", logs / "QLX_FWOP_RE_TMP_gone", logs / "public.log",
          logs / "QLX_FWOP_RE_TMP_x" / ".." / "QLX_FWOP_RE_TMP_mine"})
        EXPECT_NE(WordsOf([&] { run.AddErrorFile(2, path); }), "") << path;
    EXPECT_NE(WordsOf([&] { run.AddErrorFile(kInstances + 1, logs / "QLX_FWOP_RE_TMP_mine"); }),
              "");
    EXPECT_EQ(WordsOf([&] { run.AddErrorFile(2, logs / "QLX_FWOP_RE_TMP_mine"); }), "");
}

TEST(RejectCheckpoints, RetryWaitsForTheJobsEnd)
{
    Bad bad;
    Stopped(bad, true);
    for (const bool anyway : {false, true})
        EXPECT_TRUE(Holds(WordsOf([&] { PlanRetry(bad.job, {.anyway = anyway}); }), "partly"));
    EXPECT_EQ(WaitingErrorFile(bad.job), bad.FileOf(1));
}
