#include "viewkit/tools/PreviewLines.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

namespace ProjectPreviewHelper {

namespace {

constexpr bool IsDigit(char ch) {
    return ch >= '0' && ch <= '9';
}
constexpr bool IsLetter(char ch) {
    return (ch >= 'A' && ch <= 'Z') || (ch >= 'a' && ch <= 'z');
}
constexpr bool IsWord(char ch) {
    return IsLetter(ch) || IsDigit(ch) || ch == '_';
}
constexpr char Lower(char ch) {
    return ch >= 'A' && ch <= 'Z' ? static_cast<char>(ch + 32) : ch;
}

constexpr bool IsPrintable(char ch) {
    return ch >= ' ' && ch <= '~';
}

/// What a run of characters is made of.
enum ERun : std::uint8_t {
    kRunDigits = 1,
    kRunWord   = 2,
};

constexpr std::array<std::uint8_t, 256> RunsOfCharacters() {
    std::array<std::uint8_t, 256> runs{};
    for (std::size_t i = 0; i < runs.size(); ++i) {
        const char ch = static_cast<char>(i);
        runs[i] = static_cast<std::uint8_t>((IsDigit(ch) ? kRunDigits : 0) | (IsWord(ch) ? kRunWord : 0));
    }
    return runs;
}
constexpr auto kRuns = RunsOfCharacters();

bool Is(char ch, ERun run) noexcept {
    return (kRuns[static_cast<unsigned char>(ch)] & run) != 0;
}

/// Where a run ends: at the NUL behind all, if not before.
const char* EndOfRun(const char* next, ERun run) noexcept {
    while (Is(*next, run))
        ++next;
    return next;
}

std::string_view Between(const char* begin, const char* end) noexcept {
    return {begin, static_cast<std::size_t>(end - begin)};
}

/// How many of eight characters stand for themselves between quotes, up to the first that does not: that is
/// no printable ASCII, a quote or a backslash. Without a loop, so that a text's length is nothing to be
/// guessed.
std::size_t CountPlain(const char* eight) noexcept {
    static_assert(std::endian::native == std::endian::little, "the first character is the lowest byte");
    constexpr std::uint64_t kEach = 0x0101'0101'0101'0101;
    constexpr std::uint64_t kTop  = 0x80 * kEach;
    std::uint64_t           bytes = 0;
    std::memcpy(&bytes, eight, sizeof bytes);
    const std::uint64_t low = bytes & ~kTop;  // sums of these carry into no other byte
    // The top bit of a byte tells: at least a blank; not the character; above '~'.
    const auto isNot = [=](char ch) { return (low ^ kEach * static_cast<unsigned char>(ch)) + ~kTop; };
    const std::uint64_t atLeast  = low + kEach * (0x80 - ' ');
    const std::uint64_t above    = low + kEach * (0x7F - '~');
    const std::uint64_t notPlain = (~(atLeast & isNot('\'') & isNot('\\')) | above | bytes) & kTop;
    return static_cast<std::size_t>(std::countr_zero(notPlain)) / 8;
}

/// How many bytes are no printable ASCII. Blocks of fixed length are counted by wide instructions.
std::size_t CountUnprintable(std::string_view text) noexcept {
    constexpr std::size_t kBlock      = 32;
    std::size_t           unprintable = 0;
    for (; text.size() >= kBlock; text.remove_prefix(kBlock)) {
        unsigned char inBlock = 0;
        for (const char ch : text.substr(0, kBlock))
            inBlock = static_cast<unsigned char>(inBlock + !IsPrintable(ch));
        unprintable += inBlock;
    }
    return unprintable +
           static_cast<std::size_t>(std::count_if(text.begin(), text.end(), std::not_fn(IsPrintable)));
}

/// Whether a text between quotes goes on over a line end only behind a backslash, and has nothing else
/// that means something else than itself.
bool IsPlain(std::string_view text) noexcept {
    std::size_t lineEnds = 0;
    for (std::size_t at = text.find('\\'); at != text.npos; at = text.find('\\', at + 2)) {
        if (at + 1 == text.size() || text[at + 1] != '\n') return false;
        ++lineEnds;
    }
    return CountUnprintable(text) == lineEnds;
}

/// Does something with each part of a folded text: all but the first begin with a line end.
template <class Do>
void ForLines(std::string_view text, Do what) {
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\\'));
        what(line);
        text.remove_prefix(std::min(line.size() + 1, text.size()));
    }
}

/// In blocks of fixed length, copied so that nobody can write to them meanwhile: for wide instructions.
void Widen(std::string_view ascii, wchar_t* out) noexcept {
    constexpr std::size_t    kBlock = 16;
    std::array<char, kBlock> block;
    for (; ascii.size() >= kBlock; ascii.remove_prefix(kBlock), out += kBlock) {
        std::copy_n(ascii.begin(), kBlock, block.begin());
        for (std::size_t i = 0; i < kBlock; ++i)
            out[i] = static_cast<unsigned char>(block[i]);
    }
    std::copy(ascii.begin(), ascii.end(), out);
}

}  // namespace

