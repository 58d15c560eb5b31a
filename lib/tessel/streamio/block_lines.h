#pragma once

#include "tessel/streamio/block.h"
#include "tessel/streamio/in_place_cursor.h"
#include "tessel/streamio/token_istream.h"

#include <cstddef>

namespace io {

/// Reads the lines of a block where their characters lie: a named value, a vector, a function, the begin
/// or the end of a block, each with nothing else on its line. That is what a writer writes, so nearly all
/// lines are read here. Any other line is left alone, up to its begin: it has its turn with the item
/// readers, who know the whole syntax and its errors. What is read is the same either way.
class CBlockLines {
  public:
    explicit CBlockLines(CToken_istream& stream) : mStream(stream), mBuffer(stream.TokenBuffer()) {}

    /// Reads lines into the block, from the stream's place on, which must be a line end or the start.
    /// @return whether the block's own end was the last line read.
    bool Read(CBlock& block);

  private:
    bool          Open();
    void          Close();
    bool          ReadLines(CBlock& block);
    bool          ReadBegin(CBlock& block);
    bool          ReadEnd(const CBlock& block);
    CBlockItemPtr ReadItem(CToken name);
    CBlockItemPtr ReadNamedValue(CToken name);
    CBlockItemPtr ReadVec(CToken name);
    CBlockItemPtr ReadFunc(CToken name);
    bool          ReadElements(CBlock_vec& vec);
    bool          ReadArgument(CBlock_func& func);
    bool          IsKeyword(const CToken& token, const AString& keyword) const;
    void          Accept();

    CToken_istream&   mStream;
    CToken_streambuf& mBuffer;
    CInPlaceCursor    mCursor;
    CInPlaceCursor    mAccepted;   ///< behind the last line that was read
    std::size_t       mItems = 0;  ///< items, elements and arguments of the line being read
};

}  // namespace io
