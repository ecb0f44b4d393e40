#include "BByteArray.h"

#include <cstring>

#include "BBase64Encoder.h"
#include "BSimpleEncoder.h"
#include "BString.h"
#include "memTrack.h"

BByteArray::BByteArray(unsigned char* data, int64_t size, int mode)
    : m_size(0), m_data(nullptr), m_owns(mode != kReference) {
  if (data == nullptr || size < 1) return;
  m_size = size;
  if (mode == kCopy) {
    m_data = trackNew(new unsigned char[size], "byte array copy");
    memcpy(m_data, data, static_cast<size_t>(size));
  } else {
    m_data = data;
  }
}

BByteArray::BByteArray(const char* text, int length, int encoding)
    : m_size(0), m_data(nullptr), m_owns(0) {
  parseString(text, length, encoding);
}

BByteArray::BByteArray(const char* text, int encoding)
    : BByteArray(text, text ? static_cast<int>(strlen(text)) : 0, encoding) {}

BByteArray::BByteArray(BString* s, int encoding)
    : BByteArray(s ? s->buffer() : nullptr, s ? s->length() : 0, encoding) {}

BByteArray::~BByteArray() {
  if (m_owns) trackDeleteArray(m_data);
}

int64_t BByteArray::size() { return m_size; }

bool BByteArray::ownsBuffer() { return m_owns != 0; }

unsigned char* BByteArray::data(unsigned char release) {
  if (release && m_owns) m_owns = 0;
  return m_data;
}

// The selector is deliberately ignored: applications depend on every
// text constructor reading hex, so decimal and Base64 text must be
// decoded with the encoders directly.
void BByteArray::parseString(const char* text, int length, int) {
  if (m_owns) trackDeleteArray(m_data);
  BByteArray* decoded = kHexEncoder.decode(text, length);
  if (decoded == nullptr) {
    m_owns = 1;
    m_size = 0;
    m_data = nullptr;
    return;
  }
  m_owns = decoded->m_owns;
  m_data = decoded->data(1);
  m_size = decoded->m_size;
  trackDelete(decoded);
}

BString* BByteArray::toHexString() { return kHexEncoder.encode(m_data, m_size); }

BString* BByteArray::toString() { return kDecimalEncoder.encode(m_data, m_size); }

BString* BByteArray::toBase64String() { return kBase64Encoder.encode(m_data, m_size); }

int64_t BByteArray::hashCode() {
  uint64_t h = 0;
  for (int64_t i = 0; i < m_size; i++) h = h * 31 + m_data[i];
  return static_cast<int64_t>(h);
}

bool BByteArray::equals(BObject* other) {
  if (other == this) return true;
  if (other == nullptr || !other->instanceOf(classType())) return false;
  BByteArray* bytes = static_cast<BByteArray*>(other);
  if (m_size != bytes->m_size) return false;
  return m_size == 0 || memcmp(m_data, bytes->m_data, static_cast<size_t>(m_size)) == 0;
}

const char* BByteArray::classType() { return "BObject:BByteArray"; }
