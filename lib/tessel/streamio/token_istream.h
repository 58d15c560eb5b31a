#pragma once

#include "tessel/streamio/abstract_istream.h"
#include "tessel/streamio/item_pool.h"
#include "tessel/streamio/streamio_error.h"
#include "tessel/streamio/token_grammar.h"
#include "tessel/streamio/token_streambuf.h"

#include <cstdint>
#include <memory>
#include <string>

namespace io {

class CBlock_index;

/// How deep blocks and functions may nest. An item beyond is refused with code 4
/// (`kStreamioInvalidBlockItem`): reading recurses, and the stack of a thread in somebody else's
/// process is not ours to fill.
inline constexpr unsigned kMaxNesting = 256;

/// Reads blocks and their items from tokens.
///
/// A failed expectation makes the stream fail; until `Clear()` every operation then returns at once
/// and answers false (unless sticky failure is switched off). Reading operations look at the
/// current token, reading one if there is none yet, and pass over line ends on the way.
class CToken_istream : public CAbstract_istream {
  public:
    /// Opens a file.
    /// @param flags    of `EOpenFlag`.
    /// @param grammar  borrowed for the stream's life; null is the shared default.
    CToken_istream(const AString& path, std::uint32_t flags, const CToken_grammar* grammar = nullptr);
    /// Opens a file whose characters the named locale converts.
    /// @throws std::runtime_error  the system does not know that locale.
    CToken_istream(const AString& path, const char* localeName);
    /// Takes a character stream over; its units are bytes. Text and binary data are told apart by
    /// the first of them, here and above.
    CToken_istream(std::unique_ptr<std::wistream> stream, std::uint32_t flags,
                   const CToken_grammar* grammar = nullptr);
    ~CToken_istream() override;

    bool good() const override { return CAbstract_istream::good(); }
    bool fail() const override { return CAbstract_istream::fail(); }

    /// True for the binary forms, whose lists need no commas.
    virtual bool IsCommaOptional() const;
    /// Makes the stream good again and goes to the next line.
    virtual void SkipAfterError();
    virtual void NextToken();
    /// Reads the begin keyword and the block's name; fails when they are not there.
    virtual void ReadBeginBlock(AString& name);
    /// Consumes the end keyword if it is next.
    virtual void ReadEndKeyword();
    /// Consumes the name behind an end keyword; fails when it is another.
    virtual void ReadEndBlock(const AString& name);
    /// Reads the text of the next token and consumes it.
    virtual void ReadName(AString& name);
    /// Consumes this delimiter; fails when something else is next.
    virtual void ReadDelimiter(wchar_t c);
    /// The token to be read next; valid until the stream is used again.
    virtual const CToken& CurrentToken();
    /// The line reached, 1-based; that of the current token.
    virtual std::uint32_t LineNumber() const;
    /// Whether a block of this name begins here. Consumes nothing.
    virtual bool IsBlockNamed(const AString& name);
    /// Searches forward for a block of this name, on any level, passing over block ends. True: the
    /// stream stands at the block's begin keyword. False: it is back where it was, and failed.
    virtual bool FindBlock(const AString& name);
    virtual bool AtBlockBegin();
    virtual bool AtBeginKeyword();
    virtual bool AtEndKeyword();
    /// Whether the next token can be a name and has this text.
    virtual bool CurrentTokenIs(const wchar_t* text);
    virtual bool AtDelimiter(wchar_t c);
    /// Whether a line ends here; looks at the current token as it stands.
    virtual bool AtEndOfLine() const;
    virtual bool AtEndOfFile();
    virtual bool AtNumber();
    virtual bool CurrentNumberEquals(double number);
    /// Makes the stream good again.
    virtual void Clear() { mGood = true; }
    /// Copies the current token and advances.
    virtual void ReadToken(CToken& token);
    /// Makes a token that was read the current one again.
    /// @param offset  what `TokenOffset` answered before it was read.
    void PushBackToken(const CToken& token, ACharStreamOff offset = kUnknownOffset);

    void SetBeginKeyword(const AString& keyword) override;
    void SetEndKeyword(const AString& keyword) override;

    CAbstract_stream_pos GetPos() override;
    void                 SetPos(const CAbstract_stream_pos& pos) override;

    /// A failed expectation consumes the token that failed it. Off at first.
    void SetSkipOnMismatch(bool on) noexcept { mSkipOnMismatch = on; }
    /// Operations on a failed stream do nothing. On at first.
    void SetStickyFailure(bool on) noexcept { mStickyFailure = on; }
    /// Line ends are passed over. On at first.
    void SetSkipEndOfLine(bool on) noexcept { mSkipEndOfLine = on; }

