/**
 * @file orvane/nls_format.h
 * @brief Numeric conversion and formatting, parameter substitution and string
 * formatting in the current locale.
 *
 * Every function steps through text by whole characters of the current
 * character set: a multi-byte character is never split, and a lead byte
 * directly before the terminating NUL counts as a character of its own, so
 * no function reads past a NUL. Blanks are the single-byte space and, in a
 * double-byte locale, the locale's double-byte space: a lead byte equal to
 * the first or second attribute of the current locale record followed by a
 * trail byte equal to the third. A locale without attributes has no
 * double-byte space.
 *
 * A numeric picture record (nlsNumericFormat()) is a byte array: byte 0 the
 * fill character for the positions left of everything placed; byte 1 a
 * floating symbol put just left of the leftmost position used (a currency
 * sign, for example; a space means none); byte 2 a leading sign shown left of
 * everything for negative values (a space means none); bytes 3-4 a trailing
 * marker written over the last two positions of a negative value ("CR"; two
 * spaces mean none, and a second byte that is a space makes a one-character
 * marker); bytes 5 on the picture text, as wide as the result.
 */
#ifndef ORVANE_NLS_FORMAT_H
#define ORVANE_NLS_FORMAT_H

#include "orvane/types.h"

ORV_EXTERN_C_BEGIN

/* --- Numeric pictures (the record's layout is described above) --- */
/** Picture record offset: the fill character. */
#define NLS_PICTURE_FILL 0
/** Picture record offset: the floating symbol. */
#define NLS_PICTURE_FLOATING 1
/** Picture record offset: the leading sign. */
#define NLS_PICTURE_LEADING_SIGN 2
/** Picture record offset: the two-byte trailing marker. */
#define NLS_PICTURE_TRAILING 3
/** Picture record offset: the picture text. */
#define NLS_PICTURE_TEXT 5

/** Formats the decimal digit string in text (*inOutLength bytes, not
 * NUL-terminated: optional spaces, an optional "-", digits, optional spaces)
 * through the picture and writes the result back into text; *inOutLength
 * becomes the picture width (pictureRecordLength - 5) and no NUL is added.
 * text must hold the larger of the two lengths.
 *
 * In the picture text the byte placeholder stands for a digit position; any
 * other character, a multi-byte one whole, is a literal copied to its place.
 * Digits fill the placeholders from the right. When they run out, the walk
 * goes on only over the rightmost minPositions positions (literals
 * included), where a placeholder becomes "0". The number "0" gives a field
 * of spaces when blankWhenZero is 1, and no digits at all (a field of fill
 * characters) when minPositions is 0; "-0" counts as 0.
 *
 * A trailing marker may only cover literal characters of the picture, whole:
 * a placeholder (or half a multi-byte literal) under it overflows the
 * field, and so does a negative value when the record has neither a leading
 * sign nor a trailing marker.
 *
 * Returns 1 when the number fits. An overflow, a number with more digits
 * than the picture places, or a number that is not a digit string gives a
 * field of "#" characters and returns 0. Null arguments, a negative length
 * or a record shorter than 5 bytes return -1 and write nothing; so does a
 * picture of more than 64 characters (or a result of more than 128 bytes)
 * when memory runs out. */
ORV_API int nlsNumericFormat(char *text, int *inOutLength, int blankWhenZero, int minPositions,
                             const char *picture, int pictureRecordLength, int placeholder);

/* --- Integers and doubles to text --- */
/**
 * The decimal text of value ("-" for negatives, "0" for zero), left-padded
 * with zeros until it has minDigits characters, a minus sign included (the
 * zeros go in front of the sign: -42 with minDigits 5 is "00-42"), then with
 * spaces until it has width characters. INT32_MIN is "-2147483648".
 * Returns dst, or null when minDigits or the padded text with its NUL needs
 * more than dstSize bytes; dst then holds an empty string when dstSize is at
 * least 1. */
ORV_API char *nlsLtoa(char *dst, int dstSize, int32_t value, int minDigits, int width);

