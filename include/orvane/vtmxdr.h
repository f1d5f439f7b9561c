/**
 * @file orvane/vtmxdr.h
 * @brief The XDR object-stream classes (C++ only).
 *
 * vtmXdr serialises values
 * into a buffer it owns and grows (encoding) or reads them from a buffer the
 * caller lends (decoding); vtmXdrStreamable is the base of objects that
 * stream themselves through a vtmXdr.
 *
 * Compiler requirement: these are C++ classes exported with their mangled
 * names, so an application must use the same C++ ABI as the library: GCC or
 * Clang with libstdc++ on Linux, mingw-w64 GCC on Windows.
 *
 * Wire layout: little-endian and unaligned (docs/xdr.md). long and unsigned
 * long travel as 4 bytes on every platform (a decoded long is sign-extended,
 * a decoded unsigned long zero-extended; encoding keeps the low 32 bits).
 * The 64-bit member takes long long. int is the boolean (OrvBool).
 *
 * Failures: a member sets the status and throws the object's own address
 * (vtmXdr*). Catch vtmXdr* and read getStatus() and getMember().
 *
 * Tracing: with a trace object set, every member writes an entry line when
 * bit 30 (VTM_XDR_TRACE_ENTRY) of the trace object's mask is set and an exit
 * line when bit 31 (VTM_XDR_TRACE_EXIT) is set; the line is written with
 * that bit as its category. Each line reads
 *   "0x<bit> 0x<status> vtmXdr::<name> 0x<object address> <arguments>"
 * where the arguments of a value member are the value (entry: as given;
 * exit: after the member), and an exit line ends in " (void)" or the
 * returned value in parentheses.
 * Lines are cut to the 127 characters of the object's trace buffer.
 */
#ifndef ORVANE_VTMXDR_H
#define ORVANE_VTMXDR_H

#include "orvane/trace.h"

#ifdef __cplusplus

/** Trace mask bit that switches the members' entry lines on. */
#define VTM_XDR_TRACE_ENTRY 0x40000000u
/** Trace mask bit that switches the members' exit lines on. */
#define VTM_XDR_TRACE_EXIT 0x80000000u

/** Size of a vtmXdr's trace line buffer in bytes. */
#define VTM_XDR_TRACE_BUFFER 128u
/** Size of a new encoding buffer, and the step by which it grows. */
#define VTM_XDR_GROWTH 256u

/** A serialiser: values go into a buffer it owns and grows (encoding) or
 * come from a buffer the caller lends (decoding). A failing member sets the
 * status and throws the object's address (vtmXdr*). */
class ORV_API vtmXdr {
 public:
  /** The stream direction: encode into the object's own buffer, or decode
   * from a buffer the caller lends. It is 32-bit and holds any value given
   * to setBuffer: every direction but 1 gets an own buffer there, and every
   * direction but 0 reads. */
  enum direction : int32_t {
    encode = 0, /**< write into the object's own buffer */
    decode = 1  /**< read from a buffer the caller lends */
  };
  /** The status after a member: 0 success, otherwise the failure. */
  enum status : int32_t {
    ok = 0,          /**< success */
    noMemory = 1,    /**< an allocation failed, or its size is not representable */
    badArgument = 2, /**< bad argument or position; an array element failed */
    noBuffer = 5,    /**< no buffer has been set */
    traceFailed = 6, /**< writing a trace line failed: the trace object is dropped */
    endOfData = 7    /**< read past the end of the data */
  };

  /** Zeroes every field; with a trace object, allocates the 128-byte trace
   * buffer (failure: no trace object, status 1, throws). */
  vtmXdr(TraceObj *trace = nullptr);
  /** Releases an own data buffer. The trace buffer is released only when
   * entry tracing is on (after the exit line); otherwise it is kept. */
  ~vtmXdr();
  /** Copies the nine fields: both objects then share the buffers. A shared
   * buffer is freed once, by the last object that holds it; an encoder that
   * grows a shared buffer moves to a copy of its own. */
  vtmXdr &operator=(const vtmXdr &other);
  /** Copying by construction would share buffers silently: not offered. */
  vtmXdr(const vtmXdr &) = delete;

  /** Sets the trace object; allocates the trace buffer when none exists and
   * trace is non-null (failure: no trace object, status 1, throws). */
  void setTrace(TraceObj *trace);
  /** Direction 1: lends buf of len bytes for decoding (never released here).
   * Any other direction: a fresh zero-filled 256-byte buffer for encoding
   * (failure: capacity 0, status 1, throws). An own buffer is released
   * first when the object is encoding. */
  void setBuffer(direction dir, unsigned char *buf, unsigned long len);
  /** Returns the buffer, with len = the bytes of valid data; ownership does
   * not pass. */
  unsigned char *getBuffer(unsigned long &len);
  /** Moves the read or write position to pos. pos beyond the end of the data:
   * status 2; no buffer: status 5; both throw. */
  void setBufferPosition(unsigned long pos);
  /** Returns the read or write position. */
  unsigned long getBufferPosition();
  /** Returns the status of the last member (#ok after a success). */
  status getStatus();
  /** Returns, after an array member failed, the 1-based index of the failing
   * element. */
  unsigned long getMember();
  /** Returns the direction given to setBuffer(). */
  direction getDirection();

