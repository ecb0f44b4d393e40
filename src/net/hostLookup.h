#ifndef ZELVAN_HOSTLOOKUP_H_
#define ZELVAN_HOSTLOOKUP_H_

#include <netinet/in.h>

#include <string>
#include <vector>

// IPv4 name-service lookups for the socket classes. They use the reentrant
// forms of the classic host-database calls, which consult the same sources
// in the same order and give the same answers (a dotted address given as a
// name comes back as its own official name, addresses keep the resolver's
// order), without sharing one static result across the process.
// Internal to the library: not exported from it.
namespace __attribute__((visibility("hidden"))) hostlookup {

// The answer of a forward lookup.
struct HostEntry {
  std::string officialName;
  std::vector<in_addr> addresses;  // in the order the resolver gave them
};

// Resolves name (a host name or a dotted address) into *entry. False, with
// *entry untouched, for a null name or a name that does not resolve.
bool byName(const char* name, HostEntry* entry);

// Looks up the official name of addr into *name. False, with *name
// untouched, when there is no reverse entry.
bool byAddress(const in_addr& addr, std::string* name);

// The dotted text of addr ("127.0.0.1").
std::string dotted(const in_addr& addr);

}  // namespace hostlookup

#endif  // ZELVAN_HOSTLOOKUP_H_