/** The same for the integral part of a double, truncated toward zero (so
 * -0.5 gives "0"). Every digit of a large value is exact: 1e20 gives
 * "100000000000000000000". Returns 1, or 0 when the text does not fit (as
 * nlsLtoa) and for not-a-number and the infinities, which have no digits;
 * dst then holds an empty string when dstSize is at least 1. */
ORV_API int nlsFtoa(char *dst, int dstSize, double value, int minDigits, int width);

/* --- Text to numbers --- */

/** The 32-bit integer at the start of text: leading blanks, an optional "+"
 * or "-", then decimal digits up to the first other character. A value out
 * of range gives INT32_MAX or INT32_MIN; no digits (or null) give 0. */
ORV_API int32_t nlsAtol(const char *text);

/** Converts text (at most 32 bytes) to a double in *out and returns 1. The
 * first decimalChar of the text stands for the decimal point: it is replaced
 * by the locale's decimal point (nlsGetLocaleInfo item 0, "." if that is not
 * available) before the runtime's conversion, which reads in the same
 * numeric locale. Trailing spaces are skipped; text that does not start
 * with a number gives 0.0 (and still 1). Text longer than 32 bytes, or a
 * null text, sets *out to 0.0 and returns 0. */
ORV_API int nlsAtof(double *out, const char *text, int decimalChar);

/** The value, in units of 10^-scale, of the free-form number that begins at
 * byte *inOutPosition of text (textLength bytes; a NUL also ends it):
 * blanks; an optional "+" or "-"; digits with at most one decimalChar; and,
 * when signsAllowed is not 0 and no leading sign was given, a trailing "+"
 * or "-". Blanks after the number are skipped and *inOutPosition is left at
 * the first byte that is not part of the number. "12.3" with scale 2 gives
 * 1230.0; "-4" with scale 0 gives -4.0.
 *
 * *outDecimals receives the number of fraction digits kept (zeros beyond
 * scale at the end of the fraction are dropped), or 0xFFFF when the text
 * has no decimal character. With no digits the result is 0.0 and the
 * position does not move. More than 32 digits set *outError to 1 and give
 * 0.0 (the position still moves past them). *outError is only ever set to
 * 1, never cleared; outDecimals and outError may be null. */
ORV_API double nlsGetFreeFormNumber(const char *text, int textLength, int *outDecimals, int *inOutPosition,
                                    int scale, int decimalChar, int signsAllowed, int *outError);

/** 1 when s is non-null, non-empty and all ASCII digits "0" to "9"; else 0. */
ORV_API int nlsIsDigits(const char *s);

/** Skips leading blanks of src (single-byte spaces and the double-byte
 * space), then copies single-byte digits, "+" and "-" into dst until another
 * character or until size - 1 bytes are written, and NUL-terminates dst.
 * Returns the characters of src consumed (a double-byte space counts as
 * one). size below 1 (or null pointers) writes nothing and returns 0. */
ORV_API int nlsNLSDigitsToAscii(char *dst, int size, const char *src);

/** The same after skipping ASCII white space (space, tab, line feed,
 * vertical tab, form feed, carriage return) and double-byte spaces; returns
 * the bytes of src consumed. */
ORV_API int nlsAsciiDigitsToNLS(char *dst, int size, const char *src);

/* --- Splitting a string into pieces --- */
/**
 * Splits src into at most arraySize pieces and copies them, each
 * NUL-terminated, into buffer (bufferSize bytes; strlen(src) + 1 is always
 * enough); array[i] points at piece i. Returns the number of pieces, or -1
 * when an argument is null or arraySize below 1, or when buffer is too small
 * (array then holds the pieces made so far).
 *
 * - With a separator (its first character, a multi-byte one whole): every
 *   occurrence of it on a character boundary ends a piece, so adjacent
 *   separators give empty pieces and an empty src gives one empty piece.
 * - With a null or empty separator: pieces are separated by runs of blanks
 *   (single-byte spaces, tabs and the double-byte space); blanks at both
 *   ends are ignored and an all-blank src gives no pieces. "12 34" splits
 *   into the numbers "12" and "34".
 *
 * At most limit separations are made (a negative limit: no limit), and never
 * more than arraySize - 1: the last piece then holds the rest of src, its
 * separators included (in the blank mode without its trailing blanks).
 * Message texts split their parameters this way: "a.txt&c:\tmp" with the
 * separator "&" and limit 1 gives "a.txt" and "c:\tmp". */
