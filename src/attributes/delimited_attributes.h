// attributes/delimited_attributes.h - the part of the file attributes that only delimited data has.

#ifndef FENWIRE_ATTRIBUTES_DELIMITED_ATTRIBUTES_H
#define FENWIRE_ATTRIBUTES_DELIMITED_ATTRIBUTES_H

#include "infrastructure/infrastructure.h"

// Quotes, delimiters, escapes and trim, in their order of reading. 0, 16 or 48, reported.
PxStatus ReadDelimitedAttributes();

#endif
