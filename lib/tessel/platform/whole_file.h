#pragma once

#include <filesystem>
#include <fstream>
#include <string_view>

namespace platform {

/// A file that is written piece by piece and stands in its place once it is whole: until then what was
/// there stays, and nothing is left of one that is given up (but a draft, `.tarvex-*.part`, of a program that
/// is ended amid its work). A pipe or a device is written to as it is.
class CWholeFile {
  public:
    CWholeFile() = default;
    ~CWholeFile();
    CWholeFile(const CWholeFile&)            = delete;
    CWholeFile& operator=(const CWholeFile&) = delete;

    /// @param path   UTF-8 (elsewhere than on Windows any bytes); where it is a link, its goal is written
    /// @param error  receives the system error code of a failure, here and below
    bool Open(const char* path, unsigned* error);
    bool Write(std::string_view bytes, unsigned* error);
    bool Finish(unsigned* error);

  private:
    std::filesystem::path mGoal;   ///< where the file will stand
    std::filesystem::path mDraft;  ///< where it is written until it is whole; empty when there is none
    std::ofstream         mFile;
};

}  // namespace platform
