// What the file manager asks for, in this process, of files that the system has in memory; beside the floor:
// the system calls that the job cannot do without, and the plainest code between them.

#include "bench/measure.h"
#include "viewkit/tools/InfoTip.h"
#include "viewkit/tools/ProjectPreviewHelper.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace bench {

namespace {

using Bytes = std::vector<std::uint8_t>;

// ---------------------------------------------------------------------------------------------
// Projects

constexpr std::size_t kPreviewBytes = 2 * 1024;
constexpr std::size_t kPictureBytes = 14 * 1024;

std::string Head() {
    return "$begin 'TarvexProject'\n\tProduct='ZEPH'\n\t$begin 'Desktop'\n\t\tVersion(2013, 0)\n"
           "\t$end 'Desktop'\n\t$begin 'Mesh'\n";
}

/// Small blocks, up to this length or a little less.
std::string Mesh(std::size_t bytes) {
    std::string mesh;
    for (std::size_t i = 0; mesh.size() + 64 < bytes; ++i)
        mesh += "\t\tNode(" + std::to_string(i) + ", " + std::to_string(0.25 * static_cast<double>(i % 97)) +
                ", 'edge', 0)\n";
    return mesh;
}

/// Designs that fill the preview, one thumbnail behind them if there is a text for it.
std::string Tail(const std::string& thumbnail) {
    std::string tail =
        "\t$end 'Mesh'\n$end 'TarvexProject'\n$begin 'AllReferencedFilesForProject'\n"
        "$end 'AllReferencedFilesForProject'\n$begin 'ProjectPreview'\n";
    for (const std::size_t end = tail.size() + kPreviewBytes - 250; tail.size() < end;)
        tail +=
            "\t$begin 'DesignInfo'\n\t\tDesignName='Element'\n\t\tNotes='single patch, matched at 9.6 GHz'\n"
            "\t\tIsSolved=true\n\t\tFactory='HF'\n\t\t'Nominal Setups'['Setup1', 'Setup2']\n"
            "\t\t'Paramorph Setups'['Angle']\n\t\t'Paramorph Experiment Types'[1: 2]\n\t$end 'DesignInfo'\n";
    if (!thumbnail.empty()) tail += "\tThumbnail64='" + thumbnail + "'\n";
    return tail + "$end 'ProjectPreview'\n";
}

constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// A picture's bytes; nobody draws it.
Bytes Picture() {
    Bytes         picture(kPictureBytes / 3 * 3);
    std::uint32_t random = 20131;
    for (std::uint8_t& byte : picture)
        byte = static_cast<std::uint8_t>((random = random * 1664525 + 1013904223) >> 24);
    return picture;
}

/// Lines of 76 digits that go on behind a backslash, as the suite writes them.
std::string Base64(const Bytes& bytes) {
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const unsigned group = bytes[i] * 65536U + bytes[i + 1] * 256U + bytes[i + 2];
        for (const unsigned shift : {18U, 12U, 6U, 0U})
            text += kDigits[group >> shift & 63];
        if (i % 57 == 54) text += "\\\n";
    }
    return text;
}

