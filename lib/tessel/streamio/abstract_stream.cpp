#include "tessel/streamio/abstract_stream.h"

#include "tessel/baseutils/FileDiagnostics.h"
#include "tessel/baseutils/assertion.h"
#include "tessel/platform/platform.h"
#include "tessel/streamio/fast_istreambuf.h"
#include "tessel/streamio/no_codecvt.h"

#include <cerrno>
#include <locale>
#include <memory>
#include <string>
#include <utility>

namespace io {

namespace {

constexpr const wchar_t* kFastOpen = L"io::CreateFastIStream, file open";

/// A stream that owns its fast buffer.
class CFastIStream final : public std::wistream {
  public:
    explicit CFastIStream(std::unique_ptr<CFastIStreamBuf<wchar_t>> buffer)
        : std::wistream(buffer.get()), mBuffer(std::move(buffer)) {}

  private:
    std::unique_ptr<CFastIStreamBuf<wchar_t>> mBuffer;
};

bool IsThere(const std::string& path, platform::CFileInfo* info) {
    return platform::GetFileInfo(path.c_str(), info);
}

template <class Stream>
std::unique_ptr<Stream> CreateClosedStream() {
    auto stream = std::make_unique<Stream>();
    TESSEL_ASSERT(stream);
    TESSEL_ASSERT(stream->rdbuf());
    auto              facet = std::make_unique<NoCodeCvt>();
    const std::locale locale(std::locale::classic(), facet.get());
    static_cast<void>(facet.release());  // the locale's own, once it has been made
    stream->imbue(locale);
    return stream;
}

template <class Stream>
std::unique_ptr<Stream> CreateFileStream(const AString& path, std::ios_base::openmode mode,
                                         const wchar_t* label) {
    auto stream = CreateClosedStream<Stream>();
    errno       = 0;
    platform::SetLastError(0);
    stream->open(path.ToNarrow(), mode | std::ios_base::binary);
    ReportFileAccess(AString(label), path);
    return stream;
}

}  // namespace

std::unique_ptr<std::wifstream> CreateIStream(const AString& path) {
    auto stream = CreateClosedStream<std::wifstream>();
    errno       = 0;
    platform::SetLastError(0);
    if (!platform::OpenForReading(*stream->rdbuf(), AString(path.ToNarrow().c_str()).CStr()))
        stream->setstate(std::ios_base::failbit);
    ReportFileAccess(AString(L"io::CreateIStream, file open"), path);
    return stream;
}

std::unique_ptr<std::wofstream> CreateOStream(const AString& path, bool replace) {
    platform::CFileInfo info;
    const bool          keep = !replace && IsThere(path.ToNarrow(), &info);
    const auto          mode = keep ? std::ios_base::in | std::ios_base::out | std::ios_base::ate
                                    : std::ios_base::out | std::ios_base::trunc;
    return CreateFileStream<std::wofstream>(path, mode, L"io::CreateOStream, file open");
}

std::unique_ptr<std::wfstream> CreateIOStream(const AString& path) {
    return CreateFileStream<std::wfstream>(path, std::ios_base::in | std::ios_base::out,
                                           L"io::CreateIOStream, file open");
}

std::unique_ptr<std::wistream> CreateFastIStream(const AString& path) {
    errno = 0;
    platform::SetLastError(0);
    auto       buffer = std::make_unique<CFastIStreamBuf<wchar_t>>();
    const bool opened = buffer->Open(path);
    ReportFileAccess(AString(kFastOpen), path);
    if (!opened) return CreateIStream(path);
    return std::make_unique<CFastIStream>(std::move(buffer));
}

std::unique_ptr<std::wistream> CreateFastIStream(const AString& path, int descriptor, std::int64_t size) {
    errno = 0;
    platform::SetLastError(0);
    auto buffer = std::make_unique<CFastIStreamBuf<wchar_t>>();
    buffer->Open(descriptor, size);
    ReportFileAccess(AString(kFastOpen), path);
    return std::make_unique<CFastIStream>(std::move(buffer));
}

}  // namespace io
