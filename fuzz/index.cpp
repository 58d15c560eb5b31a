// An index points to where blocks begin, survives being written, merged and cut; and one that lies, since it
// was read from the file, misleads nobody beyond the block that was asked for.
//
// Options: whether all levels are indexed; then the file.

#include "fuzz_support.h"
#include "tessel/streamio/block_index.h"

namespace {

using namespace fuzz_support;

const CStrictAssertions gStrict;

std::vector<AString> Paths(const CBlock_index& index) {
    std::vector<AString> paths;
    for (const CBlockItemPtr& entry : index.IndexBlock()->Items())
        if (entry) paths.push_back(entry->Name().String());
    return paths;
}

void CheckPositions(const CBlock_index& index, CToken_istream& stream) {
    for (const AString& path : Paths(index)) {
        CAbstract_stream_pos position;
        Require(index.Lookup(path, position), "each entry is found by its path");
        stream.Clear();
        Require(index.SeekInput(path, stream), "each entry can be gone to");
        Require(stream.AtBlockBegin(), "a block begins where an entry points to");
        Require(stream.TokenOffset() == position.Offset(), "a stream knows where it is");
    }
}

void CheckWritten(const CBlock_index& index, EForm form) {
    const std::string bytes = FileBytes(form, 0, [&](CToken_ostream& stream) { index.Write(stream); });
    const auto        in    = ByteStream(bytes);
    CBlock_index      again;
    again.Read(*in);
    Require(!in->fail(), "an index that was written can be read");
    Require(Contents(*again.IndexBlock(), form) == Contents(*index.IndexBlock(), form),
            "an index is read as written");
    Require(again.AllLevels() == index.AllLevels(), "an index keeps its properties");
}

void CheckMerged(const CBlock_index& index) {
    CBlock_index merged;
    merged.Merge(index);
    merged.Merge(index);
    for (const AString& path : Paths(index)) {
        merged.RemoveSubtree(path);
        CAbstract_stream_pos position;
        Require(!merged.Lookup(path, position), "what was removed is gone");
    }
    Require(merged.IndexBlock()->Count() == 0, "nothing is left when all paths are removed");
}

/// Files may bring an index of their own, and it may say anything.
void CheckApplied(std::string_view bytes, const std::vector<AString>& paths) {
    const auto stream = ByteStream(bytes, kOpenReadIndex | kOpenApplyIndex);
    for (const AString& path : paths) {
        const std::size_t last = path.Str().rfind(CBlock_index::kSeparator);
        const AString     name(last == std::wstring::npos ? path.Str() : path.Str().substr(last + 1));
        stream->Clear();
        if (stream->FindBlock(name))
            Require(stream->IsBlockNamed(name), "the block that was asked for is found");
    }
    stream->Clear();
    CBlock rest;
    rest.ReadFile(*stream);
}

/// A writer's own index agrees with one that is built from what it wrote.
void CheckWriter(const CBlock& tree, EForm form) {
    const std::string bytes =
        FileBytes(form, kOpenReadIndex, [&](CToken_ostream& stream) { tree.WriteFile(stream); });
    const auto   stream = ByteStream(bytes);
    CBlock_index written;
    while (stream->FindBlock(CBlock_index::kName)) {  // a file may have had one before
        written = CBlock_index();
        written.Read(*stream);
        stream->Clear();
    }
    stream->Clear();
    CheckPositions(written, *stream);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    CInput       input(data, size);
    const bool   allLevels = (input.Byte() & 1) != 0;
    const auto   stream    = ByteStream(input.Rest());
    CBlock_index index;
    index.Build(*stream, allLevels);
    CheckPositions(index, *stream);
    for (const EForm form : kForms)
        CheckWritten(index, form);
    CheckMerged(index);
    CheckApplied(input.Rest(), Paths(index));

    CBlock tree = Parsed(input.Rest());
    CBlock_index::TakeOut(tree);
    for (const EForm form : kForms)
        CheckWriter(tree, form);
    return 0;
}
