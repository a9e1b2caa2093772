// tests/support/fake_infrastructure.cpp

#include "tests/support/fake_infrastructure.h"

#include <cstring>

Fake::Fake()
{
    integer = {{"SYSTEM_InstanceNumber", 1},
               {"SYSTEM_MaxInstances", 1},
               {"SYSTEM_OperatorType", 1},
               {"SYSTEM_RestartMode", 0},
               {"SYSTEM_JobMaxRowSize_Allow", 64}};
    text = {{"SYSTEM_LATENCYON", "N"},
            {"SYSTEM_OperatorName", "load"},
            {"SYSTEM_CharSetId", "UTF8"},
            {"SYSTEM_ExecutePassed", "Y"}};
    handle_.fake = schema_.fake = public_.fake = private_.fake = this;
    handle_.object.kind = PX_KIND_OPERATOR;
    schema_.object.kind = PX_KIND_SCHEMA;
    public_.object.kind = private_.object.kind = PX_KIND_LOG;
    public_.object.op = private_.object.op = &handle_.object;
    private_.is_private = true;
    FillOperator();
    FillSchema();
}

PxStatus Fake::Fail(const char *service)
{
    const auto found = failing.find(service);
    return found == failing.end() ? PXSTC_Success : found->second;
}

template <class... Args>
static PxStatus Refuse(Args...)
{
    return PXSTC_NotSupported;
}

// The element of a global variable; none: there is no such.
std::string *Fake::Element(const char *name, uint32_t index)
{
    const auto found = globals.find(name);
    const bool there = found != globals.end() && index >= 1 && index <= found->second.size();
    return there ? &found->second[index - 1] : nullptr;
}

static PxStatus Show(const std::string *element, const void **value, uint32_t *length)
{
    if (element == nullptr)
        return PXSTC_NotFound;
    *value = element->data();
    *length = static_cast<uint32_t>(element->size());
    return PXSTC_Success;
}

