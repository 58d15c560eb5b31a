#include "tessel/streamio/write_support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using namespace write_support;
using namespace std::string_literals;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// The bytes of "3D 05 .a".
std::wstring FromHex(std::string_view hex) {
    std::wstring       bytes;
    std::istringstream words{std::string(hex)};
    for (std::string word; words >> word;)
        bytes += word[0] == '.' ? static_cast<wchar_t>(word[1])
                                : static_cast<wchar_t>(std::stoi(word, nullptr, 16));
    return bytes;
}

/// All tokens in bytes, as they are delivered in chunks of this size.
std::string Tokens(const std::wstring& bytes, std::size_t chunk = 64, bool lines = false) {
    CChunkBuf              units(bytes, chunk);
    CToken_binarystreambuf tokens(&units);
    return DumpRest(tokens, lines);
}

constexpr struct {
    std::string_view mName;
    Ops (*mOps)();
    std::string_view mBytes;
    std::string_view mTokens;
} kTokens[] = {
    // plain
    {"booleans",
     [] {
         return Ops{Bool(true), Bool(false)};
     },
     "0A 0B", "true false"},
    {"line ends", [] { return Ops{Eol(), Eol(true), Eol(), Bool(true), Eol(), Eol()}; }, "13 0A 13",
     "eol true eol"},
    {"line ends behind everything",
     [] { return Ops{Int(1), Eol(), Real(0), Eol(), Sym(L'='), Eol(), Kw(L"a"), Eol(), Eol()}; },
     "46 01 13 4F 00 13 12 3D 13 0C 01 .a 13", "short[1] eol float[0] eol sym[=] eol word[a] eol"},
    // texts
    {"word", [] { return Ops{Kw(L"ab")}; }, "0C 02 .a .b", "word[ab]"},
    {"empty word", [] { return Ops{Kw(L"")}; }, "0C 00", "word[]"},
    {"no word", [] { return Ops{Kw(L"a b")}; }, "0C 03 .a 20 .b", "word[a b]"},
    {"quoted", [] { return Ops{Quoted(L"a'")}; }, "0D 02 .a 27", "sq[a']"},
    {"CDATA", [] { return Ops{CDataOp(L"a")}; }, "0F 01 .a", "cdata[a]"},
    {"comment", [] { return Ops{Comment(L"a")}; }, "11 01 .a 13", "eol"},
    {"white space",
     [] {
         return Ops{Blank(L"  "), Text(L" \t")};
     },
     "", ""},
    {"text", [] { return Ops{Text(L" a")}; }, "0D 02 20 .a", "sq[ a]"},
    {"number as text", [] { return Ops{Text(L"5")}; }, "0D 01 35", "sq[5]"},
    {"NUL and line end", [] { return Ops{Quoted(std::wstring_view(L"\0\n", 2))}; }, "0D 02 00 0A",
     "sq[<0><A>]"},
    {"UTF-8", [] { return Ops{Quoted(L"\x7F\x80\x7FF\x800\xFFFF")}; },
     "0D 0B 7F C2 80 DF BF E0 A0 80 EF BF BF", "sq[<7F><80><7FF><800><FFFF>]"},
    {"surrogates", [] { return Ops{Quoted(L"\xD83D\xDE00\xD83D")}; }, "0D 09 ED A0 BD ED B8 80 ED A0 BD",
     "sq[<D83D><DE00><D83D>]"},
    // symbols; one of 128 and more does not read back: its length is too short for what the reader takes
    {"symbol",
     [] {
         return Ops{Sym(L'('), Sym(0x7F), Sym(0)};
     },
     "12 28 12 7F 12 00", "sym[(] sym[<7F>] sym[<0>]"},
    {"far symbol",
     [] {
         return Ops{Sym(0x80), Int(1)};
     },
     "92 02 C2 80 46 01", "error"},
    // integers: the width on the wire makes the kind
    {"unsigned",
     [] {
         return Ops{Unsigned(0), Unsigned(5), Unsigned(255), Unsigned(256)};
     },
     "3D 00 3D 05 3D FF 3E 00 01", "ushort[0] ushort[5] ushort[255] ushort[256]"},
    {"wide unsigned",
     [] {
         return Ops{Unsigned(0x10000), Unsigned(0x1000000), HexOp(0xFFFFFFFF)};
     },
     "3F 00 00 01 40 00 00 00 01 40 FF FF FF FF", "uint[65536] uint[16777216] uint[4294967295]"},
    {"signed",
     [] {
         return Ops{Int(0), Int(200), Int(300)};
     },
     "46 00 46 C8 47 2C 01", "short[0] short[200] short[300]"},
    {"wide signed",
     [] {
         return Ops{Int(0x10000), Int(0x7FFFFFFF)};
     },
     "48 00 00 01 49 FF FF FF 7F", "int[65536] int[2147483647]"},
    {"negative",
     [] {
         return Ops{Int(-1), Int(std::numeric_limits<std::int32_t>::min())};
     },
     "49 FF FF FF FF 49 00 00 00 80", "int[-1] int[-2147483648]"},
    // floating point: the high-order zero bytes go
    {"zero", [] { return Ops{Real(0)}; }, "4F 00", "float[0]"},
    {"negative zero", [] { return Ops{Real(-0.0)}; }, "56 00 00 00 00 00 00 00 80", "double[-0]"},
    {"one", [] { return Ops{Real(1, 3)}; }, "56 00 00 00 00 00 00 F0 3F", "double[1]"},
    {"single", [] { return Ops{Single(0.5f)}; }, "56 00 00 00 00 00 00 E0 3F", "double[0.5]"},
    {"least", [] { return Ops{Real(5e-324)}; }, "4F 01", "float[5e-324]"},
    {"denormal", [] { return Ops{Real(std::bit_cast<double>(0x0102030405ull))}; }, "53 05 04 03 02 01",
     "double[2.1386715287e-314]"},
    {"most", [] { return Ops{Real(std::numeric_limits<double>::max())}; }, "56 FF FF FF FF FF FF EF 7F",
     "double[1.7976931348623157e+308]"},
    {"infinities",
     [] {
         return Ops{Real(kInfinity), Real(-kInfinity)};
     },
     "56 00 00 00 00 00 00 F0 7F 56 00 00 00 00 00 00 F0 FF", "double[inf] double[-inf]"},
    {"no number", [] { return Ops{Real(std::numeric_limits<double>::quiet_NaN())}; },
     "56 00 00 00 00 00 00 F8 7F", "double[nan]"},
    // the block model: whole numbers as integers where they fit
    {"int",
     [] {
         return Ops{Value(Number(-5)), Value(Number(5)), Value(Number(2147483648))};
     },
     "49 FB FF FF FF 46 05 40 00 00 00 80", "int[-5] short[5] uint[2147483648]"},
    {"unsigned number",
     [] {
         return Ops{Value(Number(5, ETokenType::UnsignedShort)), Value(Number(5, ETokenType::Hex))};
     },
     "3D 05 3D 05", "ushort[5] ushort[5]"},
    {"unsigned and negative", [] { return Ops{Value(Number(-1, ETokenType::UnsignedInt))}; },
     "49 FF FF FF FF", "int[-1]"},
    {"too wide", [] { return Ops{Value(Number(4294967296))}; }, "56 00 00 00 00 00 00 F0 41",
     "double[4294967296]"},
    {"no whole number",
     [] {
         return Ops{Value(Number(-0.0)), Value(Number(2.5))};
     },
     "56 00 00 00 00 00 00 00 80 56 00 00 00 00 00 00 04 40", "double[-0] double[2.5]"},
    {"whole double", [] { return Ops{Value(Number(1, ETokenType::Double))}; }, "56 00 00 00 00 00 00 F0 3F",
     "double[1]"},
    {"kinds of text",
     [] {
         return Ops{Value(Dq(L"")), Value(Dq(L"a")), Value(CData(L"")), Value(Word(L"true"))};
     },
     "0E 00 0E 01 .a 0F 00 0C 04 .t .r .u .e", "dq[] dq[a] cdata[] word[true]"},
    {"no value",
     [] {
         return Ops{Value(CToken()), Value(Word(L"")), Value(CToken(ETokenType::Symbol, L"="))};
     },
     "0D 00 0D 00 0D 01 3D", "sq[] sq[] sq[=]"},
};

