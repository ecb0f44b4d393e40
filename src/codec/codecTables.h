#ifndef ZELVAN_CODECTABLES_H_
#define ZELVAN_CODECTABLES_H_

// The decoders' digit count over lengths beyond an int, behind the public
// countEncodingChars() (declared in the encoders' headers). A separate
// name keeps the public function free of overloads, so that a call with a
// size_t length stays unambiguous.
// Internal to the library: not exported from it.

// How many of the first n bytes of text map to at most max; 0 for a null
// text or mapping or for n < 1.
long countEncodingCharsLong(const char* text, long n, const unsigned char* mapping, unsigned char max);

#endif  // ZELVAN_CODECTABLES_H_
