package zelvan

/*
#include <stdint.h>
#include <string.h>
#include <zelvanclient.h>

int zv_set_event_handler(txn *t, uintptr_t hook);
*/
import "C"

import (
	"fmt"
	"runtime/cgo"
	"time"
	"unsafe"
)

// EventType is what an Event reports; the values are the C API's
// ZELVAN_EVENT_*.
type EventType int

const (
	// EventServerTried: an address of a server is tried (Server, Address, Port).
	EventServerTried EventType = 1
	// EventConnected: a TCP connection is open (Server, Address, Port).
	EventConnected EventType = 2
	// EventHandshakeDone: the TLS handshake completed (TLSVersion, Cipher, Resumed).
	EventHandshakeDone EventType = 3
	// EventRequestSent: a message was written to the gateway.
	EventRequestSent EventType = 4
	// EventReplyRead: a whole reply was read from the gateway.
	EventReplyRead EventType = 5
	// EventStatusCheck: a status check begins (StatusCheck, from 1).
	EventStatusCheck EventType = 6
	// EventOutcome: execute() is over (Outcome).
	EventOutcome EventType = 7
)

func (e EventType) String() string {
	names := [...]string{"", "server tried", "connected", "handshake done", "request sent", "reply read",
		"status check", "outcome"}
	if e < EventServerTried || e > EventOutcome {
		return fmt.Sprintf("event %d", int(e))
	}
	return names[e]
}

// Event is one event of an Execute, copied out of the library's structure.
// Fields an event does not use are zero. Events never carry card data,
// passwords or field values.
type Event struct {
	Type        EventType
	Elapsed     time.Duration // since execute() began, in whole milliseconds
	Server      string
	Address     string
	Port        int
	Resumed     bool
	TLSVersion  string
	Cipher      string
	StatusCheck int
	Outcome     Outcome // EventOutcome only
}

// eventHook carries events to one Go func. The library holds only a
// cgo.Handle number for it, never a Go pointer. err is the panic of the
// func during the current Execute; after one, the func gets no more events
// until the next Execute.
type eventHook struct {
	handler func(Event)
	err     error
}

// setEventHook gives h's events to handler (nil: none) and returns the
// handle of the new hook, 0 for none; the caller deletes the old one once
// the library can no longer call it.
func setEventHook(h *C.txn, handler func(Event)) cgo.Handle {
	if handler == nil {
		C.zv_set_event_handler(h, 0)
		return 0
	}
	hook := cgo.NewHandle(&eventHook{handler: handler})
	C.zv_set_event_handler(h, C.uintptr_t(hook))
	return hook
}

// hookOf is the hook behind a handle, or nil.
func hookOf(handle cgo.Handle) *eventHook {
	if handle == 0 {
		return nil
	}
	return handle.Value().(*eventHook)
}

// readEvent copies the library's event. A library older than this package
// fills less of the structure (size says how much): only those bytes are
// copied, and the fields past them stay zero.
func readEvent(event *C.zelvan_event) Event {
	var c C.zelvan_event
	filled := C.size_t(0)
	if event.size > 0 {
		filled = C.size_t(event.size)
	}
	if filled > C.size_t(unsafe.Sizeof(c)) {
		filled = C.size_t(unsafe.Sizeof(c))
	}
	C.memcpy(unsafe.Pointer(&c), unsafe.Pointer(event), filled)
	e := Event{
		Type: EventType(c._type), Elapsed: time.Duration(c.elapsed_ms) * time.Millisecond,
		Server: goText(c.server), Address: goText(c.address), Port: int(c.port), Resumed: c.resumed != 0,
		TLSVersion: goText(c.tls_version), Cipher: goText(c.cipher), StatusCheck: int(c.status_check),
	}
	if e.Type == EventOutcome {
		e.Outcome = outcomeOf(int(c.outcome))
	}
	return e
}

func goText(text *C.char) string {
	if text == nil {
		return ""
	}
	return C.GoString(text)
}

//export zvGoEvent
func zvGoEvent(event *C.zelvan_event, handle C.uintptr_t) {
	hook := hookOf(cgo.Handle(handle))
	if hook == nil || hook.err != nil {
		return
	}
	// A panic must not unwind into the C library: it is kept for the Result.
	defer func() {
		if recovered := recover(); recovered != nil {
			hook.err = fmt.Errorf("zelvan: event handler panicked: %v", recovered)
		}
	}()
	hook.handler(readEvent(event))
}
