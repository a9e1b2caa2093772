// tests/host/coordinator/job_runs.h - whole jobs with the scripted operator: real processes, a real target.

#ifndef FENWIRE_TESTS_HOST_COORDINATOR_JOB_RUNS_H
#define FENWIRE_TESTS_HOST_COORDINATOR_JOB_RUNS_H

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "host/coordinator/run.h"
#include "tests/support/temp_directory.h"

// Keeps what it is told.
class RecordingConsole final : public fenwire::Console {
public:
    void Message(fenwire::LineKind, const std::string &line) override { lines.push_back(line); }
    void Progress(const fenwire::JobSnapshot &now) override { last = now; }
    void Finish(const fenwire::JobReport &) override { ++finished; }
    std::vector<std::string> lines;
    fenwire::JobSnapshot last;
    int finished = 0;
};

class JobRun {
public:
    explicit JobRun(int instances = 1)
    {
        setenv("FENWIRE_OPERATOR", FENWIRE_SCRIPTED_OPERATOR, 1);
        job.folder = folder.path();
        job.file = job.folder / "job.toml";
        job.name = "scripted";
        job.state = job.folder / ".fenwire" / job.name;
        job.producer.instances = instances;
        job.target_type = "print";
        job.target = {{"file", folder.File("out"), {}}};
        for (const char *name : {"a", "b"}) {
            fenwire::Column column;
            column.name = name;
            column.length = 1000;
            job.columns.push_back(column);
        }
        Set("Trace", folder.File("trace"));
        Set("Initiate", "next");
        Set("Terminate", "next");
    }

    void Set(const std::string &attribute, const std::string &value)
    {
        for (fenwire::Attribute &known : job.producer.attributes) {
            if (known.name == attribute) {
                known.value = value;
                return;
            }
        }
        job.producer.attributes.push_back({attribute, value, {}});
    }

    const fenwire::JobReport &Run()
    {
        report = fenwire::RunJob(job, console);
        return report;
    }

    std::vector<std::string> Lines(const std::string &file) const
    {
        std::ifstream stream(folder.File(file));
        std::vector<std::string> lines;
        for (std::string line; std::getline(stream, line);)
            lines.push_back(line);
        return lines;
    }

    std::string Text(const std::string &file) const
    {
        std::ifstream stream(folder.File(file));
        std::ostringstream text;
        text << stream.rdbuf();
        return text.str();
    }

    TempDirectory folder;
    fenwire::Job job;
    RecordingConsole console;
    fenwire::JobReport report;
};

#endif
