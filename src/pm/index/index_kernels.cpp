// pm/index/index_kernels.cpp - BuildIndexByVectors, compiled for several kinds of vectors.
//
// A word is 64 bytes; what is known of them are masks of 64 bits, byte i of the word at bit i. Which
// byte is inside of quotes is a prefix of exclusive ors over the quote marks (Langdale and Lemire,
// "Parsing gigabytes of JSON per second", 2019).

#include <bit>
#include <cstring>

#include "pm/index/record_index.h"

#define HWY_WANT_AVX3_DL  // bytes can be compressed there
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3)
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "pm/index/index_kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace fw_index {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;
using Bytes = hn::CappedTag<uint8_t, kWordBytes>;

#undef FW_COMPRESSES_BYTES
#undef FW_EXTRACTS_BITS
#if HWY_TARGET == HWY_AVX3_DL
#define FW_COMPRESSES_BYTES 1
#else
#define FW_COMPRESSES_BYTES 0
#endif
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_AVX2
#define FW_EXTRACTS_BITS 1
#else
#define FW_EXTRACTS_BITS 0
#endif

constexpr uint64_t Below(uint32_t bits)
{
    return bits >= 64 ? ~uint64_t{0} : (uint64_t{1} << bits) - 1;
}

HWY_INLINE uint32_t Count(uint64_t mask) { return static_cast<uint32_t>(std::popcount(mask)); }

// Where the word has a byte, or one above it.
enum class Found : uint8_t { Equal, Above };
template <Found Which>
HWY_INLINE uint64_t Where(const uint8_t *word, uint8_t byte)
{
    const Bytes d;
    const auto wanted = hn::Set(d, byte);
    uint64_t mask = 0;
    for (size_t part = 0; part < kWordBytes; part += hn::Lanes(d)) {
        const auto data = hn::LoadU(d, word + part);
        uint64_t bits = 0;
        hn::StoreMaskBits(d, Which == Found::Equal ? hn::Eq(data, wanted) : hn::Gt(data, wanted),
                          reinterpret_cast<uint8_t *>(&bits));
        mask |= bits << part;
    }
    return mask;
}

HWY_INLINE uint64_t Equal(const uint8_t *word, uint8_t byte)
{
    return Where<Found::Equal>(word, byte);
}

// Bit i: whether the bits up to i, i included, are odd in number.
HWY_INLINE uint64_t PrefixXor(uint64_t mask)
{
#if FW_EXTRACTS_BITS
    const hn::Full128<uint64_t> d;
    return hn::GetLane(hn::CLMulLower(hn::Set(d, mask), hn::Set(d, ~uint64_t{0})));
#else
    for (int shift = 1; shift < 64; shift *= 2)
        mask ^= mask << shift;
    return mask;
#endif
}

// The bits of mask at the places that domain has, closed up.
HWY_INLINE uint64_t Extract(uint64_t mask, uint64_t domain)
{
#if FW_EXTRACTS_BITS
    return _pext_u64(mask, domain);
#else
    uint64_t extracted = 0;
    for (mask &= domain; mask != 0; mask &= mask - 1)
        extracted |= uint64_t{1} << Count(domain & ((mask & -mask) - 1));
    return extracted;
#endif
}

#if FW_COMPRESSES_BYTES
alignas(64) constexpr uint8_t kPlaces[64] = {
    0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21,
    22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 33, 34, 35, 36, 37, 38, 39, 40, 41, 42, 43,
    44, 45, 46, 47, 48, 49, 50, 51, 52, 53, 54, 55, 56, 57, 58, 59, 60, 61, 62, 63};
#endif

// to[j] = base + place of bit j of mask, less step times j. flags: bit 31 of to[j].
template <int Step>
HWY_INLINE void Append(uint32_t *to, uint64_t mask, uint32_t base, uint64_t flags = 0)
{
#if FW_COMPRESSES_BYTES
    __m512i places = _mm512_maskz_compress_epi8(mask, _mm512_load_si512(kPlaces));
    const __m512i flag = _mm512_set1_epi32(static_cast<int>(kQuotedField));
    __m512i start = _mm512_set1_epi32(static_cast<int>(base));
    if constexpr (Step != 0)
        start = _mm512_sub_epi32(start, _mm512_cvtepu8_epi32(_mm_load_si128(
                                            reinterpret_cast<const __m128i *>(kPlaces))));
    const uint32_t count = Count(mask);
    for (uint32_t j = 0;;) {
        const __m512i at = _mm512_cvtepu8_epi32(_mm512_castsi512_si128(places));
        const __m512i sum = _mm512_add_epi32(at, start);
        _mm512_storeu_si512(to + j,
                            _mm512_mask_or_epi32(sum, static_cast<__mmask16>(flags), sum, flag));
        j += 16;
        if (j >= count) [[likely]]
            return;
        places = _mm512_alignr_epi64(places, places, 2);
        flags >>= 16;
        if constexpr (Step != 0)
            start = _mm512_sub_epi32(start, _mm512_set1_epi32(16));
    }
#else
    for (uint32_t j = 0; mask != 0; mask &= mask - 1, ++j, flags >>= 1)
        to[j] = (base + static_cast<uint32_t>(std::countr_zero(mask)) - Step * j) |
                (static_cast<uint32_t>(flags & 1) << 31);
#endif
}