bool CPreviewLines::TakeQuoted(std::string_view& text) noexcept {
    if (!Take('\'')) return false;
    // Most texts are over after a few characters.
    constexpr std::ptrdiff_t kFew  = 64;
    constexpr std::size_t    kStep = 8;
    const char* const        begin = mNext;
    const char* const        few   = begin + std::min(kFew, mEnd - begin);
    const char*              end   = begin;
    for (std::size_t count = kStep; count == kStep && few - end >= std::ptrdiff_t{kStep}; end += count)
        count = CountPlain(end);
    const bool over = *end == '\'';
    if (!over) {
        const std::size_t more = Between(end, mEnd).find('\'');
        if (more == std::string_view::npos) return false;
        end += more;
    }
    text      = Between(begin, end);
    mNext     = end + 1;
    mIsFolded = false;
    if (over) return true;
    mIsFolded = text.find('\\') != text.npos;
    return IsPlain(text);
}

/// A word, or a quoted text on one line.
bool CPreviewLines::TakeName(std::string_view& name) noexcept {
    if (*mNext == '\'') return TakeQuoted(name) && !name.empty() && !mIsFolded;
    if (!IsLetter(*mNext)) return false;
    const char* const end = EndOfRun(mNext, kRunWord);
    name                  = Between(std::exchange(mNext, end), end);
    return true;
}

/// A value that is no text between quotes, or stands in a list.
bool CPreviewLines::TakeValue() noexcept {
    constexpr std::ptrdiff_t kDigits = 9;  // fit any count
    std::string_view         value;
    if (IsDigit(*mNext)) {
        const char* const end = EndOfRun(mNext, kRunDigits);
        return end - std::exchange(mNext, end) <= kDigits;
    }
    return *mNext == '\'' ? TakeQuoted(value) : TakeName(value);
}

/// What stands behind the "[", with the "]".
bool CPreviewLines::TakeList() noexcept {
    SkipBlanks();
    if (Take(']')) return true;
    const bool mayBeCount = IsDigit(*mNext);
    for (bool first = true;; first = false) {
        if (!TakeValue()) return false;
        SkipBlanks();
        if (Take(']')) return true;
        if (!Take(',') && !(first && mayBeCount && Take(':'))) return false;
        SkipBlanks();
    }
}

bool CPreviewLines::TakeFrameName() noexcept {
    SkipBlanks();
    return *mNext == '\'' && TakeName(mName) && TakeLineEnd();
}

CPreviewLines::EKind CPreviewLines::Begin() noexcept {
    if (!TakeFrameName() || mDepth == kDepth) return EKind::kUnknown;
    mBlocks[mDepth++] = mName;
    return EKind::kBegin;
}

CPreviewLines::EKind CPreviewLines::End() noexcept {
    if (!TakeFrameName() || mDepth == 0 || mBlocks[mDepth - 1] != mName) return EKind::kUnknown;
    --mDepth;
    return EKind::kEnd;
}

CPreviewLines::EKind CPreviewLines::Next() noexcept {
    do {
        if (mNext == mEnd) return EKind::kUnknown;
    } while (TakeLineEnd());
    if (*mNext == '$') return Take("$begin ") ? Begin() : Take("$end ") ? End() : EKind::kUnknown;
    if (!TakeName(mName)) return EKind::kUnknown;
    SkipBlanks();
    EKind kind = EKind::kOther;
    bool  read = false;
    if (Take('=')) {
        SkipBlanks();
        if (*mNext == '\'') kind = EKind::kText;
        read = kind == EKind::kText ? TakeQuoted(mText) : TakeValue();
    } else if (Take('[')) {
        read = TakeList();
    }
    return read && TakeLineEnd() ? kind : EKind::kUnknown;
}

AString CPreviewLines::Text() const {
    std::wstring text(mText.size(), L'\0');
    std::size_t  length = 0;
    ForLines(mText, [&](std::string_view line) {
        Widen(line, text.data() + length);
        length += line.size();
    });
    text.resize(length);
    return AString(std::move(text));
}

std::string CPreviewLines::Unfolded() const {
    std::string text;
    ForLines(mText, [&](std::string_view line) { text += line; });
    return text;
}

bool CPreviewLines::IsSameName(std::string_view one, std::string_view other) noexcept {
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [](char a, char b) { return Lower(a) == Lower(b); });
}

}  // namespace ProjectPreviewHelper
