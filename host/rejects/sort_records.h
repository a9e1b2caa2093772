// host/rejects/sort_records.h - which bytes of a record error file are records that wait to be loaded.
//
// A record error file holds records as they were read, perhaps with remarks between them, and somebody
// may have repaired some. Three sorts of records are in it: those that were left out and stand there
// unchanged; those whose rows went on changed, so that they are loaded already; and what was repaired.
// The list of bad records tells the first two by their bytes. Of a repaired one nobody can say what it
// was before: it is safe to load only when all the loaded ones stand there unchanged.

#ifndef FENWIRE_HOST_REJECTS_SORT_RECORDS_H
#define FENWIRE_HOST_REJECTS_SORT_RECORDS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace fenwire {

struct KnownRecord {
    std::string raw;
    bool left_out = true;
};

struct SortedRecords {
    std::string load;             // what is to be loaded, byte for byte
    uint64_t unchanged = 0;       // records left out, as they were read
    uint64_t repaired = 0;        // lines that are in no list
    uint64_t loaded = 0;          // records that are loaded already; not in load
    uint64_t remarks = 0;         // lines of remarks; not in load
    uint64_t missing = 0;         // left out, and no longer in the file as they were read
    uint64_t missing_loaded = 0;  // loaded already, likewise: removed, or among the repaired
    bool alike = false;           // one and the same bytes were both left out and loaded

    bool Safe() const { return !alike && (missing_loaded == 0 || repaired == 0); }
};

// prefix: what each line of remarks begins with; null: the file holds no remarks.
SortedRecords SortRecords(std::string_view file, const std::vector<KnownRecord> &known,
                          const std::string *prefix);

}  // namespace fenwire

#endif
