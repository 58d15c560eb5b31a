#include "viewkit/tools/PreviewBlock.h"

#include "tessel/streamio/token_istream.h"
#include "viewkit/tools/ProjectPreviewHelper.h"

namespace ProjectPreviewHelper {

namespace {

constexpr std::uint32_t kOpenFlags = io::kOpenFastInput | io::kOpenPreviewOption;

template <class Field>
void ReadFieldBy(io::CBlock& block, const wchar_t* name, Field& field,
                 bool (io::CBlock_func_arg::*get)(Field&) const) {
    io::CBlock_named_value value(name);
    if (block.LookUp(value) && block.IsGood()) block.SetGood((value.*get)(field));
}

}  // namespace

bool ReadPreviewBlock(const AString& path, io::CBlock& block) {
    io::CToken_istream stream(path, kOpenFlags);
    if (!OpenPreviewBlock(path, stream)) return false;
    block.Read(stream);
    return true;
}

void ReadField(io::CBlock& block, const wchar_t* name, AString& field) {
    ReadFieldBy(block, name, field, &io::CBlock_value::GetString);
}

void ReadField(io::CBlock& block, const wchar_t* name, bool& field) {
    ReadFieldBy(block, name, field, &io::CBlock_value::GetBool);
}

}  // namespace ProjectPreviewHelper