void Fake::FillOperator()
{
    PxOperator &o = handle_.object;
    o.PX_CreateGlobalVar = [](PxOperator *op, const char *name, uint32_t size, uint32_t count) {
        Fake &f = Of(op);
        f.calls.push_back(std::string("create ") + name);
        if (const PxStatus status = f.Fail("PX_CreateGlobalVar"))
            return status;
        if (f.globals.count(name) != 0)
            return PxStatus{PXSTC_Duplicate};
        f.globals[name].assign(count, std::string(size, '\0'));
        return PxStatus{PXSTC_Success};
    };
    o.PX_DeleteGlobalVar = [](PxOperator *op, const char *name) {
        Fake &f = Of(op);
        f.calls.push_back(std::string("delete ") + name);
        return PxStatus{f.globals.erase(name) != 0 ? PXSTC_Success : PXSTC_NotFound};
    };
    o.PX_ReadGlobalVar = [](PxOperator *op, const char *name, uint32_t index, const void **element,
                            uint32_t *length) {
        const PxStatus status = Of(op).Fail("PX_ReadGlobalVar");
        return status ? status : Show(Of(op).Element(name, index), element, length);
    };
    o.PX_UpdateGlobalVar = [](PxOperator *op, const char *name, const void *data, uint32_t length,
                              uint32_t index) {
        Fake &f = Of(op);
        f.kept_record_.assign(f.kept_record_.size(), '\xEE');
        if (const PxStatus status = f.Fail("PX_UpdateGlobalVar"))
            return status;
        std::string *element = f.Element(name, index);
        if (element != nullptr)
            element->assign(static_cast<const char *>(data), length);
        return PxStatus{element != nullptr ? PXSTC_Success : PXSTC_NotFound};
    };
    o.PX_CreateAttribute = [](PxOperator *op, const char *name, int32_t type, int64_t value) {
        Fake &f = Of(op);
        f.calls.push_back("attribute " + std::string(name) + " " + std::to_string(type) + " " +
                          std::to_string(value));
        return f.Fail("PX_CreateAttribute");
    };
    o.PX_ReadUniversalVar = [](PxOperator *op, const char *name, uint32_t, const void **value,
                               uint32_t *length) {
        const PxStatus status = Of(op).Fail("PX_ReadUniversalVar");
        return status ? status : Show(Of(op).Element(name, 1), value, length);
    };
    o.PX_ReadCheckpointRecord = [](PxOperator *op, const void **record, uint32_t *length) {
        Fake &f = Of(op);
        if (!f.restart_record)
            return PxStatus{PXSTC_NullPointer};
        f.kept_record_.swap(*f.restart_record);
        f.kept_record_.shrink_to_fit();
        f.restart_record.reset();
        *record = f.kept_record_.data();
        *length = static_cast<uint32_t>(f.kept_record_.size());
        return f.Fail("PX_ReadCheckpointRecord");
    };
    o.PX_WriteCheckpointRecord = [](PxOperator *op, const void *record, uint32_t length) {
        Of(op).written_records.emplace_back(static_cast<const char *>(record), length);
        return Of(op).Fail("PX_WriteCheckpointRecord");
    };
    o.PX_ConsoleWrite = [](PxOperator *op, const char *words, uint32_t length) {
        Of(op).console += std::string(words, length) + "\n";
        return PxStatus{PXSTC_Success};
    };
    o.PX_GetTableSchemaList = [](PxOperator *op, int32_t direction, PxSchema ***list,
                                 int32_t *count) {
        Fake &f = Of(op);
        f.calls.push_back("schema " + std::to_string(direction));
        f.schema_list_[0] = &f.schema_.object;
        *list = f.schema_list_;
        *count = 1;
        return f.Fail("PX_GetTableSchemaList");
    };
    o.PX_GetAttribute = [](PxOperator *op, const char *name, const void **value, int32_t *length) {
        Fake &f = Of(op);
        if (const PxStatus status = f.Fail(("PX_GetAttribute:" + std::string(name)).c_str()))
            return status;
        if (f.lists.count(name) != 0)
            return PxStatus{PXSTC_MultiValued};
        if (const auto found = f.integer.find(name); found != f.integer.end()) {
            f.kept_.assign(reinterpret_cast<const char *>(&found->second), sizeof(int32_t));
        } else if (const auto words = f.text.find(name); words != f.text.end()) {
            f.kept_ = words->second;
        } else {
            return PxStatus{PXSTC_NotFound};
        }
        *value = f.kept_.c_str();
        *length = static_cast<int32_t>(f.kept_.size());
        return PxStatus{PXSTC_Success};
    };
    o.PX_SetAttribute = [](PxOperator *op, const char *name, const void *value, int32_t length) {
        int16_t code = 0;
        if (strcmp(name, "PX_ExitCode") == 0 && length == 2) {
            memcpy(&code, value, sizeof code);
            Of(op).exit_code = code;
        }
        return PxStatus{PXSTC_Success};
    };
    o.PX_Loginit = [](PxOperator *op, const char *, int32_t, const char *file, int32_t,
                      PxLog **log) {
        Fake &f = Of(op);
        if (file != nullptr)
            f.private_log_name = file;
        *log = file != nullptr ? &f.private_.object : &f.public_.object;
        return f.Fail("PX_Loginit");
    };
    o.PX_LogWrite = [](PxLog *log, uint32_t number, int32_t, int32_t, const PxLogArg *args) {
        LogHandle &to = Of(log);
        Fake &f = *to.fake;
        std::string words;
        const PxLogArg *arg = args;
        const bool leader = number != 19003 && number != 19004 && number != 19005;
        if (leader || to.is_private)
            (to.is_private ? f.private_prefixes : f.last_leader) = arg++->text;
        for (const PxLogArg *first = arg; arg->type != PX_ARG_END; ++arg) {
            words += arg != first ? "," : "";
            words += arg->type == PX_ARG_TEXT ? arg->text : std::to_string(arg->number);
        }
        if (to.is_private)
            f.private_log += words + "\n";
        else
            f.public_log += std::to_string(number) + "(" + words + ") ";
        return f.Fail("PX_LogWrite");
    };
    o.PX_Logterm = [](PxLog *log) {
        LogHandle &to = Of(log);
        to.fake->calls.push_back(to.is_private ? "close private log" : "close public log");
        return PxStatus{PXSTC_Success};
    };
    o.PX_OpenCommandInterface = [](PxOperator *op, const char *) {
        Of(op).calls.push_back("open command interface");
        return Of(op).Fail("PX_OpenCommandInterface");
    };
    o.PX_CloseCommandInterface = [](PxOperator *op) {
        Of(op).calls.push_back("close command interface");
        return PxStatus{PXSTC_Success};
    };
    o.PX_PutJobStat = [](PxOperator *op, int32_t statistic, int32_t type, const void *value,
                         int32_t length, int32_t, int32_t) {
        Fake &f = Of(op);
        if (statistic == PX_STAT_FileCounts && length == sizeof(PxFileCounts)) {
            f.file_counts.emplace_back();
            memcpy(&f.file_counts.back(), value, sizeof(PxFileCounts));
            return PxStatus{PXSTC_Success};
        }
        std::string shown(static_cast<const char *>(value), static_cast<size_t>(length));
        if (type == 1) {
            uint32_t number = 0;
            memcpy(&number, value, sizeof number);
            shown = std::to_string(number);
        }
        f.statistics.push_back(std::to_string(statistic) + "=" + shown);
        return f.Fail("PX_PutJobStat");
    };
    o.PX_ShmObtain = Refuse;
    o.PX_ShmRelease = Refuse;
    o.PX_ShmAttach = Refuse;
    o.PX_GetUserId = [](PxOperator *op, const char **id) {
        *id = "tester";
        return Of(op).Fail("PX_GetUserId");
    };
}

// Bytes of the length in front of a value.
static uint32_t PrefixOf(uint32_t type)
{
    static const std::set<uint32_t> two = {7, 8, 10, 41, 42, 61, 62, 66, 68},
                                    eight = {39, 40, 65, 67};
    return type == 63 ? 1 : two.count(type) != 0 ? 2 : eight.count(type) != 0 ? 8 : 0;
}

