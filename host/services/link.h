// host/services/link.h - an instance's line to the coordinator, and the shared objects behind it.
//
// A method call blocks the instance, so a request is followed by its reply and by nothing else. Global
// variables and memory blocks live with the coordinator; the instance maps each once and then reads and
// writes it in place. When one goes away the board's generation moves on, and the maps are looked up anew.

#ifndef FENWIRE_HOST_SERVICES_LINK_H
#define FENWIRE_HOST_SERVICES_LINK_H

#include <cstdint>
#include <map>
#include <string>

#include "host/streams/board.h"
#include "host/system/messages.h"
#include "host/system/shared_memory.h"
#include "infrastructure/infrastructure.h"

namespace fenwire {

// The coordinator is gone: nobody is left to work for.
class LinkLost : public std::runtime_error {
public:
    LinkLost() : std::runtime_error("the coordinator is gone") {}
};

// A global variable as it lies in memory: a head, then the elements.
struct VariableHead {
    static constexpr uint32_t kMaxElementBytes = 1 << 20;
    static constexpr uint64_t kMaxBytes = uint64_t{4} << 30;
    uint32_t element_bytes;
    uint32_t elements;
    static size_t Bytes(uint32_t element_bytes, uint32_t elements)
    {
        return sizeof(VariableHead) + size_t{element_bytes} * elements;
    }
};

class Link {
public:
    Link(Channel channel, Board &board) : channel_(std::move(channel)), board_(board) {}

    void Tell(const OutMessage &message);
    InMessage Ask(const OutMessage &message, const UniqueFd *fd = nullptr);  // the Reply
    bool Next(InMessage &message) { return channel_.Receive(message); }

    PxStatus CreateVariable(const char *name, uint32_t element_bytes, uint32_t elements);
    PxStatus DeleteVariable(const char *name);
    // The element's bytes, until the variable is deleted. 5: no such variable; 2: no such element.
    PxStatus Element(const char *name, uint32_t index, uint8_t **bytes, uint32_t *length);

    PxStatus ObtainBlock(uint32_t bytes, ShmToken_t *token);
    PxStatus ReleaseBlock(ShmToken_t token);
    PxStatus AttachBlock(ShmToken_t token, void **address);

    // The record that this instance goes on from, until it is read again. 21: there is none.
    PxStatus ReadRecord(const void **record, uint32_t *length);
    PxStatus WriteRecord(const void *record, uint32_t length);

private:
    void DropStaleMaps();
    Channel channel_;
    Board &board_;
    uint32_t generation_ = 0;
    std::map<std::string, Mapping, std::less<>> variables_;
    std::map<ShmToken_t, Mapping> blocks_;
    Mapping record_;
};

}  // namespace fenwire

#endif
