#include "viewkit/tools/PreviewBlock.h"

#include "tessel/baseutils/FileDiagnostics.h"
#include "tessel/streamio/token_istream.h"
#include "viewkit/tools/ProjectFile.h"
#include "viewkit/tools/ProjectPreviewHelper.h"

#include <algorithm>

namespace ProjectPreviewHelper {

namespace {

constexpr std::uint32_t kOpenFlags = io::kOpenFastInput | io::kOpenPreviewOption;

// The preview of a project with a thousand designs and a large picture stays far below these. A file from
// anywhere may hold a "preview" of gigabytes: it is read up to here, and what was read is shown.
constexpr std::size_t kMaxPreviewBytes = std::size_t{16} << 20;
constexpr std::size_t kMaxPreviewItems = 200'000;

/// The first item of this kind and name. Few names are asked for once of few items: a look at each of them
/// costs less than the index that the block's own lookups make first.
template <class T>
const T* FirstNamed(io::CBlock& block, std::wstring_view name, bool (io::CBlock_item::*isOfKind)() const) {
    for (const io::CBlockItemPtr& item : block.Items())
        if (item && HasName(*item, name) && (item.Get()->*isOfKind)())
            return static_cast<const T*>(item.Get());
    block.SetGood(false);
    return nullptr;
}

template <class Field>
void ReadFieldBy(io::CBlock& block, std::wstring_view name, Field& field,
                 bool (io::CBlock_func_arg::*get)(Field&) const) {
    const auto* value = FirstNamed<io::CBlock_named_value>(block, name, &io::CBlock_item::IsNamedValue);
    if (value != nullptr && block.IsGood()) block.SetGood((value->*get)(field));
}

/// Reads the preview block of a path or an open file, on which the stream is open.
template <class Whose>
bool ReadBlock(const Whose& whose, io::CToken_istream& stream, io::CBlock& block) {
    stream.SetReadLimits(kMaxPreviewBytes, kMaxPreviewItems);
    if (!OpenPreviewBlock(whose, stream)) return false;
    block.Read(stream);
    return true;
}

}  // namespace

bool ReadPreviewBlock(const AString& path, io::CBlock& block) {
    return ReadPreviewBlock(path, CProjectFile(path), block);
}

bool ReadPreviewBlock(const AString& path, const CProjectFile& file, io::CBlock& block) {
    if (!file.IsOpen()) {
        io::CToken_istream stream(path, kOpenFlags);
        return ReadBlock(path, stream, block);
    }
    io::CToken_istream stream(io::CreateFastIStream(path, file.Descriptor(), file.Size()), kOpenFlags);
    return ReadBlock(file, stream, block);
}

std::string_view ReadPreviewBytes(const CProjectFile& file, std::string& room) {
    constexpr std::int64_t kMost = 128 << 10;  // of a preview with a large picture; as few items are no limit
    std::uint32_t          offset = 0;
    if (!file.IsOpen() || DiagnosticsLevel() == kReportAll || file.IsBinary() ||
        !FindPreviewBlockOffset(file, offset) || file.Size() - offset > kMost)
        return {};
    const auto size = static_cast<std::size_t>(file.Size() - offset);
    if (const char* kept = file.Kept(offset); kept != nullptr) return {kept, size};
    room.resize(size);
    if (file.Read(offset, room.data(), size) != size) return {};
    return room;
}

bool HasName(const io::CBlock_item& item, std::wstring_view name) noexcept {
    const io::CToken& own = item.Name();
    return own.HasText() && own.Length() == name.size() &&
           std::equal(name.begin(), name.end(), own.Text(), [](wchar_t a, wchar_t b) {
               return a == b || AString::LowerChar(a) == AString::LowerChar(b);
           });
}

void ReadField(io::CBlock& block, std::wstring_view name, AString& field) {
    ReadFieldBy(block, name, field, &io::CBlock_value::GetString);
}

void ReadField(io::CBlock& block, std::wstring_view name, bool& field) {
    ReadFieldBy(block, name, field, &io::CBlock_value::GetBool);
}

const io::CBlock_vec* FindVec(io::CBlock& block, std::wstring_view name) {
    return FirstNamed<io::CBlock_vec>(block, name, &io::CBlock_item::IsVec);
}

}  // namespace ProjectPreviewHelper
