#include "tessel/streamio/fast_istreambuf.h"
#include "tessel/baseutils/debug_log.h"
#include "tessel/platform/platform.h"
#include "tessel/platform/test_support.h"
#include "tessel/streamio/abstract_stream.h"
#include "tessel/streamio/stream_support.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <random>

#ifndef _WIN32
#include <sys/stat.h>
#endif

namespace {

using test_support::CTempFolder;
using Traits   = std::char_traits<wchar_t>;
using CFastBuf = io::CFastIStreamBuf<wchar_t>;

constexpr int kBufferSize = 10224;
constexpr int kFirstFill  = 2048;

AString PathOf(const std::filesystem::path& path) {
    return AString(path.string().c_str());
}

std::string Content(int size) {
    std::string content;
    for (int i = 0; i < size; ++i)
        content += static_cast<char>(i * 7 + i / 251);
    return content;
}

long Byte(const std::string& content, std::int64_t position) {
    return position < static_cast<std::int64_t>(content.size())
               ? static_cast<unsigned char>(content[static_cast<std::size_t>(position)])
               : -1;
}

/// The character that is taken, -1 at the end.
long Take(std::wstreambuf& buffer) {
    const auto ch = buffer.sbumpc();
    return Traits::eq_int_type(ch, Traits::eof()) ? -1 : static_cast<long>(ch);
}

std::int64_t Seek(std::wstreambuf& buffer, std::int64_t offset, std::ios_base::seekdir from) {
    return static_cast<std::int64_t>(std::streamoff(buffer.pubseekoff(offset, from, std::ios_base::in)));
}

TEST(FastInput, ReadsFilesOfEverySizeAroundARefill) {
    CTempFolder folder;
    for (const int size : {0, 1, 15, 16, 17, kFirstFill - 1, kFirstFill, kFirstFill + 1, kBufferSize - 1,
                           kBufferSize, kBufferSize + 1, 2 * kBufferSize, 3 * kBufferSize + 5}) {
        SCOPED_TRACE(size);
        const std::string content = Content(size);
        CFastBuf          buffer;
        ASSERT_TRUE(buffer.Open(PathOf(folder.Write("file", content))));
        for (int i = 0; i < size; ++i)
            ASSERT_EQ(Take(buffer), Byte(content, i)) << i;
        EXPECT_EQ(Take(buffer), -1);
        EXPECT_EQ(Take(buffer), -1);
        EXPECT_EQ(Seek(buffer, 0, std::ios_base::cur), size);
        EXPECT_EQ(Seek(buffer, 0, std::ios_base::beg), 0);
        EXPECT_EQ(Take(buffer), Byte(content, 0));
    }
}

TEST(FastInput, Puts16CharactersBackAcrossARefill) {
    CTempFolder       folder;
    const std::string content = Content(kBufferSize + 100);
    CFastBuf          buffer;
    ASSERT_TRUE(buffer.Open(PathOf(folder.Write("file", content))));
    EXPECT_TRUE(Traits::eq_int_type(buffer.sungetc(), Traits::eof()));  // nothing before the start
    for (int i = 0; i < kBufferSize + 1; ++i)
        Take(buffer);
    EXPECT_EQ(buffer.sungetc(), static_cast<Traits::int_type>(Byte(content, kBufferSize)));
    for (int i = 1; i <= 16; ++i)
        ASSERT_EQ(buffer.sungetc(), static_cast<Traits::int_type>(Byte(content, kBufferSize - i))) << i;
    EXPECT_TRUE(Traits::eq_int_type(buffer.sungetc(), Traits::eof()));
    EXPECT_EQ(Seek(buffer, 0, std::ios_base::cur), kBufferSize - 16);
    for (int i = -16; i < 100; ++i)
        ASSERT_EQ(Take(buffer), Byte(content, kBufferSize + i)) << i;
}

TEST(FastInput, ReadsAFileThatIsOpenAlready) {
    CTempFolder       folder;
    const std::string content = Content(kBufferSize + 100);
    std::int64_t      size    = 0;
    const int         file    = platform::OpenDescriptor(PathOf(folder.Write("file", content)).CStr(), &size);
    ASSERT_NE(file, -1);
    for (int times = 0; times < 2; ++times) {  // it stays open
        CFastBuf buffer;
        buffer.Open(file, size);
        for (int i = 0; i < kFirstFill; ++i)
            ASSERT_EQ(Take(buffer), Byte(content, i)) << i;
        EXPECT_EQ(buffer.in_avail(), 0);  // no more has been read
        EXPECT_EQ(Take(buffer), Byte(content, kFirstFill));
        EXPECT_EQ(Seek(buffer, size, std::ios_base::beg), size);
        EXPECT_EQ(Seek(buffer, size + 1, std::ios_base::beg), -1);
    }
    const auto stream = io::CreateFastIStream(AString(L"of no account"), file, size);
    EXPECT_EQ(stream->get(), static_cast<Traits::int_type>(Byte(content, 0)));
    platform::CloseDescriptor(file);
}

TEST(FastInput, PutsAnotherCharacterBack) {
    CTempFolder folder;
    CFastBuf    buffer;
    ASSERT_TRUE(buffer.Open(PathOf(folder.Write("file", "abc"))));
    Take(buffer);
    Take(buffer);
    EXPECT_EQ(buffer.sputbackc(L'X'), Traits::int_type{'X'});
    EXPECT_EQ(Take(buffer), 'X');
    EXPECT_EQ(Take(buffer), 'c');
}

TEST(FastInput, SeeksByItsRules) {
    CTempFolder folder;
    const auto  path = PathOf(folder.Write("file", "0123456789"));
    const struct {
        int                    mOffset;
        std::ios_base::seekdir mFrom;
        int                    mExpected;
    } kRows[] = {
        {0, std::ios_base::beg, 0},   {10, std::ios_base::beg, 10}, {11, std::ios_base::beg, -1},
        {-1, std::ios_base::beg, -1}, {9, std::ios_base::beg, 9},   {0, std::ios_base::cur, 3},
        {7, std::ios_base::cur, 10},  {8, std::ios_base::cur, -1},  {-3, std::ios_base::cur, 0},
        {-4, std::ios_base::cur, -1}, {1, std::ios_base::cur, 4},   {0, std::ios_base::end, -1},
        {-1, std::ios_base::end, 10}, {-11, std::ios_base::end, 0}, {-12, std::ios_base::end, -1},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(std::to_string(row.mOffset) + " from " + std::to_string(row.mFrom));
        CFastBuf buffer;
        ASSERT_TRUE(buffer.Open(path));
        for (int i = 0; i < 3; ++i)
            Take(buffer);
        EXPECT_EQ(Seek(buffer, row.mOffset, row.mFrom), row.mExpected);
        const int at = row.mExpected < 0 ? 3 : row.mExpected;  // a failed seek moves nothing
        EXPECT_EQ(Take(buffer), at < 10 ? '0' + at : -1);
    }
    CFastBuf buffer;
    EXPECT_EQ(Seek(buffer, 0, std::ios_base::cur), -1);
    ASSERT_TRUE(buffer.Open(path));
    EXPECT_EQ(std::streamoff(buffer.pubseekpos(std::streampos(10))), 10);
    EXPECT_EQ(std::streamoff(buffer.pubseekpos(std::streampos(11))), -1);
    ASSERT_TRUE(buffer.Open(PathOf(folder.Write("empty", ""))));
    EXPECT_EQ(Seek(buffer, 0, std::ios_base::beg), 0);
    EXPECT_EQ(Seek(buffer, 1, std::ios_base::beg), -1);
}

// Reading, seeking and putting back at random, against the content itself.
TEST(FastInput, IsAlwaysWhereItSays) {
    CTempFolder       folder;
    const std::string content = Content(3 * kBufferSize + 77);
    const auto        size    = static_cast<std::int64_t>(content.size());
    const unsigned    seed    = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    CFastBuf     buffer;
    ASSERT_TRUE(buffer.Open(PathOf(folder.Write("file", content))));
    std::int64_t position = 0;
    for (int step = 0; step < 20000; ++step) {
        switch (random() % 4) {
            case 0:
                position = random() % (content.size() + 1);
                ASSERT_EQ(Seek(buffer, position, std::ios_base::beg), position);
                break;
            case 1: {
                const std::int64_t by       = static_cast<std::int64_t>(random() % 60) - 30;
                const bool         possible = position + by >= 0 && position + by <= size;
                ASSERT_EQ(Seek(buffer, by, std::ios_base::cur), possible ? position + by : -1);
                if (possible) position += by;
                break;
            }
            case 2: {
                const auto back = buffer.sungetc();
                if (Traits::eq_int_type(back, Traits::eof())) break;
                --position;
                ASSERT_EQ(static_cast<long>(back), Byte(content, position));
                break;
            }
            default:
                for (auto count = random() % 2000; count != 0; --count) {
                    ASSERT_EQ(Take(buffer), Byte(content, position));
                    if (position < size) ++position;
                }
        }
        ASSERT_EQ(Seek(buffer, 0, std::ios_base::cur), position);
    }
}

TEST(FastInput, FileThatGrowsOrShrinksIsReadAsItIs) {
    CTempFolder folder;
    const auto  path = folder.Write("file", "ab");
    CFastBuf    buffer;
    ASSERT_TRUE(buffer.Open(PathOf(path)));
    EXPECT_EQ(Take(buffer), 'a');
    std::ofstream(path, std::ios::binary | std::ios::app) << "cde";
    EXPECT_EQ(Take(buffer), 'b');
    EXPECT_EQ(Take(buffer), 'c');
    EXPECT_EQ(Seek(buffer, 4, std::ios_base::beg), -1);  // the length is the one it had when opened
    EXPECT_EQ(Seek(buffer, 2, std::ios_base::beg), 2);
    EXPECT_EQ(Take(buffer), 'c');

    ASSERT_TRUE(buffer.Open(PathOf(folder.Write("other", stream_support::operator""s("abcdef", 6)))));
    std::filesystem::resize_file(folder / "other", 2);
    EXPECT_EQ(Seek(buffer, 5, std::ios_base::beg), 5);
    EXPECT_EQ(Take(buffer), -1);
    EXPECT_EQ(Seek(buffer, 1, std::ios_base::beg), 1);
    EXPECT_EQ(Take(buffer), 'b');
    EXPECT_EQ(Take(buffer), -1);
}

TEST(FastInput, FallsBackToAStreamThatFails) {
    CTempFolder folder;
    for (const auto& path : {folder / "missing", folder / "."}) {
        EXPECT_FALSE(CFastBuf().Open(PathOf(path)));
        const auto stream = io::CreateFastIStream(PathOf(path));
        ASSERT_NE(stream, nullptr);
        EXPECT_TRUE(stream->fail());
        EXPECT_TRUE(io::CreateIStream(PathOf(path))->fail());
    }
    const auto stream = io::CreateFastIStream(PathOf(folder.Write("file", "\xE9\n")));
    EXPECT_EQ(stream->get(), 0xE9u);
    EXPECT_EQ(stream->get(), Traits::int_type{'\n'});
    EXPECT_TRUE(Traits::eq_int_type(stream->get(), Traits::eof()));
}

#ifndef _WIN32
TEST(FastInput, PipesAreRefusedWithoutWaiting) {
    CTempFolder folder;
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_TRUE(io::CreateFastIStream(PathOf(folder / "pipe"))->fail());
    EXPECT_TRUE(io::CreateIStream(PathOf(folder / "pipe"))->fail());
    EXPECT_TRUE(io::CreateFastIStream(AString(L"/dev/zero"))->fail());
}
#endif

TEST(CharacterStreams, ReadBytesAndKeepWhatIsThere) {
    CTempFolder folder;
    const auto  path = folder.Write("file", "a\xE9");
    {
        const auto in = io::CreateIStream(PathOf(path));
        EXPECT_EQ(in->get(), Traits::int_type{'a'});
        EXPECT_EQ(in->get(), 0xE9u);
    }
    *io::CreateOStream(PathOf(path), false) << L"b\xEA\r\n";
    EXPECT_EQ(std::filesystem::file_size(path), 6u);
    *io::CreateIOStream(PathOf(path)) << L"X";
    EXPECT_EQ(test_support::ReadText(path).substr(0, 4),
              "X\xE9"
              "b\xEA");
    *io::CreateOStream(PathOf(path), true) << L"new";
    EXPECT_EQ(test_support::ReadText(path), "new");
    *io::CreateOStream(PathOf(folder / "made"), false) << L"made";
    EXPECT_EQ(test_support::ReadText(folder / "made"), "made");
}

TEST(StreamFactories, ReportEachOpenUnderItsName) {
    const CTempFolder             folder;
    const auto                    log = folder / "opens.log";
    const test_support::CVariable target("TARVEX_DEBUG_LOG", log.string().c_str());
    const test_support::CVariable level("TARVEX_IO_DIAGNOSTICS", "1");
    const auto                    reported = [&](auto open) {
        const std::size_t before = test_support::ReadText(log).size();
        open();
        return test_support::ReadText(log).substr(before);
    };
    InitDebugLog();
    folder.Write("there", "x");
    const AString there   = PathOf(folder / "there");
    const AString missing = PathOf(folder / "none" / "missing");

    const auto fast = reported([&] { io::CreateFastIStream(missing); });
    EXPECT_NE(fast.find("io::CreateFastIStream, file open\n"), std::string::npos);
    EXPECT_NE(fast.find("io::CreateIStream, file open\n"), std::string::npos);
    EXPECT_NE(reported([&] { io::CreateOStream(missing, true); }).find("io::CreateOStream, file open\n"),
              std::string::npos);
    EXPECT_NE(reported([&] { io::CreateIOStream(missing); }).find("io::CreateIOStream, file open\n"),
              std::string::npos);
    // What failed before does not make a good open look failed.
    const auto good = reported([&] {
        errno = ENOENT;
        platform::SetLastError(2);
        io::CreateFastIStream(there);
        io::CreateIStream(there);
        io::CreateIOStream(there);
    });
    EXPECT_EQ(good, "");
    test_support::SetVariable("TARVEX_DEBUG_LOG", nullptr);
    InitDebugLog();  // closes the log
}

}  // namespace
