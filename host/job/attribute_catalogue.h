// host/job/attribute_catalogue.h - every attribute of the operator, as its user sees it.
//
// One table serves the checks of a job file, `fenwire explain`, `fenwire list attributes` and
// docs/attributes.md. A new attribute of the operator gets a row; rules.attribute_names compares.

#ifndef FENWIRE_HOST_JOB_ATTRIBUTE_CATALOGUE_H
#define FENWIRE_HOST_JOB_ATTRIBUTE_CATALOGUE_H

#include <climits>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/job/job.h"

namespace fenwire {

enum class AttributeKind : uint8_t {
    Text,
    Word,             // one of words
    Integer,          // minimum to maximum
    YesNo,            // Y, Yes, N, No; true and false in a job file
    YesNoOptional,    // and O, Optional
    YesNoWithoutLog,  // and YesW, YesWithoutLog
    Mark,             // a special character of one or more bytes, as text
    HexMark,          // the same in hexadecimal digits
    TimeStamp,        // YYYYMMDD HH:MM:SS
};

enum class AttributeSide : uint8_t {
    Both,
    Producer,  // refused in a step that writes
    Consumer,  // refused in a step that reads
    Reading,   // taken by both; does something in a step that reads
};

enum class AttributeGroup : uint8_t {
    Files,
    Format,
    Marks,
    Columns,
    Rows,
    BadRecords,
    Log,
    Readers,
    Vigil,
    Archive,
    Modules,
    Notify,
    Hadoop,
    System,
};

// How far this version goes with it.
enum class Support : uint8_t {
    Now,
    NoOnly,   // a yes/no whose Yes asks for the feature
    Later,    // given at all, it asks for the feature
    Ignored,  // accepted and without effect
    Runner,   // the runner supplies it; a job can't
};

struct AttributeInfo {
    std::string_view name;
    AttributeKind kind = AttributeKind::Text;
    AttributeGroup group = AttributeGroup::Files;
    AttributeSide side = AttributeSide::Both;
    Support support = Support::Now;
    std::string_view feature = {};  // NoOnly, Later: what it asks for
    bool required = false;
    std::string_view absent = {};  // what holds without it, in words
    bool absent_passes = false;    // the value that holds without it passes on the other side too
    std::string_view words = {};   // Word: the valid ones, with a blank between
    std::string_view when_writing = {};  // Word: the valid ones of a step that writes, if others
    std::string_view also = {};          // Word: valid ones that are not shown
    int64_t minimum = INT32_MIN, maximum = INT32_MAX;
    uint32_t max_bytes = 4096;
    std::string_view partner =
        {};  // HexMark and Mark: the other form; a superseded name: the new one
    std::string_view about = {};
};

std::span<const AttributeInfo> AttributeCatalogue();
const AttributeInfo *FindAttribute(std::string_view name);  // exact
const AttributeInfo *FindAttributeOfAnyCase(std::string_view name);
std::vector<std::string_view> AttributeNames();

std::string_view GroupTitle(AttributeGroup group);

// "text, at most 4096 bytes", "whole number from 1 to 999999", "Yes, No or Optional".
std::string ValidValues(const AttributeInfo &attribute);
std::string ValidValues(const AttributeInfo &attribute, Role role);

// The valid words of a Word in a step of that role, with a blank between.
constexpr std::string_view WordsOf(const AttributeInfo &attribute, Role role)
{
    const bool writes = role == Role::Consumer && !attribute.when_writing.empty();
    return writes ? attribute.when_writing : attribute.words;
}

// Whether a step of that role takes the attribute, and whether it does something there.
constexpr bool IsTakenBy(const AttributeInfo &attribute, Role role)
{
    return attribute.side !=
           (role == Role::Producer ? AttributeSide::Consumer : AttributeSide::Producer);
}
constexpr bool DoesSomethingIn(const AttributeInfo &attribute, Role role)
{
    return IsTakenBy(attribute, role) &&
           (role == Role::Producer || attribute.side != AttributeSide::Reading);
}

// Yes for yes and no attributes of every sort.
constexpr bool IsYesNo(AttributeKind kind)
{
    return kind == AttributeKind::YesNo || kind == AttributeKind::YesNoOptional ||
           kind == AttributeKind::YesNoWithoutLog;
}

// -1: no valid word; 0 no, 1 yes, 2 optional, 3 yes without log.
int YesNoValue(AttributeKind kind, std::string_view word);

// The words of a blank-separated list.
std::vector<std::string_view> SplitWords(std::string_view words);

}  // namespace fenwire

#endif
