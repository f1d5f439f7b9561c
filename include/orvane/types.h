/**
 * @file orvane/types.h
 * @brief Common types, status codes and the export macros shared by every
 * family header.
 *
 * Every other public header includes this one. The status codes are those of
 * the portable layer (threads and synchronisation); the other families have
 * their own codes, documented in their headers.
 */
#ifndef ORVANE_TYPES_H
#define ORVANE_TYPES_H

#include <stddef.h>
#include <stdint.h>

/** @def ORV_API
 * Marks an exported function or variable of the library: dllexport while
 * the library builds and dllimport for applications on Windows, default
 * visibility elsewhere (the library hides every other symbol). */
#if defined(_WIN32)
#if defined(ORVANE_BUILD)
#define ORV_API __declspec(dllexport)
#else
#define ORV_API __declspec(dllimport)
#endif
#else
#define ORV_API __attribute__((visibility("default")))
#endif

/** @def ORV_EXTERN_C_BEGIN
 * Opens a block of C-linkage declarations (empty in C). */
/** @def ORV_EXTERN_C_END
 * Closes the block opened by #ORV_EXTERN_C_BEGIN (empty in C). */
#ifdef __cplusplus
#define ORV_EXTERN_C_BEGIN extern "C" {
#define ORV_EXTERN_C_END }
#else
#define ORV_EXTERN_C_BEGIN
#define ORV_EXTERN_C_END
#endif

/** Status code: success. */
#define ORV_OK 0
/** Status code: busy or not acquired (try-operations; an abandoned wait). */
#define ORV_BUSY 1
/** Status code: the operation failed. */
#define ORV_FAILED (-1)
/** Status code: memory exhausted. */
#define ORV_NO_MEMORY (-2)
/** Status code: nothing to do (such as a priority left unchanged) or no
 * system resource left (such as no free thread-local slot). */
#define ORV_NOTHING_TO_DO (-3)
/** Status code: a join of the calling thread itself or of null. */
#define ORV_JOIN_SELF (-4)
/** Status code: a timed wait ran out, where a call tells this apart from busy. */
#define ORV_TIMED_OUT (-5)

/** Time-out, in milliseconds, that waits for ever. */
#define ORV_WAIT_FOREVER 0xFFFFFFFFu

/** A handle word: a platform handle stored in caller-owned storage. It is
 * pointer-sized so that it holds any platform handle. */
typedef uintptr_t orvHandle;

#endif
