// The simulation: the automaton runs over the text byte by byte, keeping the
// set of active states closed under the empty transitions; the text matches
// when the set after its last byte holds an accepting state.
//
// Sets are bit sets of states. The closure of every state is computed once
// (when the automaton is small enough for a table of them), the byte values
// are split into classes that every transition treats alike, and the sets
// met during a run become deterministic states whose transitions are cached
// per class: a lazily built deterministic automaton. The cache is bounded;
// when it fills, the run goes on with the plain set simulation, which gives
// the same answers one byte at a time.
#include <array>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <unordered_map>
#include <utility>

#include "common/nls/nlspm_internal.h"
#include "platform/pal_locale.h"

namespace nls::pm {

void readByteClasses(ByteClasses &classes) {
  classes.alpha[0] = 0;
  classes.digit[0] = 0;
  for (int c = 1; c < 256; ++c) {
    classes.alpha[c] = (isupper(c) != 0 || islower(c) != 0 || isalpha(c) != 0) ? 1 : 0;
    classes.digit[c] = isdigit(c) != 0 ? 1 : 0;
  }
}

namespace {

using Word = uint64_t;

enum Test : uint8_t { kLiteral, kAny, kLetter, kNumber, kNothing };

// Closure tables above this many bytes are not built; closures are then
// found with a worklist at each step.
constexpr size_t kClosureTableBytes = 8u << 20;
// The default bound of the cache of deterministic states, in states and in
// bytes of sets and transitions.
constexpr size_t kDefaultCacheStates = 10000;
constexpr size_t kCacheBytes = 32u << 20;
// Entries of the transition rows that are not row offsets.
constexpr int32_t kUnknown = -1;
constexpr int32_t kAnswerNo = -2;
constexpr int32_t kAnswerYes = -3;

}  // namespace

struct Matcher::Impl {
  const Automaton &fa;
  unsigned char table[kTableSize];
  std::vector<uint8_t> test;     // per transition
  std::vector<uint8_t> epsilon;  // per transition: followed by the closure
  bool usesClasses = false;
  bool classesKnown = false;
  ByteClasses classes{};
  const void *classesIdentity = nullptr;

  size_t words;                // words of one set
  std::vector<Word> closures;  // states x words, or empty
  std::vector<Word> accept;    // the accepting states as a set

  uint8_t byteClass[256] = {};
  uint8_t representative[256] = {};
  int classCount = 0;

  // The bytes that end a text (NUL and the end marker) form a class of
  // their own, the last one; the others are split by the transitions.
  int stopClass = 0;

  // The cache of deterministic states.
  std::vector<Word> sets;  // states x words
  // states x classes: the row offset of the next state, kUnknown while not
  // yet computed, or an answer (kAnswerNo, kAnswerYes). The stop class of
  // a row holds the answer of a text that ends there; every class of a
  // settled row holds its answer (the empty set: 0 whatever follows; an
  // accepting set that every byte maps to itself: 1 whatever follows).
  std::vector<int32_t> next;
  std::vector<uint8_t> accepts;  // per deterministic state
  std::unordered_map<uint64_t, int32_t> byHash;
  std::vector<int32_t> sameHash;  // chain of states with one hash
  int32_t startState = -1;
  size_t limit = kDefaultCacheStates;
  bool fellBack = false;

  // Scratch sets.
  std::vector<Word> scratch;
  std::vector<Word> scratch2;
  std::vector<Word> probe;
  std::vector<int32_t> worklist;

  Impl(const Automaton &automaton, const unsigned char *t) : fa(automaton) {
    memcpy(table, t, kTableSize);
    size_t tcount = static_cast<size_t>(fa.transitions);
    test.resize(tcount);
    epsilon.resize(tcount);
    for (size_t i = 0; i < tcount; ++i) {
      unsigned char l = fa.label[i];
      if (fa.mark[i] == 0) {
        test[i] = kLiteral;
      } else if (l == table[kAnyChar]) {
        test[i] = kAny;
      } else if (l == table[kAlpha]) {
        test[i] = kLetter;
      } else if (l == table[kDigit]) {
        test[i] = kNumber;
      } else {
        test[i] = kNothing;
      }
      epsilon[i] = (fa.mark[i] != 0 && fa.negate[i] == 0 && l == table[kEpsilon]) ? 1 : 0;
    }
    // Only transitions that some state actually uses matter.
    for (int32_t q = 0; q < fa.states; ++q) {
      for (int k = 0; k < fa.count[static_cast<size_t>(q)]; ++k) {
        uint8_t kind = test[static_cast<size_t>(fa.first[static_cast<size_t>(q)]) + static_cast<size_t>(k)];
        if (kind == kLetter || kind == kNumber) {
          usesClasses = true;
        }
      }
    }
    words = (static_cast<size_t>(fa.states) + 63) / 64;
    if (words == 0) {
      words = 1;
    }
    accept.assign(words, 0);
    for (int32_t q = 0; q < fa.states; ++q) {
      if (fa.accepting[static_cast<size_t>(q)] != 0) {
        accept[static_cast<size_t>(q) / 64] |= Word{1} << (q % 64);
      }
    }
    scratch.assign(words, 0);
    scratch2.assign(words, 0);
    if (static_cast<size_t>(fa.states) * words * sizeof(Word) <= kClosureTableBytes) {
      buildClosures();
    }
  }

