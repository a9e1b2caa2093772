// host/values/text_columns.cpp

#include "host/values/text_columns.h"

#include <algorithm>
#include <fmt/format.h>
#include <stdexcept>

#include "host/job/column_syntax.h"
#include "host/job/column_types.h"
#include "host/job/words.h"
#include "host/values/values.h"

namespace fenwire {

namespace {

enum class Fit : uint8_t { Any, DelimitedIn, DelimitedOut, Text };

// What the job's files can hold. Databases only on both sides: anything.
Fit FitOf(const Job &job)
{
    const Step &step = job.has_source() ? job.consumer : job.producer;
    const std::string format = step.Text("Format");
    if (job.has_source() && job.has_target())
        return Fit::Any;
    if (SameWord(format, "Text"))
        return Fit::Text;
    if (!SameWord(format, "Delimited"))
        return Fit::Any;
    return job.has_source() ? Fit::DelimitedOut : Fit::DelimitedIn;
}

bool Fits(Fit fit, const Column &column)
{
    switch (fit) {
    case Fit::Any:
        return true;
    case Fit::DelimitedIn:
        return FitsDelimited(column.type);
    case Fit::DelimitedOut:
        return FitsDelimitedOutput(column.type);
    case Fit::Text:
        break;
    }
    return FitsText(column.type);
}

// Bytes of the longest text of a value.
uint32_t TextWidth(const ValueType &type)
{
    const uint32_t fraction = type.precision > 0 ? type.precision + 1u : 0;
    const uint32_t moment = (type.date ? 10 : 0) + (type.date && type.time ? 1 : 0) +
                            (type.time ? 8 + fraction : 0) + (type.zone ? 6 : 0);
    switch (type.kind) {
    case TypeKind::Integer:
    case TypeKind::Boolean:
        return type.bytes == 1 ? 4 : type.bytes == 2 ? 6 : type.bytes == 4 ? 11 : 20;
    case TypeKind::Float:
        return 24;
    case TypeKind::Decimal:
        return type.precision + 3u;
    case TypeKind::Number:
        return type.precision > 0 ? type.precision + 3u : 48;
    case TypeKind::Moment:
        return moment;
    case TypeKind::Period:
        return 2 * moment + 8;
    case TypeKind::Interval:
        return 24;
    case TypeKind::Graphic:
        return type.bytes / 2 * 3;
    case TypeKind::Text:
    case TypeKind::Bytes:
        break;
    }
    return type.bytes;
}

}  // namespace

std::vector<Column> ColumnsForFormat(const Job &job, std::vector<Column> columns)
{
    const Fit fit = FitOf(job);
    const uint32_t unit = IsUtf16(job.charset) ? 2 : 1;
    for (Column &column : columns) {
        const ValueType type = ValueTypeOf(column);
        if (Fits(fit, column) || (type.kind == TypeKind::Bytes && fit != Fit::DelimitedIn))
            continue;
        const uint32_t bytes = std::min(unit * TextWidth(type), kMaxColumnBytes);
        std::vector<Complaint> none;
        ParseColumnType(fmt::format("{}({})", fit == Fit::Text ? "CHAR" : "VARCHAR", bytes), {},
                        column, none);
        column.precision = column.scale = 0;
    }
    return columns;
}

std::optional<Column> ColumnIfWords(const std::string &name, const std::string &type)
{
    Column column;
    std::vector<Complaint> none;
    column.name = name;
    if (!ParseColumnType(type, {}, column, none))
        return std::nullopt;
    return column;
}

Column ColumnOfWords(const std::string &name, const std::string &type)
{
    std::optional<Column> column = ColumnIfWords(name, type);
    if (!column)
        throw std::logic_error(fmt::format("{} is no type", type));
    return *column;
}

}  // namespace fenwire
