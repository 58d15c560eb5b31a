#include "apps/project_files.h"

#include "apps/tool.h"
#include "tessel/platform/platform.h"

#include <algorithm>
#include <sstream>

#include <CLI/CLI.hpp>

namespace preview {
namespace {

std::string LowerCase(std::string text) {
    for (char& ch : text)
        if (ch >= 'A' && ch <= 'Z') ch = static_cast<char>(ch + ('a' - 'A'));
    return text;
}

std::vector<std::string> Split(const std::string& list) {
    std::vector<std::string> words;
    std::istringstream       stream(list);
    for (std::string word; std::getline(stream, word, ',');)
        words.push_back(std::move(word));
    return words;
}

/// Empty when the text is a list of extensions, as the command line parser wants it.
std::string CheckExtensions(const std::string& text) {
    for (const std::string& extension : Split(text))
        if (extension.size() < 2 || extension.front() != '.')
            return "'" + extension + "' is no extension such as .tarvex";
    return text.empty() || text.back() == ',' ? "an extension is missing" : "";
}

bool IsFolder(const std::string& path) {
    platform::CFileInfo info;
    return platform::GetFileInfo(tool::PathFromArgument(path).ToNarrow().c_str(), &info) && info.mIsDirectory;
}

/// An entry's place among the others is that of its path, or of the paths in it.
std::string SortKey(const platform::CFolderEntry& entry) {
    return entry.mKind == platform::CFolderEntry::kFolder ? platform::JoinPath(entry.mName, "") : entry.mName;
}

}  // namespace

void AddSelection(CLI::App& command, CProjectSelection& selection) {
    command.add_flag("--recursive", selection.mRecursive, "Also the folders in folders");
    command
        .add_option("--ext", selection.mExtensions,
                    "Extensions of the projects in folders, by default .tarvex")
        ->type_name(".ABC,.DEF")
        ->check(CheckExtensions);
    command.add_option("FILE", selection.mPaths, "Project files, or folders with project files")
        ->required()
        ->type_name("");
}

CProjectFiles::CProjectFiles(const CProjectSelection& selection)
    : mExtensions(Split(LowerCase(selection.mExtensions))), mRecursive(selection.mRecursive) {
    for (auto path = selection.mPaths.rbegin(); path != selection.mPaths.rend(); ++path)
        mPending.push_back({*path, IsFolder(*path)});
}

bool CProjectFiles::Next(CFoundPath* found) {
    while (!mPending.empty()) {
        const CPending next = std::move(mPending.back());
        mPending.pop_back();
        *found = {next.mPath, {}};
        if (!next.mIsFolder || !List(next.mPath, &found->mReason)) return true;
    }
    return false;
}

bool CProjectFiles::TakesFile(const std::string& name) const {
    const std::string lower = LowerCase(name);
    return std::any_of(mExtensions.begin(), mExtensions.end(),
                       [&](const std::string& extension) { return lower.ends_with(extension); });
}

bool CProjectFiles::List(const std::string& folder, std::string* reason) {
    using CEntry = platform::CFolderEntry;
    std::vector<CEntry> entries;
    const bool          complete = platform::ListFolder(folder.c_str(), &entries);
    if (!complete) *reason = tool::ReasonOf(platform::LastError());

    std::erase_if(entries, [&](const CEntry& entry) {
        return entry.mKind == CEntry::kFile ? !TakesFile(entry.mName)
                                            : !mRecursive || entry.mKind == CEntry::kFolderLink;
    });
    std::sort(entries.begin(), entries.end(),
              [](const CEntry& a, const CEntry& b) { return SortKey(a) > SortKey(b); });
    for (const CEntry& entry : entries)
        mPending.push_back({platform::JoinPath(folder, entry.mName), entry.mKind == CEntry::kFolder});
    return complete;
}

}  // namespace preview
