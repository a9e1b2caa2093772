// host/system/messages.h - what the coordinator and the other processes say to each other.
//
// One message is one packet of a Unix socket pair: a kind, then the fields in the order in which they
// were put. A descriptor may travel along. What comes in is checked: length, kind and every field; what
// does not fit throws ProtocolError. Nothing in a message but descriptors assumes one machine.

#ifndef FENWIRE_HOST_SYSTEM_MESSAGES_H
#define FENWIRE_HOST_SYSTEM_MESSAGES_H

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "host/system/unique_fd.h"

namespace fenwire {

class ProtocolError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

enum class MessageKind : uint32_t {
    // coordinator -> instance
    Call = 1,  // method, phase, whether execute passed; to a source that restarts: its position
    Reply,     // status, number; perhaps a descriptor
    // instance -> coordinator
    Hello,           // the library is loaded: its version
    Answer,          // status of the method, or kStopped
    CreateVariable,  // name, element bytes, elements       -> Reply
    FindVariable,    // name                                -> Reply with the block
    DeleteVariable,  // name                                -> Reply
    ObtainBlock,     // bytes                               -> Reply with the token
    AttachBlock,     // token                               -> Reply with the block
    ReleaseBlock,    // token                               -> Reply
    LogLine,         // number, class, severity, rendered leader and text
    ConsoleLine,     // text
    ExitCode,        // code
    Statistic,       // words: name and value
    FileCounts,      // PxFileCounts
    BadRecord,       // PxBadRecord of the last one, how many, kind of fault, excerpt
    SourceRows,      // rows handed over, warning
    SourcePosition,  // text: where a part of a source stands, at a checkpoint
    WriteRecord,     // bytes, packed bytes; the block      -> Reply
    ReadRecord,      //                                     -> Reply with bytes and the block
    NoCheckpoints,   // the operator can't take any
    ErrorFile,       // path of the instance's record error file
    Trouble,         // words: the instance can't start or go on
    // coordinator -> target
    Drain,  // -> Drained, once every ring is empty
    Commit,  // whether rows follow, number of the generation, its bytes, run; the block with it. -> Committed
    Abort,  // -> Aborted
    // target -> coordinator
    Opened,     // why rows may come twice after a failure
    Drained,    // rows put, rows refused so far
    Committed,  // rows, rows refused, bytes, note
    Aborted,
    TargetFailed,  // words
    End
};

class OutMessage {
public:
    explicit OutMessage(MessageKind kind) { Put(static_cast<uint32_t>(kind)); }
    OutMessage &Put(uint32_t value) { return Raw(&value, sizeof value); }
    OutMessage &Put(int32_t value) { return Raw(&value, sizeof value); }
    OutMessage &Put(uint64_t value) { return Raw(&value, sizeof value); }
    OutMessage &Put(std::string_view text);  // cut where the packet would grow too large
    OutMessage &Raw(const void *bytes, size_t count)
    {
        body_.append(static_cast<const char *>(bytes), count);
        return *this;
    }
    const std::string &body() const { return body_; }

private:
    std::string body_;
};

class InMessage {
public:
    InMessage() = default;
    InMessage(std::string body, UniqueFd fd);
    MessageKind kind() const { return kind_; }
    uint32_t U32() { return Number<uint32_t>(); }
    int32_t I32() { return Number<int32_t>(); }
    uint64_t U64() { return Number<uint64_t>(); }
    std::string Text();
    template <class Record>
    Record Struct()
    {
        return Number<Record>();
    }
    UniqueFd TakeFd() { return std::move(fd_); }

private:
    template <class T>
    T Number()
    {
        if (body_.size() - at_ < sizeof(T))
            throw ProtocolError("a message is too short");
        T value;
        memcpy(&value, body_.data() + at_, sizeof value);
        at_ += sizeof value;
        return value;
    }
    std::string body_;
    size_t at_ = 0;
    MessageKind kind_ = MessageKind::End;
    UniqueFd fd_;
};

// One end of a socket pair.
class Channel {
public:
    static constexpr size_t kMaxBytes = 96 << 10;
    Channel() = default;
    explicit Channel(UniqueFd fd) : fd_(std::move(fd)) {}
    static std::pair<Channel, Channel> Pair();
    int fd() const { return fd_.get(); }
    bool open() const { return static_cast<bool>(fd_); }
    void Close() { fd_.Close(); }

    // False: the other side is gone.
    bool Send(const OutMessage &message, const UniqueFd *fd = nullptr);
    // Waits for a message. False: the other side is gone.
    bool Receive(InMessage &message) { return ReceiveWith(message, 0) == Result::Got; }
    enum class Result : uint8_t { Got, Nothing, Gone };
    Result TryReceive(InMessage &message);

private:
    Result ReceiveWith(InMessage &message, int flags);
    UniqueFd fd_;
};

}  // namespace fenwire

#endif
