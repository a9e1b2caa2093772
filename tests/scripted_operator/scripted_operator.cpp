// tests/scripted_operator/scripted_operator.cpp - an operator library that does what a test's job tells it.
//
// The attributes Initiate, Execute and Terminate hold a script each: steps apart by ";", one step a call.
// A step may start with "2:" and is then instance 2's alone. A script that is over answers 42.
//
//     rows N [BYTES]  N rows, one a call        next, wait, again, checkpoint, status S    41, 68, 0, 33, S
//     message NUMBER SEVERITY TEXT              code N      exit code
//     variable N      makes FileNames           files       reads FileNames back into the trace
//     counts INDEX RECORDS ROWS REFUSED SKIPPED    crash, leave S, hang [SIGNAL ..], spin    the ways to go
//     bad RECORD LEFT_OUT COLUMN RAW TEXT    a bad record of file 1; RAW: @N is N bytes, 0xNN hexadecimal
//     lie             a bad record whose lengths are wrong        limit N   no file grows beyond N bytes
//     signal S ..     to the runner             pid         into the trace
//
// Its checkpoint record is "instance I after N rows", N of this run, and it tells the runner of these rows
// as those of file I, unless a step has told counts. A restart leaves the record in the trace; execute then has the script Resumed.
//
// Every call leaves a line "instance method phase" in the file Trace, each time the phase or method is new.

#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include "fenwire/infrastructure.h"

namespace {

constexpr uint32_t kEntryBytes = 4120;  // of FileNames: status, instance, size, name

std::string Attribute(PxOperator *op, const char *name)
{
    const void *value = nullptr;
    int32_t length = 0;
    if (op->PX_GetAttribute(op, name, &value, &length) != PXSTC_Success)
        return {};
    return {static_cast<const char *>(value), static_cast<size_t>(length)};
}

int Instance(PxOperator *op)
{
    int number = 0;
    const std::string bytes = Attribute(op, "SYSTEM_InstanceNumber");
    memcpy(&number, bytes.data(), sizeof number);
    return number;
}

void Trace(PxOperator *op, const std::string &line)
{
    const std::string file = Attribute(op, "Trace");
    const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    const std::string whole = std::to_string(Instance(op)) + " " + line + "\n";
    if (fd < 0 || write(fd, whole.data(), whole.size()) < 0)
        abort();
    close(fd);
}

// ---- Rows -------------------------------------------------------------------------------------

PxSchema *Stream(PxOperator *op, int32_t *columns)
{
    PxSchema **schemas = nullptr;
    PxColumn **list = nullptr;
    int32_t count = 0;
    uint32_t declared = 0;
    if (op->PX_GetTableSchemaList(op, 3, &schemas, &count) != 0 || count != 1 ||
        schemas[0]->PX_GetColumnSchemaList(schemas[0], &list, columns, &declared) != 0)
        abort();
    return schemas[0];
}

uint64_t rows_put = 0;
bool restarted = false, counts_told = false;

// Row r of instance i: "i.r" in every column, filled up with "x" to the wanted bytes. The last column of
// every third row is NULL; in every fifth the columns do not touch each other.
PxStatus PutRow(PxOperator *op, uint64_t row, size_t bytes)
{
    static int32_t columns = 0;
    static PxSchema *const stream = Stream(op, &columns);
    static const std::string prefix = std::to_string(Instance(op)) + ".";
    static std::vector<uint8_t> indicators(static_cast<size_t>(columns));
    static std::vector<uint32_t> offsets, lengths;
    static std::string value, block;

    ++rows_put;
    char digits[24];
    value.assign(prefix);
    value.append(digits, std::to_chars(digits, digits + sizeof digits, row).ptr);
    if (value.size() < bytes)
        value.resize(bytes, 'x');
    offsets.clear(), lengths.clear(), block.clear();
    for (int32_t i = 0; i < columns; ++i) {
        if (row % 5 == 0)
            block += "gap";
        offsets.push_back(static_cast<uint32_t>(block.size()));
        lengths.push_back(static_cast<uint32_t>(value.size()));
        block += value;
    }
    indicators.back() = row % 3 == 0;
    return stream->PX_PutRow(stream, columns, indicators.data(), offsets.data(), lengths.data(),
                             block.data(), static_cast<uint32_t>(block.size()));
}

// ---- Steps ------------------------------------------------------------------------------------

struct Step {
    std::string name;
    std::vector<std::string> words;
    int64_t Number(size_t i) const { return i < words.size() ? atoll(words[i].c_str()) : 0; }
};

struct Script {
    std::vector<Step> steps;
    size_t at = 0;
    uint64_t done = 0;  // rows of the step

