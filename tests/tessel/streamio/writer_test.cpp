#include "tessel/platform/test_support.h"
#include "tessel/streamio/number_text.h"
#include "tessel/streamio/write_support.h"

#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <random>

namespace {

using namespace write_support;
using test_support::CTempFolder;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan      = std::numeric_limits<double>::quiet_NaN();

// --- by hand: separators

// Read a row across: behind this token, before that one, stands a space ("_"), nothing (".") or, at the
// start of a line, the indentation (">").
TEST(TextWriter, SeparatesTokensSoThatTheyStayTwo) {
    const struct {
        const char* mText;
        Op          mOp;
    } columns[] = {
        {"b", Kw(L"b")},      {"=", Sym(L'=')},      {".", Sym(L'.')}, {"_", Sym(L'_')},
        {"-", Sym(L'-')},     {"7", Int(7)},         {"-7", Int(-7)},  {"0x1f", HexOp(31)},
        {"true", Bool(true)}, {"'q'", Quoted(L"q")}, {" ", Blank()},   {"! c\n", Comment(L"c")},
        {"\n", Eol()},
    };
    const struct {
        const char* mText;
        Ops         mOps;
        const char* mBetween;
    } rows[] = {
        // clang-format off
        //                                b = . _ - 7 -7 hex true 'q' ws ! eol
        {"a",     {Kw(L"a")},           "_ . . _ . _ _  _   _    _   .  _ ."},
        {"(",     {Sym(L'(')},          ". . . . . . .  .   .    .   .  _ ."},
        {".",     {Sym(L'.')},          ". . . . . _ _  _   .    .   .  _ ."},
        {"-",     {Sym(L'-')},          ". . . . . _ .  _   .    .   .  _ ."},
        {"+",     {Sym(L'+')},          ". . . . . _ .  _   .    .   .  _ ."},
        {"5",     {Int(5)},             "_ . _ . . _ _  _   _    _   .  _ ."},
        {"0.5",   {Real(0.5)},          "_ . _ . . _ _  _   _    _   .  _ ."},
        {"0x5",   {HexOp(5)},           "_ . _ . . _ _  _   _    _   .  _ ."},
        {"false", {Bool(false)},        "_ . . . . _ _  _   _    _   .  _ ."},
        {"'p'",   {Quoted(L"p")},       "_ . . . . _ _  _   _    _   .  _ ."},
        {"\"p\"", {Quoted(L"\"p\"")},   "_ . . . . _ _  _   _    _   .  _ ."},
        {"#inf",  {Real(kInfinity)},    "_ . . _ . _ _  _   _    _   .  _ ."},
        {"#nan",  {Real(kNan)},         "_ . . _ . _ _  _   _    _   .  _ ."},
        {"c",     {Sym(L'c')},          ". . . . . . .  .   .    .   .  _ ."},
        {"d",     {Text(L"d")},         "_ . . _ . _ _  _   _    _   .  _ ."},
        {"6",     {Text(L"6")},         "_ . _ . . _ _  _   _    _   .  _ ."},
        {"$begin_cdata$ $end_cdata$", {CDataOp(L" ")}, "_ . . _ . _ _  _   _    _   .  _ ."},
        {"x ",    {Kw(L"x"), Blank()},  ". . . . . . .  .   .    .   .  . ."},
        {"",      {},                   "> > > > > > >  >   >    >   >  > ."},
        {"x\n",   {Kw(L"x"), Eol()},    "> > > > > > >  >   >    >   >  > ."},
        // clang-format on
    };
    for (const auto& row : rows) {
        std::string between(row.mBetween);
        std::erase(between, ' ');
        ASSERT_EQ(between.size(), std::size(columns));
        for (std::size_t i = 0; i < between.size(); ++i) {
            SCOPED_TRACE(std::string(row.mText) + " before " + columns[i].mText);
            Ops ops = row.mOps;
            if (between[i] == '>') ops.push_back([](auto& b) { b.Indent(2, L'\t'); });
            ops.push_back(columns[i].mOp);
            const char* separator = between[i] == '_' ? " " : between[i] == '>' ? "\t\t" : "";
            const bool  atLineEnd = *row.mText == 0 || row.mText[1] == '\n';
            const bool  sameLine  = std::string(columns[i].mText) == "\n" && atLineEnd;
            EXPECT_EQ(WrittenText(ops),
                      std::string(row.mText) + separator + (sameLine ? "" : columns[i].mText));
        }
    }
    // A sign or point that begins the number needs no space.
    const auto pointFirst = [](CToken_streambuf& b) {
        CNumberFormat format;
        format.mWidth = 2;
        format.mFill  = L'.';
        b.SetNumberFormat(format);
    };
    EXPECT_EQ(WrittenText({pointFirst, Sym(L'.'), Real(5)}), "..5");
    EXPECT_EQ(WrittenText({pointFirst, Sym(L'-'), Real(5)}), "- .5");
}

// --- by hand: one token

TEST(TextWriter, WritesTextsByHandToTheLetter) {
    const struct {
        const char*      mWhat;
        Op               mOp;
        std::string_view mText;
    } rows[] = {
        // quoted unless it is quoted, whole and closed
        {"plain", Quoted(L"a b"), "'a b'"},
        {"empty", Quoted(L""), "''"},
        {"single", Quoted(L"'a'"), "'a'"},
        {"double", Quoted(L"\"a'\""), "\"a'\""},
        {"empty quotes", Quoted(L"''"), "''"},
        {"escape inside", Quoted(L"'a\\'b'"), "'a\\'b'"},
        {"escaped backslash at the end", Quoted(L"'a\\\\'"), "'a\\\\'"},
        {"escaped quote at the end", Quoted(L"'a\\'"), "'\\'a\\\\\\''"},
        {"lone quote", Quoted(L"'"), "'\\''"},
        {"not closed", Quoted(L"'a"), "'\\'a'"},
        {"closed too early", Quoted(L"'a'b'"), "'\\'a\\'b\\''"},
        {"closed and more", Quoted(L"'a' "), "'\\'a\\' '"},
        {"other quote", Quoted(L"'a\""), "'\\'a\"'"},
        {"tags are no quotes", Quoted(L"$begin_cdata$ $end_cdata$"), "'$begin_cdata$ $end_cdata$'"},
        // escapes
        {"backslash", Quoted(L"a\\n"), "'a\\\\n'"},
        {"line end", Quoted(L"a\nb"), "'a\\\nb'"},
        {"pair", Quoted(L"a\r\nb"), "'a\\\nb'"},
        {"CR", Quoted(L"a\rb\r"), "'a\\rb\\r'"},
        {"CR and pair", Quoted(L"\r\r\n"), "'\\r\\\n'"},
        {"tab", Quoted(L"\t"), "'\\\t'"},
        {"controls", Quoted(L"\x01\x1F\x7F\x80\x9F"), "'\\<1>\\<1F>\\<7F>\\<80>\\<9F>'"},
        {"NUL", Quoted(std::wstring_view(L"a\0b", 3)), "'a\\<0>b'"},
        {"quoted with NUL", Quoted(std::wstring_view(L"'a\0'", 4)), "'\\'a\\<0>\\''"},
        {"beyond ASCII", Quoted(L"\xA0\xE9\x20AC\xD83D\xFFFF"), "'<A0><E9><20AC><D83D><FFFF>'"},
        // words
        {"word", Kw(L"a1_$"), "a1_$"},
        {"dollar", Kw(L"$end"), "$end"},
        {"letter beyond ASCII", Kw(L"\xE9t\xE9"), "<E9>t<E9>"},
        {"boolean", Kw(L"true"), "true"},
        {"digit first", Kw(L"1a"), "'1a'"},
        {"two words", Kw(L"a b"), "'a b'"},
        {"blank behind", Kw(L"a "), "'a '"},
        {"comment behind", Kw(L"a!b"), "'a!b'"},
        {"line end behind", Kw(L"a\n"), "'a\\\n'"},
        {"NUL behind", Kw(std::wstring_view(L"a\0", 2)), "'a\\<0>'"},
        {"NUL inside", Kw(std::wstring_view(L"a\0b", 3)), "'a\\<0>b'"},
        {"no word", Kw(L"_a"), "'_a'"},
        {"empty word", Kw(L""), "''"},
        // symbols
        {"symbol", Sym(L'('), "("},
        {"sign", Sym(L'+'), "+"},
        {"letter", Sym(L'a'), "a"},
        {"far", Sym(L'\x20AC'), "<20AC>"},
        {"digit", Sym(L'5'), "'5'"},
        {"quote", Sym(L'\''), "'\\''"},
        {"comment", Sym(L'!'), "'!'"},
        {"blank", Sym(L' '), "' '"},
        {"LF", Sym(L'\n'), "'\\\n'"},
        {"no character", Sym(0), "'\\<0>'"},
        // bare if it is one token
        {"one word", Text(L"abc"), "abc"},
        {"integer", Text(L"-12"), "-12"},
        {"double", Text(L"1.5e+3"), "1.5e+3"},
        {"point last", Text(L"1."), "1."},
        {"hexadecimal", Text(L"0x1f"), "0x1f"},
        {"one symbol", Text(L"="), "="},
        {"quoted text", Text(L"'a b'"), "'a b'"},
        {"two tokens", Text(L"a b"), "'a b'"},
        {"no exponent", Text(L"1e"), "'1e'"},
        {"no exponent behind the sign", Text(L"1e+"), "'1e+'"},
        {"no hexadecimal digits", Text(L"0x"), "'0x'"},
        {"sign and point", Text(L"+."), "'+.'"},
        {"not closed text", Text(L"'a b"), "'\\'a b'"},
        {"quote escaped", Text(L"'a\\'"), "'\\'a\\\\\\''"},
        {"nothing", Text(L""), "''"},
        {"word with NUL", Text(std::wstring_view(L"a\0", 2)), "'a\\<0>'"},
        // numbers and booleans
        {"true", Bool(true), "true"},
        {"hex", HexOp(0xABCDEF), "0xabcdef"},
        {"hex 0", HexOp(0), "0x0"},
        {"int", Int(std::numeric_limits<std::int32_t>::min()), "-2147483648"},
        {"unsigned", Unsigned(4294967295u), "4294967295"},
        {"infinity", Real(kInfinity), "#inf"},
        {"negative infinity", Real(-kInfinity), "#inf"},
        {"no number", Real(kNan), "#nan"},
        {"single infinity", Single(-std::numeric_limits<float>::infinity()), "#inf"},
        // comments and white space
        {"comment", Comment(L"a 'b"), "! a 'b\n"},
        {"empty comment", Comment(L""), "! \n"},
        {"white space", Blank(L"\t  "), "\t  "},
    };
    for (const auto& [what, op, text] : rows) {
        SCOPED_TRACE(what);
        EXPECT_EQ(WrittenText({op}), text);
    }
}

TEST(TextWriter, WritesCDataByTheLetter) {
    const struct {
        std::wstring_view mText;
        const char*       mWritten;
    } rows[] = {
        // the last character decides what stands before the closing tag
        {L" a 'b' ! ", "$begin_cdata$ a 'b' ! $end_cdata$"},
        {L"a", "$begin_cdata$a $end_cdata$"},
        {L"a\n", "$begin_cdata$a\n>$end_cdata$"},
        {L"a\r", "$begin_cdata$a<D>>$end_cdata$"},
        {L"a\t", "$begin_cdata$a\t$end_cdata$"},
        {L"", "$begin_cdata$ $end_cdata$"},
        {L" \\\r\nx ", "$begin_cdata$ \\<D>\nx $end_cdata$"},
    };
    for (const auto& [text, written] : rows) {
        SCOPED_TRACE(written);
        const Op  indent = [](CToken_streambuf& b) { b.Indent(1, L'>'); };
        const Ops ops    = {Kw(L"k"), indent, CDataOp(text), Kw(L"z")};
        EXPECT_EQ(WrittenText(ops), std::string("k ") + written + " z");
    }
    std::uint32_t line  = 0;
    const Op      count = [&](CToken_streambuf& b) { line = b.LineNumber(); };
    WrittenText({Eol(true), CDataOp(L"a\nb\n\nc\rd\r\n\r"), Eol(), Eol(), Comment(L"x"), count});
    EXPECT_EQ(line, 10u);
}

TEST(TextWriter, WritesRawWithFormattingOff) {
    const auto raw = [](CToken_textstreambuf& b) { b.SetFormatting(false); };
    EXPECT_EQ(
        WrittenText({Kw(L"a"), Kw(L"b c'\n"), Int(1), Quoted(L"x\\"), Bool(true), Sym(L'-'), Int(5)}, raw),
        "ab c'\n1x\\true-5");
    const Op indent = [](CToken_streambuf& b) { b.Indent(1, L'\t'); };
    EXPECT_EQ(WrittenText({indent, Kw(L"a"), Eol(), Eol(), Kw(L"b")}, raw), "\ta\n\tb");
}

TEST(TextWriter, EndsLinesOnceUnlessForced) {
    const Ops ops = {Eol(),    Kw(L"a"),  Eol(), Eol(),         Eol(true),
                     Kw(L"b"), Eol(true), Eol(), Comment(L"c"), Eol()};
    EXPECT_EQ(WrittenText(ops), "a\n\nb\n! c\n");
    EXPECT_EQ(WrittenText(ops, [](auto& b) { b.SetCrLf(true); }), "a<D>\n<D>\nb<D>\n! c<D>\n");
}

TEST(TextWriter, IndentsByWidthsOfItsOwn) {
    const auto indent = [](std::size_t width) {
        return [width](CToken_streambuf& b) { b.Indent(width, L' '); };
    };
    const Op unindent = [](CToken_streambuf& b) { b.Unindent(); };
    EXPECT_EQ(WrittenText({unindent, Kw(L"a"), indent(3), Kw(L"b"), Eol(), Kw(L"c"), indent(2), Eol(),
                           Kw(L"d"), Eol(), indent(0), Kw(L"e"), Eol(), unindent, unindent, Kw(L"f"), Eol(),
                           unindent, Kw(L"g")}),
              "a b\n   c\n     d\n     e\n   f\ng");
}

TEST(TextWriter, FormatsNumbersAsAskedFor) {
    const auto fixed      = std::ios_base::fixed;
    const auto scientific = std::ios_base::scientific;
    const auto plus       = std::ios_base::showpos;
    const auto upper      = std::ios_base::uppercase;
    const auto left       = std::ios_base::left;
    const struct {
        double        mValue;
        int           mPrecision;
        CNumberFormat mFormat;
        std::string   mText;
    } rows[] = {
        // the shortest form that reads back; whole numbers below 2^53 without exponent
        {0.1, -1, {}, "0.1"},
        // precision: the call's own, else the buffer's
        {3.14159, 3, {}, "3.14"},
        {3.14159, -1, {4, -1, {}, L' '}, "3.142"},
        {3.14159, 3, {4, -1, {}, L' '}, "3.14"},
        {3.14159, 0, {}, "3"},
        {1234567, 3, {}, "1.23e+06"},
        {3.14159, 2, {-1, -1, fixed, L' '}, "3.14"},
        {3, 2, {-1, -1, fixed, L' '}, "3.00"},
        {3.5, -1, {-1, -1, fixed, L' '}, "3.5"},
        {31415.9, 2, {-1, -1, scientific, L' '}, "3.14e+04"},
        {0.5, 1000000, {-1, -1, fixed, L' '}, "0.5" + std::string(59, '0')},
        // sign, case, width
        {2.5, -1, {-1, -1, plus, L' '}, "+2.5"},
        {-2.5, -1, {-1, -1, plus, L' '}, "-2.5"},
        {1e22, -1, {-1, -1, upper, L' '}, "1E+22"},
        {2.5, -1, {-1, 6, {}, L' '}, "   2.5"},
        {2.5, -1, {-1, 6, left, L' '}, "2.5   "},
        {2.5, -1, {-1, 6, {}, L'*'}, "***2.5"},
        {2.5, -1, {-1, 2, {}, L'*'}, "2.5"},
        {kInfinity, -1, {-1, 9, plus, L'*'}, "#inf"},
    };
    for (const auto& [value, precision, format, text] : rows) {
        SCOPED_TRACE(text);
        EXPECT_EQ(WrittenText({Real(value, precision)}, [&](auto& b) { b.SetNumberFormat(format); }), text);
    }
    EXPECT_EQ(WrittenText({Single(0.1f), Single(16777216), Single(3.14159f, 3)}), "0.1 16777216 3.14");
}

// --- by hand: streams

std::string Stream(const std::function<void(CToken_ostream&)>& write) {
    CToken_ostring stream;
    write(stream);
    EXPECT_TRUE(stream.good());
    return Shown(stream.String().Str());
}

TEST(TextStream, WritesTidyBlocks) {
    EXPECT_EQ(Stream([](auto& s) {
                  s.WriteBeginBlock(L"Outer 1");
                  s.WriteIdentifier(L"x");
                  s.WriteDelimiter(L'=');
                  s.WriteDouble(0.5);
                  s.WriteBeginBlock(AString(L"Empty"));
                  s.WriteEndBlock(AString(L"Empty"));
                  s.WriteComment(L"note");
                  s.WriteIdentifier(L"");
                  s.WriteQuotedString(L"");
                  s.WriteQuotedString(L"y");
                  s.WriteDelimiter(L'=');
                  s.WriteBool(false);
                  s.NewLine();
                  s.NewLine();
                  s.ForceNewLine();
                  s.WriteEndBlock(L"Outer 1");
                  s.Unindent();
                  EXPECT_EQ(s.Level(), 0u);
                  s.WriteBeginBlock();
                  s.WriteEndBlock();
              }),
              "$begin 'Outer 1'\n"
              "\tx=0.5\n"
              "\t$begin 'Empty'\n"
              "\t$end 'Empty'\n"
              "\t! note\n"
              "\t'y'=false\n"
              "\n"
              "$end 'Outer 1'\n"
              "$begin\n"
              "$end\n");
    EXPECT_EQ(Stream([](auto& s) {
                  s.SetIndentation(2, L' ');
                  s.SetQuoteBlockNames(false);
                  s.SetBeginKeyword(L"{");
                  s.SetEndKeyword(L"}");
                  s.WriteBeginBlock(L"A");
                  s.WriteBeginBlock(L"A b");
                  s.WriteUnsignedShort(65535);
                  s.WriteShort(-32768);
                  s.WriteUnsignedLong(4294967295u);
                  s.WriteLong(-1);
                  s.WriteFloat(0.1f);
                  s.WriteEndBlock(L"A b");
                  s.WriteEndBlock(L"A");
              }),
              "{A\n"
              "  {'A b'\n"
              "    65535 -32768 4294967295 -1 0.1\n"
              "  }'A b'\n"
              "}A\n");
    EXPECT_EQ(Stream([](auto& s) {
                  s.SetQuoteBlockNames(false);
                  s.SetBeginKeyword(L"B");
                  s.SetEndKeyword(L"E");
                  s.WriteBeginBlock(L"A");
                  s.WriteEndBlock(L"A");
              }),
              "B A\nE A\n");
    EXPECT_EQ(Stream([](auto& s) {
                  s.SetBeginKeyword(L"");
                  s.SetEndKeyword(L"");
                  s.WriteBeginBlock(L"A");
                  s.WriteEndBlock(L"A");
              }),
              "'A'\n'A'\n");
}

TEST(TextStream, TakesTheNumberFormatOfItsCharacters) {
    auto  chars = std::make_unique<std::wostringstream>();
    auto& raw   = *chars;
    *chars << std::scientific << std::showpos << std::uppercase;
    CToken_ostream stream(std::move(chars), 0, &CToken_grammar_default::Shared());
    stream.TokenBuffer().SetNumberFormat({2, -1, {}, L' '});
    stream.WriteDouble(1.5);
    raw.unsetf(std::ios_base::showpos | std::ios_base::floatfield);
    stream.WriteFloat(1.5);
    raw << std::left;
    stream.TokenBuffer().SetNumberFormat({2, 4, {}, L'*'});
    stream.WriteDouble(1.5);
    EXPECT_EQ(Narrow(raw.str()), "+1.50E+00 1.5 1.5*");
}

TEST(TextStream, GoesBackAndIndentsAgain) {
    EXPECT_EQ(Stream([](auto& s) {
                  s.WriteBeginBlock(L"A");
                  const CAbstract_stream_pos place = s.GetPos();
                  EXPECT_EQ(place.Offset(), 11);
                  s.WriteIdentifier(L"abc");
                  s.NewLine();
                  s.WriteIdentifier(L"d");
                  s.SetPos(place);  // the state too: a line starts, indented
                  s.WriteIdentifier(L"xyz");
                  s.SetPos(CAbstract_stream_pos(0));  // no state: indentation by the level
                  s.WriteIdentifier(L"up");
              }),
              "\tupgin 'A'\n\txyz\n\td");
    // The number format belongs to the place, the depth to the stream.
    EXPECT_EQ(Stream([](auto& s) {
                  s.WriteBeginBlock(L"A");
                  s.WriteBeginBlock(L"B");
                  s.TokenBuffer().SetNumberFormat({2, -1, std::ios_base::fixed, L' '});
                  const CAbstract_stream_pos place = s.GetPos();
                  s.TokenBuffer().SetNumberFormat({3, -1, {}, L' '});
                  s.SetPos(place);
                  s.WriteDouble(0.5);
                  s.SetPos(CAbstract_stream_pos(0));
                  s.WriteDouble(0.25);
              }),
              "\t\t0.25 'A'\n\t$begin 'B'\n\t\t0.50");
    // What was written last, too: what comes next stays apart from it.
    EXPECT_EQ(Stream([](auto& s) {
                  s.NewLine();
                  s.ForceNewLine();
                  s.WriteIdentifier(L"a");
                  s.WriteDelimiter(L'-');
                  const CAbstract_stream_pos place = s.GetPos();
                  s.WriteIdentifier(L"bcdef");
                  s.ForceNewLine();
                  s.SetPos(place);
                  EXPECT_EQ(s.TokenBuffer().LineNumber(), 2u);
                  EXPECT_EQ(s.TokenBuffer().CharsWritten(), 9u);
                  s.WriteInt(5);
              }),
              "\na- 5def\n");
    // Characters that cannot be sought.
    struct CPipeBuf : std::wstringbuf {
        pos_type seekpos(pos_type, std::ios_base::openmode) override { return off_type(-1); }
    };
    CPipeBuf       pipe;
    CAssertions    assertions;
    CToken_ostream stream(std::make_unique<std::wostream>(&pipe), 0, &CToken_grammar_default::Shared());
    stream.SetPos(CAbstract_stream_pos(0));
    EXPECT_TRUE(stream.fail());
    EXPECT_EQ(assertions.Take(), "(ACharStreamOff)new_pos == (ACharStreamOff)pos.mPos");
}

TEST(TextStream, AppendsOnALineOfItsOwn) {
    CTempFolder   folder;
    const AString path((folder / "f").string().c_str());
    const struct {
        const char* mThere;
        const char* mAll;  ///< when "y=2" has been written behind it
    } rows[] = {
        {"", "y=2\n"},
        {"x=foo", "x=foo\ny=2\n"},
        {"x=foo\n", "x=foo\ny=2\n"},
        {"x=foo\r\n", "x=foo\r\ny=2\n"},
        {"x=foo\r", "x=foo\r\ny=2\n"},  // one line end
        {"! note", "! note\ny=2\n"},
        {"$begin 'A'\n$end", "$begin 'A'\n$end\ny=2\n"},
        {"x='\xE2\x82\xAC'", "x='\xE2\x82\xAC'\ny=2\n"},
    };
    const auto all = [&] {
        std::ifstream file(folder / "f", std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    };
    const auto y = Block(Sq(L""), {Named(Word(L"y"), Number(2))});
    for (const auto& [there, written] : rows) {
        SCOPED_TRACE(there);
        folder.Write("f", there);
        CToken_ostream stream(path, 0, &CToken_grammar_default::Shared());
        y->WriteFile(stream);
        EXPECT_TRUE(stream.Close());
        EXPECT_EQ(all(), written);
        // Characters that are handed over with something in them.
        auto chars =
            std::make_unique<std::wstringstream>(Widen(there), std::ios::in | std::ios::out | std::ios::ate);
        auto&          raw = *chars;
        CToken_ostream memory(std::move(chars), 0, &CToken_grammar_default::Shared());
        y->WriteFile(memory);
        EXPECT_EQ(Narrow(raw.str()), written);
    }
    // The binary form has no lines to mind, and a new file nothing before it.
    folder.Write("f", std::string_view("\0\x0B", 2));
    CToken_ostream binary(path, 0);
    binary.WriteBool(false);
    EXPECT_TRUE(binary.Close());
    EXPECT_EQ(all(), std::string("\0\x0B\x0B", 3));
    CToken_ostream replaced(path, kOpenReplace, &CToken_grammar_default::Shared());
    replaced.WriteIdentifier(L"a");
    EXPECT_TRUE(replaced.Close());
    EXPECT_EQ(all(), "a");
}

TEST(TextStream, IsClosedOnceAndForAll) {
    CTempFolder folder;
    const auto  path = folder / "f";
    for (const EForm form : kForms) {
        CToken_ostream stream(AString(path.string().c_str()), kOpenReplace, GrammarOf(form));
        stream.WriteBeginBlock(L"A");
        EXPECT_TRUE(stream.Close());
        EXPECT_TRUE(stream.Close());
        EXPECT_TRUE(stream.good());
        // What is open cannot be removed on Windows; elsewhere the system lists it.
        std::error_code error;
        for (const auto& open : std::filesystem::directory_iterator("/proc/self/fd", error))
            EXPECT_NE(std::filesystem::read_symlink(open, error), path);
        const auto size = std::filesystem::file_size(path);
        EXPECT_TRUE(std::filesystem::remove(path, error));
        EXPECT_EQ(size, form == EForm::kText ? 11u : 13u);
        stream.WriteEndBlock(L"A");
        EXPECT_TRUE(stream.fail());
        EXPECT_FALSE(stream.Close());
    }
    // In memory, too: what was written stays.
    CToken_ostring memory;
    memory.WriteIdentifier(L"a");
    EXPECT_TRUE(memory.Close());
    memory.WriteIdentifier(L"b");
    EXPECT_TRUE(memory.fail());
    EXPECT_EQ(memory.String(), L"a");
    CToken_ostring moved;
    EXPECT_TRUE(moved.Close());
    moved.SetPos(CAbstract_stream_pos(0));
    EXPECT_TRUE(moved.fail());
#ifndef _WIN32
    // What the system takes only on closing, and then does not.
    CToken_ostream full(L"/dev/full", kOpenReplace, &CToken_grammar_default::Shared());
    full.WriteIdentifier(L"a");
    EXPECT_TRUE(full.good());
    EXPECT_FALSE(full.Close());
    EXPECT_TRUE(full.fail());
#endif
}

TEST(TextStream, FailsWhenItsCharactersDo) {
    struct CFullBuf : std::wstreambuf {};
    CFullBuf       full;
    auto           chars = std::make_unique<std::wostream>(&full);
    CToken_ostream stream(std::move(chars), 0, &CToken_grammar_default::Shared());
    EXPECT_TRUE(stream.good());
    stream.WriteIdentifier(L"a");
    EXPECT_TRUE(stream.fail());
    EXPECT_FALSE(stream.good());
    EXPECT_FALSE(stream.Close());

    // Characters that take everything, and then cannot get rid of it.
    struct CLateBuf : std::wstringbuf {
        int sync() override { return -1; }
    };
    CLateBuf       late;
    CToken_ostream behind(std::make_unique<std::wostream>(&late), 0, &CToken_grammar_default::Shared());
    behind.WriteIdentifier(L"a");
    EXPECT_TRUE(behind.good());
    EXPECT_FALSE(behind.Close());

    CToken_ostream nowhere(std::unique_ptr<std::wostream>(), 0, &CToken_grammar_default::Shared());
    EXPECT_TRUE(nowhere.fail());
    CToken_ostream noFolder(L"/no/such/folder/file", kOpenReplace);
    EXPECT_TRUE(noFolder.fail());
    EXPECT_FALSE(noFolder.Close());
}

// --- the block model

TEST(BlockWriter, WritesOneItemALine) {
    const CBlockPtr block = Block(
        Sq(L"Design"),
        {Named(Word(L"Product"), Sq(L"Suite")), Named(Sq(L"Two words"), Number(0.1, ETokenType::Double)),
         Named(Word(L"on"), Truth(true)), Named(Word(L"kind"), Word(L"fast")),
         Named(Word(L"flags"), Number(31, ETokenType::Hex)), Named(Word(L"text"), Dq(L"it's \"new\"")),
         Named(Word(L"code"), CData(L" if 'a' ! no comment\n")), Vec(Word(L"none"), {}),
         Vec(Word(L"size"),
             {Number(-1), Number(2.5, ETokenType::Double), Sq(L"x"), Word(L"y"), Truth(false)}),
         Func(Word(L"Version"), {Plain(Number(10)), Plain(Number(2))}),
         Func(Word(L"call"),
              {Named(Word(L"x"), Number(2)), Func(Word(L"inner"), {}), Vec(Word(L"v"), {Number(1)})})},
        {CBlockItemPtr(Block(Sq(L"Inner"), {Named(Number(5), Number(6))}).Get()),
         CBlockItemPtr(Block(Sq(L"Empty"), {}).Get()), CBlockItemPtr()});
    const char* text =
        "$begin 'Design'\n"
        "\tProduct='Suite'\n"
        "\t'Two words'=0.1\n"
        "\ton=true\n"
        "\tkind=fast\n"
        "\tflags=0x1f\n"
        "\ttext=\"it's \\\"new\\\"\"\n"
        "\tcode=$begin_cdata$ if 'a' ! no comment\n$end_cdata$\n"
        "\tnone[0:]\n"
        "\tsize[5: -1, 2.5, 'x', y, false]\n"
        "\tVersion(10, 2)\n"
        "\tcall(x=2, inner(), v[1: 1])\n"
        "\t$begin 'Inner'\n"
        "\t\t5=6\n"
        "\t$end 'Inner'\n"
        "\t$begin 'Empty'\n"
        "\t$end 'Empty'\n"
        "$end 'Design'\n";
    EXPECT_EQ(Shown(block->ToString().Str()), text);
    EXPECT_EQ(block->ToStringSized(), block->ToString());
    EXPECT_EQ(Shown(block->ToString(kOutputBareBlockNames, {}).Str()).substr(0, 14), "$begin Design\n");
    EXPECT_EQ(Block(Number(5), {})->ToString(kOutputBareBlockNames, {}), L"$begin ''\n$end ''\n");
    const auto texts = Func(Sq(L"for people"), {Plain(Sq(L"it's")), Plain(Number(1e5))});
    EXPECT_EQ(texts->ToString(kOutputRaw, {2, 8, std::ios_base::fixed, L' '}), L"for people(it's, 100000)");

    struct CHand : CStreamio_object {
        void Read(CToken_istream&) override {}
        void Write(CToken_ostream& stream) const override { stream.WriteDouble(0.5); }
    };
    EXPECT_EQ(CHand().ToString(0, {3, 7, std::ios_base::fixed, L'*'}), L"**0.500");
}

/// What is written for an item, and whether it reads back as the same.
std::string Back(const CBlockFuncArgPtr&                       item,
                 const std::function<void(CAbstract_stream&)>& prepare = nullptr) {
    CToken_ostring out;
    if (prepare) prepare(out);
    const CBlockPtr block = Block(Sq(L"B"), {item, Named(Word(L"behind"), Number(1))});
    block->Write(out);
    CToken_istring in(out.String());
    if (prepare) prepare(in);
    CBlock back;
    back.Read(in);
    EXPECT_EQ(ErrorCount(back), 0u);
    EXPECT_EQ(ItemContents(back), ItemContents(*block));
    CToken_ostring text;
    if (prepare) prepare(text);
    item->Write(text);
    return Shown(text.String().Str());
}

TEST(BlockWriter, QuotesNamesThatWouldNotReadBack) {
    const struct {
        std::wstring_view mName;
        const char*       mWritten;
    } rows[] = {
        {L"a", "a"},
        {L"a_1$", "a_1$"},
        {L"\xE9", "<E9>"},
        {L"", "''"},
        {L"true", "'true'"},
        {L"False", "'False'"},
        {L"truer", "truer"},
        {L"$begin", "'$begin'"},
        {L"$END", "'$END'"},
        {L"$begins", "$begins"},
        {L"$begin_cdata$", "'$begin_cdata$'"},
        {L"$Begin_CData$", "'$Begin_CData$'"},
        {L"a ", "'a '"},
        {L"a!b", "'a!b'"},
        {L"a\n", "'a\\\n'"},
        {L"1", "'1'"},
        {L"-", "'-'"},
        {L"\x20AC", "'<20AC>'"},
        {L"\xD83D\xDE00", "'<D83D><DE00>'"},
        {L"\xFFFF", "'<FFFF>'"},
        {L"'a'", "'\\'a\\''"},
        {L"\"a\"", "'\"a\"'"},
        {L"a\\", "'a\\\\'"},
        {L"\\n", "'\\\\n'"},
        {std::wstring_view(L"a\0b", 3), "'a\\<0>b'"},
        {std::wstring_view(L"a\0", 2), "'a\\<0>'"},
        {L"\r", "'\\r'"},
        {L"\r\n", "'\\r\\\n'"},
        {L"\n\r\r\n", "'\\\n\\r\\r\\\n'"},
        {L"\x01\t\x1B\x7F\x85", "'\\<1>\\\t\\<1B>\\<7F>\\<85>'"},
    };
    for (const auto& [name, written] : rows) {
        SCOPED_TRACE(written);
        EXPECT_EQ(Back(Named(Sq(name), Number(1))), written + "=1"s);
        EXPECT_EQ(Back(Named(Word(name), Number(1))), written + "=1"s);
        EXPECT_EQ(Back(Vec(Dq(name), {})), written + "[0:]"s);
        EXPECT_EQ(Back(Func(CData(name), {})), written + "()"s);
        // As a word's text it may stand bare, in quotes it stays quoted.
        EXPECT_EQ(Back(Named(Word(L"x"), Word(name))), "x="s + written);
    }
    EXPECT_EQ(Back(Named(Number(-5.5), Number(1))), "-5.5=1");
    EXPECT_EQ(Back(Named(Truth(false), Number(1))), "false=1");
    EXPECT_EQ(Back(Named(CToken(), Number(1))), "''=1");

    const auto braces = [](CAbstract_stream& s) {
        s.SetBeginKeyword(L"{");
        s.SetEndKeyword(L"}");
    };
    const auto words = [](CAbstract_stream& s) {
        s.SetBeginKeyword(L"begin");
        s.SetEndKeyword(L"End");
    };
    EXPECT_EQ(Back(Named(Word(L"{"), Word(L"}")), braces), "'{'='}'");
    EXPECT_EQ(Back(Named(Word(L"$begin"), Word(L"$end")), braces), "$begin=$end");
    EXPECT_EQ(Back(Named(Word(L"begin"), Word(L"end")), words), "'begin'='end'");
    EXPECT_EQ(Back(Named(Word(L"$begin"), Word(L"begins")), words), "$begin=begins");
}

TEST(BlockWriter, WritesValuesThatReadBack) {
    constexpr double kHuge = std::numeric_limits<double>::max();
    const struct {
        CToken      mValue;
        const char* mWritten;
    } rows[] = {
        {Sq(L""), "''"},
        {CToken(), "''"},
        {Dq(L""), "\"\""},
        {Dq(L"a'\"\\\r\n\x01"), "\"a'\\\"\\\\\\r\\\n\\<1>\""},
        {Sq(L"'a'"), "'\\'a\\''"},
        {CToken(ETokenType::Symbol, L"="), "'='"},
        // numbers
        {Number(5), "5"},
        {Number(-5), "-5"},
        {Number(-0.0), "-0"},
        {Number(5, ETokenType::Double), "5"},
        {Number(1e5, ETokenType::Float), "100000"},
        {Number(9007199254740991), "9007199254740991"},
        {Number(9007199254740992), "9007199254740992"},
        {Number(1e16, ETokenType::Double), "1e+16"},
        {Number(0.1 + 0.2), "0.30000000000000004"},
        {Number(5e-324), "5e-324"},
        {Number(-kHuge), "-1.7976931348623157e+308"},
        {Number(kInfinity), "1e999"},
        {Number(-kInfinity), "-1e999"},
        {Number(2147483647, ETokenType::Hex), "0x7fffffff"},
        {Number(2147483648, ETokenType::Hex), "2147483648"},
        {Number(-1, ETokenType::Hex), "-1"},
        {Number(-0.0, ETokenType::Hex), "-0"},
        {Number(1.5, ETokenType::Hex), "1.5"},
        // CDATA, and what cannot be
        {CData(L" "), "$begin_cdata$ $end_cdata$"},
        {CData(L" 'a'\\\r\n\t!"), "$begin_cdata$ 'a'\\<D>\n\t!$end_cdata$"},
        {CData(L"\n$end"), "'\\\n$end'"},  // the tag that follows would not be seen
        {CData(L" $end_cdata"),
         "'"
         " $end_cdata'"},
        {CData(L" $end_cdata$ "), "' $end_cdata$ '"},
        {CData(L" $END_cdata$ "), "' $END_cdata$ '"},
        {CData(L" $end_cdata$x "), "' $end_cdata$x '"},
        {CData(L" $"), "' $'"},
        {CData(L" $ $end "), "$begin_cdata$ $ $end $end_cdata$"},
        {CData(L"a"), "'a'"},  // would run on from the opening tag
        {CData(L"$"), "'$'"},
        {CData(L""), "''"},
        {CData(std::wstring_view(L"\0\xFFFF", 2)), "$begin_cdata$<0><FFFF>$end_cdata$"},
    };
    for (const auto& [value, written] : rows) {
        SCOPED_TRACE(written);
        EXPECT_EQ(Back(Named(Word(L"x"), value)), "x="s + written);
        EXPECT_EQ(Back(Vec(Word(L"v"), {value, value})), "v[2: "s + written + ", " + written + "]");
        const bool nothing = value.Type() == ETokenType::Null;
        if (!nothing) {
            EXPECT_EQ(Back(Func(Word(L"f"), {Plain(value)})), "f("s + written + ")");
        }
    }
    // There is no way to write it as a number: as a text it leaves the rest as it is.
    EXPECT_EQ(Shown(Func(Word(L"f"), {Plain(Number(kNan)), Plain(Number(1))})->ToString().Str()),
              "f('#nan', 1)");
}

TEST(BlockWriter, KeepsEmptyArgumentsAndLeavesOutNullOnes) {
    const auto             one = Plain(Number(1));
    const auto             nil = Plain(CToken());
    const CBlockFuncArgPtr null;
    const struct {
        Args        mArguments;
        const char* mWritten;
    } rows[] = {
        {{}, "f()"},
        {{one}, "f(1)"},
        {{nil}, "f(,)"},
        {{nil, nil}, "f(, ,)"},
        {{nil, one}, "f(, 1)"},
        {{one, nil}, "f(1, ,)"},
        {{one, nil, nil, one}, "f(1, , , 1)"},
        {{Plain(Sq(L""))}, "f('')"},
        {{Named(Word(L"a"), CToken()), Func(Word(L"g"), {nil})}, "f(a='', g(,))"},
        {{null}, "f()"},
        {{null, one, null, one, null}, "f(1, 1)"},
        {{null, nil, null}, "f(,)"},
    };
    for (const auto& [arguments, written] : rows) {
        SCOPED_TRACE(written);
        EXPECT_EQ(Back(Func(Word(L"f"), arguments)), written);
    }
}

// Each part is given more than most need, so that what is written seldom shows that one was forgotten.
TEST(BlockWriter, EstimatesEveryPart) {
    const auto item = [](const CBlockPtr& block) { return CBlockItemPtr(block.Get()); };
    const auto x5   = Named(Word(L"x"), Number(5));
    const struct {
        CBlockItemPtr mItem;
        std::size_t   mPlain;
        std::size_t   mIndented;  ///< behind 2 wide blanks of 3 bytes, 2 more for each level
        std::size_t   mBinary;
    } rows[] = {
        {Item(Plain(Number(5))), 26, 32, 26},
        {Item(Plain(Sq(L"ab"))), 36, 42, 36},
        {Item(x5), 60, 66, 60},
        {Item(Vec(Word(L"v"), {})), 56, 62, 56},
        {Item(Vec(Word(L"v"), {Number(1), Sq(L"a")})), 120, 126, 120},
        {Item(Func(Word(L"f"), {})), 40, 46, 40},
        {Item(Func(Word(L"f"), {Plain(Number(1)), x5})), 132, 150, 132},
        {item(Block(Sq(L"b"), {})), 172, 194, 170},
        {item(Block(Sq(L"b"), {x5, x5})), 298, 342, 294},
        {item(Block(Sq(L"b"), {}, {item(Block(Sq(L"c"), {x5}))})), 412, 482, 404},
    };
    for (const auto& [block, plain, indented, binary] : rows) {
        SCOPED_TRACE(Dump(*block));
        CToken_ostring text;
        EXPECT_EQ(block.EstimateLength(text), plain);
        CMemoryFile file;
        file->SetIndentation(2, L'\x3000');
        file->Indent(2);
        EXPECT_EQ(block.EstimateLength(*file), indented);
        EXPECT_EQ(block.EstimateLength(*CMemoryFile(EForm::kBinary)), binary);
    }
    CToken_ostring stream;
    EXPECT_EQ(CBlockItemPtr().EstimateLength(stream), 0u);
}

TEST(BlockModel, ReadsFromTextWithOrWithoutItsName) {
    CBlock_named_value value(L"x");
    EXPECT_TRUE(value.FromString(L"=5"));
    EXPECT_EQ(Dump(value), "x=5");
    EXPECT_TRUE(value.FromString(L"y='a'"));
    EXPECT_EQ(Dump(value), "y='a'");
    EXPECT_FALSE(value.FromString(L"z=)"));
    EXPECT_FALSE(value.FromString(L"5"));
    EXPECT_FALSE(value.FromString(L""));
    CBlock_value plain;
    EXPECT_TRUE(plain.FromString(L" 'b' "));
    EXPECT_EQ(Dump(plain), "'b'");
    EXPECT_FALSE(plain.FromString(L"="));
    CBlock_vec vec(L"v");
    EXPECT_TRUE(vec.FromString(L"[1, 2]"));
    EXPECT_TRUE(vec.FromString(L"w[2: 1, 2]"));
    EXPECT_EQ(Dump(vec), "w[1, 2]");
    CBlock_func func;
    EXPECT_TRUE(func.FromString(L"'f g'(1, a=2)"));
    EXPECT_EQ(Dump(func), "f g(1, a=2)");
    EXPECT_TRUE(func.FromString(L"(3)"));  // in the place of what was there
    EXPECT_EQ(Dump(func), "f g(3)");
    CBlock block;
    EXPECT_TRUE(block.FromString(L"$begin 'A'\nx=1\ny\nz=2\n$end 'A'"));
    EXPECT_EQ(Dump(block), "A{x=1 !7@4}");
    EXPECT_TRUE(block.FromString(L"$begin 'B'\nz=2\n$end"));
    EXPECT_EQ(Dump(block), "B{z=2}");
    block.ReadFile(*ByteStream("y=1"));
    EXPECT_EQ(DumpItems(block), "y=1");
    EXPECT_FALSE(block.FromString(L"x=1"));

    // A first unit that looks like the end of the data on some systems.
    EXPECT_FALSE(value.FromString(L"\xFFFF"));
    EXPECT_TRUE(value.FromString(L"'\xFFFF'='\xFFFF'"));
    EXPECT_EQ(Dump(value), "<FFFF>='<FFFF>'");
    const std::wstring units(3000, L'\xFFFF');
    value.SetValue(Sq(units));
    CBlock_named_value back;
    EXPECT_TRUE(back.FromString(value.ToString()));
    EXPECT_EQ(back.Value().View(), units);
}

TEST(BlockModel, CountsWhatItTakesUp) {
    const auto total = [](const CBlock_item& item, bool self) {
        CMemoryStatistics statistics;
        item.MemoryUsage(statistics, self);
        return statistics;
    };
    const std::wstring text(1000, L'x');
    const auto         value = Named(Sq(text), Sq(text));
    EXPECT_EQ(total(*value, true).mObjects, 1u);
    EXPECT_EQ(total(*value, true).mObjectBytes, sizeof(CBlock_named_value));
    EXPECT_EQ(total(*value, true).Total(), total(*value, false).Total() + sizeof(CBlock_named_value));
    EXPECT_GE(total(*value, false).mTextBytes, 2000 * sizeof(wchar_t));
    const CBlockPtr block = Block(Sq(L"B"), {value, Func(Word(L"f"), {value, Vec(Word(L"v"), {Sq(text)})})});
    EXPECT_EQ(total(*block, true).mObjects, 5u);
    EXPECT_GE(total(*block, false).mTextBytes, 5000 * sizeof(wchar_t));
    EXPECT_EQ(total(*block, false).mErrorBytes, 0u);
    EXPECT_GE(total(*block, false).mContainerBytes,
              2 * (sizeof(CBlockItemPtr) + sizeof(CToken)) + 2 * sizeof(CBlockFuncArgPtr) + sizeof(CToken));
    EXPECT_GE(total(*Func(Word(L"f"), Args(9)), false).mContainerBytes, 9 * sizeof(CBlockFuncArgPtr));
    EXPECT_GE(total(*Vec(Word(L"v"), {Number(1), Number(2)}), false).mContainerBytes, 2 * sizeof(CToken));
    block->AddError(XStreamioError(5, 1));
    EXPECT_GE(total(*block, false).mErrorBytes, sizeof(XStreamioError));
}

// Few decimals are written without the general conversion: they must look as it writes them.
TEST(NumberText, IsTheShortestThatReadsBack) {
    std::mt19937_64 random(20240229);
    const auto      check = [](double value) {
        char              digits[32];
        const std::string shortest(digits, std::to_chars(std::begin(digits), std::end(digits), value).ptr);
        const io::CNumberText text = io::FormatExact(value);
        ASSERT_EQ(Escaped(text.View()), shortest);
        double back = 0.0;
        ASSERT_TRUE(io::ParseDecimal(text.View(), &back));
        ASSERT_EQ(back, value);
    };
    for (int i = 0; i < 50000; ++i) {
        const auto digits = static_cast<double>(random() % 2'000'000'000) + 0.5;
        for (const double scale : {1.0, 1e3, 1e6, 1e7, 1e11}) {
            check(digits / scale);
            check(-std::nextafter(digits / scale, 1e300));
        }
    }
    // Small ones, and on both sides of where the digits are more than a double has.
    for (int i = 0; i < 50000; ++i) {
        const double value = static_cast<double>(random() >> random() % 60) / (i % 2 == 0 ? 1e3 : 1e6);
        if (value != std::trunc(value)) check(value);
    }
    for (const double value : {1e-3, 0.000999999, 0.001000001, 999999999.5, 999999999.999999, 1e9 + 0.5, 0.1})
        check(value);
}

TEST(NumberText, WritesWholeNumbersOfEveryLength) {
    const auto check = [](std::int64_t value) {
        ASSERT_EQ(Escaped(io::FormatWhole(value).View()), std::to_string(value));
        constexpr std::int64_t kTwoTo53 = 9007199254740992;
        if (value <= -kTwoTo53 || value >= kTwoTo53) return;
        ASSERT_EQ(Escaped(io::FormatExact(static_cast<double>(value)).View()), std::to_string(value));
    };
    std::mt19937_64 random(20241201);
    for (std::int64_t power = 1; power < INT64_MAX / 10; power *= 10)
        for (int i = 0; i < 200; ++i)
            for (const std::int64_t value :
                 {power - 1, power, power + 1,
                  static_cast<std::int64_t>(random() % static_cast<std::uint64_t>(power))}) {
                check(value);
                check(-value);
            }
    check(INT64_MAX);
    check(INT64_MIN);
    EXPECT_EQ(Escaped(io::FormatExact(-0.0).View()), "-0");
}

}  // namespace
