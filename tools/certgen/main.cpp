// zelvan-certgen: writes a set of test certificates for the client library
// and the gateway simulator into a directory.
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>

#include "CertificateFactory.h"

int main(int argc, char** argv) {
  if (argc < 2 || argc > 3) {
    std::fprintf(stderr, "usage: %s <dir> [password]\n"
                 "Writes a CA, a server certificate for 127.0.0.1 and client certificates\n"
                 "(PEM, PKCS#12, not yet valid, expired) into <dir>, creating it if needed.\n"
                 "The password protects the client keys; it defaults to \"%s\".\n",
                 argv[0], CertificateFactory::kDefaultPassword);
    return 2;
  }
  const char* dir = argv[1];
  if (mkdir(dir, 0700) != 0 && errno != EEXIST) {
    std::fprintf(stderr, "cannot create %s: %s\n", dir, std::strerror(errno));
    return 1;
  }
  try {
    CertificateFactory(argc == 3 ? argv[2] : CertificateFactory::kDefaultPassword).writeAll(dir);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "%s\n", e.what());
    return 1;
  }
  std::printf("certificates written to %s\n", dir);
  return 0;
}
