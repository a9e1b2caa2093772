// host/job/job.h - a job: what a checked job file says, with every default filled in.
//
//     Job job = LoadJob("load.toml", overrides);   // or JobError with all complaints
//
// The operator's attributes are kept as they were given, in the order of the file; what they mean is
// the operator's business. The runner checks their names, kinds and ranges (attribute_catalogue.h).

#ifndef FENWIRE_HOST_JOB_JOB_H
#define FENWIRE_HOST_JOB_JOB_H

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <variant>
#include <vector>

#include "host/job/complaint.h"

namespace fenwire {

using SettingValue = std::variant<int64_t, bool, double, std::string, std::vector<std::string>>;

// A key of [target] or [source], for the target's own table of keys.
struct Setting {
    std::string key;
    SettingValue value;
    SourcePosition at;
};

struct Attribute {
    std::string name;                                                    // exactly as documented
    std::variant<int32_t, std::string, std::vector<std::string>> value;  // a list: status 13
    SourcePosition at;
};

enum class Role : uint8_t { Producer = 1, Consumer = 2 };

struct Step {
    Role role = Role::Producer;
    int instances = 1;
    std::vector<Attribute> attributes;
    SourcePosition at;
    // The text of an attribute, or fallback when it is absent or no text.
    std::string Text(const std::string &name, const std::string &fallback = {}) const;
    int32_t Number(const std::string &name, int32_t fallback) const;  // likewise
};

struct Column {
    std::string name;
    uint32_t type = 7;    // type code of the boundary
    uint32_t length = 0;  // declared bytes
    uint16_t precision = 0, scale = 0;
    bool file_name = false;                   // the column takes the input file's name
    std::string input_format, output_format;  // date formats; empty: none
    std::string sql_type;                     // the target's type for it; empty: the target chooses
    SourcePosition at;
};

// [job] checkpoint: when rounds are due. Without any there is one before the first row and one behind
// the last.
struct CheckpointRule {
    std::chrono::milliseconds interval{0};  // 0: none
    uint64_t rows = 0;                      // likewise
    SourcePosition at;
    bool any() const { return interval.count() != 0 || rows != 0; }
};

// --set section.Name=value and --instances N, which is for the step that reads, whichever it is. The text is read as TOML where that works, else as text.
inline constexpr char kReadingStep[] = "";
struct Override {
    std::string step, name, value;
};

struct Job {
    std::filesystem::path file;    // the job file, absolute
    std::filesystem::path folder;  // paths in the job count from here
    std::filesystem::path state;   // folder/.fenwire/<name>
    std::string name;
    std::string charset = "UTF8";  // session character set
    // Rows come from a producer's files or from a source, and go to a consumer's files or to a target.
    Step producer, consumer;
    std::vector<Column> columns;
    std::string source_type, target_type;  // empty: the job has none
    std::vector<Setting> source, target;
    SourcePosition source_at, target_at;
    int source_instances = 1;
    CheckpointRule checkpoint;
    std::vector<Override> overrides;  // of the command line; they are in force already
    // A retry of bad records: what was known of them when they were chosen (host/rejects); else empty.
    std::string retry_of;

    bool has_source() const { return !source_type.empty(); }  // else a producer
    bool has_target() const { return !target_type.empty(); }  // else a consumer
    int readers() const { return has_source() ? source_instances : producer.instances; }
    int writers() const { return has_target() ? 1 : consumer.instances; }
};

// Whether a session character set has two bytes a unit.
bool IsUtf16(std::string_view charset);

inline const char *PrivateLogName(Role role)  // for a step that does not name its own
{
    return role == Role::Consumer ? "private-consumer" : "private";
}

Job LoadJob(const std::filesystem::path &file, const std::vector<Override> &overrides = {});

}  // namespace fenwire

#endif