/// A project of this size. A large one has a hole in its mesh: nobody should look there.
std::string WriteProject(const char* name, std::uintmax_t size, const std::string& tail) {
    const std::string head    = Head();
    const auto        written = std::min<std::uintmax_t>(size - head.size() - tail.size(), 500'000);
    const std::string path =
        CTemporaryFolder::Shared().Write(name, head + Mesh(static_cast<std::size_t>(written)));
    std::filesystem::resize_file(path, size - tail.size());
    std::ofstream(path, std::ios::binary | std::ios::app) << tail;
    return path;
}

struct CProject {
    const char*    mName;
    std::uintmax_t mSize;
    bool           mHasThumbnail;

    std::string Write() const {
        const std::string file = std::string(mHasThumbnail ? "picture-" : "plain-") + mName;
        return WriteProject(file.c_str(), mSize, Tail(mHasThumbnail ? Base64(Picture()) : std::string()));
    }
};

// ---------------------------------------------------------------------------------------------
// The floor

class CDescriptor {
  public:
    explicit CDescriptor(const std::string& path) : mFile(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
    ~CDescriptor() { close(mFile); }
    CDescriptor(const CDescriptor&)            = delete;
    CDescriptor& operator=(const CDescriptor&) = delete;

    std::size_t Read(char* bytes, std::size_t size) {
        const auto count = read(mFile, bytes, size);
        return count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    off_t Seek(off_t offset, int whence) { return lseek(mFile, offset, whence); }
    off_t Size() const {
        struct stat status;
        return fstat(mFile, &status) == 0 && S_ISREG(status.st_mode) ? status.st_size : -1;
    }

  private:
    int mFile;
};

/// Counts the lines that begin in a head, up to 20.
std::size_t CountLines(std::string_view head) {
    std::size_t lines = 0;
    for (std::size_t at = 0; lines < 20 && at != head.npos; ++lines)
        at = head.find('\n', at + 1);
    return lines;
}

using Page = std::array<char, 4096>;

std::size_t ReadHead(CDescriptor& file, Page& page) {
    return CountLines({page.data(), file.Read(page.data(), page.size())});
}

std::size_t ReadTail(CDescriptor& file, Page& page) {
    file.Seek(-static_cast<off_t>(page.size()), SEEK_END);
    return file.Read(page.data(), page.size());
}

/// Opens, asks whether it is a file and how long, reads the head's lines and the tail with the preview,
/// closes.
std::size_t FloorOfTip(const std::string& path) {
    Page              page;
    CDescriptor       file(path);
    const std::size_t lines = file.Size() > 0 ? ReadHead(file, page) : 0;
    return lines + ReadTail(file, page);
}

/// The same as three questions that know nothing of each other: what wrote it, what is in it, how long is it.
std::size_t FloorOfTipApart(const std::string& path) {
    Page        page;
    std::size_t lines = 0;
    struct stat status;
    if (CDescriptor file(path); file.Size() > 0) lines = ReadHead(file, page);
    CDescriptor file(path);
    if (file.Size() > 0) lines += ReadTail(file, page);
    return stat(path.c_str(), &status) == 0 ? lines : 0;
}

constexpr std::uint8_t kSkipped = 0xFF;

constexpr auto kValues = [] {
    std::array<std::uint8_t, 256> values{};
    values.fill(kSkipped);
    for (std::size_t i = 0; i < kDigits.size(); ++i)
        values[static_cast<unsigned char>(kDigits[i])] = static_cast<std::uint8_t>(i);
    return values;
}();

Bytes DecodePlainly(std::string_view text) {
    Bytes         bytes;
    std::uint32_t group = 0;
    int           count = 0;
    bytes.reserve(text.size() / 4 * 3 + 3);
    for (const char c : text) {
        const std::uint8_t value = kValues[static_cast<unsigned char>(c)];
        if (value == kSkipped) continue;
        group = group << 6 | value;
        if (++count % 4 != 0) continue;
        bytes.push_back(static_cast<std::uint8_t>(group >> 16));
        bytes.push_back(static_cast<std::uint8_t>(group >> 8));
        bytes.push_back(static_cast<std::uint8_t>(group));
    }
    return bytes;
}

/// Opens, reads backwards in pieces up to the preview's beginning, searches each; decodes what stands
/// between the quotes.
Bytes FloorOfThumbnail(const std::string& path) {
    constexpr std::size_t      kPiece  = 4096;
    constexpr std::string_view kMarker = "$begin 'ProjectPreview'";
    constexpr std::string_view kItem   = "Thumbnail64='";
    constexpr std::size_t      kRoom   = 64 * 1024;
    std::array<char, kRoom>    bytes;
    CDescriptor                file(path);
    off_t                      start = file.Seek(0, SEEK_END);
    std::size_t                begin = kRoom;
    for (std::string_view piece; piece.find(kMarker) == piece.npos && begin >= kPiece;) {
        start -= kPiece;
        begin -= kPiece;
        file.Seek(start, SEEK_SET);
        file.Read(&bytes[begin], kPiece);
        piece = std::string_view(&bytes[begin], std::min(kPiece + kMarker.size(), kRoom - begin));
    }
    const std::string_view tail(&bytes[begin], kRoom - begin);
    const std::size_t      from = tail.find(kItem) + kItem.size();
    return DecodePlainly(tail.substr(from, tail.find('\'', from) - from));
}

/// Reads all of a file, once.
std::size_t ReadOnce(const std::string& path) {
    std::array<char, 64 * 1024> bytes;
    CDescriptor                 file(path);
    std::size_t                 all = 0;
    while (const std::size_t count = file.Read(bytes.data(), bytes.size()))
        all += count;
    return all;
}

// ---------------------------------------------------------------------------------------------
// Ours

Bytes Thumbnail(const std::string& path) {
    ProjectPreviewHelper::CThumbnailText text;
    ProjectPreviewHelper::GetProjectThumbnailText(AString(path.c_str()), text);
    return ProjectPreviewHelper::DecodeThumbnailText(text.Text, text.IsBase64);
}

bool HasPreview(const std::string& path) {
    std::uint32_t offset = 0;
    return ProjectPreviewHelper::FindPreviewBlockOffset(AString(path.c_str()), offset);
}

// ---------------------------------------------------------------------------------------------

/// @param prepare  gives the path of a file, made when the first of its benchmarks runs.
template <class Answer>
void Register(const std::string& name, std::function<std::string()> prepare,
              Answer (*ask)(const std::string&), bool (*isRight)(const Answer&)) {
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        const std::string path = prepare();
        Check(isRight(ask(path)), name);
        for (auto _ : state)
            benchmark::DoNotOptimize(ask(path));
    })->Unit(benchmark::kMicrosecond);
}

bool IsTip(const std::string& tip) {
    return tip.find("Type: Tarvex ZEPH 2013.0 File\nProject contains") == 0 &&
           tip.find("Design Name: Element, Notes: single patch, matched at 9.6 G...\nSize: ") != tip.npos;
}

bool IsPicture(const Bytes& bytes) {
    return bytes == Picture();
}

constexpr std::size_t kSearched = 100'000'000;  // bytes

std::string WriteUnmarked() {
    return CTemporaryFolder::Shared().Write("unmarked.tarvex", Head() + Mesh(kSearched));
}

/// The same file for all that ask, made once.
std::function<std::string()> Once(std::function<std::string()> make) {
    return [make, path = std::make_shared<std::string>()] {
        if (path->empty()) *path = make();
        return *path;
    };
}

}  // namespace

