#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <iosfwd>
#include <string>
#include <vector>

/// Everything that the libraries ask of the operating system. Only the files in `win32/` and
/// `posix/` include system headers; no other file under `lib/` tests for a platform.
///
/// Where the design is written in the terms of a Windows call, the function has that call's
/// meaning on every platform. "Narrow" text is in the system's ANSI code page on Windows and in
/// UTF-8 elsewhere; "wide" text is UTF-16, one code unit in each `wchar_t`, also where `wchar_t`
/// has 32 bits.
namespace platform {

// ---------------------------------------------------------------------------------------------
// Text

inline constexpr unsigned kCodePageAnsi = 0;  ///< the narrow text of this system
inline constexpr unsigned kCodePageOem  = 1;  ///< the console's; 437 outside Windows
inline constexpr unsigned kCodePageUtf8 = 65001;

/// The error code that says "the buffer is too small": call again with capacity 0 to learn the size.
inline constexpr unsigned kErrorInsufficientBuffer = 122;
/// The error code for a code page that this system does not know, or text it cannot convert.
inline constexpr unsigned kErrorInvalidParameter = 87;

/// Converts narrow text to UTF-16 units.
/// @param length    bytes to convert; -1 converts up to and with the terminating NUL.
/// @param capacity  room in `out`, in units; 0 only asks for the size needed.
/// @param error     receives 0, `kErrorInsufficientBuffer` or another system error code.
/// @return units written (or needed); 0 on an error.
/// A byte that is no well-formed UTF-8 never fails the call. Outside Windows it stands for itself
/// (U+0080..U+00FF) in code page 65001; in code page 0 it becomes U+DC00 plus the byte, which
/// `WideToMultiByte` turns back, so that every file name can be carried as wide text.
int MultiByteToWide(unsigned codePage, const char* text, int length, wchar_t* out, int capacity,
                    unsigned* error) noexcept;

/// Converts UTF-16 units to narrow text; surrogate pairs are joined. Same rules for the arguments
/// and the result; lengths of `out` are bytes. What the code page lacks becomes "?" or a
/// look-alike, a lone surrogate U+FFFD (see above for code page 0).
int WideToMultiByte(unsigned codePage, const wchar_t* text, int length, char* out, int capacity,
                    unsigned* error) noexcept;

/// Character classes and case mapping of the Windows C run time's "C" locale, for one UTF-16
/// unit: the same answers on every platform, whatever locale the process has set.
bool    IsAlpha(wchar_t ch) noexcept;
bool    IsAlnum(wchar_t ch) noexcept;
bool    IsDigit(wchar_t ch) noexcept;
bool    IsSpace(wchar_t ch) noexcept;
bool    IsControl(wchar_t ch) noexcept;
wchar_t ToLower(wchar_t ch) noexcept;
wchar_t ToUpper(wchar_t ch) noexcept;

/// Formats like the Windows C run time's `_vsnwprintf`: returns the number of units written, or a
/// negative number when they do not fit in `capacity`; the result need not be NUL-terminated.
/// Write `%ls` and `%hs`, which mean wide and narrow text to everybody. Numbers are written as in the
/// "C" locale, whatever the process has set.
int FormatWide(wchar_t* out, std::size_t capacity, const wchar_t* format, va_list arguments) noexcept;

/// Writes a size as the file manager does: "532 bytes", "1.30 KB", "23.4 KB", "1.51 MB" (three
/// digits, cut, not rounded). False when `capacity` (with the NUL) is too small.
bool FormatByteSize(std::uint64_t bytes, char* out, unsigned capacity) noexcept;

// ---------------------------------------------------------------------------------------------
// Files. Opened for shared reading: others may write, rename and delete the file meanwhile.
// Only regular files open; directories, pipes and devices are refused, since reading them could
// block or never end.

struct CFileInfo {
    bool          mIsDirectory = false;
    bool          mIsHidden    = false;  ///< outside Windows: the name begins with a dot
    bool          mIsReadOnly  = false;
    bool          mIsRegular   = false;  ///< neither directory, pipe nor device
    std::uint64_t mSize        = 0;      ///< bytes
    std::int64_t  mModified    = 0;      ///< seconds since the beginning of 1970, universal time
};

/// Asks for a file's attributes. False when they cannot be had; `LastError()` then says why.
bool GetFileInfo(const char* path, CFileInfo* info) noexcept;

/// Opens a file for reading through the C library's buffered calls; the caller closes it with
/// `fclose`. Text mode folds CR LF to LF where the C library does so. Null when it cannot open;
/// `errno` and `LastError()` then say why.
std::FILE* OpenForReading(const char* path, bool text) noexcept;

/// Opens a file for writing at its end, through the C library's text mode; made when missing. Others
/// may read and write it meanwhile. Null when it cannot open.
std::FILE* OpenForAppending(const char* path) noexcept;

/// Low-level file calls on a descriptor, which is opened for binary reading; -1 is the failure of each.
/// @param size  receives the file's length in bytes; null: not asked for.
int OpenDescriptor(const wchar_t* path, std::int64_t* size = nullptr) noexcept;
int OpenDescriptor(const char* path, std::int64_t* size = nullptr) noexcept;
int ReadDescriptor(int descriptor, void* out, unsigned bytes) noexcept;
/// Reads from a place in the file, wherever the descriptor stands; it may stand elsewhere after that.
int ReadDescriptorAt(int descriptor, std::int64_t offset, void* out, unsigned bytes) noexcept;
/// On: `ReadDescriptor` folds CR LF to LF, and ends at what ends a text, where the C library does so.
void SetTextMode(int descriptor, bool on) noexcept;
void CloseDescriptor(int descriptor) noexcept;

/// One thing in a folder.
struct CFolderEntry {
    enum EKind {
        kFile,        ///< whatever is no folder, also a link to a file or to nothing
        kFolder,      ///< a folder that lives here
        kFolderLink,  ///< a folder that lives elsewhere: who follows it may walk in circles
    };
    std::string mName;  ///< UTF-8 (elsewhere than on Windows any bytes), without the folder's path
    EKind       mKind = kFile;
};
/// What a folder holds, in no particular order.
/// @param path  UTF-8 (elsewhere than on Windows any bytes)
/// @return false when it could not be read to its end; `LastError()` then says why, and `entries` has what
///         came before that.
bool ListFolder(const char* path, std::vector<CFolderEntry>* entries);
/// The path of something in a folder, with the system's separator where one is needed.
std::string JoinPath(const std::string& folder, const std::string& name);

/// Opens a file for binary reading through a buffer of the C++ library, shared as above; what that
/// library opens by itself nobody can rename or delete on Windows. False when it does not open.
bool OpenForReading(std::wfilebuf& buffer, const wchar_t* path);

// ---------------------------------------------------------------------------------------------
// Process

/// The operating system's error code of the calling thread (`GetLastError`, or `errno`).
unsigned LastError() noexcept;
/// Puts such a code back (reporting an error must not change what the caller sees of it).
void SetLastError(unsigned code) noexcept;
/// The system's message text for such a code, without a line end; never empty.
std::string SystemErrorText(unsigned code);
/// The C library's message text for an `errno` value; never empty.
std::string ErrnoText(int code);

/// Looks an environment variable up. False when it is not set; `value` is then untouched.
bool GetEnvironment(const char* name, std::string* value);
bool GetEnvironmentWide(const char* name, std::wstring* value);
/// All entries, each "NAME=value", in the system's order.
std::vector<std::wstring> ListEnvironment();

inline constexpr std::size_t kMaxModulePath = 260;  ///< characters
/// Path of the running program, cut after `kMaxModulePath`.
std::string ModuleFileName();
unsigned    ProcessId() noexcept;

/// The command line as UTF-8, the program first. On Windows it is asked from the system, since
/// `argv` there has already lost what the ANSI code page lacks.
std::vector<std::string> CommandLine(int argc, char** argv);
/// Standard input and output carry bytes from here on: no line-end translation.
void UseBinaryStandardStreams() noexcept;
/// Whether somebody watches standard error: it is a terminal, or a console.
bool StandardErrorIsTerminal() noexcept;

enum class EBoxButtons { kAbortRetryIgnore, kYesNo };
enum class EBoxIcon { kStop, kQuestion, kExclamation };
enum class EBoxAnswer { kAbort, kRetry, kIgnore, kYes, kNo, kOther };

/// The local time of now; all zero when it cannot be had.
std::tm LocalTime() noexcept;

/// Shows a task-modal message box. Where there is none, the text goes to standard error and the
/// answer is the one that changes nothing: `kIgnore`, or `kNo`.
EBoxAnswer ShowMessageBox(const char* text, EBoxIcon icon, EBoxButtons buttons) noexcept;

// ---------------------------------------------------------------------------------------------
// Threads

/// One pointer for each thread. The owner lives at namespace scope: it is made when the module is
/// loaded and destroyed when it is unloaded, which frees what every thread still holds (outside
/// Windows, where nothing is unloaded, what the calling thread holds). Before and after its life it
/// answers like a slot for which the system has no room. (Never a `thread_local` object with a
/// destructor: in a module that is unloaded it crashes the process when a thread that used it ends
/// later.)
class CThreadSlot {
  public:
    using Destroyer = void (*)(void* value);

    /// @param destroy called with a thread's non-null pointer when that thread ends.
    explicit CThreadSlot(Destroyer destroy) noexcept;
    ~CThreadSlot();
    CThreadSlot(const CThreadSlot&)            = delete;
    CThreadSlot& operator=(const CThreadSlot&) = delete;

    void* Get() const noexcept;             ///< null until this thread has set it
    bool  Set(void* value) const noexcept;  ///< false when the system has no room; value stays the caller's

  private:
    // Written for objects at namespace scope that format a text after this one has been destroyed;
    // volatile, since the compiler knows that nobody may look.
    void ForgetKey() noexcept { *const_cast<volatile std::uint32_t*>(&mKey) = 0; }

    Destroyer     mDestroy;
    std::uint32_t mKey;  ///< the system's key plus one; 0 when there is none
};

}  // namespace platform
