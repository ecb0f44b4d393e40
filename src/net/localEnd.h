#ifndef ZELVAN_LOCALEND_H_
#define ZELVAN_LOCALEND_H_

class BSocketAddress;

// The local end of a socket descriptor, kept alike by client and server
// sockets: the address a socket was bound to, or the one the system
// reports for it. Each function takes the socket's owned address field and
// may replace it.
// Internal to the library: not exported from it.
namespace __attribute__((visibility("hidden"))) localend {

// Replaces address by (host, port) (a null host means any local address)
// and binds fd to it. True when the system accepts the bind.
bool bind(int fd, int port, const char* host, BSocketAddress*& address);

// Replaces address by the local end that the system reports for fd, or by
// null when it reports none.
void query(int fd, BSocketAddress*& address);

// address, queried first when there is none yet. May be null.
BSocketAddress* known(int fd, BSocketAddress*& address);

}  // namespace localend

#endif  // ZELVAN_LOCALEND_H_
