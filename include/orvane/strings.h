/* Orvane services: string objects. A string holds its text as UTF-16 code
 * units with the character set it is rendered in natively (ORV_CHARSET_ASCII,
 * ORV_CHARSET_UNICODE or a set made by orvCharacterSetCreate). Positions are
 * 1-based units; a character outside the basic plane counts as two. */
#ifndef ORVANE_STRINGS_H
#define ORVANE_STRINGS_H

#include "orvane/charsets.h"
#include "orvane/types.h"

ORV_EXTERN_C_BEGIN

typedef struct orvString orvString;

/* At most this many strings (the first one included) are joined. */
#define ORV_STRING_JOIN_MAX 99

ORV_API orvString *orvStringCreate(orvCharSet charSet, const void *text);
ORV_API int orvStringAssign(orvString *string, orvCharSet charSet, const void *text);
ORV_API void orvStringDestroy(orvString *string);
ORV_API int orvStringSame(const orvString *a, const orvString *b);
ORV_API uint32_t orvStringLength(const orvString *string);
ORV_API int orvStringConvert(orvString *string, orvCharSet charSet);
ORV_API char *orvStringNative(const orvString *string);
ORV_API uint32_t orvStringFind(uint32_t start, const orvString *pattern, const orvString *text);
ORV_API uint32_t orvStringFindLast(uint32_t end, const orvString *pattern, const orvString *text);
ORV_API orvString *orvStringExtract(const orvString *string, uint32_t from, uint32_t to);
ORV_API int orvStringRemove(orvString *string, uint32_t from, uint32_t to);
ORV_API orvString *orvStringUpShift(const orvString *string);
/* The further strings end with a null pointer. */
ORV_API orvString *orvStringJoin(const orvString *first, ...);
ORV_API orvString *orvStringToken(const orvString *string, const orvString *delimiters, uint32_t *position);
ORV_API uint16_t orvStringGetCharacter(const orvString *string, uint32_t position);
ORV_API int orvStringSetCharacter(orvString *string, uint32_t position, uint16_t unit);
ORV_API uint32_t orvStringHash(const orvString *string, uint32_t multiplier, uint32_t modulus);
ORV_API int32_t orvStringToInteger(const orvString *string);
ORV_API double orvStringToFloat(const orvString *string);
ORV_API orvString *orvStringFromInteger(int32_t value, orvCharSet charSet);
ORV_API orvString *orvStringFromHex(uint32_t value, orvCharSet charSet);
ORV_API orvString *orvStringFromFloat(double value, orvCharSet charSet);

ORV_EXTERN_C_END

#endif
