#include "bench/libraries.h"
#include "bench/memory_streams.h"
#include "tessel/streamio/block_func.h"
#include "tessel/streamio/token_grammar_default.h"

namespace bench {

namespace {

void Add(const io::CToken& value, CTally& tally) {
    if (value.IsNumeric()) tally.Add(value.Number());
}

void Add(const io::CBlock_item& item, CTally& tally) {
    ++tally.mItems;
    if (item.IsBlock()) {
        for (const io::CBlockItemPtr& child : static_cast<const io::CBlock&>(item).Items())
            Add(*child, tally);
    } else if (item.IsFunc()) {
        for (const io::CBlockFuncArgPtr& argument : static_cast<const io::CBlock_func&>(item).Arguments())
            Add(*argument, tally);
    } else if (item.IsVec()) {
        for (const io::CToken& element : static_cast<const io::CBlock_vec&>(item).Elements()) {
            ++tally.mItems;
            Add(element, tally);
        }
    } else {
        Add(static_cast<const io::CBlock_value&>(item).Value(), tally);
    }
}

std::string WriteBy(const io::CBlock& tree, const io::CToken_grammar* grammar) {
    std::string        bytes;
    io::CToken_ostream stream(OpenMemoryToWrite(bytes), 0, grammar);
    tree.WriteFile(stream);
    stream.Close();
    return bytes;
}

}  // namespace

CTarvex::Tree CTarvex::Parse(Input text) {
    auto               tree = std::make_unique<io::CBlock>();
    io::CToken_istream stream(OpenMemory(*text), 0);
    tree->ReadFile(stream);
    return tree;
}

CTally CTarvex::TallyOf(const Tree& tree) {
    CTally tally;
    Add(*tree, tally);
    --tally.mItems;  // the block that holds the file's items
    return tally;
}

std::string CTarvex::Write(const Tree& tree) {
    return WriteBy(*tree, &io::CToken_grammar_default::Shared());
}

std::string CTarvexBinary::Write(const Tree& tree) {
    return WriteBy(*tree, nullptr);
}

}  // namespace bench