    /// Lets the data end after so many more units, or so many more items, arguments and elements: what is
    /// read of a file from anywhere must not fill the memory.
    void SetReadLimits(std::size_t units, std::size_t items);
    /// Item readers say so for each item, argument and element.
    void CountItem() noexcept {
        if (mItemsLeft != 0) --mItemsLeft;
    }
    /// Where the current token begins, in bytes (in memory: units); -1 when that is not known.
    ACharStreamOff TokenOffset();

    /// The token buffer, for its settings.
    CToken_streambuf& TokenBuffer() noexcept { return *mTokenStreamBuf; }

    /// Marks the stream failed, and consumes the token that did it when that is asked for.
    void Fail();
    /// An error of this code at the current line, to be thrown.
    XStreamioError Error(EStreamioError code) const { return {code, LineNumber()}; }

    /// Whether lines may be read where their characters lie (`CBlockLines`): the stream stands at the end
    /// or start of a line, and reads with keywords that can be told from all else.
    bool CanReadLines() const noexcept {
        const ETokenType at = mTokenStreamBuf->CurrentToken().Type();
        return mGood && mSkipEndOfLine && (at == ETokenType::Eol || at == ETokenType::Null) &&
               !mTokenStreamBuf->HasPushedBackTokens() && mBeginKind == ETokenType::Keyword &&
               mEndKind == ETokenType::Keyword;
    }
    bool MayCountItems(std::size_t items) const noexcept { return items <= mItemsLeft; }
    void CountItems(std::size_t items) noexcept { mItemsLeft -= items; }

    /// Consumes the block that begins here, with all that it holds.
    void SkipBlock();
    /// Whether no further level of nesting is allowed.
    bool IsNestingFull() const noexcept { return mDepth == kMaxNesting; }
    /// `AtDelimiter` for the item readers, who ask again and again.
    bool IsAt(wchar_t c) { return Begin() && Load().IsSymbol(c); }
    /// Counts a level of nesting while it lives.
    /// @throws XStreamioError  code 4 at the level past `kMaxNesting`.
    class CNesting {
      public:
        explicit CNesting(CToken_istream& stream);
        ~CNesting() { --mStream.mDepth; }
        CNesting(const CNesting&)            = delete;
        CNesting& operator=(const CNesting&) = delete;

      private:
        CToken_istream& mStream;
    };

    /// While it lives, what is read belongs to one tree: its items come from one pool, and equal texts
    /// are shared. Trees read one after the other share nothing.
    class CTree {
      public:
        explicit CTree(CToken_istream& stream);
        ~CTree();
        CTree(const CTree&)            = delete;
        CTree& operator=(const CTree&) = delete;

      private:
        CToken_istream& mStream;
    };
    /// Where the items of the tree that is being read are made; null outside of any.
    CItemPool* ItemPool() noexcept { return mTrees != 0 ? &mItemPool : nullptr; }

  protected:
    /// For streams over units of another kind.
    CToken_istream(std::unique_ptr<std::wistream> stream, std::uint32_t flags, const CToken_grammar* grammar,
                   ECodeCvt codeCvt);

  private:
    void OpenIndex(bool apply);
    bool CanLook() const noexcept { return mGood || !mStickyFailure; }
    bool Begin() noexcept {
        if (!CanLook()) return false;
        mGood = true;
        return true;
    }
    const CToken& Load() {
        const CToken* token = &mTokenStreamBuf->CurrentToken();
        while (token->Type() == ETokenType::Null || (mSkipEndOfLine && token->Type() == ETokenType::Eol))
            token = &mTokenStreamBuf->NextToken();
        return *token;
    }
    bool       IsKeyword(ETokenType kind, const AString& keyword);
    ETokenType KindOf(const AString& keyword) const;
    bool       SearchBlock(const AString& name);
    /// Consumes the begin of a block, the end of one with its name, or any other token; returns by how
    /// many levels that goes up.
    int PassOver();
    /// Whether the begin keyword is next and a name that `accepts` follows it. Consumes nothing.
    template <class Accepts>
    bool LooksAtBlock(Accepts accepts);

    const CToken_grammar*             mGrammar;
    std::unique_ptr<CToken_streambuf> mTokenStreamBuf;
    bool                              mSkipOnMismatch = false;
    bool                              mStickyFailure  = true;
    bool                              mSkipEndOfLine  = true;
    ETokenType                        mBeginKind;
    ETokenType                        mEndKind;
    std::unique_ptr<CBlock_index>     mIndex;  ///< what `FindBlock` goes by, if anything
    unsigned                          mDepth = 0;
    CItemPool                         mItemPool;
    unsigned                          mTrees     = 0;  ///< that are being read, one within the other
    std::size_t                       mItemsLeft = static_cast<std::size_t>(-1);
};

/// The same over text in memory, one character a unit.
class CToken_istring : public CToken_istream {
  public:
    explicit CToken_istring(const AString& text, std::uint32_t flags = 0,
                            const CToken_grammar* grammar = nullptr);
};

}  // namespace io
