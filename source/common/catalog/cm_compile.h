// The catalog compiler and its inverse: a UTF-8 source text (title, two
// version records, one message per line; docs/catalogs.md) to the binary
// catalog layout, and a catalog's bytes back to source text. Used by the
// orv tool, the tests and the fuzz targets; not exported.
#ifndef ORVANE_CATALOG_CM_COMPILE_H
#define ORVANE_CATALOG_CM_COMPILE_H

#include <cstdint>
#include <string>
#include <vector>

namespace catalog {

struct SourceVersion {
  uint32_t numbers[3] = {0, 0, 0};
  std::u16string text;
};

struct SourceMessage {
  uint32_t id;
  std::u16string text;
  int line;
};

struct Source {
  std::u16string title;
  SourceVersion version1, version2;
  std::vector<SourceMessage> messages;  // in source order
};

// Parses source text. On failure returns false with *error set to
// "<fileName>:<line>: <problem>".
bool parseSource(const std::string &text, const std::string &fileName, Source *out, std::string *error);

// The binary layout of a parsed source: index sorted by id, big-endian,
// size and CRC-16/ARC filled in. False (with *error) when the file would
// pass 4 GiB.
bool writeCatalog(const Source &source, std::string *bytes, std::string *error);

// Compiles source text to catalog bytes (parseSource then writeCatalog).
bool compileSource(const std::string &text, const std::string &fileName, std::string *bytes,
                   std::string *error);

// Reads catalog bytes with every check of the open. Returns 0 and the parsed
// contents, or the open's error code (2, 5 or 9) with *problem naming the
// first problem found.
int readCatalog(const std::string &bytes, Source *out, std::string *problem);

// Source text of a catalog: its header fields as comments, the title, the
// version records and every message, so that compiling the text gives the
// same bytes back.
std::string dumpSource(const Source &source, uint32_t fileSize, uint32_t checksum);

// A string as a quoted source literal (with the escapes of the format).
std::string quote(const std::u16string &text);

// UTF-16 units as UTF-8 (lone surrogates as their three-byte forms).
std::string toUtf8(const std::u16string &text);

}  // namespace catalog

#endif
