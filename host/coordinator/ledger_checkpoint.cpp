// host/coordinator/ledger_checkpoint.cpp - the ledger in a generation, and back.
//
// It lies in a store that others may reach, so what comes back is looked at like any input.

#include <cmath>
#include <stdexcept>

#include "host/checkpoint/byte_coding.h"
#include "host/coordinator/ledger.h"

namespace fenwire {

namespace {

constexpr double kMicroseconds = 1e6;

// One list for both ways.
template <class Way, class File>
void EachCount(Way &way, File &file, const FileReport &before)
{
    way.After(file.name, before.name);
    way.After(file.instance, before.instance);
    way.After(file.finished, before.finished);
    way.After(file.records, before.records);
    way.After(file.loaded, before.loaded);
    way.After(file.refused, before.refused);
    way.After(file.skipped, before.skipped);
    way.After(file.bytes, before.bytes);
    way.After(file.without_excess, before.without_excess);
    way.After(file.padded, before.padded);
    way.After(file.cut, before.cut);
}

void SaveFiles(const std::map<uint32_t, FileReport> &files, ByteWriter &out)
{
    const FileReport none;
    const FileReport *before = &none;
    uint32_t last = 0;
    out(files.size());
    for (const auto &[index, file] : files) {
        out.After(index, last);
        EachCount(out, file, *before);
        out(static_cast<uint64_t>(std::llround(std::max(file.seconds, 0.0) * kMicroseconds)));
        last = index;
        before = &file;
    }
}

std::map<uint32_t, FileReport> RestoreFiles(ByteReader &in, size_t instances)
{
    std::map<uint32_t, FileReport> files;
    const FileReport none;
    const FileReport *before = &none;
    uint32_t index = 0;
    for (size_t count = in.Count(); count > 0; --count) {
        const uint32_t last = index;
        uint64_t microseconds = 0;
        in.After(index, last);
        if (index <= last)
            throw std::runtime_error("files that are not in order");
        FileReport &file = files.emplace_hint(files.end(), index, FileReport())->second;
        EachCount(in, file, *before);
        in(microseconds);
        file.seconds = static_cast<double>(microseconds) / kMicroseconds;
        if (file.instance < 1 || static_cast<size_t>(file.instance) > instances)
            throw std::runtime_error("a file of an instance that the job does not have");
        before = &file;
    }
    return files;
}

}  // namespace

void Ledger::Keep()
{
    kept_.clear();
    for (const auto &[index, file] : files_)
        kept_.emplace_back(index, file.loaded);
    kept_rows_ = instances_.size() > senders_ ? rows_written() : target_rows();
}

std::string Ledger::Save() const
{
    ByteWriter out;
    SaveFiles(files_, out);
    SaveFiles(outputs_, out);
    out(source_rows_);
    out(target_rows());
    out(target_refused());
    out(warnings_);
    for (const InstanceReport &instance : instances_)
        out(instance.exit_code);
    return out.Take();
}

void Ledger::Restore(const std::string &saved)
{
    try {
        ByteReader in(saved);
        before_.files = files_ = RestoreFiles(in, senders_);
        before_.outputs = outputs_ = RestoreFiles(in, instances_.size() - senders_);
        for (const auto &[index, file] : files_)
            read_.Add(file);
        for (const auto &[index, file] : outputs_)
            written_.Add(file);
        in(source_rows_);
        before_.source_rows = source_rows_;
        in(before_.target_rows);
        in(before_.target_refused);
        in(warnings_);
        for (InstanceReport &instance : instances_) {
            int code = 0;
            in(code);
            instance.exit_code = code > 0 && code < kFatal ? code : 0;
        }
        if (!in.AtEnd() || source_rows_.size() != senders_)
            throw std::runtime_error("another number of instances");
    } catch (const std::exception &failure) {
        throw std::runtime_error(std::string("the checkpoint's counts can't be read: ") +
                                 failure.what());
    }
    Keep();
}

}  // namespace fenwire
