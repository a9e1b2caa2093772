// host/sources/source.h - where rows come from, when no producer reads files.
//
// A source runs in as many processes as [source] has instances; each reads its part. To add one: a class,
// and a row in kSources (sources.cpp) with its name, its keys and what it promises. docs/job-file.md and
// `fenwire list sources` are made from that table.

#ifndef FENWIRE_HOST_SOURCES_SOURCE_H
#define FENWIRE_HOST_SOURCES_SOURCE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/job/settings.h"
#include "host/streams/row_outlet.h"

namespace fenwire {

// What a source can't do, in words for the job's user: what, where, and what would be right.
class SourceError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

class Source {
public:
    virtual ~Source() = default;

    // Looks whether the job could run, and changes nothing: the file opens, the columns fit.
    virtual void Check() = 0;

    // Opens part 1, 2 .. of so many. Called in the process of that part. What all parts read together
    // is one state of the source, as far as the source can promise it.
    virtual void Open(int part, int parts) = 0;

    // Hands over some rows, about 64 KB of them. False: there were no more.
    virtual bool Read(RowOutlet &rows) = 0;

    // Where a part stands between two calls of Read, for GoTo of the same part in a later run: what was
    // handed over before does not come again, and nothing is left out. None: it can't be told.
    virtual std::optional<std::string> Position() { return std::nullopt; }
    // After Open. Throws SourceError when the place is not there any more.
    virtual void GoTo(const std::string &) { throw SourceError("this source can't be resumed"); }

    // Whether rows are said to be lost or changed: one line for the summary; mostly empty.
    virtual std::string Warning() const { return {}; }
};

struct SourceKind {
    const char *name;
    const char *about;
    std::span<const SettingKey> keys;
    std::unique_ptr<Source> (*make)(
        const Job &job);  // throws SourceError for settings that don't fit
    // Complaints about the settings that need no opening; appended.
    void (*check_settings)(const Job &job, std::vector<Complaint> &found);
    // The columns of the rows, for [schema] from = "source". Throws SourceError. Null: it has none by
    // itself.
    std::vector<Column> (*columns)(const Job &job);
    bool only_one_instance;
    bool resumable;    // has positions
    bool wants_stdin;  // its process keeps the standard input that the user gave
};

std::span<const SourceKind> SourceKinds();
const SourceKind *FindSourceKind(const std::string &name);  // null: there is none
std::unique_ptr<Source> MakeSource(const Job &job);

}  // namespace fenwire

#endif
