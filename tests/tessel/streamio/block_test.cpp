#include "tessel/streamio/stream_support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <new>

namespace {

using namespace stream_support;
using namespace io;

CBlockItemPtr Value(const wchar_t* name, double number) {
    auto* value = new CBlock_named_value(name);
    value->SetValue(CToken(ETokenType::Int, number));
    return CBlockItemPtr(value);
}

/// x=1 y=2 X=3 and a plain value.
CBlock Sample() {
    CBlock block(L"S");
    block.AddItem(Value(L"x", 1));
    block.AddItem(Value(L"y", 2));
    block.AddItem(Value(L"X", 3));
    block.AddItem(CBlockItemPtr(new CBlock_value(CToken(ETokenType::Int, 4))));
    return block;
}

CBlock::ItemPos At(CBlock& block, int index) {
    return std::next(block.ItemsBegin(), index);
}

std::string Found(CBlock& block, const wchar_t* name) {
    const auto position = block.Find(std::wstring_view(name));
    EXPECT_EQ(block.WasFound(), position != block.NamesEnd());
    return block.WasFound() ? Dump(**position->second) : "none";
}

/// The items that the name index knows, in its order.
std::string Indexed(CBlock& block) {
    std::string dump;
    CBlock      copy(block);
    copy.AddItem(CBlockItemPtr(new CBlock_named_value));  // without a name: the first of all
    for (auto name = std::next(copy.Find(CToken())); name != copy.NamesEnd(); ++name)
        dump += Dump(**name->second) + " ";
    return dump;
}

TEST(Block, FindsTheFirstOfANameWhateverItsCase) {
    CBlock block = Sample();
    EXPECT_EQ(Found(block, L"X"), "x=1");
    EXPECT_EQ(Found(block, L"x"), "x=1");
    EXPECT_EQ(Found(block, L"Y"), "y=2");
    EXPECT_EQ(Found(block, L""), "none");
    EXPECT_EQ(Found(block, L"xx"), "none");
    block.AddItem(Value(L"", 5));
    EXPECT_EQ(Found(block, L""), "=5");
    EXPECT_EQ(DumpList(block.ItemsNamed(L"X"), " ", [](const auto& item) { return Dump(*item); }), "x=1 X=3");
    block.AddItem(CBlockItemPtr());
    EXPECT_EQ(block.Count(), 5u);
}

TEST(Block, OrdersNamesByUnitWithoutCase) {
    CBlock block;
    for (const wchar_t* name : {L"b", L"Ba", L"_", L"A", L"", L"a b", L"B", L"\xE9", L"z"})
        block.AddItem(Value(name, 1));
    EXPECT_EQ(Indexed(block), "=1 _=1 A=1 a b=1 b=1 B=1 Ba=1 z=1 <E9>=1 ");
}

TEST(Block, ErasesByEitherPosition) {
    CBlock byItem = Sample();
    EXPECT_EQ(Dump(**byItem.EraseAt(At(byItem, 2))), "4");  // "X": "x" stays found
    EXPECT_EQ(Found(byItem, L"X"), "x=1");
    EXPECT_EQ(byItem.EraseAt(At(byItem, 2)), byItem.ItemsEnd());
    EXPECT_EQ(DumpItems(byItem), "x=1 y=2");
    EXPECT_EQ(byItem.EraseAt(byItem.ItemsEnd()), byItem.ItemsEnd());

    CBlock byName = Sample();
    auto   next   = byName.EraseAt(byName.Find(std::wstring_view(L"x")));
    EXPECT_EQ(Dump(**next->second), "X=3");
    next = byName.EraseAt(next);
    EXPECT_EQ(Dump(**next->second), "y=2");
    EXPECT_EQ(DumpItems(byName), "y=2 4");
    EXPECT_EQ(byName.EraseAt(byName.NamesEnd()), byName.NamesEnd());
    while (byName.Count() != 0)
        byName.EraseAt(byName.ItemsBegin());
    EXPECT_EQ(Found(byName, L"y"), "none");
}

TEST(Block, ErasesOneOfSeveralPlacesOfAnItem) {
    // Whichever place of "x" goes by whichever position, the two others stay, in order, and indexed.
    const CBlockItemPtr x = Value(L"x", 1);
    for (int place = 0; place < 3; ++place)
        for (const bool byName : {false, true}) {
            SCOPED_TRACE(place);
            CBlock block;
            for (const wchar_t* between : {L"a", L"b", L"c"}) {
                block.AddItem(x);
                block.AddItem(Value(between, 0));
            }
            if (byName)
                block.EraseAt(std::next(block.Find(std::wstring_view(L"x")), place));
            else
                block.EraseAt(At(block, 2 * place));
            EXPECT_EQ(block.Count(), 5u);
            EXPECT_EQ(Indexed(block), "a=0 b=0 c=0 x=1 x=1 ");
            std::string rest;
            while (block.Find(std::wstring_view(L"x")) != block.NamesEnd())
                block.EraseAt(block.Find(std::wstring_view(L"x")));
            EXPECT_EQ(DumpItems(block), "a=0 b=0 c=0");
            block.Clear();
        }
}

TEST(Block, ErasesItemsThatWereRenamedOrReplaced) {
    CBlock unsearched = Sample();
    (*At(unsearched, 0))->SetName(L"new");
    EXPECT_EQ(Found(unsearched, L"new"), "new=1");
    CBlock block = Sample();
    EXPECT_EQ(Found(block, L"x"), "x=1");
    (*At(block, 0))->SetName(L"new");
    EXPECT_EQ(Found(block, L"x"), "new=1");  // still under the name that it had when names were looked up
    block.EraseAt(At(block, 0));
    EXPECT_EQ(Found(block, L"x"), "X=3");
    EXPECT_EQ(Found(block, L"new"), "none");
    (*At(block, 1))->SetName(L"y");
    block.EraseAt(At(block, 1));
    EXPECT_EQ(Found(block, L"x"), "none");
    EXPECT_EQ(Found(block, L"y"), "y=2");

    CAssertions assertions;
    *At(block, 0) = CBlockItemPtr();
    block.EraseAt(At(block, 0));
    EXPECT_EQ(assertions.Take(), "block_item != 0");
    EXPECT_EQ(Found(block, L"y"), "none");
    EXPECT_EQ(DumpItems(block), "4");
}

TEST(Block, KeepsItsCursorOnTheLastItemAdded) {
    CBlock block;
    EXPECT_EQ(block.Cursor(), block.ItemsEnd());
    block.AddItem(Value(L"x", 1));
    block.AddItem(Value(L"y", 2));
    EXPECT_EQ(Dump(**block.Cursor()), "y=2");
    block.EraseAt(block.Cursor());
    EXPECT_EQ(block.Cursor(), block.ItemsEnd());
    block.AddItem(Value(L"z", 2));
    block.EraseAt(block.Find(std::wstring_view(L"z")));
    EXPECT_EQ(block.Cursor(), block.ItemsEnd());
    block.AddItem(Value(L"z", 2));
    block.Clear();
    EXPECT_EQ(block.Cursor(), block.ItemsEnd());
}

TEST(Block, ReplacesTheFirstOfAName) {
    CBlock block = Sample();
    block.Replace(Value(L"X", 9));
    EXPECT_TRUE(block.WasFound());
    EXPECT_EQ(DumpItems(block), "X=9 y=2 X=3 4");
    EXPECT_EQ(Found(block, L"x"), "X=9");
    block.Replace(Value(L"none", 9));
    EXPECT_FALSE(block.WasFound());
    block.EraseAt(block.ItemsBegin());
    EXPECT_EQ(Found(block, L"x"), "X=3");
}

TEST(Block, CopiesShareTheirItems) {
    const CBlock block = Sample();
    CBlock       copy(block);
    EXPECT_TRUE(copy.WasFound());
    EXPECT_EQ(Dump(copy), Dump(block));
    dynamic_cast<CBlock_named_value&>(**copy.ItemsBegin()).SetValue(CToken(ETokenType::Int, 7));
    EXPECT_EQ(DumpItems(block), "x=7 y=2 X=3 4");
    copy.EraseAt(copy.ItemsBegin());
    EXPECT_EQ(block.Count(), 4u);

    copy.AddError(XStreamioError(5, 1));
    EXPECT_EQ(Found(copy, L"none"), "none");
    copy = block;
    EXPECT_TRUE(copy.WasFound());
    EXPECT_EQ(Dump(copy), Dump(block));
    const CBlock& self = copy;
    copy               = self;
    EXPECT_EQ(Dump(copy), Dump(block));

    CBlock others;
    others.AddBlockCopy(block);
    others.AddNamedValueCopy(dynamic_cast<const CBlock_named_value&>(*Value(L"v", 1)));
    CBlock_func func(L"f");
    func.Append(CBlockFuncArgPtr(new CBlock_value(CToken(ETokenType::Int, 1))));
    others.AddFuncCopy(func);
    CBlock_vec vec(L"w");
    vec.Append(CToken(ETokenType::Int, 1));
    others.AddVecCopy(vec);
    others.AddVecCopy(func);  // of another kind: the name only
    EXPECT_EQ(DumpItems(others), "S{x=7 y=2 X=3 4} v=1 f(1) w[1] f[]");
}

TEST(Block, CanBecomeOneOfItsOwnItems) {
    CBlock block(L"outer");
    block.AddBlockCopy(Sample());
    block = dynamic_cast<const CBlock&>(**block.ItemsBegin());  // held by nobody else
    EXPECT_EQ(Dump(block), "S{x=1 y=2 X=3 4}");
}

TEST(Item, FunctionsCanBecomeOneOfTheirArguments) {
    for (const wchar_t* text : {L"g(h(1))", L"g(h(1, 'some text', 3))", L"g(h(1, 2, 3, 4, 5), 2)"}) {
        CBlock_func func;
        EXPECT_TRUE(func.FromString(text));
        const std::string inner = Dump(*func.Arguments()[0]);
        func = dynamic_cast<const CBlock_func&>(*func.Arguments()[0]);  // held by nobody else
        EXPECT_EQ(Dump(func), inner);
    }
}

TEST(Item, ListsThatCannotBeCopiedLeaveNothingBehind) {
    static int alive = 0;
    struct CElement {
        CElement() { ++alive; }
        CElement(CElement&&) noexcept { ++alive; }
        CElement(const CElement&) {
            if (alive == 5) throw std::bad_alloc();
            ++alive;
        }
        ~CElement() { --alive; }
    };
    {
        CItemArray<CElement> three, one;
        for (int i = 0; i < 3; ++i)
            three.emplace_back();
        EXPECT_THROW(CItemArray<CElement>{three}, std::bad_alloc);
        EXPECT_EQ(alive, 3);
        one.emplace_back();
        EXPECT_THROW(one = three, std::bad_alloc);
        EXPECT_EQ(one.size(), 1u);
    }
    EXPECT_EQ(alive, 0);
}

TEST(Block, IsNotCopiedIntoItself) {
    CAssertions assertions;
    CBlock      block = Sample();
    block.CopyItems(block);
    EXPECT_EQ(assertions.Take(), "this != &a_block");
    EXPECT_EQ(block.Count(), 4u);
    CBlock other;
    other.AddItem(Value(L"a", 0));
    other.CopyItems(block);
    EXPECT_EQ(DumpItems(other), "a=0 x=1 y=2 X=3 4");
}

TEST(Block, LooksValuesUpByKindAndName) {
    auto   stream = ByteStream("$begin 'A'\nx[1]\nX=5\nx=6\nY=1\ny[2]\n?\n$end 'A'");
    CBlock block;
    block.Read(*stream);
    EXPECT_TRUE(block.IsGood());  // also with recorded errors
    EXPECT_FALSE(block.IsEmpty());
    CBlock_named_value value(L"x");
    EXPECT_TRUE(block.LookUp(value));
    EXPECT_EQ(Dump(value), "x=5");
    CBlock_vec vec(L"Y");
    EXPECT_TRUE(block.LookUp(vec));
    EXPECT_EQ(Dump(vec), "Y[2]");
    EXPECT_TRUE(block.IsGood() && block.WasFound());
    CBlock assigned;
    assigned = block;
    EXPECT_TRUE(assigned.IsGood() && CBlock(block).IsGood());
    CBlock_named_value missing(L"z");
    EXPECT_FALSE(block.LookUp(missing));
    EXPECT_FALSE(block.IsGood() || block.WasFound());
    CBlock_vec gone(L"z");
    gone.Append(CToken(ETokenType::Int, 1));
    EXPECT_FALSE(block.LookUp(gone));
    EXPECT_TRUE(gone.IsEmpty());
    block.Clear();
    EXPECT_EQ(block.ErrorsBegin(), block.ErrorsEnd());
}

// --- the kinds of item

TEST(Item, KnowsItsKind) {
    const CBlockItemPtr items[]  = {new CBlock_value, new CBlock_named_value, new CBlock_vec, new CBlock_func,
                                    new CBlock};
    const char* const   kKinds[] = {"v", "n", "V", "F", "B"};
    for (std::size_t i = 0; i < std::size(items); ++i) {
        const CBlock_item& item = *items[i];
        const std::string  kind = std::string(item.IsValue() ? "v" : "") + (item.IsNamedValue() ? "n" : "") +
                                 (item.IsVec() ? "V" : "") + (item.IsFunc() ? "F" : "") +
                                 (item.IsBlock() ? "B" : "");
        EXPECT_EQ(kind, kKinds[i]);
        EXPECT_EQ(item.HasName(), i != 0);
        EXPECT_TRUE(item.IsEmpty() && item.Count() == 0);
        items[i]->SetName(L"n");
        AString name(L"old");
        item.GetName(name);
        EXPECT_TRUE(name == (i == 0 ? L"" : L"n"));
        EXPECT_EQ(item.Name().Type(), i == 0 ? ETokenType::Null : ETokenType::SingleQuotedText);
    }
}

TEST(Item, LivesUntilItsLastHolderLetsGo) {
    static int alive = 0;
    struct CCounted : CBlock_value {
        CCounted() { ++alive; }
        ~CCounted() override { --alive; }
    };
    {
        CBlock a;
        a.AddItem(CBlockItemPtr(new CCounted));
        CBlock b(a);
        a.AddItem(*a.ItemsBegin());
        a.Clear();
        EXPECT_EQ(alive, 1);
        CBlockItemPtr       held    = *b.ItemsBegin();
        const CBlockItemPtr another = std::move(held);
        EXPECT_FALSE(held);
        b.EraseAt(b.ItemsBegin());
        EXPECT_EQ(alive, 1);
        const CBlock_ptr<CBlock_value> narrow(another);
        EXPECT_TRUE(narrow);
        EXPECT_FALSE(CBlockPtr(another));  // of another kind
    }
    EXPECT_EQ(alive, 0);

    // A list that has no room for an item does not leave it behind.
    struct CFull {
        CBlockItemPtr& emplace_back(CBlock_item*) { throw std::bad_alloc(); }
    } full;
    EXPECT_THROW(AddNew(full, new CCounted), std::bad_alloc);
    EXPECT_EQ(alive, 0);

    CAssertions assertions;
    {
        CBlock_value held;
        held.AddRef();
    }
    EXPECT_EQ(assertions.Take(), "mRefCount == 0");
}

// --- typed accessors

/// The accessors that succeed, by name and result.
std::string Accessors(const CToken& token) {
    const CBlock_value value(token);
    std::string        dump;
    const auto add = [&](const char* name, auto out, bool (CBlock_func_arg::*get)(decltype(out)&) const) {
        const auto before = out;
        if ((value.*get)(out))
            dump += std::string(name) + NumberText(static_cast<double>(out)) + " ";
        else
            EXPECT_EQ(out, before);
    };
    add("s", std::int16_t{7}, &CBlock_func_arg::GetShort);
    add("us", std::uint16_t{7}, &CBlock_func_arg::GetUnsignedShort);
    add("i", std::int32_t{7}, &CBlock_func_arg::GetInt);
    add("l", std::int32_t{7}, &CBlock_func_arg::GetLong);
    add("ui", std::uint32_t{7}, &CBlock_func_arg::GetUnsignedInt);
    add("ul", std::uint32_t{7}, &CBlock_func_arg::GetUnsignedLong);
    add("i64:", std::int64_t{7}, &CBlock_func_arg::GetInt64);
    add("u64:", std::uint64_t{7}, &CBlock_func_arg::GetUnsignedInt64);
    add("f", 7.0f, &CBlock_func_arg::GetFloat);
    add("d", 7.0, &CBlock_func_arg::GetDouble);
    add("b", false, &CBlock_func_arg::GetBool);
    return dump;
}

TEST(Item, GivesItsNumberAsFarAsItFits) {
    constexpr double kFloatMax = std::numeric_limits<float>::max();
    const struct {
        double      mNumber;
        const char* mGiven;
    } kRows[] = {
        {3.9, "s3 us3 i3 l3 ui3 ul3 i64:3 u64:3 f3.9000000953674316 d3.9 "},
        {-0.0, "s0 us0 i0 l0 ui0 ul0 i64:0 u64:0 f-0 d-0 "},
        {-0.5, "s0 i0 l0 i64:0 f-0.5 d-0.5 "},
        {-1, "s-1 i-1 l-1 i64:-1 f-1 d-1 "},
        {32767, "s32767 us32767 i32767 l32767 ui32767 ul32767 i64:32767 u64:32767 f32767 d32767 "},
        {32767.5, "us32767 i32767 l32767 ui32767 ul32767 i64:32767 u64:32767 f32767.5 d32767.5 "},
        {-32768, "s-32768 i-32768 l-32768 i64:-32768 f-32768 d-32768 "},
        {-32769, "i-32769 l-32769 i64:-32769 f-32769 d-32769 "},
        {65535, "us65535 i65535 l65535 ui65535 ul65535 i64:65535 u64:65535 f65535 d65535 "},
        {65536, "i65536 l65536 ui65536 ul65536 i64:65536 u64:65536 f65536 d65536 "},
        {2147483647,
         "i2147483647 l2147483647 ui2147483647 ul2147483647 i64:2147483647 u64:2147483647 f2147483648 "
         "d2147483647 "},
        {2147483648, "ui2147483648 ul2147483648 i64:2147483648 u64:2147483648 f2147483648 d2147483648 "},
        {-2147483648.0, "i-2147483648 l-2147483648 i64:-2147483648 f-2147483648 d-2147483648 "},
        {-2147483649.0, "i64:-2147483649 f-2147483648 d-2147483649 "},
        {4294967295, "ui4294967295 ul4294967295 i64:4294967295 u64:4294967295 f4294967296 d4294967295 "},
        {4294967296, "i64:4294967296 u64:4294967296 f4294967296 d4294967296 "},
        {0x1p63,
         "i64:-9223372036854775808 u64:9223372036854775808 f9223372036854775808 d9223372036854775808 "},
        {-0x1p63, "i64:-9223372036854775808 f-9223372036854775808 d-9223372036854775808 "},
        {0x1.8p63, "u64:13835058055282163712 f13835058055282163712 d13835058055282163712 "},
        {0x1p64, "u64:0 f18446744073709551616 d18446744073709551616 "},
        {0x1.1p64, "f19599665578316398592 d19599665578316398592 "},
        // single precision rounds, also at its end
        {3.4028235e38, "f3.4028234663852886e+38 d3.4028235e+38 "},
        {-3.5e38, "f-inf d-3.5e+38 "},
        {HUGE_VAL, "finf dinf "},
    };
    for (const auto& row : kRows)
        EXPECT_EQ(Accessors(CToken(ETokenType::Double, row.mNumber)), row.mGiven);
    EXPECT_EQ(Accessors(CToken(ETokenType::Float, kFloatMax)),
              "f3.4028234663852886e+38 d3.4028234663852886e+38 ");
    EXPECT_EQ(Accessors(CToken(ETokenType::Double, std::nan(""))), "fnan dnan ");
    EXPECT_EQ(Accessors(CToken(ETokenType::Short, 1)), Accessors(CToken(ETokenType::Hex, 1)));
    EXPECT_EQ(Accessors(CToken(ETokenType::True)), "b1 ");
    EXPECT_EQ(Accessors(CToken(ETokenType::False)), "b0 ");
    EXPECT_EQ(Accessors(CToken(ETokenType::Keyword, L"5")), "");
    EXPECT_EQ(Accessors(CToken()), "");
}

TEST(Item, GivesItsText) {
    for (int type = 0; type <= static_cast<int>(ETokenType::Error); ++type) {
        CToken token(static_cast<ETokenType>(type));
        if (token.IsText()) token.SetText(token.Type(), L"ab\0c"sv);
        const CBlock_value value(token);
        AString            text(L"old");
        wchar_t            buffer[8] = L"old....";
        EXPECT_EQ(value.GetString(text), token.IsText());
        EXPECT_EQ(value.GetText(buffer), token.IsText());
        if (!token.IsText()) continue;
        EXPECT_EQ(text.Str(), L"ab\0c"sv);
        EXPECT_EQ(std::wstring_view(buffer, 7), L"ab\0c\0.."sv);
        EXPECT_EQ(value.Count(), 1u);
    }
}

TEST(Item, VectorsGiveTextsAndNumbers) {
    const auto stream = ByteStream("[a, '', 5, 2147483648, -1.9, true, \"5\"]");
    CBlock_vec vec;
    vec.Read(*stream);
    EXPECT_EQ(DumpList(vec.Strings(), "|", [](const AString& text) { return Escaped(text.Str()); }),
              "a|||||"
              "|5");
    EXPECT_EQ(DumpList(vec.Ints(), " ", [](std::int32_t number) { return std::to_string(number); }),
              "0 0 5 0 -1 0 0");
}

}  // namespace
