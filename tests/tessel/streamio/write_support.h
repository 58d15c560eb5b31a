#pragma once

#include "tessel/streamio/contents.h"
#include "tessel/streamio/token_binarystreambuf.h"

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>

/// What the tests of writing say in rows: what is written in, the whole text or all bytes out.
namespace write_support {

using namespace stream_support;
using namespace io;

/// As it is on paper: line ends and tabs stay, other units beyond printable ASCII as "<E9>".
inline std::string Shown(std::wstring_view text) {
    std::string shown;
    for (const wchar_t unit : text)
        shown +=
            unit == L'\n' || unit == L'\t' ? std::string(1, static_cast<char>(unit)) : Escaped({&unit, 1});
    return shown;
}

/// Bytes as "3D 05", printable text among them as it is behind a dot: ".a".
inline std::string Hex(std::wstring_view units) {
    std::string hex;
    for (const wchar_t unit : units) {
        char        two[16];
        const auto  code    = static_cast<unsigned>(unit);
        const bool  letter  = (unit >= L'a' && unit <= L'z') || unit == L'$';
        const char* pattern = letter ? ".%c" : "%02X";
        std::snprintf(two, sizeof two, pattern, code);
        if (!hex.empty()) hex += ' ';
        hex += two;
    }
    return hex;
}

inline std::string Narrow(std::wstring_view units) {
    return {units.begin(), units.end()};
}

// --- single writing operations

using Op  = std::function<void(CToken_streambuf&)>;
using Ops = std::vector<Op>;

inline Op Kw(std::wstring_view text) {
    return [text](CToken_streambuf& b) { b.WriteKeyword(text); };
}
inline Op Sym(wchar_t ch) {
    return [ch](CToken_streambuf& b) { b.WriteSymbol(ch); };
}
inline Op Quoted(std::wstring_view text) {
    return [text](CToken_streambuf& b) { b.WriteQuotedText(text); };
}
inline Op Text(std::wstring_view text) {
    return [text](CToken_streambuf& b) { b.WriteText(text); };
}
inline Op CDataOp(std::wstring_view text) {
    return [text](CToken_streambuf& b) { b.WriteCData(text); };
}
inline Op Blank(std::wstring_view text = L" ") {
    return [text](CToken_streambuf& b) { b.WriteWhiteSpace(text); };
}
inline Op Comment(std::wstring_view text) {
    return [text](CToken_streambuf& b) { b.WriteComment(text); };
}
inline Op Int(std::int32_t value) {
    return [value](CToken_streambuf& b) { b.WriteInt(value); };
}
inline Op Unsigned(std::uint32_t value) {
    return [value](CToken_streambuf& b) { b.WriteUnsignedInt(value); };
}
inline Op HexOp(std::uint32_t value) {
    return [value](CToken_streambuf& b) { b.WriteHex(value); };
}
inline Op Real(double value, int precision = -1) {
    return [value, precision](CToken_streambuf& b) { b.WriteDouble(value, precision); };
}
inline Op Single(float value, int precision = -1) {
    return [value, precision](CToken_streambuf& b) { b.WriteFloat(value, precision); };
}
inline Op Bool(bool value) {
    return [value](CToken_streambuf& b) { b.WriteBool(value); };
}
inline Op Eol(bool force = false) {
    return [force](CToken_streambuf& b) { b.WriteEol(force); };
}
inline Op Value(const CToken& token) {
    return [token](CToken_streambuf& b) { b.WriteValueToken(token); };
}

template <class Buffer>
std::wstring UnitsOf(const Ops& ops, const std::function<void(Buffer&)>& prepare, ECodeCvt codeCvt,
                     const CBase_grammar* grammar = &CToken_grammar_default::Shared()) {
    std::wstringbuf units(std::ios_base::out);
    const auto      make = [&] {
        if constexpr (std::is_same_v<Buffer, CToken_textstreambuf>)
            return std::make_unique<Buffer>(&units, *grammar, EDirection::kWrite);
        else
            return std::make_unique<Buffer>(&units, EDirection::kWrite);
    };
    const auto buffer = make();
    buffer->SetCodeCvt(codeCvt);
    if (prepare) prepare(*buffer);
    for (const Op& op : ops)
        op(*buffer);
    EXPECT_FALSE(buffer->WriteFailed());
    return units.str();
}

/// What the operations write as text.
inline std::string WrittenText(const Ops&                                        ops,
                               const std::function<void(CToken_textstreambuf&)>& prepare = nullptr) {
    return Shown(UnitsOf<CToken_textstreambuf>(ops, prepare, kWideUnits));
}

/// What they write in the binary form.
inline std::string WrittenBytes(const Ops&                                          ops,
                                const std::function<void(CToken_binarystreambuf&)>& prepare = nullptr) {
    return Hex(UnitsOf<CToken_binarystreambuf>(ops, prepare, kUtf8Units));
}

// --- streams

/// A stream that writes into memory as into a file, each unit a byte.
class CMemoryFile {
  public:
    explicit CMemoryFile(EForm form = EForm::kText, std::uint32_t flags = 0)
        : CMemoryFile(std::make_unique<std::wostringstream>(), form, flags) {}

