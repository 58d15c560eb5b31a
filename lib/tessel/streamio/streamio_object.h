#pragma once

#include "tessel/streamio/token_streambuf.h"
#include "tessel/strings/astringwchar.h"

#include <cstddef>
#include <cstdint>

namespace io {

class CToken_istream;
class CToken_ostream;

/// How an object is written into text in memory; flags are combined.
enum EOutputOption : std::uint32_t {
    kOutputRaw            = 0x1,  ///< no separators and quotes: for people, not for reading back
    kOutputBareBlockNames = 0x2,  ///< block names without quotes where they are single words
};

/// Anything that can be read from a block stream and written to one.
class CStreamio_object {
  public:
    virtual ~CStreamio_object() = default;

    /// Replaces the contents by what stands next in the stream.
    /// @throws XStreamioError  the text does not say what is expected; the contents are then partly filled.
    virtual void Read(CToken_istream& stream) = 0;
    /// What is written reads back as the same names, values and structure.
    virtual void Write(CToken_ostream& stream) const = 0;

    virtual AString ToString(std::uint32_t options, const CNumberFormat& format) const;
    virtual AString ToString() const;
    /// The same as `ToString()`, with room made for the estimated length first.
    virtual AString ToStringSized() const;
    /// Reads from text; true when the stream has not failed afterwards.
    /// @throws XStreamioError  as `Read`; values catch it and return false.
    virtual bool FromString(const AString& text);
    /// Units of text, or bytes of a file, that `Write` produces at most at the stream's present
    /// indentation; 0 when there is no estimate.
    virtual std::size_t EstimateLength(const CToken_ostream& stream) const;

  protected:
    CStreamio_object()                                   = default;
    CStreamio_object(const CStreamio_object&)            = default;
    CStreamio_object& operator=(const CStreamio_object&) = default;
};

}  // namespace io
