// host/job/attribute_checks.h - what can be said of a step's attributes before anything is started.

#ifndef FENWIRE_HOST_JOB_ATTRIBUTE_CHECKS_H
#define FENWIRE_HOST_JOB_ATTRIBUTE_CHECKS_H

#include <optional>
#include <vector>

#include "host/job/document.h"
#include "host/job/job.h"

namespace fenwire {

// One key of a step: its name, side, kind, range. The attribute as the operator gets it, or complaints.
std::optional<Attribute> ReadAttribute(const Entry &entry, Role role,
                                       std::vector<Complaint> &found);

// The attributes of a step together: what is missing, what excludes what. section is what the job
// file gave, so that an attribute with a faulty value does not count as missing.
void CheckStepAttributes(const Step &step, const Value &section, std::vector<Complaint> &found);

// ValidUTF8 is about delimited data of UTF-8.
void CheckValidUtf8(const Job &job, std::vector<Complaint> &found);

// Whether the columns can be read from the producer's format and written in the consumer's.
void CheckColumnsFitFormat(const Job &job, std::vector<Complaint> &found);

// The record error file and what lies beside it are none of the input files.
void CheckErrorFileIsNoInput(const Job &job, std::vector<Complaint> &found);

// The files that are written are none of those that the job reads, nor the record error file.
void CheckOutputIsNoInput(const Job &job, std::vector<Complaint> &found);

void CheckCharacterSet(const std::string &name, SourcePosition at, std::vector<Complaint> &found);

}  // namespace fenwire

#endif
