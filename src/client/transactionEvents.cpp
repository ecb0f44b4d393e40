#include "transactionEvents.h"

#include <chrono>

namespace {

int64_t nowMs() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

// The one place that calls the handler: fills what every event carries.
void deliver(txn* t, zelvan_event* event) {
  if (t == nullptr || t->eventHandler == nullptr) return;
  event->size = sizeof *event;
  event->elapsed_ms = nowMs() - t->executeStartMs;
  t->eventHandler(event, t->eventUser);
}

zelvan_event blank(int type) {
  zelvan_event event{};
  event.type = type;
  return event;
}

void emitPeer(txn* t, int type, const std::string& server, const std::string& address, int port) {
  zelvan_event event = blank(type);
  event.server = server.c_str();
  event.address = address.c_str();
  event.port = port;
  deliver(t, &event);
}

}  // namespace

void markExecuteStart(txn* t) { t->executeStartMs = nowMs(); }

void emitServerTried(txn* t, const std::string& server, const std::string& address, int port) {
  emitPeer(t, ZELVAN_EVENT_SERVER_TRIED, server, address, port);
}

void emitConnected(txn* t, const std::string& server, const std::string& address, int port) {
  emitPeer(t, ZELVAN_EVENT_CONNECTED, server, address, port);
}

void emitHandshakeDone(txn* t, const char* tlsVersion, const char* cipher, bool resumed) {
  zelvan_event event = blank(ZELVAN_EVENT_HANDSHAKE_DONE);
  event.tls_version = tlsVersion;
  event.cipher = cipher;
  event.resumed = resumed ? 1 : 0;
  deliver(t, &event);
}

void emitEvent(txn* t, int type) {
  zelvan_event event = blank(type);
  deliver(t, &event);
}

void emitStatusCheck(txn* t, int number) {
  zelvan_event event = blank(ZELVAN_EVENT_STATUS_CHECK);
  event.status_check = number;
  deliver(t, &event);
}

void emitOutcome(txn* t, int outcome) {
  zelvan_event event = blank(ZELVAN_EVENT_OUTCOME);
  event.outcome = outcome;
  deliver(t, &event);
}
