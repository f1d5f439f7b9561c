// Fuzz target: nlsSubstituteParameters with templates that respect its
// preconditions: a parameter number for every marker (the template is
// adjusted so that no assertion fires) and a destination sized exactly for
// the result, in a heap block of its own; the result is made twice, the
// second time into the exact fit.
//
// Input: flags, marker, template, 0x00, parameters. flags bit 0: double-byte
// locale; bit 1: numbered; bit 2: mode 1 (one parameter string split at the
// marker), else the parameters are separated by 0x01 and "\x02" alone
// stands for a null parameter.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <memory>
#include <string>
#include <vector>

#include "common/nls/nls_state.h"
#include "fuzz_nls_locale.h"
#include "orvane/nls.h"

namespace {

// Walks the template as the substitution does and makes every marker valid:
// in numbered mode each marker gets a digit 1 to 9 after it; in sequential
// mode a digit 0 after a marker becomes 1 (so that the template is never
// taken for a numbered one, which would reach the digit 0). Returns the
// number of markers.
int adjust(std::string &t, char marker, bool numbered) {
  int markers = 0;
  size_t i = 0;
  while (i < t.size() && t[i] != '\0') {
    const char *p = t.c_str() + i;
    const int n = nls::charLengthAt(p);
    if (n == 1 && *p == '\\') {
      ++i;
      if (i < t.size() && t[i] != '\0') {
        i += static_cast<size_t>(nls::charLengthAt(t.c_str() + i));
      }
      continue;
    }
    if (n == 1 && *p == marker) {
      ++markers;
      ++i;
      if (numbered) {
        if (i == t.size()) {
          t.push_back('1');
        } else if (t[i] < '1' || t[i] > '9') {
          t[i] = static_cast<char>('1' + static_cast<unsigned char>(t[i]) % 9);
        }
        ++i;
      } else if (i < t.size() && t[i] == '0') {
        t[i] = '1';
      }
      continue;
    }
    i += static_cast<size_t>(n);
  }
  return markers;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 2 || size > 8192) {
    return 0;
  }
  const uint8_t flags = data[0];
  char marker = static_cast<char>(data[1]);
  if (marker == '\0' || marker == '\\') {
    marker = '&';
  }
  const bool numbered = (flags & 2) != 0;
  const int mode = (flags & 4) != 0 ? 1 : 0;
  fuzzlocale::use((flags & 1) != 0);

  const char *begin = reinterpret_cast<const char *>(data + 2);
  const char *end = reinterpret_cast<const char *>(data + size);
  const char *zero = static_cast<const char *>(memchr(begin, 0, static_cast<size_t>(end - begin)));
  std::string templ(begin, zero != nullptr ? zero : end);
  std::string rest = zero != nullptr ? std::string(zero + 1, end) : std::string();
  rest = rest.c_str();  // up to its first NUL
  const int markers = adjust(templ, marker, numbered);
  const int count = numbered ? 9 : (markers > 0 ? markers : 1);

  std::vector<std::string> values;
  std::vector<const char *> params(static_cast<size_t>(count), nullptr);
  if (mode == 0) {
    size_t from = 0;
    while (values.size() < static_cast<size_t>(count)) {
      const size_t to = rest.find('\x01', from);
      values.push_back(rest.substr(from, to == std::string::npos ? std::string::npos : to - from));
      if (to == std::string::npos) {
        break;
      }
      from = to + 1;
    }
    for (size_t i = 0; i < values.size(); ++i) {
      params[i] = values[i] == "\x02" ? nullptr : values[i].c_str();
    }
  }
  const void *parameters = mode == 1 ? static_cast<const void *>(rest.c_str()) : params.data();

  // Every marker becomes at most the longest parameter; escapes only shrink.
  size_t longest = rest.size() + 2;
  const size_t room = templ.size() * (longest + 1) + 1;
  std::unique_ptr<char[]> first(new char[room]);
  nlsSubstituteParameters(first.get(), static_cast<int>(room), templ.c_str(), &marker, numbered ? 1 : 0,
                          count, mode, parameters);
  const size_t exact = strlen(first.get()) + 1;
  std::unique_ptr<char[]> second(new char[exact]);
  nlsSubstituteParameters(second.get(), static_cast<int>(exact), templ.c_str(), &marker, numbered ? 1 : 0,
                          count, mode, parameters);
  if (memcmp(first.get(), second.get(), exact) != 0) {
    abort();
  }
  return 0;
}
