#include "apps/tool.h"

#include "tessel/platform/platform.h"

#include <algorithm>
#include <iostream>
#include <new>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

namespace tool {
namespace {

using nlohmann::ordered_json;

std::string Dump(const ordered_json& scalar) {
    return scalar.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

void Append(std::string& line, const ordered_json& value) {
    const char* separator = "";
    if (value.is_object()) {
        line += '{';
        for (const auto& [key, element] : value.items()) {
            line += separator + Dump(key) + ": ";
            Append(line, element);
            separator = ", ";
        }
        line += '}';
    } else if (value.is_array()) {
        line += '[';
        for (const auto& element : value) {
            line += separator;
            Append(line, element);
            separator = ", ";
        }
        line += ']';
    } else {
        line += Dump(value);
    }
}

/// What is wrong with the command line.
std::string Explain(const CLI::App& app, const CLI::ParseError& error) {
    const auto rest = app.remaining();
    if (!app.get_subcommands().empty() || rest.empty() || rest.front().starts_with('-')) return error.what();
    return "there is no command '" + ValidUtf8(rest.front()) + "'";
}

}  // namespace

bool ReadCommandLine(CLI::App& app, const std::vector<std::string>& arguments, int* status) {
    const std::string version = app.get_name() + " " TARVEX_VERSION;
    app.set_version_flag("--version", version);
    app.allow_windows_style_options(false);  // "/" begins a path everywhere
    for (CLI::App* command : app.get_subcommands({})) {
        command->set_version_flag("--version", version);
        command->allow_windows_style_options(false);
        for (CLI::Option* option : command->get_options())
            option->disable_flag_override();  // no "--flag=false"
    }
    try {
        // The parser takes them from the back.
        app.parse(std::vector<std::string>(arguments.rbegin(), std::prev(arguments.rend())));
        return true;
    } catch (const CLI::ParseError& error) {
        const bool answered = error.get_exit_code() == 0;  // help or version
        if (answered)
            app.exit(error);
        else
            std::cerr << app.get_name() << ": " << Explain(app, error) << "\nTry '" << app.get_name()
                      << " --help'.\n";
        *status = answered ? Finish(app, kAllWell) : kBadUse;
        return false;
    }
}

AString PathFromArgument(const std::string& argument) {
    AString path(argument.c_str(), kUtf8Encoding);
    if (path.ToNarrow(kUtf8Encoding) == argument) return path;
    // Only outside Windows, where the narrow text of the system carries any bytes.
    return AString(argument.c_str());
}

std::string NarrowToUtf8(const std::string& text) {
    return AString(text.data(), kAnsiEncoding, static_cast<int>(text.size())).ToNarrow(kUtf8Encoding);
}

std::string ValidUtf8(const std::string& text) {
    return ordered_json::parse(Dump(text)).get<std::string>();
}

namespace {

/// With blanks for control characters.
std::string Blanked(std::string line) {
    for (std::size_t i = 0; i < line.size(); ++i) {
        const bool first  = static_cast<unsigned char>(line[i]) < ' ' || line[i] == '\x7F';
        const bool second = line[i] == '\xC2' && i + 1 < line.size() &&
                            static_cast<unsigned char>(line[i + 1]) < 0xA0;  // U+0080..U+009F
        if (first || second) line.replace(i, second ? 2 : 1, " ");
    }
    return line;
}

}  // namespace

std::string OneLine(const std::string& text) {
    return Blanked(ValidUtf8(text));
}

std::string ReasonOf(unsigned systemError) {
    AString text(platform::SystemErrorText(systemError).c_str());
    text.Trim();
    return text.ToNarrow(kUtf8Encoding);
}

bool CanOpen(const AString& path, std::string* reason) {
    if (std::FILE* file = platform::OpenForReading(path.ToNarrow().c_str(), false)) {
        std::fclose(file);
        return true;
    }
    *reason = ReasonOf(platform::LastError());
    return false;
}

void Complain(const CLI::App& app, const std::string& name, const std::string& reason) {
    std::cerr << app.get_name() << ": " << Blanked(name) << ": " << reason << '\n';
}

int ForEachFile(const CLI::App& app, const std::vector<std::string>& files,
                const std::function<int(const std::string& file)>& serve) {
    int status = kAllWell;
    for (const std::string& file : files)
        try {
            status = std::max(status, serve(file));
        } catch (const std::bad_alloc&) {
            Complain(app, file, "not enough memory");
            status = std::max<int>(status, kBadInput);
        }
    return status;
}

int Finish(const CLI::App& app, int status) {
    if (std::cout.flush()) return status;
    Complain(app, "standard output", "not everything could be written");
    return std::max<int>(status, kBadInput);
}

std::string JsonLine(const ordered_json& value) {
    std::string line;
    Append(line, value);
    return line;
}

}  // namespace tool
