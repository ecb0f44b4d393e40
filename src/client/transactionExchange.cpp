#include "transactionExchange.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "BHashTable.h"
#include "BPlatform.h"
#include "BSSLContext.h"
#include "BSocket.h"
#include "BString.h"
#include "bundleFields.h"
#include "cardData.h"
#include "clientFailure.h"
#include "clientPreparation.h"
#include "debugLog.h"
#include "gatewayMessage.h"
#include "memTrack.h"
#include "policy.h"
#include "preSendChecks.h"
#include "replyMerge.h"
#include "requestChecks.h"
#include "responseReader.h"
#include "sslConnection.h"
#include "sslPool.h"

namespace {

// Everything one exchange holds while it runs, handed to the clean-up.
struct Exchange {
  txn* t;
  BSSLContext* ctx = nullptr;
  BSocket* socket = nullptr;
  int64_t mark;

  explicit Exchange(txn* handle) : t(handle), mark(GetTickCount()) {}

  // The connected socket's descriptor, or -1 without a socket.
  int descriptor() { return socket != nullptr ? socket->getSocket() : -1; }

  // Milliseconds since the previous mark; moves the mark forward.
  int64_t lap() {
    int64_t now = GetTickCount();
    int64_t elapsed = now - mark;
    mark = now;
    return elapsed;
  }

  void log(const char* text) { logDebugMessage(t, text); }

  void cleanUp() { cleanUpAfterDoTransaction(t, ctx, descriptor(), socket); }

  // Clean-up, then returns false: the end of a step that failed after a
  // server was connected and has recorded why.
  bool endFailed() {
    cleanUp();
    return false;
  }

  // The end of every local failure after a server was connected: records
  // it (see failTransaction()) and cleans up.
  bool abandon(const char* logLine, const char* error, const char* detail = nullptr) {
    failTransaction(t, logLine, error, detail);
    return endFailed();
  }

  // abandon() after the first write or read failed. Under TLS 1.3 the
  // gateway refuses a client certificate only after the handshake, and
  // the refusal may reach either: it is then reported as the failed
  // handshake it is, with its reason, instead of as error.
  bool abandonFirstExchange(const char* logLine, const char* error) {
    std::string why;
    if (sslRefusedAfterHandshake(ctx, &why)) {
      return abandon("\t\tThe gateway refused the SSL connection.",
                     "UNABLE TO CONNECT - COULD NOT NEGOTIATE SSL", why.c_str());
    }
    return abandon(logLine, error);
  }

  std::string field(const char* name) {
    const char* value = t->bundle->get(name);
    return value ? value : "";
  }

  // The bundle's text form without the "_" fields, then the end marker.
  // The caller deletes the result.
  BString* message() {
    BString* text = t->bundle->toString("_");
    if (text == nullptr) return trackNew(new BString(kEndMarker), "empty trans message");
    text->append(kEndMarker);
    return text;
  }

  // Sends the bundle with one SSL write; true unless the write failed.
  bool send() {
    BString* text = message();
    int written = sslWrite(ctx, text->buffer(), text->length());
    trackDelete(text);
    return written >= 0;
  }

  // Reads one gateway message and merges what the gateway may set of it
  // into the bundle.
  bool receive() {
    BString* reply = doSSLRead(ctx, socket);
    if (reply == nullptr) return false;
    mergeReply(t, reply->buffer());
    trackDelete(reply);
    return true;
  }

  // Hands a context whose handshake failed back to the pool, so that the
  // pool does not keep it marked in use for ever.
  void releaseContext() {
    release_ssl(ctx);
    ctx = nullptr;
  }

