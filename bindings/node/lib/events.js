'use strict';
// Event, EventType and the koffi side of the library's event hook.

const koffi = require('koffi');

// What an event reports; the C API's ZELVAN_EVENT_* values 1 to 7, in order.
//   SERVER_TRIED    an address of a server is tried: server, address, port.
//   CONNECTED       a TCP connection is open: server, address, port.
//   HANDSHAKE_DONE  the TLS handshake completed: tlsVersion, cipher, resumed.
//   REQUEST_SENT    a message was written to the gateway.
//   REPLY_READ      a whole reply was read from the gateway.
//   STATUS_CHECK    a status check begins: statusCheck is its number, from 1.
//   OUTCOME         execute() is over: outcome is the Outcome it came to.
const EventType = Object.freeze({
  SERVER_TRIED: 'server_tried', CONNECTED: 'connected', HANDSHAKE_DONE: 'handshake_done',
  REQUEST_SENT: 'request_sent', REPLY_READ: 'reply_read', STATUS_CHECK: 'status_check', OUTCOME: 'outcome',
});
const TYPE_OF_VALUE = [null, ...Object.values(EventType)];

// zelvan_event_handler; the event arrives as a bare pointer, read field by
// field below.
const HandlerType = koffi.proto('void zelvan_event_handler(const void *event, void *user)');

// Offsets in struct zelvan_event on x86-64 (int, int, long long, then
// pointers and ints in their natural alignment) and each field's C type.
const FIELDS = {
  type: [4, 'int'], elapsedMs: [8, 'int64'], server: [16, 'const char *'], address: [24, 'const char *'],
  port: [32, 'int'], resumed: [36, 'int'], tlsVersion: [40, 'const char *'], cipher: [48, 'const char *'],
  statusCheck: [56, 'int'], outcome: [60, 'int'],
};

// The event at pointer, copied into a frozen object; null for a type this
// package does not know (a later library's). A field is read only when the
// library filled it, since an older library's structure is shorter: the
// others are 0 or null. Events never carry card data, passwords or field
// values.
function readEvent(pointer, outcomeOf) {
  const size = koffi.decode(pointer, 'int');
  const field = (name) => {
    const [offset, type] = FIELDS[name];
    const width = type === 'int' ? 4 : 8;
    if (size < offset + width) return type === 'int' || type === 'int64' ? 0 : null;
    return koffi.decode(pointer, offset, type);
  };
  const type = TYPE_OF_VALUE[field('type')];
  if (!type) return null;
  return Object.freeze({
    type, elapsedMs: Number(field('elapsedMs')), server: field('server'), address: field('address'),
    port: field('port'), resumed: field('resumed') !== 0, tlsVersion: field('tlsVersion'),
    cipher: field('cipher'), statusCheck: field('statusCheck'),
    outcome: type === EventType.OUTCOME ? outcomeOf(field('outcome')) : null,
  });
}

// Carries events to one JS function through a registered koffi callback,
// which the owner must release with close() once the library can no
// longer call it. An exception thrown by the function must not unwind into
// the C library: it is caught and kept in error, and the function gets no
// more events until the next execute() (begin()).
class Hook {
  constructor(handler, outcomeOf) {
    this.error = null;
    this.pointer = koffi.register((event) => {
      if (this.error !== null) return;
      try {
        const copied = readEvent(event, outcomeOf);
        if (copied !== null) handler(copied);
      } catch (error) {
        this.error = error;
      }
    }, koffi.pointer(HandlerType));
  }

  begin() { this.error = null; }

  close() {
    if (this.pointer !== null) koffi.unregister(this.pointer);
    this.pointer = null;
  }
}

module.exports = { EventType, HandlerType, Hook };
