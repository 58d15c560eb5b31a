// A tree does not depend on the chunks in which its file comes; and whatever tree came of a file, written
// and read it is the same again, in both forms, as a file and in memory; composed a line at a time or not.
//
// Options: flags of the stream; items to be read at most; chunk.

#include "fuzz_support.h"

namespace {

using namespace fuzz_support;

const CStrictAssertions gStrict;

std::uint32_t Flags(unsigned byte) {
    constexpr std::uint32_t kFlags[] = {0, kOpenIgnoreCase, kOpenExactCase, kOpenBinary};
    return kFlags[byte % 4];
}

std::string Tree(std::string_view bytes, std::size_t chunk, std::uint32_t flags, std::size_t items) {
    const auto stream = ChunkStream(bytes, chunk, flags);
    stream->SetReadLimits(static_cast<std::size_t>(-1), items);
    const std::string tree = DumpFile(*stream);  // reads: before the line is asked for
    return tree + " line " + std::to_string(stream->LineNumber());
}

void CheckEstimates(const CBlock& tree, EForm form) {
    for (const CBlockItemPtr& item : tree.Items()) {
        std::size_t       estimate = 0;
        const auto        bytes    = FileBytes(form, 0, [&](CToken_ostream& stream) {
            estimate = item->EstimateLength(stream);
            item->Write(stream);
        });
        const std::size_t start    = form == EForm::kBinary ? 1 : 0;  // the mark of the form
        Require(estimate + start >= bytes.size(), "an estimate bounds the length");
    }
}

/// A stream of a class of its own, to which items are written token by token.
class COwnStream : public CToken_ostream {
  public:
    using CToken_ostream::CToken_ostream;
};

AString MemoryText(const CBlock& tree, EForm form) {
    CToken_ostring out(0, GrammarOf(form));
    tree.WriteFile(out);
    Require(out.good(), "every tree can be written");
    return out.String();
}

void CheckSame(const CBlock& again, const CBlock& tree, EForm form) {
    Require(ErrorCount(again) == 0, "what was written has no errors");
    RequireSame(Escaped(Contents(again, form)), Escaped(Contents(tree, form)), "a tree is read as written");
}

void CheckRoundTrip(const CBlock& tree, EForm form) {
    const auto        write = [&](CToken_ostream& stream) { tree.WriteFile(stream); };
    const std::string bytes = FileBytes(form, 0, write);
    const CBlock      again = Parsed(bytes);
    CheckSame(again, tree, form);
    RequireSame(FileBytes(form, 0, [&](CToken_ostream& stream) { again.WriteFile(stream); }), bytes,
                "what is written twice is the same");
    RequireSame(FileBytes<COwnStream>(form, 0, write), bytes, "lines are composed as tokens are written");

    const AString  text = MemoryText(tree, form);
    CToken_istring stream(text);
    CBlock         memory;
    memory.ReadFile(stream);
    CheckSame(memory, tree, form);
}

/// What is not a number has no text form: it is written as a word, and stays one.
bool HasTextForm(const CBlock& tree) {
    const std::string dump = DumpItems(tree);
    return dump.find("[nan") == std::string::npos && dump.find("[-nan") == std::string::npos;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    CInput                 input(data, size);
    const std::uint32_t    flags = Flags(input.Byte());
    const unsigned         most  = input.Byte();
    const std::size_t      items = most < 64 ? most : static_cast<std::size_t>(-1);
    const std::size_t      chunk = 2 + input.Byte();
    const std::string_view bytes = input.Rest();

    const std::string expected = Tree(bytes, 1, flags, items);
    for (const std::size_t other : {chunk, bytes.size() + 1})
        RequireSame(Tree(bytes, other, flags, items), expected, "a tree does not depend on chunks");

    const CBlock tree = Parsed(bytes);
    for (const EForm form : kForms) {
        if (form == EForm::kText && !HasTextForm(tree)) continue;
        CheckRoundTrip(tree, form);
        CheckEstimates(tree, form);
    }
    return 0;
}
