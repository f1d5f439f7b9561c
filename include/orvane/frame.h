/**
 * @file orvane/frame.h
 * @brief The process frame: process initialisation and termination,
 * application items, the services location, exit handlers, assertions,
 * memory hooks, clocks, timers and hashing, settings and dynamic libraries.
 *
 * An application calls servicesProcessInitialize() before any other service
 * and servicesProcessTerminate() at the end, from one thread, before and
 * after its other threads run: none of the frame's state is locked.
 * Initialisation is counted; only the first call initialises and only the
 * call that brings the count back to 0 terminates.
 */
#ifndef ORVANE_FRAME_H
#define ORVANE_FRAME_H

#include "orvane/types.h"

ORV_EXTERN_C_BEGIN

/** Item code: ends the item list of servicesProcessInitialize(). */
#define ORV_ITEM_END 0
/** Item code: the application name (a string; copied by the library). */
#define ORV_ITEM_APPLICATION_NAME 1
/** Item code: the release tag string of the library (query only). */
#define ORV_ITEM_RELEASE_TAG 2
/** Item code: a pointer to the major version number, 11 (query only). */
#define ORV_ITEM_MAJOR_VERSION 3
/** Item code: a pointer to the minor version number, 0 (query only). */
#define ORV_ITEM_MINOR_VERSION 4
/** Item code: the application's configuration key (a string; copied), the
 * registry key and "ORVANE.INI" section that the settings lookup reads
 * first. */
#define ORV_ITEM_CONFIGURATION_KEY 5

/** Number of exit-handler slots (numbered 0 to 13). */
#define ORV_EXIT_SLOTS 14

/** An exit handler, called by orvExit() with the argument it was registered
 * with. */
typedef void (*orvExitHandler)(uintptr_t argument);

/** Initialises the services (counted). The arguments are a list of item
 * codes, each followed by a value for the codes that take one
 * (#ORV_ITEM_APPLICATION_NAME, #ORV_ITEM_CONFIGURATION_KEY: a string, which
 * is copied), ended by 0; other codes are skipped. Only the first call
 * initialises (standard files, thread layer, language support, file layer,
 * then the items); later calls only count and return 0.
 * @return 0 on success; r + 1100 when the thread layer fails with r;
 * r + 1000 when nlsInit() fails with r other than 13 (13 counts as success);
 * 1200 when the file layer fails; 1 or 5 for a null string given with item
 * 1 or 5; -1 or -5 when copying that string fails. The count stays
 * incremented after a failure. */
ORV_API int servicesProcessInitialize(int firstCode, ...);
/** Returns application item 1 to 5: the application name (null if none was
 * given), the release tag, a pointer to the major version (int32_t), a
 * pointer to the minor version (int32_t), the configuration key (or null).
 * The strings belong to the library. Any other item returns item - 1, which
 * is no valid pointer: pass 1 to 5 only. */
ORV_API intptr_t servicesQueryApp(int item);
/** Counts one termination down; the call that brings the count to 0 shuts
 * the file layer, language support and thread layer down, in that order,
 * unless keepLayers is non-zero, and frees items 1 and 5.
 * @return always 1. */
ORV_API int servicesProcessTerminate(int keepLayers);
/** Fills dir (dirSize bytes) with the services installation directory,
 * ending in the path separator: the key "Services" + suffix of section
 * "Orvane Locations" of "ORVANE.INI", else the key "Services" alone, else the
 * executable's directory. The separator is appended to a configured value
 * only when it is missing and dir has room.
 * @return 4 when the profile supplied the directory, 3 when the executable's
 * directory was used, 0 (dir untouched) when dirSize is 0 or less. */
ORV_API int orvGetServicesLocation(const char *suffix, char *dir, short dirSize);
/** Returns the product code of this build: the code of the product letter
 * (one upper-case letter chosen at build time), or 0 when there is none. */
ORV_API uint32_t orvGetProductCode(void);

/** Clears the exit-handler table and marks it ready.
 * @return 1 if it did so; 0 if the table was already ready (nothing is
 * cleared then). */
ORV_API int orvInitExit(void);
/** Stores handler and argument in slot (0 to 13), replacing what the slot
 * held; readies the table first if needed.
 * @return 1 on success, 0 for a slot outside 0 to 13. */
ORV_API int orvRegisterExit(int slot, orvExitHandler handler, uintptr_t argument);
/** Calls the registered exit handlers, slot 0 first, emptying each slot
 * after its call, so that a second call runs nothing. Does nothing while the
 * table is not ready. */
ORV_API void orvExit(void);
/** Reports a fatal assertion: formats "Assertion Failure at line \<line\> of
 * file \<sourceName\>.", runs orvExit(), shows the text with the caption
 * "*** ASSERTION FAILURE ***", breaks into an attached debugger and ends the
 * process. Does not return (declared to return int for compatibility). */