TEST(BinaryForm, WritesAndReadsItsBytes) {
    for (const auto& [name, ops, bytes, tokens] : kTokens) {
        SCOPED_TRACE(name);
        EXPECT_EQ(WrittenBytes(ops()), bytes);
        for (const std::size_t chunk : kChunkSizes)
            EXPECT_EQ(Tokens(FromHex(bytes), chunk), tokens);
    }
    EXPECT_EQ(WrittenBytes({Unsigned(5), Int(-1), HexOp(1)}, [](auto& b) { b.SetSmallestIntegers(false); }),
              "40 05 00 00 00 49 FF FF FF FF 40 01 00 00 00");
    const auto keep = [](CToken_streambuf& b) { b.SetReturnWhiteSpace(true); };
    EXPECT_EQ(WrittenBytes({keep, Blank(L"  "), Text(L""), Text(L"\t")}), "10 02 20 20 10 00 10 01 09");
}

TEST(BinaryForm, LengthensTheLengthAt256Bytes) {
    const std::wstring text(255, L'x');
    for (const auto& [units, length] : {std::pair(std::wstring(255, L'x'), "0D FF .x"),
                                        std::pair(std::wstring(256, L'x'), "8D 00 01 00 00 .x"),
                                        std::pair(std::wstring(127, L'\xE9') + L"x", "0D FF C3 A9"),
                                        std::pair(std::wstring(128, L'\xE9'), "8D 00 01 00 00 C3 A9")}) {
        const std::string hex = WrittenBytes({Quoted(units)});
        EXPECT_TRUE(hex.starts_with(length)) << hex.substr(0, 20);
        EXPECT_EQ(Tokens(FromHex(hex)), "sq[" + Escaped(units) + "]");
    }
    // Past the size at which the scratch is given back.
    const std::wstring huge(0x80001, L'y');
    EXPECT_EQ(Tokens(FromHex(WrittenBytes({Quoted(huge), Kw(L"z")}))), "sq[" + Escaped(huge) + "] word[z]");
}

