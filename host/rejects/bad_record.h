// host/rejects/bad_record.h - one bad record: from the operator's statistic to a line of the list.
//
// The operator tells of each bad record with PX_STAT_BadRecord. Its lengths are checked once, here; what
// comes of it is one JSON object on a line of its own (README.md in this folder shows one).

#ifndef FENWIRE_HOST_REJECTS_BAD_RECORD_H
#define FENWIRE_HOST_REJECTS_BAD_RECORD_H

#include <string>
#include <string_view>

#include "host/job/job.h"
#include "infrastructure/infrastructure.h"

namespace fenwire {

struct BadRecord {
    PxBadRecord head = {};
    std::string_view text, raw;  // lie in the statistic
};

// False: the lengths do not add up to what came.
bool ReadBadRecord(const void *value, size_t length, BadRecord &record);

// What is wrong, without what differs from record to record: "too few columns", "too long". Never empty.
std::string ReasonKind(std::string_view text);

// "column 3 'amount'"; empty where no column is at fault. Short: "3 amount".
std::string ColumnWords(const Job &job, uint32_t column);

// The object, with its line end.
std::string BadRecordLine(const Job &job, int instance, std::string_view file,
                          const BadRecord &record);

// The beginning of a record as a person may see it, in double quotes.
std::string Excerpt(std::string_view raw);

std::string Base64(std::string_view bytes);
// False: the text is not Base64.
bool FromBase64(std::string_view text, std::string &bytes);

}  // namespace fenwire

#endif
