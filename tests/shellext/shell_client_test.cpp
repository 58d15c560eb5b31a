#include "shellext/com_support.h"

#include <gtest/gtest.h>

// A client that nobody here wrote: the system's own shell finds the server through the keys of the
// file's extension, binds it to the file and asks it.

namespace {

constexpr const wchar_t* kHandlerKeys[] = {
    L".tarvex\\ShellEx\\{00021500-0000-0000-C000-000000000046}",  // IQueryInfo
    L".tarvex\\ShellEx\\{BB2E617C-0920-11D1-9A0B-00C04FC2D6C1}",  // IExtractImage
};

class Shell : public testing::Test {
  protected:
    void SetUp() override {
        for (const wchar_t* key : kHandlerKeys)
            ASSERT_EQ(
                RegSetKeyValueW(HKEY_CLASSES_ROOT, key, nullptr, REG_SZ, kClassIdText, sizeof kClassIdText),
                ERROR_SUCCESS);
    }
    void TearDown() override { RegDeleteTreeW(HKEY_CLASSES_ROOT, L".tarvex"); }

    template <class Interface>
    CComRef<Interface> Ask(const std::wstring& path, REFIID iid) {
        PIDLIST_ABSOLUTE list = nullptr;
        if (FAILED(SHParseDisplayName(path.c_str(), nullptr, &list, 0, nullptr))) return nullptr;
        void*           folderOut = nullptr;
        PCUITEMID_CHILD child     = nullptr;
        void*           out       = nullptr;
        if (SUCCEEDED(SHBindToParent(list, IID_IShellFolder, &folderOut, &child))) {
            const CComRef<IShellFolder> folder(static_cast<IShellFolder*>(folderOut));
            if (FAILED(folder->GetUIObjectOf(nullptr, 1, &child, iid, nullptr, &out))) out = nullptr;
        }
        CoTaskMemFree(list);
        return CComRef<Interface>(static_cast<Interface*>(out));
    }
};

TEST_F(Shell, GetsTipAndThumbnailForTheExtension) {
    const std::string content =
        Project(Design("Antenna1", "first cut") +
                "\tThumbnail64='R0lGODlhBAACAJEAAP8AAADIZBAgQP///yH5BAEAAAMALAAAAAAEAAIAAAIFRKhxYlAAOw=='\n");
    for (const wchar_t* name : {L"plain.tarvex", L"UPPER.TARVEX", L"Gr\u00F6\u00DFe.tarvex"}) {
        const CTestFile           file(content, name);
        const CComRef<IQueryInfo> tip = Ask<IQueryInfo>(file.Path(), IID_IQueryInfo);
        ASSERT_NE(tip, nullptr);
        wchar_t* text = nullptr;
        ASSERT_EQ(tip->GetInfoTip(QITIPF_USESLOWTIP, &text), S_OK);
        EXPECT_EQ(text,
                  L"Type: Tarvex ZEPH 2013.0 File\nProject contains 1 design(s):\n"
                  L"Design Name: Antenna1, Notes: first cut\n" +
                      SizeLine(content.size()));
        CoTaskMemFree(text);

        const CComRef<IExtractImage> image = Ask<IExtractImage>(file.Path(), IID_IExtractImage);
        ASSERT_NE(image, nullptr);
        HBITMAP bitmap = nullptr;
        ASSERT_EQ(image->Extract(&bitmap), S_OK);
        EXPECT_EQ(PixelsOf(bitmap).mPixels.front(), 0xFF0000u);
        DeleteObject(bitmap);
    }
}

TEST_F(Shell, GetsAnAnswerForAFileThatIsNoProject) {
    const CTestFile           file("\x01\x02 no project");
    const CComRef<IQueryInfo> tip = Ask<IQueryInfo>(file.Path(), IID_IQueryInfo);
    ASSERT_NE(tip, nullptr);
    wchar_t* text = nullptr;
    ASSERT_EQ(tip->GetInfoTip(0, &text), S_OK);
    EXPECT_EQ(text, L"Type: Unknown\nDesign preview information not found.\n" + SizeLine(13));
    CoTaskMemFree(text);
    const CComRef<IExtractImage> image = Ask<IExtractImage>(file.Path(), IID_IExtractImage);
    ASSERT_NE(image, nullptr);
    HBITMAP bitmap = nullptr;
    EXPECT_EQ(image->Extract(&bitmap), E_FAIL);
}

}  // namespace
