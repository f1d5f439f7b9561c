// The automaton build: Thompson's construction over the postfix form, one
// pair of states per token, and the serialised block that nlsBuildFA hands
// out and nlsSimulFA reads back (layout in docs/patterns.md).
#include <cstring>

#include "common/nls/nlspm_internal.h"

namespace nls::pm {

int64_t stateCount(const Postfix &postfix, const unsigned char *table) {
  int64_t n = 0;
  (void)table;
  for (uint8_t role : postfix.roles) {
    if (role == kRoleEnd) {
      break;
    }
    if (role == kRoleConcat) {
      continue;
    }
    n += role == kRoleAnyString ? 4 : 2;
  }
  return n;
}

namespace {

struct Fragment {
  int32_t start;
  int32_t end;
};

class Builder {
 public:
  Builder(Automaton &fa, const unsigned char *table) : fa_(fa), t_(table) {}

  int32_t newState() { return fa_.created++; }

  void transition(int32_t from, int32_t to, unsigned char label, bool marked) {
    int32_t slot = 2 * from + fa_.count[from];
    fa_.count[from]++;
    fa_.target[slot] = to;
    fa_.label[slot] = label;
    fa_.mark[slot] = marked ? 1 : 0;
  }
  void epsilon(int32_t from, int32_t to) { transition(from, to, t_[kEpsilon], true); }

  Fragment pop() {
    Fragment f = stack_.back();
    stack_.pop_back();
    return f;
  }
  void push(Fragment f) { stack_.push_back(f); }

  Fragment atom(unsigned char label, bool marked) {
    int32_t s = newState();
    int32_t f = newState();
    transition(s, f, label, marked);
    return {s, f};
  }
  Fragment repeat(Fragment a) {
    int32_t s = newState();
    int32_t f = newState();
    epsilon(s, a.start);
    epsilon(s, f);
    epsilon(a.end, a.start);
    epsilon(a.end, f);
    return {s, f};
  }

  void run(const Postfix &postfix);

