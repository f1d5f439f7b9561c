// The interface of the pattern matcher: the metacharacter table and its
// per-thread working copy, the exported entry points, and the translation
// of SQL LIKE patterns.
//
// nlsMatchPattern and nlsSimulFA keep, per thread, the last automaton they
// ran with its cache of deterministic states, so that a caller matching many
// texts against one pattern (or one stored block) pays for the parse and the
// build once. The cache changes nothing a caller can observe but time: the
// key holds everything the answer depends on (mode and pattern, or block;
// table), and the locale's character classes are checked on every run.
//
// A pattern of plain literals with mode 0 and the default table is answered
// by comparing it with the text, before any look-up. A call that finds its
// pattern cached with the default table takes a short path: one static
// thread-local load, a compare of the pattern against the cached copy, and
// the run. Patterns of literals and the two
// any-wildcards run through a Shortcut instead of an automaton.
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "common/nls/nls_state.h"
#include "common/nls/nlspm_internal.h"
#include "orvane/pattern.h"

namespace nls::pm {

namespace {

struct MatchCache {
  bool hot = false;  // valid, and made with the default table
  bool valid = false;
  int mode = 0;
  std::string pattern;
  unsigned char table[kTableSize] = {};
  bool defaultTable = false;
  size_t endPosition = 0;
  bool useShortcut = false;  // shortcut answers; matcher is not built
  Shortcut shortcut;
  std::unique_ptr<Matcher> matcher;