FakeRow Fake::Row(const std::vector<std::optional<std::string>> &values) const
{
    FakeRow row;
    row.bytes.assign((values.size() + 7) / 8, 0);
    for (size_t i = 0; i < values.size(); ++i) {
        const uint32_t prefix = PrefixOf(columns[i].type);
        std::string value = values[i].value_or("");
        if (!values[i] && prefix == 0)
            value.assign(columns[i].length, '\0');
        if (!values[i])
            row.bytes[i / 8] |= static_cast<uint8_t>(0x80 >> i % 8);
        for (uint32_t at = 0; at < prefix; ++at)
            row.bytes.push_back(static_cast<uint8_t>(at < 4 ? value.size() >> at * 8 : 0));
        row.indicators.push_back(values[i] ? 0 : 1);
        row.offsets.push_back(static_cast<uint32_t>(row.bytes.size()));
        row.lengths.push_back(static_cast<uint32_t>(value.size()));
        row.bytes.insert(row.bytes.end(), value.begin(), value.end());
    }
    row.columns = static_cast<int32_t>(values.size());
    row.length = static_cast<uint32_t>(row.bytes.size());
    return row;
}

void Fake::FillSchema()
{
    PxSchema &s = schema_.object;
    s.PX_GetRow = [](PxSchema *schema, int32_t *count, const uint8_t **indicators,
                     const uint32_t **offsets, const uint32_t **lengths, void **bytes,
                     uint32_t *length) {
        Fake &f = Of(schema);
        if (f.next_row_ == f.stream.size()) {
            const PxStatus status = f.Fail("PX_GetRow");
            return status != PXSTC_Success ? status : PxStatus{PXSTC_EndOfData};
        }
        FakeRow &row = f.stream[f.next_row_++];
        *count = row.columns;
        *indicators = row.indicators.data();
        *offsets = row.complete ? row.offsets.data() : nullptr;
        *lengths = row.lengths.data();
        *bytes = row.bytes.data();
        *length = row.length;
        return PxStatus{PXSTC_Success};
    };
    s.PX_PutRow = [](PxSchema *schema, int32_t count, const uint8_t *indicators,
                     const uint32_t *offsets, const uint32_t *lengths, const void *row,
                     uint32_t row_length) {
        Fake &f = Of(schema);
        std::string shown;
        if (count == 0)
            shown.assign(static_cast<const char *>(row), row_length);
        for (int32_t i = 0; i < count; ++i) {
            shown += i > 0 ? "|" : "";
            shown += indicators[i] != 0
                         ? std::string("NULL")
                         : std::string(static_cast<const char *>(row) + offsets[i], lengths[i]);
        }
        if (f.put_row_status == PXSTC_Success)
            f.rows.push_back(shown);
        return f.put_row_status;
    };
    s.PX_GetColumnSchemaList = [](PxSchema *schema, PxColumn ***list, int32_t *count,
                                  uint32_t *declared) {
        Fake &f = Of(schema);
        f.column_handles_.assign(f.columns.size(), {});
        f.column_list_.clear();
        *declared = 0;
        for (size_t i = 0; i < f.columns.size(); ++i) {
            ColumnHandle &column = f.column_handles_[i];
            column.fake = &f;
            column.index = i;
            column.object.kind = PX_KIND_COLUMN;
            column.object.PX_GetMetadataColumnSchema =
                [](PxColumn *object, const char **name, uint32_t *type, uint32_t *length,
                   int32_t *offset, uint16_t *precision, uint16_t *scale, int8_t *indicator,
                   uint32_t *metadata) {
                    const ColumnHandle &self = Of(object);
                    const FakeColumn &c = self.fake->columns[self.index];
                    *name = c.name.c_str();
                    *type = c.type;
                    *length = c.length;
                    *offset = 0;
                    for (size_t k = 0; k < self.index; ++k)
                        *offset += static_cast<int32_t>(self.fake->columns[k].length);
                    *precision = c.precision;
                    *scale = c.scale;
                    *indicator = 0;
                    *metadata = c.metadata;
                    return self.fake->Fail("PX_GetMetadataColumnSchema");
                };
            column.object.PX_GetColumnDateFormats = [](PxColumn *object, const char **input,
                                                       const char **output, int32_t) {
                const ColumnHandle &self = Of(object);
                const FakeColumn &c = self.fake->columns[self.index];
                *input = c.input_format;
                *output = c.output_format;
                return self.fake->Fail("PX_GetColumnDateFormats");
            };
            *declared += f.columns[i].length;
        }
        for (ColumnHandle &column : f.column_handles_)
            f.column_list_.push_back(&column.object);
        *list = f.column_list_.data();
        *count = static_cast<int32_t>(f.columns.size());
        return f.Fail("PX_GetColumnSchemaList");
    };
    s.PX_GetBuffer = Refuse;
    s.PX_PutBuffer = Refuse;
    s.PX_AllocBuffer = [](PxSchema *, uint32_t) -> void * { return nullptr; };
}
