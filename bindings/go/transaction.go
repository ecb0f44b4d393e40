// Package zelvan is the Go binding of libzelvanclient, the client library of
// the Zelvan card-payment gateway: a Transaction holds the settings and
// fields of one payment, Execute runs it and returns its Result.
//
//	t, err := zelvan.NewTransaction()
//	...
//	defer t.Close()
//	t.SetServers("gw1.example.com", "gw2.example.com")
//	t.SetPort("8443")
//	t.Set("TRANSACTIONTYPE", "PURCHASE")
//	...
//	result, err := t.Execute(ctx)
//
// The package links libzelvanclient through pkg-config (package
// zelvanclient). Transactions on different Transaction values run in
// parallel; one Transaction takes one call at a time.
package zelvan

/*
#include <stdlib.h>
#include <zelvanclient.h>
*/
import "C"

import (
	"context"
	"errors"
	"fmt"
	"runtime"
	"runtime/cgo"
	"strings"
	"sync"
	"unsafe"
)

// ErrClosed is returned by every call on a Transaction that was closed, or
// that Execute left running in the background when its context ended.
var ErrClosed = errors.New("zelvan: the transaction is closed")

// ErrInvalidField is wrapped by the *FieldError of a name or value that the
// gateway message cannot carry.
var ErrInvalidField = errors.New("zelvan: invalid field")

// FieldError refuses a name or value before it reaches the library. It names
// the field, never the value, which may be card data or a password.
type FieldError struct {
	Name   string
	Reason string
}

func (e *FieldError) Error() string {
	return fmt.Sprintf("zelvan: field %q: %s", e.Name, e.Reason)
}

func (e *FieldError) Unwrap() error { return ErrInvalidField }

// checkField refuses what would corrupt or lose a field. Fields travel to
// the gateway as "NAME=value" lines with no escaping, so a CR or LF would
// start a field of its own on the wire, and a line with a second "=" is
// dropped whole by the gateway's parser. A NUL would cut the text short.
// Local fields (names beginning with "_", such as the certificate password)
// never travel and may hold "=" in their values.
func checkField(name, value string) error {
	switch {
	case name == "":
		return &FieldError{Name: name, Reason: "a field name may not be empty"}
	case strings.ContainsAny(name, "\r\n\x00="):
		return &FieldError{Name: name, Reason: `the name holds CR, LF, NUL or "="`}
	}
	forbidden := "\r\n\x00="
	if strings.HasPrefix(name, "_") {
		forbidden = "\r\n\x00"
	}
	if strings.ContainsAny(value, forbidden) {
		return &FieldError{Name: name, Reason: "the value holds a character the gateway message cannot carry"}
	}
	return nil
}

// Transaction is one transaction handle and its bundle of text fields.
// Create it with NewTransaction and release it with Close: the handle and
// its fields (card data and certificate password included) go then.
type Transaction struct {
	mu     sync.Mutex
	handle *C.txn
	hook   cgo.Handle // the event hook, 0 for none
}

// NewTransaction creates a transaction with an empty bundle.
func NewTransaction() (*Transaction, error) {
	if err := checkLibrary(); err != nil {
		return nil, err
	}
	handle := C.newBundle()
	if handle == nil {
		return nil, errors.New("zelvan: newBundle() returned no handle")
	}
	t := &Transaction{handle: handle}
	// A Transaction dropped without Close still gives its handle back.
	runtime.SetFinalizer(t, (*Transaction).Close)
	return t, nil
}

// with runs f on the live handle under the Transaction's lock.
func (t *Transaction) with(f func(h *C.txn)) error {
	t.mu.Lock()
	defer t.mu.Unlock()
	if t.handle == nil {
		return ErrClosed
	}
	f(t.handle)
	return nil
}

// setter calls one of the library's text setters with value.
func (t *Transaction) setter(name, value string, call func(h *C.txn, value *C.char)) error {
	if err := checkField(name, value); err != nil {
		return err
	}
	text := C.CString(value)
	defer C.free(unsafe.Pointer(text))
	return t.with(func(h *C.txn) { call(h, text) })
}

// Set stores field name with value, replacing an earlier value.
func (t *Transaction) Set(name, value string) error {
	if err := checkField(name, value); err != nil {
		return err
	}
	cname := C.CString(name)
	defer C.free(unsafe.Pointer(cname))
	return t.setter(name, value, func(h *C.txn, text *C.char) { C.put(h, cname, text) })
}

// Get returns the field's text and whether the bundle has it; the library
// reports an empty field as absent.
func (t *Transaction) Get(name string) (string, bool, error) {
	if err := checkField(name, ""); err != nil {
		return "", false, err
	}
	if strings.EqualFold(name, "THEWORKS") {
		return "", false, &FieldError{Name: name, Reason: "use Fields for the whole bundle"}
	}
	cname := C.CString(name)
	defer C.free(unsafe.Pointer(cname))
	var value string
	var found bool
	err := t.with(func(h *C.txn) {
		// The text belongs to the bundle: copy it, never free it.
		if text := C.get(h, cname); text != nil {
			value, found = C.GoString(text), true
		}
	})
	return value, found, err
}

// Fields returns every field of the bundle; the local "_" fields
// (certificate path and password, CA file) only when includeLocal is true.
func (t *Transaction) Fields(includeLocal bool) (map[string]string, error) {
	var fields map[string]string
	err := t.with(func(h *C.txn) { fields = bundleFields(h, includeLocal) })
	return fields, err
}

var theWorks = C.CString("THEWORKS")

