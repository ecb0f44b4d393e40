#!/usr/bin/env python3
"""Runs a test command against a gateway simulator of its own.

    with_gateway_sim.py SIMULATOR CERTGEN COMMAND [ARG...]

Writes a certificate set with CERTGEN into a temporary directory, starts
SIMULATOR on a free port of 127.0.0.1 and runs COMMAND with ZV_SIM_PORT
(the port), ZV_CERT_DIR (the certificate directory: ca.pem, client.p12 and
the rest) and ZV_CERT_PASSWORD (client.p12's password) in its environment.
The simulator, the directory and the session-store segments of its files
are removed afterwards. Exits with COMMAND's status, or 1 when the
simulator itself failed, so that tests written in any language share one
way of getting a gateway.
"""

import os
import subprocess
import sys

from gateway_sim import GatewaySim, TestCertificates


def main(argv):
    if len(argv) < 4:
        sys.stderr.write(__doc__)
        return 2
    simulator, certgen, command = argv[1], argv[2], argv[3:]
    with TestCertificates(certgen) as certs, GatewaySim(simulator, certs) as sim:
        env = dict(os.environ, ZV_SIM_PORT=str(sim.port), ZV_CERT_DIR=certs.dir,
                   ZV_CERT_PASSWORD=TestCertificates.PASSWORD)
        status = subprocess.run(command, env=env).returncode
        if sim.stop() != 0:
            sys.stderr.write("the gateway simulator exited with status %d\n" % sim.stop())
            return status or 1
    return status


if __name__ == "__main__":
    sys.exit(main(sys.argv))
