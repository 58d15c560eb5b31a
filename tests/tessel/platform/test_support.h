#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#ifdef _WIN32
#include <windows.h>
#else
#include <unistd.h>

#include <thread>
#endif

/// What tests of the lower rooms need from the system, and the libraries do not.
namespace test_support {

#ifdef _WIN32
inline constexpr bool kWindows = true;

inline void SetVariable(const std::string& name, const char* value) {
    _putenv((name + "=" + (value != nullptr ? value : "")).c_str());
    SetEnvironmentVariableA(name.c_str(), value);  // tells an empty value from none
}

inline void Hide(const std::filesystem::path& path) {
    SetFileAttributesW(path.c_str(), GetFileAttributesW(path.c_str()) | FILE_ATTRIBUTE_HIDDEN);
}

inline DWORD WINAPI CallBody(void* body) {
    (*static_cast<void (**)()>(body))();
    return 0;
}
inline void RunOnThread(void (*body)()) {
    const HANDLE thread = CreateThread(nullptr, 0, &CallBody, &body, 0, nullptr);
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
}
#else
inline constexpr bool kWindows = false;

inline void SetVariable(const std::string& name, const char* value) {
    value != nullptr ? setenv(name.c_str(), value, 1) : unsetenv(name.c_str());
}

inline void Hide(const std::filesystem::path&) {}  // a name with a dot is hidden already

inline void RunOnThread(void (*body)()) {
    std::thread(body).join();
}
#endif

/// An environment variable for the life of this object; null removes it.
class CVariable {
  public:
    CVariable(std::string name, const char* value) : mName(std::move(name)) { SetVariable(mName, value); }
    ~CVariable() { SetVariable(mName, nullptr); }
    CVariable(const CVariable&)            = delete;
    CVariable& operator=(const CVariable&) = delete;

  private:
    std::string mName;
};

/// A folder of its own for each test, removed with all that is in it.
class CTempFolder {
  public:
    CTempFolder() {
        static int count = 0;
        do
            mPath = std::filesystem::temp_directory_path() /
                    ("tarvex-test-" + std::to_string(std::rand()) + "-" + std::to_string(++count));
        while (!std::filesystem::create_directory(mPath));
    }
    ~CTempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }
    CTempFolder(const CTempFolder&)            = delete;
    CTempFolder& operator=(const CTempFolder&) = delete;

    std::filesystem::path operator/(const std::filesystem::path& name) const { return mPath / name; }

    /// Writes a file and returns its path.
    std::filesystem::path Write(const std::filesystem::path& name, std::string_view content) const {
        std::ofstream(mPath / name, std::ios::binary) << content;
        return mPath / name;
    }

  private:
    std::filesystem::path mPath;
};

/// A text file's content with LF line ends; empty when there is none.
inline std::string ReadText(const std::filesystem::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace test_support
