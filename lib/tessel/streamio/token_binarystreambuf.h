#pragma once

#include "tessel/streamio/token_streambuf.h"

#include <string>

namespace io {

/// The binary form: each token is a type byte, a length where its kind needs one, and a payload.
/// `token_binarystreambuf.cpp` draws the layout. Files are the same on every host.
class CToken_binarystreambuf : public CToken_streambuf {
  public:
    /// @param a_streambuf  borrowed; each of its units is a byte.
    explicit CToken_binarystreambuf(std::wstreambuf* a_streambuf, EDirection direction = EDirection::kRead)
        : CToken_streambuf(a_streambuf, direction) {}

    /// Goes past the next `Eol` token.
    void SkipToEol() override;
    /// Not available: fails an assertion.
    void        NewLine(AString& line) override;
    EFormatKind FormatKind() const noexcept override {
        return mSmallestIntegers ? kFormatBinarySmallest : kFormatBinary;
    }

    /// Integers are written in as few bytes as hold them (else in four). On at first; reading takes both.
    void SetSmallestIntegers(bool on) noexcept { mSmallestIntegers = on; }

    void WriteComment(std::wstring_view text) override;
    void WriteQuotedText(std::wstring_view text) override;
    void WriteKeyword(std::wstring_view text) override;
    void WriteSymbol(wchar_t ch) override;
    void WriteDouble(double value, int precision) override;
    void WriteFloat(float value, int precision) override;
    void WriteShort(std::int16_t value) override { WriteSigned(value); }
    void WriteInt(std::int32_t value) override { WriteSigned(value); }
    void WriteLong(std::int32_t value) override { WriteSigned(value); }
    void WriteUnsignedShort(std::uint16_t value) override { WriteUnsigned(value); }
    void WriteUnsignedInt(std::uint32_t value) override { WriteUnsigned(value); }
    void WriteUnsignedLong(std::uint32_t value) override { WriteUnsigned(value); }
    void WriteHex(std::uint32_t value) override { WriteUnsigned(value); }
    void WriteBool(bool value) override;
    void WriteText(std::wstring_view text) override;
    void WriteCData(std::wstring_view text) override;
    void WriteWhiteSpace(std::wstring_view text) override;
    void WriteEol(bool force) override;

    void WriteValueToken(const CToken& token) override;
    void WriteNameToken(const CToken& token) override;
    void WriteBlockName(const CToken& token) override;
    /// Writes the 0 byte by which the form is told from text.
    void StartOutput() override { PutByte(0); }

  protected:
    void ReadToken(CToken& token) override;

  private:
    bool ReadTokenOf(unsigned type, bool longLength, CToken& token);
    bool ReadText(ETokenType type, bool longLength, CToken& token);
    bool ReadSymbol(CToken& token);
    bool ReadNumber(unsigned type, CToken& token);
    /// Reads little-endian bytes; false when the data end first.
    bool ReadBytes(std::size_t count, std::uint64_t* value);

    void PutByte(std::uint64_t byte) { PutUnit(static_cast<wchar_t>(byte & 0xFF)); }
    void PutBytes(std::uint64_t value, std::size_t count);
    void PutText(ETokenType type, std::wstring_view text);
    void PutInteger(unsigned base, std::uint32_t value);
    void WriteSigned(std::int32_t value);
    void WriteUnsigned(std::uint32_t value);
    void PutExactNumber(const CToken& token);
    bool IsFrame(const CToken& word) const noexcept;

    bool        mSmallestIntegers = true;
    std::string mScratch;  ///< an encoded text
};

}  // namespace io
