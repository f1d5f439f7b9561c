// The character-set definition parser.
//
// A definition is read left to right; white space and control characters
// separate tokens:
//   #            a comment to the end of the line
//   BASE n       the Unicode value of the next entry
//   n            an entry: the current Unicode value maps to the single byte
//                n; the Unicode value then goes up by one
//   { n ... }    an entry whose native code is the given bytes (up to four)
//   - n          after a single-byte entry: entries for every following byte
//                up to n, each with the next Unicode value
// Numbers are decimal, or hexadecimal after "0x". Parsing stops at the first
// error; the end of the text ends it normally (an unfinished construct
// there is dropped).
#include <stdlib.h>

#include "common/nls/nls_alloc.h"
#include "common/strings/charset_internal.h"

namespace charsets {

namespace {

enum class Construct { kNone, kBraces, kBase, kRange };

bool isSeparator(unsigned char c) { return c <= 0x20 || c == 0x7F; }
bool isLetter(unsigned char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool isDigit(unsigned char c) { return c >= '0' && c <= '9'; }

int hexDigit(unsigned char c) {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  if (c >= 'a' && c <= 'f') {
    return c - 'a' + 10;
  }
  if (c >= 'A' && c <= 'F') {
    return c - 'A' + 10;
  }
  return -1;
}

class Parser {
 public:
  Parser(const char *text, ParsedDefinition &out)
      : p_(reinterpret_cast<const unsigned char *>(text)), out_(out) {}

  int run() {
    while (*p_ != 0) {
      unsigned char c = *p_;
      int rc = 0;
      if (isSeparator(c)) {
        ++p_;
      } else if (c == '#') {
        rc = comment();
      } else if (c == 'B' || c == 'b') {
        rc = word();
      } else if (c == '{') {
        rc = open();
      } else if (c == '}') {
        rc = close();
      } else if (c == '-') {
        rc = dash();
      } else if (isDigit(c)) {
        rc = number();
      } else {
        rc = ORV_CHARSET_ERR_BAD_CHARACTER;
      }
      if (rc != 0) {
        return rc;
      }
    }
    return out_.count == 0 ? ORV_CHARSET_ERR_EMPTY : 0;
  }

 private:
  int comment() {
    if (construct_ != Construct::kNone) {
      return ORV_CHARSET_ERR_COMMENT_INSIDE;
    }
    while (*p_ != 0 && *p_ != '\n') {
      ++p_;
    }
    return 0;
  }

  int word() {
    const unsigned char *start = p_;
    while (isLetter(*p_)) {
      ++p_;
    }
    static const char kBase[] = "BASE";
    bool isBase = p_ - start == 4;
    for (int i = 0; isBase && i < 4; ++i) {
      isBase = (start[i] & ~0x20) == kBase[i];
    }
    if (!isBase) {
      return ORV_CHARSET_ERR_NOT_BASE;
    }
    if (construct_ != Construct::kNone) {
      return ORV_CHARSET_ERR_BASE_INSIDE;
    }
    construct_ = Construct::kBase;
    return 0;
  }

  int open() {
    ++p_;
    if (construct_ != Construct::kNone) {
      return ORV_CHARSET_ERR_BRACE_INSIDE;
    }
    construct_ = Construct::kBraces;
    braceCount_ = 0;
    return 0;
  }

  int close() {
    ++p_;
    if (construct_ != Construct::kBraces) {
      return ORV_CHARSET_ERR_CLOSE_WITHOUT_OPEN;
    }
    if (braceCount_ == 0) {
      return ORV_CHARSET_ERR_BAD_CHARACTER;  // "{}" names no code
    }
    uint32_t code = 0;
    for (int i = braceCount_ - 1; i >= 0; --i) {
      code = code << 8 | braceBytes_[i];
    }
    construct_ = Construct::kNone;
    lastSingle_ = -1;
    return add(code, braceCount_);
  }

  int dash() {
    ++p_;
    if (construct_ != Construct::kNone) {
      return ORV_CHARSET_ERR_DASH_INSIDE;
    }
    if (lastSingle_ < 0) {
      return ORV_CHARSET_ERR_DASH_ALONE;
    }
    construct_ = Construct::kRange;
    return 0;
  }

  // Reads a decimal or "0x" hexadecimal number; false when it has no digits
  // or does not fit in 32 bits.
  bool readNumber(uint32_t &value) {
    uint64_t v = 0;
    if (p_[0] == '0' && (p_[1] == 'x' || p_[1] == 'X')) {
      p_ += 2;
      if (hexDigit(*p_) < 0) {
        return false;
      }
      for (int d; (d = hexDigit(*p_)) >= 0; ++p_) {
        v = v * 16 + static_cast<uint64_t>(d);
        if (v > 0xFFFFFFFFu) {
          return false;
        }
      }
    } else {
      for (; isDigit(*p_); ++p_) {
        v = v * 10 + static_cast<uint64_t>(*p_ - '0');
        if (v > 0xFFFFFFFFu) {
          return false;
        }
      }
    }
    value = static_cast<uint32_t>(v);
    return true;
  }

  int number() {
    uint32_t value = 0;
    if (!readNumber(value)) {
      return ORV_CHARSET_ERR_BAD_CHARACTER;
    }
    switch (construct_) {
      case Construct::kNone:
        if (value > 0xFF) {
          return ORV_CHARSET_ERR_BAD_CHARACTER;  // a single native byte
        }
        lastSingle_ = static_cast<int>(value);
        return add(value, 1);
      case Construct::kBraces:
        if (braceCount_ == 4) {
          return ORV_CHARSET_ERR_FIFTH_BYTE;
        }
        if (value > 0xFF) {
          return ORV_CHARSET_ERR_BAD_CHARACTER;
        }
        braceBytes_[braceCount_++] = static_cast<uint8_t>(value);
        return 0;
      case Construct::kBase:
        if (value > 0xFFFF) {
          return ORV_CHARSET_ERR_BAD_CHARACTER;  // Unicode values are 16 bits
        }
        unicode_ = value;
        construct_ = Construct::kNone;
        lastSingle_ = -1;
        return 0;
      case Construct::kRange:
        return range(value);
    }
    return ORV_CHARSET_ERR_BAD_CHARACTER;
  }

  int range(uint32_t end) {
    construct_ = Construct::kNone;
    if (end <= static_cast<uint32_t>(lastSingle_) || end >= 255) {
      return ORV_CHARSET_ERR_RANGE_END;
    }
    for (uint32_t b = static_cast<uint32_t>(lastSingle_) + 1; b <= end; ++b) {
      if (int rc = add(b, 1); rc != 0) {
        return rc;
      }
    }
    lastSingle_ = static_cast<int>(end);
    return 0;
  }

  int add(uint32_t native, int length) {
    if (unicode_ > 0xFFFF) {
      return ORV_CHARSET_ERR_BAD_CHARACTER;  // ran past the last Unicode value
    }
    if (out_.count == out_.capacity) {
      uint32_t capacity = out_.capacity == 0 ? 256 : out_.capacity * 2;
      auto *grown =
          static_cast<CharMapEntry *>(nls::reallocate(out_.entries, capacity * sizeof(CharMapEntry)));
      if (grown == nullptr) {
        return ORV_CHARSET_ERR_NO_MEMORY;
      }
      out_.entries = grown;
      out_.capacity = capacity;
    }
    CharMapEntry &e = out_.entries[out_.count++];
    e.unicode = static_cast<uint16_t>(unicode_);
    e.native = native;
    e.length = static_cast<uint8_t>(length);
    ++unicode_;
    return 0;
  }

  const unsigned char *p_;
  ParsedDefinition &out_;
  Construct construct_ = Construct::kNone;
  uint8_t braceBytes_[4] = {};
  int braceCount_ = 0;
  uint32_t unicode_ = 0;
  int lastSingle_ = -1;  // the byte of the last entry when it was a single byte
};

}  // namespace

int parseDefinition(const char *text, ParsedDefinition &out) {
  if (text == nullptr) {
    return ORV_CHARSET_ERR_EMPTY;
  }
  Parser parser(text, out);
  return parser.run();
}

}  // namespace charsets
