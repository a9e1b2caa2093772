// host/coordinator/shared_objects.cpp

#include "host/coordinator/shared_objects.h"

#include "host/services/link.h"

namespace fenwire {

namespace {

constexpr size_t kSlack = 64;  // behind every block, for loads of whole vectors
constexpr size_t kMaxObjects = 1000;

}  // namespace

void SharedObjects::Reply(Channel &channel, PxStatus status, uint64_t number, const UniqueFd *fd)
{
    channel.Send(OutMessage(MessageKind::Reply).Put(status).Put(number), fd);
}

PxStatus SharedObjects::Create(InMessage &message)
{
    const std::string name = message.Text();
    const VariableHead head = {message.U32(), message.U32()};
    if (head.element_bytes == 0 || head.element_bytes > VariableHead::kMaxElementBytes ||
        uint64_t{head.element_bytes} * head.elements > VariableHead::kMaxBytes)
        return PXSTC_InvalidArgument;
    if (variables_.count(name) != 0)
        return PXSTC_Duplicate;
    if (variables_.size() >= kMaxObjects)
        return PXSTC_Storage;
    const size_t bytes = VariableHead::Bytes(head.element_bytes, head.elements);
    Object object = {MakeSharedBlock("fenwire-variable", bytes), {}};
    object.map = Mapping(object.fd);
    memcpy(object.map.data(), &head, sizeof head);
    variables_.emplace(name, std::move(object));
    return PXSTC_Success;
}

PxStatus SharedObjects::Obtain(uint32_t bytes, ShmToken_t *token)
{
    if (bytes == 0)
        return PXSTC_InvalidArgument;
    if (blocks_.size() >= kMaxObjects)
        return PXSTC_Storage;
    blocks_.emplace(++last_token_, Object{MakeSharedBlock("fenwire-block", bytes + kSlack), {}});
    *token = last_token_;
    return PXSTC_Success;
}

bool SharedObjects::Serve(InMessage &message, Channel &channel)
{
    try {
        switch (message.kind()) {
        case MessageKind::CreateVariable:
            Reply(channel, Create(message));
            return true;
        case MessageKind::FindVariable: {
            const auto found = variables_.find(message.Text());
            const bool there = found != variables_.end();
            Reply(channel, there ? PXSTC_Success : PXSTC_NotFound, 0,
                  there ? &found->second.fd : nullptr);
            return true;
        }
        case MessageKind::DeleteVariable: {
            const bool gone = variables_.erase(message.Text()) != 0;
            board_.variables_generation.fetch_add(1, std::memory_order_release);
            Reply(channel, gone ? PXSTC_Success : PXSTC_NotFound);
            return true;
        }
        case MessageKind::ObtainBlock: {
            ShmToken_t token = 0;
            const PxStatus status = Obtain(message.U32(), &token);
            Reply(channel, status, token);
            return true;
        }
        case MessageKind::AttachBlock: {
            const auto found = blocks_.find(message.U64());
            const bool there = found != blocks_.end();
            Reply(channel, there ? PXSTC_Success : PXSTC_NotFound, 0,
                  there ? &found->second.fd : nullptr);
            return true;
        }
        case MessageKind::ReleaseBlock:
            Reply(channel, blocks_.erase(message.U64()) != 0 ? PXSTC_Success : PXSTC_NotFound);
            return true;
        default:
            return false;
        }
    } catch (const std::system_error &) {
        Reply(channel, PXSTC_Storage);  // no memory: the operator's business
        return true;
    }
}

std::span<const PxFileNamesEntry> SharedObjects::Files() const
{
    const auto found = variables_.find("FileNames");
    if (found == variables_.end())
        return {};
    const Mapping &map = found->second.map;
    VariableHead head;
    memcpy(&head, map.data(), sizeof head);
    if (head.element_bytes != sizeof(PxFileNamesEntry) ||
        VariableHead::Bytes(head.element_bytes, head.elements) > map.size())
        return {};
    return {reinterpret_cast<const PxFileNamesEntry *>(map.data() + sizeof head), head.elements};
}

}  // namespace fenwire
