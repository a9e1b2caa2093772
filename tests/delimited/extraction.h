// tests/delimited/extraction.h - a schema, settings and one record, run through the whole extraction.

#ifndef FENWIRE_TESTS_DELIMITED_EXTRACTION_H
#define FENWIRE_TESTS_DELIMITED_EXTRACTION_H

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "attributes/attributes_state.h"
#include "delimited/delimited.h"
#include "delimited/delimited_state.h"
#include "pm/pm_state.h"
#include "schema/schema_state.h"
#include "tests/support/set_mark.h"

// Columns "c1", "c2" ... with their maximums; 0: none.
inline void SetColumns(const std::vector<uint32_t> &maximums)
{
    static std::vector<uint32_t> lengths, base, original, offsets, types, var;
    static std::vector<uint8_t> indicators;
    static std::vector<std::string> texts;
    static std::vector<const char *> names;

    const size_t count = maximums.size();
    base = maximums;
    lengths.assign(count, 12345);  // what a former record left
    original = offsets = lengths;
    indicators.assign(count, 0);
    types.assign(count, 7);
    var.assign(count, 1);
    texts.clear();
    for (size_t i = 1; i <= count; ++i)
        texts.push_back("c" + std::to_string(i));
    names.clear();
    for (const std::string &text : texts)
        names.push_back(text.c_str());
    SG_ColCount = static_cast<int32_t>(count);
    SG_ColLens = lengths.data();
    SG_ColLensBase = base.data();
    SG_ColLensOrig = original.data();
    SG_ColOffs = offsets.data();
    SG_ColTypes = types.data();
    SG_IsVarType = var.data();
    SG_IndBytes = indicators.data();
    SG_ColNames = names.data();
    SG_VARtypesFlag = 1;
}

// Of a set whose second bytes may be marks.
inline int32_t ShiftLength(const uint8_t *p, uint32_t *bytes)
{
    if (*p < 0x81)
        return 0;
    badmbcs = p[1] < 0x40;
    *bytes = badmbcs != 0 ? 1 : 2;
    return badmbcs == 0;
}

// The number that the settings lead to.
inline int32_t CaseOfSettings()
{
    const auto scale = [](const SpecialCharValue &mark) { return std::min(mark.length, 2); };
    const bool quotes = bQuotedData != 0;
    const bool counts = TrimLeadingNchars != 0 || TrimTrailingNchars != 0;
    const auto trims = [](int32_t low, int32_t high) {
        const auto in = [&](int32_t length) { return length >= low && length <= high; };
        return in(TrimLeadingChar.length) || in(TrimTrailingChar.length);
    };
    return (UsingSingleByteCharSet ? 1000000 : 2000000) +
           (TextDelimiter.length == 1 ? 100000 : 200000) + scale(EscapeTextCharacter) * 10000 +
           (quotes ? scale(OpenQuoteMark) * 1000 + scale(CloseQuoteMark) * 100 +
                         scale(EscapeQuoteCharacter) * 10
                   : 0) +
           trims(1, 1) + 2 * trims(2, 100) + (counts ? UsingSingleByteCharSet ? 1 : 2 : 0);
}

// Puts a record where the reader would, with its zero and slack behind it.
inline void SetRecord(const std::string &record)
{
    static std::vector<uint8_t> buffer;  // not a byte longer, so that a sanitizer sees its end
    buffer = std::vector<uint8_t>(record.size() + 64, 0xA5);
    memcpy(buffer.data(), record.data(), record.size());
    buffer[record.size()] = 0;
    pmBuffer.Data = buffer.data();
    pmBuffer.DataLength = static_cast<uint32_t>(record.size());
    ++pmBuffer.RecCount;
}

inline std::string Value(int32_t column)
{
    return std::string(reinterpret_cast<const char *>(pmBuffer.Data) + SG_ColOffs[column],
                       SG_ColLens[column]);
}

inline bool ColumnsLieInTheRow()
{
    const auto lies_in = [](int32_t i) {
        return uint64_t{SG_ColOffs[i]} + SG_ColLens[i] <= pmBuffer.DataLength;
    };
    for (int32_t i = 0; i < SG_ColCount; ++i) {
        if (!lies_in(i))
            return false;
    }
    return true;
}

// "a,NULL,c ->2": all columns of the schema and the verdict.
inline std::string Extract(const std::string &record)
{
    SetRecord(record);
    const int32_t verdict = ExtractDelimitedText();
    std::string text;
    for (int32_t i = 0; i < SG_ColCount; ++i) {
        text += i > 0 ? "," : "";
        text += SG_IndBytes[i] ? "NULL" : Value(i);
    }
    return text + " ->" + std::to_string(verdict);
}

inline void Validate()
{
    UDDI_ParsingCase = CaseOfSettings();
    bUsingUDDI = ValidateUDDIcase() == 0;
}

#endif
