/**
 * @file orvane/files.h
 * @brief Files and memory maps: buffered, optionally thread-safe file
 * records, chained segments, temporary files and memory maps.
 *
 * A file record (orvFile) is the handle of every file operation: it holds a
 * 4096-byte buffer, an optional mutex (records opened thread-safe lock it in
 * every call) and a link to the further segments of a chained file. The
 * three standard files are static records reached with orvFileGetStdPtr.
 *
 * Results: file functions return 1/0, a count, or a pointer/null, and keep a
 * negative reason per thread that orvFileError() returns (ORV_FILE_E_*). An
 * invalid record (null, or not open) fails with -25; a record opened
 * thread-safe is locked, with the segments of its chain, in every call
 * (-33 when that fails).
 *
 * Temporary files are records opened with ORV_FILE_TEMPORARY under generated
 * names in the configured directories; a record opened with ORV_FILE_SPILL
 * continues in a new temporary file when its disk fills up, and reads and
 * positions then run across the chain of segments.
 *
 * A memory map (orvFileMap) shows a part of a file as memory: through the
 * system's file mappings, or, for a file that may spill over, through a heap
 * buffer read from and written back to the file.
 */
#ifndef ORVANE_FILES_H
#define ORVANE_FILES_H

#include "orvane/types.h"

ORV_EXTERN_C_BEGIN

/* Open flags of orvFileOpen(). Without any of READ, WRITE and CREATE the
 * flags get CREATE and 0x20 added (the file is created). */
/** Open flag: read access. */
#define ORV_FILE_READ 0x1
/** Open flag: write access. */
#define ORV_FILE_WRITE 0x2
/** Open flag: create, or truncate an existing file (otherwise a missing file
 * is created and an existing one kept). */
#define ORV_FILE_CREATE 0x4
/** Open flag: fail with -17 when the file does not exist. */
#define ORV_FILE_MUST_EXIST 0x8
/** Open flag: text mode: Ctrl-Z ends input; orvFileGetc(), orvFileGets(),
 * orvFilePutc() and orvFilePuts() turn CR LF into LF and back. */
#define ORV_FILE_TEXT 0x10
/** Open flag: make a temporary file under a generated name (tags
 * #ORV_FILE_TAG_DIRECTORY, #ORV_FILE_TAG_PREFIX, #ORV_FILE_TAG_NAME_OUT). */
#define ORV_FILE_TEMPORARY 0x80
/** Open flag: the compressed file attribute (Windows). */
#define ORV_FILE_COMPRESSED 0x100
/** Open flag: a write that comes up short because the disk is full
 * continues in a new temporary file chained behind. */
#define ORV_FILE_SPILL 0x400
/** Open flag: give the record a mutex, locked in every call. */
#define ORV_FILE_THREAD_SAFE 0x1000
/** Open flag: random access; otherwise sequential. */
#define ORV_FILE_RANDOM 0x4000

/** Tag of orvFileOpen(): a const char *, the path to open. */
#define ORV_FILE_TAG_PATH 1
/** Tag: a const char *, the name prefix of a temporary file. */
#define ORV_FILE_TAG_PREFIX 2
/** Tag: a char **, receives a heap copy of a temporary file's path (free it
 * with orvMemoryFreeFunc()). */
#define ORV_FILE_TAG_NAME_OUT 3
/** Tag: an int *, receives the error code on failure. */
#define ORV_FILE_TAG_ERROR_OUT 4
/** Tag: a const char *, the directory of a temporary file (it is never left
 * for another). */
#define ORV_FILE_TAG_DIRECTORY 5
/** Tag: an orvFile *, the record to add a segment to, or to reopen when it
 * was closed with #ORV_FILE_CLOSE_KEEP. */
#define ORV_FILE_TAG_SEGMENT_OF 6
/** Tag: ends the list (no value follows). */
#define ORV_FILE_TAG_END 7

/** Close option for temporary files: delete the file and forget the record. */
#define ORV_FILE_CLOSE_DELETE 1
/** Close option for temporary files: close the handle only and keep the
 * record, to reopen with #ORV_FILE_TAG_SEGMENT_OF. The record of any other
 * file is freed as by a plain close and must not be used again. */
#define ORV_FILE_CLOSE_KEEP 2

/** Seek origin: from the start. */
#define ORV_FILE_SEEK_SET 0
/** Seek origin: from the current position. */
#define ORV_FILE_SEEK_CUR 1
/** Seek origin: from the end. */
#define ORV_FILE_SEEK_END 2

