#include "hostLookup.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

namespace hostlookup {

namespace {

// Runs one reentrant host-database call, growing its scratch buffer while
// the answer does not fit, and hands a found entry to use.
template <class Lookup, class Use>
bool withHostEntry(Lookup lookup, Use use) {
  std::vector<char> scratch(1024);
  hostent storage;
  hostent* found = nullptr;
  int hostError = 0;
  int rc;
  while ((rc = lookup(&storage, scratch.data(), scratch.size(), &found,
                      &hostError)) == ERANGE) {
    // A host with a great many names or addresses; 1 MiB is far more than
    // any real entry needs and keeps a runaway answer bounded.
    if (scratch.size() >= (1u << 20)) return false;
    scratch.resize(scratch.size() * 2);
  }
  if (rc != 0 || found == nullptr) return false;
  use(*found);
  return true;
}

}  // namespace

bool byName(const char* name, HostEntry* entry) {
  if (name == nullptr) return false;
  return withHostEntry(
      [name](hostent* h, char* buf, size_t len, hostent** out, int* err) {
        return gethostbyname_r(name, h, buf, len, out, err);
      },
      [entry](const hostent& h) {
        entry->officialName = h.h_name ? h.h_name : "";
        entry->addresses.clear();
        if (h.h_addrtype != AF_INET || h.h_length != sizeof(in_addr)) return;
        for (char** a = h.h_addr_list; *a != nullptr; ++a) {
          in_addr address;
          memcpy(&address, *a, sizeof address);
          entry->addresses.push_back(address);
        }
      });
}

bool byAddress(const in_addr& addr, std::string* name) {
  return withHostEntry(
      [&addr](hostent* h, char* buf, size_t len, hostent** out, int* err) {
        return gethostbyaddr_r(&addr, sizeof addr, AF_INET, h, buf, len, out,
                               err);
      },
      [name](const hostent& h) { *name = h.h_name ? h.h_name : ""; });
}

std::string dotted(const in_addr& addr) {
  char text[INET_ADDRSTRLEN];
  inet_ntop(AF_INET, &addr, text, sizeof text);
  return text;
}

}  // namespace hostlookup
