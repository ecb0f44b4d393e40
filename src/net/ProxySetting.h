#ifndef ZELVAN_PROXYSETTING_H_
#define ZELVAN_PROXYSETTING_H_

#include <string>

// The HTTP proxy through which the gateway is reached, read from a
// setting of the form http://[user:password@]host:port. The host may be a
// name, an IPv4 address or an IPv6 literal in brackets. User and password
// are percent-decoded; they are kept only to form the proxy's
// Proxy-Authorization header and never appear in a text this class makes.
// Copies of the password are not scrubbed: the setting it comes from
// stays in the transaction's bundle as long as they do. Not thread-safe.
class ProxySetting {
 public:
  // Reads text into *setting. False, with *setting untouched and *error a
  // sentence that says what is wrong, for anything but the form above:
  // another scheme, a path, query or fragment, no host, no port or one
  // outside 1 to 65535, a user without a password, a bad percent escape,
  // or a control character. The error never quotes the text, which may
  // hold the password.
  static bool parse(const std::string& text, ProxySetting* setting, std::string* error);

  // The host as written, without brackets for an IPv6 literal.
  const std::string& host() const { return host_; }
  int port() const { return port_; }
  // "host:port" for error texts and log lines, brackets kept for IPv6.
  std::string displayName() const;

  bool hasCredentials() const { return hasCredentials_; }
  const std::string& user() const { return user_; }
  const std::string& password() const { return password_; }

 private:
  std::string host_;
  int port_ = 0;
  bool hasCredentials_ = false;
  std::string user_;
  std::string password_;
};

#endif  // ZELVAN_PROXYSETTING_H_
