#ifndef ZELVAN_TESTS_TESTTEXT_H_
#define ZELVAN_TESTS_TESTTEXT_H_

#include <fstream>
#include <iterator>
#include <string>

#include "BString.h"

// Text helpers that every test suite needs.

// The whole content of the file at path, bytes as they are; empty when the
// file cannot be read.
inline std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

// How often part occurs in text, overlapping occurrences included.
inline size_t countOf(const std::string& text, const std::string& part) {
  size_t n = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) n++;
  return n;
}

// The bytes of s, NULs included; "(null)" for a null string or buffer, so
// that a missing result shows in a failed comparison.
inline std::string textOf(BString* s) {
  if (s == nullptr || s->buffer() == nullptr) return "(null)";
  return std::string(s->buffer(), static_cast<size_t>(s->length()));
}

// textOf(s), after which s is deleted: for the new strings that the
// library's operations hand to their caller.
inline std::string takeText(BString* s) {
  std::string text = textOf(s);
  delete s;
  return text;
}

#endif  // ZELVAN_TESTS_TESTTEXT_H_
