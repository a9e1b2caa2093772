// host/console/report_json.cpp - how the end of a job is told to a program.
//
// Every key is always there. Counts and sizes are whole numbers, times are seconds to the millisecond.

#include <cmath>
#include <nlohmann/json.hpp>

#include "host/console/summary.h"

namespace fenwire {

namespace {

using Json = nlohmann::ordered_json;

double Milliseconds(double seconds) { return std::round(seconds * 1000) / 1000; }

Json FileObject(const FileReport &file)
{
    return {{"name", file.name},         {"instance", file.instance},
            {"records", file.records},   {"loaded", file.loaded},
            {"refused", file.refused},   {"skipped", file.skipped},
            {"bytes", file.bytes},       {"seconds", Milliseconds(file.seconds)},
            {"finished", file.finished}, {"without_excess", file.without_excess},
            {"padded", file.padded},     {"cut", file.cut}};
}

Json OutputObject(const FileReport &file)
{
    return {{"name", file.name},
            {"instance", file.instance},
            {"rows", file.records},
            {"bytes", file.bytes},
            {"seconds", Milliseconds(file.seconds)},
            {"finished", file.finished}};
}

Json InstanceObject(const InstanceReport &instance)
{
    return {{"step", instance.step},
            {"instance", instance.instance},
            {"exit_code", instance.exit_code},
            {"rows", instance.rows},
            {"files", instance.files},
            {"peak_memory", instance.peak_memory},
            {"cpu_seconds", Milliseconds(instance.cpu_seconds)},
            {"private_log", instance.private_log}};
}

Json RejectsObject(const RejectsReport &rejects)
{
    Json reasons = Json::array();
    for (const RejectReason &reason : rejects.reasons)
        reasons.push_back({{"reason", reason.words}, {"count", reason.count}});
    return {{"file", rejects.file},
            {"list", rejects.list},
            {"records", rejects.kept},
            {"left_out", rejects.left_out},
            {"changed", rejects.changed},
            {"reasons", reasons},
            {"other_reasons", rejects.others},
            {"next", rejects.next}};
}

Json CheckpointObject(const CheckpointReport &checkpoint)
{
    return {{"resumable", checkpoint.resumable},
            {"generation", checkpoint.generation},
            {"rows", checkpoint.rows},
            {"saved_at", checkpoint.saved_at},
            {"resume", checkpoint.resume},
            {"resumed_from", checkpoint.resumed_from},
            {"rounds", checkpoint.rounds},
            {"round_seconds", Milliseconds(checkpoint.round_seconds)},
            {"drain_seconds", Milliseconds(checkpoint.drain_seconds)},
            {"commit_seconds", Milliseconds(checkpoint.commit_seconds)},
            {"at_least_once", checkpoint.at_least_once}};
}

template <class Item, class Object>
Json Array(const std::vector<Item> &items, Object object)
{
    Json array = Json::array();
    for (const Item &item : items)
        array.push_back(object(item));
    return array;
}

}  // namespace

std::string ReportJson(const JobReport &report)
{
    const Json object = {{"job", report.job},
                         {"status", report.status},
                         {"exit_code", report.exit_code},
                         {"failure", report.failure},
                         {"read", report.read},
                         {"loaded", report.loaded},
                         {"refused", report.refused},
                         {"skipped", report.skipped},
                         {"conserved", report.conserved},
                         {"bytes", report.bytes},
                         {"written_bytes", report.written_bytes},
                         {"seconds", Milliseconds(report.seconds)},
                         {"rejects", RejectsObject(report.rejects)},
                         {"checkpoint", CheckpointObject(report.checkpoint)},
                         {"source", report.source},
                         {"target", report.target},
                         {"target_note", report.target_note},
                         {"log", report.log},
                         {"files", Array(report.files, FileObject)},
                         {"outputs", Array(report.outputs, OutputObject)},
                         {"instances", Array(report.instances, InstanceObject)}};
    return object.dump(2, ' ', true, Json::error_handler_t::replace);
}

}  // namespace fenwire
