#pragma once

#include "tessel/platform/test_support.h"
#include "tessel/streamio/stream_support.h"
#include "viewkit/tools/ProjectPreviewHelper.h"

#include <string>

/// Project files made of rows, and what is read from them as text.
namespace preview_support {

using namespace stream_support;

inline AString PathOf(const std::filesystem::path& path) {
    return AString(path.string().c_str());
}

/// A project file for the life of a test; each content replaces the one before.
class CProject {
  public:
    const AString& Write(std::string_view content) {
        std::filesystem::remove(Path());  // a file that is written over may be flushed to the disk each time
        mFolder.Write("project.tarvex", content);
        return mPath;
    }
    /// A file with this preview block.
    const AString& WritePreview(std::string_view body) {
        return Write("$begin 'TarvexProject'\n$end 'TarvexProject'\n$begin 'ProjectPreview'\n" +
                     std::string(body) + "\n$end 'ProjectPreview'\n");
    }
    std::filesystem::path Path() const { return mFolder / "project.tarvex"; }

  private:
    test_support::CTempFolder mFolder;
    AString                   mPath = PathOf(mFolder / "project.tarvex");
};

}  // namespace preview_support
