package zelvan_test

// The Go binding against the gateway simulators that
// tests/support/with_gateway_sim.py starts. Environment: ZV_SIM_PORT,
// ZV_SLOW_SIM_PORT (a simulator whose replies come in slow pieces),
// ZV_LOST_SIM_PORT, ZV_CERT_DIR and ZV_CERT_PASSWORD. Outcomes, fields and
// refusals are checked through this binding by the transaction cases
// (tests/data); these tests keep to the binding's own types and runtime.

import (
	"context"
	"errors"
	"fmt"
	"os"
	"path/filepath"
	"strings"
	"testing"
	"time"

	"zelvan.com/go/zelvan"
)

const card = "4111111111111111"

func certificate(name string) string { return filepath.Join(os.Getenv("ZV_CERT_DIR"), name) }

// purchase returns a Transaction set up for a purchase of card at the
// simulator on port, closed when the test ends.
func purchase(t *testing.T, port, card string) *zelvan.Transaction {
	tx, err := zelvan.NewTransaction()
	if err != nil {
		t.Fatal(err)
	}
	t.Cleanup(func() { tx.Close() })
	must(t, tx.SetServers("127.0.0.1"), tx.SetPort(port), tx.SetClientID("10000001"),
		tx.SetCertificate(certificate("client.p12"), os.Getenv("ZV_CERT_PASSWORD")),
		tx.SetCAFile(certificate("ca.pem")), tx.Set("TRANSACTIONTYPE", "PURCHASE"), tx.Set("CARDDATA", card),
		tx.Set("CVC2", "123"), tx.Set("AMOUNT", "12.50"))
	return tx
}

func must(t *testing.T, errs ...error) {
	t.Helper()
	for _, err := range errs {
		if err != nil {
			t.Fatal(err)
		}
	}
}

// The result and error types, and that none of their texts shows the card
// data, the password or a refused value.
func TestResultAndErrorTypes(t *testing.T) {
	tx := purchase(t, os.Getenv("ZV_SIM_PORT"), card)
	result, err := tx.Execute(context.Background())
	if err != nil {
		t.Fatal(err)
	}
	if !result.Approved() || result.Declined() || result.OutcomeUnknown() || result.Code() != "0" ||
		result.ResponseText() != "APPROVED" || !strings.HasPrefix(result.TxnReference(), "ZS") {
		t.Errorf("not an approval: %v %q", result, result.Fields)
	}
	// Every verb keeps to the card-free string form.
	for _, text := range []string{result.String(), fmt.Sprintf("%v %+v %#v %s", result, result, result, result)} {
		if !strings.Contains(text, "approved") || strings.Contains(text, "1111") {
			t.Errorf("string form %q", text)
		}
	}
	var fieldError *zelvan.FieldError
	if err := tx.Set("ORDERREF", "secret=b"); !errors.Is(err, zelvan.ErrInvalidField) ||
		!errors.As(err, &fieldError) || strings.Contains(err.Error(), "secret") {
		t.Errorf("a refused value: %v", err)
	}

	_, err = purchase(t, os.Getenv("ZV_LOST_SIM_PORT"), card).Execute(context.Background())
	var unknown *zelvan.TransactionError
	if !errors.As(err, &unknown) || !errors.Is(err, zelvan.ErrOutcomeUnknown) ||
		!strings.HasPrefix(unknown.TxnReference(), "ZS") || !strings.Contains(err.Error(), unknown.TxnReference()) {
		t.Errorf("lost final response: %v", err)
	}

	tx = purchase(t, os.Getenv("ZV_SIM_PORT"), card)
	must(t, tx.SetCertificate(certificate("client.p12"), "not-the-password"))
	result, err = tx.Execute(context.Background())
	var failure *zelvan.TransactionError
	if result != nil || !errors.As(err, &failure) || failure.Outcome.Outcome != zelvan.OutcomeNoDecision ||
		!strings.HasPrefix(err.Error(), "UNABLE TO INITIALISE SSL.") {
		t.Fatalf("%v %v", result, err)
	}
	shown := fmt.Sprintf("%v %+v %#v %v", err, failure, failure.Outcome, failure.Outcome)
	for _, secret := range []string{card, "not-the-password"} {
		if strings.Contains(shown, secret) {
			t.Errorf("%q shown in %q", secret, shown)
		}
	}
}

func TestCancelledContextReturnsPendingAtOnce(t *testing.T) {
	tx := purchase(t, os.Getenv("ZV_SLOW_SIM_PORT"), card)
	ctx, cancel := context.WithTimeout(context.Background(), 200*time.Millisecond)
	defer cancel()
	start := time.Now()
	result, err := tx.Execute(ctx)
	var failure *zelvan.PendingError
	if result != nil || !errors.As(err, &failure) || !errors.Is(err, context.DeadlineExceeded) {
		t.Fatalf("%v %v", result, err)
	}
	if waited := time.Since(start); waited > 2*time.Second {
		t.Errorf("returned after %v", waited)
	}
	if _, _, err := tx.Get("AMOUNT"); err != zelvan.ErrClosed {
		t.Errorf("Get after the cancel: %v", err)
	}
	select {
	case late := <-failure.Later:
		if !late.Approved() {
			t.Errorf("the background exchange ended with %v", late)
		}
	case <-time.After(60 * time.Second):
		t.Fatal("the background exchange never ended")
	}
	ended, stop := context.WithCancel(context.Background())
	stop()
	if _, err := purchase(t, os.Getenv("ZV_SIM_PORT"), card).Execute(ended); err != context.Canceled {
		t.Errorf("an ended context: %v", err)
	}
}
