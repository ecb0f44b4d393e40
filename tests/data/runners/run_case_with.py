#!/usr/bin/env python3
"""Runs one transaction case file through a runner in another language.

    run_case_with.py CASEFILE COMMAND [ARG...]

Skips a pending case (77). Otherwise makes the certificate set, starts the
simulators and runs COMMAND with the case's plan as its arguments (see
CaseRun.plan): the runner fills a transaction, executes it and prints what
it saw as one JSON document (see CaseRun.compare_report), nothing more.
Every comparison is made here. A [before] run is a run of its own, against
the plain simulator. Exits 0 when all agree, 1 otherwise, 77 when skipped.
Environment: ZV_GATEWAY_SIM, ZV_CERTGEN; PYTHONPATH holds tests/support.
"""

import json
import re
import subprocess
import sys

from case_support import main


def report_of(run, command, port):
    """The runner's report for a run against the simulator on port, or None
    when it failed (the failure is recorded)."""
    done = subprocess.run(command + run.plan(port), stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=600)
    errors = done.stderr.decode("utf-8", "replace")
    # Standard output is the report, read here and never shown.
    run.check_no_secrets(errors)
    sys.stderr.write(re.sub(r"\d{12,}", "<digits>", errors))
    run.check(done.returncode == 0, "the runner exited with %d" % done.returncode)
    return json.loads(done.stdout) if done.returncode == 0 else None


def run_case(run, command):
    if run.before_port is not None:
        first = report_of(run, command, run.before_port)
        run.check(bool(first and first["completed"]), "[before]: the first run failed")
        run.remove_log()
    report = report_of(run, command, run.sim.port)
    if report is not None:
        run.compare_report(report)
    return 0


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    sys.exit(main(sys.argv[1], lambda run: run_case(run, sys.argv[2:])))
