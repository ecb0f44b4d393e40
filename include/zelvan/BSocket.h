#ifndef ZELVAN_BSOCKET_H_
#define ZELVAN_BSOCKET_H_

#include <netinet/in.h>

#include "BNetObject.h"
#include "BSocketAddress.h"

// The IPv4 TCP client socket of the library: a plain POSIX stream socket
// with a connect that gives up after a time-out and waits bounded by a
// time-out. Failures return false or -1 and leave an error code (see
// BNetObject): 2 connect failed or refused, 7 no descriptor, 8 time-out,
// 12 name did not resolve, 13 wait shorter than 500 ms, 14 and 15 the
// blocking mode could not be changed. A socket is used by one thread at a
// time.
//
// Every client socket registers one user of the socket library while it
// lives (see BSocketLibrary).
class BSocket : public BNetObject {
 public:
  // Opens a new unconnected stream socket; if the system refuses one the
  // descriptor is -1 and every operation fails.
  BSocket();
  // Wraps a descriptor that is already connected (the server side of an
  // accepted connection). The addresses are copied when given. Does not
  // register with the socket library, although the destructor releases a
  // user (the library's counter does not go below zero).
  BSocket(int fd, const sockaddr_in* remote, const sockaddr_in* local);
  BSocket(const BSocket&) = delete;
  BSocket& operator=(const BSocket&) = delete;
  // Closes the descriptor if it is open and releases one library user.
  ~BSocket() override;

  const char* classType() override;

  // Blocking connect to host (a name or a dotted address) and port. False,
  // without an error code, when the descriptor is closed, the socket is
  // already connected or the connect fails.
  virtual bool connect(char* host, int port);

  // Connect that waits at most timeoutMs (500 or more) for each address
  // of host. A dotted address is connected to directly; a name is resolved
  // and its addresses tried in order until one answers. Leaves the socket
  // in blocking mode whatever the outcome. On failure the error code says
  // why (2, 8, 12, 13, 14 or 15).
  virtual bool connect(char* host, int port, int timeoutMs);

  // Receives up to len bytes into buf. Returns the number received, or -1
  // for a closed or unconnected socket, an error, or a peer that has
  // closed the connection (end of stream and error look the same).
  virtual int read(char* buf, int len);

  // Sends len bytes of buf with a single send (a partial send is not
  // continued). Returns the number sent or -1. buf is only read.
  virtual int write(char* buf, int len);

  // The descriptor, -1 when closed.
  virtual int getSocket();

  // Asks for a receive (receive set) or send time-out of value with a
  // 4-byte option value. Linux refuses an option of that size, so the
  // time-out does not take effect; the call still answers true for an
  // open socket. False with code 8 when the descriptor is closed.
  // Bounded waits are made with waitforData() instead.
  virtual bool setSoTimeOut(int value, unsigned char receive);

  // Closes the descriptor. False if it was already closed. When the system
  // refuses, the descriptor is kept and the result is still true (test
  // isOpen() to tell). The connected and bound flags stay as they are.
  virtual bool close();

  // Set or clear O_NONBLOCK. Return 0, or -1 for a closed descriptor or a
  // failed fcntl; no error code is set.
  virtual int setNonBlocking();
  virtual int setBlocking();

  // Wait at most timeoutMs for the socket to become ready: writable or
  // readable after a connect, readable for data. timeoutMs below 500 is
  // refused at once (code 13). False with code 8 on a time-out, 2 when the
  // socket reports an error or hang-up. A descriptor of 0 is refused with
  // code 7.
  virtual bool waitforConnect(int timeoutMs);
  virtual bool waitforData(int timeoutMs);

  // connect() and write() for constant texts. The virtual forms take
  // char*, which they only read, so these hand the same text on to them:
  // a subclass overrides the char* forms alone.
  bool connect(const char* host, int port) { return connect(const_cast<char*>(host), port); }
  bool connect(const char* host, int port, int timeoutMs) {
    return connect(const_cast<char*>(host), port, timeoutMs);
  }
  int write(const char* buf, int len) { return write(const_cast<char*>(buf), len); }

  // The descriptor is not -1.
  bool isOpen();
  // A connect succeeded (close() does not clear it).
  bool isConnected();
  // A bind or connect succeeded.
  bool isBound();

  // Binds the socket to port on host (a null host means any local
  // address). False when the descriptor is closed, the socket is already
  // bound or the system refuses; no error code is set.
  bool bind(int port, const char* host);

  // Replaces the local address by the one the system reports for the
  // socket (null if it cannot). Does nothing unless the socket is bound.
  void queryLocalHost();

  // The remote address text: the text given to connect, or the dotted
  // address actually reached when a name was resolved; for an accepted
  // socket, the peer's host name. Null unless connected. Owned by the
  // socket.
  BString* getRemoteAddress();
  // The remote port, or -1 unless connected.
  int getRemotePort();
  // The local address text and port. Null / -1 unless bound. After bind()
  // they are the ones given to it (port 0 stays 0): call queryLocalHost()
  // for the port the system chose. Queried from the system when not known
  // at all. The text is owned by the socket.
  BString* getLocalAddress();
  int getLocalPort();

 protected:
  int socket;
  unsigned char connected;
  unsigned char bound;
  BSocketAddress* localAddress;
  BSocketAddress* remoteAddress;

 private:
  // The shared body of waitforConnect() and waitforData().
  bool waitFor(short events, int timeoutMs);
  // Marks the socket connected (and therefore bound).
  void markConnected();
};

#endif  // ZELVAN_BSOCKET_H_
