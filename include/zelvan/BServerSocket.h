#ifndef ZELVAN_BSERVERSOCKET_H_
#define ZELVAN_BSERVERSOCKET_H_

#include <netinet/in.h>

#include "BObject.h"
#include "BSocket.h"
#include "BSocketAddress.h"

// The listening IPv4 TCP socket of the object library: bind, listen and
// accept, each accepted connection handed out as a BSocket. Failures are
// reported by false or null results only (there is no error code). With
// the verbose flag set, accept() narrates its steps on standard output.
// Used by one thread at a time.
class BServerSocket : public BObject {
 public:
  // Listen queue length used when accept() has to start listening itself.
  static const int kDefaultBacklog = 5;

  // Opens a new stream socket (descriptor -1 if the system refuses one),
  // not bound, not listening.
  BServerSocket();
  // Wraps a descriptor that is already bound and listening; local, when
  // given, is copied as its local address.
  BServerSocket(int fd, const sockaddr_in* local, int backlog);
  BServerSocket(const BServerSocket&) = delete;
  BServerSocket& operator=(const BServerSocket&) = delete;
  // Stops listening and releases the descriptor.
  ~BServerSocket() override;

  const char* classType() override;

  // Returns a new BSocket for an accepted descriptor fd, or null when fd
  // is -1. accept() calls it, so a subclass can hand out its own socket
  // class. The caller deletes the result.
  virtual BSocket* makeSocket(int fd, sockaddr_in* remote, sockaddr_in* local);

  // The descriptor is not -1.
  bool isOpen();
  bool isBound();
  bool isListening();

  // Binds to port on host (a null host means any local address). False
  // when the descriptor is closed, the socket is already bound or the
  // system refuses.
  bool bind(int port, const char* host);

  // Starts listening with a queue of queueLength (1 when queueLength is 0
  // or less). False when the descriptor is closed, the socket is not bound
  // or already listening, or the system refuses.
  bool listen(int queueLength);

  // Waits (blocking) for one connection and returns it as a new socket;
  // the caller deletes it. A socket not yet bound is first bound to port
  // 3444 on any local address, and one not yet listening starts listening
  // with a queue of 5. Null when the descriptor is closed or no connection
  // could be taken (for a non-blocking descriptor, when none is pending).
  BSocket* accept();

  // Shuts the socket down (waking any accept() in progress) and releases
  // the descriptor. False when already closed. When the shutdown is
  // refused (a socket that never listened) the descriptor is kept and the
  // result is still true.
  bool close();

  // Replaces the local address by the one the system reports (null if it
  // cannot). Does nothing unless the socket is bound.
  void queryLocalHost();
  // The local address text and port. Null / -1 unless bound. After bind()
  // they are the ones given to it (port 0 stays 0): call queryLocalHost()
  // for the port the system chose. Queried from the system when not known
  // at all. The text is owned by the socket.
  BString* getLocalAddress();
  int getLocalPort();

 protected:
  int socket;
  int backlog;
  unsigned char bound;
  unsigned char listening;
  BSocketAddress* localAddress;

 private:
  // Prints line on standard output when the verbose flag is set.
  void say(const char* line);
};

#endif  // ZELVAN_BSERVERSOCKET_H_
