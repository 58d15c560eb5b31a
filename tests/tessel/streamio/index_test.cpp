#include "tessel/platform/test_support.h"
#include "tessel/streamio/block_index.h"
#include "tessel/streamio/block_time_func.h"
#include "tessel/streamio/write_support.h"

#include <gtest/gtest.h>

#include <fstream>
#include <limits>

namespace {

using namespace write_support;
using test_support::CTempFolder;

/// "A@0 A<9>B@11": the entries in their order.
std::string Entries(const CBlock_index& index) {
    return DumpList(index.IndexBlock()->Items(), " ", [&](const CBlockItemPtr& item) {
        double      offset   = -1;
        const auto* function = dynamic_cast<const CBlock_func*>(item.Get());
        return Escaped(item->Name().View()) +
               (function && function->GetDouble(offset) ? "@" + NumberText(offset) : "@?");
    });
}

CAbstract_stream_pos At(ACharStreamOff offset) {
    return CAbstract_stream_pos(offset);
}

CBlock_index Index(std::initializer_list<std::pair<const wchar_t*, ACharStreamOff>> entries) {
    CBlock_index index;
    for (const auto& [path, offset] : entries)
        EXPECT_TRUE(index.AddEntry(path, At(offset)));
    return index;
}

std::string Found(const CBlock_index& index, const AString& path) {
    CAbstract_stream_pos position(77);
    const bool           found = index.Lookup(path, position);
    EXPECT_TRUE(found || position.Offset() == 77);
    return found ? std::to_string(position.Offset()) : "none";
}

// --- entries

TEST(BlockIndex, LooksPathsUpWithoutCase) {
    CBlock_index index = Index({{L"Design", 10}, {L"Design\tBox", 20}, {L"\xC9", 30}});
    EXPECT_EQ(Found(index, L"dESIGN"), "10");
    EXPECT_EQ(Found(index, L"DESIGN\tBOX"), "20");
    EXPECT_EQ(Found(index, L"\xE9"), "none");  // letters beyond ASCII have no other case
    EXPECT_EQ(Found(index, L"Box"), "none");
    EXPECT_EQ(Found(index, L""), "none");
    EXPECT_EQ(Found(index, L"Design\t"), "none");

    // A later block of the same path takes the place of the earlier one.
    EXPECT_TRUE(index.AddEntry(L"DESIGN", At(40)));
    EXPECT_EQ(Entries(index), "Design<9>Box@20 <C9>@30 DESIGN@40");
    EXPECT_FALSE(index.AddEntry(L"Design", At(-1)));
    EXPECT_EQ(Found(index, L"design"), "40");

    const AString withNul(L"a\0b", 3);
    EXPECT_TRUE(index.AddEntry(withNul, At(50)));
    EXPECT_EQ(Found(index, withNul), "50");
    EXPECT_EQ(Found(index, L"a"), "none");
    EXPECT_TRUE(index.AddEntry(L"", At(0)));
    EXPECT_EQ(Found(index, L""), "0");
}

TEST(BlockIndex, RefusesEntriesThatAreNoPlaces) {
    CBlock_index index;
    for (const auto& entry :
         {Func(Word(L"none"), {}), Func(Word(L"two"), {Plain(Number(1)), Plain(Number(2))}),
          Func(Word(L"text"), {Plain(Sq(L"5"))}), Func(Word(L"negative"), {Plain(Number(-1))}),
          Func(Word(L"huge"), {Plain(Number(1e300))}), Func(Word(L"most"), {Plain(Number(2147483647))}),
          Named(Word(L"value"), Number(5)),
          Func(Word(L"nan"), {Plain(Number(std::numeric_limits<double>::quiet_NaN()))}),
          Func(Word(L"good"), {Plain(Number(5.5))})})
        index.IndexBlock()->AddItem(Item(entry));
    for (const wchar_t* path : {L"none", L"two", L"text", L"negative", L"huge", L"most", L"value", L"nan"})
        EXPECT_EQ(Found(index, path), "none") << Escaped(path);
    EXPECT_EQ(Found(index, L"good"), "5");
}

TEST(BlockIndex, RemovesWhatLiesUnderAPathAndNothingElse) {
    const auto index = [] {
        return Index({{L"Design", 1},
                      {L"Design2", 2},
                      {L"Design\tBox", 3},
                      {L"Design Box", 4},
                      {L"DESIGN\tbox\tA", 5},
                      {L"Design\x01", 6},
                      {L"Design\x01\tBox", 7},
                      {L"Desig", 8},
                      {L"Design!", 9},
                      {L"Designs\tBox", 10},
                      {L"Other\tDesign", 11}});
    };
    const struct {
        const wchar_t* mPath;
        const char*    mLeft;
    } rows[] = {
        {L"design",
         "Design2@2 Design Box@4 Design<1>@6 Design<1><9>Box@7 Desig@8 Design!@9 Designs<9>Box@10 "
         "Other<9>Design@11"},
        {L"Design\tBox",
         "Design@1 Design2@2 Design Box@4 Design<1>@6 Design<1><9>Box@7 Desig@8 Design!@9 Designs<9>Box@10 "
         "Other<9>Design@11"},
        {L"Other",
         "Design@1 Design2@2 Design<9>Box@3 Design Box@4 DESIGN<9>box<9>A@5 Design<1>@6 Design<1><9>Box@7 "
         "Desig@8 Design!@9 Designs<9>Box@10"},
        {L"Desi",
         "Design@1 Design2@2 Design<9>Box@3 Design Box@4 DESIGN<9>box<9>A@5 Design<1>@6 Design<1><9>Box@7 "
         "Desig@8 Design!@9 Designs<9>Box@10 Other<9>Design@11"},
    };
    for (const auto& [path, left] : rows) {
        SCOPED_TRACE(Escaped(path));
        CBlock_index removed = index();
        removed.RemoveSubtree(path);
        EXPECT_EQ(Entries(removed), left);
    }
    CBlock_index empty;
    empty.RemoveSubtree(L"x");
    CBlock_index nameless = Index({{L"", 1}, {L"\tx", 2}, {L"x", 3}});
    nameless.RemoveSubtree(L"");
    EXPECT_EQ(Entries(nameless), "x@3");
}

TEST(BlockIndex, MergesAndKeepsBoth) {
    CBlock_index       one = Index({{L"A", 1}, {L"B", 2}});
    const CBlock_index two = Index({{L"b", 3}, {L"C", 4}});
    one.Merge(two);
    EXPECT_EQ(Entries(one), "A@1 B@2 b@3 C@4");
    EXPECT_EQ(Found(one, L"b"), "2");
    one.RemoveSubtree(L"B");
    EXPECT_EQ(Entries(one), "A@1 C@4");
    EXPECT_EQ(Entries(two), "b@3 C@4");
    CBlock_index none;
    none.SetIndexBlock(CBlockPtr());
    one.Merge(none);
    EXPECT_EQ(Entries(one), "A@1 C@4");
}

TEST(BlockIndex, FailsAnAssertionWithoutABlock) {
    CAssertions  assertions;
    CBlock_index index;
    index.SetIndexBlock(CBlockPtr());
    CToken_istring in(L"$begin 'A'\n$end 'A'");
    CToken_ostring out;
    EXPECT_FALSE(index.AddEntry(L"A", At(0)));
    EXPECT_FALSE(index.Build(in, true));
    index.Read(in);
    index.Merge(Index({{L"A", 0}}));
    index.RemoveSubtree(L"A");
    EXPECT_EQ(assertions.Take(),
              "mIndexBlock != 0; mIndexBlock != 0; mIndexBlock != 0; mIndexBlock != 0; mIndexBlock != 0");
    index.Write(out);
    EXPECT_TRUE(out.String().IsEmpty());
    EXPECT_EQ(Found(index, L"A"), "none");
    EXPECT_EQ(assertions.Take(), "");
}

// --- building

constexpr char kThree[] =
    "$begin 'A'\n"  // 0
    "\tx=1\n"
    "\t$begin 'In'\n"      // 17
    "\t\t$begin 'Deep'\n"  // 31
    "\t\t$end 'Deep'\n"
    "\t$end 'In'\n"
    "$end 'A'\n"
    "! note\n"
    "  $begin\n'B'\n"  // 88
    "$end\n"
    "$begin 'a b'\n"  // 104
    "\tf(1, (\n"
    "$end 'a b'\n";

TEST(BlockIndex, IsBuiltFromAStream) {
    const struct {
        const char* mWhat;
        std::string mText;
        bool        mAllLevels;
        bool        mClean;
        const char* mEntries;
    } rows[] = {
        {"top level", std::string(kThree, 104), false, true, "A@0 B@88"},
        {"all levels", std::string(kThree, 104), true, true, "A@0 A<9>In@17 A<9>In<9>Deep@31 B@88"},
        {"bad item", kThree, false, false, "A@0 B@88 a b@104"},
        {"nothing", "", true, true, ""},
        {"no line end", "$begin 'A'\n$begin 'B'\n$end\n$end", true, true, "A@0 A<9>B@11"},
        {"no block", "x=1\n$begin 'A'\n$end 'A'\n", true, false, ""},
        {"no block behind", "$begin 'A'\n$end 'A'\nx=1\n$begin 'B'\n$end 'B'\n", true, false, "A@0"},
        {"same path", "$begin 'A'\n$end 'A'\n$begin 'a'\n$end 'a'\n", true, true, "a@20"},
        {"cut off", "$begin 'A'\n$begin 'B'\nx=", true, false, "A@0 A<9>B@11"},
        {"no name", "$begin\n", true, false, ""},
        {"wrong end", "$begin 'A'\n$end 'B'\n$begin 'C'\n$end 'C'\n", true, false, "A@0 C@20"},
        {"wrong end inside", "$begin 'A'\n$begin 'B'\n$end 'X'\n$begin 'C'\n$end 'C'\n$end 'A'\n", true,
         false, "A@0 A<9>B@11 A<9>C@31"},
        {"bad line inside", "$begin 'A'\n=\n$begin 'B'\n$end 'B'\n$end 'A'\n$begin 'C'\n$end 'C'\n", true,
         false, "A@0 A<9>B@13 C@42"},
        {"empty names", "$begin ''\n$begin 'B'\n$begin ''\n$end ''\n$end 'B'\n$end ''\n", true, true,
         "@0 B@10 B<9>@21"},
    };
    for (const auto& [what, text, allLevels, clean, entries] : rows)
        for (const bool skipOnMismatch : {false, true}) {
            SCOPED_TRACE(what);
            CBlock_index index;
            const auto   stream = ByteStream(text);
            stream->SetSkipOnMismatch(skipOnMismatch);
            EXPECT_EQ(index.Build(*stream, allLevels), clean);
            EXPECT_EQ(Entries(index), entries);
            EXPECT_EQ(index.AllLevels(), allLevels);
        }
}

TEST(BlockIndex, IsBuiltFromWhereTheStreamStands) {
    // Whatever has been looked at, and after going back.
    for (const bool looked : {false, true}) {
        const auto behind = ByteStream("x\n $begin 'A'\n$end 'A'\n");
        behind->NextToken();
        if (looked) {
            EXPECT_TRUE(behind->AtBeginKeyword());
        }
        behind->SetPos(behind->GetPos());
        CBlock_index index;
        EXPECT_TRUE(index.Build(*behind, true));
        EXPECT_EQ(Entries(index), "A@3");
    }
    const auto   stream = ByteStream("x $begin 'A'\n$end 'A'\n$begin 'B'\n$end 'B'\n");
    CBlock_index index;
    stream->NextToken();
    EXPECT_TRUE(stream->AtBlockBegin());
    const CAbstract_stream_pos place = stream->GetPos();
    stream->NextToken();
    stream->SetPos(place);
    EXPECT_EQ(stream->TokenOffset(), 2);
    EXPECT_TRUE(index.Build(*stream, true));
    EXPECT_EQ(Entries(index), "A@2 B@22");
}

TEST(BlockIndex, NestsNoDeeperThanReading) {
    std::string text;
    for (unsigned i = 0; i < kMaxNesting + 10; ++i)
        text += "$begin 'b'\n";
    CBlock_index index;
    const auto   stream = ByteStream(text);
    EXPECT_FALSE(index.Build(*stream, true));
    EXPECT_EQ(index.IndexBlock()->Count(), kMaxNesting);
    // What is deeper is passed over whole, as by a block that is read; what stands behind it is found.
    std::string closed = text;
    for (unsigned i = 0; i < kMaxNesting + 10; ++i)
        closed += i == 10 ? "$end 'b'\n$begin 'c'\n$end\n" : "$end 'b'\n";
    closed += "$begin 'd'\n$end\n";
    const auto whole = ByteStream(closed);
    EXPECT_FALSE(index.Build(*whole, true));
    EXPECT_EQ(index.Damage()->mLine, kMaxNesting + 1);
    EXPECT_EQ(Found(index, L"d"), std::to_string(closed.find("$begin 'd'")));
    const auto names = Parsed(closed);
    EXPECT_EQ(ErrorCount(names), 1u);
    EXPECT_EQ(names.Count(), 2u);
    std::vector<AString> path(kMaxNesting, AString(L"b"));
    path.back() = L"c";
    EXPECT_EQ(Found(index, CBlock_index::JoinPath(path)), std::to_string(closed.find("$begin 'c'")));
}

TEST(BlockIndex, SeeksStreamsAndLeavesTheirStateAlone) {
    const std::string text(kThree, 104);
    CBlock_index      index;
    const auto        stream = ByteStream(text);
    EXPECT_TRUE(index.Build(*stream, true));
    EXPECT_TRUE(index.SeekInput(L"a\tIN", *stream));
    EXPECT_TRUE(stream->IsBlockNamed(L"In"));
    CBlock block;
    block.Read(*stream);
    EXPECT_EQ(Dump(block), "In{Deep{}}");
    // Not found: nothing moves.
    stream->ReadEndKeyword();
    EXPECT_FALSE(index.SeekInput(L"In", *stream));
    EXPECT_TRUE(stream->good());
    EXPECT_TRUE(stream->CurrentTokenIs(L"A"));
    // A stream that had failed still has; one that skips on mismatches loses no token by it.
    stream->SetSkipOnMismatch(true);
    stream->Fail();
    EXPECT_FALSE(index.SeekInput(L"B", *stream));
    EXPECT_TRUE(stream->fail());
    stream->Clear();
    EXPECT_TRUE(stream->IsBlockNamed(L"B"));

    CToken_ostring out;
    out.WriteBeginBlock(L"A");
    out.WriteEndBlock(L"A");
    EXPECT_FALSE(index.SeekOutput(L"none", out));
    EXPECT_TRUE(Index({{L"A", 8}}).SeekOutput(L"a", out));
    out.WriteDelimiter(L'Z');
    EXPECT_EQ(Shown(out.String().Str()), "$begin 'Z'\n$end 'A'\n");
    out.Fail();
    EXPECT_FALSE(Index({{L"A", 8}}).SeekOutput(L"A", out));
}

// --- written form

TEST(BlockIndex, IsWrittenAndReadAsABlock) {
    CBlock_index index = Index({{L"Outer", 0}, {L"Outer\tInner", 17}});
    index.SetVersion(3);
    index.SetTime(1368786607);
    EXPECT_EQ(Shown(index.ToString().Str()),
              "$begin '$index$'\n"
              "\t$begin 'properties'\n"
              "\t\tall_levels=false\n"
              "\t\tversion=3\n"
              "\t\ttime(year=2013, month=5, day=17, hour=10, minute=30, second=7)\n"
              "\t$end 'properties'\n"
              "\tOuter(0)\n"
              "\t'Outer\\\tInner'(17)\n"
              "$end '$index$'\n");
    for (const EForm form : kForms) {
        CToken_ostring out(0, GrammarOf(form));
        index.Write(out);
        CToken_istring in(out.String());
        CBlock_index   back;
        EXPECT_TRUE(back.AddEntry(L"gone", At(5)));
        back.Read(in);
        EXPECT_EQ(Entries(back), "Outer@0 Outer<9>Inner@17");
        EXPECT_EQ(back.Version(), 3);
        EXPECT_EQ(back.Time(), 1368786607);
        EXPECT_FALSE(back.AllLevels());
    }

    CBlock_index  base(CBlock_index::kBaseName);
    const AString text(
        L"$begin '$base_index$'\nproperties(7)\nA(1)\n$begin 'Properties'\nall_levels=true\n"
        L"version='x'\ntime(year=1)\n$end 'Properties'\nB[1: 2]\n$end '$base_index$'");
    EXPECT_TRUE(base.FromString(text));
    EXPECT_EQ(Entries(base), "properties@7 A@1 B@?");
    CBlock_index renamed;  // it is the index that was read
    EXPECT_TRUE(renamed.FromString(text));
    EXPECT_EQ(renamed.IndexBlock()->Name().View(), CBlock_index::kBaseName);
    EXPECT_TRUE(base.AllLevels());
    EXPECT_EQ(base.Version(), 1);
    EXPECT_FALSE(base.FromString(L"x=1"));
    EXPECT_EQ(Entries(base), "");
}

// --- streams

/// Two top-level blocks, one in the other's name, one with a block in it.
void WriteSample(CToken_ostream& stream) {
    Block(Sq(L"A"), {Named(Word(L"x"), Number(1))},
          {CBlockItemPtr(Block(Sq(L"In"), {Named(Word(L"y"), Sq(L"$begin '$index$'"))}).Get())})
        ->Write(stream);
    stream.WriteBeginBlock(L"B");
    stream.WriteBeginBlock(L"In");
    stream.WriteEndBlock(L"In");
    stream.WriteEndBlock(L"B");
}

TEST(BlockIndex, IsWrittenBehindTheBlocksByAStream) {
    CMemoryFile file(EForm::kText, kOpenReadIndex);
    WriteSample(*file);
    const std::string bytes = file.Bytes();
    EXPECT_EQ(bytes,
              "$begin 'A'\n"
              "\tx=1\n"
              "\t$begin 'In'\n"
              "\t\ty='$begin \\'$index$\\''\n"
              "\t$end 'In'\n"
              "$end 'A'\n"
              "$begin 'B'\n"
              "\t$begin 'In'\n"
              "\t$end 'In'\n"
              "$end 'B'\n"
              "$begin '$index$'\n"
              "\t$begin 'properties'\n"
              "\t\tall_levels=true\n"
              "\t\tversion=1\n"
              "\t\ttime(year=1970, month=1, day=1, hour=0, minute=0, second=0)\n"
              "\t$end 'properties'\n"
              "\tA(0)\n"
              "\t'A\\\tIn'(17)\n"
              "\tB(74)\n"
              "\t'B\\\tIn'(86)\n"
              "$end '$index$'\n");
    EXPECT_EQ(file.Bytes(), bytes);  // closed once only
    EXPECT_EQ(Widen(bytes).find(L"$begin 'B'"), 74u);
}

TEST(BlockIndex, KnowsOnlyPlacesThatThereAre) {
    // Unnamed blocks have no path; characters that cannot be sought have no places.
    CAssertions assertions;
    CMemoryFile file(EForm::kText, kOpenReadIndex);
    file->WriteBeginBlock();
    file->WriteBeginBlock(L"In");
    file->WriteEndBlock(L"In");
    file->WriteEndBlock();
    file->WriteBeginBlock(L"B");
    file->WriteEndBlock(L"B");
    const std::string bytes = file.Bytes();
    EXPECT_EQ(assertions.Take(), "!mBuildIndex");
    EXPECT_EQ(bytes.substr(bytes.find("'properties'\n\t", 100) + 13), "\tIn(8)\n\tB(36)\n$end '$index$'\n");

    struct CPipeBuf : std::wstringbuf {
        pos_type seekoff(off_type, std::ios_base::seekdir, std::ios_base::openmode) override {
            return off_type(-1);
        }
    };
    CPipeBuf pipe;
    {
        CToken_ostream stream(std::make_unique<std::wostream>(&pipe), kOpenReadIndex,
                              &CToken_grammar_default::Shared());
        WriteSample(stream);
        EXPECT_TRUE(stream.Close());
    }
    EXPECT_NE(pipe.str().find(L"$end 'properties'\n$end '$index$'\n"), std::wstring::npos);
}

/// What a stream finds of a name, block after block.
std::string FindAll(CToken_istream& stream, const wchar_t* name) {
    std::string found;
    for (int i = 0; i < 10 && stream.FindBlock(name); ++i) {
        CBlock block;
        block.Read(stream);
        found += (found.empty() ? "" : " ") + Dump(block);
    }
    EXPECT_TRUE(stream.fail());
    stream.Clear();
    return found;
}

TEST(BlockIndex, IsFoundAndAppliedByAStream) {
    CTempFolder folder;
    for (const EForm form : kForms)
        for (const std::uint32_t fast : {0u, static_cast<std::uint32_t>(kOpenFastInput)})
            for (const bool indexed : {true, false})
                for (const std::size_t filling : {0u, 5000u}) {
                    SCOPED_TRACE(std::to_string(static_cast<int>(form)) + std::to_string(fast) +
                                 std::to_string(indexed));
                    const AString path(((folder / "f.prj").string()).c_str());
                    {
                        CToken_ostream out(path, kOpenReplace | (indexed ? kOpenReadIndex : 0u),
                                           GrammarOf(form));
                        WriteSample(out);
                        Block(Sq(L"C"), {Named(Word(L"z"), Sq(std::wstring(filling, L'z')))})->Write(out);
                        Block(Sq(L"In"), {Named(Word(L"last"), Number(2, ETokenType::Double))})->Write(out);
                        EXPECT_TRUE(out.Close());
                    }
                    CToken_istream stream(path, kOpenReadIndex | kOpenApplyIndex | fast);
                    EXPECT_TRUE(stream.good());
                    EXPECT_EQ(stream.LineNumber(), 1u);
                    // In a block that was passed over, too; forward only.
                    EXPECT_EQ(FindAll(stream, L"In"),
                              form == EForm::kText ? "In{y='$begin '$index$''} In{} In{last=2}"
                                                   : "In{y='$begin '$index$''} In{} In{last=double[2]}");
                    EXPECT_EQ(FindAll(stream, L"A"), "");
                    stream.SetPos(At(0));
                    EXPECT_EQ(FindAll(stream, L"none"), "");
                    EXPECT_TRUE(stream.IsBlockNamed(L"A"));  // back where it was
                    EXPECT_EQ(FindAll(stream, L"B"), "B{In{}}");
                    EXPECT_EQ(FindAll(stream, L"b"), "");
                }
}

TEST(BlockIndex, NeedNotKnowAllBlocks) {
    // More was written behind it; it lies about places; it knows the top level only; it is broken.
    const std::string blocks = "$begin 'A'\n$begin 'In'\n$end 'In'\n$end 'A'\n";
    const std::string more   = "$begin 'New'\n$end 'New'\n";
    for (const std::string index :
         {"$begin '$index$'\nA(0)\n$end '$index$'\n",
          "$begin '$index$'\nA(5)\n'A\\\tIn'(0)\nNew(1)\n$end '$index$'\n",
          "$begin '$index$'\nA(9999999)\nIn(2147483646)\n$end '$index$'\n", "$begin '$index$'\nA(",
          "$begin '$index$'\n=", "$begin '$base_index$'\n$end '$index$'\n", "! $begin '$index$'\n"}) {
        SCOPED_TRACE(index);
        for (const char* name : {"A", "In"}) {
            const auto stream = ByteStream(blocks + index, kOpenReadIndex | kOpenApplyIndex);
            EXPECT_TRUE(stream->FindBlock(name));
            EXPECT_TRUE(stream->IsBlockNamed(name));
        }
        const auto stream = ByteStream(blocks + index + "\n" + more, kOpenReadIndex | kOpenApplyIndex);
        if (index.ends_with("$end '$index$'\n")) {
            EXPECT_TRUE(stream->FindBlock(L"New"));
        }
        EXPECT_FALSE(stream->FindBlock(L"none"));
    }
}

TEST(BlockIndex, MayStandAtTheStart) {
    const std::string index = "$begin '$base_index$'\nB(62)\n$end '$base_index$'\n";
    const auto        text  = index + "$begin 'B'\n$end 'B'\n$begin 'B'\nx=1\n$end 'B'\n";
    ASSERT_EQ(text.find("$begin 'B'", 50), 68u);
    for (const std::uint32_t flags : {0u, 1u, 8u, 9u}) {
        const auto stream = ByteStream(text, flags);
        EXPECT_EQ(stream->IsBlockNamed(L"$base_index$"), (flags & kOpenReadIndex) == 0);
        EXPECT_TRUE(stream->FindBlock(L"B"));
    }
    // Found by its place: the second one, past the first.
    std::string applied = text;
    applied.replace(applied.find("62"), 2, "68");
    for (const char* name : {"B", "b"}) {  // names compare as the stream compares them
        const auto cased = ByteStream(applied, kOpenReadIndex | kOpenApplyIndex | kOpenIgnoreCase);
        EXPECT_TRUE(cased->FindBlock(AString(name)));
        EXPECT_EQ(cased->TokenOffset(), 68);
    }
    EXPECT_FALSE(ByteStream(applied, kOpenReadIndex | kOpenApplyIndex)->FindBlock(L"b"));
    // Or at the end.
    const auto atEnd = ByteStream(text.substr(48) + "$begin '$base_index$'\nB(20)\n$end '$base_index$'\n",
                                  kOpenReadIndex | kOpenApplyIndex);
    EXPECT_TRUE(atEnd->FindBlock(L"B"));
    EXPECT_EQ(atEnd->TokenOffset(), 20);
    const auto stream = ByteStream(applied, kOpenReadIndex | kOpenApplyIndex);
    EXPECT_TRUE(stream->FindBlock(L"B"));
    CBlock block;
    block.Read(*stream);
    EXPECT_EQ(Dump(block), "B{x=1}");
}

TEST(BlockIndex, IsReallyGoneByWhereverItStands) {
    // Of two blocks of one path the index knows the second; without one the first is found.
    for (const EForm form : kForms)
        for (const bool quoted : {true, false})
            for (const bool apply : {true, false}) {
                SCOPED_TRACE(quoted);
                CMemoryFile file(form, kOpenReadIndex);
                file->SetQuoteBlockNames(quoted);
                WriteSample(*file);
                Block(Sq(L"B"), {Named(Word(L"second"), Truth(true))})->Write(*file);
                const auto stream = ByteStream(file.Bytes(), kOpenReadIndex | (apply ? kOpenApplyIndex : 0u));
                EXPECT_TRUE(stream->FindBlock(L"B"));
                CBlock block;
                block.Read(*stream);
                EXPECT_EQ(Dump(block), apply ? "B{second=true}" : "B{In{}}");
                CTempFolder folder;
                const auto  path = folder / "f.prj";
                std::ofstream(path, std::ios::binary) << file.Bytes();
                CToken_istream fast(AString(path.string().c_str()),
                                    kOpenFastInput | kOpenReadIndex | (apply ? kOpenApplyIndex : 0u));
                EXPECT_TRUE(fast.FindBlock(L"B"));
                block.Read(fast);
                EXPECT_EQ(Dump(block), apply ? "B{second=true}" : "B{In{}}");
                CBlock_index index;
                EXPECT_TRUE(stream->FindBlock(L"$index$"));
                index.Read(*stream);
                EXPECT_EQ(index.IndexBlock()->Count(), 4u);
                EXPECT_TRUE(index.AllLevels());
            }
}

TEST(BlockIndex, IsFoundHoweverMuchStandsBehindIt) {
    const std::string text =
        "$begin 'B'\n$end 'B'\n$begin 'B'\nx=1\n$end 'B'\n$begin '$index$'\nB(20)\n$end '$index$'\n! ";
    for (std::size_t behind = 4000; behind < 4100; ++behind) {
        const auto stream = ByteStream(text + std::string(behind, '-'), kOpenReadIndex | kOpenApplyIndex);
        EXPECT_TRUE(stream->FindBlock(L"B"));
        stream->NextToken();
        stream->NextToken();
        EXPECT_TRUE(stream->CurrentTokenIs(L"x")) << behind;
    }
}

TEST(BlockIndex, KnowsOnlyWhatIsWrittenWithIt) {
    // A file that is continued has an index each time; the last one is gone by.
    CTempFolder   folder;
    const AString path((folder / "f.prj").string().c_str());
    for (const EForm form : kForms) {
        for (const wchar_t* name : {L"one", L"two"}) {
            const bool     first = name[0] == L'o';
            CToken_ostream out(path, kOpenReadIndex | (first ? kOpenReplace : 0u), GrammarOf(form));
            out.WriteBeginBlock(name);
            out.WriteEndBlock(name);
            EXPECT_TRUE(out.Close());
        }
        for (const wchar_t* name : {L"one", L"two"}) {
            CToken_istream in(path, kOpenReadIndex | kOpenApplyIndex);
            EXPECT_TRUE(in.FindBlock(name));
            EXPECT_TRUE(in.IsBlockNamed(name));
            EXPECT_FALSE(in.FindBlock(L"none"));
        }
    }
    // Written also by a stream that nobody closes.
    auto left = std::make_unique<std::wstringbuf>();
    { CToken_ostream out(std::make_unique<std::wostream>(left.get()), kOpenReadIndex, nullptr); }
    EXPECT_NE(left->str().find(CBlock_index::kName), std::wstring::npos);
    // In memory places are units of text.
    CToken_ostring out(kOpenReadIndex);
    Block(Sq(L"\x20AC"), {}, {CBlockItemPtr(Block(Sq(L"In"), {}).Get())})->Write(out);
    EXPECT_TRUE(out.Close());
    CBlock_index   index;
    CToken_istring in(out.String());
    EXPECT_TRUE(in.FindBlock(CBlock_index::kName));
    index.Read(in);
    EXPECT_EQ(Entries(index), "<20AC>@0 <20AC><9>In@12");
}

TEST(BlockIndex, IsQuickWithManyBlocks) {
    // Also where each block has the path of another one. (Were it not, the test program would be stopped.)
    constexpr int kBlocks = 10000;
    std::string   text;
    for (int i = 0; i < kBlocks; ++i)
        text += "$begin 'b" + std::to_string(i) + "'\n$end\n";
    for (int i = kBlocks; i-- > 0;)
        text += "$begin 'b" + std::to_string(i) + "'\n$end\n";
    const auto   in = ByteStream("$begin 't'\n" + text + "$end 't'\n");
    CBlock_index index;
    EXPECT_TRUE(index.Build(*in, true));
    EXPECT_EQ(index.IndexBlock()->Count(), kBlocks + 1u);
    index.RemoveSubtree(L"T");
    EXPECT_EQ(index.IndexBlock()->Count(), 0u);
}

// --- times

TEST(TimeFunc, TellsTimesAsDates) {
    const struct {
        std::int64_t mTime;
        const char*  mText;
    } rows[] = {
        {0, "t(year=1970, month=1, day=1, hour=0, minute=0, second=0)"},
        {-1, "t(year=1969, month=12, day=31, hour=23, minute=59, second=59)"},
        {951782399, "t(year=2000, month=2, day=28, hour=23, minute=59, second=59)"},
        {951782400, "t(year=2000, month=2, day=29, hour=0, minute=0, second=0)"},
        {-62135596800, "t(year=1, month=1, day=1, hour=0, minute=0, second=0)"},
        {971890963199, "t(year=32767, month=12, day=31, hour=23, minute=59, second=59)"},
    };
    for (const auto& [time, text] : rows) {
        SCOPED_TRACE(text);
        const CBlock_time_func function(L"t", time);
        EXPECT_EQ(Shown(function.ToString().Str()), text);
        CBlock_time_func back;
        EXPECT_TRUE(back.FromString(function.ToString()));
        std::int64_t read = 0;
        EXPECT_TRUE(back.GetTime(read));
        EXPECT_EQ(read, time);
        EXPECT_TRUE(back.IsFunc());
    }
    // Beyond what a date can say: the last or first one that it can.
    EXPECT_EQ(CBlock_time_func(L"t", std::numeric_limits<std::int64_t>::max()).ToString(),
              CBlock_time_func(L"t", 971890963199).ToString());
    CBlock_time_func first(L"t", std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(Shown(first.ToString().Str()), "t(year=-32767, month=1, day=1, hour=0, minute=0, second=0)");
    first.SetTime(0);
    EXPECT_EQ(first.Count(), 6u);
}

TEST(TimeFunc, RefusesWhatIsNoDate) {
    const struct {
        const char* mArguments;
        const char* mTime;
    } rows[] = {
        {"year=1970", "0"},
        {"second=1, minute=1, hour=1, day=2, year=1970", "90061"},
        {"year=1970, year=1980", "0"},
        {"1, 2, year=1970, f(), other=5, v[1: 2], ,", "0"},
        {"year=1970.9, day=1.5", "0"},
        {"YEAR=1970, Day=2", "86400"},
        {"year=1970, month='x'", "0"},
        {"", "none"},
        {"month=1", "none"},
        {"year='1970'", "none"},
        {"year=32768", "none"},
        {"year=-32768", "none"},
        {"year=1e300", "none"},
        {"year=1970, month=0", "none"},
        {"year=1970, month=13", "none"},
        {"year=1970, month=257", "none"},
        {"year=1970, day=0", "none"},
        {"year=1970, day=32", "none"},
        {"year=1970, day=257", "none"},
        {"year=1970, month=2, day=29", "none"},
        {"year=1970, hour=24", "none"},
        {"year=1970, hour=-1", "none"},
        {"year=1970, minute=60", "none"},
        {"year=1970, second=60", "none"},
    };
    for (const auto& [arguments, expected] : rows) {
        SCOPED_TRACE(arguments);
        CBlock_time_func function;
        EXPECT_TRUE(function.FromString(AString((std::string("t(") + arguments + ")").c_str())));
        std::int64_t time = 77;
        const bool   read = function.GetTime(time);
        EXPECT_EQ(read ? std::to_string(time) : "none", expected);
        EXPECT_TRUE(read || time == 77);
    }
    // Copied from a function that was read.
    CBlock_func plain;
    EXPECT_TRUE(plain.FromString(L"when(year=1970, day=2)"));
    std::int64_t time = 0;
    EXPECT_TRUE(CBlock_time_func(plain).GetTime(time));
    EXPECT_EQ(time, 86400);
}

}  // namespace
