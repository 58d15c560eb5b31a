#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// The text is no registrar script, or names a replacement that nobody gave.
class XRegScriptError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A named value of a key; all values are texts.
struct CRegValue {
    std::wstring mName;
    std::wstring mData;
};

/// One key of a script, with what is to stand in it.
struct CRegKey {
    std::wstring mName;                    ///< never empty
    bool         mNoRemove    = false;     ///< stays at unregistration
    bool         mForceRemove = false;     ///< goes with all that it holds, before it is written too
    std::optional<std::wstring> mDefault;  ///< the key's own value
    std::vector<CRegValue>      mValues;
    std::vector<CRegKey>        mKeys;
};

/// What a script's "%NAME%" stands for: name and text.
using CReplacements = std::vector<std::pair<std::wstring, std::wstring>>;

/// Parses a registrar script into its root keys ("HKCR" and what stands below).
///
///     script  = { key }
///     key     = [ "NoRemove" | "ForceRemove" ] name [ "=" "s" text ] [ "{" { key | value } "}" ]
///     value   = "val" name "=" "s" text
///
/// A name or text is a run of characters, or stands between apostrophes, where '' is one
/// apostrophe. "%NAME%" in it is replaced, "%%" is one percent sign. Replacing comes after the
/// script has been cut up: a replacement may hold any characters and is never looked at again.
/// @throws XRegScriptError
std::vector<CRegKey> ParseRegScript(std::wstring_view script, const CReplacements& replacements);