  /* Single values: encoding writes value at the position (growing the buffer);
   * decoding reads it (status 7 and a throw past the end of the data). */
  /** Encodes or decodes an unsigned byte: 1 byte. */
  void xdr(unsigned char &value);
  /** Encodes or decodes a signed byte: 1 byte. */
  void xdr(signed char &value);
  /** Encodes or decodes an unsigned short: 2 bytes, low byte first. */
  void xdr(unsigned short &value);
  /** Encodes or decodes a short: 2 bytes, low byte first. */
  void xdr(short &value);
  /** Encodes or decodes an unsigned long: 4 bytes, least-significant first
   * (the low 32 bits; zero-extended on decoding). */
  void xdr(unsigned long &value);
  /** Encodes or decodes a long: 4 bytes, least-significant first (the low 32
   * bits; sign-extended on decoding). */
  void xdr(long &value);
  /** Encodes or decodes a long long: the low 32-bit word, then the high word. */
  void xdr(long long &value);
  /** Encodes or decodes a boolean: 1 byte, 1 for non-zero. */
  void xdr(int &value);
  /** Encodes or decodes a float: its bits as 4 bytes. */
  void xdr(float &value);
  /** Encodes or decodes a double: the high 32-bit word, then the low word. */
  void xdr(double &value);
  /** A 32-bit count of UTF-16 units, then the units. Decoding into a null
   * pointer hands the caller a heap block (orvMemoryFreeFunc); into a
   * non-null pointer copies the text there, unchecked for size. */
  void xdr(char *&value);

  /* Arrays: the elements one after the other, no count on the wire. When an
   * element fails, position and end go back to their values before the
   * array, member is the element's 1-based index, and the status is the
   * element's (2 when it had none). */
  /** Encodes or decodes count unsigned bytes, no count on the wire; a failing
   * element restores the position, sets getMember() to its 1-based index and
   * throws. */
  void xdr(unsigned char *values, unsigned long count);
  /** Encodes or decodes count signed bytes, as the unsigned-byte array. */
  void xdr(signed char *values, unsigned long count);
  /** Encodes or decodes count unsigned shorts, as the unsigned-byte array. */
  void xdr(unsigned short *values, unsigned long count);
  /** Encodes or decodes count shorts, as the unsigned-byte array. */
  void xdr(short *values, unsigned long count);
  /** Encodes or decodes count unsigned longs (4 bytes each), as the
   * unsigned-byte array. */
  void xdr(unsigned long *values, unsigned long count);
  /** Encodes or decodes count longs (4 bytes each), as the unsigned-byte
   * array. */
  void xdr(long *values, unsigned long count);
  /** Encodes or decodes count long longs, as the unsigned-byte array. */
  void xdr(long long *values, unsigned long count);
  /** Encodes or decodes count booleans (1 byte each), as the unsigned-byte
   * array. */
  void xdr(int *values, unsigned long count);
  /** Encodes or decodes count floats, as the unsigned-byte array. */
  void xdr(float *values, unsigned long count);
  /** Encodes or decodes count doubles, as the unsigned-byte array. */
  void xdr(double *values, unsigned long count);
  /** Encodes or decodes count strings as xdr(char *&) does each, as the
   * unsigned-byte array. */
  void xdr(char **values, unsigned long count);

 private:
  void testBuffer(unsigned char *buf, unsigned long len);
  void growBuffer(unsigned long n);
  friend struct vtmXdrAccess; /* the library's own helpers */

  direction m_direction;
  status m_status;
  uint32_t m_member;
  TraceObj *m_trace;
  char *m_traceBuffer;
  unsigned char *m_buffer;
  uint32_t m_capacity;
  uint32_t m_position;
  uint32_t m_end;
};

/** Base of objects that stream themselves through a vtmXdr. Its members
 * only hold and return the fields; a derived class overrides stream(). */
class ORV_API vtmXdrStreamable {
 public:
  /** Makes an object with status ok, member 0 and no stream. */
  vtmXdrStreamable();
  /** Copies the fields of other (the stream pointer included). */
  vtmXdrStreamable(const vtmXdrStreamable &other);
  /** Destroys the object (the stream is not owned). */
  virtual ~vtmXdrStreamable();
  /** Copies the fields of other (the stream pointer included). */
  vtmXdrStreamable &operator=(const vtmXdrStreamable &other);
  /** Writes or reads the object through stream; the base does nothing. */
  virtual void stream(vtmXdr &stream);
  /** Returns the status field. */
  vtmXdr::status getStatus();
  /** Returns the member field. */
  unsigned long getMember();
  /** Returns the stream field (not owned), or null. */
  vtmXdr *getStream();

 protected:
  vtmXdr::status m_status; /**< a status for derived classes to keep */
  uint32_t m_member;       /**< a member index for derived classes to keep */
  uint32_t m_reserved;     /**< not used by the members */
  vtmXdr *m_stream;        /**< a stream for derived classes to keep (not owned) */
};

#endif /* __cplusplus */

#endif
