// tests/delimited/outcome.h - what a scan made of a record, as text that can be compared.

#ifndef FENWIRE_TESTS_DELIMITED_OUTCOME_H
#define FENWIRE_TESTS_DELIMITED_OUTCOME_H

#include <cstdio>
#include <string>

#include "tests/delimited/extraction.h"
#include "tests/delimited/literal_scan.h"

inline std::string Shown(const std::string &bytes)
{
    std::string text;
    for (const char c : bytes) {
        char hex[8];
        snprintf(hex, sizeof hex, c >= 0x20 && c < 0x7F ? "%c" : "\\x%02X", c & 0xFF);
        text += hex;
    }
    return "\"" + text + "\"";
}

inline std::string Shown(const SpecialCharValue &mark)
{
    return Shown(std::string(reinterpret_cast<const char *>(mark.value), mark.length));
}

inline std::string Situation(const char *set, const std::string &bytes)
{
    std::string text =
        std::string(set) + ", case " + std::to_string(UDDI_ParsingCase) + ", bytes " +
        Shown(bytes) + ", delimiter " + Shown(TextDelimiter) + ", escape " +
        Shown(EscapeTextCharacter) + ", quotes " + Shown(OpenQuoteMark) + Shown(CloseQuoteMark) +
        " escape " + Shown(EscapeQuoteCharacter) + ", mode " + std::to_string(bQuotedData) +
        ", trim " + Shown(TrimLeadingChar) + Shown(TrimTrailingChar) + " " +
        std::to_string(TrimLeadingNchars) + std::to_string(TrimTrailingNchars) + ", truncate " +
        std::to_string(TruncateColumnsOpt) + std::to_string(bTruncateUTF8) + ", maximums";
    for (int32_t i = 0; i < SG_ColCount; ++i)
        text += " " + std::to_string(SG_ColLensBase[i]);
    return text;
}

inline std::string Outcome(int verdict, int count, const std::string &row)
{
    return "verdict " + std::to_string(verdict) + ", " + std::to_string(count) + " columns" + row;
}

inline std::string OfLiteral(const LiteralScan &scan)
{
    std::string row;
    for (size_t i = 0; i < static_cast<size_t>(SG_ColCount); ++i) {
        if (i >= scan.columns.size()) {
            row += " NULL";
            continue;
        }
        const LiteralScan::Column &c = scan.columns[i];
        // The offset of an empty column may lie behind the record.
        row += c.null         ? " NULL"
               : c.length > 0 ? " =" + scan.record.substr(c.offset, c.length)
                              : " =";
        row += "(" + std::to_string(c.received) + ")";
    }
    if (scan.stopped)
        row += " in " + scan.record;
    return Outcome(scan.verdict, scan.count, row);
}

// stopped: what is left in the buffer counts too.
inline std::string OfScanner(const std::string &record, bool stopped)
{
    SetRecord(record);
    const int32_t verdict = ExtractDelimitedText();
    std::string row;
    for (int32_t i = 0; i < SG_ColCount; ++i) {
        row += SG_IndBytes[i] ? " NULL" : " =" + Value(i);
        const int32_t stored = ActualColumnCount - (verdict == 5);
        if (i < stored)
            row += "(" + std::to_string(SG_ColLensOrig[i]) + ")";
    }
    if (stopped)
        row += " in " + std::string(reinterpret_cast<char *>(pmBuffer.Data), pmBuffer.DataLength);
    if (verdict == 0 && !ColumnsLieInTheRow())
        row += " and columns outside of the row";
    const auto *raw = reinterpret_cast<const char *>(pmBufferOrig.Data);
    if (std::string_view(raw, pmBufferOrig.DataLength) != record)
        row += " and the raw record is lost";
    return Outcome(verdict, ActualColumnCount, row);
}

#endif