ORV_API int orvAssert(const char *sourceName, int line);

/** Allocates size bytes from the library's heap (malloc); null when out of
 * memory. Blocks that the library hands to callers are freed with
 * orvMemoryFreeFunc(). */
ORV_API void *orvMemoryAllocFunc(size_t size);
/** Frees a block of the library's heap (free); null is ignored. */
ORV_API void orvMemoryFreeFunc(void *block);

/** A broken-down local time, as orvClockReset() last read it. */
typedef struct orvClock {
  int32_t second; /**< seconds, 0 to 60 */
  int32_t minute; /**< minutes, 0 to 59 */
  int32_t hour;   /**< hours, 0 to 23 */
  int32_t day;    /**< day of the month, 1 to 31 */
  int32_t month;  /**< month, 0 to 11 */
  int32_t year;   /**< full year, such as 1999 */
} orvClock;

/** A wall-clock and processor-time stopwatch. Wall time has a resolution of
 * one second. */
typedef struct orvTimer {
  double startWall; /**< wall time at the start, in seconds */
  double stopWall;  /**< wall time at the stop or last reading, in seconds */
  double startCpu;  /**< processor time at the start, in seconds */
  double stopCpu;   /**< processor time at the stop or last reading, in seconds */
  uint32_t running; /**< 1 while the timer runs, else 0 */
} orvTimer;

/** Allocates a clock set to the current local time.
 * @return the clock (free it with orvClockDestroy()), or null when out of
 * memory. */
ORV_API orvClock *orvClockCreate(void);
/** Frees a clock. @return 1. */
ORV_API int orvClockDestroy(orvClock *clock);
/** Sets the clock to the current local time. @return 1. */
ORV_API int orvClockReset(orvClock *clock);
/** Returns the clock's month, 0 to 11. */
ORV_API int32_t orvClockGetMonth(const orvClock *clock);
/** Returns the clock's full year. */
ORV_API int32_t orvClockGetYear(const orvClock *clock);

/** Allocates a timer that is not running (its readings are not set).
 * @return the timer, a plain heap block to be freed with
 * orvMemoryFreeFunc(), or null when out of memory. */
ORV_API orvTimer *orvTimerCreate(void);
/** Starts the timer: samples wall and processor time into the start fields.
 * @return 1, or 0 when the clocks cannot be read. */
ORV_API int orvTimerStart(orvTimer *timer);
/** Stops a running timer, sampling into the stop fields.
 * @return 1 if the timer was not running (nothing changes); otherwise 1, or
 * 0 when the clocks cannot be read. */
ORV_API int orvTimerStop(orvTimer *timer);
/** Returns the wall time elapsed in seconds (whole seconds); a running timer
 * is sampled first and keeps running. */
ORV_API double orvTimerGetElapsed(orvTimer *timer);
/** Returns the processor time used in seconds; a running timer is sampled
 * first and keeps running. */
ORV_API double orvTimerGetProcess(orvTimer *timer);

/** Sleeps for seconds, truncated to whole milliseconds. */
ORV_API void orvSleep(double seconds);
/** Returns the 32-bit hash of text: each byte at position i is exclusive-or'ed
 * into byte i mod 4 of a little-endian word. The empty string hashes to 0. */
ORV_API uint32_t orvHash(const char *text);
/** The case-insensitive form of orvHash(): lower-case letters of the current
 * locale are folded to upper case first. */
ORV_API uint32_t orvHashI(const char *text);

/** Returns a setting's text: looked up in the per-user registry under the
 * application's configuration key, then in "ORVANE.INI" (the configuration
 * key's section, "Services" followed by the product letter, "Services"),
 * then in the environment; the first hit wins.
 * @return a heap copy that the caller frees with orvMemoryFreeFunc() (or
 * free), or null when no source has the setting (or when memory runs out
 * on the way). */
ORV_API char *orvResourceGetNLSStr(const char *name);
/** Returns a setting as a number: a registry number value directly,
 * otherwise the text parsed as decimal and, only when that gives 0, as
 * hexadecimal ("0x1F" and "1f" read 31, "1F" reads 1).
 * @return the number, or 0 when the setting is absent or unreadable. */
ORV_API uint32_t orvResourceGetUInt32(const char *name);

/** Loads a dynamic library by name, retrying once with the platform's
 * library extension appended.
 * @return the module, or null on failure. */
ORV_API void *orvDLOpen(const char *name);
/** Unloads a module of orvDLOpen(). @return 1 on success, else 0. */
ORV_API int orvDLClose(void *module);
/** Returns the address of symbol in module, or null when it is not there. */
ORV_API void *orvDLSymbol(void *module, const char *symbol);

ORV_EXTERN_C_END

#endif
