/**
 * @file orvane/xdr.h
 * @brief XDR serialisation: filters, memory and file streams, scrambling.
 *
 * A caller describes a data structure once, as a filter built from the cxdr_* filters; the same filter
 * encodes, decodes or releases the structure according to the direction held in the stream record. Streams
 * are memory buffers (cxdrmem_*) or files of the buffered file layer (cxdrfile_*, cxdrfio_*), optionally
 * scrambled by a small keyed byte cipher (de*).
 *
 * Wire format: packed and big-endian. 8-bit quantities take one byte, 16-
 * and 32-bit units are written most-significant byte first, a double is two
 * 32-bit units (the word at the lower address of the host value first).
 * Byte and character sequences travel as they are, with no padding. Memory
 * streams align 16-bit units to even positions and 32-bit units to
 * multiples of 4 (the gap bytes are skipped, not written); file streams do
 * not align. Data written by one stream kind is read back by the same kind.
 * A string is a 32-bit header (character-set tag in the high 8 bits, byte
 * length in the low 24) followed by its bytes. docs/xdr.md has the details.
 *
 * Filters and stream operations return 1 for success and 0 for failure.
 * Counts and lengths above a filter's maximum, and failed allocations while
 * decoding, are reported through orvAssert() with the source name "CXDR",
 * which ends the process.
 */
#ifndef ORVANE_XDR_H
#define ORVANE_XDR_H

#include "orvane/files.h"
#include "orvane/types.h"

ORV_EXTERN_C_BEGIN

/* Directions of a stream. */
/** Direction: none (the filters do nothing and succeed). */
#define CXDR_NOP 0u
/** Direction: read values from the stream. */
#define CXDR_DECODE 1u
/** Direction: write values to the stream. */
#define CXDR_ENCODE 2u
/** Direction: release what decoding allocated. */
#define CXDR_FREE 3u

/** Overflow mode in which an exhausted buffer calls the stream's hooks. */
#define CXDR_OVERFLOW_HOOKS 2u

/** Size of a scrambling state. */
#define CXDR_SCRAMBLE_STATE_SIZE 112u

/** Tag of UTF-16 strings in a string header. */
#define CXDR_UNICODE_TAG 22u

/** The boolean of the filters: a 32-bit word. */
typedef int32_t OrvBool;
/** A one-byte boolean. */
typedef uint8_t OrvBool8;

/** A stream record (see struct CXDR). */
typedef struct CXDR CXDR;

/* Stream operations. Unit operations take a pointer to the value; sequence
 * operations take a buffer and a count. The sequence puts take a writable
 * buffer because a scrambling file stream scrambles the caller's data in
 * place. */
/** Stream operation: read one byte into *value. @return 1, or 0. */
typedef int (*cxdrGetUInt8Op)(CXDR *stream, uint8_t *value);
/** Stream operation: write one byte. @return 1, or 0. */
typedef int (*cxdrPutUInt8Op)(CXDR *stream, const uint8_t *value);
/** Stream operation: read a 16-bit unit. @return 1, or 0. */
typedef int (*cxdrGetUInt16Op)(CXDR *stream, uint16_t *value);
/** Stream operation: write a 16-bit unit. @return 1, or 0. */
typedef int (*cxdrPutUInt16Op)(CXDR *stream, const uint16_t *value);
/** Stream operation: read a 32-bit unit. @return 1, or 0. */
typedef int (*cxdrGetUInt32Op)(CXDR *stream, uint32_t *value);
/** Stream operation: write a 32-bit unit. @return 1, or 0. */
typedef int (*cxdrPutUInt32Op)(CXDR *stream, const uint32_t *value);
/** Stream operation: read or write count raw bytes. Puts take a writable
 * buffer because a scrambling file stream scrambles the caller's data in
 * place. @return 1, or 0. */
typedef int (*cxdrBytesOp)(CXDR *stream, uint8_t *buffer, uint32_t count);
/** Stream operation: read or write count characters (as cxdrBytesOp).
 * @return 1, or 0. */
