#include "ProxySetting.h"

#include <arpa/inet.h>

#include <cstring>

#include "ServerAddress.h"

namespace {

const char kScheme[] = "http://";
const char kForm[] = " It must be http://[user:password@]host:port.";

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Percent-decodes text into *decoded. False for a "%" not followed by two
// hex digits, or for a decoded control character, which a header cannot
// carry.
bool percentDecode(const std::string& text, std::string* decoded) {
  decoded->clear();
  for (size_t i = 0; i < text.size(); ++i) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    if (c == '%') {
      int high = i + 1 < text.size() ? hexValue(text[i + 1]) : -1;
      int low = i + 2 < text.size() ? hexValue(text[i + 2]) : -1;
      if (high < 0 || low < 0) return false;
      c = static_cast<unsigned char>(high * 16 + low);
      i += 2;
    }
    if (c < 0x20 || c == 0x7f) return false;
    decoded->push_back(static_cast<char>(c));
  }
  return true;
}

bool parsePort(const std::string& text, int* port) {
  if (text.empty() || text.size() > 5) return false;
  int value = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    value = value * 10 + (c - '0');
  }
  if (value < 1 || value > 65535) return false;
  *port = value;
  return true;
}

// Splits "host:port" or "[v6]:port". False when either part is missing or
// the brackets do not hold an IPv6 address.
bool splitHostPort(const std::string& text, std::string* host, std::string* port) {
  if (!text.empty() && text[0] == '[') {
    size_t close = text.find(']');
    if (close == std::string::npos || close + 1 >= text.size() || text[close + 1] != ':') {
      return false;
    }
    *host = text.substr(1, close - 1);
    *port = text.substr(close + 2);
    in6_addr probe;
    return inet_pton(AF_INET6, host->c_str(), &probe) == 1;
  }
  size_t colon = text.rfind(':');
  if (colon == std::string::npos) return false;
  *host = text.substr(0, colon);
  *port = text.substr(colon + 1);
  return !host->empty() && host->find(':') == std::string::npos;
}

}  // namespace

bool ProxySetting::parse(const std::string& text, ProxySetting* setting, std::string* error) {
  const size_t schemeLength = sizeof kScheme - 1;
  if (text.size() < schemeLength || strncasecmp(text.c_str(), kScheme, schemeLength) != 0) {
    *error = std::string("The proxy setting does not begin with http://.") + kForm;
    return false;
  }
  std::string rest = text.substr(schemeLength);
  // A single trailing "/" is what many tools write after host:port.
  if (!rest.empty() && rest.back() == '/') rest.pop_back();
  // The credentials end at the last "@": a password may hold a raw "@".
  size_t at = rest.rfind('@');
  std::string authority = at == std::string::npos ? rest : rest.substr(at + 1);
  if (authority.find_first_of("/?#") != std::string::npos) {
    *error = std::string("The proxy setting holds a path, query or fragment.") + kForm;
    return false;
  }
  ProxySetting parsed;
  std::string portText;
  if (!splitHostPort(authority, &parsed.host_, &portText)) {
    *error = std::string("The proxy setting does not name a host and a port.") + kForm;
    return false;
  }
  if (!isPlainHost(parsed.host_)) {
    *error = "The proxy setting's host holds a character a host name cannot have.";
    return false;
  }
  if (!parsePort(portText, &parsed.port_)) {
    *error = "The proxy setting's port is invalid: it must be a whole number from 1 to 65535.";
    return false;
  }
  if (at != std::string::npos) {
    std::string userInfo = rest.substr(0, at);
    size_t colon = userInfo.find(':');
    bool decoded = colon != std::string::npos &&
                   percentDecode(userInfo.substr(0, colon), &parsed.user_) &&
                   percentDecode(userInfo.substr(colon + 1), &parsed.password_);
    if (!decoded || parsed.user_.empty()) {
      *error = "The proxy setting's user name and password are not of the form "
               "user:password, percent-encoded.";
      return false;
    }
    parsed.hasCredentials_ = true;
  }
  *setting = parsed;
  return true;
}

std::string ProxySetting::displayName() const {
  return hostForAuthority(host_) + ":" + std::to_string(port_);
}
