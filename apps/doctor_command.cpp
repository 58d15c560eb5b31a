#include "apps/doctor.h"
#include "apps/preview_commands.h"
#include "apps/tool.h"
#include "tessel/platform/platform.h"

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <memory>
#include <new>
#include <vector>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

namespace preview {
namespace {

using namespace doctor;

struct CDoctorOptions {
    std::vector<std::string> mFiles;
    bool                     mJson = false;
};

struct CStateName {
    EState      mState;
    const char* mPrinted;
    const char* mJson;
};
constexpr CStateName kStateNames[] = {
    {EState::kHolds, "ok", "ok"},
    {EState::kNote, "note", "note"},
    {EState::kNotApplicable, "-", "notApplicable"},
    {EState::kBroken, "BROKEN", "broken"},
};
const CStateName& NameOf(EState state) {
    return *std::find_if(std::begin(kStateNames), std::end(kStateNames),
                         [&](const CStateName& name) { return name.mState == state; });
}

/// The broken links of a report, and the groups that they are in.
using CBroken = std::vector<std::pair<const CGroup*, const CLink*>>;
CBroken BrokenLinks(const CReport& report) {
    CBroken broken;
    for (const CGroup& group : report)
        for (const CLink& link : group.mLinks)
            if (link.mFinding.mState == EState::kBroken) broken.emplace_back(&group, &link);
    return broken;
}

void PrintLinks(const CReport& report) {
    constexpr int kStateWidth = 8, kNameWidth = 24;
    for (const CGroup& group : report) {
        std::cout << tool::OneLine(group.mTitle) << '\n' << std::left;
        for (const auto& [name, finding] : group.mLinks)
            std::cout << "  " << std::setw(kStateWidth) << NameOf(finding.mState).mPrinted
                      << std::setw(kNameWidth) << tool::OneLine(name) << "  " << tool::OneLine(finding.mFound)
                      << '\n';
        std::cout << '\n';
    }
}

void PrintVerdict(const CBroken& broken) {
    if (broken.empty()) {
        std::cout << "No link is broken.\n";
        return;
    }
    const auto& [group, link] = broken.front();
    std::cout << "The first broken link: " << tool::OneLine(link->mName) << " ("
              << tool::OneLine(group->mTitle) << ")\n  Found:  " << tool::OneLine(link->mFinding.mFound)
              << "\n  Remedy: " << tool::OneLine(link->mFinding.mRemedy) << '\n';
    if (broken.size() > 1)
        std::cout << "  Broken besides: " << broken.size() - 1
                  << ". That may come from the first: mend it, then ask again.\n";
}

void PrintJson(const CReport& report, const CBroken& broken) {
    auto groups = nlohmann::ordered_json::array();
    for (const CGroup& group : report) {
        auto links = nlohmann::ordered_json::array();
        for (const auto& [name, finding] : group.mLinks) {
            links.push_back(
                {{"name", name}, {"state", NameOf(finding.mState).mJson}, {"found", finding.mFound}});
            if (finding.mState == EState::kBroken) links.back()["remedy"] = finding.mRemedy;
        }
        groups.push_back({{"title", group.mTitle}, {"links", links}});
    }
    nlohmann::ordered_json first;
    if (!broken.empty())
        first = {{"title", broken.front().first->mTitle}, {"name", broken.front().second->mName}};
    std::cout << tool::JsonLine({{"groups", groups}, {"firstBroken", first}}) << '\n';
}

/// The extension by which a file's type is known. A folder has none; projects do.
std::string ExtensionOf(const std::string& file) {
    platform::CFileInfo info;
    const std::string   narrow = tool::PathFromArgument(file).ToNarrow();
    if (file.empty() || (platform::GetFileInfo(narrow.c_str(), &info) && info.mIsDirectory))
        return kExtension;
    const std::size_t dot   = file.find_last_of('.');
    const std::size_t slash = file.find_last_of("/\\:");
    if (dot == file.npos || (slash != file.npos && dot < slash)) return {};
    std::string extension = file.substr(dot);
    for (char& ch : extension)
        if (ch >= 'A' && ch <= 'Z') ch = static_cast<char>(ch - 'A' + 'a');
    return extension;
}

int Doctor(const CLI::App& app, const CDoctorOptions& options) {
    const std::string file = options.mFiles.empty() ? std::string() : options.mFiles.front();
    try {
        const CCase subject{file, ExtensionOf(file)};
        CReport     report;
        ExamineSystem(subject, report);
        ExamineFile(subject, report);
        const CBroken broken = BrokenLinks(report);
        if (options.mJson) {
            PrintJson(report, broken);
        } else {
            PrintLinks(report);
            PrintVerdict(broken);
        }
        return broken.empty() ? tool::kAllWell : tool::kBadInput;
    } catch (const std::bad_alloc&) {
        tool::Complain(app, file, "not enough memory");
        return tool::kBadInput;
    }
}

}  // namespace

CServe DeclareDoctor(const CLI::App& app, CLI::App& command) {
    const auto options = std::make_shared<CDoctorOptions>();
    command.add_flag("--json", options->mJson, "All links as one JSON object");
    command.add_option("FILE", options->mFiles, "Project file to look into, too")
        ->expected(0, 1)
        ->type_name("");
    return [&app, options] { return Doctor(app, *options); };
}

}  // namespace preview
