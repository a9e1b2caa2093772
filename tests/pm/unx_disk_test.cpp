// tests/pm/unx_disk_test.cpp - local files and named pipes, and system calls that fail.

#include <chrono>
#include <thread>

#include "tests/pm/faulty_calls.h"
#include "tests/pm/pm_fixture.h"

namespace {

int flags_of_open = 0;

int RememberingOpen(const char *path, int flags)
{
    flags_of_open = flags;
    return ::open(path, flags);
}

}  // namespace

class UnxDisk : public Pm {
protected:
    void MakePipe()
    {
        pipe = directory.File("pipe");
        ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    }

    // Writes to the pipe from a thread of its own; opening waits for the reader.
    std::thread Writer(std::string bytes, int pause_ms)
    {
        return std::thread([this, bytes, pause_ms] {
            const int descriptor = ::open(pipe.c_str(), O_WRONLY);
            for (const char byte : bytes) {
                std::this_thread::sleep_for(std::chrono::milliseconds(pause_ms));
                EXPECT_EQ(::write(descriptor, &byte, 1), 1);
            }
            ::close(descriptor);
        });
    }

    std::string pipe;
};

TEST_F(UnxDisk, InterruptionsAndShortCountsDoNotShow)
{
    os.read = Faulty<::read, void>;
    for (const std::string &pattern :
         {std::string{EINTR}, std::string{0, EINTR, 0}, std::string(9, '\0'), std::string{0, 0}}) {
        faults = pattern;
        EXPECT_EQ(ReadText("ab\r\n\r\ncd\r\ne", 16), "ab||cd|e|->9");
    }
}

TEST_F(UnxDisk, FailedReadIsReportedInWords)
{
    os.read = Faulty<::read, void>;
    faults = {EIO};
    EXPECT_EQ(ReadText("a\n"), "->34");
    EXPECT_STREQ(pmErrorText(34), "pmunxRBuf: read error (Input/output error)");
    faults = {0, 0, EIO};
    EXPECT_EQ(ReadText("a\nb\n"), "a|->34");
}

TEST_F(UnxDisk, FailedOpenLeavesNothingOpen)
{
    directory.Write("a", "a\n");
    const std::string path = directory.File("a");
    EXPECT_EQ(Open(directory.File("none")), pmrcNotFound);
    EXPECT_EQ(pmErrorText(34),
              "pmUnxDskOpen: File: '" + directory.File("none") + "' (No such file or directory)");
    os.open = [](const char *, int) { return errno = EACCES, -1; };
    EXPECT_EQ(Open(path), pmrcText);
    os.open = RememberingOpen;
    os.fstat = [](int, struct stat *) { return errno = EIO, -1; };
    static int closed;
    os.close = [](int descriptor) { return ++closed, ::close(descriptor); };
    EXPECT_EQ(Open(path), pmrcText);
    os.fstat = ::fstat;
    os.calloc = [](size_t, size_t) -> void * { return nullptr; };
    EXPECT_EQ(Open(path, 1 << 20), pmrcMemory);
    EXPECT_EQ(closed, 2);
    EXPECT_EQ(Open(path, UINT32_MAX), pmrcMemory);
    os.calloc = ::calloc;
    EXPECT_EQ(Open(path, 1 << 20), pmrcOk);
    EXPECT_TRUE(flags_of_open & O_CLOEXEC);
}

TEST_F(UnxDisk, PipeIsReadToItsEndThoughBytesComeSingly)
{
    for (const uint32_t limit : {0U, 5U}) {
        FIFO_TimeOutSeconds = limit;
        MakePipe();
        pmSetCharSet("UTF8");
        os.open = RememberingOpen;
        std::thread writer = Writer("\xEF\xBB\xBF\r\na\r\nb", 2);
        EXPECT_EQ(Open(pipe, 16), pmrcOk);
        EXPECT_EQ(ReadAll(), "|a|b|->9");
        writer.join();
        EXPECT_EQ((flags_of_open & O_NONBLOCK) != 0, limit != 0);
        EXPECT_EQ(pmClose(file), pmrcOk);
        unlink(pipe.c_str());
    }
}

TEST_F(UnxDisk, RecordsGoOnBehindATimeOut)
{
    FIFO_TimeOutSeconds = 5;
    pmSetCharSet("UTF8");
    MakePipe();
    static int silences;
    os.ppoll = [](pollfd *fds, nfds_t count, const timespec *limit, const sigset_t *mask) {
        return ++silences % 2 == 0 ? 0 : ::ppoll(fds, count, limit, mask);
    };
    std::thread writer = Writer("\xEF\xBB\xBF\na\n", 1);
    EXPECT_EQ(Open(pipe, 16), pmrcOk);
    std::string shown;
    for (std::string part = "->55"; part.ends_with("->55");) {
        part = ReadAll();
        shown += part.substr(0, part.rfind("->"));
    }
    writer.join();
    EXPECT_EQ(shown, "|a|");
}

TEST_F(UnxDisk, DrainedPipeIsWaitedForAgain)
{
    FIFO_TimeOutSeconds = 5;
    MakePipe();
    os.read = Faulty<::read, void>;
    faults = {EAGAIN, EINTR, EAGAIN};
    std::thread writer = Writer("a\n", 0);
    EXPECT_EQ(Open(pipe), pmrcOk);
    EXPECT_EQ(ReadAll(), "a|->9");
    writer.join();
}

TEST_F(UnxDisk, EndOfAPipeIsFinal)
{
    FIFO_TimeOutSeconds = 1;
    MakePipe();
    EXPECT_EQ(Open(pipe), pmrcOk);
    Writer("a\nb", 0).join();
    pmRecord record = {};
    EXPECT_EQ(pmRead(file, &record), pmrcOk);
    EXPECT_EQ(pmRecordOffset(file), -1);
    EXPECT_EQ(pmRead(file, &record), pmrcOk);  // which met the end
    std::thread second = Writer("c\n", 0);
    second.join();
    EXPECT_EQ(pmRead(file, &record), pmrcEOF);
}