typedef int (*cxdrCharsOp)(CXDR *stream, char *buffer, uint32_t count);
/** Stream operation: report the position. @return 1, or 0. */
typedef int (*cxdrGetPosOp)(CXDR *stream, uint32_t *position);
/** Stream operation: move to a position. @return 1, or 0. */
typedef int (*cxdrPutPosOp)(CXDR *stream, uint32_t position);
/** Stream operation or hook on the whole stream (destroy, overflow hooks).
 * @return non-zero on success, 0 on failure. */
typedef int (*cxdrStreamOp)(CXDR *stream);
/** Stream operation: make a scrambling state from a key. @return 1, or 0. */
typedef int (*cxdrInitOp)(CXDR *stream, uint32_t key);

/** A filter for one element of an array, vector, pointer, reference or
 * union arm: (stream, pointer to the element). */
typedef int (*cxdrproc_t)(CXDR *stream, void *element);

/** One entry of a union's choice table; the table ends with an entry whose
 * filter is null. */
typedef struct cxdr_discrim {
  int32_t value;   /**< the discriminant value of this arm */
  cxdrproc_t proc; /**< the arm's filter; null ends the table */
} cxdr_discrim;

/** The stream record. Its user may replace any operation or hook and set
 * the overflow mode, the flags and the owned storage. Words that hold
 * pointers are pointer-sized; the others are 32-bit. */
struct CXDR {
  uint32_t direction;        /**< CXDR_NOP, CXDR_DECODE, CXDR_ENCODE or CXDR_FREE */
  cxdrGetUInt8Op getUInt8;   /**< read one byte */
  cxdrPutUInt8Op putUInt8;   /**< write one byte */
  cxdrGetUInt16Op getUInt16; /**< read a 16-bit unit */
  cxdrPutUInt16Op putUInt16; /**< write a 16-bit unit */
  cxdrGetUInt32Op getUInt32; /**< read a 32-bit unit */
  cxdrPutUInt32Op putUInt32; /**< write a 32-bit unit */
  cxdrBytesOp getUInt8s;     /**< read count raw bytes */
  cxdrBytesOp putUInt8s;     /**< write count raw bytes */
  cxdrCharsOp getCHARs;      /**< read count characters */
  cxdrCharsOp putCHARs;      /**< write count characters */
  cxdrGetPosOp getpos;       /**< report the position */
  cxdrPutPosOp putpos;       /**< move to a position */
  cxdrStreamOp destroy;      /**< release what the stream kind allocated */
  uint32_t lastError;        /**< file streams: reason code of the last failed file call */
  uint32_t encryptFlag;      /**< non-zero: writes are scrambled */
  uint8_t *encryptState;     /**< 112-byte scrambling state, owned by the stream */
  cxdrInitOp encryptinit;    /**< makes the encrypt state from a key */
  uint32_t decryptFlag;      /**< non-zero: reads are unscrambled */
  uint8_t *decryptState;     /**< 112-byte scrambling state, owned by the stream */
  cxdrInitOp decryptinit;    /**< makes the decrypt state from a key */
  uint32_t overflowMode;     /**< CXDR_OVERFLOW_HOOKS: call the hooks when the buffer runs out */
  uint32_t reserved;         /**< neither stream kind sets or reads this word */
  void *ownedStorage;        /**< memory: a buffer that destroy releases; file: the cell holding the file */
  cxdrStreamOp decodeHook;   /**< called when a read finds the buffer exhausted */
  cxdrStreamOp encodeHook;   /**< called when a write finds the buffer full */
  uint8_t *buffer;           /**< start of the data buffer */
  uint32_t size;             /**< buffer size in bytes */
  uint32_t limit;            /**< bytes usable: the write bound or the bytes available to read */
  uint32_t position;         /**< current offset in the buffer */
  uint32_t unicode;          /**< non-zero: strings travel as UTF-16 units */
};

/* --- Byte order --- */

