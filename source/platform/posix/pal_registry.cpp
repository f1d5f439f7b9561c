// POSIX half of the per-user registry: the REGEDIT4 text file "user.reg" in
// the profile directory stands for HKEY_CURRENT_USER.
//
// Only the two value types the library reads are understood: text
// ("Name"="...", type 1, with \\ and \" escapes) and numbers
// ("Name"=dword:0000001f, type 4). Every other line (the REGEDIT4 header,
// comments, other value types and their continuation lines) is skipped.
#include <stdio.h>
#include <string.h>
#include <strings.h>

#include <string>

#include "platform/pal.h"
#include "platform/pal_registry.h"
#include "platform/posix/profile_path.h"

namespace pal {

namespace {

constexpr char kRegistryFile[] = "user.reg";
constexpr char kHive[] = "HKEY_CURRENT_USER";

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::string trimmed(const std::string &line) {
  size_t b = 0;
  size_t e = line.size();
  while (b < e && isBlank(line[b])) {
    ++b;
  }
  while (e > b && isBlank(line[e - 1])) {
    --e;
  }
  return line.substr(b, e - b);
}

// A key path without the backslashes at its ends.
std::string normalisedPath(const std::string &path) {
  size_t b = 0;
  size_t e = path.size();
  while (b < e && path[b] == '\\') {
    ++b;
  }
  while (e > b && path[e - 1] == '\\') {
    --e;
  }
  return path.substr(b, e - b);
}

// The key path of a "[HKEY_CURRENT_USER\...]" line, or false for a line that
// is not a section of this hive.
bool sectionPath(const std::string &line, std::string &path) {
  if (line.size() < 2 || line.front() != '[' || line.back() != ']') {
    return false;
  }
  std::string inner = line.substr(1, line.size() - 2);
  const size_t hiveLength = sizeof kHive - 1;
  if (inner.size() < hiveLength || strncasecmp(inner.c_str(), kHive, hiveLength) != 0) {
    return false;
  }
  if (inner.size() > hiveLength && inner[hiveLength] != '\\') {
    return false;
  }
  path = normalisedPath(inner.substr(hiveLength));
  return true;
}

// Reads a quoted text with \\ and \" escapes starting at text[pos] == '"'.
// On success pos is one past the closing quote.
bool quoted(const std::string &text, size_t &pos, std::string &out) {
  if (pos >= text.size() || text[pos] != '"') {
    return false;
  }
  out.clear();
  for (size_t i = pos + 1; i < text.size(); ++i) {
    char c = text[i];
    if (c == '"') {
      pos = i + 1;
      return true;
    }
    if (c == '\\') {
      if (i + 1 >= text.size() || (text[i + 1] != '\\' && text[i + 1] != '"')) {
        return false;
      }
      c = text[++i];
    }
    out.push_back(c);
  }
  return false;  // no closing quote
}

void skipBlanks(const std::string &text, size_t &pos) {
  while (pos < text.size() && isBlank(text[pos])) {
    ++pos;
  }
}

bool hexDword(const std::string &digits, uint32_t &number) {
  if (digits.empty() || digits.size() > 8) {
    return false;
  }
  number = 0;
  for (char c : digits) {
    uint32_t d;
    if (c >= '0' && c <= '9') {
      d = static_cast<uint32_t>(c - '0');
    } else if (c >= 'a' && c <= 'f') {
      d = static_cast<uint32_t>(c - 'a' + 10);
    } else if (c >= 'A' && c <= 'F') {
      d = static_cast<uint32_t>(c - 'A' + 10);
    } else {
      return false;
    }
    number = number << 4 | d;
  }
  return true;
}

// Parses a value line: "Name"=... or @=... . False for a line that does
// not parse.
bool valueLine(const std::string &line, std::string &name, RegistryValue &value) {
  size_t pos = 0;
  if (!line.empty() && line[0] == '@') {
    name.clear();
    pos = 1;
  } else if (!quoted(line, pos, name)) {
    return false;
  }
  skipBlanks(line, pos);
  if (pos >= line.size() || line[pos] != '=') {
    return false;
  }
  ++pos;
  skipBlanks(line, pos);
  std::string rest = line.substr(pos);
  if (!rest.empty() && rest[0] == '"') {
    size_t p = 0;
    std::string text;
    if (!quoted(rest, p, text)) {
      return false;
    }
    skipBlanks(rest, p);
    if (p != rest.size()) {
      return false;
    }
    value.type = kRegSz;
    value.data.assign(text.begin(), text.end());
    value.data.push_back('\0');
    return true;
  }
  constexpr char kDword[] = "dword:";
  if (strncasecmp(rest.c_str(), kDword, sizeof kDword - 1) == 0) {
    uint32_t number = 0;
    if (!hexDword(trimmed(rest.substr(sizeof kDword - 1)), number)) {
      return false;
    }
    value.type = kRegDword;
    value.data.resize(4);
    for (int i = 0; i < 4; ++i) {
      value.data[static_cast<size_t>(i)] = static_cast<char>(number >> (8 * i) & 0xFF);
    }
    return true;
  }
  return false;
}

bool readLine(FILE *file, std::string &line) {
  line.clear();
  char chunk[512];
  while (fgets(chunk, sizeof chunk, file) != nullptr) {
    line.append(chunk);
    if (line.back() == '\n') {
      return true;
    }
  }
  return !line.empty();
}

}  // namespace

uint32_t queryCurrentUserValue(const char *keyPath, const char *valueName, RegistryValue &value) {
  if (keyPath == nullptr) {
    return kErrorInvalidParameter;
  }
  std::string path = resolveProfileFile(kRegistryFile);
  FILE *file = path.empty() ? nullptr : fopen(path.c_str(), "r");
  if (file == nullptr) {
    return kErrorFileNotFound;
  }
  const std::string wanted = normalisedPath(keyPath);
  const char *wantedName = valueName != nullptr ? valueName : "";
  bool keyExists = false;
  bool valueFound = false;
  bool inKey = false;
  std::string line;
  std::string name;
  std::string section;
  RegistryValue candidate;
  while (readLine(file, line)) {
    std::string text = trimmed(line);
    if (text.empty()) {
      continue;
    }
    if (text[0] == '[') {
      inKey = false;
      if (sectionPath(text, section)) {
        inKey = strcasecmp(section.c_str(), wanted.c_str()) == 0;
        // A key exists when it has a section of its own or a subkey has one.
        bool isParent = section.size() > wanted.size() && section[wanted.size()] == '\\' &&
                        strncasecmp(section.c_str(), wanted.c_str(), wanted.size()) == 0;
        keyExists = keyExists || inKey || isParent || wanted.empty();
      }
      continue;
    }
    if (inKey && valueLine(text, name, candidate) && strcasecmp(name.c_str(), wantedName) == 0) {
      value.type = candidate.type;
      value.data.swap(candidate.data);
      valueFound = true;
    }
  }
  fclose(file);
  if (!keyExists || !valueFound) {
    value.data.clear();
    return kErrorFileNotFound;
  }
  return kErrorSuccess;
}

}  // namespace pal
