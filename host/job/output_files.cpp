// host/job/output_files.cpp - the files that a job would write, as they lie there now.

#include "host/job/output_files.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>

#include <sys/stat.h>
#include <unistd.h>

#include "host/job/attribute_checks.h"
#include "host/job/data_files.h"
#include "host/job/settings.h"
#include "host/job/words.h"

namespace fenwire {

namespace {

namespace fs = std::filesystem;

// The instance goes in front of the ending of a compressed file, else at the end of the name.
std::string NameOfInstance(const std::string &name, int instance, int instances)
{
    if (instances == 1)
        return name;
    for (const char *suffix : {".gz", ".zip"}) {
        if (name.ends_with(suffix))
            return fmt::format("{}-{}{}", name.substr(0, name.size() - strlen(suffix)), instance,
                               suffix);
    }
    return fmt::format("{}-{}", name, instance);
}

SourcePosition PlaceOf(const Job &job, const char *attribute)
{
    const auto given = std::ranges::find(job.consumer.attributes, attribute, &Attribute::name);
    return given != job.consumer.attributes.end() ? given->at : job.consumer.at;
}

// ---- As they lie there ------------------------------------------------------------------------

std::string ReasonAgainstFolder(const fs::path &folder)
{
    struct stat info;
    if (stat(folder.c_str(), &info) != 0)
        return fmt::format("directory {} can't be examined: {}", Quoted(folder.string()),
                           strerror(errno));
    return S_ISDIR(info.st_mode) ? std::string()
                                 : fmt::format("{} is not a directory", Quoted(folder.string()));
}

// Why the file can't be written; empty: it can. What becomes of it goes to state.
std::string LookAtFile(bool appends, OutputState &state)
{
    struct stat info;
    const std::string shown = Quoted(state.path.string());
    if (stat(state.path.c_str(), &info) != 0) {
        if (errno != ENOENT)
            return fmt::format("file {} can't be examined: {}", shown, strerror(errno));
        if (appends)
            return fmt::format("file {} does not exist, and WriteAppend makes none", shown);
        state.becomes = "new";
        return access(state.path.parent_path().c_str(), W_OK | X_OK) == 0
                   ? std::string()
                   : fmt::format("no file can be made in {}: {}",
                                 Quoted(state.path.parent_path().string()), strerror(errno));
    }
    if (S_ISDIR(info.st_mode))
        return fmt::format("{} is a directory", shown);
    if (!S_ISREG(info.st_mode)) {
        state.becomes = S_ISFIFO(info.st_mode) ? "named pipe" : "device";
    } else {
        state.replaces = !appends && info.st_size > 0;
        state.becomes = fmt::format("{} {} bytes", appends ? "goes on behind" : "replaces",
                                    static_cast<uint64_t>(info.st_size));
    }
    return access(state.path.c_str(), W_OK) == 0
               ? std::string()
               : fmt::format("file {} can't be written: {}", shown, strerror(errno));
}

// ---- Against what the job reads ---------------------------------------------------------------

class Conflicts {
public:
    Conflicts(const Job &job, std::vector<Complaint> &found) : job_(job), found_(found) {}

    void Check()
    {
        outputs_ = OutputFiles(job_);
        Against(job_.file, "the job file");
        if (job_.has_source())
            AgainstDatabase(PathSetting(job_, job_.source, "file"));
        else
            AgainstInput();
        CheckLogs();
        const std::string errors =
            job_.producer.Text("RecordErrorFileName", job_.producer.Text("RowErrFileName"));
        for (const char *suffix : {"", ".jsonl"}) {
            if (!errors.empty())
                Against((job_.folder / (errors + suffix)).lexically_normal(),
                        "the record error file");
        }
    }

private:
    void Complain(const fs::path &output, const std::string &what)
    {
        found_.push_back({PlaceOf(job_, "FileName"),
                          fmt::format("the output file {} {}", Quoted(output.string()), what),
                          "give the output another name or DirectoryPath"});
        outputs_.clear();  // one is enough
    }

