// The object-stream class vtmXdr: little-endian, unaligned values in a
// buffer the object owns and grows by 256 bytes (encoding) or a buffer the
// caller lends (decoding). Failures set the status and throw the object's
// address; every member traces its entry and exit through bits 30 and 31
// of the trace object's mask.
#include "orvane/vtmxdr.h"

#include <inttypes.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <atomic>
#include <new>

#include "common/nls/nls_alloc.h"
#include "common/nls/nls_state.h"
#include "common/xdr/vtmxdr_internal.h"
#include "orvane/charsets.h"

namespace {

// The hidden header of an owned block. Its size is fixed at 16 bytes so the
// bytes after it keep malloc's alignment on 32- and 64-bit targets.
struct BlockHeader {
  std::atomic<uint32_t> refs;
  BlockHeader *next;
};
constexpr size_t kHeaderSize = 16;
static_assert(sizeof(BlockHeader) <= kHeaderSize, "header fits its slot");

std::atomic<BlockHeader *> gKept{nullptr};
std::atomic<size_t> gKeptCount{0};

BlockHeader *headerOf(void *bytes) {
  return reinterpret_cast<BlockHeader *>(static_cast<unsigned char *>(bytes) - kHeaderSize);
}

// A zeroed owned block of size bytes, or null.
unsigned char *blockAlloc(uint64_t size) {
  if (size > SIZE_MAX - kHeaderSize) {
    return nullptr;
  }
  void *raw = nls::allocate(static_cast<size_t>(size) + kHeaderSize);
  if (raw == nullptr) {
    return nullptr;
  }
  memset(raw, 0, static_cast<size_t>(size) + kHeaderSize);
  BlockHeader *h = new (raw) BlockHeader;
  h->refs.store(1);
  h->next = nullptr;
  return static_cast<unsigned char *>(raw) + kHeaderSize;
}

void blockRetain(void *bytes) {
  if (bytes != nullptr) {
    headerOf(bytes)->refs.fetch_add(1);
  }
}

void blockRelease(void *bytes) {
  if (bytes == nullptr) {
    return;
  }
  BlockHeader *h = headerOf(bytes);
  if (h->refs.fetch_sub(1) == 1) {
    h->~BlockHeader();
    free(h);
  }
}

// Drops one reference without freeing: the last holder parks the block on
// the process-wide list of kept trace buffers.
void blockKeep(void *bytes) {
  if (bytes == nullptr) {
    return;
  }
  BlockHeader *h = headerOf(bytes);
  if (h->refs.fetch_sub(1) == 1) {
    BlockHeader *head = gKept.load();
    do {
      h->next = head;
    } while (!gKept.compare_exchange_weak(head, h));
    gKeptCount.fetch_add(1);
  }
}

// Grows an owned block from oldSize to newSize bytes (the new bytes zeroed).
// A block that other objects share is copied, so their pointers stay valid.
unsigned char *blockGrow(unsigned char *bytes, uint32_t oldSize, uint64_t newSize) {
  if (newSize > SIZE_MAX - kHeaderSize) {
    return nullptr;
  }
  if (bytes != nullptr && headerOf(bytes)->refs.load() == 1) {
    // The only holder: grown in place where the heap can (the header is
    // plain data, moved along by realloc).
    void *raw = nls::reallocate(headerOf(bytes), static_cast<size_t>(newSize) + kHeaderSize);
    if (raw == nullptr) {
      return nullptr;
    }
    unsigned char *grown = static_cast<unsigned char *>(raw) + kHeaderSize;
    memset(grown + oldSize, 0, static_cast<size_t>(newSize) - oldSize);
    return grown;
  }
  unsigned char *grown = blockAlloc(newSize);
  if (grown == nullptr) {
    return nullptr;
  }
  if (bytes != nullptr) {
    memcpy(grown, bytes, oldSize);
    blockRelease(bytes);
  }
  return grown;
}

intptr_t currentCharSet() { return nls::state().charSetObject; }

}  // namespace

namespace vtmxdr {

size_t keptTraceBuffers() { return gKeptCount.load(); }

}  // namespace vtmxdr

// The class's helpers: a friend, so that they stay out of the export table.
struct vtmXdrAccess {
  [[noreturn]] static void fail(vtmXdr *x, vtmXdr::status code) {
    x->m_status = code;
    throw x;
  }

  static bool tracing(const vtmXdr *x, uint32_t bit) {
    return x->m_trace != nullptr && x->m_traceBuffer != nullptr && (x->m_trace->mask & bit) != 0;
  }

