// host/targets/text_check.h - values that are no text as a database of UTF-8 understands it.
//
// The operator loads the bytes of a file as they are. Where they are malformed UTF-8, or hold a NUL byte,
// the load is complete, but who reads the table will not see what the file meant: mostly the job names
// another character set than the file has. So such values are counted and told of.

#ifndef FENWIRE_HOST_TARGETS_TEXT_CHECK_H
#define FENWIRE_HOST_TARGETS_TEXT_CHECK_H

#include <cstdint>
#include <string>
#include <string_view>

namespace fenwire {

class TextCheck {
public:
    // Hot. Whether all bytes are ASCII and none is NUL, so that nothing need be examined.
    static bool IsPlain(const char *data, size_t length);

    // place: in words, for the first value of each kind.
    template <class Place>
    void Examine(std::string_view value, Place &&place)
    {
        if (!IsUtf8Text(value) && malformed_++ == 0)
            first_malformed_ = place();
        if (value.find('\0') != std::string_view::npos && with_nul_++ == 0)
            first_nul_ = place();
    }

    std::string Warning() const;  // empty: every value was text

private:
    static bool IsUtf8Text(std::string_view value);

    uint64_t malformed_ = 0, with_nul_ = 0;
    std::string first_malformed_, first_nul_;
};

}  // namespace fenwire

#endif
