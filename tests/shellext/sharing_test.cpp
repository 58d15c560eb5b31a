#include "shellext/com_support.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

std::string LargeProject() {
    std::string lines =
        "\tThumbnail64='R0lGODlhBAACAJEAAP8AAADIZBAgQP///yH5BAEAAAMALAAAAAAEAAIAAAIFRKhxYlAAOw=='\n";
    for (int index = 0; index < 100; ++index)
        lines += Design("Design" + std::to_string(index), "some notes");
    return Project(lines);
}

/// Nobody else has the file open: it opens for us alone.
bool IsClosed(const std::wstring& path) {
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE | DELETE, 0, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    CloseHandle(file);
    return true;
}

TEST(Sharing, NoCallLeavesTheFileOpen) {
    const struct {
        const char*                                mName;
        std::function<void(const CObject& object)> mCall;
    } rows[] = {
        {"Load", [](const CObject&) {}},
        {"GetInfoTip", [](const CObject& object) { object.Tip(); }},
        {"Extract",
         [](const CObject& object) {
             HBITMAP bitmap = nullptr;
             if (object.mImage->Extract(&bitmap) == S_OK) DeleteObject(bitmap);
         }},
        {"GetDateStamp",
         [](const CObject& object) {
             FILETIME stamp;
             object.mImage->GetDateStamp(&stamp);
         }},
    };
    const std::string project    = LargeProject();
    const std::string contents[] = {project, project.substr(0, project.size() / 2), "no project", ""};
    for (const std::string& content : contents)
        for (const auto& row : rows) {
            SCOPED_TRACE(row.mName);
            const CTestFile file(content);
            const CObject   object(file.Path());
            row.mCall(object);
            EXPECT_TRUE(IsClosed(file.Path()));
            EXPECT_TRUE(DeleteFileW(file.Path().c_str())) << "the object still lives";
        }
}

/// Asks for tips and thumbnails of one file, on a thread with an apartment of its own.
struct CReader {
    std::wstring  mPath;
    LONG          mLimit  = 0;  ///< rounds at most
    volatile LONG mStop   = 0;  ///< ends it earlier
    LONG          mRounds = 0;
    LONG          mWhole  = 0;  ///< tips that told everything
    LONG          mBroken = 0;  ///< calls that failed
};

DWORD WINAPI ReadAgainAndAgain(void* context) {
    auto* const reader = static_cast<CReader*>(context);
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    {
        const CObject object(reader->mPath);
        for (; reader->mStop == 0 && reader->mRounds < reader->mLimit; ++reader->mRounds) {
            const std::wstring tip = object.Tip();
            if (tip.find(L"Design99") != std::wstring::npos) ++reader->mWhole;
            if (tip.substr(0, 6) != L"Type: ") ++reader->mBroken;
            HBITMAP bitmap = nullptr;
            if (object.mImage->Extract(&bitmap) == S_OK) DeleteObject(bitmap);
        }
    }
    CoUninitialize();
    return 0;
}

/// One way to disturb a reader; each must succeed whatever the reader does at that moment.
void Rename(const std::wstring& path) {
    const std::wstring aside = path + L".aside";
    ASSERT_TRUE(MoveFileW(path.c_str(), aside.c_str())) << GetLastError();
    ASSERT_TRUE(MoveFileW(aside.c_str(), path.c_str())) << GetLastError();
}

void CutAndWrite(const std::wstring& path, const std::string& content, std::size_t cut) {
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE) << GetLastError();
    SetFilePointer(file, static_cast<LONG>(cut), nullptr, FILE_BEGIN);
    EXPECT_TRUE(SetEndOfFile(file));
    SetFilePointer(file, 0, nullptr, FILE_BEGIN);
    DWORD written = 0;
    EXPECT_TRUE(WriteFile(file, content.data(), static_cast<DWORD>(content.size()), &written, nullptr));
    CloseHandle(file);
}

void DeleteAndMakeAnew(const std::wstring& path, const std::string& content) {
    ASSERT_TRUE(DeleteFileW(path.c_str())) << GetLastError();
    HANDLE file = INVALID_HANDLE_VALUE;
    while (file == INVALID_HANDLE_VALUE)  // the name is free when the last reader has closed
        file = CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_NEW, 0, nullptr);
    DWORD written = 0;
    EXPECT_TRUE(WriteFile(file, content.data(), static_cast<DWORD>(content.size()), &written, nullptr));
    CloseHandle(file);
}

TEST(Sharing, OthersRenameWriteAndDeleteWhileWeRead) {
    const std::string content = LargeProject();
    const CTestFile   file(content);
    CReader           reader;
    reader.mPath        = file.Path();
    reader.mLimit       = 1000000;
    const HANDLE thread = CreateThread(nullptr, 0, ReadAgainAndAgain, &reader, 0, nullptr);
    for (std::size_t round = 0; round < 1000 && !HasFatalFailure(); ++round) {
        Rename(file.Path());
        CutAndWrite(file.Path(), content, round * 7919 % content.size());
        if (round % 10 == 0) DeleteAndMakeAnew(file.Path(), content);
        if (round % 50 == 0) Sleep(20);  // now and then a whole file
    }
    reader.mStop = 1;
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    EXPECT_GT(reader.mRounds, 20);
    EXPECT_GT(reader.mWhole, 0);
    EXPECT_EQ(reader.mBroken, 0);
    EXPECT_NE(CObject(file.Path()).Tip().find(L"Design99"), std::wstring::npos);
}

TEST(Sharing, SeveralApartmentsReadAtTheSameTime) {
    const CTestFile file(LargeProject());
    CReader         readers[4];
    HANDLE          threads[4];
    for (int index = 0; index < 4; ++index) {
        readers[index].mPath  = file.Path();
        readers[index].mLimit = 100;
        threads[index]        = CreateThread(nullptr, 0, ReadAgainAndAgain, &readers[index], 0, nullptr);
    }
    WaitForMultipleObjects(4, threads, TRUE, INFINITE);
    for (int index = 0; index < 4; ++index) {
        EXPECT_EQ(readers[index].mWhole, 100);
        CloseHandle(threads[index]);
    }
}

}  // namespace
