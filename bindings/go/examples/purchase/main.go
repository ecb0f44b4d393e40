// Command purchase runs one purchase through the gateway and prints its
// outcome.
//
//	ZELVAN_CERT_PASSWORD=zelvan-test purchase -server 127.0.0.1 -port 40123 \
//	    -certificate certs/client.p12 -ca-file certs/ca.pem 4111111111111111 12.50
//
// The certificate's password comes from the environment variable
// ZELVAN_CERT_PASSWORD, never from the command line, where every user of the
// machine could read it. Exit status as zelvan-txn's: 0 approved, 1 declined,
// 2 no decision (safe to run again), 3 outcome unknown (never run it again;
// ask for the status of the reference), 64 usage.
package main

import (
	"context"
	"errors"
	"flag"
	"fmt"
	"os"
	"os/signal"
	"strings"
	"time"

	"zelvan.com/go/zelvan"
)

func main() { os.Exit(run()) }

func run() int {
	servers := flag.String("server", "", "gateway servers, separated by commas")
	port := flag.String("port", "", "gateway port")
	certificate := flag.String("certificate", "", "client certificate, PKCS#12 or PEM")
	caFile := flag.String("ca-file", "", "CA file to verify the gateway's certificate against")
	clientID := flag.String("client-id", "10000001", "merchant's client identifier")
	debugLog := flag.String("debug-log", "", `debug log file, or "stdout"`)
	flag.Parse()
	if *servers == "" || *port == "" || *certificate == "" || flag.NArg() != 2 {
		fmt.Fprintln(os.Stderr, "usage: purchase -server HOST -port PORT -certificate FILE [options] CARD AMOUNT")
		flag.PrintDefaults()
		return 64
	}

	t, err := zelvan.NewTransaction()
	if err != nil {
		fmt.Println(err)
		return 2
	}
	defer t.Close()
	settings := []error{
		t.SetServers(strings.Split(*servers, ",")...),
		t.SetPort(*port),
		t.SetClientID(*clientID),
		t.SetCertificate(*certificate, os.Getenv("ZELVAN_CERT_PASSWORD")),
		t.Set("TRANSACTIONTYPE", "PURCHASE"),
		t.Set("CARDDATA", flag.Arg(0)),
		t.Set("AMOUNT", flag.Arg(1)),
	}
	if *caFile != "" {
		settings = append(settings, t.SetCAFile(*caFile))
	}
	if *debugLog != "" {
		settings = append(settings, t.SetDebugLog(*debugLog))
	}
	for _, err := range settings {
		if err != nil {
			fmt.Println(err)
			return 2
		}
	}

	// Ctrl-C or two minutes end the wait, not the payment.
	ctx, stop := signal.NotifyContext(context.Background(), os.Interrupt)
	defer stop()
	ctx, cancel := context.WithTimeout(ctx, 2*time.Minute)
	defer cancel()
	result, err := t.Execute(ctx)
	var failure *zelvan.TransactionError
	var pending *zelvan.PendingError
	switch {
	case errors.Is(err, zelvan.ErrOutcomeUnknown) && errors.As(err, &failure):
		fmt.Println("outcome unknown:", err)
		fmt.Println("never run it again; ask for the status of reference", failure.TxnReference())
		return 3
	case errors.As(err, &pending):
		fmt.Println("outcome unknown:", err)
		fmt.Println("never run it again; the final result is still to come")
		return 3
	case err != nil:
		fmt.Println("no decision:", err)
		return 2
	}
	fmt.Printf("%s: %s (response code %s)\n", result.Outcome, result.ResponseText(), result.ResponseCode())
	fmt.Printf("reference %s, auth code %s, card %s\n", result.TxnReference(), result.AuthCode(), result.Field("CARDDATA"))
	if result.Approved() {
		return 0
	}
	return 1
}