    // Of two instances that write one file, the later one moves the other's log away.
    void CheckLogs()
    {
        const std::string reads =
            job_.producer.Text("PrivateLogName", PrivateLogName(Role::Producer));
        const std::string writes =
            job_.consumer.Text("PrivateLogName", PrivateLogName(Role::Consumer));
        if (!job_.has_source() && reads == writes)
            found_.push_back({PlaceOf(job_, "PrivateLogName"),
                              fmt::format("both steps have the private log {}", Quoted(reads)),
                              "give [consumer] another PrivateLogName"});
    }

    // By name, and by what lies under the name.
    void Against(const fs::path &other, const char *what)
    {
        if (other.empty())
            return;
        std::error_code none;
        const auto same = std::ranges::find_if(outputs_, [&](const fs::path &output) {
            return output == other || fs::equivalent(output, other, none);
        });
        if (same != outputs_.end())
            Complain(*same, fmt::format("is {} {}", what, Quoted(other.string())));
    }

    // A database has its journal beside it: whoever writes over that damages the database.
    void AgainstDatabase(const fs::path &file)
    {
        Against(file, "the source");
        for (const char *suffix : {"-journal", "-wal", "-shm"}) {
            if (!file.empty())
                Against((file.string() + suffix).c_str(), "the journal of the source, file");
        }
    }

    void AgainstInput()
    {
        const DataFiles input = FindDataFiles(job_);
        for (const DataFile &file : input.files)
            Against(file.path.lexically_normal(), "the input file");
        const std::string pattern = job_.producer.Text("FileName");
        const fs::path folder = (input.directory / "").lexically_normal().parent_path();
        const auto fits = std::ranges::find_if(outputs_, [&](const fs::path &output) {
            return input.pattern && output.parent_path() == folder &&
                   FitsPattern(pattern, output.filename().string());
        });
        if (fits != outputs_.end())
            Complain(*fits,
                     fmt::format("would be read as an input file: it fits {}", Quoted(pattern)));
    }

    const Job &job_;
    std::vector<Complaint> &found_;
    std::vector<fs::path> outputs_;
};

}  // namespace

std::vector<fs::path> OutputFiles(const Job &job)
{
    const std::string name = job.consumer.Text("FileName");
    std::vector<fs::path> files;
    if (job.has_target() || name.empty())
        return files;
    const fs::path folder = job.folder / job.consumer.Text("DirectoryPath");
    for (int i = 1; i <= job.consumer.instances; ++i)
        files.push_back(
            (folder / NameOfInstance(name, i, job.consumer.instances)).lexically_normal());
    return files;
}

OutputLook LookAtOutput(const Job &job)
{
    OutputLook look;
    const bool appends = SameWord(job.consumer.Text("OpenMode"), "WriteAppend");
    std::error_code none;
    for (const fs::path &path : OutputFiles(job)) {
        OutputState state{path, {}, false};
        std::string reason = ReasonAgainstFolder(path.parent_path());
        if (!reason.empty()) {
            const bool named = !job.consumer.Text("DirectoryPath").empty();
            look.faults.push_back({PlaceOf(job, named ? "DirectoryPath" : "FileName"), reason,
                                   "make it first; paths count from the folder of the job file"});
            return look;
        }
        reason = LookAtFile(appends, state);
        if (reason.empty())
            look.files.push_back(std::move(state));
        else
            look.faults.push_back({PlaceOf(job, "FileName"), std::move(reason),
                                   appends && !fs::exists(path, none)
                                       ? "make an empty one, or set OpenMode to \"Write\""
                                       : ""});
    }
    return look;
}

void CheckOutputIsNoInput(const Job &job, std::vector<Complaint> &found)
{
    if (!job.consumer.Text("FileName").empty())
        Conflicts(job, found).Check();
}

}  // namespace fenwire
