#include "tessel/streamio/block_lines.h"

#include "tessel/streamio/block_func.h"

#include <utility>

namespace io {

bool CBlockLines::Read(CBlock& block, EScope scope) {
    if (!Open()) return false;
    const bool ended = ReadLines(block, scope);
    Close();
    return ended;
}

bool CBlockLines::Open() {
    if (!mStream.CanReadLines() || !mBuffer.OpenInPlace(mCursor)) return false;
    mAccepted = mCursor.Mark();
    return true;
}

void CBlockLines::Close() {
    if (!mCursor.IsOpen()) return;
    mCursor.Return(mAccepted);
    if (mCursor.Units() != 0) mBuffer.GoInPlace(mCursor);
    mCursor = CInPlaceCursor();
}

/// The line read is whole.
void CBlockLines::Accept() {
    mAccepted = mCursor.Mark();
    mStream.CountItems(mItems);
}

/// Whether the line of an item ends here, and it may be taken.
bool CBlockLines::EndItem() {
    if (!mCursor.SkipLineEnd() || !mStream.MayCountItems(mItems)) return false;
    Accept();
    return true;
}

bool CBlockLines::ReadLines(CBlock& block, EScope scope) {
    CToken name;
    for (bool read = true; read && mStream.MayCountItems(1);) {
        do {
            if (!mCursor.LexName(name)) return false;
        } while (name.Type() == ETokenType::Eol);
        mItems = 1;
        if (name.Type() == ETokenType::Keyword) {
            const std::wstring_view word    = name.View();
            const bool              isFrame = mFrame.BeginAs(word);
            if (isFrame && mBuffer.NamesEqual(word, mFrame.End()))
                return scope == EScope::kBlock && ReadEnd(block);
            if (isFrame && mBuffer.NamesEqual(word, mFrame.Begin())) {
                read = ReadBegin(block);
                continue;
            }
        } else if (!name.CanBeName()) {
            return false;
        }
        const wchar_t symbol = mCursor.TakeSymbol();
        read                 = symbol == L'=' ? ReadNamedValue(block, name) : ReadList(block, name, symbol);
    }
    return false;
}

bool CBlockLines::ReadBegin(CBlock& block) {
    CToken name;
    if (mStream.IsNestingFull() || !mCursor.Lex(name) || !name.CanBeName()) return false;
    if (!EndItem()) return false;
    auto* const         inner = mPool->Make<CBlock>();
    const CBlockItemPtr item(inner);
    inner->StartReading(name);
    bool ended = false;
    {
        const CToken_istream::CNesting nesting(mStream);
        ended = ReadLines(*inner, EScope::kBlock);
        if (!ended) {
            Close();
            inner->ReadBody(mStream);
        }
    }
    block.AddItem(item);
    if (ended) return true;
    CBlock::GoOnBehindItem(mStream);
    return Open();
}

bool CBlockLines::ReadEnd(const CBlock& block) {
    CToken name;
    if (!mCursor.SkipLineEnd()) {
        const bool named =
            mCursor.Lex(name) &&
            mBuffer.NamesEqual(name.IsText() ? name.View() : std::wstring_view(), block.Name().View());
        if (!named || !mCursor.SkipLineEnd()) return false;
    }
    mItems = 0;
    Accept();
    return true;
}

/// The line is not read here: the item that was begun goes, and the pool has its memory back.
bool CBlockLines::Drop(CBlockItemPtr& item, const CItemPool::CMark& before) noexcept {
    item = CBlockItemPtr();
    mPool->Return(before);
    return false;
}

bool CBlockLines::ReadNamedValue(CBlock& block, CToken& name) {
    const CItemPool::CMark before = mPool->Mark();
    auto* const            named  = mPool->Make<CBlock_named_value>();
    CBlockItemPtr          item(named);
    CToken&                value = named->mValue;
    if (!mCursor.Lex(value) || !value.CanBeValue() || !EndItem()) return Drop(item, before);
    named->mName = std::move(name);
    block.AddItem(std::move(item));
    return true;
}

bool CBlockLines::ReadList(CBlock& block, CToken& name, wchar_t open) {
    const CItemPool::CMark before = mPool->Mark();
    CBlockItemPtr          item;
    if (open == L'[') {
        item = ReadVec(name);
    } else if (open == L'(') {
        item = ReadFunc(name);
    }
    if (!item || !EndItem()) return Drop(item, before);
    block.AddItem(std::move(item));
    return true;
}

CBlockItemPtr CBlockLines::ReadVec(CToken& name) {
    CToken first;
    if (!mCursor.Lex(first)) return {};
    if (first.IsSymbol(L']')) return CBlockItemPtr(NewVec(name, 0));
    if (!first.CanBeValue() || (first.IsNumeric() && !CBlock_vec::IsCount(first))) return {};
    wchar_t           behind  = mCursor.TakeSymbol();
    const bool        counted = behind == L':' && first.IsNumeric();
    CBlock_vec* const vec     = NewVec(name, counted ? CBlock_vec::Expected(first) : 1);
    CBlockItemPtr     item(vec);
    if (counted) {
        behind = L',';
    } else {
        vec->mElements.emplace_back(std::move(first));
        ++mItems;
    }
    for (; behind == L','; ++mItems) {
        CToken& element = vec->mElements.emplace_back();
        if (!mCursor.Lex(element)) return {};
        if (element.IsSymbol(L']')) {
            vec->mElements.pop_back();
            return item;
        }
        if (!element.CanBeValue()) return {};
        behind = mCursor.TakeSymbol();
    }
    if (behind != L']') return {};
    return item;
}

CBlock_vec* CBlockLines::NewVec(CToken& name, std::size_t room) {
    auto* const vec = mPool->MakeWithRoom<CBlock_vec>(room * sizeof(CToken));
    vec->mElements.Lend(CItemPool::RoomBehind(vec), room);
    vec->mName = std::move(name);
    return vec;
}

CBlockItemPtr CBlockLines::ReadFunc(CToken& name) {
    auto* const func = mPool->MakeWithRoom<CBlock_func>(CBlock_func::kFew * sizeof(CBlockFuncArgPtr));
    func->mArguments.Lend(CItemPool::RoomBehind(func), CBlock_func::kFew);
    func->mName = std::move(name);
    CBlockItemPtr item(func);
    for (CToken argument;;) {
        if (!mCursor.Lex(argument)) return {};
        if (argument.IsSymbol(L')')) return item;
        const wchar_t behind = ReadArgument(*func, argument);
        if (behind == L')') return item;
        if (behind != L',') return {};
    }
}

/// The symbol behind the argument that begins with this token; 0 for what is left to the item readers, as
/// vectors and functions among the arguments are.
wchar_t CBlockLines::ReadArgument(CBlock_func& func, CToken& token) {
    if (!token.CanBeValue()) return L'\0';
    ++mItems;
    const wchar_t behind = mCursor.TakeSymbol();
    if (behind != L'=') {
        AddNew(func.mArguments, mPool->Make<CBlock_value>(std::move(token)));
        return behind;
    }
    CToken value;
    if (token.IsNoToken() || !mCursor.Lex(value) || !value.CanBeValue()) return L'\0';
    AddNew(func.mArguments, mPool->Make<CBlock_named_value>(std::move(token), std::move(value)));
    return mCursor.TakeSymbol();
}

}  // namespace io
