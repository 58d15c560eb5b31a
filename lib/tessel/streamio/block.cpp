#include "tessel/streamio/block.h"

#include "tessel/baseutils/assertion.h"
#include "tessel/streamio/block_func.h"
#include "tessel/streamio/block_lines.h"
#include "tessel/streamio/line_composer.h"
#include "tessel/streamio/token_istream.h"
#include "tessel/streamio/token_ostream.h"

#include <algorithm>
#include <typeinfo>

namespace io {

bool CBlock::CNameLess::operator()(const CKey& a, const CKey& b) const noexcept {
    if (!a.mHasText || !b.mHasText) return !a.mHasText && b.mHasText;
    return std::lexicographical_compare(
        a.mText.begin(), a.mText.end(), b.mText.begin(), b.mText.end(),
        [](wchar_t x, wchar_t y) { return AString::LowerChar(x) < AString::LowerChar(y); });
}

CBlock::CBlock(const CBlock& other)
    : CBlock_item(other), mName(other.mName), mFound(true), mGood(other.mGood) {
    CopyItems(other);
}

CBlock& CBlock::operator=(const CBlock& other) {
    mName = other.mName;
    if (this != &other) {
        const CBlock source(other);  // the other may be held by this one's items alone
        Clear();
        CopyItems(source);
        mGood = source.mGood;
    }
    mFound = true;
    return *this;
}

// --- reading

namespace {

/// Passed over whole: else its end would be taken for the end of the block around it.
[[noreturn]] void RefuseBlock(CToken_istream& stream) {
    const XStreamioError error = stream.Error(kStreamioInvalidBlockItem);
    stream.SkipBlock();
    throw error;
}

}  // namespace

void CBlock::Read(CToken_istream& stream) {
    if (stream.IsNestingFull()) RefuseBlock(stream);
    const CToken_istream::CNesting nesting(stream);
    const CToken_istream::CTree    tree(stream);
    Clear();
    mGood = true;
    AString name;
    stream.ReadBeginBlock(name);
    if (stream.fail()) {
        AddError(stream.Error(kStreamioBeginEndSyntax));
        return;
    }
    StartReading(CToken(ETokenType::SingleQuotedText, name.Str()));
    ReadBody(stream);
}

/// Whatever stands for the name, its text is the block's.
void CBlock::StartReading(const CToken& name) {
    mGood = true;
    // That the name has already, in most blocks; its text is shared then.
    const bool isUsual = name.Type() == ETokenType::SingleQuotedText;
    SetNameToken(
        isUsual ? name
                : CToken(ETokenType::SingleQuotedText, name.IsText() ? name.View() : std::wstring_view()));
}

void CBlock::ReadBody(CToken_istream& stream) {
    for (;;) {
        if (ReadsLines() && CBlockLines(stream).Read(*this, CBlockLines::EScope::kBlock)) return;
        if (stream.AtEndOfFile()) return;
        if (stream.AtEndKeyword()) {
            ReadEnd(stream);
            return;
        }
        ReadItem(stream);
    }
}

/// A class of its own may take its items in a way of its own.
bool CBlock::ReadsLines() const noexcept {
    return typeid(*this) == typeid(CBlock);
}

void CBlock::ReadEnd(CToken_istream& stream) {
    stream.ReadEndKeyword();
    if (stream.AtEndOfLine() || stream.AtEndOfFile()) return;
    stream.ReadEndBlock(mName.String());
    if (stream.fail()) AddError(stream.Error(kStreamioBeginEndSyntax));
}

void CBlock::ReadFile(CToken_istream& stream) {
    const CToken_istream::CTree tree(stream);
    Clear();
    mGood = true;
    for (;;) {
        if (ReadsLines()) CBlockLines(stream).Read(*this, CBlockLines::EScope::kFile);
        if (stream.AtEndOfFile()) return;
        ReadItem(stream);
    }
}

void CBlock::ReadItem(CToken_istream& stream) {
    stream.CountItem();
    try {
        TakeItem(stream);
    } catch (const XStreamioError& error) {
        AddError(error);
        stream.Clear();
        stream.SkipAfterError();
        return;
    }
    GoOnBehindItem(stream);
}

/// A block whose frame is broken has recorded it itself; its enclosing block goes on behind it.
void CBlock::GoOnBehindItem(CToken_istream& stream) {
    if (!stream.fail()) return;
    stream.Clear();
    stream.SkipAfterError();
}

void CBlock::TakeItem(CToken_istream& stream) {
    CBlockItemPtr item;
    item.Read(stream);
    AddItem(std::move(item));
}

// --- writing

void CBlock::Write(CToken_ostream& stream) const {
    stream.WriteBeginBlock(mName);
    WriteFile(stream);
    stream.WriteEndBlock(mName);
}

void CBlock::WriteFile(CToken_ostream& stream) const {
    CLineComposer(stream).WriteItems(*this);
}

std::size_t CBlock::EstimateLength(const CToken_ostream& stream) const {
    constexpr std::size_t kLineEnd = 2;
    const std::size_t     markers  = EstimateToken(CToken(ETokenType::Keyword, stream.BeginKeyword().Str())) +
                                EstimateToken(CToken(ETokenType::Keyword, stream.EndKeyword().Str()));
    const CToken_ostream::CEstimateLevel inside(stream);
    std::size_t                          length =
        markers + 2 * EstimateToken(mName) + 2 * (stream.EstimatedIndentation() + kLineEnd + 2);
    for (const CBlockItemPtr& item : mItems)
        if (item) length += item->EstimateLength(stream) + kLineEnd;
    return length + kLineEnd;
}

void CBlock::MemoryUsage(CMemoryStatistics& statistics, bool includeSelf) const {
    constexpr std::size_t kLinks = 4 * sizeof(void*);  // of a node of a tree, about
    if (includeSelf) {
        ++statistics.mObjects;
        statistics.mObjectBytes += sizeof(CBlock);
    }
    statistics.mTextBytes += TextBytes(mName);
    statistics.mContainerBytes += mItems.Bytes();
    if (mNames) statistics.mContainerBytes += mNames->size() * (sizeof(NameIndex::value_type) + kLinks);
    statistics.mErrorBytes += mErrors.capacity() * sizeof(XStreamioError);
    for (const CBlockItemPtr& item : mItems)
        if (item) item->MemoryUsage(statistics, true);
}

// --- contents

void CBlock::Clear() {
    mNames.reset();
    mItems.clear();
    mErrors.clear();
    mCursor = mItems.begin();
}

bool CBlock::HasErrors() const {
    return !mErrors.empty() || std::any_of(mItems.begin(), mItems.end(), [](const CBlockItemPtr& item) {
        return item && item->IsBlock() && static_cast<const CBlock&>(*item).HasErrors();
    });
}

/// An item is in the list and in the index, or in neither.
void CBlock::IndexOrErase(ItemPos added) {
    if (!(*added)->HasName()) return;
    try {
        mNames->emplace((*added)->Name(), added);
    } catch (...) {
        mItems.erase(added);
        throw;
    }
}

CBlock::NameIndex& CBlock::Names() const {
    if (!mNames) {
        auto names = std::make_unique<NameIndex>();
        for (auto position = mItems.begin(); position != mItems.end(); ++position)
            if (*position && (*position)->HasName()) names->emplace((*position)->Name(), position);
        mNames = std::move(names);
    }
    return *mNames;
}

namespace {

/// A new item of kind T with the source's name, and its contents when it is of that kind too.
template <class T>
CBlockItemPtr CopyAs(const CBlock_item& source) {
    const auto*   same = dynamic_cast<const T*>(&source);
    CBlockItemPtr copy(same ? new T(*same) : new T);
    copy->SetNameToken(source.Name());
    return copy;
}

}  // namespace

void CBlock::AddBlockCopy(const CBlock_item& source) {
    AddItem(CopyAs<CBlock>(source));
}
void CBlock::AddFuncCopy(const CBlock_item& source) {
    AddItem(CopyAs<CBlock_func>(source));
}
void CBlock::AddVecCopy(const CBlock_item& source) {
    AddItem(CopyAs<CBlock_vec>(source));
}
void CBlock::AddNamedValueCopy(const CBlock_named_value& source) {
    AddItem(CopyAs<CBlock_named_value>(source));
}

void CBlock::CopyItems(const CBlock& a_block) {
    TESSEL_ASSERT(this != &a_block);
    if (this == &a_block) return;
    for (const CBlockItemPtr& item : a_block.mItems)
        AddItem(item);
}

// --- lookups

CBlock::NamePos CBlock::Find(const CNameLess::CKey& name) {
    NameIndex& names    = Names();
    NamePos    position = names.lower_bound(name);
    if (position != names.end() && CNameLess()(name, position->first)) position = names.end();
    mFound = position != names.end();
    return position;
}

std::vector<CBlockItemPtr> CBlock::ItemsNamed(std::wstring_view name) const {
    std::vector<CBlockItemPtr> items;
    const auto [first, last] = Names().equal_range(name);
    for (auto position = first; position != last; ++position)
        items.push_back(*position->second);
    return items;
}

void CBlock::Replace(const CBlockItemPtr& item) {
    if (!item) return;
    const NamePos position = Find(item->Name());
    if (!mFound) return;
    CBlockItemPtr& found = *position->second;
    if (found && found->HasName()) {
        found = item;
    } else {
        mFound = false;
    }
}

template <class T>
const T* CBlock::FirstNamed(const CToken& name) {
    mFound                   = false;
    const auto [first, last] = Names().equal_range(name);
    for (auto position = first; position != last; ++position)
        if (const auto* item = dynamic_cast<const T*>(position->second->Get())) {
            mFound = true;
            return item;
        }
    mGood = false;
    return nullptr;
}

bool CBlock::LookUp(CBlock_named_value& value) {
    const auto* item = FirstNamed<CBlock_named_value>(value.Name());
    if (item != nullptr) value.SetValue(item->Value());
    return item != nullptr;
}

bool CBlock::LookUp(CBlock_vec& vec) {
    const auto* item = FirstNamed<CBlock_vec>(vec.Name());
    vec.Clear();
    if (item == nullptr) return false;
    for (const CToken& element : item->Elements())
        vec.Append(element);
    return true;
}

// --- erasing

void CBlock::UnindexPosition(ItemPos position) {
    if (!mNames) return;
    const auto holds = [&](const NameIndex::value_type& entry) { return entry.second == position; };
    if (*position && (*position)->HasName()) {
        const auto [first, last] = mNames->equal_range((*position)->Name());
        const auto entry         = std::find_if(first, last, holds);
        if (entry != last) {
            mNames->erase(entry);
            return;
        }
    }
    // An item that was renamed, or taken out of its slot, is still indexed under its old name.
    const auto entry = std::find_if(mNames->begin(), mNames->end(), holds);
    if (entry != mNames->end()) mNames->erase(entry);
}

CBlock::ItemPos CBlock::EraseAt(ItemPos position) {
    if (position == mItems.end()) return position;
    const CBlockItemPtr block_item = *position;
    TESSEL_ASSERT_TEXT(block_item, "block_item != 0");
    UnindexPosition(position);
    const ItemPos next = mItems.erase(position);
    if (mCursor == position) mCursor = next;
    return next;
}

CBlock::NamePos CBlock::EraseAt(NamePos position) {
    NameIndex& names = Names();
    if (position == names.end()) return position;
    const ItemPos own        = position->second;
    const auto    block_item = *own;
    TESSEL_ASSERT_TEXT(block_item, "block_item != 0");

    // The first place that holds this object goes; where that is not the entry's own place, the
    // entry of the place that went takes it over.
    const ItemPos first = std::find(mItems.begin(), mItems.end(), block_item);
    if (first != own)
        for (auto& entry : names)
            if (entry.second == first) entry.second = own;
    if (mCursor == first) mCursor = std::next(first);
    mItems.erase(first);
    return names.erase(position);
}

}  // namespace io
