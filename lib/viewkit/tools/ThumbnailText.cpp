#include "tessel/platform/platform.h"
#include "viewkit/tools/PreviewBlock.h"
#include "viewkit/tools/ProjectPreviewHelper.h"

#include <algorithm>
#include <array>

namespace ProjectPreviewHelper {

namespace {

constexpr std::int32_t kNoDigit = -1;  // added like a digit: wrong characters give wrong bytes, not an error

constexpr std::array<std::int32_t, 128> kBase64Values = [] {
    std::array<std::int32_t, 128> values{};
    values.fill(kNoDigit);
    constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (std::size_t i = 0; i < kDigits.size(); ++i)
        values[static_cast<std::size_t>(kDigits[i])] = static_cast<std::int32_t>(i);
    values['='] = 0;
    return values;
}();

constexpr std::int32_t Base64Value(wchar_t ch) {
    return static_cast<std::uint32_t>(ch) < kBase64Values.size() ? kBase64Values[static_cast<std::size_t>(ch)]
                                                                 : kNoDigit;
}

constexpr std::int32_t HexValue(wchar_t ch) {
    if (ch >= L'A' && ch <= L'Z') return static_cast<std::int32_t>(ch) - 55;
    if (ch >= L'a' && ch <= L'z') return static_cast<std::int32_t>(ch) - 87;
    return static_cast<std::int32_t>(ch) - 48;
}

std::size_t Base64Size(std::wstring_view text) {
    const auto n = static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](wchar_t ch) { return ch != L'=' && !platform::IsSpace(ch); }));
    // A lone character of a last group counts for a byte too.
    constexpr std::size_t kRest[] = {0, 1, 1, 2};
    return n / 4 * 3 + kRest[n % 4];
}

/// The next four digits as 24 bits; behind the end of the text they are 0.
std::uint32_t NextGroup(std::wstring_view text, std::size_t& position) {
    std::uint32_t group = 0;
    for (int digit = 0; digit < 4; ++digit) {
        group <<= 6;
        while (position < text.size() && platform::IsSpace(text[position]))
            ++position;
        if (position < text.size()) group += static_cast<std::uint32_t>(Base64Value(text[position++]));
    }
    return group;
}

}  // namespace

std::size_t DecodeBase64(const AString& text, std::size_t size, std::uint8_t* out) {
    const std::wstring_view characters = text.Str();
    if (out == nullptr) return Base64Size(characters);
    std::size_t position = 0;
    for (std::size_t o = 0; o < size && position < characters.size(); o += 3) {
        const std::uint32_t group = NextGroup(characters, position);
        out[o]                    = static_cast<std::uint8_t>(group >> 16);
        if (o + 1 < size) out[o + 1] = static_cast<std::uint8_t>(group >> 8);
        if (o + 2 < size) out[o + 2] = static_cast<std::uint8_t>(group);
    }
    return 0;
}

std::size_t DecodeHex(const AString& text, std::size_t size, std::uint8_t* out) {
    const std::wstring_view characters = text.Str();
    const std::size_t       pairs      = characters.size() / 2;
    if (out == nullptr) return pairs;
    if (characters.size() % 2 != 0) return 0;
    const std::size_t count = std::min(size, pairs);
    for (std::size_t i = 0; i < count; ++i)
        out[i] =
            static_cast<std::uint8_t>(HexValue(characters[2 * i]) * 16 + HexValue(characters[2 * i + 1]));
    return count;
}

std::vector<std::uint8_t> DecodeThumbnailText(const AString& text, bool isBase64) {
    const auto                decode = isBase64 ? DecodeBase64 : DecodeHex;
    std::vector<std::uint8_t> bytes(decode(text, 0, nullptr));
    // An empty vector may have no storage, and no buffer asks for the size.
    if (!bytes.empty()) decode(text, bytes.size(), bytes.data());
    return bytes;
}

bool GetProjectThumbnailText(const AString& path, CThumbnailText& thumbnail) {
    thumbnail = {};
    io::CBlock preview;
    if (!ReadPreviewBlock(path, preview)) return false;
    ReadField(preview, L"Thumbnail64", thumbnail.Text);
    thumbnail.IsBase64 = !thumbnail.Text.IsEmpty();
    // Read by the same gate: without a "Thumbnail64" item the block is no longer good, and the
    // hexadecimal form does not count.
    if (!thumbnail.IsBase64) ReadField(preview, L"Thumbnail", thumbnail.Text);
    return true;
}

}  // namespace ProjectPreviewHelper
