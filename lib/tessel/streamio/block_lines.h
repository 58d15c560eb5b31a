#pragma once

#include "tessel/streamio/block.h"
#include "tessel/streamio/frame_words.h"
#include "tessel/streamio/in_place_cursor.h"
#include "tessel/streamio/item_pool.h"
#include "tessel/streamio/token_istream.h"

#include <cstddef>
#include <string_view>

namespace io {

/// Reads the lines of a block where their characters lie: a named value, a vector, a function, the begin
/// or the end of a block, each with nothing else on its line. That is what a writer writes, so nearly all
/// lines are read here. Any other line is left alone, up to its begin: it has its turn with the item
/// readers, who know the whole syntax and its errors. What is read is the same either way.
class CBlockLines {
  public:
    /// While a tree is read.
    explicit CBlockLines(CToken_istream& stream)
        : mStream(stream),
          mBuffer(stream.TokenBuffer()),
          mPool(stream.ItemPool()),
          mFrame(stream.BeginKeyword().Str(), stream.EndKeyword().Str()) {}

    /// Whether the items are those of a block, which has an end, or of a file.
    enum class EScope { kBlock, kFile };

    /// Reads lines into the block, from the stream's place on, which must be a line end or the start.
    /// @return whether the block's own end was the last line read.
    bool Read(CBlock& block, EScope scope);

  private:
    bool          Open();
    void          Close();
    bool          ReadLines(CBlock& block, EScope scope);
    bool          ReadBegin(CBlock& block);
    bool          ReadEnd(const CBlock& block);
    bool          ReadNamedValue(CBlock& block, CToken& name);
    bool          ReadList(CBlock& block, CToken& name, wchar_t open);
    bool          EndItem();
    bool          Drop(CBlockItemPtr& item, const CItemPool::CMark& before) noexcept;
    CBlockItemPtr ReadVec(CToken& name);
    CBlock_vec*   NewVec(CToken& name, std::size_t room);
    CBlockItemPtr ReadFunc(CToken& name);
    wchar_t       ReadArgument(CBlock_func& func, CToken& token);
    void          Accept();

    CToken_istream&       mStream;
    CToken_streambuf&     mBuffer;
    CItemPool*            mPool;
    CFrameWords           mFrame;
    CInPlaceCursor        mCursor;
    CInPlaceCursor::CMark mAccepted;   ///< behind the last line that was read
    std::size_t           mItems = 0;  ///< items, elements and arguments of the line being read
};

}  // namespace io
