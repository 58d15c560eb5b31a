#pragma once

#include <cstdarg>

/// A diagnostic log for support, shaped by environment variables alone; nothing is written unless
/// they ask for it. They are read when the module is loaded:
///
///   TARVEX_DEBUG_LOG                  where to: "stdout", or (the beginning of) a file's path
///   TARVEX_DEBUG_LOG_SEPARATE         present: a file per program and process, PATH_NAME_ID.log
///   TARVEX_DEBUG_LOG_SEPARATE_NO_PID  "1": a file per program, PATH_NAME_.log
///   TARVEX_DEBUG_MODE                 the highest level that is written; 0 unless set
///   TARVEX_DEBUG_FILE                 only messages of the source files named in this text
///   TARVEX_DEBUG_VERBOSE              present: each line begins with its source file and line
///   TARVEX_DEBUG_LOG_TIMESTAMP        present: each line carries the local time
///
/// BRANTOR_DEBUG_LOG and BRANTOR_DEBUG_MODE stand in for their namesakes.
///
/// A log file is opened for appending and shared with others. Each thread has a pending line of its
/// own, so lines of several threads may alternate but never mix. Nothing here throws, and a file that
/// cannot be opened or written is the same as none.

/// Reads the environment anew and reopens the log. REQUIRES: no other thread is writing to it.
void InitDebugLog() noexcept;

/// Whether messages go anywhere.
bool IsDebugLogOpen() noexcept;

/// Sets what the environment sets otherwise. A null filter leaves the one there is.
void SetDebugLogOptions(int level, bool verbose, const char* filter = nullptr) noexcept;

/// Writes a message (at any level that the log asks for) together with its place in the source.
/// Formats are wide; write `%ls` and `%hs`.
#define TESSEL_LOG(level, ...) (SetDebugLogSource(__FILE__, __LINE__), DebugLog((level), __VA_ARGS__))

/// Writes a message, line by line: what follows its last line end waits for the next message.
void DebugLog(int level, const wchar_t* format, ...) noexcept;
/// Says where the calling thread's next message comes from. `file` must live on; its folder is left out.
void SetDebugLogSource(const char* file, int line) noexcept;

/// Writes a line that separates sections: "=====".
void DebugLogSeparator() noexcept;
/// Writes the process's environment, an entry a line.
void ListEnvironment() noexcept;

/// Retired; only raises an assertion.
void SetDebugLogFile(const char* path);
