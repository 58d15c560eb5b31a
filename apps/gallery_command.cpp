// The gallery: one page with all that it shows inside. Texts go into it as JSON, in which nothing looks like
// HTML, and pictures as base64; the page's own script makes cards of them.

#include "apps/gallery_page.h"
#include "apps/in_order.h"
#include "apps/preview_commands.h"
#include "apps/progress.h"
#include "apps/project_files.h"
#include "apps/project_info.h"
#include "apps/project_picture.h"
#include "apps/tool.h"
#include "tessel/platform/whole_file.h"

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

namespace preview {
namespace {

using nlohmann::ordered_json;
using CBytes = std::vector<std::uint8_t>;

struct CGalleryOptions {
    CProjectSelection mProjects;
    std::string       mOutput;
};

// ---------------------------------------------------------------------------------------------
// The page's parts

/// JSON in ASCII, without any "<": neither an end tag nor a comment can begin in it.
std::string JsonElement(const char* attributes, const ordered_json& json) {
    std::string element = std::string("<script type=\"application/json\" ") + attributes + ">";
    for (const char ch : json.dump(-1, ' ', true, ordered_json::error_handler_t::replace))
        ch == '<' ? element += "\\u003c" : element += ch;
    return element + "</script>\n";
}

std::string Base64(const CBytes& bytes) {
    constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string    text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::size_t count = std::min<std::size_t>(bytes.size() - i, 3);
        std::uint32_t     group = 0;
        for (std::size_t k = 0; k < 3; ++k)
            group = group << 8 | (k < count ? bytes[i + k] : 0u);
        for (std::size_t k = 0; k < 4; ++k)
            text += k <= count ? kDigits[group >> (18 - 6 * k) & 63] : '=';
    }
    return text;
}

/// A small image file of the picture: the stored one, where that is small and nothing but a picture.
CBytes ImageForPage(const CPicture& picture) {
    constexpr std::uint32_t kMaxSide        = 256;     // pixels
    constexpr std::size_t   kMaxStoredBytes = 32'768;  // 2,000 of them make a page that still loads
    const auto& [stored, pixels]            = picture;
    const bool isPlain                      = platform::IsPlainPng(stored.data(), stored.size()) ||
                         platform::IsPlainJpeg(stored.data(), stored.size());
    if (isPlain && Fits(pixels, kMaxSide) && stored.size() <= kMaxStoredBytes) return stored;
    const platform::CPixels scaled = platform::ScaleToFit(pixels, kMaxSide);
    CBytes                  small  = platform::EncodeSmall(scaled);
    return small.empty() ? platform::EncodeAsPng(scaled) : small;
}

std::string PictureElement(const CPicture& picture) {
    const CBytes image = ImageForPage(picture);
    const char*  type  = image.front() == 0x89 ? "png" : "jpeg";
    return std::string("<script type=\"text/plain\">data:image/") + type + ";base64," + Base64(image) +
           "</script>\n";
}

/// All that the page shows of a project: one element, and behind it one with the picture where there is one.
std::string ProjectElements(const CProjectInfo& info) {
    std::string  reason = info.mReason, pictureElement;
    CPicture     picture;
    ordered_json json = ToJson(info);
    json.erase("thumbnail");
    if (info.mHasPreview && DecodePicture(info.mThumbnail, picture, &reason)) {
        pictureElement = PictureElement(picture);
        reason.clear();
    } else if (!info.mHasPreview && reason.empty()) {
        reason = WhyNoPreview(info.mSize);
    }
    json["modified"]   = info.mModified ? ordered_json(*info.mModified) : ordered_json();
    json["hasPicture"] = !pictureElement.empty();
    json["reason"]     = reason;  // why there is no preview, or no picture
    return JsonElement("class=\"project\"", json) + pictureElement;
}

/// The same of what cannot be read.
std::string UnreadableElement(const std::string& path, const std::string& reason) {
    CProjectInfo info;
    info.mPath   = path;
    info.mReason = reason;
    return ProjectElements(info);
}

// ---------------------------------------------------------------------------------------------

struct XCannotWrite {
    unsigned mError;  ///< the system's code
};

class CGallery {
  public:
    CGallery(const CLI::App& app, const CGalleryOptions& options) : mApp(app), mOptions(options) {}

    /// @throws XCannotWrite
    int Make() {
        unsigned error = 0;
        // First: an output that cannot be is told of before all projects have been read.
        if (!mPage.Open(mOptions.mOutput.c_str(), &error)) throw XCannotWrite{error};
        Write(kPageBegin);
        Write(JsonElement("id=\"about\"", {{"paths", mOptions.mProjects.mPaths}}));
        WriteProjects();
        Write(kPageEnd);
        if (!mPage.Finish(&error)) throw XCannotWrite{error};
        return mStatus;
    }

  private:
    struct CElements {
        std::string mReason;  ///< why the project cannot be read; else empty
        std::string mText;
    };

    static CElements ReadProject(const CFoundPath& found) {
        if (!found.mReason.empty()) return {found.mReason, UnreadableElement(found.mPath, found.mReason)};
        const CProjectInfo info = ReadProjectInfo(found.mPath);
        return {info.mReason, ProjectElements(info)};
    }

    void WriteProjects() {
        std::vector<CFoundPath> paths;  // all of them: the bar has to know how many there are
        CProjectFiles           files(mOptions.mProjects);
        for (CFoundPath found; files.Next(&found);)
            paths.push_back(found);

        CProgress  progress(paths.size());
        auto       path = paths.begin();
        const auto next = [&](CFoundPath* found) {
            if (path == paths.end()) return false;
            *found = std::move(*path++);
            return true;
        };
        const auto write = [&](const CFoundPath& found, std::optional<CElements> elements) {
            constexpr const char* kShort = "not enough memory";
            if (!elements) elements = CElements{kShort, UnreadableElement(found.mPath, kShort)};
            if (!elements->mReason.empty()) {
                progress.Hide();
                tool::Complain(mApp, found.mPath, elements->mReason);
                mStatus = tool::kBadInput;
            }
            Write(elements->mText);
            progress.Step();
        };
        CInOrder<CFoundPath, CElements>(next, ReadProject, write).Run();
    }

    void Write(std::string_view text) {
        unsigned error = 0;
        if (!mPage.Write(text, &error)) throw XCannotWrite{error};
    }

    const CLI::App&        mApp;
    const CGalleryOptions& mOptions;
    platform::CWholeFile   mPage;
    int                    mStatus = tool::kAllWell;
};

int Gallery(const CLI::App& app, const CGalleryOptions& options) {
    if (IsProject(options.mOutput)) {
        tool::Complain(app, options.mOutput, "is a project file and will not be replaced");
        return tool::kBadUse;
    }
    try {
        return CGallery(app, options).Make();
    } catch (const XCannotWrite& failure) {
        tool::Complain(app, options.mOutput, tool::ReasonOf(failure.mError));
        return tool::kBadInput;
    }
}

}  // namespace

CServe DeclareGallery(const CLI::App& app, CLI::App& command) {
    const auto options = std::make_shared<CGalleryOptions>();
    command.add_option("-o,--output", options->mOutput, "The page to write")
        ->required()
        ->type_name("OUT.html");
    AddSelection(command, options->mProjects);
    return [&app, options] { return Gallery(app, *options); };
}

}  // namespace preview
