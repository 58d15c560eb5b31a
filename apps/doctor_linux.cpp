// What a Linux desktop was told of projects: files below the folders of shared data.

#include "apps/doctor.h"
#include "tessel/platform/platform.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <sstream>
#include <string_view>
#include <system_error>

namespace preview::doctor {
namespace {

constexpr char             kMimeType[] = "application/x-tarvex-project";
constexpr std::string_view kBegin      = "$begin 'TarvexProject'";  // of a project, for who looks inside
constexpr char kInstall[] = "Install the package (sudo apt install --reinstall ./tarvex-preview_*.deb).";

/// What is known of the desktop so far.
struct CDesktop {
    const CCase&             mCase;
    std::vector<std::string> mFolders;  ///< of shared data, the most important first
    std::string              mMime;     ///< the folder `mime` that has the description of the type
    std::string              mEntry;    ///< of the thumbnailer, and its keys:
    std::string              mTryExec;
    std::string              mExec;
    bool                     mByName = true;  ///< the name tells the type; else the content does
};

std::string Variable(const char* name, const std::string& otherwise) {
    std::string value;
    return platform::GetEnvironment(name, &value) && !value.empty() ? value : otherwise;
}

std::string HomeFolder(const char* variable, const char* otherwise) {
    return Variable(variable, platform::JoinPath(Variable("HOME", "/"), otherwise));
}

std::vector<std::string> Split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream       stream(text);
    for (std::string part; std::getline(stream, part, separator);)
        if (!part.empty()) parts.push_back(part);
    return parts;
}

std::vector<std::string> DataFolders() {
    std::vector<std::string> folders = {HomeFolder("XDG_DATA_HOME", ".local/share")};
    for (const std::string& folder : Split(Variable("XDG_DATA_DIRS", "/usr/local/share:/usr/share"), ':'))
        folders.push_back(folder);
    return folders;
}

/// A file from its beginning on; empty when it cannot be read, or is a pipe or device.
std::string Content(const std::string& path, std::size_t most = std::string::npos) {
    std::FILE*  file = platform::OpenForReading(path.c_str(), false);
    std::string content;
    if (file == nullptr) return content;
    std::array<char, 16384> piece;
    for (std::size_t count = 1; count != 0 && content.size() < most;) {
        count = std::fread(piece.data(), 1, std::min(piece.size(), most - content.size()), file);
        content.append(piece.data(), count);
    }
    std::fclose(file);
    return content;
}

/// The paths of a folder's files with this ending, by their names.
std::vector<std::string> Files(const std::string& folder, std::string_view ending) {
    std::vector<platform::CFolderEntry> entries;
    platform::ListFolder(folder.c_str(), &entries);
    std::vector<std::string> files;
    for (const auto& [name, kind] : entries)
        if (kind == platform::CFolderEntry::kFile && name.ends_with(ending))
            files.push_back(platform::JoinPath(folder, name));
    std::sort(files.begin(), files.end());
    return files;
}

std::string Below(const CDesktop& desktop, const char* what) {
    std::string text;
    for (const std::string& folder : desktop.mFolders)
        text += (text.empty() ? "" : ", ") + platform::JoinPath(folder, what);
    return text;
}

std::string Quoted(const std::string& text) {
    return '"' + text + '"';
}

std::string UpdateRemedy(const CDesktop& desktop) {
    if (desktop.mMime.empty()) return kInstall;
    const bool writable = access(desktop.mMime.c_str(), W_OK) == 0;
    return std::string("Bring the database up to date: ") + (writable ? "" : "sudo ") +
           "update-mime-database " + desktop.mMime;
}

// ---------------------------------------------------------------------------------------------
// The type

CFinding LookAtDescription(CDesktop& desktop) {
    for (const std::string& folder : desktop.mFolders)
        for (const std::string& file : Files(platform::JoinPath(folder, "mime/packages"), ".xml")) {
            if (Content(file).find(Quoted(kMimeType)) == std::string::npos) continue;
            desktop.mMime = platform::JoinPath(folder, "mime");
            return {EState::kHolds, std::string(kMimeType) + " in " + file, ""};
        }
    return {EState::kBroken, "no *.xml in " + Below(desktop, "mime/packages") + " describes " + kMimeType,
            kInstall};
}

/// A type that files with some name have.
struct CNamed {
    int         mWeight;
    std::string mType;
    std::string mSource;  ///< the file that says so
};

/// The types of "*EXTENSION" of all compiled databases. A more important one may take back what others say.
std::vector<CNamed> TypesByName(const CDesktop& desktop) {
    std::vector<CNamed>   found;
    std::set<std::string> takenBack;
    for (const std::string& folder : desktop.mFolders) {
        const std::string     source = platform::JoinPath(folder, "mime/globs2");
        std::set<std::string> takenBackHere;
        for (const std::string& line : Split(Content(source), '\n')) {
            const std::vector<std::string> fields = Split(line, ':');  // weight:type:pattern[:flags]
            if (line.starts_with('#') || fields.size() < 3 || takenBack.count(fields[1]) != 0) continue;
            if (fields[2] == "__NOGLOBS__") takenBackHere.insert(fields[1]);
            if (fields[2] == '*' + desktop.mCase.mExtension)
                found.push_back({std::atoi(fields[0].c_str()), fields[1], source});
        }
        takenBack.merge(takenBackHere);
    }
    return found;
}

CFinding LookAtNamePattern(CDesktop& desktop) {
    const std::string   pattern = '*' + desktop.mCase.mExtension;
    std::vector<CNamed> types;
    if (!desktop.mCase.mExtension.empty()) types = TypesByName(desktop);
    desktop.mByName = !types.empty();
    if (types.empty() && desktop.mCase.mExtension != kExtension)
        return {EState::kNote, "no type has names like this one; the content has to tell", ""};
    if (types.empty())
        return {EState::kBroken, "no type has names like " + pattern + " in " + Below(desktop, "mime/globs2"),
                UpdateRemedy(desktop)};
    std::stable_sort(types.begin(), types.end(),
                     [](const CNamed& a, const CNamed& b) { return a.mWeight > b.mWeight; });
    const auto ours =
        std::find_if(types.begin(), types.end(), [](const CNamed& t) { return t.mType == kMimeType; });
    const CNamed& best = types.front();
    if (ours == types.end() || ours->mWeight < best.mWeight)
        return {EState::kBroken, pattern + " is " + best.mType + " in " + best.mSource,
                "Another program claims the extension: remove its description of " + best.mType +
                    ", or give the file the extension " + kExtension + '.'};
    return {EState::kHolds, pattern + " is " + kMimeType + " in " + ours->mSource, ""};
}

/// What stands in a compiled database of contents about the type; empty for nothing.
std::string ContentRules(const std::string& magic) {
    const std::size_t begin = magic.find(std::string(":") + kMimeType + "]\n");
    return begin == magic.npos ? std::string() : magic.substr(begin, magic.find("\n[", begin) - begin);
}

bool BeginsAsProject(const std::string& path) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    const std::string          bytes          = Content(path, kByteOrderMark.size() + kBegin.size());
    std::string_view           head           = bytes;
    if (head.starts_with(kByteOrderMark)) head.remove_prefix(kByteOrderMark.size());
    return head.starts_with(kBegin);
}

