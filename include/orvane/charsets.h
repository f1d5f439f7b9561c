/**
 * @file orvane/charsets.h
 * @brief Character sets and conversion between native text and UTF-16.
 *
 * Two sets are built in ("ASCII": one byte is one unit 0 to 255; "UNICODE":
 * UTF-16 units as they are); every other set is made from its definition (the
 * set's MBCHARMAP block in the NLS table) and shared, counted, by name. Set
 * names are matched without regard to case.
 */
#ifndef ORVANE_CHARSETS_H
#define ORVANE_CHARSETS_H

#include "orvane/types.h"

ORV_EXTERN_C_BEGIN

/** A character-set handle: #ORV_CHARSET_ASCII, #ORV_CHARSET_UNICODE, or a
 * set made by orvCharacterSetCreate(). */
typedef intptr_t orvCharSet;

/** The built-in set "ASCII": each byte is one UTF-16 unit 0 to 255 and back
 * (the low byte of each unit is kept without a check). */
#define ORV_CHARSET_ASCII ((orvCharSet)-2)
/** The built-in set "UNICODE": UTF-16 units copied as they are. */
#define ORV_CHARSET_UNICODE ((orvCharSet)-3)

/* Error codes of orvCharacterSetCreate(); 5 is not used. */
/** Create error: no definition of that name (or a null name). */
#define ORV_CHARSET_ERR_NO_DEFINITION 1
/** Create error: out of memory. */
#define ORV_CHARSET_ERR_NO_MEMORY 2
/** Create error: a word beginning with B that is not BASE. */
#define ORV_CHARSET_ERR_NOT_BASE 3
/** Create error: "#" inside a construct. */
#define ORV_CHARSET_ERR_COMMENT_INSIDE 4
/** Create error: BASE inside a construct. */
#define ORV_CHARSET_ERR_BASE_INSIDE 6
/** Create error: "{" inside a construct. */
#define ORV_CHARSET_ERR_BRACE_INSIDE 7
/** Create error: "}" without "{". */
#define ORV_CHARSET_ERR_CLOSE_WITHOUT_OPEN 8
/** Create error: "-" inside a construct. */
#define ORV_CHARSET_ERR_DASH_INSIDE 9
/** Create error: any other character, or a number out of range. */
#define ORV_CHARSET_ERR_BAD_CHARACTER 10
/** Create error: a fifth byte in braces. */
#define ORV_CHARSET_ERR_FIFTH_BYTE 11
/** Create error: not above the last byte, or not below 255. */
#define ORV_CHARSET_ERR_RANGE_END 12
/** Create error: "-" not after a single-byte entry. */
#define ORV_CHARSET_ERR_DASH_ALONE 13
/** Create error: a definition without entries. */
#define ORV_CHARSET_ERR_EMPTY 14

/** Makes (or shares) the character set name. "ASCII" and "UNICODE" give the
 * built-in handles; a set already made has its count raised; any other is
 * parsed from its definition in the NLS table (nlsInit() must have run).
 * @return the handle (release it with orvCharacterSetDestroy()) with *error
 * 0 (error may be null), or 0 with *error an ORV_CHARSET_ERR_* code. */
ORV_API orvCharSet orvCharacterSetCreate(const char *name, int *error);
/** Releases one create of a set; the last one frees it. Built-in handles and
 * unknown handles are ignored. */
ORV_API void orvCharacterSetDestroy(orvCharSet charSet);

/** Native text (for ORV_CHARSET_UNICODE: UTF-16 units) to a heap array of
 * UTF-16 units ending in a 0 unit. *length on entry: the bytes (units) of
 * text, or 0 for text up to its terminator; on return the units produced.
 * *byteSize: the size of the returned block. Null on failure (a byte sequence
 * the set does not define, no memory). The caller frees the result with
 * orvMemoryFreeFunc(). Null length and byteSize pointers are accepted. */
ORV_API uint16_t *orvCharacterSetConvertToUnicode(orvCharSet charSet, const void *text, uint32_t *length,
                                                  uint32_t *byteSize);

/** UTF-16 units to heap native text (for ORV_CHARSET_UNICODE: UTF-16 units)
 * with its terminator. *length on entry: the units, or 0 for units up to a
 * 0 unit; on return the units converted. *byteSize: the bytes written, the
 * terminator included. Null on failure (a unit the set does not define, no
 * memory). The caller frees the result with orvMemoryFreeFunc(). */
ORV_API char *orvCharacterSetConvertFromUnicode(orvCharSet charSet, const uint16_t *units, uint32_t *length,
                                                uint32_t *byteSize);

ORV_EXTERN_C_END

#endif
