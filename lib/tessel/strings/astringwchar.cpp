#include "tessel/strings/astringwchar.h"

#include "tessel/baseutils/assertion.h"
#include "tessel/strings/astring_buf.h"
#include "tessel/strings/astring_observer.h"
#include "tessel/strings/wide_scratch.h"

#include <algorithm>
#include <climits>
#include <cwchar>
#include <iterator>
#include <new>

AStringObserver astring_detail::gObserver = nullptr;

AStringObserver SetAStringObserver(AStringObserver observer) noexcept {
    return std::exchange(astring_detail::gObserver, observer);
}

namespace {

constexpr unsigned kCodePages[] = {platform::kCodePageAnsi, platform::kCodePageUtf8, platform::kCodePageOem,
                                   1252, 932};
static_assert(std::size(kCodePages) == kCp932Encoding + 1, "one for each encoding, in its order");

/// Room that must be there: short memory is no failed conversion, and loses no text silently.
template <typename TChar>
unsigned RequireCapacity(ABuffer<TChar>& buffer, unsigned capacity) {
    const unsigned held = buffer.EnsureCapacity(capacity);
    if (held < capacity) throw std::bad_alloc();
    return held;
}

/// Converts into the buffer and sets its length; 0 when the text cannot be converted.
void Widen(const char* text, int length, unsigned codePage, ABuffer<wchar_t>& buffer) {
    buffer.SetLength(0);
    unsigned capacity =
        length > 0 ? RequireCapacity(buffer, static_cast<unsigned>(length)) : buffer.Capacity();
    for (;;) {
        unsigned  error = 0;
        const int count = platform::MultiByteToWide(codePage, text, length, buffer.Data(),
                                                    static_cast<int>(capacity), &error);
        if (count == 0) {
            if (capacity == 0 || error != platform::kErrorInsufficientBuffer) return;
            capacity = 0;  // asks for the size only
        } else if (capacity == 0) {
            capacity = RequireCapacity(buffer, static_cast<unsigned>(count));
        } else {
            const bool endsInNul = buffer[static_cast<std::size_t>(count) - 1] == 0;
            return buffer.SetLength(static_cast<unsigned>(count) - endsInNul);
        }
    }
}

/// -1, 0 or 1; the units that decide are compared in lower case.
int CompareFolded(wchar_t a, wchar_t b) noexcept {
    if (a == b) return 0;
    a = AString::LowerChar(a);
    b = AString::LowerChar(b);
    return a < b ? -1 : a > b ? 1 : 0;
}

/// Compares at most `count` units, up to the NUL of `a`. The NUL of the shorter text takes part, so
/// that a prefix is less.
int CompareFolded(const wchar_t* a, const wchar_t* b, std::size_t count) noexcept {
    for (std::size_t i = 0; i < count; ++i) {
        const int result = CompareFolded(a[i], b[i]);
        if (result != 0 || a[i] == 0) return result;
    }
    return 0;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Assignment and conversion

AString& AString::Set(const wchar_t* text) {
    TESSEL_ASSERT_TEXT(text != nullptr, "a_string != 0");
    text != nullptr ? mText.assign(text) : mText.erase();
    return *this;
}

AString& AString::Set(const wchar_t* text, std::size_t count) {
    TESSEL_ASSERT_TEXT(text != nullptr, "a_string != 0");
    text != nullptr ? mText.assign(text, count) : mText.erase();
    return *this;
}

AString& AString::Set(const char* text, AStringEncoding encoding, int length) {
    TESSEL_ASSERT_TEXT(text != nullptr, "a_string != 0");
    mText.clear();
    if (text == nullptr || length == 0) return *this;
    CWideScratch scratch;
    Widen(text, length < 0 ? -1 : length, kCodePages[encoding], *scratch);
    if (scratch->Length() != 0) mText.assign(scratch->Data(), scratch->Length());
    return *this;
}

void AString::Assign(const wchar_t* text, int count) {
    if (text == nullptr || count == 0)
        mText.clear();
    else if (count > 0)
        mText.assign(text, static_cast<std::size_t>(count));
    else
        mText.assign(text);
}

AString& AString::operator+=(const wchar_t* text) {
    TESSEL_ASSERT_TEXT(text != nullptr, "a_string != 0");
    if (text != nullptr) mText += text;
    return *this;
}

std::string AString::ToNarrow(AStringEncoding encoding) const {
    if (mText.empty() || mText.size() > INT_MAX) return {};
    const unsigned codePage = kCodePages[encoding];
    const auto     length   = static_cast<unsigned>(mText.size());
    const unsigned roomy    = length > INT_MAX / 4 ? INT_MAX : length * 4;

    ABuffer<char>  buffer;
    const unsigned capacity = RequireCapacity(buffer, encoding == kCp1252Encoding ? length + 1 : roomy);
    const auto     convert  = [&](char* out, unsigned room, unsigned* error) {
        return platform::WideToMultiByte(codePage, mText.data(), static_cast<int>(length), out,
                                              static_cast<int>(room), error);
    };
    unsigned error = 0;
    int      count = convert(buffer.Data(), capacity - 1, &error);
    if (count == 0 && error == platform::kErrorInsufficientBuffer) {
        const auto needed = static_cast<unsigned>(convert(nullptr, 0, &error));
        RequireCapacity(buffer, needed + 1);
        count = convert(buffer.Data(), needed, &error);
    }
    if (count == 0) return {};

    auto end = static_cast<std::size_t>(count);
    if (buffer[end - 1] == '\0') --end;
    buffer[end] = '\0';
    buffer.SetLength(static_cast<unsigned>(end));
    return {buffer.Data(), buffer.Length()};
}

std::size_t AString::NarrowSize(AStringEncoding encoding) const {
    if (mText.empty() || mText.size() > INT_MAX) return 0;
    unsigned error = 0;
    return static_cast<std::size_t>(platform::WideToMultiByte(
        kCodePages[encoding], mText.data(), static_cast<int>(mText.size()), nullptr, 0, &error));
}

std::size_t AString::NarrowSize(const wchar_t* text, AStringEncoding encoding) {
    return text != nullptr ? AString(text).NarrowSize(encoding) : 0;
}

// ---------------------------------------------------------------------------------------------
// Formatting

void AString::Format(const wchar_t* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    FormatV(format, arguments);
    va_end(arguments);
}

void AString::FormatV(const wchar_t* format, std::va_list arguments) {
    TESSEL_ASSERT(format != 0);
    if (format == nullptr) return Clear();
    // What cannot be formatted looks like what does not fit: it must not be tried for ever.
    constexpr unsigned kLargest = 1u << 26;

    CWideScratch scratch;
    unsigned     size  = kMaxFormatBufferSize / 2;
    int          count = -1;
    while (count < 0 && size < kLargest) {
        size = scratch->EnsureCapacity(2 * size);
        if (size == 0) break;
        std::va_list again;
        va_copy(again, arguments);
        count = platform::FormatWide(scratch->Data(), size, format, again);
        va_end(again);
    }
    if (count > 0)
        mText.assign(scratch->Data(), static_cast<std::size_t>(count));
    else
        mText.clear();
}

// ---------------------------------------------------------------------------------------------
// Comparison

int AString::Compare(const AString& other) const {
    astring_detail::Notify({CStringCall::kCompare, mText, other.mText});
    return this == &other ? 0 : mText.compare(other.mText);
}

int AString::CompareNoCase(const AString& other) const {
    astring_detail::Notify({CStringCall::kCompareNoCase, mText, other.mText});
    return this == &other ? 0 : CompareFolded(mText.c_str(), other.mText.c_str(), mText.size() + 1);
}

int AString::CompareNoCase(std::size_t pos, std::size_t count, const AString& other) const {
    astring_detail::Notify({CStringCall::kCompareNoCasePart, mText, other.mText, pos, count});
    if (count == 0 || pos >= mText.size()) return other.IsEmpty() ? 0 : -1;
    return CompareFolded(mText.c_str() + pos, other.mText.c_str(), std::min(count, mText.size() - pos + 1));
}

// ---------------------------------------------------------------------------------------------
// Case, slices, white space

void AString::MakeUpper() noexcept {
    std::transform(mText.begin(), mText.end(), mText.begin(), &UpperChar);
}

void AString::MakeLower() noexcept {
    std::transform(mText.begin(), mText.end(), mText.begin(), &LowerChar);
}

AString AString::Upper() const {
    AString upper(*this);
    upper.MakeUpper();
    return upper;
}

AString AString::Left(std::ptrdiff_t count) const {
    return Mid(0, count);
}

AString AString::Right(std::ptrdiff_t count) const {
    return count > 0 ? Mid(std::ssize(mText) - std::min(count, std::ssize(mText))) : AString();
}

AString AString::Mid(std::ptrdiff_t pos, std::ptrdiff_t count) const {
    const auto start = static_cast<std::size_t>(std::max<std::ptrdiff_t>(pos, 0));
    if (count <= 0 || start >= mText.size()) return {};
    return AString(mText.substr(start, static_cast<std::size_t>(count)));
}

AString AString::Mid(std::ptrdiff_t pos) const {
    return Mid(pos, std::ssize(mText));
}

void AString::TrimLeft() {
    mText.erase(mText.begin(), std::find_if_not(mText.begin(), mText.end(), &platform::IsSpace));
}

void AString::TrimRight() {
    mText.erase(std::find_if_not(mText.rbegin(), mText.rend(), &platform::IsSpace).base(), mText.end());
}

void AString::Trim() {
    TrimLeft();
    TrimRight();
}

bool AString::IsIdentifier() const noexcept {
    const auto isFirst = [](wchar_t unit) { return unit == L'_' || platform::IsAlpha(unit); };
    const auto isOther = [](wchar_t unit) { return unit == L'_' || platform::IsAlnum(unit); };
    return !mText.empty() && isFirst(mText[0]) && std::all_of(mText.begin() + 1, mText.end(), isOther);
}