// The kept bytes of a word, closed up. Writes a word.
HWY_INLINE void Pack(uint8_t *to, const uint8_t *word, uint64_t kept)
{
#if FW_COMPRESSES_BYTES
    _mm512_storeu_si512(to, _mm512_maskz_compress_epi8(kept, _mm512_loadu_si512(word)));
#else
    // Runs of kept bytes, each moved as a whole word: what is too much is overwritten by the next one.
    while (kept != 0) {
        const auto from = static_cast<uint32_t>(std::countr_zero(kept));
        const auto run = static_cast<uint32_t>(std::countr_one(kept >> from));
        const Bytes d;
        for (size_t part = 0; part < kWordBytes && part < run; part += hn::Lanes(d))
            hn::StoreU(hn::LoadU(d, word + from + part), d, to + part);
        to += run;
        kept = from + run >= 64 ? 0 : kept & ~Below(from + run);
    }
#endif
}

// What one word hands on to the next. A window begins behind a record, so its first byte opens a field.
struct Carry {
    uint64_t inside = 0;     // all ones: the word begins inside of quotes
    uint64_t separator = 1;  // the byte before the word ends a delimiter or a record
    uint64_t closing = 0;    // ... is a closing quote mark
    uint64_t eor = 0;        // ... is the first of the two bytes of an end-of-record mark
};

// The bytes of a word that matter.
struct WordMarks {
    uint64_t fields, records;  // where a field, a record ends
    uint64_t removed;          // neither data nor wanted
    uint64_t quoted;           // those of fields that were in quotes
    uint64_t odd;
    uint64_t broken;
};

template <bool Quotes, bool Odd, bool Two>
HWY_INLINE WordMarks MarkWord(const IndexWork &work, uint32_t at, uint64_t valid, Carry &carry)
{
    const IndexMarks &marks = *work.marks;
    const uint8_t *word = work.data + at;
    uint64_t delimiters = Equal(word, marks.delimiter) & valid;
    uint64_t ends = Equal(word, work.eor[1]) & valid;
    if constexpr (Two) {
        const uint64_t next = at + kWordBytes < work.length && word[kWordBytes] == work.eor[1];
        ends = Equal(word, work.eor[0]) & valid & (ends >> 1 | next << 63);
    }
    WordMarks found = {};
    uint64_t quotes = 0, inside = 0;
    if constexpr (Quotes) {
        quotes = Equal(word, marks.quote) & valid;
        inside = PrefixXor(quotes) ^ carry.inside;
        carry.inside = static_cast<uint64_t>(static_cast<int64_t>(inside) >> 63);
        delimiters &= ~inside;
        ends &= ~inside;
    }
    uint64_t last = ends;  // the last byte of an end-of-record mark
    if constexpr (Two) {
        last = ends << 1 | carry.eor;
        carry.eor = ends >> 63;
    }
    found.fields = delimiters | ends;
    found.records = ends;
    found.removed = found.fields | last;
    if constexpr (Odd) {
        if (marks.escape)
            found.odd = Equal(word, marks.escapes[0]) & valid;
        if (marks.high_is_odd)
            found.odd |= Where<Found::Above>(word, 0x7F) & valid;
    }
    if constexpr (Quotes) {
        const uint64_t opening = quotes & inside, closing = quotes & ~inside;
        const uint64_t separators = delimiters | last;
        const uint64_t behind_separator = separators << 1 | carry.separator;
        const uint64_t behind_closing = closing << 1 | carry.closing;
        carry.separator = separators >> 63;
        carry.closing = closing >> 63;
        found.broken = (opening & ~(behind_separator | behind_closing)) |
                       (behind_closing & valid & ~(found.fields | quotes));
        if (marks.quote_escape)
            found.broken |= Equal(word, marks.escapes[1]) & valid;
        if (marks.only_quoted)
            found.odd |= found.fields & ~(behind_closing | behind_separator);
        found.removed |= quotes & ~(opening & behind_closing);  // of a pair, the second one stays
        found.quoted = found.fields & behind_closing;
        if (found.broken != 0) [[unlikely]] {
            const uint64_t good = (found.broken & -found.broken) - 1;
            found.fields &= good;
            found.records &= good;
            found.odd &= good;
        }
    }
    return found;
}

