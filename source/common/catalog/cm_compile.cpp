// The catalog compiler (source text to the binary layout) and the dump that
// turns a catalog back into source text.
#include "common/catalog/cm_compile.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/catalog/cm_internal.h"
#include "common/strings/string_object.h"

namespace catalog {

namespace {

constexpr uint64_t kMaxFile = 0xFFFFFFFFull;

struct Parser {
  const std::string &text;
  const std::string &fileName;
  size_t pos = 0;
  int line = 1;
  std::string *error;

  bool fail(const std::string &problem) {
    *error = fileName + ":" + std::to_string(line) + ": " + problem;
    return false;
  }
  bool atLineEnd() const { return pos >= text.size() || text[pos] == '\n' || text[pos] == '#'; }
  void skipBlanks() {
    while (pos < text.size() && (text[pos] == ' ' || text[pos] == '\t' || text[pos] == '\r')) {
      ++pos;
    }
  }
  std::string word() {
    const size_t start = pos;
    while (pos < text.size() && (isalnum(static_cast<unsigned char>(text[pos])) != 0 || text[pos] == '_')) {
      ++pos;
    }
    return text.substr(start, pos - start);
  }
  // A decimal or 0x hexadecimal number up to 0xFFFFFFFF.
  bool number(uint32_t *out, const char *what) {
    const std::string w = word();
    if (w.empty()) {
      return fail(std::string("expected ") + what);
    }
    uint64_t v = 0;
    size_t i = 0;
    int base = 10;
    if (w.size() > 2 && w[0] == '0' && (w[1] == 'x' || w[1] == 'X')) {
      base = 16;
      i = 2;
    }
    for (; i < w.size(); ++i) {
      const char c = w[i];
      int d;
      if (c >= '0' && c <= '9') {
        d = c - '0';
      } else if (base == 16 && c >= 'a' && c <= 'f') {
        d = c - 'a' + 10;
      } else if (base == 16 && c >= 'A' && c <= 'F') {
        d = c - 'A' + 10;
      } else {
        return fail(std::string("bad ") + what + " '" + w + "'");
      }
      v = v * base + d;
      if (v > 0xFFFFFFFFull) {
        return fail(std::string(what) + " '" + w + "' out of range (0 to 0xFFFFFFFF)");
      }
    }
    *out = static_cast<uint32_t>(v);
    return true;
  }
  // One UTF-8 character at pos; false on a bad sequence.
  bool utf8(uint32_t *cp) {
    const auto b = [&](size_t k) { return static_cast<unsigned char>(text[pos + k]); };
    const unsigned char c = b(0);
    int n;
    uint32_t v;
    if (c < 0x80) {
      n = 1;
      v = c;
    } else if (c >= 0xC2 && c <= 0xDF) {
      n = 2;
      v = c & 0x1Fu;
    } else if (c >= 0xE0 && c <= 0xEF) {
      n = 3;
      v = c & 0x0Fu;
    } else if (c >= 0xF0 && c <= 0xF4) {
      n = 4;
      v = c & 0x07u;
    } else {
      return false;
    }
    if (pos + n > text.size()) {
      return false;
    }
    for (int k = 1; k < n; ++k) {
      if ((b(k) & 0xC0u) != 0x80u) {
        return false;
      }
      v = (v << 6) | (b(k) & 0x3Fu);
    }
    if ((n == 3 && v < 0x800) || (n == 4 && (v < 0x10000 || v > 0x10FFFF)) || (v >= 0xD800 && v <= 0xDFFF)) {
      return false;
    }
    pos += n;
    *cp = v;
    return true;
  }
  static void append(std::u16string *out, uint32_t cp) {
    if (cp >= 0x10000) {
      cp -= 0x10000;
      out->push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
      out->push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
    } else {
      out->push_back(static_cast<char16_t>(cp));
    }
  }
  // A quoted string with escapes.
  bool quoted(std::u16string *out) {
    skipBlanks();
    if (pos >= text.size() || text[pos] != '"') {
      return fail("expected a text in double quotes");
    }
    ++pos;
    for (;;) {
      if (pos >= text.size() || text[pos] == '\n') {
        return fail("text not closed by a double quote");
      }
      const char c = text[pos];
      if (c == '"') {
        ++pos;
        return true;
      }
      if (c != '\\') {
        uint32_t cp;
        if (!utf8(&cp)) {
          return fail("invalid UTF-8 in a text");
        }
        if (cp < 0x20 && cp != '\t') {
          return fail("control character in a text (write it as an escape)");
        }
        append(out, cp);
        continue;
      }
      ++pos;
      if (pos >= text.size()) {
        return fail("text not closed by a double quote");
      }
      const char e = text[pos++];
      switch (e) {
        case '"':
          out->push_back(u'"');
          break;
        case '\\':
          out->push_back(u'\\');
          break;
        case 'n':
          out->push_back(u'\n');
          break;
        case 'r':
          out->push_back(u'\r');
          break;
        case 't':
          out->push_back(u'\t');
          break;
        case '1':
          out->push_back(u'\x01');
          break;
        case 'u': {
          if (pos >= text.size() || text[pos] != '{') {
            return fail("bad escape '\\u': write \\u{hex digits}");
          }
          ++pos;
          uint32_t v = 0;
          int digits = 0;
          while (pos < text.size() && isxdigit(static_cast<unsigned char>(text[pos])) != 0 && digits < 7) {
            const char h = text[pos++];
            v = v * 16 + static_cast<uint32_t>(h <= '9' ? h - '0' : (h | 0x20) - 'a' + 10);
            ++digits;
          }
          if (digits == 0 || digits > 6 || pos >= text.size() || text[pos] != '}' || v > 0x10FFFF) {
            return fail("bad escape '\\u{...}': 1 to 6 hex digits up to 10FFFF");
          }
          ++pos;
          append(out, v);
          break;
        }
        default:
          return fail(std::string("bad escape '\\") + e + "'");
      }
    }
  }
  void skipToLineEnd() {
    skipBlanks();
    if (pos < text.size() && text[pos] == '#') {
      while (pos < text.size() && text[pos] != '\n') {
        ++pos;
      }
    }
  }
  bool endLine() {
    skipToLineEnd();
    if (pos < text.size() && text[pos] != '\n') {
      return fail("unexpected text after the entry");
    }
    return true;
  }
};

void put32(std::string &out, uint32_t v) {
  out.push_back(static_cast<char>(v >> 24));
  out.push_back(static_cast<char>(v >> 16));
  out.push_back(static_cast<char>(v >> 8));
  out.push_back(static_cast<char>(v));
}

void putUnits(std::string &out, const std::u16string &s) {
  for (char16_t u : s) {
    out.push_back(static_cast<char>(u >> 8));
    out.push_back(static_cast<char>(u & 0xFF));
  }
}

std::u16string unitsOf(const orvString *s) {
  const uint16_t *u = strings::unitsOf(s);
  return std::u16string(u, u + s->length);
}

std::string hex(uint32_t v) {
  char b[16];
  snprintf(b, sizeof b, "0x%08lX", static_cast<unsigned long>(v));
  return b;
}

}  // namespace

bool parseSource(const std::string &text, const std::string &fileName, Source *out, std::string *error) {
  *out = Source{};
  Parser p{text, fileName, 0, 1, error};
  bool haveTitle = false, haveV1 = false, haveV2 = false;
  if (text.size() >= 3 && text.compare(0, 3, "\xEF\xBB\xBF") == 0) {
    p.pos = 3;  // a byte-order mark
  }
  std::vector<std::pair<uint32_t, int>> seen;
  while (p.pos < text.size()) {
    p.skipBlanks();
    if (p.atLineEnd()) {
      p.skipToLineEnd();
    } else if (isdigit(static_cast<unsigned char>(text[p.pos])) != 0) {
      SourceMessage m{0, {}, p.line};
      if (!p.number(&m.id, "message id") || !p.quoted(&m.text) || !p.endLine()) {
        return false;
      }
      out->messages.push_back(std::move(m));
    } else {
      const std::string w = p.word();
      if (w == "title") {
        if (haveTitle) {
          return p.fail("a second title");
        }
        haveTitle = true;
        if (!p.quoted(&out->title) || !p.endLine()) {
          return false;
        }
      } else if (w == "version1" || w == "version2") {
        bool &have = w == "version1" ? haveV1 : haveV2;
        if (have) {
          return p.fail("a second " + w);
        }
        have = true;
        SourceVersion &v = w == "version1" ? out->version1 : out->version2;
        for (uint32_t &n : v.numbers) {
          p.skipBlanks();
          if (!p.number(&n, "version number")) {
            return false;
          }
        }
        if (!p.quoted(&v.text) || !p.endLine()) {
          return false;
        }
      } else {
        return p.fail(w.empty() ? "unexpected character" : "unknown keyword '" + w + "'");
      }
    }
    if (p.pos < text.size() && text[p.pos] == '\n') {
      ++p.pos;
      ++p.line;
    }
  }
  // Duplicate ids, reported at the second one.
  std::vector<const SourceMessage *> sorted;
  for (const SourceMessage &m : out->messages) {
    sorted.push_back(&m);
  }
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const SourceMessage *a, const SourceMessage *b) { return a->id < b->id; });
  for (size_t i = 1; i < sorted.size(); ++i) {
    if (sorted[i]->id == sorted[i - 1]->id) {
      const SourceMessage *later = sorted[i]->line > sorted[i - 1]->line ? sorted[i] : sorted[i - 1];
      const SourceMessage *earlier = later == sorted[i] ? sorted[i - 1] : sorted[i];
      *error = fileName + ":" + std::to_string(later->line) + ": duplicate message id " + hex(later->id) +
               " (first on line " + std::to_string(earlier->line) + ")";
      return false;
    }
  }
  return true;
}

