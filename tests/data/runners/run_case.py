#!/usr/bin/env python3
"""Runs one transaction case file through the Python binding.

    run_case.py CASEFILE

Exits 0 when the case passes, 1 with the differences on standard error when
it fails, and 77 when the case is pending. Environment: ZELVAN_LIBRARY,
ZV_GATEWAY_SIM, ZV_CERTGEN; PYTHONPATH holds bindings/python and
tests/support. tests/data/README.md describes the format.
"""

import ctypes
import os
import re
import sys
import time

import zelvan
from gateway_sim import GatewaySim, TestCertificates, free_port

OUTCOMES = ["NONE", "APPROVED", "DECLINED", "NO_DECISION", "UNKNOWN"]
SETTERS = {"SERVERS": "set_servers", "SERVERPORT": "set_port", "CLIENTID": "set_client_id",
           "CERTIFICATEPATH": "set_certificate", "CERTIFICATEPASSWORD": "set_certificate_password",
           "LOGFILE": "set_debug_log"}


def read_case(path):
    sections, lines = {}, None
    for line in open(path, encoding="utf-8"):
        line = line.rstrip(" \t\r\n")
        if not line or line.startswith("#"):
            continue
        if line.startswith("[") and line.endswith("]"):
            lines = sections.setdefault(line[1:-1], [])
        else:
            lines.append(line)
    return sections


def outcome_of(t):
    # The binding has no accessor for the outcome yet: ask the library.
    lib = zelvan.transaction.library()
    lib.zelvanclient_outcome.argtypes = [ctypes.c_void_p]
    return OUTCOMES[lib.zelvanclient_outcome(t._handle)]


class Run:
    def __init__(self, case, certs):
        self.case, self.failures = case, []
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

    def fill(self, t, port):
        """Settings, then request fields; False when the binding refused a field itself."""
        self.tokens["%PORT"] = str(port)
        for line in self.case.get("settings", []):
            name, _, value = self.sub(line).partition("=")
            getattr(t, SETTERS[name])(value)
        for line in self.case.get("request", []):
            name, _, value = line.partition("=")
            name, value = self.sub(name), self.sub(value)
            try:
                t[name] = value
            except ValueError:
                return False
            self.check(t.get(name) == value, "put stores what it is given: " + name)
        return True

    def execute(self, t):
        try:
            return 1, t.execute().fields
        except zelvan.TransactionError as error:
            return int(error.outcome.completed), error.outcome.fields

    def compare(self, t, returned, seconds, sim):
        expected_fields = self.case.get("fields", [])
        for line in self.case.get("result", []):
            name, _, value = line.partition("=")
            actual = {"return": str(returned), "outcome": outcome_of(t)}.get(name)
            if name == "seconds-under":
                self.check(seconds < float(value), "took %.1f s" % seconds)
            else:
                self.check(actual == value, "%s: %r, expected %r" % (name, actual, value))
        for line in expected_fields:
            name, _, value = line.partition("=")
            self.check(t.get(name) == self.sub(value), "%s: %r, expected %r" % (name, t.get(name), self.sub(value)))
        for name in self.case.get("absent", []):
            self.check(name not in t, "%s is present: %r" % (name, t.get(name)))
        for line in self.case.get("match", []):
            name, _, pattern = line.partition("=")
            self.check(re.fullmatch(pattern, t.get(name) or "") is not None and name in t,
                       "%s: %r does not match %s" % (name, t.get(name), pattern))
        log = open(self.tokens["%LOGFILE"], "rb").read().decode("utf-8", "replace") \
            if os.path.exists(self.tokens["%LOGFILE"]) else ""
        for line in self.case.get("log", []):
            self.check((self.sub(line[1:]) in log) == (line[0] == "+"), "log: " + line)
        self.compare_gateway(sim)

    def compare_gateway(self, sim):
        stats = sim.stats()
        for line in self.case.get("stats", []):
            name, _, count = line.partition("=")
            self.check(stats.get(name, 0) == int(count), "%s: %d, expected %s" % (name, stats.get(name, 0), count))
        for line in self.case.get("sent", []):
            for message in sim.messages():
                self.check(("\r\n" + self.sub(line) + "\r\n") in "\r\n" + message, "not sent: " + line)


def run(path, certs):
    case = read_case(path)
    r = Run(case, certs)
    if "before" in case:
        with GatewaySim(os.environ["ZV_GATEWAY_SIM"], certs) as plain, zelvan.Transaction() as first:
            r.fill(first, plain.port)
            r.check(r.execute(first)[0] == 1, "[before]: the first run failed")
        os.remove(r.tokens["%LOGFILE"])
    options = []
    for line in case.get("simulator", []):
        options += r.sub(line).split(" ", 1)
    with GatewaySim(os.environ["ZV_GATEWAY_SIM"], certs, options) as sim, zelvan.Transaction() as t:
        if not r.fill(t, sim.port):
            # The binding refused a field the message cannot carry before
            # the library saw it: right only where the library refuses too.
            r.check("ERROR=INVALID FIELD" in case.get("fields", []), "the binding refused a request field")
            r.compare_gateway(sim)
            return r.failures
        start = time.monotonic()
        returned, _ = r.execute(t)
        r.compare(t, returned, time.monotonic() - start, sim)
    return r.failures


def main(path):
    case = read_case(path)
    if "pending" in case:
        print("pending: " + " ".join(case["pending"]))
        return 77
    with TestCertificates(os.environ["ZV_CERTGEN"]) as certs:
        failures = run(path, certs)
    for failure in failures:
        sys.stderr.write("%s: %s\n" % (os.path.basename(path), failure))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
