"""Test certificates and the gateway simulator for the tests written in
Python, both context managers that leave nothing behind."""

import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import unittest

# The end of every message, in both directions.
END_MARKER = "\r\nEND\r\n\r\n"


class TestCertificates:
    """A CA, a server certificate for 127.0.0.1 and client certificates.

    The client's PKCS#12 file is client_p12 (password PASSWORD), the CA
    file ca. The directory goes on exit, with the System V session-store
    segments that clients made for its files (zelvan-session-key, beside
    certgen, removes them).
    """

    PASSWORD = "zelvan-test"

    def __init__(self, certgen):
        self.session_key = os.path.join(os.path.dirname(certgen), "zelvan-session-key")
        self.dir = tempfile.mkdtemp(prefix="zv-certs-")
        self.ca, self.client_p12 = self.path("ca.pem"), self.path("client.p12")
        try:
            subprocess.run([certgen, self.dir], check=True, stdout=subprocess.DEVNULL)
        except BaseException:
            shutil.rmtree(self.dir, ignore_errors=True)
            raise

    def path(self, name):
        return os.path.join(self.dir, name)

    def remove_session_stores(self):
        """Removes the session-store segments of every file of the set."""
        for name in os.listdir(self.dir):
            subprocess.run([self.session_key, "--remove", self.path(name)], check=True)

    def close(self):
        if os.path.isdir(self.dir):
            self.remove_session_stores()
            shutil.rmtree(self.dir, ignore_errors=True)

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()


class GatewaySim:
    """zelvan-gateway-sim on a free port of 127.0.0.1, for one test.

    Requires client certificates signed by the set's CA. extra_args are
    appended to the command line (for example ["--fault", "first-error"]).
    stop() returns the simulator's exit status; a context exit that finds
    a status other than 0 raises, so that a crashed simulator fails the
    test that used it.
    """

    def __init__(self, program, certs, extra_args=()):
        self.stats_path = certs.path("sim-stats-%d.txt" % id(self))
        self.record_path = certs.path("sim-record-%d.txt" % id(self))
        self._output = pathlib.Path(certs.path("sim-output-%d.txt" % id(self)))
        command = [program, "--cert", certs.path("server.pem"), "--key", certs.path("server-key.pem"),
                   "--ca", certs.ca, "--port", "0", "--stats", self.stats_path,
                   "--record", self.record_path, *extra_args]
        # Output goes to a file, which never fills up as an unread pipe would.
        with self._output.open("wb") as output:
            self._process = subprocess.Popen(command, stdout=output, stderr=subprocess.STDOUT)
        self._exit_status = None
        try:
            self.port = self._read_port()
        except BaseException:
            self.stop()
            raise

    def _read_port(self):
        deadline = time.monotonic() + 20
        while True:
            output = self._output.read_text(errors="replace")
            if found := re.search(r"^LISTENING (\d+)\n", output, re.M):
                return int(found.group(1))
            if self._process.poll() is not None or time.monotonic() > deadline:
                raise RuntimeError("the gateway simulator reported no port:\n" + output)
            time.sleep(0.01)

    def stats(self):
        """The simulator's counters as a dict of ints."""
        with open(self.stats_path) as stats:
            return {name: int(value) for name, _, value in (line.strip().partition("=") for line in stats) if name}

    def messages(self):
        """Every message received so far, end marker included, as text."""
        with open(self.record_path, "rb") as record:
            text = record.read().decode("utf-8", "surrogateescape")
        return [m + END_MARKER for m in text.split(END_MARKER)[:-1]]

    def stop(self):
        if self._exit_status is None:
            self._process.send_signal(signal.SIGTERM)
            try:
                self._process.wait(10)
            except subprocess.TimeoutExpired:
                self._process.kill()
                self._process.wait()
            self._exit_status = self._process.returncode
        return self._exit_status

    def __enter__(self):
        return self

    def __exit__(self, exc_type, *exc):
        status = self.stop()
        if status != 0 and exc_type is None:
            raise RuntimeError("the gateway simulator exited with status %d" % status)


class SimulatorTestCase(unittest.TestCase):
    """Tests with a certificate set for the class ($ZV_CERTGEN writes it)
    and simulators ($ZV_GATEWAY_SIM) that each test starts for itself."""

    @classmethod
    def setUpClass(cls):
        cls.certs = TestCertificates(os.environ["ZV_CERTGEN"])
        cls.addClassCleanup(cls.certs.close)

    def simulator(self, *args):
        """A simulator with args, stopped (and checked) when the test ends."""
        sim = GatewaySim(os.environ["ZV_GATEWAY_SIM"], self.certs, args)
        self.addCleanup(sim.__exit__, None)
        return sim


def free_port():
    """A port of 127.0.0.1 that nothing listened on a moment ago."""
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]
