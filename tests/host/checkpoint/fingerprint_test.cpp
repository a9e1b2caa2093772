// tests/host/checkpoint/fingerprint_test.cpp - what keeps a job from going on from its checkpoint.

#include <gtest/gtest.h>

#include "host/checkpoint/fingerprint.h"
#include "tests/host/job/job_files.h"

using namespace fenwire;

namespace {

namespace fs = std::filesystem;

const char *const kJob = R"toml([job]
name = "orders"
[producer]
instances = 4
FileName = "*.csv"
Format = "Delimited"
QuotedData = "No"
SkipRows = 1
[schema]
columns = ["id VARCHAR(12)", "amount VARCHAR(16)"]
[target]
type = "sqlite"
file = "orders.db"
table = "orders"
)toml";

std::string Joined(const std::vector<std::string> &lines)
{
    std::string text;
    for (const std::string &line : lines)
        text += line + "\n";
    return text;
}

}  // namespace

TEST(Fingerprint, NamesWhatDiffers)
{
    // clang-format off
    static constexpr struct {
        const char *about, *piece, *instead, *differences;
    } kCases[] = {
        {"a number",           "= 4",            "= 2",                        "[producer] instances: 4 at the checkpoint, 2 now\n"},
        {"a text",             "*.csv",          "a.csv",                      "[producer] FileName: \"*.csv\" at the checkpoint, \"a.csv\" now\n"},
        {"key removed",        "SkipRows = 1",   "",                           "[producer] SkipRows: 1 at the checkpoint, not given now\n"},
        {"key added",          "SkipRows = 1",   "SkipRows = 1\nTextDelimiter = \",\"", "[producer] TextDelimiter: not given at the checkpoint, \",\" now\n"},
        {"column's type",      "VARCHAR(16)",    "VARCHAR(20)",                "[schema] column \"amount\": VARCHAR(16) at the checkpoint, VARCHAR(20) now\n"},
        {"column's other key", "\"amount VARCHAR(16)\"", "{name = \"amount\", type = \"VARCHAR(16)\", sql_type = \"REAL\"}", "[schema] column \"amount\": VARCHAR(16) at the checkpoint, VARCHAR(16), sql_type REAL now\n"},
        {"column's name",      "amount",         "sum",                        "[schema] column \"amount\": VARCHAR(16) at the checkpoint, not there now\n[schema] column \"sum\": not there at the checkpoint, VARCHAR(16) now\n"},
        {"order of columns",   "\"id VARCHAR(12)\", \"amount VARCHAR(16)\"", "\"amount VARCHAR(16)\", \"id VARCHAR(12)\"", "[schema] columns: they stood in another order at the checkpoint\n"},
        {"character set",      "name = ",        "charset = \"ASCII\"\nname = ", "[job] charset: \"UTF8\" at the checkpoint, \"ASCII\" now\n"},
        {"target's table",     "table = \"orders\"", "table = \"other\"",      "[target] table: \"orders\" at the checkpoint, \"other\" now\n"},
        {"other end",          "[target]\ntype = \"sqlite\"\nfile = \"orders.db\"\ntable = \"orders\"", "[consumer]\nFormat = \"Delimited\"\nFileName = \"o\"", "[consumer]: not there at the checkpoint, there now\n[target]: there at the checkpoint, not there now\n"},
        {"how it is logged",   "SkipRows = 1",   "SkipRows = 1\nTraceLevel = \"All\"", ""},
        {"when to give up",    "SkipRows = 1",   "SkipRows = 1\nErrorLimit = 5", ""},
        {"when checkpoints are due", "name = ",  "checkpoint = \"1s\"\nname = ", ""},
        {"a default, written out", "SkipRows = 1", "SkipRows = 1\nNullColumns = true\nRowsPerInstance = -1", ""},
        {"no, written otherwise", "\"No\"",      "false",                      ""},
        {"order of keys",      "instances = 4\nFileName = \"*.csv\"", "FileName = \"*.csv\"\ninstances = 4", ""},
        {"table emptied first", "table = ",      "replace = true\ntable = ",   ""},
    };
    // clang-format on
    const JobFolder folder;
    const std::string then = FingerprintOf(LoadJob(folder.Write("then.toml", kJob)));
    for (const auto &c : kCases) {
        const Job now = LoadJob(folder.Write("now.toml", With(kJob, c.piece, c.instead)));
        EXPECT_EQ(Joined(DifferencesFrom(then, now)), c.differences) << c.about;
    }
}

