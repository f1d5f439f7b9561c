/* Orvane services: character sets and conversion between native text and
 * UTF-16. Two sets are built in ("ASCII": one byte is one unit 0 to 255;
 * "UNICODE": UTF-16 units as they are); every other set is made from its
 * definition in the NLS table and shared by name. */
#ifndef ORVANE_CHARSETS_H
#define ORVANE_CHARSETS_H

#include "orvane/types.h"

ORV_EXTERN_C_BEGIN

/* A character-set handle: ORV_CHARSET_ASCII, ORV_CHARSET_UNICODE, or a set
 * made by orvCharacterSetCreate. */
typedef intptr_t orvCharSet;

#define ORV_CHARSET_ASCII ((orvCharSet)-2)
#define ORV_CHARSET_UNICODE ((orvCharSet)-3)

/* Error codes of orvCharacterSetCreate. */
#define ORV_CHARSET_ERR_NO_DEFINITION 1
#define ORV_CHARSET_ERR_NO_MEMORY 2
#define ORV_CHARSET_ERR_NOT_BASE 3           /* a word beginning with B that is not BASE */
#define ORV_CHARSET_ERR_COMMENT_INSIDE 4     /* "#" inside a construct */
#define ORV_CHARSET_ERR_BASE_INSIDE 6        /* BASE inside a construct */
#define ORV_CHARSET_ERR_BRACE_INSIDE 7       /* "{" inside a construct */
#define ORV_CHARSET_ERR_CLOSE_WITHOUT_OPEN 8 /* "}" without "{" */
#define ORV_CHARSET_ERR_DASH_INSIDE 9        /* "-" inside a construct */
#define ORV_CHARSET_ERR_BAD_CHARACTER 10     /* any other character, or a number out of range */
#define ORV_CHARSET_ERR_FIFTH_BYTE 11        /* a fifth byte in braces */
#define ORV_CHARSET_ERR_RANGE_END 12         /* not above the last byte, or not below 255 */
#define ORV_CHARSET_ERR_DASH_ALONE 13        /* "-" not after a single-byte entry */
#define ORV_CHARSET_ERR_EMPTY 14             /* a definition without entries */

ORV_API orvCharSet orvCharacterSetCreate(const char *name, int *error);
ORV_API void orvCharacterSetDestroy(orvCharSet charSet);

/* Native text (for ORV_CHARSET_UNICODE: UTF-16 units) to a heap array of
 * UTF-16 units ending in a 0 unit. *length on entry: the bytes (units) of
 * text, or 0 for text up to its terminator; on return the units produced.
 * *byteSize: the size of the returned block. Null on failure. */
ORV_API uint16_t *orvCharacterSetConvertToUnicode(orvCharSet charSet, const void *text, uint32_t *length,
                                                  uint32_t *byteSize);

/* UTF-16 units to heap native text (for ORV_CHARSET_UNICODE: UTF-16 units)
 * with its terminator. *length on entry: the units, or 0 for units up to a
 * 0 unit; on return the units converted. *byteSize: the bytes written, the
 * terminator included. Null on failure. */
ORV_API char *orvCharacterSetConvertFromUnicode(orvCharSet charSet, const uint16_t *units, uint32_t *length,
                                                uint32_t *byteSize);

ORV_EXTERN_C_END

#endif
