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
// A call that finds its pattern cached with the default table takes a short
// path: one static thread-local load, a byte compare of the pattern against
// the cached copy, and the run. Patterns of literals and the two
// any-wildcards run through a Shortcut instead of an automaton.
#include <cstdlib>
#include <cstring>
#include <new>

#include "common/nls/nls_state.h"
#include "common/nls/nlspm_internal.h"
#include "orvane/pattern.h"

namespace nls::pm {

const unsigned char kDefaultTable[kTableSize] = {'!', '|', '*', '(', ')',  '>',  '<',  '\\',
                                                 '?', '^', '#', '@', '[',  ']',  ':',  '=',
                                                 ';', '_', '&', '0', 0x0D, 0x0A, 0x08, 0};

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

struct ThreadState {
  TableCopy copy;
  Caches *caches;  // null until the first call that keeps an automaton
  bool ended;      // the caches were released at thread exit
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

// The cached pattern is the caller's: a byte compare that stops at the
// first difference, so it never reads past the caller's NUL.
inline bool samePattern(const std::string &cached, const char *pattern) {
  const char *q = cached.c_str();
  const size_t n = cached.size();
  for (size_t i = 0; i <= n; ++i) {
    if (q[i] != pattern[i]) {
      return false;
    }
  }
  return true;
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
  }
  report(error, position, 0, cache.endPosition);
  int result = cache.run(text != nullptr ? text : "");
  if (!cache.valid) {
    cache.matcher.reset();
  }
  return result;
}

}  // namespace

ORV_API int nlsMatchPattern(int16_t mode, const char *pattern, const char *text, uint16_t *error,
                            uint16_t *position, const char *table) {
  try {
    ThreadState &ts = threadState;
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
        return cache.run(text != nullptr ? text : "");
      }
    }
    return matchAfresh(ts, mode, pattern, text, error, position, table);
  } catch (const std::bad_alloc &) {
    outOfMemory();
  }
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
