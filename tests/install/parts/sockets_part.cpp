// A server socket that hands out a socket class of its own, and a client
// socket that counts its waits, both written from the documented
// signatures. Includes nothing of the library but the two classes' own
// headers. Prints "parts program ok" when everything behaves as
// documented, else the failed check.
#include <zelvan/BServerSocket.h>
#include <zelvan/BSocket.h>

#include <cstdio>
#include <cstring>

int checkMap();

namespace {

class CountingSocket : public BSocket {
 public:
  CountingSocket() = default;
  CountingSocket(int fd, sockaddr_in* remote, sockaddr_in* local) : BSocket(fd, remote, local) {}
  bool waitforConnect(int timeoutMs) override {
    ++waits;
    return BSocket::waitforConnect(timeoutMs);
  }
  int write(char* buf, int len) override {
    ++writes;
    return BSocket::write(buf, len);
  }
  int waits = 0;
  int writes = 0;
};

class OwnServer : public BServerSocket {
 public:
  BSocket* makeSocket(int fd, sockaddr_in* remote, sockaddr_in* local) override {
    return new CountingSocket(fd, remote, local);
  }
};

int fail(const char* what) {
  std::printf("failed: %s\n", what);
  return 1;
}

}  // namespace

int main() {
  if (int failed = checkMap()) {
    std::printf("failed: map check %d\n", failed);
    return 1;
  }

  OwnServer server;
  if (!server.bind(0, "127.0.0.1") || !server.listen(1)) return fail("listen");
  server.queryLocalHost();
  int port = server.getLocalPort();

  CountingSocket client;
  BSocket* socket = &client;
  char host[] = "127.0.0.1";
  if (!socket->connect(host, port, 2000) || client.waits != 1) return fail("connect with time-out");
  BSocket* accepted = server.accept();
  if (dynamic_cast<CountingSocket*>(accepted) == nullptr) return fail("accept through makeSocket");

  char ping[] = "ping";
  if (socket->write(ping, 4) != 4 || client.writes != 1) return fail("write");
  char reply[8] = {};
  if (!accepted->waitforData(2000) || accepted->read(reply, sizeof reply) != 4) return fail("read");
  if (std::strcmp(reply, "ping") != 0) return fail("bytes");
  delete accepted;

  if (socket->waitforData(499)) return fail("short wait");
  if (std::strcmp(socket->getError(), "ZV_TIMEOUT_LENGTH_EXCEPTION: Timeout length is invalid.") != 0)
    return fail("error text");
  if (socket->read(reply, sizeof reply) != -1) return fail("end of stream");
  std::printf("parts program ok\n");
  return 0;
}
