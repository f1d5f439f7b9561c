// The four internal routines that carry the string primitives.
#ifndef ORVANE_NLS_STRINGS_H
#define ORVANE_NLS_STRINGS_H

namespace nls {

// Walks src character by character, at most maxChars characters, stopping
// before a character whose end would pass dstSize - terminate bytes, and
// copies the bytes walked. Then writes a NUL after them, except when
// terminate is 0 and the bytes copied plus the length of the last character
// examined reach dstSize (a full fixed-width field stays unterminated). A
// dstSize of 0 or less writes nothing. Returns dst.
char *copyChars(char *dst, int dstSize, const char *src, int maxChars, int terminate);

// The n-th character of s (from 0), or its terminating NUL when s is
// shorter.
const char *charAt(const char *s, int n);

// The first occurrence of sep that starts on a character boundary and is
// not the character right after an occurrence of escape (a null or empty
// escape escapes nothing); null when there is none. An empty sep matches at
// the start.
const char *findUnescaped(const char *s, const char *sep, const char *escape);

// The first place in set where the whole character at c occurs on a
// character boundary, or null.
const char *findChar(const char *set, const char *c);

}  // namespace nls

#endif
