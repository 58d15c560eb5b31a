// tarvex-preview: what the file manager shows of a project, for the terminal and for thumbnailers.

#include "apps/preview_commands.h"
#include "apps/tool.h"
#include "tessel/platform/platform.h"

#include <iostream>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

namespace {

struct CCommand {
    const char* mName;
    const char* mPurpose;
    preview::CServe (*mDeclare)(const CLI::App& app, CLI::App& command);
};
constexpr CCommand kCommands[] = {
    {"tip", "Prints the info tip of the file manager.", preview::DeclareTip},
    {"info", "Prints all that is known of a project's designs.", preview::DeclareInfo},
    {"thumbnail", "Writes the stored picture as a PNG file.", preview::DeclareThumbnail},
    {"gallery", "Writes one page that shows all projects of a folder.", preview::DeclareGallery},
    {"doctor", "Tells why a tip or a picture does not show.", preview::DeclareDoctor},
};

int Serve(const CLI::App& app, const preview::CServe& serve) {
    try {
        return serve();
    } catch (const std::bad_alloc&) {
        std::cerr << app.get_name() << ": not enough memory\n";
        return tool::kBadInput;
    }
}

int Run(const std::vector<std::string>& arguments) {
    CLI::App app("Shows what a project file contains, without starting the suite.", "tarvex-preview");
    app.require_subcommand(1);
    std::vector<std::pair<const CLI::App*, preview::CServe>> commands;
    for (const auto& [name, purpose, declare] : kCommands) {
        CLI::App* command = app.add_subcommand(name, purpose);
        commands.emplace_back(command, declare(app, *command));
    }

    int status = tool::kAllWell;
    if (!tool::ReadCommandLine(app, arguments, &status)) return status;
    for (const auto& [command, serve] : commands)
        if (command->parsed()) status = Serve(app, serve);
    return tool::Finish(app, status);
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): only short memory gets here, and ends the program.
int main(int argc, char** argv) {
    platform::UseBinaryStandardStreams();
    return Run(platform::CommandLine(argc, argv));
}
