#include "tessel/streamio/stream_support.h"
#include "tessel/streamio/token_binarystreambuf.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>

// What is at a limit, and what is one past it. (The limits of nesting and of pushing back stand where those
// are tested.)

namespace {

using namespace stream_support;

std::string Times(int count, std::string_view text) {
    std::string times;
    while (count-- > 0)
        times += text;
    return times;
}

TEST(Limits, OfDocuments) {
    const std::string longest(1'000'000, '7');
    const struct {
        std::string mText;
        std::string mItems;
    } kRows[] = {
        // the count of a vector
        {"v[4294967295: 1]\nx=1", "v[1] x=1"},
        {"v[4294967296: 1]\nx=1", "x=1 !12@1"},
        {"v[4294967295.5: 1]\nx=1", "x=1 !12@1"},
        {"v[0: 1, 2]\nx=1", "v[1, 2] x=1"},
        {"v[-1: 1]\nx=1", "x=1 !12@1"},
        {"v[1e300: 1]\nx=1", "x=1 !12@1"},
        {"f(v[4294967296: 1])\nx=1", "x=1 !12@1"},
        // numbers
        {"x=1e308 y=1e309 z=1e-400", "x=double[1e+308] y=double[inf] z=double[0]"},
        {"x=0xfffffffff y=0x7fffffff", "x='0xfffffffff' y=hex[2147483647]"},
        {"x=" + longest + "\ny=1", "x=inf y=1"},
        {"x=0." + longest + "\ny=1", "x=double[0.7777777777777778] y=1"},
        // names, texts and lines of any length
        {std::string(100'000, 'n') + "=1", std::string(100'000, 'n') + "=1"},
        {"x='" + Times(50'000, "\\\n") + "'\ny=1", "x='" + Times(50'000, "<A>") + "' y=1"},
        {"x=1 !" + std::string(1'000'000, 'c') + "\ny=1", "x=1 y=1"},
        {std::string(1'000'000, ' ') + "x=1", "x=1"},
        {"x=$begin_cdata$ " + std::string(100'000, '$') + "$end_cdata$",
         "x=< " + std::string(100'000, '$') + ">"},
        {"x=$begin_cdata$ never closed", "x=< never closed>"},
        {"x='never closed\ny=1", "x='never closed' y=1"},
        {"f(" + Times(100'000, ",") + "1)\nx=1", "f(" + Times(100'000, "-, ") + "1) x=1"},
        {Times(100'000, ")") + "\nx=1", "x=1 !11@1"},
    };
    for (const auto& row : kRows) {
        const std::string items = DumpFile(*ByteStream(row.mText));
        EXPECT_TRUE(items == row.mItems) << row.mText.substr(0, 60) << ": " << items.substr(0, 200);
    }
}

/// A prologue, the same unit again and again, an epilogue: a file that nobody has to keep in memory.
class CLongBuf : public std::wstreambuf {
  public:
    CLongBuf(std::wstring begin, wchar_t unit, std::size_t count, std::wstring end)
        : mBegin(std::move(begin)), mEnd(std::move(end)), mChunk(kChunk, unit), mLeft(count) {}

  protected:
    int_type underflow() override {
        if (!mBegin.empty()) return Deliver(std::exchange(mBegin, {}));
        if (mLeft != 0) {
            const std::size_t count = std::min(mLeft, kChunk);
            mLeft -= count;
            return Deliver(std::wstring(count, mChunk[0]));
        }
        return mEnd.empty() ? traits_type::eof() : Deliver(std::exchange(mEnd, {}));
    }

  private:
    static constexpr std::size_t kChunk = 10'000;

    int_type Deliver(std::wstring units) {
        mDelivered = std::move(units);
        setg(mDelivered.data(), mDelivered.data(), mDelivered.data() + mDelivered.size());
        return traits_type::to_int_type(mDelivered[0]);
    }

    std::wstring mBegin, mEnd, mDelivered, mChunk;
    std::size_t  mLeft;
};

/// A stream on such a buffer.
class CLongStream : public std::wistream {
  public:
    template <class... Arguments>
    explicit CLongStream(Arguments&&... arguments)
        : std::wistream(nullptr), mBuffer(std::forward<Arguments>(arguments)...) {
        rdbuf(&mBuffer);
    }

  private:
    CLongBuf mBuffer;
};

constexpr std::size_t kHuge = 100'000'000;

/// The length of the value of the first item.
std::size_t ValueLength(const io::CBlock& block) {
    return dynamic_cast<const io::CBlock_value&>(**block.Items().begin()).Value().Length();
}

TEST(Limits, TextOf100MegabytesIsRead) {
    const wchar_t binary[] = {
        0, 12, 1, L'x', 18, L'=', 13 + 128, kHuge & 0xFF, kHuge >> 8 & 0xFF, kHuge >> 16 & 0xFF, kHuge >> 24};
    for (const bool text : {true, false}) {
        io::CToken_istream stream(
            std::make_unique<CLongStream>(text ? L"x='" : std::wstring(binary, std::size(binary)), L'q',
                                          kHuge, text ? L"'\ny=1\n" : L"\x13"),
            0);
        io::CBlock file;
        file.ReadFile(stream);
        EXPECT_EQ(file.Count(), text ? 2u : 1u);
        EXPECT_EQ(ValueLength(file), kHuge);
    }
}

TEST(Limits, WhatIsReadEndsAtTheReadLimit) {
    constexpr std::size_t kUnits = 1'000'000;
    io::CToken_istream    stream(std::make_unique<CLongStream>(L"x='", L'q', kHuge, L"'\ny=1\n"), 0);
    stream.SetReadLimits(kUnits, 10);
    io::CBlock file;
    file.ReadFile(stream);
    EXPECT_EQ(file.Count(), 1u);
    EXPECT_EQ(ValueLength(file), kUnits - 3);
}

/// A length that says more than there is makes no room for it.
TEST(Limits, BinaryLengthsBeyondTheEnd) {
    for (const unsigned type : {12, 13, 14, 15, 16, 17, 18})
        for (const unsigned high : {0x00u, 0x7Fu, 0xFFu}) {
            std::wstring bytes = {static_cast<wchar_t>(type + 128), 0xFF, 0xFF, 0xFF,
                                  static_cast<wchar_t>(high)};
            bytes += L"some text";
            CChunkBuf                  units(bytes, 4);
            io::CToken_binarystreambuf tokens(&units);
            EXPECT_EQ(DumpRest(tokens), "error") << type << " " << high;
        }
}

/// Texts are shared by up to 255 tokens; more of them share other copies.
TEST(Limits, OneTokenCopied10000Times) {
    constexpr std::size_t   kCopies = 10'000;
    constexpr auto          kText   = L"a text that is shared"sv;
    const io::CToken        token(io::ETokenType::SingleQuotedText, kText);
    std::vector<io::CToken> ofOne(kCopies, token), ofEach;
    for (std::size_t i = 0; i < kCopies; ++i)
        ofEach.push_back(i == 0 ? token : io::CToken(ofEach.back()));
    std::mt19937 random(1);
    for (auto* copies : {&ofOne, &ofEach}) {
        std::shuffle(copies->begin(), copies->end(), random);
        while (!copies->empty()) {
            ASSERT_EQ(copies->back().View(), kText);
            copies->pop_back();
        }
    }
    // The same name and value again and again, taken from the tree one by one.
    io::CBlock file;
    file.ReadFile(
        *ByteStream(Times(kCopies, "'a name that is shared'='a value that is shared'\n") +
                    Times(kCopies, "f('an argument that is shared', an_argument_of_its_own) x=1\n")));
    ASSERT_EQ(file.Count(), 3 * kCopies);
    std::vector<io::CBlockItemPtr> items(file.Items().begin(), file.Items().end());
    file.Clear();
    std::shuffle(items.begin(), items.end(), random);
    for (; !items.empty(); items.pop_back()) {
        const std::string dump = Dump(*items.back());
        ASSERT_TRUE(dump == "a name that is shared='a value that is shared'" || dump == "x=1" ||
                    dump == "f('an argument that is shared', an_argument_of_its_own)")
            << dump;
    }
}

}  // namespace
