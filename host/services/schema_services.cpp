// host/services/schema_services.cpp - columns, and rows on their way into the ring.

#include <cstring>

#include "host/services/operator_services.h"

namespace fenwire {

namespace {

constexpr PxStatus kCountError = 20;
constexpr uint32_t kNoBytes = 0xFFFFFFFF;

constexpr size_t Aligned(size_t bytes) { return (bytes + 7) & ~size_t{7}; }

struct PutArrays {
    const uint8_t *indicators;
    const uint32_t *offsets, *lengths;
    const void *row;
    uint32_t size;
};

// Rows with NULL, or with bytes between the columns. False: a column lies outside the row.
bool PackColumns(uint32_t columns, const PutArrays &from, uint8_t *record, uint64_t *total)
{
    auto *words = reinterpret_cast<uint32_t *>(record);
    uint8_t *const data = record + 8 + 4 * size_t{columns};
    *total = 0;
    for (uint32_t i = 0; i < columns; ++i) {
        if (from.indicators[i] != 0) {
            words[2 + i] = kNullColumn;
            continue;
        }
        const uint32_t length = words[2 + i] = from.lengths[i];
        if (length == 0)
            continue;  // wherever it is said to lie
        if (uint64_t{from.offsets[i]} + length > from.size || *total + length > from.size)
            return false;
        memcpy(data + *total, static_cast<const uint8_t *>(from.row) + from.offsets[i], length);
        *total += length;
    }
    return true;
}

}  // namespace

// Hot: a row costs a pass over its columns and one copy of its bytes.
PxStatus OperatorServices::PutRow(PxSchema *schema, int32_t columns, const uint8_t *indicators,
                                  const uint32_t *offsets, const uint32_t *lengths, const void *row,
                                  uint32_t row_length)
{
    Stream &stream = *reinterpret_cast<Stream *>(schema);
    if (columns == 0 && indicators == nullptr)
        return PXSTC_NotSupported;  // rows in the job's layout come with indicator mode
    const uint32_t count = stream.columns;
    if (static_cast<uint32_t>(columns) != count)
        return kCountError;
    if (indicators == nullptr || offsets == nullptr || lengths == nullptr || row == nullptr)
        return PXSTC_NullPointer;
    const uint32_t size = row_length == kNoBytes ? 0 : row_length;
    const size_t head = 8 + 4 * size_t{count};
    // The row's own size bounds what its columns may need: they do not overlap.
    if (Aligned(head + size) > RowRing::kMaxRecordBytes)
        return PXSTC_Length;
    uint8_t *record = stream.rows->Reserve(Aligned(head + size));

    auto *words = reinterpret_cast<uint32_t *>(record);
    uint64_t total = 0, differs = 0;  // from a row without NULL whose columns touch each other
    for (uint32_t i = 0; i < count; ++i) {
        differs |= indicators[i] | (offsets[i] ^ total);
        words[2 + i] = lengths[i];
        total += lengths[i];
    }
    if (differs == 0 && total <= size) [[likely]]
        memcpy(record + head, row, total);
    else if (!PackColumns(count, {indicators, offsets, lengths, row, size}, record, &total))
        return PXSTC_Length;
    words[0] = static_cast<uint32_t>(Aligned(head + total));
    words[1] = static_cast<uint32_t>(total);
    stream.rows->Append(words[0]);
    return PXSTC_Success;
}

void OperatorServices::FillSchema()
{
    PxSchema &s = stream_.object;
    s.kind = PX_KIND_SCHEMA;
    schema_list_[0] = &s;
    stream_.columns = static_cast<uint32_t>(job_.columns.size());

    int32_t offset = 0;
    for (const Column &column : job_.columns) {
        ColumnHandle handle;
        handle.column = &column;
        handle.offset = offset;
        handle.object.kind = PX_KIND_COLUMN;
        handle.object.PX_GetMetadataColumnSchema =
            [](PxColumn *object, const char **name, uint32_t *type, uint32_t *length, int32_t *at,
               uint16_t *precision, uint16_t *scale, int8_t *indicator,
               uint32_t *metadata_type) -> PxStatus {
            const auto &self = *reinterpret_cast<ColumnHandle *>(object);
            if (name == nullptr || type == nullptr || length == nullptr || at == nullptr ||
                precision == nullptr || scale == nullptr || indicator == nullptr ||
                metadata_type == nullptr)
                return PXSTC_NullPointer;
            *name = self.column->name.c_str();
            *type = self.column->type;
            *length = self.column->length;
            *at = self.offset;
            *precision = self.column->precision;
            *scale = self.column->scale;
            *indicator = 0;
            *metadata_type = self.column->file_name ? 1 : 0;
            return PXSTC_Success;
        };
        handle.object.PX_GetColumnDateFormats = [](PxColumn *object, const char **input,
                                                   const char **output, int32_t) -> PxStatus {
            const Column &c = *reinterpret_cast<ColumnHandle *>(object)->column;
            if (input == nullptr || output == nullptr)
                return PXSTC_NullPointer;
            *input = c.input_format.empty() ? nullptr : c.input_format.c_str();
            *output = c.output_format.empty() ? nullptr : c.output_format.c_str();
            return PXSTC_Success;
        };
        columns_.push_back(handle);
        offset += static_cast<int32_t>(column.length);
    }
    for (ColumnHandle &handle : columns_)
        column_list_.push_back(&handle.object);

    s.PX_PutRow = PutRow;
    s.PX_GetColumnSchemaList = [](PxSchema *schema, PxColumn ***list, int32_t *count,
                                  uint32_t *declared) -> PxStatus {
        OperatorServices &owner = *reinterpret_cast<Stream *>(schema)->owner;
        if (list == nullptr || count == nullptr)
            return PXSTC_NullPointer;
        *list = owner.column_list_.data();
        *count = static_cast<int32_t>(owner.column_list_.size());
        if (declared != nullptr) {
            *declared = 0;
            for (const Column &column : owner.job_.columns)
                *declared += column.length;
        }
        return PXSTC_Success;
    };
    // Rows for consumers, and whole buffers, come with those features.
    s.PX_GetRow = [](PxSchema *, int32_t *, const uint8_t **, const uint32_t **, const uint32_t **,
                     void **, uint32_t *) { return PxStatus{PXSTC_NotSupported}; };
    s.PX_GetBuffer = [](PxSchema *, uint8_t *, void **, uint32_t *) {
        return PxStatus{PXSTC_NotSupported};
    };
    s.PX_PutBuffer = [](PxSchema *, int32_t, void *, uint32_t) {
        return PxStatus{PXSTC_NotSupported};
    };
    s.PX_AllocBuffer = [](PxSchema *, uint32_t) -> void * { return nullptr; };
}

}  // namespace fenwire
