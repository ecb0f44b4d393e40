// Command caserunner runs one transaction through the Go binding for
// run_case_with.py:
//
//	caserunner [S|R|F NAME VALUE]...
//
// S gives a setting, R puts a request field, F names a field to report after
// Execute. It prints what it saw as one JSON document; run_case_with.py
// compares it with the case.
package main

import (
	"context"
	"encoding/json"
	"errors"
	"os"
	"time"

	"zelvan.com/go/zelvan"
)

type report struct {
	Refused   bool               `json:"refused"`
	NotStored []string           `json:"not_stored"`
	Seconds   float64            `json:"seconds"`
	Raised    *string            `json:"raised"`
	Outcome   string             `json:"outcome"`
	Completed bool               `json:"completed"`
	Fields    map[string]*string `json:"fields"`
}

func get(t *zelvan.Transaction, name string) *string {
	value, present, _ := t.Get(name)
	if !present {
		return nil
	}
	return &value
}

// setting gives one setting. SetCertificate takes the path and the password
// together: each of the two runs it with the other one as stored so far.
func setting(t *zelvan.Transaction, name, value string, password *string) {
	switch name {
	case "SERVERS":
		t.SetServers(value)
	case "SERVERPORT":
		t.SetPort(value)
	case "CLIENTID":
		t.SetClientID(value)
	case "CERTIFICATEPATH":
		t.SetCertificate(value, *password)
	case "CERTIFICATEPASSWORD":
		*password = value
		path := get(t, "_CERTIFICATEPATH")
		if path == nil {
			path = new(string)
		}
		t.SetCertificate(*path, value)
	case "LOGFILE":
		t.SetDebugLog(value)
	}
}

func main() {
	words := os.Args[1:]
	r := report{NotStored: []string{}, Fields: map[string]*string{}}
	t, _ := zelvan.NewTransaction()
	defer t.Close()
	password := ""
	for i := 0; i+2 < len(words) && !r.Refused; i += 3 {
		name, value := words[i+1], words[i+2]
		switch words[i] {
		case "S":
			setting(t, name, value, &password)
		case "R":
			if err := t.Set(name, value); errors.Is(err, zelvan.ErrInvalidField) {
				r.Refused = true
			} else if got := get(t, name); got == nil || *got != value {
				r.NotStored = append(r.NotStored, name)
			}
		}
	}
	if !r.Refused {
		start := time.Now()
		result, err := t.Execute(context.Background())
		r.Seconds = time.Since(start).Seconds()
		var failed *zelvan.TransactionError
		if errors.As(err, &failed) {
			result, r.Raised = failed.Outcome, new(string)
			if *r.Raised = "error"; errors.Is(err, zelvan.ErrOutcomeUnknown) {
				*r.Raised = "unknown"
			}
		} else if err != nil {
			panic(err)
		}
		r.Outcome, r.Completed = result.Outcome.String(), result.Completed
		for i := 0; i+2 < len(words); i += 3 {
			if words[i] == "F" {
				r.Fields[words[i+1]] = get(t, words[i+1])
			}
		}
	}
	json.NewEncoder(os.Stdout).Encode(r)
}
