// The diagnostic log: printf-style lines to the standard error stream of the process, a few progress
// texts to its standard output. No levels, no switch; a line becomes visible when the host redirects
// the stream or when the debug console is open.
//
// Each call puts its text together in memory and hands it to the stream of the C run-time by one call
// under the stream's lock, so that lines of different threads, or the host's own, never mix. Buffer,
// mode, position and redirection are the stream's; a closed stream takes nothing. Wide text is written
// as UTF-8, narrow text unchanged. Nothing here throws: when there is no memory for a long line, as
// much of it is written as fits.
//
// "%s" takes a narrow string in a narrow format and a wide string in a wide format.
#ifndef LAUNCHER_CORE_LOG_H_
#define LAUNCHER_CORE_LOG_H_

#if defined(__MINGW32__) && !defined(__clang__)
#define LAUNCHER_PRINTF_FORMAT(text, first) __attribute__((format(ms_printf, text, first)))
#elif defined(__GNUC__)
#define LAUNCHER_PRINTF_FORMAT(text, first) __attribute__((format(printf, text, first)))
#else
#define LAUNCHER_PRINTF_FORMAT(text, first)
#endif

namespace launcher {

/// Writes one narrow line to standard error. Any thread.
void LogLine(const char* format, ...) noexcept LAUNCHER_PRINTF_FORMAT(1, 2);

/// Writes one wide line to standard error. Any thread.
void LogLine(const wchar_t* format, ...) noexcept;

/// Writes one narrow text to standard output. Any thread.
void PrintText(const char* format, ...) noexcept LAUNCHER_PRINTF_FORMAT(1, 2);

}  // namespace launcher

#endif  // LAUNCHER_CORE_LOG_H_
