// Catalog files for the tests: the big-endian layout written from a title,
// two version records and messages (kept in the order given, so that a test
// can also write a damaged index), with the size and checksum fields set.
#ifndef ORVANE_TESTS_CATALOG_FILES_H
#define ORVANE_TESTS_CATALOG_FILES_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace cattest {

struct Version {
  uint32_t a = 0, b = 0, c = 0;
  std::u16string text;
};

struct Message {
  uint32_t id;
  std::u16string text;
};

inline void put32(std::string &out, uint32_t v) {
  out.push_back(static_cast<char>(v >> 24));
  out.push_back(static_cast<char>(v >> 16));
  out.push_back(static_cast<char>(v >> 8));
  out.push_back(static_cast<char>(v));
}

inline void set32(std::string &out, size_t at, uint32_t v) {
  out[at] = static_cast<char>(v >> 24);
  out[at + 1] = static_cast<char>(v >> 16);
  out[at + 2] = static_cast<char>(v >> 8);
  out[at + 3] = static_cast<char>(v);
}

inline void putUnits(std::string &out, const std::u16string &s) {
  for (char16_t u : s) {
    out.push_back(static_cast<char>(u >> 8));
    out.push_back(static_cast<char>(u & 0xFF));
  }
}

inline uint16_t crcArc(const std::string &bytes, size_t from) {
  uint16_t crc = 0;
  for (size_t i = from; i < bytes.size(); ++i) {
    crc ^= static_cast<unsigned char>(bytes[i]);
    for (int k = 0; k < 8; ++k) {
      crc = (crc & 1) != 0 ? static_cast<uint16_t>((crc >> 1) ^ 0xA001) : static_cast<uint16_t>(crc >> 1);
    }
  }
  return crc;
}

// Sets the size and checksum fields after a change.
inline void seal(std::string &bytes) {
  set32(bytes, 0, static_cast<uint32_t>(bytes.size()));
  set32(bytes, 4, crcArc(bytes, 8));
}

// Offset of the index (the first id) in a file written by build.
inline size_t indexOffset(const std::u16string &title, const Version &v1, const Version &v2) {
  return 12 + title.size() * 2 + 16 + v1.text.size() * 2 + 16 + v2.text.size() * 2 + 4;
}

inline std::string build(const std::u16string &title, const Version &v1, const Version &v2,
                         const std::vector<Message> &messages) {
  std::string out;
  put32(out, 0);
  put32(out, 0);
  put32(out, static_cast<uint32_t>(title.size()));
  putUnits(out, title);
  for (const Version *v : {&v1, &v2}) {
    put32(out, v->a);
    put32(out, v->b);
    put32(out, v->c);
    put32(out, static_cast<uint32_t>(v->text.size()));
    putUnits(out, v->text);
  }
  put32(out, static_cast<uint32_t>(messages.size()));
  size_t offset = out.size() + messages.size() * 8;
  for (const Message &m : messages) {
    put32(out, m.id);
    put32(out, static_cast<uint32_t>(offset));
    offset += m.text.size() * 2;
  }
  for (const Message &m : messages) {
    putUnits(out, m.text);
  }
  seal(out);
  return out;
}

// A small catalog with the given messages and a fixed title and versions.
inline std::string simple(const std::vector<Message> &messages) {
  return build(u"Test catalog", Version{1, 2, 3, u"first"}, Version{4, 5, 6, u"second"}, messages);
}

}  // namespace cattest

#endif
