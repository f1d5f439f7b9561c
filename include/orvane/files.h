/* Orvane services: files and memory maps.
 *
 * A file record (orvFile) is the handle of every file operation: it holds a
 * 4096-byte buffer, an optional mutex (records opened thread-safe lock it in
 * every call) and a link to the further segments of a chained file. The
 * three standard files are static records reached with orvFileGetStdPtr.
 *
 * Results: file functions return 1/0, a count, or a pointer/null, and keep a
 * negative reason per thread that orvFileError returns (ORV_FILE_E_*).
 *
 * Temporary files are records opened with ORV_FILE_TEMPORARY under generated
 * names in the configured directories; a record opened with ORV_FILE_SPILL
 * continues in a new temporary file when its disk fills up, and reads and
 * positions then run across the chain of segments.
 *
 * A memory map (orvFileMap) shows a part of a file as memory: through the
 * system's file mappings, or, for a file that may spill over, through a heap
 * buffer read from and written back to the file. */
#ifndef ORVANE_FILES_H
#define ORVANE_FILES_H

#include "orvane/types.h"

ORV_EXTERN_C_BEGIN

/* Open flags of orvFileOpen. Without any of READ, WRITE and CREATE the
 * flags get CREATE and 0x20 added (the file is created). */
#define ORV_FILE_READ 0x1
#define ORV_FILE_WRITE 0x2
#define ORV_FILE_CREATE 0x4 /* create, or truncate an existing file */
#define ORV_FILE_MUST_EXIST 0x8
#define ORV_FILE_TEXT 0x10 /* Ctrl-Z ends input; orvFileGetc/Putc turn CR LF into LF and back */
#define ORV_FILE_TEMPORARY 0x80
#define ORV_FILE_COMPRESSED 0x100
#define ORV_FILE_SPILL 0x400 /* a write that comes up short continues in a new temporary file */
#define ORV_FILE_THREAD_SAFE 0x1000
#define ORV_FILE_RANDOM 0x4000 /* random access; otherwise sequential */

/* Tags of orvFileOpen's list; each is followed by one value, except the end. */
#define ORV_FILE_TAG_PATH 1       /* const char *: the path to open */
#define ORV_FILE_TAG_PREFIX 2     /* const char *: name prefix of a temporary file */
#define ORV_FILE_TAG_NAME_OUT 3   /* char **: receives a heap copy of a temporary file's path */
#define ORV_FILE_TAG_ERROR_OUT 4  /* int *: receives the error code on failure */
#define ORV_FILE_TAG_DIRECTORY 5  /* const char *: directory of a temporary file */
#define ORV_FILE_TAG_SEGMENT_OF 6 /* orvFile *: the record to add a segment to, or to reopen */
#define ORV_FILE_TAG_END 7

/* Options of orvFileClose for temporary files. */
#define ORV_FILE_CLOSE_DELETE 1 /* delete the file and forget the record */
#define ORV_FILE_CLOSE_KEEP 2   /* close the handle only; reopen with ORV_FILE_TAG_SEGMENT_OF */

/* Origins of orvFileSeek. */
#define ORV_FILE_SEEK_SET 0
#define ORV_FILE_SEEK_CUR 1
#define ORV_FILE_SEEK_END 2

/* orvFileGetc's and orvFilePutc's result at the end or on failure. */
#define ORV_FILE_EOF ((uint16_t)0xFFFF)

/* Standard files of orvFileGetStdPtr. */
#define ORV_FILE_STDIN 0
#define ORV_FILE_STDOUT 1
#define ORV_FILE_STDERR 2

/* Error codes of orvFileError (the most common; see docs/porting.md for the
 * whole table from system error numbers). */
#define ORV_FILE_E_NONE 0
#define ORV_FILE_E_ACCESS_DENIED (-2)
#define ORV_FILE_E_CANNOT_DELETE (-10)
#define ORV_FILE_E_DISK_FULL (-13) /* also: no temporary file could be made */
#define ORV_FILE_E_EXISTS (-15)
#define ORV_FILE_E_NOT_FOUND (-17)
#define ORV_FILE_E_INVALID_PARAMETER (-21)
#define ORV_FILE_E_GENERAL (-23)
#define ORV_FILE_E_INVALID_HANDLE (-25)
#define ORV_FILE_E_LOCK_VIOLATION (-29)
#define ORV_FILE_E_LOCK_FAILED (-33)
#define ORV_FILE_E_NAME_TOO_LONG (-34)
#define ORV_FILE_E_NO_MEMORY (-36)
#define ORV_FILE_E_PATH_NOT_FOUND (-39)
#define ORV_FILE_E_SHARING_VIOLATION (-47)
#define ORV_FILE_E_KEY_UNREADABLE (-49)
#define ORV_FILE_E_TOO_MANY_OPEN (-50)
#define ORV_FILE_E_UNKNOWN (-53)

/* Size of a file record's buffer. */
#define ORV_FILE_BUFFER_SIZE 4096

