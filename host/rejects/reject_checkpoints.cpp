// host/rejects/reject_checkpoints.cpp - the bad records of a job that is stopped and goes on.
//
// At a checkpoint the record error file, the list and the gathered records are on the disk, and how far
// each has come is remembered with the rows. A job that goes on finds them as they were then: what was
// written behind the checkpoint is cut off, since those records will be read again. When something is
// missing before it, the job refuses: a bad record that is nowhere is a row that is lost.

#include <climits>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <set>

#include <fcntl.h>
#include <sys/stat.h>

#include "host/checkpoint/generation.h"
#include "host/job/words.h"
#include "host/rejects/bad_record.h"
#include "host/rejects/reject_run.h"
#include "host/system/replace_file.h"

namespace fenwire {

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

[[noreturn]] void Damaged()
{
    throw DamagedCheckpoint("what the checkpoint remembers of bad records is damaged");
}

// ---- Out of the text, which comes from a store ---------------------------------------------------

using Kind = bool (Json::*)() const noexcept;

const Json &Get(const Json &object, const char *key, Kind is)
{
    const auto found = object.find(key);
    if (found == object.end() || !((*found).*is)())
        Damaged();
    return *found;
}

uint64_t Number(const Json &object, const char *key, uint64_t least, uint64_t most)
{
    const auto number = Get(object, key, &Json::is_number_unsigned).get<uint64_t>();
    if (number < least || number > most)
        Damaged();
    return number;
}

std::string Bytes(const Json &object, const char *key)
{
    std::string bytes;
    if (!FromBase64(Get(object, key, &Json::is_string).get<std::string>(), bytes))
        Damaged();
    return bytes;
}

FileMark Mark(const Json &object)
{
    FileMark mark = {Number(object, "bytes", 0, INT64_MAX), Bytes(object, "tail")};
    if (mark.tail.size() != std::min(mark.bytes, FileMark::kTailBytes))
        Damaged();
    return mark;
}

std::vector<GatheredRecords::Part> Parts(const Json &array, int attempts, int instances)
{
    std::vector<GatheredRecords::Part> parts;
    std::set<std::pair<int, int>> known;
    for (const Json &object : array) {
        const auto attempt =
            static_cast<int>(Number(object, "attempt", 1, static_cast<uint64_t>(attempts)));
        const auto instance =
            static_cast<int>(Number(object, "instance", 2, static_cast<uint64_t>(instances)));
        if (!known.emplace(attempt, instance).second)
            Damaged();
        parts.push_back({attempt, instance, Mark(object)});
    }
    return parts;
}

Json Object(const FileMark &mark) { return {{"bytes", mark.bytes}, {"tail", Base64(mark.tail)}}; }

bool SameRemarks(const Remarks &a, const Remarks &b)
{
    return a.present == b.present && (!a.present || a.prefix == b.prefix);
}

struct stat Look(int fd)
{
    struct stat info = {};
    if (fd < 0 || fstat(fd, &info) != 0)
        info = {};
    return info;
}

}  // namespace

struct RejectRun::Saved {
    std::string file;              // the record error file, escaped; empty: none
    int attempts = 1;              // to run the job
    std::optional<FileMark> list;  // none: the rows had not begun
    std::optional<ErrorMark> errors;
    std::vector<GatheredRecords::Part> parts;
    Remarks remarks;
    RejectTally tally;
};

RejectRun::Saved RejectRun::Parse(const std::string &text) const
{
    constexpr uint64_t kMostAttempts = 1'000'000;
    const Json object = Json::parse(text, nullptr, false);
    Saved saved;
    if (!object.is_object() || !saved.tally.Restore(Get(object, "tally", &Json::is_object)))
        Damaged();
    saved.file = Get(object, "file", &Json::is_string).get<std::string>();
    if (saved.file.empty())
        return saved;
    saved.attempts = static_cast<int>(Number(object, "attempts", 1, kMostAttempts));
    if (object.contains("list"))
        saved.list = Mark(Get(object, "list", &Json::is_object));
    if (object.contains("errors")) {
        const Json &errors = Get(object, "errors", &Json::is_object);
        saved.errors = {Mark(errors), Number(errors, "inode", 0, UINT64_MAX)};
    }
    saved.parts = Parts(Get(object, "gathered", &Json::is_array), saved.attempts,
                        std::max(job_.producer.instances, 2));
    saved.remarks.present = Get(object, "remarks", &Json::is_boolean).get<bool>();
    saved.remarks.prefix = Bytes(object, "prefix");
    return saved;
}

