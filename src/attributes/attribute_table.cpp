// attributes/attribute_table.cpp - reading one attribute: service result, side, length, limits, store.

#include "attributes/attribute_table.h"

#include <cstring>

#include "attributes/attributes.h"
#include "operator/messages.h"

namespace {

constexpr int32_t kAbsurdLength = 1 << 20;  // no attribute comes near: the answer is not to be used

// The format is a row's, which EchoFitsKind has checked against what is printed.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
template <class Value>
void Echo(const AttributeRow &row, Value value)
{
    if (row.echo != nullptr)
        FW_TRACE(1, row.echo, row.name, value);
}
#pragma GCC diagnostic pop

void StoreNumber(const AttrTarget &target, int32_t number)
{
    switch (target.type) {
    case AttrTarget::Type::Integer:
        *target.integer = number;
        break;
    case AttrTarget::Type::Counter:
        *target.counter = static_cast<uint32_t>(number);
        break;
    case AttrTarget::Type::Small:
        *target.small = static_cast<uint16_t>(number);
        break;
    default:
        break;
    }
}

PxStatus RunGiven(const AttributeRow &row)
{
    return row.on_given != nullptr ? row.on_given() : PXSTC_Success;
}

PxStatus TakeInteger(const AttributeRow &row, const void *value)
{
    if (PX_Len != sizeof(int32_t))
        return FW_AttributeFatal<19202>(row.name, PX_Len, sizeof(int32_t));
    int32_t number = 0;
    memcpy(&number, value, sizeof number);
    if (number < row.minimum || number > row.maximum) {
        FW_ERROR("'%s' value of %d is not valid (must be =>%d & <=%d)", row.name, number,
                 row.minimum, row.maximum);
        return FW_AttributeFatal<19204>(row.name, number, row.minimum, row.maximum);
    }
    StoreNumber(row.target, number);
    if (const PxStatus status = RunGiven(row))
        return status;
    Echo(row, number);
    return PXSTC_Success;
}

int32_t TextLimit(const AttributeRow &row)
{
    return row.limit != 0 ? row.limit : static_cast<int32_t>(row.target.capacity) - 1;
}

PxStatus TakeText(const AttributeRow &row, const void *value)
{
    const int32_t limit = TextLimit(row);
    if (PX_Len > limit || (row.exact && PX_Len != limit))
        return FW_AttributeFatal<19202>(row.name, PX_Len, limit);
    if (row.upper) {
        CopyUpper(row.target.text, row.target.capacity, value, PX_Len);
    } else {
        memcpy(row.target.text, value, static_cast<size_t>(PX_Len));
        row.target.text[PX_Len] = '\0';
    }
    if (const PxStatus status = RunGiven(row))
        return status;
    Echo(row, static_cast<const char *>(row.target.text));
    return PXSTC_Success;
}

PxStatus UnknownWord(const AttributeRow &row, const char *given)
{
    FW_ERROR("Invalid %s attribute value ('%s') provided", row.name, given);
    FW_TRACE(1, "Valid %s values are %s", row.name,
             row.valid_trace != nullptr ? row.valid_trace : row.valid);
    if (row.unknown == kFatalWord)
        return FW_AttributeFatal<19205>(row.name, given, row.valid);
    FW_AttributeMessage<19205>(row.name, given, row.valid);
    StoreNumber(row.target, row.unknown);
    return PXSTC_Success;
}

PxStatus TakeWord(const AttributeRow &row, const void *value)
{
    char given[kLongestWord + 1], upper[kLongestWord + 1];
    if (const PxStatus status = CheckLength(row.name, row.limit))
        return status;
    memcpy(given, value, static_cast<size_t>(PX_Len));
    given[PX_Len] = '\0';
    CopyUpper(upper, sizeof upper, value, PX_Len);
    for (const AttrWord &word : row.words) {
        if (strcmp(word.word, upper) != 0)
            continue;
        StoreNumber(row.target, word.value);
        if (row.keep.text != nullptr)
            CopyUpper(row.keep.text, row.keep.capacity, word.word,
                      static_cast<int32_t>(strlen(word.word)));
        return RunGiven(row);
    }
    return UnknownWord(row, given);
}

PxStatus TakeYesNo(const AttributeRow &row)
{
    const int32_t result =
        FW_GetYN(row.name, row.target.integer, row.boxed ? 1 : 0, row.absent, row.mode);
    if (result != 1)
        return result;
    RaiseExitCode(12);  // an invalid word is reported, and costs the job like any other attribute
    return PXSTC_FatalError;
}

PxStatus TakeAbsent(const AttributeRow &row)
{
    if (row.required)
        return FW_AttributeFatal<19201>(row.name);
    StoreNumber(row.target, row.absent);
    for (char *text : {row.target.text, row.keep.text}) {
        if (text != nullptr)
            text[0] = '\0';
    }
    return row.on_absent != nullptr ? row.on_absent() : PXSTC_Success;
}

PxStatus ReadAttribute(const AttributeRow &row)
{
    if (row.kind == AttrKind::Rule)
        return row.rule();
    if (row.kind == AttrKind::YesNo)
        return TakeYesNo(row);
    const void *value = nullptr;
    const PxStatus status = FetchAttribute(row.name, &value);
    if (status == PXSTC_NotFound)
        return TakeAbsent(row);
    if (status != PXSTC_Success)
        return status;
    if (row.side == Side::ProducerOnly && OperatorType != 1)
        return NotAcceptedByConsumer(row.name);
    switch (row.kind) {
    case AttrKind::Integer:
        return TakeInteger(row, value);
    case AttrKind::Text:
        return TakeText(row, value);
    case AttrKind::Word:
        return TakeWord(row, value);
    default:
        return NotAvailable(row.name, row.feature);
    }
}

}  // namespace

