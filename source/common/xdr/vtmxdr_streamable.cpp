// vtmXdrStreamable: the base of objects that stream themselves through a
// vtmXdr. Its members only hold and return the fields.
#include "orvane/vtmxdr.h"

vtmXdrStreamable::vtmXdrStreamable() : m_status(vtmXdr::ok), m_member(0), m_reserved(0), m_stream(nullptr) {}

vtmXdrStreamable::vtmXdrStreamable(const vtmXdrStreamable &other)
    : m_status(other.m_status),
      m_member(other.m_member),
      m_reserved(other.m_reserved),
      m_stream(other.m_stream) {}

vtmXdrStreamable::~vtmXdrStreamable() {}

vtmXdrStreamable &vtmXdrStreamable::operator=(const vtmXdrStreamable &other) {
  if (this == &other) {
    return *this;
  }
  m_status = other.m_status;
  m_member = other.m_member;
  m_reserved = other.m_reserved;
  m_stream = other.m_stream;
  return *this;
}

void vtmXdrStreamable::stream(vtmXdr &) {}

vtmXdr::status vtmXdrStreamable::getStatus() { return m_status; }

unsigned long vtmXdrStreamable::getMember() { return m_member; }

vtmXdr *vtmXdrStreamable::getStream() { return m_stream; }
