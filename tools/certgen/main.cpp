// zelvan-certgen: writes a set of test certificates for the client library
// and the gateway simulator into a directory.
#include <getopt.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>

#include "CertificateFactory.h"

namespace {

constexpr int kExitUsage = 64;  // EX_USAGE of <sysexits.h>

void usage(FILE* out) {
  std::fprintf(out,
               "usage: zelvan-certgen [options] DIR [PASSWORD]\n"
               "Writes test certificates for zelvan-gateway-sim and libzelvanclient into DIR,\n"
               "creating it (mode 0700) if needed and replacing the files below. Every key is\n"
               "new and EC P-256. PASSWORD protects the client keys; default \"%s\".\n"
               "Files holding a private key get mode 0600, certificates 0644:\n"
               "  ca.pem              the test CA's certificate: the client's and the simulator's --ca\n"
               "  ca-key.pem          the test CA's key, unencrypted\n"
               "  server.pem          the simulator's certificate for 127.0.0.1 (its --cert)\n"
               "  server-key.pem      the simulator's key, unencrypted (its --key)\n"
               "  client.p12          client certificate and key, PKCS#12 under PASSWORD\n"
               "  client.pem          the same, PEM, key encrypted under PASSWORD\n"
               "  client-pem.P12      client.pem under a .P12 name\n"
               "  client-plain.pem    the same, PEM, key unencrypted\n"
               "  client-notyet.pem   a client certificate valid from tomorrow (PASSWORD)\n"
               "  client-expired.pem  a client certificate that expired yesterday (PASSWORD)\n"
               "  other-ca.pem        an unrelated CA's certificate\n"
               "  other-ca-key.pem    its key, unencrypted\n"
               "  other-client.pem    a client certificate and key from that CA, which the\n"
               "                      simulator refuses\n"
               "Options:\n"
               "  -h, --help     show this text\n"
               "  -V, --version  show the version\n"
               "The keys are for testing only: never use them with a real gateway.\n",
               CertificateFactory::kDefaultPassword);
}

int usageError(const char* message) {
  if (message != nullptr) std::fprintf(stderr, "zelvan-certgen: %s\n", message);
  std::fprintf(stderr, "Try 'zelvan-certgen --help' for more information.\n");
  return kExitUsage;
}

}  // namespace

int main(int argc, char** argv) {
  static const option kOptions[] = {
      {"help", no_argument, nullptr, 'h'}, {"version", no_argument, nullptr, 'V'}, {nullptr, 0, nullptr, 0}};
  int opt;
  // getopt_long prints its own message for an unknown option.
  while ((opt = getopt_long(argc, argv, "hV", kOptions, nullptr)) != -1) {
    switch (opt) {
      case 'h':
        usage(stdout);
        return 0;
      case 'V':
        std::printf("zelvan-certgen %s\n", ZV_VERSION);
        return 0;
      default:
        return usageError(nullptr);
    }
  }
  int operands = argc - optind;
  if (operands < 1 || operands > 2) return usageError(operands < 1 ? "missing DIR" : "too many operands");
  const char* dir = argv[optind];
  if (mkdir(dir, 0700) != 0 && errno != EEXIST) {
    std::fprintf(stderr, "zelvan-certgen: cannot create %s: %s\n", dir, std::strerror(errno));
    return 1;
  }
  try {
    CertificateFactory(operands == 2 ? argv[optind + 1] : CertificateFactory::kDefaultPassword).writeAll(dir);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "zelvan-certgen: %s\n", e.what());
    return 1;
  }
  std::printf("certificates written to %s\n", dir);
  return 0;
}
