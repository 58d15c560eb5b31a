#include "viewkit/preview_lookups.h"
#include "viewkit/preview_support.h"
#include "viewkit/tools/PreviewBlock.h"
#include "viewkit/tools/PreviewLines.h"
#include "viewkit/tools/ProjectFile.h"

#include <gtest/gtest.h>

#include <iterator>
#include <random>

namespace {

using namespace preview_support;
using namespace ProjectPreviewHelper;

/// The kinds of the lines up to the end or to one that is unknown: "<a" and ">a" frame a block, "a:" goes
/// before a text, "a" is another line, "?" is unknown.
std::string Kinds(std::string_view bytes) {
    CPreviewLines lines(bytes);
    std::string   kinds;
    for (;;) {
        const CPreviewLines::EKind kind = lines.Next();
        const std::string          name(lines.Name());
        if (kind == CPreviewLines::EKind::kUnknown) return kinds + "?";
        if (kind == CPreviewLines::EKind::kBegin) kinds += "<" + name;
        if (kind == CPreviewLines::EKind::kEnd) kinds += ">" + name;
        if (kind == CPreviewLines::EKind::kText) kinds += name + ":" + Escaped(lines.Text().Str());
        if (kind == CPreviewLines::EKind::kOther) kinds += name;
        if (lines.Depth() == 0) return kinds;
        kinds += " ";
    }
}

// What is known is read without the block reader, so this is fast; what it says is tested below.
TEST(PreviewLines, KnowWhatTheSuiteWrites) {
    const struct {
        std::string_view mLines;  // behind the begin of the preview
        const char*      mKinds;
    } kRows[] = {
        {"\t$begin 'DesignInfo'\n\t\tDesignName='A b'\n\t\tIsSolved=true\n\t\t'Nominal Setups'[2: 's', 't']\n"
         "\t\tN=5\n\t$end 'DesignInfo'\n$end 'P'",
         "<P <DesignInfo DesignName:A b IsSolved Nominal Setups N >DesignInfo >P"},
        {"T='AA\\\nBB\\\n'\r\n\n \tU = '' \nV[]\nV[1,2]\nV['\\\n']\n$end 'P'\n",
         "<P T:AA<A>BB<A> U: V V V >P"},
        {"a=b c\n", "<P ?"},
        {"a='b' c\n", "<P ?"},
        {"a='\\n'\n", "<P ?"},
        {"a='b\n'\n", "<P ?"},
        {"a='b\\\r\n'\n", "<P ?"},
        {"a='\xC3\xA4'\n", "<P ?"},
        {"a='b", "<P ?"},
        {"a=-5\n", "<P ?"},
        {"a=5.5\n", "<P ?"},
        {"a=1234567890\n", "<P ?"},
        {"a=\n", "<P ?"},
        {"a\n", "<P ?"},
        {"a(1)\n", "<P ?"},
        {"v[1:]\n", "<P ?"},
        {"v[1, 2: 3]\n", "<P ?"},
        {"v['x': 3]\n", "<P ?"},
        {"v[1,]\n", "<P ?"},
        {"v[1\n]\n", "<P ?"},
        {"''=1\n", "<P ?"},
        {"_a=1\n", "<P ?"},
        {"! comment\n", "<P ?"},
        {"$end 'Q'\n", "<P ?"},
        {"$end P\n", "<P ?"},
        {"$end\n", "<P ?"},
        {"$begin 'A'\n$begin 'B'\n", "<P <A ?"},
        {"$begin A\n", "<P ?"},
        {"", "<P ?"},
    };
    for (const auto& row : kRows)
        EXPECT_EQ(Kinds("$begin 'P'\n" + std::string(row.mLines)), row.mKinds) << row.mLines;
}

TEST(PreviewLines, KnowWhichCharactersStandForThemselves) {
    for (std::size_t size = 1; size <= 80; size += size < 20 ? 1 : 20)
        for (std::size_t at = 0; at < size; ++at)
            for (int code = 0; code < 256; ++code) {
                std::string text(size, 'x');
                text[at]             = static_cast<char>(code);
                const bool plain     = code >= ' ' && code <= '~' && code != '\\' && code != '\'';
                const auto bytes     = "$begin 'P'\nT='" + text + "'\n$end 'P'\n";
                const bool isEscaped = code == '\\' || code == '\'';  // means what its neighbours make of it
                ASSERT_EQ(isEscaped || Kinds(bytes) == "<P T:" + text + " >P", isEscaped || plain)
                    << size << ' ' << code;
            }
}

std::string Shown(bool found, const std::vector<DesignTitle>& titles, const CThumbnailText& thumbnail) {
    return (found ? "" : "none ") +
           DumpList(titles, " // ",
                    [](const DesignTitle& title) {
                        return Escaped(title.DesignName.Str()) + "|" + Escaped(title.Notes.Str());
                    }) +
           " # " + (thumbnail.IsBase64 ? "64:" : "") + Escaped(thumbnail.Text.Str());
}

/// Titles and thumbnail of a project, as they are told.
std::string Told(const AString& path) {
    std::vector<DesignTitle> titles;
    CThumbnailText           thumbnail;
    const bool               found = preview_lookups::ToldTitles(path, titles);
    EXPECT_EQ(GetProjectThumbnailText(path, thumbnail), found);
    return Shown(found, titles, thumbnail);
}

TEST(PreviewLines, GiveTextsOfSeveralLines) {
    CProject      project;
    const AString path = project.WritePreview(
        "$begin 'DesignInfo'\nDesignName='A\\\nb'\nNotes='one\\\n\\\ntwo, and so on to thirty more "
        "characters'\n$end 'DesignInfo'\n$begin 'DesignInfo'\nDesignName='\\\n'\n$end 'DesignInfo'");
    TitleRoom               room;
    std::vector<AsciiTitle> titles;
    const CProjectFile      file(path);
    ASSERT_TRUE(GetAsciiTitles(file, room, titles));
    ASSERT_EQ(titles.size(), 2u);
    EXPECT_EQ(titles[0].DesignName, "A\nb");
    EXPECT_EQ(titles[0].Notes, "one\n\ntwo, and so on to thirty more characters");
    EXPECT_EQ(titles[1].DesignName, "\n");
}

/// The same by the block reader, and by the lookups of blocks.
std::string Read(const AString& path) {
    io::CToken_istream stream(path, 0x1800);
    if (!OpenPreviewBlock(path, stream)) return Shown(false, {}, {});
    io::CBlock preview;
    preview.Read(stream);
    return Shown(true, preview_lookups::Titles(preview), preview_lookups::Picture(preview));
}

TEST(PreviewLines, TellWhatTheBlockReaderTells) {
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937               random(seed);
    constexpr std::string_view kLines[] = {
        "DesignName='A'", "designname = 'B b'", "DesignName='C\\\nc'", "Notes='n'", "'Notes'='m'", "NOTES=''",
        "IsSolved=true", "'Nominal Setups'[2: 's', 't']", "Thumbnail64='QUJD\\\nREVG'", "Thumbnail='00FF'",
        "", "'Paramorph Experiment Types'[1: 2]", "$begin 'DesignInfo'", "$end 'DesignInfo'",
        "$begin 'Other'", "$end 'Other'",
        // and what is no such line
        "DesignName=bare", "DesignName['v']", "Notes=5", "Notes('f')", "Notes='\\n'", "Notes='\xC3\xA4'",
        "Thumbnail64=''", "Thumbnail64=x", "Thumbnail64['v']", "! Notes='no'", "x", "x=", "x=(", "'x",
        "$begin 'DesignInfo' DesignName='on the same line'", "$end", "DesignInfo=5"};
    CProject project;
    for (int i = 0; i < 4000; ++i) {
        // Half of them well-formed designs, where a line or a byte may have gone astray.
        std::string body;
        const auto  line = [&](std::size_t among) {
            body += std::string(kLines[random() % among]) + (random() % 20 == 0 ? "\r\n" : "\n");
        };
        for (auto designs = random() % 3; designs != 0; --designs) {
            body += "$begin 'DesignInfo'\n";
            for (auto count = random() % 4; count != 0; --count)
                line(i % 4 == 0 ? std::size(kLines) : 8);
            body += "$end 'DesignInfo'\n";
        }
        for (auto count = random() % 4; count != 0; --count)
            line(i % 2 == 0 ? std::size(kLines) : 12);
        if (i % 3 == 0 && !body.empty())
            body[random() % body.size()] = "'\\\n= ,:[$!x5\t\0\xFF"[random() % 14];
        const AString& path =
            i % 50 == 0 ? project.Write("\0\1$begin 'ProjectPreview'\n"s + body) : project.WritePreview(body);
        ASSERT_EQ(Told(path), Read(path)) << body;
    }
}

}  // namespace
