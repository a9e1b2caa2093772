// cli/guess.cpp - `fenwire guess`: a commented job file from the files that it is to load.
//
// The job goes to standard output, or into a file that was not there before. What a person should look at
// goes to standard error.

#include "host/guess/guess.h"

#include <cerrno>
#include <cstring>
#include <fmt/format.h>

#include <fcntl.h>
#include <unistd.h>

#include "cli/verbs.h"
#include "host/job/words.h"
#include "host/system/unique_fd.h"
#include "host/targets/output_file.h"

namespace fenwire {

namespace {

HeaderChoice Choice(const std::string &word)
{
    return word == "yes"  ? HeaderChoice::Yes
           : word == "no" ? HeaderChoice::No
                          : HeaderChoice::Guess;
}

void WriteTo(int fd, const std::string &path, const std::string &text)
{
    FdWriter writer(fd, fmt::format("file {}", Quoted(path)));
    writer.buffer() = text;
    writer.Flush();
}

void Replace(const std::string &path, const std::string &text)
{
    PendingFile file(std::filesystem::absolute(path));
    WriteTo(file.fd(), path, text);
    file.Publish();
}

// The system refuses what is there already, also when it has come this moment.
void MakeNew(const std::string &path, const std::string &text)
{
    const UniqueFd file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (!file && errno == EEXIST)
        throw UsageError(fmt::format("{} is there already", Quoted(path)),
                         "--force replaces it; or give another name");
    if (!file)
        throw UsageError(fmt::format("file {} can't be made: {}", Quoted(path), strerror(errno)),
                         {});
    try {
        WriteTo(file.get(), path, text);
    } catch (const std::exception &) {
        unlink(path.c_str());
        throw;
    }
}

GuessedJob Guessed(const GuessOptions &options)
{
    GuessRequest request;
    request.files.assign(options.files.begin(), options.files.end());
    request.header = Choice(options.header);
    try {
        return WriteJob(GuessFiles(request), options.output);
    } catch (const GuessError &error) {
        throw UsageError(error.what(), error.hint);
    }
}

}  // namespace

int GuessVerb(const GuessOptions &options)
{
    const GuessedJob job = Guessed(options);
    if (options.output.empty())
        fmt::print("{}", job.text);
    else if (options.force)
        Replace(options.output, job.text);
    else
        MakeNew(options.output, job.text);
    for (const std::string &note : job.notes)
        fmt::print(stderr, "fenwire: note: {}\n", note);
    if (!options.output.empty())
        fmt::print(stderr, "fenwire: {} is written; fenwire preview {} shows what it loads\n",
                   Escaped(options.output), Escaped(options.output));
    return kExitGood;
}

}  // namespace fenwire