bool writeCatalog(const Source &source, std::string *bytes, std::string *error) {
  std::vector<const SourceMessage *> sorted;
  uint64_t size = 12 + source.title.size() * 2 + 32 + source.version1.text.size() * 2 +
                  source.version2.text.size() * 2 + 4;
  for (const SourceMessage &m : source.messages) {
    sorted.push_back(&m);
    size += 8 + m.text.size() * 2;
  }
  if (size > kMaxFile) {
    *error = "the catalog would be larger than 4 GiB";
    return false;
  }
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const SourceMessage *a, const SourceMessage *b) { return a->id < b->id; });
  std::string &out = *bytes;
  out.clear();
  out.reserve(static_cast<size_t>(size));
  put32(out, static_cast<uint32_t>(size));
  put32(out, 0);
  put32(out, static_cast<uint32_t>(source.title.size()));
  putUnits(out, source.title);
  for (const SourceVersion *v : {&source.version1, &source.version2}) {
    for (uint32_t n : v->numbers) {
      put32(out, n);
    }
    put32(out, static_cast<uint32_t>(v->text.size()));
    putUnits(out, v->text);
  }
  put32(out, static_cast<uint32_t>(sorted.size()));
  uint64_t offset = out.size() + sorted.size() * 8;
  for (const SourceMessage *m : sorted) {
    put32(out, m->id);
    put32(out, static_cast<uint32_t>(offset));
    offset += m->text.size() * 2;
  }
  for (const SourceMessage *m : sorted) {
    putUnits(out, m->text);
  }
  const uint16_t crc = crc16(0, reinterpret_cast<const unsigned char *>(out.data()) + 8, out.size() - 8);
  out[6] = static_cast<char>(crc >> 8);
  out[7] = static_cast<char>(crc & 0xFF);
  return true;
}

