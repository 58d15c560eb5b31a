#pragma once

#include "tessel/strings/astringwchar.h"

#include <functional>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace CLI {
class App;
}

/// What the command-line tools have in common. All text in and out is UTF-8.
namespace tool {

/// Exit status of every tool.
enum EStatus {
    kAllWell  = 0,
    kBadInput = 1,  ///< the work was done, but something was wrong or missing in an input
    kBadUse   = 2,  ///< the command line cannot be used
};

/// Reads the command line into the options of `app`, which gets "--version" on top, as its commands do.
/// @param arguments the program first
/// @return false when there is nothing to do any more; `status` then says how the program ends. The
///         help or version text, or what is wrong with the command line, has been printed.
bool ReadCommandLine(CLI::App& app, const std::vector<std::string>& arguments, int* status);

/// The path that an argument names. Arguments are UTF-8, but outside Windows a file name may be any
/// bytes; those that are no UTF-8 come through all the same.
AString PathFromArgument(const std::string& argument);

/// Narrow text of this system as UTF-8; what is malformed becomes U+FFFD.
std::string NarrowToUtf8(const std::string& text);

/// Text with U+FFFD for whatever is no well-formed UTF-8.
std::string ValidUtf8(const std::string& text);

/// Text of a file for a line of the terminal: well-formed, and with blanks for control characters, which
/// would break the line or reach the terminal.
std::string OneLine(const std::string& text);

/// Whether a file can be opened for reading; `reason` receives why not.
bool CanOpen(const AString& path, std::string* reason);

/// The system's text for an error code, in UTF-8 and without line ends.
std::string ReasonOf(unsigned systemError);

/// Prints "PROGRAM: NAME: REASON" to standard error.
void Complain(const CLI::App& app, const std::string& name, const std::string& reason);

/// Serves one file after the other, whatever becomes of those before: one that takes more memory than
/// there is gets a complaint. Gives the worst status.
int ForEachFile(const CLI::App& app, const std::vector<std::string>& files,
                const std::function<int(const std::string& file)>& serve);

/// Ends the output: `status`, or `kBadInput` with a complaint when standard output did not take it all.
int Finish(const CLI::App& app, int status);

/// JSON on one line, with a blank after every colon and comma. Malformed UTF-8 becomes U+FFFD.
std::string JsonLine(const nlohmann::ordered_json& value);

}  // namespace tool
