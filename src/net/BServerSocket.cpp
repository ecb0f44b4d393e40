#include "BServerSocket.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>

#include "BSocket.h"
#include "BSocketAddress.h"
#include "localEnd.h"

BServerSocket::BServerSocket()
    : socket(::socket(AF_INET, SOCK_STREAM, 0)), backlog(kDefaultBacklog),
      bound(0), listening(0), localAddress(nullptr) {}

BServerSocket::BServerSocket(int fd, const sockaddr_in* local, int backlog)
    : socket(fd), backlog(backlog), bound(1), listening(1),
      localAddress(local ? new BSocketAddress(local) : nullptr) {}

BServerSocket::~BServerSocket() {
  if (socket != -1) close();
  // close() keeps a descriptor it could not shut down; it is released all
  // the same so that destroying a server socket never leaks one.
  if (socket != -1) ::close(socket);
  delete localAddress;
}

const char* BServerSocket::classType() { return "BObject:BServerSocket"; }

BSocket* BServerSocket::makeSocket(int fd, sockaddr_in* remote, sockaddr_in* local) {
  if (fd == -1) return nullptr;
  return new BSocket(fd, remote, local);
}

bool BServerSocket::isOpen() { return socket != -1; }

bool BServerSocket::isBound() { return bound; }

bool BServerSocket::isListening() { return listening; }

bool BServerSocket::bind(int port, const char* host) {
  if (socket == -1 || bound) return false;
  if (!localend::bind(socket, port, host, localAddress)) return false;
  bound = 1;
  return true;
}

bool BServerSocket::listen(int queueLength) {
  if (socket == -1 || !bound || listening) return false;
  backlog = queueLength > 0 ? queueLength : 1;
  if (::listen(socket, backlog) == -1) return false;
  listening = 1;
  return true;
}

BSocket* BServerSocket::accept() {
  if (socket == -1) return nullptr;
  say("Accepting socket connections...\r");
  if (!bound) {
    say("Binding server socket to port...\r");
    bind(BSocketAddress::kDefaultPort, nullptr);
  }
  // Said whether or not the bind succeeded; listen() below fails on an
  // unbound socket and so does the accept after it.
  say("Server socket bound...\r");
  if (!listening) {
    say("Signal listening on the server socket...\r");
    listen(kDefaultBacklog);
  }
  say("Server socket listening...\r");

  sockaddr_in peer{};
  socklen_t length = sizeof peer;
  int fd = ::accept(socket, reinterpret_cast<sockaddr*>(&peer), &length);
  if (fd == -1) {
    say("Invalid connection was returned\r");
    return nullptr;
  }
  say("Making socket object for connection\r");
  BSocket* result = makeSocket(fd, &peer, nullptr);
  say("Connection has been accepted\r");
  return result;
}

bool BServerSocket::close() {
  if (socket == -1) return false;
  // Shutting down first wakes a thread blocked in accept(); the descriptor
  // is then released too, so a closed server socket holds no descriptor.
  if (shutdown(socket, SHUT_RDWR) == 0) {
    ::close(socket);
    socket = -1;
  }
  return true;
}

void BServerSocket::queryLocalHost() {
  if (bound) localend::query(socket, localAddress);
}

BString* BServerSocket::getLocalAddress() {
  BSocketAddress* local = bound ? localend::known(socket, localAddress) : nullptr;
  return local ? local->address() : nullptr;
}

int BServerSocket::getLocalPort() {
  BSocketAddress* local = bound ? localend::known(socket, localAddress) : nullptr;
  return local ? local->port() : -1;
}

void BServerSocket::say(const char* line) {
  if (m_verbose) puts(line);
}