/// What a type byte gives when eight bytes 01 02 .. 08 follow it.
std::string FirstToken(unsigned byte) {
    const bool     wide   = byte >= 128;
    const unsigned type   = byte % 128;
    const auto     number = [&](unsigned base, const char* const(&kinds)[8]) {
        const unsigned width = type - base;
        std::uint64_t  bytes = 0;
        for (unsigned i = width; i > 0; --i)
            bytes = bytes << 8 | i;
        const bool   real  = base == 78;
        const double value = real        ? std::bit_cast<double>(bytes)
                                 : width > 4 ? 0.0
                                             : static_cast<double>(bytes);
        return std::string(kinds[width - 1]) + "[" + NumberText(value) + "]";
    };
    switch (type) {
        case 0:
            return "padding";
        case 10:
            return "true";
        case 11:
            return "false";
        case 12:
            return wide ? "error" : "word[<2>]";
        case 13:
            return wide ? "error" : "sq[<2>]";
        case 14:
            return wide ? "error" : "dq[<2>]";
        case 15:
            return wide ? "error" : "cdata[<2>]";
        case 16:
            return wide ? "error" : "ws[<2>]";
        case 17:
            return wide ? "error" : "comment[<2>]";
        case 18:
            return wide ? "error" : "sym[<1>]";
        case 19:
            return "eol";
        case 20:
            return "eof";
        case 21:
            return "error";
    }
    if (type >= 61 && type <= 68)
        return number(60, {"ushort", "ushort", "uint", "uint", "ulong", "ulong", "ulong", "ulong"});
    if (type >= 70 && type <= 77)
        return number(69, {"short", "short", "int", "int", "long", "long", "long", "long"});
    if (type >= 79 && type <= 86)
        return number(78, {"float", "float", "float", "float", "double", "double", "double", "double"});
    return "error";
}

