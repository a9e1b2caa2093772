// host/console/summary.h - how the end of a job is told: to a person, and to a program.

#ifndef FENWIRE_HOST_CONSOLE_SUMMARY_H
#define FENWIRE_HOST_CONSOLE_SUMMARY_H

#include <string>
#include <vector>

#include "host/console/report.h"

namespace fenwire {

enum class Tone : uint8_t { Plain, Good, Caution, Bad };

struct SummaryLine {
    std::string text;  // escaped
    Tone tone = Tone::Plain;
};

// The verdict, on failure its reasons and what to do next, then files, instances, rows, target, log.
// Tables and their names fit the width; sentences and paths stay whole. width 0: no limit.
std::vector<SummaryLine> SummaryLines(const JobReport &report, size_t width);

// The report as one JSON object, without a line end. Bytes that are no UTF-8 are replaced, and only
// ASCII comes out, so that it is safe on a terminal.
std::string ReportJson(const JobReport &report);

}  // namespace fenwire

#endif
