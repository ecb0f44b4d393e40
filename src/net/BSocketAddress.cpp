#include "BSocketAddress.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "BString.h"
#include "hostLookup.h"

namespace {

const char kUnknownHost[] = "<unknown host>";
const char kUnknownAddress[] = "<unknown address>";
const char kAnyAddressPrefix[] = "<any address on ";
const char kUnknownMachine[] = "?\?-unknown-?\?>";

BString* copyOrNull(const char* text) {
  return text ? new BString(text) : nullptr;
}

sockaddr_in* copyOrNull(const sockaddr_in* addr) {
  return addr ? new sockaddr_in(*addr) : nullptr;
}

}  // namespace

BSocketAddress::BSocketAddress(const char* host, int port)
    : m_address(copyOrNull(host)), m_hostName(nullptr), m_port(port),
      m_info(nullptr) {}

BSocketAddress::BSocketAddress(const sockaddr_in* addr)
    : m_address(nullptr), m_hostName(nullptr), m_port(-1),
      m_info(copyOrNull(addr)) {}

BSocketAddress::~BSocketAddress() { clear(); }

const char* BSocketAddress::classType() { return "BObject:BSocketAddress"; }

void BSocketAddress::clear() {
  delete m_hostName;
  m_hostName = nullptr;
  delete m_address;
  m_address = nullptr;
  delete m_info;
  m_info = nullptr;
}

void BSocketAddress::setAddress(const sockaddr_in* addr) {
  clear();
  m_info = copyOrNull(addr);
  m_port = -1;
}

void BSocketAddress::setAddress(const char* host, int port) {
  clear();
  m_port = port;
  m_address = copyOrNull(host);
}

sockaddr_in* BSocketAddress::info() {
  if (m_info == nullptr) createInfo();
  return m_info;
}

int BSocketAddress::port() {
  if (m_port == -1) complete();
  return m_port;
}

BString* BSocketAddress::hostName() {
  if (m_hostName == nullptr) complete();
  return m_hostName;
}

BString* BSocketAddress::address() {
  if (m_address == nullptr) complete();
  return m_address;
}

BString* BSocketAddress::ipAddress() {
  // createInfo() always leaves a binary form, so the "<ip address
  // unknown>" text of an address without one never arises here.
  if (m_info == nullptr) createInfo();
  return new BString(hostlookup::dotted(m_info->sin_addr).c_str());
}

// Compatibility: a dot ends the scan and counts only in a one-byte text,
// which the length test has already refused, so no text passes and every
// address goes through the name lookup, which takes dotted addresses too.
// Applications see the lookup's official name in the address text.
unsigned char BSocketAddress::isIPString(const char* text, int length) {
  if (length == -1 && text != nullptr) length = static_cast<int>(strlen(text));
  if (length <= 6 || text == nullptr) return 0;
  bool result = true;
  int dots = 0;
  for (int i = 0; i < length && result; ++i) {
    char c = text[i];
    if (c == '.') {
      if (i == 0) {
        result = false;
      } else {
        // Ends the scan; the dot counts only for a one-byte text.
        i = length - 1;
        if (length - 1 == 0) {
          ++dots;
        } else {
          result = false;
        }
      }
    } else if (c < '0' || c > '9') {
      result = false;
    }
  }
  return result && dots == 3;
}

void BSocketAddress::createInfo() {
  delete m_info;
  m_info = new sockaddr_in();
  m_info->sin_family = AF_INET;
  if (m_port == -1 || m_port == -2) m_port = kDefaultPort;
  m_info->sin_port = htons(static_cast<uint16_t>(m_port));

  delete m_hostName;
  m_hostName = nullptr;

  if (m_address != nullptr) {
    const char* text = m_address->buffer();
    if (isIPString(text, m_address->length())) {
      m_info->sin_addr.s_addr = inet_addr(text);
      std::string name;
      m_hostName = new BString(
          hostlookup::byAddress(m_info->sin_addr, &name) ? name.c_str()
                                                         : kUnknownHost);
      return;
    }
    hostlookup::HostEntry entry;
    if (!hostlookup::byName(text, &entry)) {
      // The binary form keeps the zero address.
      m_hostName = new BString(kUnknownHost);
      return;
    }
    if (!entry.addresses.empty()) {
      const in_addr& first = entry.addresses.front();
      if (m_verbose) {
        const unsigned char* bytes =
            reinterpret_cast<const unsigned char*>(&first);
        for (int i = 0; i < 4; ++i) printf("ip #%d = %u\r\n", i + 1, bytes[i]);
      }
      m_info->sin_addr = first;
    }
    m_hostName = new BString(entry.officialName.c_str());
    return;
  }

  // No text: any local address (INADDR_ANY, already zero), named after
  // this machine.
  char machine[255];
  m_address = new BString(kAnyAddressPrefix);
  if (gethostname(machine, sizeof machine) == 0) {
    // A truncated name need not be terminated.
    machine[sizeof machine - 1] = '\0';
    m_address->append(machine);
    m_address->append(">");
    m_hostName = new BString(machine);
  } else {
    m_address->append(kUnknownMachine);
    m_hostName = new BString(kUnknownHost);
  }
}

void BSocketAddress::parseInfo() {
  m_port = m_info ? ntohs(m_info->sin_port) : -2;

  delete m_hostName;
  m_hostName = nullptr;

  if (m_info != nullptr) {
    // Without a reverse entry neither text is set: hostName() stays null.
    std::string name;
    if (hostlookup::byAddress(m_info->sin_addr, &name)) {
      m_hostName = new BString(name.c_str());
      if (m_address == nullptr) m_address = new BString(name.c_str());
    }
    return;
  }
  if (m_address == nullptr) m_address = new BString(kUnknownAddress);
  m_hostName = new BString(kUnknownHost);
}

void BSocketAddress::complete() {
  if (m_info != nullptr) {
    parseInfo();
  } else {
    createInfo();
  }
}