/** orvFileGetc()'s and orvFilePutc()'s result at the end or on failure. */
#define ORV_FILE_EOF ((uint16_t)0xFFFF)

/** orvFileGetStdPtr(): standard input. */
#define ORV_FILE_STDIN 0
/** orvFileGetStdPtr(): standard output. */
#define ORV_FILE_STDOUT 1
/** orvFileGetStdPtr(): standard error. */
#define ORV_FILE_STDERR 2

/* Error codes of orvFileError() (the most common; see docs/porting.md for the
 * whole table from system error numbers). */
/** File error: none. */
#define ORV_FILE_E_NONE 0
/** File error: access denied. */
#define ORV_FILE_E_ACCESS_DENIED (-2)
/** File error: a file (such as a temporary file at close) cannot be deleted. */
#define ORV_FILE_E_CANNOT_DELETE (-10)
/** File error: the disk is full; also: no temporary file could be made. */
#define ORV_FILE_E_DISK_FULL (-13)
/** File error: the file exists. */
#define ORV_FILE_E_EXISTS (-15)
/** File error: the file does not exist. */
#define ORV_FILE_E_NOT_FOUND (-17)
/** File error: an invalid parameter (a bad tag, a missing path, a bad
 * origin, a null buffer). */
#define ORV_FILE_E_INVALID_PARAMETER (-21)
/** File error: a general failure. */
#define ORV_FILE_E_GENERAL (-23)
/** File error: an invalid handle or record. */
#define ORV_FILE_E_INVALID_HANDLE (-25)
/** File error: a lock violation (also: the temporary-file registry stayed
 * locked). */
#define ORV_FILE_E_LOCK_VIOLATION (-29)
/** File error: a record's mutex could not be locked. */
#define ORV_FILE_E_LOCK_FAILED (-33)
/** File error: a name too long. */
#define ORV_FILE_E_NAME_TOO_LONG (-34)
/** File error: out of memory. */
#define ORV_FILE_E_NO_MEMORY (-36)
/** File error: the path (a directory on it) does not exist. */
#define ORV_FILE_E_PATH_NOT_FOUND (-39)
/** File error: a sharing violation. */
#define ORV_FILE_E_SHARING_VIOLATION (-47)
/** File error: the per-thread error could not be read. */
#define ORV_FILE_E_KEY_UNREADABLE (-49)
/** File error: too many open files. */
#define ORV_FILE_E_TOO_MANY_OPEN (-50)
/** File error: a system error with no code of its own. */
#define ORV_FILE_E_UNKNOWN (-53)

/** Size of a file record's buffer. */
#define ORV_FILE_BUFFER_SIZE 4096

/** Magic number of an open file record (0x63763). */
#define ORV_FILE_MAGIC 407395u
/** Magic number of a memory map record (0x93893). */
#define ORV_FILE_MAP_MAGIC 604307u

/** A file record. Records are made by orvFileOpen() and released by
 * orvFileClose(); the fields are the layer's and are shown for inspection. */
typedef struct orvFile {
  uint32_t magic;       /**< ORV_FILE_MAGIC once open */
  uint32_t lockState;   /**< bit 0: thread-safe (locked in every call); bit 1: held */
  orvHandle mutex;      /**< with ORV_FILE_THREAD_SAFE */
  char *name;           /**< the path as opened */
  uint32_t isOpen;      /**< 1 while the system handle is valid */
  int64_t segmentLimit; /**< with ORV_FILE_SPILL or in a chain: length of this segment */
  uint32_t openFlags;   /**< the open flags */
  uint32_t eofSeen;     /**< text mode: a Ctrl-Z was met */
  uint32_t modeBits;    /**< bit 0 read, bit 1 write, and the open flags shifted left by one */
  struct orvFile *head; /**< first record of the chain (itself when alone) */
  struct orvFile *next; /**< next segment, or null */
  uint32_t bufferOwner; /**< 1 once open */
  int64_t segmentPos;   /**< the system's position in this segment's file */
  uint16_t tempIndex;   /**< temporary files: directory index, 65535 for the caller's directory */
  uint16_t mapCount;    /**< memory maps made on this file */
  uint8_t buffer[ORV_FILE_BUFFER_SIZE]; /**< the I/O buffer */
  uint32_t bufPos;                      /**< next byte of the buffer */
  uint32_t bufCount;                    /**< valid bytes in the buffer */
  uint32_t bufDirty;                    /**< non-zero while the buffer holds bytes not yet written */
  orvHandle handle;                     /**< the system file handle */
} orvFile;

