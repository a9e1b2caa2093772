// tests/delimited/creation.h - a row of given values, and the record that it becomes.

#ifndef FENWIRE_TESTS_DELIMITED_CREATION_H
#define FENWIRE_TESTS_DELIMITED_CREATION_H

#include <optional>
#include <string>
#include <vector>

#include "delimited/create.h"
#include "delimited/outgoing_row.h"
#include "tests/delimited/extraction.h"

using Values = std::vector<std::optional<std::string>>;  // none: NULL

// A row as the infrastructure lays it out: indicators, then each value behind the length of it.
class RowOfValues {
public:
    explicit RowOfValues(const Values &values)
        : bytes_(values.size(), 0), indicators_(values.size()), count_(values.size())
    {
        for (size_t i = 0; i < values.size(); ++i) {
            const std::string value = values[i].value_or("");
            indicators_[i] = values[i] ? 0 : 1;
            bytes_.push_back(static_cast<uint8_t>(value.size()));
            bytes_.push_back(static_cast<uint8_t>(value.size() >> 8));
            offsets_.push_back(static_cast<uint32_t>(bytes_.size()));
            lengths_.push_back(static_cast<uint32_t>(value.size()));
            bytes_.insert(bytes_.end(), value.begin(), value.end());
        }
        bytes_.shrink_to_fit();  // so that a sanitizer sees its end
    }

    int32_t Create()
    {
        pmBuffer.Data = bytes_.data();
        pmBuffer.DataLength = static_cast<uint32_t>(bytes_.size());
        return CreateDelimitedText(static_cast<int32_t>(count_), offsets_.data(),
                                   indicators_.data(), lengths_.data());
    }

    OutgoingRow Outgoing() const
    {
        return {bytes_.data(),
                static_cast<uint32_t>(bytes_.size()),
                static_cast<int32_t>(count_),
                offsets_.data(),
                indicators_.data(),
                lengths_.data(),
                ConvertRecs,
                bAppendDelimiter != 0};
    }

private:
    std::vector<uint8_t> bytes_, indicators_;
    std::vector<uint32_t> offsets_, lengths_;
    size_t count_;
};

inline std::string Create(const Values &values)
{
    if (RowOfValues(values).Create() != 0)
        return "?";
    return {reinterpret_cast<const char *>(pmBuffer.Data), pmBuffer.DataLength};
}

#endif
