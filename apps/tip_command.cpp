#include "apps/preview_commands.h"
#include "apps/tool.h"
#include "viewkit/tools/InfoTip.h"

#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace preview {
namespace {

using CFiles = std::vector<std::string>;

/// A file that cannot be opened still gets its tip: that is what the file manager would show.
int Tip(const CLI::App& app, const CFiles& files) {
    return tool::ForEachFile(app, files, [&](const std::string& file) {
        const AString     path = tool::PathFromArgument(file);
        const std::string tip  = tool::NarrowToUtf8(ComposeInfoTip(path.ToNarrow()));
        if (files.size() > 1)
            std::cout << (&file == &files.front() ? "" : "\n") << tool::OneLine(file) << ":\n";
        std::cout << tip << '\n';
        std::string reason;
        if (tool::CanOpen(path, &reason)) return tool::kAllWell;
        tool::Complain(app, file, reason);
        return tool::kBadInput;
    });
}

}  // namespace

CServe DeclareTip(const CLI::App& app, CLI::App& command) {
    const auto files = std::make_shared<CFiles>();
    command.add_option("FILE", *files, "Project files")->required()->type_name("");
    return [&app, files] { return Tip(app, *files); };
}

}  // namespace preview
