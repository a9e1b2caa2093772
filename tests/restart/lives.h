// tests/restart/lives.h - an instance that lives twice: up to a checkpoint, and from it to the end.
//
// Each life is a process of its own, forked from the test's, which has run no part of the operator. The
// first life goes undisturbed and takes a checkpoint between any two rows. For each of these a second life
// begins with what the infrastructure keeps: the record and, for an instance above 1, the variables that
// instance 1 has restored.

#ifndef FENWIRE_TESTS_RESTART_LIVES_H
#define FENWIRE_TESTS_RESTART_LIVES_H

#include <cstring>
#include <functional>
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include "attributes/attributes_state.h"
#include "fileset/fileset_state.h"
#include "operator/methods.h"
#include "tests/support/fake_infrastructure.h"
#include "tests/support/temp_directory.h"

using Words = std::vector<std::string>;

inline std::string Pack(const Words &words)
{
    std::string packed;
    for (const std::string &word : words)
        packed += std::to_string(word.size()) + ":" + word;
    return packed;
}

inline Words Unpack(const std::string &packed)
{
    Words words;
    for (size_t at = 0; at < packed.size();) {
        const size_t from = packed.find(':', at) + 1;
        words.push_back(packed.substr(from, std::stoul(packed.substr(at, from - at - 1))));
        at = from + words.back().size();
    }
    return words;
}

// What work answers in a process of its own; empty when that did not end in order.
inline std::string InChild(const std::function<std::string()> &work)
{
    int ends[2] = {}, status = -1;
    std::string answer;
    char block[65536];
    const pid_t child = pipe(ends) == 0 ? fork() : -1;
    if (child == 0) {
        const std::string text = work();
        for (size_t at = 0; at < text.size();)
            at += static_cast<size_t>(write(ends[1], text.data() + at, text.size() - at));
        _exit(0);
    }
    close(ends[1]);
    for (ssize_t count = 0; (count = read(ends[0], block, sizeof block)) > 0;)
        answer.append(block, static_cast<size_t>(count));
    close(ends[0]);
    waitpid(child, &status, 0);
    return status == 0 ? answer : "";
}

struct Setting {
    const char *about;
    std::map<std::string, std::string> text;
    std::vector<FakeColumn> columns;
    std::vector<std::pair<std::string, std::string>> files =
        {};  // name, contents; none: a consumer
    std::map<std::string, int32_t> integer = {};
    bool wide = false;  // UTF-16
    int instance = 1, instances = 1;
};
inline void PrintTo(const Setting &setting, std::ostream *out) { *out << setting.about; }

// What an instance leaves: its events, and at each checkpoint a snapshot.
using Life = std::vector<Words>;
// Events before it; rows that were taken; the record, empty when none was written; variables; counts of the current file so far.
enum : size_t { kEvents, kTaken, kRecord, kGlobals, kCounts };

// One life, played in the process at hand.
class Play {
public:
    Play(const Setting &setting, const TempDirectory &directory) : setting_(setting)
    {
        for (const auto &[name, value] : setting.integer)
            fake.integer[name] = value;
        fake.text.insert(setting.text.begin(), setting.text.end());
        fake.text["SYSTEM_CharSetId"] = setting.wide ? "UTF16" : "UTF8";
        fake.text["DirectoryPath"] = fake.text["SYSTEM_LOGDIRECTORY"] = directory.path();
        fake.integer["SYSTEM_InstanceNumber"] = setting.instance;
        fake.integer["SYSTEM_MaxInstances"] = setting.instances;
        fake.integer["SYSTEM_OperatorType"] = setting.files.empty() ? 2 : 1;
        fake.columns = setting.columns;
        if (fake.text.count("RecordErrorFileName") != 0)
            fake.text["RecordErrorFileName"] = directory.File("bad");
    }

    void SetGlobals(const std::string &packed)
    {
        const Words all = Unpack(packed);
        for (size_t i = 0; i + 1 < all.size(); i += 2)
            fake.globals[all[i]] = Unpack(all[i + 1]);
    }
    std::string Globals() const
    {
        Words all;
        for (const auto &[name, elements] : fake.globals)
            all.insert(all.end(), {name, Pack(elements)});
        return Pack(all);
    }

