/**
 * @file orvane/nls.h
 * @brief National-language support: the locale and character set in force,
 * character-set ids, translation between sets, collation, and the string
 * primitives that never split a multi-byte character.
 *
 * The locale and character set are chosen by nlsInit() (run by
 * servicesProcessInitialize()) from the NLS table file named by the setting
 * ORVNLSTAB. The state is set up once and read afterwards; nothing of it is
 * locked.
 *
 * String primitives work on NUL-terminated byte strings that may hold
 * multi-byte characters of the current set; they step with nlsStrmblen().
 * A size counts bytes with the NUL; a length counts characters unless a
 * function says bytes. A buffer size of 0 or less writes nothing. Name
 * suffixes: N takes a count or a list, O offsets in characters, L works from
 * the last occurrence, i is case-insensitive, q compares bytewise when the
 * locale allows it and by collation otherwise. Case changes touch only
 * single-byte characters below 0x80.
 *
 * This header also includes nls_format.h, nls_text.h and pattern.h.
 */
#ifndef ORVANE_NLS_H
#define ORVANE_NLS_H

#include "orvane/types.h"

ORV_EXTERN_C_BEGIN

/* Character-set ids. 3 to 12 are single-byte sets, 13 to 21 multi-byte
 * sets. */
/** Character-set id: no character set; translation refuses it. */
#define NLS_CHARSET_NONE 0
/** Character-set id: the current character set, wherever an id is an argument. */
#define NLS_CHARSET_CURRENT 1
/** Character-set id: "binary8": opaque bytes, never translated. */
#define NLS_CHARSET_BINARY8 2
/** Character-set id: "ascii7" (single-byte). */
#define NLS_CHARSET_ASCII7 3
/** Character-set id: "8859-1" (single-byte). */
#define NLS_CHARSET_8859_1 4
/** Character-set id: "roman8" (single-byte). */
#define NLS_CHARSET_ROMAN8 5
/** Character-set id: "decMCS" (single-byte). */
#define NLS_CHARSET_DECMCS 6
/** Character-set id: "dg" (single-byte). */
#define NLS_CHARSET_DG 7
/** Character-set id: "pc850" (single-byte). */
#define NLS_CHARSET_PC850 8
/** Character-set id: "sco8859-1" (single-byte). */
#define NLS_CHARSET_SCO8859_1 9
/** Character-set id: "sbSpare1" (single-byte, reserved). */
#define NLS_CHARSET_SBSPARE1 10
/** Character-set id: "sbSpare2" (single-byte, reserved). */
#define NLS_CHARSET_SBSPARE2 11
/** Character-set id: "sbSpare3" (single-byte, reserved). */
#define NLS_CHARSET_SBSPARE3 12
/** Character-set id: "s-jis" (multi-byte). */
#define NLS_CHARSET_SJIS 13
/** Character-set id: "euc-j" (multi-byte). */
#define NLS_CHARSET_EUCJ 14
/** Character-set id: "korean" (multi-byte). */
#define NLS_CHARSET_KOREAN 15
/** Character-set id: "big5" (multi-byte). */
#define NLS_CHARSET_BIG5 16
/** Character-set id: "dec-kanji" (multi-byte). */
#define NLS_CHARSET_DECKANJI 17
/** Character-set id: "s-chinese" (multi-byte). */
#define NLS_CHARSET_SCHINESE 18
/** Character-set id: "mbSpare1" (multi-byte, reserved). */
#define NLS_CHARSET_MBSPARE1 19
/** Character-set id: "mbSpare2" (multi-byte, reserved). */
#define NLS_CHARSET_MBSPARE2 20
/** Character-set id: "mbSpare3" (multi-byte, reserved). */
#define NLS_CHARSET_MBSPARE3 21
/** Character-set id: "unicode". */
#define NLS_CHARSET_UNICODE 22

