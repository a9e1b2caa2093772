// host/services/link.cpp

#include "host/services/link.h"

#include <string_view>

#include "host/checkpoint/packed_bytes.h"

namespace fenwire {

void Link::Tell(const OutMessage &message)
{
    if (!channel_.Send(message))
        throw LinkLost();
}

InMessage Link::Ask(const OutMessage &message, const UniqueFd *fd)
{
    InMessage reply;
    if (!channel_.Send(message, fd) || !channel_.Receive(reply))
        throw LinkLost();
    if (reply.kind() != MessageKind::Reply)
        throw ProtocolError("another message than a reply");
    return reply;
}

void Link::DropStaleMaps()
{
    const uint32_t now = board_.variables_generation.load(std::memory_order_acquire);
    if (now == generation_)
        return;
    generation_ = now;
    variables_.clear();
}

PxStatus Link::CreateVariable(const char *name, uint32_t element_bytes, uint32_t elements)
{
    if (name == nullptr || element_bytes == 0 || elements == 0 ||
        element_bytes > VariableHead::kMaxElementBytes ||
        uint64_t{element_bytes} * elements > VariableHead::kMaxBytes)
        return PXSTC_InvalidArgument;
    return Ask(OutMessage(MessageKind::CreateVariable)
                   .Put(std::string_view(name))
                   .Put(element_bytes)
                   .Put(elements))
        .I32();
}

PxStatus Link::DeleteVariable(const char *name)
{
    if (name == nullptr)
        return PXSTC_InvalidArgument;
    return Ask(OutMessage(MessageKind::DeleteVariable).Put(std::string_view(name))).I32();
}

PxStatus Link::Element(const char *name, uint32_t index, uint8_t **bytes, uint32_t *length)
{
    if (name == nullptr)
        return PXSTC_InvalidArgument;
    DropStaleMaps();
    auto found = variables_.find(std::string_view(name));
    if (found == variables_.end()) {
        InMessage reply = Ask(OutMessage(MessageKind::FindVariable).Put(std::string_view(name)));
        if (const PxStatus status = reply.I32(); status != PXSTC_Success)
            return status;
        found = variables_.emplace(name, Mapping(reply.TakeFd())).first;
    }
    const Mapping &map = found->second;
    VariableHead head;
    memcpy(&head, map.data(), sizeof head);
    if (index < 1 || index > head.elements ||
        VariableHead::Bytes(head.element_bytes, head.elements) > map.size())
        return PXSTC_InvalidArgument;
    *bytes = map.data() + VariableHead::Bytes(head.element_bytes, index - 1);
    *length = head.element_bytes;
    return PXSTC_Success;
}

PxStatus Link::ObtainBlock(uint32_t bytes, ShmToken_t *token)
{
    if (bytes == 0 || token == nullptr)
        return PXSTC_InvalidArgument;
    InMessage reply = Ask(OutMessage(MessageKind::ObtainBlock).Put(bytes));
    const PxStatus status = reply.I32();
    if (status == PXSTC_Success)
        *token = reply.U64();
    return status;
}

PxStatus Link::ReleaseBlock(ShmToken_t token)
{
    blocks_.erase(token);
    return Ask(OutMessage(MessageKind::ReleaseBlock).Put(token)).I32();
}

PxStatus Link::AttachBlock(ShmToken_t token, void **address)
{
    if (address == nullptr)
        return PXSTC_InvalidArgument;
    auto found = blocks_.find(token);
    if (found == blocks_.end()) {
        InMessage reply = Ask(OutMessage(MessageKind::AttachBlock).Put(token));
        if (const PxStatus status = reply.I32(); status != PXSTC_Success)
            return status;
        found = blocks_.emplace(token, Mapping(reply.TakeFd())).first;
    }
    *address = found->second.data();
    return PXSTC_Success;
}

// Records may be longer than a message: they travel as blocks, and to the coordinator packed, as it keeps
// them.
PxStatus Link::ReadRecord(const void **record, uint32_t *length)
{
    if (record == nullptr || length == nullptr)
        return PXSTC_InvalidArgument;
    InMessage reply = Ask(OutMessage(MessageKind::ReadRecord));
    const PxStatus status = reply.I32();
    const uint64_t bytes = reply.U64();
    if (status != PXSTC_Success)
        return status;
    record_ = Mapping(reply.TakeFd());
    if (bytes > record_.size() || bytes > UINT32_MAX)
        throw ProtocolError("a checkpoint record that is shorter than it is said to be");
    *record = record_.data();
    *length = static_cast<uint32_t>(bytes);
    return status;
}

PxStatus Link::WriteRecord(const void *record, uint32_t length)
{
    if (record == nullptr || length == 0)
        return PXSTC_InvalidArgument;
    const PackedBytes packed = Pack({static_cast<const char *>(record), length});
    const UniqueFd block = MakeSharedBlock("fenwire-record", packed.pieces);
    return Ask(OutMessage(MessageKind::WriteRecord)
                   .Put(packed.size)
                   .Put(uint64_t{packed.pieces.size()}),
               &block)
        .I32();
}

}  // namespace fenwire
