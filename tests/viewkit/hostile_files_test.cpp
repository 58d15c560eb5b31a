#include "viewkit/preview_support.h"
#include "viewkit/tools/InfoTip.h"

#include <gtest/gtest.h>

#include <chrono>

#ifndef _WIN32
#include <atomic>
#include <thread>

#include <malloc.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
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
    std::string times;
    times.reserve(count * text.size());
    while (count-- > 0)
        times += text;
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

/// By how many kilobytes the memory of a process grows at most while it answers both questions.
std::size_t PeakKilobytes(const CProject& project) {
    int channel[2];
    EXPECT_EQ(pipe(channel), 0);
    const pid_t child = fork();
    if (child == 0) {
        malloc_trim(0);  // what earlier tests have freed would be taken again, unseen
        std::ofstream("/proc/self/clear_refs") << 5;  // the peak is what is in use now
        const std::size_t before = StatusKilobytes("VmRSS");
        Tip(project);
        platform::DestroyBitmap(GetProjectThumbnail(PathOf(project.Path())));
        const std::size_t grown = StatusKilobytes("VmHWM") - before;
        _exit(write(channel[1], &grown, sizeof grown) == sizeof grown ? 0 : 1);
    }
    std::size_t grown = 0;
    EXPECT_EQ(read(channel[0], &grown, sizeof grown), static_cast<ssize_t>(sizeof grown));
    waitpid(child, nullptr, 0);
    close(channel[0]);
    close(channel[1]);
    return grown;
}

TEST(HostileFile, TakesLittleMemory) {
    constexpr std::size_t kMegabyte = 1'000'000;
    const struct {
        const char* mName;
        std::string mFront, mPreview;
        std::size_t mMostKilobytes;
    } kRows[] = {
        {"small", "", Design("A"), 2'000},
        {"64 MB before a small preview", std::string(64 * kMegabyte, '.'), Design("A"), 2'000},
        {"100 KB picture", "", "Thumbnail64='" + std::string(100'000, 'A') + "'\n", 4'000},
        {"1 MB text", "", "x='" + std::string(kMegabyte, 'q') + "'\n", 20'000},
        {"10 MB picture", "", "Thumbnail64='" + std::string(10 * kMegabyte, 'A') + "'\n", 200'000},
        {"40 MB text", "", "x='" + std::string(40 * kMegabyte, 'q') + "'\n", 300'000},
        {"40 MB of lines", "", Times(10'000'000, "a=1\n"), 60'000},
        {"40 MB of empty blocks", "", Times(2'000'000, "$begin 'DesignInfo'\n$end\n"), 150'000},
        {"40 MB of errors", "", Times(20'000'000, "?\n"), 60'000},
        {"40 MB of arguments", "", "f(" + Times(20'000'000, "1,") + ")\n", 60'000},
        {"40 MB of elements", "", "v[" + Times(20'000'000, "1,") + "]\n", 60'000},
    };
    for (const auto& row : kRows) {
        CProject project;
        project.Write(std::string(kHead) + row.mFront + "\n" + std::string(kPreview) + row.mPreview +
                      "$end 'ProjectPreview'\n");
        const std::size_t peak = PeakKilobytes(project);
        std::printf("%-30s %7zu KB\n", row.mName, peak);
        EXPECT_LE(peak, row.mMostKilobytes) << row.mName;
    }
}

#endif
#endif

}  // namespace
