#pragma once

#include "tessel/streamio/block_ptr.h"
#include "tessel/streamio/block_value.h"
#include "tessel/streamio/block_vec.h"
#include "tessel/streamio/stable_list.h"
#include "tessel/streamio/streamio_error.h"

#include <map>
#include <memory>
#include <vector>

namespace io {

/// A named container of items: `$begin 'name'` ... `$end 'name'`.
///
/// Items keep the order in which they were added; several may have one name. Names are looked up
/// without case; among equals the earliest is found. A name counts as it was when its item was added,
/// or when a name was first looked up behind that. Copying a block shares its items.
class CBlock : public CBlock_item {
  public:
    /// Names compare case-insensitively, unit by unit; a name without text comes first.
    struct CNameLess {
        using is_transparent = void;
        struct CKey {
            CKey(const CToken& name) noexcept : mHasText(name.HasText()), mText(name.View()) {}
            CKey(std::wstring_view name) noexcept : mHasText(true), mText(name) {}
            CKey(const AString& name) noexcept : mHasText(true), mText(name.Str()) {}

            bool              mHasText;
            std::wstring_view mText;
        };
        bool operator()(const CKey& a, const CKey& b) const noexcept;
    };
    using ItemList  = CStableList<CBlockItemPtr>;
    using ItemPos   = ItemList::iterator;
    using NameIndex = std::multimap<CToken, ItemPos, CNameLess>;
    using NamePos   = NameIndex::iterator;
    using ErrorList = std::vector<XStreamioError>;

    CBlock() = default;
    explicit CBlock(const wchar_t* name) { SetName(name); }
    CBlock(const CBlock& other);
    CBlock& operator=(const CBlock& other);

    /// Reads a block from its begin keyword on. Errors of its items and of its frame are recorded,
    /// not thrown; whatever could be read is there.
    /// @throws XStreamioError  code 4 when it nests too deep; the whole block has then been passed over.
    void        Read(CToken_istream& stream) override;
    void        Write(CToken_ostream& stream) const override;
    std::size_t EstimateLength(const CToken_ostream& stream) const override;
    void        MemoryUsage(CMemoryStatistics& statistics, bool includeSelf) const override;
    /// Writes the items alone, one a line, as a file holds them.
    void WriteFile(CToken_ostream& stream) const;
    /// Reads items up to the end of the data, as a file holds them, into this block.
    void ReadFile(CToken_istream& stream);

    const CToken& Name() const override { return mName; }
    void          SetNameToken(CToken name) override { mName = std::move(name); }
    std::size_t   Count() const override { return mItems.size(); }
    void          Clear() override;
    bool          IsBlock() const override { return true; }

    // --- adding. A null item adds nothing.

    void AddItem(CBlockItemPtr item) {
        if (item) Added(mItems.emplace_back(std::move(item)));
    }
    /// Adds a new item of that kind with the source's name and contents; a source of another kind
    /// gives its name only. A block's items are shared with the source.
    void AddBlockCopy(const CBlock_item& source);
    void AddFuncCopy(const CBlock_item& source);
    void AddVecCopy(const CBlock_item& source);
    void AddNamedValueCopy(const CBlock_named_value& source);
    /// Adds all items of another block, which shares them from then on.
    void CopyItems(const CBlock& a_block);

    // --- finding. Each lookup sets the found flag.

    NamePos Find(const CNameLess::CKey& name);
    /// The first name that does not come before this one, in name order.
    NamePos NamesFrom(const CNameLess::CKey& name) { return Names().lower_bound(name); }
    NamePos NamesEnd() { return Names().end(); }
    /// All items of one name, in the order in which they were added.
    std::vector<CBlockItemPtr> ItemsNamed(std::wstring_view name) const;
    bool                       WasFound() const noexcept { return mFound; }
    /// Puts a named item in the place of the first of its name; without one it only clears the found flag.
    void Replace(const CBlockItemPtr& item);
    /// Copies the value of the first named value of this name. Without one: false, and the block is
    /// no longer good.
    bool LookUp(CBlock_named_value& value);
    /// The same for the elements of the first vector of this name.
    bool LookUp(CBlock_vec& vec);

    /// Set when a block has been read, also with recorded errors; cleared by lookups that fail.
    bool IsGood() const noexcept { return mGood; }
    void SetGood(bool good) noexcept { mGood = good; }

    // --- erasing. Returns the next position; the end is left alone.

    ItemPos EraseAt(ItemPos position);
    NamePos EraseAt(NamePos position);

    ItemPos         ItemsBegin() noexcept { return mItems.begin(); }
    ItemPos         ItemsEnd() noexcept { return mItems.end(); }
    const ItemList& Items() const noexcept { return mItems; }
    /// The place of the item added last; the end after `Clear()`.
    ItemPos Cursor() noexcept { return mCursor; }

    void                      AddError(const XStreamioError& error) { mErrors.push_back(error); }
    ErrorList::const_iterator ErrorsBegin() const noexcept { return mErrors.begin(); }
    ErrorList::const_iterator ErrorsEnd() const noexcept { return mErrors.end(); }
    /// Whether this block or a block in it, on any level, has recorded errors.
    bool HasErrors() const;

  protected:
    /// Reads one item and adds it.
    /// @throws XStreamioError  there is none, or what the item throws; it is recorded then.
    virtual void TakeItem(CToken_istream& stream);

  private:
    friend class CBlockLines;

    void Added(ItemPos item) {
        if (mNames) IndexOrErase(item);
        mCursor = item;
    }
    void        IndexOrErase(ItemPos added);
    void        StartReading(const CToken& name);
    void        ReadBody(CToken_istream& stream);
    bool        ReadsLines() const noexcept;
    void        ReadItem(CToken_istream& stream);
    static void GoOnBehindItem(CToken_istream& stream);
    void        ReadEnd(CToken_istream& stream);
    /// The name index, made when it is first asked for: most blocks are never searched.
    NameIndex& Names() const;
    void       UnindexPosition(ItemPos position);
    template <class T>
    const T* FirstNamed(const CToken& name);

    CToken                             mName;
    mutable ItemList                   mItems;
    mutable std::unique_ptr<NameIndex> mNames;  ///< of all items, or null
    ErrorList                          mErrors;
    ItemPos                            mCursor = mItems.end();
    bool                               mFound  = false;
    bool                               mGood   = false;
};

/// Holds a block.
using CBlockPtr = CBlock_ptr<CBlock>;

}  // namespace io
