/**
 * @file orvane/nls_text.h
 * @brief Dates, text layout and string utilities, and wide characters of the
 * national-language support. Included by orvane/nls.h.
 *
 * Every function works on NUL-terminated strings of the current character
 * set (see nls.h) and never splits a multi-byte character unless it says
 * so. A "blank" is the single-byte space or, in a double-byte locale, the
 * locale's double-byte space: a lead byte equal to the first or second
 * locale attribute followed by a trail byte equal to the third. A locale
 * without attributes has no double-byte space.
 */
#ifndef ORVANE_NLS_TEXT_H
#define ORVANE_NLS_TEXT_H

#include "orvane/files.h"
#include "orvane/types.h"

ORV_EXTERN_C_BEGIN

/* --- Date and time --- */

/* Entries of the name table of nlsFormatDateTime() (42 string pointers; the
 * table and any entry may be null, which selects the English default). */
/** Name table index: 12 full month names, January first. */
#define NLS_DATE_MONTH_NAMES 0
/** Name table index: 12 abbreviated month names. */
#define NLS_DATE_MONTH_ABBREVS 12
/** Name table index: 8 full weekday names, Sunday first and last. */
#define NLS_DATE_WEEKDAY_NAMES 24
/** Name table index: 8 abbreviated weekday names. */
#define NLS_DATE_WEEKDAY_ABBREVS 32
/** Name table index: the morning marker ("Am" by default). */
#define NLS_DATE_MORNING 40
/** Name table index: the afternoon marker ("Pm" by default). */
#define NLS_DATE_AFTERNOON 41
/** Number of entries of the name table. */
#define NLS_DATE_NAME_COUNT 42

/** Formats a date (YYYYMMDD) and a time (HHMMSSmmm) through format: at each
 * upper-case letter A to Y the tokens beginning with it are tried, longest
 * first; any other character is copied. Tokens: YYYY (year, at least 4
 * digits), YY (year mod 100, 2 digits), MMMM and MMM (full and abbreviated
 * month name), MM (month, 2 digits), MN (minute), MS (millisecond, 3
 * digits), DDD (dayOfYear, 3 digits), DD (day of month), WWWW and WWW (full
 * and abbreviated weekday name, weekday 0 Sunday to 6 Saturday, 7 Sunday
 * again), HH (hour 0-23), SS (second), AP (the morning marker when the hour
 * is below 12, else the afternoon marker). A number wider than its digit
 * count is written whole; a negative number is written as "-" and its
 * digits padded to the count.
 *
 * A month outside 1 to 12 or a weekday outside 0 to 7 has no name: the
 * name tokens then write nothing (the number tokens still write the
 * value); the table is never read outside its 42 entries.
 *
 * Returns 0 when the whole result fit in dstSize - 1 bytes, 1 when it did
 * not. Output is written item by item (a token's text or one character of
 * the format); an item that does not fit whole is left out entirely and
 * formatting ends, so dst holds the items that fit, never a part of one.
 * dst is NUL-terminated whenever dstSize is at least 1 and untouched when
 * it is 0 (an empty format then gives 0, anything else 1). */
ORV_API int nlsFormatDateTime(char *dst, int dstSize, int32_t date, int32_t time, int dayOfYear, int weekday,
                              const char *format, const char *const *names);

/* --- Layout --- */

/** Appends spaces until s is size - 1 bytes long and NUL-terminates it;
 * nothing happens when s is already that long or longer (or size is below
 * 1). Returns s. */
ORV_API char *nlsPad(char *s, int size);

/** Replaces the leading single-byte spaces of s by "0", stopping at the
 * first other byte; returns the number replaced. */
ORV_API int nlsZerofill(char *s);

/** Moves the text of s left over its leading blanks and fills the bytes
 * freed at the end with single-byte spaces; the byte length is unchanged.
 * Returns s. */
ORV_API char *nlsLeftJustify(char *s);

/** Moves the text of s right over its trailing single-byte spaces and fills
 * the bytes freed at the front with spaces; the byte length is unchanged.
 * Returns s. */
