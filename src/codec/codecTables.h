#ifndef ZELVAN_CODECTABLES_H_
#define ZELVAN_CODECTABLES_H_

// Character tables shared by the Base64 and base-N codecs. The two decode
// tables start zeroed and are filled on first use by the codecs'
// constructors; like the other codec globals they are unguarded.

// The Base64 alphabet, then the pad character "=" at index 64.
extern const char kBase64Chars[66];

// Base64 decode table: the value 0 to 63 of each alphabet byte, 255 for
// every other byte (the pad and white space included).
extern unsigned char kBase64Mapping[256];

// Digits of the base-N encoders, base 16 at most. Upper case only.
extern const char kEncodingChars[17];

// Base-N decode table: "0"-"9" give 0-9, "A"-"F" give 10-15, every other
// byte 255. Lower-case "a"-"f" are not digits.
extern unsigned char kCharMapping[256];

// Fill kBase64Mapping and kCharMapping. Each fills its table once per
// process; later calls do nothing.
void initBase64Codes();
void initCharMapping();

// Returns how many of the first n bytes of text have a mapping value (the
// byte taken as unsigned) of at most max: the number of digits of an
// encoding among them. 0 for a null text or mapping or for n < 1.
// mapping must hold 256 entries.
int countEncodingChars(const char* text, int n, const unsigned char* mapping, unsigned char max);

// The same count over texts longer than an int can say, for the decoders
// whose lengths are long.
long countEncodingChars(const char* text, long n, const unsigned char* mapping, unsigned char max);

#endif  // ZELVAN_CODECTABLES_H_
