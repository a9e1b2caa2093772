// tests/delimited/loading.h - a file of memory as the rows that would be delivered.

#ifndef FENWIRE_TESTS_DELIMITED_LOADING_H
#define FENWIRE_TESTS_DELIMITED_LOADING_H

#include <string>

#include "pm/index/ready_rows.h"
#include "pm/pm_layer_state.h"
#include "tests/delimited/extraction.h"
#include "tests/pm/piecewise_file.h"
#include "tests/pm/pm_fixture.h"

class Loading : public Pm {
protected:
    // All rows of source, bad ones with their verdict and raw record, and the code at the end.
    std::string Load(bool literal, uint32_t buffer_size, uint32_t seed)
    {
        std::string shown;
        source.Rewind(seed);
        fake.public_log.clear();
        bLiteralReader = literal;
        EXPECT_EQ(Open("pieces", buffer_size), pmrcOk);
        pmfp = file;
        for (FileRecordCount = 0;; ++FileRecordCount) {
            // Rows that lie ready are taken straight or through the scanner's door, as it comes.
            if (IsRowReady() && seed++ % 4 != 0) {
                AddReady(TakeReadyRow(), &shown);
            } else if (const int code = pmRead(file, &pmBuffer); code == pmrcOk) {
                AddExtracted(&shown);
            } else {
                pmClose(file);
                return shown + " ->" + std::to_string(code) + fake.public_log;
            }
            shown += '\n';
        }
    }

    uint64_t straight = 0;

private:
    void AddReady(const ReadyRow &ready, std::string *shown)
    {
        const IndexWork &work = pmIndex.work;
        const char *row = reinterpret_cast<char *>(work.packed) + ready.packed;
        for (uint32_t i = ready.first; i < ready.first + SG_ColCount; ++i) {
            EXPECT_LE(uint64_t{work.offsets[i]} + work.lengths[i], ready.length);
            *shown += work.indicators[i]
                          ? " NULL"
                          : " =" + std::string(row + work.offsets[i], work.lengths[i]);
        }
        ++straight;
    }

    static void AddExtracted(std::string *shown)
    {
        const std::string record(reinterpret_cast<char *>(pmBuffer.Data), pmBuffer.DataLength);
        const int32_t verdict = ExtractDelimitedText();
        EXPECT_TRUE(verdict != 0 || ColumnsLieInTheRow());
        for (int32_t i = 0; i < SG_ColCount; ++i)
            *shown += SG_IndBytes[i] ? " NULL" : " =" + Value(i);
        if (verdict != 0)
            *shown += " (" + std::to_string(verdict) + ") " + record;
    }
};

#endif
