#include "tessel/streamio/block_lines.h"

#include "tessel/streamio/block_func.h"
#include "tessel/streamio/item_pool.h"

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
    for (bool read = true; read;) {
        mCursor.Return(mAccepted);
        while (mCursor.SkipLineEnd()) {
        }
        if (!mCursor.Lex(name) || !name.CanBeName()) return false;
        mItems = 1;
        if (name.Type() == ETokenType::Keyword) {
            const std::wstring_view word = name.View();
            if (mBuffer.NamesEqual(word, mStream.EndKeyword().Str()))
                return scope == EScope::kBlock && ReadEnd(block);
            if (mBuffer.NamesEqual(word, mStream.BeginKeyword().Str())) {
                read = ReadBegin(block);
                continue;
            }
        }
        read = mCursor.SkipSymbol(L'=') ? ReadNamedValue(block, name) : ReadList(block, name);
    }
    return false;
}

bool CBlockLines::ReadBegin(CBlock& block) {
    CToken name;
    if (mStream.IsNestingFull() || !mCursor.Lex(name) || !name.CanBeName()) return false;
    if (!EndItem()) return false;
    auto* const         inner = NewItem<CBlock>(mPool);
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

bool CBlockLines::ReadNamedValue(CBlock& block, CToken& name) {
    CToken value;
    if (!mCursor.Lex(value) || !value.CanBeValue() || !EndItem()) return false;
    block.AddNewItem(NewItem<CBlock_named_value>(mPool, std::move(name), std::move(value)));
    return true;
}

bool CBlockLines::ReadList(CBlock& block, CToken& name) {
    CBlockItemPtr item;
    if (mCursor.SkipSymbol(L'[')) {
        item = ReadVec(name);
    } else if (mCursor.SkipSymbol(L'(')) {
        item = ReadFunc(name);
    }
    if (!item || !EndItem()) return false;
    block.AddItem(std::move(item));
    return true;
}

CBlockItemPtr CBlockLines::ReadVec(CToken& name) {
    auto* const         vec = NewItem<CBlock_vec>(mPool);
    const CBlockItemPtr item(vec);
    vec->SetNameToken(std::move(name));
    return ReadElements(*vec) ? item : CBlockItemPtr();
}

bool CBlockLines::ReadElements(CBlock_vec& vec) {
    CToken element;
    for (bool first = true; !mCursor.SkipSymbol(L']'); first = false) {
        if (!mCursor.Lex(element) || !element.CanBeValue()) return false;
        if (first && element.IsNumeric()) {
            if (!CBlock_vec::IsCount(element)) return false;
            if (mCursor.SkipSymbol(L':')) {
                vec.Expect(element);
                continue;
            }
        }
        vec.Append(std::move(element));
        ++mItems;
        if (mCursor.SkipSymbol(L',')) continue;
        return mCursor.SkipSymbol(L']');
    }
    return true;
}

CBlockItemPtr CBlockLines::ReadFunc(CToken& name) {
    auto* const         func = NewItem<CBlock_func>(mPool);
    const CBlockItemPtr item(func);
    func->SetNameToken(std::move(name));
    while (!mCursor.SkipSymbol(L')')) {
        if (!ReadArgument(*func)) return {};
        if (mCursor.SkipSymbol(L',')) continue;
        return mCursor.SkipSymbol(L')') ? item : CBlockItemPtr();
    }
    return item;
}

/// Vectors and functions among the arguments are left to the item readers.
bool CBlockLines::ReadArgument(CBlock_func& func) {
    CToken token;
    if (!mCursor.Lex(token) || !token.CanBeValue()) return false;
    ++mItems;
    if (mCursor.SkipSymbol(L'=')) {
        CToken value;
        if (token.IsNoToken() || !mCursor.Lex(value) || !value.CanBeValue()) return false;
        func.Append(NewItem<CBlock_named_value>(mPool, std::move(token), std::move(value)));
        return true;
    }
    func.Append(NewItem<CBlock_value>(mPool, std::move(token)));
    return true;
}

}  // namespace io
