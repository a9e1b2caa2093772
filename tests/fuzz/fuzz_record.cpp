// tests/fuzz/fuzz_record.cpp - a damaged checkpoint record is refused, or what follows keeps to the files of the
// job, and the next checkpoint leads back to where that was taken.
//
// An input says whose record it is (0 instance 1, 1 instance 2) and behind how many rows it was taken. Then
// come the damages: an offset of three numbers, from the end of the record when the first is odd, and the
// four bytes that lie there now. What is left is as long as the piece that the record lost at its end.

#include <cstring>

#include "fileset/fileset.h"
#include "pm/disk/os_calls.h"
#include "pm/pm_state.h"
#include "restart/restart_state.h"
#include "tests/fuzz/harness.h"
#include "tests/restart/lives.h"

namespace {

const Setting kJob = {"",
                      {{"Format", "Delimited"},
                       {"TextDelimiter", ","},
                       {"FileName", "*.csv"},
                       {"QuotedData", "Optional"},
                       {"RecordErrorFileName", ""}},
                      {{.name = "id"}, {.name = "name"}},
                      {{"a.csv", "h,h\n1,a\nbad\n2,\"b\nb\"\n3,c\n"},
                       {"b.csv", "1,a\n2,b\n3,c\n4,d\n5,e\n6,f\n"},
                       {"c.csv", "5,e\n"}},
                      {{"SkipRows", 1}},
                      false,
                      1,
                      2};
constexpr int kRows = 4;  // of an instance; one more checkpoint stands behind its last file

class RecordFuzz {
public:
    RecordFuzz()
    {
        testing::GTEST_FLAG(throw_on_failure) = true;
        for (const auto &[name, contents] : kJob.files)
            directory_.Write(name, contents);
        for (int instance = 1; instance <= 2; ++instance)
            lives_.push_back(FirstLife(instance));
        play_.GoOnFrom({"", "", "", "", ""});  // in a restart
        EXPECT_EQ(PX_Initiate(fake_.op(), 1), PXSTC_NextPhase);
        variables_ = fake_.globals;
        info_ = DirInfo;
        within_ = directory_.path() + "/";
        os.fdatasync = os.fsync = [](int) { return 0; };  // the disk's time is not the target's
        os.open = [](const char *path, int flags) {
            EXPECT_TRUE(std::string_view(path).starts_with(within_)) << path;
            return ::open(path, flags);
        };
    }

    void Try(Input input)
    {
        ThisInstance = job_.instance = static_cast<int>(1 + input.Number(2));
        const Life &life = lives_[static_cast<size_t>(ThisInstance - 1)];
        const Words &taken = life[1 + input.Number(static_cast<uint32_t>(life.size() - 1))];
        std::string record = taken[kRecord];
        Damage(&record, input);
        directory_.Write("bad", "bad\n");
        if (Starts(record, taken[kGlobals]) && Runs()) {
            fake_.written_records.clear();
            EXPECT_EQ(PX_Checkpoint(fake_.op(), 1), PXSTC_EndMethod);
            record = fake_.written_records.empty() ? "" : fake_.written_records[0];
            EXPECT_TRUE(Starts(record, play_.Globals())) << fake_.public_log;
        } else {
            EXPECT_EQ(CurrentExitCode, 12);
        }
        for (const auto &[name, contents] : kJob.files)
            EXPECT_EQ(directory_.Read(name), contents);
    }

private:
    Life FirstLife(int instance) const
    {
        Setting setting = kJob;
        std::string variables = InChild([&] {
            Play play(setting, directory_);
            PX_Initiate(play.fake.op(), 1);
            return play.Globals();
        });
        setting.instance = instance;
        return UnpackLife(InChild([&] {
            Play play(setting, directory_);
            if (instance > 1)
                play.SetGlobals(variables);
            EXPECT_TRUE(play.Start());
            return PackLife(play.Live(true));
        }));
    }

    static void Damage(std::string *record, Input &input)
    {
        while (input.Rest().size() >= 7 && record->size() >= 4) {
            const bool from_end = input.Number(2) != 0;
            const size_t offset =
                (input.Number(256) << 8 | input.Number(256)) % (record->size() - 3);
            char *at = &(*record)[from_end ? record->size() - 4 - offset : offset];
            for (int i = 0; i < 4; ++i)
                at[i] = static_cast<char>(input.Number(256));
        }
        record->resize(record->size() - std::min(record->size(), input.Rest().size()));
    }

    // As a process that was just started and has its attributes.
    void BeginAnew()
    {
        if (pmfp != 0)
            pmClose(pmfp);
        pmfp = 0;
        FreeFileNodes();
        free(RestartPosition);
        RestartPosition = nullptr;
        RestartPositionLength = bRecordFound = 0;
        PendingUpdates = {};
        DirInfo = info_;
        AllocatedFileCount = CountCurrent = CurrentFileIndex = 0;
        CurrentFile = {};
        RowCount = RowsSkipped = EvtRecordCount = 0;
        SG_ErrorRowCount = EvtFileCount = EvtCkptCount = FilesThisInstance = 0;
        bSkipRowsDone = bExecuteEndMethod = bNoFileForInstance = bAccumulateErrorCounts = 0;
        CurrentExitCode = 0;
        FW_TraceLvl = 1;
        pmTrace(1, nullptr, 1);
        for (std::string *log : {&fake_.public_log, &fake_.private_log, &fake_.private_prefixes})
            log->clear();
        fake_.calls.clear();
        fake_.rows.clear();
        fake_.statistics.clear();
        fake_.file_counts.clear();
    }

    bool Starts(const std::string &record, const std::string &variables)
    {
        BeginAnew();
        fake_.restart_record.reset();
        fake_.globals = variables_;
        play_.GoOnFrom({"", "", record, variables, ""});
        return PX_Restart(fake_.op(), 1) == PXSTC_NextPhase &&
               PX_Restart(fake_.op(), 2) == PXSTC_EndMethod;
    }

    // To some place in the middle, or the end.
    bool Runs()
    {
        PxStatus status = PXSTC_SamePhase;
        for (int i = 0; i < kRows && status == PXSTC_SamePhase; ++i)
            status = PX_Execute(fake_.op(), 1);
        return status == PXSTC_SamePhase || status == PXSTC_EndMethod;
    }

    TempDirectory directory_;
    std::vector<Life> lives_;
    Setting job_ = kJob;
    Play play_{job_, directory_};
    Fake &fake_ = play_.fake;
    std::map<std::string, std::vector<std::string>> variables_;
    DirInfoImage info_ = {};
    static inline std::string within_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static RecordFuzz fuzz;
    fuzz.Try({data, size});
    return 0;
}
