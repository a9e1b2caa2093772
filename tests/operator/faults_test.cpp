// tests/operator/faults_test.cpp - every system call of a small job fails once, in every way it can.
//
// The job keeps checkpoints as an infrastructure would: rows and record together, or neither. With a
// fault it ends right, or it fails with words and goes on from its last checkpoint; then its rows, output
// and error file are those of a run without faults.

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>

#include <sys/mman.h>
#include <sys/wait.h>

#include "operator/methods.h"
#include "pm/disk/os_calls.h"
#include "tests/support/fake_infrastructure.h"
#include "tests/support/temp_directory.h"

namespace fs = std::filesystem;

namespace {

// ---- Faults --------------------------------------------------------------------------------------

enum Fault { None, Io, NoSpace, Interrupted, Short, Nothing };
constexpr const char *kFaultNames[] = {"", "EIO", "ENOSPC", "EINTR", "one byte", "0 bytes"};
constexpr int kErrors[] = {0, EIO, ENOSPC, EINTR, 0, 0};
constexpr size_t kPiece = 16;  // of a read, so that small files have many blocks

OsCalls real;
int *calls_made;  // of the entry in question; the parent sees them
int bad_call = 0;
Fault fault = None;

// A full disk stays full.
bool IsItsTurn()
{
    const int call = ++*calls_made;
    return fault != None && (call == bad_call || (fault == NoSpace && call > bad_call));
}

template <auto Call, class Result, class... Args>
Result Faulty(Args... args)
{
    if (!IsItsTurn())
        return (real.*Call)(args...);
    errno = kErrors[fault];
    if constexpr (std::is_pointer_v<Result>)
        return nullptr;
    else
        return -1;
}

template <auto Call, class Bytes>
ssize_t FaultyTransfer(int descriptor, Bytes *bytes, size_t count)
{
    const bool fails = IsItsTurn();
    if (!fails || (fault == Short && count > 0))
        return (real.*Call)(descriptor, bytes, fails ? 1 : count);
    errno = kErrors[fault];
    return fault == Nothing ? 0 : -1;
}

template <auto Call, class Result, class... Args>
void Put(Result (*OsCalls::*)(Args...))
{
    os.*Call = Faulty<Call, Result, Args...>;
}

struct Entry {
    const char *name;
    void (*put)();
    std::vector<Fault> faults;
};
// A read of 0 bytes is the end of the file, wherever it comes.
// clang-format off
const Entry kEntries[] = {
    {"open",      [] { Put<&OsCalls::open>(&OsCalls::open); },            {Io, Interrupted}},
    {"create",    [] { Put<&OsCalls::create>(&OsCalls::create); },        {Io, NoSpace, Interrupted}},
    {"read",      [] { os.read = FaultyTransfer<&OsCalls::read>; },       {Io, Interrupted, Short}},
    {"write",     [] { os.write = FaultyTransfer<&OsCalls::write>; },     {Io, NoSpace, Interrupted, Short, Nothing}},
    {"lseek",     [] { Put<&OsCalls::lseek>(&OsCalls::lseek); },          {Io}},
    {"ftruncate", [] { Put<&OsCalls::ftruncate>(&OsCalls::ftruncate); },  {Io, Interrupted}},
    {"fdatasync", [] { Put<&OsCalls::fdatasync>(&OsCalls::fdatasync); },  {Io, NoSpace, Interrupted}},
    {"fsync",     [] { Put<&OsCalls::fsync>(&OsCalls::fsync); },          {Io, Interrupted}},
    {"close",     [] { Put<&OsCalls::close>(&OsCalls::close); },          {Io, Interrupted}},
    {"stat",      [] { Put<&OsCalls::stat>(&OsCalls::stat); },            {Io}},
    {"fstat",     [] { Put<&OsCalls::fstat>(&OsCalls::fstat); },          {Io}},
    {"calloc",    [] { Put<&OsCalls::calloc>(&OsCalls::calloc); },        {Io}},
};
// clang-format on

// ---- The job, in a process of its own ------------------------------------------------------------

enum Ending { Right = 10, Failed, Stopped, Wordless };

struct Job {
    const char *about;
    void (*set_up)(Fake &fake);
    int stop_after;  // so many rows an earlier run was killed; 0: there was none
};

// What the infrastructure keeps: the rows so far, and the record that goes with them.
struct Store {
    size_t moved = 0;
    std::string rows, record;
} kept;

bool Load(const fs::path &file, Store &store)
{
    std::ifstream in(file, std::ios::binary);
    size_t bytes = 0;
    if (!(in >> store.moved >> bytes).ignore())
        return false;
    store.rows.resize(bytes);
    in.read(store.rows.data(), static_cast<std::streamsize>(bytes));
    store.record.assign(std::istreambuf_iterator<char>(in), {});
    return true;
}

class Run {
public:
    Run(const Job &job, const fs::path &folder) : stored_(folder / "stored")
    {
        fake_.text["DirectoryPath"] = folder;
        fake_.text["RecordErrorFileName"] = folder / "bad";
        fake_.text["SYSTEM_LOGDIRECTORY"] = folder;
        fake_.text["Format"] = "Delimited";
        fake_.text["TextDelimiter"] = ",";
        fake_.columns = {{.name = "id"}, {.name = "name"}};
        resumed_ = Load(stored_, kept);
        fake_.integer["SYSTEM_RestartMode"] = resumed_ ? 1 : 0;
        job.set_up(fake_);
        fake_.op()->PX_WriteCheckpointRecord = [](PxOperator *, const void *record, uint32_t size) {
            kept.record.assign(static_cast<const char *>(record), size);
            return PxStatus{PXSTC_Success};
        };
        fake_.op()->PX_ReadCheckpointRecord = [](PxOperator *, const void **record,
                                                 uint32_t *size) {
            *record = kept.record.data();
            *size = static_cast<uint32_t>(kept.record.size());
            return PxStatus{PXSTC_Success};
        };
    }

