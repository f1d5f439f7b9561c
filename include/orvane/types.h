/* Orvane services: common types and the export macro shared by every family
 * header. */
#ifndef ORVANE_TYPES_H
#define ORVANE_TYPES_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#if defined(ORVANE_BUILD)
#define ORV_API __declspec(dllexport)
#else
#define ORV_API __declspec(dllimport)
#endif
#else
#define ORV_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
#define ORV_EXTERN_C_BEGIN extern "C" {
#define ORV_EXTERN_C_END }
#else
#define ORV_EXTERN_C_BEGIN
#define ORV_EXTERN_C_END
#endif

/* Status codes of the portable layer. */
#define ORV_OK 0
#define ORV_BUSY 1
#define ORV_FAILED (-1)
#define ORV_NO_MEMORY (-2)
#define ORV_NOTHING_TO_DO (-3)
#define ORV_JOIN_SELF (-4)
#define ORV_TIMED_OUT (-5)

/* Time-out that waits for ever. */
#define ORV_WAIT_FOREVER 0xFFFFFFFFu

/* A handle word: a platform handle stored in caller-owned storage. It is
 * pointer-sized so that it holds any platform handle. */
typedef uintptr_t orvHandle;

#endif
