#ifndef ZELVAN_TESTS_NET_LOOPBACK_H_
#define ZELVAN_TESTS_NET_LOOPBACK_H_

#include <fcntl.h>

#include "BServerSocket.h"
#include "BSocket.h"

// A client socket whose last error code can be read without clearing it.
class ProbedSocket : public BSocket {
 public:
  int code() const { return errorCode; }
};

// A server socket with its descriptor and queue length in view.
class ProbedServer : public BServerSocket {
 public:
  int fd() const { return socket; }
  int queueLength() const { return backlog; }
};

// A server listening on an ephemeral port of 127.0.0.1.
class LoopbackServer : public ProbedServer {
 public:
  LoopbackServer() {
    bind(0, "127.0.0.1");
    listen(5);
    queryLocalHost();  // the port the system chose, not the 0 asked for
    port_ = getLocalPort();
  }
  int port() const { return port_; }

 private:
  int port_;
};

inline bool isNonBlocking(int fd) { return (fcntl(fd, F_GETFL) & O_NONBLOCK) != 0; }

inline bool isOpenDescriptor(int fd) { return fcntl(fd, F_GETFD) != -1; }

#endif  // ZELVAN_TESTS_NET_LOOPBACK_H_
