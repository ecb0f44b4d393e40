#ifndef ZELVAN_TESTS_SUPPORT_RAWLISTENER_H_
#define ZELVAN_TESTS_SUPPORT_RAWLISTENER_H_

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <string>

#include "OwnedDescriptor.h"

// A TCP socket bound to a free port of a loopback address, IPv4 or IPv6:
// listening, or only bound, so that connects to it are refused and no
// other program can take its port meanwhile.
class RawListener {
 public:
  RawListener(const char* address, bool listening) {
    bool v6 = std::string(address).find(':') != std::string::npos;
    fd_.reset(socket(v6 ? AF_INET6 : AF_INET, SOCK_STREAM, 0));
    sockaddr_storage ss{};
    socklen_t length;
    if (v6) {
      auto* sa = reinterpret_cast<sockaddr_in6*>(&ss);
      sa->sin6_family = AF_INET6;
      inet_pton(AF_INET6, address, &sa->sin6_addr);
      length = sizeof *sa;
    } else {
      auto* sa = reinterpret_cast<sockaddr_in*>(&ss);
      sa->sin_family = AF_INET;
      inet_pton(AF_INET, address, &sa->sin_addr);
      length = sizeof *sa;
    }
    bound_ = bind(fd_.get(), reinterpret_cast<sockaddr*>(&ss), length) == 0 &&
             getsockname(fd_.get(), reinterpret_cast<sockaddr*>(&ss), &length) == 0 &&
             (!listening || listen(fd_.get(), 8) == 0);
    port_ = v6 ? ntohs(reinterpret_cast<sockaddr_in6*>(&ss)->sin6_port)
               : ntohs(reinterpret_cast<sockaddr_in*>(&ss)->sin_port);
  }

  // Binds to address:port, which another listener may hold on another
  // address already.
  bool ok() const { return bound_; }
  int port() const { return port_; }
  int fd() const { return fd_.get(); }

  // The next connection, owned by the caller's holder.
  OwnedDescriptor accept() const { return OwnedDescriptor(::accept(fd_.get(), nullptr, nullptr)); }

 private:
  OwnedDescriptor fd_;
  bool bound_ = false;
  int port_ = 0;
};

#endif  // ZELVAN_TESTS_SUPPORT_RAWLISTENER_H_
