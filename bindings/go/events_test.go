package zelvan_test

// The event handler: each event's fields as the binding hands them over,
// and a panicking handler kept away from the payment. That the events
// match what the gateway saw is checked on the library's own events.

import (
	"context"
	"errors"
	"fmt"
	"os"
	"strconv"
	"strings"
	"testing"

	"zelvan.com/go/zelvan"
)

// collect runs tx with a handler that keeps its events.
func collect(t *testing.T, tx *zelvan.Transaction) ([]zelvan.Event, *zelvan.Result) {
	var events []zelvan.Event
	must(t, tx.SetEventHandler(func(e zelvan.Event) { events = append(events, e) }))
	result, err := tx.Execute(context.Background())
	var failure *zelvan.TransactionError
	if errors.As(err, &failure) {
		result = failure.Outcome
	} else if err != nil {
		t.Fatal(err)
	}
	if len(events) == 0 {
		t.Fatalf("no events; %v", result)
	}
	return events, result
}

func TestEventsCarryTheirFields(t *testing.T) {
	var all []zelvan.Event
	for i := 0; i < 2; i++ {
		events, result := collect(t, purchase(t, os.Getenv("ZV_SIM_PORT"), card))
		last := events[len(events)-1]
		if !result.Approved() || result.HandlerErr != nil || last.Type != zelvan.EventOutcome ||
			last.Outcome != zelvan.OutcomeApproved {
			t.Fatalf("%v, last event %+v", result, last)
		}
		if first := events[0]; first.Type != zelvan.EventServerTried || first.Address != "127.0.0.1" ||
			strconv.Itoa(first.Port) != os.Getenv("ZV_SIM_PORT") {
			t.Errorf("first event %+v", first)
		}
		all = append(all, events...)
	}
	resumed := false
	for _, e := range all {
		if e.Type == zelvan.EventHandshakeDone {
			resumed = resumed || e.Resumed
			if !strings.HasPrefix(e.TLSVersion, "TLS") || e.Cipher == "" {
				t.Errorf("handshake %+v", e)
			}
		}
	}
	if !resumed || strings.Contains(fmt.Sprintf("%+v", all), "4111") {
		t.Errorf("resumed %v; events %+v", resumed, all)
	}

	events, result := collect(t, purchase(t, os.Getenv("ZV_LOST_SIM_PORT"), card))
	checks := 0
	for _, e := range events {
		if e.Type == zelvan.EventStatusCheck {
			checks++
			if e.StatusCheck != checks {
				t.Errorf("status check %d numbered %d", checks, e.StatusCheck)
			}
		}
	}
	if checks == 0 || !result.OutcomeUnknown() || events[len(events)-1].Outcome != zelvan.OutcomeUnknown {
		t.Errorf("%d status checks; %v", checks, result)
	}
}

func TestAPanickingHandlerLosesItsEventsAndNeverThePayment(t *testing.T) {
	tx := purchase(t, os.Getenv("ZV_SIM_PORT"), card)
	calls := 0
	must(t, tx.SetEventHandler(func(zelvan.Event) { calls++; panic("metrics backend down") }))
	result, err := tx.Execute(context.Background())
	if err != nil || !result.Approved() || calls != 1 || result.HandlerErr == nil ||
		!strings.Contains(result.HandlerErr.Error(), "metrics backend down") {
		t.Fatalf("%v %v, %d calls, handler error %v", result, err, calls, result.HandlerErr)
	}
	// Flushed, the bundle ends at once in no decision: without a handler, no call.
	must(t, tx.SetEventHandler(nil), tx.Flush())
	if result, _ := tx.Execute(context.Background()); calls != 1 || (result != nil && result.HandlerErr != nil) {
		t.Errorf("events after the handler was removed: %d calls", calls)
	}
}