/* Host to network order (big-endian) and back, 32 and 16 bits. */
/** Returns the 32-bit value in network (big-endian) order. */
ORV_API uint32_t h2nl(uint32_t value);
/** Returns the 16-bit value in network (big-endian) order. */
ORV_API uint16_t h2ns(uint16_t value);
/** Returns the 32-bit network-order value in host order. */
ORV_API uint32_t n2hl(uint32_t value);
/** Returns the 16-bit network-order value in host order. */
ORV_API uint16_t n2hs(uint16_t value);

/* --- Filters --- */

/** One byte. FREE does nothing. cxdr_Int8, cxdr_BYTE, cxdr_CHAR and
 * cxdr_OrvBool8 are the same function. @return 1, or 0. */
ORV_API int cxdr_UInt8(CXDR *stream, uint8_t *value);
/** A signed byte; the same function as cxdr_UInt8(). @return 1, or 0. */
ORV_API int cxdr_Int8(CXDR *stream, int8_t *value);
/** A byte; the same function as cxdr_UInt8(). @return 1, or 0. */
ORV_API int cxdr_BYTE(CXDR *stream, uint8_t *value);
/** A character; the same function as cxdr_UInt8(). @return 1, or 0. */
ORV_API int cxdr_CHAR(CXDR *stream, char *value);
/** A one-byte boolean; the same function as cxdr_UInt8(). @return 1, or 0. */
ORV_API int cxdr_OrvBool8(CXDR *stream, OrvBool8 *value);
/** A 32-bit boolean as one byte: its low byte is written; a decoded byte is
 * stored zero-extended. @return 1, or 0. */
ORV_API int cxdr_OrvBool(CXDR *stream, OrvBool *value);
/** One 16-bit unit; cxdr_Int16 is the same function. @return 1, or 0. */
ORV_API int cxdr_UInt16(CXDR *stream, uint16_t *value);
/** A signed 16-bit unit; the same function as cxdr_UInt16(). @return 1, or 0. */
ORV_API int cxdr_Int16(CXDR *stream, int16_t *value);
/** One 32-bit unit; cxdr_Int32, cxdr_Int and cxdr_enum are the same
 * function. The value is stored only when the read succeeded. @return 1, or 0. */
ORV_API int cxdr_UInt32(CXDR *stream, uint32_t *value);
/** A signed 32-bit unit; the same function as cxdr_UInt32(). @return 1, or 0. */
ORV_API int cxdr_Int32(CXDR *stream, int32_t *value);
/** An int as a 32-bit unit; the same function as cxdr_UInt32(). @return 1, or 0. */
ORV_API int cxdr_Int(CXDR *stream, int32_t *value);
/** An enumeration as a 32-bit unit; the same function as cxdr_UInt32().
 * @return 1, or 0. */
ORV_API int cxdr_enum(CXDR *stream, int32_t *value);
/** A float's 32 bits as one unit. @return 1, or 0. */
ORV_API int cxdr_Float32(CXDR *stream, float *value);
/** A double as two 32-bit units: the word at the lower address of the host
 * value first. The second is not attempted when the first fails. @return 1, or 0. */
ORV_API int cxdr_Float64(CXDR *stream, double *value);
/** count raw bytes (characters) with no length and no padding. ENCODE of 0
 * bytes makes no call. @return 1, or 0. */
ORV_API int cxdr_opaque(CXDR *stream, void *bytes, uint32_t count);
/** count characters with no length and no padding, as cxdr_opaque().
 * @return 1, or 0. */
ORV_API int cxdr_CHARvector(CXDR *stream, char *chars, uint32_t count);
/** A 32-bit count, then the raw bytes. DECODE allocates a zero-filled
 * buffer of count bytes when *buffer is null; FREE releases it. @return 1, or 0. */
ORV_API int cxdr_UInt8s(CXDR *stream, uint8_t **buffer, uint32_t *count, uint32_t maxCount);
/** A string header whose length is *count, then the characters, translated
 * like cxdr_string's. DECODE allocates when *buffer is null; FREE
 * releases. @return 1, or 0. */
