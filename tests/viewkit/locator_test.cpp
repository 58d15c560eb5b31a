#include "tessel/streamio/token_istream.h"
#include "viewkit/preview_support.h"
#include "viewkit/tools/ProjectFile.h"

#include <gtest/gtest.h>

#include <chrono>
#include <iterator>
#include <random>

namespace {

using namespace preview_support;

constexpr std::string_view kBegin      = "$begin 'ProjectPreview'";
constexpr std::string_view kProjectEnd = "$end 'TarvexProject'";
constexpr std::string_view kFilesEnd   = "$end 'AllReferencedFilesForProject'";
constexpr std::int64_t     kNone       = -1;

std::int64_t Locate(const AString& path) {
    std::uint32_t offset = 7;
    if (ProjectPreviewHelper::FindPreviewBlockOffset(path, offset)) return offset;
    EXPECT_EQ(offset, 7u);
    return kNone;
}

struct CPart {
    std::size_t      mAt;
    std::string_view mText;
};

/// A file of this size, blank but for the parts.
std::string FileOf(std::size_t size, std::initializer_list<CPart> parts) {
    std::string content(size, '.');
    for (const CPart& part : parts)
        content.replace(part.mAt, part.mText.size(), part.mText);
    return content;
}

TEST(Locator, FindsTheMarkerAtEveryDistanceFromTheEnd) {
    CProject    project;
    CAssertions assertions;
    for (std::size_t behind = 0; behind <= 3300; ++behind)
        ASSERT_EQ(Locate(project.Write(FileOf(137 + kBegin.size() + behind, {{137, kBegin}}))), 137)
            << behind;
    for (const std::size_t before : {0, 1, 976, 977, 978, 1000, 2000})
        for (const std::size_t border : {977, 1000, 1977, 2000})  // of the chunks, for the marker's ends
            for (std::size_t behind = border - 101; behind <= border + 1; ++behind)
                ASSERT_EQ(Locate(project.Write(FileOf(before + kBegin.size() + behind, {{before, kBegin}}))),
                          static_cast<std::int64_t>(before))
                    << before << " before, " << behind << " behind";
    EXPECT_EQ(assertions.Take(), "");
}

TEST(Locator, TakesTheMarkerThatCounts) {
    const struct {
        std::string  mContent;
        std::int64_t mOffset;
    } kRows[] = {
        {"", kNone},
        {".", kNone},
        {FileOf(2500, {}), kNone},
        {FileOf(2000, {}), kNone},
        {FileOf(1000, {{0, kBegin}}), 0},
        {FileOf(40, {{0, kBegin.substr(0, 22)}}), kNone},
        {FileOf(40, {{18, kBegin.substr(0, 22)}}), kNone},
        {FileOf(40, {{5, "$Begin 'ProjectPreview'"}}), kNone},
        {FileOf(40, {{5, "$begin \"ProjectPreview\""}}), kNone},
        // several: the first of the last chunk that holds any
        {FileOf(800, {{100, kBegin}, {300, kBegin}}), 100},
        {FileOf(2500, {{1600, kBegin}, {1800, kBegin}}), 1600},
        {FileOf(2500, {{100, kBegin}, {1800, kBegin}}), 1800},
        {FileOf(2500, {{1400, kBegin}, {1800, kBegin}}), 1800},
        // an end marker hides what lies in earlier chunks only
        {FileOf(800, {{100, kProjectEnd}, {300, kBegin}}), 300},
        {FileOf(800, {{100, kBegin}, {300, kProjectEnd}, {400, kFilesEnd}}), 100},
        {FileOf(2500, {{100, kBegin}, {1800, kProjectEnd}}), kNone},
        {FileOf(2500, {{100, kBegin}, {1800, kFilesEnd}}), kNone},
        {FileOf(2500, {{100, kBegin}, {1490, kFilesEnd}}), kNone},  // across the border of two chunks
        {FileOf(2500, {{100, kBegin}, {1800, "$end 'tarvexproject'"}}), 100},
        {FileOf(2500, {{600, kBegin}, {700, kProjectEnd}}), 600},
        // In the last, short pass what earlier passes left is searched too: here the marker's halves
        // meet, the first in what is carried over, the second in what is left behind it.
        {FileOf(1500, {{590, kBegin.substr(0, 10)}, {1100, kBegin.substr(10)}}), 590},
    };
    CProject    project;
    CAssertions assertions;
    for (const auto& row : kRows) {
        std::string shown = row.mContent;
        shown.erase(std::unique(shown.begin(), shown.end()), shown.end());
        EXPECT_EQ(Locate(project.Write(row.mContent)), row.mOffset) << row.mContent.size() << ": " << shown;
    }
    EXPECT_EQ(assertions.Take(), "");
}

/// The search to the letter, pass by pass, in a file's content.
std::int64_t LocateStepByStep(const std::string& content) {
    constexpr std::size_t kChunk = 1000, kCarry = 100;
    std::string           buffer(kChunk + kCarry + 1, '\0');
    std::string           carry;
    for (std::size_t end = content.size();;) {
        const bool        atStart = end < kChunk;
        const std::size_t start   = atStart ? 0 : end - kChunk;
        buffer.replace(0, end - start, content, start, end - start);
        buffer.replace(end - start, carry.size(), carry);
        if (const auto at = buffer.find(kBegin); at != buffer.npos)
            return static_cast<std::int64_t>(start + at);
        if (buffer.find(kProjectEnd) != buffer.npos || buffer.find(kFilesEnd) != buffer.npos || atStart)
            return kNone;
        carry = buffer.substr(0, kCarry);
        end   = start;
    }
}

TEST(Locator, AnswersAsTheStepsDo) {
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937           random(seed);
    const std::string_view kParts[] = {kBegin,      kBegin,    kBegin.substr(0, 10), kBegin.substr(10),
                                       kProjectEnd, kFilesEnd, "$begin 'Mesh'"};
    CProject               project;
    // Around each length at which another piece is read, and a marker or a half of one around each border.
    for (const std::size_t border : {1000, 3000, 7000, 15000, 31000, 63000, 127000, 191000})
        for (int i = 0; i < 40; ++i) {
            std::string content(border - 30 + random() % 1100, '.');
            for (auto count = random() % 4; count != 0; --count) {
                const std::string_view part = kParts[random() % std::size(kParts)];
                const std::size_t      behind =
                    random() % 2 != 0 ? random() % content.size()
                                           : (random() % (content.size() / 1000 + 1)) * 1000 + random() % 160;
                if (behind >= part.size() && behind <= content.size())
                    content.replace(content.size() - behind, part.size(), part);
            }
            ASSERT_EQ(Locate(project.Write(content)), LocateStepByStep(content))
                << content.size() << " bytes, row " << i;
        }
}

TEST(Locator, RefusesFilesThatAreTooLong) {
    constexpr std::uintmax_t kTooLong = std::uintmax_t{1} << 31;
    CProject                 project;
    const AString&           path = project.Write("");
    std::filesystem::resize_file(project.Path(), kTooLong - 1 - kBegin.size());
    std::ofstream(project.Path(), std::ios::binary | std::ios::app) << kBegin;
    EXPECT_EQ(Locate(path), static_cast<std::int64_t>(kTooLong - 1 - kBegin.size()));
    std::ofstream(project.Path(), std::ios::binary | std::ios::app) << " ";
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(Locate(path), kNone);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

TEST(ProjectFile, ReadsTheSameWithAndWithoutWhatItKeeps) {
    using ProjectPreviewHelper::CProjectFile;
    CProject project;
    for (const std::size_t size : {0, 1, 4095, 4096, 4097, 9000}) {
        std::string content(size, '\0');
        for (std::size_t i = 0; i < size; ++i)
            content[i] = static_cast<char>(i % 251 + 1);
        const CProjectFile file(project.Write(content));
        ASSERT_EQ(file.Size(), static_cast<std::int64_t>(size));
        for (const std::size_t offset : {0, 1, 4904, 4905, 8999, 9000})
            for (const std::size_t count : {0, 1, 100, 4096, 9000}) {
                std::string out(count, '?');
                out.resize(file.Read(static_cast<std::int64_t>(offset), out.data(), count));
                EXPECT_EQ(out, offset < size ? content.substr(offset, count) : "") << size << ' ' << offset;
                const char* kept = file.Kept(static_cast<std::int64_t>(offset));
                ASSERT_EQ(kept != nullptr, offset < size && size - offset <= 4096);
                EXPECT_EQ(kept != nullptr ? kept : "", kept != nullptr ? content.substr(offset) : "");
            }
    }
}

TEST(ProjectFile, KeepsNothingOfAFileThatGrowsShort) {
    using ProjectPreviewHelper::CProjectFile;
    CProject           project;
    const CProjectFile file(project.Write(std::string(6000, 'x')));
    std::filesystem::resize_file(project.Path(), 5000);
    std::string out(6000, '?');
    EXPECT_EQ(file.Kept(4500), nullptr);
    EXPECT_EQ(file.Read(4500, out.data(), 1500), 500u);
    EXPECT_EQ(file.Read(100, out.data(), 6000), 4900u);
}

TEST(Locator, AnswersForWhatIsNoFile) {
    test_support::CTempFolder folder;
    CAssertions               assertions;
    EXPECT_EQ(Locate(PathOf(folder / "missing")), kNone);
    EXPECT_EQ(assertions.Take(), "projFile");
    EXPECT_EQ(Locate(PathOf(folder / ".")), kNone);
}

TEST(Locator, OpensTheBlockForReading) {
    const struct {
        std::string_view mContent;
        const char*      mBlock;  // as it is read then; empty when it does not open
    } kRows[] = {
        {"$begin 'Other'\n$end 'Other'\n$begin 'ProjectPreview'\nx=1\n$end 'ProjectPreview'\ny=2",
         "ProjectPreview{x=1}"},
        {"((( 'broken\n$begin 'ProjectPreview'", "ProjectPreview{}"},
        {"$begin 'ProjectPreview'\n$begin 'ProjectPreview'\nx=1\n", "ProjectPreview{ProjectPreview{x=1}}"},
        {"$begin 'ProjectPreview'?\nx=1\n$end 'B'\n", "ProjectPreview{x=1 !11@1 !3@3}"},
        {"$end 'TarvexProject'", ""},
        {"", ""},
    };
    CProject project;
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.mContent);
        const AString&     path = project.Write(row.mContent);
        io::CToken_istream stream(path, 0x1800);
        io::CBlock         block;
        const bool         opened = ProjectPreviewHelper::OpenPreviewBlock(path, stream);
        if (opened) block.Read(stream);
        EXPECT_EQ(opened ? Dump(block) : "", row.mBlock);
    }
}

}  // namespace
