#ifndef ZELVAN_REQUESTCHECKS_H_
#define ZELVAN_REQUESTCHECKS_H_

#include "txn.h"

// Checks that an exchange runs on the bundle before it connects, so that a
// request the message format cannot carry intact is never sent. Each
// failure stores ERROR, ERROR_DETAIL and RESULT "-1" and logs the reason;
// no check ever names a field's value (it may be card data). The card data
// stay as they are: the application may correct the request and run it
// again.

// Reads text as a port: a whole decimal number from 1 to 65535, digits
// only (no sign, no blanks, nothing after it). Sets *port and returns true
// when it is one; otherwise leaves *port alone and returns false.
bool parsePort(const char* text, int* port);

// Reads SERVERPORT into *port. A value that is not a port fails with
// ERROR "UNABLE TO CONNECT - COULD NOT OPEN SOCKET" and an ERROR_DETAIL
// saying the port is invalid.
bool checkServerPort(txn* t, int* port);

// True when every field that would be sent (every name not beginning with
// "_") reads back as itself on the gateway's side: a name not empty and
// without "=", CR or LF, a value without "=", CR or LF. Otherwise fails
// with ERROR "INVALID FIELD" and an ERROR_DETAIL naming the first field
// found wanting; a name that is itself wanting is shown only up to its
// first forbidden character.
bool checkSendableFields(txn* t);

#endif  // ZELVAN_REQUESTCHECKS_H_
