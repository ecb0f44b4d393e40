package zelvan

import "fmt"

// Result is the outcome of a transaction: the bundle after Execute.
// Completed tells that the exchange ran to its end; Fields holds every
// field except the local "_" ones, card data already masked by the library.
// Its string forms leave card data out entirely.
type Result struct {
	Completed bool
	Fields    map[string]string
}

// Field returns a field's text, or "" when the bundle lacks it.
func (r *Result) Field(name string) string { return r.Fields[name] }

// Code is RESULT: "0" approved, "-1" no decision.
func (r *Result) Code() string         { return r.Fields["RESULT"] }
func (r *Result) ErrorText() string    { return r.Fields["ERROR"] }
func (r *Result) ErrorDetail() string  { return r.Fields["ERROR_DETAIL"] }
func (r *Result) TxnReference() string { return r.Fields["TXNREFERENCE"] }
func (r *Result) AuthCode() string     { return r.Fields["AUTHCODE"] }
func (r *Result) ResponseCode() string { return r.Fields["RESPONSECODE"] }
func (r *Result) ResponseText() string { return r.Fields["RESPONSETEXT"] }

// Approved is RESULT "0" after a completed exchange without ERROR.
func (r *Result) Approved() bool {
	return r.Completed && r.ErrorText() == "" && r.Code() == "0"
}

// Declined tells that the gateway decided against the payment: a completed
// exchange without ERROR whose RESULT is neither "0" nor "-1".
func (r *Result) Declined() bool {
	code := r.Code()
	return r.Completed && r.ErrorText() == "" && code != "" && code != "0" && code != "-1"
}

// OutcomeUnknown tells that the gateway opened a reference but gave no
// final RESULT: never repeat the payment; ask for its status later.
func (r *Result) OutcomeUnknown() bool {
	return r.TxnReference() != "" && r.Code() == "-1"
}

func (r *Result) String() string {
	state := "failed"
	switch {
	case r.Approved():
		state = "approved"
	case r.Declined():
		state = "declined"
	case r.OutcomeUnknown():
		state = "outcome unknown"
	}
	return fmt.Sprintf("zelvan.Result(%s, result=%q, response=%q, error=%q, txnReference=%q)",
		state, r.Code(), r.ResponseText(), r.ErrorText(), r.TxnReference())
}

// GoString keeps %#v from printing Fields.
func (r *Result) GoString() string { return r.String() }

// Format keeps every verb, %+v included, to the card-free string form.
func (r *Result) Format(f fmt.State, verb rune) { fmt.Fprint(f, r.String()) }

// TransactionError is a transaction that got no decision from the gateway.
// Outcome holds the bundle's fields (ERROR, ERROR_DETAIL, RESULT,
// TXNREFERENCE, ...). Err is the context's error when Execute returned
// because its context ended; Later then delivers the final Result once the
// exchange, left running in the background, is over.
type TransactionError struct {
	Outcome *Result
	Err     error
	Later   <-chan *Result
	unknown bool
}

func (e *TransactionError) Error() string {
	if e.Err != nil {
		return "zelvan: outcome unknown: " + e.Err.Error()
	}
	message := e.Outcome.ErrorText()
	if message == "" {
		message = "transaction failed without an ERROR text"
	}
	if detail := e.Outcome.ErrorDetail(); detail != "" {
		message += " (" + detail + ")"
	}
	return message
}

func (e *TransactionError) Unwrap() error { return e.Err }

// OutcomeUnknown tells that the payment may have gone through: the gateway
// opened a reference without a final RESULT, or the context ended during
// the exchange. Never repeat such a payment.
func (e *TransactionError) OutcomeUnknown() bool { return e.unknown || e.Outcome.OutcomeUnknown() }