/** The language id of the C and POSIX locales. */
#define NLS_LANGID_C 0x43000000u
/** nlsLocaleToId()'s result for an unknown locale. */
#define NLS_LANGID_UNKNOWN 0xFFFFFFFFu

/** nlsInit() status: success. */
#define NLS_OK 0
/** nlsInit() status: ORVNLSTAB is not set (or empty). */
#define NLS_ERR_NOT_CONFIGURED 1
/** nlsInit() status: the table file does not open. */
#define NLS_ERR_NOT_FOUND 2
/** nlsInit() status: out of memory. */
#define NLS_ERR_NO_MEMORY 3
/** nlsInit() status: the runtime has no collate or ctype locale. */
#define NLS_ERR_NO_RUNTIME_LOCALE 4
/** nlsInit() status: a CHARMAP block without exactly 256 values. */
#define NLS_ERR_CHARMAP_SIZE 6
/** nlsInit() status: an EXTCHARMAP count that does not match its pairs. */
#define NLS_ERR_EXTCHARMAP 7
/** nlsInit() status: a syntax error in a line (also: no "winnt" row "enu"). */
#define NLS_ERR_SYNTAX 8
/** nlsInit() status: end of file inside a block. */
#define NLS_ERR_END_OF_FILE 9
/** nlsInit() status: an unknown character-set name. */
#define NLS_ERR_UNKNOWN_CHARSET 10
/** nlsInit() status: a non-comment line longer than the line buffer. */
#define NLS_ERR_LINE_TOO_LONG 11
/** nlsInit() status: the character-set object could not be made. */
#define NLS_ERR_CHARSET_OBJECT 12
/** nlsInit() status: the "SRVCMSGS" message set could not be made; counts as
 * success. */
#define NLS_ERR_MESSAGE_SET 13

/** nlsGetLocaleInfo() item: the decimal point. */
#define NLS_INFO_DECIMAL_POINT 0
/** nlsGetLocaleInfo() item: the thousands separator. */
#define NLS_INFO_THOUSANDS_SEP 1
/** nlsGetLocaleInfo() item: the monetary thousands separator. */
#define NLS_INFO_MON_THOUSANDS_SEP 2

/* Locale set-up. */
/** Sets up national-language support. The first call loads the NLS table
 * named by ORVNLSTAB (tried in the current directory, as given, and in the
 * executable's directory), makes the current character set's object and the
 * "SRVCMSGS" message set; every call chooses the locale again (the
 * "sLanguage" of section "intl" of "win.ini", else "enu") and sets the
 * runtime's locales to the environment's default.
 * @return #NLS_OK or an NLS_ERR_* status; after a load error (1 to 11)
 * nothing is set up and nlsGetErrorLineNumber() tells the line. 13 counts as
 * success. */
ORV_API int32_t nlsInit(void);
/** Releases everything nlsInit() loaded (the translation vectors stay).
 * @return 1, or 0 when not initialised. */
ORV_API int32_t nlsTerminate(void);
/** Returns the current language id (see nlsPackLangId()). */
ORV_API uint32_t nlsGetLangId(void);
/** Returns the current character-set id (NLS_CHARSET_*). */
ORV_API int32_t nlsGetCharSet(void);
/** Returns the count of table lines read so far (never reset): after a
 * failed nlsInit(), the line at fault. */
ORV_API uint32_t nlsGetErrorLineNumber(void);
/** Returns 2, the widest character in bytes. */
ORV_API int nlsCharmaxsiz(void);
/** Makes #NLS_CHARSET_BINARY8 the current character set (no other id is
 * accepted); each call also appends a locale record for it, with the
 * language id and character set stored the other way round, so that no
 * look-up ever finds it.
 * @return 1, or 0 for another id or when out of memory. */
ORV_API int nlsSetCharSet(int32_t charSet);
/** Packs a locale name into a language id: "C" and "POSIX" (any case) give
 * #NLS_LANGID_C; otherwise up to four characters, lower-case letters raised,
 * big-endian, shifted left by 8 for each missing one ("enu" gives
 * 0x454E5500). */