std::string ReadFirst(const std::wstring& bytes) {
    std::wstringbuf        units(bytes);
    CToken_binarystreambuf tokens(&units);
    tokens.SetReturnComments(true);
    tokens.SetReturnWhiteSpace(true);
    return Dump(tokens.NextToken());
}

TEST(BinaryForm, KnowsEveryTypeByte) {
    std::wstring payload;
    for (wchar_t byte = 1; byte <= 8; ++byte)
        payload += byte;
    for (unsigned byte = 0; byte < 256; ++byte) {
        SCOPED_TRACE(byte);
        const std::wstring type(1, static_cast<wchar_t>(byte));
        const std::string  expected = FirstToken(byte);
        const bool         padding  = expected == "padding";
        EXPECT_EQ(ReadFirst(type + payload), padding ? "error" : expected);  // 1 is no type byte
        // Alone: what needs no payload is there, the rest is cut off.
        const bool complete = expected.find('[') == std::string::npos;
        EXPECT_EQ(ReadFirst(type), padding ? "eof" : complete ? expected : "error");
        // An unknown byte takes nothing with it.
        const unsigned low = byte % 128;
        const bool     known =
            low == 0 || (low >= 10 && low <= 21) || (low > 60 && low <= 86 && low != 69 && low != 78);
        if (!known) {
            EXPECT_EQ(Tokens(type + L"\x0A"), "error true");
        }
    }
}

TEST(BinaryForm, EndsInAnErrorWhereverItIsCutOff) {
    const std::string sequence[] = {
        "0C 02 .a .b",         "8D 03 00 00 00 .x .y .z",    "12 28",
        "3F 01 02 03",         "4D 01 02 03 04 05 06 07 08", "56 00 00 00 00 00 00 F0 3F",
        "92 02 00 00 00 C3 A9"};
    for (const std::string& token : sequence) {
        const std::wstring bytes = FromHex(token);
        for (std::size_t length = 1; length < bytes.size(); ++length) {
            SCOPED_TRACE(token + " cut at " + std::to_string(length));
            EXPECT_EQ(Tokens(L"\x0A" + bytes.substr(0, length)), "true error");
        }
        EXPECT_EQ(Tokens(bytes + L"\x0A").find("error"), std::string::npos);
    }
}

TEST(BinaryForm, AllocatesNothingForALengthAlone) {
    for (const char* type : {"8C", "8D", "8E", "8F", "90", "91", "92"})
        for (const char* length : {" FF FF FF FF", " 00 00 00 80", " FF FF FF 7F"}) {
            EXPECT_EQ(Tokens(FromHex(std::string(type) + length + " .a .b .c")), "error");
            EXPECT_EQ(Tokens(FromHex(std::string(type) + length)), "error");
        }
    // Of a block: one error, and the items before it.
    CBlock     file;
    const auto stream =
        ByteStream(std::string("\0\x0C\x01x\x12=\x46\x05\x13\x0C\x01y\x12=\x8D\xFF\xFF\xFF\xFF\x13", 20));
    file.ReadFile(*stream);
    EXPECT_EQ(DumpItems(file), "x=short[5] !5@2");
    // A vector's count is believed no more.
    EXPECT_EQ(DumpItems(Parsed(std::string("\0\x0C\x01v\x12[\x40\xFF\xFF\xFF\xFF\x12:\x46\x07\x12]", 17))),
              "v[short[7]]");
}

