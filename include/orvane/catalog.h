/**
 * @file orvane/catalog.h
 * @brief Message catalogs and the cm message set.
 *
 * A catalog is a binary file of messages by 32-bit id (docs/catalogs.md has the layout and the source format
 * that `orv catalog compile` turns into it). Catalogs are opened once and shared by name; a lookup tries
 * every open catalog, the most recently opened first. The `cm` message set keeps message ids with their
 * parameters (or literal strings) and composes the texts when they are read back.
 *
 * Catalogs and sets are not locked: open catalogs during start-up and use a
 * set from one thread at a time.
 */
#ifndef ORVANE_CATALOG_H
#define ORVANE_CATALOG_H

#include "orvane/types.h"

ORV_EXTERN_C_BEGIN

/* Error codes of the catalog and cm-set functions. */
/** Catalog code: success. */
#define CM_OK 0
/** Catalog code: out of memory. */
#define CM_ERR_NO_MEMORY 1
#define CM_ERR_SHORT_READ 2  /**< a text of the header (the title) came up short */
#define CM_ERR_NOT_FOUND 3   /**< the file is not there, nor in the executable's directory */
#define CM_ERR_BAD_VERSION 5 /**< a version record is cut short */
#define CM_ERR_NO_MORE 8     /**< cmGetMessage: the cursor is past the last entry */
#define CM_ERR_DAMAGED 9     /**< size, checksum, title length, count or index wrong */

/* Message ids of the texts that cmGetError() shows, in the library's own
 * catalog. */
/** Message id of the text of #CM_OK. */
#define CM_MSG_NO_ERROR 0x7998140Bu
/** Message id of the text of #CM_ERR_NO_MEMORY. */
#define CM_MSG_NO_MEMORY 0x79697A94u
/** Message id of the text of #CM_ERR_SHORT_READ. */
#define CM_MSG_SHORT_READ 0x79283861u
/** Message id of the text of #CM_ERR_NOT_FOUND. */
#define CM_MSG_NOT_FOUND 0x792A23A9u
/** Message id of the text shared by the codes without one of their own
 * (#CM_ERR_BAD_VERSION among them). */
#define CM_MSG_OTHER 0x79397FABu
/** Message id of the text of #CM_ERR_NO_MORE. */
#define CM_MSG_NO_MORE 0x791D9192u
/** Message id of the text of #CM_ERR_DAMAGED. */
#define CM_MSG_DAMAGED 0x792A9A53u

/** Bit of a message id that keeps the stored leading field ("lead, ") of the
 * text; without it a lookup drops everything up to two characters after
 * the first comma. */
#define CM_KEEP_LEAD 0x80000u

/* Pseudo-ids: never looked up in the file, they answer with a property of
 * the catalog as text. */
/** Pseudo-id: the catalog's file size, decimal. */
#define CM_ID_FILE_SIZE 1
/** Pseudo-id: the catalog's checksum, upper-case hexadecimal. */
#define CM_ID_CHECKSUM 2
/** Pseudo-id: the catalog's title. */
#define CM_ID_TITLE 3
/** Pseudo-id: 4, 5, 6 give the numbers of version record 1, decimal. */
#define CM_ID_VERSION1_A 4
/** Pseudo-id: the text of version record 1. */
#define CM_ID_VERSION1_TEXT 7
/** Pseudo-id: 8, 9, 10 give the numbers of version record 2, decimal. */
#define CM_ID_VERSION2_A 8
/** Pseudo-id: the text of version record 2. */
#define CM_ID_VERSION2_TEXT 11
/** Pseudo-id: the number of messages in the catalog, decimal. */
#define CM_ID_MESSAGE_COUNT 12
/** Pseudo-id: the catalog's file name as finally opened. */
#define CM_ID_FILE_NAME 13

/* Part bits of cmGetMessage(): a stored text "A-B-C, D" is rebuilt from the
 * parts selected, always in the order A, B, C, D. */
/** Part bit: part D (after the comma). */
#define CM_PART_D 1u
/** Part bit: part B. */
#define CM_PART_B 2u
/** Part bit: part A. */
#define CM_PART_A 4u
/** Part bit: part C. */
#define CM_PART_C 8u
/** Part bits: every part (the text whole). */
#define CM_PARTS_ALL 15u

/** The marker character of a message's parameters in cmGetMessage: "&". A
 * text whose markers are all followed by a digit 1 to 9 is numbered ("&2"
 * takes the second parameter); otherwise each "&" takes the next parameter
 * in turn. A marker beyond the parameters given is left in the text; "\&"
 * writes a literal "&". */
#define CM_PARAMETER_MARKER "&"

/** At most this many pending parameters; later ones are ignored. */
#define CM_MAX_PARAMETERS 10

/** An open message catalog (opaque). */
typedef struct cmCatalog cmCatalog;
/** A cm message set (opaque): message ids with their parameters, or literal
 * strings, composed into texts when read back. */
typedef struct cmMsgSet cmMsgSet;

