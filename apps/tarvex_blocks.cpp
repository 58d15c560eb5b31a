// tarvex-blocks: reads, checks, rewrites and searches files in the block format.

#include "apps/tarvex_blocks_json.h"
#include "apps/tarvex_blocks_streams.h"
#include "apps/tool.h"
#include "tessel/platform/platform.h"
#include "tessel/streamio/block_check.h"
#include "tessel/streamio/block_index.h"
#include "tessel/streamio/delimiter_grammar_default.h"
#include "tessel/streamio/token_binarystreambuf.h"
#include "tessel/streamio/token_istream.h"
#include "tessel/streamio/token_ostream.h"
#include "tessel/streamio/token_textstreambuf.h"

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

namespace {

using namespace io;
using blocks::CInput;
using blocks::COutput;

enum class EGrammar { kToken, kDelimiter };
enum class EEncoding { kUtf8, kBytes };
enum class EForm { kText, kBinary };

struct COptions {
    std::vector<std::string> mFiles;
    std::string              mFile;
    std::string              mOutput;
    // tokens
    EGrammar  mGrammar        = EGrammar::kToken;
    EEncoding mEncoding       = EEncoding::kUtf8;
    ECaseMode mCase           = kCaseKeep;
    bool      mComments       = false;
    bool      mWhiteSpace     = false;
    bool      mSpecialNumbers = false;
    bool      mKeepText       = false;
    // others
    EForm                    mForm      = EForm::kText;
    bool                     mAllLevels = false;
    std::vector<std::string> mPath;  ///< names from the top down
};

/// The program, and what is asked of it.
struct CCall {
    const CLI::App& mApp;
    const COptions& mOptions;