  int run(const char *text) const { return useShortcut ? shortcut.run(text) : matcher->run(text); }
};

struct BlockCache {
  std::vector<unsigned char> block;
  unsigned char table[kTableSize] = {};
  std::unique_ptr<Matcher> matcher;
};

// Everything the matcher keeps per thread, in one block so that an entry
// point finds it with one thread-local look-up: the working copy of the
// table and, except on Windows, the last automaton of each entry point.
// The block itself is trivially destructible (and in static TLS on ELF
// systems, one instruction away); the automata live on the heap, owned by
// a second thread-local object whose destructor releases them at thread
// exit. A call made later in the thread's exit, after that destructor ran,
// works without keeping anything.
//
// The mingw-w64 runtime may release a thread's emulated thread-local
// storage before it runs the destructors of its thread_local objects, so
// on Windows nothing is kept and every call builds its automaton afresh.
struct TableCopy {
  unsigned char table[kTableSize];
  bool isDefault;  // table holds the default table
};

struct Caches {
  MatchCache match;
  BlockCache block;
};

#if defined(_WIN32)
constexpr bool kKeepAutomata = false;
#else
constexpr bool kKeepAutomata = true;
#endif

// The thread's last short pattern of mode 0 with the default table (under
// 16 bytes, with its NUL) and how it is answered (see matchRemembered).
enum MemoKind : uint8_t {
  kMemoNone,    // nothing remembered
  kMemoPlain,   // a plain literal: compared with the text
  kMemoCached,  // the pattern of the thread's hot cached matcher
};
struct PatternMemo {
  alignas(16) unsigned char bytes[16];
  MemoKind kind;
};

struct ThreadState {
  TableCopy copy;
  Caches *caches;  // null until the first call that keeps an automaton
  bool ended;      // the caches were released at thread exit
  PatternMemo memo;
};

#if defined(__ELF__)
thread_local constinit ThreadState threadState __attribute__((tls_model("initial-exec"))) = {};
#else
thread_local constinit ThreadState threadState = {};
#endif

#if !defined(_WIN32)
struct CachesOwner {
  bool armed = false;
  ~CachesOwner() {
    ThreadState &ts = threadState;
    delete ts.caches;
    ts.caches = nullptr;
    ts.ended = true;
    ts.memo.kind = kMemoNone;
  }
};
thread_local CachesOwner cachesOwner;
#endif

// The calling thread's caches, or null when nothing is kept.
Caches *cachesOf(ThreadState &ts) {
  if (ts.caches == nullptr && kKeepAutomata && !ts.ended) {
#if !defined(_WIN32)
    cachesOwner.armed = true;  // registers the release at thread exit
    ts.caches = new Caches;
#endif
  }
  return ts.caches;
}

unsigned char *load(ThreadState &ts, const char *table) {
  TableCopy &c = ts.copy;
  if (table == nullptr) {
    if (!c.isDefault) {
      memcpy(c.table, kDefaultTable, kTableSize);
      c.isDefault = true;
    }
  } else {
    memcpy(c.table, table, kTableRoles);
    c.table[kTableRoles] = 0;
    c.isDefault = false;
  }
  return c.table;
}

MatchCache &matchCacheOf(ThreadState &ts, MatchCache &fresh) {
  Caches *c = cachesOf(ts);
  return c != nullptr ? c->match : fresh;
}

BlockCache &blockCacheOf(ThreadState &ts, BlockCache &fresh) {
  Caches *c = cachesOf(ts);
  return c != nullptr ? c->block : fresh;
}

// Bytes that the parser reads, under the default table, as a literal
// standing for itself: printable, and none of the table's operators and
// wildcards (its first nineteen characters).
constexpr std::array<bool, 256> makePlainLiterals() {
  std::array<bool, 256> plain{};
  for (int c = 32; c < 256; ++c) {
    plain[c] = c != 127;
  }
  for (int i = 0; i <= kLastWildcard; ++i) {
    plain[kDefaultTable[i]] = false;
  }
  return plain;
}
constexpr std::array<bool, 256> kPlainLiteral = makePlainLiterals();

// A pattern of mode 0, with the default table, made only of plain literals
// parses to a chain of its bytes whose automaton accepts exactly that text
// (ended by NUL or the end marker), and the parse ends at the pattern's
// length. Such a pattern is answered by one pass over the pattern and the
// text, without the parse or the cache: 1 or 0, with *length set, or -1
// when the pattern has another byte (or is empty). The text is never read
// past its first difference from the pattern, so never past its NUL.
inline int matchPlainLiteral(const unsigned char *p, const unsigned char *s, size_t *length) {
  if (p[0] == 0) {
    return -1;
  }
  size_t i = 0;
  for (;; ++i) {
    const unsigned char c = p[i];
    if (!kPlainLiteral[c]) {
      if (c != 0) {
        return -1;
      }
      *length = i;
      return (s[i] == 0 || s[i] == kDefaultTable[kEnd]) ? 1 : 0;
    }
    if (s[i] != c) {
      break;
    }
  }
  // The text differs; the answer is 0 if the rest of the pattern is plain.
  for (++i;; ++i) {
    const unsigned char c = p[i];
    if (!kPlainLiteral[c]) {
      if (c != 0) {
        return -1;
      }
      *length = i;
      return 0;
    }
  }
}

// Remembers a pattern of mode 0 with the default table, when it is shorter
// than 16 bytes, and how it is answered.
inline void remember(ThreadState &ts, const char *pattern, size_t length, MemoKind kind) {
  if (length < sizeof ts.memo.bytes) {
    memcpy(ts.memo.bytes, pattern, length + 1);
    ts.memo.kind = kind;
  }
}

// matchRemembered's answer for the pattern of the hot cached matcher.
constexpr int kRunCached = 2;

#if defined(__SSE2__)
// The thread's remembered pattern again (mode 0, default table), without a
// loop: the pattern's sixteen bytes are compared with the remembered ones up
// to its NUL. -1 when it is another pattern (or empty, or 16 bytes and
// longer); kRunCached for the cached matcher's pattern; for a plain literal,
// the answer of matchPlainLiteral, from a compare with the text's sixteen
// bytes.
//
// Sixteen bytes are loaded from the pattern and from the text whatever
// their lengths, as the C library's string functions do: only where the
// load stays inside one 4 KiB page, so it can never touch an unmapped
// page; bytes after a NUL are masked out of every decision. Address
// checking is off for this function alone because of those loads.
__attribute__((no_sanitize_address)) inline int matchRemembered(const ThreadState &ts, const unsigned char *p,
                                                                const unsigned char *s, size_t *length) {
  constexpr uintptr_t kPage = 4096;
  constexpr uintptr_t kLast = kPage - 16;
  if (ts.memo.kind == kMemoNone || (reinterpret_cast<uintptr_t>(p) & (kPage - 1)) > kLast) {
    return -1;
  }
  const __m128i pattern = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
  const unsigned nul = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(pattern, _mm_setzero_si128())));
  if (nul == 0 || (nul & 1u) != 0) {
    return -1;  // 16 bytes or more, or empty
  }
  const unsigned n = static_cast<unsigned>(__builtin_ctz(nul));
  const unsigned withNul = (2u << n) - 1;  // bytes 0 to n
  // The remembered bytes hold their first NUL at their length, so equal
  // bytes up to the pattern's NUL mean the same pattern.
  const __m128i memo = _mm_load_si128(reinterpret_cast<const __m128i *>(ts.memo.bytes));
  const unsigned same = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(pattern, memo)));
  if ((~same & withNul) != 0) {
    return -1;
  }
  if (ts.memo.kind == kMemoCached) {
    return kRunCached;
  }
  if ((reinterpret_cast<uintptr_t>(s) & (kPage - 1)) > kLast) {
    return -1;
  }
  *length = n;
  const __m128i text = _mm_loadu_si128(reinterpret_cast<const __m128i *>(s));
  const unsigned equal = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(pattern, text)));
  if ((~equal & (withNul >> 1)) != 0) {
    return 0;
  }
  // The text holds the pattern's n bytes, none of them NUL: byte n is its
  // own (at most its NUL).
  const unsigned char after = s[n];
  return (after == 0 || after == kDefaultTable[kEnd]) ? 1 : 0;
}
#else
inline int matchRemembered(const ThreadState &, const unsigned char *, const unsigned char *, size_t *) {
  return -1;
}
#endif

