// host/job/delimited_keys.h - the keys of delimited text that the runner itself writes and reads.
//
// The print target and the stdin source share them: with the same keys the one reads what the other wrote.

#ifndef FENWIRE_HOST_JOB_DELIMITED_KEYS_H
#define FENWIRE_HOST_JOB_DELIMITED_KEYS_H

#include "host/job/settings.h"

namespace fenwire {

struct DelimitedKeys {
    std::string delimiter;  // between columns
    std::string quote;      // empty: nothing is quoted
    std::string null;       // stands for NULL, unquoted
    bool header;            // a first line with the names of the columns

    explicit DelimitedKeys(const Settings &settings)
        : delimiter(SettingOr<std::string>(settings, "delimiter", "|")),
          quote(SettingOr<std::string>(settings, "quote", "")),
          null(SettingOr<std::string>(settings, "null", "")),
          header(SettingOr(settings, "header", false))
    {
    }
};

// Complaints about keys with which values could not be told apart, and about a character set that has no
// such text; appended. what: "print can't write", and which `other` kind to use.
void CheckDelimitedKeys(const Job &job, const Settings &settings, SourcePosition section,
                        const char *what, const char *other, std::vector<Complaint> &found);

}  // namespace fenwire

#endif
