package zelvan_test

import (
	"context"
	"errors"
	"fmt"
	"os"
	"os/exec"
	"strings"
	"sync"
	"testing"
	"time"

	"zelvan"
)

const card = "4111111111111111"

type gateway struct {
	certs certificates
	port  string
}

func newGateway(t *testing.T, extra ...string) gateway {
	certs := newCertificates(t)
	return gateway{certs, startSimulator(t, certs, extra...)}
}

// purchase returns a Transaction set up for a purchase of card at g, with
// the settings changed by adjust when it is not nil.
func (g gateway) purchase(t *testing.T, card string, adjust func(s map[string]string)) *zelvan.Transaction {
	s := map[string]string{"servers": "127.0.0.1", "port": g.port, "client": "10000001",
		"certificate": g.certs.path("client.p12"), "password": password}
	if adjust != nil {
		adjust(s)
	}
	tx, err := zelvan.NewTransaction()
	if err != nil {
		t.Fatal(err)
	}
	t.Cleanup(func() { tx.Close() })
	must(t, tx.SetServers(s["servers"]), tx.SetCertificate(s["certificate"], s["password"]),
		tx.SetCAFile(g.certs.path("ca.pem")), tx.Set("TRANSACTIONTYPE", "PURCHASE"), tx.Set("CARDDATA", card),
		tx.Set("CARDEXPIRYDATE", "1230"), tx.Set("CVC2", "123"), tx.Set("AMOUNT", "12.50"))
	if s["port"] != "" {
		must(t, tx.SetPort(s["port"]))
	}
	if s["client"] != "" {
		must(t, tx.SetClientID(s["client"]))
	}
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

func TestPurchaseIsApprovedAndCardDataStayMasked(t *testing.T) {
	g := newGateway(t)
	tx := g.purchase(t, card, nil)
	result, err := tx.Execute(context.Background())
	if err != nil {
		t.Fatal(err)
	}
	if !result.Approved() || result.Declined() || result.OutcomeUnknown() || result.Code() != "0" ||
		result.ResponseCode() != "00" || result.ResponseText() != "APPROVED" ||
		!strings.HasPrefix(result.AuthCode(), "A") || !strings.HasPrefix(result.TxnReference(), "ZS") {
		t.Errorf("not an approval: %v %q", result, result.Fields)
	}
	if result.Field("CARDDATA") != "411111XXXXXX1111" {
		t.Errorf("CARDDATA %q", result.Field("CARDDATA"))
	}
	for name := range result.Fields {
		if strings.HasPrefix(name, "_") {
			t.Errorf("local field %s in the result", name)
		}
	}
	cvc, _, _ := tx.Get("CVC2")
	if cvc != "***" {
		t.Errorf("CVC2 %q after the exchange", cvc)
	}
	for _, text := range []string{result.String(), fmt.Sprintf("%v %+v %#v %s", result, result, result, result)} {
		if !strings.Contains(text, "approved") || strings.Contains(text, "1111") {
			t.Errorf("string form %q", text)
		}
	}
}

func TestDeclinesAreResults(t *testing.T) {
	g := newGateway(t)
	for _, c := range []struct{ card, code, text string }{
		{"4000000000000002", "05", "DO NOT HONOUR"}, {"4000000000009995", "51", "INSUFFICIENT FUNDS"}} {
		result, err := g.purchase(t, c.card, nil).Execute(context.Background())
		if err != nil {
			t.Fatal(c.card, err)
		}
		if !result.Declined() || result.Approved() || result.Code() != "1" || result.ResponseCode() != c.code ||
			result.ResponseText() != c.text {
			t.Errorf("%s: %v", c.card, result)
		}
	}
}

func TestLocalFailuresAreTransactionErrors(t *testing.T) {
	g := newGateway(t)
	closed := closedPort(t)
	cases := []struct {
		setting, value, error string
	}{
		{"port", "", "UNABLE TO CONNECT - NO PORT SET"},
		{"servers", "", "UNABLE TO CONNECT - NO SERVER SET"},
		{"certificate", g.certs.path("missing.p12"), "COULD NOT OPEN CERTIFICATE - INVALID PATH SET"},
		{"client", "", "CLIENTID NOT FOUND"},
		{"port", closed, "UNABLE TO CONNECT - COULD NOT OPEN SOCKET"},
		{"password", "wrong", "UNABLE TO INITIALISE SSL."},
	}
	for _, c := range cases {
		tx := g.purchase(t, card, func(s map[string]string) { s[c.setting] = c.value })
		result, err := tx.Execute(context.Background())
		var failure *zelvan.TransactionError
		if result != nil || !errors.As(err, &failure) {
			t.Fatalf("%s: %v %v", c.error, result, err)
		}
		if failure.Outcome.ErrorText() != c.error || failure.Outcome.Code() != "-1" || failure.Outcome.Completed ||
			failure.OutcomeUnknown() || !strings.HasPrefix(err.Error(), c.error) {
			t.Errorf("%s: %v, %v", c.error, err, failure.Outcome)
		}
	}
}

func TestFieldsTheMessageCannotCarryAreRefused(t *testing.T) {
	g := newGateway(t)
	tx := g.purchase(t, card, nil)
	for _, f := range [][2]string{{"AMOUNT", "1\r\nAMOUNT=1000"}, {"AMOUNT", "1\n"}, {"AMOUNT", "1\x00"},
		{"ORDERREF", "a=b"}, {"AM=OUNT", "1"}, {"", "1"}, {"AMOUNT\r\n", "1"}} {
		err := tx.Set(f[0], f[1])
		var fieldError *zelvan.FieldError
		if !errors.Is(err, zelvan.ErrInvalidField) || !errors.As(err, &fieldError) || strings.Contains(err.Error(), f[1]) {
			t.Errorf("Set(%q, %q): %v", f[0], f[1], err)
		}
	}
	if err := tx.SetServers("127.0.0.1\nevil"); !errors.Is(err, zelvan.ErrInvalidField) {
		t.Errorf("SetServers: %v", err)
	}
	// Local fields never travel, so "=" is theirs to hold.
	must(t, tx.Set("_NOTE", "a=b"))
	if amount, _, _ := tx.Get("AMOUNT"); amount != "12.50" {
		t.Errorf("AMOUNT %q", amount)
	}
	if result, err := tx.Execute(context.Background()); err != nil || !result.Approved() {
		t.Errorf("%v %v", result, err)
	}
}

func TestParallelTransactions(t *testing.T) {
	g := newGateway(t)
	const count = 4
	results := make([]*zelvan.Result, count)
	errs := make([]error, count)
	var wg sync.WaitGroup
	for i := 0; i < count; i++ {
		tx := g.purchase(t, card, nil)
		wg.Add(1)
		go func(i int) {
			defer wg.Done()
			results[i], errs[i] = tx.Execute(context.Background())
		}(i)
	}
	wg.Wait()
	references := map[string]bool{}
	for i := range results {
		if errs[i] != nil || !results[i].Approved() {
			t.Fatalf("transaction %d: %v %v", i, results[i], errs[i])
		}
		references[results[i].TxnReference()] = true
	}
	if len(references) != count {
		t.Errorf("references %v", references)
	}
}

func TestCancelledContextReturnsOutcomeUnknownAtOnce(t *testing.T) {
	// Replies come in slow pieces, so the exchange is still running when
	// the context ends.
	g := newGateway(t, "--fault", "slow", "--chunk-bytes", "10", "--chunk-delay-ms", "100")
	tx := g.purchase(t, card, nil)
	ctx, cancel := context.WithTimeout(context.Background(), 200*time.Millisecond)
	defer cancel()
	start := time.Now()
	result, err := tx.Execute(ctx)
	var failure *zelvan.TransactionError
	if result != nil || !errors.As(err, &failure) || !failure.OutcomeUnknown() || !errors.Is(err, context.DeadlineExceeded) {
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
	if _, err := g.purchase(t, card, nil).Execute(ended); err != context.Canceled {
		t.Errorf("an ended context: %v", err)
	}
}

func TestExamplePurchase(t *testing.T) {
	g := newGateway(t)
	log := g.certs.path("debug.log")
	cmd := exec.Command("go", "run", "./examples/purchase", "-server", "127.0.0.1", "-port", g.port,
		"-certificate", g.certs.path("client.p12"), "-password", password, "-ca-file", g.certs.path("ca.pem"),
		"-debug-log", log, card, "12.50")
	out, err := cmd.CombinedOutput()
	if err != nil || !strings.Contains(string(out), "approved: APPROVED") ||
		!strings.Contains(string(out), "card 411111XXXXXX1111") {
		t.Fatalf("%v\n%s", err, out)
	}
	text, err := os.ReadFile(log)
	if err != nil || !strings.Contains(string(text), "Transaction Succeeded") ||
		strings.Contains(string(text), card) || strings.Contains(string(text), password) {
		t.Errorf("debug log: %v\n%s", err, text)
	}
}

func TestClosedTransaction(t *testing.T) {
	tx, err := zelvan.NewTransaction()
	if err != nil {
		t.Fatal(err)
	}
	must(t, tx.SetServers("gw1.example.com", "gw2.example.com"))
	if server, ok, _ := tx.Get("SERVER1"); server != "gw2.example.com" || !ok {
		t.Errorf("SERVER1 %q", server)
	}
	must(t, tx.Flush())
	if fields, _ := tx.Fields(true); len(fields) != 0 {
		t.Errorf("after Flush: %v", fields)
	}
	must(t, tx.Close(), tx.Close())
	if err := tx.Set("AMOUNT", "1"); err != zelvan.ErrClosed {
		t.Errorf("Set after Close: %v", err)
	}
	if _, err := tx.Execute(context.Background()); err != zelvan.ErrClosed {
		t.Errorf("Execute after Close: %v", err)
	}
}