template <bool Quotes, bool Odd, bool Two>
void MarkWindow(IndexWork &work)
{
    Carry carry;
    uint32_t packed = 0, fields = 0, records = 0, odds = 0;
    for (uint32_t at = 0; at < work.length && fields < kFieldLimit; at += kWordBytes) {
        const uint64_t valid = Below(work.length - at);
        const WordMarks found = MarkWord<Quotes, Odd, Two>(work, at, valid, carry);
        const uint64_t kept = ~found.removed & valid;

        Pack(work.packed + packed, work.data + at, kept);
        if (found.fields != 0) {
            uint64_t ends = found.fields, flags = 0;
            if constexpr (Quotes || Two)
                ends = Extract(ends, kept | ends);
            if constexpr (Quotes)
                flags = Extract(found.quoted, found.fields);
            Append<1>(work.field_end + fields, ends, packed, flags);
            if (found.records != 0) {
                Append<0>(work.record_end + records, found.records, at);
                Append<0>(work.record_fields + records, Extract(found.records, found.fields),
                          fields + 1);
                records += Count(found.records);
            }
            fields += Count(found.fields);
        }
        packed += Count(kept);
        if constexpr (Quotes || Odd) {
            if (found.odd != 0) {
                Append<0>(work.odd + odds, found.odd, at);
                odds += Count(found.odd);
            }
        }
        if constexpr (Quotes) {
            if (found.broken != 0) [[unlikely]]
                break;
        }
    }
    work.fields = fields;
    work.records = records;
    work.odds = odds;
}

// Lengths and indicators of as many fields as D has lanes, from one on; begin: where they begin. Returns
// which of them are longer than limits.
template <class D>
HWY_INLINE auto CutFields(const IndexWork &work, uint32_t first, const uint32_t *limits,
                          hn::Vec<D> *begin)
{
    const D d;
    const hn::Rebind<uint8_t, D> d8;
    const auto place = hn::Set(d, ~kQuotedField);
    const auto null = hn::Set(d, work.marks->empty_is_null ? 1 : 0);
    const auto end = hn::LoadU(d, work.field_end + first);
    *begin = hn::And(hn::LoadU(d, (work.field_end + first) - 1), place);
    const auto length = hn::Sub(hn::And(end, place), *begin);
    hn::StoreU(length, d, work.lengths + first);
    // An empty field in quotes carries its flag, and so differs from where it begins.
    const auto empty = hn::VecFromMask(d, hn::Eq(end, *begin));
    hn::StoreU(hn::DemoteTo(d8, hn::BitCast(hn::RebindToSigned<D>(), hn::And(empty, null))), d8,
               work.indicators + first);
    return hn::VecFromMask(d, hn::Gt(length, hn::LoadU(d, limits)));
}

// A record's fields. A vector may write beyond them, into what the next record overwrites. False: a field
// is too long for its column.
template <class D>
HWY_INLINE bool CutRow(const IndexWork &work, uint32_t first, uint32_t count, uint32_t row)
{
    const D d;
    const auto start = hn::Set(d, row);
    const auto columns = static_cast<uint32_t>(work.marks->columns);
    auto too_long = hn::Zero(d);
    for (uint32_t i = 0; i < count; i += static_cast<uint32_t>(hn::Lanes(d))) {
        hn::Vec<D> begin;
        const uint32_t *limits = work.limits + (i < columns ? i : columns);  // none behind the last
        too_long = hn::Or(too_long, CutFields<D>(work, first + i, limits, &begin));
        hn::StoreU(hn::Sub(begin, start), d, work.offsets + first + i);
    }
    return hn::AllTrue(d, hn::Eq(too_long, hn::Zero(d)));
}

// Whether the bytes that make a record odd leave this one alone; those up to its end are used up.
HWY_INLINE bool IsWithoutOdd(const IndexWork &work, uint32_t end, uint32_t *odd)
{
    const uint32_t before = *odd;
    while (*odd < work.odds && work.odd[*odd] <= end)
        ++*odd;
    return *odd == before;
}

