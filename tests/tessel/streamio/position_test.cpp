#include "tessel/platform/test_support.h"
#include "tessel/streamio/no_codecvt.h"
#include "tessel/streamio/stream_support.h"

#include <gtest/gtest.h>

namespace {

using namespace stream_support;
using test_support::CTempFolder;

std::string DumpAll(io::CToken_istream& stream) {
    return DumpRest(stream.TokenBuffer(), true);
}

AString PathOf(const std::filesystem::path& path) {
    return AString(path.string().c_str());
}

/// Characters that are still undecided, or take several units, stand behind every kind of token.
constexpr std::string_view kDocuments[] = {
    "a \xC3\xA9\xE2\x82\xAC'\xC3\xA9'\xE2\x82\xAC\n5\xE2\x82\xAC "
    "1e\xC3\xA9(\r\n\r0x\xE2\x82\xAC,'\xE2\x82\xAC\\\r\n\xE2\x82\xAC'x\n",
    "a\xC3\n'b\xE2\x82'\xE2\x82"
    "c\xF0\x9F\x98\x80"
    "d\xF0\x9F\x98 \xE2\xE2\x82\xAC 5\xC3",
    "$begin 'A'\n\tx=$begin_cdata$ \xE2\x82\xAC $end_cdata$\n! c\n\tf(1., \"q\", -.5e1)\n$end 'A'",
    "1e+x 0xg +.y\0z\r\0"
    "5"sv,
    "",
};

// From each token on: the rest, back, the same rest again.
void CheckEveryPosition(io::CToken_istream& stream) {
    const io::CAbstract_stream_pos start = stream.GetPos();
    const std::string              whole = DumpAll(stream);
    stream.SetPos(start);
    EXPECT_EQ(DumpAll(stream), whole);
    const auto skip = [&](std::size_t count) {
        stream.SetPos(start);
        while (count-- != 0)
            stream.TokenBuffer().NextToken();
    };
    for (std::size_t skipped = 0;; ++skipped) {
        SCOPED_TRACE("behind " + std::to_string(skipped) + " tokens");
        skip(skipped);
        const io::CAbstract_stream_pos place   = stream.GetPos();
        const io::CToken               current = stream.TokenBuffer().CurrentToken();
        const std::string              rest    = DumpAll(stream);
        EXPECT_TRUE(whole.ends_with(rest));
        for (const bool atOnce : {false, true}) {  // from the end, or with characters still held
            if (atOnce) skip(skipped);
            stream.SetPos(place);
            EXPECT_TRUE(stream.good());
            EXPECT_EQ(Dump(stream.TokenBuffer().CurrentToken()), Dump(current));
            EXPECT_EQ(DumpAll(stream), rest);
        }
        if (current.Type() == io::ETokenType::Eof) return;
    }
}

TEST(Position, EveryTokenCanBeGoneBackTo) {
    CTempFolder folder;
    CAssertions assertions;
    for (const std::string_view document : kDocuments) {
        SCOPED_TRACE(Escaped(Widen(document)));
        const AString path  = PathOf(folder.Write("document", document));
        const auto    check = [](std::unique_ptr<io::CToken_istream> stream, bool special) {
            // Without data, or with a NUL in front, it is the binary form's buffer.
            if (auto* text = dynamic_cast<io::CToken_textstreambuf*>(&stream->TokenBuffer()))
                text->SetSpecialNumbers(special);
            CheckEveryPosition(*stream);
        };
        check(ByteStream(document), false);
        check(std::make_unique<io::CToken_istream>(path, 0u), false);
        check(std::make_unique<io::CToken_istream>(path, io::kOpenFastInput), false);
        check(std::make_unique<io::CToken_istring>(AString(Widen(document))), false);
    }
    // Characters are pushed back here.
    CheckEveryPosition(*ByteStream("1e+x 0xg +.y 2e-("));
    auto special = ByteStream("#infx #inf #nay\xC3\xA9 #i");
    static_cast<io::CToken_textstreambuf&>(special->TokenBuffer()).SetSpecialNumbers(true);
    CheckEveryPosition(*special);
    std::string unexpected = assertions.Take();
    while (unexpected.starts_with("!\"Transition to an invalid state\""))  // the rows' own errors
        unexpected.erase(
            0, unexpected.find("; ") == unexpected.npos ? unexpected.size() : unexpected.find("; ") + 2);
    EXPECT_EQ(unexpected, "");
}

TEST(Position, KeepsPushedBackTokens) {
    auto stream = ByteStream("a\nb\nc d");
    stream->NextToken();  // past "a"
    const io::CToken b = stream->CurrentToken();
    stream->NextToken();
    stream->CurrentToken();
    stream->PushBackToken(b);
    const io::CAbstract_stream_pos place = stream->GetPos();
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(Dump(stream->CurrentToken()), "word[b]");
        stream->NextToken();
        EXPECT_EQ(Dump(stream->CurrentToken()), "word[c]");
        EXPECT_EQ(DumpAll(*stream), "word[d]@3");
        stream->SetPos(place);
    }
    const auto& state = static_cast<const io::CToken_stream_state&>(*place.State());
    EXPECT_FALSE(state.IsValid());
}

