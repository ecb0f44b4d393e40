#include "proxyTunnel.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "ServerAddress.h"
#include "addressConnect.h"
#include "policy.h"

namespace {

std::string base64(const std::string& bytes) {
  static const char kAlphabet[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  for (size_t i = 0; i < bytes.size(); i += 3) {
    size_t n = std::min<size_t>(3, bytes.size() - i);
    unsigned v = 0;
    for (size_t k = 0; k < 3; ++k) {
      v = (v << 8) | (k < n ? static_cast<unsigned char>(bytes[i + k]) : 0);
    }
    for (size_t k = 0; k < 4; ++k) {
      out.push_back(k <= n ? kAlphabet[(v >> (18 - 6 * k)) & 63] : '=');
    }
  }
  return out;
}

// One exchange with the proxy: its name for texts, the descriptor, and
// the bound every wait of the exchange shares.
struct ProxyExchange {
  int fd;
  std::string name;      // "host:port" of the proxy
  const Deadline& deadline;
  Deadline bound;        // the proxy's answer bound cut by the deadline

  // Waits for events on fd within bound. kNone when ready; otherwise the
  // failure, with *detail.
  TunnelFailure wait(short events, std::string* detail) const {
    int ready;
    do {
      pollfd entry{fd, events, 0};
      ready = poll(&entry, 1, bound.clamp(kProxyAnswerTimeoutMs));
    } while (ready < 0 && errno == EINTR);
    if (ready > 0) return TunnelFailure::kNone;
    if (ready == 0) {
      *detail = deadline.expired()
                    ? "The proxy at " + name + " did not answer before the payment's deadline."
                    : "The proxy at " + name + " did not answer the tunnel request within " +
                          std::to_string(kProxyAnswerTimeoutMs) + " ms.";
      return TunnelFailure::kNoAnswer;
    }
    *detail = "The connection to the proxy at " + name + " failed: " + strerror(errno) + ".";
    return TunnelFailure::kProxyUnreachable;
  }

  TunnelFailure send(const std::string& request, std::string* detail) const {
    for (size_t sent = 0; sent < request.size();) {
      TunnelFailure waited = wait(POLLOUT, detail);
      if (waited != TunnelFailure::kNone) return waited;
      ssize_t n = ::send(fd, request.data() + sent, request.size() - sent,
                         MSG_NOSIGNAL | MSG_DONTWAIT);
      if (n < 0 && (errno == EAGAIN || errno == EINTR)) continue;
      if (n <= 0) {
        *detail = "The tunnel request could not be sent to the proxy at " + name + ": " +
                  strerror(errno) + ".";
        return TunnelFailure::kProxyUnreachable;
      }
      sent += static_cast<size_t>(n);
    }
    return TunnelFailure::kNone;
  }

  // Reads until the end of the answer's head. *head is the head, *extra
  // how many bytes came after it.
  TunnelFailure readHead(std::string* head, size_t* extra, std::string* detail) const {
    std::string got;
    char buf[1024];
    for (;;) {
      size_t end = got.find("\r\n\r\n");
      if (end != std::string::npos) {
        *head = got.substr(0, end);
        *extra = got.size() - end - 4;
        return TunnelFailure::kNone;
      }
      if (got.size() >= static_cast<size_t>(kProxyAnswerHeadBytes)) {
        *detail = "The proxy at " + name + " sent an answer head longer than " +
                  std::to_string(kProxyAnswerHeadBytes) + " bytes.";
        return TunnelFailure::kMalformedAnswer;
      }
      TunnelFailure waited = wait(POLLIN, detail);
      if (waited != TunnelFailure::kNone) return waited;
      size_t room = std::min(sizeof buf, kProxyAnswerHeadBytes - got.size());
      ssize_t n = recv(fd, buf, room, MSG_DONTWAIT);
      if (n < 0 && (errno == EAGAIN || errno == EINTR)) continue;
      if (n <= 0) {
        *detail = "The proxy at " + name + " closed the connection before answering the tunnel request.";
        return TunnelFailure::kMalformedAnswer;
      }
      got.append(buf, static_cast<size_t>(n));
    }
  }
};

// The status of an answer's head: "HTTP/1.x NNN ...". -1 when the head
// does not begin with such a status line.
int statusOf(const std::string& head) {
  if (head.size() < 12 || head.compare(0, 7, "HTTP/1.") != 0 || head[8] != ' ') return -1;
  int status = 0;
  for (size_t i = 9; i < 12; ++i) {
    if (head[i] < '0' || head[i] > '9') return -1;
    status = status * 10 + (head[i] - '0');
  }
  if (head.size() > 12 && head[12] != ' ' && head[12] != '\r') return -1;
  return status;
}

TunnelFailure failureFor(int status, const ProxySetting& proxy, const std::string& name,
                         std::string* detail) {
  std::string code = " (HTTP status " + std::to_string(status) + ")";
  switch (status) {
    case 401:
    case 407:
      *detail = proxy.hasCredentials()
                    ? "The proxy at " + name + " refused the user name and password given" + code + "."
                    : "The proxy at " + name + " asks for a user name and password" + code + ".";
      return TunnelFailure::kProxyCredentials;
    case 403:
      *detail = "The proxy at " + name + " does not allow a tunnel to the gateway" + code + ".";
      return TunnelFailure::kProxyForbidden;
    // 500 is in this group because proxies such as tinyproxy answer a
    // gateway that refuses the connection with "500 Unable to connect".
    case 500:
    case 502:
    case 503:
      *detail = "The proxy at " + name + " could not connect to the gateway" + code + ".";
      return TunnelFailure::kGatewayUnreachable;
    case 504:
      *detail = "The proxy at " + name + " timed out connecting to the gateway" + code + ".";
      return TunnelFailure::kGatewayTimeout;
    default:
      *detail = "The proxy at " + name + " refused the tunnel to the gateway" + code + ".";
      return TunnelFailure::kOtherStatus;
  }
}

}  // namespace

TunnelFailure requestTunnel(int fd, const ProxySetting& proxy, const std::string& targetHost,
                            int targetPort, const Deadline& deadline, std::string* detail) {
  std::string host = targetHost;
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
    host = host.substr(1, host.size() - 2);
  }
  if (!isPlainHost(host) || targetPort < 1 || targetPort > 65535) {
    *detail = "The server name or port cannot be sent to a proxy: they hold characters a "
              "host name or port cannot have.";
    return TunnelFailure::kBadTarget;
  }
  std::string authority = hostForAuthority(host) + ":" + std::to_string(targetPort);
  std::string request = "CONNECT " + authority + " HTTP/1.1\r\nHost: " + authority + "\r\n";
  if (proxy.hasCredentials()) {
    request += "Proxy-Authorization: Basic " + base64(proxy.user() + ":" + proxy.password()) + "\r\n";
  }
  request += "\r\n";

