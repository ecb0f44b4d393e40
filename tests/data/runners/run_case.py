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


def report_of(run, port):
    """What the binding showed, in the report the other languages' runners
    print (see CaseRun.compare_report)."""
    report = {"refused": False, "not_stored": [], "fields": {}}
    with zelvan.Transaction() as t:
        for name, value in run.settings(port):
            getattr(t, SETTERS[name])(value)
        for name, value in run.request():
            try:
                t[name] = value
            except ValueError:
                report["refused"] = True
                return report
            if t.get(name) != value:
                report["not_stored"].append(name)
        start = time.monotonic()
        try:
            result, report["raised"] = t.execute(), None
        except zelvan.TransactionError as error:
            result = error.outcome
            report["raised"] = "unknown" if isinstance(error, zelvan.OutcomeUnknownError) else "error"
        report.update(seconds=time.monotonic() - start, outcome=result.outcome.name, completed=result.completed,
                      fields={name: t.get(name) if name in t else None for name in run.reported()})
    return report


def run_case(run):
    if run.before_port is not None:
        run.check(report_of(run, run.before_port).get("completed"), "[before]: the first run failed")
        run.remove_log()
    run.compare_report(report_of(run, run.sim.port))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], run_case))
