#include "apps/tarvex_blocks_streams.h"

#include "apps/tool.h"
#include "tessel/platform/platform.h"
#include "tessel/streamio/abstract_stream.h"

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <sstream>
#include <system_error>
#include <utility>

namespace blocks {

namespace fs = std::filesystem;

namespace {

constexpr int         kStandardInput = 0;
constexpr std::size_t kTooLarge      = std::size_t{1} << 31;  // bytes; positions have 31 bits
constexpr std::size_t kFirst         = 3;                     // units of the longest mark

fs::path PathOf(const std::string& argument) {
    return std::u8string(argument.begin(), argument.end());
}

}  // namespace

// --- input

CStandardInput::int_type CStandardInput::underflow() {
    if (gptr() != egptr()) return traits_type::to_int_type(*gptr());
    std::cout.flush();
    unsigned char bytes[kSize];
    const int     count = mError == 0 ? platform::ReadDescriptor(kStandardInput, bytes, kSize) : 0;
    if (count < 0) mError = platform::LastError();
    if (count <= 0) return traits_type::eof();
    std::copy_n(bytes, count, mUnits);
    if (mFirst.size() < kFirst)
        mFirst.append(mUnits, std::min(kFirst - mFirst.size(), static_cast<std::size_t>(count)));
    setg(mUnits, mUnits, mUnits + count);
    return traits_type::to_int_type(*gptr());
}

std::unique_ptr<std::wistream> CInput::Open() {
    if (IsStandardInput()) {
        mStandardInput = std::make_unique<CStandardInput>();
        return std::make_unique<std::wistream>(mStandardInput.get());
    }
    const AString       path = tool::PathFromArgument(mArgument);
    platform::CFileInfo info;
    if (platform::GetFileInfo(path.ToNarrow().c_str(), &info) && !info.mIsRegular && !info.mIsDirectory) {
        mReason = "is a pipe or device; give it as standard input, and \"-\" for its name";
        return nullptr;
    }
    if (!tool::CanOpen(path, &mReason)) return nullptr;
    auto stream = io::CreateFastIStream(path);
    mFirst.resize(kFirst);
    mFirst.resize(static_cast<std::size_t>(stream->rdbuf()->sgetn(mFirst.data(), kFirst)));
    stream->rdbuf()->pubseekpos(0);
    return stream;
}

std::unique_ptr<std::wistream> CInput::OpenForSeeking() {
    auto stream = Open();
    if (!stream) return nullptr;
    if (IsStandardInput()) {
        std::wstring all;
        wchar_t      part[4096];
        while (all.size() < kTooLarge) {
            const std::streamsize count = stream->rdbuf()->sgetn(part, std::ssize(part));
            if (count == 0) return std::make_unique<std::wistringstream>(std::move(all));
            all.append(part, static_cast<std::size_t>(count));
        }
    } else if (stream->rdbuf()->pubseekoff(static_cast<std::streamoff>(kTooLarge), std::ios_base::beg) ==
               std::wistream::pos_type(-1)) {
        return stream;
    }
    mReason = "has 2 GiB or more; blocks so far behind cannot be found";
    return nullptr;
}

std::string CInput::Problem() const {
    if (!mReason.empty() || !mStandardInput || mStandardInput->Error() == 0) return mReason;
    return tool::ReasonOf(mStandardInput->Error());
}

std::string CInput::ByteOrderMark() const {
    const std::wstring_view first = mStandardInput ? mStandardInput->First() : mFirst;
    if (first.starts_with(L"\xEF\xBB\xBF")) return "UTF-8";
    return first.starts_with(L"\xFF\xFE") || first.starts_with(L"\xFE\xFF") ? "UTF-16" : "";
}

bool CInput::IsFile(const std::string& output) const {
    // Where there is no such device nobody can tell.
    const fs::path  file = IsStandardInput() ? fs::path("/dev/stdin") : PathOf(mArgument);
    std::error_code error;
    return output != "-" && fs::equivalent(file, PathOf(output), error);
}

// --- output

bool CByteSink::Drain() {
    char       bytes[kSize];
    const auto count = pptr() - pbase();
    std::transform(pbase(), pptr(), bytes, [](wchar_t unit) { return static_cast<char>(unit); });
    setp(mUnits, mUnits + kSize);
    mDrained += count;
    return mTarget->sputn(bytes, count) == count;
}

CByteSink::pos_type CByteSink::seekoff(off_type offset, std::ios_base::seekdir from,
                                       std::ios_base::openmode) {
    if (offset != 0 || from != std::ios_base::cur) return off_type(-1);
    return mDrained + (pptr() - pbase());
}

CByteSink::int_type CByteSink::overflow(int_type unit) {
    if (!Drain()) return traits_type::eof();
    if (traits_type::eq_int_type(unit, traits_type::eof())) return traits_type::not_eof(unit);
    return sputc(traits_type::to_char_type(unit));
}

COutput::COutput(const std::string& argument) : mIsFile(!argument.empty() && argument != "-") {
    if (mIsFile) mTarget = PathOf(argument);
}

COutput::~COutput() {
    if (mTemporary.empty()) return;
    mFile.close();
    std::error_code ignored;
    fs::remove(mTemporary, ignored);
}

/// Chooses the name to write under. False when there is a file that must not be written.
bool COutput::PrepareReplacement(std::string* reason) {
    std::error_code error;
    const auto      status = fs::status(mTarget, error);
    if (fs::exists(status)) {
        if (!fs::is_regular_file(status)) return true;
        // Moving another file there asks for less than the right to write this one.
        if (!std::ofstream(mTarget, std::ios::binary | std::ios::app)) {
            *reason = tool::ReasonOf(platform::LastError());
            return false;
        }
        const fs::path real = fs::canonical(mTarget, error);  // a link stays a link
        if (!error) mTarget = real;
    }
    const std::string name = "tarvex-blocks-" + std::to_string(platform::ProcessId());
    for (int i = 0; mTemporary.empty() || fs::exists(fs::symlink_status(mTemporary, error)); ++i)
        mTemporary = mTarget.parent_path() / (name + '-' + std::to_string(i) + ".tmp");
    return true;
}

std::unique_ptr<std::wostream> COutput::Open(std::string* reason) {
    std::streambuf* target = std::cout.rdbuf();
    if (mIsFile) {
        if (!PrepareReplacement(reason)) return nullptr;
        mFile.open(mTemporary.empty() ? mTarget : mTemporary, std::ios::binary | std::ios::trunc);
        if (!mFile) {
            *reason = tool::ReasonOf(platform::LastError());
            mTemporary.clear();
            return nullptr;
        }
        target = mFile.rdbuf();
    }
    mSink = std::make_unique<CByteSink>(target);
    return std::make_unique<std::wostream>(mSink.get());
}

bool COutput::Commit(std::string* reason) {
    if (!mIsFile) return true;
    mFile.close();
    if (!mFile) {
        *reason = tool::ReasonOf(platform::LastError());
        return false;
    }
    if (mTemporary.empty()) return true;
    std::error_code error;
    const auto      status = fs::status(mTarget, error);
    if (fs::exists(status)) fs::permissions(mTemporary, status.permissions(), error);
    fs::rename(mTemporary, mTarget, error);
    if (error) {
        *reason = tool::ReasonOf(static_cast<unsigned>(error.value()));
        return false;
    }
    mTemporary.clear();
    return true;
}

}  // namespace blocks
