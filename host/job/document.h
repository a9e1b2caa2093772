// host/job/document.h - a job file as sections of keys and values, each with its position.
//
// Between the bytes of the file and the checks: everything TOML-like ends in document.cpp. Keys stand in
// the order of the file. Environment variables are put in already.

#ifndef FENWIRE_HOST_JOB_DOCUMENT_H
#define FENWIRE_HOST_JOB_DOCUMENT_H

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "host/job/complaint.h"
#include "host/job/job.h"

namespace fenwire {

enum class ValueKind : uint8_t { Text, Integer, Boolean, Real, Date, List, Section };

struct Entry;

struct Value {
    ValueKind kind = ValueKind::Text;
    SourcePosition at;
    std::string text;  // Text: the text. Of the command line: the words as given, whatever the kind
    int64_t integer = 0;
    bool boolean = false;
    double real = 0;
    std::vector<Value> items;    // List
    std::vector<Entry> entries;  // Section
    bool faulty = false;         // complained of already; its content means nothing

    bool FromCommandLine() const { return at == kCommandLine; }
    const Entry *Find(std::string_view key) const;
};

struct Entry {
    std::string key;
    SourcePosition at;
    Value value;
};

// "text", "a whole number", "a list" ..: for "must be text, not a list".
const char *KindInWords(ValueKind kind);

// The bytes of a job file. JobError when there is none, or none that could be a job file.
std::string ReadJobFile(const std::filesystem::path &file);

// JobError for what is no TOML; other complaints are added to found.
Value ParseDocument(const std::string &file, const std::string &source,
                    std::vector<Complaint> &found);

// Sets the values of the command line, over those of the file.
void ApplyOverrides(Value &document, const std::vector<Override> &overrides,
                    std::vector<Complaint> &found);

}  // namespace fenwire

#endif