ORV_API int cxdr_CHARs(CXDR *stream, char **buffer, uint32_t *count, uint32_t maxCount);
/** A NUL-terminated string: header (character-set tag, byte length), then
 * the bytes, translated between the writer's and the reader's character
 * sets. On a Unicode stream the text travels as UTF-16 units and the
 * header's length is the byte length of those units (2 x units). DECODE
 * allocates when *text is null; FREE releases and nulls. @return 1, or 0. */
ORV_API int cxdr_string(CXDR *stream, char **text, uint32_t maxLength);
/** cxdr_string with no maximum. @return 1, or 0. */
ORV_API int cxdr_wrapstring(CXDR *stream, char **text);
/** A byte string carried exactly: a 32-bit length word, then the bytes. @return 1, or 0. */
ORV_API int cxdr_c_wrapstring(CXDR *stream, char **text);
/** A 32-bit count, then each element by its filter. DECODE allocates a
 * zero-filled array when *array is null; FREE releases elements and
 * array. @return 1, or 0. */
ORV_API int cxdr_array(CXDR *stream, void **array, uint32_t *count, uint32_t maxCount, uint32_t elementSize,
                       cxdrproc_t element);
/** count elements by their filter, nothing else; FREE succeeds at once. @return 1, or 0. */
ORV_API int cxdr_vector(CXDR *stream, void *array, uint32_t count, uint32_t elementSize, cxdrproc_t element);
/** A 32-bit presence word (0 or 1), then the object. Decoding an absent
 * object leaves *object as it was. @return 1, or 0. */
ORV_API int cxdr_pointer(CXDR *stream, void **object, uint32_t objectSize, cxdrproc_t filter);
/** The object alone; DECODE allocates it when *object is null. @return 1, or 0. */
ORV_API int cxdr_reference(CXDR *stream, void **object, uint32_t objectSize, cxdrproc_t filter);
/** The discriminant as a 32-bit unit, then the arm of the first table entry
 * with that value (or the default filter; with none, failure). @return 1, or 0. */
ORV_API int cxdr_union(CXDR *stream, int32_t *discriminant, void *unionData, const cxdr_discrim *choices,
                       cxdrproc_t defaultArm);
/** Writes nothing; always succeeds. @return 1. */
ORV_API int cxdr_void(void);

/* --- Memory streams --- */

/** Fills the record over the caller's buffer (not owned): the size is rounded
 * down to a multiple of 4 and becomes size and limit; position, flags,
 * states, overflow mode, owned storage and the Unicode flag are 0; the
 * hooks are cxdrmem_decode and cxdrmem_encode. @return 1. */
ORV_API int cxdrmem_create(CXDR *stream, uint32_t direction, void *buffer, uint32_t size);
/** limit = size, position = 0. @return 1. */
ORV_API int cxdrmem_open(CXDR *stream);
/** position = 0. @return 1. */
ORV_API int cxdrmem_close(CXDR *stream);
/** Releases the owned storage and the two scrambling states. @return 1. */
ORV_API int cxdrmem_destroy(CXDR *stream);
/* Units: 8 bits unaligned, 16 bits aligned to 2, 32 bits aligned to 4. */
/** Reads one byte (unaligned). @return 1, or 0 when the data run out (after
 * the decode hook in #CXDR_OVERFLOW_HOOKS mode). */
ORV_API int cxdrmem_getUInt8(CXDR *stream, uint8_t *value);
/** Writes one byte (unaligned). @return 1, or 0 when the buffer is full (after
 * the encode hook in #CXDR_OVERFLOW_HOOKS mode). */
ORV_API int cxdrmem_putUInt8(CXDR *stream, const uint8_t *value);
/** Reads a big-endian 16-bit unit at the next even position. @return 1, or 0. */
ORV_API int cxdrmem_getUInt16(CXDR *stream, uint16_t *value);
/** Writes a big-endian 16-bit unit at the next even position (the gap byte is
 * skipped). @return 1, or 0. */