/* Magic numbers of open records. */
#define ORV_FILE_MAGIC 407395u     /* 0x63763 */
#define ORV_FILE_MAP_MAGIC 604307u /* 0x93893 */

/* A file record. Records are made by orvFileOpen and released by
 * orvFileClose; the fields are the layer's and are shown for inspection. */
typedef struct orvFile {
  uint32_t magic;       /* ORV_FILE_MAGIC once open */
  uint32_t lockState;   /* bit 0: thread-safe (locked in every call); bit 1: held */
  orvHandle mutex;      /* with ORV_FILE_THREAD_SAFE */
  char *name;           /* the path as opened */
  uint32_t isOpen;      /* 1 while the system handle is valid */
  int64_t segmentLimit; /* with ORV_FILE_SPILL or in a chain: length of this segment */
  uint32_t openFlags;   /* the open flags */
  uint32_t eofSeen;     /* text mode: a Ctrl-Z was met */
  uint32_t modeBits;    /* bit 0 read, bit 1 write, and the open flags shifted left by one */
  struct orvFile *head; /* first record of the chain (itself when alone) */
  struct orvFile *next; /* next segment, or null */
  uint32_t bufferOwner; /* 1 once open */
  int64_t segmentPos;   /* the system's position in this segment's file */
  uint16_t tempIndex;   /* temporary files: directory index, 65535 for the caller's directory */
  uint16_t mapCount;    /* memory maps made on this file */
  uint8_t buffer[ORV_FILE_BUFFER_SIZE];
  uint32_t bufPos;   /* next byte of the buffer */
  uint32_t bufCount; /* valid bytes in the buffer */
  uint32_t bufDirty; /* non-zero while the buffer holds bytes not yet written */
  orvHandle handle;  /* the system file handle */
} orvFile;

/* A memory map of a file. */
typedef struct orvFileMap {
  uint32_t magic;     /* ORV_FILE_MAP_MAGIC */
  uint32_t lockState; /* as in orvFile */
  orvHandle mutex;
  void *view;          /* current view (system maps) or the heap buffer (spill-over files) */
  uint32_t size;       /* size of the mapping or of the buffer */
  uint32_t viewLength; /* length of the current view */
  int64_t viewOffset;  /* file offset of the current view */
  orvFile *file;       /* the file mapped */
  orvHandle mapping;   /* the system mapping (system maps only) */
} orvFileMap;

/* The layer (called by servicesProcessInitialize/Terminate). */
ORV_API int orvFileProcessInitialize(void);
ORV_API void orvFileProcessTerminate(void);
ORV_API void orvFileInitializeStdFiles(void);

ORV_API orvFile *orvFileGetStdPtr(short which);
ORV_API int orvFileIsATerminal(orvFile *file);

/* orvFileOpen(flags, tag, value, ..., ORV_FILE_TAG_END). */
ORV_API orvFile *orvFileOpen(int flags, int tag, ...);
ORV_API int orvFileClose(orvFile *file, int options);

ORV_API uint32_t orvFileRead(orvFile *file, void *buffer, uint32_t size);
ORV_API uint32_t orvFileWrite(orvFile *file, const void *buffer, uint32_t size);
ORV_API uint16_t orvFileGetc(orvFile *file);
ORV_API char *orvFileGets(orvFile *file, char *buffer, int size);
ORV_API uint16_t orvFilePutc(orvFile *file, int character);
ORV_API int orvFilePuts(orvFile *file, const char *text);

ORV_API int orvFileSeek(orvFile *file, int64_t offset, int origin);
ORV_API int64_t orvFileTell(orvFile *file);
ORV_API int64_t orvFileSize(orvFile *file);
ORV_API int orvFileSetEOF(orvFile *file);
ORV_API uint32_t orvFileSeekRead(orvFile *file, int64_t offset, int origin, void *buffer, uint32_t size);
ORV_API uint32_t orvFileSeekWrite(orvFile *file, int64_t offset, int origin, const void *buffer,
                                  uint32_t size);
ORV_API int orvFileFlush(orvFile *file);
ORV_API int orvFileEOF(orvFile *file);
ORV_API int orvFileClearEOF(orvFile *file);

ORV_API int orvFileAccess(const char *path, int mode);
ORV_API int orvFileDelete(const char *path);
ORV_API int orvFileGetCurrentDirectory(char **directory);
ORV_API int orvFileError(void);

/* Memory maps. Access bit 2 of orvFileMemoryMapOpen asks for writing. */
#define ORV_FILE_MAP_WRITE 2
ORV_API orvFileMap *orvFileMemoryMapCreate(orvFile *file, uint32_t size);
ORV_API void *orvFileMemoryMapOpen(orvFileMap *map, int access, uint32_t offsetLow, uint32_t offsetHigh,
                                   uint32_t length);
ORV_API int orvFileMemoryMapClose(orvFileMap *map);
ORV_API int orvFileMemoryMapDestroy(orvFileMap *map);

ORV_EXTERN_C_END

#endif
