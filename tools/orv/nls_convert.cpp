// orv nls convert --from SET --to SET [FILE]: converts text between character
// sets through the library (character-set objects made from the table that
// ORVNLSTAB names), with utf-8 for a terminal on either side. The text is
// converted line by line, so that an error names its line.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "nls_commands.h"
#include "orvane/charsets.h"
#include "orvane/frame.h"
#include "orvane/nls.h"

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#endif

namespace orv {

namespace {

using Units = std::vector<uint16_t>;

bool isUtf8(const std::string &name) { return name == "utf-8" || name == "UTF-8" || name == "utf8"; }

// UTF-8 to UTF-16; false on a malformed sequence.
bool decodeUtf8(const std::string &in, Units &out) {
  for (size_t i = 0; i < in.size();) {
    const unsigned char c = static_cast<unsigned char>(in[i]);
    uint32_t cp;
    size_t n;
    if (c < 0x80) {
      cp = c;
      n = 1;
    } else if ((c & 0xE0) == 0xC0) {
      cp = c & 0x1Fu;
      n = 2;
    } else if ((c & 0xF0) == 0xE0) {
      cp = c & 0x0Fu;
      n = 3;
    } else if ((c & 0xF8) == 0xF0) {
      cp = c & 0x07u;
      n = 4;
    } else {
      return false;
    }
    if (i + n > in.size()) {
      return false;
    }
    for (size_t k = 1; k < n; ++k) {
      const unsigned char t = static_cast<unsigned char>(in[i + k]);
      if ((t & 0xC0) != 0x80) {
        return false;
      }
      cp = cp << 6 | (t & 0x3Fu);
    }
    static const uint32_t kMinimum[] = {0, 0, 0x80, 0x800, 0x10000};
    if (cp < kMinimum[n] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
      return false;
    }
    if (cp >= 0x10000) {
      cp -= 0x10000;
      out.push_back(static_cast<uint16_t>(0xD800 + (cp >> 10)));
      out.push_back(static_cast<uint16_t>(0xDC00 + (cp & 0x3FF)));
    } else {
      out.push_back(static_cast<uint16_t>(cp));
    }
    i += n;
  }
  return true;
}

void encodeUtf8(const Units &in, std::string &out) {
  for (size_t i = 0; i < in.size(); ++i) {
    uint32_t cp = in[i];
    if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < in.size() && in[i + 1] >= 0xDC00 && in[i + 1] <= 0xDFFF) {
      cp = 0x10000 + ((cp - 0xD800) << 10) + (in[i + 1] - 0xDC00u);
      ++i;
    } else if (cp >= 0xD800 && cp <= 0xDFFF) {
      cp = 0xFFFD;
    }
    if (cp < 0x80) {
      out += static_cast<char>(cp);
    } else if (cp < 0x800) {
      out += static_cast<char>(0xC0 | cp >> 6);
      out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
      out += static_cast<char>(0xE0 | cp >> 12);
      out += static_cast<char>(0x80 | (cp >> 6 & 0x3F));
      out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | cp >> 18);
      out += static_cast<char>(0x80 | (cp >> 12 & 0x3F));
      out += static_cast<char>(0x80 | (cp >> 6 & 0x3F));
      out += static_cast<char>(0x80 | (cp & 0x3F));
    }
  }
}

// One side of the conversion: UTF-8 handled here, or a library set.
struct Side {
  std::string name;
  bool utf8 = false;
  orvCharSet set = 0;
  uint32_t terminatorBytes = 0;  // the bytes the set writes for the 0 unit
};

bool open(Side &side) {
  if (isUtf8(side.name)) {
    side.utf8 = true;
    return true;
  }
  int error = 0;
  side.set = orvCharacterSetCreate(side.name.c_str(), &error);
  if (side.set == 0) {
    fprintf(stderr, "orv nls convert: no character set %s (error %d)\n", side.name.c_str(), error);
    return false;
  }
  const uint16_t nothing[1] = {0};
  uint32_t length = 0;
  char *terminator = orvCharacterSetConvertFromUnicode(side.set, nothing, &length, &side.terminatorBytes);
  if (terminator == nullptr) {
    side.terminatorBytes = 0;
  }
  orvMemoryFreeFunc(terminator);
  return true;
}

