#ifndef ZELVAN_ADDRESSCONNECT_H_
#define ZELVAN_ADDRESSCONNECT_H_

#include <cstddef>
#include <string>
#include <vector>

#include "Deadline.h"
#include "OwnedDescriptor.h"
#include "ServerAddress.h"

// Connects a new TCP socket to the first of addresses that answers,
// trying them in order. Each attempt is a non-blocking connect waited for
// with poll, bounded by the smaller of kConnectTimeoutMs (policy.h) and
// the time left before deadline; no attempt starts once deadline has
// passed.
//
// On success returns true, with *connected owning the descriptor (in
// non-blocking mode, close-on-exec) and *answered the index in addresses of
// the address that accepted. On failure returns false, *connected holds
// none, and *error is the sentence of the last failure, naming that
// address and port ("Connection to 127.0.0.1:5000 was refused.").
// Requires addresses not empty.
bool connectToAddresses(const std::vector<ServerAddress>& addresses, const Deadline& deadline,
                        OwnedDescriptor* connected, size_t* answered, std::string* error);

#endif  // ZELVAN_ADDRESSCONNECT_H_
