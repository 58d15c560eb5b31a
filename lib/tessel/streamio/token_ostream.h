#pragma once

#include "tessel/streamio/abstract_ostream.h"
#include "tessel/streamio/streamio_object.h"
#include "tessel/streamio/token_grammar.h"
#include "tessel/streamio/token_streambuf.h"

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace io {

class CBlock_index;

/// Writes blocks and their items as tokens.
///
/// The operations for single tokens do what they are told: an empty text writes nothing, a text that
/// is quoted already is written as it stands. `WriteName` and `WriteValue`, by which the block model
/// writes, quote whatever would not read back as the same.
///
/// A file is written by, for example:
///
///     io::CToken_ostream output(path, io::kOpenReplace, &io::CToken_grammar_default::Shared());
///     block.Write(output);
///     if (!output.Close()) ...  // not everything was written
///
/// Mind both arguments: no flags means that an existing file is kept and written behind its end, and a null
/// grammar means the binary form, whatever the file holds.
class CToken_ostream : public CAbstract_ostream {
  public:
    /// Opens a file.
    /// @param flags    of `EOpenFlag`; `kOpenReadIndex` here means: build an index, written at the end.
    ///                 Without `kOpenReplace` an existing file is written behind its end; text begins on a
    ///                 line of its own there: a last line without a line end gets one.
    /// @param grammar  borrowed for the stream's life. Null writes the binary form, as `kOpenBinary` does:
    ///                 give `&CToken_grammar_default::Shared()` for text.
    CToken_ostream(const AString& path, std::uint32_t flags, const CToken_grammar* grammar = nullptr);
    /// Takes a character stream over; its units are bytes.
    CToken_ostream(std::unique_ptr<std::wostream> stream, std::uint32_t flags,
                   const CToken_grammar* grammar = nullptr);
    ~CToken_ostream() override;

    bool good() const override;
    bool fail() const override;
    /// Writes the index if one was built, hands everything to the system and closes the file. False when
    /// anything could not be written. What is written afterwards fails the stream.
    bool Close();

    virtual bool IsCommaOptional() const;
    /// A line break, unless the last thing written was one.
    virtual void NewLine();
    virtual void ForceNewLine();
    virtual void Indent(std::size_t width);
    virtual void Unindent();

    virtual void WriteIdentifier(const AString& text);    ///< bare if it is one word, else quoted
    virtual void WriteQuotedString(const AString& text);  ///< as it stands if it is quoted already
    virtual void WriteDelimiter(wchar_t c);
    virtual void WriteComment(const AString& text);
    virtual void WriteBool(bool value);
    virtual void WriteShort(std::int16_t value);
    virtual void WriteInt(std::int32_t value);
    virtual void WriteLong(std::int32_t value);
    virtual void WriteUnsignedShort(std::uint16_t value);
    virtual void WriteUnsignedInt(std::uint32_t value);
    virtual void WriteUnsignedLong(std::uint32_t value);
    virtual void WriteFloat(float value);
    virtual void WriteDouble(double value);

    /// Opens and closes a block. An unnamed one cannot be indexed: an assertion says so.
    virtual void WriteBeginBlock(const AString& name);
    virtual void WriteBeginBlock();
    virtual void WriteEndBlock(const AString& name);
    virtual void WriteEndBlock();

    /// The same for the block model: everything reads back as it is.
    void WriteBeginBlock(const CToken& name);
    void WriteEndBlock(const CToken& name);
    void WriteName(const CToken& name) { mTokenStreamBuf->WriteNameToken(name); }
    void WriteValue(const CToken& value) { mTokenStreamBuf->WriteValueToken(value); }
    /// Between list elements: a comma and a blank, where the form needs them.
    void WriteSeparator();
    /// Before the first element: a blank, where the form has such.
    void WriteBlank();

    void SetBeginKeyword(const AString& keyword) override;
    void SetEndKeyword(const AString& keyword) override;

    CAbstract_stream_pos GetPos() override;
    void                 SetPos(const CAbstract_stream_pos& pos) override;

    /// Block names are quoted even where they are single words. On at first.
    void SetQuoteBlockNames(bool on) noexcept { mQuoteBlockNames = on; }
    /// Several settings at once, of `EOutputOption`.
    void SetOptions(std::uint32_t options);
    /// Marks the stream failed.
    void Fail() noexcept { mGood = false; }
    /// Whether blocks look as they do without settings: no index notes them, names are quoted, lines begin
    /// with ASCII.
    bool HasPlainFrames() const noexcept { return !mBuildIndex && mQuoteBlockNames && IndentChar() < 0x80; }
    /// The number of blocks that are open.
    std::size_t Level() const noexcept { return mLevel; }

    /// The token buffer, for its settings; another one from `Close()` on.
    CToken_streambuf& TokenBuffer() noexcept { return *mTokenStreamBuf; }

    /// What a line begins with while an estimate is made of what is nested that deep.
    std::size_t EstimatedIndentation() const {
        if (IsCommaOptional()) return 0;  // the binary form has none
        const std::size_t perChar = IndentChar() < 0x80 ? 1 : 3;
        return mTokenStreamBuf->IndentationLength() + perChar * mEstimateLevel * IndentWidth();
    }
    /// Counts a level of nesting for an estimate while it lives.
    class CEstimateLevel {
      public:
        explicit CEstimateLevel(const CToken_ostream& stream) noexcept : mStream(stream) {
            ++mStream.mEstimateLevel;
        }
        ~CEstimateLevel() { --mStream.mEstimateLevel; }
        CEstimateLevel(const CEstimateLevel&)            = delete;
        CEstimateLevel& operator=(const CEstimateLevel&) = delete;

      private:
        const CToken_ostream& mStream;
    };

  protected:
    /// For streams over units of another kind.
    CToken_ostream(std::unique_ptr<std::wostream> stream, std::uint32_t flags, const CToken_grammar* grammar,
                   ECodeCvt codeCvt);

  private:
    void Finish();
    void WriteKeyword(const AString& keyword);
    void WriteHandName(const AString& name);
    void WriteExactName(const CToken& name);
    void OpenBlock(const AString* indexName);
    void CloseBlock();
    template <class Write>
    void WithCharFormat(Write write);

    const CToken_grammar*             mGrammar;  ///< null: the binary form
    std::unique_ptr<CToken_streambuf> mTokenStreamBuf;
    bool                              mClosed          = false;
    std::size_t                       mLevel           = 0;
    mutable std::size_t               mEstimateLevel   = 0;
    bool                              mBuildIndex      = false;
    bool                              mQuoteBlockNames = true;
    std::unique_ptr<CBlock_index>     mIndex;
    std::vector<AString>              mPath;  ///< names of the open blocks, while an index is built
};

/// The same into text in memory, one character a unit.
class CToken_ostring : public CToken_ostream {
  public:
    /// @param grammar  null writes the binary form.
    explicit CToken_ostring(std::uint32_t flags = 0, const CToken_grammar* grammar = &DefaultGrammar());

    AString String() const;
    /// Makes room for so many units.
    void Reserve(std::size_t units);

  private:
    static const CToken_grammar& DefaultGrammar() noexcept;
};

}  // namespace io
