#include "viewkit/preview_support.h"

#include <gtest/gtest.h>

namespace {

using namespace preview_support;
using ProjectPreviewHelper::DesignPreview;

std::string Text(const AString& text) {
    return Escaped(text.Str());
}

/// "name|notes|solved|factory|nominal setups|setups:types", a record each.
std::string Records(const AString& path) {
    std::vector<DesignPreview> designs(3);
    if (!ProjectPreviewHelper::GetProjectPreviewData(path, designs)) {
        EXPECT_TRUE(designs.empty());
        return "no preview";
    }
    return DumpList(designs, " // ", [](const DesignPreview& design) {
        return Text(design.DesignName) + "|" + Text(design.Notes) + "|" + (design.IsSolved ? "solved" : "") +
               "|" + Text(design.Factory) + "|" + DumpList(design.NominalSetups, ",", Text) + "|" +
               DumpList(design.ParamorphSetups, ",", [](const auto& setup) {
                   return Text(setup.Name) + ":" + std::to_string(setup.ExperimentType);
               });
    });
}

std::string Design(std::string_view items) {
    return "$begin 'DesignInfo'\n" + std::string(items) + "\n$end 'DesignInfo'\n";
}

TEST(Records, OfOneDesign) {
    const struct {
        std::string_view mItems;
        const char*      mRecord;
    } kRows[] = {
        {"DesignName='A'\nNotes='n'\nIsSolved=true\nFactory='HF'\n'Nominal Setups'['s', 't']\n"
         "'Paramorph Setups'['p', 'q', 'r']\n'Paramorph Experiment Types'[1: 2]",
         "A|n|solved|HF|s,t|p:2,q:6,r:6"},
        {"Factory='HF'\nIsSolved=false\nNotes='n'\nDesignName=A", "A|n||HF||"},  // in any order, also bare
        {"", "|||||"},
        // once one is missing or of another kind, it and the later ones are not read; the lists are
        {"DesignName='A'\nIsSolved=true\nFactory='HF'\n'Nominal Setups'['s']", "A||||s|"},
        {"Notes='n'\nIsSolved=true\nFactory='HF'\n'Paramorph Setups'['p']", "|||||p:6"},
        {"DesignName='A'\nNotes=5\nIsSolved=true\nFactory='HF'", "A|||||"},
        {"DesignName='A'\nNotes='n'\nIsSolved=1\nFactory='HF'", "A|n||||"},
        {"DesignName='A'\nNotes='n'\nIsSolved='true'\nFactory='HF'", "A|n||||"},
        {"DesignName='A'\nNotes('n')\nIsSolved=true\nFactory='HF'", "A|||||"},
        {"DesignName='A'\nNotes=''\nIsSolved=true\nFactory='HF'", "A||solved|HF||"},  // an empty value is one
        {"DesignName='A'\nNotes='n'\nIsSolved=true\nFactory[1]", "A|n|solved|||"},
        // case; the first of the right kind
        {"DESIGNNAME='A'\nnotes='n'\nissolved=TRUE\nfactory='HF'\n'nominal setups'['s']", "A|n|solved|HF|s|"},
        {"DesignName['v']\nDesignName('f')\nDesignName='A'\nDesignName='B'\nNotes='n'", "A|n||||"},
        {"'Nominal Setups'='x'\n'Nominal Setups'['s']\n'Nominal Setups'['t']", "||||s|"},
        // types: too few, too many, of another kind
        {"'Paramorph Setups'['p']\n'Paramorph Experiment Types'[1, 2, 3]", "|||||p:1"},
        {"'Paramorph Setups'['p', 'q']\n'Paramorph Experiment Types'['x', 4294967295]", "|||||p:0,q:0"},
        {"'Paramorph Setups'['p', 'q']\n'Paramorph Experiment Types'[2: -3, 2.9]", "|||||p:-3,q:2"},
        {"'Paramorph Setups'['p']\n'Paramorph Experiment Types'[-3]", "|||||p:6"},  // no vector begins so
        {"'Paramorph Experiment Types'[1]", "|||||"},
        {"'Nominal Setups'[5, '', true, x]", "||||,,,x|"},
        // what cannot be read costs its line
        {"DesignName='A'\nbad line\nNotes='n'", "A|n||||"},
        {"DesignName='A'\nNotes='cut\nIsSolved=true\nFactory='HF'", "A|cut|solved|HF||"},
        // texts
        {"DesignName='\xC3\x84\xE2\x82\xAC'\nNotes='it\\'s \\\nhere'", "<C4><20AC>|it's <A>here||||"},
        {"DesignName='\xED\xA0\xBD\xED\xB8\x80'\nNotes=$begin_cdata$ ! $end_cdata$", "<D83D><DE00>| ! ||||"},
        {"DesignName='\xF0\x9F\x98\x80'\nNotes='n'", "|||||"},
        {"DesignName='\xE4'\nNotes=''", "<E4>|||||"},
    };
    CProject project;
    for (const auto& row : kRows)
        EXPECT_EQ(Records(project.WritePreview(Design(row.mItems))), row.mRecord) << row.mItems;
}

TEST(Records, OfAPreview) {
    CProject   project;
    const auto records = [&](std::string_view body) { return Records(project.WritePreview(body)); };
    const auto a = Design("DesignName='A'"), b = Design("DesignName='B'");
    EXPECT_EQ(records(""), "");
    EXPECT_EQ(records("Thumbnail64=''\n" + b + "x=1\n" + a), "B||||| // A|||||");
    EXPECT_EQ(records("DesignInfo='x'\nDesignInfo(1)\nDesignInfo[1]\n" + a), "A|||||");
    EXPECT_EQ(records("$begin 'designinfo'\nDesignName='A'\n$end 'designinfo'"), "A|||||");
    EXPECT_EQ(records("$begin 'Other'\n" + b + "$end 'Other'\n" + a), "A|||||");
    EXPECT_EQ(records("$begin 'DesignInfo'\nDesignName='A'\n$end 'Wrong'\n" + b), "A||||| // B|||||");

    const std::string preview = "$begin 'ProjectPreview'\n";
    EXPECT_EQ(Records(project.Write(preview + a + "$begin 'DesignInfo'\nDesignName='B'\nNotes='c")),
              "A||||| // B|c||||");
    EXPECT_EQ(Records(project.Write("x\n" + preview)), "");
    EXPECT_EQ(Records(project.Write("$begin 'TarvexProject'\n$end 'TarvexProject'\n")), "no preview");
    EXPECT_EQ(Records(project.Write("")), "no preview");
    EXPECT_EQ(Records(AString(L"no such file")), "no preview");
    // found by a marker that no block follows
    EXPECT_EQ(Records(project.Write("'$begin 'ProjectPreview'\n")), "");
}

// Whatever the bytes: an answer, and nothing thrown.
TEST(Records, OfDamagedPreviews) {
    CProject          project;
    const std::string content = "$begin 'ProjectPreview'\nThumbnail64='TWFu'\n" +
                                Design("DesignName='A'\nNotes='n'\nIsSolved=true\n'Nominal Setups'[1: 's']") +
                                "$end 'ProjectPreview'\n";
    for (std::size_t at = 0; at < content.size(); ++at) {
        Records(project.Write(content.substr(0, at)));
        for (const char byte : "\0\n'$[\xF0"sv) {
            std::string changed = content;
            changed[at]         = byte;
            Records(project.Write(changed));
        }
    }
}

// --- the thumbnail's text

TEST(ThumbnailText, FollowsItsRules) {
    const struct {
        std::string_view mBody;
        const char*      mText;
    } kRows[] = {
        {"Thumbnail64='TWFu'\nThumbnail='0aFF'", "base64 TWFu"},
        {"Thumbnail='0aFF'\nThumbnail64='TWFu'", "base64 TWFu"},
        {"thumbnail64='TW\\\nFu'", "base64 TW<A>Fu"},
        {"Thumbnail64=''\nThumbnail='0aFF'", "hex 0aFF"},
        {"Thumbnail64=''\nThumbnail=''", "hex "},
        {"Thumbnail64=''", "hex "},
        {"Thumbnail='0aFF'", "hex "},  // does not count without the other
        {"Thumbnail64=5\nThumbnail='0aFF'", "hex "},
        {"Thumbnail64['TWFu']\nThumbnail='0aFF'", "hex "},
        {"Image64='TWFu'\nImage='0aFF'", "hex "},
        {"$begin 'DesignInfo'\nThumbnail64='x'\n$end 'DesignInfo'\nThumbnail64='TWFu'", "base64 TWFu"},
    };
    CProject                             project;
    ProjectPreviewHelper::CThumbnailText thumbnail;
    for (const auto& row : kRows) {
        thumbnail.Text = L"old";
        EXPECT_TRUE(
            ProjectPreviewHelper::GetProjectThumbnailText(project.WritePreview(row.mBody), thumbnail));
        EXPECT_EQ((thumbnail.IsBase64 ? "base64 " : "hex ") + Text(thumbnail.Text), row.mText) << row.mBody;
    }
    EXPECT_FALSE(ProjectPreviewHelper::GetProjectThumbnailText(project.Write("x"), thumbnail));
    EXPECT_TRUE(thumbnail.Text.IsEmpty() || thumbnail.Text == L"TWFu");
}

}  // namespace
