#include "tessel/streamio/block_ptr.h"

#include "tessel/streamio/block.h"
#include "tessel/streamio/block_func.h"
#include "tessel/streamio/block_value.h"
#include "tessel/streamio/block_vec.h"
#include "tessel/streamio/item_pool.h"
#include "tessel/streamio/token_istream.h"

namespace io {

CBlock* CItem_factory::NewBlock() const {
    return NewItem<CBlock>(mPool);
}
CBlock_func* CItem_factory::NewFunc() const {
    return NewItem<CBlock_func>(mPool);
}
CBlock_vec* CItem_factory::NewVec() const {
    return NewItem<CBlock_vec>(mPool);
}

namespace {

/// The kinds that a name can open, by the delimiter behind it; null when none of them stands there.
CBlock_func_arg* NewItemByDelimiter(CToken_istream& stream, const CItem_factory& factory) {
    if (stream.IsAt(L'=')) return NewItem<CBlock_named_value>(factory.Pool());
    if (stream.IsAt(L'(')) return factory.NewFunc();
    if (stream.IsAt(L'[')) return factory.NewVec();
    return nullptr;
}

}  // namespace

void CBlockItemPtr::Read(CToken_istream& stream) {
    Read(stream, CItem_factory(stream.ItemPool()));
}

void CBlockFuncArgPtr::Read(CToken_istream& stream) {
    Read(stream, CItem_factory(stream.ItemPool()));
}

void CBlockItemPtr::Read(CToken_istream& stream, const CItem_factory& factory) {
    if (!stream.CurrentToken().CanBeName()) throw stream.Error(kStreamioIdentifierExpected);
    CBlockItemPtr item;
    if (stream.AtBeginKeyword()) {
        item = CBlockItemPtr(factory.NewBlock());
    } else {
        CToken name;
        stream.ReadToken(name);
        item = CBlockItemPtr(NewItemByDelimiter(stream, factory));
        if (!item) throw stream.Error(kStreamioParenOrEqualsExpected);
        item->SetNameToken(std::move(name));
    }
    item->Read(stream);
    *this = std::move(item);
}

void CBlockFuncArgPtr::Read(CToken_istream& stream, const CItem_factory& factory) {
    const CToken& first = stream.CurrentToken();
    if (first.IsNoToken() || first.Type() == ETokenType::Symbol) {
        // Nothing before a comma is an empty value; anything else must be one.
        CBlockFuncArgPtr value(NewItem<CBlock_value>(factory.Pool()));
        if (!stream.IsAt(L',')) value->Read(stream);
        *this = std::move(value);
        return;
    }
    CToken token;
    stream.ReadToken(token);
    CBlockFuncArgPtr item(NewItemByDelimiter(stream, factory));
    if (item) {
        item->SetNameToken(std::move(token));
        item->Read(stream);
    } else {
        item = CBlockFuncArgPtr(NewItem<CBlock_value>(factory.Pool(), std::move(token)));
    }
    *this = std::move(item);
}

}  // namespace io
