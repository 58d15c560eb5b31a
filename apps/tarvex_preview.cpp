// tarvex-preview: what the file manager shows of a project, for the terminal and for thumbnailers.

#include "apps/tool.h"
#include "tessel/platform/picture.h"
#include "tessel/platform/platform.h"
#include "viewkit/tools/InfoTip.h"
#include "viewkit/tools/ProjectPreviewHelper.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <iomanip>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

namespace {

using namespace ProjectPreviewHelper;
using nlohmann::ordered_json;

struct COptions {
    std::vector<std::string> mFiles;
    bool                     mJson = false;
    std::string              mOutput;
    std::uint32_t            mSize = 0;  ///< pixels; 0 keeps the picture's own size
};

std::string Utf8(const AString& text) {
    return text.ToNarrow(kUtf8Encoding);
}

// ---------------------------------------------------------------------------------------------
// tip

/// A file that cannot be opened still gets its tip: that is what the file manager would show.
int Tip(const CLI::App& app, const COptions& options) {
    return tool::ForEachFile(app, options.mFiles, [&](const std::string& file) {
        const AString     path = tool::PathFromArgument(file);
        const std::string tip  = tool::NarrowToUtf8(ComposeInfoTip(path.ToNarrow()));
        if (options.mFiles.size() > 1)
            std::cout << (&file == &options.mFiles.front() ? "" : "\n") << tool::ValidUtf8(file) << ":\n";
        std::cout << tip << '\n';
        std::string reason;
        if (tool::CanOpen(path, &reason)) return tool::kAllWell;
        tool::Complain(app, file, reason);
        return tool::kBadInput;
    });
}

// ---------------------------------------------------------------------------------------------
// info

struct CVersion {
    std::string  mProduct;  ///< the file's own bytes
    std::int32_t mMajor, mMinor;
};

/// Everything that the preview reader knows of one file.
struct CProjectInfo {
    std::string                  mPath;
    std::optional<CVersion>      mVersion;
    std::optional<std::uint64_t> mSize;  ///< bytes
    bool                         mHasPreview = false;
    std::vector<DesignPreview>   mDesigns;
    CThumbnailText               mThumbnail;
};

CProjectInfo ReadProjectInfo(const std::string& file, const AString& path, bool canOpen) {
    CProjectInfo info;
    info.mPath = file;
    std::string   product;
    std::uint32_t major = 0, minor = 0;
    if (GetProjectHeaderInfo(path, product, major, minor))
        info.mVersion = {product, static_cast<std::int32_t>(major), static_cast<std::int32_t>(minor)};
    platform::CFileInfo attributes;
    if (canOpen && platform::GetFileInfo(path.ToNarrow().c_str(), &attributes)) info.mSize = attributes.mSize;
    info.mHasPreview = GetProjectPreviewData(path, info.mDesigns);
    if (info.mHasPreview) GetProjectThumbnailText(path, info.mThumbnail);
    return info;
}

const char* EncodingName(const CThumbnailText& thumbnail) {
    return thumbnail.IsBase64 ? "base64" : "hex";
}

std::size_t DecodedSize(const CThumbnailText& thumbnail) {
    return thumbnail.IsBase64 ? DecodeBase64(thumbnail.Text, 0, nullptr)
                              : DecodeHex(thumbnail.Text, 0, nullptr);
}

ordered_json ToJson(const DesignPreview& design) {
    ordered_json nominal = ordered_json::array(), paramorph = ordered_json::array();
    for (const AString& setup : design.NominalSetups)
        nominal.push_back(Utf8(setup));
    for (const SetupExperiment& setup : design.ParamorphSetups)
        paramorph.push_back({{"name", Utf8(setup.Name)}, {"experimentType", setup.ExperimentType}});
    return {{"name", Utf8(design.DesignName)}, {"notes", Utf8(design.Notes)}, {"isSolved", design.IsSolved},
            {"factory", Utf8(design.Factory)}, {"nominalSetups", nominal},    {"paramorphSetups", paramorph}};
}

ordered_json ToJson(const CProjectInfo& info) {
    ordered_json json = {{"path", info.mPath},
                         {"product", nullptr},
                         {"major", nullptr},
                         {"minor", nullptr},
                         {"size", nullptr}};
    if (info.mVersion) {
        json["product"] = info.mVersion->mProduct;
        json["major"]   = info.mVersion->mMajor;
        json["minor"]   = info.mVersion->mMinor;
    }
    if (info.mSize) json["size"] = *info.mSize;
    json["hasPreview"] = info.mHasPreview;
    json["designs"]    = ordered_json::array();
    for (const DesignPreview& design : info.mDesigns)
        json["designs"].push_back(ToJson(design));
    json["thumbnail"] = nullptr;
    if (!info.mThumbnail.Text.IsEmpty())
        json["thumbnail"] = {{"encoding", EncodingName(info.mThumbnail)},
                             {"bytes", DecodedSize(info.mThumbnail)}};
    return json;
}

/// Text of a file on one line of the table: well-formed, and with blanks for control characters, which
/// would break the line or reach the terminal.
std::string OneLine(const std::string& text) {
    std::string line = tool::ValidUtf8(text);
    for (std::size_t i = 0; i < line.size(); ++i) {
        const bool first = static_cast<unsigned char>(line[i]) < ' ' || line[i] == '\x7F';
        const bool second =
            line[i] == '\xC2' && static_cast<unsigned char>(line[i + 1]) < 0xA0;  // U+0080..U+009F
        if (first || second) line.replace(i, second ? 2 : 1, " ");
    }
    return line;
}

void PrintRow(const char* label, const std::string& value) {
    constexpr int kLabelWidth = 13;
    if (!value.empty())
        std::cout << "  " << std::left << std::setw(kLabelWidth) << label << OneLine(value) << '\n';
}

std::string SizeText(std::uint64_t bytes) {
    char text[50];
    return platform::FormatByteSize(bytes, text, sizeof text) ? text : std::to_string(bytes) + " bytes";
}

template <class List, class ToText>
std::string Joined(const List& list, ToText toText) {
    std::string text;
    for (const auto& element : list)
        text += (text.empty() ? "" : ", ") + toText(element);
    return text;
}

void PrintTable(const DesignPreview& design) {
    std::cout << '\n';
    PrintRow("Design", design.DesignName.IsEmpty() ? "(no name)" : Utf8(design.DesignName));
    PrintRow("  notes", Utf8(design.Notes));
    PrintRow("  solved", design.IsSolved ? "yes" : "no");
    PrintRow("  factory", Utf8(design.Factory));
    PrintRow("  setups", Joined(design.NominalSetups, Utf8));
    PrintRow("  parametric", Joined(design.ParamorphSetups, [](const SetupExperiment& setup) {
                 return Utf8(setup.Name) + " (type " + std::to_string(setup.ExperimentType) + ")";
             }));
}

void PrintTable(const CProjectInfo& info) {
    std::cout << OneLine(info.mPath) << '\n';
    const auto& version = info.mVersion;
    PrintRow("Product", version ? version->mProduct + ' ' + std::to_string(version->mMajor) + '.' +
                                      std::to_string(version->mMinor)
                                : "unknown");
    PrintRow("Size", info.mSize ? SizeText(*info.mSize) : "unknown");
    PrintRow("Preview", info.mHasPreview ? std::to_string(info.mDesigns.size()) + " design(s)" : "none");
    PrintRow("Thumbnail", info.mThumbnail.Text.IsEmpty() ? "none"
                                                         : SizeText(DecodedSize(info.mThumbnail)) + ", " +
                                                               EncodingName(info.mThumbnail));
    for (const DesignPreview& design : info.mDesigns)
        PrintTable(design);
}

int Info(const CLI::App& app, const COptions& options) {
    return tool::ForEachFile(app, options.mFiles, [&](const std::string& file) {
        const AString      path = tool::PathFromArgument(file);
        std::string        reason;
        const bool         canOpen = tool::CanOpen(path, &reason);
        const CProjectInfo info    = ReadProjectInfo(file, path, canOpen);
        if (options.mJson) {
            std::cout << tool::JsonLine(ToJson(info)) << '\n';
        } else {
            if (&file != &options.mFiles.front()) std::cout << '\n';
            PrintTable(info);
        }
        if (canOpen) return tool::kAllWell;
        tool::Complain(app, file, reason);
        return tool::kBadInput;
    });
}

// ---------------------------------------------------------------------------------------------
// thumbnail

struct CThumbnail {
    std::vector<std::uint8_t> mStored;  ///< the image file in the project
    platform::CPixels         mPicture;
};

/// False when there is no picture; `reason` then says why.
bool ReadThumbnail(const AString& path, CThumbnail& thumbnail, std::string* reason) {
    CThumbnailText text;
    if (!tool::CanOpen(path, reason)) return false;
    *reason = "no preview block";
    if (!GetProjectThumbnailText(path, text)) return false;
    *reason = "no thumbnail in the preview block";
    if (text.Text.IsEmpty()) return false;
    *reason           = "the thumbnail cannot be decoded";
    thumbnail.mStored = DecodeThumbnailText(text.Text, text.IsBase64);
    return platform::DecodeImage(thumbnail.mStored.data(), thumbnail.mStored.size(), &thumbnail.mPicture);
}

/// The picture as a PNG file that fits `maxSide` x `maxSide`: the stored one, where that is as good.
std::vector<std::uint8_t> ToPng(const CThumbnail& thumbnail, std::uint32_t maxSide) {
    const auto& [stored, picture] = thumbnail;
    if (maxSide != 0 && std::max(picture.mWidth, picture.mHeight) > maxSide)
        return platform::EncodeAsPng(platform::ScaleToFit(picture, maxSide));
    return platform::IsPlainPng(stored.data(), stored.size()) ? stored : platform::EncodeAsPng(picture);
}

bool BeginsLikePng(const char* path) {
    constexpr std::string_view kBegin = "\x89PNG\r\n\x1A\n";
    std::FILE*                 file   = platform::OpenForReading(path, false);
    if (file == nullptr) return false;
    char       begin[kBegin.size()];
    const auto count = std::fread(begin, 1, sizeof begin, file);
    std::fclose(file);
    return std::string_view(begin, count) == kBegin;
}

/// Whether the path names a project: writing a picture there would destroy it. A picture that is there
/// already is none, and is not searched from end to beginning.
bool IsProject(const AString& path) {
    const std::string   name = path.ToNarrow();
    platform::CFileInfo attributes;
    if (!platform::GetFileInfo(name.c_str(), &attributes) || !attributes.mIsRegular) return false;
    if (BeginsLikePng(name.c_str())) return false;
    std::string   product;
    std::uint32_t major = 0, minor = 0, offset = 0;
    return GetProjectHeaderInfo(path, product, major, minor) || FindPreviewBlockOffset(path, offset);
}

int Thumbnail(const CLI::App& app, const COptions& options) {
    const std::string& file = options.mFiles.front();
    if (IsProject(tool::PathFromArgument(options.mOutput))) {
        tool::Complain(app, options.mOutput, "is a project file and will not be replaced");
        return tool::kBadUse;
    }
    std::string reason;
    CThumbnail  thumbnail;
    if (!ReadThumbnail(tool::PathFromArgument(file), thumbnail, &reason)) {
        tool::Complain(app, file, reason);
        return tool::kBadInput;
    }
    unsigned error = 0;
    if (!platform::WriteWholeFile(options.mOutput.c_str(), ToPng(thumbnail, options.mSize), &error)) {
        tool::Complain(app, options.mOutput, tool::ReasonOf(error));
        return tool::kBadInput;
    }
    return tool::kAllWell;
}

// ---------------------------------------------------------------------------------------------

/// Empty when the text is a positive decimal number, as the command line parser wants it.
std::string CheckPositive(const std::string& text) {
    std::uint32_t value    = 0;
    const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (code == std::errc() && end == text.data() + text.size() && value > 0) return {};
    return "'" + text + "' is no positive number of pixels";
}

int Run(const std::vector<std::string>& arguments) {
    COptions    options;
    std::string size;
    CLI::App    app("Shows what a project file contains, without starting the suite.", "tarvex-preview");
    app.require_subcommand(1);

    CLI::App* tip = app.add_subcommand("tip", "Prints the info tip of the file manager.");
    tip->add_option("FILE", options.mFiles, "Project files")->required()->type_name("");

    CLI::App* info = app.add_subcommand("info", "Prints all that is known of a project's designs.");
    info->add_flag("--json", options.mJson, "One JSON object a line for each file");
    info->add_option("FILE", options.mFiles, "Project files")->required()->type_name("");

    CLI::App* thumbnail = app.add_subcommand("thumbnail", "Writes the stored picture as a PNG file.");
    thumbnail->add_option("-o,--output", options.mOutput, "The PNG file to write")
        ->required()
        ->type_name("OUT.png");
    thumbnail->add_option("--size", size, "Scale down to fit N x N pixels; never up")
        ->type_name("N")
        ->check(CheckPositive);
    thumbnail->add_option("FILE", options.mFiles, "Project file")->required()->expected(1)->type_name("");

    int status = tool::kAllWell;
    if (!tool::ReadCommandLine(app, arguments, &status)) return status;
    std::from_chars(size.data(), size.data() + size.size(), options.mSize);

    status = tip->parsed()    ? Tip(app, options)
             : info->parsed() ? Info(app, options)
                              : tool::ForEachFile(app, options.mFiles, [&](const std::string&) {
                                    return Thumbnail(app, options);
                                });
    return tool::Finish(app, status);
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): only short memory gets here, and ends the program.
int main(int argc, char** argv) {
    platform::UseBinaryStandardStreams();
    return Run(platform::CommandLine(argc, argv));
}
