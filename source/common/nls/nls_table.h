// The NLS table file: finding it, reading it line by line, and loading it
// into the national-language state.
#ifndef ORVANE_NLS_TABLE_H
#define ORVANE_NLS_TABLE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace nls {

// Buffer sizes of the table's lines: ordinary lines, the content lines of
// CHARMAP blocks, and the lines of collation blocks.
constexpr size_t kLineBufferSize = 1024;
constexpr size_t kCharMapLineBufferSize = 256;
constexpr size_t kCollationLineBufferSize = 2048;

// Reads the table as fgets would into a buffer of a given size: a line that
// does not fit (its newline included) is overlong, and so is a last line
// without a newline; the part of an overlong line that did not fit is
// skipped. Every line read counts in the line counter. A carriage return
// before the newline belongs to the line ending.
class TableReader {
 public:
  enum Result { kLine, kOverlong, kEnd };

  TableReader(FILE *file, uint32_t &lineCounter);
  TableReader(const TableReader &) = delete;
  TableReader &operator=(const TableReader &) = delete;

  Result next(size_t bufferSize);

  // The line without its ending (for an overlong line, what fitted).
  const char *text() const { return line_; }
  // The bytes the line took in the file, continuation and newline included.
  size_t rawBytes() const { return raw_; }
  // True when the line's first significant character is "#" or it has none.
  bool isComment() const { return comment_; }

 private:
  bool refill();

  FILE *file_;
  uint32_t &counter_;
  char block_[16384] = {};
  size_t pos_ = 0;
  size_t end_ = 0;
  bool eof_ = false;
  char line_[kCollationLineBufferSize] = {};
  size_t raw_ = 0;
  bool comment_ = false;
};

// Opens the table file: the path found before, or the search through the
// setting ORVNLSTAB (the current directory joined with the value, the value
// itself, the executable's directory joined with the value); the path that
// opened is kept. Returns 0, 1 (not configured), 2 (not found) or 3 (out of
// memory).
int openTable(FILE **file);

// Loads the table: locale lines, CHARMAP blocks, MBCHARMAP records; skips
// LCCOLLATE blocks. Returns 0 or the first error (6 to 11, 3).
int loadTable(FILE *file, const char *path);

// The lines of the MBCHARMAP block of the named set, read again from the
// file the block was found in: a heap buffer the caller frees, or null (with
// *noMemory set when memory ran out rather than the block being missing).
char *readMbCharMap(const char *name, bool *noMemory = nullptr);

}  // namespace nls

#endif
