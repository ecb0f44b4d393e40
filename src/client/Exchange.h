#ifndef ZELVAN_EXCHANGE_H_
#define ZELVAN_EXCHANGE_H_

#include <cstdint>

#include "txn.h"

class BSSLContext;
class BSocket;

// The resources of one exchange with the gateway: the socket and the SSL
// context taken from the pool. The exchange owns both and releases them
// on every path: close() at the end of a run, dropConnection() when a
// server fails, the destructor on any other (an exception included).
class Exchange {
 public:
  // log is the transaction whose debug log close() writes to.
  explicit Exchange(txn* log);
  // Releases whatever is still held, without a log line.
  ~Exchange();
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;

  // Takes socket, a connected socket, which the exchange then owns.
  // Requires that no socket is held.
  BSocket* adoptSocket(BSocket* socket);
  // Takes ctx, from get_ssl() (null allowed). Requires that no context is
  // held.
  void takeContext(BSSLContext* ctx);

  BSocket* socket() const { return socket_; }
  BSSLContext* context() const { return ctx_; }
  // The socket's descriptor, or -1 without a socket.
  int descriptor() const;

  // Releases socket and context without a log line: the server they were
  // for has failed.
  void dropConnection();

  // The clean-up at the end of a run, each step logged when there is
  // something to release: shuts the SSL connection down ("Closing
  // Context..."), closes the socket ("Closing Socket..."), and hands the
  // context back to the pool last, with its socket closed, so that the
  // next holder finds nothing of this connection in it.
  void close();

  // Milliseconds since the previous mark (the construction, at first);
  // moves the mark forward.
  int64_t lap();

 private:
  void releaseSocket();
  void releaseContext();

  txn* log_;
  BSocket* socket_ = nullptr;
  BSSLContext* ctx_ = nullptr;
  int64_t mark_;
};

#endif  // ZELVAN_EXCHANGE_H_
