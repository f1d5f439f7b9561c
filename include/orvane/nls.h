/* Orvane services: national-language support. The locale and character set
 * in force, chosen at process initialisation from the NLS table file named
 * by the setting ORVNLSTAB; character-set ids, translation between
 * single-byte sets, collation; and the string primitives that never split a
 * multi-byte character. */
#ifndef ORVANE_NLS_H
#define ORVANE_NLS_H

#include "orvane/types.h"

ORV_EXTERN_C_BEGIN

/* Character-set ids. 3 to 12 are single-byte sets, 13 to 21 multi-byte
 * sets. */
#define NLS_CHARSET_NONE 0
#define NLS_CHARSET_CURRENT 1
#define NLS_CHARSET_BINARY8 2
#define NLS_CHARSET_ASCII7 3
#define NLS_CHARSET_8859_1 4
#define NLS_CHARSET_ROMAN8 5
#define NLS_CHARSET_DECMCS 6
#define NLS_CHARSET_DG 7
#define NLS_CHARSET_PC850 8
#define NLS_CHARSET_SCO8859_1 9
#define NLS_CHARSET_SBSPARE1 10
#define NLS_CHARSET_SBSPARE2 11
#define NLS_CHARSET_SBSPARE3 12
#define NLS_CHARSET_SJIS 13
#define NLS_CHARSET_EUCJ 14
#define NLS_CHARSET_KOREAN 15
#define NLS_CHARSET_BIG5 16
#define NLS_CHARSET_DECKANJI 17
#define NLS_CHARSET_SCHINESE 18
#define NLS_CHARSET_MBSPARE1 19
#define NLS_CHARSET_MBSPARE2 20
#define NLS_CHARSET_MBSPARE3 21
#define NLS_CHARSET_UNICODE 22

/* The language id of the C and POSIX locales. */
#define NLS_LANGID_C 0x43000000u
/* nlsLocaleToId's result for an unknown locale. */
#define NLS_LANGID_UNKNOWN 0xFFFFFFFFu

/* Status codes of nlsInit. */
#define NLS_OK 0
#define NLS_ERR_NOT_CONFIGURED 1 /* ORVNLSTAB is not set */
#define NLS_ERR_NOT_FOUND 2      /* the table file does not open */
#define NLS_ERR_NO_MEMORY 3
#define NLS_ERR_NO_RUNTIME_LOCALE 4
#define NLS_ERR_CHARMAP_SIZE 6 /* a CHARMAP block without 256 values */
#define NLS_ERR_EXTCHARMAP 7   /* EXTCHARMAP count and pairs differ */
#define NLS_ERR_SYNTAX 8
#define NLS_ERR_END_OF_FILE 9 /* end of file inside a block */
#define NLS_ERR_UNKNOWN_CHARSET 10
#define NLS_ERR_LINE_TOO_LONG 11
#define NLS_ERR_CHARSET_OBJECT 12
#define NLS_ERR_MESSAGE_SET 13 /* counts as success */

/* Items of nlsGetLocaleInfo. */
#define NLS_INFO_DECIMAL_POINT 0
#define NLS_INFO_THOUSANDS_SEP 1
#define NLS_INFO_MON_THOUSANDS_SEP 2

/* Locale set-up. */
ORV_API int32_t nlsInit(void);
ORV_API int32_t nlsTerminate(void);
ORV_API uint32_t nlsGetLangId(void);
ORV_API int32_t nlsGetCharSet(void);
ORV_API uint32_t nlsGetErrorLineNumber(void);
ORV_API int nlsCharmaxsiz(void);
ORV_API int nlsSetCharSet(int32_t charSet);
ORV_API uint32_t nlsPackLangId(const char *localeName);
ORV_API int32_t nlsCharSetIdFromName(const char *name);
ORV_API uint32_t nlsLocaleToId(const char *localeName);
ORV_API char *nlsIdToLocale(char *dst, int len, uint32_t langId);
ORV_API int nlsMapDBId(const char *dbName, uint32_t *langId, int32_t *charSet);
ORV_API const char *nlsGetDBId(uint32_t langId, int32_t charSet, const char *prefix);
ORV_API int nlsGetLocaleInfo(int item, char *dst, int len);
ORV_API char *nlsGetenv(const char *name);

