#include "BString.h"

#include <cctype>
#include <cstring>
#include <strings.h>

#include "BMemoryTable.h"
#include "memTrack.h"

namespace {

const char* orEmpty(const char* s) { return s ? s : ""; }

}  // namespace

BString::BString(int blockSize)
    : m_text(nullptr), m_blockSize(0), m_capacity(0), m_length(0) {
  init(blockSize);
}

BString::BString(const char* s)
    : m_text(nullptr), m_blockSize(0), m_capacity(0), m_length(0) {
  set(s);
}

BString::BString(const char* s, int n)
    : m_text(nullptr), m_blockSize(0), m_capacity(0), m_length(0) {
  set(s, n);
}

BString::BString(BString* other, int blockSize)
    : m_text(nullptr), m_blockSize(blockSize), m_capacity(0), m_length(0) {
  set(other);
}

BString::BString(const BString& other)
    : BObject(other), m_text(nullptr), m_blockSize(other.m_blockSize),
      m_capacity(0), m_length(0) {
  set(other.m_text, other.m_length);
}

BString::~BString() { free(); }

void BString::init(int blockSize) {
  m_blockSize = blockSize;
  m_text = nullptr;
  m_capacity = 0;
  m_length = 0;
}

int BString::setBlockSize(int n) {
  int previous = m_blockSize;
  if (n >= 0) m_blockSize = n;
  return previous;
}

int BString::length() { return m_length; }

int BString::capacity() { return m_capacity; }

char* BString::buffer() { return m_text; }

int BString::set(const char* s, int n) {
  if (m_length > 0) m_text[0] = '\0';
  m_length = 0;
  return insert(0, s, n);
}

int BString::set(const char* s) { return set(s, s ? static_cast<int>(strlen(s)) : 0); }

int BString::set(BString* other) { return set(other->m_text, other->m_length); }

int BString::clear() { return set(static_cast<const char*>(nullptr)); }

int BString::append(char c) { return insert(m_length, &c, 1); }

int BString::append(const char* s, int n) { return insert(m_length, s, n); }

int BString::append(const char* s) { return insert(m_length, s); }

int BString::append(BString* other) {
  if (other == nullptr) return m_length;
  return insert(m_length, other);
}

int BString::insert(int pos, const char* s, int n) {
  if (s == nullptr || n < 1) return m_length;
  int newLength = m_length + n;
  if (pos < 0 || pos > m_length) pos = m_length;

  char* replaced = nullptr;
  if (m_capacity < newLength) {
    if (m_capacity + m_blockSize >= newLength) {
      m_capacity += m_blockSize;
    } else {
      m_capacity = newLength;
    }
    // Zero-filled, so that the bytes past an overwriting insert (which
    // does not move the tail) read as NULs rather than stale memory.
    char* grown = trackNew(new char[m_capacity + 1](), "string buffer allocation");
    if (m_text != nullptr) {
      strncpy(grown, m_text, pos);
      if (m_length > 0) strncpy(grown + pos + n, m_text + pos, m_length - pos);
    }
    replaced = m_text;
    m_text = grown;
  }
  strncpy(m_text + pos, s, n);
  trackDeleteArray(replaced);
  m_length = newLength;
  m_text[m_length] = '\0';
  return m_length;
}

int BString::insert(int pos, const char* s) {
  return insert(pos, s, s ? static_cast<int>(strlen(s)) : 0);
}

int BString::insert(int pos, BString* other) { return insert(pos, other->m_text, other->m_length); }

// Compatibility: trimming on the right alone never removes the first byte,
// so white space alone keeps one byte unless the left is trimmed too;
// applications get the documented length back.
int BString::trim(unsigned char left, unsigned char right) {
  int end = m_length - 1;
  int start = 0;
  if (left) {
    while (start < m_length && isspace(static_cast<unsigned char>(m_text[start]))) start++;
  }
  if (right && start < end) {
    while (end > start && isspace(static_cast<unsigned char>(m_text[end]))) end--;
  }
  int newLength = end - start + 1;
  if (newLength != m_length) {
    if (start > 0 && newLength > 0) memmove(m_text, m_text + start, newLength);
    m_length = newLength;
    m_text[m_length] = '\0';
  }
  return m_length;
}

BString* BString::substring(int start, int count) {
  int n = 0;
  if (start >= 0 && start < m_length) n = count < m_length - start ? count : m_length - start;
  if (n < 1) return new BString(0);
  return new BString(m_text + start, n);
}

BString* BString::substring(int start) {
  int count = m_length - start;
  return substring(start, count < 0 ? 0 : count);
}

int BString::indexOf(const char* s) {
  const char* found = strstr(orEmpty(m_text), orEmpty(s));
  if (found == nullptr) return -1;
  return static_cast<int>(found - orEmpty(m_text));
}

int BString::indexOf(BString* other) { return indexOf(other->m_text); }

int BString::lastIndexOf(const char* s) {
  if (s == nullptr) return -1;
  int m = static_cast<int>(strlen(s));
  // Compatibility: an empty text is found nowhere (-1), where indexOf()
  // finds it at 0; callers test the two results as documented.
  if (m == 0) return -1;
  int last = -1;
  int pos = 0;
  while (m_length - pos >= m) {
    const char* found = strstr(m_text + pos, s);
    if (found == nullptr) break;
    last = static_cast<int>(found - m_text);
    pos = last + 1;
  }
  return last;
}

int BString::lastIndexOf(BString* other) { return lastIndexOf(other->m_text); }

bool BString::startsWith(const char* s, int n) {
  if (n < 1) return true;
  return m_length >= n && strncmp(m_text, s, n) == 0;
}

bool BString::startsWith(const char* s) { return startsWith(s, s ? static_cast<int>(strlen(s)) : 0); }

bool BString::startsWith(BString* other) { return startsWith(other->m_text, other->m_length); }

bool BString::endsWith(const char* s, unsigned char noCase) {
  if (s == nullptr || *s == '\0') return true;
  int m = static_cast<int>(strlen(s));
  if (m_length < m) return false;
  const char* tail = m_text + m_length - m;
  return (noCase ? strcasecmp(tail, s) : strcmp(tail, s)) == 0;
}

bool BString::equals(const char* s, unsigned char noCase) {
  const char* mine = orEmpty(m_text);
  return (noCase ? strcasecmp(mine, orEmpty(s)) : strcmp(mine, orEmpty(s))) == 0;
}

bool BString::equals(BString* other, unsigned char noCase) {
  if (other == nullptr) return false;
  return equals(other->m_text, noCase);
}

bool BString::equals(BObject* other) {
  if (other == nullptr || !other->instanceOf(classType())) return false;
  BString* text = static_cast<BString*>(other);
  if (m_length != text->m_length) return false;
  if (m_length == 0) return true;
  return strcmp(m_text, text->m_text) == 0;
}

int64_t BString::hashCode() {
  uint64_t h = 0;
  for (int i = 0; i < m_length; i++) {
    h = h * 31 + static_cast<uint64_t>(static_cast<int64_t>(static_cast<signed char>(m_text[i])));
  }
  return static_cast<int64_t>(h);
}

BString* BString::toString() {
  return trackNew(new BString(this, 0), "string to string object");
}

void BString::free() {
  trackDeleteArray(m_text);
  m_text = nullptr;
  m_capacity = 0;
  m_length = 0;
}

const char* BString::classType() { return staticType(); }

const char* BString::staticType() { return "BObject:BString"; }
