#include "addressConnect.h"

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

#include "policy.h"

namespace {

std::string failureText(const ServerAddress& address, int err) {
  if (err == ECONNREFUSED) return "Connection to " + address.withPort() + " was refused.";
  return "Could not connect to " + address.withPort() + ": " + strerror(err) + ".";
}

// One attempt on one address. True with *fd owning the connected socket;
// otherwise *error says why.
bool connectOne(const ServerAddress& address, const Deadline& deadline, OwnedDescriptor* fd,
                std::string* error) {
  // Made non-blocking and left so: every later wait on it (the proxy's
  // answer, the handshake, the replies) is a bounded poll.
  OwnedDescriptor s(socket(address.family(), SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!s.valid()) {
    *error = failureText(address, errno);
    return false;
  }
  if (connect(s.get(), address.get(), address.length) != 0) {
    if (errno != EINPROGRESS) {
      *error = failureText(address, errno);
      return false;
    }
    // The attempt's own bound, cut by the deadline; a signal that breaks
    // the poll resumes it with what is left of both.
    Deadline attempt = Deadline::earlier(Deadline::after(kConnectTimeoutMs), deadline);
    int ready;
    pollfd entry{s.get(), POLLOUT, 0};
    do {
      ready = poll(&entry, 1, attempt.clamp(kConnectTimeoutMs));
    } while (ready < 0 && errno == EINTR);
    if (ready == 0) {
      *error = deadline.expired()
                   ? "The deadline passed before " + address.withPort() + " answered."
                   : "No answer from " + address.withPort() + " within " +
                         std::to_string(kConnectTimeoutMs) + " ms.";
      return false;
    }
    if (ready < 0) {
      *error = failureText(address, errno);
      return false;
    }
    // A failed connect wakes the poll with an error or hang-up beside
    // POLLOUT; only then is there a reason to ask the socket for.
    if ((entry.revents & (POLLERR | POLLHUP)) != 0) {
      int err = 0;
      socklen_t length = sizeof err;
      if (getsockopt(s.get(), SOL_SOCKET, SO_ERROR, &err, &length) != 0) err = errno;
      *error = failureText(address, err != 0 ? err : ECONNREFUSED);
      return false;
    }
  }
  *fd = std::move(s);
  return true;
}

}  // namespace

bool connectToAddresses(const std::vector<ServerAddress>& addresses, const Deadline& deadline,
                        OwnedDescriptor* connected, size_t* answered, std::string* error) {
  connected->reset();
  *error = "The server has no address to connect to.";
  for (size_t i = 0; i < addresses.size(); ++i) {
    if (deadline.expired()) {
      *error = "The deadline passed before a connection to " + addresses[i].withPort() +
               " was tried.";
      return false;
    }
    if (connectOne(addresses[i], deadline, connected, error)) {
      *answered = i;
      return true;
    }
  }
  return false;
}