// The cached pattern is the caller's: strcmp stops at the first
// difference, so it never reads past the caller's NUL.
inline bool samePattern(const std::string &cached, const char *pattern) {
  return strcmp(cached.c_str(), pattern) == 0;
}

// Whether the parse of a working pattern may change with the locale: the
// escape rule refuses letters and digits of the current locale, and only
// bytes above 127 can change class between locales. Such a pattern is
// parsed again on every call.
bool parseDependsOnLocale(const std::string &working, const unsigned char *t) {
  for (size_t i = 0; i + 1 < working.size(); ++i) {
    if (static_cast<unsigned char>(working[i]) == t[kEscape]) {
      if (static_cast<unsigned char>(working[i + 1]) >= 0x80) {
        return true;
      }
      ++i;
    }
  }
  return false;
}

void report(uint16_t *error, uint16_t *position, int code, size_t pos) {
  if (error != nullptr) {
    *error = static_cast<uint16_t>(code & 0xFFFF);
  }
  if (position != nullptr) {
    *position = static_cast<uint16_t>(pos > 0xFFFF ? 0xFFFF : pos);
  }
}

}  // namespace

const unsigned char *loadTable(const char *table) { return load(threadState, table); }

}  // namespace nls::pm

using namespace nls::pm;

extern "C" {

ORV_API int nlsValidPattern(const char *pattern, const char *table, uint16_t *error, uint16_t *position) {
  try {
    const unsigned char *t = loadTable(table);
    if (pattern == nullptr || *pattern == '\0') {
      report(error, position, kErrEmpty, 0);
      return 0;
    }
    std::string working = wrapPattern(0, pattern, t);
    Postfix postfix;
    ParseResult r = parse(working, t, postfix);
    report(error, position, r.ok ? 0 : r.error, r.position);
    return r.ok ? 1 : 0;
  } catch (const std::bad_alloc &) {
    outOfMemory();
  }
}

namespace {

// nlsMatchPattern when the thread's cache does not answer at once: parse,
// build (or make the shortcut), and remember.
int matchAfresh(ThreadState &ts, int16_t mode, const char *pattern, const char *text, uint16_t *error,
                uint16_t *position, const char *table) {
  const unsigned char *t = load(ts, table);
  if (mode < 0 || mode > 3) {
    report(error, position, kErrMode, 0);
    return 0;
  }
  if (pattern == nullptr || *pattern == '\0') {
    report(error, position, kErrEmpty, 0);
    return 0;
  }
  MatchCache fresh;
  MatchCache &cache = matchCacheOf(ts, fresh);
  const bool sameTable = table == nullptr ? cache.defaultTable : memcmp(cache.table, t, kTableSize) == 0;
  if (!cache.valid || cache.mode != mode || !sameTable || !samePattern(cache.pattern, pattern)) {
    cache.valid = false;
    cache.hot = false;
    cache.matcher.reset();
    if (ts.memo.kind == kMemoCached) {
      ts.memo.kind = kMemoNone;
    }
    std::string working = wrapPattern(mode, pattern, t);
    Postfix postfix;
    ParseResult r = parse(working, t, postfix);
    if (!r.ok) {
      report(error, position, r.error, r.position);
      return 0;
    }
    cache.useShortcut = cache.shortcut.make(postfix, t);
    if (!cache.useShortcut) {
      Automaton fa;
      build(postfix, t, working.size(), fa);
      cache.matcher = std::make_unique<Matcher>(std::move(fa), t);
    }
    cache.mode = mode;
    cache.pattern = pattern;
    memcpy(cache.table, t, kTableSize);
    cache.defaultTable = memcmp(t, kDefaultTable, kTableSize) == 0;
    cache.endPosition = r.position;
    cache.valid = &cache != &fresh && !parseDependsOnLocale(working, t);
    cache.hot = cache.valid && cache.defaultTable;
    if (cache.hot && mode == 0) {
      remember(ts, pattern, cache.pattern.size(), kMemoCached);
    }
  }
  report(error, position, 0, cache.endPosition);
  int result = cache.run(text != nullptr ? text : "");
  if (!cache.valid) {
    cache.matcher.reset();
  }
  return result;
}

// The hot cached matcher of the thread's remembered pattern.
[[gnu::noinline]] int runCached(ThreadState &ts, const char *text, uint16_t *error, uint16_t *position) {
  try {
    const MatchCache &cache = ts.caches->match;
    if (error != nullptr || position != nullptr) {
      report(error, position, 0, cache.endPosition);
    }
    return cache.run(text != nullptr ? text : "");
  } catch (const std::bad_alloc &) {
    outOfMemory();
  }
}

// nlsMatchPattern past its first test: a plain pattern met for the first
// time, the thread's cached automaton, or a fresh parse and build.
[[gnu::noinline]] int matchPattern(ThreadState &ts, int16_t mode, const char *pattern, const char *text,
                                   uint16_t *error, uint16_t *position, const char *table) {
  try {
    if (table == nullptr && mode == 0 && pattern != nullptr) {
      size_t length = 0;
      const int plain =
          matchPlainLiteral(reinterpret_cast<const unsigned char *>(pattern),
                            reinterpret_cast<const unsigned char *>(text != nullptr ? text : ""), &length);
      if (plain >= 0) {
        remember(ts, pattern, length, kMemoPlain);
        if (!ts.copy.isDefault) [[unlikely]] {
          load(ts, nullptr);
        }
        if (error != nullptr || position != nullptr) {
          report(error, position, 0, length);
        }
        return plain;
      }
    }
    // The short path: the last pattern again, with the default table. The
    // cached mode and pattern were valid, so these are too.
    Caches *c = ts.caches;
    if (table == nullptr && c != nullptr && pattern != nullptr) {
      MatchCache &cache = c->match;
      if (cache.hot && cache.mode == mode && samePattern(cache.pattern, pattern)) {
        if (!ts.copy.isDefault) [[unlikely]] {
          load(ts, nullptr);
        }
        if (error != nullptr || position != nullptr) {
          report(error, position, 0, cache.endPosition);
        }
        if (mode == 0) {
          remember(ts, pattern, cache.pattern.size(), kMemoCached);
        }
        return cache.run(text != nullptr ? text : "");
      }
    }
    return matchAfresh(ts, mode, pattern, text, error, position, table);
  } catch (const std::bad_alloc &) {
    outOfMemory();
  }
}

}  // namespace

ORV_API int nlsMatchPattern(int16_t mode, const char *pattern, const char *text, uint16_t *error,
                            uint16_t *position, const char *table) {
  // The thread's remembered pattern again: answered here, in a frame that
  // saves hardly a register, or by the cached matcher; everything else in
  // matchPattern.
  ThreadState &ts = threadState;
  if (table == nullptr && mode == 0 && pattern != nullptr && ts.copy.isDefault) {
    size_t length = 0;
    const int r =
        matchRemembered(ts, reinterpret_cast<const unsigned char *>(pattern),
                        reinterpret_cast<const unsigned char *>(text != nullptr ? text : ""), &length);
    if (r == kRunCached) {
      return runCached(ts, text, error, position);
    }
    if (r >= 0) {
      if (error != nullptr || position != nullptr) {
        report(error, position, 0, length);
      }
      return r;
    }
  }
  return matchPattern(ts, mode, pattern, text, error, position, table);
}

ORV_API unsigned char *nlsBuildFA(int16_t mode, const char *pattern, uint16_t *error, uint16_t *position,
                                  const char *table, int32_t *length) {
  try {
    const unsigned char *t = loadTable(table);
    if (length != nullptr) {
      *length = 0;
    }
    if (mode < 0 || mode > 3) {
      report(error, position, kErrMode, 0);
      return nullptr;
    }
    std::vector<unsigned char> block;
    if (pattern == nullptr || *pattern == '\0') {
      // The block of an empty pattern: a header and arrays for one state
      // and one transition, all zero. nlsSimulFA refuses it.
      report(error, position, 0, 0);
      block.assign(26, 0);
    } else {
      std::string working = wrapPattern(mode, pattern, t);
      Postfix postfix;
      ParseResult r = parse(working, t, postfix);
      if (!r.ok) {
        report(error, position, r.error, r.position);
        return nullptr;
      }
      if (stateCount(postfix, t) > 16384 || working.size() > 65534) {
        report(error, position, kErrTooLarge, 0);
        return nullptr;
      }
      Automaton fa;
      build(postfix, t, working.size(), fa);
      if (!fitsSerialisedForm(fa)) {
        report(error, position, kErrTooLarge, 0);
        return nullptr;
      }
      report(error, position, 0, r.position);
      block = serialise(fa);
    }
    auto *out = static_cast<unsigned char *>(malloc(block.size()));
    if (out == nullptr) {
      outOfMemory();
    }
    memcpy(out, block.data(), block.size());
    if (length != nullptr) {
      *length = static_cast<int32_t>(block.size());
    }
    return out;
  } catch (const std::bad_alloc &) {
    outOfMemory();
  }
}

ORV_API int nlsSimulFA(const unsigned char *automaton, const char *table, const char *text) {
  try {
    ThreadState &ts = threadState;
    const unsigned char *t = load(ts, table);
    if (automaton == nullptr) {
      return 0;
    }
    size_t size = serialisedSize(automaton);
    if (size == 0) {
      return 0;
    }
    BlockCache fresh;
    BlockCache &cache = blockCacheOf(ts, fresh);
    if (!cache.matcher || cache.block.size() != size || memcmp(cache.block.data(), automaton, size) != 0 ||
        memcmp(cache.table, t, kTableSize) != 0) {
      cache.matcher.reset();
      cache.block.clear();
      Automaton fa;
      if (!deserialise(automaton, fa)) {
        return 0;
      }
      cache.matcher = std::make_unique<Matcher>(std::move(fa), t);
      cache.block.assign(automaton, automaton + size);
      memcpy(cache.table, t, kTableSize);
    }
    return cache.matcher->run(text != nullptr ? text : "");
  } catch (const std::bad_alloc &) {
    outOfMemory();
  }
}

ORV_API int32_t nlsCvtLikePattern(const char *like, char *out, int32_t outSize, const char *table,
                                  char escape) {
  const int32_t kFailed = 65535;
  const unsigned char *t = loadTable(table);
  if (out == nullptr || outSize < 1) {
    return kFailed;
  }
  size_t room = static_cast<size_t>(outSize) - 1;  // bytes before the NUL
  size_t n = 0;
  int32_t chars = 0;
  auto fits = [&](size_t bytes) { return n + bytes <= room; };
  auto isMeta = [&](unsigned char c) {
    for (int i = 0; i <= kLastWildcard; ++i) {
      if (c == t[i]) {
        return true;
      }
    }
    return false;
  };
  const unsigned char esc = static_cast<unsigned char>(escape);
  const unsigned char *p = reinterpret_cast<const unsigned char *>(like != nullptr ? like : "");
  while (*p != 0) {
    if (nls::charLengthAt(p) == 2) {
      if (!fits(2)) {
        out[0] = '\0';
        return kFailed;
      }
      out[n++] = static_cast<char>(p[0]);
      out[n++] = static_cast<char>(p[1]);
      ++chars;
      p += 2;
      continue;
    }
    unsigned char c = *p;
    unsigned char literal;
    if (esc != 0 && c == esc) {
      unsigned char following = p[1];
      if (following != '_' && following != '%' && following != esc) {
        out[n] = '\0';
        return kFailed;
      }
      literal = following;
      p += 2;
    } else if (c == '_' || c == '%') {
      if (!fits(1)) {
        out[0] = '\0';
        return kFailed;
      }
      out[n++] = static_cast<char>(c == '_' ? t[kAnyChar] : t[kAnyString]);
      ++chars;
      ++p;
      continue;
    } else {
      literal = c;
      ++p;
    }
    bool escaped = isMeta(literal);
    if (!fits(escaped ? 2 : 1)) {
      out[0] = '\0';
      return kFailed;
    }
    if (escaped) {
      out[n++] = static_cast<char>(t[kEscape]);
      ++chars;
    }
    out[n++] = static_cast<char>(literal);
    ++chars;
  }
  out[n] = '\0';
  return chars;
}

}  // extern "C"