  bool passes(size_t tr, unsigned char c) const {
    bool ok;
    switch (test[tr]) {
      case kLiteral:
        ok = fa.label[tr] == c;
        break;
      case kAny:
        ok = true;
        break;
      case kLetter:
        ok = classes.alpha[c] != 0;
        break;
      case kNumber:
        ok = classes.digit[c] != 0;
        break;
      default:
        ok = false;
        break;
    }
    return ok != (fa.negate[tr] != 0);
  }

  static bool has(const Word *set, int32_t q) { return (set[q / 64] >> (q % 64)) & 1; }
  static void add(Word *set, int32_t q) { set[q / 64] |= Word{1} << (q % 64); }

  // Adds q and everything its empty transitions reach to set.
  void closeInto(Word *set, int32_t q) {
    if (!closures.empty()) {
      const Word *c = &closures[static_cast<size_t>(q) * words];
      for (size_t w = 0; w < words; ++w) {
        set[w] |= c[w];
      }
      return;
    }
    if (has(set, q)) {
      return;
    }
    add(set, q);
    worklist.clear();
    worklist.push_back(q);
    while (!worklist.empty()) {
      int32_t s = worklist.back();
      worklist.pop_back();
      size_t f = static_cast<size_t>(fa.first[static_cast<size_t>(s)]);
      for (int k = 0; k < fa.count[static_cast<size_t>(s)]; ++k) {
        if (epsilon[f + k] != 0) {
          int32_t to = fa.target[f + k];
          if (!has(set, to)) {
            add(set, to);
            worklist.push_back(to);
          }
        }
      }
    }
  }

  void buildClosures() {
    std::vector<Word> table2(static_cast<size_t>(fa.states) * words, 0);
    closures.clear();  // closeInto uses the worklist while the table is built
    for (int32_t q = 0; q < fa.states; ++q) {
      closeInto(&table2[static_cast<size_t>(q) * words], q);
    }
    closures.swap(table2);
  }

  // The set after one byte: the closed targets of every passing transition.
  void step(const Word *from, unsigned char c, Word *to) {
    memset(to, 0, words * sizeof(Word));
    for (size_t w = 0; w < words; ++w) {
      Word bits = from[w];
      while (bits != 0) {
        int bit = __builtin_ctzll(bits);
        bits &= bits - 1;
        int32_t q = static_cast<int32_t>(w * 64 + static_cast<size_t>(bit));
        size_t f = static_cast<size_t>(fa.first[static_cast<size_t>(q)]);
        for (int k = 0; k < fa.count[static_cast<size_t>(q)]; ++k) {
          if (passes(f + k, c)) {
            closeInto(to, fa.target[f + k]);
          }
        }
      }
    }
  }

  bool accepting(const Word *set) const {
    for (size_t w = 0; w < words; ++w) {
      if ((set[w] & accept[w]) != 0) {
        return true;
      }
    }
    return false;
  }

  static bool empty(const Word *set, size_t n) {
    for (size_t w = 0; w < n; ++w) {
      if (set[w] != 0) {
        return false;
      }
    }
    return true;
  }

