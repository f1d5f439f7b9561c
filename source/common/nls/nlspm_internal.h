// Internals of the pattern matcher, shared by its four files: the interface
// (nlspmif.cpp), the parser (nlspmprs.cpp), the automaton build and its
// serialised form (nlspmfab.cpp), and the simulation (nlspmfas.cpp).
#ifndef ORVANE_NLSPM_INTERNAL_H
#define ORVANE_NLSPM_INTERNAL_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace nls::pm {

// Table positions.
enum Role : int {
  kEscape = 0,
  kAlternation = 1,
  kRepeat = 2,
  kGroupOpen = 3,
  kGroupClose = 4,
  kOneOrMore = 5,
  kZeroOrOne = 6,
  kComplement = 7,
  kAnyChar = 8,
  kAlpha = 9,
  kDigit = 10,
  kAnyString = 11,
  kLastWildcard = 18,
  kEmpty = 19,
  kEnd = 20,
  kConcat = 21,
  kEpsilon = 22,
};

constexpr int kTableSize = 24;
constexpr int kTableRoles = 23;  // positions read from a caller's table
inline constexpr unsigned char kDefaultTable[kTableSize] = {'!', '|', '*', '(', ')',  '>',  '<',  '\\',
                                                            '?', '^', '#', '@', '[',  ']',  ':',  '=',
                                                            ';', '_', '&', '0', 0x0D, 0x0A, 0x08, 0};

// The calling thread's working copy of the metacharacter table, loaded from
// table (null: the default). The copy is per thread: threads that match
// with different tables at the same time do not disturb each other.
const unsigned char *loadTable(const char *table);

// Errors of the parser (the 16-bit error argument holds them as unsigned).
constexpr int kErrEmpty = -1;
constexpr int kErrNoExpression = -2;
constexpr int kErrTrailing = -3;
constexpr int kErrAlternative = -4;
constexpr int kErrComplement = -5;
constexpr int kErrGroupClose = -6;
constexpr int kErrGroup = -7;
constexpr int kErrEscape = -8;
constexpr int kErrControl = -9;
constexpr int kErrInternal = -10;
constexpr int kErrMode = -11;
constexpr int kErrTooLarge = -12;

// What a token of the postfix form stands for. The parser knows it from
// the grammar; the build reads it rather than comparing the token with the
// table again, so that a table in which one character has two roles can
// never make the build pop an empty fragment stack.
enum TokenRole : uint8_t {
  kRoleLiteral,
  kRoleWildcard,   // positions 8 to 18 other than the any-string wildcard
  kRoleAnyString,  // position 11
  kRoleEmpty,      // the escaped position-19 character
  kRoleConcat,
  kRoleAlternation,
  kRoleRepeat,
  kRoleOneOrMore,
  kRoleZeroOrOne,
  kRoleComplement,
  kRoleEnd,
};

// The postfix form: tokens ending with the end marker, and one mark per
// token (set: an operator or a wildcard; clear: a literal character), and
// the role of each token.
struct Postfix {
  std::vector<unsigned char> tokens;
  std::vector<uint8_t> marks;
  std::vector<uint8_t> roles;
  void emit(unsigned char token, bool marked, TokenRole role) {
    tokens.push_back(token);
    marks.push_back(marked ? 1 : 0);
    roles.push_back(role);
  }
};

// The bit array of 16-bit words of a set of flags: bit 15 - (i mod 16) of
// word i / 16.
std::vector<uint16_t> packBits(const std::vector<uint8_t> &flags);

struct ParseResult {
  bool ok = false;
  int error = 0;
  size_t position = 0;
};

// The working pattern of a mode: the pattern wrapped as the mode says and
// ended with the end marker. mode must be 0..3.
std::string wrapPattern(int mode, const char *pattern, const unsigned char *table);

// Parses a working pattern (ending with the table's end marker) into its
// postfix form. Never recursive: nesting depth costs heap, not stack.
ParseResult parse(const std::string &working, const unsigned char *table, Postfix &out);

// Letter and digit classification of the current locale, per byte.
struct ByteClasses {
  uint8_t alpha[256];
  uint8_t digit[256];
};
void readByteClasses(ByteClasses &classes);
// Alphanumeric in the sense of the parser's escape rule (upper, lower, digit
// or alpha of the current locale).
bool isAlnumByte(unsigned char c);

// The automaton: states 0..S-1, transition slots 0..T-1 with T = 2S.
struct Automaton {
  int32_t stackCapacity = 0;
  int32_t created = 0;
  int32_t initial = 0;
  int32_t states = 0;
  int32_t transitions = 0;
  std::vector<uint8_t> count;  // transitions of each state (0..2)
  std::vector<int32_t> first;  // first transition of each state
  std::vector<uint8_t> accepting;
  std::vector<int32_t> target;
  std::vector<uint8_t> mark;
  std::vector<uint8_t> negate;
  std::vector<unsigned char> label;
};

