package zelvan

import (
	"errors"
	"fmt"
	"strings"
)

// Outcome is what became of a payment, as the library decides it
// (zelvanclient_outcome); the values are the C API's ZELVAN_OUTCOME_*.
type Outcome int

const (
	// OutcomeApproved: the gateway's final decision is an approval.
	OutcomeApproved Outcome = 1
	// OutcomeDeclined: the gateway's final decision is not an approval;
	// nothing was charged.
	OutcomeDeclined Outcome = 2
	// OutcomeNoDecision: the gateway never opened the transaction; nothing
	// was charged, and it is safe to run it again.
	OutcomeNoDecision Outcome = 3
	// OutcomeUnknown: the gateway opened the transaction (TXNREFERENCE) and
	// no final decision followed. Never run it again; ask for its status.
	OutcomeUnknown Outcome = 4
)

// outcomeOf reads the library's value. Any other value (none cannot follow
// execute()) is taken as unknown, the reading that never charges twice.
func outcomeOf(value int) Outcome {
	if value < int(OutcomeApproved) || value > int(OutcomeUnknown) {
		return OutcomeUnknown
	}
	return Outcome(value)
}

func (o Outcome) String() string {
	switch o {
	case OutcomeApproved:
		return "approved"
	case OutcomeDeclined:
		return "declined"
	case OutcomeNoDecision:
		return "no decision"
	}
	return "unknown"
}

// ErrOutcomeUnknown is wrapped by the *TransactionError of a payment whose
// outcome is unknown: errors.Is(err, ErrOutcomeUnknown).
var ErrOutcomeUnknown = errors.New("zelvan: outcome unknown")

// Result is the bundle after Execute and its Outcome. Completed is what the
// library's execute() returned (the last exchange ran to its end; it says
// nothing about the payment). Fields holds every field except the local "_"
// ones, card data masked. Its string forms leave card data out entirely.
// HandlerErr is the panic of the event handler during this Execute, or nil.
type Result struct {
	Completed  bool
	Outcome    Outcome
	Fields     map[string]string
	HandlerErr error
}

// newResult builds a Result with card data hidden: the library masks them
// after every exchange, but a transaction refused before it connects leaves
// them as they were put.
func newResult(completed bool, outcome Outcome, fields map[string]string) *Result {
	for name, value := range fields {
		switch strings.ToUpper(name) {
		case "CARDDATA":
			fields[name] = maskCardNumber(value)
		case "CVC2", "CARDEXPIRYDATE":
			fields[name] = strings.Repeat("*", len(value))
		}
	}
	return &Result{Completed: completed, Outcome: outcome, Fields: fields}
}

// maskCardNumber masks as the library does: 13 to 20 characters without an
// "X" keep their first six and last four, with "X" in between.
func maskCardNumber(number string) string {
	if len(number) < 13 || len(number) > 20 || strings.Contains(number, "X") {
		return number
	}
	return number[:6] + strings.Repeat("X", len(number)-10) + number[len(number)-4:]
}

// Field returns a field's text, or "" when the bundle lacks it.
func (r *Result) Field(name string) string { return r.Fields[name] }

// Code is RESULT, the gateway's code; read Outcome for what it means.
func (r *Result) Code() string         { return r.Fields["RESULT"] }
func (r *Result) ErrorText() string    { return r.Fields["ERROR"] }
func (r *Result) ErrorDetail() string  { return r.Fields["ERROR_DETAIL"] }
func (r *Result) TxnReference() string { return r.Fields["TXNREFERENCE"] }
func (r *Result) AuthCode() string     { return r.Fields["AUTHCODE"] }
func (r *Result) ResponseCode() string { return r.Fields["RESPONSECODE"] }
func (r *Result) ResponseText() string { return r.Fields["RESPONSETEXT"] }

func (r *Result) Approved() bool       { return r.Outcome == OutcomeApproved }
func (r *Result) Declined() bool       { return r.Outcome == OutcomeDeclined }
func (r *Result) OutcomeUnknown() bool { return r.Outcome == OutcomeUnknown }

func (r *Result) String() string {
	return fmt.Sprintf("zelvan.Result(%s, result=%q, response=%q, error=%q, txnReference=%q)",
		r.Outcome, r.Code(), r.ResponseText(), r.ErrorText(), r.TxnReference())
}

// GoString keeps %#v from printing Fields.
func (r *Result) GoString() string { return r.String() }

// Format keeps every verb, %+v included, to the card-free string form.
func (r *Result) Format(f fmt.State, verb rune) { fmt.Fprint(f, r.String()) }

// TransactionError is a transaction without a decision of the gateway:
// Outcome.Outcome is OutcomeNoDecision (safe to run again) or OutcomeUnknown
// (errors.Is(err, ErrOutcomeUnknown); never run it again, ask for the status
// of TxnReference). Outcome holds the bundle's fields (ERROR, ERROR_DETAIL,
// RESULT, TXNREFERENCE, ...), card data masked.
type TransactionError struct {
	Outcome *Result
}

func (e *TransactionError) Error() string {
	message := e.Outcome.ErrorText()
	if message == "" {
		message = "transaction failed without an ERROR text"
	}
	if detail := e.Outcome.ErrorDetail(); detail != "" {
		message += " (" + detail + ")"
	}
	if e.OutcomeUnknown() {
		message += "; outcome unknown: ask for the status of TXNREFERENCE " + e.TxnReference()
	}
	return message
}

// Unwrap makes errors.Is(err, ErrOutcomeUnknown) true for an unknown outcome.
func (e *TransactionError) Unwrap() error {
	if e.OutcomeUnknown() {
		return ErrOutcomeUnknown
	}
	return nil
}

// OutcomeUnknown tells that the payment may have gone through: never repeat it.
func (e *TransactionError) OutcomeUnknown() bool { return e.Outcome.OutcomeUnknown() }

// TxnReference is the reference to ask the gateway about.
func (e *TransactionError) TxnReference() string { return e.Outcome.TxnReference() }

// PendingError is returned by Execute when its context ended while the
// exchange ran: there is no outcome yet, so never run the payment again
// before Later delivers the final Result (the exchange goes on in the
// background), whose Outcome says what became of it. Err is the context's
// error.
type PendingError struct {
	Err   error
	Later <-chan *Result
}

func (e *PendingError) Error() string {
	return "zelvan: no outcome yet (" + e.Err.Error() + "): the exchange goes on; its Result follows on Later"
}

func (e *PendingError) Unwrap() error { return e.Err }
