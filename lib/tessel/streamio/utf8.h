#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace io {

/// The bytes that a UTF-8 lead byte announces; 1 for a byte that leads nothing.
constexpr std::size_t Utf8Length(std::int32_t lead) noexcept {
    if (lead >= 0xC2 && lead <= 0xDF) return 2;
    if (lead >= 0xE0 && lead <= 0xEF) return 3;
    if (lead >= 0xF0 && lead <= 0xF4) return 4;
    return 1;
}

/// Whether `byte` may stand at `index` (from 1) behind `lead`. Refuses overlong forms and what lies
/// beyond U+10FFFF; surrogates pass, as they are written one by one.
constexpr bool IsUtf8Continuation(std::int32_t lead, std::size_t index, std::int32_t byte) noexcept {
    if (byte < 0x80 || byte > 0xBF) return false;
    if (index != 1) return true;
    switch (lead) {
        case 0xE0:
            return byte >= 0xA0;
        case 0xF0:
            return byte >= 0x90;
        case 0xF4:
            return byte <= 0x8F;
        default:
            return true;
    }
}

/// The value bits of a lead byte of a form of this length.
constexpr std::int32_t Utf8LeadBits(std::int32_t lead, std::size_t length) noexcept {
    return lead & (0x7F >> length);
}

/// Appends the UTF-8 form of one UTF-16 unit; a surrogate gets a form of its own.
void AppendUtf8Unit(std::string& bytes, wchar_t unit);
/// The same for all units of a text.
std::string ToUtf8Units(std::wstring_view text);
/// The units of UTF-8 bytes. A byte that is not well formed stands for itself; a character beyond the
/// 16-bit range becomes two units.
std::wstring FromUtf8(std::string_view bytes);

/// Each byte becomes a character of the same value. Blocks of fixed length, copied so that nobody can write
/// to them meanwhile, are what compilers make wide instructions of.
template <class CharT>
void WidenBytes(const unsigned char* bytes, std::size_t count, CharT* out) noexcept {
    constexpr std::size_t             kBlock = 32;
    std::array<unsigned char, kBlock> block;
    for (; count >= kBlock; count -= kBlock, bytes += kBlock, out += kBlock) {
        std::copy_n(bytes, kBlock, block.begin());
        for (std::size_t i = 0; i < kBlock; ++i)
            out[i] = static_cast<CharT>(block[i]);
    }
    std::copy_n(bytes, count, out);
}

}  // namespace io