  // Formats one line into the 128-byte trace buffer and writes it. Returns
  // false when the writer failed (it threw) or the line could not be
  // formatted.
  static bool writeLine(vtmXdr *x, uint32_t bit, const char *name, const char *format, va_list args) {
    char *buf = x->m_traceBuffer;
    int head = snprintf(buf, VTM_XDR_TRACE_BUFFER, "0x%x 0x%x vtmXdr::%s 0x%" PRIxPTR, bit,
                        static_cast<unsigned>(x->m_status), name, reinterpret_cast<uintptr_t>(x));
    if (head < 0) {
      return false;
    }
    size_t used = strlen(buf);
    if (format != nullptr && used + 1 < VTM_XDR_TRACE_BUFFER) {
      if (vsnprintf(buf + used, VTM_XDR_TRACE_BUFFER - used, format, args) < 0) {
        return false;
      }
    }
    size_t length = strnlen(buf, VTM_XDR_TRACE_BUFFER - 1);
    try {
      traceObjWrite(x->m_trace, bit, buf, static_cast<uint32_t>(length));
    } catch (...) {
      return false;
    }
    return true;
  }

  // A trace line when the object traces bit: tested here, inline, so that
  // an object that does not trace pays for no call and no argument set-up.
  template <typename... Args>
  static void line(vtmXdr *x, uint32_t bit, const char *name, const char *format, Args... args) {
    if (tracing(x, bit)) {
      lineText(x, bit, name, format, args...);
    }
  }
  static void line(vtmXdr *x, uint32_t bit, const char *name) {
    if (tracing(x, bit)) {
      lineText(x, bit, name, nullptr);
    }
  }

  // A failed line releases the trace buffer, drops the trace object, sets
  // status 6 and throws.
  static void lineText(vtmXdr *x, uint32_t bit, const char *name, const char *format, ...) {
    va_list args;
    va_start(args, format);
    bool written = writeLine(x, bit, name, format, args);
    va_end(args);
    if (!written) {
      blockRelease(x->m_traceBuffer);
      x->m_traceBuffer = nullptr;
      x->m_trace = nullptr;
      fail(x, vtmXdr::traceFailed);
    }
  }

  // The destructor's variant: never throws.
  static void quietLine(vtmXdr *x, uint32_t bit, const char *name, const char *format = nullptr, ...) {
    if (!tracing(x, bit)) {
      return;
    }
    va_list args;
    va_start(args, format);
    bool written = writeLine(x, bit, name, format, args);
    va_end(args);
    if (!written) {
      x->m_trace = nullptr;
      x->m_status = vtmXdr::traceFailed;
    }
  }

  static uint32_t capacityOf(const vtmXdr &x) { return x.m_capacity; }

  static bool encoding(const vtmXdr *x) { return x->m_direction == vtmXdr::encode; }

  // Stores width bytes of value at the position, least-significant first.
  static void put(vtmXdr *x, uint64_t value, unsigned width) {
    x->growBuffer(width);
    for (unsigned i = 0; i < width; ++i) {
      x->m_buffer[x->m_position + i] = static_cast<unsigned char>(value >> (8 * i));
    }
    x->m_position += width;
    if (x->m_position > x->m_end) {
      x->m_end = x->m_position;
    }
  }

  // Reads width bytes at the position, least-significant first.
  static uint64_t get(vtmXdr *x, unsigned width) {
    if (x->m_buffer == nullptr) {
      fail(x, vtmXdr::noBuffer);
    }
    if (static_cast<uint64_t>(x->m_position) + width > x->m_end) {
      fail(x, vtmXdr::endOfData);
    }
    uint64_t value = 0;
    for (unsigned i = 0; i < width; ++i) {
      value |= static_cast<uint64_t>(x->m_buffer[x->m_position + i]) << (8 * i);
    }
    x->m_position += width;
    return value;
  }

  // Encodes or decodes a value of width bytes held in an unsigned word.
  static uint64_t unit(vtmXdr *x, uint64_t value, unsigned width) {
    if (encoding(x)) {
      put(x, value, width);
      return value;
    }
    return get(x, width);
  }

  static void releaseData(vtmXdr *x) {
    if (x->m_direction != vtmXdr::decode) {
      blockRelease(x->m_buffer);
    }
    x->m_buffer = nullptr;
    x->m_capacity = 0;
    x->m_position = 0;
    x->m_end = 0;
  }

