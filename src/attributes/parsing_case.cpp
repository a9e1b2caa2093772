// attributes/parsing_case.cpp - the settings of delimited data boiled down to one number.
//
// Seven decimal digits: character set, delimiter, delimiter escape, open quote, close quote, quote
// escape, trim. The delimited engine picks its scanner by the number.

#include "attributes/attributes.h"
#include "operator/messages.h"
#include "pm/pm_state.h"

namespace {

constexpr int32_t kGeneralCase = 2222222;

// 1 for one byte, whose plain form is kept, 2 for more, 0 for none.
int32_t Digit(const SpecialCharValue &value, uint8_t *single)
{
    if (value.length == 1)
        *single = value.value[0];
    return value.length == 1 ? 1 : value.length > 1 ? 2 : 0;
}

int32_t QuoteDigits()
{
    int32_t digits = 1000 * Digit(OpenQuoteMark, &cOpenQuoteMark);
    if (CloseQuoteMark.length == 0)
        CloseQuoteMark = OpenQuoteMark;
    digits += 100 * Digit(CloseQuoteMark, &cCloseQuoteMark);
    return digits + 10 * Digit(EscapeQuoteCharacter, &cEscapeQuoteCharacter);
}

int32_t TrimWeight()
{
    const bool counted = TrimLeadingNchars != 0 || TrimTrailingNchars != 0;
    int32_t weight = 0;
    if (counted)
        weight += UsingSingleByteCharSet != 0 ? 1 : 2;
    if (TrimLeadingChar.length == 1 || TrimTrailingChar.length == 1)
        weight += 1;
    if (TrimLeadingChar.length > 1 || TrimTrailingChar.length > 1)
        weight += 2;
    return weight;
}

}  // namespace

void ComposeParsingCase()
{
    int32_t number = UsingSingleByteCharSet != 0 ? 1000000 : 2000000;
    bUsingSingleByteDelimiter = TextDelimiter.length == 1 ? 1 : 0;
    number += Digit(TextDelimiter, &cDelimiter) == 1 ? 100000 : 200000;
    number += 10000 * Digit(EscapeTextCharacter, &cEscapeTextCharacter);
    if (bQuotedData != kNo)
        number += QuoteDigits();
    number += TrimWeight();
    if (bUseGeneralUDDIcase == kYes) {
        FW_WARN(1, "!ALERT! UDDI_ParsingCase changed from %d to %d.", number, kGeneralCase);
        number = kGeneralCase;
    }
    UDDI_ParsingCase = number;
    if (TextDelimiter.length == 0)
        return;
    FW_TRACE(1, "UDDI_ParsingCase=%d", UDDI_ParsingCase);
    bValidateParsingCase = 1;
}