  // Deleting the socket closes its descriptor.
  void releaseSocket() {
    trackDelete(socket);
    socket = nullptr;
  }
};

// Sends every write at once. After a resumed handshake the client speaks
// last (its Finished) and writes the request right after; with Nagle's
// algorithm the request would be held until the gateway acknowledges the
// Finished, which it delays by about 40 ms, so every resumed transaction
// would stall.
void sendWithoutDelay(int fd) {
  int on = 1;
  setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

// The credentials a context is built for, read once from the bundle.
struct Credentials {
  std::string certificatePath, password, caFile, clientId;
  // False when _VERIFYHOST is "OFF": a gateway reached by an address its
  // certificate does not name is then verified by its chain only.
  bool checkHostName;
};

// What one server of the list came to.
enum class ServerOutcome {
  kConnected,      // handshake done: socket, descriptor and context kept
  kTryNextServer,  // this server failed; its failure is recorded
  kGiveUp,         // no SSL context could be had: no other server is tried
};

// Opens a TCP connection to server and takes an SSL context for it.
// kConnected keeps socket and context, with *peer naming the address
// connected to; otherwise both are released and the failure recorded.
ServerOutcome openConnection(Exchange& x, const std::string& server, int port,
                             const Credentials& c, std::string* peer) {
  x.socket = trackNew(new BSocket(), "transaction socket");
  // Compatibility: the time-out is set twice in a row, the second call
  // repeating the first, so that the socket calls of an exchange stay the
  // ones its documented sequence lists; the repeat changes nothing else.
  x.socket->setSoTimeOut(kSocketTimeoutMs, 1);
  x.socket->setSoTimeOut(kSocketTimeoutMs, 1);
  if (!x.socket->connect(server.c_str(), port, kConnectTimeoutMs)) {
    const char* detail = x.socket->getError();
    logDebugPrintf(x.t, "\t\t\tUnable to connect to server: [%s]:[%d]; Error Message = [%s]",
                   server.c_str(), port, detail);
    // RESULT "-1" is stored with it: whatever follows either removes the
    // three fields (a later server connects) or fails with RESULT "-1".
    failTransaction(x.t, nullptr, "UNABLE TO CONNECT - COULD NOT OPEN SOCKET", detail);
    x.releaseSocket();
    return ServerOutcome::kTryNextServer;
  }

  BString* remote = x.socket->getRemoteAddress();
  if (remote != nullptr) {
    BString* text = remote->toString();
    *peer = text->buffer() ? text->buffer() : "";
    trackDelete(text);
  }
  logDebugPrintf(x.t, "\t\t\tRemote Address we connected to: [%s]:[%d];", peer->c_str(), port);

  x.log("\t\tGetting ssl context");
  x.ctx = static_cast<BSSLContext*>(
      get_ssl(c.certificatePath.c_str(), c.password.c_str(), c.caFile.c_str()));
  x.log("\t\tGot ssl context");
  if (x.ctx == nullptr || x.ctx->getSSLObject() == nullptr) {
    std::string detail = x.ctx == nullptr ? "Unable to obtain an ssl context object." : x.ctx->getError();
    logDebugPrintf(x.t, "\t\t\tError during SSL initialisation: [%s];", detail.c_str());
    failTransaction(x.t, nullptr, "UNABLE TO INITIALISE SSL.", detail.c_str());
    // Compatibility: the card data stay as they are on this path (no
    // clean-up runs), so an application can run the same request again
    // once the certificate is mended. The socket is closed and a context
    // that failed to load goes back to the pool, where the next
    // transaction with the same credentials retries the load.
    x.releaseContext();
    x.releaseSocket();
    return ServerOutcome::kGiveUp;
  }
  return ServerOutcome::kConnected;
}

// One pass of the server loop.
//
// The stored session is only a way to save a full handshake, never a
// reason to fail a payment: it may be one the gateway no longer accepts
// in a way that ends the handshake, or bytes torn by two processes
// writing at once. When a handshake that offered it fails for any reason
// but the time-out, the same server is tried once more at once, on a new
// connection, with a full handshake. A stalled server is not tried again.
ServerOutcome tryServer(Exchange& x, int index, int port, const Credentials& c) {
  char name[32];
  snprintf(name, sizeof name, "SERVER%i", index);
  std::string server = x.field(name);
  x.t->bundle->put("SERVER", server.c_str());
  logDebugPrintf(x.t, "\t\t\tTrying Server [%s]", server.c_str());

  for (bool offerSession = true;; offerSession = false) {
    std::string peer;
    ServerOutcome opened = openConnection(x, server, port, c, &peer);
    if (opened != ServerOutcome::kConnected) return opened;
    int fd = x.descriptor();
    sendWithoutDelay(fd);
    sslSetPeer(x.ctx, server.c_str(), c.checkHostName);
    bool offered = sslAttach(x.ctx, fd, offerSession);
    std::string why;
    SslHandshakeOutcome outcome = sslHandshake(x.ctx, fd, kHandshakeTimeoutMs, &why);
    x.socket->setNonBlocking();
    if (outcome == kSslHandshakeCompleted) {
      // An earlier server's failure is no longer the outcome.
      x.t->bundle->remove("ERROR");
      x.t->bundle->remove("ERROR_DETAIL");
      x.t->bundle->remove("RESULT");
      return ServerOutcome::kConnected;
    }
    x.releaseSocket();
    x.releaseContext();
    if (offered && outcome == kSslHandshakeFailed) {
      logDebugPrintf(x.t, "\t\t\tResuming the stored SSL session failed: [%s]:[%d]; [%s]; retrying with a full handshake",
                     peer.c_str(), port, why.c_str());
      continue;
    }
    logDebugPrintf(x.t, "\t\t\tCould not negotiate SSL: [%s]:[%d];", peer.c_str(), port);
    failTransaction(x.t, nullptr, "UNABLE TO CONNECT - COULD NOT NEGOTIATE SSL", why.c_str());
    return ServerOutcome::kTryNextServer;
  }
}

// Runs the server loop: tries the servers of the list in order until one
// is connected. Returns kTryNextServer when every server failed.
ServerOutcome connectToFirstServer(Exchange& x, int serverCount, int port, const Credentials& c) {
  ServerOutcome outcome = ServerOutcome::kTryNextServer;
  for (int i = 0; i < serverCount && outcome == ServerOutcome::kTryNextServer; i++) {
    outcome = tryServer(x, i, port, c);
  }
  return outcome;
}

}  // namespace

bool DoTransaction(void* handle) {
  Exchange x(static_cast<txn*>(handle));
  x.log("\t\tEntering doTransaction...");
  x.log("\t\tAdditional Logging enabled.");
  if (!initialiseClient(x.t)) return false;
  int port = 0;
  if (!checkServerPort(x.t, &port) || !checkSendableFields(x.t)) return false;

  Credentials credentials = {x.field("_CERTIFICATEPATH"), x.field("_CERTIFICATEPASSWORD"),
                             x.field("_CAFILE"), x.field("CLIENTID"),
                             !sameTextNoCase(x.t->bundle->get("_VERIFYHOST"), "OFF")};
  int serverCount = atoi(x.field("SERVERCOUNT").c_str());
  // A missing type is no status check, so that the parameter check can
  // report it.
  bool statusCheck = sameTextNoCase(x.t->bundle->get("TRANSACTIONTYPE"), "STATUS");
  int64_t initTime = x.lap();

  x.log("\t\tOpening Socket...");
  switch (connectToFirstServer(x, serverCount, port, credentials)) {
    case ServerOutcome::kGiveUp:
      return false;
    case ServerOutcome::kTryNextServer:
      // ERROR, ERROR_DETAIL and RESULT "-1" are the last server's.
      x.log("\t\tUnable to connect after trying all servers.");
      return x.endFailed();
    case ServerOutcome::kConnected:
      break;
  }
  int64_t socketTime = x.lap();

  if (!validCertificate(x.t, x.ctx)) {
    x.log("\t\tFailed Cert Check.");
    return x.endFailed();
  }
  int64_t certTime = x.lap();

  x.log("\t\tPreparing Message...");
  if (!essentialParametersExist(x.t)) {
    x.log("\t\tFailed Essential Param Check.");
    return x.endFailed();
  }
  if (!x.send()) return x.abandonFirstExchange("\t\t Unable to write to Server", "UNABLE TO WRITE TO SERVER");

  x.log("\t\tMessage Sent...");
  x.log("\t\tReading Response...");
  if (!x.receive()) {
    return x.abandonFirstExchange("\t\tUNABLE TO READ SERVER RESPONSE", "UNABLE TO READ SERVER RESPONSE");
  }
  x.log("\t\tRead result.");
  int64_t wireTime = x.lap();

  // Compatibility: a first reply carrying the gateway's ERROR ends the
  // exchange as run to its end (true), without TIMINGS: applications read
  // the gateway's refusal from ERROR and RESULT, and execute() must not
  // ask for the status of a payment the gateway refused.
  if (hasField(x.t, "ERROR")) {
    x.cleanUp();
    return true;
  }
  if (!hasField(x.t, "TXNREFERENCE")) {
    return x.abandon("\t\t INVALID SERVER RESPONSE", "INVALID SERVER RESPONSE");
  }
  x.log("\t\t Transaction Initialised.");
  logDebugPrintf(x.t, "\t\t\t Using TxnReference: [%s]", x.field("TXNREFERENCE").c_str());

  if (!statusCheck) {
    x.log("\t\tReplying to Server Response...");
    if (!x.send()) return x.abandon(nullptr, "UNABLE TO REPLY TO SERVER");
    x.log("\t\tReading Final Response...");
    if (!x.receive()) {
      return x.abandon("\t\tUnable To Read Final Response", "COULD NOT READ CONFIRMATION FROM SERVER");
    }
    x.log("\t\tResult successfully read.");
  } else {
    x.log("\t\t\tA status check was performed.");
  }
  int64_t moreWireTime = x.lap();
  x.cleanUp();
  int64_t cleanupTime = x.lap();

  char text[256];
  // Compatibility: "more wire(%lu)" has no blanks inside, unlike the other
  // five; applications that parse TIMINGS expect it so.
  snprintf(text, sizeof text,
           "init( %lu ) socket( %lu ) cert( %lu ) wire( %lu ) more wire(%lu) cleanup( %lu )",
           static_cast<unsigned long>(initTime), static_cast<unsigned long>(socketTime),
           static_cast<unsigned long>(certTime), static_cast<unsigned long>(wireTime),
           static_cast<unsigned long>(moreWireTime), static_cast<unsigned long>(cleanupTime));
  x.t->bundle->put("TIMINGS", static_cast<const char*>(text));
  snprintf(text, sizeof text, "%d keys - %d objects", get_ssl_key_count(),
           get_ssl_object_count());
  x.t->bundle->put("NUM_SSL_OBJECTS", static_cast<const char*>(text));
  return true;
}

void cleanUpAfterDoTransaction(txn* t, BSSLContext* ctx, int fd, BSocket* socket) {
  if (ctx != nullptr) {
    if (t != nullptr) logDebugMessage(t, "\t\tClosing Context...");
    ctx->ShutdownSSL();
  }
  if (fd != -1) {
    if (t != nullptr) logDebugMessage(t, "\t\tClosing Socket...");
    // Closed through the socket object when it owns the descriptor, so that
    // its destructor does not close the same number again (by then it may
    // belong to another connection of the process).
    if (socket != nullptr && socket->getSocket() == fd) {
      socket->close();
    } else {
      closeTheSocket(fd);
    }
  }
  trackDelete(socket);
  // Handed back last, with its socket closed, so that the next holder
  // finds nothing of this connection left in it.
  release_ssl(ctx);
  if (t != nullptr) clearCardData(t);
}

void cleanUpAfterDoTransaction(txn* t, BSSLContext* ctx, int fd, BSocket* socket, BString* response) {
  trackDelete(response);
  cleanUpAfterDoTransaction(t, ctx, fd, socket);
}

int closeTheSocket(int fd) { return close(fd); }
