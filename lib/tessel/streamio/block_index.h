#pragma once

#include "tessel/streamio/block.h"
#include "tessel/streamio/streamio_object.h"
#include "tessel/streamio/streamio_pos.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace io {

/// Where the blocks of a stream begin, by their paths: a block of function items `path(offset)`, kept in
/// the stream itself. A path is the names of the nested blocks from the top down, joined by TABs.
/// Paths are looked up without case.
///
/// Written form:
///
///     $begin '$index$'
///         $begin 'properties'
///             all_levels=true
///             version=1
///             time(year=2013, month=5, day=17, hour=10, minute=30, second=0)
///         $end 'properties'
///         Outer(0)
///         'Outer\<TAB>Inner'(17)
///     $end '$index$'
class CBlock_index : public CStreamio_object {
  public:
    static constexpr wchar_t kSeparator  = L'\t';
    static constexpr wchar_t kName[]     = L"$index$";
    static constexpr wchar_t kBaseName[] = L"$base_index$";  ///< of the index of a base file

    explicit CBlock_index(const wchar_t* name = kName);

    void Read(CToken_istream& stream) override;
    void Write(CToken_ostream& stream) const override;

    /// Indexes the blocks of a stream from its current position on, until something stands there that is
    /// no block. Errors inside of blocks do not stop it.
    /// @return true when nothing was wrong and the data ended there.
    bool Build(CToken_istream& stream, bool allLevels);

    /// Something wrong in a block.
    struct CDamage {
        AString       mPath;  ///< of the block
        std::uint32_t mLine;  ///< where it was noticed; of a block that is not closed: where it begins
    };
    /// The first that `Build` met.
    const std::optional<CDamage>& Damage() const noexcept { return mDamage; }

    /// Records where a block begins; an entry of the same path goes. False, nothing added, when the
    /// position is not known.
    bool AddEntry(const AString& path, const CAbstract_stream_pos& position);
    /// False when there is no such entry.
    bool Lookup(const AString& path, CAbstract_stream_pos& position) const;
    /// Goes to a block. False, stream untouched, when there is no such entry; a stream that had failed
    /// before remains failed.
    bool SeekInput(const AString& path, CToken_istream& stream) const;
    bool SeekOutput(const AString& path, CToken_ostream& stream) const;
    /// Goes to the first block of this name, on any level, that begins at the stream's place or behind it.
    bool SeekForward(const AString& name, CToken_istream& stream) const;

    /// Takes the index blocks out of a file that was read, and says whether there were any. Written anew the
    /// blocks begin elsewhere; a stream that is opened with `kOpenReadIndex` adds an index that is true.
    static bool TakeOut(CBlock& file);

    /// Adds all entries of another index.
    void Merge(const CBlock_index& other);
    /// Erases the entry of a path and of all paths under it.
    void RemoveSubtree(const AString& path);

    static AString JoinPath(const std::vector<AString>& names);
    /// Whether `path` is `top` or lies under it.
    static bool IsAtOrUnder(const AString& path, const AString& top);

    /// The entries: function items in the order in which they were added.
    const CBlockPtr& IndexBlock() const noexcept { return mIndexBlock; }
    /// Gives the index another block for its entries, or none.
    void         SetIndexBlock(const CBlockPtr& block) { mIndexBlock = block; }
    bool         AllLevels() const noexcept { return mAllLevels; }
    void         SetAllLevels(bool allLevels) noexcept { mAllLevels = allLevels; }
    std::int64_t Time() const noexcept { return mTime; }  ///< seconds since 1970, UTC
    void         SetTime(std::int64_t time) noexcept { mTime = time; }
    std::int32_t Version() const noexcept { return mVersion; }
    void         SetVersion(std::int32_t version) noexcept { mVersion = version; }

  private:
    bool        HasBlock() const;
    bool        IndexBlockAt(const AString& parentPath, CToken_istream& stream, bool record);
    bool        IndexItem(const AString& path, CToken_istream& stream, bool record);
    bool        NoteDamage(const AString& path, std::uint32_t line);
    void        TakeProperties(CBlock& properties);
    static bool PositionOf(const CBlockItemPtr& entry, CAbstract_stream_pos& position);

    CBlockPtr              mIndexBlock;
    bool                   mAllLevels = false;
    std::int64_t           mTime      = 0;
    std::int32_t           mVersion   = 1;
    std::optional<CDamage> mDamage;
};

}  // namespace io
