// xdbg: the debug report library.
//
// Threads: the settings are process-wide plain words without a lock; set them from one thread while nobody reports.
// Reports themselves may come from any thread, each formats into a buffer of its own. XDbgDateTime uses localtime(3),
// so it is for one thread at a time.
//
// A report has a level. It is formatted printf-style, offered to the hook, and then sent to the outputs its level is
// routed to. The library never reports failures of its own: what it cannot write, it drops.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>

// Size in bytes of a formatted report, its terminating zero included. A longer one, or one that cannot be formatted,
// is replaced by "XDbgReport: string too long or io error\r\n".
inline constexpr unsigned kXDbgMessageSize = 1024;

// Levels. A call with a level above kXDbgAssertion does nothing.
enum XDbgLevel : unsigned { kXDbgInformation = 0, kXDbgWarning = 1, kXDbgError = 2, kXDbgAssertion = 3 };

// Outputs of a level, a combination of bits. At load, kXDbgAssertion prompts and the other levels are off (0).
enum XDbgRoute : int {
  kXDbgToStream = 1,      // the level's stream, see XDbgSetStream
  kXDbgToFile = 2,        // appended to "xdebug.txt" in the current directory, opened and closed for every report
  kXDbgToPrompt = 4,      // the Abort/Retry/Ignore prompt on standard error and standard input
  kXDbgToFileSecond = 8,  // appended to "xdebug.txt" as well
  kXDbgToFileThird = 16,  // appended to "xdebug.txt" as well
};

// Values for XDbgSetStream besides an open stream and null (no stream): the file "xdebug.txt", and "only tell me".
// NOLINTBEGIN(performance-no-int-to-ptr): marks that are no addresses.
inline FILE* const kXDbgStreamFile = reinterpret_cast<FILE*>(std::intptr_t{-1});
inline FILE* const kXDbgStreamQuery = reinterpret_cast<FILE*>(std::intptr_t{-2});
// NOLINTEND(performance-no-int-to-ptr)

extern "C" {

// Hooks see every report that passes its level's route, before any output. `text` is borrowed for the call, and
// `bufferSize` is the size of its buffer in bytes. 0 says "handled, write nothing"; any other result lets the report
// go on. The extended hook is asked before the plain one.
typedef int (*XDbgReportHook)(int level, int route, const char* text, unsigned bufferSize);
typedef int (*XDbgReportHookEx)(int level, int route, const char* text, unsigned bufferSize, int extra);

// Reports `format` with `args` at `level`. `routeOverride` replaces the level's route mask unless it is -1 or the
// level is off: an override cannot switch a level on. `fileName` and `lineNumber` say where the report comes from;
// no output shows them. `extra` reaches the extended hook alone. A null format does nothing.
// Returns 1 when the prompt was answered with Retry, 0 otherwise. Abort ends the process with exit status 3.
int XDbgReport(unsigned level, int routeOverride, const char* fileName, int lineNumber, const char* format,
               va_list args, int extra);

// Report at one level, by the level's own route; XDbgInfoEx passes extra 1. Return as XDbgReport.
int XDbgInfo(const char* format, ...) __attribute__((format(printf, 1, 2)));
int XDbgWarning(const char* format, ...) __attribute__((format(printf, 1, 2)));
int XDbgError(const char* format, ...) __attribute__((format(printf, 1, 2)));
int XDbgInfoEx(const char* format, ...) __attribute__((format(printf, 1, 2)));
int XDbgPrint(unsigned level, int routeOverride, const char* format, ...) __attribute__((format(printf, 3, 4)));

// Sets a level's route mask and returns the previous one; mask -1 only returns it. A level above 3 gives 0.
int XDbgSetRoute(unsigned level, int mask);
// Sets a level's stream (borrowed) and returns the previous one; kXDbgStreamQuery only returns it. A level above 3
// gives null.
FILE* XDbgSetStream(unsigned level, FILE* stream);
// Sets route mask and stream of the levels information, warning and error. Returns 1.
int XDbgSetOutputs(int mask, FILE* stream);
// Set a hook (null for none) and return the previous one.
XDbgReportHook XDbgSetReportHook(XDbgReportHook hook);
XDbgReportHookEx XDbgSetReportHookEx(XDbgReportHookEx hook);

// Reports `length` bytes at `data` as information, 16 bytes a row: address, hexadecimal bytes, printable characters.
void XDbgHexDump(const void* data, size_t length);

// Writes local date and time texts of `value`. Either buffer may be null; each holds at least 40 bytes. A time that
// localtime(3) cannot convert gives empty texts.
// `date`: "dd.mm.yyyy", with flag bit 0 (0x1) "dd.mm.yy". `time`: "hh:mm:ss", with flag bit 1 (0x2) "hh:mm".
void XDbgDateTime(time_t value, char* date, char* time, unsigned flags);

// Write `value` in `radix` (2 to 36, digits above 9 in lower case) and return `buffer`, which holds at least 34 bytes.
// The signed form writes a minus sign for radix 10 only; in any other radix a negative value is shown as its 32-bit
// two's complement. A radix out of range gives an empty text.
char* XDbgIntToText(int value, char* buffer, int radix);
char* XDbgUIntToText(unsigned value, char* buffer, int radix);

// Delimited texts. `size` is the size of `dest` in bytes: at most size - 1 characters are written and always
// terminated, and a size below 1 leaves `dest` untouched. `dest` is returned and must not overlap `src`. The delimiter
// is a whole string. Null for a source or delimiter counts as "". Numbers `n` begin at 1; one out of range gives an
// empty text.
char* XDbgCopy(char* dest, int size, const char* src);
// Up to the first delimiter; an empty one stands at the very beginning.
char* XDbgCopyUntil(char* dest, int size, const char* src, const char* delim);
// Tokens: leading delimiters are skipped and a run of delimiters separates once. With an empty delimiter the
// whole text is the one token, which every n gives.
char* XDbgToken(char* dest, int size, const char* src, const char* delim, int n);
int XDbgTokenCount(const char* src, const char* delim);
// Fields: every delimiter separates, so empty fields count. An empty text has no field.
char* XDbgField(char* dest, int size, const char* src, const char* delim, int n);
int XDbgFieldCount(const char* src, const char* delim);
// The text after the last '\\', else after the last '/', else after the last ':', else the whole path; "" for null.
// Points into `path`.
const char* XDbgBaseName(const char* path);

}  // extern "C"
