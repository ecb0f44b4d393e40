"""zelvan-txn, zelvan-gateway-sim, zelvan-certgen and zelvan-session-key
from a script's side.

Environment: ZV_TXN, ZV_GATEWAY_SIM, ZV_CERTGEN, ZV_SESSION_KEY (the
programs under test) and ZV_VERSION (the package version they must report).
"""

import os
import stat
import subprocess
import tempfile
import unittest

from gateway_sim import SimulatorTestCase, TestCertificates, free_port

TXN = os.environ["ZV_TXN"]
SIM = os.environ["ZV_GATEWAY_SIM"]
CERTGEN = os.environ["ZV_CERTGEN"]
SESSION_KEY = os.environ["ZV_SESSION_KEY"]
VERSION = os.environ["ZV_VERSION"]
CARD = "4111111111111111"


def run(*command, env=None, cwd=None):
    # Decoded by hand: text mode would turn the log's CR LF into LF.
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=env, cwd=cwd, timeout=120)
    done.stdout, done.stderr = done.stdout.decode(), done.stderr.decode()
    return done


class EveryProgramTest(unittest.TestCase):
    def test_help_version_and_bad_options_write_nothing(self):
        for program in (TXN, SIM, CERTGEN, SESSION_KEY):
            name = os.path.basename(program)
            with tempfile.TemporaryDirectory() as cwd:
                usage, version = "usage: " + name, "%s %s" % (name, VERSION)
                for arg, status, out, err in (("--help", 0, usage, ""), ("-h", 0, usage, ""), ("-V", 0, version, ""),
                                              ("--version", 0, version, ""), ("--bogus", 64, "", "bogus"),
                                              ("--bogus=1", 64, "", "bogus"), ("-Z", 64, "", "Z")):
                    done = run(program, arg, cwd=cwd)
                    # Help and version open standard output; a bad option writes nothing there.
                    self.assertEqual((done.returncode, done.stdout[:len(out)] if out else done.stdout), (status, out),
                                     (name, arg, done.stderr))
                    self.assertIn(err, done.stderr, (name, arg))
                self.assertEqual(os.listdir(cwd), [], name)

    def test_certgen_keeps_private_keys_to_their_owner(self):
        with TestCertificates(CERTGEN) as certs:
            modes = {name: stat.S_IMODE(os.stat(certs.path(name)).st_mode) for name in os.listdir(certs.dir)}
        public = ("ca.pem", "server.pem", "other-ca.pem")
        self.assertEqual(modes, {name: 0o644 if name in public else 0o600 for name in {*modes, *public}})


class TxnTest(SimulatorTestCase):
    """zelvan-txn's outcomes, each against a simulator of its own."""

    def txn(self, port, *fields, options=(), env_password=True, password=TestCertificates.PASSWORD):
        env = dict(os.environ)
        env.pop("ZELVAN_CERT_PASSWORD", None)
        if env_password:
            env["ZELVAN_CERT_PASSWORD"] = password
        return run(TXN, "-s", "127.0.0.1", "-p", str(port), "-c", self.certs.client_p12, "-a", self.certs.ca,
                   *options, "CLIENTID=10000001", *fields, env=env)

    # The exit status and --json's output of every case (the fields masked,
    # no local one, quotes and backslashes escaped) are checked by the
    # transaction cases (tests/data) through zelvan-txn: here, what it writes
    # on standard error, and never the card number.
    def test_standard_error_names_the_outcome_without_card_data(self):
        sim = self.simulator()
        lost = self.simulator("--fault", "close-before-final", "--status-fault", "close-before-final")
        for port, card, status, said in ((sim.port, CARD, 0, ""), (sim.port, "4000000000000002", 1, "declined"),
                                         (free_port(), CARD, 2, "UNABLE TO CONNECT - COULD NOT OPEN SOCKET"),
                                         (lost.port, CARD, 3, "outcome unknown")):
            done = self.txn(port, "TRANSACTIONTYPE=PURCHASE", "CARDDATA=" + card, "AMOUNT=1.00")
            self.assertEqual(done.returncode, status, done.stderr)
            self.assertIn(said, done.stderr)
            self.assertEqual(done.stderr == "", not said)
            self.assertNotIn(card, done.stdout + done.stderr)

    def test_password_file_and_debug_log_on_standard_error(self):
        sim = self.simulator()
        with tempfile.NamedTemporaryFile("w", suffix=".pw") as password:
            password.write(TestCertificates.PASSWORD + "\n")
            password.flush()
            done = self.txn(sim.port, "TRANSACTIONTYPE=PURCHASE", "CARDDATA=" + CARD, "AMOUNT=3.00",
                            options=["--password-file", password.name, "-l", "-"], env_password=False)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertTrue(all("=" in line for line in done.stdout.splitlines()), done.stdout)
        self.assertNotIn("\r", done.stdout)
        self.assertIn("Message Sent...\r\n", done.stderr)
        self.assertNotIn(TestCertificates.PASSWORD, done.stdout + done.stderr)

        # Without a password the key cannot be opened; the file's absence is a usage error.
        self.assertEqual(self.txn(sim.port, "TRANSACTIONTYPE=PURCHASE", env_password=False).returncode, 2)
        missing = self.txn(sim.port, options=["--password-file", "/nonexistent/pw"])
        self.assertEqual(missing.returncode, 64)
        self.assertEqual(self.txn(sim.port, options=["-l", "stdout"]).returncode, 64)

    def test_session_key_names_and_removes_the_store_the_library_made(self):
        sim = self.simulator()
        self.assertEqual(self.txn(sim.port, "TRANSACTIONTYPE=PURCHASE", "CARDDATA=" + CARD).returncode, 0)
        key = run(SESSION_KEY, self.certs.client_p12).stdout
        self.assertRegex(key, r"^0x[0-9a-f]{8}\n$")
        segments = lambda: run("ipcs", "-m").stdout.split()  # keys print as 0x%08x
        self.assertIn(key.strip(), segments())
        for _ in range(2):  # the second finds nothing to remove
            done = run(SESSION_KEY, "--remove", self.certs.client_p12)
            self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))
        self.assertNotIn(key.strip(), segments())
        missing = run(SESSION_KEY, "--remove", "/nonexistent/client.p12")
        self.assertEqual(missing.returncode, 1)
        self.assertIn("cannot read /nonexistent/client.p12", missing.stderr)


if __name__ == "__main__":
    unittest.main()
