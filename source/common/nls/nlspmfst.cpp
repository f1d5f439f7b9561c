// The shortcut matcher: patterns that are a concatenation of literal
// characters, any-character wildcards and any-string wildcards, matched
// without an automaton.
//
// The automaton of such a pattern accepts exactly the texts (up to the NUL
// or the end marker) that split into the pattern's pieces in order, each
// any-string wildcard taking any run of bytes in between. That is the
// classic wildcard match: the piece before the first any-string wildcard
// must match at the start, the piece after the last one at the end, and
// every piece in between can be placed at its leftmost position after the
// previous one (a later placement never leaves more room for the rest).
//
// The shortcut is made only where nothing in the table changes that
// meaning: every token is a literal, the any-character wildcard or the
// any-string wildcard, and the any-character wildcard's label is not also
// the table's empty-transition label (which would turn the wildcard into an
// empty transition as well). Matching is byte by byte, as the automaton's:
// the locale plays no part in these tokens.
#include <cstdint>
#include <cstring>

#include "common/nls/nlspm_internal.h"

namespace nls::pm {

namespace {

// Pieces between two any-string wildcards are found by trying each
// position, which costs up to a piece's length per text byte: longer
// pieces stay with the automaton, whose cost a byte does not grow.
constexpr uint32_t kMaxInnerPiece = 16;

}  // namespace

bool Shortcut::make(const Postfix &postfix, const unsigned char *table) {
  bytes_.clear();
  any_.clear();
  pieces_.clear();
  anyString_ = false;
  end_ = table[kEnd];
  if (table[kAnyChar] == table[kEpsilon]) {
    return false;
  }
  Piece current{0, 0, -1};
  for (size_t i = 0; i < postfix.tokens.size(); ++i) {
    const unsigned char tok = postfix.tokens[i];
    switch (postfix.roles[i]) {
      case kRoleLiteral:
        // The end marker ends the working pattern, so no literal is the
        // end marker or NUL; the run relies on that.
        if (postfix.marks[i] != 0 || tok == 0 || tok == end_) {
          return false;
        }
        if (current.anchor < 0) {
          current.anchor = static_cast<int32_t>(current.length);
        }
        bytes_.push_back(tok);
        any_.push_back(0);
        ++current.length;
        break;
      case kRoleWildcard:
        // The automaton tests a marked label against the any-character
        // position first: any other wildcard is a class or matches nothing.
        if (tok != table[kAnyChar]) {
          return false;
        }
        bytes_.push_back(0);
        any_.push_back(1);
        ++current.length;
        break;
      case kRoleAnyString:
        if (anyString_ && current.length == 0) {
          break;  // two any-string wildcards in a row are one
        }
        if (anyString_ && current.length > kMaxInnerPiece) {
          return false;
        }
        pieces_.push_back(current);
        current = Piece{static_cast<uint32_t>(bytes_.size()), 0, -1};
        anyString_ = true;
        break;
      case kRoleConcat:
        break;
      case kRoleEnd:
        pieces_.push_back(current);
        headLength_ = pieces_.front().length;
        headLiteral_ = true;
        for (uint32_t k = 0; k < headLength_; ++k) {
          if (any_[k] != 0) {
            headLiteral_ = false;
          }
        }
        if (!anyString_) {
          after_ = kAfterEnds;
        } else if (pieces_.size() == 2 && pieces_[1].length == 0) {
          after_ = kAfterAnything;
        } else {
          after_ = kAfterMore;
        }
        return true;
      default:
        return false;
    }
  }
  return false;  // no end marker: not a postfix form of the parser
}

bool Shortcut::matchesAt(const unsigned char *p, const Piece &piece) const {
  const unsigned char *b = bytes_.data() + piece.start;
  const uint8_t *a = any_.data() + piece.start;
  for (uint32_t i = 0; i < piece.length; ++i) {
    if (a[i] == 0 && p[i] != b[i]) {
      return false;
    }
  }
  return true;
}

size_t Shortcut::find(const unsigned char *p, size_t from, size_t limit, const Piece &piece) const {
  if (limit < piece.length) {
    return SIZE_MAX;
  }
  const size_t last = limit - piece.length;  // the last start that fits
  if (piece.anchor < 0) {
    return from <= last ? from : SIZE_MAX;  // any bytes fit anywhere
  }
  const size_t anchor = static_cast<size_t>(piece.anchor);
  const unsigned char first = bytes_[piece.start + anchor];
  size_t at = from;
  while (at <= last) {
    const void *hit = memchr(p + at + anchor, first, last - at + 1);
    if (hit == nullptr) {
      return SIZE_MAX;
    }
    at = static_cast<size_t>(static_cast<const unsigned char *>(hit) - p) - anchor;
    if (matchesAt(p + at, piece)) {
      return at;
    }
    ++at;
  }
  return SIZE_MAX;
}

int Shortcut::runRest(const unsigned char *p) const {
  const unsigned char end = end_;
  // The length of the rest of the text, up to its NUL or the end marker.
  size_t n = strlen(reinterpret_cast<const char *>(p));
  if (end != 0) {
    const void *stop = memchr(p, end, n);
    if (stop != nullptr) {
      n = static_cast<size_t>(static_cast<const unsigned char *>(stop) - p);
    }
  }
  // The last piece, at the end.
  const Piece &tail = pieces_.back();
  if (n < tail.length || !matchesAt(p + n - tail.length, tail)) {
    return 0;
  }
  // The pieces in between, each at its leftmost place.
  const size_t limit = n - tail.length;
  size_t at = 0;
  for (size_t k = 1; k + 1 < pieces_.size(); ++k) {
    const size_t found = find(p, at, limit, pieces_[k]);
    if (found == SIZE_MAX) {
      return 0;
    }
    at = found + pieces_[k].length;
  }
  return 1;
}

}  // namespace nls::pm
