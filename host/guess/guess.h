// host/guess/guess.h - `fenwire guess`: a job file from the files that it is to load.

#ifndef FENWIRE_HOST_GUESS_GUESS_H
#define FENWIRE_HOST_GUESS_GUESS_H

#include <filesystem>
#include <string>
#include <vector>

#include "host/guess/columns.h"

namespace fenwire {

struct GuessRequest {
    std::vector<std::filesystem::path> files;
    HeaderChoice header = HeaderChoice::Guess;
};

// What all files have in common.
struct Guess {
    std::vector<std::filesystem::path> files;
    DialectGuess dialect;
    Encoding encoding = Encoding::Ascii;
    bool byte_order_mark = false, whole = true;
    uint64_t bytes = 0, looked_at = 0, nul_bytes = 0, odd_bytes = 0, wide_units = 0;
    Findings findings;
};

// GuessError for files that can't be loaded, or not by one job.
Guess GuessFiles(const GuessRequest &request);

struct GuessedJob {
    std::string text;
    std::vector<std::string> notes;  // what a person should know before the job runs
};

// job: where the job file will lie; empty: in the working directory.
GuessedJob WriteJob(const Guess &guess, const std::filesystem::path &job);

}  // namespace fenwire

#endif
