/**
 * @file orvane/debug.h
 * @brief The debug device: one call writes a message to any combination of
 * six devices, chosen by the bits of a device set that the application keeps;
 * a window procedure hosts the debug window's edit control.
 *
 * The device state lives in exported globals that applications may read and
 * set directly. Nothing here is locked: the log file handle and the dump
 * buffer are shared process-wide, so print from one thread at a time or
 * accept interleaving.
 *
 * On POSIX the window device works on the library's emulated windows (no
 * window system is involved): see docs/porting.md.
 */
#ifndef ORVANE_DEBUG_H
#define ORVANE_DEBUG_H

#include "orvane/files.h"
#include "orvane/types.h"

ORV_EXTERN_C_BEGIN

/** Device: standard file 1, "prefix: text" and a line feed, or the text
 * and a line feed without a prefix. */
#define ORV_DEBUG_STDOUT 0x01u
/** Device: standard file 2, as #ORV_DEBUG_STDOUT. */
#define ORV_DEBUG_STDERR 0x02u
/** Device: the log file #TraceLogName, appended to and closed per message. */
#define ORV_DEBUG_LOGFILE 0x04u
/** Device: the debugger (OutputDebugStringA; on POSIX standard error while a
 * debugger is attached): prefix, ": ", text, carriage return, line feed. */
#define ORV_DEBUG_DEBUGGER 0x08u
/** Device: a message box with the text and the prefix (or "Debug") as
 * caption. */
#define ORV_DEBUG_MSGBOX 0x10u
/** Device: the edit control #DebugEditWnd: prefix, ": ", text and
 * "\r\r\n". */
#define ORV_DEBUG_WINDOW 0x20u

/** Size of #TraceBuffer in bytes. */
#define ORV_DEBUG_TRACE_BUFFER_SIZE 256
/** Size of #TraceFormat in bytes. */
#define ORV_DEBUG_TRACE_FORMAT_SIZE 256
/** Size of #TraceHeader in bytes. */
#define ORV_DEBUG_TRACE_HEADER_SIZE 256
/** Size of #ErrMsg27 in bytes. */
#define ORV_DEBUG_ERRMSG_SIZE 256

/** @def ORV_WINDOW_CALL
 * The calling convention of a window procedure (__stdcall on Windows, empty
 * elsewhere). */
#if defined(_WIN32)
#define ORV_WINDOW_CALL __stdcall
#else
#define ORV_WINDOW_CALL
#endif

/** The last opening header that debug_OpenDevice() wrote: "DEBUG (%X): %s"
 * with its value and the time as ctime gives it (which ends with a line
 * feed). */
ORV_API extern char TraceBuffer[ORV_DEBUG_TRACE_BUFFER_SIZE];
/** The log file while a message is written to it; null between uses. */
ORV_API extern orvFile *TraceLogFile;
/** The name of the log file; "debug.log" (in the current directory) until an
 * application points it elsewhere. */
ORV_API extern const char *TraceLogName;
/** The edit control of the window device; 0 while there is none. */
ORV_API extern uintptr_t DebugEditWnd;

/* Words and buffers that the library defines for applications; only the XDR
 * trace reads two of them (TraceActions and TraceDevice). */
/** The device set an application traces to; the XDR streams print their
 * trace on it while #TraceActions has bit 0x4000. */
ORV_API extern uint32_t TraceDevice;
/** The device set an application shows messages on (for applications). */
ORV_API extern uint32_t ShowDevice;
/** The application's trace actions; bit 0x4000 makes the XDR streams trace
 * through the debug device. */
ORV_API extern uint32_t TraceActions;
/** The handle of the application's trace window (for applications). */
ORV_API extern uintptr_t TraceWnd;
/** The application's debug options switch (for applications). */
ORV_API extern uint32_t DebugOptionsOn;
/** A trace format text (for applications). */
ORV_API extern char TraceFormat[ORV_DEBUG_TRACE_FORMAT_SIZE];
/** A trace header text (for applications). */
ORV_API extern char TraceHeader[ORV_DEBUG_TRACE_HEADER_SIZE];
/** The trap of the application's last error report (for applications). */
ORV_API extern uint32_t CurrTrap27;
/** The component of the application's last error report (for applications). */
ORV_API extern uint32_t ErrComp27;
/** The message text of the application's last error report (for
 * applications). */
ORV_API extern char ErrMsg27[ORV_DEBUG_ERRMSG_SIZE];
/** The number of the application's last error report (for applications). */
ORV_API extern uint32_t ErrNum27;

/** Opens devices: writes the opening header into TraceBuffer, then sets each
 * of the bits 0x01, 0x02, 0x04, 0x10 and 0x20 of bits in *deviceSet (0x08 is
 * left as it is). The log file is created afresh with the header and a line
 * feed; when it cannot be, bit 0x04 is cleared again and "Cannot open debug
 * log file." is shown. For 0x20, value is the edit control's window handle,
 * kept in DebugEditWnd; a null value clears the bit again and shows "Debug
 * output window is invalid". */
ORV_API void debug_OpenDevice(uint32_t *deviceSet, uint32_t bits, uintptr_t value);

/** Closes devices: clears each of the bits 0x01 to 0x20 of bits in
 * *deviceSet; 0x04 closes TraceLogFile if it is open, 0x20 forgets
 * DebugEditWnd. */
ORV_API void debug_CloseDevice(uint32_t *deviceSet, uint32_t bits);

/** Writes one message (prefix may be null) to each device of deviceSet, in
 * the order of the device bits. The log file is opened, appended to,
 * flushed and closed for each message, so it is complete after each one.
 * The window device is skipped while DebugEditWnd is 0. */
ORV_API void debug_Print(uint32_t deviceSet, const char *prefix, const char *text);

/** A hexadecimal dump of length bytes at address through debug_Print: the
 * title first (as a prefix with empty text) when given; then one message
 * per 16 bytes, prefixed with the line's address ("%08x"), holding each
 * byte as "%02x ", three spaces per missing byte of a short last line, a
 * space, and each byte as itself when it is a letter, digit, punctuation or
 * blank (and not above 0x7F), else ".". A length of 0 prints "No data". */
ORV_API void debug_Dump(uint32_t deviceSet, const char *title, const void *address, uint32_t length);

/** The debug window's procedure: creates the edit control on the create
 * message (1), posts the quit message on destroy (2), sizes the control
 * with the window (5), gives it the focus (7), makes room when it reports
 * that it is out of space (command 273 from control 1 with code 0x500: a
 * message box, then the first 100 characters are cleared), and clears it on
 * the clear message (771). Returns 1 for those messages and 0 for all
 * others; it does not call the default window procedure. */
ORV_API intptr_t ORV_WINDOW_CALL DebugWndProc(uintptr_t window, uint32_t message, uintptr_t wParam,
                                              intptr_t lParam);

ORV_EXTERN_C_END

#endif
