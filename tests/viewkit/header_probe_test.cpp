#include "viewkit/preview_support.h"
#include "viewkit/tools/CharacterCount.h"

#include <gtest/gtest.h>

namespace {

using namespace preview_support;

std::string Probe(const AString& path) {
    std::string   product = "old";
    std::uint32_t major   = 7;
    std::uint32_t minor   = 7;
    const bool    found   = ProjectPreviewHelper::GetProjectHeaderInfo(path, product, major, minor);
    return (found ? "" : "not ") + Escaped(Widen(product)) + " " +
           std::to_string(static_cast<std::int32_t>(major)) + "." +
           std::to_string(static_cast<std::int32_t>(minor));
}

std::string Lines(int count) {
    std::string lines;
    while (count-- > 0)
        lines += "x\n";
    return lines;
}

TEST(HeaderProbe, FindsProductAndVersion) {
    const std::string ninetyNine(99, 'p');
    std::string       umlauts;
    for (int i = 0; i < 99; ++i)
        umlauts += "\xC3\xBC";
    const std::string head     = "Product='ZEPH'\n$begin 'Desktop'\n";
    const std::string longLine = std::string(17 * 4999 - 1, 'x') + "\n";  // 17 reads

    const struct {
        std::string mContent;
        std::string mFound;
    } kRows[] = {
        {"$begin 'TarvexProject'\n\tProduct='ZEPH'\n\t$begin 'Desktop'\n\t\tVersion(2013, 0)\n",
         "ZEPH 2013.0"},
        {"Product='ZEPH'\r\n$begin 'Desktop'\r\nVersion(11,2)\r\n$end 'Desktop'\r\n", "ZEPH 11.2"},
        {"$begin 'Desktop'\nVersion(1,2)\n$end 'Desktop'\n Product = 'Z P' junk\n", "Z P 1.2"},
        {"Product='ZEPH' $begin 'Desktop'\nVersion(1,2)\n", "not ZEPH 0.0"},
        {"$begin  'Desktop' x\nVersion(1,2)", "not  1.2"},
        // products
        {"Product=''\n$begin 'Desktop'\nVersion(1,2)\n", "not  1.2"},
        {"MyProduct='X'\n$begin 'Desktop'\nVersion(1,2)\n", "not  1.2"},
        {"product='X'\n$begin 'Desktop'\nVersion(1,2)\n", "not  1.2"},
        {"Product=\"X\"\n$begin 'Desktop'\nVersion(1,2)\n", "not  1.2"},
        {"Product='A'\nProduct='B'\n$begin 'Desktop'\nVersion(1,2)\nProduct='C'\n", "B 1.2"},
        {"Product='A\n$begin 'Desktop'\nVersion(1,2)\n", "A<A> 1.2"},
        {"Product='A\0B'\n$begin 'Desktop'\nVersion(1,2)\n"s, "A 1.2"},
        {"Product='" + ninetyNine + "p'\n", "not " + ninetyNine + " 0.0"},
        {"Product='" + umlauts + "\xC3\xBC'\n", "not " + Escaped(Widen(umlauts)) + " 0.0"},
        // versions
        {"Version(1,2)\n" + head + "Version(3,4)\n", "ZEPH 3.4"},
        {"Version(1,2)\n" + head, "not ZEPH 0.0"},
        {head + "$end 'Desktop'\nVersion(1,2)\n", "not ZEPH 0.0"},
        {head + "$end 'Desktop'\n$begin 'Desktop'\nVersion(1,2)\n", "not ZEPH 0.0"},
        {head + "$end 'DesktopX'\nVersion(1,2)\n", "ZEPH 1.2"},
        {"Product='ZEPH'\n$begin 'DesktopX'\nVersion(1,2)\n", "not ZEPH 0.0"},
        {"Product='ZEPH'\n$begin 'desktop'\nVersion(1,2)\n", "not ZEPH 0.0"},
        {head + "Version(1)\nVersion(1.5,0)\nVersion( 5 ,6)\nInterfaceVersion(7,8)\nVersion( 9, 10\n",
         "ZEPH 9.10"},
        {head + "Version(-1,-2)\n", "ZEPH -1.-2"},
        // twenty reads; a line of more than 4999 characters takes several
        {head + Lines(17) + "Version(1,2)\n", "ZEPH 1.2"},
        {head + Lines(18) + "Version(1,2)\n", "not ZEPH 0.0"},
        {head + longLine + "Version(1,2)\n", "ZEPH 1.2"},
        {head + "x" + longLine + "Version(1,2)\n", "not ZEPH 0.0"},
        {"", "not  0.0"},
        {Lines(30), "not  0.0"},
        {"\0\0\0\xFF\xFE"s, "not  0.0"},
    };
    CProject project;
    for (const auto& row : kRows)
        EXPECT_EQ(Probe(project.Write(row.mContent)), row.mFound) << row.mContent.substr(0, 200);
}

TEST(HeaderProbe, AnswersForWhatIsNoFile) {
    test_support::CTempFolder folder;
    EXPECT_EQ(Probe(PathOf(folder / "missing")), "not  0.0");
    EXPECT_EQ(Probe(PathOf(folder / ".")), "not  0.0");
    CAssertions assertions;
    EXPECT_TRUE(ProjectPreviewHelper::ExistingProjectPath(AString(L"no such file")) == L"no such file");
    EXPECT_EQ(assertions.Take(), "dw != INVALID_FILE_ATTRIBUTES");
    ProjectPreviewHelper::ExistingProjectPath(PathOf(folder / "."));
    EXPECT_EQ(assertions.Take(), "");
}

TEST(CharacterCount, CutsNoCharacterInTwo) {
    EXPECT_EQ(NarrowPrefix("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z", 4), 10u);
    EXPECT_EQ(NarrowPrefix("ab", 5), 2u);
    EXPECT_EQ(NarrowPrefix("\xE9"
                           "bc",
                           2),
              2u);                                // bytes of another code page
    EXPECT_EQ(NarrowPrefix("a\x80\x80", 1), 1u);  // ASCII is never continued
    EXPECT_EQ(WidePrefix(L"a\xD83D\xDE00z", 2), 3u);
    EXPECT_EQ(WidePrefix(L"\xDE00\xD83D\xD83D\xDE00", 3), 4u);
}

}  // namespace