ORV_API uint32_t nlsPackLangId(const char *localeName);
/** Returns the id of a character-set name (case-insensitive; names from 2
 * up, as renamed by CHARMAP blocks), or 0 when unknown. */
ORV_API int32_t nlsCharSetIdFromName(const char *name);
/** Returns the language id of the first (non-database) locale record of that
 * name (case-insensitive), or #NLS_LANGID_UNKNOWN. */
ORV_API uint32_t nlsLocaleToId(const char *localeName);
/** Copies into dst (strncpy, len bytes) the name of the locale record with
 * langId (0: the current one) and the current character set.
 * @return dst, or null when there is none or langId is
 * #NLS_LANGID_UNKNOWN. */
ORV_API char *nlsIdToLocale(char *dst, int len, uint32_t langId);
/** Finds the first database row (platform field "-") named dbName
 * (case-insensitive) and stores its language id and character set.
 * @return 1, or 0 when there is none. */
ORV_API int nlsMapDBId(const char *dbName, uint32_t *langId, int32_t *charSet);
/** Returns the name of the first database row with langId and charSet whose
 * name begins with prefix (case-sensitive), or null. The text belongs to the
 * library. */
ORV_API const char *nlsGetDBId(uint32_t langId, int32_t charSet, const char *prefix);
/** Copies a numeric item (NLS_INFO_*) of the current locale into dst
 * (strncpy, len bytes); sets the runtime's LC_NUMERIC to the locale as a
 * side effect.
 * @return 1, or 0 for another item or no data. */
ORV_API int nlsGetLocaleInfo(int item, char *dst, int len);
/** Returns the environment variable name (the runtime's getenv; not a copy), or null. */
ORV_API char *nlsGetenv(const char *name);

/* Character maps, translation and collation. */
/** Returns the 256-byte translation vector from single-byte set from to
 * single-byte set to (built on first use and kept to the end of the process;
 * unmappable bytes give "?"), or null when a map is missing. */
ORV_API const unsigned char *nlsGetCharMap(int32_t from, int32_t to);
/** Translates src into dst (dstLen bytes, NUL-terminated) from set from to
 * set to (#NLS_CHARSET_CURRENT for the current one): a copy when from is
 * ascii7, equals to, or either is binary8; byte by byte (srcLen bytes)
 * between single-byte sets; arithmetic between euc-j and s-jis.
 * @return 1 when done, 0 when the pair is refused (0 on either side, or no
 * conversion). */
ORV_API int nlsStrTranslate(char *dst, int dstLen, int32_t to, const char *src, int srcLen, int32_t from);
/** Returns the loaded collation table (256 byte weights), or null. */
ORV_API const unsigned char *nlsGetCollSeq(void);
/** Loads the collation sequence name (an LCCOLLATE block of the NLS table);
 * null clears it. A sequence that is missing or bad leaves none.
 * @return 1. */
ORV_API int nlsSetCollSeq(const char *name);
/** Compares by the collation table or, without one, by the runtime's locale
 * (langId is not used). @return negative, 0 or positive. */
ORV_API int nlsStrcoll(const char *s1, uint32_t langId, const char *s2);
/** Compares case-insensitively by the platform's locale comparison (langId is
 * not used). @return negative, 0 or positive. */
ORV_API int nlsStricoll(const char *s1, uint32_t langId, const char *s2);
/** Copies src into dst with strncpy(dst, src, len) when dst is not null.
 * @return the byte length of src. */
ORV_API int nlsStrxfrm(char *dst, const char *src, uint32_t langId, int len);
/** Returns 4 * n + 1, the size of a transformed text of n bytes. */
ORV_API int nlsStrxfrmdSize(int n);

/** Returns the byte length (1 or 2) of the character that begins with
 * firstByte in the current character set (always 1 in single-byte sets and
 * before nlsInit()). */
ORV_API int nlsStrmblen(int firstByte);

