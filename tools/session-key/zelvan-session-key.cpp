// zelvan-session-key: prints the System V key of the shared-memory segment
// in which the library keeps a client certificate's TLS session, or
// removes that segment. Scripts use it to clean up after a run instead of
// working the key out themselves.
#include <fcntl.h>
#include <getopt.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "sessionStore.h"

namespace {

constexpr int kExitUsage = 64;  // EX_USAGE of <sysexits.h>

void usage(FILE* out) {
  std::fprintf(out,
               "usage: zelvan-session-key [options] CERTFILE\n"
               "Prints the System V IPC key (0x%%08x) of the shared-memory segment in which\n"
               "libzelvanclient keeps the TLS session of client certificate CERTFILE. Every\n"
               "process that uses the same certificate file shares that segment.\n"
               "Options:\n"
               "  -r, --remove   remove the segment instead, if it exists; prints nothing\n"
               "  -h, --help     show this text\n"
               "  -V, --version  show the version\n"
               "Exit status: 0 on success (also when there was no segment to remove), 1 when\n"
               "CERTFILE cannot be read or the segment cannot be removed, 64 on a bad command\n"
               "line.\n");
}

int usageError(const char* message) {
  if (message != nullptr) std::fprintf(stderr, "zelvan-session-key: %s\n", message);
  std::fprintf(stderr, "Try 'zelvan-session-key --help' for more information.\n");
  return kExitUsage;
}

int failure(const char* what, const char* path) {
  std::fprintf(stderr, "zelvan-session-key: %s %s: %s\n", what, path, std::strerror(errno));
  return 1;
}

// Removes the segment of key. A segment that does not exist is no error:
// cleaning up twice, or after a run that never reached the store, is fine.
int removeSegment(key_t key, const char* path) {
  int id = shmget(key, 0, 0);
  if (id == -1) return errno == ENOENT ? 0 : failure("cannot open the session store of", path);
  if (shmctl(id, IPC_RMID, nullptr) != 0) return failure("cannot remove the session store of", path);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  static const option kOptions[] = {{"remove", no_argument, nullptr, 'r'},
                                    {"help", no_argument, nullptr, 'h'},
                                    {"version", no_argument, nullptr, 'V'},
                                    {nullptr, 0, nullptr, 0}};
  bool removing = false;
  int opt;
  // getopt_long prints its own message for an unknown option.
  while ((opt = getopt_long(argc, argv, "rhV", kOptions, nullptr)) != -1) {
    switch (opt) {
      case 'r':
        removing = true;
        break;
      case 'h':
        usage(stdout);
        return 0;
      case 'V':
        std::printf("zelvan-session-key %s\n", ZV_VERSION);
        return 0;
      default:
        return usageError(nullptr);
    }
  }
  if (argc - optind != 1) return usageError(argc == optind ? "missing CERTFILE" : "too many operands");
  const char* path = argv[optind];

  // The key comes from the file's device and inode; a file the library
  // could not read has no session to find, so it is an error here too.
  int fd = open(path, O_RDONLY);
  if (fd == -1) return failure("cannot read", path);
  close(fd);
  // The library's own key: ftok of the certificate path with its project id.
  key_t key = ftok(path, kSessionProjectId);
  if (key == -1) return failure("cannot make the key of", path);

  if (removing) return removeSegment(key, path);
  std::printf("0x%08x\n", static_cast<unsigned>(key));
  return 0;
}
