// schema/establish.cpp - taking the job's schema over: columns, row lengths, what the format carries.
//
// Once an instance. The column list is walked once; everything that one column settles is settled in
// TakeColumn, what the columns settle together is summed up in Verdicts and judged behind the walk.

#include "schema/establish.h"

#include <cstdio>
#include <cstdlib>

#include "attributes/attributes_state.h"
#include "operator/messages.h"
#include "schema/date_columns.h"
#include "schema/insert_filename.h"
#include "schema/schema_state.h"
#include "schema/type_table.h"
#include "schema/var_fields.h"

namespace {

constexpr int32_t kMostColumns = 65535;
constexpr uint32_t kTextFormat = 1, kUnformatted = 8;
constexpr int32_t kOutputSchema = 3, kInputSchema = 1;
constexpr PxStatus kCountError = 20;

// What the columns say together.
struct Verdicts {
    bool all_character = true;
    bool delimited = true;    // delimited data carries every column
    bool convertible = true;  // a consumer can write every column as text
    uint64_t declared = 0;    // bytes of the declared lengths
    uint64_t prefixes = 0;    // bytes of the length prefixes in a binary row
};

struct Column {
    const char *name = nullptr;
    uint32_t type = 0, length = 0, metadata = 0;
    int32_t offset = 0;
    uint16_t precision = 0, scale = 0;
    int8_t indicator = 0;
};

bool Producer() { return OperatorType == 1; }

template <class Element>
bool Allocate(Element **array, const char *name)
{
    const size_t bytes = sizeof(Element) * static_cast<size_t>(SG_ColCount);
    free(*array);
    *array = static_cast<Element *>(calloc(static_cast<size_t>(SG_ColCount), sizeof(Element)));
    if (*array != nullptr)
        return true;
    char size[24];
    snprintf(size, sizeof size, "%zu", bytes);
    FW_ERROR("Unable to allocate %zu bytes for %s", bytes, name);
    FW_Message<19140>(static_cast<const char *>(size));
    return false;
}

PxStatus AllocateArrays()
{
    if (Allocate(&SG_IndBytes, "SG_IndBytes") && Allocate(&SG_ColLens, "SG_ColLens") &&
        Allocate(&SG_ColLensBase, "SG_ColLensBase") &&
        Allocate(&SG_ColLensOrig, "SG_ColLensOrig") && Allocate(&SG_ColOffs, "SG_ColOffs") &&
        Allocate(&SG_ColTypes, "SG_ColTypes") && Allocate(&SG_ColPrecision, "SG_ColPrecision") &&
        Allocate(&SG_ColScale, "SG_ColScale") && Allocate(&SG_ColNames, "SG_ColNames") &&
        Allocate(&SG_IsInlineLOB, "SG_IsInlineLOB") && Allocate(&SG_IsVarType, "SG_IsVarType"))
        return PXSTC_Success;
    RaiseExitCode(12);
    return PXSTC_FatalError;
}

// ---- What the infrastructure hands out, checked before it is used ----

PxStatus FetchSchema()
{
    PxSchema **list = nullptr;
    int32_t count = 0;
    const int32_t direction = Reading != 0 ? kOutputSchema : kInputSchema;
    PxStatus status =
        Service(SG_opHandle, &PxOperator::PX_GetTableSchemaList, direction, &list, &count);
    if (status == PXSTC_Success && count != 1)
        status = kCountError;
    if (status == PXSTC_Success && (list == nullptr || list[0] == nullptr))
        status = PXSTC_NullPointer;
    if (status != PXSTC_Success)
        return ServiceFailed(__func__, "PX_GetTableSchemaList", status);
    schemaHandle = list[0];
    return PXSTC_Success;
}

PxStatus FetchColumns(PxColumn ***list)
{
    uint32_t declared = 0;
    int32_t count = 0;
    PxStatus status =
        Service(schemaHandle, &PxSchema::PX_GetColumnSchemaList, list, &count, &declared);
    if (status == PXSTC_Success && count < 1) {
        FW_ERROR("ZERO columns defined in schema");
        return FW_Fatal<19106>(count);
    }
    if (status == PXSTC_Success && count > kMostColumns)
        status = kCountError;
    if (status == PXSTC_Success && *list == nullptr)
        status = PXSTC_NullPointer;
    if (status != PXSTC_Success)
        return ServiceFailed(__func__, "PX_GetColumnSchemaList", status);
    SG_ColCount = count;
    FW_TRACE(1, "Schema column count=%d", SG_ColCount);
    return PXSTC_Success;
}

PxStatus FetchColumn(PxColumn *object, Column *column)
{
    // The infrastructure's row has the file name column in it, the file's record does not.
    const int32_t inserted = InsertFilenameColNum != 0 ? InsertFilenameMaxLen : 0;
    PxStatus status = Service(object, &PxColumn::PX_GetMetadataColumnSchema, &column->name,
                              &column->type, &column->length, &column->offset, &column->precision,
                              &column->scale, &column->indicator, &column->metadata);
    if (status == PXSTC_Success && column->offset < inserted)
        status = PXSTC_InvalidArgument;
    if (status != PXSTC_Success)
        return ServiceFailed(__func__, "PX_GetMetadataColumnSchema", status);
    column->offset -= inserted;
    if (column->name == nullptr)
        column->name = "";
    return PXSTC_Success;
}

// ---- One column ----

uint32_t TextWidthOf(const TypeRow &type, uint16_t precision)
{
    const TextWidth &width = type.width;
    if (width.base == 0)
        return 0;
    return width.base + static_cast<uint32_t>(width.per_precision) * precision +
           (precision > 0 ? width.fraction : 0U);
}

void JudgeColumn(const Column &column, const TypeRow &type, Verdicts *verdicts)
{
    if (column.type != kTypeChar && column.type != kTypeAnsiDate)
        verdicts->all_character = false;
    if (!type.delimited)
        verdicts->delimited = false;
    if (Producer())
        return;
    if (!type.exported)
        verdicts->convertible = false;
    const uint32_t width = TextWidthOf(type, column.precision);
    if (FileFormat != kTextFormat || width == 0)
        return;
    DelimitedExtraLength += static_cast<int32_t>(width - column.length);
    ConvertDelimitedData = 1;
}

uint32_t PrefixBytes(uint32_t code, TypeClass type_class)
{
    if (FileFormat == kTextFormat || type_class == TypeClass::Fixed)
        return 0;
    if (code == kTypeNumber)
        return 1;
    return type_class == TypeClass::InlineLob ? 8 : 2;
}

void StoreColumn(int32_t at, const Column &column, const TypeRow &type, Verdicts *verdicts)
{
    SG_ColTypes[at] = column.type;
    SG_ColPrecision[at] = column.precision;
    SG_ColScale[at] = column.scale;
    SG_ColNames[at] = column.name;
    SG_IndBytes[at] = 0;
    SG_ColLens[at] = SG_ColLensBase[at] = column.length;
    SG_ColOffs[at] = static_cast<uint32_t>(column.offset);
    SG_IsInlineLOB[at] = type.type_class == TypeClass::InlineLob ? 1 : 0;
    SG_IsVarType[at] = type.type_class == TypeClass::Fixed ? 0 : 1;
    SG_VARtypesFlag |= SG_IsVarType[at];
    SG_LOBStypesFlag |= SG_IsInlineLOB[at];
    bLOBsINschema |= SG_IsInlineLOB[at];
    SG_NUMtypesFlag |= column.type == kTypeNumber ? 1 : 0;
    verdicts->declared += column.length;
    verdicts->prefixes += PrefixBytes(column.type, type.type_class);
}

PxStatus TakeColumn(PxColumn *object, int32_t number, Verdicts *verdicts)
{
    Column column;
    if (const PxStatus status = FetchColumn(object, &column))
        return status;
    const bool metadata = Reading != 0 && column.metadata != 0;
    if (metadata) {
        if (const PxStatus status =
                TakeMetadataColumn(number, column.metadata, column.type, column.length))
            return status;
    } else {
        const TypeRow &type = TypeOf(column.type);
        JudgeColumn(column, type, verdicts);
        const int32_t at = number - (InsertFilenameColNum != 0 ? 2 : 1);
        StoreColumn(at, column, type, verdicts);
        if (Producer() && column.type == kTypeVarchar) {
            if (const PxStatus status = TakeDateFormats(object, column.name, at))
                return status;
        }
    }
    FW_TRACE(1, "%16.16s (%3d) %3d %7d %7d %c %s", TypeName(column.type),
             static_cast<int>(column.type), column.indicator, column.length, column.offset,
             metadata ? 'Y' : 'N', column.name);
    return PXSTC_Success;
}

// ---- All columns ----

// Only the file's own columns count from here on: its records have no others, nor do their indicators.
PxStatus LeaveOutFilenameColumn()
{
    if (InsertFilenameColNum == 0)
        return PXSTC_Success;
    if (--SG_ColCount > 0)
        return AllocateFilenameRow();
    FW_ERROR("ZERO columns defined in schema");
    return FW_Fatal<19106>(SG_ColCount);
}

void ClearFlags()
{
    DelimitedExtraLength = 0;
    FreeFilenameColumn();
    SG_VARtypesFlag = SG_LOBStypesFlag = SG_NUMtypesFlag = bLOBsINschema = 0;
    ConvertDelimitedData = 0;
    TotalFixedLength = 0;
}

void SettleConsumerVerdicts(Verdicts *verdicts)
{
    if (Producer())
        return;
    verdicts->delimited = verdicts->convertible;
    if (!verdicts->convertible || TextDelimiter.length == 0)
        ConvertDelimitedData = 0;
}

// A row that 32 bits can't count fits no buffer.
PxStatus SettleRowLengths(const Verdicts &verdicts)
{
    const bool indicators = SG_IndicatorData != kNo;
    NumIndBytes = indicators || Reading == 0 ? (static_cast<uint32_t>(SG_ColCount) - 1) / 8 + 1 : 0;
    const uint64_t total = verdicts.declared + verdicts.prefixes + NumIndBytes;
    if (total > UINT32_MAX) {
        FW_ERROR("Data Schema implied record length > size of buffer");
        return FW_Fatal<19107>(static_cast<int64_t>(total), BufferSize);
    }
    BufferFixedLength = NumIndBytes + static_cast<uint32_t>(verdicts.declared);
    TotalFixedLength = static_cast<uint32_t>(total - (indicators ? 0 : NumIndBytes));
    return PXSTC_Success;
}

PxStatus CheckUnformatted()
{
    if (FileFormat != kUnformatted || TotalFixedLength <= static_cast<uint32_t>(BufferSize))
        return PXSTC_Success;
    FW_TRACE(1, "Data Schema implied record length > size of buffer");
    FW_TRACE(1, "TotalFixedLength = %u, BufferSize = %d", TotalFixedLength, BufferSize);
    if (Producer() || TotalFixedLength > INT32_MAX)
        return FW_Fatal<19107>(static_cast<int64_t>(TotalFixedLength), BufferSize);
    FW_TRACE(1, "Setting BufferSize = TotalFixedLength = %u", TotalFixedLength);
    BufferSize = static_cast<int32_t>(TotalFixedLength);
    return PXSTC_Success;
}

PxStatus CheckText(const Verdicts &verdicts)
{
    if (FileFormat != kTextFormat || TextDelimiter.length != 0 || verdicts.all_character)
        return PXSTC_Success;
    FW_ERROR("Text data requires all CHAR or ANSIDATE schema");
    return FW_Fatal<19108>("TEXT", "CHAR/ANSIDATE");
}

PxStatus CheckDelimited(const Verdicts &verdicts)
{
    static constexpr char kCarried[] =
        "VARCHAR/JSON/JSON BY NAME/CLOB BY NAME/BLOB BY NAME/XML BY NAME/XML/CLOB";
    const char *carried = kCarried;
    if (FileFormat != kTextFormat || TextDelimiter.length == 0 || verdicts.delimited)
        return PXSTC_Success;
    if (Producer()) {
        FW_ERROR("!ERROR! %s: %s", "Delimited data supports these types only", carried);
        return FW_Fatal<19108>("DELIMITED", carried);
    }
    FW_ERROR("BYTE/GRAPHIC/LOB types not Supported for Delimited text Export");
    return FW_Fatal<19133>();
}

PxStatus CheckFormatRules(const Verdicts &verdicts)
{
    if (const PxStatus status = CheckUnformatted())
        return status;
    if (const PxStatus status = CheckText(verdicts))
        return status;
    return CheckDelimited(verdicts);
}

template <class Element>
void Release(Element **array)
{
    free(*array);
    *array = nullptr;
}

}  // namespace

