// host/rejects/sort_records.cpp
//
// The file is walked record by record. At each place, in this order: a record of the list, which may run
// over several lines; a line of remarks; a line that somebody wrote or changed.

#include "host/rejects/sort_records.h"

#include <algorithm>
#include <unordered_map>

namespace fenwire {

namespace {

// As long as a path in a remark can be; a line end in it makes it several lines.
constexpr size_t kLongestRemark = 4096 + 256;

std::string_view FirstLine(std::string_view text) { return text.substr(0, text.find('\n')); }

// Bytes of a record's raw text and its line end at the front; 0: something else stands there.
size_t LengthOf(std::string_view raw, std::string_view text)
{
    if (!text.starts_with(raw))
        return 0;
    const std::string_view behind = text.substr(raw.size());
    const size_t end = behind.starts_with("\r\n") ? 2 : behind.starts_with('\n') ? 1 : 0;
    return end > 0 || behind.empty() ? raw.size() + end : 0;
}

class RemarkReader {
public:
    explicit RemarkReader(const std::string *prefix) : prefix_(prefix) {}

    // Lines of remarks at the front of the text that belong together; their bytes, 0: none.
    size_t Length(std::string_view text, uint64_t &lines) const
    {
        if (prefix_ == nullptr || !Is(text, " WARNING Below record: "))
            return 0;
        size_t length = FirstLine(text).size() + 1;
        ++lines;
        if (length >= text.size() || !Is(text.substr(length), " File path: '"))
            return std::min(length, text.size());
        // The record number ends them; a path may hold line ends.
        for (size_t at = length; at < text.size() && at - length < kLongestRemark;) {
            const size_t next = at + FirstLine(text.substr(at)).size() + 1;
            if (Is(text.substr(at), "Record number: ")) {
                lines += 2;
                return std::min(next, text.size());
            }
            at = next;
        }
        return std::min(length, text.size());
    }

private:
    // The prefix, the instance in brackets, the words.
    bool Is(std::string_view text, std::string_view words) const
    {
        if (!text.starts_with(*prefix_))
            return false;
        text.remove_prefix(prefix_->size());
        const size_t close = text.substr(0, 16).find(']');
        if (!text.starts_with('[') || close == std::string_view::npos || close < 2 ||
            text.substr(1, close - 1).find_first_not_of("0123456789") != std::string_view::npos)
            return false;
        return text.substr(close + 1).starts_with(words);
    }
    const std::string *prefix_;
};

class Sorter {
public:
    Sorter(const std::vector<KnownRecord> &known, SortedRecords &sorted) : sorted_(sorted)
    {
        for (const KnownRecord &record : known) {
            Waiting &waiting = known_[FirstLine(record.raw)];
            auto same = std::ranges::find(waiting, std::string_view(record.raw), &Group::raw);
            if (same == waiting.end())
                same = waiting.insert(same, Group{record.raw, 0, 0});
            ++(record.left_out ? same->left_out : same->loaded);
            sorted_.alike = sorted_.alike || (same->left_out > 0 && same->loaded > 0);
        }
        // A record may begin as a longer one does.
        for (auto &[line, waiting] : known_)
            std::ranges::sort(waiting, std::ranges::greater(),
                              [](const Group &group) { return group.raw.size(); });
    }

    // Takes a record of the list from the front; its bytes, 0: none stands there.
    size_t TakeKnown(std::string_view text)
    {
        // The raw text's first line is the file's, but for the carriage return before its end.
        const std::string_view line = FirstLine(text);
        const std::string_view bare = line.ends_with('\r') ? line.substr(0, line.size() - 1) : line;
        for (const std::string_view key : {line, bare}) {
            const auto found = known_.find(key);
            if (found == known_.end())
                continue;
            for (Group &group : found->second) {
                const size_t length = LengthOf(group.raw, text);
                if (length == 0 || group.left_out + group.loaded == 0)
                    continue;
                Settle(group, text.substr(0, length));
                return length;
            }
        }
        return 0;
    }

    void CountMissing()
    {
        for (const auto &[line, waiting] : known_) {
            for (const Group &group : waiting) {
                sorted_.missing += group.left_out;
                sorted_.missing_loaded += group.loaded;
            }
        }
    }

private:
    struct Group {
        std::string_view raw;
        uint64_t left_out, loaded;  // not met yet
    };
    using Waiting = std::vector<Group>;

    void Settle(Group &group, std::string_view bytes)
    {
        if (group.loaded > 0) {
            --group.loaded;
            ++sorted_.loaded;
            return;
        }
        --group.left_out;
        ++sorted_.unchanged;
        sorted_.load += bytes;
    }

    SortedRecords &sorted_;
    std::unordered_map<std::string_view, Waiting> known_;  // by first line
};

}  // namespace

SortedRecords SortRecords(std::string_view file, const std::vector<KnownRecord> &known,
                          const std::string *prefix)
{
    SortedRecords sorted;
    Sorter sorter(known, sorted);
    const RemarkReader remarks(prefix);
    while (!file.empty()) {
        size_t length = sorter.TakeKnown(file);
        if (length == 0)
            length = remarks.Length(file, sorted.remarks);
        if (length == 0) {
            length = std::min(FirstLine(file).size() + 1, file.size());
            sorted.load += file.substr(0, length);
            ++sorted.repaired;
        }
        file.remove_prefix(length);
    }
    sorter.CountMissing();
    return sorted;
}

}  // namespace fenwire
