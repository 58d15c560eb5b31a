#include "shellext/com_support.h"

#include <gtest/gtest.h>

#include <random>

// Whatever a file holds: an answer, in good time, and no exception out of the server (it would end
// this process).

namespace {

std::string Repeat(const std::string& text, int times) {
    std::string all;
    all.reserve(text.size() * static_cast<std::size_t>(times));
    while (times-- > 0)
        all += text;
    return all;
}

void ExpectAnAnswer(const std::string& content) {
    const CTestFile    file(content);
    const CObject      object(file.Path());
    const std::wstring tip = object.Tip();
    EXPECT_EQ(tip.substr(0, 6), L"Type: ") << content.substr(0, 200);
    HBITMAP       bitmap = nullptr;
    const HRESULT result = object.mImage->Extract(&bitmap);
    EXPECT_TRUE(result == S_OK || result == E_FAIL) << content.substr(0, 200);
    if (bitmap != nullptr) DeleteObject(bitmap);
}

TEST(HostileFile, GetsAnAnswer) {
    const std::string begin  = "$begin 'ProjectPreview'";
    const std::string rows[] = {
        begin,
        begin + "\n",
        begin + Repeat("\n$begin 'x'", 50000),
        begin + Repeat("\n$begin 'DesignInfo'", 2000) + Repeat("\n$end 'DesignInfo'", 2000),
        begin + Repeat("\nf(", 20000),
        begin + Repeat(" $end 'x'", 20000),
        begin + "\nv[4294967295: 1, 2]\nw[-1: 3]\n$end 'ProjectPreview'",
        begin + "\nThumbnail64='" + Repeat("/", 300000),
        begin + "\nThumbnail64=$begin_cdata$" + Repeat("x", 300000),
        begin + "\nThumbnail64=12\n$end 'ProjectPreview'",
        begin + "\nThumbnail64(1, 2)\n$end 'ProjectPreview'",
        begin + "\nDesignInfo='not a block'\nDesignInfo(1)\nDesignInfo[1: 2]\n$end 'ProjectPreview'",
        begin +
            "\n$begin 'DesignInfo'\nDesignName[2: 'a', 'b']\nNotes(1)\n$end 'Other'\n$end 'ProjectPreview'",
        begin + Repeat("\\\r\n", 10000) + "'",
        begin + std::string(5000, '\0') + "$end 'ProjectPreview'",
        begin + Repeat("\xFF\xFE\xC0\x80\xED\xA0\x80\xF4\x90\x80\x80", 3000),
        "\xFF\xFE" + begin,
        "\xEF\xBB\xBF" + begin + "\n$end 'ProjectPreview'",
        Repeat("$begin 'ProjectPreview", 3000),
        Repeat(begin + "\n", 3000),
        std::string(1, '\0'),
        std::string(100000, '\''),
        Repeat("Product='" + std::string(6000, 'p') + "'", 20),
        "Product='%s%n%d'\n$begin 'Desktop'\nVersion(-99999999999, 4294967296)\n" + begin,
        Repeat("\r", 30000) + begin + Repeat("\r", 30000),
    };
    for (const std::string& content : rows)
        ExpectAnAnswer(content);
}

TEST(HostileFile, GetsAnAnswerForRandomBytes) {
    std::mt19937 random(20130305);  // always the same bytes
    for (int round = 0; round < 100; ++round) {
        std::string content = round % 2 != 0 ? "$begin 'ProjectPreview'\n" : "";
        for (unsigned left = random() % 4000; left > 0; --left)
            content += static_cast<char>(random());
        ExpectAnAnswer(content);
    }
}

TEST(HostileFile, GetsAnAnswerForDamagedProjects) {
    const std::string project =
        Project(Design("Antenna1", "first cut") +
                "\tv[3: 1, 2, 3]\n\tf(1, a=2)\n"
                "\tThumbnail64='R0lGODlhBAACAJEAAP8AAADIZBAgQP///yH5BAEAAAMALAAAAAAEAAIAAAIFRKhxYlAAOw=='\n");
    std::mt19937   random(42);
    constexpr char kNasty[] = {'\0', '\'', '"', '\\', '\r',   '\n',   '(', ')',
                               '[',  ']',  '=', '$',  '\xFF', '\xC3', '0'};
    for (int round = 0; round < 600; ++round) {
        std::string content = project;
        for (unsigned left = random() % 4 + 1; left > 0; --left)
            content[random() % content.size()] = kNasty[random() % sizeof kNasty];
        if (round % 3 == 0) content.resize(random() % content.size());
        ExpectAnAnswer(content);
    }
}

}  // namespace