template <class D>
void CutRows(IndexWork &work)
{
    constexpr uint32_t kPlace = ~kQuotedField;
    const auto columns = static_cast<uint32_t>(work.marks->columns);
    uint32_t first = 0, packed = 0, odd = 0;
    for (uint32_t r = 0; r < work.records; ++r) {
        const uint32_t behind = work.record_fields[r], count = behind - first;
        const uint32_t end = work.field_end[behind - 1];
        bool regular = CutRow<D>(work, first, count, packed);
        // An empty field behind a last delimiter is none.
        regular &= count == columns ||
                   (count == columns + 1 && end == (work.field_end[behind - 2] & kPlace));
        if (work.odds != 0) [[unlikely]]
            regular &= IsWithoutOdd(work, work.record_end[r], &odd);
        work.regular[r] = regular;
        first = behind;
        packed = end & kPlace;
    }
}

// Whether each record has as many fields as there are columns.
bool IsUniform(const IndexWork &work)
{
    const hn::CappedTag<uint32_t, 16> d;
    const auto lanes = static_cast<uint32_t>(hn::Lanes(d));
    const auto columns = static_cast<uint32_t>(work.marks->columns);
    const auto step = hn::Set(d, lanes * columns);
    auto wanted = hn::Mul(hn::Iota(d, 1), hn::Set(d, columns)), differs = hn::Zero(d);
    uint32_t r = 0;
    for (; r + lanes <= work.records; r += lanes, wanted = hn::Add(wanted, step))
        differs = hn::Or(differs, hn::Xor(hn::LoadU(d, work.record_fields + r), wanted));
    bool uniform = work.odds == 0 && hn::AllTrue(d, hn::Eq(differs, hn::Zero(d)));
    for (; r < work.records; ++r)
        uniform &= work.record_fields[r] == (r + 1) * columns;
    return uniform;
}

// Whole rows fit into a vector, and all records are alike: they are cut regardless of where one ends.
// False: one of them isn't regular.
bool CutUniformRows(IndexWork &work)
{
    using D = hn::CappedTag<uint32_t, 16>;
    const D d;
    constexpr uint32_t kLanes = static_cast<uint32_t>(hn::MaxLanes(D()));
    const auto columns = static_cast<uint32_t>(work.marks->columns);
    if (kLanes % columns != 0 || hn::Lanes(d) != kLanes || !IsUniform(work))
        return false;
    alignas(64) uint32_t limits[kLanes];
    alignas(64) int32_t starts[kLanes];
    for (uint32_t i = 0; i < kLanes; ++i) {
        limits[i] = work.limits[i % columns];
        starts[i] = static_cast<int32_t>(i - i % columns);
    }
    const auto rows = hn::SetTableIndices(d, starts);
    // Fields of a record that is not whole are cut when it is: here they are none.
    const uint32_t fields = work.records * columns;
    if (fields != 0)
        hn::StoreU(hn::Set(d, work.field_end[fields - 1] & ~kQuotedField), d,
                   work.field_end + fields);
    auto too_long = hn::Zero(d);
    for (uint32_t first = 0; first < fields; first += kLanes) {
        hn::Vec<D> begin;
        too_long = hn::Or(too_long, CutFields<D>(work, first, limits, &begin));
        hn::StoreU(hn::Sub(begin, hn::TableLookupLanes(begin, rows)), d, work.offsets + first);
    }
    memset(work.regular, 1, work.records);
    return hn::AllTrue(d, hn::Eq(too_long, hn::Zero(d)));
}

// Vectors no wider than a row needs them: what is written too much costs as well.
void CutAnyRows(IndexWork &work)
{
    if (CutUniformRows(work))
        return;
    if (work.marks->columns <= 4)
        CutRows<hn::CappedTag<uint32_t, 4>>(work);
    else if (work.marks->columns <= 8)
        CutRows<hn::CappedTag<uint32_t, 8>>(work);
    else
        CutRows<hn::CappedTag<uint32_t, 16>>(work);
}

void Build(IndexWork &work)
{
    using Marker = void (*)(IndexWork &);
    static constexpr Marker kMarkers[2][2][2] = {
        {{MarkWindow<false, false, false>, MarkWindow<false, false, true>},
         {MarkWindow<false, true, false>, MarkWindow<false, true, true>}},
        {{MarkWindow<true, false, false>, MarkWindow<true, false, true>},
         {MarkWindow<true, true, false>, MarkWindow<true, true, true>}}};
    kMarkers[work.marks->quotes][work.marks->escape || work.marks->high_is_odd][work.eor_of_two](
        work);
    CutAnyRows(work);
}

}  // namespace HWY_NAMESPACE
}  // namespace fw_index
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace fw_index {
HWY_EXPORT(Build);
static void BuildHere(IndexWork &work) { HWY_DYNAMIC_DISPATCH(Build)(work); }
}  // namespace fw_index

void BuildIndexByVectors(IndexWork &work) { fw_index::BuildHere(work); }
#endif
