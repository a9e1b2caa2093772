// host/job/data_files.cpp - the files that a job would read, as they lie there now.

#include "host/job/data_files.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>

#include <sys/stat.h>
#include <unistd.h>

#include "host/job/attribute_catalogue.h"
#include "host/job/words.h"

namespace fenwire {

namespace {

namespace fs = std::filesystem;

class Search {
public:
    explicit Search(const Job &job) : job_(job) {}

    DataFiles Run()
    {
        name_ = job_.producer.Text("FileName");
        result_.directory = job_.folder / job_.producer.Text("DirectoryPath");
        result_.pattern = name_.find('*') != std::string::npos &&
                          name_.find('/') == std::string::npos &&
                          YesNoValue(AttributeKind::YesNo, job_.producer.Text("EnableScan")) != 0;
        if (!DirectoryIsThere())
            return std::move(result_);
        if (result_.pattern)
            Scan();
        else
            Take(fs::path(name_).is_absolute() ? fs::path(name_) : result_.directory / name_);
        std::ranges::sort(result_.files, {}, &DataFile::path);
        return std::move(result_);
    }

private:
    SourcePosition Place(const char *attribute) const
    {
        const auto given = std::ranges::find(job_.producer.attributes, attribute, &Attribute::name);
        return given != job_.producer.attributes.end() ? given->at : job_.producer.at;
    }

    void Fault(const char *attribute, std::string what, std::string hint = {})
    {
        result_.faults.push_back({Place(attribute), std::move(what), std::move(hint)});
    }

    bool DirectoryIsThere()
    {
        struct stat info;
        const std::string path = result_.directory.string();
        if (stat(path.c_str(), &info) != 0)
            Fault("DirectoryPath",
                  fmt::format("directory {} can't be examined: {}", Quoted(path), strerror(errno)),
                  "paths count from the folder of the job file");
        else if (!S_ISDIR(info.st_mode))
            Fault("DirectoryPath", fmt::format("{} is not a directory", Quoted(path)),
                  "the name of a file belongs into FileName");
        else if (result_.pattern && access(path.c_str(), R_OK | X_OK) != 0)
            Fault("DirectoryPath",
                  fmt::format("directory {} can't be read: {}", Quoted(path), strerror(errno)));
        return result_.faults.empty();
    }

    void Scan()
    {
        std::vector<std::string> others;
        std::error_code error;
        for (const fs::directory_entry &entry : fs::directory_iterator(result_.directory, error)) {
            const std::string name = entry.path().filename().string();
            if (!FitsPattern(name_, name)) {
                others.push_back(name);
                continue;
            }
            const fs::file_type kind = entry.symlink_status(error).type();
            if (kind == fs::file_type::regular || kind == fs::file_type::fifo ||
                kind == fs::file_type::symlink)
                Take(entry.path());
            else
                result_.notes.push_back(fmt::format("{} is left out: it is no file", Quoted(name)));
        }
        if (!result_.files.empty() || !result_.faults.empty())
            return;
        Fault(
            "FileName",
            fmt::format("no file in {} fits {}", Quoted(result_.directory.string()), Quoted(name_)),
            others.empty() ? "the directory is empty" : "the directory holds " + SomeOf(others));
    }

    static std::string SomeOf(std::vector<std::string> &names)
    {
        constexpr size_t kShown = 3;
        std::ranges::sort(names);
        std::string shown;
        for (size_t i = 0; i < std::min(names.size(), kShown); ++i)
            shown += (i > 0 ? ", " : "") + Quoted(names[i]);
        return names.size() > kShown ? fmt::format("{} and {} more", shown, names.size() - kShown)
                                     : shown;
    }

    void Take(const fs::path &path)
    {
        struct stat info;
        const std::string shown = Quoted(path.string());
        if (stat(path.c_str(), &info) != 0)
            Fault("FileName", fmt::format("file {} can't be examined: {}", shown, strerror(errno)),
                  NearestFile(path));
        else if (S_ISDIR(info.st_mode))
            Fault("FileName", fmt::format("{} is a directory", shown),
                  "put it into DirectoryPath, and a name or a pattern like *.csv into FileName");
        else if (!S_ISREG(info.st_mode) && !S_ISFIFO(info.st_mode) && path != "/dev/null")
            Fault("FileName", fmt::format("{} is neither a file nor a named pipe", shown));
        else if (access(path.c_str(), R_OK) != 0)
            Fault("FileName", fmt::format("file {} can't be read: {}", shown, strerror(errno)));
        else if (path.extension() == ".gz" || path.extension() == ".zip")
            Fault("FileName",
                  fmt::format("file {} is compressed, which this version can't read", shown),
                  "unpack it first");
        else
            result_.files.push_back(
                {path, Opened(path),
                 S_ISREG(info.st_mode) ? static_cast<uint64_t>(info.st_size) : 0});
    }

    std::string Opened(const fs::path &path) const
    {
        std::string directory = job_.producer.Text("DirectoryPath");
        if (name_.find('/') != std::string::npos)
            return name_;
        if (directory.empty())
            return path.string();
        if (!directory.ends_with('/'))
            directory += '/';
        return directory + path.filename().string();
    }

    static std::string NearestFile(const fs::path &path)
    {
        std::vector<std::string> there;
        std::error_code error;
        for (const fs::directory_entry &entry : fs::directory_iterator(path.parent_path(), error))
            there.push_back(entry.path().filename().string());
        const std::vector<std::string_view> names(there.begin(), there.end());
        return DidYouMean(path.filename().string(), names);
    }

    const Job &job_;
    std::string name_;
    DataFiles result_;
};

std::vector<std::string_view> Pieces(std::string_view pattern)
{
    std::vector<std::string_view> pieces;
    while (!pattern.empty()) {
        const size_t star = pattern.find('*');
        if (star != 0)
            pieces.push_back(pattern.substr(0, star));
        pattern.remove_prefix(star == std::string_view::npos ? pattern.size() : star + 1);
    }
    return pieces;
}

}  // namespace

bool FitsPattern(std::string_view pattern, std::string_view name)
{
    const std::vector<std::string_view> pieces = Pieces(pattern);
    size_t from = 0;
    for (const std::string_view &piece : pieces) {
        from = name.find(piece, from);
        if (from == std::string_view::npos)
            return false;
        if (&piece == pieces.data() && from > 0 && !pattern.starts_with('*'))
            return false;
    }
    return pattern.ends_with('*') || pieces.empty() ||
           (name.ends_with(pieces.back()) && name.size() - pieces.back().size() >= from);
}

DataFiles FindDataFiles(const Job &job) { return Search(job).Run(); }

}  // namespace fenwire
