"""What every transaction-case runner shares: reading a case file, the
certificate set and simulators a case runs against, the tokens, and the
comparisons that need no binding (simulator counters, recorded messages,
the debug log).

Used in process by run_case.py and run_case_txn.py, and as a program by
run_case_with.py for the runners written in other languages.
tests/data/README.md describes the format.
"""

import contextlib
import os
import re
import sys

from gateway_sim import GatewaySim, TestCertificates, free_port

OUTCOMES = ["NONE", "APPROVED", "DECLINED", "NO_DECISION", "UNKNOWN"]


def read_case(path):
    sections, lines = {}, None
    for line in open(path, encoding="utf-8"):
        line = line.rstrip(" \t\r\n")
        if not line or line.startswith("#"):
            continue
        if line.startswith("[") and line.endswith("]"):
            lines = sections.setdefault(line[1:-1], [])
        elif lines is None:
            raise ValueError("%s: a line before the first section" % path)
        else:
            lines.append(line)
    return sections


class CaseRun:
    """One run of a case: its tokens, the simulators, and the differences
    found so far (failures). before_port is the port of the plain simulator
    of [before], or None; sim is the simulator the case itself runs against."""

    def __init__(self, case, certs):
        self.case, self.failures = case, []
        self.before_port, self.sim = None, None
        self.tokens = {"%CERTS": certs.dir, "%PASSWORD": TestCertificates.PASSWORD,
                       "%LOGFILE": certs.path("debug.log"), "%FREEPORT": str(free_port()),
                       "%CR": "\r", "%LF": "\n", "%EQ": "="}

    def sub(self, text):
        for token, value in self.tokens.items():
            text = text.replace(token, value)
        return text

    def check(self, ok, what):
        if not ok:
            self.failures.append(what)

    def lines(self, section):
        return self.case.get(section, [])

    def settings(self, port):
        """[settings] as (NAME, value) pairs, tokens substituted for a
        simulator on port."""
        self.tokens["%PORT"] = str(port)
        return [tuple(self.sub(line).split("=", 1)) for line in self.lines("settings")]

    def request(self):
        """[request] as (NAME, value) pairs, split first, then substituted."""
        return [tuple(self.sub(part) for part in line.partition("=")[::2]) for line in self.lines("request")]

    def remove_log(self):
        """Ends the [before] run: its log is no part of the case."""
        with contextlib.suppress(FileNotFoundError):
            os.remove(self.tokens["%LOGFILE"])

    def log(self):
        path = self.tokens["%LOGFILE"]
        return open(path, "rb").read().decode("utf-8", "replace") if os.path.exists(path) else ""

    def compare(self, read, outcome, returned, seconds, expected=None):
        """Compares [result], [fields], [absent] and [match].
        read(NAME) gives a field's value or None when it is absent; returned
        is execute()'s return value, or None where it cannot be seen.
        expected(NAME, value), when given, gives the value to expect in place
        of value, or None to leave the field uncompared."""
        expected = expected or (lambda name, value: value)
        for name, value in (line.split("=", 1) for line in self.lines("result")):
            if name == "seconds-under":
                self.check(seconds < float(value), "took %.1f s" % seconds)
            elif name == "outcome":
                self.check(outcome == value, "outcome: %s, expected %s" % (outcome, value))
            elif name == "return" and returned is not None:
                self.check(str(returned) == value, "return: %s, expected %s" % (returned, value))
        for name, value in (line.split("=", 1) for line in self.lines("fields")):
            value = expected(name, self.sub(value))
            if value is not None:
                self.check(read(name) == value, "%s: %r, expected %r" % (name, read(name), value))
        for name in self.lines("absent"):
            self.check(read(name) is None, "%s is present: %r" % (name, read(name)))
        for name, pattern in (line.split("=", 1) for line in self.lines("match")):
            if expected(name, "") is not None:
                self.check(re.fullmatch(pattern, read(name) or "") is not None and read(name) is not None,
                           "%s: %r does not match %s" % (name, read(name), pattern))

    def refused(self):
        """A front end refused a request field the message cannot carry before
        the library saw it: right only where the library refuses it too."""
        self.check("ERROR=INVALID FIELD" in self.lines("fields"), "a request field was refused before the library")

    def reported(self):
        """The names of the fields a case compares after execute()."""
        return [line.split("=", 1)[0] for section in ("fields", "match") for line in self.lines(section)] + \
            self.lines("absent")

    def plan(self, port):
        """What a binding's runner is to do, as command-line words in threes:
        S NAME value for each setting, R NAME value for each request field,
        F NAME "" for each field to report after execute()."""
        words = []
        for kind, pairs in (("S", self.settings(port)), ("R", self.request())):
            for name, value in pairs:
                words += [kind, name, value]
        for name in self.reported():
            words += ["F", name, ""]
        return words

    def compare_report(self, report):
        """Compares what a binding's runner reported: "refused" (it refused a
        request field itself), "not_stored" (fields get() did not give back
        as put), "outcome" (its outcome type's name), "completed", "raised"
        (null when execute() returned, "error" when it raised the binding's
        transaction error, "unknown" for its outcome-unknown error),
        "seconds" and "fields" (the reported fields, null when absent)."""
        if report["refused"]:
            self.refused()
            return
        for name in report["not_stored"]:
            self.check(False, "put stores what it is given: " + name)
        outcome = re.sub("[^A-Z]", "", report["outcome"].upper())
        outcome = next((o for o in OUTCOMES if o.replace("_", "") == outcome), report["outcome"])
        raised = "unknown" if outcome == "UNKNOWN" else None if outcome in ("APPROVED", "DECLINED") else "error"
        self.check(report["raised"] == raised, "execute() %s for %s" % (
            "returned" if report["raised"] is None else "raised " + report["raised"], outcome))
        self.compare(report["fields"].get, outcome, int(report["completed"]), report["seconds"])

    def check_no_secrets(self, output):
        """A front end's output must never hold a card number or the password
        it was given (unless another request field, name or value, holds the same text)."""
        request = self.request()
        secrets = [v for n, v in request if n.upper() == "CARDDATA" and len(v) >= 12] + [self.tokens["%PASSWORD"]]
        for secret in secrets:
            if any(secret in n + v for n, v in request if n.upper() != "CARDDATA"):
                continue
            self.check(secret not in output, "a card number or password in the output")

    def compare_gateway(self):
        """Compares [stats] and [sent] with what the simulator counted and
        received, and [log] with the debug log the run wrote."""
        log = self.log()
        for line in self.lines("log"):
            self.check((self.sub(line[1:]) in log) == (line[0] == "+"), "log: " + line)
        stats = self.sim.stats()
        for name, count in (line.split("=", 1) for line in self.lines("stats")):
            self.check(stats.get(name, 0) == int(count), "%s: %d, expected %s" % (name, stats.get(name, 0), count))
        for line in self.lines("sent"):
            for message in self.sim.messages():
                self.check(("\r\n" + self.sub(line) + "\r\n") in "\r\n" + message, "not sent: " + line)


