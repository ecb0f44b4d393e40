#!/usr/bin/env python3
"""Runs one transaction case file through the command-line client.

    run_case_txn.py CASEFILE

Exits 0 when the case passes, 1 with the differences on standard error when
it fails, and 77 when the case is pending. Environment: ZV_ZELVAN_TXN (the
program), ZV_GATEWAY_SIM, ZV_CERTGEN; PYTHONPATH holds tests/support and
this directory.

zelvan-txn cannot express all of a case; tests/data/README.md lists what
this runner compares and what it leaves out.
"""

import json
import os
import subprocess
import sys
import time

from case_support import main

OPTIONS = {"SERVERS": "--servers", "SERVERPORT": "--port", "CLIENTID": "--client-id",
           "CERTIFICATEPATH": "--cert", "LOGFILE": "--log"}
EXIT_STATUSES = {"APPROVED": 0, "DECLINED": 1, "NO_DECISION": 2, "UNKNOWN": 3}
USAGE_ERROR = 64
REQUIRED = ("SERVERS", "SERVERPORT", "CERTIFICATEPATH")


def mask(name, value):
    """value as zelvan-txn prints the field: card data hidden, and local
    "_" fields not printed at all (None: not compared)."""
    upper = name.upper()
    if name.startswith("_"):
        return None
    if upper == "CARDDATA" and 13 <= len(value) <= 20 and "X" not in value:
        return value[:6] + "X" * (len(value) - 10) + value[-4:]
    if upper in ("CVC2", "CARDEXPIRYDATE"):
        return "*" * len(value)
    return value


def command(run, port):
    """The command line and environment of a run, or None when an operand
    cannot carry a request field (an empty name, or one holding "=")."""
    argv, env = [os.environ["ZV_ZELVAN_TXN"], "--json"], dict(os.environ)
    env.pop("ZELVAN_CERT_PASSWORD", None)
    for name, value in run.settings(port):
        if name == "CERTIFICATEPASSWORD":
            env["ZELVAN_CERT_PASSWORD"] = value
        else:
            argv += [OPTIONS[name], value]
    for name, value in run.request():
        if not name or "=" in name:
            return None, env
        argv.append(name + "=" + value)
    return argv, env


def execute(run, argv, env):
    """zelvan-txn's exit status and the fields and outcome it printed, which
    hold no card number or password, nor does its standard error."""
    done = subprocess.run(argv, env=env, capture_output=True, timeout=300)
    run.check_no_secrets((done.stdout + done.stderr).decode("utf-8", "replace"))
    printed = json.loads(done.stdout) if done.stdout.strip() else {}
    run.check(not [name for name in printed if name.startswith("_")], "a local field printed")
    return done.returncode, printed


def run_case(run):
    if run.before_port is not None:
        status, _ = execute(run, *command(run, run.before_port))
        run.check(status == 0, "[before]: the first run exited with %d" % status)
        run.remove_log()
    argv, env = command(run, run.sim.port)
    if argv is None:
        run.refused()
        return 0
    start = time.monotonic()
    status, printed = execute(run, argv, env)
    seconds = time.monotonic() - start
    given = [name for name, _ in run.settings(run.sim.port)]
    if status == USAGE_ERROR and any(name not in given for name in REQUIRED):
        # The program requires -s, -p and -c: it refuses a command line
        # without one before the library, which refuses the request too.
        run.check("outcome=NO_DECISION" in run.lines("result"), "zelvan-txn refused a missing setting")
        return 0
    outcome = printed.pop("outcome", "").upper()
    run.check(EXIT_STATUSES.get(outcome) == status, "exit status %d for outcome %r" % (status, outcome))
    # execute()'s return value is not among what zelvan-txn reports.
    run.compare(printed.get, outcome, None, seconds, mask)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], run_case))
