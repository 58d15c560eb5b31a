#include "viewkit/preview_support.h"
#include "viewkit/tools/InfoTip.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>

#ifndef _WIN32
#include <atomic>
#include <thread>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <turbojpeg.h>
#include <unistd.h>
#endif

// Files that are made to hurt: each gets its answer, in good time, for little memory.

namespace {

using namespace preview_support;
using namespace ProjectPreviewHelper;

constexpr std::string_view kHead =
    "$begin 'TarvexProject'\n\tProduct='ZEPH'\n\t$begin 'Desktop'\n\t\tVersion(2013, 0)\n"
    "\t$end 'Desktop'\n$end 'TarvexProject'\n";
constexpr std::string_view kPreview      = "$begin 'ProjectPreview'\n";
constexpr std::string_view kNothingFound = "Type: Unknown\nDesign preview information not found.\n";

std::string Times(std::size_t count, std::string_view text) {
    const std::size_t size = count * text.size();
    std::string       times(text);
    times.reserve(size);
    while (times.size() < size)
        times.append(times, 0, size - times.size());
    times.resize(size);
    return times;
}

std::string Design(std::string_view name) {
    return "$begin 'DesignInfo'\nDesignName='" + std::string(name) + "'\nNotes=''\n$end 'DesignInfo'\n";
}

std::string Tip(const CProject& project) {
    return ComposeInfoTip(project.Path().string());
}

TEST(HostileFile, KeepsItsTipBesideWhatIsAtALimitOrPastIt) {
    const auto nested = [](std::size_t depth) {
        return Times(depth, "$begin 'B'\n") + "x=1\n" + Times(depth, "$end 'B'\n");
    };
    const auto functions = [](std::size_t depth) { return Times(depth, "f(") + Times(depth, ")") + "\n"; };
    const std::string rows[] = {
        nested(255),
        nested(256),
        nested(100'000),
        functions(255),
        functions(256),
        functions(100'000),
        "v[4294967295: 1]\n",
        "v[4294967296: 1]\n",
        "v[-1: 1]\n",
        "x=" + std::string(1'000'000, '9') + "\n",
        std::string(1'000'000, 'n') + "=1\n",
        "x='" + std::string(5'000'000, 'q') + "'\n",
        "x='" + Times(100'000, "\\\n") + "'\n",
        Times(10'000, "'a name that is shared'='a value that is shared'\n"),
        std::string(100'000, ')') + "\n",
        std::string(100'000, '\0') + "\n",
        Times(100'000, "\r"),
        Times(50'000, "#in") + "\n",
        "x=$begin_cdata$ " + std::string(1'000'000, '$') + "$end_cdata$\n",
        Times(1000, "$end 'ProjectPrevie'\n"),
    };
    CProject project;
    for (const std::string& row : rows) {
        project.Write(std::string(kHead) + std::string(kPreview) + Design("A") + row + Design("B") +
                      "$end 'ProjectPreview'\n");
        const std::string tip = Tip(project);
        EXPECT_TRUE(tip.starts_with("Type: Tarvex ZEPH 2013.0 File\nProject contains "))
            << row.substr(0, 60) << tip;
        EXPECT_NE(tip.find("Design Name: A\n"), tip.npos) << row.substr(0, 60) << tip;
    }
}

// Lines are cut after 4,999 bytes, the file is read in pages of 4,096: the fields lie around either.
TEST(HostileFile, IsProbedAcrossEveryBorder) {
    CProject project;
    for (const std::size_t border : {4096u, 4999u, 2u * 4096u, 2u * 4999u})
        for (std::size_t length = border - 30; length < border + 10; ++length) {
            const auto    path = project.Write(std::string(length, 'x') +
                                               "\n\tProduct='ZEPH'\n$begin 'Desktop'\nVersion(11, 2)\n");
            std::string   product;
            std::uint32_t major = 0, minor = 0;
            EXPECT_TRUE(GetProjectHeaderInfo(path, product, major, minor)) << length;
            EXPECT_EQ(product + std::to_string(major) + std::to_string(minor), "ZEPH112") << length;
        }
}

/// Makes the test's file sparse: that long, with the given end.
void Lengthen(const CProject& project, std::uintmax_t size, std::string_view end) {
    std::filesystem::resize_file(project.Path(), size - end.size());
    std::ofstream(project.Path(), std::ios::binary | std::ios::app) << end;
}

TEST(HostileFile, OfGigabytesIsNotReadForEver) {
    const std::string preview = std::string(kPreview) + Design("A") + "$end 'ProjectPreview'\n";
    const struct {
        std::uintmax_t   mSize;
        std::string_view mEnd;
        const char*      mTip;
        int              mSeconds;  // at most
    } kRows[] = {
        // positions have 32 bits
        {std::uintmax_t{3} << 30, preview, "Design preview information not found.\nSize: 3.00 GB", 1},
        {(std::uintmax_t{2} << 30) - 1, preview,
         "Project contains 1 design(s):\nDesign Name: A\nSize: 1.99 GB", 1},
        {std::uintmax_t{1} << 40, "", "Design preview information not found.\nSize: 1.00 TB", 1},
        // nothing but the start of the file ends the search
        {std::uintmax_t{256} << 20, "", "Design preview information not found.\nSize: 256 MB", 20},
    };
    for (const auto& row : kRows) {
        CProject project;
        project.Write("\tProduct='ZEPH'\n\t$begin 'Desktop'\n\t\tVersion(2013, 0)\n");
        try {
            Lengthen(project, row.mSize, row.mEnd);
        } catch (const std::filesystem::filesystem_error& error) {
            std::printf("left out: %s\n", error.what());  // no room for such a file here
            continue;
        }
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(Tip(project), std::string("Type: Tarvex ZEPH 2013.0 File\n") + row.mTip);
        const auto took = std::chrono::steady_clock::now() - start;
        EXPECT_LT(took, std::chrono::seconds(row.mSeconds));
        std::printf(
            "%12ju bytes: %lld ms\n", row.mSize,
            static_cast<long long>(std::chrono::duration_cast<std::chrono::milliseconds>(took).count()));
    }
}

#ifndef _WIN32

TEST(HostileFile, MayBeNoFileAtAll) {
    const test_support::CTempFolder folder;
    CAssertions                     assertions;
    const std::string               pipe = (folder / "pipe").string(), loop = (folder / "loop").string(),
                      to = (folder / "to_pipe").string();
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    ASSERT_EQ(symlink(loop.c_str(), loop.c_str()), 0);
    ASSERT_EQ(symlink(pipe.c_str(), to.c_str()), 0);
    sockaddr_un address = {AF_UNIX, "tarvex"};
    (folder / "s").string().copy(address.sun_path, sizeof address.sun_path - 1);
    const int door = socket(AF_UNIX, SOCK_STREAM, 0);
    bind(door, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    for (const std::string& path :
         {pipe, loop, to, std::string(address.sun_path), (folder / ".").string(), std::string("/dev/zero"),
          std::string("/dev/full"), std::string("/dev/tty"), std::string("/dev/stdin"),
          std::string("/proc/self/mem"), std::string("/proc/self/fd/0"), pipe + "/x", std::string(),
          std::string("%s%n"), std::string(260, 'x'), std::string(4095, 'x'), std::string(4096, 'x'),
          std::string(32'000, '/'), std::string(32'000, 'x')}) {
        EXPECT_TRUE(ComposeInfoTip(path).starts_with(kNothingFound)) << path.substr(0, 60);
        EXPECT_EQ(GetProjectThumbnail(AString(path.c_str())), nullptr) << path.substr(0, 60);
    }
    close(door);
}

TEST(HostileFile, MayHaveAnyName) {
    const test_support::CTempFolder folder;
    const auto                      expectTip = [&](const std::string& name) {
        const auto path = folder.Write(name, std::string(kPreview) + Design("A"));
        EXPECT_NE(ComposeInfoTip(path.string()).find("Design Name: A"), std::string::npos) << name;
        std::filesystem::remove(path);
    };
    for (int byte = 1; byte < 256; ++byte)
        if (byte != '/') expectTip(std::string("x") + static_cast<char>(byte));
    expectTip("\xED\xA0\x80\xC0\x80\xF5\xFF");  // no UTF-8
    expectTip(" ");
    expectTip("...");
    expectTip(std::string(255, 'x'));
    std::string deep;  // 3,000 characters
    for (int i = 0; i < 15; ++i)
        deep += std::string(200, 'x') + "/";
    std::filesystem::create_directories(folder / deep);
    expectTip(deep + "x");
}

TEST(HostileFile, MayShrinkAndGrowWhileItIsRead) {
    CAssertions quiet;
    CProject    project;
    std::string content = std::string(kHead) + std::string(kPreview);
    for (int i = 0; i < 500; ++i)
        content += Design("Design" + std::to_string(i)) + "f(1) x=2\n";
    content += "$end 'ProjectPreview'\n";
    const AString&   path = project.Write(content);
    std::atomic_bool done = false;
    std::thread      other([&] {
        for (std::size_t round = 0; !done; ++round) {
            std::filesystem::resize_file(project.Path(), round * 7919 % content.size());
            std::fstream(project.Path(), std::ios::in | std::ios::out | std::ios::binary) << content;
        }
    });
    for (int round = 0; round < 300; ++round) {
        const std::string tip = Tip(project);
        EXPECT_TRUE(tip.starts_with("Type: ") && tip.find("\nSize: ") != tip.npos) << tip.substr(0, 200);
        EXPECT_EQ(GetProjectThumbnail(path), nullptr);
    }
    done = true;
    other.join();
    EXPECT_NE(Tip(project).find("Project contains 500 design(s)"), std::string::npos);
}

#ifndef __SANITIZE_ADDRESS__

std::size_t StatusKilobytes(const std::string& name) {
    const std::string status = test_support::ReadText("/proc/self/status");
    const std::size_t at     = status.find(name + ":");
    return at == status.npos ? 0 : std::stoul(status.substr(at + name.size() + 1));
}

constexpr char kFileVariable[] = "TARVEX_FILE_TO_ANSWER_FOR";

struct CUse {
    std::size_t mKilobytes  = 0;  ///< by which the memory of the process grows at most
    bool        mHasPicture = false;
};

/// In a process that is started for one file: answers both questions, says what that took, and ends.
class CAnswer : public testing::Environment {
    void SetUp() override {
        const char* const path = std::getenv(kFileVariable);
        if (path == nullptr) return;
        std::ofstream("/proc/self/clear_refs") << 5;  // the peak is what is in use now
        const std::size_t before = StatusKilobytes("VmRSS");
        ComposeInfoTip(path);
        const platform::NativeBitmap picture = GetProjectThumbnail(AString(path));
        std::fprintf(stderr, "%zu %d", StatusKilobytes("VmHWM") - before, picture != nullptr ? 1 : 0);
        platform::DestroyBitmap(picture);
        _exit(0);
    }
};
[[maybe_unused]] testing::Environment* const gAnswer = testing::AddGlobalTestEnvironment(new CAnswer);

/// What it takes a fresh process: in one that has freed blocks before, what it needs depends on these.
CUse Use(const CProject& project) {
    const std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
    const std::string command =
        std::string(kFileVariable) + "='" + project.Path().string() + "' '" + program + "' 2>&1 >/dev/null";
    CUse             use;
    int              hasPicture = 0;
    std::FILE* const answer     = popen(command.c_str(), "r");
    EXPECT_EQ(std::fscanf(answer, "%zu %d", &use.mKilobytes, &hasPicture), 2) << command;
    EXPECT_EQ(pclose(answer), 0) << command;
    use.mHasPicture = hasPicture == 1;
    return use;
}

using CBytes = std::vector<std::uint8_t>;

/// A block's line with an image file, of so many digits at least: what is behind a picture, no decoder asks.
std::string Picture(CBytes bytes, std::size_t digits = 0) {
    constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string                text;
    bytes.resize((bytes.size() + 2) / 3 * 3);
    for (std::size_t i = 0; i < bytes.size(); i += 3)
        for (const int shift : {18, 12, 6, 0})
            text += kDigits[(bytes[i] << 16 | bytes[i + 1] << 8 | bytes[i + 2]) >> shift & 63];
    text.resize(std::max(text.size(), digits), 'A');
    return "Thumbnail64='" + text + "'\n";
}

platform::CPixels Square(std::uint32_t side) {
    return {side, side, CBytes(std::size_t{3} * side * side, 0x50)};
}

CBytes Png(std::uint32_t side) {
    return platform::EncodeSmall(Square(side));
}

CBytes Jpeg(std::uint32_t side, int flags) {
    const int      width   = static_cast<int>(side);
    unsigned char* out     = nullptr;
    unsigned long  size    = 0;
    const tjhandle encoder = tjInitCompress();
    tjCompress2(encoder, Square(side).mRgb.data(), width, 0, width, TJPF_RGB, &out, &size, TJSAMP_444, 90,
                flags);
    const CBytes bytes(out, out + size);
    tjFree(out);
    tjDestroy(encoder);
    return bytes;
}

/// A BMP file, run length encoded, that ends before its first pixel.
CBytes Bmp(std::uint32_t side) {
    CBytes     bytes = {'B', 'M'};
    const auto put   = [&](std::initializer_list<std::uint32_t> values, int size) {
        for (const std::uint32_t value : values)
            for (int i = 0; i < size; ++i)
                bytes.push_back(static_cast<std::uint8_t>(value >> 8 * i));
    };
    put({0, 0, 14 + 40 + 4 * 256, 40, side, side}, 4);
    put({1, 8}, 2);                      // bits a pixel
    put({1, 0, 2835, 2835, 256, 0}, 4);  // run length encoded; of 256 colours
    bytes.resize(bytes.size() + 4 * 256, 0x50);
    put({0, 1}, 1);  // the end
    return bytes;
}

TEST(HostileFile, TakesLittleMemory) {
    constexpr std::size_t kMegabyte = 1'000'000;
    const struct {
        const char* mName;
        std::string mFront, mPreview;
        std::size_t mMostKilobytes;
        bool        mHasPicture = false;
    } kRows[] = {
        {"small", "", Design("A"), 1'000},
        {"64 MB before a small preview", std::string(64 * kMegabyte, '.'), Design("A"), 1'000},
        {"100 KB picture", "", "Thumbnail64='" + std::string(100'000, 'A') + "'\n", 1'000},
        {"1 MB text", "", "x='" + std::string(kMegabyte, 'q') + "'\n", 14'000},
        {"10 MB picture", "", "Thumbnail64='" + std::string(10 * kMegabyte, 'A') + "'\n", 120'000},
        {"40 MB text", "", "x='" + std::string(40 * kMegabyte, 'q') + "'\n", 160'000},
        {"40 MB of lines", "", Times(10'000'000, "a=1\n"), 25'000},
        {"40 MB of empty blocks", "", Times(2'000'000, "$begin 'DesignInfo'\n$end\n"), 90'000},
        {"40 MB of errors", "", Times(20'000'000, "?\n"), 18'000},
        {"40 MB of arguments", "", "f(" + Times(20'000'000, "1,") + ")\n", 18'000},
        {"40 MB of elements", "", "v[" + Times(20'000'000, "1,") + "]\n", 18'000},
        // decoded: 3, 3, 9 and 8 bytes a pixel
        {"PNG, 4 million pixels", "", Picture(Png(2048)), 17'000, true},
        {"JPEG, 4 million pixels", "", Picture(Jpeg(2048, 0)), 19'000, true},
        {"progressive JPEG, 4 million pixels", "", Picture(Jpeg(2048, TJFLAG_PROGRESSIVE)), 46'000, true},
        {"BMP, 4 million pixels", "", Picture(Bmp(2048)), 46'000, true},
        // the most pixels in the longest text
        {"16 MB, 16 million pixels", "", Picture(Jpeg(4096, TJFLAG_PROGRESSIVE), 16'770'000), 250'000, true},
    };
    for (const auto& row : kRows) {
        CProject project;
        project.Write(std::string(kHead) + row.mFront + "\n" + std::string(kPreview) + row.mPreview +
                      "$end 'ProjectPreview'\n");
        const CUse use = Use(project);
        std::printf("%-34s %7zu KB\n", row.mName, use.mKilobytes);
        EXPECT_LE(use.mKilobytes, row.mMostKilobytes) << row.mName;
        EXPECT_EQ(use.mHasPicture, row.mHasPicture) << row.mName;
    }
}

#endif
#endif

}  // namespace