const char *TypeName(uint32_t type) { return TypeOf(type).name; }

PxStatus FW_EstablishSchema()
{
    PxColumn **list = nullptr;
    Verdicts verdicts;

    FreeDateColumns();
    if (const PxStatus status = FetchSchema())
        return status;
    if (const PxStatus status = FetchColumns(&list))
        return status;
    if (const PxStatus status = AllocateArrays())
        return status;
    ClearFlags();
    FW_TRACE(1, "%s", "Data Type       Ind  Length  Offset M Name");
    for (int32_t number = 1; number <= SG_ColCount; ++number) {
        // NOLINTNEXTLINE(clang-analyzer-core.NullDereference): FetchColumns lets no null list through
        if (const PxStatus status = TakeColumn(list[number - 1], number, &verdicts))
            return status;
    }
    if (const PxStatus status = LeaveOutFilenameColumn())
        return status;
    SettleConsumerVerdicts(&verdicts);
    FW_TRACE(1, "%s all character data", verdicts.all_character ? "Schema is" : "Schema is not");
    FW_TRACE(1, "%s compatible with delimited data",
             verdicts.delimited ? "Schema is" : "Schema is not");
    if (const PxStatus status = SettleRowLengths(verdicts))
        return status;
    if (const PxStatus status = AllocateDateRow())
        return status;
    if (const PxStatus status = PrepareWalk())
        return status;
    if (const PxStatus status = CheckFormatRules(verdicts))
        return status;
    FW_TRACE(1, "SG_VARtypesFlag=%u, NumIndBytes=%u, TotalFixedLength=%u", SG_VARtypesFlag,
             NumIndBytes, TotalFixedLength);
    return PXSTC_Success;
}

void FreeSchema()
{
    Release(&SG_IndBytes);
    Release(&SG_ColLens);
    Release(&SG_ColLensBase);
    Release(&SG_ColLensOrig);
    Release(&SG_ColOffs);
    Release(&SG_ColTypes);
    Release(&SG_ColPrecision);
    Release(&SG_ColScale);
    Release(&SG_ColNames);
    Release(&SG_IsInlineLOB);
    Release(&SG_IsVarType);
    FreeFilenameColumn();
    FreeDateColumns();
    FreeWalk();
    SG_ColCount = 0;
}
