// host/services/schema_services.cpp - the columns as the operator asks for them.

#include "host/services/operator_services.h"

namespace fenwire {

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
        handle.file_name = column.file_name && stream_.in == nullptr;  // written, it is data
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
            *metadata_type = self.file_name ? 1 : 0;
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

    // Rows go one way.
    s.PX_GetRow = [](PxSchema *, int32_t *, const uint8_t **, const uint32_t **, const uint32_t **,
                     void **, uint32_t *) { return PxStatus{PXSTC_NotSupported}; };
    s.PX_PutRow = [](PxSchema *, int32_t, const uint8_t *, const uint32_t *, const uint32_t *,
                     const void *, uint32_t) { return PxStatus{PXSTC_NotSupported}; };
    if (stream_.in != nullptr)
        s.PX_GetRow = GetRow;
    else if (stream_.out->form() == RowForm::Layout)
        s.PX_PutRow = PutLayoutRow;
    else
        s.PX_PutRow = stream_.out->form() == RowForm::CountsOnly ? CountRow : PutRow;
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
    // Whole buffers come with buffer mode.
    s.PX_GetBuffer = [](PxSchema *, uint8_t *, void **, uint32_t *) {
        return PxStatus{PXSTC_NotSupported};
    };
    s.PX_PutBuffer = [](PxSchema *, int32_t, void *, uint32_t) {
        return PxStatus{PXSTC_NotSupported};
    };
    s.PX_AllocBuffer = [](PxSchema *, uint32_t) -> void * { return nullptr; };
}

}  // namespace fenwire
