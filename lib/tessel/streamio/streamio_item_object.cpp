#include "tessel/streamio/streamio_item_object.h"

#include "tessel/streamio/token_istream.h"
#include "tessel/streamio/token_ostream.h"

namespace io {

void CStreamio_item_object::Write(CToken_ostream& stream) const {
    MakeItem().Write(stream);
}

std::size_t CStreamio_item_object::EstimateLength(const CToken_ostream& stream) const {
    return MakeItem().EstimateLength(stream);
}

void CStreamio_item_object::Read(CToken_istream& stream) {
    const CAbstract_stream_pos start = stream.GetPos();
    try {
        CBlockItemPtr item;
        item.Read(stream);
        if (!item || !TakeItem(item)) throw stream.Error(kStreamioReadError);
    } catch (const XStreamioError&) {
        stream.SetPos(start);
        stream.Clear();
    }
}

void CStreamio_block_object::Write(CToken_ostream& stream) const {
    MakeItem().Write(stream);
}

void CStreamio_block_object::Read(CToken_istream& stream) {
    mLastError         = 0;
    const AString name = BlockName();
    if (name.IsEmpty() && stream.AtBlockBegin()) {
        CStreamio_item_object::Read(stream);
        return;
    }
    CBlock block(name.CStr());
    block.Read(stream);
    mLastError = TakeBlock(block);
}

CBlockItemPtr CStreamio_block_object::MakeItem() const {
    const CBlockPtr block(new CBlock(BlockName().CStr()));
    FillBlock(*block);
    return CBlockItemPtr(block.Get());
}

bool CStreamio_block_object::TakeItem(const CBlockItemPtr& item) {
    const CBlockPtr block(item);
    if (!block) return false;
    mLastError = TakeBlock(*block);
    return mLastError == 0;
}

}  // namespace io
