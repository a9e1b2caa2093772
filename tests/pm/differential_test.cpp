// tests/pm/differential_test.cpp - the fast reader finds what the literal one finds, on random data.

#include <random>

#include "tests/pm/piecewise_file.h"
#include "tests/pm/pm_fixture.h"

namespace {

struct Job {
    const char *about, *alphabet;
    int quoted;
    const char *open, *close, *escape, *delimiter;
};
// clang-format off
constexpr Job kJobs[] = {
    {"LF",                    "aaab,\n",            kNo,       "",  "",  "",   "," },
    {"CRLF",                  "aab,\r\r\n\n",       kNo,       "",  "",  "",   "," },
    {"quotes",                "aab,,''\n",          kOptional, "'", "'", "",   "," },
    {"quotes, CRLF",          "a,,'''\r\n",         kOptional, "'", "'", "",   "," },
    {"quotes, escape",        "a,,''\\\n",          kOptional, "'", "'", "\\", "," },
    {"different marks",       "a,,<<>>\\\n",        kOptional, "<", ">", "\\", "," },
    {"long delimiter",        "a,;,;''\n",          kOptional, "'", "'", "",   ",;"},
    {"escape equal to close", "a,,''\n",            kOptional, "'", "'", "'",  "," },
    {"quote mark CR",         "a,,\r\r\n",          kOptional, "\r", "\r", "", "," },
};
// clang-format on

}  // namespace

class Differential : public Pm {
protected:
    std::string Read(uint32_t literal, uint32_t buffer_size, unsigned seed)
    {
        bLiteralReader = literal;
        source.Rewind(seed);
        fake.public_log.clear();
        EXPECT_EQ(Open("pieces", buffer_size), pmrcOk);
        const std::string shown = ReadAll();
        pmClose(file);
        return shown + " " + fake.public_log;
    }
};

TEST_F(Differential, FastReaderAgreesWithTheLiteralOne)
{
    ServePieces();
    std::mt19937 random(20240601);
    for (const Job &job : kJobs) {
        Quote(job.open, job.close, job.escape);
        bQuotedData = job.quoted;
        SetMark(TextDelimiter, job.delimiter);
        const size_t letters = strlen(job.alphabet);
        for (int i = 0; i < 6000; ++i) {
            const auto buffer_size = static_cast<uint32_t>(16 + random() % 3 * 20);
            source.longest_piece = 1 + random() % 40;
            source.bytes.assign(random() % 120, '\0');
            for (char &byte : source.bytes)
                byte = job.alphabet[random() % letters];
            const auto seed = static_cast<unsigned>(random());
            ASSERT_EQ(Read(0, buffer_size, seed), Read(1, buffer_size, seed))
                << job.about << ", " << buffer_size << " \"" << source.bytes << "\"";
        }
    }
}

// Where the blocks end must not show in the records, whichever reader is at work.
TEST_F(Differential, RecordsDoNotDependOnBlocks)
{
    ServePieces();
    std::mt19937 random(7);
    for (const Job &job : kJobs) {
        Quote(job.open, job.close, job.escape);
        bQuotedData = job.quoted;
        SetMark(TextDelimiter, job.delimiter);
        const size_t letters = strlen(job.alphabet);
        for (int i = 0; i < 1000; ++i) {
            source.bytes.assign(random() % 120, '\0');
            for (char &byte : source.bytes)
                byte = job.alphabet[random() % letters];
            source.longest_piece = 1;
            const std::string singly = Read(0, 128, 1);
            source.longest_piece = 128;
            ASSERT_EQ(singly, Read(1, 128, 2)) << job.about << " \"" << source.bytes << "\"";
        }
    }
}
