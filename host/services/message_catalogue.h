// host/services/message_catalogue.h - the words of the numbered messages.

#ifndef FENWIRE_HOST_SERVICES_MESSAGE_CATALOGUE_H
#define FENWIRE_HOST_SERVICES_MESSAGE_CATALOGUE_H

#include <span>
#include <string>

#include "infrastructure/infrastructure.h"

namespace fenwire {

// The text of a message with its arguments put in; args without the leader and without the end entry.
// Arguments that do not fit the catalogue's placeholders are listed behind the number instead. Control
// bytes in text arguments come out escaped.
std::string MessageText(int number, std::span<const PxLogArg> args);

struct MessageHelp {
    int number;
    const char *text;    // with %1, %2 .. for the arguments
    const char *remedy;  // what to do about it; empty where there is nothing to do
};

std::span<const MessageHelp> MessageCatalogue();  // in the order of their numbers
const MessageHelp *FindMessage(int number);       // null: there is none

}  // namespace fenwire

#endif
