#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace preview {

/// What the user names as projects: files, and folders whose projects are meant.
struct CProjectSelection {
    std::vector<std::string> mPaths;
    std::string              mExtensions = ".tarvex";  ///< with commas between them
    bool                     mRecursive  = false;      ///< also the folders in folders
};
/// Declares a selection to a command's parser.
void AddSelection(CLI::App& command, CProjectSelection& selection);

/// A project's path, or that of a folder which could not be listed.
struct CFoundPath {
    std::string mPath;
    std::string mReason;  ///< of a folder; empty for a project
};

/// Goes through a selection. What is named comes in the order in which it is named; what a folder holds is
/// sorted by path, byte by byte. A file in a folder is taken by its extension, in upper or lower case; links
/// to folders are not followed, which might lead round in circles. Folders are listed as they are come to.
class CProjectFiles {
  public:
    explicit CProjectFiles(const CProjectSelection& selection);

    /// @return false when there are no more.
    bool Next(CFoundPath* found);

  private:
    struct CPending {
        std::string mPath;
        bool        mIsFolder;
    };
    bool TakesFile(const std::string& name) const;
    bool List(const std::string& folder, std::string* reason);

    std::vector<std::string> mExtensions;  ///< in lower case
    bool                     mRecursive;
    std::vector<CPending>    mPending;  ///< the next one last
};

}  // namespace preview
