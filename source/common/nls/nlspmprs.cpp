// The pattern parser: wraps a pattern as its mode says, checks it against
// the grammar and writes its postfix form.
//
//   expression = term { alternation term }
//   term       = factor { factor }
//   factor     = complement atom | primary [ postfix-operator ]
//   primary    = group-open expression group-close | atom
//
// The descent is written as a loop over an explicit stack of open groups, so
// that deeply nested patterns cost heap rather than stack. Each group level
// remembers whether its current term follows an alternation (a failing term
// there is a missing alternative) and how many factors its term has.
#include <cctype>
#include <cstring>

#include "common/nls/nlspm_internal.h"

namespace nls::pm {

std::vector<uint16_t> packBits(const std::vector<uint8_t> &flags) {
  std::vector<uint16_t> words(flags.empty() ? 1 : (flags.size() + 15) / 16, 0);
  for (size_t i = 0; i < flags.size(); ++i) {
    if (flags[i] != 0) {
      words[i / 16] = static_cast<uint16_t>(words[i / 16] | (1u << (15 - i % 16)));
    }
  }
  return words;
}

bool isAlnumByte(unsigned char c) {
  return isupper(c) != 0 || islower(c) != 0 || isdigit(c) != 0 || isalpha(c) != 0;
}

std::string wrapPattern(int mode, const char *pattern, const unsigned char *table) {
  std::string w;
  const char blank = ' ';
  const char repeat = static_cast<char>(table[kRepeat]);
  const char open = static_cast<char>(table[kGroupOpen]);
  const char close = static_cast<char>(table[kGroupClose]);
  size_t n = strlen(pattern);
  w.reserve(n + 8);
  if (mode == 2 || mode == 3) {
    w += blank;
    w += repeat;
  }
  if (mode != 0) {
    w += open;
  }
  w.append(pattern, n);
  if (mode != 0) {
    w += close;
  }
  if (mode == 1 || mode == 3) {
    w += blank;
    w += repeat;
  }
  w += static_cast<char>(table[kEnd]);
  return w;
}

namespace {

class Parser {
 public:
  Parser(const std::string &working, const unsigned char *table, Postfix &out)
      : p_(reinterpret_cast<const unsigned char *>(working.data())), t_(table), out_(out) {}

  ParseResult run();

 private:
  struct Level {
    bool afterAlternation = false;
    int factors = 0;
  };

  unsigned char cur() const { return p_[pos_]; }
  bool isOperator(unsigned char c) const {
    for (int i = kEscape; i <= kComplement; ++i) {
      if (c == t_[i]) {
        return true;
      }
    }
    return false;
  }
  bool isPostfix(unsigned char c) const {
    return c == t_[kRepeat] || c == t_[kOneOrMore] || c == t_[kZeroOrOne];
  }
  bool endsTerm(unsigned char c) const {
    return c == t_[kEnd] || c == t_[kAlternation] || c == t_[kGroupClose];
  }
  bool isMeta(unsigned char c) const {
    for (int i = 0; i <= kLastWildcard; ++i) {
      if (c == t_[i]) {
        return true;
      }
    }
    return false;
  }
  void fail(int error) {
    if (result_.error == 0) {
      result_.error = error;
      result_.position = pos_;
    }
  }
  bool atom();