CFinding LookAtContentPattern(CDesktop& desktop) {
    const auto source =
        std::find_if(desktop.mFolders.begin(), desktop.mFolders.end(), [](const auto& folder) {
            return ContentRules(Content(platform::JoinPath(folder, "mime/magic"))).find(kBegin) !=
                   std::string::npos;
        });
    if (source == desktop.mFolders.end())
        return {
            EState::kBroken,
            "nothing on files that begin with " + std::string(kBegin) + " in " + Below(desktop, "mime/magic"),
            UpdateRemedy(desktop)};
    if (!desktop.mByName && !BeginsAsProject(desktop.mCase.mFile))
        return {EState::kBroken,
                "the file does not begin with " + std::string(kBegin) + ", nor does its name tell",
                std::string("Give it the extension ") + kExtension + " if it is a project."};
    return {EState::kHolds, std::string(kBegin) + " in " + platform::JoinPath(*source, "mime/magic"), ""};
}

// ---------------------------------------------------------------------------------------------
// The thumbnailer

/// The value of a key in the one group that an entry has; empty when it is not there.
std::string ValueOf(const std::string& entry, const std::string& key) {
    bool inGroup = false;
    for (const std::string& line : Split(entry, '\n')) {
        if (line.starts_with('[')) inGroup = line.starts_with("[Thumbnailer Entry]");
        const std::size_t equals = line.find('=');
        if (!inGroup || equals == line.npos ||
            line.substr(0, line.find_last_not_of(' ', equals - 1) + 1) != key)
            continue;
        const std::size_t begin = line.find_first_not_of(' ', equals + 1);
        return begin == line.npos ? std::string()
                                  : line.substr(begin, line.find_last_not_of(" \r") + 1 - begin);
    }
    return {};
}

CFinding LookAtEntry(CDesktop& desktop) {
    for (const std::string& folder : desktop.mFolders)
        for (const std::string& file : Files(platform::JoinPath(folder, "thumbnailers"), ".thumbnailer")) {
            const std::string              entry = Content(file);
            const std::vector<std::string> types = Split(ValueOf(entry, "MimeType"), ';');
            if (std::find(types.begin(), types.end(), kMimeType) == types.end()) continue;
            desktop.mEntry   = file;
            desktop.mTryExec = ValueOf(entry, "TryExec");
            desktop.mExec    = ValueOf(entry, "Exec");
            if (!desktop.mExec.empty()) return {EState::kHolds, file, ""};
            return {EState::kBroken, file + " has no line Exec=", kInstall};
        }
    return {EState::kBroken, "no *.thumbnailer in " + Below(desktop, "thumbnailers") + " is for " + kMimeType,
            kInstall};
}