ORV_API int nlsStrToArray(const char *src, const char *separator, int limit, char **array, int arraySize,
                          char *buffer, int bufferSize);

/* --- Portable float text --- */
/**
 * A fixed-width ASCII form of a double, width w of at least 7 bytes, with
 * m = w - 6 mantissa digits (19 from width 25 on):
 *   sign ("+" or "-"), ".", m digits, "E", exponent sign, two exponent digits
 * The value is sign x 0.d1d2...dm x 10^exponent, d1 not zero; zero is
 * "+.000...0E+00" (negative zero too). From width 26 on the bytes from
 * offset 25 are spaces. The mantissa is correctly rounded, so at widths of
 * 23 and more every double whose exponent fits survives the round trip bit
 * for bit.
 *
 * Writes exactly width bytes (no NUL) and returns 1. A width below 7, a
 * decimal exponent outside -99..99 (values from 1e99 up, values below
 * 1e-100, the subnormals among them), not-a-number or an infinity set
 * *outError to 1 (outError may be null; it is never cleared), fill the
 * width bytes with "0" and return 0. */
ORV_API int nlsR8ToPortFloat(double value, char *dst, int width, int *outError);

/** Reads width bytes of portable float text and returns its value. Text that
 * does not follow the layout (a wrong sign, point, digit or "E", bytes from
 * offset 25 that are not spaces, a NUL within the width) and widths below 7
 * set *outError to 1 and return 0.0; reading stops at a NUL. */
ORV_API double nlsPortFloatToR8(const char *src, int width, int *outError);

/* --- Parameter substitution --- */
/**
 * Copies template to dst, replacing each marker character (the first byte
 * of *marker, matched as a single-byte character) by a parameter, and
 * returns 1. dstSize does not limit the output: dst must hold the template
 * with every marker replaced.
 *
 * numbered not 0: each marker is followed by a digit naming the parameter.
 * numbered 0: the template is numbered only when markers are followed by
 * all ten digits 0 to 9, each once (a "\" skips the character after it);
 * otherwise markers take the parameters in turn. The number must lie in
 * 1..count, so a digit 0 is always rejected.
 *
 * mode 0: parameters is an array of count string pointers. mode 1 (any
 * other mode counts as 0): parameters is one string, split with
 * nlsStrToArray at the marker into at most 10 pieces, with count - 1 as the
 * limit; missing pieces are null.
 *
 * A null parameter writes the character under the cursor instead: the
 * marker in sequential mode, the digit in numbered mode. "\" followed by
 * "n", "t" or "\" is copied as it stands; "\" followed by any other
 * character writes that character alone (so "\&" writes a literal marker);
 * a "\" just before the NUL is dropped. A null marker, or an empty one,
 * matches nothing.
 *
 * Misuse goes to orvAssert with the module "NLSSUBST": line 253 for a null
 * template, 254 for a null dst, 262 for mode 1 with a null parameter
 * string, 267 for mode 0 with a null parameter array, 288 for a marker
 * without a digit in numbered mode, 298 for a parameter number outside
 * 1..count. */
ORV_API int nlsSubstituteParameters(char *dst, int dstSize, const char *templateText, const char *marker,
                                    int numbered, int count, int mode, const void *parameters);

/** Writes mask into dst, replacing each placeholder character of the mask
 * (the single byte placeholder) by the next character of value, a
 * multi-byte one whole, or by a space once value is exhausted; other
 * characters of the mask are copied whole. Stops before an item that would
 * leave no room for the NUL, and NUL-terminates dst. Returns the bytes
 * written before the NUL. dstSize below 1 or a null dst writes nothing and
 * returns 0; a null value counts as empty, a null mask as empty. */
ORV_API int nlsFormatString(char *dst, int dstSize, const char *value, const char *mask, int placeholder);

ORV_EXTERN_C_END

#endif