  // The elements one by one; a failing element puts position and end back.
  template <typename T>
  static void array(vtmXdr *x, T *values, unsigned long count) {
    x->m_status = vtmXdr::ok;
    line(x, VTM_XDR_TRACE_ENTRY, "xdr_array", " 0x%" PRIxPTR " %lu", reinterpret_cast<uintptr_t>(values),
         count);
    if (values == nullptr && count != 0) {
      fail(x, vtmXdr::badArgument);
    }
    const uint32_t position = x->m_position;
    const uint32_t end = x->m_end;
    for (unsigned long i = 0; i < count && x->m_status == vtmXdr::ok; ++i) {
      try {
        x->xdr(values[i]);
      } catch (vtmXdr *) {
        x->m_position = position;
        x->m_end = end;
        if (x->m_status == vtmXdr::ok) {
          x->m_status = vtmXdr::badArgument;
        }
        x->m_member = static_cast<uint32_t>(i + 1);
        throw x;
      }
    }
    line(x, VTM_XDR_TRACE_EXIT, "xdr_array", " 0x%" PRIxPTR " %lu (void)",
         reinterpret_cast<uintptr_t>(values), count);
  }
};

using A = vtmXdrAccess;

namespace vtmxdr {

uint32_t capacity(const vtmXdr &x) { return vtmXdrAccess::capacityOf(x); }

}  // namespace vtmxdr

vtmXdr::vtmXdr(TraceObj *trace)
    : m_direction(encode),
      m_status(ok),
      m_member(0),
      m_trace(nullptr),
      m_traceBuffer(nullptr),
      m_buffer(nullptr),
      m_capacity(0),
      m_position(0),
      m_end(0) {
  if (trace != nullptr) {
    m_traceBuffer = reinterpret_cast<char *>(blockAlloc(VTM_XDR_TRACE_BUFFER));
    if (m_traceBuffer == nullptr) {
      A::fail(this, noMemory);
    }
    m_trace = trace;
  }
  A::line(this, VTM_XDR_TRACE_ENTRY, "vtmXdr", " 0x%" PRIxPTR, reinterpret_cast<uintptr_t>(trace));
  A::line(this, VTM_XDR_TRACE_EXIT, "vtmXdr", " (void)");
}

vtmXdr::~vtmXdr() {
  const bool entryOn = A::tracing(this, VTM_XDR_TRACE_ENTRY);
  A::quietLine(this, VTM_XDR_TRACE_ENTRY, "~vtmXdr");
  A::releaseData(this);
  A::quietLine(this, VTM_XDR_TRACE_EXIT, "~vtmXdr", " (void)");
  // With entry tracing on the trace buffer is released (after the exit
  // line, which still uses it); otherwise it is kept.
  if (entryOn) {
    blockRelease(m_traceBuffer);
  } else {
    blockKeep(m_traceBuffer);
  }
  m_traceBuffer = nullptr;
}

vtmXdr &vtmXdr::operator=(const vtmXdr &other) {
  if (this == &other) {
    return *this;
  }
  m_status = ok;
  A::line(this, VTM_XDR_TRACE_ENTRY, "operator=", " 0x%" PRIxPTR, reinterpret_cast<uintptr_t>(&other));
  // The other object's blocks gain a holder before this object's go, so
  // nothing is freed that stays in use.
  if (other.m_direction != decode) {
    blockRetain(other.m_buffer);
  }
  blockRetain(other.m_traceBuffer);
  A::releaseData(this);
  blockRelease(m_traceBuffer);
  m_direction = other.m_direction;
  m_status = other.m_status;
  m_member = other.m_member;
  m_trace = other.m_trace;
  m_traceBuffer = other.m_traceBuffer;
  m_buffer = other.m_buffer;
  m_capacity = other.m_capacity;
  m_position = other.m_position;
  m_end = other.m_end;
  A::line(this, VTM_XDR_TRACE_EXIT, "operator=", " 0x%" PRIxPTR " (void)",
          reinterpret_cast<uintptr_t>(&other));
  return *this;
}

void vtmXdr::setTrace(TraceObj *trace) {
  m_status = ok;
  A::line(this, VTM_XDR_TRACE_ENTRY, "setTrace", " 0x%" PRIxPTR, reinterpret_cast<uintptr_t>(trace));
  if (trace != nullptr && m_traceBuffer == nullptr) {
    m_traceBuffer = reinterpret_cast<char *>(blockAlloc(VTM_XDR_TRACE_BUFFER));
    if (m_traceBuffer == nullptr) {
      m_trace = nullptr;
      A::fail(this, noMemory);
    }
  }
  m_trace = trace;
  A::line(this, VTM_XDR_TRACE_EXIT, "setTrace", " 0x%" PRIxPTR " (void)", reinterpret_cast<uintptr_t>(trace));
}