// The state count of a postfix form: 4 per marked any-string token, none per
// marked concatenation, 2 per other token.
int64_t stateCount(const Postfix &postfix, const unsigned char *table);

// Thompson's construction over a postfix form.
void build(const Postfix &postfix, const unsigned char *table, size_t workingLength, Automaton &fa);

// The serialised block (most-significant byte first) and its reader. read
// checks the header and the arrays and returns false for a block that it
// would not run.
constexpr size_t kHeaderSize = 14;
bool fitsSerialisedForm(const Automaton &fa);
std::vector<unsigned char> serialise(const Automaton &fa);
// The size in bytes that a header describes, or 0 when the header is bad.
size_t serialisedSize(const unsigned char *block);
bool deserialise(const unsigned char *block, Automaton &fa);

// A compiled matcher: an automaton with its byte classes and the lazily
// built deterministic states. Runs many texts; each run reads the locale's
// classes again.
class Matcher {
 public:
  Matcher(Automaton fa, const unsigned char *table);
  ~Matcher();
  Matcher(const Matcher &) = delete;
  Matcher &operator=(const Matcher &) = delete;

  // 1 when text (up to its NUL or the end marker) is matched whole.
  int run(const char *text);
  // The same answer from the set simulation alone, without the cache.
  int runSets(const char *text);

  const Automaton &automaton() const { return fa_; }
  // The limit of the cache of deterministic states (tests lower it to reach
  // the fallback).
  void setCacheLimit(size_t states);
  size_t cachedStates() const;
  bool fellBack() const;

 private:
  struct Impl;
  Automaton fa_;
  std::unique_ptr<Impl> impl_;
};

// A matcher for the shape that most patterns have: a concatenation of
// literal characters, any-character wildcards and any-string wildcards
// (groups without operators included). Its answers are the automaton's:
// the text ends at its NUL or the end marker, a literal matches its own
// byte, the any-character wildcard one byte, the any-string wildcard any
// run of bytes. The text is then matched without an automaton: compares
// from the front up to the first any-string wildcard, from the back after
// the last one, and a leftmost search for each piece in between.
class Shortcut {
 public:
  // Takes the postfix form of a working pattern; false (and the shortcut
  // unusable) when the form has another shape or the table gives one of
  // its tokens a second meaning in the automaton.
  bool make(const Postfix &postfix, const unsigned char *table);
  // 1 when text is matched whole. The first piece is compared here, in
  // line: patterns such as a plain word or "?a@" are answered by it.
  int run(const char *text) const {
    const unsigned char *p = reinterpret_cast<const unsigned char *>(text);
    const unsigned char *b = bytes_.data();
    const uint8_t *a = any_.data();
    const unsigned char end = end_;
    if (headLiteral_) {
      // A literal is never NUL or the end marker: a mismatch covers the
      // end of the text as well.
      for (uint32_t i = 0; i < headLength_; ++i) {
        if (p[i] != b[i]) {
          return 0;
        }
      }
    } else {
      for (uint32_t i = 0; i < headLength_; ++i) {
        const unsigned char c = p[i];
        if (c == 0 || c == end || (a[i] == 0 && c != b[i])) {
          return 0;
        }
      }
    }
    p += headLength_;
    if (after_ == kAfterEnds) {
      return (*p == 0 || *p == end) ? 1 : 0;
    }
    return after_ == kAfterAnything ? 1 : runRest(p);
  }

 private:
  // What follows the first piece.
  enum After : uint8_t {
    kAfterEnds,      // the end of the text: no any-string wildcard
    kAfterAnything,  // one any-string wildcard, and nothing after it
    kAfterMore,      // further pieces
  };
  // The rest of the run after the first piece, which ended at p.
  int runRest(const unsigned char *p) const;
  // A piece between any-string wildcards: elements [start, start + length).
  struct Piece {
    uint32_t start;
    uint32_t length;
    int32_t anchor;  // offset of its first literal element, -1: none
  };
  bool matchesAt(const unsigned char *p, const Piece &piece) const;
  // The leftmost offset in [from, limit - length] at which piece matches,
  // or SIZE_MAX.
  size_t find(const unsigned char *p, size_t from, size_t limit, const Piece &piece) const;

  std::vector<unsigned char> bytes_;  // per element: the literal byte
  std::vector<uint8_t> any_;          // per element: 1 for the any-character wildcard
  // The piece before the first any-string wildcard, the pieces between, and
  // (with an any-string wildcard) the piece after the last one.
  std::vector<Piece> pieces_;
  bool anyString_ = false;
  unsigned char end_ = 0;
  uint32_t headLength_ = 0;
  bool headLiteral_ = false;  // the first piece holds literals only
  After after_ = kAfterEnds;
};

// Ends the process: the matcher's answer to memory running out.
[[noreturn]] void outOfMemory();

}  // namespace nls::pm

#endif