std::string RejectRun::Remember() const
{
    Json object = {{"file", ""}, {"tally", tally_.Save()}};
    if (keeps()) {
        Json gathered = Json::array();
        for (const GatheredRecords::Part &part : gathered_.parts()) {
            gathered.push_back({{"attempt", part.attempt}, {"instance", part.instance}});
            gathered.back().update(Object(part.mark));
        }
        const Remarks remarks = RemarksOf(job_);
        object["file"] = Escaped(error_file_.string());
        object["attempts"] = gathered_.attempt();
        if (begun_ || goes_on_)
            object["list"] = Object(list_mark_);
        object["gathered"] = gathered;
        object["remarks"] = remarks.present;
        object["prefix"] = Base64(remarks.prefix);
        if (error_mark_) {
            object["errors"] = Object(error_mark_->mark);
            object["errors"]["inode"] = error_mark_->inode;
        }
    }
    return object.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// ---- At a checkpoint -----------------------------------------------------------------------------

void RejectRun::AddErrorFile(int instance, const std::string &path)
{
    if (instance != 1) {
        gathered_.Watch(instance, path);
        return;
    }
    error_fd_ = UniqueFd(open(error_file_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!S_ISREG(Look(error_fd_.get()).st_mode))
        error_fd_.Close();  // a pipe, say, which nobody can cut back
    names_are_new_ = true;
}

// The operator has brought its own files to the disk.
bool RejectRun::BringToDisk()
{
    bool news = gathered_.Gather();
    if (const FileMark mark = MarkOf(list_->fd()); mark != list_mark_) {
        SyncFile(list_->fd(), list_->path());
        list_mark_ = mark;
        news = true;
    }
    if (error_fd_) {
        const ErrorMark mark = {MarkOf(error_fd_.get()), Look(error_fd_.get()).st_ino};
        news = news || error_mark_ != mark;
        error_mark_ = mark;
    }
    if (std::exchange(names_are_new_, false)) {
        SyncFolder(error_file_.parent_path());
        news = true;
    }
    return news;
}

std::string RejectRun::Save()
{
    const bool news = list_ != nullptr && BringToDisk();
    if (news || saved_.empty() || saved_count_ != tally_.all()) {
        saved_ = Remember();
        saved_count_ = tally_.all();
    }
    return saved_;
}

// ---- When the job goes on ------------------------------------------------------------------------

void RejectRun::RefuseOther(const Saved &saved) const
{
    if (const std::string now = Escaped(error_file_.string()); now != saved.file)
        throw std::runtime_error(
            fmt::format("the bad records so far are in \"{}\", and RecordErrorFileName names {}",
                        saved.file, keeps() ? "\"" + now + "\"" : "none"));
    if (!SameRemarks(saved.remarks, RemarksOf(job_)))
        throw std::runtime_error(
            "RecordErrorVerbosity or RecordErrorFilePrefix is not what it was, "
            "and remarks of two kinds can't be told from records");
}

UniqueFd RejectRun::OpenErrorFile(const Saved &saved) const
{
    if (!saved.errors)
        return {};
    const FileMark &mark = saved.errors->mark;
    UniqueFd fd(open(error_file_.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    if (!fd && errno == ENOENT && mark.bytes == 0)
        return {};
    const std::string shown = Quoted(error_file_.string());
    if (!fd)
        ThrowErrno(fmt::format("{}, which held {} bytes of bad records", shown, mark.bytes));
    const struct stat info = Look(fd.get());
    std::string why =
        S_ISREG(info.st_mode) ? WhyNotAt(fd.get(), mark) : "is no plain file any more";
    // Nothing in it would tell that it is another's, which must not be emptied.
    if (why.empty() && mark.bytes == 0 && info.st_size != 0 && info.st_ino != saved.errors->inode)
        why = "is another file than at the checkpoint";
    if (!why.empty())
        throw std::runtime_error(shown + " " + why);
    return fd;
}

// The list repeats what the record error file has. Only where it names records whose rows are loaded it
// can't be done without: a retry would load those again.
std::string RejectRun::ReopenList(const Saved &saved)
{
    const fs::path path = RejectListOf(error_file_);
    std::string why;
    if (!saved.list) {
        list_ = std::make_unique<RejectList>(path);
        return {};
    }
    try {
        list_ = RejectList::Reopen(path);
        why = WhyNotAt(list_->fd(), *saved.list);
        if (why.empty())
            return {};
        why = Quoted(path.string()) + " " + why;
    } catch (const std::runtime_error &failure) {
        why = failure.what();
    }
    if (saved.tally.changed() != 0)
        throw std::runtime_error(why + "; it alone tells which bad records are loaded");
    list_ = std::make_unique<RejectList>(path);
    return saved.list->bytes == 0
               ? ""
               : why + "; the list is begun anew, without the records before the checkpoint";
}

std::string RejectRun::Restore(const std::string &text)
{
    const Saved saved = Parse(text);
    tally_ = saved.tally;
    if (saved.file.empty()) {
        Open();
        return {};
    }
    try {
        RefuseOther(saved);
        const UniqueFd errors = OpenErrorFile(saved);
        gathered_.Reopen(saved.parts, saved.attempts);
        std::string warning = ReopenList(saved);
        // Nothing is missing, so what lies behind the checkpoint may go.
        if (errors)
            CutAt(errors.get(), saved.errors->mark, error_file_);
        gathered_.Cut();
        if (saved.list && warning.empty())
            CutAt(list_->fd(), *saved.list, list_->path());
        gathered_.FindLeftovers();
        error_mark_ = saved.errors;
        goes_on_ = saved.list.has_value();
        return warning;
    } catch (const std::runtime_error &failure) {
        throw std::runtime_error(
            fmt::format("the job can't go on from its checkpoint: {}; put it back as it was, or "
                        "begin anew with: fenwire run --fresh {}",
                        failure.what(), Escaped(job_.file.string())));
    }
}

// A job that is killed in here goes on from its last checkpoint, which cuts the record error file back.
void RejectRun::Complete()
{
    if (!gathered_.earlier()) {
        if (error_fd_)  // the operator has appended this attempt's files
            SyncFile(error_fd_.get(), error_file_);
        return;
    }
    const UniqueFd fd(open(error_file_.c_str(), O_WRONLY | O_APPEND | O_NONBLOCK | O_CLOEXEC));
    if (!fd)
        ThrowErrno(fmt::format("bad records of earlier attempts can't be added to {}",
                               Quoted(error_file_.string())));
    gathered_.AppendEarlierTo(fd.get(), error_file_);
    SyncFile(fd.get(), error_file_);
}

}  // namespace fenwire
