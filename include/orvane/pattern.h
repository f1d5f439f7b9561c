/**
 * @file orvane/pattern.h
 * @brief Pattern matching.
 *
 * A small regular-expression language
 * whose metacharacters come from a replaceable 24-byte table, a parser that
 * checks a pattern, an automaton built from it that matches whole texts,
 * and a serialised form of that automaton that can be stored and run later.
 * docs/patterns.md describes the language, the modes, the error codes and
 * the serialised layout byte by byte.
 */
#ifndef ORVANE_PATTERN_H
#define ORVANE_PATTERN_H

#include <stdint.h>

#include "orvane/types.h"

ORV_EXTERN_C_BEGIN

/** The default metacharacter table: 23 characters and a NUL. A caller's
 * table has the same layout; positions 0 to 22 are read. */
#define NLS_PATTERN_DEFAULT_TABLE "!|*()><\\?^#@[]:=;_&0\r\n\b"

/* Positions (roles) in a metacharacter table. */
#define NLS_PM_ESCAPE 0          /**< the next character is literal */
#define NLS_PM_ALTERNATION 1     /**< binary alternation */
#define NLS_PM_REPEAT 2          /**< postfix: zero or more */
#define NLS_PM_GROUP_OPEN 3      /**< group open */
#define NLS_PM_GROUP_CLOSE 4     /**< group close */
#define NLS_PM_ONE_OR_MORE 5     /**< postfix: one or more */
#define NLS_PM_ZERO_OR_ONE 6     /**< postfix: zero or one */
#define NLS_PM_COMPLEMENT 7      /**< prefix on one atom: any character it does not match */
#define NLS_PM_ANY_CHAR 8        /**< wildcard: any one character */
#define NLS_PM_ALPHA 9           /**< wildcard: one letter of the current locale */
#define NLS_PM_DIGIT 10          /**< wildcard: one digit of the current locale */
#define NLS_PM_ANY_STRING 11     /**< wildcard: any string, the empty one included */
#define NLS_PM_RESERVED_FIRST 12 /**< 12 to 18: reserved wildcards, never match */
/** Table position: the last reserved wildcard. */
#define NLS_PM_RESERVED_LAST 18
#define NLS_PM_EMPTY 19   /**< after the escape: the empty string */
#define NLS_PM_END 20     /**< end marker of the working pattern and of texts */
#define NLS_PM_CONCAT 21  /**< internal concatenation token */
#define NLS_PM_EPSILON 22 /**< internal empty-transition label */
/** Size of a metacharacter table in bytes (23 characters and a NUL). */
#define NLS_PM_TABLE_SIZE 24

/* Errors, as returned in the 16-bit error argument (65535 is -1, and so
 * on). The position is the offset in the working pattern (a mode's prefix
 * included) at which parsing stopped, 65535 when that offset is larger. */
#define NLS_PM_ERR_EMPTY (-1)         /**< empty pattern */
#define NLS_PM_ERR_NO_EXPRESSION (-2) /**< no valid expression */
#define NLS_PM_ERR_TRAILING (-3)      /**< text left after the expression */
#define NLS_PM_ERR_ALTERNATIVE (-4)   /**< missing term after an alternation */
#define NLS_PM_ERR_COMPLEMENT (-5)    /**< bad operand of the complement */
#define NLS_PM_ERR_GROUP_CLOSE (-6)   /**< missing group close */
#define NLS_PM_ERR_GROUP (-7)         /**< bad group contents */
#define NLS_PM_ERR_ESCAPE (-8)        /**< bad escape */
#define NLS_PM_ERR_CONTROL (-9)       /**< control character in the pattern */
#define NLS_PM_ERR_INTERNAL (-10)     /**< escape of an internal token */
#define NLS_PM_ERR_MODE (-11)         /**< mode outside 0..3 */
/** nlsBuildFA only: the automaton would need a count or an index beyond the
 * signed 16-bit fields of the serialised form (more than 16,384 states, or
 * a working pattern longer than 65,533 bytes). nlsMatchPattern has no such
 * limit. */
#define NLS_PM_ERR_TOO_LARGE (-12)

/* Modes: how the pattern is wrapped before parsing. */
#define NLS_PM_MODE_EXACT 0    /**< the pattern as given */
#define NLS_PM_MODE_TRAILING 1 /**< trailing blanks allowed */
#define NLS_PM_MODE_LEADING 2  /**< leading blanks allowed */
#define NLS_PM_MODE_BOTH 3     /**< leading and trailing blanks allowed */

/** Checks a pattern. Returns 1 when it parses, else 0 with the error and the
 * position of the first problem. table: a metacharacter table, or null for
 * the default. error and position may be null. An empty (or null) pattern
 * gives error 65535 and position 0. */
ORV_API int nlsValidPattern(const char *pattern, const char *table, uint16_t *error, uint16_t *position);

/** Matches the whole of text against pattern, wrapped as mode says. Returns
 * 1 on a match, 0 otherwise; an invalid pattern returns 0 with its error
 * and position (mode outside 0..3: error 65525, position 0). A text byte
 * equal to the table's end marker (carriage return by default) ends the
 * text there. Text and pattern are compared byte by byte (docs/patterns.md:
 * double-byte text). The working copy of the table is kept per thread, so
 * threads may match with different tables at once. */
ORV_API int nlsMatchPattern(int16_t mode, const char *pattern, const char *text, uint16_t *error,
                            uint16_t *position, const char *table);

/** Builds the automaton of a pattern (parsed as nlsMatchPattern does) and
 * returns it serialised: a heap block of *length bytes that the caller
 * releases with orvMemoryFreeFunc. A bad pattern or mode returns null with
 * the error and position (and *length 0). An empty pattern returns a block
 * of 26 zero bytes, error 0. */
ORV_API unsigned char *nlsBuildFA(int16_t mode, const char *pattern, uint16_t *error, uint16_t *position,
                                  const char *table, int32_t *length);

/** Runs a serialised automaton over text with table (null: the default).
 * Returns 1 on a match. A block whose header does not agree with itself or
 * whose arrays point outside themselves is not run: the result is 0. The
 * block has no length of its own: the caller must hand over at least as
 * many bytes as its header describes. */
ORV_API int nlsSimulFA(const unsigned char *automaton, const char *table, const char *text);

/** Translates an SQL LIKE pattern into the pattern language: "_" becomes the
 * any-character wildcard, "%" the any-string wildcard, and characters of
 * table positions 0 to 18 are escaped. With a non-zero escape, escape
 * followed by "_", "%" or itself is that character as a literal; followed
 * by anything else the result is 65535. Double-byte characters of the
 * current locale are copied whole. Returns the number of characters written
 * to out (NUL-terminated). outSize is honoured: when the translation and its
 * NUL do not fit (a size of twice the input length plus one always does),
 * the result is 65535 and out holds an empty string (nothing is written
 * when outSize is below 1). */
ORV_API int32_t nlsCvtLikePattern(const char *like, char *out, int32_t outSize, const char *table,
                                  char escape);

ORV_EXTERN_C_END

#endif
