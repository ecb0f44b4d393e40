#ifndef ZELVAN_BSOCKETADDRESS_H_
#define ZELVAN_BSOCKETADDRESS_H_

#include <netinet/in.h>

#include "BObject.h"
#include "BString.h"

// An IPv4 address with a port, known either by the text a caller gave (a
// host name or a dotted address) or by a binary sockaddr_in the system
// returned (accept, getsockname). The other form is filled in on demand: a
// text is resolved the first time the binary form is asked for, and a
// binary address is named by reverse lookup the first time a name is asked
// for. Failed lookups leave placeholder texts ("<unknown host>", ...), never
// an error. With the verbose flag set, a forward lookup prints the four
// bytes of the address it found. Not thread-safe.
class BSocketAddress : public BObject {
 public:
  // Port used when the binary form is built while the port is not known.
  static const int kDefaultPort = 3444;

  // Holds a copy of host (a null host stands for any local address) and
  // port; nothing is resolved yet.
  BSocketAddress(const char* host, int port);
  // Holds a copy of *addr; the texts and the port are derived later. A
  // null addr gives an address with neither form, which completes as any
  // local address.
  explicit BSocketAddress(const sockaddr_in* addr);
  BSocketAddress(const BSocketAddress&) = delete;
  BSocketAddress& operator=(const BSocketAddress&) = delete;
  ~BSocketAddress() override;

  const char* classType() override;

  // Forgets both texts and the binary form.
  void clear();
  // Replace the address, as by the matching constructor.
  void setAddress(const sockaddr_in* addr);
  void setAddress(const char* host, int port);

  // The binary form, resolving the text first if needed. Owned by the
  // address. A name that did not resolve gives the zero address.
  sockaddr_in* info();

  // The port; when unknown it is taken from the binary form, or 3444 when
  // the binary form has to be built from the text.
  int port();

  // The resolved host name, or a placeholder text. Null when a reverse
  // lookup found no name (it is tried again on the next call). Owned by
  // the address.
  BString* hostName();

  // The address text: as given, or the reverse-looked-up name of a binary
  // address, or a placeholder. Null when a reverse lookup found no name.
  // Owned by the address.
  BString* address();

  // Returns a new string with the dotted form of the binary address
  // (resolving the text first if needed). The caller deletes the result.
  BString* ipAddress();

  // Meant to tell a dotted address from a host name. A dot is counted only
  // in a text of length 1, which is refused first, so the result is false
  // for every text and every address goes through the forward lookup
  // (which accepts dotted addresses as well). Callers depend on that
  // outcome. length -1 means strlen(text).
  static unsigned char isIPString(const char* text, int length);

 protected:
  // Builds the binary form from the text (text to binary).
  void createInfo();
  // Derives the port and the names from the binary form (binary to text).
  void parseInfo();
  // Fills in what is missing from whichever form is present: parseInfo()
  // when there is a binary form, createInfo() otherwise.
  void complete();

  // The fields carry m_ names because the accessors above have the plain
  // ones.
  BString* m_address;
  BString* m_hostName;
  // -1: not known yet; -2: there was no binary form to take it from.
  int m_port;
  sockaddr_in* m_info;
};

#endif  // ZELVAN_BSOCKETADDRESS_H_
