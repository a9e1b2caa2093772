// delimited/parsing_cases.h - from the seven digits of UDDI_ParsingCase to a scanner.
//
//   d1 character set   1 single byte, 2 multi-byte       d5 close quote    0 none, 1 one byte, 2 more
//   d2 delimiter       1 one byte, 2 otherwise           d6 quote escape   0 none, 1 one byte, 2 more
//   d3 delimiter esc.  0 none, 1 one byte, 2 more        d7 trim weight    0 upward
//   d4 open quote      0 none, 1 one byte, 2 more
//
// To add a scanner, add a row to kScanners and the numbers that reach it to kCaseSets.

#ifndef FENWIRE_DELIMITED_PARSING_CASES_H
#define FENWIRE_DELIMITED_PARSING_CASES_H

#include <cstddef>
#include <cstdint>
#include <string_view>

// How a scanner goes through the record.
enum class Walk : uint8_t {
    Columns,     // from delimiter to delimiter, until the schema has its columns
    Bytes,       // every byte is a character; only bytes that may begin a mark are looked at
    Characters,  // asks CharLengthFn at every character
    Lazily,      // as Bytes, where that finds the same marks; characters counted when it matters
};
enum class Mark : uint8_t { None, Byte, String };

// The tests that a scanner has compiled into it. None: no code for that setting at all.
struct ScanPolicy {
    Walk walk;
    Mark delimiter;
    Mark escape;  // of the delimiter, in unquoted data
    Mark quotes;  // open quote, close quote and quote escape
    Mark trim;
};

inline constexpr int kGeneralScanner = 0;
inline constexpr int32_t kGeneralCase = 2222222;  // what UseGeneralUDDIcase makes of every case

// clang-format off
inline constexpr ScanPolicy kScanners[] = {
    /*general*/ {Walk::Characters, Mark::String, Mark::String, Mark::String, Mark::String},
    /*  1 */    {Walk::Columns,    Mark::Byte,   Mark::None,   Mark::None,   Mark::None  },
    /*  2 */    {Walk::Columns,    Mark::String, Mark::None,   Mark::None,   Mark::None  },
    /*  3 */    {Walk::Bytes,      Mark::Byte,   Mark::None,   Mark::None,   Mark::Byte  },
    /*  4 */    {Walk::Bytes,      Mark::Byte,   Mark::Byte,   Mark::None,   Mark::Byte  },
    /*  5 */    {Walk::Bytes,      Mark::Byte,   Mark::Byte,   Mark::None,   Mark::None  },
    /*  6 */    {Walk::Bytes,      Mark::String, Mark::None,   Mark::None,   Mark::String},
    /*  7 */    {Walk::Bytes,      Mark::String, Mark::String, Mark::None,   Mark::String},
    /*  8 */    {Walk::Bytes,      Mark::String, Mark::String, Mark::None,   Mark::None  },
    /*  9 */    {Walk::Characters, Mark::String, Mark::None,   Mark::None,   Mark::None  },
    /* 10 */    {Walk::Characters, Mark::String, Mark::None,   Mark::None,   Mark::String},
    /* 11 */    {Walk::Characters, Mark::String, Mark::String, Mark::None,   Mark::None  },
    /* 12 */    {Walk::Characters, Mark::String, Mark::String, Mark::None,   Mark::String},
    /* 13 */    {Walk::Bytes,      Mark::Byte,   Mark::None,   Mark::Byte,   Mark::None  },
    /* 14 */    {Walk::Bytes,      Mark::Byte,   Mark::None,   Mark::Byte,   Mark::Byte  },
    /* 15 */    {Walk::Bytes,      Mark::Byte,   Mark::Byte,   Mark::Byte,   Mark::None  },
    /* 16 */    {Walk::Bytes,      Mark::Byte,   Mark::Byte,   Mark::Byte,   Mark::Byte  },
    /* 17 */    {Walk::Bytes,      Mark::String, Mark::None,   Mark::String, Mark::None  },
    /* 18 */    {Walk::Bytes,      Mark::String, Mark::None,   Mark::String, Mark::String},
    /* 19 */    {Walk::Bytes,      Mark::String, Mark::String, Mark::String, Mark::None  },
    /* 20 */    {Walk::Bytes,      Mark::String, Mark::String, Mark::String, Mark::String},
    /* 21 */    {Walk::Characters, Mark::String, Mark::None,   Mark::String, Mark::None  },
    /* 22 */    {Walk::Characters, Mark::String, Mark::String, Mark::String, Mark::None  },
};

