#pragma once

#include <cstddef>
#include <map>
#include <string>

/// Documents to measure with: the same tree, spelled in each library's format.
namespace bench {

enum class EFormat { kBlocks, kJson, kXml, kConfig };

/// What a tree holds, counted alike in all formats.
///
/// An item is a block, a named value, a vector, an element of a vector, a function, or an argument of a
/// function, named or not. What a format needs besides (an object around the named arguments of a
/// function, an element around a text) is no item.
struct CTally {
    std::size_t mItems = 0;
    double      mSum   = 0;  ///< of all numbers

    void Add(double number) { mSum += number; }
};

/// One tree, made from a seed by its size: like a project file, blocks inside of blocks with named values
/// (integers, floating-point numbers, booleans, words, short quoted texts), vectors and functions.
class CDocument {
  public:
    /// @param items  about how many; a few more are made, so that no block is left open.
    explicit CDocument(std::size_t items) : mAsked(items) {}

    /// Its spelling: one item of a block on each line, indented with tabs. Made when first asked for.
    const std::string& Text(EFormat format) const;
    /// What is in it, by the generator's own count.
    const CTally& Tally() const;

  private:
    std::size_t                            mAsked;
    mutable CTally                         mTally;
    mutable std::map<EFormat, std::string> mTexts;
};

/// The sizes that are measured; the last three by the length of the block text.
enum class ESize { kMain, kOne, kTen, kHundred };
inline constexpr std::size_t kMainItems = 415'000;

/// "main", "1MB", "10MB", "100MB".
const char* SizeName(ESize size);
/// The document of a size; made when first asked for, kept to the end.
const CDocument& DocumentOf(ESize size);

}  // namespace bench