/* String primitives. A size counts bytes with the NUL; a length counts
 * characters unless a function says bytes; no primitive splits a
 * character. */
/** Returns the number of characters of s. */
ORV_API int nlsStrlen(const char *s);
/** Returns the number of bytes of s without the NUL. */
ORV_API int nlsStrBlen(const char *s);
/** Returns the number of bytes of s with the NUL. */
ORV_API int nlsStrsize(const char *s);
/** Returns 2 * n + 1, the bytes needed for n characters. */
ORV_API int nlsStrmaxsiz(int n);
/** Returns size - 1, the most characters a buffer of size bytes holds. */
ORV_API int nlsStrmaxlen(int size);
/** Returns (size - 1) / 2, the fewest characters a buffer of size bytes holds. */
ORV_API int nlsStrminlen(int size);
/** Copies src with its NUL into dst (no limit). @return dst. */
ORV_API char *nlsStrcpy(char *dst, const char *src);
/** Appends src with its NUL to dst (no limit). @return dst. */
ORV_API char *nlsStrcat(char *dst, const char *src);
/** Returns a heap copy of s that the caller frees with orvMemoryFreeFunc()
 * (null for null or when out of memory). */
ORV_API char *nlsStrdup(const char *s);
/** Makes s empty; null is ignored. */
ORV_API void nlsStrEmpty(char *s);
/** Returns 1 when s is not null and empty, else 0. */
ORV_API int nlsStrIsEmpty(const char *s);
/** Copies the whole characters of src that fit in dstSize - 1 bytes and a NUL.
 * @return dst. */
ORV_API char *nlsStrncpy(char *dst, const char *src, int dstSize);
/** Appends to dst at most n characters of src in at most n bytes, whole
 * characters only, then a NUL. @return dst. */
ORV_API char *nlsStrncat(char *dst, const char *src, int n);
/** Appends the strings of a null-terminated list while at least 2 bytes of
 * dst's whole size remain, each limited to the room left. @return dst. */
ORV_API char *nlsStrncatN(char *dst, const char *const *list, int size);
/** Copies at most n characters of src into dst, within min(n + 1, dstSize)
 * bytes, whole characters only, then a NUL. @return dst. */
ORV_API char *nlsStrLoad(char *dst, int dstSize, const char *src, int n);
/** Stores src into a fixed-width field of size bytes: whole characters in at
 * most size - 1 bytes, and the NUL only when the field is not full.
 * @return dst. */
ORV_API char *nlsStrStore(char *dst, int size, const char *src);
/** Cuts s after n characters. @return s (null for null). */
ORV_API char *nlsStrTruncate(char *s, int n);
/** Copies min(byteCount, dstSize - 1) bytes from src + byteOffset (never
 * past src's NUL) and a NUL: bytes, so a character may be cut.
 * @return dst. */
ORV_API char *nlsSubstr(char *dst, int dstSize, const char *src, int byteOffset, int byteCount);
/** Copies count characters of src from character start (0-based), whole
 * characters within dstSize - 1 bytes, and a NUL. @return dst. */
ORV_API char *nlsCSubstr(char *dst, int dstSize, const char *src, int start, int count);
/** As nlsCSubstr(), appended to the text dst already holds (dstSize is dst's
 * whole size). @return dst. */
ORV_API char *nlsCSubstrAppend(char *dst, int dstSize, const char *src, int start, int count);
/** Writes copies of fill one after another into dst, each with its NUL (the
 * next overwriting it), while they fit in dstSize bytes, at most max copies.
 * @return the number of copies written (0 if not even one fits). */
ORV_API int nlsStrfill(char *dst, int dstSize, const char *fill, int max);
/** Raises single-byte lower-case letters below 0x80 to upper case. @return s. */
ORV_API char *nlsStrupr(char *s);
/** Lowers single-byte upper-case letters below 0x80 to lower case. @return s. */
ORV_API char *nlsStrlwr(char *s);
/** Compares bytewise as unsigned bytes. @return -1, 0 or 1. */
ORV_API int nlsStrcmp(const char *s1, const char *s2);
/** Compares at most n bytes, character by character (a character that would
 * end beyond n bytes compares equal).
 * @return the difference of the first differing bytes; when one string ends
 * first, s1's next byte value or minus s2's; 0 when equal. */
