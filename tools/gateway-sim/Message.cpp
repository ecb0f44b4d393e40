#include "Message.h"

#include <cctype>

Fields parseMessage(const std::string& text) {
  Fields fields;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find_first_of("\r\n", start);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(start, end - start);
    size_t equals = line.find('=');
    if (equals != std::string::npos && equals > 0 && equals + 1 < line.size() &&
        line.find('=', equals + 1) == std::string::npos) {
      fields[line.substr(0, equals)] = line.substr(equals + 1);
    }
    // CR LF is one break; a lone CR or LF is one too.
    start = end + (text.compare(end, 2, "\r\n") == 0 ? 2 : 1);
  }
  return fields;
}

std::string formatMessage(const ReplyFields& fields) {
  std::string text;
  for (const auto& [name, value] : fields) text += name + "=" + value + "\r\n";
  return text + kEndMarker;
}

std::string fieldOf(const Fields& fields, const std::string& name) {
  auto found = fields.find(name);
  return found == fields.end() ? std::string() : found->second;
}

std::string replyField(const ReplyFields& fields, const std::string& name) {
  for (const auto& [field, value] : fields) {
    if (field == name) return value;
  }
  return std::string();
}

std::string upperCase(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}
