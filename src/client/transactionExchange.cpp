#include "transactionExchange.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "BSSLContext.h"
#include "BSocket.h"
#include "BSocketLibrary.h"
#include "BString.h"
#include "Deadline.h"
#include "Exchange.h"
#include "OwnedDescriptor.h"
#include "ServerAddress.h"
#include "TransactionRecord.h"
#include "TransactionRequest.h"
#include "addressConnect.h"
#include "proxyTunnel.h"
#include "clientPreparation.h"
#include "debugLog.h"
#include "faultHook.h"
#include "memTrack.h"
#include "policy.h"
#include "preSendChecks.h"
#include "requestChecks.h"
#include "responseReader.h"
#include "sslConnection.h"
#include "sslPool.h"
#include "transactionEvents.h"

namespace {

// The six durations of TIMINGS, in milliseconds.
struct Timings {
  int64_t init = 0, socket = 0, cert = 0, wire = 0, moreWire = 0, cleanup = 0;
};

// What the steps of one exchange share.
struct Run {
  Exchange& x;
  TransactionRecord& record;
  const TransactionRequest& request;
  GatewayAnswer answer;
  Timings timings;
  // The payment's time bound (_TIMEOUT), and the step that waits now, for
  // the failure when the bound runs out.
  Deadline deadline;
  const char* step = "";

