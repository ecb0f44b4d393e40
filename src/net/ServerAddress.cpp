#include "ServerAddress.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>

#include <cstring>

namespace {

// The entry without the brackets of a "[v6 literal]", or "" when brackets
// are unbalanced or hold something other than an IPv6 address.
std::string unbracketed(const std::string& entry) {
  if (entry.empty() || (entry.front() != '[' && entry.back() != ']')) return entry;
  if (entry.size() < 2 || entry.front() != '[' || entry.back() != ']') return "";
  std::string inside = entry.substr(1, entry.size() - 2);
  in6_addr probe;
  return inet_pton(AF_INET6, inside.c_str(), &probe) == 1 ? inside : "";
}

std::string textOf(const sockaddr* sa) {
  char text[INET6_ADDRSTRLEN] = "";
  if (sa->sa_family == AF_INET6) {
    inet_ntop(AF_INET6, &reinterpret_cast<const sockaddr_in6*>(sa)->sin6_addr, text, sizeof text);
    return std::string("[") + text + "]";
  }
  inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(sa)->sin_addr, text, sizeof text);
  return text;
}

// The address an IPv4 dotted address or an IPv6 literal names, without
// the resolver: getaddrinfo would give this one address too, through
// much more (and, once per purchase, cold) code. False for anything else,
// scoped IPv6 addresses included, which go to the resolver.
bool numericAddress(const std::string& host, int port, ServerAddress* address) {
  *address = ServerAddress{};
  auto* v4 = reinterpret_cast<sockaddr_in*>(&address->address);
  auto* v6 = reinterpret_cast<sockaddr_in6*>(&address->address);
  in6_addr bytes;
  switch (parseAddressLiteral(host, &bytes)) {
    case AF_INET:
      v4->sin_family = AF_INET;
      v4->sin_port = htons(static_cast<uint16_t>(port));
      memcpy(&v4->sin_addr, &bytes, sizeof v4->sin_addr);
      address->length = sizeof(sockaddr_in);
      // Only four decimal numbers without leading zeros parse: the text is
      // already what inet_ntop would give back.
      address->text = host;
      return true;
    case AF_INET6:
      v6->sin6_family = AF_INET6;
      v6->sin6_port = htons(static_cast<uint16_t>(port));
      v6->sin6_addr = bytes;
      address->length = sizeof(sockaddr_in6);
      address->text = textOf(address->get());
      return true;
    default:
      return false;
  }
}

}  // namespace

std::string ServerAddress::withPort() const {
  int port = family() == AF_INET6
                 ? ntohs(reinterpret_cast<const sockaddr_in6*>(&address)->sin6_port)
                 : ntohs(reinterpret_cast<const sockaddr_in*>(&address)->sin_port);
  return text + ":" + std::to_string(port);
}

bool resolveServerAddresses(const std::string& entry, int port,
                            std::vector<ServerAddress>* addresses, std::string* error) {
  addresses->clear();
  std::string host = unbracketed(entry);
  if (host.empty()) {
    *error = "[" + entry + "] is not a host name or an address.";
    return false;
  }
  if (port < 1 || port > 65535) {
    *error = "The port " + std::to_string(port) + " is invalid: it must be a whole number from 1 to 65535.";
    return false;
  }
  ServerAddress numeric;
  if (numericAddress(host, port, &numeric)) {
    addresses->push_back(numeric);
    return true;
  }
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  // AI_ADDRCONFIG is left out: it drops ::1 on a host whose only IPv6
  // address is the loopback one, where a server list may well name it.
  hints.ai_flags = AI_NUMERICSERV;
  addrinfo* found = nullptr;
  std::string service = std::to_string(port);
  int rc = getaddrinfo(host.c_str(), service.c_str(), &hints, &found);
  if (rc != 0) {
    *error = "The name [" + entry + "] could not be resolved: " + gai_strerror(rc) + ".";
    return false;
  }
  for (addrinfo* a = found; a != nullptr; a = a->ai_next) {
    if ((a->ai_family != AF_INET && a->ai_family != AF_INET6) ||
        a->ai_addrlen > sizeof(sockaddr_storage)) {
      continue;
    }
    ServerAddress address{};
    memcpy(&address.address, a->ai_addr, a->ai_addrlen);
    address.length = a->ai_addrlen;
    address.text = textOf(a->ai_addr);
    addresses->push_back(address);
  }
  freeaddrinfo(found);
  if (addresses->empty()) {
    *error = "The name [" + entry + "] has no IPv4 or IPv6 address.";
    return false;
  }
  return true;
}

int parseAddressLiteral(const std::string& text, void* out) {
  if (inet_pton(AF_INET, text.c_str(), out) == 1) return AF_INET;
  if (inet_pton(AF_INET6, text.c_str(), out) == 1) return AF_INET6;
  return AF_UNSPEC;
}

std::string hostForAuthority(const std::string& entry) {
  in6_addr probe;
  if (inet_pton(AF_INET6, entry.c_str(), &probe) == 1) return "[" + entry + "]";
  return entry;
}

bool isPlainHost(const std::string& host) {
  if (host.empty()) return false;
  for (char c : host) {
    bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                 c == '-' || c == '.' || c == '_' || c == ':';
    if (!plain) return false;
  }
  return true;
}
