// Command purchase runs one purchase through the gateway and prints its
// outcome.
//
//	purchase -server 127.0.0.1 -port 40123 -certificate certs/client.p12 \
//	    -password zelvan-test -ca-file certs/ca.pem 4111111111111111 12.50
//
// Exit status: 0 approved, 1 declined, 2 no decision (the error is printed).
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

	"zelvan"
)

func main() { os.Exit(run()) }

func run() int {
	servers := flag.String("server", "", "gateway servers, separated by commas")
	port := flag.String("port", "", "gateway port")
	certificate := flag.String("certificate", "", "client certificate, PKCS#12 or PEM")
	password := flag.String("password", "", "the certificate's password")
	caFile := flag.String("ca-file", "", "CA file to verify the gateway's certificate against")
	clientID := flag.String("client-id", "10000001", "merchant's client identifier")
	debugLog := flag.String("debug-log", "", `debug log file, or "stdout"`)
	flag.Parse()
	if *servers == "" || *port == "" || *certificate == "" || flag.NArg() != 2 {
		fmt.Fprintln(os.Stderr, "usage: purchase -server HOST -port PORT -certificate FILE [options] CARD AMOUNT")
		flag.PrintDefaults()
		return 2
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
		t.SetCertificate(*certificate, *password),
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
	if err != nil {
		fmt.Println("no decision:", err)
		var failure *zelvan.TransactionError
		if errors.As(err, &failure) && failure.OutcomeUnknown() {
			fmt.Println("the payment may have gone through: do not repeat it; ask the gateway for its status")
		}
		return 2
	}
	state := "declined"
	if result.Approved() {
		state = "approved"
	}
	fmt.Printf("%s: %s (response code %s)\n", state, result.ResponseText(), result.ResponseCode())
	fmt.Printf("reference %s, auth code %s, card %s\n", result.TxnReference(), result.AuthCode(), result.Field("CARDDATA"))
	if result.Approved() {
		return 0
	}
	return 1
}
