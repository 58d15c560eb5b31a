#include "tessel/streamio/block_index.h"

#include "tessel/baseutils/assertion.h"
#include "tessel/streamio/block_func.h"
#include "tessel/streamio/block_time_func.h"
#include "tessel/streamio/token_istream.h"
#include "tessel/streamio/token_ostream.h"

#include <algorithm>
#include <limits>

namespace io {

namespace {

constexpr wchar_t kProperties[] = L"properties";

void AddNamedValue(CBlock& block, const wchar_t* name, const CToken& token) {
    auto* value = new CBlock_named_value(name);
    value->SetValue(token);
    block.AddItem(CBlockItemPtr(value));
}

}  // namespace

CBlock_index::CBlock_index(const wchar_t* name) : mIndexBlock(new CBlock(name)) {}

bool CBlock_index::HasBlock() const {
    TESSEL_ASSERT_TEXT(mIndexBlock, "mIndexBlock != 0");
    return static_cast<bool>(mIndexBlock);
}

AString CBlock_index::JoinPath(const std::vector<AString>& names) {
    AString path;
    for (const AString& name : names) {
        if (!path.IsEmpty()) path += kSeparator;
        path += name;
    }
    return path;
}

bool CBlock_index::IsAtOrUnder(const AString& path, const AString& top) {
    if (path.Length() < top.Length()) return false;
    if (!top.IsEmpty() && path.Left(static_cast<std::ptrdiff_t>(top.Length())).CompareNoCase(top) != 0)
        return false;
    return path.Length() == top.Length() || path.Str()[top.Length()] == kSeparator;
}

// --- entries

bool CBlock_index::AddEntry(const AString& path, const CAbstract_stream_pos& position) {
    if (!HasBlock() || position.Offset() < 0) return false;
    const auto earlier = mIndexBlock->Find(path);
    if (earlier != mIndexBlock->NamesEnd()) mIndexBlock->EraseAt(earlier->second);
    auto* entry = new CBlock_func;
    entry->SetNameToken(CToken(ETokenType::SingleQuotedText, path.Str()));
    entry->Append(CBlockFuncArgPtr(
        new CBlock_value(CToken(ETokenType::UnsignedLong, static_cast<double>(position.Offset())))));
    mIndexBlock->AddItem(CBlockItemPtr(entry));
    return true;
}

bool CBlock_index::PositionOf(const CBlockItemPtr& entry, CAbstract_stream_pos& position) {
    const auto* function = dynamic_cast<const CBlock_func*>(entry.Get());
    double      offset   = -1.0;
    if (function == nullptr || !function->GetDouble(offset)) return false;
    if (!(offset >= 0.0 && offset < std::numeric_limits<std::int32_t>::max())) return false;
    position = CAbstract_stream_pos(static_cast<ACharStreamOff>(offset));
    return true;
}

bool CBlock_index::Lookup(const AString& path, CAbstract_stream_pos& position) const {
    if (!mIndexBlock) return false;
    const auto entry = mIndexBlock->Find(path);
    return entry != mIndexBlock->NamesEnd() && PositionOf(*entry->second, position);
}

bool CBlock_index::SeekInput(const AString& path, CToken_istream& stream) const {
    CAbstract_stream_pos position;
    if (!Lookup(path, position)) return false;
    stream.SetPos(position);
    return !stream.fail();
}

bool CBlock_index::SeekOutput(const AString& path, CToken_ostream& stream) const {
    CAbstract_stream_pos position;
    if (!Lookup(path, position)) return false;
    stream.SetPos(position);
    return !stream.fail();
}

bool CBlock_index::SeekForward(const AString& name, CToken_istream& stream) const {
    if (!mIndexBlock) return false;
    const ACharStreamOff here = stream.TokenOffset();
    ACharStreamOff       best = -1;
    for (const CBlockItemPtr& entry : mIndexBlock->Items()) {
        CAbstract_stream_pos position;
        if (!entry || !PositionOf(entry, position) || position.Offset() < here) continue;
        const std::wstring_view path = entry->Name().View();
        const std::size_t       last = path.rfind(kSeparator);
        const auto              leaf = last == path.npos ? path : path.substr(last + 1);
        if (!stream.TokenBuffer().NamesEqual(leaf, name.Str())) continue;
        if (best < 0 || position.Offset() < best) best = position.Offset();
    }
    if (best < 0) return false;
    stream.SetPos(CAbstract_stream_pos(best));
    return stream.IsBlockNamed(name);
}

void CBlock_index::Merge(const CBlock_index& other) {
    if (HasBlock() && other.mIndexBlock) mIndexBlock->CopyItems(*other.mIndexBlock);
}

void CBlock_index::RemoveSubtree(const AString& path) {
    if (!HasBlock()) return;
    // In name order all that begins with the path stands together, but what lies under it may be parted
    // by names that only begin alike.
    auto position = mIndexBlock->NamesFrom(path);
    while (position != mIndexBlock->NamesEnd()) {
        const auto    entry = position++;
        const AString name  = entry->first.String();
        if (name.CompareNoCase(0, path.Length(), path) != 0) break;
        if (IsAtOrUnder(name, path)) mIndexBlock->EraseAt(entry->second);
    }
}

bool CBlock_index::TakeOut(CBlock& file) {
    const auto isIndex = [](const CBlockItemPtr& item) {
        return item && item->IsBlock() && (item->Name().View() == kName || item->Name().View() == kBaseName);
    };
    bool taken = false;
    for (auto position = file.ItemsBegin(); position != file.ItemsEnd();) {
        const bool index = isIndex(*position);
        position         = index ? file.EraseAt(position) : std::next(position);
        taken            = taken || index;
    }
    return taken;
}

// --- building

bool CBlock_index::Build(CToken_istream& stream, bool allLevels) {
    if (!HasBlock()) return false;
    mAllLevels = allLevels;
    mDamage.reset();
    bool clean = true;
    while (!stream.AtEndOfFile() && stream.AtBlockBegin())
        clean = IndexBlockAt(AString(), stream, true) && clean;
    return stream.AtEndOfFile() && clean;
}

bool CBlock_index::IndexBlockAt(const AString& parentPath, CToken_istream& stream, bool record) {
    if (stream.fail() || stream.AtEndOfFile()) return false;
    const CToken_istream::CNesting nesting(stream);
    const CAbstract_stream_pos     position(stream.TokenOffset());
    const std::uint32_t            line = stream.LineNumber();
    AString                        name;
    stream.ReadBeginBlock(name);
    const AString path  = JoinPath({parentPath, name});
    bool          clean = !record || AddEntry(path, position);
    while (!stream.AtEndOfFile() && !stream.AtEndKeyword())
        clean = IndexItem(path, stream, record && mAllLevels) && clean;
    if (!stream.AtEndKeyword()) return NoteDamage(path, line);
    stream.ReadEndKeyword();
    if (stream.AtEndOfLine() || stream.AtEndOfFile()) return clean;
    stream.ReadEndBlock(name);
    if (!stream.fail()) return clean;
    NoteDamage(path, stream.LineNumber());
    stream.Clear();
    stream.SkipAfterError();
    return false;
}

/// Keeps the first; always false.
bool CBlock_index::NoteDamage(const AString& path, std::uint32_t line) {
    if (!mDamage) mDamage = {path, line};
    return false;
}

/// Passes over one item, indexing what is to be recorded of it.
bool CBlock_index::IndexItem(const AString& path, CToken_istream& stream, bool record) {
    try {
        bool clean = true;
        if (stream.AtBlockBegin() && !stream.IsNestingFull()) {
            clean = IndexBlockAt(path, stream, record);
        } else {
            // A block nested too deep, too: it passes over the whole of it and refuses it.
            CBlockItemPtr item;
            item.Read(stream);
        }
        if (!stream.fail()) return clean;
        NoteDamage(path, stream.LineNumber());
    } catch (const XStreamioError& error) {
        // It costs the line, as in a block that is read.
        NoteDamage(path, error.Line());
    }
    stream.Clear();
    stream.SkipAfterError();
    return false;
}

// --- reading and writing

void CBlock_index::Read(CToken_istream& stream) {
    if (!HasBlock()) return;
    CBlock block;
    block.Read(stream);
    // A block's path may be the same word: that entry is no block.
    const auto properties = std::find_if(block.ItemsBegin(), block.ItemsEnd(), [](const CBlockItemPtr& item) {
        return item->IsBlock() && item->Name().String().CompareNoCase(AString(kProperties)) == 0;
    });
    if (properties != block.ItemsEnd()) {
        TakeProperties(dynamic_cast<CBlock&>(**properties));
        block.EraseAt(properties);
    }
    *mIndexBlock = block;
}

void CBlock_index::TakeProperties(CBlock& properties) {
    CBlock_named_value allLevels(L"all_levels");
    CBlock_named_value version(L"version");
    if (properties.LookUp(allLevels)) allLevels.GetBool(mAllLevels);
    if (properties.LookUp(version)) version.GetInt(mVersion);
    for (const CBlockItemPtr& item : properties.ItemsNamed(L"time"))
        if (const auto* function = dynamic_cast<const CBlock_func*>(item.Get()))
            CBlock_time_func(*function).GetTime(mTime);
}

void CBlock_index::Write(CToken_ostream& stream) const {
    if (!mIndexBlock) return;
    CBlock written;
    written.SetNameToken(mIndexBlock->Name());
    auto* properties = new CBlock(kProperties);
    written.AddItem(CBlockItemPtr(properties));
    AddNamedValue(*properties, L"all_levels", CToken(mAllLevels ? ETokenType::True : ETokenType::False));
    AddNamedValue(*properties, L"version", CToken(ETokenType::Int, static_cast<double>(mVersion)));
    properties->AddItem(CBlockItemPtr(new CBlock_time_func(L"time", mTime)));
    written.CopyItems(*mIndexBlock);
    written.Write(stream);
}

}  // namespace io