TEST(Position, OffsetAloneStartsAfresh) {
    auto stream = ByteStream("a\nb\nc 'd'");
    DumpAll(*stream);
    stream->SetPos(io::CAbstract_stream_pos(4));
    EXPECT_EQ(Dump(stream->CurrentToken()), "word[c]");
    EXPECT_EQ(stream->LineNumber(), 1u);
    EXPECT_TRUE(stream->TokenBuffer().AtLineStart());
}

TEST(Position, OutOfReachFailsTheStream) {
    CAssertions assertions;
    auto        stream = ByteStream("abc");
    stream->SetPos(io::CAbstract_stream_pos(4));
    EXPECT_TRUE(stream->fail());
    EXPECT_EQ(assertions.Take(), "(ACharStreamOff)new_pos == (ACharStreamOff)pos.mPos");
    stream->Clear();
    stream->SetPos(io::CAbstract_stream_pos(3));
    EXPECT_TRUE(stream->good());
    EXPECT_TRUE(stream->AtEndOfFile());
    EXPECT_EQ(io::CAbstract_stream_pos(0x7FFFFFFE).Offset(), 0x7FFFFFFE);
    EXPECT_EQ(assertions.Take(), "");
    io::CAbstract_stream_pos tooFar(0x7FFFFFFF);
    EXPECT_EQ(assertions.Take(),
              "(ACharStreamOff)mPos < static_cast<ACharStreamOff>( (std::numeric_limits<long>::max)())");
}

// By its offset, or as a line's start; nothing that is pushed back is lost.
TEST(Position, IsValidWhenItsOffsetIsEnough) {
    const struct {
        io::ACharStreamOff mOffset;
        bool               mAtLineStart;
        std::size_t        mPushBackCount;
        std::size_t        mTokenPushBackCount;
        bool               mValid;
    } rows[] = {
        {0, true, 0, 0, true},  {5, false, 0, 0, true}, {-1, true, 0, 0, true}, {-1, false, 0, 0, false},
        {5, true, 1, 0, false}, {5, true, 0, 1, false}, {0, false, 0, 0, true},
    };
    for (const auto& [offset, atLineStart, characters, tokens, valid] : rows) {
        io::CToken_stream_state state;
        state.mOffset             = offset;
        state.mAtLineStart        = atLineStart;
        state.mPushBackCount      = characters;
        state.mTokenPushBackCount = tokens;
        EXPECT_EQ(state.IsValid(), valid) << offset << atLineStart << characters << tokens;
    }
}

