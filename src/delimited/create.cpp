// delimited/create.cpp - CreateDelimitedText.

#include "delimited/create.h"

#include "operator/messages.h"

int32_t CreateDelimitedText(int32_t, const uint32_t *, const uint8_t *, const uint32_t *)
{
    (void)NotAvailable("Format", "writing delimited files");
    return 12;
}

void FreeCreatedText() {}
