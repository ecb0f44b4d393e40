package zelvan_test

// The event handler, counted against the simulators' own counters
// (ZV_SIM_STATS, ZV_LOST_SIM_STATS).

import (
	"context"
	"errors"
	"os"
	"strconv"
	"strings"
	"testing"

	"zelvan.com/go/zelvan"
)

// simStats reads a simulator's counters.
func simStats(t *testing.T, variable string) map[string]int {
	text, err := os.ReadFile(os.Getenv(variable))
	if err != nil {
		t.Fatal(err)
	}
	stats := map[string]int{}
	for _, line := range strings.Split(string(text), "\n") {
		if name, value, found := strings.Cut(line, "="); found {
			stats[name], _ = strconv.Atoi(value)
		}
	}
	return stats
}

// collect runs tx with a handler that keeps its events, and counts them by
// type (HandshakeDone counted apart when resumed).
func collect(t *testing.T, tx *zelvan.Transaction) ([]zelvan.Event, *zelvan.Result, map[zelvan.EventType]int, int) {
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
	counts, resumed := map[zelvan.EventType]int{}, 0
	for _, e := range events {
		counts[e.Type]++
		if e.Type == zelvan.EventHandshakeDone && e.Resumed {
			resumed++
		}
		if e.Type == zelvan.EventHandshakeDone && (!strings.HasPrefix(e.TLSVersion, "TLS") || e.Cipher == "") {
			t.Errorf("handshake %+v", e)
		}
	}
	return events, result, counts, resumed
}

func TestEventsMatchWhatTheSimulatorCounted(t *testing.T) {
	before := simStats(t, "ZV_SIM_STATS")
	full, resumed, sent := 0, 0, 0
	for i := 0; i < 3; i++ {
		events, result, counts, r := collect(t, purchase(t, os.Getenv("ZV_SIM_PORT"), card))
		last := events[len(events)-1]
		if !result.Approved() || result.HandlerErr != nil || last.Type != zelvan.EventOutcome ||
			last.Outcome != zelvan.OutcomeApproved {
			t.Fatalf("%v, last event %+v", result, last)
		}
		if first := events[0]; first.Type != zelvan.EventServerTried || first.Address != "127.0.0.1" ||
			strconv.Itoa(first.Port) != os.Getenv("ZV_SIM_PORT") {
			t.Errorf("first event %+v", first)
		}
		full, resumed, sent = full+counts[zelvan.EventHandshakeDone]-r, resumed+r, sent+counts[zelvan.EventRequestSent]
	}
	after := simStats(t, "ZV_SIM_STATS")
	if full != after["handshakes_full"]-before["handshakes_full"] ||
		resumed != after["handshakes_resumed"]-before["handshakes_resumed"] || resumed == 0 {
		t.Errorf("handshakes full %d resumed %d; simulator %v then %v", full, resumed, before, after)
	}
	if sent != after["messages"]-before["messages"] {
		t.Errorf("%d requests sent, simulator counted %d", sent, after["messages"]-before["messages"])
	}

	lostBefore := simStats(t, "ZV_LOST_SIM_STATS")
	events, result, counts, _ := collect(t, purchase(t, os.Getenv("ZV_LOST_SIM_PORT"), card))
	checks := counts[zelvan.EventStatusCheck]
	if want := simStats(t, "ZV_LOST_SIM_STATS")["messages_STATUS"] - lostBefore["messages_STATUS"]; checks != want ||
		checks == 0 || !result.OutcomeUnknown() || events[len(events)-1].Outcome != zelvan.OutcomeUnknown {
		t.Errorf("%d status checks, simulator counted %d; %v", checks, want, result)
	}

	// A panicking handler loses its events, never the payment; nil removes it.
	tx, calls := purchase(t, os.Getenv("ZV_SIM_PORT"), card), 0
	must(t, tx.SetEventHandler(func(zelvan.Event) { calls++; panic("metrics backend down") }))
	if result, err := tx.Execute(context.Background()); err != nil || !result.Approved() || calls != 1 ||
		result.HandlerErr == nil || !strings.Contains(result.HandlerErr.Error(), "metrics backend down") {
		t.Fatalf("%v %v, %d calls", result, err, calls)
	}
	must(t, tx.SetEventHandler(nil), tx.Flush())
	if result, _ := tx.Execute(context.Background()); calls != 1 || (result != nil && result.HandlerErr != nil) {
		t.Errorf("events after the handler was removed: %d calls", calls)
	}
}
