#pragma once

#include <filesystem>
#include <fstream>
#include <istream>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>

/// Where `tarvex-blocks` reads and writes: files and the standard streams, as the block library wants them,
/// each byte one wide character.
namespace blocks {

/// Standard input. What is waiting on standard output goes out before this waits for more.
class CStandardInput final : public std::wstreambuf {
  public:
    /// The system's error code that ended reading; 0 at a proper end.
    unsigned Error() const noexcept { return mError; }
    /// The first units that came, at most three.
    const std::wstring& First() const noexcept { return mFirst; }

  protected:
    int_type underflow() override;

  private:
    static constexpr std::size_t kSize = 16384;  ///< bytes asked for at a time

    wchar_t      mUnits[kSize];
    std::wstring mFirst;
    unsigned     mError = 0;
};

/// What a FILE argument names: a file, or standard input ("-").
class CInput {
  public:
    explicit CInput(std::string argument) : mArgument(std::move(argument)) {}

    /// Opens it, once. The stream borrows from this object. Null when it cannot be opened.
    std::unique_ptr<std::wistream> Open();
    /// The same for going to positions: standard input is read into memory first. Null also when there
    /// is more than positions can say.
    std::unique_ptr<std::wistream> OpenForSeeking();
    /// Why there is no stream, or why it ended early; empty when all is well.
    std::string Problem() const;
    /// The encoding that the byte order mark at its start names, once it has been read; empty without one.
    std::string ByteOrderMark() const;
    /// Whether an output argument names the very file, by whatever name or link.
    bool IsFile(const std::string& output) const;

  private:
    bool IsStandardInput() const { return mArgument == "-"; }

    std::string                     mArgument;
    std::string                     mReason;
    std::wstring                    mFirst;  ///< units of a file, at most three
    std::unique_ptr<CStandardInput> mStandardInput;
};

/// Bytes on their way to a narrow buffer.
class CByteSink final : public std::wstreambuf {
  public:
    explicit CByteSink(std::streambuf* target) : mTarget(target) { setp(mUnits, mUnits + kSize); }

  protected:
    int_type overflow(int_type unit) override;
    int      sync() override { return Drain() && mTarget->pubsync() == 0 ? 0 : -1; }
    /// Tells the place reached, and goes nowhere.
    pos_type seekoff(off_type offset, std::ios_base::seekdir from, std::ios_base::openmode which) override;

  private:
    static constexpr std::size_t kSize = 4096;

    bool Drain();

    std::streambuf* mTarget;
    std::streamoff  mDrained = 0;  ///< units
    wchar_t         mUnits[kSize];
};

/// Where a result goes: standard output, or a file. A file is written beside its place and moved there when
/// it is complete, so that there is never half of it, and what it was made from may be the file itself.
/// A device or pipe is written straight away.
class COutput {
  public:
    /// @param argument  a path; empty or "-": standard output.
    explicit COutput(const std::string& argument);
    ~COutput();
    COutput(const COutput&)            = delete;
    COutput& operator=(const COutput&) = delete;

    bool IsFile() const noexcept { return mIsFile; }
    /// The stream to write to, borrowing from this object. Null when there is none, `reason` says why.
    std::unique_ptr<std::wostream> Open(std::string* reason);
    /// Ends the output when all of it was written; false, nothing changed, when it cannot be put in place.
    bool Commit(std::string* reason);

  private:
    bool PrepareReplacement(std::string* reason);

    bool                       mIsFile;
    std::filesystem::path      mTarget;
    std::filesystem::path      mTemporary;  ///< written instead of the target until the end; may be empty
    std::ofstream              mFile;
    std::unique_ptr<CByteSink> mSink;
};

}  // namespace blocks
