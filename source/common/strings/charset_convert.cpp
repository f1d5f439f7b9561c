// Conversion between native text and UTF-16.
//
// To Unicode: at each position the native lengths of the set are tried from
// the longest down to the shortest, and the first code found gives the unit
// and the step. A position that matches at no length fails the whole
// conversion. The entry whose Unicode value is 0 ends it. The output starts
// at length + 1 units (1024 when the length is not known) and doubles when
// full; the result is then cut down to its exact size.
//
// From Unicode: every unit, the terminating 0 unit included, is looked up;
// a unit without an entry fails the conversion.
#include <stdlib.h>
#include <string.h>

#include "common/nls/nls_alloc.h"
#include "common/strings/charset_internal.h"

namespace charsets {

namespace {

constexpr uint32_t kUnknownLengthStart = 1024;

size_t unitLength(const uint16_t *units) {
  size_t n = 0;
  while (units[n] != 0) {
    ++n;
  }
  return n;
}

// A growing array of UTF-16 units.
class UnitBuffer {
 public:
  explicit UnitBuffer(size_t capacity) : capacity_(capacity) {
    units_ = static_cast<uint16_t *>(nls::allocate(capacity_ * sizeof(uint16_t)));
  }
  ~UnitBuffer() { free(units_); }
  UnitBuffer(const UnitBuffer &) = delete;
  UnitBuffer &operator=(const UnitBuffer &) = delete;

  bool ok() const { return units_ != nullptr; }

  // Room for one more unit (and later the terminator).
  bool reserve(size_t used) {
    if (used + 1 < capacity_) {
      return true;
    }
    size_t capacity = capacity_ * 2;
    auto *grown = static_cast<uint16_t *>(nls::reallocate(units_, capacity * sizeof(uint16_t)));
    if (grown == nullptr) {
      return false;
    }
    units_ = grown;
    capacity_ = capacity;
    return true;
  }

  uint16_t *data() { return units_; }

  // Terminates after count units and hands the block over, cut down to its
  // exact size.
  uint16_t *finish(size_t count, uint32_t &byteSize) {
    units_[count] = 0;
    size_t exact = (count + 1) * sizeof(uint16_t);
    uint16_t *result = units_;
    size_t size = capacity_ * sizeof(uint16_t);
    if (size > exact) {
      if (auto *shrunk = static_cast<uint16_t *>(nls::reallocate(units_, exact))) {
        result = shrunk;
        size = exact;
      }
    }
    units_ = nullptr;
    byteSize = static_cast<uint32_t>(size);
    return result;
  }