    Script(PxOperator *op, const char *attribute)
    {
        std::istringstream text(Attribute(op, attribute));
        const std::string mine = std::to_string(Instance(op)) + ":";
        for (std::string part; std::getline(text, part, ';');) {
            std::istringstream words(part);
            Step step;
            words >> step.name;
            if (const size_t colon = step.name.find(':'); colon != std::string::npos) {
                if (step.name.substr(0, colon + 1) != mine)
                    continue;
                step.name.erase(0, colon + 1);
            }
            for (std::string word; words >> word;)
                step.words.push_back(word);
            steps.push_back(step);
        }
    }
};

void Message(PxOperator *op, const Step &step)
{
    static PxLog *log = nullptr;
    if (log == nullptr && op->PX_Loginit(op, "scripted", Instance(op), nullptr, 0, &log) != 0)
        abort();
    std::string text;
    for (size_t i = 2; i < step.words.size(); ++i)
        text += (i > 2 ? " " : "") + step.words[i];
    PxLogArg args[3] = {};
    args[0].type = args[1].type = PX_ARG_TEXT;
    args[0].text = "scripted[1]: QLX";
    args[1].text = text.c_str();
    if (op->PX_LogWrite(log, static_cast<uint32_t>(step.Number(0)), 3,
                        static_cast<int32_t>(step.Number(1)), args) != 0)
        abort();
}

PxStatus Variable(PxOperator *op, uint32_t files)
{
    PxStatus status = op->PX_CreateGlobalVar(op, "FileNames", kEntryBytes, files);
    for (uint32_t i = 1; i <= files && status == 0; ++i) {
        std::vector<char> entry(kEntryBytes);
        const uint64_t size = 1000 * i;
        memcpy(entry.data() + 8, &size, sizeof size);
        snprintf(entry.data() + 16, 64, "file%u", i);
        status = op->PX_UpdateGlobalVar(op, "FileNames", entry.data(), kEntryBytes, i);
    }
    return status;
}

PxStatus Files(PxOperator *op)
{
    const void *entry = nullptr;
    uint32_t length = 0;
    for (uint32_t i = 1;; ++i) {
        const PxStatus status = op->PX_ReadGlobalVar(op, "FileNames", i, &entry, &length);
        if (status != PXSTC_Success)
            return PXSTC_SamePhase;
        Trace(op, std::string("sees ") + (static_cast<const char *>(entry) + 16));
    }
}

PxStatus Counts(PxOperator *op, const Step &step)
{
    PxFileCounts counts = {};
    counts_told = true;
    counts.index = static_cast<uint32_t>(step.Number(0));
    counts.ended = 1;
    counts.records = static_cast<uint64_t>(step.Number(1));
    counts.rows = static_cast<uint64_t>(step.Number(2));
    counts.refused = static_cast<uint64_t>(step.Number(3));
    counts.skipped = static_cast<uint64_t>(step.Number(4));
    return op->PX_PutJobStat(op, PX_STAT_FileCounts, PX_STAT_RECORD, &counts, sizeof counts, 0, 0);
}

std::string Raw(const std::string &word)
{
    if (word.starts_with("@"))
        return std::string(static_cast<size_t>(atoll(word.c_str() + 1)), 'r');
    if (!word.starts_with("0x"))
        return word;
    std::string bytes;
    for (size_t i = 2; i + 1 < word.size(); i += 2)
        bytes += static_cast<char>(strtol(word.substr(i, 2).c_str(), nullptr, 16));
    return bytes;
}

PxStatus BadRecord(PxOperator *op, const Step &step)
{
    std::string text = step.words.size() > 4 ? step.words[4] : "";
    for (size_t i = 5; i < step.words.size(); ++i)
        text += " " + step.words[i];
    const std::string raw = Raw(step.words[3]);
    PxBadRecord head = {};
    head.index = 1;
    head.record = static_cast<uint64_t>(step.Number(0));
    head.left_out = static_cast<uint32_t>(step.Number(1));
    head.column = static_cast<uint32_t>(step.Number(2));
    head.offset = head.record == 1 ? -1 : static_cast<int64_t>(head.record) * 10;
    head.message = 19134;
    head.kept = Attribute(op, "RecordErrorFileName").empty() ? 0 : 1;
    head.text_bytes = static_cast<uint32_t>(text.size());
    head.raw_bytes = static_cast<uint32_t>(raw.size());
    const std::string all =
        std::string(reinterpret_cast<const char *>(&head), sizeof head) + text + raw;
    return op->PX_PutJobStat(op, PX_STAT_BadRecord, PX_STAT_RECORD, all.data(),
                             static_cast<int32_t>(all.size()), 0, 0);
}

PxStatus Lie(PxOperator *op)
{
    PxBadRecord head = {};
    head.text_bytes = UINT32_MAX;
    head.raw_bytes = 1;  // together 0, where 32 bits are taken for enough
    return op->PX_PutJobStat(op, PX_STAT_BadRecord, PX_STAT_RECORD, &head, sizeof head, 0, 0);
}

void Limit(const Step &step)
{
    signal(SIGXFSZ, SIG_IGN);
    const auto bytes = static_cast<rlim_t>(step.Number(0));
    const rlimit limit = {bytes, bytes};
    setrlimit(RLIMIT_FSIZE, &limit);
}

void Signal(const Step &step)
{
    for (size_t i = 0; i < step.words.size(); ++i)
        kill(getppid(), static_cast<int>(step.Number(i)));
}

PxStatus Perform(PxOperator *op, Script &script)
{
    if (script.at == script.steps.size())
        return PXSTC_EndMethod;
    const Step &step = script.steps[script.at];
    if (step.name == "rows") {
        if (static_cast<int64_t>(script.done) < step.Number(0)) {
            const PxStatus status = PutRow(op, ++script.done, static_cast<size_t>(step.Number(1)));
            return status == PXSTC_Success ? PXSTC_SamePhase : status;
        }
        script.done = 0;
    }
    if (step.name == "hang") {
        Signal(step);
        for (;;)
            pause();
    }
    if (step.name == "spin")
        return PXSTC_SamePhase;
    ++script.at;
    if (step.name == "next")
        return PXSTC_NextPhase;
    if (step.name == "wait")
        return PXSTC_WaitTimeout;
    if (step.name == "again")
        return PXSTC_Success;
    if (step.name == "checkpoint")
        return PXSTC_Checkpoint;
    if (step.name == "status")
        return static_cast<PxStatus>(step.Number(0));
    if (step.name == "crash")
        raise(SIGSEGV);
    if (step.name == "leave")
        _exit(static_cast<int>(step.Number(0)));
    if (step.name == "signal")
        Signal(step);
    if (step.name == "pid")
        Trace(op, "pid " + std::to_string(getpid()));
    if (step.name == "message")
        Message(op, step);
    if (step.name == "code") {
        const int16_t code = static_cast<int16_t>(step.Number(0));
        op->PX_SetAttribute(op, "PX_ExitCode", &code, sizeof code);
    }
    PxStatus status = PXSTC_Success;
    if (step.name == "variable")
        status = Variable(op, static_cast<uint32_t>(step.Number(0)));
    if (step.name == "counts")
        status = Counts(op, step);
    if (step.name == "bad")
        status = BadRecord(op, step);
    if (step.name == "lie")
        status = Lie(op);
    if (step.name == "limit")
        Limit(step);
    if (step.name == "files")
        status = Files(op);
    return status == PXSTC_Success ? PXSTC_SamePhase : status;
}

void Enter(PxOperator *op, const char *method, uint32_t phase)
{
    static std::string last;
    std::string line = std::string(method) + " " + std::to_string(phase);
    if (method[0] == 'T')
        line += " " + Attribute(op, "SYSTEM_ExecutePassed");
    if (line != last)
        Trace(op, line);
    last = line;
}

PxStatus Checkpoint(PxOperator *op, uint32_t)
{
    const std::string record =
        "instance " + std::to_string(Instance(op)) + " after " + std::to_string(rows_put) + " rows";
    PxFileCounts counts = {};
    counts.index = static_cast<uint32_t>(Instance(op));
    counts.ended = 2;
    counts.records = counts.rows = rows_put;
    Trace(op, "Checkpoint");
    if (Attribute(op, "Checkpoint") == "fails")
        return PXSTC_FatalError;
    if (!counts_told)
        op->PX_PutJobStat(op, PX_STAT_FileCounts, PX_STAT_RECORD, &counts, sizeof counts, 0, 0);
    if (op->PX_WriteCheckpointRecord(op, record.data(), static_cast<uint32_t>(record.size())) !=
        PXSTC_Success)
        abort();
    return PXSTC_EndMethod;
}

PxStatus Restart(PxOperator *op, uint32_t phase)
{
    const void *record = nullptr;
    uint32_t length = 0;
    restarted = true;
    if (phase == 1)
        return PXSTC_NextPhase;
    const PxStatus status = op->PX_ReadCheckpointRecord(op, &record, &length);
    Trace(op, "Restart: " + (status == PXSTC_Success
                                 ? std::string(static_cast<const char *>(record), length)
                                 : std::to_string(status)));
    return PXSTC_EndMethod;
}

PxStatus Initiate(PxOperator *op, uint32_t phase)
{
    signal(SIGSEGV, SIG_DFL);
    Enter(op, "Initiate", phase);
    static Script script(op, "Initiate");
    return Perform(op, script);
}

PxStatus Execute(PxOperator *op, uint32_t phase)
{
    static uint32_t last = 0;
    if (phase != last)
        Enter(op, "Execute", phase);
    last = phase;
    static Script script(op, restarted ? "Resumed" : "Execute");
    return Perform(op, script);
}

PxStatus Terminate(PxOperator *op, uint32_t phase)
{
    Enter(op, "Terminate", phase);
    static Script script(op, "Terminate");
    for (;;) {
        const PxStatus status = Perform(op, script);
        if (status != PXSTC_SamePhase)
            return status;
    }
}

PxStatus Event(PxOperator *) { return PXSTC_NotSupported; }

PxMethods methods = {"16.10.00.10", "16.10.00.10", 1,       Initiate, Execute,
                     Terminate,     Checkpoint,    Restart, Event};

}  // namespace

extern "C" PX_EXPORT PxStatus PX_GetOperatorMethods(PxMethods **table)
{
    *table = &methods;
    return PXSTC_Success;
}