  txn* log() const { return record.log(); }
};

// A failure whose ERROR_DETAIL is detail, or that has none when detail is
// null.
EngineStatus failure(const char* error, const char* detail,
                     EngineStatus::CardData cardData = EngineStatus::kMaskCardData) {
  if (detail == nullptr) return EngineStatus::Failure(error, nullptr, cardData);
  return EngineStatus::FailureWithDetail(error, detail, nullptr, cardData);
}

// The payment's time bound ran out during run's current step.
EngineStatus timedOut(const Run& run) {
  return EngineStatus::TimedOut(run.request.timeoutMs, run.step);
}

// Sends every write at once. After a resumed handshake the client speaks
// last (its Finished) and writes the request right after; with Nagle's
// algorithm the request would be held until the gateway acknowledges the
// Finished, which it delays by about 40 ms, so every resumed transaction
// would stall.
void sendWithoutDelay(int fd) {
  int on = 1;
  setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

// What one server of the list came to.
enum class ServerOutcome {
  kConnected,      // handshake done: socket and context kept
  kTryNextServer,  // this server failed; why is in the status
  kGiveUp,         // no SSL context could be had: no other server is tried
};

// A socket object for connected descriptor fd, reached at address. The
// object's destructor releases one user of the socket library, so one is
// registered here for it. An IPv6 peer has no BSocketAddress (an IPv4
// type); the engine names peers by the address's own text.
BSocket* socketFor(OwnedDescriptor fd, const ServerAddress& address) {
  BSocketLibrary::initSocketLibrary();
  if (address.family() == AF_INET) {
    return new BSocket(fd.release(), reinterpret_cast<const sockaddr_in*>(&address.address), nullptr);
  }
  return new BSocket(fd.release(), nullptr, nullptr);
}

// Opens a tunnel to server through the request's HTTP proxy; as
// connectTcp. A proxy that fails counts as a failed server, with the
// tunnel's reason as ERROR_DETAIL (never the proxy's credentials).
bool connectThroughProxy(Run& run, const std::string& server, std::string* peer, EngineStatus* why) {
  const ProxySetting& proxy = run.request.proxy;
  std::string proxyAddress = hostForAuthority(proxy.host());
  emitServerTried(run.log(), server, proxyAddress, proxy.port());
  OwnedDescriptor fd;
  std::string detail;
  TunnelFailure failed = openTunnel(proxy, server, run.request.port, run.deadline, &fd, &detail);
  if (failed != TunnelFailure::kNone) {
    logDebugPrintf(run.log(), "\t\t\tUnable to connect to server: [%s]:[%d] through the proxy; Error Message = [%s]",
                   server.c_str(), run.request.port, detail.c_str());
    *why = failure("UNABLE TO CONNECT - COULD NOT OPEN SOCKET", detail.c_str());
    return false;
  }
  BSocketLibrary::initSocketLibrary();
  BSocket* socket = run.x.adoptSocket(new BSocket(fd.release(), nullptr, nullptr));
  socket->setSoTimeOut(kSocketTimeoutMs, 1);
  socket->setSoTimeOut(kSocketTimeoutMs, 1);
  *peer = proxyAddress;
  logDebugPrintf(run.log(), "\t\t\tTunnel open through the proxy [%s]", proxy.displayName().c_str());
  emitConnected(run.log(), server, proxyAddress, proxy.port());
  return true;
}

// Opens a TCP connection to server: resolves it to all its addresses and
// tries them in turn, all within kConnectTimeoutMs for the server, until
// one accepts. True with the socket held by the exchange and *peer the
// text of the address connected to.
bool connectTcp(Run& run, const std::string& server, std::string* peer, EngineStatus* why) {
  const TransactionRequest& r = run.request;
  std::vector<ServerAddress> addresses;
  std::string detail;
  run.step = "connecting to the gateway";
  if (r.hasProxy) return connectThroughProxy(run, server, peer, why);
  if (resolveServerAddresses(server, r.port, &addresses, &detail)) {
    Deadline serverBound = Deadline::earlier(Deadline::after(kConnectTimeoutMs), run.deadline);
    for (const ServerAddress& address : addresses) {
      emitServerTried(run.log(), server, address.text, r.port);
      OwnedDescriptor fd;
      size_t answered = 0;
      if (connectToAddresses({address}, serverBound, &fd, &answered, &detail)) {
        BSocket* socket = run.x.adoptSocket(socketFor(std::move(fd), address));
        // Compatibility: the time-out is set twice in a row, the second
        // call repeating the first, so that the socket calls of an exchange
        // stay the ones its documented sequence lists; the repeat changes
        // nothing else.
        socket->setSoTimeOut(kSocketTimeoutMs, 1);
        socket->setSoTimeOut(kSocketTimeoutMs, 1);
        *peer = address.text;
        emitConnected(run.log(), server, address.text, r.port);
        return true;
      }
    }
  }
  logDebugPrintf(run.log(), "\t\t\tUnable to connect to server: [%s]:[%d]; Error Message = [%s]",
                 server.c_str(), r.port, detail.c_str());
  *why = failure("UNABLE TO CONNECT - COULD NOT OPEN SOCKET", detail.c_str());
  return false;
}

// Opens a TCP connection to server and takes an SSL context for it.
// kConnected keeps socket and context, with *peer naming the address
// connected to; otherwise both are released and *why says what failed.
ServerOutcome openConnection(Run& run, const std::string& server, std::string* peer, EngineStatus* why) {
  const TransactionRequest& r = run.request;
  if (!connectTcp(run, server, peer, why)) return ServerOutcome::kTryNextServer;
  logDebugPrintf(run.log(), "\t\t\tRemote Address we connected to: [%s]:[%d];", peer->c_str(), r.port);

  logDebugMessage(run.log(), "\t\tGetting ssl context");
  BSSLContext* ctx = static_cast<BSSLContext*>(get_ssl(
      r.certificatePath.c_str(), r.certificatePassword.c_str(), r.caFile.c_str()));
  run.x.takeContext(ctx);
  logDebugMessage(run.log(), "\t\tGot ssl context");
  if (ctx == nullptr || ctx->getSSLObject() == nullptr) {
    std::string detail = ctx == nullptr ? "Unable to obtain an ssl context object." : ctx->getError();
    logDebugPrintf(run.log(), "\t\t\tError during SSL initialisation: [%s];", detail.c_str());
    // Compatibility: the card data stay as they are on this path, so that
    // an application can run the same request again once the certificate
    // is mended.
    *why = failure("UNABLE TO INITIALISE SSL.", detail.c_str(), EngineStatus::kKeepCardDataForRetry);
    run.x.dropConnection();
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
ServerOutcome tryServer(Run& run, int index, EngineStatus* why) {
  std::string server = run.request.server(index);
  run.record.setServer(server);
  logDebugPrintf(run.log(), "\t\t\tTrying Server [%s]", server.c_str());

  for (bool offerSession = true;; offerSession = false) {
    std::string peer;
    ServerOutcome opened = openConnection(run, server, &peer, why);
    if (opened != ServerOutcome::kConnected) return opened;
    int fd = run.x.descriptor();
    sendWithoutDelay(fd);
    sslSetPeer(run.x.context(), server.c_str(), run.request.checkHostName);
    // Refusals of offered sessions are counted per address connected to;
    // behind a proxy that is the proxy's, so the server's name stands in.
    std::string gateway = (run.request.hasProxy ? server : peer) + ":" + std::to_string(run.request.port);
    bool offered = sslAttach(run.x.context(), fd, gateway, offerSession);
    std::string detail;
    run.step = "the SSL handshake";
    // The socket is non-blocking from its connect on (the handshake's and
    // the replies' waits are bounded polls), so it is already in the mode
    // the reads after the handshake need.
    SslHandshakeOutcome outcome =
        sslHandshake(run.x.context(), fd, gateway, run.deadline.clamp(kHandshakeTimeoutMs), &detail);
    if (outcome == kSslHandshakeCompleted) {
      SslHandshakeSummary agreed = sslHandshakeSummary(run.x.context());
      emitHandshakeDone(run.log(), agreed.version, agreed.cipher, agreed.resumed);
      // An earlier failure is no longer the outcome.
      run.record.clearPreviousOutcome();
      return ServerOutcome::kConnected;
    }
    run.x.dropConnection();
    if (offered && outcome == kSslHandshakeFailed) {
      logDebugPrintf(run.log(),
                     "\t\t\tResuming the stored SSL session failed: [%s]:[%d]; [%s]; retrying with a full handshake",
                     peer.c_str(), run.request.port, detail.c_str());
      continue;
    }
    logDebugPrintf(run.log(), "\t\t\tCould not negotiate SSL: [%s]:[%d];", peer.c_str(), run.request.port);
    *why = failure("UNABLE TO CONNECT - COULD NOT NEGOTIATE SSL", detail.c_str());
    return ServerOutcome::kTryNextServer;
  }
}

// The server loop: tries the servers of the list in order until one is
// connected. Fails with the last server's failure when none is.
EngineStatus connectToFirstServer(Run& run) {
  EngineStatus why;
  for (int i = 0; i < run.request.serverCount; i++) {
    if (run.deadline.expired()) return timedOut(run);
    switch (tryServer(run, i, &why)) {
      case ServerOutcome::kConnected:
        return EngineStatus::Ok();
      case ServerOutcome::kGiveUp:
        return why;
      case ServerOutcome::kTryNextServer:
        break;
    }
  }
  if (run.deadline.expired()) return timedOut(run);
  return why.loggedAs("\t\tUnable to connect after trying all servers.");
}

// Sends the bundle with one SSL write; true unless the write failed (a
// short write counts as sent).
bool send(Run& run) {
  BString* text = run.record.message();
  int written = sslWrite(run.x.context(), text->buffer(), text->length());
  trackDelete(text);
  if (written < 0) return false;
  emitEvent(run.log(), ZELVAN_EVENT_REQUEST_SENT);
  return true;
}

// Reads one gateway message and merges what the gateway may set of it
// into the bundle.
bool receive(Run& run) {
  BString* reply = doSSLRead(run.x.context(), run.x.socket(), kReadTimeoutSeconds, run.log(), run.deadline);
  if (reply == nullptr) return false;
  emitEvent(run.log(), ZELVAN_EVENT_REPLY_READ);
  run.record.mergeReply(reply->buffer(), &run.answer);
  trackDelete(reply);
  return true;
}

// The failure of the first write or read. Under TLS 1.3 the gateway
// refuses a client certificate only after the handshake, and the refusal
// may reach either: it is then reported as the failed handshake it is,
// with its reason, instead of as error.
EngineStatus firstExchangeFailure(Run& run, const char* logLine, const char* error) {
  if (run.deadline.expired()) return timedOut(run);
  std::string why;
  if (sslRefusedAfterHandshake(run.x.context(), &why)) {
    return EngineStatus::FailureWithDetail("UNABLE TO CONNECT - COULD NOT NEGOTIATE SSL", why,
                                           "\t\tThe gateway refused the SSL connection.");
  }
  return EngineStatus::Failure(error, logLine);
}

// The steps of an exchange up to, not including, its clean-up.
EngineStatus runSteps(Run& run) {
  txn* log = run.log();
  const TransactionRequest& r = run.request;
  EngineStatus status = initialiseClient(r, run.record);
  if (status.ok()) status = checkServerPort(r);
  if (status.ok()) status = checkLocalSettings(r);
  if (status.ok()) status = checkSendableFields(r);
  if (!status.ok()) return status;
  run.timings.init = run.x.lap();

  logDebugMessage(log, "\t\tOpening Socket...");
  status = connectToFirstServer(run);
  if (!status.ok()) return status;
  run.timings.socket = run.x.lap();
  exchangeFaultPoint("connected");

  status = validCertificate(run.x.context(), log);
  if (!status.ok()) return status.then("\t\tFailed Cert Check.");
  run.timings.cert = run.x.lap();

  logDebugMessage(log, "\t\tPreparing Message...");
  status = essentialParametersExist(r);
  if (!status.ok()) return status.then("\t\tFailed Essential Param Check.");
  if (!send(run)) return firstExchangeFailure(run, "\t\t Unable to write to Server", "UNABLE TO WRITE TO SERVER");

  logDebugMessage(log, "\t\tMessage Sent...");
  logDebugMessage(log, "\t\tReading Response...");
  run.step = "reading the gateway's reply";
  if (!receive(run)) {
    return firstExchangeFailure(run, "\t\tUNABLE TO READ SERVER RESPONSE", "UNABLE TO READ SERVER RESPONSE");
  }
  logDebugMessage(log, "\t\tRead result.");
  run.timings.wire = run.x.lap();
  exchangeFaultPoint("first reply read");

  // Compatibility: a first reply carrying the gateway's ERROR ends the
  // exchange as run to its end, without TIMINGS: applications read the
  // gateway's refusal from ERROR and RESULT, and execute() must not ask
  // for the status of a payment the gateway refused.
  if (run.answer.gaveError) return EngineStatus::GatewayError();
  // A reference the bundle held before counts as well as a new one.
  if (!run.answer.gaveReference && !r.hasReference) {
    return EngineStatus::Failure("INVALID SERVER RESPONSE", "\t\t INVALID SERVER RESPONSE");
  }
  logDebugMessage(log, "\t\t Transaction Initialised.");
  logDebugPrintf(log, "\t\t\t Using TxnReference: [%s]",
                 (run.answer.gaveReference ? run.answer.reference : r.reference).c_str());

  if (!r.statusCheck) {
    logDebugMessage(log, "\t\tReplying to Server Response...");
    if (!send(run)) return EngineStatus::Failure("UNABLE TO REPLY TO SERVER");
    logDebugMessage(log, "\t\tReading Final Response...");
    run.step = "reading the final response";
    if (!receive(run)) {
      if (run.deadline.expired()) return timedOut(run);
      return EngineStatus::Failure("COULD NOT READ CONFIRMATION FROM SERVER", "\t\tUnable To Read Final Response");
    }
    logDebugMessage(log, "\t\tResult successfully read.");
  } else {
    logDebugMessage(log, "\t\t\tA status check was performed.");
  }
  run.timings.moreWire = run.x.lap();
  return EngineStatus::Ok();
}

// TIMINGS and NUM_SSL_OBJECTS of an exchange that ran to its end.
void recordStatistics(TransactionRecord& record, const Timings& t) {
  // Put together with to_string rather than a format: printf's code is
  // large and cold by the end of a purchase. Compatibility: "more wire(N)"
  // has no blanks inside, unlike the other five; applications that parse
  // TIMINGS expect it so.
  auto ms = [](unsigned long value) { return std::to_string(value); };
  std::string timings = "init( " + ms(t.init) + " ) socket( " + ms(t.socket) + " ) cert( " + ms(t.cert) +
                        " ) wire( " + ms(t.wire) + " ) more wire(" + ms(t.moreWire) + ") cleanup( " +
                        ms(t.cleanup) + " )";
  record.setTimings(timings.c_str());
  std::string objects =
      std::to_string(get_ssl_key_count()) + " keys - " + std::to_string(get_ssl_object_count()) + " objects";
  record.setSslObjects(objects.c_str());
}

}  // namespace

EngineStatus DoTransaction(txn* t, const Deadline& deadline, const TransactionRequest* given) {
  TransactionRecord record(t);
  Exchange x(t);
  logDebugMessage(t, "\t\tEntering doTransaction...");
  logDebugMessage(t, "\t\tAdditional Logging enabled.");
  TransactionRequest read;
  if (given == nullptr) read = readRequest(t);
  Run run{x, record, given != nullptr ? *given : read, GatewayAnswer(), Timings(), deadline};

  EngineStatus status = runSteps(run);
  status.setAnswer(run.answer);
  record.record(status);
  x.close();
  if (!status.keepsCardData()) record.maskCardData();
  if (status.ok()) {
    run.timings.cleanup = x.lap();
    recordStatistics(record, run.timings);
  }
  return status;
}