    int Complain(const std::string& name, const std::string& reason) const {
        tool::Complain(mApp, name, reason);
        return tool::kBadInput;
    }
    /// Complains when an input did not open, or ended early.
    int StatusOf(const std::string& file, const CInput& input) const {
        const std::string problem = input.Problem();
        return problem.empty() ? static_cast<int>(tool::kAllWell) : Complain(file, problem);
    }
    /// Says what the errors of an input with a byte order mark come from.
    void HintAtMark(const std::string& file, const CInput& input) const {
        const std::string encoding = input.ByteOrderMark();
        if (encoding.empty()) return;
        tool::Complain(mApp, file,
                       "begins with a byte order mark (" + encoding + "); the format is UTF-8 without one");
    }
};

// ---------------------------------------------------------------------------------------------
// tokens

std::unique_ptr<CToken_streambuf> NewTokenBuffer(std::wstreambuf& units, const COptions& options) {
    std::unique_ptr<CToken_streambuf> buffer;
    if (units.sgetc() == 0) {
        buffer = std::make_unique<CToken_binarystreambuf>(&units);
    } else {
        const CBase_grammar& token     = CToken_grammar_default::Shared();
        const CBase_grammar& delimiter = CDelimiter_grammar_default::Shared();
        auto                 text      = std::make_unique<CToken_textstreambuf>(
            &units, options.mGrammar == EGrammar::kToken ? token : delimiter);
        text->SetKeepText(options.mKeepText);
        text->SetSpecialNumbers(options.mSpecialNumbers);
        buffer = std::move(text);
    }
    buffer->SetReturnComments(options.mComments);
    buffer->SetReturnWhiteSpace(options.mWhiteSpace);
    buffer->SetCaseMode(options.mCase);
    buffer->SetCodeCvt(options.mEncoding == EEncoding::kUtf8 ? kUtf8Units : kImbuedStream);
    buffer->SetLocale(std::locale::classic());
    return buffer;
}

int Tokens(const CCall& call) {
    CInput     input(call.mOptions.mFile);
    const auto stream = input.Open();
    if (!stream) return call.StatusOf(call.mOptions.mFile, input);
    const auto  buffer = NewTokenBuffer(*stream->rdbuf(), call.mOptions);
    int         status = tool::kAllWell;
    std::string line;
    while (std::cout) {
        const CToken& token = buffer->NextToken();
        line                = "{\"line\": ";
        line += std::to_string(buffer->LineNumber());
        line += ", ";
        blocks::AppendToken(line, token, call.mOptions.mKeepText);
        line += "}\n";
        std::cout << line;
        if (token.Type() == ETokenType::Error) status = tool::kBadInput;
        if (token.Type() == ETokenType::Eof) break;
    }
    return std::max(status, call.StatusOf(call.mOptions.mFile, input));
}

// ---------------------------------------------------------------------------------------------
// tree, format, convert, check

std::string LineOf(const std::string& file, const XStreamioError& error) {
    return tool::ValidUtf8(file) + ": " + error.Message().ToNarrow(kUtf8Encoding) + '\n';
}

/// Reads a whole input. False when there is nothing to go on with; `status` then, and when errors were
/// recorded, is no longer good.
bool ReadTree(const CCall& call, CInput& input, CBlock& file, int* status) {
    if (auto bytes = input.Open()) {
        CToken_istream stream(std::move(bytes), 0);
        file.ReadFile(stream);
    }
    *status = call.StatusOf(call.mOptions.mFile, input);
    if (*status != tool::kAllWell) return false;
    call.HintAtMark(call.mOptions.mFile, input);
    if (file.HasErrors()) *status = tool::kBadInput;
    return true;
}

int Tree(const CCall& call) {
    CInput input(call.mOptions.mFile);
    CBlock file;
    int    status = tool::kAllWell;
    if (ReadTree(call, input, file, &status)) blocks::PrintTree(std::cout, file);
    return status;
}

/// Writes by `write` to where the command line says.
/// @param flags  of `EOpenFlag`
template <class Write>
int WriteOutput(const CCall& call, std::uint32_t flags, Write write) {
    COutput     output(call.mOptions.mOutput);
    std::string reason;
    auto        bytes = output.Open(&reason);
    if (!bytes) return call.Complain(call.mOptions.mOutput, reason);
    CToken_ostream stream(std::move(bytes), flags,
                          call.mOptions.mForm == EForm::kText ? &CToken_grammar_default::Shared() : nullptr);
    write(stream);
    if (stream.Close() && output.Commit(&reason)) return tool::kAllWell;
    if (output.IsFile())
        return call.Complain(call.mOptions.mOutput,
                             reason.empty() ? "not everything could be written" : reason);
    std::cout.setstate(std::ios_base::badbit);  // the end of the program complains of it
    return tool::kBadInput;
}

/// In the order of `check`.
void PrintErrors(const std::string& file, const CBlock& block) {
    for (const CBlockItemPtr& item : block.Items())
        if (const CBlockPtr inner(item); inner) PrintErrors(file, *inner);
    std::for_each(block.ErrorsBegin(), block.ErrorsEnd(),
                  [&](const XStreamioError& error) { std::cerr << LineOf(file, error); });
}

int Rewrite(const CCall& call) {
    CInput input(call.mOptions.mFile);
    CBlock file;
    int    status = tool::kAllWell;
    if (!ReadTree(call, input, file, &status)) return status;
    PrintErrors(call.mOptions.mFile, file);
    if (file.HasErrors() && input.IsFile(call.mOptions.mOutput))
        return call.Complain(call.mOptions.mOutput,
                             "left as it is: the parts with errors would be lost from it");
    const std::uint32_t flags = CBlock_index::TakeOut(file) ? kOpenReadIndex : 0u;
    return std::max(status,
                    WriteOutput(call, flags, [&](CToken_ostream& stream) { file.WriteFile(stream); }));
}

int Check(const CCall& call) {
    int status = tool::kAllWell;
    for (const std::string& file : call.mOptions.mFiles) {
        CInput input(file);
        if (auto bytes = input.Open()) {
            CToken_istream stream(std::move(bytes), 0);
            CheckFile(stream, [&](const XStreamioError& error) {
                std::cout << LineOf(file, error);
                status = tool::kBadInput;
            });
        }
        call.HintAtMark(file, input);
        status = std::max(status, call.StatusOf(file, input));
    }
    return status;
}

// ---------------------------------------------------------------------------------------------
// index, get

/// What kept an index from being complete.
std::string ReasonOf(const CBlock_index& index, CToken_istream& stream) {
    const auto atLine = [](std::uint32_t line) { return "line " + std::to_string(line); };
    if (!stream.AtEndOfFile())
        return "indexed up to " + atLine(stream.LineNumber()) + ", where no block begins";
    std::string damaged = "a block in it is damaged or not closed";
    if (!index.Damage()) return damaged;
    std::string path = index.Damage()->mPath.ToNarrow(kUtf8Encoding);
    for (std::size_t at = 0; (at = path.find('\t', at)) != path.npos;)
        path.replace(at, 1, "' '");
    return damaged + ": '" + path + "', " + atLine(index.Damage()->mLine);
}

/// Indexes an input. Null when there is nothing to go on with; `status` is no longer good then, or when
/// the end was not reached without errors.
std::unique_ptr<CToken_istream> BuildIndex(const CCall& call, CInput& input, CBlock_index& index,
                                           bool allLevels, int* status) {
    const std::string& file  = call.mOptions.mFile;
    auto               bytes = input.OpenForSeeking();
    *status                  = call.StatusOf(file, input);
    if (!bytes) return nullptr;
    call.HintAtMark(file, input);
    auto stream = std::make_unique<CToken_istream>(std::move(bytes), 0);
    if (index.Build(*stream, allLevels)) return stream;
    stream->Clear();
    *status = call.Complain(file, ReasonOf(index, *stream));
    return stream;
}

/// The names of a path, as a JSON array.
std::string PathJson(std::wstring_view path) {
    std::string json = "[";
    for (;;) {
        const std::size_t end = path.find(CBlock_index::kSeparator);
        blocks::AppendText(json, path.substr(0, end));
        if (end == path.npos) return json + ']';
        json += ", ";
        path.remove_prefix(end + 1);
    }
}

int Index(const CCall& call) {
    CInput       input(call.mOptions.mFile);
    CBlock_index index;
    int          status = tool::kAllWell;
    if (!BuildIndex(call, input, index, call.mOptions.mAllLevels, &status)) return status;
    const char* separator = "";
    std::cout << '[';
    for (const CBlockItemPtr& entry : index.IndexBlock()->Items()) {
        CAbstract_stream_pos position;
        index.Lookup(entry->Name().String(), position);
        std::cout << separator << "{\"path\": " << PathJson(entry->Name().View())
                  << ", \"offset\": " << position.Offset() << '}';
        separator = ", ";
    }
    std::cout << "]\n";
    return status;
}

int Get(const CCall& call) {
    std::vector<AString> names;
    std::string          shown;
    for (const std::string& name : call.mOptions.mPath) {
        names.emplace_back(name.c_str(), kUtf8Encoding);
        shown += " '" + tool::ValidUtf8(name) + "'";
    }
    CInput       input(call.mOptions.mFile);
    CBlock_index index;
    int          status = tool::kAllWell;
    const auto   stream = BuildIndex(call, input, index, true, &status);
    if (!stream) return status;
    if (!index.SeekInput(CBlock_index::JoinPath(names), *stream))
        return call.Complain(call.mOptions.mFile, "there is no block" + shown);
    CBlock block;
    block.Read(*stream);
    return std::max(status, WriteOutput(call, 0, [&](CToken_ostream& out) { block.Write(out); }));
}

// ---------------------------------------------------------------------------------------------

/// Adds an option that takes one of several words for the value of an enumeration.
template <class Enum>
CLI::Option* AddChoice(CLI::App* command, const std::string& name, Enum& variable,
                       const std::vector<std::pair<std::string, Enum>>& words, const std::string& about) {
    std::string list;
    for (const auto& [word, value] : words)
        list += (list.empty() ? "" : "|") + word;
    const auto take = [words, list](std::string& text) {
        for (const auto& [word, value] : words)
            if (text == word) {
                text = std::to_string(static_cast<int>(value));
                return std::string();
            }
        return "'" + text + "' is none of " + list;
    };
    return command->add_option(name, variable, about)->transform(CLI::Validator(take, ""))->type_name(list);
}

CLI::Option* AddFile(CLI::App* command, COptions& options) {
    return command->add_option("FILE", options.mFile, "A file, or - for standard input")
        ->required()
        ->type_name("");
}

CLI::Option* AddOutput(CLI::App* command, COptions& options, const std::string& about) {
    const auto check = [](const std::string& name) {
        return name.empty() ? "a file needs a name; - is standard output" : "";
    };
    return command->add_option("-o,--output", options.mOutput, about)
        ->check(CLI::Validator(check, ""))
        ->type_name("OUT");
}

CLI::App* AddTokens(CLI::App& app, COptions& options) {
    CLI::App* tokens = app.add_subcommand("tokens", "Prints each token as a JSON object on its own line.");
    AddChoice(tokens, "--grammar", options.mGrammar,
              {{"token", EGrammar::kToken}, {"delimiter", EGrammar::kDelimiter}},
              "What words and symbols are; token unless given");
    AddChoice(tokens, "--case", options.mCase,
              {{"upper", kCaseUpper}, {"lower", kCaseLower}, {"ignore", kCaseIgnore}, {"keep", kCaseKeep}},
              "What becomes of the case of words; keep unless given");
    AddChoice(tokens, "--encoding", options.mEncoding,
              {{"utf8", EEncoding::kUtf8}, {"bytes", EEncoding::kBytes}},
              "utf8 unless given; bytes: each byte is a character");
    tokens->add_flag("--comments", options.mComments, "Comments are tokens");
    tokens->add_flag("--white-space", options.mWhiteSpace, "White space is a token");
    tokens->add_flag("--special-numbers", options.mSpecialNumbers, "#inf and #nan are numbers");
    tokens->add_flag("--keep-text", options.mKeepText, "Numbers show how they are spelled");
    AddFile(tokens, options);
    return tokens;
}

CLI::App* AddCheck(CLI::App& app, COptions& options) {
    CLI::App* check = app.add_subcommand("check", "Lists what is wrong; prints nothing for a clean file.");
    check->add_option("FILE", options.mFiles, "Files; - is standard input")->required()->type_name("");
    return check;
}

CLI::App* AddTree(CLI::App& app, COptions& options) {
    CLI::App* tree = app.add_subcommand("tree", "Prints the block tree as one JSON object.");
    AddFile(tree, options);
    return tree;
}

CLI::App* AddFormat(CLI::App& app, COptions& options) {
    CLI::App* format = app.add_subcommand("format", "Writes a file anew as tidy text, without its comments.");
    AddOutput(format, options, "The file to write; standard output unless given, or -");
    AddFile(format, options);
    return format;
}

CLI::App* AddConvert(CLI::App& app, COptions& options) {
    CLI::App* convert = app.add_subcommand("convert", "Writes a file anew as text or in the binary form.");
    AddChoice(convert, "--to", options.mForm, {{"text", EForm::kText}, {"binary", EForm::kBinary}},
              "The form to write")
        ->required();
    AddOutput(convert, options, "The file to write; - is standard output")->required();
    AddFile(convert, options);
    return convert;
}

CLI::App* AddIndex(CLI::App& app, COptions& options) {
    CLI::App* index = app.add_subcommand(
        "index",
        "Prints where the blocks begin, as a JSON array. Of several blocks of one path, whatever its case,\n"
        "the last is listed; the first item outside of blocks that is no block ends the list.");
    index->add_flag("--all-levels", options.mAllLevels, "Blocks inside of blocks too");
    AddFile(index, options);
    return index;
}

CLI::App* AddGet(CLI::App& app, COptions& options) {
    CLI::App* get = app.add_subcommand(
        "get", "Prints one block: the last of that path, whatever its case, among those that index lists.");
    AddFile(get, options);
    get->add_option("NAME", options.mPath, "Names of nested blocks, from the top down")
        ->required()
        ->type_name("");
    return get;
}

int Run(const std::vector<std::string>& arguments) {
    COptions options;
    CLI::App app("Reads, checks, rewrites and searches files in the block format.", "tarvex-blocks");
    app.require_subcommand(1);
    const std::pair<CLI::App*, int (*)(const CCall&)> commands[] = {
        {AddTokens(app, options), Tokens},   {AddTree(app, options), Tree},
        {AddCheck(app, options), Check},     {AddFormat(app, options), Rewrite},
        {AddConvert(app, options), Rewrite}, {AddIndex(app, options), Index},
        {AddGet(app, options), Get},
    };
    int status = tool::kAllWell;
    if (!tool::ReadCommandLine(app, arguments, &status)) return status;
    for (const auto& [command, run] : commands)
        if (command->parsed()) status = run({app, options});
    return tool::Finish(app, status);
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): only short memory gets here, and ends the program.
int main(int argc, char** argv) {
    platform::UseBinaryStandardStreams();
    std::ios::sync_with_stdio(false);
    try {
        return Run(platform::CommandLine(argc, argv));
    } catch (const std::bad_alloc&) {
        std::cerr << "tarvex-blocks: not enough memory\n";
        return tool::kBadInput;
    }
}