TEST(BinaryForm, TakesMalformedTextsAsTheyAre) {
    const struct {
        const char* mBytes;
        const char* mTokens;
    } rows[] = {
        {"0D 01 80", "sq[<80>]"},
        {"0D 01 FF", "sq[<FF>]"},
        {"0D 02 C3 .a", "sq[<C3>a]"},
        {"0D 01 C3 0A", "sq[<C3>] true"},  // what would complete it lies outside
        {"0D 02 C0 80", "sq[<C0><80>]"},
        {"0D 04 F0 9F 98 80", "sq[<D83D><DE00>]"},
        {"0D 04 F4 90 80 80", "sq[<F4><90><80><80>]"},
        {"12 E9", "sym[<E9>]"},
        {"92 02 00 00 00 C3 A9", "sym[<E9>]"},
        {"8A 8B 93 00 80 95", "true false eol error"},  // the bit means nothing there
        {"10 01 20 0A 11 01 .c 0B", "true false"},      // white space and comments are passed over
        {"0A 14 0B", "true"},                           // an end in the middle
        {"8C 01 00 00 00 .a", "word[a]"},               // a long length for a short text
    };
    for (const auto& [bytes, tokens] : rows) {
        SCOPED_TRACE(bytes);
        for (const std::size_t chunk : {1u, 64u})
            EXPECT_EQ(Tokens(FromHex(bytes), chunk), tokens);
    }
}

TEST(BinaryForm, FailsAssertionsOnWhatItCannotDo) {
    CAssertions assertions;
    EXPECT_EQ(Tokens(FromHex("41 01 02 03 04 05 0A")), "ulong[0] true");
    EXPECT_EQ(assertions.Take(), "l <= sizeof(n)");
    std::wstringbuf        units(L"\x13");
    CToken_binarystreambuf tokens(&units);
    AString                line;
    tokens.NewLine(line);
    EXPECT_EQ(assertions.Take(), "!\"CToken_binarystreambuf::NewLine(AString& line) not implemented\"");
}

TEST(BinaryForm, CountsLinesAndSkipsToTheirEnds) {
    EXPECT_EQ(Tokens(FromHex("0A 13 13 0B 0D 01 0A 13 0A"), 1, true),
              "true@1 eol@2 eol@3 false@3 sq[<A>]@3 eol@4 true@4");
    std::wstringbuf        units(FromHex("0A 0B 0D 01 13 13 0C 01 .a 13 14 13"));
    CToken_binarystreambuf tokens(&units);
    tokens.NextToken();
    tokens.NextToken();
    EXPECT_FALSE(tokens.AtLineStart());
    tokens.PushBackToken(Word(L"dropped"));
    tokens.SkipToEol();
    EXPECT_EQ(Dump(tokens.CurrentToken()), "word[a]");
    EXPECT_TRUE(tokens.AtLineStart());
    EXPECT_EQ(tokens.LineNumber(), 2u);
    tokens.SkipToEol();
    EXPECT_EQ(Dump(tokens.CurrentToken()), "eof");
    EXPECT_EQ(tokens.LineNumber(), 3u);
    // One bad line costs that line.
    EXPECT_EQ(
        DumpItems(Parsed(std::string("\0\x0C\x01x\x12=\x0A\x13\x05\x46\x07\x13\x0C\x01y\x12=\x0B\x13", 18))),
        "x=true y=false !11@2");
}

TEST(BinaryForm, IsToldByTheFirstCharacter) {
    using namespace std::string_view_literals;
    const CToken_grammar& grammar = CToken_grammar_default::Shared();
    const struct {
        std::string_view      mBytes;
        std::uint32_t         mFlags;
        const CToken_grammar* mGrammar;
        EFormatKind           mKind;
    } rows[] = {
        {"\0\x0A"sv, 0, nullptr, kFormatBinarySmallest},
        {"\0\x0A"sv, 0, &grammar, kFormatBinarySmallest},
        {"\0"sv, 0, &grammar, kFormatBinarySmallest},
        {"\x0C\x01x", 0, nullptr, kFormatText},
        {"x", kOpenBinary, nullptr, kFormatText},
        {"\xFF", 0, nullptr, kFormatText},
        {"", 0, nullptr, kFormatBinarySmallest},
        {"", kOpenBinary, &grammar, kFormatBinarySmallest},
        {"", 0, &grammar, kFormatText},
    };
    for (const auto& [bytes, flags, used, kind] : rows) {
        SCOPED_TRACE(Escaped(Widen(bytes)));
        CToken_istream stream(std::make_unique<std::wistringstream>(Widen(bytes)), flags, used);
        EXPECT_EQ(stream.TokenBuffer().FormatKind(), kind);
        EXPECT_EQ(stream.IsCommaOptional(), kind != kFormatText);
        EXPECT_TRUE(stream.good());
    }
}

