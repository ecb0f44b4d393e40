#ifndef ZELVAN_GATEWAYSIM_TLSSTREAM_H_
#define ZELVAN_GATEWAYSIM_TLSSTREAM_H_

#include <openssl/ssl.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <string>

// How an operation on a TlsStream ended.
enum class IoStatus {
  kOk,
  kClosed,    // the peer closed the connection
  kStopped,   // the simulator is stopping
  kTimedOut,  // nothing arrived within the idle time-out
  kFailed,    // a TLS or socket error, or a message too long
};

// One server-side TLS connection over a non-blocking socket. Every wait
// is cut into short slices so that a stopping simulator ends it quickly,
// and every wait for the peer ends after the idle time-out.
class TlsStream {
 public:
  // Takes ownership of ssl and of the connected, non-blocking fd.
  TlsStream(SSL* ssl, int fd, const std::atomic<bool>& stopping, int idleTimeoutMs);
  // Sends close_notify after a completed handshake (so the session stays
  // resumable), then frees the connection and closes the socket.
  ~TlsStream();
  TlsStream(const TlsStream&) = delete;
  TlsStream& operator=(const TlsStream&) = delete;

  // Runs the server side of the handshake.
  IoStatus accept();

  // Reads up to and including the next end marker into *message. Bytes
  // after the marker are kept for the next call. Fails when more than
  // maxBytes arrive without a marker.
  IoStatus readMessage(std::string* message, size_t maxBytes);

  // Writes all of bytes as one TLS record.
  IoStatus write(const std::string& bytes);

  // Writes bytes in records of pieceBytes each, pausing pauseMs between them.
  IoStatus writeInPieces(const std::string& bytes, int pieceBytes, int pauseMs);

  // Reads and discards whatever arrives until the peer closes, the idle
  // time-out passes, or the simulator stops.
  IoStatus holdUntilClosed();

  bool sessionReused() const { return SSL_session_reused(m_ssl) == 1; }

  // OpenSSL's reason for the last kFailed, or the system's.
  const std::string& lastError() const { return m_lastError; }

 protected:
  // Calls op until it returns more than 0, waiting on the socket whenever
  // OpenSSL wants to read or write. The result lands in *result.
  IoStatus drive(const std::function<int()>& op, int* result);
  IoStatus waitFor(short events, std::chrono::steady_clock::time_point deadline);
  bool pause(int ms);

  SSL* m_ssl;
  int m_fd;
  const std::atomic<bool>& m_stopping;
  int m_idleTimeoutMs;
  std::string m_pending;
  std::string m_lastError;
};

#endif  // ZELVAN_GATEWAYSIM_TLSSTREAM_H_