TEST(Fingerprint, HoldsNoPassword)
{
    Job job;
    job.target_type = "postgres";
    job.target = {{"connection", std::string("host=db password='pass word' user=me"), {}}};
    const std::string then = FingerprintOf(job);
    EXPECT_EQ(then.find("pass word"), std::string::npos) << then;
    job.target[0].value = std::string("host=db user=me password=other");
    EXPECT_EQ(Joined(DifferencesFrom(then, job)), "");
    job.target[0].value = std::string("host=other user=me password=other");
    EXPECT_NE(Joined(DifferencesFrom(then, job)), "");
}

TEST(Fingerprint, WhatIsNoneIsADifference)
{
    const JobFolder folder;
    const Job job = LoadJob(folder.Write("job.toml", kJob));
    const std::string good = FingerprintOf(job);
    for (const std::string &bad : {std::string(), std::string("[]"), std::string("{\"version\":1}"),
                                   good.substr(1), With(good, "\"version\":1", "\"version\":2"),
                                   With(good, "[[\"id\",\"VARCHAR(12)\"]", "[[7]"),
                                   With(good, "\"sections\":{", "\"sections\":7,\"x\":{")})
        EXPECT_EQ(DifferencesFrom(bad, job).size(), 1u) << bad;
    EXPECT_NE(Joined(DifferencesFrom(With(good, "\"producer\":{", "\"producer\":7,\"x\":{"), job)),
              "");
}

TEST(ChangedFiles, AreNamedWithWhatBecameOfThem)
{
    static constexpr struct {
        const char *about;
        void (*change)(const fs::path &file);
        const char *input, *output;
    } kCases[] = {
        {"nothing", [](const fs::path &) {}, "", ""},
        {"gone", [](const fs::path &file) { fs::remove(file); },
         "is gone, or no plain file any more", "is gone, and with it 10 bytes of rows"},
        {"a folder now",
         [](const fs::path &file) {
             fs::remove(file);
             fs::create_directory(file);
         },
         "is gone, or no plain file any more", "is gone, and with it 10 bytes of rows"},
        {"longer", [](const fs::path &file) { fs::resize_file(file, 12); },
         "had 10 bytes at the checkpoint and has 12 bytes now", ""},
        {"shorter", [](const fs::path &file) { fs::resize_file(file, 1); },
         "had 10 bytes at the checkpoint and has 1 byte now",
         "held 10 bytes at the checkpoint and holds 1 byte now"},
        {"another one",
         [](const fs::path &file) {
             std::ofstream(file.string() + ".new") << "0123456789";
             fs::rename(file.string() + ".new", file);
         },
         "is another file under the same name", "is another file under the same name"},
        {"written to",
         [](const fs::path &file) { fs::last_write_time(file, fs::file_time_type::clock::now()); },
         "was written to since the checkpoint", ""},
    };
    for (const auto &c : kCases) {
        const JobFolder folder;
        Job job;
        job.folder = folder.path();
        const fs::path file = folder.Write("real", "0123456789");
        fs::last_write_time(file, fs::file_time_type::clock::now() - std::chrono::hours(1));
        fs::create_symlink("real", folder.path() / "a.csv");
        Generation then;
        then.inputs = {IdentityOf(job, "a.csv"), IdentityOf(job, "a.csv")};
        then.inputs[0].status = 1;
        then.inputs[1].status = 2;  // nobody needs it any more
        then.outputs = {IdentityOf(job, "a.csv"), IdentityOf(job, "never was")};
        c.change(file);
        const std::string name = "a.csv ";
        EXPECT_EQ(Joined(ChangedFiles(job, then)), *c.input ? name + c.input + "\n" : "")
            << c.about;
        EXPECT_EQ(Joined(LostFiles(job, then)), *c.output ? name + c.output + "\n" : "") << c.about;
    }
}
