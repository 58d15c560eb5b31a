// Changes a design's notes in a project file: reads the file, replaces one value, writes everything back.
// usage: change_notes PROJECT DESIGN NOTES

#include "tessel/platform/platform.h"
#include "tessel/streamio/block_index.h"
#include "tessel/streamio/token_grammar_default.h"
#include "tessel/streamio/token_istream.h"
#include "tessel/streamio/token_ostream.h"

#include <cstdio>
#include <filesystem>
#include <memory>

/// The design's block in the preview that the file manager shows; null when there is none.
static io::CBlockPtr FindDesign(const io::CBlock& project, const AString& design) {
    for (const io::CBlockItemPtr& item : project.ItemsNamed(L"ProjectPreview"))
        if (const io::CBlockPtr preview(item); preview)
            for (const io::CBlockItemPtr& info : preview->ItemsNamed(L"DesignInfo")) {
                io::CBlockPtr          block(info);
                io::CBlock_named_value name(L"DesignName");
                AString                text;
                if (block && block->LookUp(name) && name.GetString(text) && text == design) return block;
            }
    return nullptr;
}

static int Complain(const char* problem) {
    std::fprintf(stderr, "change_notes: %s\n", problem);
    return 1;
}

int main(int argc, char** argv) {
    const auto arguments = platform::CommandLine(argc, argv);
    if (arguments.size() != 4) return Complain("usage: change_notes PROJECT DESIGN NOTES");
    const auto text = [&](std::size_t i) { return AString(arguments[i].c_str(), kUtf8Encoding); };
    io::CBlock project;
    auto       input = std::make_unique<io::CToken_istream>(text(1), io::kOpenFastInput);
    if (!input->good()) return Complain("the project cannot be opened");
    project.ReadFile(*input);
    auto flags = io::kOpenReplace | (input->IsCommaOptional() ? io::kOpenBinary : 0u);  // as it was
    input.reset();  // not everywhere can a file be replaced while it is open
    if (project.HasErrors()) return Complain("the project is damaged, and a part of it would be lost");
    const io::CBlockPtr design = FindDesign(project, text(2));
    if (!design) return Complain("there is no such design in the project");
    auto* const             notes = new io::CBlock_named_value(L"Notes");
    const io::CBlockItemPtr item(notes);
    notes->SetValue(io::CToken(io::ETokenType::SingleQuotedText, text(3).Str()));
    design->Replace(item);
    if (!design->WasFound()) design->AddItem(item);
    if (io::CBlock_index::TakeOut(project)) flags |= io::kOpenReadIndex;  // the blocks begin elsewhere now

    const std::filesystem::path file(text(1).ToNarrow()), copy(text(1).ToNarrow() + ".new");
    io::CToken_ostream output(AString(copy.string().c_str()), flags, &io::CToken_grammar_default::Shared());
    project.WriteFile(output);
    std::error_code error;
    if (output.Close()) permissions(copy, status(file).permissions(), error);
    if (!output.fail() && !error) rename(copy, file, error);
    return output.fail() || error ? Complain("the project cannot be written") : 0;
}
