#include "TlsStream.h"

#include <openssl/err.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <thread>

#include "Message.h"

namespace {

// The longest a wait goes without looking at the stop flag.
constexpr int kSliceMs = 50;

}  // namespace

TlsStream::TlsStream(SSL* ssl, int fd, const std::atomic<bool>& stopping, int idleTimeoutMs)
    : m_ssl(ssl), m_fd(fd), m_stopping(stopping), m_idleTimeoutMs(idleTimeoutMs) {
  SSL_set_fd(m_ssl, m_fd);
}

TlsStream::~TlsStream() {
  // One non-blocking attempt is enough: close_notify is queued at once,
  // and marks the session as cleanly ended so it stays in the cache.
  if (SSL_is_init_finished(m_ssl)) SSL_shutdown(m_ssl);
  SSL_free(m_ssl);
  close(m_fd);
}

IoStatus TlsStream::accept() {
  int ignored = 0;
  return drive([this] { return SSL_accept(m_ssl); }, &ignored);
}

IoStatus TlsStream::readMessage(std::string* message, size_t maxBytes) {
  const size_t markerLength = kEndMarkerLength;
  for (;;) {
    size_t at = m_pending.find(kEndMarker);
    if (at != std::string::npos) {
      *message = m_pending.substr(0, at + markerLength);
      m_pending.erase(0, at + markerLength);
      return IoStatus::kOk;
    }
    if (m_pending.size() > maxBytes) {
      m_lastError = "message longer than " + std::to_string(maxBytes) + " bytes";
      return IoStatus::kFailed;
    }
    char buffer[4096];
    int count = 0;
    IoStatus status = drive([&] { return SSL_read(m_ssl, buffer, sizeof(buffer)); }, &count);
    if (status != IoStatus::kOk) return status;
    m_pending.append(buffer, static_cast<size_t>(count));
  }
}

IoStatus TlsStream::write(const std::string& bytes) {
  if (bytes.empty()) return IoStatus::kOk;
  int written = 0;
  return drive([&] { return SSL_write(m_ssl, bytes.data(), static_cast<int>(bytes.size())); }, &written);
}

IoStatus TlsStream::writeInPieces(const std::string& bytes, int pieceBytes, int pauseMs) {
  for (size_t at = 0; at < bytes.size(); at += static_cast<size_t>(pieceBytes)) {
    if (at > 0 && !pause(pauseMs)) return IoStatus::kStopped;
    IoStatus status = write(bytes.substr(at, static_cast<size_t>(pieceBytes)));
    if (status != IoStatus::kOk) return status;
  }
  return IoStatus::kOk;
}

IoStatus TlsStream::holdUntilClosed() {
  char buffer[4096];
  int count = 0;
  IoStatus status;
  do {
    status = drive([&] { return SSL_read(m_ssl, buffer, sizeof(buffer)); }, &count);
  } while (status == IoStatus::kOk);
  return status;
}

IoStatus TlsStream::drive(const std::function<int()>& op, int* result) {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(m_idleTimeoutMs);
  for (;;) {
    if (m_stopping) return IoStatus::kStopped;
    ERR_clear_error();
    errno = 0;
    int returned = op();
    if (returned > 0) {
      *result = returned;
      return IoStatus::kOk;
    }
    int reason = SSL_get_error(m_ssl, returned);
    short events = 0;
    if (reason == SSL_ERROR_WANT_READ) {
      events = POLLIN;
    } else if (reason == SSL_ERROR_WANT_WRITE) {
      events = POLLOUT;
    } else if (reason == SSL_ERROR_ZERO_RETURN) {
      return IoStatus::kClosed;
    } else {
      unsigned long code = ERR_peek_error();
      if (code != 0) {
        char text[256];
        ERR_error_string_n(code, text, sizeof(text));
        m_lastError = text;
      } else {
        m_lastError = errno != 0 ? std::strerror(errno) : "connection closed";
      }
      ERR_clear_error();
      return IoStatus::kFailed;
    }
    IoStatus waited = waitFor(events, deadline);
    if (waited != IoStatus::kOk) return waited;
  }
}

IoStatus TlsStream::waitFor(short events, std::chrono::steady_clock::time_point deadline) {
  for (;;) {
    if (m_stopping) return IoStatus::kStopped;
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return IoStatus::kTimedOut;
    pollfd descriptor{m_fd, events, 0};
    int ready = poll(&descriptor, 1, static_cast<int>(std::min<long long>(left.count(), kSliceMs)));
    if (ready > 0) return IoStatus::kOk;
    if (ready < 0 && errno != EINTR) {
      m_lastError = std::strerror(errno);
      return IoStatus::kFailed;
    }
  }
}

bool TlsStream::pause(int ms) {
  auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
  while (!m_stopping) {
    auto left = until - std::chrono::steady_clock::now();
    if (left <= std::chrono::steady_clock::duration::zero()) return true;
    std::this_thread::sleep_for(std::min<std::chrono::steady_clock::duration>(left, std::chrono::milliseconds(kSliceMs)));
  }
  return false;
}
