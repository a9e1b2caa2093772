// host/system/shared_memory.cpp

#include "host/system/shared_memory.h"

#include <cstring>
#include <stdexcept>

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fenwire {

UniqueFd MakeSharedBlock(const char *label, size_t bytes)
{
    UniqueFd block(memfd_create(label, MFD_CLOEXEC));
    if (!block || fchmod(block.get(), 0600) != 0 ||
        ftruncate(block.get(), static_cast<off_t>(bytes)) != 0)
        ThrowErrno("shared memory of " + std::to_string(bytes) + " bytes");
    return block;
}

UniqueFd MakeSharedBlock(const char *label, std::string_view content)
{
    UniqueFd block = MakeSharedBlock(label, content.size());
    const Mapping map(block);
    memcpy(map.data(), content.data(), content.size());
    return block;
}

std::string ContentOf(const UniqueFd &block, uint64_t bytes)
{
    const Mapping map(block);
    if (bytes > map.size())
        throw std::runtime_error("a block of shared memory is shorter than it is said to be");
    return {reinterpret_cast<const char *>(map.data()), bytes};
}

Mapping::Mapping(const UniqueFd &block, size_t bytes, int copies) : size_(bytes), copies_(copies)
{
    if (size_ == 0) {
        struct stat info = {};
        if (fstat(block.get(), &info) != 0)
            ThrowErrno("shared memory");
        size_ = static_cast<size_t>(info.st_size);
    }
    // Room for all copies first, so that nothing else can come to lie between them.
    const size_t all = size_ * static_cast<size_t>(copies);
    void *room = mmap(nullptr, all, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (room == MAP_FAILED)
        ThrowErrno("address space of " + std::to_string(all) + " bytes");
    data_ = static_cast<uint8_t *>(room);
    for (int i = 0; i < copies; ++i) {
        if (mmap(data_ + size_ * static_cast<size_t>(i), size_, PROT_READ | PROT_WRITE,
                 MAP_SHARED | MAP_FIXED, block.get(), 0) == MAP_FAILED) {
            munmap(data_, all);
            ThrowErrno("mapping of " + std::to_string(size_) + " bytes");
        }
    }
}

Mapping::Mapping(Mapping &&other) noexcept
    : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)),
      copies_(other.copies_)
{
}

Mapping &Mapping::operator=(Mapping &&other) noexcept
{
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    std::swap(copies_, other.copies_);
    return *this;
}

// Puts memory in place of a mapping that stands, which the system can't refuse but for want of memory: then
// there is no going on.
void Mapping::CutOff() const noexcept
{
    if (mmap(data_, size_ * static_cast<size_t>(copies_), PROT_READ | PROT_WRITE,
             MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) == MAP_FAILED)
        _exit(1);
}

Mapping::~Mapping()
{
    if (data_ != nullptr)
        munmap(data_, size_ * static_cast<size_t>(copies_));
}

}  // namespace fenwire
