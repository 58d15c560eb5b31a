#pragma once

#include <functional>

namespace CLI {
class App;
}

/// The commands of tarvex-preview; the table of them is in tarvex_preview.cpp.
///
/// Each declares its arguments to the parser of its own, `command`, and gives the function that serves it
/// once the command line has been read. That one answers with the exit status. `app` is the whole program,
/// whose name begins every diagnostic.
namespace preview {

using CServe = std::function<int()>;

CServe DeclareTip(const CLI::App& app, CLI::App& command);
CServe DeclareInfo(const CLI::App& app, CLI::App& command);
CServe DeclareThumbnail(const CLI::App& app, CLI::App& command);
CServe DeclareGallery(const CLI::App& app, CLI::App& command);
CServe DeclareDoctor(const CLI::App& app, CLI::App& command);

}  // namespace preview
