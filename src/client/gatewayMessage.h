#ifndef ZELVAN_GATEWAYMESSAGE_H_
#define ZELVAN_GATEWAYMESSAGE_H_

// The framing of every message between the client and the gateway, in both
// directions: the bundle's text form (one "name=value\r\n" line per field)
// followed by this end marker. The library, the gateway simulator, the
// benchmarks and the tests all take it from here.
constexpr char kEndMarker[] = "\r\nEND\r\n\r\n";

// kEndMarker's length in bytes, without its terminating NUL.
constexpr int kEndMarkerLength = sizeof kEndMarker - 1;

#endif  // ZELVAN_GATEWAYMESSAGE_H_
