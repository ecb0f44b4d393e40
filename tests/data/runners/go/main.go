// Command caserunner runs one transaction case file through the Go binding:
//
//	caserunner CASEFILE
//
// under run_case_with.py, which starts the simulators, gives the tokens in
// ZV_CASE_* and compares [stats], [sent] and [log]. It prints each difference on
// standard error and exits 1 when there is one. tests/data/README.md
// describes the format.
package main

import (
	"context"
	"errors"
	"fmt"
	"os"
	"path/filepath"
	"regexp"
	"strconv"
	"strings"
	"time"

	"zelvan.com/go/zelvan"
)

var (
	sections = map[string][]string{}
	tokens   = map[string]string{"%CR": "\r", "%LF": "\n", "%EQ": "="}
	failures []string
	outcomes = map[string]zelvan.Outcome{"APPROVED": zelvan.OutcomeApproved, "DECLINED": zelvan.OutcomeDeclined,
		"NO_DECISION": zelvan.OutcomeNoDecision, "UNKNOWN": zelvan.OutcomeUnknown}
)

func sub(text string) string {
	for token, value := range tokens {
		text = strings.ReplaceAll(text, token, value)
	}
	return text
}

func check(ok bool, what string, args ...any) {
	if !ok {
		failures = append(failures, fmt.Sprintf(what, args...))
	}
}

func field(line string) (string, string) {
	name, value, _ := strings.Cut(line, "=")
	return name, value
}

func get(t *zelvan.Transaction, name string) *string {
	value, present, _ := t.Get(name)
	if !present {
		return nil
	}
	return &value
}

// fullMatch matches the whole of value. RE2 has no look-ahead: a leading
// "(?!X)" is taken apart, X must then not match at the start.
func fullMatch(pattern, value string) bool {
	if strings.HasPrefix(pattern, "(?!") {
		if end := strings.Index(pattern, ")"); end > 0 {
			if regexp.MustCompile(`^(?:` + pattern[3:end] + `)`).MatchString(value) {
				return false
			}
			pattern = pattern[end+1:]
		}
	}
	return regexp.MustCompile(`^(?:` + pattern + `)$`).MatchString(value)
}

// fill gives the settings, then the request fields; false when the binding
// refused a field itself.
func fill(t *zelvan.Transaction, port string) bool {
	tokens["%PORT"] = port
	for _, line := range sections["settings"] {
		name, value := field(sub(line))
		switch name {
		case "SERVERS":
			t.SetServers(value)
		case "SERVERPORT":
			t.SetPort(value)
		case "CLIENTID":
			t.SetClientID(value)
		case "CERTIFICATEPATH", "CERTIFICATEPASSWORD":
			// SetCertificate takes both: the path's setter runs with the
			// password that was given, or with an empty one.
			path, password := get(t, "_CERTIFICATEPATH"), ""
			if name == "CERTIFICATEPATH" {
				path = &value
			} else {
				password = value
			}
			if path == nil {
				path = new(string)
			}
			t.SetCertificate(*path, password)
		case "LOGFILE":
			t.SetDebugLog(value)
		}
	}
	for _, line := range sections["request"] {
		name, value := field(line)
		name, value = sub(name), sub(value)
		if err := t.Set(name, value); errors.Is(err, zelvan.ErrInvalidField) {
			return false
		}
		check(get(t, name) != nil && *get(t, name) == value, "put stores what it is given: %s", name)
	}
	return true
}

// execute returns when the gateway decided and fails when it did not.
func execute(t *zelvan.Transaction) *zelvan.Result {
	result, err := t.Execute(context.Background())
	var failed *zelvan.TransactionError
	if errors.As(err, &failed) {
		result = failed.Outcome
		check(!result.Approved() && !result.Declined(), "execute() failed for %s", result.Outcome)
		check(errors.Is(err, zelvan.ErrOutcomeUnknown) == result.OutcomeUnknown(), "the wrong error")
	} else if err != nil {
		panic(err)
	} else {
		check(result.Approved() || result.Declined(), "execute() returned for %s", result.Outcome)
	}
	return result
}

func main() {
	text, err := os.ReadFile(os.Args[1])
	if err != nil {
		panic(err)
	}
	section := ""
	for _, line := range strings.Split(string(text), "\n") {
		line = strings.TrimRight(line, " \t\r")
		if line == "" || line[0] == '#' {
			continue
		}
		if line[0] == '[' && line[len(line)-1] == ']' {
			section = line[1 : len(line)-1]
			sections[section] = []string{}
		} else {
			sections[section] = append(sections[section], line)
		}
	}
	for _, name := range []string{"CERTS", "PASSWORD", "LOGFILE", "FREEPORT"} {
		tokens["%"+name] = os.Getenv("ZV_CASE_" + name)
	}
	if port := os.Getenv("ZV_CASE_BEFORE_PORT"); port != "" {
		first, _ := zelvan.NewTransaction()
		fill(first, port)
		check(execute(first).Completed, "[before]: the first run failed")
		first.Close()
		os.Remove(tokens["%LOGFILE"])
	}
	t, _ := zelvan.NewTransaction()
	if !fill(t, os.Getenv("ZV_CASE_PORT")) {
		check(strings.Contains(strings.Join(sections["fields"], "\n")+"\n", "ERROR=INVALID FIELD\n"), "the binding refused a request field")
	} else {
		start := time.Now()
		result := execute(t)
		seconds := time.Since(start).Seconds()
		compare(t, result, seconds)
	}
	t.Close()
	for _, failure := range failures {
		fmt.Fprintf(os.Stderr, "%s: %s\n", filepath.Base(os.Args[1]), failure)
	}
	if len(failures) > 0 {
		os.Exit(1)
	}
}

func compare(t *zelvan.Transaction, result *zelvan.Result, seconds float64) {
	for _, line := range sections["result"] {
		name, value := field(line)
		switch name {
		case "return":
			check(result.Completed == (value == "1"), "return: %v", result.Completed)
		case "outcome":
			check(result.Outcome == outcomes[value], "outcome: %s", result.Outcome)
		case "seconds-under":
			limit, _ := strconv.ParseFloat(value, 64)
			check(seconds < limit, "took %.1f s", seconds)
		}
	}
	for _, line := range sections["fields"] {
		name, value := field(line)
		check(get(t, name) != nil && *get(t, name) == sub(value), "%s: not the value expected", name)
	}
	for _, name := range sections["absent"] {
		check(get(t, name) == nil, "%s is present", name)
	}
	for _, line := range sections["match"] {
		name, pattern := field(line)
		check(get(t, name) != nil && fullMatch(pattern, *get(t, name)), "%s: does not match %s", name, pattern)
	}
}
