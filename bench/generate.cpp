// bench/generate.cpp - writes the files that the benchmarks load.
//
//     bench_generate KIND MEGABYTES >FILE
//
// The same bytes each time: a fixed seed, and rows made up to the size that is asked for.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

class Random {
public:
    uint32_t Next()
    {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 7;
        state_ ^= state_ << 17;
        return static_cast<uint32_t>(state_ >> 32);
    }
    uint32_t Below(uint32_t limit) { return Next() % limit; }

private:
    uint64_t state_ = 0x9E3779B97F4A7C15;
};

Random dice;

void Digits(std::string &to, uint32_t most) { to += std::to_string(dice.Below(most)); }

void Money(std::string &to, uint32_t most)
{
    char text[16];
    snprintf(text, sizeof text, "%u.%02u", dice.Below(most), dice.Below(100));
    to += text;
}

void Date(std::string &to)
{
    char text[16];
    snprintf(text, sizeof text, "%04u-%02u-%02u", 1992 + dice.Below(7), 1 + dice.Below(12),
             1 + dice.Below(28));
    to += text;
}

void Words(std::string &to, uint32_t bytes)
{
    static constexpr const char *kWords[] = {"furiously", "regular", "deposits", "sleep",
                                             "above",     "the",     "ironic",   "packages",
                                             "haggle",    "quickly"};
    const size_t end = to.size() + bytes;
    while (to.size() < end) {
        to += kWords[dice.Below(10)];
        to += ' ';
    }
    to.resize(end);
}

// 16 columns between bars, about 120 bytes a row.
void Lineitem(std::string &row)
{
    static constexpr const char *kModes[] = {"TRUCK", "MAIL", "SHIP", "AIR", "RAIL", "FOB"};
    static constexpr const char *kHow[] = {"DELIVER IN PERSON", "COLLECT COD", "NONE",
                                           "TAKE BACK RETURN"};
    Digits(row, 6000000), row += '|';
    Digits(row, 200000), row += '|';
    Digits(row, 10000), row += '|';
    Digits(row, 7), row += '|';
    Digits(row, 50), row += '|';
    Money(row, 100000), row += '|';
    Money(row, 1), row += '|';
    Money(row, 1), row += '|';
    row += "ANR"[dice.Below(3)], row += '|';
    row += "OF"[dice.Below(2)], row += '|';
    Date(row), row += '|';
    Date(row), row += '|';
    Date(row), row += '|';
    row += kHow[dice.Below(4)], row += '|';
    row += kModes[dice.Below(6)], row += '|';
    Words(row, 10 + dice.Below(33));
    row += '\n';
}

// 12 columns between commas, two fields in five in quotes, with commas, doubled quotes and line ends.
void Quoted(std::string &row)
{
    for (int i = 0; i < 12; ++i) {
        row += i > 0 ? "," : "";
        if (dice.Below(5) >= 2) {
            Words(row, 2 + dice.Below(14));
            continue;
        }
        row += '"';
        Words(row, 4 + dice.Below(12));
        switch (dice.Below(8)) {
        case 0:
            row += "\"\"";
            break;
        case 1:
            row += "\n";
            break;
        default:
            row += ", ";
        }
        Words(row, 2 + dice.Below(8));
        row += '"';
    }
    row += '\n';
}

void TwoShort(std::string &row)
{
    Digits(row, 1000), row += ',';
    Digits(row, 100), row += '\n';
}

void Narrow(std::string &row)
{
    for (int i = 0; i < 200; ++i) {
        row += i > 0 ? "|" : "";
        Digits(row, 10000);
    }
    row += '\n';
}

void Numbers(std::string &row)
{
    for (int i = 0; i < 19; ++i) {
        row += i > 0 ? "," : "";
        Digits(row, 1000000);
    }
    row += '\n';
}