TEST(BinaryForm, WritesNamesAndNumbersOfItsKind) {
    // A name that looks like a keyword is none, whatever its case.
    for (const wchar_t* name : {L"$begin", L"$END"}) {
        CMemoryFile named(EForm::kBinary);
        Block(Sq(L"b"), {Named(Word(name), Number(1)), Named(Word(L"x"), Number(2))})->Write(*named);
        CBlock     read;
        const auto cased = ByteStream(named.Bytes(), kOpenIgnoreCase);
        read.Read(*cased);
        EXPECT_EQ(ErrorCount(read), 0u);
        EXPECT_EQ(read.Count(), 2u);
    }
    // Integers of their full width are another kind of this form; its lists have no commas either.
    CToken_ostring full(0, nullptr);
    dynamic_cast<CToken_binarystreambuf&>(full.TokenBuffer()).SetSmallestIntegers(false);
    EXPECT_EQ(full.TokenBuffer().FormatKind(), kFormatBinary);
    Vec(Word(L"v"), {Number(1), Number(2)})->Write(full);
    EXPECT_EQ(Hex(full.String().Str()),
              "00 0C 01 .v 12 5B 40 02 00 00 00 12 3A 49 01 00 00 00 49 02 00 00 00 12 5D");
}

TEST(BinaryForm, ReadsTwoBytesFromEachUnitWhenAskedTo) {
    // ".a .b" in one unit, low byte first.
    std::wstringbuf        units(std::wstring{0x020C, 0x6261, 0x013D, 0x130A});
    CToken_binarystreambuf tokens(&units);
    tokens.SetByteSplit(true);
    EXPECT_EQ(DumpRest(tokens), "word[ab] ushort[1] true eol");
    std::wstringbuf        odd(std::wstring{0x0D0A, 0x6102});
    CToken_binarystreambuf cut(&odd);
    cut.SetByteSplit(true);
    EXPECT_EQ(DumpRest(cut), "true error");
}

TEST(BinaryForm, AppendsBehindWhatIsThere) {
    auto  chars = std::make_unique<std::wostringstream>();
    auto& raw   = *chars;
    raw << std::wstring(L"\0\x0A", 2);
    CToken_ostream stream(std::move(chars), 0, nullptr);
    stream.WriteBool(false);
    EXPECT_EQ(Hex(raw.str()), "00 0A 0B");
    stream.SetPos(CAbstract_stream_pos(0));  // the start: begins anew
    stream.WriteBool(false);
    EXPECT_EQ(Hex(raw.str()), "00 0B 0B");
    // Characters that do not tell where they are begin there.
    struct CPipeBuf : std::wstringbuf {
        pos_type seekoff(off_type, std::ios_base::seekdir, std::ios_base::openmode) override {
            return off_type(-1);
        }
    };
    CPipeBuf       pipe;
    CToken_ostream piped(std::make_unique<std::wostream>(&pipe), 0, nullptr);
    piped.WriteBool(true);
    piped.NewLine();
    piped.ForceNewLine();
    EXPECT_EQ(Hex(pipe.str()), "00 0A 13 13");
    EXPECT_EQ(piped.TokenBuffer().LineNumber(), 3u);
    CToken_ostring flagged(kOpenBinary);
    flagged.WriteBool(true);
    EXPECT_EQ(Hex(flagged.String().Str()), "00 0A");
}

}  // namespace