ORV_API int cxdrmem_putUInt16(CXDR *stream, const uint16_t *value);
/** Reads a big-endian 32-bit unit at the next multiple of 4. @return 1, or 0. */
ORV_API int cxdrmem_getUInt32(CXDR *stream, uint32_t *value);
/** Writes a big-endian 32-bit unit at the next multiple of 4 (the gap bytes are
 * skipped). @return 1, or 0. */
ORV_API int cxdrmem_putUInt32(CXDR *stream, const uint32_t *value);
/** Reads count raw bytes, unaligned, in pieces across hook calls.
 * @return 1, or 0. */
ORV_API int cxdrmem_getUInt8s(CXDR *stream, uint8_t *buffer, uint32_t count);
/** Writes count raw bytes, unaligned, in pieces across hook calls.
 * @return 1, or 0. */
ORV_API int cxdrmem_putUInt8s(CXDR *stream, uint8_t *buffer, uint32_t count);
/** Reads count characters, as cxdrmem_getUInt8s(). @return 1, or 0. */
ORV_API int cxdrmem_getCHARs(CXDR *stream, char *buffer, uint32_t count);
/** Writes count characters, as cxdrmem_putUInt8s(). @return 1, or 0. */
ORV_API int cxdrmem_putCHARs(CXDR *stream, char *buffer, uint32_t count);
/** Stores the position in *position. @return 1. */
ORV_API int cxdrmem_getpos(CXDR *stream, uint32_t *position);
/** Moves to position. @return 1, or 0 (nothing moves) unless position is
 * below the limit. */
ORV_API int cxdrmem_putpos(CXDR *stream, uint32_t position);
/** Allocates (once) the stream's encrypt state and initialises it from key
 * (0: a key from deRandomKey()); the encrypt flag is set to 0: the stream's
 * user switches scrambling on by setting it.
 * @return 1, or 0 when the state cannot be allocated. */
ORV_API int cxdrmem_encryptinit(CXDR *stream, uint32_t key);
/** The same as cxdrmem_encryptinit() for the decrypt state and flag.
 * @return 1, or 0 when the state cannot be allocated. */
ORV_API int cxdrmem_decryptinit(CXDR *stream, uint32_t key);
/** The default encode hook: with the encrypt flag set, scrambles the buffer's
 * first position bytes. @return 1. */
ORV_API int cxdrmem_encode(CXDR *stream);
/** The default decode hook: with the decrypt flag set, unscrambles the
 * buffer's first position bytes. @return 1. */
ORV_API int cxdrmem_decode(CXDR *stream);

/* --- File streams --- */

/** For ENCODE or DECODE: opens path with the file layer's open flags and
 * fills the record over it (0 when the file cannot be opened: lastError
 * holds the run-time error number); for any other direction: fills the
 * record with no file. @return 1, or 0. */
ORV_API int cxdrfile_create(CXDR *stream, uint32_t direction, const char *path, int flags);
/** Fills the record over a file the caller opened (or null); lastError,
 * flags, states, overflow mode and the buffer words are 0. @return 1, or 0. */
ORV_API int cxdrfio_create(CXDR *stream, orvFile *file, uint32_t direction);
/** Closes any open file of the stream, then opens path with flags.
 * @return the file (the stream keeps it), or null on failure (lastError: the
 * run-time error number). */
ORV_API orvFile *cxdrfile_open(CXDR *stream, const char *path, int flags);
/** Closes the stream's file, if any, with orvFileClose(file, 2). @return 1. */
ORV_API int cxdrfile_close(CXDR *stream);
/** cxdrfile_close, then cxdrfio_destroy. @return 1. */
ORV_API int cxdrfile_destroy(CXDR *stream);
/** Releases the file cell and the scrambling states; the file stays open. @return 1. */
ORV_API int cxdrfio_destroy(CXDR *stream);
/* Units, unaligned and big-endian; each write is scrambled on its own when
 * the encrypt flag is set, each read unscrambled when the decrypt flag is
 * set. A read that the file layer cuts short (without end of file)
 * succeeds. */
