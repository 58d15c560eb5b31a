#include "apps/in_order.h"
#include "apps/preview_commands.h"
#include "apps/project_files.h"
#include "apps/project_info.h"
#include "apps/tool.h"
#include "tessel/platform/platform.h"

#include <iomanip>
#include <iostream>
#include <memory>
#include <new>
#include <optional>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

namespace preview {
namespace {

using namespace ProjectPreviewHelper;

struct CInfoOptions {
    CProjectSelection mProjects;
    bool              mJson = false;
};

void PrintRow(const char* label, const std::string& value) {
    constexpr int kLabelWidth = 13;
    if (!value.empty())
        std::cout << "  " << std::left << std::setw(kLabelWidth) << label << tool::OneLine(value) << '\n';
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
    std::cout << tool::OneLine(info.mPath) << '\n';
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

/// Prints what is known of files, one after the other.
class CPrinter {
  public:
    CPrinter(const CLI::App& app, bool json) : mApp(app), mJson(json) {}

    void Print(const CProjectInfo& info) {
        if (mJson) {
            std::cout << tool::JsonLine(ToJson(info)) << '\n';
        } else {
            std::cout << mSeparator;
            PrintTable(info);
        }
        mSeparator = "\n";
        if (!info.mReason.empty()) Fail(info.mPath, info.mReason);
    }
    void Fail(const std::string& path, const std::string& reason) {
        tool::Complain(mApp, path, reason);
        mStatus = tool::kBadInput;
    }
    int Status() const { return mStatus; }

  private:
    const CLI::App& mApp;
    bool            mJson;
    const char*     mSeparator = "";
    int             mStatus    = tool::kAllWell;
};

int Info(const CLI::App& app, const CInfoOptions& options) {
    CPrinter      printer(app, options.mJson);
    CProjectFiles files(options.mProjects);
    const auto    read = [](const CFoundPath& found) {
        return found.mReason.empty() ? ReadProjectInfo(found.mPath) : CProjectInfo();
    };
    const auto print = [&](const CFoundPath& found, std::optional<CProjectInfo> info) {
        if (!found.mReason.empty()) return printer.Fail(found.mPath, found.mReason);
        try {
            if (!info) throw std::bad_alloc();
            printer.Print(*info);
        } catch (const std::bad_alloc&) {
            printer.Fail(found.mPath, "not enough memory");
        }
    };
    CInOrder<CFoundPath, CProjectInfo>([&](CFoundPath* found) { return files.Next(found); }, read, print)
        .Run();
    return printer.Status();
}

}  // namespace

CServe DeclareInfo(const CLI::App& app, CLI::App& command) {
    const auto options = std::make_shared<CInfoOptions>();
    command.add_flag("--json", options->mJson, "One JSON object a line for each file");
    AddSelection(command, options->mProjects);
    return [&app, options] { return Info(app, *options); };
}

}  // namespace preview
