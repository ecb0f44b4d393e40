#ifndef ZELVAN_FUZZ_FUZZSUPPORT_H_
#define ZELVAN_FUZZ_FUZZSUPPORT_H_

#include <cstddef>
#include <cstdint>
#include <string>

// Helpers shared by the fuzz targets.

// Sends the library's standard-output diagnostics (decoding errors, the
// tracker's reports) to /dev/null: printed for every other input they
// would slow the fuzzer down tenfold. libFuzzer reports on standard
// error, which stays.
void silenceStandardOutput();

// Reports a broken invariant with the input that broke it and aborts, so
// that libFuzzer saves the input as a crash.
[[noreturn]] void fuzzFailure(const char* what, const uint8_t* data, size_t size);

// Takes a fuzz input apart: leading control bytes, then the rest.
class FuzzInput {
 public:
  FuzzInput(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}

  // The next byte, or 0 once the input is used up.
  uint8_t byte();
  // The next piece up to a NUL byte (not included) or the end.
  std::string piece();
  // Everything not yet taken, NUL bytes included.
  std::string rest();

 private:
  const uint8_t* m_data;
  size_t m_size;
  size_t m_pos = 0;
};

#endif  // ZELVAN_FUZZ_FUZZSUPPORT_H_