  ProxyExchange x{fd, proxy.displayName(), deadline,
                  Deadline::earlier(Deadline::after(kProxyAnswerTimeoutMs), deadline)};
  TunnelFailure failure = x.send(request, detail);
  if (failure != TunnelFailure::kNone) return failure;
  std::string head;
  size_t extra = 0;
  failure = x.readHead(&head, &extra, detail);
  if (failure != TunnelFailure::kNone) return failure;

  int status = statusOf(head);
  if (status < 0) {
    *detail = "The proxy at " + x.name + " gave an answer that is not HTTP to the tunnel request.";
    return TunnelFailure::kMalformedAnswer;
  }
  if (status != 200) return failureFor(status, proxy, x.name, detail);
  // The client speaks first on the tunnel (the TLS hello), so the gateway
  // has nothing to say yet: bytes here come from the proxy, and would be
  // read as the gateway's.
  if (extra > 0) {
    *detail = "The proxy at " + x.name + " sent data after opening the tunnel, before the gateway could answer.";
    return TunnelFailure::kMalformedAnswer;
  }
  return TunnelFailure::kNone;
}

TunnelFailure openTunnel(const ProxySetting& proxy, const std::string& targetHost,
                         int targetPort, const Deadline& deadline, OwnedDescriptor* tunnel,
                         std::string* detail) {
  tunnel->reset();
  std::vector<ServerAddress> addresses;
  OwnedDescriptor connected;
  size_t answered = 0;
  std::string why;
  if (!resolveServerAddresses(proxy.host(), proxy.port(), &addresses, &why) ||
      !connectToAddresses(addresses, deadline, &connected, &answered, &why)) {
    *detail = "The proxy at " + proxy.displayName() + " could not be reached. " + why;
    return TunnelFailure::kProxyUnreachable;
  }
  TunnelFailure failure = requestTunnel(connected.get(), proxy, targetHost, targetPort, deadline, detail);
  if (failure == TunnelFailure::kNone) *tunnel = std::move(connected);
  return failure;
}
