// host/system/shared_memory.h - memory that several processes of one job see.
//
// A block is an anonymous file: it has no name that could be left behind, and is gone with its last
// user. It reaches another process by fork, or as a descriptor in a message.

#ifndef FENWIRE_HOST_SYSTEM_SHARED_MEMORY_H
#define FENWIRE_HOST_SYSTEM_SHARED_MEMORY_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "host/system/unique_fd.h"

namespace fenwire {

// A new zeroed block, mode 0600. Throws std::system_error.
UniqueFd MakeSharedBlock(const char *label, size_t bytes);
UniqueFd MakeSharedBlock(const char *label, std::string_view content);

// The first so many bytes of a block that another process made; fewer than that in it: std::runtime_error.
std::string ContentOf(const UniqueFd &block, uint64_t bytes);

class Mapping {
public:
    Mapping() = default;
    // bytes of the block, or all of it for 0. copies: how many times the same bytes lie behind each
    // other in memory (2 for a ring whose records never wrap).
    explicit Mapping(const UniqueFd &block, size_t bytes = 0, int copies = 1);
    Mapping(Mapping &&other) noexcept;
    Mapping &operator=(Mapping &&other) noexcept;
    ~Mapping();
    // From now on the memory is this process's own, and zero; the others keep what they see.
    void CutOff() const noexcept;
    uint8_t *data() const { return data_; }
    size_t size() const { return size_; }

private:
    uint8_t *data_ = nullptr;
    size_t size_ = 0;
    int copies_ = 1;
};

}  // namespace fenwire

#endif
