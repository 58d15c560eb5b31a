#include "tessel/streamio/delimiter_grammar_default.h"
#include "tessel/streamio/stream_support.h"

#include <gtest/gtest.h>

#include <span>

namespace {

using namespace stream_support;
using io::CToken_textstreambuf;

/// How a group of rows is read.
struct CSetup {
    const io::CBase_grammar& mGrammar    = io::CToken_grammar_default::Shared();
    bool                     mComments   = false;
    bool                     mWhiteSpace = false;
    bool                     mSpecial    = false;
    bool                     mKeepText   = false;
    bool                     mLines      = false;
    io::ECaseMode            mCase       = io::kCaseKeep;
    io::ECodeCvt             mCodeCvt    = io::kUtf8Units;
};

struct CRow {
    std::string_view mBytes;
    const char*      mTokens;
};

std::string DumpTokens(std::wstreambuf& units, const CSetup& setup, io::ECodeCvt codeCvt) {
    CToken_textstreambuf tokens(&units, setup.mGrammar);
    tokens.SetCodeCvt(codeCvt);
    tokens.SetReturnComments(setup.mComments);
    tokens.SetReturnWhiteSpace(setup.mWhiteSpace);
    tokens.SetSpecialNumbers(setup.mSpecial);
    tokens.SetKeepText(setup.mKeepText);
    tokens.SetCaseMode(setup.mCase);
    return DumpRest(tokens, setup.mLines);
}

/// The row as bytes in chunks of every size, and as text in memory where that is the same.
void Check(const CSetup& setup, const CRow& row) {
    SCOPED_TRACE(Escaped(Widen(row.mBytes)));
    for (const std::size_t chunk : kChunkSizes) {
        CChunkBuf units(Widen(row.mBytes), chunk);
        EXPECT_EQ(DumpTokens(units, setup, setup.mCodeCvt), row.mTokens) << "chunks of " << chunk;
    }
    if (!IsAscii(row.mBytes) || setup.mCodeCvt != io::kUtf8Units) return;
    std::wstringbuf text(Widen(row.mBytes));
    EXPECT_EQ(DumpTokens(text, setup, io::kWideUnits), row.mTokens) << "in memory";
}

void Check(const CSetup& setup, std::span<const CRow> rows) {
    for (const CRow& row : rows)
        Check(setup, row);
}

TEST(Lexer, Numbers) {
    constexpr CRow kRows[] = {
        {"5 -5 +5", "int[5] int[-5] int[5]"},
        {"- 5", "sym[-] int[5]"},
        {"5-3", "int[5] int[-3]"},
        {"+-5", "sym[+] int[-5]"},
        {"007 0 00", "int[7] int[0] int[0]"},
        {"1. 1.5 .5 1e5 1.5E-3 2e+3 0e1",
         "double[1] double[1.5] double[0.5] double[1e+05] double[0.0015] double[2000] double[0]"},
        {"+.5 -.5e1", "double[0.5] double[-5]"},
        {"1.2.3", "double[1.2] double[0.3]"},
        {"1..2 ..5", "double[1] double[0.2] sym[.] double[0.5]"},
        {"1x 1_0", "int[1] word[x] int[1] sym[_] int[0]"},
        // a sign or a point that begins no number
        {"+.x", "sym[+] sym[.] word[x]"},
        {"-.", "sym[-] sym[.]"},
        {"+.-.5", "sym[+] sym[.] double[-0.5]"},
        {"-(.)", "sym[-] sym[(] sym[.] sym[)]"},
        // an exponent that is none goes back, mark and sign
        {"1e", "double[1] word[e]"},
        {"1.5ex", "double[1.5] word[ex]"},
        {"1e+", "double[1] word[e] sym[+]"},
        {"1e-x", "double[1] word[e] sym[-] word[x]"},
        {"1E+.5", "double[1] word[E] double[0.5]"},
        {"0e 0e-", "double[0] word[e] double[0] word[e] sym[-]"},
        // hexadecimal
        {"0x1f 0x0", "hex[31] hex[0]"},
        {"0x1F", "hex[1] word[F]"},
        {"0X1F", "int[0] word[X1F]"},
        {"0x 0xg", "short[0] word[x] short[0] word[xg]"},
        {"00x1 -0x1", "int[0] word[x1] int[-0] word[x1]"},
        {"0x7fffffff 0x0000000007fffffff", "hex[2147483647] hex[2147483647]"},
        {"0x80000000", "sq[0x80000000]"},
        {"0xffffffff 0x100000000", "sq[0xffffffff] sq[0x100000000]"},
        {"0xffffffffffffffffffff", "sq[0xffffffffffffffffffff]"},
        {"0x1e5", "hex[485]"},
        // the range is never an error
        {"1e999 -1e999 1e-999", "double[inf] double[-inf] double[0]"},
        {"10e9223372036854775807", "double[inf]"},
        {"0.001e-9223372036854775808", "double[0]"},
        {"1e99999999999999999999 1e-99999999999999999999", "double[inf] double[0]"},
        {"0e99999999999999999999", "double[0]"},
        {"123456789012345678901234567890", "int[1.2345678901234568e+29]"},
        // digits for the character tables, but none of a number
        {"5\xC2\xB2", "sq[5<B2>]"},
        {"0x1\xC2\xB9", "sq[0x1<B9>]"},
    };
    Check({}, kRows);
}

TEST(Lexer, Words) {
    constexpr CRow kRows[] = {
        {"a a1 a_b a$b $a", "word[a] word[a1] word[a_b] word[a$b] word[$a]"},
        {"_a a-b", "sym[_] word[a] word[a] sym[-] word[b]"},
        {"TRUE True true fAlSe", "true true true false"},
        {"truex tru xtrue true1 falsefalse",
         "word[truex] word[tru] word[xtrue] word[true1] word[falsefalse]"},
        {"true(false)", "true sym[(] false sym[)]"},
        {"(),=[]:{}@\\", "sym[(] sym[)] sym[,] sym[=] sym[[] sym[]] sym[:] sym[{] sym[}] sym[@] sym[\\]"},
        {"#inf", "sym[#] word[inf]"},
        {"\xC3\xA9t\xC3\xA9", "word[<E9>t<E9>]"},
        {"a\xC4\x80"
         "b",
         "word[a] sym[<100>] word[b]"},
        {"", ""},
    };
    Check({}, kRows);
}

TEST(Lexer, QuotedTexts) {
    constexpr CRow kRows[] = {
        {"'' \"\"", "sq[] dq[]"},
        {"'it\\'s' \"a\\\"b\"", "sq[it's] dq[a\"b]"},
        {"'a\"b' \"a'b\" 'a!b'", "sq[a\"b] dq[a'b] sq[a!b]"},
        {"'a''b'c", "sq[a] sq[b] word[c]"},
        {"'\\0\\a\\b\\f\\n\\r\\t\\v\\\\\\q\\N'", "sq[<0><7><8><C><A><D><9><B>\\qN]"},
        // not terminated: they end with the line, which is not theirs
        {"'abc", "sq[abc]"},
        {"\"abc", "dq[abc]"},
        {"'abc\nx", "sq[abc] eol word[x]"},
        {"\"abc\r\nx", "dq[abc] eol word[x]"},
        {"'abc\rx", "sq[abc] eol word[x]"},
        {"'a\\", "sq[a]"},
        {"\"a\\", "dq[a]"},
        {"'a\0b'"sv, "sq[a] eol word[b] sq[]"},
        // continued on the next line: LF, CR LF, CR
        {"'a\\\nb'", "sq[a<A>b]"},
        {"'a\\\r\nb'", "sq[a<A>b]"},
        {"\"a\\\r\nb\"", "dq[a<A>b]"},
        {"'a\\\rb'", "sq[a<A>b]"},
        {"'a\\\r\rb", "sq[a<A>] eol word[b]"},
        {"'a\\\r'b", "sq[a<A>] word[b]"},
        {"\"a\\\r\"b", "dq[a<A>] word[b]"},
        {"'a\\\r\\tb'", "sq[a<A><9>b]"},
        {"'a\\\r\n'", "sq[a<A>]"},
        {"'a\\\r\n\nb", "sq[a<A>] eol word[b]"},
        {"'a\\\r", "sq[a<A>]"},
        // a NUL is text only behind a backslash
        {"'a\\\0b'"sv, "sq[a<0>b]"},
        {"'abcd\\0efgh'", "sq[abcd<0>efgh]"},
    };
    Check({}, kRows);
}

TEST(Lexer, LineEndsAreOneTokenAndOneLineEach) {
    constexpr CRow kRows[] = {
        {"a\nb", "word[a]@1 eol@2 word[b]@2"},
        {"a\r\nb", "word[a]@1 eol@2 word[b]@2"},
        {"a\rb", "word[a]@1 eol@2 word[b]@2"},
        {"a\r\0b"sv, "word[a]@1 eol@2 word[b]@2"},
        {"a\0b"sv, "word[a]@1 eol@2 word[b]@2"},
        {"\r\r\n\n\r\0\n"sv, "eol@2 eol@3 eol@4 eol@5 eol@6"},
        {"a ! c\nb", "word[a]@1 eol@2 word[b]@2"},
        {"a ! c\r\nb", "word[a]@1 eol@2 word[b]@2"},
        {"'a\\\nb'\nc", "sq[a<A>b]@1 eol@2 word[c]@2"},
        {"$begin_cdata$\n\n$end_cdata$\nc", "cdata[<A><A>]@1 eol@2 word[c]@2"},
        {"\n  \n\t x", "eol@2 eol@3 word[x]@3"},
        {"\r", "eol@2"},
    };
    Check({.mLines = true}, kRows);
}

TEST(Lexer, CommentsAndWhiteSpace) {
    constexpr CRow kDropped[] = {
        {"a b", "word[a] word[b]"},
        {"a!b\nc", "word[a] eol word[c]"},
        {"!only", ""},
        {" \t\v\f\x01\x7F"
         "a\xC2\xA0"
         "b\xC2\x85"
         "c",
         "word[a] word[b] word[c]"},
    };
    Check({}, kDropped);
    constexpr CRow kComments[] = {
        {"a ! b 'c' \\\nd", "word[a] comment[! b 'c' \\] eol word[d]"},
        {"!\r\n!x", "comment[!] eol comment[!x]"},
        {"!a\rb", "comment[!a] eol word[b]"},
    };
    Check({.mComments = true}, kComments);
    constexpr CRow kWhiteSpace[] = {
        {"a b", "word[a] ws[ ] word[b]"},
        {" \t\na !c\n ", "ws[ <9>] eol word[a] ws[ ] eol ws[ ]"},
    };
    Check({.mWhiteSpace = true}, kWhiteSpace);
    Check({.mComments = true, .mWhiteSpace = true}, {" !c", "ws[ ] comment[!c]"});
}

TEST(Lexer, CData) {
    constexpr CRow kRows[] = {
        {"$begin_cdata$ a 'b' ! c $end_cdata$", "cdata[ a 'b' ! c ]"},
        {"$BEGIN_cdata$ x$End_CDATA$ y", "cdata[ x] word[y]"},
        {"$begin_cdata$\r\n\\\0$end_cdata$"sv, "cdata[<D><A>\\<0>]"},
        {"$begin_cdata$'$end_cdata$'", "cdata['] sq[]"},
        {"x=$begin_cdata$ $end_cdata$)", "word[x] sym[=] cdata[ ] sym[)]"},
        // the opening tag ends as a word does
        {"$begin_cdata$x $end_cdata$", "word[$begin_cdata$x] word[$end_cdata$]"},
        {"$begin_cdata$$end_cdata$", "word[$begin_cdata$$end_cdata$]"},
        {"$begin_cdata x", "word[$begin_cdata] word[x]"},
        // near misses of the closing one
        {"$begin_cdata$ $end_cdat $end_cdata$", "cdata[ $end_cdat ]"},
        {"$begin_cdata$ $end_cdata$x $end_cdata$", "cdata[ $end_cdata$x ]"},
        {"$begin_cdata$ $$end_cdata$ b$end_cdata$", "cdata[ $$end_cdata$ b]"},
        {"$begin_cdata$ $end_$end_cdata$", "cdata[ $end_$end_cdata$]"},
        {"$begin_cdata$ $end_cdata $end_cdata$", "cdata[ $end_cdata ]"},
        // cut off
        {"$begin_cdata$", "cdata[]"},
        {"$begin_cdata$ a $end_cdata", "cdata[ a $end_cdata]"},
        {"$begin_cdata$ a $", "cdata[ a $]"},
        {"$begin_cdata$ a\xF0\x9F\x98\x80 b", "error word[b]"},
    };
    Check({}, kRows);
}

TEST(Lexer, Utf8) {
    constexpr CRow kRows[] = {
        {"'\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBD'", "sq[<80><7FF><800><FFFD>]"},
        {"\xE2\x82\xAC", "sym[<20AC>]"},
        // the last character there is, and a byte order mark
        {"a\xEF\xBF\xBF"
         "b '\xEF\xBF\xBF'",
         "word[a] sym[<FFFF>] word[b] sq[<FFFF>]"},
        {"\xEF\xBB\xBF"
         "a",
         "sym[<FEFF>] word[a]"},
        // the writer's form of what lies beyond the 16-bit range
        {"'\xED\xA0\xBD\xED\xB8\x80'", "sq[<D83D><DE00>]"},
        // the standard's form of it: one error, with the token that it stands in
        {"\xF0\x9F\x98\x80", "error"},
        {"ab\xF0\x90\x80\x80"
         "cd",
         "error word[cd]"},
        {"'a\xF4\x8F\xBF\xBF"
         "b'",
         "error word[b] sq[]"},
        {"a \xF0\x9F\x98\x80 b", "word[a] error word[b]"},
        {"! \xF0\x9F\x98\x80\nb", "error eol word[b]"},
        {"\n\xF0\x9F\x98\x80 b", "eol error word[b]"},
        {"\r\xF0\x9F\x98\x80"
         "b",
         "eol error word[b]"},
        // not well formed: each byte for itself
        {"'\x80' '\xBF'", "sq[<80>] sq[<BF>]"},
        {"'\xC3' '\xC3(' '\xE2\x82'", "sq[<C3>] sq[<C3>(] sq[<E2><82>]"},
        {"'\xE2\x82\xC3\xA9'", "sq[<E2><82><E9>]"},
        {"'\xF0\x9F\x98'", "sq[<F0><9F><98>]"},
        {"'\xF0\x9F\xC3\xA9'", "sq[<F0><9F><E9>]"},
        {"'\xC0\x80\xC1\xBF'", "sq[<C0><80><C1><BF>]"},
        {"'\xE0\x80\x80\xE0\x9F\xBF'", "sq[<E0><80><80><E0><9F><BF>]"},
        {"'\xF0\x8F\xBF\xBF\xF4\x90\x80\x80'", "sq[<F0><8F><BF><BF><F4><90><80><80>]"},
        {"'\xF5\x80\x80\x80\xF8\x88\x80\x80\x80\xFE\xFF'",
         "sq[<F5><80><80><80><F8><88><80><80><80><FE><FF>]"},
        {"'\xC3\xC3\xA9'", "sq[<C3><E9>]"},
        {"\xC3", "word[<C3>]"},
        {"'\xF0\x9F\x98", "sq[<F0><9F><98>]"},
        {"'\xE2\xE2\x82\xAC'", "sq[<E2><20AC>]"},
    };
    Check({}, kRows);
}

TEST(Lexer, ImbuedModeTakesUnitsAsTheyCome) {
    Check({.mCodeCvt = io::kImbuedStream}, {"'\xC3\xA9' \xFF", "sq[<C3><A9>] word[<FF>]"});
}

TEST(Lexer, SpecialNumbers) {
    constexpr CRow kRows[] = {
        {"#inf #NAN", "double[inf~#inf] double[nan~#NAN]"},
        {"-#inf", "sym[-] double[inf~#inf]"},
        {"#inf#nan(#inf)", "double[inf~#inf] double[nan~#nan] sym[(] double[inf~#inf] sym[)]"},
        // given up at the first character that differs
        {"#infx", "sym[#] word[infx]"},
        {"#inf1 #nan_", "sym[#] word[inf1] sym[#] word[nan_]"},
        {"#inx #nax", "sym[#] word[inx] sym[#] word[nax]"},
        {"#in", "sym[#] word[in]"},
        {"#i #n", "sym[#] word[i] sym[#] word[n]"},
        {"#in(", "sym[#] word[in] sym[(]"},
        {"#in'f'", "sym[#] word[in] sq[f]"},
        {"# inf #x #", "sym[#] word[inf] sym[#] word[x] sym[#]"},
        {"##inf", "sym[#] double[inf~#inf]"},
        {"#true #nanfalse", "sym[#] true sym[#] word[nanfalse]"},
        {"#in\xF0\x9F\x98\x80x", "error word[x]"},
    };
    Check({.mSpecial = true}, kRows);
}

TEST(Lexer, CaseModes) {
    constexpr std::string_view kText = "aBc 'aBc' TrUe $Begin_cdata$ x $end_cdata$ 0x1f 1Ex \xC3\xA9\xC3\x89";
    Check({.mCase = io::kCaseUpper},
          {kText, "word[ABC] sq[aBc] true cdata[ x ] hex[31] double[1] word[EX] word[<E9><C9>]"});
    Check({.mCase = io::kCaseLower},
          {kText, "word[abc] sq[aBc] true cdata[ x ] hex[31] double[1] word[ex] word[<E9><C9>]"});
    for (const io::ECaseMode mode : {io::kCaseIgnore, io::kCaseKeep})
        Check({.mCase = mode},
              {kText, "word[aBc] sq[aBc] true cdata[ x ] hex[31] double[1] word[Ex] word[<E9><C9>]"});
}

TEST(Lexer, KeepsTheSpellingOfWhatHasNoText) {
    constexpr CRow kRows[] = {
        {"007 1.50 0x0a +5 TRUE x 'y'\n",
         "int[7~007] double[1.5~1.50] hex[10~0x0a] int[5~+5] true~TRUE word[x] sq[y] eol"},
        {"0x 1e", "short[0~0] word[x] double[1~1] word[e]"},
    };
    Check({.mKeepText = true}, kRows);
}

TEST(Lexer, DelimiterGrammar) {
    const CSetup   setup{.mGrammar = io::CDelimiter_grammar_default::Shared()};
    constexpr CRow kRows[] = {
        {"1abc -x 1.2.3 1e5x a-b", "word[1abc] word[-x] word[1.2.3] word[1e5x] word[a-b]"},
        {"(a,b=c)", "sym[(] word[a] sym[,] word[b] sym[=] word[c] sym[)]"},
        {"5 -5 +.5 1. 1e5 1e-5 007",
         "int[5] int[-5] double[0.5] double[1] double[1e+05] double[1e-05] int[7]"},
        {"1e 1e+ -5- 1.x 1.5e2.3 .. .x -.",
         "word[1e] word[1e+] word[-5-] word[1.x] word[1.5e2.3] word[..] word[.x] word[-.]"},
        {"- . + @ _ e", "sym[-] sym[.] sym[+] sym[@] sym[_] word[e]"},
        {"-, .=", "sym[-] sym[,] sym[.] sym[=]"},
        {"@@ [a] $x", "word[@@] word[[a]] word[$x]"},
        {"true FALSE 1true -true true1", "true false word[1true] word[-true] word[true1]"},
        {"0x1f $begin_cdata$", "word[0x1f] word[$begin_cdata$]"},
        {"a'b'c \"d\\\"e\" f!g", "word[a] sq[b] word[c] dq[d\"e] word[f]"},
        {"a\\b #inf", "word[a\\b] word[#inf]"},
        {"\xC3\xA9 \xE2\x82\xAC \xE2\x82\xAC\xE2\x82\xAC", "word[<E9>] sym[<20AC>] word[<20AC><20AC>]"},
        {"ab\xF0\x9F\x98\x80"
         "cd",
         "error word[cd]"},
        {"a\r\nb\0"sv, "word[a] eol word[b] eol"},
    };
    Check(setup, kRows);
    Check({.mGrammar = io::CDelimiter_grammar_default::Shared(), .mComments = true, .mSpecial = true},
          {"a !c\n#inf", "word[a] comment[!c] eol word[#inf]"});
}

TEST(Lexer, InvalidCharactersFailAnAssertion) {
    CAssertions assertions;
    CChunkBuf   units(Widen("a \xF0\x9F\x98\x80"), 1);
    EXPECT_EQ(DumpTokens(units, {}, io::kUtf8Units), "word[a] error");
    EXPECT_EQ(assertions.Take(), "!\"Transition to an invalid state\"");
}

// --- the buffer's own operations

std::unique_ptr<CToken_textstreambuf> Tokens(std::wstreambuf& units) {
    return std::make_unique<CToken_textstreambuf>(&units);
}

TEST(TokenBuffer, SkipsToTheNextLine) {
    constexpr struct {
        std::string_view mBytes;  // skipped after two tokens have been read
        const char*      mSkipped;
        const char*      mNext;
        unsigned         mLine;
    } kRows[] = {
        {"a b c 'd\ne", " c 'd", "word[e]", 2},
        {"a b c\r\ne", " c<D>", "word[e]", 2},
        {"a b c\rd\ne", " c<D>d", "word[e]", 2},  // a lone CR does not stop it
        {"a b c\0e"sv, " c", "word[e]", 2},
        {"a b c", " c", "eof", 1},
        {"a b", "", "eof", 1},
        {"a\nb\n\ne", "", "eol", 4},
        {"a b \xC3\xA9\xF0\x9F\x98\x80\xED\xA0\x80\ne", " <E9><D83D><DE00><D800>", "word[e]", 2},
    };
    for (const auto& row : kRows)
        for (const std::size_t chunk : kChunkSizes) {
            SCOPED_TRACE(Escaped(Widen(row.mBytes)));
            CChunkBuf  units(Widen(row.mBytes), chunk);
            CChunkBuf  same(Widen(row.mBytes), chunk);
            const auto tokens = Tokens(units), skipper = Tokens(same);
            for (const auto& each : {tokens.get(), skipper.get()})
                while (each->NextToken().Type() == io::ETokenType::Eol ||
                       each->CurrentToken().View() == L"a") {
                }
            tokens->PushBackToken(io::CToken(io::ETokenType::Int, 1));  // belongs to what is skipped
            AString line(L">");
            tokens->NewLine(line);
            skipper->SkipToEol();
            EXPECT_EQ(Escaped(line.Str()), std::string(">") + row.mSkipped);
            for (const auto& each : {tokens.get(), skipper.get()}) {
                EXPECT_EQ(Dump(each->CurrentToken()), row.mNext);
                EXPECT_EQ(each->LineNumber(), row.mLine);
                EXPECT_TRUE(each->AtLineStart());
            }
        }
}

TEST(TokenBuffer, FindsTokens) {
    using io::ETokenType;
    const auto find = [](auto search, io::ECaseMode mode = io::kCaseKeep) {
        std::wstringbuf units(L"x 'b' b\nB a\n  b 5\n");
        auto            tokens = Tokens(units);
        tokens->SetCaseMode(mode);
        const std::string found = search(*tokens) ? "" : "not ";
        return found + Dump(tokens->CurrentToken()) + "@" + std::to_string(tokens->LineNumber());
    };
    EXPECT_EQ(find([](auto& t) { return t.FindText(AString(L"b")); }), "sq[b]@1");
    EXPECT_EQ(find([](auto& t) { return t.FindToken(ETokenType::Keyword, AString(L"b")); }), "word[b]@1");
    EXPECT_EQ(find([](auto& t) { return t.FindTextAtLineStart(AString(L"b")); }), "word[b]@3");
    EXPECT_EQ(find([](auto& t) { return t.FindTextAtLineStart(AString(L"b")); }, io::kCaseIgnore),
              "word[B]@2");
    EXPECT_EQ(find([](auto& t) { return t.FindTokenAtLineStart(ETokenType::Keyword, AString(L"x")); }),
              "word[x]@1");
    EXPECT_EQ(find([](auto& t) { return t.FindTokenAtLineStart(ETokenType::Keyword, AString(L"a")); }),
              "not eof@4");
    EXPECT_EQ(find([](auto& t) { return t.FindToken(ETokenType::DoubleQuotedText, AString(L"b")); }),
              "not eof@4");
}

TEST(TokenBuffer, PushesBack64CharactersAnd10Tokens) {
    CAssertions     assertions;
    std::wstringbuf units(L"x");
    const auto      tokens = Tokens(units);
    for (int i = 0; i < 64; ++i)
        tokens->PushBackChar(L'a' + i % 26);
    EXPECT_EQ(assertions.Take(), "");
    tokens->PushBackChar(L'!');
    EXPECT_EQ(assertions.Take(), "mPushBackCount < kMaxPushBack");
    tokens->NextToken();
    EXPECT_EQ(tokens->CurrentToken().Length(), 65u);  // the 64, last one first, and the "x" behind them
    EXPECT_EQ(tokens->CurrentToken().View().substr(0, 3), L"lkj");

    for (int i = 0; i < 10; ++i)
        tokens->PushBackToken(io::CToken(io::ETokenType::Int, i));
    EXPECT_EQ(assertions.Take(), "");
    tokens->PushBackToken(io::CToken(io::ETokenType::Int, 10));
    EXPECT_EQ(assertions.Take(), "mTokenPushBackCount < kMaxTokenPushBack");
    for (int i = 9; i >= 0; --i) {
        EXPECT_EQ(Dump(tokens->CurrentToken()), "int[" + std::to_string(i) + "]");
        tokens->NextToken();
    }
    EXPECT_EQ(tokens->CurrentToken().Length(), 65u);
    EXPECT_EQ(DumpRest(*tokens), "");
    EXPECT_EQ(Dump(tokens->NextToken()), "eof");  // for ever
}

TEST(TokenBuffer, IsEmptyWithoutABuffer) {
    CAssertions          assertions;
    CToken_textstreambuf tokens(nullptr);
    EXPECT_EQ(assertions.Take(), "a_streambuf");
    EXPECT_EQ(DumpRest(tokens), "");
}

TEST(TokenBuffer, EndsWhereTheFileCannotBeRead) {
    class CBroken : public CChunkBuf {
        using CChunkBuf::CChunkBuf;
        int_type underflow() override {
            if (++mCalls > 1) throw std::ios_base::failure("gone");
            return CChunkBuf::underflow();
        }
        int mCalls = 0;
    } units(L"ab cd", 4);
    EXPECT_EQ(DumpTokens(units, {}, io::kUtf8Units), "word[ab] word[c]");
}

// --- tokens themselves

TEST(Token, SharesLongTextsAndSurvivesManyHolders) {
    for (const std::wstring_view text : {L"abc"sv, L"abcd"sv, L"a\0b"sv, L""sv, L"\0"sv}) {
        io::CToken              token(io::ETokenType::Keyword, text);
        std::vector<io::CToken> copies(600, token);  // past the 8 bits of the count of holders
        EXPECT_EQ(copies[0].Text() != token.Text(), text.size() <= io::CToken::kInlineCapacity)
            << text.size();
        token = token;
        token.SetText(io::ETokenType::Symbol, L"other");
        for (const io::CToken& copy : copies)
            ASSERT_EQ(copy.View(), text);
    }
}

TEST(Token, KeepsASpellingBesideItsNumber) {
    io::CToken token(io::ETokenType::Hex, 31);
    token.KeepSpelling(L"0x001F");
    std::vector<io::CToken> copies(600, token);
    token.KeepSpelling(L"0x\0F"sv);
    copies.push_back(std::move(token));
    for (const io::CToken& copy : copies) {
        ASSERT_EQ(copy.Number(), 31);
        ASSERT_EQ(copy.View(), &copy != &copies.back() ? L"0x001F"sv : L"0x\0F"sv);
    }
}

TEST(Token, TextsAreEqualInEachUnit) {
    for (std::size_t size = 0; size < 35; ++size) {
        std::wstring text(size, L'x');
        EXPECT_TRUE(io::CToken::EqualUnits(text.data(), std::wstring(text).data(), size));
        for (wchar_t& unit : text) {
            unit = L'y';
            EXPECT_FALSE(io::CToken::EqualUnits(text.data(), std::wstring(size, L'x').data(), size)) << size;
            unit = L'x';
        }
    }
}

TEST(Token, DumpsForDiagnostics) {
    using io::CToken, io::ETokenType;
    const auto dump = [](const CToken& token) { return Escaped(token.Dump().Str()); };
    EXPECT_EQ(dump(CToken(ETokenType::Keyword, L"abc")), "Keyword abc");
    EXPECT_EQ(dump(CToken(ETokenType::Hex, 31)), "Hex 0x1f");
    EXPECT_EQ(dump(CToken(ETokenType::Double, -1.5)), "Double -1.5");
    EXPECT_EQ(dump(CToken(ETokenType::Eol)), "Eol");
    EXPECT_STREQ(io::TokenTypeName(ETokenType::Error), "Error");
    EXPECT_STREQ(io::TokenTypeName(ETokenType::UnsignedShort), "UnsignedShort");
}

}  // namespace
