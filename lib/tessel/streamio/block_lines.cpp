#include "tessel/streamio/block_lines.h"

#include "tessel/streamio/block_func.h"
#include "tessel/streamio/item_pool.h"

#include <utility>

namespace io {

bool CBlockLines::Read(CBlock& block) {
    if (!Open()) return false;
    const bool ended = ReadLines(block);
    Close();
    return ended;
}

bool CBlockLines::Open() {
    if (!mStream.CanReadLines() || !mBuffer.OpenInPlace(mCursor)) return false;
    mAccepted = mCursor;
    return true;
}

void CBlockLines::Close() {
    if (mAccepted.Units() != 0) mBuffer.GoInPlace(mAccepted);
    mAccepted = CInPlaceCursor();
}

/// The line read is whole.
void CBlockLines::Accept() {
    mAccepted = mCursor;
    mStream.CountItems(mItems);
}

bool CBlockLines::IsKeyword(const CToken& token, const AString& keyword) const {
    return token.Type() == ETokenType::Keyword && mBuffer.NamesEqual(token.View(), keyword.Str());
}

bool CBlockLines::ReadLines(CBlock& block) {
    for (CToken name;; name.Clear()) {
        mCursor = mAccepted;
        while (mCursor.SkipLineEnd()) {
        }
        if (!mCursor.Lex(name) || !name.CanBeName()) return false;
        if (IsKeyword(name, mStream.EndKeyword())) return ReadEnd(block);
        if (IsKeyword(name, mStream.BeginKeyword())) {
            if (!ReadBegin(block)) return false;
            continue;
        }
        mItems             = 1;
        CBlockItemPtr item = ReadItem(std::move(name));
        if (!item || !mCursor.SkipLineEnd() || !mStream.MayCountItems(mItems)) return false;
        Accept();
        block.AddItem(std::move(item));
    }
}

bool CBlockLines::ReadBegin(CBlock& block) {
    CToken name;
    if (mStream.IsNestingFull() || !mCursor.Lex(name) || !name.CanBeName()) return false;
    mItems = 1;
    if (!mCursor.SkipLineEnd() || !mStream.MayCountItems(mItems)) return false;
    Accept();
    auto* const         inner = NewItem<CBlock>(mStream.ItemPool());
    const CBlockItemPtr item(inner);
    inner->StartReading(name);
    bool ended = false;
    {
        const CToken_istream::CNesting nesting(mStream);
        ended = ReadLines(*inner);
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
    if (!block.Name().IsText()) return false;  // a file has no end
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

CBlockItemPtr CBlockLines::ReadItem(CToken name) {
    if (mCursor.SkipSymbol(L'=')) return ReadNamedValue(std::move(name));
    if (mCursor.SkipSymbol(L'[')) return ReadVec(std::move(name));
    if (mCursor.SkipSymbol(L'(')) return ReadFunc(std::move(name));
    return {};
}

CBlockItemPtr CBlockLines::ReadNamedValue(CToken name) {
    CToken value;
    if (!mCursor.Lex(value) || !value.CanBeValue()) return {};
    return NewItem<CBlock_named_value>(mStream.ItemPool(), std::move(name), std::move(value));
}

CBlockItemPtr CBlockLines::ReadVec(CToken name) {
    auto* const         vec = NewItem<CBlock_vec>(mStream.ItemPool());
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

CBlockItemPtr CBlockLines::ReadFunc(CToken name) {
    auto* const         func = NewItem<CBlock_func>(mStream.ItemPool());
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
        func.Append(NewItem<CBlock_named_value>(mStream.ItemPool(), std::move(token), std::move(value)));
        return true;
    }
    func.Append(NewItem<CBlock_value>(mStream.ItemPool(), std::move(token)));
    return true;
}

}  // namespace io
