// tests/host/job/job_files.h - a folder of its own for the job files of a test.

#ifndef FENWIRE_TESTS_HOST_JOB_JOB_FILES_H
#define FENWIRE_TESTS_HOST_JOB_JOB_FILES_H

#include <filesystem>
#include <gtest/gtest.h>
#include <string>

#include "host/job/job.h"
#include "tests/support/temp_directory.h"

class JobFolder : public TempDirectory {
public:
    std::filesystem::path path() const { return TempDirectory::path(); }

    std::filesystem::path Write(const std::string &name, const std::string &text) const
    {
        TempDirectory::Write(name, text);
        return path() / name;
    }

    // What is wrong with a job file of this text; empty: nothing. The folder's path is left out.
    std::string Complaints(const std::string &text,
                           const std::vector<fenwire::Override> &overrides = {}) const
    {
        try {
            fenwire::LoadJob(Write("job.toml", text), overrides);
        } catch (const fenwire::JobError &error) {
            std::string what = error.what();
            for (size_t at; (at = what.find(File(""))) != std::string::npos;)
                what.erase(at, File("").size());
            return what;
        }
        return {};
    }
};

// The job with one piece of text in another's place.
inline std::string With(std::string good, const std::string &piece, const std::string &instead)
{
    const size_t at = good.find(piece);
    if (at == std::string::npos)
        ADD_FAILURE() << "no \"" << piece << "\" in the good job";
    else
        good.replace(at, piece.size(), instead);
    return good;
}

#endif