bool toUnits(const Side &side, const std::string &bytes, Units &units) {
  if (bytes.empty()) {
    return true;
  }
  if (side.utf8) {
    return decodeUtf8(bytes, units);
  }
  uint32_t length = side.set == ORV_CHARSET_UNICODE ? static_cast<uint32_t>(bytes.size() / 2)
                                                    : static_cast<uint32_t>(bytes.size());
  if (length == 0) {
    return true;
  }
  uint16_t *u = orvCharacterSetConvertToUnicode(side.set, bytes.data(), &length, nullptr);
  if (u == nullptr) {
    return false;
  }
  units.assign(u, u + length);
  orvMemoryFreeFunc(u);
  return true;
}

bool fromUnits(const Side &side, const Units &units, std::string &bytes) {
  if (units.empty()) {
    return true;
  }
  if (side.utf8) {
    encodeUtf8(units, bytes);
    return true;
  }
  Units terminated = units;
  terminated.push_back(0);
  uint32_t length = static_cast<uint32_t>(units.size());
  uint32_t size = 0;
  char *n = orvCharacterSetConvertFromUnicode(side.set, terminated.data(), &length, &size);
  if (n == nullptr) {
    return false;
  }
  bytes.append(n, size >= side.terminatorBytes ? size - side.terminatorBytes : size);
  orvMemoryFreeFunc(n);
  return true;
}

std::string readAll(FILE *in) {
  std::string text;
  char chunk[65536];
  size_t n;
  while ((n = fread(chunk, 1, sizeof chunk, in)) > 0) {
    text.append(chunk, n);
  }
  return text;
}

}  // namespace

int runNlsConvert(int argc, char **argv) {
  Side from;
  Side to;
  const char *file = nullptr;
  for (int i = 0; i < argc; ++i) {
    if (strcmp(argv[i], "--from") == 0 && i + 1 < argc) {
      from.name = argv[++i];
    } else if (strcmp(argv[i], "--to") == 0 && i + 1 < argc) {
      to.name = argv[++i];
    } else if (file == nullptr && argv[i][0] != '-') {
      file = argv[i];
    } else {
      file = nullptr;
      from.name.clear();
      break;
    }
  }
  if (from.name.empty() || to.name.empty()) {
    fputs("usage: orv nls convert --from SET --to SET [FILE]\n", stderr);
    return 2;
  }
  const int status = nlsInit();
  if (status != NLS_OK && status != NLS_ERR_CHARSET_OBJECT && status != NLS_ERR_MESSAGE_SET) {
    fprintf(stderr, "orv nls convert: the NLS table did not load: error %d (%s)\n", status,
            nlsStatusText(status));
    return 1;
  }
  int rc = 1;
  if (open(from) && open(to)) {
    FILE *in = file != nullptr ? fopen(file, "rb") : stdin;
#if defined(_WIN32)
    _setmode(_fileno(stdin), _O_BINARY);
    _setmode(_fileno(stdout), _O_BINARY);
#endif
    if (in == nullptr) {
      fprintf(stderr, "orv nls convert: %s does not open\n", file);
    } else {
      std::string text = readAll(in);
      if (in != stdin) {
        fclose(in);
      }
      rc = 0;
      // Line by line (by UTF-16 line for a UTF-16 source), so that an error
      // names its line.
      const bool wide = !from.utf8 && from.set == ORV_CHARSET_UNICODE;
      size_t line = 1;
      for (size_t at = 0; at < text.size() && rc == 0; ++line) {
        size_t end = at;
        if (wide) {
          while (end + 1 < text.size() && !(text[end] == '\n' && text[end + 1] == '\0')) {
            end += 2;
          }
          end = end + 2 <= text.size() ? end + 2 : text.size();
        } else {
          end = text.find('\n', at);
          end = end == std::string::npos ? text.size() : end + 1;
        }
        Units units;
        std::string out;
        if (!toUnits(from, text.substr(at, end - at), units)) {
          fprintf(stderr, "orv nls convert: line %zu is not valid %s\n", line, from.name.c_str());
          rc = 1;
        } else if (!fromUnits(to, units, out)) {
          fprintf(stderr, "orv nls convert: line %zu has a character that %s lacks\n", line, to.name.c_str());
          rc = 1;
        } else {
          fwrite(out.data(), 1, out.size(), stdout);
        }
        at = end;
      }
    }
  }
  orvCharacterSetDestroy(from.set);
  orvCharacterSetDestroy(to.set);
  nlsTerminate();
  return rc;
}

}  // namespace orv