    Ending Attempt(int stop_after)
    {
        const bool moved = Begin() && MoveRows(stop_after);
        const bool ended = PX_Terminate(fake_.op(), 1) == PXSTC_NextPhase &&
                           PX_Terminate(fake_.op(), 2) == PXSTC_EndMethod;
        if (moved && ended && fake_.exit_code < 12)
            return Right;
        // Which call, and why.
        return fake_.exit_code == 12 && fake_.public_log.find(" 194") != std::string::npos
                   ? Failed
                   : Wordless;
    }

private:
    bool Begin()
    {
        PxOperator *op = fake_.op();
        if (PX_Initiate(op, 1) != PXSTC_NextPhase || PX_Initiate(op, 2) != PXSTC_EndMethod)
            return false;
        return resumed_
                   ? PX_Restart(op, 1) == PXSTC_NextPhase && PX_Restart(op, 2) == PXSTC_EndMethod
                   : Checkpoint();
    }

    bool MoveRows(int stop_after)
    {
        for (;;) {
            const PxStatus status = PX_Execute(fake_.op(), 1);
            if (status == PXSTC_EndMethod)
                return Checkpoint();
            if (status != PXSTC_SamePhase)
                return false;
            if (static_cast<int>(++kept.moved) == stop_after)
                _exit(Stopped);
            if (kept.moved % 2 == 0 && !Checkpoint())
                return false;
        }
    }

    bool Checkpoint()
    {
        if (PX_Checkpoint(fake_.op(), 1) != PXSTC_EndMethod)
            return false;
        for (const std::string &row : fake_.rows)
            kept.rows += row + "\n";
        fake_.rows.clear();
        std::ofstream(stored_.string() + ".part", std::ios::binary)
            << kept.moved << ' ' << kept.rows.size() << ' ' << kept.rows << kept.record;
        fs::rename(stored_.string() + ".part", stored_);
        return true;
    }