    void GoOnFrom(const Words &snapshot)
    {
        fake.integer["SYSTEM_RestartMode"] = 1;
        if (!snapshot[kRecord].empty())
            fake.restart_record = snapshot[kRecord];
        if (setting_.instance > 1) {
            SetGlobals(snapshot[kGlobals]);
            fake.globals["DirInfo"][0][offsetof(DirInfoImage, EvtCkptCount)] = 1;
        }
        if (!snapshot[kCounts].empty())
            memcpy(&before_, snapshot[kCounts].data(), sizeof before_);
    }

    bool Start()
    {
        if (PX_Initiate(fake.op(), 1) != PXSTC_NextPhase)
            return false;
        BufferSize = 64;  // so that records lie across the ends of blocks
        return PX_Initiate(fake.op(), 2) == PXSTC_EndMethod &&
               (FW_RestartMode == 0 || (PX_Restart(fake.op(), 1) == PXSTC_NextPhase &&
                                        PX_Restart(fake.op(), 2) == PXSTC_EndMethod));
    }

    // To the end; with a snapshot before the first row, between any two and behind the last.
    const Life &Live(bool take_snapshots)
    {
        PxStatus status = PXSTC_SamePhase;
        while (status == PXSTC_SamePhase) {
            if (take_snapshots)
                Take();
            status = PX_Execute(fake.op(), 1);
            NoteEvents();
        }
        if (take_snapshots)
            Take();
        PX_Terminate(fake.op(), 1);
        PX_Terminate(fake.op(), 2);
        const size_t files = fake.public_log.find("19221(");
        life_[0].push_back(std::to_string(status) + " " + summary_ +
                           (files != std::string::npos ? fake.public_log.substr(files, 8) : ""));
        return life_;
    }

    std::string Take()  // the record
    {
        fake.written_records.clear();
        if (PX_Checkpoint(fake.op(), 1) != PXSTC_EndMethod)
            return "failed";
        NoteEvents();
        life_.push_back({std::to_string(life_[0].size()), std::to_string(fake.rows_taken()),
                         fake.written_records.empty() ? "" : fake.written_records[0], Globals(),
                         so_far_});
        return life_.back()[kRecord];
    }

    Fake fake;

private:
    // Rows, bad records, counts of finished files over both lives; apart from them the job's statistics, but
    // for the paths and the rows, which the record of an instance above 1 has no room for.
    void NoteEvents()
    {
        Words &events = life_[0];
        events.insert(events.end(), fake.rows.begin(), fake.rows.end());
        for (const std::string &statistic : fake.statistics) {
            if (statistic.starts_with("1001="))
                events.push_back(statistic);
            else if (!statistic.starts_with("1002=") &&
                     (setting_.instance == 1 ||
                      (statistic.substr(0, 4) != "119=" && statistic.substr(0, 4) != "120=")))
                summary_ += statistic + " ";
        }
        for (PxFileCounts counts : fake.file_counts) {
            for (uint64_t PxFileCounts::*of :
                 {&PxFileCounts::records, &PxFileCounts::rows, &PxFileCounts::refused,
                  &PxFileCounts::skipped, &PxFileCounts::without_excess})
                counts.*of += counts.index == before_.index ? before_.*of : 0;
            counts.cpu_seconds = 0;
            so_far_.assign(reinterpret_cast<const char *>(&counts), sizeof counts);
            if (counts.ended == 1)
                events.push_back(so_far_);
        }
        fake.rows.clear();
        fake.statistics.clear();
        fake.file_counts.clear();
    }

    const Setting &setting_;
    Life life_ = {{}};
    PxFileCounts before_ = {};
    std::string so_far_, summary_;
};

inline std::string PackLife(const Life &life)
{
    Words packed;
    for (const Words &part : life)
        packed.push_back(Pack(part));
    return Pack(packed);
}

inline Life UnpackLife(const std::string &packed)
{
    Life life;
    for (const std::string &part : Unpack(packed))
        life.push_back(Unpack(part));
    return life;
}

#endif
