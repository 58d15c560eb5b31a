#include "tessel/platform/whole_file.h"

#include "tessel/platform/platform.h"

#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <system_error>

namespace platform {
namespace {

namespace fs = std::filesystem;

/// Where a path leads, also to what is not there yet. None for what is no file of its own: pipes, devices,
/// and the names of what a process has open, such as /dev/stdout.
std::optional<fs::path> GoalOf(fs::path path) {
    constexpr int       kMostLinks = 40;  // round in a circle, for all we know
    std::error_code     code;
    const fs::file_type type = fs::status(path, code).type();
    if (type != fs::file_type::not_found && type != fs::file_type::regular) return std::nullopt;
    for (int links = 0; links < kMostLinks && fs::is_symlink(fs::symlink_status(path, code)); ++links) {
        path = path.parent_path() / fs::read_symlink(path, code);
        if (path.generic_u8string().starts_with(u8"/proc/")) return std::nullopt;
    }
    return path;
}

/// Of a length that every folder takes, and not to be guessed.
std::string DraftName() {
    std::random_device random;
    std::ostringstream name;
    name << ".tarvex-" << std::hex << random() << random() << ".part";
    return name.str();
}

bool Fail(unsigned code, unsigned* error) {
    *error = code;
    return false;
}

}  // namespace

CWholeFile::~CWholeFile() {
    if (mDraft.empty()) return;
    mFile.close();
    std::error_code ignored;
    fs::remove(mDraft, ignored);
}

bool CWholeFile::Open(const char* path, unsigned* error) {
    const fs::path                name(reinterpret_cast<const char8_t*>(path));
    const std::optional<fs::path> goal  = GoalOf(name);
    fs::path                      draft = goal.value_or(name);
    std::error_code               ignored;
    const fs::perms modes = goal ? fs::status(*goal, ignored).permissions() : fs::perms::unknown;
    if (goal && fs::exists(*goal, ignored)) {
        // What may not be written is not replaced either.
        const std::ofstream may(*goal, std::ios::binary | std::ios::app);
        if (!may.is_open()) return Fail(LastError(), error);
    }
    if (goal) draft.replace_filename(DraftName());
    mFile.open(draft, std::ios::binary);
    if (!mFile.is_open()) return Fail(LastError(), error);
    if (goal) {
        if (modes != fs::perms::unknown && modes != fs::perms::none) fs::permissions(draft, modes, ignored);
        mGoal  = *goal;
        mDraft = std::move(draft);
    }
    return true;
}

bool CWholeFile::Write(std::string_view bytes, unsigned* error) {
    if (mFile.write(bytes.data(), static_cast<std::streamsize>(bytes.size()))) return true;
    return Fail(LastError(), error);
}

bool CWholeFile::Finish(unsigned* error) {
    mFile.close();
    if (!mFile) return Fail(LastError(), error);
    if (mDraft.empty()) return true;
    std::error_code code;
    fs::rename(mDraft, mGoal, code);
    if (code) return Fail(static_cast<unsigned>(code.value()), error);
    mDraft.clear();
    return true;
}

}  // namespace platform