void vtmXdr::testBuffer(unsigned char *, unsigned long) {}

void vtmXdr::setBuffer(direction dir, unsigned char *buf, unsigned long len) {
  m_status = ok;
  A::line(this, VTM_XDR_TRACE_ENTRY, "setBuffer", " %d 0x%" PRIxPTR " %lu", static_cast<int>(dir),
          reinterpret_cast<uintptr_t>(buf), len);
  A::releaseData(this);
  m_direction = dir;
  if (dir == decode) {
    testBuffer(buf, len);
    // The length is kept in a 32-bit field: a longer lent buffer is refused.
    if (len > UINT32_MAX) {
      A::fail(this, badArgument);
    }
    m_buffer = buf;
    m_capacity = static_cast<uint32_t>(len);
    m_end = static_cast<uint32_t>(len);
  } else {
    m_buffer = blockAlloc(VTM_XDR_GROWTH);
    if (m_buffer == nullptr) {
      A::fail(this, noMemory);
    }
    m_capacity = VTM_XDR_GROWTH;
  }
  A::line(this, VTM_XDR_TRACE_EXIT, "setBuffer", " %d 0x%" PRIxPTR " %lu (void)", static_cast<int>(dir),
          reinterpret_cast<uintptr_t>(buf), len);
}

unsigned char *vtmXdr::getBuffer(unsigned long &len) {
  m_status = ok;
  A::line(this, VTM_XDR_TRACE_ENTRY, "getBuffer");
  len = m_end;
  A::line(this, VTM_XDR_TRACE_EXIT, "getBuffer", " %lu (0x%" PRIxPTR ")", len,
          reinterpret_cast<uintptr_t>(m_buffer));
  return m_buffer;
}

void vtmXdr::setBufferPosition(unsigned long pos) {
  m_status = ok;
  A::line(this, VTM_XDR_TRACE_ENTRY, "setBufferPosition", " %lu", pos);
  if (pos > m_end) {
    A::fail(this, badArgument);
  }
  if (m_buffer == nullptr) {
    A::fail(this, noBuffer);
  }
  m_position = static_cast<uint32_t>(pos);
  A::line(this, VTM_XDR_TRACE_EXIT, "setBufferPosition", " %lu (void)", pos);
}

unsigned long vtmXdr::getBufferPosition() {
  A::line(this, VTM_XDR_TRACE_ENTRY, "getBufferPosition");
  A::line(this, VTM_XDR_TRACE_EXIT, "getBufferPosition", " (0x%x)", m_position);
  return m_position;
}

vtmXdr::status vtmXdr::getStatus() {
  status value = m_status;
  A::line(this, VTM_XDR_TRACE_ENTRY, "getStatus");
  A::line(this, VTM_XDR_TRACE_EXIT, "getStatus", " (0x%x)", static_cast<unsigned>(value));
  return value;
}

unsigned long vtmXdr::getMember() {
  A::line(this, VTM_XDR_TRACE_ENTRY, "getMember");
  A::line(this, VTM_XDR_TRACE_EXIT, "getMember", " (0x%x)", m_member);
  return m_member;
}

vtmXdr::direction vtmXdr::getDirection() {
  A::line(this, VTM_XDR_TRACE_ENTRY, "getDirection");
  A::line(this, VTM_XDR_TRACE_EXIT, "getDirection", " (0x%x)", static_cast<unsigned>(m_direction));
  return m_direction;
}

void vtmXdr::growBuffer(unsigned long n) {
  if (m_buffer == nullptr) {
    A::fail(this, noBuffer);
  }
  const uint64_t needed = static_cast<uint64_t>(m_position) + n;
  if (needed <= m_capacity) {
    return;
  }
  // Steps of 256 bytes: one step for every request of up to 256 bytes.
  uint64_t capacity = m_capacity;
  while (capacity < needed) {
    capacity += VTM_XDR_GROWTH;
  }
  if (capacity > UINT32_MAX) {
    A::fail(this, noMemory);
  }
  unsigned char *grown = blockGrow(m_buffer, m_capacity, capacity);
  if (grown == nullptr) {
    A::fail(this, noMemory);
  }
  m_buffer = grown;
  m_capacity = static_cast<uint32_t>(capacity);
}

