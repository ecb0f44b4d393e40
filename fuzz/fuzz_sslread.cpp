// The response reader, doSSLRead, fed by a TLS peer in the same process
// over a socketpair: the peer sends the input as the gateway's reply, in
// records of a size the input chooses, and then closes with close_notify,
// drops the connection without one, or leaves it open. The reader runs
// with a time-out of 0 seconds, so an open connection ends the read as
// soon as everything sent has been read.
//
// Invariants, for replies without NUL bytes (a string stops at one): the
// reader returns a message exactly when the reply holds the end marker
// past its first byte, and what it returns is the reply's beginning, up
// to a record boundary at or after the marker.
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "BSSLContext.h"
#include "BSocket.h"
#include "BString.h"
#include "CertificateFactory.h"
#include "responseReader.h"
#include "fuzzSupport.h"
#include "gatewayMessage.h"
#include "sessionStore.h"

namespace {

BSSLContext* gClient = nullptr;
SSL_CTX* gServer = nullptr;

// Builds the client context the way the pool does, from a fresh
// certificate set that is deleted again once loaded. The session store
// segment is marked for removal at once: it lives while this process is
// attached and is gone when it exits, however it exits.
void setUp() {
  char dirTemplate[] = "/tmp/zv-fuzz-sslread-XXXXXX";
  if (!mkdtemp(dirTemplate)) std::abort();
  std::string dir = dirTemplate;
  CertificateFactory().writeAll(dir);

  gClient = new BSSLContext((dir + "/" + CertificateFactory::kClientPlainPem).c_str(), "", "");
  if (!gClient->getSSLObject()) std::abort();
  if (mSharedContainer) shmctl(mSharedContainer->segmentId, IPC_RMID, nullptr);

  gServer = SSL_CTX_new(TLS_server_method());
  SSL_CTX_set_max_proto_version(gServer, TLS1_2_VERSION);
  if (SSL_CTX_use_certificate_chain_file(gServer, (dir + "/" + CertificateFactory::kServerCert).c_str()) != 1 ||
      SSL_CTX_use_PrivateKey_file(gServer, (dir + "/" + CertificateFactory::kServerKey).c_str(), SSL_FILETYPE_PEM) !=
          1) {
    std::abort();
  }
  std::filesystem::remove_all(dir);
}

// Runs both handshake sides in turn on non-blocking sockets.
bool handshake(SSL* client, SSL* server) {
  for (int round = 0; round < 100; ++round) {
    int c = SSL_connect(client);
    int s = SSL_accept(server);
    if (c == 1 && s == 1) return true;
    if (c != 1 && SSL_get_error(client, c) != SSL_ERROR_WANT_READ) return false;
    if (s != 1 && SSL_get_error(server, s) != SSL_ERROR_WANT_READ) return false;
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  silenceStandardOutput();
  setUp();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput in(data, size);
  size_t recordSize = 1 + in.byte() % 64;
  if (recordSize == 64) recordSize = 16384;  // one record for the lot
  int ending = in.byte() % 3;                // 0 close_notify, 1 dropped, 2 left open
  std::string reply = in.rest();
  if (reply.size() > 16 * 1024) return 0;
  // Every record is a write of its own, and the socket buffer accounts for
  // each write at a kilobyte or so whatever its size: at most 64 records
  // keep everything sent within the buffer before the reader starts.
  recordSize = std::max(recordSize, (reply.size() + 63) / 64);

  int fds[2];
  if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0) std::abort();
  BSocket* socket = new BSocket(fds[0], nullptr, nullptr);
  socket->setNonBlocking();
  gClient->setInUse(1);
  gClient->setSocket(fds[0]);
  SSL* client = gClient->getSSLObject();
  SSL* server = SSL_new(gServer);
  SSL_set_fd(server, fds[1]);
  BSocket peer(fds[1], nullptr, nullptr);
  peer.setNonBlocking();
  ERR_clear_error();
  if (!handshake(client, server)) fuzzFailure("the handshake failed", data, size);

  for (size_t at = 0; at < reply.size(); at += recordSize) {
    size_t n = std::min(recordSize, reply.size() - at);
    if (SSL_write(server, reply.data() + at, static_cast<int>(n)) != static_cast<int>(n))
      fuzzFailure("the peer could not write", data, size);
  }
  if (ending == 0) SSL_shutdown(server);
  if (ending != 2) shutdown(fds[1], SHUT_WR);

  BString* message = doSSLRead(gClient, socket, 0);

  if (reply.find('\0') == std::string::npos) {
    size_t marker = reply.find(kEndMarker, 1);
    if ((message != nullptr) != (marker != std::string::npos))
      fuzzFailure(message ? "a message without an end marker" : "a complete message not found", data, size);
    if (message) {
      std::string got(message->buffer(), message->length());
      if (got.size() < marker + kEndMarkerLength || reply.compare(0, got.size(), got) != 0)
        fuzzFailure("the message is not the reply's beginning", data, size);
    }
  }
  delete message;

  gClient->ShutdownSSL();
  gClient->setInUse(0);
  SSL_free(server);
  delete socket;  // closes fds[0]
  return 0;
}
