// tests/convert/dates_test.cpp - date formats, the values they read and write, and every refusal.

#include <gtest/gtest.h>
#include <string>

#include "convert/dates.h"

using namespace std::string_literals;

namespace {

// The new form of a value, or the code that refuses format or value.
std::string Convert(const std::string &input, const std::string &output, const std::string &value)
{
    DateFormat in, out;
    int32_t error = 0;
    if (PX_EncodeFormatStrings(input.c_str(), output.c_str(), &in, &out, &error) != PXSTC_Success)
        return "format " + std::to_string(error) + " at " +
               std::to_string(in.stopped_at + out.stopped_at);
    // The value without a zero behind it, the area as large as it is promised: a sanitizer sees beyond.
    const std::vector<char> exact(value.begin(), value.end());
    std::vector<char> area(kMaxDateOutput);
    uint32_t length = 0;
    if (PX_ConvertDateTime(&in, &out, {exact.data(), exact.size()}, area.data(), &length, &error) !=
        PXSTC_Success)
        return std::to_string(error);
    return {area.data(), length};
}

}  // namespace

TEST(Dates, ValuesAreRewrittenOrRefusedWithTheirCode)
{
    // clang-format off
    static const struct {
        const char *about, *input, *output, *value;
        std::string result;
    } kCases[] = {
        {"numbers",              "MM/DD/YYYY",       "YYYY-MM-DD",         "12/31/2024",           "2024-12-31"         },
        {"few digits",           "MM/DD/YYYY",       "YYYY-MM-DD",         "1/2/2024",             "2024-01-02"         },
        {"lower case, other names", "y4.m4.e4",      "e3, m3 y4",          "2024.FEBRUARY.friday", "Fri, Feb 2024"      },
        {"names in either form", "MMM EEEE YYYY DD", "MMMM DD",            "may Thu 2024 30",      "May 30"             },
        {"all separators",       "DD/MM,YY'HH:MI.SS-EEE", "HH'SS,YY",      "03/02,24'11:12.13-SAT", "11'13,24"          },
        {"D is a point, B a blank", "DDBMMDYYYY",    "YYYYDM4",            "3   2.2024",           "2024.February"     },
        {"months before minutes", "DDMMMIHH",        "MMMMIHH",            "05021013",             "Feb1013"            },
        {"midnight",             "HH:MI T",          "HH:MI",              "12:05 AM",             "00:05"              },
        {"noon",                 "HH:MIT",           "HH:MI",              "12:05pm",              "12:05"              },
        {"T before HH",          "T HH",             "HH T",               "PM 1",                 "01 PM"              },
        {"24 hours to 12",       "HH",               "HHBT",               "00",                   "12 AM"              },
        {"PM alone",             "T",                "HH:MI T",            "PM",                   "12:00 PM"           },
        {"two-digit years",      "YY",               "YYYY",               "68",                   "2068"               },
        {"two-digit years",      "YY",               "YYYY",               "69",                   "1969"               },
        {"year 0",               "YYYY-MM-DD",       "EEE YY",             "0000-02-29",           "Tue 00"             },
        {"last century",         "YYYY-MM-DD",       "EEEE",               "1899-12-31",           "Sunday"             },
        {"what is not said",     "HH",               "YYYY-MM-DD HH:MI:SS.S(2)Z", "07",            "1900-01-01 07:00:00.00+00:00"},
        {"zone",                 "HH Z",             "Z",                  "7 -05:30",             "-05:30"             },
        {"leap seconds",         "SS",               "SS",                 "61",                   "61"                 },
        {"fraction",             "SS.S(6)",          "SSDS(3)",            "07.1239",              "07.123"             },
        {"fraction, padded",     "SSDS(2)",          "SS.S(6)",            "07.5",                 "07.500000"          },
        {"fraction dropped",     "SS.S(1)",          "SS.S(0)",            "07.5",                 "07"                 },
        {"fraction of 0",        "SS.S(0)",          "SS",                 "07.5",                 "12"                 },
        {"blanks behind",        "YYYY",             "YY",                 "2024  ",               "24"                 },
        {"the longest output",   "MM",               "EEEEMMMMYYYYDDHHMISS.S(6)TZ",   "09",      "SaturdaySeptember190001120000.000000AM+00:00"},
        // Refused formats.
        {"two years",            "YYYY YY",          "DD",                 "",                     "format 1 at 6"      },
        {"two months",           "MM",               "MMMM M3",            "",                     "format 2 at 6"      },
        {"two weekdays",         "EEEE3",            "DD",                 "",                     "format 11 at 5"     },
        {"two weekdays",         "EEEE/E3",          "DD",                 "",                     "format 3 at 6"      },
        {"two days",             "DD/DD",            "DD",                 "",                     "format 4 at 4"      },
        {"two hours",            "HHHH",             "DD",                 "",                     "format 5 at 3"      },
        {"two minutes",          "MIMI",             "DD",                 "",                     "format 6 at 3"      },
        {"two seconds",          "SS.S(1)SS",        "DD",                 "",                     "format 7 at 8"      },
        {"two T",                "TT",               "DD",                 "",                     "format 9 at 2"      },
        {"two Z",                "ZZ",               "DD",                 "",                     "format 10 at 2"     },
        {"separator",            "YYYY_MM",          "DD",                 "",                     "format 10 at 5"     },
        {"not ASCII",            "YYYY\xC3\xA4",     "DD",                 "",                     "format 10 at 5"     },
        {"letter",               "YYYYQMM",          "DD",                 "",                     "format 11 at 5"     },
        {"a point or a day",     "YYYYDMMDDD",       "DD",                 "",                     "format 27 at 8"     },
        {"7 digits",             "SS.S(7)",          "DD",                 "",                     "format 11 at 3"     },
        {"cut off",              "SS.S(",            "DD",                 "",                     "format 11 at 3"     },
        {"cut off",              "SS.S(3",           "DD",                 "",                     "format 11 at 3"     },
        {"single letters",       "YYYYM",            "DD",                 "",                     "format 11 at 5"     },
        {"empty",                "DD",               "",                   "",                     "format 26 at 0"     },
        // Refused values.
        {"separator",            "DD/MM",            "DD",                 "01-02",                "12"                 },
        {"too short",            "DD/MM/YYYY",       "DD",                 "01/02",                "12"                 },
        {"something behind",     "DD/MM",            "DD",                 "01/02 12:00",          "12"                 },
        {"weekday",              "EEE",              "DD",                 "Mit",                  "13"                 },
        {"month",                "MMM",              "DD",                 "Mai",                  "14"                 },
        {"name cut off",         "MMM",              "DD",                 "Ma",                   "14"                 },
        {"day 0",                "DD.",              "DD",                 "00.",                  "15"                 },
        {"day 32",               "DD.",              "DD",                 "32.",                  "15"                 },
        {"no number",            "DD.",              "DD",                 "+1.",                  "15"                 },
        {"hour 24",              "HH",               "DD",                 "24",                   "16"                 },
        {"hour 13 of 12",        "HH T",             "DD",                 "13 PM",                "17"                 },
        {"minute 60",            "MI",               "DD",                 "60",                   "18"                 },
        {"month 13",             "MM",               "DD",                 "13",                   "19"                 },
        {"neither AM nor PM",    "HH T",             "DD",                 "11 XM",                "20"                 },
        {"second 62",            "SS",               "DD",                 "62",                   "21"                 },
        {"no year",              "YYYY-",            "DD",                 "-",                    "22"                 },
        {"no short year",        "YY-",              "DD",                 "x-",                   "23"                 },
        {"zone without colon",   "Z",                "DD",                 "+0100",                "24"                 },
        {"zone of 24 hours",     "Z",                "DD",                 "+24:00",               "24"                 },
        {"empty value",          "DD",               "DD",                 "",                     "26"                 },
        {"5 of 6 digits",        "YYMMDD",           "DD",                 "24123",                "27"                 },
        {"5 of 6 digits, then a time", "YYMMDD HH",  "DD",                 "24123 11",             "27"                 },
        {"no blank between numbers",   "DD MM",      "DD",                 "112",                  "27"                 },
        {"31 April",             "DD/MM/YYYY",       "DD",                 "31/04/2024",           "28"                 },
        {"no leap year",         "DD/MM/YYYY",       "DD",                 "29/02/1900",           "28"                 },
        {"29 February of no year", "DD/MM",          "MM/DD",              "29/02",                "02/29"              },
        {"30 February of no year", "DD/MM",          "MM/DD",              "30/02",                "28"                 },
        {"weekday and date",     "EEEE DD/MM/YYYY",  "DD",                 "Sunday 01/01/2024",    "29"                 },
    };
    // clang-format on
    for (const auto &c : kCases)
        EXPECT_EQ(Convert(c.input, c.output, c.value), c.result) << c.about << ": " << c.value;
    EXPECT_EQ(Convert("DD" + std::string(250, ' '), "DD", "1"), "format 11 at 128");
    EXPECT_EQ(Convert("DD ", "DD", "1" + std::string(254, ' ')), "01");
    EXPECT_EQ(Convert("DD ", "DD", "1" + std::string(255, ' ')), "12");
    EXPECT_EQ(Convert("DD " + std::string(124, '/'), "DD", "1").size(), 2U);
}

