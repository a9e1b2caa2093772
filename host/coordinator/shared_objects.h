// host/coordinator/shared_objects.h - global variables and memory blocks of the job step.
//
// They live with the coordinator; instances map them. See host/services/link.h for the other end.

#ifndef FENWIRE_HOST_COORDINATOR_SHARED_OBJECTS_H
#define FENWIRE_HOST_COORDINATOR_SHARED_OBJECTS_H

#include <cstring>
#include <map>
#include <span>
#include <string>

#include "host/streams/board.h"
#include "host/system/messages.h"
#include "host/system/shared_memory.h"
#include "infrastructure/infrastructure.h"

namespace fenwire {

// However hostile the instance was that filled it in.
inline std::string NameOf(const PxFileNamesEntry &file)
{
    return {file.name, strnlen(file.name, sizeof file.name)};
}

class SharedObjects {
public:
    explicit SharedObjects(Board &board) : board_(board) {}

    // Does what the message asks and sends the reply. False: the message is none of these.
    bool Serve(InMessage &message, Channel &channel);

    // The elements of FileNames; empty while there is none, or when it is no such variable.
    std::span<const PxFileNamesEntry> Files() const;

private:
    struct Object {
        UniqueFd fd;
        Mapping map;
    };
    PxStatus Create(InMessage &message);
    PxStatus Obtain(uint32_t bytes, ShmToken_t *token);
    static void Reply(Channel &channel, PxStatus status, uint64_t number = 0,
                      const UniqueFd *fd = nullptr);
    Board &board_;
    std::map<std::string, Object, std::less<>> variables_;
    std::map<ShmToken_t, Object> blocks_;
    ShmToken_t last_token_ = 0;
};

}  // namespace fenwire

#endif
