// delimited/marks.h - comparing marks, and finding the next byte that may begin one.
//
// Nothing in here reads a record's bytes one by one: MarkFinder turns 64 bytes at a time into a mask
// of the bytes that may begin a mark, and scanners step from bit to bit. It reads up to 63 bytes
// behind a record, which the slack of the I/O buffer allows.

#ifndef FENWIRE_DELIMITED_MARKS_H
#define FENWIRE_DELIMITED_MARKS_H

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

#include "delimited/delimited_state.h"
#include "delimited/parsing_cases.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

inline constexpr uint32_t kWindowBytes = 64;

// Whether the mark stands at p, all of it before end.
template <Mark M>
inline bool At(const uint8_t *p, const uint8_t *end, const MarkText &mark)
{
    if constexpr (M == Mark::None) {
        return false;
    } else if constexpr (M == Mark::Byte) {
        return mark.length != 0 && p < end && *p == mark.first;
    } else {
        if (p >= end || *p != mark.first || mark.length == 0)
            return false;
        return mark.length == 1 || (end - p >= static_cast<ptrdiff_t>(mark.length) &&
                                    memcmp(p + 1, mark.bytes + 1, mark.length - 1) == 0);
    }
}

// The same where a mark may be cut off by the record's end: the bytes behind a record count as the
// zeros that terminate it. So a mark that holds a zero can match although it does not fit, and the
// caller decides what that means.
template <Mark M>
inline bool AtOrCutOff(const uint8_t *p, const uint8_t *end, const MarkText &mark)
{
    if (end - p >= static_cast<ptrdiff_t>(mark.length)) [[likely]]
        return At<M>(p, end, mark);
    const size_t inside = p < end ? static_cast<size_t>(end - p) : 0;
    return M != Mark::None && (inside == 0 || memcmp(p, mark.bytes, inside) == 0) &&
           std::all_of(mark.bytes + inside, mark.bytes + mark.length,
                       [](uint8_t byte) { return byte == 0; });
}

// Bit i: byte i of the window is one of the N.
template <int N>
inline uint64_t WindowMask(const uint8_t *window, const uint8_t (&bytes)[N])
{
    uint64_t mask = 0;
#if defined(__SSE2__)
#pragma GCC unroll 4
    for (uint32_t part = 0; part < kWindowBytes; part += 16) {
        const __m128i data = _mm_loadu_si128(reinterpret_cast<const __m128i *>(window + part));
        __m128i hits = _mm_setzero_si128();
#pragma GCC unroll 4
        for (int i = 0; i < N; ++i)
            hits = _mm_or_si128(hits,
                                _mm_cmpeq_epi8(data, _mm_set1_epi8(static_cast<char>(bytes[i]))));
        mask |= static_cast<uint64_t>(static_cast<uint32_t>(_mm_movemask_epi8(hits))) << part;
    }
#else
    for (uint32_t i = 0; i < kWindowBytes; ++i) {
        bool hit = false;
        for (int k = 0; k < N; ++k)
            hit |= window[i] == bytes[k];
        mask |= static_cast<uint64_t>(hit) << i;
    }
#endif
    return mask;
}

// The positions of N byte values in a record, in rising order: for records that the index leaves to the
// scanners, and for jobs that it does not serve.
template <int N>
class MarkFinder {
public:
    MarkFinder(const uint8_t *begin, const uint8_t *end, const uint8_t (&bytes)[N])
        : window_(begin), end_(end)
    {
        std::copy(bytes, bytes + N, bytes_);
        if (begin < end)
            Load(begin);
    }

    // The first one at or behind from, which may not fall behind an earlier from; end if there is none.
    const uint8_t *Next(const uint8_t *from)
    {
        for (;;) {
            const auto into = static_cast<size_t>(from - window_);
            if (into < kWindowBytes) {
                if (const uint64_t left = mask_ >> into; left != 0)
                    return from + std::countr_zero(left);
                from = window_ + kWindowBytes;
            }
            if (from >= end_)
                return end_;
            Load(from);
        }
    }

private:
    const uint8_t *window_, *end_;
    uint64_t mask_ = 0;
    uint8_t bytes_[N];

    void Load(const uint8_t *from)
    {
        window_ = from;
        mask_ = WindowMask<N>(from, bytes_);
        if (const ptrdiff_t left = end_ - from; left < static_cast<ptrdiff_t>(kWindowBytes))
            mask_ &= (uint64_t{1} << left) - 1;  // bytes behind the record
    }
};

// Whether a record holds no byte at or above 0x80.
inline bool IsAscii(const uint8_t *begin, const uint8_t *end)
{
    constexpr uint64_t kHighBits = 0x8080808080808080;
    uint64_t seen = 0;
    for (; end - begin >= 8; begin += 8) {
        uint64_t word;
        memcpy(&word, begin, sizeof word);
        seen |= word;
    }
    for (; begin < end; ++begin)
        seen |= *begin;
    return (seen & kHighBits) == 0;
}

#endif
