#include "tessel/platform/platform.h"
#include "tessel/platform/test_support.h"
#include "tessel/platform/whole_file.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <map>
#include <string>

#ifndef _WIN32
#include <sys/stat.h>
#endif

namespace {

namespace fs = std::filesystem;
using test_support::CTempFolder;
using test_support::kWindows;

/// The path as `OpenDescriptor` takes it.
std::wstring WidePath(const fs::path& path) {
#ifdef _WIN32
    return path.wstring();
#else
    std::wstring wide(path.native().size() + 1, L'\0');
    unsigned     error = 0;
    platform::MultiByteToWide(platform::kCodePageAnsi, path.c_str(), -1, wide.data(),
                              static_cast<int>(wide.size()), &error);
    return wide.c_str();
#endif
}

/// What opens, read to its end; "errno N" for what does not.
std::string ReadAll(const fs::path& path, bool text) {
    errno           = 0;
    std::FILE* file = platform::OpenForReading(path.string().c_str(), text);
    if (file == nullptr) {
        EXPECT_NE(platform::LastError(), 0u);
        return "errno " + std::to_string(errno);
    }
    char        buffer[100];
    std::string content(buffer, std::fread(buffer, 1, sizeof buffer, file));
    std::fclose(file);
    return content;
}

TEST(Files, ReadAsTextAndAsBytes) {
    const CTempFolder folder;
    const fs::path    path = folder.Write("lines.txt", "a\r\nb\n\x1A");
    EXPECT_EQ(ReadAll(path, false), "a\r\nb\n\x1A");
    EXPECT_EQ(ReadAll(path, true), kWindows ? "a\nb\n" : "a\r\nb\n\x1A");
    EXPECT_EQ(ReadAll(folder.Write("empty", ""), false), "");
}

TEST(Files, OpenOnlyWhenTheyAreRegular) {
    const CTempFolder folder;
    const std::string missing = "errno " + std::to_string(ENOENT);
    const std::string refused = "errno " + std::to_string(EACCES);
    EXPECT_EQ(ReadAll(folder / "missing", false), missing);
    EXPECT_EQ(ReadAll(folder / "no folder/missing", false), missing);
    EXPECT_EQ(ReadAll(folder / "", false), kWindows ? refused : "errno " + std::to_string(EISDIR));
    EXPECT_EQ(ReadAll(kWindows ? "NUL" : "/dev/null", false), refused);
    EXPECT_EQ(ReadAll("", false), missing);
    EXPECT_TRUE(ReadAll(folder / std::string(300, 'x'), false).starts_with("errno "));
    EXPECT_TRUE(ReadAll(folder / std::string(70000, 'x'), false).starts_with("errno "));
    for (const fs::path& path : {folder / "missing", folder / "", folder / std::string(70000, 'x')})
        EXPECT_EQ(platform::OpenDescriptor(WidePath(path).c_str()), -1);
#ifndef _WIN32
    const fs::path pipe = folder / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(ReadAll(pipe, false), refused);  // and does not wait for a writer
    EXPECT_EQ(platform::OpenDescriptor(WidePath(pipe).c_str()), -1);
#endif
}

TEST(Files, LetOthersDoAsTheyPleaseMeanwhile) {
    const CTempFolder folder;
    const fs::path    path = folder.Write("shared.txt", "before");
    std::FILE*        file = platform::OpenForReading(path.string().c_str(), false);
    ASSERT_NE(file, nullptr);
    const int descriptor = platform::OpenDescriptor(WidePath(path).c_str());
    ASSERT_NE(descriptor, -1);
    std::ofstream(path, std::ios::binary) << "behind";
    std::error_code error;
    fs::rename(path, folder / "moved.txt", error);
    EXPECT_FALSE(error) << error.message();
    fs::remove(folder / "moved.txt", error);
    EXPECT_FALSE(error) << error.message();
    char buffer[10] = "";
    EXPECT_EQ(std::fread(buffer, 1, sizeof buffer, file), 6u);
    EXPECT_STREQ(buffer, "behind");
    std::fclose(file);
    platform::CloseDescriptor(descriptor);
}

TEST(Files, AreReadThroughDescriptors) {
    const CTempFolder folder;
    const fs::path    path       = folder.Write("digits",
                                                "0123\r\n67\x1A"
                                                         "9");
    std::int64_t      size       = 0;
    const int         descriptor = platform::OpenDescriptor(path.string().c_str(), &size);
    ASSERT_NE(descriptor, -1);
    EXPECT_EQ(size, 10);
    char       buffer[16] = "";
    const auto read       = [&](unsigned bytes) {
        const int count = platform::ReadDescriptor(descriptor, buffer, bytes);
        return count < 0 ? "failed" : std::string(buffer, static_cast<std::size_t>(count));
    };
    const auto readAt = [&](std::int64_t offset, unsigned bytes) {
        const int count = platform::ReadDescriptorAt(descriptor, offset, buffer, bytes);
        return count < 0 ? "failed" : std::string(buffer, static_cast<std::size_t>(count));
    };
    platform::SetTextMode(descriptor, true);
    EXPECT_EQ(read(sizeof buffer), kWindows ? "0123\n67"
                                            : "0123\r\n67\x1A"
                                              "9");
    platform::SetTextMode(descriptor, false);
    EXPECT_EQ(readAt(3, 4), "3\r\n6");
    EXPECT_EQ(readAt(7, sizeof buffer),
              "7\x1A"
              "9");
    EXPECT_EQ(readAt(0, 2), "01");
    EXPECT_EQ(readAt(10, 2), "");
    EXPECT_EQ(readAt(std::int64_t{5} << 30, 2), "");
    EXPECT_EQ(readAt(-1, 2), "failed");
    platform::CloseDescriptor(descriptor);

    size = -1;
    platform::CloseDescriptor(platform::OpenDescriptor(WidePath(path).c_str(), &size));
    EXPECT_EQ(size, 10);
    EXPECT_EQ(platform::OpenDescriptor((folder / "missing").string().c_str(), &size), -1);
}

TEST(Files, OpenUnderEveryName) {
    const CTempFolder folder;
#ifdef _WIN32
    const fs::path names[] = {L"gr\u00FC\u00DFe \u65E5\u672C \xD83D\xDE00.txt"};
#else
    const fs::path names[] = {
        "gr\xC3\xBC\xC3\x9F"
        "e \xE6\x97\xA5 \xF0\x9F\x98\x80.txt",
        "latin \xFC.txt"};
#endif
    for (const fs::path& name : names) {
        const int descriptor = platform::OpenDescriptor(WidePath(folder.Write(name, "x")).c_str());
        EXPECT_NE(descriptor, -1) << name;
        if (descriptor != -1) platform::CloseDescriptor(descriptor);
    }
}

TEST(Files, TellTheirAttributes) {
    const CTempFolder folder;
    fs::create_directory(folder / "folder");
    folder.Write("plain", "12345");
    folder.Write(".hidden", "");
    test_support::Hide(folder / ".hidden");
    folder.Write("readonly", "");
    fs::permissions(folder / "readonly", fs::perms::owner_read);
    struct CRow {
        const char* mName;
        const char* mWords;
        unsigned    mSize;
    };
    constexpr CRow kRows[] = {
        {"folder", "directory", 0},          {"plain", "regular", 5},      {".hidden", "hidden regular", 0},
        {"readonly", "readonly regular", 0}, {"folder/.", "directory", 0},
    };
    for (const CRow& row : kRows) {
        platform::CFileInfo info;
        ASSERT_TRUE(platform::GetFileInfo((folder / row.mName).string().c_str(), &info)) << row.mName;
        std::string words;
        if (info.mIsDirectory) words += "directory ";
        if (info.mIsHidden) words += "hidden ";
        if (info.mIsReadOnly) words += "readonly ";
        if (info.mIsRegular) words += "regular ";
        EXPECT_EQ(words, std::string(row.mWords) + " ") << row.mName;
        if (!info.mIsDirectory) {
            EXPECT_EQ(info.mSize, row.mSize) << row.mName;
        }
    }
    fs::permissions(folder / "readonly", fs::perms::owner_all);
    platform::CFileInfo info;
    EXPECT_FALSE(platform::GetFileInfo((folder / "missing").string().c_str(), &info));
    EXPECT_EQ(platform::LastError(), 2u);  // ENOENT and ERROR_FILE_NOT_FOUND are the same number
}

TEST(Folders, TellWhatTheyHold) {
    const CTempFolder folder;
    const auto        utf8 = [](const fs::path& path) {
        const std::u8string text = path.u8string();
        return std::string(text.begin(), text.end());
    };
    const auto list = [&](const fs::path& path) {
        std::vector<platform::CFolderEntry> entries;
        EXPECT_TRUE(platform::ListFolder(utf8(path).c_str(), &entries)) << path;
        std::map<std::string, int> kinds;
        for (const auto& [name, kind] : entries)
            kinds[name] = kind;
        return kinds;
    };
    using CEntry                      = platform::CFolderEntry;
    const std::u8string        name   = u8"gr\u00FC\u00DFe \u65E5\u672C";
    const fs::path             nested = folder / name;
    std::map<std::string, int> expected{
        {"file", CEntry::kFile}, {".hidden", CEntry::kFile}, {{name.begin(), name.end()}, CEntry::kFolder}};
    fs::create_directory(nested);
    folder.Write("file", "");
    folder.Write(".hidden", "");
    if (!kWindows) {
        fs::create_symlink(".", folder / "circle");
        fs::create_symlink("file", folder / "other");
        fs::create_symlink("missing", folder / "nothing");
        expected.insert(
            {{"circle", CEntry::kFolderLink}, {"other", CEntry::kFile}, {"nothing", CEntry::kFile}});
    }
    EXPECT_EQ(list(folder / ""), expected);
    EXPECT_TRUE(list(nested).empty());
    // The path of each entry opens it.
    EXPECT_TRUE(fs::exists(platform::JoinPath((folder / "").string(), "file")));
    EXPECT_TRUE(fs::exists(platform::JoinPath((folder / ".").string(), "file")));

    for (const char* path : {"missing", "file"}) {
        std::vector<CEntry> entries;
        platform::SetLastError(0);
        EXPECT_FALSE(platform::ListFolder(utf8(folder / path).c_str(), &entries)) << path;
        EXPECT_NE(platform::LastError(), 0u);
        EXPECT_TRUE(entries.empty());
    }
}

TEST(WholeFile, StandsInItsPlaceOnceItIsWhole) {
    const CTempFolder folder;
    const fs::path    path    = folder.Write("file", "old");
    const auto        content = [&] { return test_support::ReadText(path); };
    const auto        count   = [&] {
        return std::distance(fs::directory_iterator(folder / ""), fs::directory_iterator());
    };
    unsigned error = 0;
    {
        platform::CWholeFile givenUp;
        ASSERT_TRUE(givenUp.Open(path.string().c_str(), &error));
        EXPECT_TRUE(givenUp.Write("new", &error));
        EXPECT_EQ(content(), "old");
    }
    EXPECT_EQ(content(), "old");
    EXPECT_EQ(count(), 1);
    {
        platform::CWholeFile whole;
        ASSERT_TRUE(whole.Open(path.string().c_str(), &error));
        EXPECT_TRUE(whole.Write("ne", &error) && whole.Write("w", &error) && whole.Finish(&error));
        EXPECT_EQ(content(), "new");
    }
    EXPECT_EQ(content(), "new");
    EXPECT_EQ(count(), 1);
    for (const fs::path& bad : {folder / "missing" / "file", folder / ""}) {
        error = 0;
        EXPECT_FALSE(platform::CWholeFile().Open(bad.string().c_str(), &error)) << bad;
        EXPECT_NE(error, 0u);
    }
}

TEST(Files, AreAppendedToByManyAtOnce) {
    const CTempFolder folder;
    const std::string path   = (folder / "log.txt").string();
    std::FILE*        first  = platform::OpenForAppending(path.c_str());
    std::FILE*        second = platform::OpenForAppending(path.c_str());
    ASSERT_TRUE(first != nullptr && second != nullptr);
    for (int i = 0; i < 2; ++i) {
        std::fputs("first\n", first);
        std::fflush(first);
        std::fputs("second\n", second);
        std::fflush(second);
    }
    std::fclose(first);
    std::fclose(second);
    EXPECT_EQ(test_support::ReadText(path), "first\nsecond\nfirst\nsecond\n");
    EXPECT_EQ(platform::OpenForAppending((folder / "no folder/log.txt").string().c_str()), nullptr);
}

}  // namespace
