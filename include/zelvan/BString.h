#ifndef ZELVAN_BSTRING_H_
#define ZELVAN_BSTRING_H_

#include "BObject.h"

// A growable, NUL-terminated byte string. Every key and value of a
// transaction bundle is one. The text is plain bytes; comparisons and
// searches use the C string routines, so an embedded NUL ends the text for
// them. Not thread-safe.
class BString : public BObject {
 public:
  // An empty string that grows in steps of blockSize bytes.
  explicit BString(int blockSize);
  // Holds a copy of s (block size 0). A null s gives an empty string.
  explicit BString(const char* s);
  // Holds a copy of the first n bytes of s, as set(s, n) (block size 0).
  BString(const char* s, int n);
  // Holds a copy of other's text with the given block size. other must
  // not be null.
  BString(BString* other, int blockSize);
  // Copies other's text into an array of its own, so that a string passed
  // by value and its source never release the same array twice.
  BString(const BString& other);
  BString& operator=(const BString&) = delete;
  ~BString() override;

  // Sets the block size and forgets the text without releasing it.
  void init(int blockSize);
  // Stores n when n >= 0; returns the previous block size in every case.
  int setBlockSize(int n);

  // The number of bytes held.
  int length();
  // The number of text bytes the array can hold without growing.
  int capacity();
  // The text, owned by the string; null while the string has never held
  // text (and again after free()).
  char* buffer();

  // Replace the text (the array is kept). Return the new length.
  int set(const char* s, int n);
  int set(const char* s);
  int set(BString* other);
  // Empties the string; the array is kept. Returns 0.
  int clear();

  // Append at the end. A null s or other appends nothing. Return the new
  // length.
  int append(char c);
  int append(const char* s, int n);
  int append(const char* s);
  int append(BString* other);

  // Inserts n bytes of s at pos; positions outside the text append. When
  // the array has room the bytes at pos are overwritten, not moved (the
  // length still grows by n); only a growing insert moves the tail.
  // A NUL within the first n bytes of s ends the copy and the remaining
  // positions are filled with NULs. Returns the new length.
  int insert(int pos, const char* s, int n);
  int insert(int pos, const char* s);
  int insert(int pos, BString* other);

  // Removes white space from the start (left) and/or the end (right).
  // Trimming only on the right never removes the first byte. Returns the
  // new length; the capacity never shrinks.
  int trim(unsigned char left, unsigned char right);

  // Returns a new string with up to count bytes from start, or an empty one
  // when start is outside the text. The caller deletes the result.
  BString* substring(int start, int count);
  BString* substring(int start);

  // Position of the first occurrence of s, or -1. An empty s gives 0.
  int indexOf(const char* s);
  int indexOf(BString* other);
  // Position of the last (possibly overlapping) occurrence of s, or -1.
  // An empty or null s gives -1.
  int lastIndexOf(const char* s);
  int lastIndexOf(BString* other);

  // True when the first n bytes equal those of s; always true for n < 1.
  bool startsWith(const char* s, int n);
  bool startsWith(const char* s);
  bool startsWith(BString* other);
  // True when the text ends with s (case-insensitively when noCase is
  // set); always true for a null or empty s.
  bool endsWith(const char* s, unsigned char noCase);

  // Compare the whole text with s, case-insensitively when noCase is set.
  // A null s or a string that never held text compare as "".
  bool equals(const char* s, unsigned char noCase);
  // False for a null other.
  bool equals(BString* other, unsigned char noCase);
  // True when other is a BString holding the same bytes (case-sensitive).
  bool equals(BObject* other) override;

  // h = h * 31 + byte over the text, bytes taken as signed; wraps at 64
  // bits. The empty string hashes to 0.
  int64_t hashCode() override;

  // Returns a new copy of this string. The caller deletes the result.
  BString* toString() override;

  // Releases the array: the string is empty with a null buffer().
  void free();

  const char* classType() override;
  // "BObject:BString", without an instance.
  static const char* staticType();

 protected:
  char* m_text;
  int m_blockSize;
  int m_capacity;
  int m_length;
};

#endif  // ZELVAN_BSTRING_H_