// Digits d4 d5 d6 as sets.
inline constexpr std::string_view kUnquoted   = "000";
inline constexpr std::string_view kByteQuotes = "001 110 111";
inline constexpr std::string_view kWideQuotes = "002 112 120 121 122 210 211 212 220 221 222";
inline constexpr std::string_view kAnyQuotes  = "110 111 112 120 121 122 210 211 212 220 221 222";

struct CaseSet {
    int scanner;
    std::string_view d1, d2, d3, d456, d7;  // the digits that may stand there
};

inline constexpr CaseSet kCaseSets[] = {
    { 1, "1", "1",  "0",  kUnquoted,   "0" }, { 2, "1", "2",  "0",  kUnquoted,   "0" },
    { 3, "1", "1",  "0",  kUnquoted,   "1" }, { 4, "1", "1",  "1",  kUnquoted,   "1" },
    { 5, "1", "1",  "1",  kUnquoted,   "0" },
    { 6, "1", "1",  "0",  kUnquoted,   "2" }, { 6, "1", "2",  "0",  kUnquoted,   "12"},
    { 7, "1", "1",  "12", kUnquoted,   "2" }, { 7, "1", "2",  "12", kUnquoted,   "12"},
    { 8, "1", "2",  "12", kUnquoted,   "0" },
    { 9, "2", "12", "0",  kUnquoted,   "0" }, {10, "2", "12", "0",  kUnquoted,   "12"},
    {11, "2", "12", "12", kUnquoted,   "0" }, {12, "2", "12", "12", kUnquoted,   "12"},
    {13, "1", "1",  "0",  kByteQuotes, "0" }, {14, "1", "1",  "0",  kByteQuotes, "1" },
    {15, "1", "1",  "1",  kByteQuotes, "0" }, {16, "1", "1",  "1",  kByteQuotes, "1" },
    {17, "1", "12", "0",  kWideQuotes, "0" }, {18, "1", "12", "0",  kWideQuotes, "12"},
    {19, "1", "12", "12", kWideQuotes, "0" }, {20, "1", "12", "12", kWideQuotes, "12"},
    {21, "2", "12", "0",  kAnyQuotes,  "0" }, {22, "2", "12", "12", kAnyQuotes,  "0" },
};
// clang-format on

constexpr bool Matches(const CaseSet &set, int parsing_case)
{
    if (parsing_case < 1000000 || parsing_case > 9999999)
        return false;
    char digits[7] = {};
    for (int i = 6; i >= 0; --i, parsing_case /= 10)
        digits[i] = static_cast<char>('0' + parsing_case % 10);
    return set.d1.find(digits[0]) != set.d1.npos && set.d2.find(digits[1]) != set.d2.npos &&
           set.d3.find(digits[2]) != set.d3.npos && set.d7.find(digits[6]) != set.d7.npos &&
           set.d456.find(std::string_view(digits + 3, 3)) != set.d456.npos;
}

// Every number without a specialised scanner, kGeneralCase among them, runs the general one.
constexpr int ScannerFor(int parsing_case)
{
    for (const CaseSet &set : kCaseSets) {
        if (Matches(set, parsing_case))
            return set.scanner;
    }
    return kGeneralScanner;
}

static_assert(ScannerFor(1100000) == 1 && ScannerFor(1101100) == 13 && ScannerFor(1211120) == 19);
static_assert(ScannerFor(1100012) == kGeneralScanner && ScannerFor(1120001) == kGeneralScanner);
static_assert(ScannerFor(2101101) == kGeneralScanner && ScannerFor(1201110) == kGeneralScanner);
static_assert(ScannerFor(kGeneralCase) == kGeneralScanner);

constexpr size_t CountSpecialisedCases()
{
    size_t count = 0;
    for (const CaseSet &set : kCaseSets)
        count += set.d1.size() * set.d2.size() * set.d3.size() * ((set.d456.size() + 1) / 4) *
                 set.d7.size();
    return count;
}
static_assert(CountSpecialisedCases() == 316);

#endif
