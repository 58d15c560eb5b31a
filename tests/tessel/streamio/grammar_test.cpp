#include "tessel/streamio/delimiter_grammar_default.h"
#include "tessel/streamio/number_text.h"
#include "tessel/streamio/stream_support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <random>

namespace {

using namespace stream_support;
using io::ETokenType;

std::string Scan(const io::CBase_grammar& grammar, const wchar_t* text) {
    std::size_t      length = 99;
    const ETokenType type   = grammar.ScanType(text, &length);
    return std::string(io::TokenTypeName(type)) + " " + std::to_string(length);
}

TEST(Grammar, ScansTextWithoutAStream) {
    const auto& tokens = io::CToken_grammar_default::Shared();
    const auto& words  = io::CDelimiter_grammar_default::Shared();
    const struct {
        const wchar_t* mText;
        const char*    mAsToken;
        const char*    mAsWord;
    } kRows[] = {
        {L"abc", "Keyword 3", "Keyword 3"},
        {L"abc def", "Keyword 3", "Keyword 3"},
        {L"", "Eol 0", "Eol 0"},
        {L"\nx", "Eol 0", "Eol 0"},
        {L"\r\nx", "Eol 1", "Eol 1"},
        {L"true", "Keyword 4", "Keyword 4"},  // by the tables alone
        {L"12", "Int 2", "Int 2"},
        {L"1.5e3x", "Double 5", "Keyword 6"},
        {L"0x", "Short 2", "Keyword 2"},
        {L"0x1fg", "Hex 4", "Keyword 5"},
        {L"1e+", "Double 3", "Keyword 3"},
        {L"+.", "Symbol 2", "Keyword 2"},
        {L"'a b'c", "SingleQuotedText 5", "SingleQuotedText 5"},
        {L"'ab", "SingleQuotedText 3", "SingleQuotedText 3"},
        {L"\"a\\\"b\"", "DoubleQuotedText 6", "DoubleQuotedText 6"},
        {L"'a\\", "SingleQuotedText 3", "SingleQuotedText 3"},
        {L"  x", "WhiteSpace 2", "WhiteSpace 2"},
        {L"!x y", "Comment 4", "Comment 4"},
        {L"{", "Symbol 1", "Keyword 1"},
        {L"(", "Symbol 1", "Symbol 1"},
        {L"$begin_cdata$ x", "Keyword 13", "Keyword 13"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(Escaped(row.mText));
        EXPECT_EQ(Scan(tokens, row.mText), row.mAsToken);
        EXPECT_EQ(Scan(words, row.mText), row.mAsWord);
    }
}

TEST(Grammar, TellsWhetherTheWholeTextIsOneToken) {
    const auto& tokens = io::CToken_grammar_default::Shared();
    const struct {
        const wchar_t* mText;
        bool           mIsKeyword;
        bool           mIsText;
    } kRows[] = {
        {L"abc", true, true},   {L"abc  ", true, true},   {L"abc !c", true, true}, {L" abc", false, false},
        {L"a b", false, false}, {L"'a'", false, true},    {L"'a'b", false, false}, {L"{", false, true},
        {L"", false, false},    {L"5", false, false},     {L"$begin", true, true}, {L"a{", false, false},
        {L"\xE9", true, true},  {L"\x20AC", false, true},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(Escaped(row.mText));
        EXPECT_EQ(tokens.ScanTypeInRange(row.mText, ETokenType::Keyword, ETokenType::Keyword),
                  row.mIsKeyword);
        EXPECT_EQ(tokens.ScanTypeInRange(row.mText, ETokenType::Keyword, ETokenType::Symbol), row.mIsText);
    }
}

std::string Lex(const io::CBase_grammar& grammar, const wchar_t* text) {
    std::wstringbuf          units(text);
    io::CToken_textstreambuf tokens(&units, grammar);
    tokens.SetCodeCvt(io::kWideUnits);
    return DumpRest(tokens);
}

TEST(Grammar, CanBeChanged) {
    io::CToken_grammar grammar;
    EXPECT_EQ(grammar.CommentChar(), 0);
    EXPECT_EQ(Lex(grammar, L"a!b"), "word[a] sym[!] word[b]");
    grammar.AddCommentChars(L"%");
    grammar.AddCommentChars(L"#\x20AC");
    EXPECT_EQ(grammar.CommentChar(), L'%');  // the first that came
    EXPECT_EQ(Lex(grammar, L"a#b"), "word[a]");
    EXPECT_EQ(Lex(grammar,
                  L"a\x20AC"
                  L"b"),
              "word[a]");
    grammar.RemoveCommentChars(L"\x20AC");
    EXPECT_EQ(grammar.CommentChar(), L'%');
    grammar.RemoveCommentChars(L"%");
    EXPECT_EQ(grammar.CommentChar(), L'#');  // else the first in the table
    grammar.RemoveCommentChars(L"#");
    EXPECT_EQ(grammar.CommentChar(), 0);

    grammar.AddCommentChars(L"\t");  // before white space, quotes and the rest
    EXPECT_EQ(Lex(grammar, L"a\tb"), "word[a]");
    grammar.RemoveCommentChars(L"\t");

    grammar.AddKeywordStartChars(L"@\x20AC");
    grammar.AddKeywordChars(L"-\x20AC");
    EXPECT_EQ(Lex(grammar, L"@a-b \x20AC\x20AC @@"), "word[@a-b] word[<20AC><20AC>] word[@] word[@]");
    grammar.RemoveKeywordStartChars(L"@");
    grammar.RemoveKeywordChars(L"-");
    EXPECT_EQ(Lex(grammar, L"@a-b"), "sym[@] word[a] sym[-] word[b]");
    grammar.InitCharFlags();
    EXPECT_EQ(Lex(grammar, L"\x20AC"), "sym[<20AC>]");

    io::CDelimiter_grammar words;
    EXPECT_EQ(Lex(words, L"a=b,c"), "word[a=b,c]");
    words.AddSymbolChars(L"=\x20AC");
    EXPECT_EQ(Lex(words, L"a=b,c\x20AC"), "word[a] sym[=] word[b,c] sym[<20AC>]");
}

TEST(Grammar, CharactersBeyondTheTableFailAnAssertion) {
    CAssertions        assertions;
    io::CToken_grammar grammar;
    grammar.SetCharFlags(0xFFFF, io::kFlagComment);
    EXPECT_EQ(grammar.CharFlags(0xFFFF), io::kFlagComment);
    EXPECT_EQ(assertions.Take(), "");
    grammar.SetCharFlags(0x10000, io::kFlagComment);
    EXPECT_EQ(assertions.Take(), "the_char < kCharMax");
    EXPECT_EQ(grammar.CharFlags(0x10000), 0u);
}

TEST(Grammar, DefaultsAreNotToBeChanged) {
    CAssertions                assertions;
    io::CToken_grammar_default tokens;
    tokens.AddCommentChars(L"%");
    tokens.RemoveCommentChars(L"!");
    tokens.AddKeywordStartChars(L"@");
    tokens.AddKeywordChars(L"-");
    tokens.RemoveKeywordStartChars(L"a");
    tokens.RemoveKeywordChars(L"b");
    EXPECT_EQ(assertions.Take(), "0; 0; 0; 0; 0; 0");
    EXPECT_EQ(Lex(tokens, L"ab%@-!c"), "word[ab] sym[%] sym[@] sym[-]");

    io::CDelimiter_grammar_default words;
    words.AddCommentChars(L"%");
    words.AddSymbolChars(L"@");
    EXPECT_EQ(assertions.Take(), "0; 0");
    EXPECT_EQ(Lex(words, L"a%@b!c"), "word[a%@b]");
    words.RemoveCommentChars(L"!");  // this one works
    EXPECT_EQ(assertions.Take(), "");
    EXPECT_EQ(words.CommentChar(), 0);
    EXPECT_EQ(Lex(words, L"a!c"), "word[a!c]");
}

// --- numbers

TEST(NumberText, TakesWholeNumbersOnly) {
    for (const wchar_t* text : {L"", L"+", L"-", L".", L"+-5", L"--5", L" 5", L"5 ", L"1e", L"1e+", L"inf",
                                L"nan", L"0x5", L"1,5", L"5\x660", L"1.2.3"}) {
        double value = 7;
        EXPECT_FALSE(io::ParseDecimal(text, &value)) << Escaped(text);
        EXPECT_EQ(value, 7);
    }
    for (const wchar_t* digits : {L"", L"-1", L"+1", L"g", L"80000000", L"100000000", L"1 "}) {
        double value = 7;
        EXPECT_FALSE(io::ParseHexadecimal(digits, &value)) << Escaped(digits);
        EXPECT_EQ(value, 7);
    }
}

// The C library of Windows rounds long numbers in ways of its own, so it is no judge.
#ifndef _WIN32

/// Sign, digits, point, digits, exponent: each of them there or not.
std::string RandomNumber(std::mt19937& random) {
    const auto pick   = [&](unsigned count) { return static_cast<unsigned>(random() % count); };
    const auto digits = [&](unsigned count) {
        std::string text;
        while (count-- != 0)
            text += static_cast<char>('0' + (pick(3) == 0 ? 0u : pick(10)));
        return text;
    };
    std::string number(&"+-\0"[pick(3)], 1);
    if (number[0] == '\0') number.clear();
    number += digits(pick(20) == 0 ? 300 + pick(50) : 1 + pick(20));
    if (pick(2) == 0) number += "." + digits(pick(20) == 0 ? 320 + pick(20) : pick(20));
    if (pick(2) == 0) number += (pick(2) == 0 ? "e-" : "e") + digits(1 + pick(3));
    return number;
}

TEST(NumberText, ReadsTheSameNumbersAsTheCLibrary) {
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (int i = 0; i < 100000; ++i) {
        const std::string text     = RandomNumber(random);
        const double      expected = std::strtod(text.c_str(), nullptr);
        double            value    = 7;
        ASSERT_TRUE(io::ParseDecimal(Widen(text), &value)) << text;
        ASSERT_EQ(value, expected) << text;
        ASSERT_EQ(std::signbit(value), std::signbit(expected)) << text;
    }
}

#endif

}  // namespace