// Behind a converting buffer there is no going back by units.
TEST(Position, ImbuedModeCannotTakeALookAheadBack) {
    CAssertions              assertions;
    std::wstringbuf          units(L"a b");
    io::CToken_textstreambuf tokens(&units);
    tokens.SetCodeCvt(io::kImbuedStream);
    io::CStreamStatePtr state;
    tokens.SaveState(state);
    EXPECT_EQ(assertions.Take(), "");
    tokens.NextToken();
    tokens.SaveState(state);
    EXPECT_EQ(assertions.Take(), "mCodeCvt != kImbuedStream");
}

TEST(Position, StateOfAnotherKindOfSourceIsInit) {
    auto                stream = ByteStream("a\nb");
    io::CStreamStatePtr state;
    stream->TokenBuffer().InitState(state);
    DumpAll(*stream);
    stream->SetPos(io::CAbstract_stream_pos(0, state));
    EXPECT_EQ(DumpAll(*stream), "word[a]@1 eol@2 word[b]@2");
}

TEST(Stream, ReadsInANamedLocale) {
    CTempFolder        folder;
    io::CToken_istream stream(PathOf(folder.Write("bytes", "x 'a\xC3\xA9'")), "C");
    EXPECT_EQ(Dump(stream.CurrentToken()), "word[x]");
    stream.NextToken();
    EXPECT_EQ(stream.CurrentToken().Length(), 3u);  // the two bytes of a character are two
    EXPECT_THROW(io::CToken_istream(AString(L"x"), "no such locale"), std::runtime_error);
}

TEST(Stream, FailsOnWhatIsNoFile) {
    CTempFolder folder;
    for (const std::uint32_t flags : {0u, 0x800u})
        for (const auto& path : {folder / "missing", folder / ".", std::filesystem::path()}) {
            io::CToken_istream stream(PathOf(path), flags);
            EXPECT_TRUE(stream.fail()) << path << flags;
            EXPECT_EQ(Dump(stream.CurrentToken()), "null");
            stream.Clear();
            EXPECT_TRUE(stream.AtEndOfFile());
        }
    io::CToken_istream none(std::unique_ptr<std::wistream>(), 0);
    EXPECT_TRUE(none.fail());
    EXPECT_FALSE(none.FindBlock(AString(L"x")));
}

TEST(Stream, OpenFlagsSetTheCaseMode) {
    EXPECT_EQ(ByteStream("x")->TokenBuffer().CaseMode(), io::kCaseKeep);
    EXPECT_EQ(ByteStream("x", 0x40)->TokenBuffer().CaseMode(), io::kCaseIgnore);
    EXPECT_EQ(ByteStream("x", 0x80)->TokenBuffer().CaseMode(), io::kCaseKeep);
}

TEST(NoCodeCvt, PassesBytesThrough) {
    const io::NoCodeCvt facet;
    std::mbstate_t      state{};
    const char          bytes[] = "a\xE9\xFF";
    const char*         next    = nullptr;
    wchar_t             units[3];
    wchar_t*            end = nullptr;
    EXPECT_EQ(facet.in(state, bytes, bytes + 3, next, units, units + 2, end), std::codecvt_base::ok);
    EXPECT_EQ(next - bytes, 2);
    EXPECT_EQ(Escaped({units, end}), "a<E9>");
    EXPECT_EQ(facet.in(state, bytes, bytes + 3, next, units, units, end), std::codecvt_base::partial);
    EXPECT_EQ(facet.in(state, bytes, bytes, next, units, units, end), std::codecvt_base::ok);

    const wchar_t* wideNext = nullptr;
    char           out[2];
    char*          outEnd = nullptr;
    const wchar_t  wide[] = {L'a', 0x12E9};
    EXPECT_EQ(facet.out(state, wide, wide + 2, wideNext, out, out + 2, outEnd), std::codecvt_base::ok);
    EXPECT_EQ(std::string_view(out, 2), "a\xE9");  // the low 8 bits
    EXPECT_EQ(facet.length(state, bytes, bytes + 3, 2), 2);
    EXPECT_EQ(facet.encoding(), 1);
}

}  // namespace
