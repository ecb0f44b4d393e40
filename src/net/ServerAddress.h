#ifndef ZELVAN_SERVERADDRESS_H_
#define ZELVAN_SERVERADDRESS_H_

#include <sys/socket.h>

#include <string>
#include <vector>

// One address of a server entry, IPv6 or IPv4, with its port, ready for
// socket() and connect(), and its text for log lines and error texts.
struct ServerAddress {
  sockaddr_storage address;
  socklen_t length;
  // "[::1]" for IPv6, "127.0.0.1" for IPv4; without the port.
  std::string text;

  int family() const { return address.ss_family; }
  const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&address); }
  // text with the port: "[::1]:443", "127.0.0.1:443".
  std::string withPort() const;
};

// Resolves one entry of the server list at port into *addresses, replacing
// what it held: every address of a host name, IPv6 and IPv4, in the order
// the system's resolver gives them (which follows its address-selection
// rules); an IPv4 dotted address or an IPv6 literal ("::1" or "[::1]") as
// the single address it names. Thread-safe (getaddrinfo).
// Returns false, with *addresses empty and *error a sentence naming the
// entry ("The name [gw.example] could not be resolved: ..."), when the entry is empty, malformed or does not resolve, or when
// port is not 1 to 65535.
bool resolveServerAddresses(const std::string& entry, int port,
                            std::vector<ServerAddress>* addresses, std::string* error);

// Parses an IPv4 dotted address or an IPv6 literal (without brackets) into
// out, which must have room for an in6_addr. Returns AF_INET or AF_INET6,
// or AF_UNSPEC (out unspecified) for anything else, host names and scoped
// IPv6 addresses included.
int parseAddressLiteral(const std::string& text, void* out);

// The entry as a host for "host:port" texts such as a proxy's CONNECT
// line: an IPv6 literal in brackets ("[::1]"), anything else as given.
std::string hostForAuthority(const std::string& entry);

// Whether host holds only what a host name or an IP address is made of
// (letters, digits, "-", ".", "_", and ":" of IPv6), and is not empty:
// such a host can go into a request line or header unchanged.
bool isPlainHost(const std::string& host);

#endif  // ZELVAN_SERVERADDRESS_H_
