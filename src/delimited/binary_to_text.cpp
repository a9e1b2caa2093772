// delimited/binary_to_text.cpp - the converted columns of a row.

#include "delimited/binary_to_text.h"

#include "operator/messages.h"

int32_t PrepareConversion()
{
    (void)NotAvailable("Format", "writing numbers as text");
    return 4;
}

void FreeConversion() {}

int64_t BinaryToText(int32_t, const uint8_t *, const uint32_t *, const uint8_t *, const uint32_t *)
{
    return 0;
}
