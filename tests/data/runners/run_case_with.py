#!/usr/bin/env python3
"""Runs one transaction case file through a runner in another language.

    run_case_with.py CASEFILE COMMAND [ARG...]

Skips a pending case (77). Otherwise makes the certificate set, starts the
simulators (a plain one for [before], the case's own), and runs COMMAND
CASEFILE with the tokens in its environment: ZV_CASE_CERTS,
ZV_CASE_PASSWORD, ZV_CASE_LOGFILE, ZV_CASE_FREEPORT, ZV_CASE_PORT and, for
[before], ZV_CASE_BEFORE_PORT. The runner fills and executes the
transaction and compares [result], [fields], [absent] and [match],
printing each difference on standard error and exiting 1 when there is one
(77 when its toolchain is missing); this script then compares [stats],
[sent] and [log]. Exits 0 when all agree, 1 otherwise, 77 when skipped.
Environment: ZV_GATEWAY_SIM, ZV_CERTGEN; PYTHONPATH holds tests/support.
"""

import os
import subprocess
import sys

from case_support import main


def run_case(run, path, command):
    env = dict(os.environ, ZV_CASE_CERTS=run.tokens["%CERTS"], ZV_CASE_PASSWORD=run.tokens["%PASSWORD"],
               ZV_CASE_LOGFILE=run.tokens["%LOGFILE"], ZV_CASE_FREEPORT=run.tokens["%FREEPORT"],
               ZV_CASE_PORT=str(run.sim.port))
    if run.before_port is not None:
        env["ZV_CASE_BEFORE_PORT"] = str(run.before_port)
    status = subprocess.run(command + [path], env=env, timeout=600).returncode
    run.check(status in (0, 77), "the runner exited with %d" % status)
    return 77 if status == 77 else 0


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    sys.exit(main(sys.argv[1], lambda run: run_case(run, sys.argv[1], sys.argv[2:])))
