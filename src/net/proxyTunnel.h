#ifndef ZELVAN_PROXYTUNNEL_H_
#define ZELVAN_PROXYTUNNEL_H_

#include <string>

#include "Deadline.h"
#include "OwnedDescriptor.h"
#include "ProxySetting.h"

// How a request for a tunnel through an HTTP proxy ended. Every failure
// happens before a byte reaches the gateway, so a payment that fails here
// is safe to try again.
enum class TunnelFailure {
  kNone,                // the tunnel is open
  kBadTarget,           // the gateway's name cannot go on a CONNECT line
  kProxyUnreachable,    // the proxy's name did not resolve, no TCP connection, or it broke
  kProxyCredentials,    // 407 (or 401): credentials missing or refused
  kProxyForbidden,      // 403: the proxy does not allow this tunnel
  kGatewayUnreachable,  // 500, 502, 503: the proxy could not connect to the gateway
  kGatewayTimeout,      // 504: the proxy gave up connecting to the gateway
  kOtherStatus,         // any other status than 200
  kMalformedAnswer,     // not an HTTP answer, too long, cut short, or data after 200
  kNoAnswer,            // no answer within kProxyAnswerTimeoutMs or the deadline
};

// Asks the proxy, over fd (a connected TCP socket to it, blocking or not),
// for a tunnel to targetHost:targetPort: sends "CONNECT host:port
// HTTP/1.1" with a Host header and, when proxy has credentials, a
// Proxy-Authorization header (Basic), then reads the answer's head, at
// most kProxyAnswerHeadBytes, within the smaller of kProxyAnswerTimeoutMs
// and the time left before deadline. targetHost is a server entry: a name,
// an IPv4 address or an IPv6 literal with or without brackets; the proxy
// resolves names itself.
//
// kNone: the tunnel is open and fd now reaches the gateway; nothing of it
// has been read. Otherwise *detail is a sentence for ERROR_DETAIL that may
// name the proxy's host and port, the gateway's and the proxy's status,
// never the user or the password. fd stays open and owned by the caller
// either way.
TunnelFailure requestTunnel(int fd, const ProxySetting& proxy, const std::string& targetHost,
                            int targetPort, const Deadline& deadline, std::string* detail);

// Resolves the proxy's host, connects to its addresses in turn (see
// connectToAddresses) and runs requestTunnel. kNone leaves *tunnel owning
// the descriptor, in non-blocking mode; otherwise *tunnel holds none and
// *detail says why, as for requestTunnel.
TunnelFailure openTunnel(const ProxySetting& proxy, const std::string& targetHost,
                         int targetPort, const Deadline& deadline, OwnedDescriptor* tunnel,
                         std::string* detail);

#endif  // ZELVAN_PROXYTUNNEL_H_
