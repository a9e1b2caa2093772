// host/system/messages.cpp

#include "host/system/messages.h"

#include <algorithm>
#include <array>

#include <sys/socket.h>

namespace fenwire {

namespace {

constexpr size_t kMaxText = 32 << 10;

}  // namespace

OutMessage &OutMessage::Put(std::string_view text)
{
    text = text.substr(0, kMaxText);
    Put(static_cast<uint32_t>(text.size()));
    return Raw(text.data(), text.size());
}

InMessage::InMessage(std::string body, UniqueFd fd) : body_(std::move(body)), fd_(std::move(fd))
{
    const uint32_t kind = U32();
    if (kind == 0 || kind >= static_cast<uint32_t>(MessageKind::End))
        throw ProtocolError("a message of unknown kind " + std::to_string(kind));
    kind_ = static_cast<MessageKind>(kind);
}

std::string InMessage::Text()
{
    const uint32_t length = U32();
    if (length > kMaxText || length > body_.size() - at_)
        throw ProtocolError("a text is longer than its message");
    std::string text = body_.substr(at_, length);
    at_ += length;
    return text;
}

std::pair<Channel, Channel> Channel::Pair()
{
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, fds) != 0)
        ThrowErrno("socket pair");
    return {Channel(UniqueFd(fds[0])), Channel(UniqueFd(fds[1]))};
}

bool Channel::Send(const OutMessage &message, const UniqueFd *fd)
{
    iovec part = {const_cast<char *>(message.body().data()), message.body().size()};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr packet = {};
    packet.msg_iov = &part;
    packet.msg_iovlen = 1;
    if (fd != nullptr && *fd) {
        const int number = fd->get();
        packet.msg_control = control;
        packet.msg_controllen = sizeof control;
        cmsghdr *head = CMSG_FIRSTHDR(&packet);
        head->cmsg_level = SOL_SOCKET;
        head->cmsg_type = SCM_RIGHTS;
        head->cmsg_len = CMSG_LEN(sizeof number);
        memcpy(CMSG_DATA(head), &number, sizeof number);
    }
    ssize_t sent = 0;
    do {
        sent = sendmsg(fd_.get(), &packet, MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    return sent >= 0;
}

Channel::Result Channel::ReceiveWith(InMessage &message, int flags)
{
    std::array<char, kMaxBytes> bytes;
    iovec part = {bytes.data(), bytes.size()};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr packet = {};
    packet.msg_iov = &part;
    packet.msg_iovlen = 1;
    packet.msg_control = control;
    packet.msg_controllen = sizeof control;
    ssize_t got = 0;
    // A peer that ended without reading everything is told as a reset, once, before the messages that it
    // sent last; they are still to be had.
    bool reset = false;
    do {
        reset = got < 0 && errno == ECONNRESET;
        got = recvmsg(fd_.get(), &packet, flags | MSG_CMSG_CLOEXEC);
    } while (got < 0 && (errno == EINTR || (errno == ECONNRESET && !reset)));
    if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
        return Result::Nothing;
    if (got <= 0)
        return Result::Gone;
    UniqueFd fd;
    for (cmsghdr *head = CMSG_FIRSTHDR(&packet); head != nullptr;
         head = CMSG_NXTHDR(&packet, head)) {
        int number = -1;
        if (head->cmsg_level == SOL_SOCKET && head->cmsg_type == SCM_RIGHTS &&
            head->cmsg_len == CMSG_LEN(sizeof number)) {
            memcpy(&number, CMSG_DATA(head), sizeof number);
            fd = UniqueFd(number);
        }
    }
    if ((packet.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) != 0)
        throw ProtocolError("a message is longer than " + std::to_string(kMaxBytes) + " bytes");
    message = InMessage(std::string(bytes.data(), static_cast<size_t>(got)), std::move(fd));
    return Result::Got;
}

Channel::Result Channel::TryReceive(InMessage &message)
{
    return ReceiveWith(message, MSG_DONTWAIT);
}

}  // namespace fenwire