bool compileSource(const std::string &text, const std::string &fileName, std::string *bytes,
                   std::string *error) {
  Source source;
  return parseSource(text, fileName, &source, error) && writeCatalog(source, bytes, error);
}

int readCatalog(const std::string &bytes, Source *out, std::string *problem) {
  *out = Source{};
  if (bytes.size() < 4) {
    *problem = "the file is shorter than its size field";
    return CM_ERR_DAMAGED;
  }
  const auto *b = reinterpret_cast<const unsigned char *>(bytes.data());
  const uint32_t sizeField = (static_cast<uint32_t>(b[0]) << 24) | (static_cast<uint32_t>(b[1]) << 16) |
                             (static_cast<uint32_t>(b[2]) << 8) | b[3];
  if (bytes.size() > kMaxFile || sizeField != bytes.size()) {
    *problem = "the size field does not match the file's size";
    return CM_ERR_DAMAGED;
  }
  cmCatalog c{};
  c.fileSize = sizeField;
  c.bytes = const_cast<unsigned char *>(b);
  const int rc = checkContents(&c);
  if (rc != 0) {
    *problem = lastOpenProblem();
    releaseContents(&c);
    return rc;
  }
  out->title = unitsOf(c.title);
  cmVersion *versions[2] = {&c.version1, &c.version2};
  SourceVersion *targets[2] = {&out->version1, &out->version2};
  for (int k = 0; k < 2; ++k) {
    for (int i = 0; i < 3; ++i) {
      targets[k]->numbers[i] = versions[k]->numbers[i];
    }
    targets[k]->text = unitsOf(versions[k]->text);
  }
  for (uint32_t i = 0; i < c.messageCount; ++i) {
    SourceMessage m{c.ids[i], {}, 0};
    for (uint32_t o = c.offsets[i]; o < c.offsets[i + 1]; o += 2) {
      m.text.push_back(static_cast<char16_t>((b[o] << 8) | b[o + 1]));
    }
    out->messages.push_back(std::move(m));
  }
  releaseContents(&c);
  problem->clear();
  return 0;
}

