// host/sources/made_text.cpp - text made by rule.
//
// A text is filled to the byte: where a character of several bytes no longer fits, a letter stands.

#include <algorithm>
#include <string_view>

#include "host/sources/made_values.h"

namespace fenwire {

namespace {

constexpr std::string_view kLetters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
static_assert(kLetters.size() == 64);
constexpr std::string_view kMarks = ",|;:\t\"'\\\n\r \n\"\\,|";
static_assert(kMarks.size() == 16);
// Letters with two, three and four bytes. The last have two units in UTF-16, and are left out there:
// delimited text with such characters can be written, but not read.
constexpr char32_t kWide[] = {U'é',      U'ß',      U'Ω',          U'я',
                              U'\u0085', U'\u20AC', U'\u3042',     U'\u6F22',
                              U'\uD7A3', U'\uFFFD', U'\U0001F600', U'\U0001D11E'};
constexpr size_t kOfTwoUnits = 2;

class TextFiller {
public:
    TextFiller(Draw &draw, bool utf16, TextStyle style, uint8_t *to, size_t bytes)
        : draw_(draw), utf16_(utf16), style_(style), to_(to), end_(to + bytes)
    {
    }

    void Fill()
    {
        if (style_ == TextStyle::Plain) {
            while (to_ < end_)
                FillLetters();
            return;
        }
        while (to_ < end_)
            PutAny();
    }

private:
    void PutUnit(char16_t unit)
    {
        *to_++ = static_cast<uint8_t>(unit);
        if (utf16_)
            *to_++ = static_cast<uint8_t>(unit >> 8);
    }

    // As many letters as one number gives.
    void FillLetters()
    {
        uint64_t bits = draw_.Next();
        for (int i = 0; i < 10 && to_ < end_; ++i, bits >>= 6)
            PutUnit(static_cast<uint8_t>(kLetters[bits & 63]));
    }

    void PutAny()
    {
        const uint64_t bits = draw_.Next();
        const bool special = (bits & 3) == 0;
        const bool wide =
            style_ == TextStyle::Utf8 || (style_ == TextStyle::All && (bits & 4) == 0);
        if (special && wide &&
            PutWide(kWide[(bits >> 3) % (std::size(kWide) - (utf16_ ? kOfTwoUnits : 0))]))
            return;
        PutUnit(static_cast<uint8_t>(special && !wide ? kMarks[bits >> 3 & 15]
                                                      : kLetters[bits >> 3 & 63]));
    }

    // False: there is no room for it.
    bool PutWide(char32_t character)
    {
        uint8_t bytes[4];
        const size_t count =
            utf16_ ? Put(bytes, static_cast<char16_t>(character)) : AsUtf8(character, bytes);
        if (static_cast<size_t>(end_ - to_) < count)
            return false;
        to_ = std::copy_n(bytes, count, to_);
        return true;
    }

    static size_t AsUtf8(char32_t character, uint8_t *bytes)
    {
        const size_t count = character < 0x800 ? 2 : character < 0x10000 ? 3 : 4;
        for (size_t i = count - 1; i > 0; --i, character >>= 6)
            bytes[i] = static_cast<uint8_t>(0x80 | (character & 0x3F));
        bytes[0] = static_cast<uint8_t>((0xF00 >> count & 0xFF) | character);
        return count;
    }

