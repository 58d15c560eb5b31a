#include "apps/preview_commands.h"
#include "apps/project_info.h"
#include "apps/project_picture.h"
#include "apps/tool.h"
#include "tessel/platform/platform.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <memory>
#include <new>
#include <optional>
#include <string_view>
#include <system_error>

#include <CLI/CLI.hpp>

namespace preview {
namespace {

using namespace ProjectPreviewHelper;

struct CThumbnailOptions {
    std::vector<std::string> mFiles;
    std::string              mOutput;
    std::string              mSize;  ///< pixels; empty keeps the picture's own size
};

/// Empty when the text is a positive decimal number, as the command line parser wants it.
std::string CheckPositive(const std::string& text) {
    std::uint32_t value    = 0;
    const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (code == std::errc() && end == text.data() + text.size() && value > 0) return {};
    return "'" + text + "' is no positive number of pixels";
}

std::uint32_t ToNumber(const std::string& text) {
    std::uint32_t value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

bool ReadPicture(const AString& path, CPicture& picture, std::string* reason) {
    CThumbnailText text;
    if (!tool::CanOpen(path, reason)) return false;
    platform::CFileInfo attributes;
    *reason = WhyNoPreview(platform::GetFileInfo(path.ToNarrow().c_str(), &attributes)
                               ? std::optional<std::uint64_t>(attributes.mSize)
                               : std::nullopt);
    return GetProjectThumbnailText(path, text) && DecodePicture(text, picture, reason);
}

/// The picture as a PNG file that fits `maxSide` x `maxSide`: the stored one, where that is as good.
std::vector<std::uint8_t> ToPng(const CPicture& picture, std::uint32_t maxSide) {
    const auto& [stored, pixels] = picture;
    if (!Fits(pixels, maxSide)) return platform::EncodeAsPng(platform::ScaleToFit(pixels, maxSide));
    return platform::IsPlainPng(stored.data(), stored.size()) ? stored : platform::EncodeAsPng(pixels);
}

std::filesystem::path ToPath(const std::string& utf8) {
    return {reinterpret_cast<const char8_t*>(utf8.c_str())};
}

/// A picture of another time must not stand for the one that cannot be made, nor the empty file that a
/// caller made for it. Anything else stays: what a link leads to, and what was asked for a picture itself.
void RemoveOldPicture(const std::string& output, const std::string& input) {
    constexpr std::string_view  kPngBegin = "\x89PNG\r\n\x1A\n";
    const std::filesystem::path name      = ToPath(output);
    std::error_code             ignored;
    if (!std::filesystem::is_regular_file(std::filesystem::symlink_status(name, ignored))) return;
    if (std::filesystem::equivalent(name, ToPath(input), ignored)) return;
    std::ifstream file(name, std::ios::binary);
    if (!file.is_open()) return;
    std::string begin(kPngBegin.size(), '\0');
    begin.resize(static_cast<std::size_t>(file.read(begin.data(), std::ssize(begin)).gcount()));
    file.close();
    if (begin.empty() || begin == kPngBegin) std::filesystem::remove(name, ignored);
}

int Make(const CLI::App& app, const CThumbnailOptions& options, const std::string& file) {
    std::string reason;
    CPicture    picture;
    if (!ReadPicture(tool::PathFromArgument(file), picture, &reason)) {
        RemoveOldPicture(options.mOutput, file);
        tool::Complain(app, file, reason);
        return tool::kBadInput;
    }
    unsigned   error = 0;
    const auto png   = ToPng(picture, ToNumber(options.mSize));
    if (!platform::WriteWholeFile(options.mOutput.c_str(), png, &error)) {
        tool::Complain(app, options.mOutput, tool::ReasonOf(error));
        return tool::kBadInput;
    }
    return tool::kAllWell;
}

int Thumbnail(const CLI::App& app, const CThumbnailOptions& options, const std::string& file) {
    if (IsProject(options.mOutput)) {
        tool::Complain(app, options.mOutput, "is a project file and will not be replaced");
        return tool::kBadUse;
    }
    try {
        return Make(app, options, file);
    } catch (const std::bad_alloc&) {
        RemoveOldPicture(options.mOutput, file);
        throw;
    }
}

}  // namespace

CServe DeclareThumbnail(const CLI::App& app, CLI::App& command) {
    const auto options = std::make_shared<CThumbnailOptions>();
    command.add_option("-o,--output", options->mOutput, "The PNG file to write")
        ->required()
        ->type_name("OUT.png");
    command.add_option("--size", options->mSize, "Scale down to fit N x N pixels; never up")
        ->type_name("N")
        ->check(CheckPositive);
    command.add_option("FILE", options->mFiles, "Project file")->required()->expected(1)->type_name("");
    return [&app, options] {
        return tool::ForEachFile(app, options->mFiles,
                                 [&](const std::string& file) { return Thumbnail(app, *options, file); });
    };
}

}  // namespace preview