@contextlib.contextmanager
def prepared(case):
    """A CaseRun with a fresh certificate set, a plain simulator for
    [before] when the case has one, and the case's simulator. Everything
    goes on exit; a simulator that does not exit cleanly raises."""
    with TestCertificates(os.environ["ZV_CERTGEN"]) as certs:
        run = CaseRun(case, certs)
        with contextlib.ExitStack() as stack:
            program = os.environ["ZV_GATEWAY_SIM"]
            if "before" in case:
                run.before_port = stack.enter_context(GatewaySim(program, certs)).port
            options = []
            for line in case.get("simulator", []):
                options += run.sub(line).split(" ", 1)
            run.sim = stack.enter_context(GatewaySim(program, certs, options))
            yield run


def main(path, run_case):
    """Runs the case at path with run_case(CaseRun), which fills and
    executes the transaction and compares all but [stats], [sent] and [log].
    Returns the exit status: 0 passed, 1 failed, 77 pending."""
    case = read_case(path)
    if "pending" in case:
        print("pending: " + " ".join(case["pending"]))
        return 77
    with prepared(case) as run:
        status = run_case(run)
        if status == 77:
            return 77
        run.compare_gateway()
    for failure in run.failures:
        # A differing field may be card data: long digit runs are masked.
        failure = re.sub(r"\d{13,19}", lambda m: m[0][:6] + "X" * (len(m[0]) - 10) + m[0][-4:], failure)
        print("%s: %s" % (os.path.basename(path), failure), file=sys.stderr)
    return 1 if run.failures or status else 0