/** A memory map of a file (fields shown for inspection). */
typedef struct orvFileMap {
  uint32_t magic;      /**< ORV_FILE_MAP_MAGIC */
  uint32_t lockState;  /**< as in orvFile */
  orvHandle mutex;     /**< with a thread-safe file: the map's own mutex */
  void *view;          /**< current view (system maps) or the heap buffer (spill-over files) */
  uint32_t size;       /**< size of the mapping or of the buffer */
  uint32_t viewLength; /**< length of the current view */
  int64_t viewOffset;  /**< file offset of the current view */
  orvFile *file;       /**< the file mapped */
  orvHandle mapping;   /**< the system mapping (system maps only) */
} orvFileMap;

/** Starts the file layer (called by servicesProcessInitialize()): the
 * temporary-file configuration and registry, the standard files' mutexes, the
 * per-thread error. A second call while it runs changes nothing.
 * @return 1, or 0 on failure (the temporary-file set-up is undone). */
ORV_API int orvFileProcessInitialize(void);
/** Stops the file layer (called by servicesProcessTerminate()): ends the
 * clean-up thread, deletes the temporary files still open, releases the
 * standard files' mutexes. */
ORV_API void orvFileProcessTerminate(void);
/** Sets up the three standard file records (text mode, read and write)
 * from the process's standard handles. */
ORV_API void orvFileInitializeStdFiles(void);

/** Returns the static record of standard file which (#ORV_FILE_STDIN,
 * #ORV_FILE_STDOUT, #ORV_FILE_STDERR), or null for any other value. Never
 * free it; orvFileClose() on it only flushes. */
ORV_API orvFile *orvFileGetStdPtr(short which);
/** Returns 1 when the record's handle is a character device (a terminal),
 * 0 otherwise and for null. */
ORV_API int orvFileIsATerminal(orvFile *file);

/** Opens a file: orvFileOpen(flags, tag, value, ..., #ORV_FILE_TAG_END)
 * with the ORV_FILE_* open flags and tags. With #ORV_FILE_TEMPORARY a
 * temporary file is made; with #ORV_FILE_TAG_SEGMENT_OF a segment is added
 * to (or a closed temporary record reopened in) that record's chain, and
 * that record is returned.
 * @return the record (close it with orvFileClose()), or null with the error
 * in orvFileError() and in the #ORV_FILE_TAG_ERROR_OUT variable (-21 for an
 * unknown tag or a missing path, -17 for a missing file that must exist, -13
 * when no temporary file could be made, -36 when out of memory). */
ORV_API orvFile *orvFileOpen(int flags, int tag, ...);
/** Writes what the record holds, closes it (and the segments behind it) and
 * frees it. A temporary record is deleted with #ORV_FILE_CLOSE_DELETE (-10
 * when it cannot be; the record stays) and kept for reopening with
 * #ORV_FILE_CLOSE_KEEP.
 * @return 1, or 0 on failure (a failed final write still closes and frees). */
ORV_API int orvFileClose(orvFile *file, int options);

/** Reads up to size bytes into buffer, across the chain's segments; in text
 * mode a Ctrl-Z ends the data. Bytes are not translated.
 * @return the number of bytes read (short at the end or on failure). */
ORV_API uint32_t orvFileRead(orvFile *file, void *buffer, uint32_t size);
/** Writes size bytes from buffer (buffered; standard files unbuffered).
 * Bytes are not translated.
 * @return the number of bytes written (short on failure). */
ORV_API uint32_t orvFileWrite(orvFile *file, const void *buffer, uint32_t size);
/** Reads one byte; in text mode CR LF reads as LF and Ctrl-Z ends the data.
 * @return the byte, or #ORV_FILE_EOF at the end or on failure. */
ORV_API uint16_t orvFileGetc(orvFile *file);
/** Reads a line into buffer: at most size - 1 bytes, up to and including a
 * line feed, then a terminator.
 * @return buffer, or null at the end (nothing read), for an invalid record,
 * or for a null buffer or a size below 1 (-21). */
ORV_API char *orvFileGets(orvFile *file, char *buffer, int size);
/** Writes one byte (in text mode LF as CR LF).
 * @return the byte written, or #ORV_FILE_EOF on failure. */
