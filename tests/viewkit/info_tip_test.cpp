#include "viewkit/preview_support.h"
#include "viewkit/tools/InfoTip.h"

#include <gtest/gtest.h>

namespace {

using namespace preview_support;

constexpr std::string_view kHead =
    "$begin 'TarvexProject'\n\tProduct='ZEPH'\n\t$begin 'Desktop'\n\t\tVersion(2013, 0)\n"
    "\t$end 'Desktop'\n$end 'TarvexProject'\n";

std::string Narrow(const wchar_t* text) {
    return AString(text).ToNarrow();
}

std::string Times(int count, std::string_view text) {
    std::string times;
    while (count-- > 0)
        times += text;
    return times;
}

std::string Design(const std::string& name, const std::string& notes) {
    return "$begin 'DesignInfo'\nDesignName='" + name + "'\nNotes='" + notes + "'\n$end 'DesignInfo'\n";
}

std::string Tip(const CProject& project) {
    return ComposeInfoTip(project.Path().string());
}

TEST(InfoTip, IsComplete) {
    CProject   project;
    const auto preview = [&](const std::string& designs) {
        project.Write(std::string(kHead) + "$begin 'ProjectPreview'\n" + designs + "$end 'ProjectPreview'\n");
        return Tip(project);
    };
    EXPECT_EQ(preview(Design("Antenna1", "first cut") + Design("Antenna2", "")),
              "Type: Tarvex ZEPH 2013.0 File\n"
              "Project contains 2 design(s):\n"
              "Design Name: Antenna1, Notes: first cut\n"
              "Design Name: Antenna2\n"
              "Size: 306 bytes");
    EXPECT_EQ(preview(""),
              "Type: Tarvex ZEPH 2013.0 File\n"
              "Project contains 0 design(s):\n"
              "Size: 159 bytes");
    project.Write(kHead);
    EXPECT_EQ(Tip(project),
              "Type: Tarvex ZEPH 2013.0 File\n"
              "Design preview information not found.\n"
              "Size: 113 bytes");
    project.Write(std::string(1331, '.'));
    EXPECT_EQ(Tip(project),
              "Type: Unknown\n"
              "Design preview information not found.\n"
              "Size: 1.29 KB");
    project.Write("");
    EXPECT_EQ(Tip(project),
              "Type: Unknown\n"
              "Design preview information not found.\n"
              "Size: 0 bytes");
}

TEST(InfoTip, ShortensNotesByCharacters) {
    const std::string smile = "\xED\xA0\xBD\xED\xB8\x80";  // as the suite writes what lies beyond 16 bits
    std::wstring      smiles, umlauts;
    for (int i = 0; i < 30; ++i) {
        smiles += L"\xD83D\xDE00";
        umlauts += L"\xE4";
    }
    const struct {
        std::string mNotes;
        std::string mShown;
    } kRows[] = {
        {Times(30, "n"), Times(30, "n")},
        {Times(31, "n"), Times(30, "n") + "..."},
        {Times(30, "\xC3\xA4"), Narrow(umlauts.c_str())},
        {Times(31, "\xC3\xA4"), Narrow(umlauts.c_str()) + "..."},
        {Times(30, smile), Narrow(smiles.c_str())},
        {Times(29, "n") + smile, Times(29, "n") + Narrow(L"\xD83D\xDE00")},
        {Times(29, "n") + smile + "n", Times(29, "n") + Narrow(L"\xD83D\xDE00") + "..."},
        {Times(31, smile), Narrow(smiles.c_str()) + "..."},
        {"two\\\nlines", "two\nlines"},
    };
    CProject project;
    for (const auto& row : kRows) {
        project.WritePreview(Design("A", row.mNotes));
        const std::string tip = Tip(project);
        EXPECT_NE(tip.find("Design Name: A, Notes: " + row.mShown + "\nSize: "), tip.npos) << tip;
    }
}

TEST(InfoTip, ReportsWhatIsNotThere) {
    CAssertions assertions;
    CProject    project;
    EXPECT_EQ(Tip(project), "Type: Unknown\nDesign preview information not found.\n");
    EXPECT_EQ(assertions.Take(), "dw != INVALID_FILE_ATTRIBUTES; projFile; 0");
    project.Write(kHead);
    Tip(project);
    EXPECT_EQ(assertions.Take(), "");
}

TEST(InfoTip, OfTheSamples) {
    const struct {
        const char* mFile;
        std::string mTip;
    } kRows[] = {
        {"array_steering",
         "Type: Tarvex ZEPH 2013.0 File\nProject contains 3 design(s):\n"
         "Design Name: Element, Notes: single patch, matched at 9.6 G...\n"
         "Design Name: Array8, Notes: Eight elements, steered to 18 ...\n"
         "Design Name: FeedNetwork\n"},
        {"bandpass",
         "Type: Tarvex ZEPH Planar 2013.2 File\nProject contains 2 design(s):\n"
         "Design Name: Bandpass, Notes: Notes of thirty characters: 30\n"
         "Design Name: Bandpass_measured, Notes: Notes of one more than that: 3...\n"},
        {"coil",
         "Type: Tarvex ZEPH Quasistatic 12.1 File\nProject contains 1 design(s):\n"
         "Design Name: Charger_Coil, Notes: L = 6.8 uH\n"},
        {"radome_utf8",
         "Type: Tarvex ZEPH 2015.0 File\nProject contains 3 design(s):\nDesign Name: " +
             Narrow(L"Radom_au\xDF"
                    L"en, Notes: Gr\xF6\xDF"
                    L"e gepr\xFC"
                    L"ft, D\xE4mpfung < 0,4 ...") +
             "\nDesign Name: " + Narrow(L"\x30EC\x30C9\x30FC\x30E0, Notes: \x5185\x5074\x306E\x5C64") +
             "\nDesign Name: " +
             Narrow(L"\x41E\x431\x442\x435\x43A\x430\x442\x435\x43B\x44C, Notes: "
                    L"\x43F\x440\x43E\x432\x435\x440\x438\x442\x44C "
                    L"\x43A\x440\x435\x43F\x43B\x435\x43D\x438\x435 "
                    L"\x43F\x440\x438 \x441\x438\x43B\x44C\x43D\x43E...") +
             "\n"},
        {"new_project", "Type: Tarvex ZEPH 2015.1 File\nProject contains 0 design(s):\n"},
        {"no_preview", "Type: Tarvex ZEPH 11.0 File\nDesign preview information not found.\n"},
        {"not_a_project", "Type: Unknown\nDesign preview information not found.\n"},
    };
    for (const auto& row : kRows) {
        const std::string tip = ComposeInfoTip(TARVEX_SAMPLES "/"s + row.mFile + ".tarvex");
        EXPECT_EQ(tip.substr(0, tip.rfind("Size: ")), row.mTip) << row.mFile;
    }
}

// The shell takes a NUL for the end of the tip.
TEST(InfoTip, ShowsBlanksForNulCharacters) {
    CProject project;
    project.Write(std::string(kHead) + "$begin 'ProjectPreview'\n" + Design("A\\0B", "c\\0d") +
                  "$end 'ProjectPreview'\n");
    EXPECT_NE(Tip(project).find("Design Name: A B, Notes: c d\nSize:"), std::string::npos);
}

// Whatever its size, a preview is read up to a bound: 16 MiB, or 200,000 items, arguments and elements.
TEST(InfoTip, ReadsAHostilePreviewUpToABound) {
    const struct {
        const char* mRepeated;
        int         mCount;
        const char* mDesigns;  // how many of the design blocks, and at its end nothing is lost before it
    } kRows[] = {
        {"a=1\n", 400'000, "0 design(s)"},
        {"?\n", 400'000, "0 design(s)"},
        {"$begin 'DesignInfo'\n$end\n", 300'000, "200000 design(s)"},
        {"x", 20 << 20, "0 design(s)"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(std::string(row.mRepeated).substr(0, 20));
        CProject project;
        project.Write(std::string(kHead) + "$begin 'ProjectPreview'\n" + Times(row.mCount, row.mRepeated) +
                      "\n" + Design("Late", "") + "$end 'ProjectPreview'\n");
        EXPECT_NE(Tip(project).find(row.mDesigns), std::string::npos);
    }
    CProject project;
    project.Write(std::string(kHead) + "$begin 'ProjectPreview'\nf(" + Times(400'000, ",") + ")\nv[" +
                  Times(400'000, "1,") + "]\n" + Design("Late", "") + "$end 'ProjectPreview'\n");
    EXPECT_NE(Tip(project).find("0 design(s)"), std::string::npos);
}

}  // namespace