    CToken_ostream& operator*() { return mStream; }
    CToken_ostream* operator->() { return &mStream; }
    /// Everything written so far, one unit each byte.
    std::wstring Units() const { return mChars->str(); }
    /// Closes the stream and returns all bytes.
    std::string Bytes() {
        EXPECT_TRUE(mStream.Close());
        return Narrow(Units());
    }

  private:
    CMemoryFile(std::unique_ptr<std::wostringstream> chars, EForm form, std::uint32_t flags)
        : mChars(chars.get()), mStream(std::move(chars), flags, GrammarOf(form)) {}

    std::wostringstream* mChars;
    CToken_ostream       mStream;
};

// --- trees

inline CToken Sq(std::wstring_view text) {
    return CToken(ETokenType::SingleQuotedText, text);
}
inline CToken Dq(std::wstring_view text) {
    return CToken(ETokenType::DoubleQuotedText, text);
}
inline CToken CData(std::wstring_view text) {
    return CToken(ETokenType::CData, text);
}
inline CToken Word(std::wstring_view text) {
    return CToken(ETokenType::Keyword, text);
}
inline CToken Number(double number, ETokenType type = ETokenType::Int) {
    return CToken(type, number);
}
inline CToken Truth(bool value) {
    return CToken(value ? ETokenType::True : ETokenType::False);
}

using Args  = std::vector<CBlockFuncArgPtr>;
using Items = std::initializer_list<CBlockItemPtr>;

inline CBlockFuncArgPtr Plain(const CToken& value) {
    return CBlockFuncArgPtr(new CBlock_value(value));
}
inline CBlockFuncArgPtr Named(const CToken& name, const CToken& value) {
    auto* item = new CBlock_named_value;
    item->SetNameToken(name);
    item->SetValue(value);
    return CBlockFuncArgPtr(item);
}
inline CBlockFuncArgPtr Vec(const CToken& name, std::initializer_list<CToken> elements) {
    auto* item = new CBlock_vec;
    item->SetNameToken(name);
    for (const CToken& element : elements)
        item->Append(element);
    return CBlockFuncArgPtr(item);
}
inline CBlockFuncArgPtr Func(const CToken& name, const Args& arguments) {
    auto* item = new CBlock_func;
    item->SetNameToken(name);
    for (const CBlockFuncArgPtr& argument : arguments)
        item->Append(argument);
    return CBlockFuncArgPtr(item);
}
inline CBlockItemPtr Item(const CBlockFuncArgPtr& item) {
    return CBlockItemPtr(item.Get());
}
inline CBlockPtr Block(const CToken& name, std::initializer_list<CBlockFuncArgPtr> items, Items blocks = {}) {
    CBlockPtr block(new CBlock);
    block->SetNameToken(name);
    for (const CBlockFuncArgPtr& item : items)
        block->AddItem(Item(item));
    for (const CBlockItemPtr& item : blocks)
        block->AddItem(item);
    return block;
}

/// A block read from a text as a file holds it.
inline CBlock Parsed(std::string_view text) {
    const auto stream = ByteStream(text);
    CBlock     file;
    file.ReadFile(*stream);
    return file;
}

}  // namespace write_support