TEST(Dates, Utf16ValuesKeepTheirOrderAndTheirLimits)
{
    DateFormat in, out;
    int32_t error = 0;
    ASSERT_EQ(PX_EncodeFormatStrings("DD-MMM", "MM", &in, &out, &error), PXSTC_Success);
    // clang-format off
    static const struct {
        const char *about;
        std::string value;
        uint32_t order;
        std::string result;
    } kCases[] = {
        {"low byte first",   "1\0-\0F\0e\0b\0"s, 2, "0\0" "2\0"s},
        {"high byte first",  "\0001\0-\0F\0e\0b"s, 1, "\0000\0002"s},
        {"no digit, though its low byte is one", "1\1-\0F\0e\0b\0"s, 2, "15"},
        {"half a character", "1\0-\0F\0e\0b"s,   2, "12"},
        {"too long",         std::string(256, '\0'), 2, "12"},
        {"empty",            "",                 2, "26"},
    };
    // clang-format on
    for (const auto &c : kCases) {
        char area[2 * kMaxDateOutput];
        uint32_t length = 0;
        const PxStatus status =
            PX_ConvertDateTime_utf16(&in, &out, c.value, c.order, area, &length, &error);
        EXPECT_EQ(status == PXSTC_Success ? std::string(area, length) : std::to_string(error),
                  c.result)
            << c.about;
    }
}
