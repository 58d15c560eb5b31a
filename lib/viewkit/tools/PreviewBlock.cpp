#include "viewkit/tools/PreviewBlock.h"

#include "tessel/streamio/token_istream.h"
#include "viewkit/tools/ProjectPreviewHelper.h"

namespace ProjectPreviewHelper {

namespace {

constexpr std::uint32_t kOpenFlags = io::kOpenFastInput | io::kOpenPreviewOption;

// The preview of a project with a thousand designs and a large picture stays far below these. A file from
// anywhere may hold a "preview" of gigabytes: it is read up to here, and what was read is shown.
constexpr std::size_t kMaxPreviewBytes = std::size_t{16} << 20;
constexpr std::size_t kMaxPreviewItems = 200'000;

template <class Field>
void ReadFieldBy(io::CBlock& block, const wchar_t* name, Field& field,
                 bool (io::CBlock_func_arg::*get)(Field&) const) {
    io::CBlock_named_value value(name);
    if (block.LookUp(value) && block.IsGood()) block.SetGood((value.*get)(field));
}

}  // namespace

bool ReadPreviewBlock(const AString& path, io::CBlock& block) {
    io::CToken_istream stream(path, kOpenFlags);
    stream.SetReadLimits(kMaxPreviewBytes, kMaxPreviewItems);
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
