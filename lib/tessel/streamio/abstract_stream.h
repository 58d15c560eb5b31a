#pragma once

#include "tessel/streamio/streamio_pos.h"
#include "tessel/strings/astringwchar.h"

#include <cstdint>
#include <fstream>
#include <istream>
#include <memory>
#include <ostream>

/// Block streams: where they get their characters, and what all of them have in common.
namespace io {

/// What a stream is opened with; flags are combined.
enum EOpenFlag : std::uint32_t {
    kOpenReadIndex     = 0x1,     ///< read the block index at the start; when writing: build one
    kOpenApplyIndex    = 0x8,     ///< with `kOpenReadIndex`: go by it
    kOpenIndexOption   = 0x10,    ///< handed on to the index
    kOpenReplace       = 0x20,    ///< writing: an existing file is replaced, not appended to
    kOpenIgnoreCase    = 0x40,    ///< names and keywords compare without case
    kOpenExactCase     = 0x80,    ///< they compare exactly and are kept as written
    kOpenBinary        = 0x100,   ///< binary form where the data do not tell
    kOpenFastInput     = 0x800,   ///< read through `CreateFastIStream`
    kOpenPreviewOption = 0x1000,  ///< set by the preview readers; changes nothing here
};

/// Opens a file as a stream of its bytes, one wide character each, others may read and write it
/// meanwhile. The stream is returned also when the file could not be opened; test its state.
/// Directories, pipes and devices are not opened for reading.
std::unique_ptr<std::wifstream> CreateIStream(const AString& path);
/// The same for writing. An existing file is kept and written at its end unless `replace` is set.
std::unique_ptr<std::wofstream> CreateOStream(const AString& path, bool replace);
/// The same for reading and writing.
std::unique_ptr<std::wfstream> CreateIOStream(const AString& path);
/// The same for reading through `CFastIStreamBuf`; falls back to `CreateIStream`.
std::unique_ptr<std::wistream> CreateFastIStream(const AString& path);
/// The same for a file that is open already, and stays so as long as the stream is read. It has `size`
/// bytes; the path is what is reported.
std::unique_ptr<std::wistream> CreateFastIStream(const AString& path, int descriptor, std::int64_t size);

/// The base of every block stream.
class CAbstract_stream {
  public:
    virtual ~CAbstract_stream()                          = default;
    CAbstract_stream(const CAbstract_stream&)            = delete;
    CAbstract_stream& operator=(const CAbstract_stream&) = delete;

    virtual bool good() const { return mGood; }
    virtual bool fail() const { return !mGood; }

    /// The words that open and close a block, "$begin" and "$end" unless changed. With an empty
    /// begin keyword blocks open by their name alone.
    virtual void   SetBeginKeyword(const AString& keyword) { mBeginKeyword = keyword; }
    virtual void   SetEndKeyword(const AString& keyword) { mEndKeyword = keyword; }
    const AString& BeginKeyword() const noexcept { return mBeginKeyword; }
    const AString& EndKeyword() const noexcept { return mEndKeyword; }

  protected:
    CAbstract_stream() : mBeginKeyword(L"$begin"), mEndKeyword(L"$end") {}

    bool mGood = true;

  private:
    AString mBeginKeyword;
    AString mEndKeyword;
};

}  // namespace io
