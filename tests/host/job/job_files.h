// tests/host/job/job_files.h - a folder of its own for the job files of a test.

#ifndef FENWIRE_TESTS_HOST_JOB_JOB_FILES_H
#define FENWIRE_TESTS_HOST_JOB_JOB_FILES_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "host/job/job.h"

class JobFolder {
public:
    JobFolder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "fenwire-job-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr)
            throw std::runtime_error("no temporary folder");
        path_ = name;
    }
    ~JobFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    JobFolder(const JobFolder &) = delete;
    JobFolder &operator=(const JobFolder &) = delete;

    const std::filesystem::path &path() const { return path_; }

    std::filesystem::path Write(const std::string &name, const std::string &text) const
    {
        std::ofstream(path_ / name, std::ios::binary) << text;
        return path_ / name;
    }

    // What is wrong with a job file of this text; empty: nothing. The folder's path is left out.
    std::string Complaints(const std::string &text,
                           const std::vector<fenwire::Override> &overrides = {}) const
    {
        try {
            fenwire::LoadJob(Write("job.toml", text), overrides);
        } catch (const fenwire::JobError &error) {
            std::string what = error.what();
            const std::string prefix = path_.string() + "/";
            for (size_t at = what.find(prefix); at != std::string::npos; at = what.find(prefix))
                what.erase(at, prefix.size());
            return what;
        }
        return {};
    }

private:
    std::filesystem::path path_;
};

#endif
