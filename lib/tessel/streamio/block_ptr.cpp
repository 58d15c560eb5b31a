#include "tessel/streamio/block_ptr.h"

#include "tessel/streamio/block.h"
#include "tessel/streamio/block_func.h"
#include "tessel/streamio/block_value.h"
#include "tessel/streamio/block_vec.h"
#include "tessel/streamio/token_istream.h"

namespace io {

CBlock* CItem_factory::NewBlock() const {
    return new CBlock;
}
CBlock_func* CItem_factory::NewFunc() const {
    return new CBlock_func;
}
CBlock_vec* CItem_factory::NewVec() const {
    return new CBlock_vec;
}

namespace {

/// The kinds that a name can open, by the delimiter behind it; null when none of them stands there.
CBlock_func_arg* NewItemByDelimiter(CToken_istream& stream, const CItem_factory& factory) {
    if (stream.AtDelimiter(L'=')) return new CBlock_named_value;
    if (stream.AtDelimiter(L'(')) return factory.NewFunc();
    if (stream.AtDelimiter(L'[')) return factory.NewVec();
    return nullptr;
}

}  // namespace

void CBlockItemPtr::Read(CToken_istream& stream, const CItem_factory& factory) {
    if (!stream.CurrentToken().CanBeName()) throw stream.Error(kStreamioIdentifierExpected);
    CBlockItemPtr item;
    if (stream.AtBeginKeyword()) {
        item = CBlockItemPtr(factory.NewBlock());
    } else {
        const CToken name = stream.CurrentToken();
        stream.NextToken();
        item = CBlockItemPtr(NewItemByDelimiter(stream, factory));
        if (!item) throw stream.Error(kStreamioParenOrEqualsExpected);
        item->SetNameToken(name);
    }
    item->Read(stream);
    *this = std::move(item);
}

void CBlockFuncArgPtr::Read(CToken_istream& stream, const CItem_factory& factory) {
    const CToken& first = stream.CurrentToken();
    if (first.IsNoToken() || first.Type() == ETokenType::Symbol) {
        // Nothing before a comma is an empty value; anything else must be one.
        CBlockFuncArgPtr value(new CBlock_value);
        if (!stream.AtDelimiter(L',')) value->Read(stream);
        *this = std::move(value);
        return;
    }
    const CToken token = first;
    stream.NextToken();
    CBlockFuncArgPtr item(NewItemByDelimiter(stream, factory));
    if (item) {
        item->SetNameToken(token);
        item->Read(stream);
    } else {
        item = CBlockFuncArgPtr(new CBlock_value(token));
    }
    *this = std::move(item);
}

}  // namespace io