void vtmXdr::xdr(unsigned char &value) {
  m_status = ok;
  A::line(this, VTM_XDR_TRACE_ENTRY, "xdr_UInt8", " %u", static_cast<unsigned>(value));
  value = static_cast<unsigned char>(A::unit(this, value, 1));
  A::line(this, VTM_XDR_TRACE_EXIT, "xdr_UInt8", " %u (void)", static_cast<unsigned>(value));
}

void vtmXdr::xdr(signed char &value) {
  m_status = ok;
  A::line(this, VTM_XDR_TRACE_ENTRY, "xdr_Int8", " %d", static_cast<int>(value));
  value = static_cast<signed char>(static_cast<uint8_t>(A::unit(this, static_cast<uint8_t>(value), 1)));
  A::line(this, VTM_XDR_TRACE_EXIT, "xdr_Int8", " %d (void)", static_cast<int>(value));
}

void vtmXdr::xdr(unsigned short &value) {
  m_status = ok;
  A::line(this, VTM_XDR_TRACE_ENTRY, "xdr_UInt16", " %u", static_cast<unsigned>(value));
  value = static_cast<unsigned short>(A::unit(this, value, 2));
  A::line(this, VTM_XDR_TRACE_EXIT, "xdr_UInt16", " %u (void)", static_cast<unsigned>(value));
}

void vtmXdr::xdr(short &value) {
  m_status = ok;
  A::line(this, VTM_XDR_TRACE_ENTRY, "xdr_Int16", " %d", static_cast<int>(value));
  value = static_cast<short>(static_cast<uint16_t>(A::unit(this, static_cast<uint16_t>(value), 2)));
  A::line(this, VTM_XDR_TRACE_EXIT, "xdr_Int16", " %d (void)", static_cast<int>(value));
}

void vtmXdr::xdr(unsigned long &value) {
  m_status = ok;
  A::line(this, VTM_XDR_TRACE_ENTRY, "xdr_UInt32", " %lu", value);
  value = static_cast<unsigned long>(A::unit(this, static_cast<uint32_t>(value), 4));
  A::line(this, VTM_XDR_TRACE_EXIT, "xdr_UInt32", " %lu (void)", value);
}

void vtmXdr::xdr(long &value) {
  m_status = ok;
  A::line(this, VTM_XDR_TRACE_ENTRY, "xdr_Int32", " %ld", value);
  // The wire holds 32 bits; a decoded value is sign-extended.
  value = static_cast<int32_t>(static_cast<uint32_t>(A::unit(this, static_cast<uint32_t>(value), 4)));
  A::line(this, VTM_XDR_TRACE_EXIT, "xdr_Int32", " %ld (void)", value);
}

void vtmXdr::xdr(long long &value) {
  m_status = ok;
  A::line(this, VTM_XDR_TRACE_ENTRY, "xdr_Int64", " %" PRId64, static_cast<int64_t>(value));
  const uint64_t bits = static_cast<uint64_t>(value);
  const uint64_t low = A::unit(this, bits & 0xFFFFFFFFu, 4);
  const uint64_t high = A::unit(this, bits >> 32, 4);
  if (m_direction == decode && m_status == ok) {
    value = static_cast<long long>(high << 32 | low);
  }
  A::line(this, VTM_XDR_TRACE_EXIT, "xdr_Int64", " %" PRId64 " (void)", static_cast<int64_t>(value));
}

void vtmXdr::xdr(int &value) {
  m_status = ok;
  A::line(this, VTM_XDR_TRACE_ENTRY, "xdr_OrvBool", " %d", value);
  const uint64_t byte = A::unit(this, value != 0 ? 1 : 0, 1);
  if (m_direction == decode && m_status == ok) {
    value = static_cast<int>(byte);
  }
  A::line(this, VTM_XDR_TRACE_EXIT, "xdr_OrvBool", " %d (void)", value);
}

void vtmXdr::xdr(float &value) {
  m_status = ok;
  A::line(this, VTM_XDR_TRACE_ENTRY, "xdr_Float32", " %g", static_cast<double>(value));
  uint32_t bits;
  memcpy(&bits, &value, sizeof bits);
  bits = static_cast<uint32_t>(A::unit(this, bits, 4));
  if (m_direction == decode && m_status == ok) {
    memcpy(&value, &bits, sizeof bits);
  }
  A::line(this, VTM_XDR_TRACE_EXIT, "xdr_Float32", " %g (void)", static_cast<double>(value));
}

