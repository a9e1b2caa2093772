// tests/pm/differential_test.cpp - the fast reader finds what the literal one finds, on random data.

#include "tests/pm/piecewise_file.h"
#include "tests/pm/pm_fixture.h"
#include "tests/support/dice.h"

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

TEST_F(Differential, FastReaderAgreesWithTheLiteralOneAndBlocksDoNotShow)
{
    ServePieces();
    for (const Job &job : kJobs) {
        Quote(job.open, job.close, job.escape);
        bQuotedData = job.quoted;
        SetMark(TextDelimiter, job.delimiter);
        for (int i = 0; i < 6000; ++i) {
            const uint32_t buffer_size = 16 + Below(3) * 20, seed = Below(1U << 31);
            source.longest_piece = 1 + Below(40);
            source.bytes.assign(Below(120), '\0');
            for (char &byte : source.bytes)
                byte = job.alphabet[Below(strlen(job.alphabet))];
            ASSERT_EQ(Read(0, buffer_size, seed), Read(1, buffer_size, seed))
                << job.about << ", " << buffer_size << " \"" << source.bytes << "\"";
            if (i % 6 != 0)
                continue;
            source.longest_piece = 1;
            const std::string singly = Read(0, 128, 1);
            source.longest_piece = 128;
            ASSERT_EQ(singly, Read(1, 128, 2)) << job.about << " \"" << source.bytes << "\"";
        }
    }
}
