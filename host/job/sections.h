// host/job/sections.h - the sections of a job file, one reader each.
//
// A reader takes what it knows, complains of the rest, and goes on: the user sees everything at once.
// To add a section, add a row to kSections in load_job.cpp and its reader here.

#ifndef FENWIRE_HOST_JOB_SECTIONS_H
#define FENWIRE_HOST_JOB_SECTIONS_H

#include <string_view>
#include <vector>

#include "host/job/document.h"
#include "host/job/job.h"

namespace fenwire {

void ReadJobSection(const Value &section, Job &job, std::vector<Complaint> &found);
void ReadProducerSection(const Value &section, Job &job, std::vector<Complaint> &found);
void ReadConsumerSection(const Value &section, Job &job, std::vector<Complaint> &found);
void ReadSourceSection(const Value &section, Job &job, std::vector<Complaint> &found);
void ReadTargetSection(const Value &section, Job &job, std::vector<Complaint> &found);
// Last of all: it may take the columns from what the source or the target is.
void ReadSchemaSection(const Value &section, Job &job, std::vector<Complaint> &found);

// Whether a job that names an interval can take checkpoints. Last, on a job that is right.
void CheckCheckpoints(const Job &job, std::vector<Complaint> &found);
// What the source's and the target's kinds say of their settings, and of the columns.
void CheckSettings(const Job &job, std::vector<Complaint> &found);
// The end that has columns of its own, "source" or "target"; empty: none has.
std::string ColumnsFromElsewhere(const Job &job);
// A hint for a job without columns.
std::string HowToGiveColumns(const Job &job);
// The columns of that end, all standing at that place of the job file.
void ColumnsFrom(const std::string &end, SourcePosition at, Job &job,
                 std::vector<Complaint> &found);

// ---- For the readers --------------------------------------------------------------------------

// The text of an entry; null, with a complaint, when it is no text.
const std::string *TextOf(const Entry &entry, std::vector<Complaint> &found);

// The value of an entry `instances`; it stays as it is, with a complaint, when that is none.
void ReadInstances(const Entry &entry, int &instances, std::vector<Complaint> &found);

// The value of an entry `checkpoint`; likewise.
void ReadCheckpoint(const Entry &entry, CheckpointRule &rule, std::vector<Complaint> &found);

void UnknownKey(const Entry &entry, std::string_view section,
                const std::vector<std::string_view> &keys, std::vector<Complaint> &found);

// Letters, digits, '.', '_' and '-', not a dot or dash first, at most 64 bytes: good for a folder.
bool IsJobName(std::string_view name);

}  // namespace fenwire

#endif