    Fake fake_;
    fs::path stored_;
    bool resumed_ = false;
};

// Answers how that ended; minus the signal that ended it.
int InChild(const Job &job, const fs::path &folder, int stop_after, const Entry &entry, int call,
            Fault kind)
{
    *calls_made = 0;
    const pid_t child = fork();
    if (child == 0) {
        alarm(30);
        real.fdatasync = [](int) { return 0; };  // nobody pulls the plug
        real.read = [](int descriptor, void *to, size_t count) {
            return ::read(descriptor, to, std::min(count, kPiece));
        };
        os = real;
        bad_call = call;
        fault = kind;
        entry.put();
        _exit(Run(job, folder).Attempt(stop_after));
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

int Undisturbed(const Job &job, const fs::path &folder, int stop_after = 0)
{
    return InChild(job, folder, stop_after, kEntries[0], 0, None);
}

// ---- Jobs ----------------------------------------------------------------------------------------

void SetUpProducer(Fake &fake)
{
    fake.text["FileName"] = "*.csv";
    fake.text["QuotedData"] = "Optional";
    fake.text["SkipRowsEveryFile"] = "Yes";
    fake.integer["SkipRows"] = 1;
}

void SetUpConsumer(Fake &fake)
{
    fake.integer["SYSTEM_OperatorType"] = 2;
    fake.text["FileName"] = "out.csv";
    for (size_t i = kept.moved; i < 9; ++i)
        fake.stream.push_back(fake.Row({std::to_string(i), "name " + std::to_string(i)}));
}

constexpr Job kJobs[] = {{"producer", SetUpProducer, 0},
                         {"producer, restarted", SetUpProducer, 5},
                         {"consumer", SetUpConsumer, 0},
                         {"consumer, restarted", SetUpConsumer, 5}};

// A folder as the job finds it: with its files, and with what an earlier run left that was killed.
void Prepare(const Job &job, const fs::path &folder)
{
    fs::remove_all(folder);
    fs::create_directories(folder);
    std::ofstream(folder / "a.csv") << "id,name\n1,one\n2,two,more\n\"3\",\"th\nree\"\n4\n5,five\n";
    std::ofstream(folder / "b.csv") << "id,name\n6,six\n7,too long a name\n8,eight\n9,nine\n10,ten";
    if (job.stop_after == 0)
        return;
    ASSERT_EQ(Undisturbed(job, folder, job.stop_after), Stopped);
    for (const char *name : {"bad", "out.csv"}) {
        if (fs::exists(folder / name))
            std::ofstream(folder / name, std::ios::app) << std::string(200, '?');
    }
}

std::string Left(const fs::path &folder)
{
    Store store;
    EXPECT_TRUE(Load(folder / "stored", store));
    std::string all = std::to_string(store.moved) + "\n" + store.rows;
    for (const char *name : {"bad", "out.csv"}) {
        std::ifstream in(folder / name, std::ios::binary);
        all.append(std::istreambuf_iterator<char>(in), {}).append("--\n");
    }
    return all;
}

}  // namespace

TEST(Faults, EachCallMayFailAndNoRowIsLostOrDoubled)
{
    calls_made = static_cast<int *>(
        mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    TempDirectory directory;
    const fs::path folder = directory.File("work");
    std::string expected;
    for (const Job &job : kJobs) {
        Prepare(job, folder);
        ASSERT_EQ(Undisturbed(job, folder), Right) << job.about;
        if (job.stop_after == 0)
            expected = Left(folder);
        EXPECT_EQ(Left(folder), expected) << job.about;
        int failed = 0;
        const auto disturb = [&](const Entry &entry, int call, Fault kind) {
            SCOPED_TRACE(std::string(job.about) + ": " + entry.name + " " + std::to_string(call) +
                         " " + kFaultNames[kind]);
            Prepare(job, folder);
            const int ending = InChild(job, folder, 0, entry, call, kind);
            const int calls = *calls_made;
            if (ending != Right) {
                ++failed;
                EXPECT_EQ(ending, Failed);
                EXPECT_EQ(Undisturbed(job, folder), Right);
            }
            EXPECT_EQ(Left(folder), expected);
            return calls;
        };
        for (const Entry &entry : kEntries) {
            const int calls = disturb(entry, 0, None);
            for (const Fault kind : entry.faults) {
                for (int call = 1; call <= calls; ++call)
                    disturb(entry, call, kind);
            }
        }
        EXPECT_GT(failed, 20) << job.about;
    }
}
