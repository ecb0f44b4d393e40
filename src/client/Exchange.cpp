#include "Exchange.h"

#include "BPlatform.h"
#include "BSSLContext.h"
#include "BSocket.h"
#include "debugLog.h"
#include "memTrack.h"
#include "sslPool.h"

Exchange::Exchange(txn* log) : log_(log), mark_(GetTickCount()) {}

Exchange::~Exchange() { dropConnection(); }

BSocket* Exchange::adoptSocket(BSocket* socket) {
  socket_ = trackNew(socket, "transaction socket");
  return socket_;
}

void Exchange::takeContext(BSSLContext* ctx) { ctx_ = ctx; }

int Exchange::descriptor() const { return socket_ != nullptr ? socket_->getSocket() : -1; }

void Exchange::dropConnection() {
  releaseSocket();
  releaseContext();
}

void Exchange::close() {
  if (ctx_ != nullptr) {
    logDebugMessage(log_, "\t\tClosing Context...");
    ctx_->ShutdownSSL();
  }
  if (descriptor() != -1) {
    logDebugMessage(log_, "\t\tClosing Socket...");
    socket_->close();
  }
  dropConnection();
}

int64_t Exchange::lap() {
  int64_t now = GetTickCount();
  int64_t elapsed = now - mark_;
  mark_ = now;
  return elapsed;
}

// Deleting the socket closes its descriptor, if still open.
void Exchange::releaseSocket() {
  trackDelete(socket_);
  socket_ = nullptr;
}

// The pool keeps the context; a context that failed to load goes back
// too, and the next transaction with the same credentials retries the
// load.
void Exchange::releaseContext() {
  release_ssl(ctx_);
  ctx_ = nullptr;
}