  // Splits the byte values into classes that every transition treats alike.
  void computeByteClasses() {
    // Class 0 holds the bytes that end a text until the refinement is
    // done; it is renumbered last.
    memset(byteClass, 1, sizeof byteClass);
    byteClass[0] = 0;
    byteClass[table[kEnd]] = 0;
    classCount = 2;
    int classSize[256] = {table[kEnd] == 0 ? 1 : 2, table[kEnd] == 0 ? 255 : 254};
    std::array<Word, 4> alphaSet{};
    std::array<Word, 4> digitSet{};
    for (int c = 0; c < 256; ++c) {
      if (classes.alpha[c] != 0) {
        alphaSet[static_cast<size_t>(c) / 64] |= Word{1} << (c % 64);
      }
      if (classes.digit[c] != 0) {
        digitSet[static_cast<size_t>(c) / 64] |= Word{1} << (c % 64);
      }
    }
    std::vector<std::array<Word, 4>> seen;
    std::vector<uint32_t> tests;  // distinct (kind, negation, literal) of the transitions
    for (size_t tr = 0; tr < test.size(); ++tr) {
      uint32_t key = static_cast<uint32_t>(test[tr]) << 9 | static_cast<uint32_t>(fa.negate[tr] != 0) << 8 |
                     (test[tr] == kLiteral ? fa.label[tr] : 0u);
      bool testKnown = false;
      for (uint32_t k : tests) {
        if (k == key) {
          testKnown = true;
          break;
        }
      }
      if (testKnown) {
        continue;
      }
      tests.push_back(key);
      std::array<Word, 4> members{};
      switch (test[tr]) {
        case kLiteral:
          members[fa.label[tr] / 64u] = Word{1} << (fa.label[tr] % 64u);
          break;
        case kAny:
          members.fill(~Word{0});
          break;
        case kLetter:
          members = alphaSet;
          break;
        case kNumber:
          members = digitSet;
          break;
        default:
          break;
      }
      // A set and its complement split the bytes alike.
      int count = 0;
      for (Word w : members) {
        count += __builtin_popcountll(w);
      }
      if (count == 0 || count == 256) {
        continue;
      }
      if (count > 128) {
        for (Word &w : members) {
          w = ~w;
        }
        count = 256 - count;
      }
      bool known = false;
      for (const auto &m : seen) {
        if (m == members) {
          known = true;
          break;
        }
      }
      if (known) {
        continue;
      }
      seen.push_back(members);
      if (count == 1) {
        // One byte leaves its class, unless it is alone there already.
        int c = 0;
        while (((members[static_cast<size_t>(c) / 64] >> (c % 64)) & 1) == 0) {
          ++c;
        }
        if (byteClass[c] != 0 && classSize[byteClass[c]] > 1) {
          classSize[byteClass[c]]--;
          byteClass[c] = static_cast<uint8_t>(classCount);
          classSize[classCount++] = 1;
        }
        continue;
      }
      // Refine: (old class, member or not) -> new class.
      int16_t remap[512];
      for (int16_t &r : remap) {
        r = -1;
      }
      int made = 0;
      for (int c = 0; c < 256; ++c) {
        // The stop bytes stay together in class 0, which is met first.
        int in =
            byteClass[c] == 0 ? 0 : static_cast<int>((members[static_cast<size_t>(c) / 64] >> (c % 64)) & 1);
        int slot = byteClass[c] * 2 + in;
        if (remap[slot] < 0) {
          remap[slot] = static_cast<int16_t>(made++);
        }
        byteClass[c] = static_cast<uint8_t>(remap[slot]);
      }
      classCount = made;
      memset(classSize, 0, sizeof classSize);
      for (int c = 0; c < 256; ++c) {
        classSize[byteClass[c]]++;
      }
    }
    // The stop class becomes the last one: the others are 0..stopClass-1.
    stopClass = classCount - 1;
    for (int c = 0; c < 256; ++c) {
      byteClass[c] = static_cast<uint8_t>(byteClass[c] == 0 ? stopClass : byteClass[c] - 1);
    }
    for (int c = 255; c >= 0; --c) {
      representative[byteClass[c]] = static_cast<uint8_t>(c);
    }
  }

  void resetCache() {
    sets.clear();
    next.clear();
    accepts.clear();
    byHash.clear();
    sameHash.clear();
    startState = -1;
  }

  uint64_t hashSet(const Word *set) const {
    uint64_t h = 0x9E3779B97F4A7C15ull;
    for (size_t w = 0; w < words; ++w) {
      h ^= set[w];
      h *= 0xFF51AFD7ED558CCDull;
      h ^= h >> 29;
    }
    return h;
  }

  size_t cachedCount() const { return accepts.size(); }

  // Every byte class maps set to itself.
  bool keepsItself(const Word *set) {
    probe.resize(words);
    for (int k = 0; k < stopClass; ++k) {
      step(set, representative[k], probe.data());
      if (memcmp(probe.data(), set, words * sizeof(Word)) != 0) {
        return false;
      }
    }
    return true;
  }

  // The deterministic state of set, added to the cache when new; -1 when
  // the cache is full.
  int32_t intern(const Word *set) {
    uint64_t h = hashSet(set);
    auto it = byHash.find(h);
    if (it != byHash.end()) {
      for (int32_t id = it->second; id >= 0; id = sameHash[static_cast<size_t>(id)]) {
        if (memcmp(&sets[static_cast<size_t>(id) * words], set, words * sizeof(Word)) == 0) {
          return id;
        }
      }
    }
    size_t n = cachedCount();
    size_t bytesPerState = words * sizeof(Word) + static_cast<size_t>(classCount) * sizeof(int32_t) + 16;
    if (n >= limit || (n + 1) * bytesPerState > kCacheBytes) {
      return -1;
    }
    int32_t id = static_cast<int32_t>(n);
    sets.insert(sets.end(), set, set + words);
    const bool accepts1 = accepting(set);
    accepts.push_back(accepts1 ? 1 : 0);
    int32_t fill = kUnknown;
    if (empty(set, words)) {
      fill = kAnswerNo;
    } else if (accepts1 && keepsItself(set)) {
      fill = kAnswerYes;
    }
    next.insert(next.end(), static_cast<size_t>(classCount), fill);
    next[n * static_cast<size_t>(classCount) + static_cast<size_t>(stopClass)] =
        accepts1 ? kAnswerYes : kAnswerNo;
    sameHash.push_back(it != byHash.end() ? it->second : -1);
    byHash[h] = id;
    return id;
  }

