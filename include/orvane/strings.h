/**
 * @file orvane/strings.h
 * @brief String objects: text held as UTF-16 code units with the character
 * set it is rendered in natively.
 *
 * The character set is #ORV_CHARSET_ASCII, #ORV_CHARSET_UNICODE or a set made
 * by orvCharacterSetCreate() (the string does not own it). Positions are
 * 1-based units; a character outside the basic plane counts as two. Every
 * string returned is a new object that the caller frees with
 * orvStringDestroy(); every text returned is a heap block that the caller
 * frees with orvMemoryFreeFunc(). An operation that runs out of memory
 * returns null (or 0) and leaves its inputs unchanged.
 */
#ifndef ORVANE_STRINGS_H
#define ORVANE_STRINGS_H

#include "orvane/charsets.h"
#include "orvane/types.h"

ORV_EXTERN_C_BEGIN

/** A string object (opaque). */
typedef struct orvString orvString;

/** At most this many strings (the first one included) are joined. */
#define ORV_STRING_JOIN_MAX 99

/** Makes a string from zero-terminated text in charSet (for
 * #ORV_CHARSET_UNICODE, UTF-16 units ending in a 0 unit).
 * @return the new string, or null when the text does not convert or memory
 * runs out. */
ORV_API orvString *orvStringCreate(orvCharSet charSet, const void *text);
/** Replaces the string's text and character set with text in charSet.
 * @return 1, or 0 when the conversion fails (the string is then empty and
 * keeps its character set). */
ORV_API int orvStringAssign(orvString *string, orvCharSet charSet, const void *text);
/** Frees the string; null is ignored. */
ORV_API void orvStringDestroy(orvString *string);
/** Returns 1 when a and b have the same units (the character sets are not
 * compared), else 0. */
ORV_API int orvStringSame(const orvString *a, const orvString *b);
/** Returns the length in UTF-16 units. */
ORV_API uint32_t orvStringLength(const orvString *string);
/** Sets the character set the string renders in (the units stay).
 * @return 1. */
ORV_API int orvStringConvert(orvString *string, orvCharSet charSet);
/** Returns the string's text in its character set, zero-terminated, as a heap
 * block the caller frees; null when a unit does not convert or memory runs
 * out. */
ORV_API char *orvStringNative(const orvString *string);
/** Returns the position of the first occurrence of pattern in text that
 * begins at or after start (0 counts as 1), or 0 when there is none or the
 * pattern is empty or longer than the text. */
ORV_API uint32_t orvStringFind(uint32_t start, const orvString *pattern, const orvString *text);
/** Returns the position of the last occurrence of pattern in text that ends
 * at or before position end, or 0 when there is none, the pattern is empty
 * or end exceeds the text's length. */
ORV_API uint32_t orvStringFindLast(uint32_t end, const orvString *pattern, const orvString *text);
/** Returns a new string of positions from to to (inclusive), in the same
 * character set, or null when from is 0, to is below from or past the end,
 * or memory runs out. */
ORV_API orvString *orvStringExtract(const orvString *string, uint32_t from, uint32_t to);
/** Removes positions from to to (inclusive) in place.
 * @return 1, or 0 for a bad range (as orvStringExtract()) or no memory. */
ORV_API int orvStringRemove(orvString *string, uint32_t from, uint32_t to);
/** Returns a new string with a to z (units 97 to 122) made upper case and
 * every other unit unchanged; null when memory runs out. */
ORV_API orvString *orvStringUpShift(const orvString *string);
/** Returns a new string: first followed by the further strings up to a null
 * pointer (at most #ORV_STRING_JOIN_MAX strings in all), in first's
 * character set; orvStringJoin(s, NULL) copies s. Null when memory runs out. */
ORV_API orvString *orvStringJoin(const orvString *first, ...);
/** Returns the next token of string from *position: delimiter units (each
 * unit of delimiters; null or empty: none) are skipped, and the token runs
 * to the next delimiter or the end. *position is set past the delimiter that
 * ended it.
 * @return a new string in the source's character set, or null when
 * *position is 0 or past the end, only delimiters remain, or memory runs out. */
ORV_API orvString *orvStringToken(const orvString *string, const orvString *delimiters, uint32_t *position);
/** Returns the unit at position (1 to length), 0 at length + 1 and at any
 * other position. */
ORV_API uint16_t orvStringGetCharacter(const orvString *string, uint32_t position);
/** Sets the unit at position. @return 1, or 0 when position is 0 or exceeds
 * the length. */
ORV_API int orvStringSetCharacter(orvString *string, uint32_t position, uint16_t unit);
/** Returns the hash (hash * multiplier + unit) mod modulus over the units,
 * from 0, in wrapping 32-bit arithmetic (modulus 0 reduces nothing); an empty
 * string hashes to 0. */
ORV_API uint32_t orvStringHash(const orvString *string, uint32_t multiplier, uint32_t modulus);
/** Returns the string's single-byte form read as a decimal integer (atol). */
ORV_API int32_t orvStringToInteger(const orvString *string);
/** Returns the string's single-byte form read as a floating-point number
 * (atof). */
ORV_API double orvStringToFloat(const orvString *string);
/** Returns a new string of value in decimal ("%d") rendered in charSet, or
 * null when memory runs out. */
ORV_API orvString *orvStringFromInteger(int32_t value, orvCharSet charSet);
/** Returns a new string of value in upper-case hexadecimal ("%X") rendered in
 * charSet, or null when memory runs out. */
ORV_API orvString *orvStringFromHex(uint32_t value, orvCharSet charSet);
/** Returns a new string of value as "%g" rendered in charSet, or null when
 * memory runs out. */
ORV_API orvString *orvStringFromFloat(double value, orvCharSet charSet);

ORV_EXTERN_C_END

#endif