void vtmXdr::xdr(double &value) {
  m_status = ok;
  A::line(this, VTM_XDR_TRACE_ENTRY, "xdr_Float64", " %g", value);
  uint64_t bits;
  memcpy(&bits, &value, sizeof bits);
  // High word first: the reverse of the 64-bit integer, kept deliberately.
  const uint64_t high = A::unit(this, bits >> 32, 4);
  const uint64_t low = A::unit(this, bits & 0xFFFFFFFFu, 4);
  if (m_direction == decode && m_status == ok) {
    bits = high << 32 | low;
    memcpy(&value, &bits, sizeof bits);
  }
  A::line(this, VTM_XDR_TRACE_EXIT, "xdr_Float64", " %g (void)", value);
}

void vtmXdr::xdr(char *&value) {
  m_status = ok;
  // Encoding shows the text; decoding only the target, whose storage may
  // hold anything yet.
  if (A::encoding(this) && value != nullptr) {
    A::line(this, VTM_XDR_TRACE_ENTRY, "xdr_NLSStr", " \"%s\"", value);
  } else {
    A::line(this, VTM_XDR_TRACE_ENTRY, "xdr_NLSStr", " 0x%" PRIxPTR, reinterpret_cast<uintptr_t>(value));
  }
  if (A::encoding(this)) {
    if (value == nullptr) {
      A::fail(this, badArgument);
    }
    uint32_t units = 0;
    uint16_t *wide = orvCharacterSetConvertToUnicode(currentCharSet(), value, &units, nullptr);
    if (wide == nullptr) {
      A::fail(this, badArgument);
    }
    try {
      A::put(this, units, 4);
      for (uint32_t i = 0; i < units; ++i) {
        A::put(this, wide[i], 2);
      }
    } catch (vtmXdr *) {
      free(wide);
      throw;
    }
    free(wide);
  } else {
    const uint32_t count = static_cast<uint32_t>(A::get(this, 4));
    // 2 x count + 2 bytes must fit the class's 32-bit sizes.
    const uint64_t size = static_cast<uint64_t>(count) * 2u + 2u;
    if (size > UINT32_MAX) {
      A::fail(this, noMemory);
    }
    // Data too short for the count: refused before anything is allocated.
    if (static_cast<uint64_t>(count) * 2u > static_cast<uint64_t>(m_end) - m_position) {
      A::fail(this, endOfData);
    }
    unsigned char *block = blockAlloc(size);
    if (block == nullptr) {
      A::fail(this, noMemory);
    }
    uint16_t *units = reinterpret_cast<uint16_t *>(block);
    for (uint32_t i = 0; i < count; ++i) {
      units[i] = static_cast<uint16_t>(A::get(this, 2));
    }
    uint32_t length = count;
    uint32_t bytes = 0;
    char *text = nullptr;
    if (count != 0) {
      text = orvCharacterSetConvertFromUnicode(currentCharSet(), units, &length, &bytes);
    } else {
      text = static_cast<char *>(nls::allocate(1));
      if (text != nullptr) {
        text[0] = '\0';
        bytes = 1;
      }
    }
    blockRelease(block);
    if (text == nullptr) {
      A::fail(this, count != 0 ? badArgument : noMemory);
    }
    if (value != nullptr) {
      memcpy(value, text, bytes);
      free(text);
    } else {
      value = text;
    }
  }
  // The text is cut to the trace buffer by snprintf.
  A::line(this, VTM_XDR_TRACE_EXIT, "xdr_NLSStr", " \"%s\" (void)", value);
}

void vtmXdr::xdr(unsigned char *values, unsigned long count) { A::array(this, values, count); }
void vtmXdr::xdr(signed char *values, unsigned long count) { A::array(this, values, count); }
void vtmXdr::xdr(unsigned short *values, unsigned long count) { A::array(this, values, count); }
void vtmXdr::xdr(short *values, unsigned long count) { A::array(this, values, count); }
void vtmXdr::xdr(unsigned long *values, unsigned long count) { A::array(this, values, count); }
void vtmXdr::xdr(long *values, unsigned long count) { A::array(this, values, count); }
void vtmXdr::xdr(long long *values, unsigned long count) { A::array(this, values, count); }
void vtmXdr::xdr(int *values, unsigned long count) { A::array(this, values, count); }
void vtmXdr::xdr(float *values, unsigned long count) { A::array(this, values, count); }
void vtmXdr::xdr(double *values, unsigned long count) { A::array(this, values, count); }
void vtmXdr::xdr(char **values, unsigned long count) { A::array(this, values, count); }