void RegisterRequestBenchmarks() {
    constexpr CProject kProjects[] = {
        {"64KB", 64 << 10, false}, {"1MB", 1 << 20, false}, {"1GB", 1 << 30, false}};
    constexpr CProject kPictured[] = {
        {"64KB", 64 << 10, true}, {"1MB", 1 << 20, true}, {"1GB", 1 << 30, true}};
    for (const CProject& project : kProjects) {
        const auto path = Once([=] { return project.Write(); });
        Register<std::string>(
            std::string("tip/tarvex/") + project.mName, path,
            [](const std::string& p) { return ComposeInfoTip(p); }, IsTip);
        const std::pair<const char*, std::size_t (*)(const std::string&)> floors[] = {
            {"floor", FloorOfTip}, {"floor_apart", FloorOfTipApart}};
        for (const auto& [library, ask] : floors)
            Register<std::size_t>(std::string("tip/") + library + '/' + project.mName, path, ask,
                                  [](const std::size_t& read) { return read == 20 + sizeof(Page); });
    }
    for (const CProject& project : kPictured) {
        const auto path = Once([=] { return project.Write(); });
        Register<Bytes>(std::string("thumbnail/tarvex/") + project.mName, path, Thumbnail, IsPicture);
        Register<Bytes>(std::string("thumbnail/floor/") + project.mName, path, FloorOfThumbnail, IsPicture);
    }
    const auto unmarked = Once(WriteUnmarked);
    Register<bool>("search/tarvex/100MB", unmarked, HasPreview, [](const bool& found) { return !found; });
    Register<std::size_t>("search/floor/100MB", unmarked, ReadOnce,
                          [](const std::size_t& bytes) { return bytes > kSearched - 1000; });
}

}  // namespace bench