ORV_API int nlsStrncmp(const char *s1, const char *s2, int n);
/** Compares as nlsStrncmp() from character off1 of s1 and character off2 of
 * s2. */
ORV_API int nlsStrncmpO(const char *s1, int off1, const char *s2, int off2, int n);
/** Compares case-insensitively (single-byte letters below 0x80).
 * @return the difference of the lowered bytes, or 1 / -1 when s1 / s2 is
 * longer, or 0. */
ORV_API int nlsStricmp(const char *s1, const char *s2);
/** Compares at most n bytes case-insensitively, as nlsStricmp(); 0 when the
 * limit is reached. */
ORV_API int nlsStrnicmp(const char *s1, const char *s2, int n);
/** Compares the first n bytes: with strncmp when no collation table is loaded
 * and the locale is C/POSIX or English, else with nlsStrcoll().
 * @return negative, 0 or positive. */
ORV_API int nlsStrqcmpN(const char *s1, const char *s2, int n);
/** The case-insensitive form of nlsStrqcmpN() (nlsStricoll() when
 * collating). */
ORV_API int nlsStrqicmpN(const char *s1, const char *s2, int n);
/** Returns the index (in characters from the start of s) of the first
 * character at or after character start that occurs in set, or -1 when there
 * is none, s or set is null or empty, or start is negative. */
ORV_API int nlsStrpbrkO(const char *s, int start, const char *set);
/** Splits src at its first unescaped sep, as nlsStrsplitN() with occurrence 1. */
ORV_API int nlsStrsplit(char *head, int headSize, char *tail, int tailSize, const char *src, const char *sep,
                        const char *escape);
/** Splits src at the n-th occurrence of sep that does not follow escape
 * (escape may be null or empty): head (headSize bytes) receives the text
 * before it, tail (tailSize bytes; may be null) the text after it, whole
 * characters only. With fewer occurrences head receives all of src and tail
 * is empty.
 * @return the number of characters in head, or -1 for a null head, src or
 * sep. */
ORV_API int nlsStrsplitN(char *head, int headSize, char *tail, int tailSize, const char *src, const char *sep,
                         const char *escape, int n);
/** Splits src at its last unescaped sep as nlsStrsplitN() does: the tail
 * starts one character after the separator's start (a longer separator
 * leaves its other characters at the front of the tail).
 * @return the number of characters in head, or -1 for a null head, src or
 * sep. */
ORV_API int nlsStrsplitL(char *head, int headSize, char *tail, int tailSize, const char *src, const char *sep,
                         const char *escape);
/** Copies src into dst (dstSize bytes, always NUL-terminated), putting
 * escape before each character found in specials. Once an item does not fit
 * nothing more is copied.
 * @return the count of characters left out (an escaped one counts the
 * escape's characters plus 1); 0 when everything fit. */
ORV_API int nlsStrAddEscape(char *dst, int dstSize, const char *src, const char *specials,
                            const char *escape);
/** Copies src into dst (dstSize bytes, NUL-terminated), dropping each escape
 * and taking the character after it literally.
 * @return the number of characters left out for want of room; 0 when
 * everything fit. */
ORV_API int nlsStrRemoveEscape(char *dst, int dstSize, const char *src, const char *escape);
/** Copies the directory part of path (before its last separator, which is
 * excluded) into dirOut, which needs room for path's character count.
 * @return the directory's character count, or -1 when path has no
 * separator. */
ORV_API int nlsBasepath(const char *path, char *dirOut);

ORV_EXTERN_C_END

#include "orvane/nls_format.h"

#include "orvane/nls_text.h"

#include "orvane/pattern.h"

#endif