/** Reads one byte (unscrambled when the decrypt flag is set). A read that the
 * file layer cuts short without end of file succeeds. @return 1, or 0. */
ORV_API int cxdrfile_getUInt8(CXDR *stream, uint8_t *value);
/** Writes one byte (scrambled on its own when the encrypt flag is set).
 * @return 1, or 0. */
ORV_API int cxdrfile_putUInt8(CXDR *stream, const uint8_t *value);
/** Reads a big-endian 16-bit unit, unaligned, as cxdrfile_getUInt8().
 * @return 1, or 0. */
ORV_API int cxdrfile_getUInt16(CXDR *stream, uint16_t *value);
/** Writes a big-endian 16-bit unit, unaligned, as cxdrfile_putUInt8().
 * @return 1, or 0. */
ORV_API int cxdrfile_putUInt16(CXDR *stream, const uint16_t *value);
/** Reads a big-endian 32-bit unit, unaligned, as cxdrfile_getUInt8().
 * @return 1, or 0. */
ORV_API int cxdrfile_getUInt32(CXDR *stream, uint32_t *value);
/** Writes a big-endian 32-bit unit, unaligned, as cxdrfile_putUInt8().
 * @return 1, or 0. */
ORV_API int cxdrfile_putUInt32(CXDR *stream, const uint32_t *value);
/** Reads count raw bytes (unscrambled when the decrypt flag is set).
 * @return 1, or 0. */
ORV_API int cxdrfile_getUInt8s(CXDR *stream, uint8_t *buffer, uint32_t count);
/** Writes count raw bytes. On an encrypting stream the caller's buffer is
 * scrambled in place and left so. @return 1, or 0. */
ORV_API int cxdrfile_putUInt8s(CXDR *stream, uint8_t *buffer, uint32_t count);
/** Reads count characters, as cxdrfile_getUInt8s(). @return 1, or 0. */
ORV_API int cxdrfile_getCHARs(CXDR *stream, char *buffer, uint32_t count);
/** Writes count characters, as cxdrfile_putUInt8s() (scrambling the caller's
 * buffer in place on an encrypting stream). @return 1, or 0. */
ORV_API int cxdrfile_putCHARs(CXDR *stream, char *buffer, uint32_t count);
/** Stores the file position (its low 32 bits) in *position. @return 1, or 0. */
ORV_API int cxdrfile_getpos(CXDR *stream, uint32_t *position);
/** Seeks to position from the start of the file. @return 1, or 0. */
ORV_API int cxdrfile_putpos(CXDR *stream, uint32_t position);
/** The same operation as cxdrmem_encryptinit(). @return 1, or 0. */
ORV_API int cxdrfile_encryptinit(CXDR *stream, uint32_t key);
/** The same operation as cxdrmem_decryptinit(). @return 1, or 0. */
ORV_API int cxdrfile_decryptinit(CXDR *stream, uint32_t key);

/* --- Scrambling --- */

/** Returns a 32-bit scrambling key hashed from text (null counts as empty);
 * never 0. */
ORV_API uint32_t deHashKey(const char *text);
/** Returns a scrambling key hashed from the current time (as ctime gives it). */
ORV_API uint32_t deRandomKey(void);
/** Fills a 112-byte state from key: three rotors, their inverses and a step
 * table. Returns 1. */
ORV_API int deInitialize(uint32_t key, void *state);
/** Scrambles (direction 1) or unscrambles (2) count bytes in place. Data must
 * be unscrambled in the pieces it was scrambled in.
 * @return 1, or 0 (nothing changed) for any other direction. */
ORV_API int deTranslate(const void *state, uint16_t direction, uint8_t *data, uint32_t count);

ORV_EXTERN_C_END

#endif
