// schema/insert_filename.cpp - finding, holding and filling the column of the file's name.
//
// In a session of UTF-16 the name is converted, so that the column is text like its neighbours; in all
// others its bytes are the path's. With several readers of one file the master will leave the name
// in shared memory in NoteFilename, and the slaves, who open nothing, take it over from there.

#include "schema/insert_filename.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "attributes/attributes_state.h"
#include "convert/unicode.h"
#include "operator/messages.h"
#include "pm/pm_state.h"
#include "schema/schema_state.h"
#include "schema/type_table.h"

namespace {

constexpr const char *kMetadataTypes[] = {"None", "FileName"};
constexpr uint32_t kFileName = 1, kTextFormat = 1;
constexpr size_t kSlack = 64;  // short pieces may be copied with a fixed size

const char *MetadataName(uint32_t metadata)
{
    return metadata < std::size(kMetadataTypes) ? kMetadataTypes[metadata] : "";
}

PxStatus Refused()
{
    RaiseExitCode(12);
    return PXSTC_FatalError;
}

template <class Element>
bool Allocate(Element **block, size_t count, const char *failed)
{
    const size_t bytes = count * sizeof(Element);
    *block = static_cast<Element *>(calloc(count, sizeof(Element)));
    if (*block != nullptr)
        return true;
    char size[24];
    snprintf(size, sizeof size, "%zu", bytes);
    FW_ERROR("%s", failed);
    FW_Message<19140>(static_cast<const char *>(size));
    return false;
}

template <class Element>
void Release(Element **block)
{
    free(*block);
    *block = nullptr;
}

// ---- The name in the data's own character set ----

struct Name {
    const char *bytes;
    int32_t length;  // below 0: it can't be converted
};

Name NameInCharSet(const char *path, uint8_t (&converted)[8400])
{
    const auto length = static_cast<int32_t>(strlen(path));
    if (CharSetFamily != kFamilyUtf16 || length == 0)
        return {path, length};
    const int32_t made = UTF8toUTF16(reinterpret_cast<const uint8_t *>(path), length, converted,
                                     static_cast<int32_t>(sizeof converted));
    return {reinterpret_cast<const char *>(converted), made > 0 ? made : -1};
}

PxStatus NameTooLong(const char *path, int32_t length)
{
    const char *type = MetadataName(kFileName);
    FW_ERROR("%s '%s' %s %d, %s '%s' (%d) %s (%d)", "For Metadata type", type, "in column",
             InsertFilenameColNum, "the length of file name", path, length,
             "exceeds the maximum length allowed by the schema", InsertFilenameMaxLen);
    return FW_Fatal<19137>(type, InsertFilenameColNum, path, length, InsertFilenameMaxLen);
}

void PadWithBlanks(char *from, const char *end)
{
    const bool wide = CharSetFamily == kFamilyUtf16;
    for (bool low = true; from < end; low = !low)
        *from++ = wide && !low ? '\0' : ' ';
}

}  // namespace

PxStatus TakeMetadataColumn(int32_t number, uint32_t metadata, uint32_t type, uint32_t length)
{
    const char *name = MetadataName(metadata);
    const int code = static_cast<int>(metadata);

    if (metadata != kFileName) {
        FW_ERROR("%s '%s' (%d) %s", "Unsupported Metadata type", name, code, "in schema");
        return Refused();
    }
    if (InsertFilenameColNum != 0) {
        FW_ERROR("%s '%s' (%d) %s %d.  %s %d", "Multiple definitions of Metadata type", name, code,
                 "in schema at column", number, "Previously found in column", InsertFilenameColNum);
        return Refused();
    }
    if (type != kTypeChar && type != kTypeVarchar) {
        FW_ERROR("%s '%s' (%d) %s", "Metadata type", name, code,
                 "must be data type VARCHAR or CHAR");
        return Refused();
    }
    if (length > static_cast<uint32_t>(BufferSize)) {  // no row would have room for it
        FW_ERROR("Data Schema implied record length > size of buffer");
        return FW_Fatal<19107>(static_cast<int64_t>(length), BufferSize);
    }
    InsertFilenameColNum = number;
    InsertFilenameColType = type;
    InsertFilenameColLen = InsertFilenameMaxLen = static_cast<int32_t>(length);
    InsertFilenamePrefixLen = type == kTypeVarchar && FileFormat != kTextFormat ? 2 : 0;
    FW_TRACE(1, "%s '%s' (%d) %s %d", "Metadata type", name, code, "supported for column", number);
    return PXSTC_Success;
}

// A row that passes BufferSize with its name is refused, so that much is room for every other.
PxStatus AllocateFilenameRow()
{
    constexpr char kRow[] = " Temporary buffer memory allocation failed.";
    constexpr char kColumn[] = " Column insertion memory allocation failed.";
    const size_t columns = static_cast<size_t>(SG_ColCount) + 1;

    if (Allocate(&FilenameRow.bytes, static_cast<size_t>(BufferSize) + kSlack, kRow) &&
        Allocate(&FilenameRow.indicators, columns, kRow) &&
        Allocate(&FilenameRow.offsets, columns, kRow) &&
        Allocate(&FilenameRow.lengths, columns, kRow) &&
        Allocate(&CurrentFilename, static_cast<size_t>(InsertFilenameColLen) + 10, kColumn))
        return PXSTC_Success;
    return Refused();
}

PxStatus NoteFilename(const char *path)
{
    uint8_t converted[8400];

    if (InsertFilenameColNum == 0)
        return PXSTC_Success;
    const Name name = NameInCharSet(path, converted);
    if (name.length < 0) {
        FW_ERROR("file name '%s' can't be converted to %s", path, SG_CharsetName);
        return FW_Fatal<19992>(path, static_cast<const char *>(SG_CharsetName));
    }
    if (name.length > InsertFilenameMaxLen)
        return NameTooLong(path, name.length);
    if (InsertFilenameColType == kTypeVarchar)
        InsertFilenameColLen = name.length;
    CurrentFilenameLen = name.length;
    memcpy(CurrentFilename, name.bytes, static_cast<size_t>(name.length));
    char *const end = CurrentFilename + InsertFilenameColLen;
    PadWithBlanks(CurrentFilename + name.length, end);
    *end = '\0';
    FW_TRACE(1, "Inserting current FileName '%s'", path);
    return PXSTC_Success;
}

void FreeFilenameColumn()
{
    Release(&FilenameRow.bytes);
    Release(&FilenameRow.indicators);
    Release(&FilenameRow.offsets);
    Release(&FilenameRow.lengths);
    Release(&CurrentFilename);
    InsertFilenameColNum = InsertFilenameMaxLen = InsertFilenameColLen = 0;
    InsertFilenamePrefixLen = CurrentFilenameLen = 0;
    InsertFilenameColType = 0;
}