  // Ready to run: byte classes made, and read again when the automaton
  // tests the locale's classes.
  void prepare() {
    if (classesKnown) {
      // The runtime's table is the same as at the last run: so are the
      // classes read from it.
      if (!usesClasses) {
        return;
      }
      const void *identity = pal::classificationTable();
      if (identity != nullptr && identity == classesIdentity) {
        return;
      }
    }
    prepareSlow();
  }

  void prepareSlow() {
    if (!usesClasses) {
      if (!classesKnown) {
        classesKnown = true;
        computeByteClasses();
      }
      return;
    }
    // The runtime's table is the same as at the last run: so are the
    // classes read from it.
    const void *identity = pal::classificationTable();
    if (classesKnown && identity != nullptr && identity == classesIdentity) {
      return;
    }
    ByteClasses now;
    readByteClasses(now);
    classesIdentity = identity;
    if (classesKnown && memcmp(&now, &classes, sizeof now) == 0) {
      return;
    }
    classes = now;
    classesKnown = true;
    computeByteClasses();
    resetCache();
  }

  int runSetsFrom(Word *current, const unsigned char *p) {
    unsigned char end = table[kEnd];
    Word *a = current;
    Word *b = current == scratch.data() ? scratch2.data() : scratch.data();
    for (; *p != 0 && *p != end; ++p) {
      step(a, *p, b);
      std::swap(a, b);
    }
    return accepting(a) ? 1 : 0;
  }

  int runSets(const char *text) {
    prepare();
    std::vector<Word> start(words, 0);
    if (fa.states > 0) {
      closeInto(start.data(), fa.initial);
    }
    memcpy(scratch.data(), start.data(), words * sizeof(Word));
    return runSetsFrom(scratch.data(), reinterpret_cast<const unsigned char *>(text));
  }

  int run(const char *text) {
    prepare();
    fellBack = false;
    if (startState < 0) {
      memset(scratch.data(), 0, words * sizeof(Word));
      if (fa.states > 0) {
        closeInto(scratch.data(), fa.initial);
      }
      startState = intern(scratch.data());
      if (startState < 0) {
        fellBack = true;
        return runSetsFrom(scratch.data(), reinterpret_cast<const unsigned char *>(text));
      }
    }
    // The hot loop works on local copies; they are read again after each
    // new deterministic state (which may move the arrays). next holds the
    // row offset (state x classes) of each target, so that a byte costs
    // one class load and one transition load, and the end of the text and
    // a settled answer come out of the same load as negative entries.
    const unsigned char *p = reinterpret_cast<const unsigned char *>(text);
    const size_t nc = static_cast<size_t>(classCount);
    const uint8_t *cls = byteClass;
    const int32_t *trans = next.data();
    size_t row = static_cast<size_t>(startState) * nc;
    for (;; ++p) {
      const uint8_t k = cls[*p];
      int32_t to = trans[row + k];
      if (to < 0) [[unlikely]] {
        if (to != kUnknown) {
          return to == kAnswerYes ? 1 : 0;
        }
        step(&sets[row / nc * words], representative[k], scratch.data());
        int32_t id = intern(scratch.data());
        if (id < 0) {
          // The cache is full: go on with the set simulation from here.
          fellBack = true;
          return runSetsFrom(scratch.data(), p + 1);
        }
        to = static_cast<int32_t>(static_cast<size_t>(id) * nc);
        next[row + k] = to;
        trans = next.data();
      }
      row = static_cast<size_t>(to);
    }
  }
};

Matcher::Matcher(Automaton fa, const unsigned char *table) : fa_(std::move(fa)) {
  impl_ = std::make_unique<Impl>(fa_, table);
}

Matcher::~Matcher() = default;

int Matcher::run(const char *text) { return impl_->run(text); }
int Matcher::runSets(const char *text) { return impl_->runSets(text); }
void Matcher::setCacheLimit(size_t states) {
  impl_->limit = states;
  impl_->resetCache();
}
size_t Matcher::cachedStates() const { return impl_->cachedCount(); }
bool Matcher::fellBack() const { return impl_->fellBack; }

[[noreturn]] void outOfMemory() { abort(); }

}  // namespace nls::pm