PxStatus FetchAttribute(const char *name, const void **value)
{
    PX_Len = 0;
    *value = nullptr;
    PxStatus status = Service(SG_opHandle, &PxOperator::PX_GetAttribute, name, value, &PX_Len);
    if (status == PXSTC_NotFound)
        return status;
    if (status == PXSTC_MultiValued)
        return FW_AttributeFatal<19205>(name, "Multi-value", "Single-value");
    if (status == PXSTC_Success && (PX_Len < 0 || PX_Len > kAbsurdLength))
        status = PXSTC_Length;
    if (status == PXSTC_Success && *value == nullptr) {
        *value = "";
        status = PX_Len == 0 ? PXSTC_Success : PXSTC_NullPointer;
    }
    if (status == PXSTC_Success)
        return status;
    FW_ERROR("%s returned code %d ('%s')", "PX_GetAttribute", status, PxStatusName(status));
    return FW_AttributeFatal<19100>("PX_GetAttribute", status);
}

bool IsGiven(const char *name)
{
    const void *value = nullptr;
    return Service(SG_opHandle, &PxOperator::PX_GetAttribute, name, &value, &PX_Len) ==
           PXSTC_Success;
}

PxStatus CheckLength(const char *name, int32_t limit)
{
    return PX_Len > limit ? FW_AttributeFatal<19202>(name, PX_Len, limit) : PXSTC_Success;
}

PxStatus NotAcceptedByConsumer(const char *name)
{
    FW_ERROR("!ERROR! Attribute '%s' is not accepted by consumer instance", name);
    return FW_AttributeFatal<19230>(name);
}

void CopyUpper(char *to, size_t room, const void *from, int32_t length)
{
    const auto *bytes = static_cast<const unsigned char *>(from);
    size_t used = 0;
    for (; used < static_cast<size_t>(length) && used + 1 < room; ++used) {
        const unsigned char byte = bytes[used];
        to[used] = static_cast<char>(byte >= 'a' && byte <= 'z' ? byte - 'a' + 'A' : byte);
    }
    to[used] = '\0';
}

PxStatus ReadAttributes(std::span<const AttributeRow> rows)
{
    for (const AttributeRow &row : rows) {
        if (row.wanted != nullptr && !row.wanted())
            continue;
        if (const PxStatus status = ReadAttribute(row))
            return status;
    }
    return PXSTC_Success;
}