std::string toUtf8(const std::u16string &text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    uint32_t cp = text[i];
    if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
        text[i + 1] <= 0xDFFF) {
      cp = 0x10000 + ((cp - 0xD800) << 10) + (text[i + 1] - 0xDC00);
      ++i;
    }
    if (cp < 0x80) {
      out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
      out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
      out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
      out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
      out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    }
  }
  return out;
}

std::string quote(const std::u16string &text) {
  std::string out = "\"";
  for (size_t i = 0; i < text.size(); ++i) {
    const char16_t u = text[i];
    const bool pair =
        u >= 0xD800 && u <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF;
    if (u == u'"') {
      out += "\\\"";
    } else if (u == u'\\') {
      out += "\\\\";
    } else if (u == u'\n') {
      out += "\\n";
    } else if (u == u'\r') {
      out += "\\r";
    } else if (u == u'\t') {
      out += "\\t";
    } else if (u == 1) {
      out += "\\1";
    } else if (u < 0x20 || u == 0x7F || (u >= 0xD800 && u <= 0xDFFF && !pair)) {
      char b[16];
      snprintf(b, sizeof b, "\\u{%X}", static_cast<unsigned>(u));
      out += b;
    } else if (pair) {
      out += toUtf8(text.substr(i, 2));
      ++i;
    } else {
      out += toUtf8(std::u16string(1, u));
    }
  }
  out += "\"";
  return out;
}

std::string dumpSource(const Source &source, uint32_t fileSize, uint32_t checksum) {
  std::string out;
  char b[96];
  snprintf(b, sizeof b, "# fileSize %lu, checksum 0x%04lX, %lu messages\n",
           static_cast<unsigned long>(fileSize), static_cast<unsigned long>(checksum),
           static_cast<unsigned long>(source.messages.size()));
  out += b;
  out += "title " + quote(source.title) + "\n";
  const SourceVersion *versions[2] = {&source.version1, &source.version2};
  for (int k = 0; k < 2; ++k) {
    snprintf(b, sizeof b, "version%d %lu %lu %lu ", k + 1,
             static_cast<unsigned long>(versions[k]->numbers[0]),
             static_cast<unsigned long>(versions[k]->numbers[1]),
             static_cast<unsigned long>(versions[k]->numbers[2]));
    out += b + quote(versions[k]->text) + "\n";
  }
  for (const SourceMessage &m : source.messages) {
    out += hex(m.id) + " " + quote(m.text) + "\n";
  }
  return out;
}

}  // namespace catalog