/* Character maps, translation and collation. */
ORV_API const unsigned char *nlsGetCharMap(int32_t from, int32_t to);
ORV_API int nlsStrTranslate(char *dst, int dstLen, int32_t to, const char *src, int srcLen, int32_t from);
ORV_API const unsigned char *nlsGetCollSeq(void);
ORV_API int nlsSetCollSeq(const char *name);
ORV_API int nlsStrcoll(const char *s1, uint32_t langId, const char *s2);
ORV_API int nlsStricoll(const char *s1, uint32_t langId, const char *s2);
ORV_API int nlsStrxfrm(char *dst, const char *src, uint32_t langId, int len);
ORV_API int nlsStrxfrmdSize(int n);

/* The byte length of the character that begins with firstByte. */
ORV_API int nlsStrmblen(int firstByte);

/* String primitives. A size counts bytes with the NUL; a length counts
 * characters unless a function says bytes; no primitive splits a
 * character. */
ORV_API int nlsStrlen(const char *s);
ORV_API int nlsStrBlen(const char *s);
ORV_API int nlsStrsize(const char *s);
ORV_API int nlsStrmaxsiz(int n);
ORV_API int nlsStrmaxlen(int size);
ORV_API int nlsStrminlen(int size);
ORV_API char *nlsStrcpy(char *dst, const char *src);
ORV_API char *nlsStrcat(char *dst, const char *src);
ORV_API char *nlsStrdup(const char *s);
ORV_API void nlsStrEmpty(char *s);
ORV_API int nlsStrIsEmpty(const char *s);
ORV_API char *nlsStrncpy(char *dst, const char *src, int dstSize);
ORV_API char *nlsStrncat(char *dst, const char *src, int n);
ORV_API char *nlsStrncatN(char *dst, const char *const *list, int size);
ORV_API char *nlsStrLoad(char *dst, int dstSize, const char *src, int n);
ORV_API char *nlsStrStore(char *dst, int size, const char *src);
ORV_API char *nlsStrTruncate(char *s, int n);
ORV_API char *nlsSubstr(char *dst, int dstSize, const char *src, int byteOffset, int byteCount);
ORV_API char *nlsCSubstr(char *dst, int dstSize, const char *src, int start, int count);
ORV_API char *nlsCSubstrAppend(char *dst, int dstSize, const char *src, int start, int count);
ORV_API int nlsStrfill(char *dst, int dstSize, const char *fill, int max);
ORV_API char *nlsStrupr(char *s);
ORV_API char *nlsStrlwr(char *s);
ORV_API int nlsStrcmp(const char *s1, const char *s2);
ORV_API int nlsStrncmp(const char *s1, const char *s2, int n);
ORV_API int nlsStrncmpO(const char *s1, int off1, const char *s2, int off2, int n);
ORV_API int nlsStricmp(const char *s1, const char *s2);
ORV_API int nlsStrnicmp(const char *s1, const char *s2, int n);
ORV_API int nlsStrqcmpN(const char *s1, const char *s2, int n);
ORV_API int nlsStrqicmpN(const char *s1, const char *s2, int n);
ORV_API int nlsStrpbrkO(const char *s, int start, const char *set);
ORV_API int nlsStrsplit(char *head, int headSize, char *tail, int tailSize, const char *src, const char *sep,
                        const char *escape);
ORV_API int nlsStrsplitN(char *head, int headSize, char *tail, int tailSize, const char *src, const char *sep,
                         const char *escape, int n);
ORV_API int nlsStrsplitL(char *head, int headSize, char *tail, int tailSize, const char *src, const char *sep,
                         const char *escape);
ORV_API int nlsStrAddEscape(char *dst, int dstSize, const char *src, const char *specials,
                            const char *escape);
ORV_API int nlsStrRemoveEscape(char *dst, int dstSize, const char *src, const char *escape);
ORV_API int nlsBasepath(const char *path, char *dirOut);

ORV_EXTERN_C_END

#include "orvane/nls_format.h"
#endif
