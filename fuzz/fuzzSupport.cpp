#include "fuzzSupport.h"

#include <cstdio>
#include <cstdlib>

void silenceStandardOutput() {
  if (!std::freopen("/dev/null", "w", stdout)) std::perror("freopen /dev/null");
}

void fuzzFailure(const char* what, const uint8_t* data, size_t size) {
  std::fprintf(stderr, "invariant broken: %s (input of %zu bytes)\n", what, size);
  for (size_t i = 0; i < size && i < 256; ++i) std::fprintf(stderr, "%02x", data[i]);
  std::fprintf(stderr, "\n");
  std::abort();
}

uint8_t FuzzInput::byte() { return m_pos < m_size ? m_data[m_pos++] : 0; }

std::string FuzzInput::piece() {
  size_t start = m_pos;
  while (m_pos < m_size && m_data[m_pos] != 0) ++m_pos;
  std::string out(reinterpret_cast<const char*>(m_data) + start, m_pos - start);
  if (m_pos < m_size) ++m_pos;  // the NUL that ended it
  return out;
}

std::string FuzzInput::rest() {
  std::string out(reinterpret_cast<const char*>(m_data) + m_pos, m_size - m_pos);
  m_pos = m_size;
  return out;
}
