// host/console/figures.h - numbers, sizes, durations and names as a person reads them.

#ifndef FENWIRE_HOST_CONSOLE_FIGURES_H
#define FENWIRE_HOST_CONSOLE_FIGURES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace fenwire {

std::string Grouped(uint64_t number);                                    // "1,234,567"
std::string Amount(uint64_t number, const char *one, const char *many);  // "1,234 rows"
std::string Brief(uint64_t number);              // "999", "1.2k", "123k", "1.2M"
std::string Size(uint64_t bytes);                // "512 B", "1.5 KiB", "2.0 GiB"
std::string Megabytes(double bytes_per_second);  // "12.3 MB/s", of a million bytes
std::string Duration(double seconds);            // "3.2 s", "4 min 05 s", "2 h 07 min", "3 d 04 h"
std::string Countdown(double seconds);           // the same without tenths
std::string
UtcWords(const std::string &moment);  // of "2026-11-21T20:15:00Z": "2026-11-21 20:15:00 UTC"
std::string Percent(uint64_t part, uint64_t whole);  // "99%" until all of it is there

// amount / seconds, rounded; 0 where no time has passed.
uint64_t PerSecond(double amount, double seconds);

// Columns that UTF-8 text takes on a screen, near enough: 2 for East Asian wide characters and
// pictures, 0 for combining marks, 1 for all else.
size_t Columns(std::string_view text);

// Escaped, and without its middle when it has more than `columns`: "orders...5.tbl".
std::string Shortened(std::string_view name, size_t columns);

// The text without what does not fit into `columns`.
std::string Cut(std::string_view text, size_t columns);

std::string PaddedLeft(std::string_view text, size_t columns);   // blanks before it
std::string PaddedRight(std::string_view text, size_t columns);  // blanks behind it

}  // namespace fenwire

#endif
