#include "localEnd.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include "BSocketAddress.h"

namespace localend {

bool bind(int fd, int port, const char* host, BSocketAddress*& address) {
  delete address;
  address = new BSocketAddress(host, port);
  return ::bind(fd, reinterpret_cast<sockaddr*>(address->info()),
                sizeof(sockaddr_in)) != -1;
}

void query(int fd, BSocketAddress*& address) {
  delete address;
  address = nullptr;
  sockaddr_in local{};
  socklen_t length = sizeof local;
  if (getsockname(fd, reinterpret_cast<sockaddr*>(&local), &length) == 0) {
    address = new BSocketAddress(&local);
  }
}

BSocketAddress* known(int fd, BSocketAddress*& address) {
  if (address == nullptr) query(fd, address);
  return address;
}

}  // namespace localend