ORV_API char *nlsRightJustify(char *s);

/** Cuts s just after its last character that is not a blank and returns
 * that position in bytes (0 for an empty or all-blank string); a null s
 * gives -1 and nothing is written. */
ORV_API int nlsTrim(char *s);

/** Reverses s byte by byte: multi-byte characters are not kept together.
 * Returns s. */
ORV_API char *nlsReverse(char *s);

/** Inserts one single-byte space after every character of s but the last
 * (multi-byte characters kept whole), in place: s must have room for twice
 * its byte length. An empty string stays empty. Returns s. */
ORV_API char *nlsSpread(char *s);

/** Packs s in place: drops leading blanks, ";" and "," (and the double-byte
 * forms of these marks); reduces every further run of blanks to its first
 * blank, as written (a single-byte or a double-byte space); and drops a run
 * of blanks altogether when ",", ".", ":" or ";" or a double-byte form of
 * them follows it. A run at the end of s stays as one blank.
 *
 * The double-byte marks are those whose lead byte is the first or second
 * locale attribute and whose trail byte is: attribute 4 a comma, 5 a full
 * stop, 6 a colon, 7 a semicolon, 8 a second comma (the ideographic
 * comma), 9 a second full stop (the ideographic full stop), counting the
 * attributes from 1. An attribute of 0 stands for no mark. Returns s. */
ORV_API char *nlsPack(char *s);

/** Centres the text of s in a field of width bytes: the text without its
 * leading and trailing blanks gets single-byte spaces on both sides up to
 * width bytes, the left side receiving half the spaces rounded down (an odd
 * space goes to the right). s must have room for width + 1 bytes. A width
 * of 0 or below centres within the byte length s has; text at least as
 * long as the width is left without blanks around it and is not cut.
 * Returns s. */
ORV_API char *nlsCentre(char *s, int width);

/* --- Search by character index --- */

/** The character index of the first occurrence of sub in s, trying only
 * character boundaries; -1 if there is none or sub is longer than s. An
 * empty sub is found at 0. */
ORV_API int nlsIndex(const char *s, const char *sub);

/** The character index of the n-th occurrence (n from 1; each search starts
 * one character after the start of the previous match, so occurrences may
 * overlap); -1 if there are fewer or n is below 1. */
ORV_API int nlsIndexN(const char *s, const char *sub, int n);

/** As nlsIndex, starting at character start and counting from the start of
 * s; -1 when start is negative or past the end of s. */
ORV_API int nlsIndexO(const char *s, const char *sub, int start);

/** The character index of the last occurrence that starts at or before
 * character last; -1 if none or last is negative. */
ORV_API int nlsRIndex(const char *s, const char *sub, int last);

/* --- Keys, scrambling and checksum --- */

/** Writes the phonetic key of word into key[0..keyLength-1] (no NUL): the
 * first character raised to upper case, then the codes 1 to 6 of the
 * following letters (B F P V 1; C G J K Q S X Z 2; D T 3; L 4; M N 5; R 6;
 * anything else 0, which is never stored), each stored when it differs
 * from the last code stored, and "0" in the positions left. Characters
 * equal to the first directly after it are skipped; the first letter's own
 * code is not suppressed (Pfister keys as P123). A multi-byte first
 * character is stored whole when it fits in the key (else the key is all
 * "0"); further multi-byte characters code as 0. An empty (or null) word
 * gives a key of "0" only. Nothing is written when keyLength is below 1. */
ORV_API void nlsSoundex(const char *word, char *key, int keyLength);

/** XORs the strlen(data) bytes of data with the key's bytes, key position 0
 * first, in place; returns the key position after the last byte. An empty
 * (or null) key leaves data unchanged and gives 0. Applying it twice
 * restores the data. */
ORV_API int nlsEncrypt(char *data, const char *key);

/** The same over length bytes of data. After each byte the key position
 * advances and wraps to 0 when it reaches keyLength or the key byte there
 * is NUL; a keyLength below 1 means up to the key's NUL. */
ORV_API int nlsEncryptN(char *data, int length, const char *key, int keyLength);

