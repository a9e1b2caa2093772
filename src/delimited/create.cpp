// delimited/create.cpp - CreateDelimitedText: convert, make room, write.
//
// A record goes to a buffer of its own that has room for the longest record that its row can make, so
// that no writer looks whether there is room.

#include "delimited/create.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>

#include "attributes/attributes_state.h"
#include "delimited/assemble.h"
#include "delimited/marks.h"
#include "delimited/outgoing_row.h"
#include "delimited/parsing_cases.h"
#include "delimited/read_back.h"
#include "operator/messages.h"
#include "pm/pm_state.h"
#include "schema/schema_state.h"

enum : int32_t { kCreated = 0, kNoMemory = 12 };
static constexpr char kRoutine[] = "CreateDelimitedText";

// ---- Trace ------------------------------------------------------------------------------------------

static void TraceBytes(const char *label, const uint8_t *bytes, uint32_t length)
{
    FW_Dump(kRoutine, label, bytes,
            std::min(length, static_cast<uint32_t>(std::max(MaxBytesToDump, 0))));
}

static void TraceIncoming(const OutgoingRow &row)
{
    constexpr uint32_t kMostShown = 1948;  // what a line has room for

    FW_Trace(kRoutine, TraceKind::Plain, "Row: %lld, ColCount=%d",
             static_cast<long long>(FileRecordCount) + 1, row.columns);
    FW_Trace(kRoutine, TraceKind::Plain, "Col  Offset  Length Ind Contents");
    for (int32_t i = 0; i < row.columns; ++i) {
        const uint32_t length = row.IsNull(i) ? 0 : row.lengths[i];
        const uint8_t *value = row.data + (length == 0 ? 0 : row.offsets[i]);
        FW_Trace(kRoutine, TraceKind::Plain, "%3d %7u %7u %3d '%.*s'", i + 1, row.offsets[i],
                 row.lengths[i], row.indicators[i], static_cast<int>(std::min(length, kMostShown)),
                 reinterpret_cast<const char *>(value));
    }
    TraceBytes("Incoming buffer <IN", row.data, row.length);
}

// ---- Room -------------------------------------------------------------------------------------------

// Values may overlap in a row that was made so, and their sum be more than the row.
static uint64_t ValueBytes(const OutgoingRow &row)
{
    uint64_t bytes = 0;
    for (int32_t i = 0; i < row.columns; ++i) {
        if (!row.IsNull(i))
            bytes += row.Value(i).length;
    }
    return bytes;
}

// Of the longest record with so many bytes of values: as if each of them were a mark to be escaped.
static uint64_t LongestRecord(uint64_t value_bytes, int32_t columns)
{
    constexpr uint64_t kReserve = 1000;
    const auto count = static_cast<uint64_t>(columns);
    const bool quotes = Marks.open_quote.length != 0 && bQuotedData != kNo;
    uint64_t marks = value_bytes * Marks.escape.length;

    if (quotes) {
        const uint64_t quote_bytes = uint64_t{Marks.open_quote.length} + Marks.close_quote.length;
        const MarkText &escape =
            Marks.quote_escape.length != 0 ? Marks.quote_escape : Marks.close_quote;
        marks = count * quote_bytes + value_bytes * escape.length;
    }
    return value_bytes + count * Marks.delimiter.length + kReserve + marks;
}

static bool NoMemory(uint64_t bytes)
{
    char shown[24];

    snprintf(shown, sizeof shown, "%" PRIu64, bytes);
    FW_ERROR("%s %s %s bytes.", "Unable to allocate memory for delimited data",
             "output buffer.  Memory requested", shown);
    (void)FW_Fatal<19140>(static_cast<const char *>(shown));
    return false;
}

static bool GrowCreatedText(uint64_t bytes)
{
    const uint64_t size = std::max(bytes, CreatedTextSize + CreatedTextSize / 2);

    FreeCreatedText();
    if (bytes > UINT32_MAX)  // no record has so many bytes
        return NoMemory(bytes);
    CreatedText = static_cast<uint8_t *>(malloc(size + kCopySlack));
    if (CreatedText == nullptr)
        return NoMemory(bytes);
    CreatedTextSize = size;
    return true;
}

static bool MakeRoom(const OutgoingRow &row)
{
    // Nearly always enough: as if every column held the whole row, or the longest text.
    const uint64_t most = row.length + uint64_t{sizeof row.converted->text};
    if (LongestRecord(most * static_cast<uint64_t>(row.columns), row.columns) <= CreatedTextSize)
        return true;
    const uint64_t needed = LongestRecord(ValueBytes(row), row.columns);
    return needed <= CreatedTextSize || GrowCreatedText(needed);
}

void FreeCreatedText()
{
    free(CreatedText);
    CreatedText = nullptr;
    CreatedTextSize = 0;
}

// ---- What is lost -----------------------------------------------------------------------------------

// Sets whose characters a reader may refuse.
static bool MayHoldBadCharacters(const uint8_t *end)
{
    if (UsingSingleByteCharSet || CharSetFamily == kFamilyUtf8)
        return false;
    return CharSetFamily == kFamilyUtf16 || !IsAscii(CreatedText, end);
}

[[gnu::noinline]] static void LookWhetherItReadsBack(const OutgoingRow &row, const uint8_t *end)
{
    WrittenRows &rows = FileRowsWritten;
    if (!ReadsBack(row, CreatedText, end, rows.records == 1) && rows.not_read_back++ == 0)
        rows.first_not_read_back = rows.records;
}

static void NoteRecord(const OutgoingRow &row, const WrittenRecord &written)
{
    WrittenRows &rows = FileRowsWritten;
    if (written.end == CreatedText) [[unlikely]] {
        if (rows.without_record++ == 0)
            rows.first_without_record = rows.records + 1;
        return;
    }
    if (++rows.records == 1 || !written.reads_back || MayHoldBadCharacters(written.end) ||
        written.end - CreatedText > static_cast<ptrdiff_t>(kMaxColumnBytes)) [[unlikely]]
        LookWhetherItReadsBack(row, written.end);
}

// ---- A row ------------------------------------------------------------------------------------------

static WrittenRecord Write(const OutgoingRow &row)
{
    return FastWriter != nullptr ? FastWriter(row, CreatedText)
                                 : WriteRowLiterally(row, CreatedText);
}

void ChooseRowWriter()
{
    FastWriter = UDDI_ParsingCase == kGeneralCase ? nullptr : FastRowWriter();
}

int32_t CreateDelimitedText(int32_t columns, const uint32_t *offsets, const uint8_t *indicators,
                            const uint32_t *lengths)
{
    const OutgoingRow row = {.data = pmBuffer.Data,
                             .length = pmBuffer.DataLength,
                             .columns = columns,
                             .offsets = offsets,
                             .indicators = indicators,
                             .lengths = lengths,
                             .converted = ConvertRecs,
                             .append = bAppendDelimiter != kNo};
    if (FW_TraceLvl > 4) [[unlikely]]
        TraceIncoming(row);
    if (row.converted != nullptr && columns > 0)
        BinaryToText(columns, row.data, offsets, indicators, lengths);
    if (!MakeRoom(row)) [[unlikely]]
        return kNoMemory;
    const WrittenRecord written = Write(row);
    NoteRecord(row, written);
    pmBuffer.Data = CreatedText;
    pmBuffer.DataLength = static_cast<uint32_t>(written.end - CreatedText);
    if (FW_TraceLvl > 4) [[unlikely]]
        TraceBytes("Final buffer:", pmBuffer.Data, pmBuffer.DataLength);
    return kCreated;
}
