// Reading where characters lie must give what the state machine gives, character by character. A buffer
// that delivers one unit at a time leaves nothing to be read in place; so the same text is read through
// it and through buffers that deliver more.

#include "stream_support.h"
#include "tessel/streamio/delimiter_grammar_default.h"
#include "tessel/streamio/number_text.h"
#include "tessel/streamio/stable_list.h"

#include <gtest/gtest.h>

#include <bit>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <list>
#include <random>

namespace {

using namespace stream_support;

constexpr std::string_view kPieces[] = {" ",
                                        " ",
                                        "\t",
                                        "\n",
                                        "\n",
                                        "\n",
                                        "\r\n",
                                        "\r",
                                        "\0"sv,
                                        "=",
                                        "=",
                                        "=",
                                        "(",
                                        ")",
                                        "[",
                                        "]",
                                        ",",
                                        ",",
                                        ":",
                                        "-",
                                        "+",
                                        ".",
                                        "#",
                                        "$",
                                        "\\",
                                        "'",
                                        "\"",
                                        "! note\n",
                                        "!",
                                        "a",
                                        "name",
                                        "true",
                                        "FALSE",
                                        "t",
                                        "f_1",
                                        "$x",
                                        "$begin 'A'\n",
                                        "$begin B\n",
                                        "\n$end 'A'\n",
                                        "\n$end\n",
                                        "$end 'B'",
                                        "$begin_cdata$ 'x'\n$end_cdata$",
                                        "$Begin_CDATA$",
                                        "''",
                                        "'text'",
                                        "'a\\'b\\\nc'",
                                        "'\\\r\nd'",
                                        "\"q\\tq\"",
                                        "'\xC3\xA9'",
                                        "n\xC3\xA4me",
                                        "\xE2\x82",
                                        "\xF0\x9F\x98\x80",
                                        "#inf",
                                        "#nan",
                                        "#infx",
                                        "0",
                                        "00",
                                        "7",
                                        "-0",
                                        "+5",
                                        "12345",
                                        "3.",
                                        "2.5",
                                        "-0.125",
                                        ".5",
                                        "-.5",
                                        "1e5",
                                        "1e",
                                        "1e+",
                                        "2E-3",
                                        "0x1f",
                                        "0x",
                                        "0xg",
                                        "4294967296",
                                        "123456789012345",
                                        "1234567890123456",
                                        "12345678901234567890123",
                                        "0.1000000000000000055511151231257827",
                                        "9007199254740993",
                                        "1.7976931348623157e308",
                                        "1e999",
                                        "-1e-999",
                                        "5e",
                                        "\nx=1\n",
                                        "\nlong_name = 'value'\n",
                                        "\nv[3: 1, 2, 3]\n",
                                        "\nw[-1, 2]\n",
                                        "\nu[5, 6]\n",
                                        "\nf(1, a='b', c)\n",
                                        "\ng(h(1), v[1])\n",
                                        "\ne[]\n",
                                        "\nk()\n",
                                        "\n'quoted name'=true\n",
                                        "\n$begin 'C'\ny=2\n$end 'C'\n"};

/// Any sign, digits and point, few digits or many.
std::string RandomNumber(std::mt19937& random) {
    std::string number = random() % 4 == 0 ? "-" : "";
    for (auto digits = 1 + random() % 18; digits != 0; --digits)
        number += static_cast<char>('0' + random() % 10);
    if (random() % 2 == 0) number.insert(1 + random() % number.size(), ".");
    return number + (random() % 8 == 0 ? "e-3" : "");
}

std::string RandomText(std::mt19937& random) {
    std::string text;
    for (auto pieces = random() % 30; pieces != 0; --pieces)
        text += random() % 8 == 0 ? RandomNumber(random) : kPieces[random() % std::size(kPieces)];
    return text;
}

/// All tokens, each with its line and place.
std::string Tokens(const std::string& text, std::size_t chunk, const io::CBase_grammar& grammar,
                   const std::function<void(io::CToken_textstreambuf&)>& set) {
    CChunkBuf                units(Widen(text), chunk);
    io::CToken_textstreambuf tokens(&units, grammar);
    set(tokens);
    std::string dump;
    do {
        dump += Dump(tokens.NextToken());  // before its place is asked for
        dump += "@" + std::to_string(tokens.LineNumber()) + "+" + std::to_string(tokens.TokenOffset()) +
                (tokens.AtLineStart() ? "^ " : " ");
    } while (tokens.CurrentToken().Type() != io::ETokenType::Eof);
    return dump;
}

TEST(InPlace, LexesWhatTheStateMachineLexes) {
    using Buffer                                   = io::CToken_textstreambuf;
    const std::function<void(Buffer&)> kSettings[] = {
        [](Buffer&) {},
        [](Buffer& buffer) { buffer.ShareTexts(true); },
        [](Buffer& buffer) { buffer.SetReturnComments(true); },
        [](Buffer& buffer) { buffer.SetReturnWhiteSpace(true); },
        [](Buffer& buffer) { buffer.SetSpecialNumbers(true); },
        [](Buffer& buffer) { buffer.SetKeepText(true); },
        [](Buffer& buffer) { buffer.SetCaseMode(io::kCaseUpper); },
        [](Buffer& buffer) { buffer.SetCaseMode(io::kCaseIgnore); },
        [](Buffer& buffer) { buffer.SetCodeCvt(io::kWideUnits); },
        [](Buffer& buffer) { buffer.SetReadLimit(40); },
    };
    io::CToken_grammar own;
    own.AddKeywordStartChars(L"%");
    own.AddCommentChars(L"#");
    own.AddKeywordChars(L".");
    const io::CDelimiter_grammar_default delimiters;
    const io::CBase_grammar* const kGrammars[] = {&io::CToken_grammar_default::Shared(), &own, &delimiters};
    std::mt19937                   random(20240229);
    for (int i = 0; i < 400; ++i) {
        const std::string text = RandomText(random);
        for (const auto* grammar : kGrammars)
            for (const auto& set : kSettings) {
                const std::string expected = Tokens(text, 1, *grammar, set);
                for (const std::size_t chunk : {5u, 31u, 4000u})
                    ASSERT_EQ(Tokens(text, chunk, *grammar, set), expected)
                        << Escaped(Widen(text)) << " setting " << &set - kSettings;
            }
    }
}

/// What is read as a file, and what a stream makes of it in its settings.
std::string Tree(const std::string& text, std::size_t chunk, std::uint32_t flags, std::size_t items) {
    struct CStream : std::wistream {
        CStream(const std::string& bytes, std::size_t size)
            : std::wistream(nullptr), mUnits(Widen(bytes), size) {
            rdbuf(&mUnits);
        }
        CChunkBuf mUnits;
    };
    io::CToken_istream stream(std::make_unique<CStream>(text, chunk), flags,
                              &io::CToken_grammar_default::Shared());
    stream.SetReadLimits(static_cast<std::size_t>(-1), items);
    const std::string tree = DumpFile(stream);  // reads: before the line is asked for
    return tree + " line " + std::to_string(stream.LineNumber());
}

TEST(InPlace, ReadsTheTreeThatTheItemReadersRead) {
    std::mt19937 random(20240301);
    for (int i = 0; i < 4000; ++i) {
        const std::string text = RandomText(random);
        for (const std::uint32_t flags : {0u, std::uint32_t{io::kOpenIgnoreCase}})
            for (const std::size_t items : {std::size_t{1}, std::size_t{3}, std::size_t{6}, SIZE_MAX}) {
                const std::string expected = Tree(text, 1, flags, items);
                for (const std::size_t chunk : {9u, 50u, 4000u})
                    ASSERT_EQ(Tree(text, chunk, flags, items), expected) << Escaped(Widen(text));
            }
    }
}

TEST(InPlace, StopsAtTheReadLimitWhereTheItemReadersDo) {
    // Also before lines that count for nothing, as the end of a block and an empty line do.
    for (const char* text :
         {"$begin 'A'\nx=1\n$end 'A'\n\n\ny=2\n", "$begin 'A'\nx=1\n\n\n$end\n\n$end 'A'\n",
          "$begin 'A'\n$begin 'B'\nv[5, 6]\n$end 'B'\n$end 'A'\nf(1, a=2)\n$end\n"})
        for (std::size_t items = 0; items < 10; ++items)
            EXPECT_EQ(Tree(text, 4000, 0, items), Tree(text, 1, 0, items)) << text << "up to " << items;
}

TEST(InPlace, KnowsNamesThatComeAgainFromThoseThatOnlyBeginLikeThem) {
    constexpr const char* kNames[] = {"Width",         "Widths",    "Wid",     "width",  "true",
                                      "TRUE",          "'true'",    "'a b'",   "a b",    "a",
                                      "f_1",           "long_name", "'Width'", "$x",     "$end",
                                      "Width\xC3\xA4", "Width'",    "7",       "Width.", "$begin_cdata$"};
    constexpr const char* kRests[] = {"=1\n",
                                      "='Width'\n",
                                      " = long_name\n",
                                      "[2: 'true', 'a b']\n",
                                      "(Width=1, 'a b')\n",
                                      "=true\n",
                                      "=$begin_cdata$ x\n$end_cdata$\n"};
    std::mt19937          random(11);
    for (int i = 0; i < 1500; ++i) {
        // The same few lines again and again, with another among them now and then.
        std::vector<std::string> lines(1 + random() % 4);
        for (std::string& line : lines)
            line = std::string(kNames[random() % std::size(kNames)]) + kRests[random() % std::size(kRests)];
        std::string text;
        for (std::size_t at = 0; at < 12; ++at)
            text += random() % 6 == 0 ? std::string(kNames[random() % std::size(kNames)]) + "=2\n"
                                      : lines[at % lines.size()];
        text.resize(text.size() - random() % 4);
        const std::string expected = Tree(text, 1, 0, static_cast<std::size_t>(-1));
        for (const std::size_t chunk : {7u, 33u, 4000u})
            ASSERT_EQ(Tree(text, chunk, 0, static_cast<std::size_t>(-1)), expected) << Escaped(Widen(text));
    }
}

TEST(InPlace, TreesReadOneAfterTheOtherShareNothing) {
    const auto stream = ByteStream("$begin 'A'\nlong_name=1\n$end 'A'\n$begin 'A'\nlong_name=1\n$end 'A'\n");
    io::CBlockPtr first(new io::CBlock), second(new io::CBlock);
    first->Read(*stream);
    second->Read(*stream);
    const auto text = [](io::CBlock& block) { return (*block.ItemsBegin())->Name().Text(); };
    EXPECT_STREQ(text(*first), text(*second));
    EXPECT_NE(text(*first), text(*second));
}

TEST(InPlace, ItemsLieOneBehindTheOther) {
    // Also those of lines that are begun in place and read by the item readers: nothing is left of the first
    // try.
    for (const char* line : {"a=1", "a=0x1f", "a='it\\'s'", "a=$begin_cdata$ x $end_cdata$", "v[0x1f, 1]",
                             "v[2: 1, 0x1f]", "f(0x1f)", "f(1, 'x', 0x1f)"}) {
        const auto stream = ByteStream("b=1\n" + std::string(line) + "\n");
        io::CBlock file;
        file.ReadFile(*stream);
        const auto place = [&](auto item) { return reinterpret_cast<const char*>(item->Get()); };
        EXPECT_EQ(place(std::next(file.ItemsBegin())) - place(file.ItemsBegin()),
                  sizeof(io::CBlock_named_value))
            << line;
    }
}

TEST(InPlace, ListsOutgrowTheRoomThatTheyWereReadWith) {
    // Behind the room of one item begins the next one.
    constexpr const char* kFile =
        "v[2: 1, 'some text', word, 4]\nf(1, a=2, 'some text', 4, 5)\nw[1, 2]\n"
        "e[]\nl['last text']\n";
    std::vector<io::CBlockItemPtr> items;
    {
        const auto stream = ByteStream(kFile);
        io::CBlock file;
        file.ReadFile(*stream);
        EXPECT_EQ(DumpItems(file),
                  "v[1, 'some text', word, 4] f(1, a=2, 'some text', 4, 5) w[1, 2] e[] l['last text']");
        items.assign(file.Items().begin(), file.Items().end());
    }
    // They live on without tree, stream and pool.
    const io::CToken more(io::ETokenType::Keyword, L"something_more");
    auto&            v = dynamic_cast<io::CBlock_vec&>(*items[0]);
    auto&            f = dynamic_cast<io::CBlock_func&>(*items[1]);
    auto&            e = dynamic_cast<io::CBlock_vec&>(*items[3]);
    for (int i = 0; i < 3; ++i)
        e.Append(more);
    io::CBlock_vec copy(v);
    copy.Append(more);
    const io::CBlock_func before(f);
    f.Clear();
    f.Append(io::CBlockFuncArgPtr(new io::CBlock_vec(copy)));
    v = e;
    items.erase(items.begin() + 2, items.begin() + 4);
    EXPECT_EQ(Dump(copy), "v[1, 'some text', word, 4, something_more]");
    EXPECT_EQ(Dump(before), "f(1, a=2, 'some text', 4, 5)");
    EXPECT_EQ(Dump(v), "e[something_more, something_more, something_more]");
    EXPECT_EQ(Dump(f), "f(v[1, 'some text', word, 4, something_more])");
    EXPECT_EQ(Dump(*items[2]), "l['last text']");
}

TEST(StableList, KeepsPositionsWhileOthersComeAndGo) {
    std::mt19937                                                                     random(7);
    io::CStableList<int>                                                             list;
    std::list<int>                                                                   expected;
    std::vector<std::pair<io::CStableList<int>::iterator, std::list<int>::iterator>> positions;
    for (int i = 0; i < 5000; ++i) {
        if (positions.empty() || random() % 5 < 3) {
            positions.emplace_back(list.emplace_back(i), expected.insert(expected.end(), i));
        } else {
            const auto which = positions.begin() + static_cast<std::ptrdiff_t>(random() % positions.size());
            const auto [one, other] = *which;
            const auto next         = list.erase(one);
            const auto expectedNext = expected.erase(other);
            ASSERT_EQ(next == list.end(), expectedNext == expected.end());
            if (next != list.end()) {
                ASSERT_EQ(*next, *expectedNext);
            }
            positions.erase(which);
        }
        ASSERT_EQ(list.size(), expected.size());
        if (i % 50 == 0) {
            ASSERT_TRUE(std::equal(list.begin(), list.end(), expected.begin(), expected.end()));
            ASSERT_TRUE(std::equal(std::make_reverse_iterator(list.end()),
                                   std::make_reverse_iterator(list.begin()), expected.rbegin(),
                                   expected.rend()));
        }
        for (const auto& [one, other] : positions)
            ASSERT_EQ(*one, *other);
    }
}

TEST(InPlace, DecimalNumbersAreRoundedOnce) {
    // Against the standard library, which knows numbers of any length.
    std::mt19937_64 random(17);
    const auto      check = [](const std::string& digits, std::size_t decimals) {
        io::CDecimal decimal{std::strtoull(digits.c_str(), nullptr, 10), std::ssize(digits),
                             static_cast<std::ptrdiff_t>(decimals)};
        double       value = -1;
        if (!decimal.Get(&value)) return false;
        const std::string text =
            digits.substr(0, digits.size() - decimals) + "." + digits.substr(digits.size() - decimals);
        double wanted = 0;
        std::from_chars(text.data(), text.data() + text.size(), wanted);
        EXPECT_EQ(std::bit_cast<std::uint64_t>(value), std::bit_cast<std::uint64_t>(wanted)) << text;
        return true;
    };
    std::size_t known = 0;
    for (int i = 0; i < 200'000; ++i) {
        std::string digits(1 + static_cast<std::size_t>(random() % 19), '0');
        // Halves of what a double can tell are the hard ones: 2^53 + 1, 2^54 + 2 and so on, and their
        // neighbours.
        const std::uint64_t halves =
            (std::uint64_t{1} << (53 + random() % 10)) / (1 + random() % 7) + random() % 5;
        const std::string hard = std::to_string(i % 3 == 0 ? halves : random());
        for (std::size_t at = 0; at < digits.size(); ++at)
            digits[at] = hard[at % hard.size()];
        known += check(digits, static_cast<std::size_t>(random() % digits.size())) ? 1 : 0;
    }
    for (const char* digits : {"0", "000", "9007199254740993", "9999999999999999999", "0000000000000000001"})
        for (std::size_t decimals = 0; decimals < std::strlen(digits); ++decimals)
            known += check(digits, decimals) ? 1 : 0;
    EXPECT_GT(known, 1000u);
    io::CDecimal tooMany{0, 20, 3};
    double       value = 5;
    EXPECT_FALSE(tooMany.Get(&value));
    EXPECT_EQ(value, 5);
}

}  // namespace