void Utf8(std::string &row)
{
    static constexpr const char *kNames[] = {"Zürich", "Łódź",      "東京",
                                             "Αθήνα",  "Reykjavík", "plain"};
    for (int i = 0; i < 10; ++i) {
        row += i > 0 ? "," : "";
        row += kNames[dice.Below(6)];
        row += ' ';
        Words(row, dice.Below(12));
    }
    row += '\n';
}

void Long(std::string &row)
{
    for (int i = 0; i < 4; ++i) {
        row += i > 0 ? "|" : "";
        Words(row, 500 + dice.Below(3500));
    }
    row += '\n';
}

// ---- Binary records, of the columns of Lineitem ------------------------------------------------

template <class Number>
void Bytes(std::string &row, Number value)
{
    row.append(reinterpret_cast<const char *>(&value), sizeof value);
}

void Varchar(std::string &row, uint32_t bytes)
{
    Bytes(row, static_cast<uint16_t>(bytes));
    Words(row, bytes);
}

void Numbers13(std::string &row)  // 62 bytes
{
    for (int i = 0; i < 4; ++i)
        Bytes(row, dice.Next());
    for (int i = 0; i < 4; ++i)
        Bytes(row, uint64_t{dice.Next()});
    row += "ANR"[dice.Below(3)];
    row += "OF"[dice.Below(2)];
    for (int i = 0; i < 3; ++i)
        Bytes(row, 1000000 + dice.Below(300000));
}

void Fixed(std::string &row)
{
    Numbers13(row);
    Words(row, 25), Words(row, 10), Words(row, 33);
}

void Mixed(std::string &row)
{
    Numbers13(row);
    Varchar(row, 4 + dice.Below(22));
    Varchar(row, 3 + dice.Below(8));
    Varchar(row, 20 + dice.Below(41));
}

void Varchars(std::string &row)
{
    for (int i = 0; i < 15; ++i)
        Varchar(row, 1 + dice.Below(9));
    Varchar(row, 10 + dice.Below(33));
}

// The record around the row.
template <void (*Row)(std::string &)>
void Framed(std::string &to)
{
    const size_t start = to.size();
    Bytes(to, uint16_t{0});
    Row(to);
    const auto length = static_cast<uint16_t>(to.size() - start - sizeof(uint16_t));
    memcpy(to.data() + start, &length, sizeof length);
}

template <void (*Row)(std::string &)>
void Formatted(std::string &to)
{
    Framed<Row>(to);
    to += '\n';
}

constexpr struct {
    const char *name;
    void (*row)(std::string &);
} kKinds[] = {
    {"lineitem", Lineitem},
    {"quoted", Quoted},
    {"short", TwoShort},
    {"narrow", Narrow},
    {"numbers", Numbers},
    {"utf8", Utf8},
    {"long", Long},
    {"formatted-fixed", Formatted<Fixed>},
    {"formatted-mixed", Formatted<Mixed>},
    {"formatted-varchars", Formatted<Varchars>},
    {"binary-fixed", Framed<Fixed>},
    {"binary-mixed", Framed<Mixed>},
    {"binary-varchars", Framed<Varchars>},
    {"unformatted-fixed", Fixed},
    {"unformatted-mixed", Mixed},
};

}  // namespace

int main(int argc, char **argv)
{
    void (*make)(std::string &) = nullptr;
    for (const auto &kind : kKinds) {
        if (argc == 3 && strcmp(argv[1], kind.name) == 0)
            make = kind.row;
    }
    if (make == nullptr) {
        fputs("usage: bench_generate KIND MEGABYTES\nkinds:", stderr);
        for (const auto &kind : kKinds)
            fprintf(stderr, " %s", kind.name);
        fputs("\n", stderr);
        return 2;
    }
    const uint64_t wanted = strtoull(argv[2], nullptr, 10) * 1000000;
    std::string block;
    for (uint64_t written = 0; written < wanted; written += block.size()) {
        block.clear();
        while (block.size() < 1000000)
            make(block);
        if (fwrite(block.data(), 1, block.size(), stdout) != block.size()) {
            perror("bench_generate");
            return 1;
        }
    }
    return fflush(stdout) == 0 ? 0 : 1;
}
