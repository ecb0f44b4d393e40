#ifndef ZELVAN_REQUESTCHECKS_H_
#define ZELVAN_REQUESTCHECKS_H_

#include <cstdint>
#include <string>

#include "EngineStatus.h"

struct TransactionRequest;

// Checks that an exchange runs on its request before it connects, so that
// a request the message format cannot carry intact is never sent. Each
// failure carries ERROR, ERROR_DETAIL and a log line with the reason; no
// check ever names a field's value (it may be card data). The card data
// stay as they are: the application may correct the request and run it
// again.

// Reads text as a port: a whole decimal number from 1 to 65535, digits
// only (no sign, no blanks, nothing after it). Sets *port and returns true
// when it is one; otherwise leaves *port alone and returns false.
bool parsePort(const char* text, int* port);

// Reads text as a duration: a whole decimal number of milliseconds, digits
// only, up to kLongestDeadlineMs. Sets *ms and returns true when it is
// one; otherwise leaves *ms alone and returns false.
bool parseMilliseconds(const char* text, int64_t* ms);

// Why a field named name (not null) with value (null for none) cannot be
// sent, or "" when it can: a name must be non-empty and without "=", CR or
// LF, a value without "=", CR or LF. A name that is itself wanting is
// shown only up to its first forbidden character; a value is never shown.
std::string sendProblem(const char* name, const char* value);

// Fails with ERROR "UNABLE TO CONNECT - COULD NOT OPEN SOCKET" and an
// ERROR_DETAIL saying the port is invalid when SERVERPORT is not a port.
EngineStatus checkServerPort(const TransactionRequest& request);

// Fails with ERROR "INVALID SETTING" and an ERROR_DETAIL naming the
// setting when a local setting (_STATUSWINDOW, _TIMEOUT, _PROXY) cannot
// be used.
EngineStatus checkLocalSettings(const TransactionRequest& request);

// Fails with ERROR "INVALID FIELD" and an ERROR_DETAIL naming the first
// field found wanting when a field that would be sent (any name not
// beginning with "_") cannot be carried by the message.
EngineStatus checkSendableFields(const TransactionRequest& request);

#endif  // ZELVAN_REQUESTCHECKS_H_