 private:
  Automaton &fa_;
  const unsigned char *t_;
  std::vector<Fragment> stack_;
};

void Builder::run(const Postfix &postfix) {
  for (size_t i = 0; i < postfix.tokens.size(); ++i) {
    unsigned char tok = postfix.tokens[i];
    switch (postfix.roles[i]) {
      case kRoleEnd:
        i = postfix.tokens.size();
        break;
      case kRoleLiteral:
        push(atom(tok, postfix.marks[i] != 0));
        break;
      case kRoleConcat: {
        Fragment b = pop();
        Fragment a = pop();
        epsilon(a.end, b.start);
        push({a.start, b.end});
        break;
      }
      case kRoleAlternation: {
        Fragment b = pop();
        Fragment a = pop();
        int32_t s = newState();
        int32_t f = newState();
        epsilon(s, a.start);
        epsilon(s, b.start);
        epsilon(a.end, f);
        epsilon(b.end, f);
        push({s, f});
        break;
      }
      case kRoleRepeat:
        push(repeat(pop()));
        break;
      case kRoleOneOrMore: {
        Fragment a = pop();
        int32_t s = newState();
        int32_t f = newState();
        epsilon(s, a.start);
        epsilon(a.end, a.start);
        epsilon(a.end, f);
        push({s, f});
        break;
      }
      case kRoleZeroOrOne: {
        Fragment a = pop();
        int32_t s = newState();
        int32_t f = newState();
        epsilon(s, a.start);
        epsilon(s, f);
        epsilon(a.end, f);
        push({s, f});
        break;
      }
      case kRoleComplement: {
        Fragment a = pop();
        fa_.negate[2 * static_cast<size_t>(a.start)] ^= 1;
        push(a);
        break;
      }
      case kRoleAnyString:
        push(repeat(atom(t_[kAnyChar], true)));
        break;
      case kRoleEmpty: {
        int32_t s = newState();
        int32_t f = newState();
        epsilon(s, f);
        push({s, f});
        break;
      }
      default:
        // The other wildcards: a single transition with the marked label.
        push(atom(tok, true));
        break;
    }
  }
  Fragment last = pop();
  fa_.initial = last.start;
  fa_.accepting[last.end] = 1;
}

void put16(std::vector<unsigned char> &out, int32_t v) {
  out.push_back(static_cast<unsigned char>((static_cast<uint32_t>(v) >> 8) & 0xFF));
  out.push_back(static_cast<unsigned char>(static_cast<uint32_t>(v) & 0xFF));
}

int32_t get16(const unsigned char *p) {
  return static_cast<int16_t>(static_cast<uint16_t>((p[0] << 8) | p[1]));
}

void putBits(std::vector<unsigned char> &out, const std::vector<uint8_t> &flags, int32_t words) {
  std::vector<uint16_t> packed = packBits(flags);
  packed.resize(static_cast<size_t>(words), 0);
  for (uint16_t w : packed) {
    put16(out, w);
  }
}

bool getBit(const unsigned char *words, int32_t i) {
  const unsigned char *w = words + 2 * static_cast<size_t>(i / 16);
  uint16_t v = static_cast<uint16_t>((w[0] << 8) | w[1]);
  return (v >> (15 - i % 16)) & 1;
}

constexpr int32_t kMax16 = 32767;

}  // namespace

void build(const Postfix &postfix, const unsigned char *table, size_t workingLength, Automaton &fa) {
  int64_t s = stateCount(postfix, table);
  fa = Automaton();
  fa.states = static_cast<int32_t>(s);
  fa.transitions = static_cast<int32_t>(2 * s);
  fa.stackCapacity =
      static_cast<int32_t>((workingLength + 1) / 2 > 0x7FFFFFFF ? 0x7FFFFFFF : (workingLength + 1) / 2);
  fa.count.assign(static_cast<size_t>(s), 0);
  fa.first.resize(static_cast<size_t>(s));
  for (int32_t i = 0; i < fa.states; ++i) {
    fa.first[static_cast<size_t>(i)] = 2 * i;
  }
  fa.accepting.assign(static_cast<size_t>(s), 0);
  fa.target.assign(static_cast<size_t>(2 * s), 0);
  fa.mark.assign(static_cast<size_t>(2 * s), 0);
  fa.negate.assign(static_cast<size_t>(2 * s), 0);
  fa.label.assign(static_cast<size_t>(2 * s), 0);
  Builder builder(fa, table);
  builder.run(postfix);
}

bool fitsSerialisedForm(const Automaton &fa) {
  return fa.states >= 1 && fa.transitions - 1 <= kMax16 && fa.stackCapacity <= kMax16 && fa.created <= kMax16;
}

// Field order: stack capacity, states created, initial state, S - 1,
// (S - 1) / 16, T - 1, (T - 1) / 16, transition counts (bytes), accepting
// bits, first transitions, targets, mark bits, negation bits, labels.
std::vector<unsigned char> serialise(const Automaton &fa) {
  int32_t s = fa.states;
  int32_t t = fa.transitions;
  int32_t stateWords = (s - 1) / 16 + 1;
  int32_t transWords = (t - 1) / 16 + 1;
  std::vector<unsigned char> out;
  out.reserve(kHeaderSize + static_cast<size_t>(s) * 3 + static_cast<size_t>(t) * 3 +
              static_cast<size_t>(stateWords + 2 * transWords) * 2);
  put16(out, fa.stackCapacity);
  put16(out, fa.created);
  put16(out, fa.initial);
  put16(out, s - 1);
  put16(out, stateWords - 1);
  put16(out, t - 1);
  put16(out, transWords - 1);
  out.insert(out.end(), fa.count.begin(), fa.count.end());
  putBits(out, fa.accepting, stateWords);
  for (int32_t v : fa.first) {
    put16(out, v);
  }
  for (int32_t v : fa.target) {
    put16(out, v);
  }
  putBits(out, fa.mark, transWords);
  putBits(out, fa.negate, transWords);
  out.insert(out.end(), fa.label.begin(), fa.label.end());
  return out;
}

size_t serialisedSize(const unsigned char *block) {
  int32_t lastState = get16(block + 6);
  int32_t lastStateWord = get16(block + 8);
  int32_t lastTrans = get16(block + 10);
  int32_t lastTransWord = get16(block + 12);
  if (lastState < 0 || lastStateWord < 0 || lastTrans < 0 || lastTransWord < 0) {
    return 0;
  }
  size_t s = static_cast<size_t>(lastState) + 1;
  size_t t = static_cast<size_t>(lastTrans) + 1;
  return kHeaderSize + s + 2 * (static_cast<size_t>(lastStateWord) + 1) + 2 * s + 2 * t +
         4 * (static_cast<size_t>(lastTransWord) + 1) + t;
}

bool deserialise(const unsigned char *block, Automaton &fa) {
  if (block == nullptr) {
    return false;
  }
  int32_t capacity = get16(block);
  int32_t created = get16(block + 2);
  int32_t initial = get16(block + 4);
  int32_t lastState = get16(block + 6);
  int32_t lastStateWord = get16(block + 8);
  int32_t lastTrans = get16(block + 10);
  int32_t lastTransWord = get16(block + 12);
  // Every field is a non-negative signed 16-bit value; the counts agree
  // with each other (a complement token is counted but creates no state,
  // so fewer states may have been created than the arrays hold).
  if (capacity < 0 || created < 0 || initial < 0 || lastState < 0 || lastStateWord < 0 || lastTrans < 0 ||
      lastTransWord < 0) {
    return false;
  }
  int32_t s = lastState + 1;
  int32_t t = lastTrans + 1;
  if (t != 2 * s || created > s || initial >= s || lastStateWord != (s - 1) / 16 ||
      lastTransWord != (t - 1) / 16) {
    return false;
  }
  const unsigned char *p = block + kHeaderSize;
  const unsigned char *counts = p;
  p += s;
  const unsigned char *accepting = p;
  p += 2 * static_cast<size_t>(lastStateWord + 1);
  const unsigned char *firsts = p;
  p += 2 * static_cast<size_t>(s);
  const unsigned char *targets = p;
  p += 2 * static_cast<size_t>(t);
  const unsigned char *marks = p;
  p += 2 * static_cast<size_t>(lastTransWord + 1);
  const unsigned char *negations = p;
  p += 2 * static_cast<size_t>(lastTransWord + 1);
  const unsigned char *labels = p;

  fa = Automaton();
  fa.stackCapacity = capacity;
  fa.created = created;
  fa.initial = initial;
  fa.states = s;
  fa.transitions = t;
  fa.count.resize(static_cast<size_t>(s));
  fa.first.resize(static_cast<size_t>(s));
  fa.accepting.resize(static_cast<size_t>(s));
  for (int32_t i = 0; i < s; ++i) {
    int32_t n = counts[i];
    int32_t f = get16(firsts + 2 * static_cast<size_t>(i));
    if (n > 2 || f < 0 || f >= t || f + n > t) {
      return false;
    }
    fa.count[static_cast<size_t>(i)] = static_cast<uint8_t>(n);
    fa.first[static_cast<size_t>(i)] = f;
    fa.accepting[static_cast<size_t>(i)] = getBit(accepting, i) ? 1 : 0;
  }
  fa.target.resize(static_cast<size_t>(t));
  fa.mark.resize(static_cast<size_t>(t));
  fa.negate.resize(static_cast<size_t>(t));
  fa.label.resize(static_cast<size_t>(t));
  for (int32_t i = 0; i < t; ++i) {
    int32_t to = get16(targets + 2 * static_cast<size_t>(i));
    if (to < 0 || to >= s) {
      return false;
    }
    fa.target[static_cast<size_t>(i)] = to;
    fa.mark[static_cast<size_t>(i)] = getBit(marks, i) ? 1 : 0;
    fa.negate[static_cast<size_t>(i)] = getBit(negations, i) ? 1 : 0;
    fa.label[static_cast<size_t>(i)] = labels[i];
  }
  return true;
}

}  // namespace nls::pm
