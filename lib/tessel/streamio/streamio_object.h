#pragma once

namespace io {

class CToken_istream;

/// Anything that can be read from a block stream.
class CStreamio_object {
  public:
    virtual ~CStreamio_object() = default;

    /// Replaces the contents by what stands next in the stream.
    /// @throws XStreamioError  the text does not say what is expected; the contents are then partly filled.
    virtual void Read(CToken_istream& stream) = 0;

  protected:
    CStreamio_object()                                   = default;
    CStreamio_object(const CStreamio_object&)            = default;
    CStreamio_object& operator=(const CStreamio_object&) = default;
};

}  // namespace io
