#pragma once

#include "tessel/baseutils/assertion.h"
#include "tessel/streamio/block.h"
#include "tessel/streamio/block_func.h"
#include "tessel/streamio/token_istream.h"
#include "tessel/streamio/token_textstreambuf.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <memory>
#include <sstream>
#include <streambuf>
#include <string>
#include <string_view>
#include <vector>

/// What the tests of the block streams say in rows: text in, one line of text out.
namespace stream_support {

using namespace std::string_literals;
using namespace std::string_view_literals;

/// Each byte as one unit, as a stream on a file delivers them.
inline std::wstring Widen(std::string_view bytes) {
    std::wstring units;
    for (const char byte : bytes)
        units += static_cast<wchar_t>(static_cast<unsigned char>(byte));
    return units;
}

inline bool IsAscii(std::string_view bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](char byte) { return (byte & 0x80) == 0; });
}

/// Delivers its units in chunks, so that whatever is read is cut at every place.
class CChunkBuf : public std::wstreambuf {
  public:
    CChunkBuf(std::wstring units, std::size_t chunk) : mUnits(std::move(units)), mChunk(chunk) {}

  protected:
    int_type underflow() override {
        const std::size_t count = std::min(mChunk, mUnits.size() - mNext);
        if (count == 0) return traits_type::eof();
        // Somewhere else each time: what was delivered before is gone.
        mDelivered.assign(mUnits, mNext, count);
        mNext += count;
        setg(mDelivered.data(), mDelivered.data(), mDelivered.data() + count);
        return traits_type::to_int_type(mDelivered[0]);
    }

  private:
    std::wstring mUnits;
    std::size_t  mChunk;
    std::size_t  mNext = 0;
    std::wstring mDelivered;
};

inline constexpr std::size_t kChunkSizes[] = {1, 2, 3, 7, 64};

/// A stream over bytes, as on a file.
inline std::unique_ptr<io::CToken_istream> ByteStream(std::string_view bytes, std::uint32_t flags = 0) {
    return std::make_unique<io::CToken_istream>(std::make_unique<std::wistringstream>(Widen(bytes)), flags);
}

/// Printable ASCII as it is, other units as "<E9>".
inline std::string Escaped(std::wstring_view text) {
    std::string escaped;
    for (const wchar_t unit : text) {
        char hex[16];
        std::snprintf(hex, sizeof hex, "<%X>", static_cast<unsigned>(unit));
        escaped += unit >= 0x20 && unit < 0x7F ? std::string(1, static_cast<char>(unit)) : hex;
    }
    return escaped;
}

/// The shortest text that reads back to the same number.
inline std::string NumberText(double number) {
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

/// "word[a]", "int[5]", "eol"; a spelling that was kept follows "~".
inline std::string Dump(const io::CToken& token) {
    static constexpr const char* kTags[] = {
        "null",  "short", "int", "long", "ushort", "uint", "ulong",   "double", "float", "hex", "true",
        "false", "word",  "sq",  "dq",   "cdata",  "ws",   "comment", "sym",    "eol",   "eof", "error"};
    std::string dump = kTags[static_cast<std::size_t>(token.Type())];
    if (token.IsText()) return dump + "[" + Escaped(token.View()) + "]";
    const std::string spelling = token.Length() == 0 ? "" : "~" + Escaped(token.View());
    if (token.IsNumeric()) return dump + "[" + NumberText(token.Number()) + spelling + "]";
    return dump + spelling;
}

/// All tokens that are still to come, without the `Eof`; `lines`: each with its line.
inline std::string DumpRest(io::CToken_streambuf& tokens, bool lines = false) {
    std::string dump;
    while (tokens.NextToken().Type() != io::ETokenType::Eof) {
        dump += (dump.empty() ? "" : " ") + Dump(tokens.CurrentToken());
        if (lines) dump += "@" + std::to_string(tokens.LineNumber());
    }
    return dump;
}

/// A value as it would be written, more or less.
inline std::string DumpValue(const io::CToken& token) {
    using io::ETokenType;
    switch (token.Type()) {
        case ETokenType::Keyword:
            return Escaped(token.View());
        case ETokenType::SingleQuotedText:
            return "'" + Escaped(token.View()) + "'";
        case ETokenType::DoubleQuotedText:
            return "\"" + Escaped(token.View()) + "\"";
        case ETokenType::CData:
            return "<" + Escaped(token.View()) + ">";
        case ETokenType::Int:
            return NumberText(token.Number());
        case ETokenType::Null:
            return "-";
        default:
            return Dump(token);
    }
}

inline std::string Dump(const io::CBlock_item& item);

template <class List, class DumpOne>
std::string DumpList(const List& list, const char* separator, DumpOne dumpOne) {
    std::string dump;
    for (const auto& entry : list)
        dump += (&entry == &*list.begin() ? "" : separator) + dumpOne(entry);
    return dump;
}

/// "x=1 v[1, 2] f(1, a='b') A{y=2 !7@3}": the items of a block, then its errors as "!code@line".
inline std::string DumpItems(const io::CBlock& block) {
    std::string dump = DumpList(block.Items(), " ", [](const auto& item) { return Dump(*item); });
    for (auto error = block.ErrorsBegin(); error != block.ErrorsEnd(); ++error)
        dump +=
            (dump.empty() ? "!" : " !") + std::to_string(error->Code()) + "@" + std::to_string(error->Line());
    return dump;
}

inline std::string Dump(const io::CBlock_item& item) {
    const std::string name = Escaped(item.Name().View());
    if (item.IsBlock()) return name + "{" + DumpItems(dynamic_cast<const io::CBlock&>(item)) + "}";
    if (item.IsFunc()) {
        const auto& arguments = dynamic_cast<const io::CBlock_func&>(item).Arguments();
        return name + "(" + DumpList(arguments, ", ", [](const auto& a) { return Dump(*a); }) + ")";
    }
    if (item.IsVec())
        return name + "[" + DumpList(dynamic_cast<const io::CBlock_vec&>(item).Elements(), ", ", DumpValue) +
               "]";
    const std::string value = DumpValue(dynamic_cast<const io::CBlock_value&>(item).Value());
    return item.IsNamedValue() ? name + "=" + value : value;
}

/// Everything in a text, as a file holds it.
inline std::string DumpFile(io::CToken_istream& stream) {
    io::CBlock file;
    file.ReadFile(stream);
    return DumpItems(file);
}

/// Records failed assertions while it lives.
class CAssertions {
  public:
    CAssertions() : mPrevious(SetAssertHandler(&Record)), mDisabled(AssertionsDisabled()) {
        Seen().clear();
        SetAssertionsDisabled(false);
    }
    ~CAssertions() {
        SetAssertHandler(mPrevious);
        SetAssertionsDisabled(mDisabled);
    }
    CAssertions(const CAssertions&)            = delete;
    CAssertions& operator=(const CAssertions&) = delete;

    /// The texts of those that failed since the last call, separated by "; ".
    std::string Take() {
        std::string texts;
        texts.swap(Seen());
        return texts;
    }

  private:
    static std::string& Seen() {
        static std::string texts;
        return texts;
    }
    static int Record(const char*, unsigned, const char* expression, bool*) {
        Seen() += (Seen().empty() ? "" : "; ") + std::string(expression);
        return 0;
    }

    AssertHandler mPrevious;
    bool          mDisabled;
};

}  // namespace stream_support
