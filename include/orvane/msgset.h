/**
 * @file orvane/msgset.h
 * @brief Message sets: stacks or queues of finished message texts.
 *
 * A message set is a stack-or-queue of
 * finished texts: each message is built when it is added, from a message id
 * of the set's own catalog (orvane/catalog.h) and up to nine typed
 * parameters, and kept as a string object. Push with Pop gives last-in
 * first-out order; AddLast with Pop gives first-in first-out order.
 *
 * A set is used by one thread at a time.
 */
#ifndef ORVANE_MSGSET_H
#define ORVANE_MSGSET_H

#include "orvane/strings.h"
#include "orvane/types.h"

ORV_EXTERN_C_BEGIN

/** A message set (opaque). */
typedef struct orvMessageSet orvMessageSet;

/** An alternate message source: given a message id, a new string object with
 * the message's text (the set destroys it), or null when it has none. */
typedef orvString *(*orvMessageSource)(uint32_t id);

/* Parameter tags of orvMessageSetPush() and orvMessageSetAddLast(); each but
 * the closing ORV_MSG_END is followed by its value. */
#define ORV_MSG_INT 101    /**< int32_t, written "%d" */
#define ORV_MSG_HEX 102    /**< int32_t, written "%X" */
#define ORV_MSG_DOUBLE 103 /**< double, written "%g" */
#define ORV_MSG_STRING 104 /**< const orvString *, copied (null counts as empty) */
#define ORV_MSG_TEXT 105   /**< const char * in the current character set (null counts as empty) */
#define ORV_MSG_END 106    /**< closes the list */
#define ORV_MSG_ID 107     /**< uint32_t message id: that message's text, without parameters */

/** At most this many parameters are used; later ones are read and ignored. */
#define ORV_MSG_MAX_PARAMETERS 9

/** The message id of a literal message: its text is the first parameter, and
 * its placeholders refer to the parameters after it. */
#define ORV_MSG_LITERAL 65535u

/** The placeholder of parameter n (1 to 9) in a message text is the unit 1
 * followed by the digit n, e.g. "Cannot open \0011". */
#define ORV_MSG_PLACEHOLDER 1

/* Status values of a set. Other values are the catalog open errors of
 * orvane/catalog.h (1, 2, 3, 5, 9), kept when the set's catalog failed to
 * open. */
/** Set status: the last operation succeeded. */
#define ORV_MSG_STATUS_OK 0
#define ORV_MSG_STATUS_EMPTY 8    /**< a pop found no message */
#define ORV_MSG_STATUS_UNKNOWN 15 /**< the id had no text: the text is the id in "%X" */

/** The answer an alternate source must give for id 0 to be accepted. */
#define ORV_MSG_SOURCE_HANDSHAKE "Alternate message source OK."

/** Makes a set and opens its catalog as cmOpenCatalog does (shared, counted,
 * the name passed through the settings chain). A failed open still gives a
 * set, without catalog and with the open error as its status. Null only when
 * the set cannot be allocated. */
ORV_API orvMessageSet *orvMessageSetCreate(const orvString *catalogName);

/** As orvMessageSetCreate with the name as text in the current character
 * set. */
ORV_API orvMessageSet *orvMessageSetCreateNLS(const char *catalogName);

/** Empties the set, releases its catalog (closed when its last open goes)
 * and frees the set. A null set is accepted. */
ORV_API void orvMessageSetDestroy(orvMessageSet *set);

/** Frees every message; count and status become 0. Returns 1 (0 for a null
 * set). */
ORV_API int orvMessageSetReset(orvMessageSet *set);

/** Returns the number of messages held. */
ORV_API uint32_t orvMessageSetCount(const orvMessageSet *set);
/** Returns the status of the set's last operation (ORV_MSG_STATUS_* or a
 * catalog open error). */
ORV_API uint32_t orvMessageSetGetStatus(const orvMessageSet *set);

/** Builds message id with the tagged parameters (closed by ORV_MSG_END) and
 * puts it before the first message (Push) or after the last (AddLast).
 * The text comes from the set's catalog (pseudo-ids and the leading field
 * as cmGetRawMessage, no part selection), else from the alternate source,
 * else it is the id in upper-case hexadecimal with status 15. Placeholders
 * (ORV_MSG_PLACEHOLDER and a digit from 1 to the parameter count) are
 * replaced by the parameters' texts. Return 1 (0 for a null set). A message
 * that cannot be stored for lack of memory is dropped without a report. */
ORV_API int orvMessageSetPush(orvMessageSet *set, uint32_t id, ...);
/** Builds message id as orvMessageSetPush() does and puts it after the last
 * message. @return 1 (0 for a null set). */
ORV_API int orvMessageSetAddLast(orvMessageSet *set, uint32_t id, ...);

/** Removes the first message and returns it (the caller destroys it); null
 * with status 8 when the set is empty. */
ORV_API orvString *orvMessageSetPop(orvMessageSet *set);

/** As orvMessageSetPop, but returns the text as a heap block in the current
 * character set (the caller frees it); null with status 8 when the set is
 * empty, null when memory runs out (the message is then gone). */
ORV_API char *orvMessageSetPopNLS(orvMessageSet *set);

/** Installs source after calling it once with id 0: it is accepted (1) only
 * when it answers ORV_MSG_SOURCE_HANDSHAKE; the answer is destroyed either
 * way. A null source, a null answer or another answer keep the current
 * source and return 0. */
ORV_API int orvMessageSetAlternateSource(orvMessageSet *set, orvMessageSource source);

ORV_EXTERN_C_END

#endif
