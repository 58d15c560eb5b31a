#include "tessel/streamio/stream_support.h"

#include "tessel/streamio/token_textstreambuf.h"

#include <gtest/gtest.h>

#include <cmath>
#include <span>

namespace {

using namespace stream_support;

struct CRow {
    std::string_view mText;
    const char*      mTree;  // with errors as !code@line
};

/// A stream over units that come in chunks.
class CChunkStream : public std::wistream {
  public:
    CChunkStream(std::string_view bytes, std::size_t chunk)
        : std::wistream(nullptr), mUnits(Widen(bytes), chunk) {
        rdbuf(&mUnits);
    }

  private:
    CChunkBuf mUnits;
};

void Check(const CRow& row, std::uint32_t flags = 0) {
    SCOPED_TRACE(Escaped(Widen(row.mText)));
    EXPECT_EQ(DumpFile(*ByteStream(row.mText, flags)), row.mTree);
    for (const std::size_t chunk : kChunkSizes) {
        io::CToken_istream stream(std::make_unique<CChunkStream>(row.mText, chunk), flags);
        EXPECT_EQ(DumpFile(stream), row.mTree) << "chunks of " << chunk;
    }
    if (!IsAscii(row.mText)) return;
    io::CToken_istring inMemory(AString(Widen(row.mText)), flags);
    EXPECT_EQ(DumpFile(inMemory), row.mTree) << "in memory";
}

void Check(std::span<const CRow> rows) {
    for (const CRow& row : rows)
        Check(row);
}

TEST(Reader, ItemsOfEveryKind) {
    constexpr CRow kRows[] = {
        {"x=1 y=abc z='q r' w=\"d\" t=true", "x=1 y=abc z='q r' w=\"d\" t=true"},
        {"x=$begin_cdata$ c $end_cdata$", "x=< c >"},
        {"x=-1.5 h=0x1f s=0x e=''", "x=double[-1.5] h=hex[31] s=short[0] !7@1"},
        {"x\n=\n1", "x=1"},
        {"'a b'=1 \"c\"=2 ''=3", "a b=1 c=2 =3"},
        {"5=1 true=2", "=1 =2"},
        {"", ""},
        {"\n\n ! nothing\n", ""},
    };
    Check(kRows);
}

TEST(Reader, Functions) {
    constexpr CRow kRows[] = {
        {"f()", "f()"},
        {"f(1,)", "f(1)"},
        {"f(,1) g(,) h(,,1)", "f(-, 1) g(-) h(-, -, 1)"},
        {"f(a, 'b', c=1, g(2), v[3, 4], true)", "f(a, 'b', c=1, g(2), v[3, 4], true)"},
        {"f('', \"\")", "f('', \"\")"},
        {"f(1=2, 'a b'(3))", "f(=2, a b(3))"},
        {"f(1,\n2 ! two\n,3\n)\nx=1", "f(1, 2, 3) x=1"},
        {"f(g(h(1), 2), 3)", "f(g(h(1), 2), 3)"},
        {"f(1 2)\nx=1", "x=1 !10@1"},
        {"f(''=1)\nx=1", "x=1 !10@1"},
        {"f(])\nx=1", "x=1 !5@1"},
        {"f(=1)\nx=1", "x=1 !5@1"},
        {"f(a=)\nx=1", "x=1 !5@1"},
        {"f(a:1)\nx=1", "x=1 !10@1"},
        {"f(1,\n2 3,\n4)\nx=1", "x=1 !10@2 !7@3"},
        {"f( \xF0\x9F\x98\x80)\nx=1", "x=1 !5@1"},
    };
    Check(kRows);
}

TEST(Reader, Vectors) {
    constexpr CRow kRows[] = {
        {"x[3: 1, 2, 3] y[1, 2, 3] z[]", "x[1, 2, 3] y[1, 2, 3] z[]"},
        {"x['a', b, true, 1.5, -1]", "x['a', b, true, double[1.5], -1]"},
        {"x[0:] y[a,] z[1,]", "x[] y[a] z[1]"},
        {"x[1: -1]", "x[-1]"},
        // the count is a hint, but must be one
        {"x[3: 1, 2] y[0: 1] z[4294967295: 1]", "x[1, 2] y[1] z[1]"},
        {"x[1.5: a] y[0x2: b] z[-0: c]", "x[a] y[b] z[c]"},
        {"x[-1, 2]\ny=1", "y=1 !12@1"},
        {"x[4294967296: 1]\ny=1", "y=1 !12@1"},
        {"x[1e999]\ny=1", "y=1 !12@1"},
        {"x[-1\n, 2]\ny=1", "y=1 !12@1 !11@2"},
        {"x[a b]\ny=1", "y=1 !10@1"},
        {"x[1 2]\ny=1", "y=1 !10@1"},
        {"x[1)\ny=1", "y=1 !10@1"},
        {"x[1:: 2]\ny=1", "y=1 !5@1"},
        {"x[,a]\ny=1", "y=1 !5@1"},
        {"x[a, f(1)]\ny=1", "y=1 !10@1"},
        {"x[\n2:\n1,\n2\n]\ny=1", "x[1, 2] y=1"},
    };
    Check(kRows);
}

TEST(Reader, Blocks) {
    constexpr CRow kRows[] = {
        {"$begin 'A'\nx=1\n$end 'A'\ny=2", "A{x=1} y=2"},
        {"$begin 'A' x=1 $end 'A' y=2", "A{x=1} y=2"},
        {"$begin\n'A'\n$end 'A'", "A{}"},
        {"$begin A\n$end 'A'\n$begin \"B\"\n$end B", "A{} B{}"},
        {"$begin 'A'\n$begin 'B'\nx=1\n$end 'B'\n$end 'A'", "A{B{x=1}}"},
        {"$begin ''\n$end ''\ny=2", "{} y=2"},
        {"$begin 5\nx=1\n$end 5\ny=2", "{x=1} y=2"},
        {"$begin 'A'\r\nx=1\r\n$end 'A'\r\n", "A{x=1}"},
        {"$begin 'A'\rx=1\r$end 'A'\r", "A{x=1}"},
        // an end that is followed by the end of its line needs no name
        {"$begin 'A'\n$end\ny=2", "A{} y=2"},
        {"$begin 'A'\n$end ! c\ny=2", "A{} y=2"},
        {"$begin 'A'\n$end", "A{}"},
        // frames that do not fit together; the next line survives
        {"$begin 'A'\n$end 'B'\ny=2", "A{!3@2} y=2"},
        {"$begin 'A'\n$end 'B' y=2\nz=3", "A{!3@2} z=3"},
        {"$begin 'A'\n$end 'a'\ny=2", "A{!3@2} y=2"},
        {"$begin 'A'\n$end 5\ny=2", "A{!3@2} y=2"},
        {"$begin (\ny=2", "{!3@1} y=2"},
        {"$begin\n=1\ny=2", "{!3@2} y=2"},
        {"$begin", "{!3@1}"},
        {"$begin 'A'\nx=1\n$begin 'B'\n$end 'C'\ny=2\n$end 'A'\nz=3", "A{x=1 B{!3@4} y=2} z=3"},
        {"$begin 'A'\nx=1\n$begin =\ny=2\n$end 'A'\nz=3", "A{x=1 {!3@3} y=2} z=3"},
        {"$end 'A'\nx=1", "x=1 !7@1"},
        {"$BEGIN 'A'\nx=1", "x=1 !7@1"},
    };
    Check(kRows);
    Check({"$BEGIN 'A'\nX=1\n$End 'a'\ny=TRUE", "A{X=1} y=true"}, io::kOpenIgnoreCase);
    Check({"$begin 'A'\n$end 'a'", "A{!3@2}"}, io::kOpenExactCase);
}

TEST(Reader, GoesOnAfterAnError) {
    constexpr CRow kRows[] = {
        {"a b\nx=1", "x=1 !7@1"},
        {"a:1\nx=1", "x=1 !7@1"},
        {"=1\nx=1", "x=1 !11@1"},
        {"\xF0\x9F\x98\x80=1\nx=1", "x=1 !11@1"},
        {"x=(1)\ny=2", "y=2 !5@1"},
        // an expectation is not bound to its line: the line of the token that disappoints is skipped
        {"a\nb=1\nx=1", "x=1 !7@2"},
        {"a=\nb=1\nx=1", "a=b x=1 !11@2"},
        {"a\n\n\n(b\nx=1\ny=2", "y=2 !10@5"},
        {"a ?\r\nx=1 !c\r\ny ?", "x=1 !7@1 !7@3"},
        {"$begin 'A'\nbad line\nx=1\n$begin 'B'\n=\ny=2\n$end 'B'\n$end 'A'", "A{x=1 B{y=2 !11@5} !7@2}"},
        {"? ? ?\n? ?\n\n?", "!11@1 !11@2 !11@4"},
    };
    Check(kRows);
}

TEST(Reader, EndOfDataEndsWhatItCuts) {
    constexpr CRow kRows[] = {
        {"$begin 'A'\nx=1", "A{x=1}"},
        {"$begin 'A'\n$begin 'B'\nx=1\n$end 'B'", "A{B{x=1}}"},
        {"f(", "f()"},
        {"f(1,", "f(1)"},
        {"f(g(1),", "f(g(1))"},
        {"v[", "v[]"},
        {"v[2:", "v[]"},
        {"v[1,", "v[1]"},
        {"v['a',", "v['a']"},
        {"f(1", "!10@1"},
        {"f(a", "!10@1"},
        {"f(a=", "!5@1"},
        {"v[1", "!10@1"},
        {"v['a'", "!10@1"},
        {"x", "!7@1"},
        {"x=", "!5@1"},
    };
    Check(kRows);
}

// --- nesting

std::string Repeat(int count, const std::string& text) {
    std::string repeated;
    while (count-- > 0)
        repeated += text;
    return repeated;
}

/// Runs of brackets as one: "B{B{B{x=1}}}" is "3*B{x=1 3*}".
std::string Squeeze(std::string text) {
    for (const std::string run : {"B{", "}", "f(", ")"})
        for (std::size_t at = text.find(run); at != text.npos; at = text.find(run, at)) {
            std::size_t end = at;
            while (text.compare(end, run.size(), run) == 0)
                end += run.size();
            const std::string count = " " + std::to_string((end - at) / run.size()) + "*" + run;
            text.replace(at, end - at, count);
            at += count.size();
        }
    return text;
}

TEST(Reader, NestingIsBounded) {
    const auto read   = [](const std::string& text) { return Squeeze(DumpFile(*ByteStream(text))); };
    const auto blocks = [&](int depth) {
        return read("$begin 'A'\n" + Repeat(depth - 1, "$begin 'B'\n") + "x=1\n" +
                    Repeat(depth - 1, "$end 'B'\n") + "y=2\n$end 'A'\nz=3");
    };
    const auto functions = [](int depth) { return Repeat(depth, "f(") + Repeat(depth, ")"); };
    EXPECT_EQ(blocks(256), "A{ 255*B{x=1 255*} y=2 1*} z=3");
    // A block that is refused is passed over whole, so what surrounds it keeps its place.
    EXPECT_EQ(blocks(257), "A{ 255*B{!4@257 255*} y=2 1*} z=3");
    EXPECT_EQ(blocks(300), "A{ 255*B{!4@257 255*} y=2 1*} z=3");
    EXPECT_EQ(read(Repeat(100000, "$begin 'B'\n")), " 256*B{!4@257 256*}");
    EXPECT_EQ(read(functions(256)), " 256*f( 256*)");
    EXPECT_EQ(read(functions(257) + "\nx=1"), "x=1 !4@1");
    EXPECT_EQ(read("g[1]\n" + functions(1000) + " y=1\nx=1"), "g[1] x=1 !4@2");
    EXPECT_EQ(read("$begin 'A'\n" + functions(255) + "\n$end"), "A{ 255*f( 255*) 1*}");
    EXPECT_EQ(read("$begin 'A'\n" + functions(256) + "\n$end"), "A{!4@2 1*}");
    EXPECT_EQ(read(Repeat(100000, "f(")), "!4@1");
}

// --- any bytes

constexpr std::string_view kCorpus[] = {
    "$begin 'ProjectPreview'\n\tThumbnail64='TWFu\\\nTWFu'\n\t$begin 'DesignInfo'\n\t\tDesignName='A\\'1'\n"
    "\t\tIsSolved=true\n\t\t'Nominal Setups'[2: 'a', 'b']\n\t$end 'DesignInfo'\n$end 'ProjectPreview'\n",
    "f(1, g(a=2, v[1, x]), , 'q')\nv[3: 1., -2, 0x1f]\n$begin 'N'\nbad\n$end 'M'\nx=$begin_cdata$ t "
    "$end_cdata$\n",
    "$begin 'A' $begin B x=\"\xC3\xA9\xE2\x82\xAC\" $end B $end\r\n5=true ! c\r\ny=#inf z[]\n",
};

void CheckEndsWithATree(const std::string& text) {
    io::CBlock whole, chunked;
    const auto stream = ByteStream(text);
    whole.ReadFile(*stream);
    ASSERT_TRUE(stream->AtEndOfFile()) << Escaped(Widen(text));
    io::CToken_istream slow(std::make_unique<CChunkStream>(text, 1), 0);
    chunked.ReadFile(slow);
    ASSERT_EQ(DumpItems(whole), DumpItems(chunked)) << Escaped(Widen(text));
    const auto lines = static_cast<std::uint32_t>(std::count_if(
        text.begin(), text.end(), [](char ch) { return ch == '\n' || ch == '\r' || ch == '\0'; }));
    for (auto error = whole.ErrorsBegin(); error != whole.ErrorsEnd(); ++error) {
        ASSERT_GE(error->Line(), 1u);
        ASSERT_LE(error->Line(), lines + 1) << Escaped(Widen(text));
    }
}

TEST(Reader, EndsWithATreeWhereverTheTextIsCut) {
    for (const std::string_view text : kCorpus)
        for (std::size_t length = 0; length <= text.size(); ++length)
            CheckEndsWithATree(std::string(text.substr(0, length)));
}

TEST(Reader, EndsWithATreeWhateverByteIsChanged) {
    for (const std::string_view text : kCorpus)
        for (std::size_t at = 0; at < text.size(); ++at)
            for (const char byte : "\0\n\r'\"()[]=:,$\\!#5xe\xC3\xF0\xFF "sv) {
                std::string changed(text);
                changed[at] = byte;
                CheckEndsWithATree(changed);
            }
}

// --- errors

TEST(StreamioError, SaysWhatAndWhere) {
    const char* const kTexts[] = {"ok",
                                  "read error",
                                  "write error",
                                  "begin/end block syntax invalid",
                                  "invalid block item",
                                  "value is not valid",
                                  "'=' expected",
                                  "expected a '(' or a '='",
                                  "'(' or '[' expected",
                                  "')' or ']' expected",
                                  "expected a ')', ']' or a ','",
                                  "identifier expected",
                                  "invalid vector size",
                                  "",
                                  ""};
    for (std::uint32_t code = 0; code < std::size(kTexts); ++code)
        EXPECT_EQ(Escaped(io::XStreamioError(code, code + 10).Message().Str()),
                  std::string("Error: ") + kTexts[code] + " at line# " + std::to_string(code + 10));
}

/// "5@1": what reading this item by itself throws.
std::string Thrown(io::CStreamio_object&& item, std::string_view text) {
    const auto stream = ByteStream(text);
    try {
        item.Read(*stream);
    } catch (const io::XStreamioError& error) {
        return std::to_string(error.Code()) + "@" + std::to_string(error.Line());
    }
    return "nothing";
}

TEST(StreamioError, ItemsThrowWhenReadAlone) {
    EXPECT_EQ(Thrown(io::CBlock_named_value(), "\n1"), "6@2");
    EXPECT_EQ(Thrown(io::CBlock_named_value(), "= ]"), "5@1");
    EXPECT_EQ(Thrown(io::CBlock_value(), "]"), "5@1");
    EXPECT_EQ(Thrown(io::CBlock_func(), "[1]"), "8@1");
    EXPECT_EQ(Thrown(io::CBlock_vec(), "(1)"), "8@1");
    EXPECT_EQ(Thrown(io::CBlockItemPtr(), ""), "11@1");
    EXPECT_EQ(Thrown(io::CBlockFuncArgPtr(), ""), "5@1");
    EXPECT_EQ(Thrown(io::CBlock(), "x"), "nothing");  // a block records its errors
}

// --- keywords

std::string DumpWithKeywords(const wchar_t* begin, const wchar_t* end, std::string_view text) {
    const auto stream = ByteStream(text);
    stream->SetBeginKeyword(AString(begin));
    stream->SetEndKeyword(AString(end));
    return DumpFile(*stream);
}

TEST(Reader, TakesOtherKeywords) {
    EXPECT_EQ(DumpWithKeywords(L"block", L"end", "block A\n$begin=1\nend A"), "A{$begin=1}");
    EXPECT_EQ(DumpWithKeywords(L"block", L"end", "'block'=1 'end'=2"), "block=1 end=2");
    // without a begin keyword every name opens a block
    EXPECT_EQ(DumpWithKeywords(L"", L"$end", "A\nB\n$end B\n'C'\n$end\n$end A"), "A{B{} C{}}");
    // a symbol encloses a block that is read as such; where an item should stand it is none
    const auto stream = ByteStream("{A\nx=1\n{B\ny=2\n}\nz=3");
    stream->SetBeginKeyword(AString(L"{"));
    stream->SetEndKeyword(AString(L"}"));
    EXPECT_TRUE(stream->FindBlock(AString(L"A")));
    io::CBlock block;
    block.Read(*stream);
    EXPECT_EQ(Dump(block), "A{x=1 y=2 !11@3}");
    // a keyword that is neither a word nor a symbol is everywhere
    EXPECT_EQ(DumpWithKeywords(L"$begin", L"'x'", "$begin 'A' x=1\ny=2"), "A{!3@1} y=2");
}

// --- searching

TEST(Reader, FindsBlocks) {
    constexpr struct {
        const char* mText;
        const char*
            mThen;  // the block that is read then; or, in parentheses, what is read of all when none is found
        std::uint32_t mFlags = 0;
    } kRows[] = {
        {"$begin 'P'\nx=1\n$end 'P'", "P{x=1}"},
        {"a=1\n$begin 'A'\n$end 'A'\n$begin 'P'\nx=1\n$end 'P'", "P{x=1}"},
        {"$begin 'A'\n$begin 'P'\nx=1\n$end 'P'\n$end 'A'", "P{x=1}"},
        {"x=1\n$end 'A'\n$end 'B'\n$begin 'P'\nx=1", "P{x=1}"},
        {"$end\n$begin 'P'\nx=1", "P{x=1}"},
        {"$end $begin 'P'\n$begin 'P'\nx=1", "P{x=1}"},  // a name behind an end is passed over
        {"$begin =\n$begin 'P'\nx=1", "P{x=1}"},
        {"((( '$begin' 'P'\n$begin P\nx=1", "P{x=1}"},
        {"x='P'\n$begin 'p'\n$end 'p'", "(x='P' p{})"},
        {"x='P'\n$begin 'p'\n$end 'p'", "p{}", io::kOpenIgnoreCase},
        {"x=1\n$begin", "(x=1 {!3@2})"},
        {"", "()"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.mText);
        const auto stream = ByteStream(row.mText, row.mFlags);
        io::CBlock found;
        if (stream->FindBlock(AString(L"P"))) {
            EXPECT_TRUE(stream->good());
            EXPECT_TRUE(stream->IsBlockNamed(AString(L"P")));
            EXPECT_TRUE(stream->AtBeginKeyword());
            found.Read(*stream);
            EXPECT_EQ(Dump(found), row.mThen);
            continue;
        }
        EXPECT_TRUE(stream->fail());
        EXPECT_FALSE(stream->FindBlock(AString(L"P")));
        stream->Clear();
        EXPECT_EQ("(" + DumpFile(*stream) + ")", row.mThen);
    }
}

TEST(Reader, SearchThatFailsGoesBackToWhereItStood) {
    const auto stream = ByteStream("a b\nc $begin 'Q' x\n");
    stream->NextToken();
    const io::CToken before = stream->CurrentToken();
    EXPECT_FALSE(stream->FindBlock(AString(L"P")));
    stream->Clear();
    EXPECT_EQ(Dump(stream->CurrentToken()), Dump(before));
    EXPECT_EQ(stream->LineNumber(), 1u);
    EXPECT_EQ(DumpRest(stream->TokenBuffer()), "eol word[c] word[$begin] sq[Q] word[x] eol");
}

// --- the stream's own operations

TEST(Reader, FailureSticksUntilItIsCleared) {
    const auto stream = ByteStream("a = b");
    stream->ReadDelimiter(L'(');
    EXPECT_TRUE(stream->fail());
    EXPECT_FALSE(stream->AtDelimiter(L'='));
    EXPECT_FALSE(stream->CurrentTokenIs(L"a"));
    stream->NextToken();
    stream->ReadDelimiter(L'a');
    AString name(L"untouched");
    stream->ReadName(name);
    stream->ReadBeginBlock(name);
    stream->SkipAfterError();
    EXPECT_TRUE(name == L"untouched");
    EXPECT_TRUE(stream->fail());
    stream->Clear();
    EXPECT_TRUE(stream->good());
    EXPECT_TRUE(stream->CurrentTokenIs(L"a"));

    stream->ReadDelimiter(L'(');
    stream->SetStickyFailure(false);  // each operation starts afresh
    stream->NextToken();
    EXPECT_TRUE(stream->good());
    EXPECT_TRUE(stream->AtDelimiter(L'='));
    stream->SetSkipOnMismatch(true);  // and the token that disappoints is consumed
    stream->ReadDelimiter(L'(');
    EXPECT_TRUE(stream->fail());
    EXPECT_TRUE(stream->CurrentTokenIs(L"b"));
    stream->ReadEndBlock(AString(L"c"));
    EXPECT_TRUE(stream->fail());
    EXPECT_TRUE(stream->AtEndOfFile());
}

TEST(Reader, LooksWithoutConsuming) {
    const auto stream = ByteStream("5 $begin\n'A' $end");
    EXPECT_TRUE(stream->AtNumber());
    EXPECT_TRUE(stream->CurrentNumberEquals(5));
    EXPECT_FALSE(stream->CurrentNumberEquals(std::nan("")));
    EXPECT_FALSE(stream->IsCommaOptional());
    stream->NextToken();
    EXPECT_TRUE(stream->AtBlockBegin());
    EXPECT_FALSE(stream->IsBlockNamed(AString(L"B")));
    EXPECT_TRUE(stream->IsBlockNamed(AString(L"A")));
    EXPECT_TRUE(stream->CurrentTokenIs(L"$begin"));
    AString name;
    stream->ReadBeginBlock(name);
    EXPECT_TRUE(name == L"A");
    EXPECT_TRUE(stream->AtEndKeyword());
    stream->ReadEndKeyword();
    EXPECT_TRUE(stream->AtEndOfFile());
    EXPECT_FALSE(stream->AtEndOfLine());
}

TEST(Reader, LineEndsCanBeSeen) {
    const auto stream = ByteStream("a\nb");
    stream->SetSkipEndOfLine(false);
    io::CToken  token;
    std::string dump;
    while (!stream->AtEndOfFile()) {
        stream->ReadToken(token);
        dump += Dump(token) + " ";
    }
    EXPECT_EQ(dump, "word[a] eol word[b] ");
}

TEST(Reader, ANumberAsABlockNameHasNoTextEvenWhenSpellingsAreKept) {
    io::CToken_istring stream(AString(L"$begin 5\n$end 5"));
    dynamic_cast<io::CToken_textstreambuf&>(stream.TokenBuffer()).SetKeepText(true);
    io::CBlock block;
    block.Read(stream);
    EXPECT_EQ(block.Name().Length(), 0u);
    EXPECT_EQ(block.ErrorsBegin(), block.ErrorsEnd());
}

TEST(Reader, ABlockNameIsASingleQuotedTextWhateverStoodForIt) {
    for (const wchar_t* name : {L"'a name'", L"\"a name\"", L"a_name", L"5", L"true", L"$begin"}) {
        const std::wstring line = std::wstring(name) + L"\n";
        io::CToken_istring stream(AString(L"$begin " + line + L"$end " + line));
        io::CBlock         file;
        file.ReadFile(stream);
        ASSERT_EQ(file.Count(), 1u);
        EXPECT_EQ((*file.ItemsBegin())->Name().Type(), io::ETokenType::SingleQuotedText);
    }
}

TEST(Reader, ASymbolCanBeComparedWithAText) {
    io::CToken_istring stream(AString(L"= x"));
    EXPECT_TRUE(stream.CurrentTokenIs(L"="));
    EXPECT_FALSE(stream.CurrentTokenIs(L"x"));
}

}  // namespace