/** The 16-bit checksum of length bytes of data (length 0 or below: up to
 * the NUL). 0 for an empty string. */
ORV_API uint16_t nlsChksum(const char *data, int length);

/* --- Wide characters --- */

/** A packed wide character: the bytes of one character of the current
 * character set, the first in the low half (in memory: first byte, then
 * the second byte or 0 for a single-byte character). A zero unit ends a
 * packed string. In a multi-byte character set a byte above 0x7F starts a
 * two-byte character, except in "s-jis" where 0xA1 to 0xDF are single-byte
 * half-width katakana; in a single-byte set every byte is a character. A
 * lead byte directly before the NUL packs alone. */
typedef uint16_t nlsPackedChar;

/** Clears dstBytes bytes of dst, then packs the characters of src one unit
 * each while the unit starts at least four bytes before the end of dst (so
 * a zero unit always follows). Returns 0. */
ORV_API int nlsNLSToWCS(nlsPackedChar *dst, int dstBytes, const char *src);

/** Clears units units of dst, packs characters of *inOutSrc while at least
 * one unit stays free for the terminating zero unit, and advances *inOutSrc
 * past what was packed. Returns the number of characters packed (the zero
 * unit not counted; 0 when units is below 1). */
ORV_API int nlsNLSToNWCS(nlsPackedChar *dst, int units, const char **inOutSrc);

/** Unpacks src: every non-zero byte of the units is copied and zero bytes
 * are skipped; a zero byte followed by another zero byte ends the string.
 * At most dstSize - 1 bytes, then a NUL; a dstSize of 1 gives an empty dst
 * and 0 or below writes nothing. Returns 0. */
ORV_API int nlsWCSToNLS(char *dst, int dstSize, const nlsPackedChar *src);

/** The same unpacking, returning the number of bytes produced (without the
 * NUL). With a null dst it only counts, whatever dstSize says. */
ORV_API int nlsWCSToMBS(char *dst, int dstSize, const nlsPackedChar *src);

/** Unpacks unit by unit while the unit's bytes fit in dstSize bytes, stops
 * at a zero unit, writes a NUL when a byte is left for it, and advances
 * *inOutSrc to the unit where it stopped. Returns the bytes written without
 * the NUL. */
ORV_API int nlsWCSToNNLS(char *dst, int dstSize, const nlsPackedChar **inOutSrc);

/** Reads the character at *inOutPointer as a packed unit value and advances
 * the pointer past it; at the end of the string returns 0 and leaves the
 * pointer. */
ORV_API nlsPackedChar nlsSGetwc(const char **inOutPointer);

/* Runtime wide characters (wchar_t of the C library, through its current
 * LC_CTYPE locale; a program that never calls setlocale is in the C
 * locale, one byte per character). */

/** Reads one runtime wide character from file.
 *
 * nlsLGetwc reads bytes one at a time with orvFileRead and offers the
 * growing sequence, each time from the initial shift state, to the C
 * library until it yields a character; returns the character, or -1 after
 * 11 bytes without one or when a read fails (end of file included).
 * nlsGetwc does the same with orvFileGetc. */
ORV_API int32_t nlsLGetwc(orvFile *file);
/** Reads one runtime wide character from file as nlsLGetwc() does, byte by
 * byte with orvFileGetc() (so text-mode translation applies).
 * @return the character, or -1 (also for a null file). */
ORV_API int32_t nlsGetwc(orvFile *file);

/** Converts wc to bytes of the current LC_CTYPE and writes them with
 * orvFileWrite (nlsLPutwc) or byte by byte with orvFilePutc (nlsPutwc).
 * Returns wc, or -1 when the character has no bytes in the locale or fewer
 * bytes than it has were written. */
ORV_API int32_t nlsLPutwc(int32_t wc, orvFile *file);
/** Writes wc as nlsLPutwc() does, byte by byte with orvFilePutc() (so
 * text-mode translation applies). @return wc, or -1 (also for a null file). */
ORV_API int32_t nlsPutwc(int32_t wc, orvFile *file);

ORV_EXTERN_C_END

#endif
