#include "BTokeniser.h"

#include <cstring>

#include "BString.h"
#include "memTrack.h"

BTokeniser::BTokeniser() {}

BTokeniser::BTokeniser(const char* text, int count, const char* const* delimiters) {
  parse(text, count, delimiters);
}

BTokeniser::BTokeniser(BString* text, int count, BString** delimiters) {
  if (count <= 0) {
    parse(text->buffer(), 0, nullptr);
    return;
  }
  const char** texts = trackNew(new const char*[count], "string to char token conversion");
  for (int i = 0; i < count; i++) texts[i] = delimiters[i]->buffer();
  parse(text->buffer(), count, texts);
  trackDeleteArray(texts);
}

BTokeniser::~BTokeniser() {}

void BTokeniser::addToken(const char* text, int n, const char* label) {
  m_tokens.add(trackNew(new BString(text, n), label), 1);
}

int BTokeniser::parse(const char* text, int count, const char* const* delimiters) {
  free();
  if (count < 1) {
    if (text != nullptr) addToken(text, static_cast<int>(strlen(text)), "whole part of token string");
    return size();
  }
  if (text == nullptr) return 0;

  int* lengths = trackNew(new int[count], "token length array");
  for (int d = 0; d < count; d++) lengths[d] = static_cast<int>(strlen(delimiters[d]));

  int n = static_cast<int>(strlen(text));
  int pos = 0;
  while (pos < n) {
    const char* nearest = nullptr;
    int winner = -1;
    for (int d = 0; d < count; d++) {
      if (lengths[d] <= 0) continue;
      const char* found = strstr(text + pos, delimiters[d]);
      if (found != nullptr && (nearest == nullptr || found < nearest)) {
        nearest = found;
        winner = d;
      }
    }
    if (nearest == nullptr) {
      addToken(text + pos, n - pos, "last part of token string");
      pos = n;
    } else {
      int offset = static_cast<int>(nearest - (text + pos));
      addToken(text + pos, offset, "interim part of token string");
      pos += offset + lengths[winner];
    }
  }
  trackDeleteArray(lengths);
  return size();
}

int BTokeniser::size() { return m_tokens.size(); }

char* BTokeniser::get(int i) {
  BString* token = getString(i, 0);
  return token ? token->buffer() : nullptr;
}

BString* BTokeniser::getString(int i, unsigned char) {
  BObject* token = m_tokens.get(i, 0);
  if (token == nullptr || !token->instanceOf(BString::staticType())) return nullptr;
  // An empty token never held text; it reads as null, like a missing one.
  BString* text = static_cast<BString*>(token);
  return text->buffer() != nullptr ? text : nullptr;
}

int BTokeniser::free() { return m_tokens.free(); }

const char* BTokeniser::classType() { return "BObject:BTokeniser"; }