/** Opens the catalog file name (text in the current character set). The name
 * first goes through the settings chain (orvResourceGetNLSStr): a setting of
 * that name replaces it. A catalog of the same name that is already open is
 * shared (its open count goes up). A file that cannot be opened is retried
 * in the running executable's directory. Checks the size field, the
 * CRC-16/ARC of offset 8 to the end, the title, the version records and the
 * index; returns 0 and the catalog in *out, or 1, 2, 3, 5 or 9 with *out
 * null and nothing left open. */
ORV_API int cmOpenCatalog(cmCatalog **out, const char *name);

/** Drops one open of the catalog; the last one unlinks it, closes its file
 * and frees it. A null catalog is accepted. Returns 0. */
ORV_API int cmCloseCatalog(cmCatalog *catalog);

/** The text of message id (pseudo-ids 1 to 13 included) from the first open
 * catalog that has it, most recently opened first, in the current character
 * set; "MSG: <id in lower-case hexadecimal>" when none has it. A heap block
 * the caller frees (orvMemoryFreeFunc or free); null when memory runs out. */
ORV_API char *cmGetRawMessage(uint32_t id);

/** The text of catalog error code (cmGetRawMessage of the code's message id;
 * codes without a text of their own share CM_MSG_OTHER). Caller frees. */
ORV_API char *cmGetError(int code);

/** Sets a dialog's caption and item texts from message ids: table[0] is not
 * read, table[1] is the caption's id, then pairs (control id, message id)
 * up to a control id of 0. Returns 0, or 1 when a text could not be made
 * (what was set stays set). */
ORV_API int cmSetDlgText(orvHandle window, const uint32_t *table);

/** Makes a cm set of at most capacity entries (below 2 counts as 2). Returns
 * 0 and the set in *out, or 1 with *out null. */
ORV_API int cmCreateMsgSet(cmMsgSet **out, uint32_t capacity);

/** Frees every entry, the pending parameters and the set. Returns 0. */
ORV_API int cmDestroyMsgSet(cmMsgSet *set);

/** Frees every entry (when something was added since the last reset) and
 * clears the count, cursor and changed flag. Returns 0. */
ORV_API int cmResetMsgSet(cmMsgSet *set);

/** Moves the cursor back to the first entry. Returns 0. */
ORV_API int cmResetCursor(cmMsgSet *set);

/** The number of entries. */
ORV_API uint32_t cmCount(cmMsgSet *set);

/** Pending parameters for the next cmAddMsg or cmAddMsgLast: a message id
 * (rendered as that message's whole text), a number ("%ld") or a copy of a
 * string. An eleventh pending parameter is ignored. Return 0, or 1 when the
 * string copy cannot be made. */
ORV_API int cmAddMsgParm(cmMsgSet *set, uint32_t id);
/** Adds a pending number parameter, rendered "%ld", as cmAddMsgParm().
 * @return 0. */
ORV_API int cmAddNumericParm(cmMsgSet *set, int32_t value);
/** Adds a pending parameter holding a copy of text, as cmAddMsgParm().
 * @return 0, or 1 when the copy cannot be made. */
ORV_API int cmAddStringParm(cmMsgSet *set, const char *text);

/** Adds a catalog message with the pending parameters in front of the first
 * entry (a full set first drops its last entry) or after the last entry (a
 * full set drops the new message and returns 0). Return 0, or 1 when memory
 * runs out (the pending parameters are then kept). */
ORV_API int cmAddMsg(cmMsgSet *set, uint32_t id);
/** Adds catalog message id with the pending parameters after the last entry
 * (a full set drops it and returns 0), as cmAddMsg().
 * @return 0, or 1 when memory runs out. */
ORV_API int cmAddMsgLast(cmMsgSet *set, uint32_t id);

/** Adds a copy of text with an id and two caller values, in front or at the
 * end, under the same capacity rules; pending parameters are released.
 * Return 0 or 1. */
ORV_API int cmAddString(cmMsgSet *set, const char *text, uint32_t id, uint32_t a, uint32_t b);
/** Adds a copy of text with id, a and b after the last entry, as
 * cmAddString(). @return 0, or 1 when memory runs out. */
ORV_API int cmAddStringLast(cmMsgSet *set, const char *text, uint32_t id, uint32_t a, uint32_t b);

/** The entry at the cursor, then the cursor moves on. A catalog message is
 * looked up, cut to the parts selected (CM_PART_*; 15, or kind 7 or 8 in
 * bits 20 to 23 of the id, give it whole) and filled with its parameters;
 * *a and *b become 0. A literal string comes back as a copy with its two
 * values. *text is a heap block the caller frees. Returns 0; 8 with *text
 * null past the last entry; 1 when memory runs out (the cursor stays). a and
 * b may be null. */
ORV_API int cmGetMessage(cmMsgSet *set, uint32_t parts, char **text, uint32_t *a, uint32_t *b);

/** The message id of the first entry, 0 when the set is empty. */
ORV_API uint32_t cmGetMessageId(cmMsgSet *set);

ORV_EXTERN_C_END

#endif