func bundleFields(h *C.txn, includeLocal bool) map[string]string {
	fields := map[string]string{}
	text := C.get(h, theWorks)
	if text == nil {
		return fields
	}
	all := C.GoString(text)
	C.free(unsafe.Pointer(text))
	for _, line := range strings.Split(all, "\r\n") {
		name, value, found := strings.Cut(line, "=")
		if found && (includeLocal || !strings.HasPrefix(name, "_")) {
			fields[name] = value
		}
	}
	return fields
}

// SetServers stores the gateway servers to try, in order.
func (t *Transaction) SetServers(servers ...string) error {
	return t.setter("SERVERS", strings.Join(servers, ","), func(h *C.txn, s *C.char) { C.setServers(h, s) })
}

// SetPort stores the gateway's port, the same for every server.
func (t *Transaction) SetPort(port string) error {
	return t.setter("SERVERPORT", port, func(h *C.txn, s *C.char) { C.setPort(h, s) })
}

// SetClientID stores the merchant's client identifier (CLIENTID).
func (t *Transaction) SetClientID(id string) error {
	return t.setter("CLIENTID", id, func(h *C.txn, s *C.char) { C.put_ClientID(h, s) })
}

// SetCertificate stores the client certificate file (PKCS#12 or PEM) and
// its password, which is neither sent nor logged.
func (t *Transaction) SetCertificate(path, password string) error {
	if err := t.setter("_CERTIFICATEPATH", path, func(h *C.txn, s *C.char) { C.put_CertificatePath(h, s) }); err != nil {
		return err
	}
	return t.setter("_CERTIFICATEPASSWORD", password, func(h *C.txn, s *C.char) { C.put_CertificatePassword(h, s) })
}

// SetCAFile stores the CA file that the gateway's certificate is verified
// against. Without one the gateway's certificate is not verified.
func (t *Transaction) SetCAFile(path string) error { return t.Set("_CAFILE", path) }

// SetDebugLog switches the debug log on, to a file path or "stdout"; an
// empty destination switches it off.
func (t *Transaction) SetDebugLog(destination string) error {
	if destination == "" {
		return t.Set("DEBUG", "OFF")
	}
	// DEBUG must be on before LOGFILE is given, or no file is opened.
	if err := t.Set("DEBUG", "ON"); err != nil {
		return err
	}
	return t.Set("LOGFILE", destination)
}

// SetEventHandler calls handler for each Event of every later Execute, on
// the goroutine that runs the exchange; nil stops the events. The handler
// must be quick (its time counts against the transaction) and must not use
// this Transaction. A panic in it never reaches the library nor changes the
// payment: it stops the events for the rest of that Execute, which returns
// as it would have, with the panic as Result.HandlerErr.
func (t *Transaction) SetEventHandler(handler func(Event)) error {
	return t.with(func(h *C.txn) {
		old := t.hook
		t.hook = setEventHook(h, handler)
		deleteHook(old)
	})
}

// Flush empties the bundle for the next transaction. Every field goes,
// settings included; the debug log stays as it was.
func (t *Transaction) Flush() error {
	return t.with(func(h *C.txn) { C.flushBundle(h) })
}

// Close destroys the handle and its fields. Later calls return ErrClosed;
// closing again does nothing.
func (t *Transaction) Close() error {
	t.mu.Lock()
	defer t.mu.Unlock()
	if t.handle != nil {
		C.cleanup(t.handle)
		t.handle = nil
		runtime.SetFinalizer(t, nil)
		deleteHook(t.hook)
		t.hook = 0
	}
	return nil
}

// Execute runs the transaction and returns its Result when the gateway
// decided: Result.Outcome is OutcomeApproved or OutcomeDeclined. Without a
// decision it returns a *TransactionError: OutcomeNoDecision (safe to run
// again) or OutcomeUnknown (errors.Is(err, ErrOutcomeUnknown): never run it
// again; ask for the status of its TxnReference).
//
// A context that has already ended returns its error and nothing is sent.
// One that ends during the exchange returns at once with a *PendingError:
// the payment may still go through, so never repeat it. The exchange then
// finishes in the background, the handle is released when it does (the
// Transaction is closed from now on), and the final Result arrives on the
// error's Later channel.
func (t *Transaction) Execute(ctx context.Context) (*Result, error) {
	if err := ctx.Err(); err != nil {
		return nil, err
	}
	t.mu.Lock()
	h := t.handle
	if h == nil {
		t.mu.Unlock()
		return nil, ErrClosed
	}
	hook := t.hook
	done := make(chan *Result, 1)
	go func() { done <- run(h, hookOf(hook)) }()
	select {
	case result := <-done:
		t.mu.Unlock()
		if result.Outcome == OutcomeNoDecision || result.Outcome == OutcomeUnknown {
			return nil, &TransactionError{Outcome: result}
		}
		return result, nil
	case <-ctx.Done():
		t.handle = nil
		t.hook = 0
		runtime.SetFinalizer(t, nil)
		t.mu.Unlock()
		later := make(chan *Result, 1)
		go func() {
			later <- <-done
			C.cleanup(h)
			deleteHook(hook)
		}()
		return nil, &PendingError{Err: ctx.Err(), Later: later}
	}
}

// run executes the transaction on h and reads its Result, with the panic
// of the event hook, if any.
func run(h *C.txn, hook *eventHook) *Result {
	if hook != nil {
		hook.err = nil
	}
	completed := C.execute(h) != 0
	result := newResult(completed, outcomeOf(int(C.zelvanclient_outcome(h))), bundleFields(h, false))
	if hook != nil {
		result.HandlerErr = hook.err
	}
	return result
}

// deleteHook releases a hook's handle once the library can no longer call it.
func deleteHook(hook cgo.Handle) {
	if hook != 0 {
		hook.Delete()
	}
}
