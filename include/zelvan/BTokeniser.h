#ifndef ZELVAN_BTOKENISER_H_
#define ZELVAN_BTOKENISER_H_

#include "BObject.h"
#include "BString.h"
#include "BVector.h"

// Splits a text into tokens at any of a list of delimiter strings. At each
// position the nearest delimiter wins, and on a tie the one listed first.
// A delimiter at the start or two in a row give empty tokens; one at the
// very end gives none. The tokens belong to the tokeniser. Not
// thread-safe.
class BTokeniser : public BObject {
 public:
  // No tokens.
  BTokeniser();
  // parse(text, count, delimiters).
  BTokeniser(const char* text, int count, const char* const* delimiters);
  // Parses text's buffer with the delimiters' buffers; none of them may be
  // null when count > 0.
  BTokeniser(BString* text, int count, BString** delimiters);
  ~BTokeniser() override;

  // Replaces the tokens by those of text. With count < 1 the whole text
  // (even an empty one) is the single token; a null text gives none. Every
  // delimiter pointer must be valid; empty delimiters are ignored.
  // Returns the number of tokens.
  int parse(const char* text, int count, const char* const* delimiters);

  int size();

  // The text of token i, owned by the tokeniser and valid until the next
  // parse; null outside the list and for an empty token (tell the two
  // apart by size()).
  char* get(int i);

  // Token i itself (not a copy: the caller must not delete it), or null
  // as for get(). The flag has no effect.
  BString* getString(int i, unsigned char flag);

  // Deletes every token. Returns how many there were.
  int free();

  const char* classType() override;

 protected:
  BVector m_tokens;

 private:
  void addToken(const char* text, int n, const char* label);
};

#endif  // ZELVAN_BTOKENISER_H_