 private:
  uint16_t *units_;
  size_t capacity_;
};

char *shrinkBytes(char *block, size_t used, size_t capacity, uint32_t &byteSize) {
  if (capacity > used) {
    if (auto *shrunk = static_cast<char *>(nls::reallocate(block, used))) {
      byteSize = static_cast<uint32_t>(used);
      return shrunk;
    }
  }
  byteSize = static_cast<uint32_t>(capacity);
  return block;
}

// Native bytes [0, n) of a record's set into out; false on a position that
// matches nothing or when memory runs out.
bool nativeToUnicode(const CharSetRecord *r, const unsigned char *s, size_t n, UnitBuffer &out,
                     size_t &produced) {
  size_t pos = 0;
  size_t o = 0;
  const FastIndex *fast = r->fast;
  while (pos < n) {
    uint32_t found = 0;
    int step = 0;
    if (fast != nullptr) {
      const unsigned char b = s[pos];
      if (r->maxLength == 2 && pos + 1 < n && fast->pairs[b] != nullptr &&
          (found = fast->pairs[b][s[pos + 1]])) {
        step = 2;
      } else if (r->minLength == 1 && (found = fast->single[b])) {
        step = 1;
      }
    } else {
      for (int length = r->maxLength; length >= r->minLength && step == 0; --length) {
        if (pos + static_cast<size_t>(length) > n) {
          continue;
        }
        uint32_t code = 0;
        for (int i = length - 1; i >= 0; --i) {
          code = code << 8 | s[pos + static_cast<size_t>(i)];
        }
        if (const CharMapEntry *e = findByNative(r, code, length)) {
          found = 0x10000u | e->unicode;
          step = length;
        }
      }
    }
    if (step == 0) {
      return false;
    }
    const uint16_t unit = static_cast<uint16_t>(found);
    if (unit == 0) {
      break;
    }
    if (!out.reserve(o)) {
      return false;
    }
    out.data()[o++] = unit;
    pos += static_cast<size_t>(step);
  }
  produced = o;
  return true;
}

uint16_t *toUnicode(orvCharSet handle, const void *text, uint32_t *length, uint32_t *byteSize) {
  const uint32_t given = length != nullptr ? *length : 0;
  uint32_t size = 0;
  uint16_t *result = nullptr;
  size_t produced = 0;
  if (handle == ORV_CHARSET_ASCII || handle == ORV_CHARSET_UNICODE) {
    // Byte to unit, or unit to unit, up to the terminator or the length.
    const bool unicode = handle == ORV_CHARSET_UNICODE;
    size_t n = given;
    if (n == 0) {
      n = unicode ? unitLength(static_cast<const uint16_t *>(text)) : strlen(static_cast<const char *>(text));
    }
    UnitBuffer out(n + 1);
    if (!out.ok()) {
      return nullptr;
    }
    if (unicode) {
      memcpy(out.data(), text, n * sizeof(uint16_t));
    } else {
      const auto *bytes = static_cast<const unsigned char *>(text);
      for (size_t i = 0; i < n; ++i) {
        out.data()[i] = bytes[i];
      }
    }
    produced = n;
    result = out.finish(n, size);
  } else {
    const auto *r = recordOf(handle);
    const auto *bytes = static_cast<const unsigned char *>(text);
    // Without a length the text runs to its terminator, whose conversion
    // (to the unit 0) ends it.
    const size_t n = given != 0 ? given : strlen(static_cast<const char *>(text)) + 1;
    UnitBuffer out(given != 0 ? static_cast<size_t>(given) + 1 : kUnknownLengthStart);
    if (!out.ok() || !nativeToUnicode(r, bytes, n, out, produced)) {
      return nullptr;
    }
    result = out.finish(produced, size);
  }
  if (length != nullptr) {
    *length = static_cast<uint32_t>(produced);
  }
  if (byteSize != nullptr) {
    *byteSize = size;
  }
  return result;
}

// The accelerated path of sets with characters of one and two bytes: both
// bytes of the packed code are always stored (out has room for two bytes per
// unit) and the position moves by the character's length.
bool unicodeToNativeNarrow(const FastIndex *fast, const uint16_t *units, size_t n, unsigned char *out,
                           size_t &used) {
  size_t o = 0;
  for (size_t i = 0; i <= n; ++i) {
    const uint16_t u = i < n ? units[i] : 0;
    const uint32_t *page = fast->pages[u >> 8];
    const uint32_t v = page != nullptr ? page[u & 0xFF] : 0;
    if (v == 0) {
      return false;
    }
    out[o] = static_cast<unsigned char>(v);
    out[o + 1] = static_cast<unsigned char>(v >> 8);
    o += v >> 24 & 0x7F;
  }
  used = o;
  return true;
}

// Writes the native bytes of each unit and of the terminating 0 unit.
bool unicodeToNative(const CharSetRecord *r, const uint16_t *units, size_t n, unsigned char *out,
                     size_t &used) {
  const FastIndex *fast = r->fast;
  if (fast != nullptr && r->maxLength == 2) {
    return unicodeToNativeNarrow(fast, units, n, out, used);
  }
  size_t o = 0;
  for (size_t i = 0; i <= n; ++i) {
    const uint16_t u = i < n ? units[i] : 0;
    uint32_t native;
    uint32_t length;
    if (fast != nullptr) {
      const uint32_t *page = fast->pages[u >> 8];
      const uint32_t v = page != nullptr ? page[u & 0xFF] : 0;
      if (v == 0) {
        return false;
      }
      native = v & 0xFFFFFF;
      length = v >> 24 & 0x7F;
    } else {
      const CharMapEntry *e = findByUnicode(r, u);
      if (e == nullptr) {
        return false;
      }
      native = e->native;
      length = e->length;
    }
    for (uint32_t k = 0; k < length; ++k) {
      out[o++] = static_cast<unsigned char>(native >> (8 * k));
    }
  }
  used = o;
  return true;
}

char *fromUnicode(orvCharSet handle, const uint16_t *units, uint32_t *length, uint32_t *byteSize) {
  const size_t n = length != nullptr && *length != 0 ? *length : unitLength(units);
  size_t width;
  if (handle == ORV_CHARSET_ASCII) {
    width = 1;
  } else if (handle == ORV_CHARSET_UNICODE) {
    width = 2;
  } else {
    width = static_cast<size_t>(recordOf(handle)->maxLength);
  }
  if (n + 1 > SIZE_MAX / width) {
    return nullptr;
  }
  const size_t capacity = (n + 1) * width;
  auto *out = static_cast<char *>(nls::allocate(capacity));
  if (out == nullptr) {
    return nullptr;
  }
  size_t used = 0;
  if (handle == ORV_CHARSET_ASCII) {
    // The low byte of each unit, without any check.
    for (size_t i = 0; i < n; ++i) {
      out[i] = static_cast<char>(units[i] & 0xFF);
    }
    out[n] = '\0';
    used = n + 1;
  } else if (handle == ORV_CHARSET_UNICODE) {
    memcpy(out, units, n * sizeof(uint16_t));
    out[2 * n] = '\0';
    out[2 * n + 1] = '\0';
    used = capacity;
  } else if (!unicodeToNative(recordOf(handle), units, n, reinterpret_cast<unsigned char *>(out), used)) {
    free(out);
    return nullptr;
  }
  uint32_t size = 0;
  char *result = shrinkBytes(out, used, capacity, size);
  if (length != nullptr) {
    *length = static_cast<uint32_t>(n);
  }
  if (byteSize != nullptr) {
    *byteSize = static_cast<uint32_t>(used);
  }
  (void)size;
  return result;
}

bool validHandle(orvCharSet handle) { return handle != 0; }

}  // namespace

}  // namespace charsets

extern "C" {

ORV_API uint16_t *orvCharacterSetConvertToUnicode(orvCharSet charSet, const void *text, uint32_t *length,
                                                  uint32_t *byteSize) {
  if (!charsets::validHandle(charSet) || text == nullptr) {
    return nullptr;
  }
  return charsets::toUnicode(charSet, text, length, byteSize);
}

ORV_API char *orvCharacterSetConvertFromUnicode(orvCharSet charSet, const uint16_t *units, uint32_t *length,
                                                uint32_t *byteSize) {
  if (!charsets::validHandle(charSet) || units == nullptr) {
    return nullptr;
  }
  return charsets::fromUnicode(charSet, units, length, byteSize);
}

}  // extern "C"
