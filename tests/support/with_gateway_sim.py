#!/usr/bin/env python3
"""Runs a test command against a gateway simulator of its own.

    with_gateway_sim.py SIMULATOR CERTGEN COMMAND [ARG...]

Writes a certificate set with CERTGEN into a temporary directory, starts
SIMULATOR three times on free ports of 127.0.0.1 and runs COMMAND with
ZV_SIM_PORT (the port of a well-behaved simulator), ZV_SLOW_SIM_PORT (one
whose replies come in slow pieces, for calls that end before their exchange
does), ZV_LOST_SIM_PORT (one that closes the connection before every final
response and status reply, so that each purchase's outcome stays unknown),
ZV_SIM_STATS and
ZV_LOST_SIM_STATS (the counter files of the first and the losing
simulator, "name=value" lines, rewritten on each change),
ZV_CERT_DIR (the certificate directory: ca.pem, client.p12 and the rest)
and ZV_CERT_PASSWORD (client.p12's password) in its environment. The
simulators, the directory and the session-store segments of its files are
removed afterwards. Exits with COMMAND's status, or 1 when a simulator
itself failed, so that tests written in any language share one way of
getting a gateway.
"""

import os
import subprocess
import sys

from gateway_sim import GatewaySim, TestCertificates

# Replies in 10-byte pieces 100 ms apart: a purchase takes a second or two.
SLOW_REPLIES = ["--fault", "slow", "--chunk-bytes", "10", "--chunk-delay-ms", "100"]
LOST_FINALS = ["--fault", "close-before-final", "--status-fault", "close-before-final"]


def main(argv):
    if len(argv) < 4:
        sys.stderr.write(__doc__)
        return 2
    simulator, certgen, command = argv[1], argv[2], argv[3:]
    # A simulator that does not exit cleanly raises as its context ends.
    with TestCertificates(certgen) as certs, GatewaySim(simulator, certs) as sim, \
            GatewaySim(simulator, certs, SLOW_REPLIES) as slow, \
            GatewaySim(simulator, certs, LOST_FINALS) as lost:
        env = dict(os.environ, ZV_SIM_PORT=str(sim.port), ZV_SLOW_SIM_PORT=str(slow.port),
                   ZV_LOST_SIM_PORT=str(lost.port), ZV_SIM_STATS=sim.stats_path, ZV_LOST_SIM_STATS=lost.stats_path,
                   ZV_CERT_DIR=certs.dir, ZV_CERT_PASSWORD=TestCertificates.PASSWORD)
        return subprocess.run(command, env=env).returncode


if __name__ == "__main__":
    sys.exit(main(sys.argv))