  const unsigned char *p_;
  const unsigned char *t_;
  Postfix &out_;
  size_t pos_ = 0;
  ParseResult result_;
};

// atom = escape escapable-character | printable non-operator character.
// Leaves the cursor after the atom when it succeeds, on the offending
// character when it fails.
bool Parser::atom() {
  unsigned char c = cur();
  if (c == t_[kEnd]) {
    return false;
  }
  if (c == t_[kEscape]) {
    ++pos_;
    c = cur();
    if (c == t_[kConcat] || c == t_[kEpsilon]) {
      fail(kErrInternal);
      return false;
    }
    if (c == t_[kEnd]) {
      fail(kErrEscape);
      return false;
    }
    if (c == t_[kEmpty]) {
      out_.emit(c, true, kRoleEmpty);
      ++pos_;
      return true;
    }
    if (isAlnumByte(c)) {
      fail(kErrEscape);
      return false;
    }
    out_.emit(c, false, kRoleLiteral);
    ++pos_;
    return true;
  }
  if (isOperator(c)) {
    return false;
  }
  if (c < 32 || c == 127) {
    fail(kErrControl);
    return false;
  }
  out_.emit(c, isMeta(c), !isMeta(c) ? kRoleLiteral : (c == t_[kAnyString] ? kRoleAnyString : kRoleWildcard));
  ++pos_;
  return true;
}

ParseResult Parser::run() {
  std::vector<Level> levels(1);
  enum class Step { kFactor, kPostfix, kAfterFactor };
  Step step = Step::kFactor;
  for (;;) {
    switch (step) {
      case Step::kFactor: {
        unsigned char c = cur();
        if (c == t_[kComplement] && c != t_[kEnd]) {
          ++pos_;
          if (!atom()) {
            fail(kErrComplement);
            goto failed;
          }
          out_.emit(c, true, kRoleComplement);
          step = Step::kAfterFactor;
          break;
        }
        if (c == t_[kGroupOpen] && c != t_[kEnd]) {
          ++pos_;
          levels.emplace_back();
          step = Step::kFactor;
          break;
        }
        if (!atom()) {
          goto failed;
        }
        step = Step::kPostfix;
        break;
      }
      case Step::kPostfix: {
        unsigned char c = cur();
        if (c != t_[kEnd] && isPostfix(c)) {
          out_.emit(c, true,
                    c == t_[kRepeat] ? kRoleRepeat : (c == t_[kOneOrMore] ? kRoleOneOrMore : kRoleZeroOrOne));
          ++pos_;
        }
        step = Step::kAfterFactor;
        break;
      }
      case Step::kAfterFactor: {
        Level &level = levels.back();
        if (++level.factors >= 2) {
          out_.emit(t_[kConcat], true, kRoleConcat);
        }
        unsigned char c = cur();
        if (!endsTerm(c)) {
          step = Step::kFactor;
          break;
        }
        // The term is complete.
        if (level.afterAlternation) {
          out_.emit(t_[kAlternation], true, kRoleAlternation);
        }
        if (c == t_[kAlternation] && c != t_[kEnd]) {
          ++pos_;
          level.afterAlternation = true;
          level.factors = 0;
          step = Step::kFactor;
          break;
        }
        // The expression of this level is complete.
        if (levels.size() > 1) {
          if (c != t_[kGroupClose] || c == t_[kEnd]) {
            fail(kErrGroupClose);
            goto failed;
          }
          ++pos_;
          levels.pop_back();
          step = Step::kPostfix;
          break;
        }
        if (c != t_[kEnd]) {
          fail(kErrTrailing);
          return result_;
        }
        out_.emit(t_[kEnd], false, kRoleEnd);
        result_.ok = true;
        result_.position = pos_;
        return result_;
      }
    }
  }
failed:
  // The failure travels out through every open level; only the first
  // error is kept, so the innermost context names it.
  if (levels.back().afterAlternation) {
    fail(kErrAlternative);
  } else if (levels.size() > 1) {
    fail(kErrGroup);
  } else {
    fail(kErrNoExpression);
  }
  result_.ok = false;
  return result_;
}

}  // namespace

ParseResult parse(const std::string &working, const unsigned char *table, Postfix &out) {
  out.tokens.clear();
  out.marks.clear();
  out.roles.clear();
  out.tokens.reserve(working.size() * 2);
  out.marks.reserve(working.size() * 2);
  out.roles.reserve(working.size() * 2);
  Parser parser(working, table, out);
  return parser.run();
}

}  // namespace nls::pm
