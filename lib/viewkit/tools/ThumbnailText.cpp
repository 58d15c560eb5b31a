#include "tessel/platform/platform.h"
#include "viewkit/tools/PreviewBlock.h"
#include "viewkit/tools/PreviewLines.h"
#include "viewkit/tools/ProjectFile.h"
#include "viewkit/tools/ProjectPreviewHelper.h"

#include <algorithm>
#include <array>
#include <string>

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

bool IsCounted(wchar_t ch) {
    return ch != L'=' && !platform::IsSpace(ch);
}

/// How many characters are neither white space nor "=".
std::size_t CountDigits(std::wstring_view text) {
    // Of blocks of ASCII, where white space is six characters. Fixed in length, and with a sum for each
    // question, they are counted by wide instructions.
    constexpr std::size_t kBlock = 32;
    std::size_t           count  = 0;
    for (; text.size() >= kBlock; text.remove_prefix(kBlock)) {
        std::uint32_t bits = 0, blanks = 0, controls = 0, padding = 0;
        for (const wchar_t unit : text.substr(0, kBlock)) {
            const auto ch = static_cast<std::uint32_t>(unit);
            bits |= ch;
            blanks += ch == ' ';
            controls += ch - '\t' <= '\r' - '\t';
            padding += ch == '=';
        }
        if (bits >= 128) break;
        count += kBlock - blanks - controls - padding;
    }
    return count + static_cast<std::size_t>(std::count_if(text.begin(), text.end(), &IsCounted));
}

std::size_t Base64Size(std::wstring_view text) {
    const std::size_t n = CountDigits(text);
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

void Put(std::uint32_t group, std::uint8_t* out) {
    out[0] = static_cast<std::uint8_t>(group >> 16);
    out[1] = static_cast<std::uint8_t>(group >> 8);
    out[2] = static_cast<std::uint8_t>(group);
}

/// Decodes whole groups from the start of the text, as long as each character has a value, so is no white
/// space: what `NextGroup` makes of them, without its questions. @return the number of groups.
std::size_t DecodeGroups(const wchar_t* text, std::size_t groups, std::uint8_t* out) {
    const auto code  = [&](std::size_t i) { return static_cast<std::uint32_t>(text[i]); };
    const auto value = [&](std::size_t i) { return kBase64Values[code(i)]; };
    for (std::size_t i = 0; i < groups; ++i, text += 4, out += 3) {
        if ((code(0) | code(1) | code(2) | code(3)) >= kBase64Values.size()) return i;
        const std::int32_t group = value(0) << 18 | value(1) << 12 | value(2) << 6 | value(3);
        if (group < 0) return i;  // as any of the four is
        Put(static_cast<std::uint32_t>(group), out);
    }
    return groups;
}

}  // namespace

std::size_t DecodeBase64(const AString& text, std::size_t size, std::uint8_t* out) {
    const std::wstring_view characters = text.Str();
    if (out == nullptr) return Base64Size(characters);
    std::size_t position = 0;
    for (std::size_t o = 0; o < size && position < characters.size(); o += 3) {
        const std::size_t groups =
            DecodeGroups(characters.data() + position,
                         std::min((size - o) / 3, (characters.size() - position) / 4), out + o);
        position += 4 * groups;
        o += 3 * groups;
        if (o >= size || position >= characters.size()) break;
        std::uint8_t bytes[3];
        Put(NextGroup(characters, position), bytes);
        std::copy_n(bytes, std::min<std::size_t>(size - o, 3), out + o);
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

namespace {

/// The base64 text from the lines of a preview. False when there is none, or a line before it has to be read
/// by the block reader; what is behind it makes no difference.
bool FindBase64(CPreviewLines& lines, AString& text) {
    using EKind = CPreviewLines::EKind;
    for (EKind kind = lines.Next(); kind != EKind::kUnknown && lines.Depth() != 0; kind = lines.Next()) {
        const bool isItem = lines.Depth() == 1 && (kind == EKind::kText || kind == EKind::kOther);
        if (!isItem || !lines.IsNamed("Thumbnail64")) continue;
        if (kind == EKind::kText) text = lines.Text();
        return !text.IsEmpty();
    }
    return false;
}

}  // namespace

bool GetProjectThumbnailText(const AString& path, CThumbnailText& thumbnail) {
    thumbnail = {};
    const CProjectFile file(path);
    std::string        room;
    if (const std::string_view bytes = ReadPreviewBytes(file, room); !bytes.empty()) {
        CPreviewLines lines(bytes);
        thumbnail.IsBase64 = FindBase64(lines, thumbnail.Text);
        if (thumbnail.IsBase64) return true;
    }
    io::CBlock preview;
    if (!ReadPreviewBlock(path, file, preview)) return false;
    ReadField(preview, L"Thumbnail64", thumbnail.Text);
    thumbnail.IsBase64 = !thumbnail.Text.IsEmpty();
    // Read by the same gate: without a "Thumbnail64" item the block is no longer good, and the
    // hexadecimal form does not count.
    if (!thumbnail.IsBase64) ReadField(preview, L"Thumbnail", thumbnail.Text);
    return true;
}

}  // namespace ProjectPreviewHelper
