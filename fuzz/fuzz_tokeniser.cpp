// BTokeniser::parse with the delimiter lists the library uses (server
// lists, message lines, fields) and with lists taken from the input
// itself. Besides not crashing or leaking, every token must be a piece of
// the text in which no delimiter occurs, and the tokens with the
// delimiters between them must account for the text.
#include <cstring>
#include <string>
#include <vector>

#include "BTokeniser.h"
#include "fuzzSupport.h"

namespace {

const std::vector<std::vector<std::string>> kFixedLists = {
    {",", ";", " "},          // server lists
    {"\r\n", "\r", "\n"},     // message lines
    {"="},                    // one field
    {";", ";;"},              // overlapping, shorter first
    {";;", ";"},              // overlapping, longer first
    {""},                     // only an empty delimiter
    {"", "&", "", "="},       // empty ones among real ones
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  silenceStandardOutput();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput in(data, size);
  uint8_t choice = in.byte();
  std::vector<std::string> delims;
  if (choice < 0x80) {
    delims = kFixedLists[choice % kFixedLists.size()];
  } else {
    // From the input: up to four NUL-separated delimiters, possibly none.
    for (int n = choice % 5; n > 0; --n) delims.push_back(in.piece());
  }
  std::string text = in.rest();
  text = text.substr(0, std::strlen(text.c_str()));  // parse reads up to a NUL

  std::vector<const char*> pointers;
  for (const auto& d : delims) pointers.push_back(d.c_str());
  BTokeniser tokens;
  int count = tokens.parse(text.c_str(), static_cast<int>(pointers.size()), pointers.data());
  if (count != tokens.size()) fuzzFailure("parse and size disagree", data, size);

  bool anyDelimiter = false;
  for (const auto& d : delims) anyDelimiter |= !d.empty();
  if (!anyDelimiter && !delims.empty()) {
    if (text.empty() ? count != 0 : count != 1) fuzzFailure("no usable delimiter: one token expected", data, size);
  }
  if (delims.empty() && count != 1) fuzzFailure("no delimiters: the whole text expected", data, size);

  // Walk the text: each token, then the delimiter that ended it (the one
  // listed first among those that start right there).
  size_t pos = 0;
  for (int i = 0; i < count; ++i) {
    const char* token = tokens.get(i);
    std::string piece = token ? token : "";
    if (token && piece.empty()) fuzzFailure("an empty token with a buffer", data, size);
    if (text.compare(pos, piece.size(), piece) != 0) fuzzFailure("a token that is not the next piece", data, size);
    for (const auto& d : delims) {
      if (!d.empty() && piece.find(d) != std::string::npos) fuzzFailure("a delimiter inside a token", data, size);
    }
    pos += piece.size();
    size_t ended = 0;
    for (const auto& d : delims) {
      if (!d.empty() && text.compare(pos, d.size(), d) == 0) {
        ended = d.size();
        break;
      }
    }
    if (ended == 0 && i + 1 < count) fuzzFailure("a token not ended by a delimiter", data, size);
    pos += ended;
  }
  if (pos != text.size()) fuzzFailure("the tokens do not account for the text", data, size);
  if (tokens.get(-1) || tokens.get(count)) fuzzFailure("a token outside the list", data, size);
  return 0;
}
