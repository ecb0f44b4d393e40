// zelvan-gateway-sim: plays the payment gateway on 127.0.0.1 so that
// merchants and the library's own tests can run transactions against a
// real TLS peer. See README.md beside this file.
#include <pthread.h>
#include <signal.h>

#include <cstdio>
#include <string>
#include <thread>

#include "GatewayServer.h"
#include "SimOptions.h"

int main(int argc, char** argv) {
  SimOptions options;
  std::string error;
  if (!parseOptions(argc, argv, &options, &error)) {
    std::fprintf(stderr, "zelvan-gateway-sim: %s\n%s", error.c_str(), usageText());
    return 64;  // EX_USAGE of <sysexits.h>
  }
  if (options.help) {
    std::fputs(usageText(), stdout);
    return 0;
  }
  if (options.version) {
    std::printf("zelvan-gateway-sim %s\n", ZV_VERSION);
    return 0;
  }
  // SIGTERM and SIGINT are taken by sigwait below, on this thread only;
  // every thread started later inherits the mask. A client that goes away
  // mid-write must not kill the simulator.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGTERM);
  sigaddset(&stopSignals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
  signal(SIGPIPE, SIG_IGN);

  GatewayServer server(options);
  if (!server.start(&error)) {
    std::fprintf(stderr, "zelvan-gateway-sim: %s\n", error.c_str());
    return 1;
  }
  std::printf("LISTENING %d\n", server.port());
  std::fflush(stdout);

  std::thread acceptor([&server] { server.run(); });
  int signal = 0;
  sigwait(&stopSignals, &signal);
  server.stop();
  acceptor.join();
  server.stats().print(stdout);
  return 0;
}