bool IsProgram(const std::string& path) {
    platform::CFileInfo info;
    return platform::GetFileInfo(path.c_str(), &info) && info.mIsRegular && access(path.c_str(), X_OK) == 0;
}

/// The program that a command's first word means; empty when there is none.
std::string FindProgram(const std::string& name) {
    if (name.find('/') != name.npos) return IsProgram(name) ? name : std::string();
    for (const std::string& folder : Split(Variable("PATH", ""), ':'))
        if (std::string path = platform::JoinPath(folder, name); IsProgram(path)) return path;
    return {};
}

CFinding LookAtProgram(CDesktop& desktop) {
    const std::string command = desktop.mExec.substr(0, desktop.mExec.find(' '));
    for (const std::string& name : {desktop.mTryExec, command})
        if (!name.empty() && FindProgram(name).empty())
            return {
                EState::kBroken,
                name + ", which " + desktop.mEntry + " names, is no program in PATH=" + Variable("PATH", ""),
                std::string(kInstall) + " It puts the program into /usr/bin."};
    const std::string program = FindProgram(command);
    if (program.starts_with("/usr/")) return {EState::kHolds, program, ""};
    return {EState::kNote, program + " (GNOME runs thumbnailers where nothing but /usr can be seen)", ""};
}

// ---------------------------------------------------------------------------------------------
// Failures that a desktop remembers: pictures without content, which say what they stand for.

std::string UriOf(const std::string& file) {
    constexpr std::string_view kPlain = "!$&'()*+,;=:@/-._~";
    constexpr char             kHex[] = "0123456789ABCDEF";
    std::string                uri    = "file://";
    std::error_code            ignored;
    for (const char ch : std::filesystem::absolute(file, ignored).lexically_normal().string()) {
        const auto byte  = static_cast<unsigned char>(ch);
        const bool alnum = (ch >= '0' && ch <= '9') || (ch >= 'A' && ch <= 'Z') || (ch >= 'a' && ch <= 'z');
        if (alnum || kPlain.find(ch) != kPlain.npos)
            uri += ch;
        else
            uri += {'%', kHex[byte / 16], kHex[byte % 16]};
    }
    return uri;
}

/// A text that a PNG file carries under a keyword; empty when there is none.
std::string PngText(const std::string& png, std::string_view keyword) {
    const std::string chunk = "tEXt" + std::string(keyword) + '\0';
    const std::size_t type  = png.find(chunk);
    if (type == png.npos || type < 4) return {};
    std::size_t length = 0;  // in front of the type; counts what is behind it
    for (std::size_t i = type - 4; i < type; ++i)
        length = length << 8 | static_cast<unsigned char>(png[i]);
    const std::size_t begin = type + chunk.size(), end = std::min(type + 4 + length, png.size());
    return begin < end ? png.substr(begin, end - begin) : std::string();
}

CFinding LookAtFailures(CDesktop& desktop) {
    const std::string folder = platform::JoinPath(HomeFolder("XDG_CACHE_HOME", ".cache"), "thumbnails/fail");
    platform::CFileInfo info;
    if (desktop.mCase.mFile.empty() || !platform::GetFileInfo(desktop.mCase.mFile.c_str(), &info))
        return {EState::kNotApplicable, "they are kept in " + folder, ""};
    const std::string uri = UriOf(desktop.mCase.mFile), modified = std::to_string(info.mModified);
    std::vector<platform::CFolderEntry> programs;
    platform::ListFolder(folder.c_str(), &programs);
    for (const auto& [program, kind] : programs)
        for (const std::string& file : Files(platform::JoinPath(folder, program), ".png")) {
            const std::string png = Content(file);
            if (PngText(png, "Thumb::URI") == uri && PngText(png, "Thumb::MTime") == modified)
                return {EState::kNote,
                        "not tried again until the file changes: it failed before; to forget that, delete " +
                            file,
                        ""};
        }
    return {EState::kHolds, "none of this file in " + folder, ""};
}

constexpr CStep<CDesktop> kTypeSteps[] = {
    {"Type", LookAtDescription},
    {"Name pattern", LookAtNamePattern},
    {"Content pattern", LookAtContentPattern},
};
constexpr CStep<CDesktop> kThumbnailerSteps[] = {
    {"Thumbnailer", LookAtEntry, true},
    {"Program", LookAtProgram},
    {"Remembered failures", LookAtFailures},
};

}  // namespace

void ExamineSystem(const CCase& subject, CReport& report) {
    CDesktop desktop{subject, DataFolders(), {}, {}, {}, {}};
    report.push_back(Walk("File type", kTypeSteps, desktop));
    report.push_back(Walk("Thumbnailer", kThumbnailerSteps, desktop));
}

}  // namespace preview::doctor
