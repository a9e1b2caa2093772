// cli/reference.h - messages and attributes in words: for explain, list and the generated pages.

#ifndef FENWIRE_CLI_REFERENCE_H
#define FENWIRE_CLI_REFERENCE_H

#include <string>

#include "host/job/attribute_catalogue.h"
#include "host/services/message_catalogue.h"

namespace fenwire {

// The text with <text> and <number> for its arguments.
std::string MessageShown(const MessageHelp &message);

const char *MessageSeverity(const MessageHelp &message);  // "information", "warning", "error"

// What is to be known of an attribute's standing in this version; empty: nothing.
// Which steps it is for: "to read only", "to write only"; empty: both.
std::string_view SideShown(const AttributeInfo &attribute);
std::string StandingShown(const AttributeInfo &attribute);

}  // namespace fenwire

#endif