ORV_API uint16_t orvFilePutc(orvFile *file, int character);
/** Writes a zero-terminated text without its terminator (in text mode LF as
 * CR LF).
 * @return the length of the text, or -1 on failure. */
ORV_API int orvFilePuts(orvFile *file, const char *text);

/** Moves the position to offset from origin (ORV_FILE_SEEK_*), writing
 * pending bytes first; inside the buffered bytes no system call is made.
 * @return 1, or 0 on failure (-21 for a bad origin). */
ORV_API int orvFileSeek(orvFile *file, int64_t offset, int origin);
/** Returns the position in the (logical, chained) file, or -1 on failure. */
ORV_API int64_t orvFileTell(orvFile *file);
/** Returns the size of the (logical, chained) file, or -1 on failure. */
ORV_API int64_t orvFileSize(orvFile *file);
/** Cuts the file at the current position (the segments behind it are
 * emptied). @return 1, or 0 on failure. */
ORV_API int orvFileSetEOF(orvFile *file);
/** Seeks as orvFileSeek() and reads as orvFileRead() in one locked call.
 * @return the number of bytes read (0 when the seek fails). */
ORV_API uint32_t orvFileSeekRead(orvFile *file, int64_t offset, int origin, void *buffer, uint32_t size);
/** Seeks as orvFileSeek() and writes as orvFileWrite() in one locked call.
 * @return the number of bytes written (0 when the seek fails). */
ORV_API uint32_t orvFileSeekWrite(orvFile *file, int64_t offset, int origin, const void *buffer,
                                  uint32_t size);
/** Writes the bytes the buffer holds; a short write keeps the rest.
 * @return 1, or 0 on failure. */
ORV_API int orvFileFlush(orvFile *file);
/** Returns 1 when the position is at or past the end (at once after a
 * text-mode Ctrl-Z; also when the end cannot be found or the record is
 * invalid), else 0. */
ORV_API int orvFileEOF(orvFile *file);
/** Clears the text-mode Ctrl-Z flag (a later read meets the same Ctrl-Z
 * again). @return 1, or 0 for an invalid record. */
ORV_API int orvFileClearEOF(orvFile *file);

/** Tests a path: mode 0 for existence, bit 1 for read and bit 2 for write
 * access.
 * @return 1 when allowed, else 0 with the error recorded (-17 when missing). */
ORV_API int orvFileAccess(const char *path, int mode);
/** Deletes a file. @return 1, or 0 with the mapped error. */
ORV_API int orvFileDelete(const char *path);
/** Stores in *directory a heap buffer of 260 bytes holding the current
 * directory; the caller frees it with orvMemoryFreeFunc().
 * @return 1, or 0 (-36 when out of memory, -34 when it does not fit). */
ORV_API int orvFileGetCurrentDirectory(char **directory);
/** Returns the calling thread's last file error (ORV_FILE_E_* or another
 * negative code of the mapping table), 0 while the layer is not started. */
ORV_API int orvFileError(void);

/** orvFileMemoryMapOpen() access bit: map for writing (else reading). */
#define ORV_FILE_MAP_WRITE 2
/** Makes a memory map of file, size bytes (0: the file's size). A writable
 * map is at least two allocation granules (the file is extended to that).
 * A spill-over file is served by a heap buffer instead.
 * @return the map (release it with orvFileMemoryMapDestroy()), or null on
 * failure (-36 when out of memory). */
ORV_API orvFileMap *orvFileMemoryMapCreate(orvFile *file, uint32_t size);
/** Opens a view of length bytes at the 64-bit offset (offsetHigh must be 0
 * for system maps), ending the current view first.
 * @return a pointer to the byte at the offset, valid until the view is
 * closed, or null on failure (-21 when the bytes would not all lie in the
 * map). */
ORV_API void *orvFileMemoryMapOpen(orvFileMap *map, int access, uint32_t offsetLow, uint32_t offsetHigh,
                                   uint32_t length);
/** Ends the current view (a heap-buffer view of a writable file is written
 * back). @return 1, or 0 on failure. */
ORV_API int orvFileMemoryMapClose(orvFileMap *map);
/** Ends a view still open, releases the mapping or buffer and frees the map.
 * @return 1, or 0 on failure. */
ORV_API int orvFileMemoryMapDestroy(orvFileMap *map);

ORV_EXTERN_C_END

#endif