    Draw &draw_;
    bool utf16_;
    TextStyle style_;
    uint8_t *to_, *end_;
};

void PutAscii(std::string_view text, bool utf16, uint8_t *&to)
{
    for (const char c : text) {
        *to++ = static_cast<uint8_t>(c);
        if (utf16)
            *to++ = 0;
    }
}

// Letters between two ASCII texts; unframed when these alone would not fit.
size_t MakeFramed(Draw &draw, const ValueShape &shape, std::string_view head, std::string_view tail,
                  uint8_t *to)
{
    const size_t unit = shape.utf16 ? 2 : 1;
    const size_t frame = unit * (head.size() + tail.size());
    if (shape.length < frame)
        return 0;
    const uint8_t *start = to;
    ValueShape inside = shape;
    inside.length = static_cast<uint32_t>(shape.length - frame);
    const size_t bytes = VariableLength(draw, inside) / unit * unit;
    const TextStyle style = shape.text == TextStyle::Plain || shape.text == TextStyle::Marks
                                ? TextStyle::Plain
                                : TextStyle::Utf8;
    PutAscii(head, shape.utf16, to);
    TextFiller(draw, shape.utf16, style, to, bytes).Fill();
    to += bytes;
    PutAscii(tail, shape.utf16, to);
    return static_cast<size_t>(to - start);
}

size_t MakeTextOf(Draw &draw, const ValueShape &shape, uint8_t *to, bool utf16)
{
    size_t bytes = VariableLength(draw, shape);
    if (utf16)
        bytes = std::max<size_t>(bytes, bytes > 0 ? 2 : 0) / 2 * 2;
    if (bytes > shape.length)
        bytes = 0;
    TextFiller(draw, utf16, shape.text, to, bytes).Fill();
    return bytes;
}

// Blanks fill it up.
size_t MakeFixedTextOf(Draw &draw, const ValueShape &shape, uint8_t *to, bool utf16)
{
    const size_t bytes = MakeTextOf(draw, shape, to, utf16);
    uint8_t *rest = to + bytes;
    for (size_t left = shape.length - bytes; left > 0; left -= utf16 ? 2 : 1)
        PutAscii(" ", utf16, rest);
    return shape.length;
}

}  // namespace

// 1 to the column's length, and 0 or just that length as edges. Of long columns most are short, so that
// rows do not grow to what few tables hold.
size_t VariableLength(Draw &draw, const ValueShape &shape)
{
    constexpr uint32_t kShort = 64;
    const uint32_t edges[] = {0, shape.length};
    if (const uint32_t *edge = EdgeOf(draw, shape, edges))
        return *edge;
    const bool any = shape.length <= kShort || draw.OneIn(8);
    const uint32_t most = any ? shape.length : kShort;
    return most == 0 ? 0 : 1 + draw.Below(most);
}

size_t MakeText(Draw &draw, const ValueShape &shape, uint8_t *to)
{
    return MakeTextOf(draw, shape, to, shape.utf16);
}

size_t MakeFixedText(Draw &draw, const ValueShape &shape, uint8_t *to)
{
    return MakeFixedTextOf(draw, shape, to, shape.utf16);
}

size_t MakeGraphic(Draw &draw, const ValueShape &shape, uint8_t *to)
{
    return MakeTextOf(draw, shape, to, true);
}

size_t MakeFixedGraphic(Draw &draw, const ValueShape &shape, uint8_t *to)
{
    return MakeFixedTextOf(draw, shape, to, true);
}

size_t MakeHex(Draw &draw, const ValueShape &shape, uint8_t *to)
{
    for (size_t left = shape.length / (shape.utf16 ? 2 : 1); left > 0; --left) {
        const char digit = "0123456789ABCDEF"[draw.Below(16)];
        PutAscii({&digit, 1}, shape.utf16, to);
    }
    return shape.length;
}

size_t MakeJson(Draw &draw, const ValueShape &shape, uint8_t *to)
{
    return MakeFramed(draw, shape, "\"", "\"", to);
}

size_t MakeXml(Draw &draw, const ValueShape &shape, uint8_t *to)
{
    return MakeFramed(draw, shape, "<v>", "</v>", to);
}

// The name of a file that holds the value; there need be none.
size_t MakeFileName(Draw &draw, const ValueShape &shape, uint8_t *to)
{
    ValueShape plain = shape;
    plain.text = TextStyle::Plain;
    return MakeText(draw, plain, to);
}

}  // namespace fenwire
