#include "BSimpleEncoder.h"

#include <climits>
#include <cstdio>
#include <string>

#include "BByteArray.h"
#include "BString.h"
#include "codecTables.h"
#include "memTrack.h"

BSimpleEncoder::BSimpleEncoder(int base) : m_base(-1), m_digits(0), m_powers(nullptr) {
  initCharMapping();
  if (base < 2 || base > 16) return;
  m_base = base;
  for (int product = 1; product < 256; product *= base) m_digits++;
  // Not reported to the allocation tracker: the library's own encoders
  // are built during its static construction, when the tracker's table
  // may not yet be usable.
  m_powers = new int[m_digits + 1];
  m_powers[0] = 1;
  for (int i = 1; i <= m_digits; i++) m_powers[i] = m_powers[i - 1] * base;
}

BSimpleEncoder::~BSimpleEncoder() { delete[] m_powers; }

int BSimpleEncoder::base() { return m_base; }

int BSimpleEncoder::digitsPerByte() { return m_digits; }

BString* BSimpleEncoder::encode(const unsigned char* data, long n) {
  if (m_digits < 1 || data == nullptr || n < 1) return nullptr;
  if (n > INT_MAX / m_digits) return nullptr;
  std::string text;
  text.reserve(static_cast<size_t>(n * m_digits));
  for (long i = 0; i < n; i++) {
    for (int k = m_digits; k >= 1; k--) text += kEncodingChars[data[i] % m_powers[k] / m_powers[k - 1]];
  }
  return trackNew(new BString(text.data(), static_cast<int>(text.size())), "encoded digit string");
}

BByteArray* BSimpleEncoder::decode(const char* text, long n) {
  // An invalid encoder has no digits per byte; it returns null rather
  // than dividing by zero.
  if (m_digits < 1) return nullptr;
  unsigned char lastDigit = static_cast<unsigned char>(m_base - 1);
  long count = countEncodingCharsLong(text, n, kCharMapping, lastDigit);
  if (count < 1) return nullptr;
  long size = count / m_digits;
  if (count % m_digits != 0 && gVerbose) {
    printf("Byte Decoding Error: Message to be decoded is %ld characters long... not a multiple of %d as "
           "expected for a simple encoding of base %d.\r\n",
           n, m_digits, m_base);
  }
  if (size < 1) return trackNew(new BByteArray(nullptr, 0, BByteArray::kReference), "decoded byte array");

  // size * m_digits digits are taken and count of them lie within the
  // first n bytes, so the scan below never passes byte n.
  unsigned char* block = trackNew(new unsigned char[size], "decoded bytes");
  long pos = 0;
  for (long i = 0; i < size; i++) {
    unsigned char value = 0;
    for (int k = m_digits; k >= 1; k--) {
      while (kCharMapping[static_cast<unsigned char>(text[pos])] > lastDigit) pos++;
      int digit = kCharMapping[static_cast<unsigned char>(text[pos++])];
      value = static_cast<unsigned char>(value + digit * m_powers[k - 1]);
    }
    block[i] = value;
  }
  return trackNew(new BByteArray(block, size, BByteArray::kReference), "decoded byte array");
}

const char* BSimpleEncoder::classType() { return "BObject:BSimpleEncoder"; }
