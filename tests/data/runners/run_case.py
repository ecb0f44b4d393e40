#!/usr/bin/env python3
"""Runs one transaction case file through the Python binding.

    run_case.py CASEFILE

Exits 0 when the case passes, 1 with the differences on standard error when
it fails, and 77 when the case is pending. Environment: ZELVAN_LIBRARY,
ZV_GATEWAY_SIM, ZV_CERTGEN; PYTHONPATH holds bindings/python, tests/support
and this directory. tests/data/README.md describes the format.
"""

import sys
import time

import zelvan
from case_support import main

SETTERS = {"SERVERS": "set_servers", "SERVERPORT": "set_port", "CLIENTID": "set_client_id",
           "CERTIFICATEPATH": "set_certificate", "CERTIFICATEPASSWORD": "set_certificate_password",
           "LOGFILE": "set_debug_log"}


def fill(run, t, port):
    """Settings, then request fields; False when the binding refused a field itself."""
    for name, value in run.settings(port):
        getattr(t, SETTERS[name])(value)
    for name, value in run.request():
        try:
            t[name] = value
        except ValueError:
            return False
        run.check(t.get(name) == value, "put stores what it is given: " + name)
    return True


def execute(t):
    """execute()'s return value and the Result: returned when the gateway
    decided, raised as TransactionError (OutcomeUnknownError when unknown)
    when it did not."""
    try:
        result = t.execute()
        decided = True
    except zelvan.TransactionError as error:
        result, decided = error.outcome, False
        if isinstance(error, zelvan.OutcomeUnknownError) != (result.outcome is zelvan.Outcome.UNKNOWN):
            return int(result.completed), result, "OutcomeUnknownError raised for " + result.outcome.name
    if decided != (result.outcome in (zelvan.Outcome.APPROVED, zelvan.Outcome.DECLINED)):
        return int(result.completed), result, "execute() %s for %s" % (
            "returned" if decided else "raised", result.outcome.name)
    return int(result.completed), result, None


def run_case(run):
    if run.before_port is not None:
        with zelvan.Transaction() as first:
            fill(run, first, run.before_port)
            run.check(execute(first)[0] == 1, "[before]: the first run failed")
        run.remove_log()
    with zelvan.Transaction() as t:
        if not fill(run, t, run.sim.port):
            run.refused()
            return 0
        start = time.monotonic()
        returned, result, wrong = execute(t)
        seconds = time.monotonic() - start
        run.check(wrong is None, wrong)
        run.compare(lambda name: t.get(name) if name in t else None, result.outcome.name, returned, seconds)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], run_case))
