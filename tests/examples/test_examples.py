"""Each program of examples/ against the gateway simulator.

Environment: ZV_EXAMPLES_BIN (the built C examples), ZV_EXAMPLE_CPP,
ZV_PYTHON_EXAMPLE, ZV_PYTHON_PACKAGE, ZELVAN_LIBRARY, ZV_GATEWAY_SIM,
ZV_CERTGEN, and ZV_PYTHON_PRELOAD in a sanitizer build.
"""

import os
import re
import socket
import subprocess
import sys
import time
import unittest

from gateway_sim import GatewaySim, SimulatorTestCase, TestCertificates

BIN = os.environ["ZV_EXAMPLES_BIN"]


class ExamplesTest(SimulatorTestCase):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.sim = GatewaySim(os.environ["ZV_GATEWAY_SIM"], cls.certs)
        cls.addClassCleanup(cls.sim.__exit__, None)
        cls.env = dict(os.environ, ZELVAN_CERT_PASSWORD=TestCertificates.PASSWORD)

    def run_example(self, program, *args, servers="127.0.0.1", port=None, status=0, env=None):
        """Runs PROGRAM (a path, or a list such as [python, script]) with the gateway words and ARGS."""
        command = [*(program if isinstance(program, list) else [program]), servers, str(port or self.sim.port), self.certs.client_p12, self.certs.ca, *args]
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                              env=env or self.env, timeout=120)
        self.assertEqual(done.returncode, status, done.stdout)
        return done.stdout

    def c(self, name):
        return os.path.join(BIN, "example_" + name)

    def test_purchase_status_refund_and_failover(self):
        out = self.run_example(self.c("purchase"))
        self.assertIn("approved: APPROVED", out)
        self.assertIn("card 411111XXXXXX1111", out)
        reference = re.search(r"reference (\S+),", out).group(1)
        self.assertIn("was approved", self.run_example(self.c("status"), reference))
        self.assertIn("outcome still unknown: UNKNOWN TXNREFERENCE",
                      self.run_example(self.c("status"), "ZS0000000000", status=2))
        self.assertIn("declined: DO NOT HONOUR",
                      self.run_example(self.c("purchase"), "4000000000000002", "1.00", status=1))
        self.assertIn("refund approved", self.run_example(self.c("refund"), "example-purchase", "2.50"))
        # Nothing listens on 127.0.0.2: the first server refuses the connection.
        out = self.run_example(self.c("failover"), servers="127.0.0.2, 127.0.0.1")
        self.assertIn("servers to try: 2", out)
        self.assertIn("answered by 127.0.0.1: approved", out)

    def test_metrics_count_what_the_simulator_saw(self):
        before = self.sim.stats()
        # Nothing listens on 127.0.0.2: each purchase fails over once.
        out = self.run_example(self.c("metrics"), "3", servers="127.0.0.2, 127.0.0.1")
        after = self.sim.stats()
        metrics = {line.rpartition(" ")[0]: int(line.rpartition(" ")[2])
                   for line in out.splitlines() if line.startswith("zelvan_")}
        self.assertIn("# TYPE zelvan_execute_latency_ms histogram", out)
        expected = {"zelvan_server_attempts_total": 6, "zelvan_failovers_total": 3, "zelvan_status_checks_total": 0,
                    'zelvan_outcomes_total{outcome="approved"}': 3, "zelvan_execute_latency_ms_count": 3,
                    'zelvan_execute_latency_ms_bucket{le="+Inf"}': 3}
        for kind in ("full", "resumed"):
            expected['zelvan_handshakes_total{kind="%s"}' % kind] = after["handshakes_" + kind] - before["handshakes_" + kind]
        self.assertEqual({name: metrics.get(name) for name in expected}, expected, out)
        self.assertGreater(metrics['zelvan_handshakes_total{kind="resumed"}'], 0, out)
        # A gateway that loses every final response: status checks, then unknown.
        lost_args = ["--fault", "close-before-final", "--status-fault", "close-before-final"]
        with GatewaySim(os.environ["ZV_GATEWAY_SIM"], self.certs, lost_args) as lost:
            out = self.run_example(self.c("metrics"), "1", port=lost.port, status=1)
            checks = lost.stats()["messages_STATUS"]
        self.assertIn('zelvan_outcomes_total{outcome="unknown"} 1\n', out)
        self.assertIn("zelvan_status_checks_total %d\n" % checks, out)
        self.assertGreater(checks, 0)

    def test_time_bound_ends_a_stalled_handshake(self):
        self.assertIn("approved: ZS", self.run_example(self.c("timebound"), "5000"))
        # A listener that accepts connections and never answers the handshake.
        with socket.socket() as silent:
            silent.bind(("127.0.0.1", 0))
            silent.listen()
            started = time.monotonic()
            out = self.run_example(self.c("timebound"), "1000", port=silent.getsockname()[1], status=1)
            self.assertLess(time.monotonic() - started, 15)
        self.assertIn("not approved: TRANSACTION TIMED OUT", out)

    def test_cpp_program(self):
        out = self.run_example(os.environ["ZV_EXAMPLE_CPP"])
        self.assertIn("approved: APPROVED, card 411111XXXXXX1111", out)
        self.assertRegex(out, r"libzelvanclient (\S+) \(built against \1\)")

    @unittest.skipUnless(os.environ.get("ZV_PYTHON_EXAMPLE"), "no Python example in this build")
    def test_python_purchases_in_parallel_threads(self):
        env = dict(self.env, PYTHONPATH=os.environ["ZV_PYTHON_PACKAGE"])
        if os.environ.get("ZV_PYTHON_PRELOAD"):
            env.update(LD_PRELOAD=os.environ["ZV_PYTHON_PRELOAD"], ASAN_OPTIONS="detect_leaks=0")
        before = self.sim.stats().get("approved", 0)
        out = self.run_example([sys.executable, os.environ["ZV_PYTHON_EXAMPLE"]], "6", env=env)
        self.assertEqual(len(re.findall(r"^order \d: approved ZS", out, re.M)), 6, out)
        self.assertEqual(self.sim.stats()["approved"] - before, 6)


if __name__ == "__main__":
    unittest.main()
