"""Real TLS servers that nobody on this project wrote, as gateways.

Each peer runs as a child process on a free port of 127.0.0.1, is stopped
(SIGTERM, then SIGKILL) when the test is over, and counts resumed sessions
in its own output, which is what the resumption tests read:

- OpenSslServer: `openssl s_server`, relaying the plaintext of its one
  connection through its standard output and input to gateway_reply.
- StunnelServer: `stunnel4` forwarding the plaintext to a GatewayStandIn.
- GnutlsServer: `gnutls-serv --echo`, which cannot answer by itself: the
  request carries the reply fields and the echo hands them back. It
  listens on every interface, so its tests run in a private network
  namespace whose only interface is lo.
"""

import ctypes
import fcntl
import itertools
import os
import pathlib
import re
import shutil
import socket
import struct
import subprocess
import threading
import time

from commands import run
from gateway_sim import TestCertificates, free_port

PASSWORD = TestCertificates.PASSWORD
END_MARKER = b"\r\nEND\r\n\r\n"
_references = itertools.count(1)


class InteropCertificates(TestCertificates):
    """The project's test set plus what real deployments hold.

    gateway.pem names localhost only (DNS), the set's server.pem names
    127.0.0.1 only (IP); rogue.pem names localhost but comes from the
    unrelated CA. The client files: client.p12 (modern), legacy.p12 (RC2-40,
    as older tools write it), and chain.p12 and chain.pem, whose client
    certificate an intermediate CA issued; both carry the intermediate,
    and the servers trust only the root.
    """

    def __init__(self, certgen):
        super().__init__(certgen)
        try:
            self._extend()
        except BaseException:
            self.close()
            raise

    def _issue(self, name, subject, ca, extensions):
        key, csr, cert, ext = (self.path(name + suffix) for suffix in ("-key.pem", ".csr", ".pem", ".ext"))
        pathlib.Path(ext).write_text(extensions + "\n")
        run(["openssl", "req", "-new", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256",
             "-nodes", "-keyout", key, "-out", csr, "-subj", subject])
        run(["openssl", "x509", "-req", "-in", csr, "-CA", self.path(ca + ".pem"),
             "-CAkey", self.path(ca + "-key.pem"), "-CAcreateserial", "-days", "2",
             "-extfile", ext, "-out", cert])

    def _extend(self):
        self._issue("gateway", "/CN=localhost", "ca", "subjectAltName=DNS:localhost")
        self._issue("rogue", "/CN=localhost", "other-ca", "subjectAltName=DNS:localhost")
        self._issue("int-ca", "/CN=Zelvan Test Intermediate", "ca",
                    "basicConstraints=critical,CA:TRUE\nkeyUsage=critical,keyCertSign,cRLSign")
        self._issue("chain-client", "/CN=chain-client", "int-ca",
                    "basicConstraints=CA:FALSE\nextendedKeyUsage=clientAuth")
        p12 = ["openssl", "pkcs12", "-export", "-passout", "pass:" + PASSWORD]
        run(p12 + ["-legacy", "-in", self.path("client-plain.pem"), "-out", self.path("legacy.p12")])
        run(p12 + ["-in", self.path("chain-client.pem"), "-inkey", self.path("chain-client-key.pem"),
                   "-certfile", self.path("int-ca.pem"), "-out", self.path("chain.p12")])
        parts = ("chain-client.pem", "int-ca.pem", "chain-client-key.pem")
        pathlib.Path(self.path("chain.pem")).write_text("".join(pathlib.Path(self.path(p)).read_text() for p in parts))


def answer(data, send):
    """Sends the gateway's answer to each whole request in data; returns the
    rest. A request without a reference gets one, then it is approved.
    Only lines that end with CR LF are fields: openssl s_server mixes its
    own diagnostics, ending with LF alone, into the relayed bytes."""
    while END_MARKER in data:
        message, data = data.split(END_MARKER, 1)
        lines = (message + b"\r\n").decode(errors="replace").split("\n")
        fields = dict(line[:-1].split("=", 1) for line in lines if line.endswith("\r") and "=" in line)
        if "TXNREFERENCE" not in fields:
            send(("TXNREFERENCE=ZI%06d" % next(_references)).encode() + END_MARKER)
        else:
            send(("TXNREFERENCE=%s\r\nRESULT=0\r\nAUTHCODE=A00001\r\nRESPONSECODE=00\r\nRESPONSETEXT=APPROVED"
                  % fields["TXNREFERENCE"]).encode() + END_MARKER)
    return data


class Peer:
    """A server process whose output is collected by threads as it comes."""

    # The RESULT an approved purchase shows.
    RESULT = "0"

    def __init__(self, command, ready, stdin=False):
        """Starts command and waits until its output matches ready."""
        self._output = b""
        self._lock = threading.Lock()
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE if stdin else subprocess.DEVNULL,
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self._readers = [threading.Thread(target=self._read, args=(pipe,), daemon=True)
                         for pipe in (self.process.stdout, self.process.stderr)]
        for reader in self._readers:
            reader.start()
        if not self.wait_for_count(ready, 1, 10):
            self.stop()
            raise RuntimeError("%s did not start:\n%s" % (command[0], self.output()))

    def _read(self, pipe):
        while True:
            chunk = os.read(pipe.fileno(), 65536)
            if not chunk:
                return
            with self._lock:
                self._output += chunk
            if pipe is self.process.stdout:
                self.received(chunk)

    def received(self, chunk):
        """Called on the reader thread with every piece of standard output."""

    def output(self):
        with self._lock:
            return self._output.decode(errors="replace")

    def wait_for_count(self, pattern, count, seconds):
        """Whether the output shows count matches of pattern within seconds
        (False at once if the server has ended)."""
        deadline = time.monotonic() + seconds
        while self.count(pattern) < count:
            if time.monotonic() > deadline or self.process.poll() is not None:
                return False
            time.sleep(0.02)
        return True

    def count(self, pattern):
        return len(re.findall(pattern, self.output()))

    def stop(self):
        if self.process.poll() is None:
            self.process.terminate()
            try:
                self.process.wait(5)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
        for reader in self._readers:
            reader.join(5)
        for pipe in (self.process.stdin, self.process.stdout, self.process.stderr):
            if pipe:
                pipe.close()


class OpenSslServer(Peer):
    """openssl s_server playing the gateway through its standard I/O.

    Like the other servers: version "1.2" or "1.3" allows that one alone,
    None both; tickets=False resumes by the server's session cache only,
    resume=False not at all;
    cert names the server certificate's files in the set; with sni_cert,
    clients that name localhost get that certificate instead.
    """

    RESUMED = r"Reused session-id"

    def __init__(self, certs, version=None, tickets=True, cert="gateway", sni_cert=None, resume=True):
        self.port = free_port()
        self._data = b""
        command = ["openssl", "s_server", "-accept", "127.0.0.1:%d" % self.port,
                   "-cert", certs.path(cert + ".pem"), "-key", certs.path(cert + "-key.pem"),
                   "-CAfile", certs.ca, "-Verify", "3", "-verify_return_error"]
        if version:
            command.append("-tls" + version.replace(".", "_"))
        if not tickets or not resume:
            command.append("-no_ticket")
        if not resume:
            command.append("-no_cache")
        if sni_cert:
            command += ["-servername", "localhost", "-servername_fatal",
                        "-cert2", certs.path(sni_cert + ".pem"), "-key2", certs.path(sni_cert + "-key.pem")]
        super().__init__(command, r"ACCEPT", stdin=True)

    def received(self, chunk):
        self._data = answer(self._data + chunk, self._send)

    def _send(self, reply):
        self.process.stdin.write(reply)
        self.process.stdin.flush()


class LoopbackListener:
    """A listening socket on a free port of 127.0.0.1 whose connections go,
    one by one as they are accepted, to handle() on a thread of its own."""

    def __init__(self):
        self._listener = socket.create_server(("127.0.0.1", 0))
        self.port = self._listener.getsockname()[1]
        threading.Thread(target=self._accept, daemon=True).start()

    def _accept(self):
        while True:
            try:
                connection, _ = self._listener.accept()
            except OSError:
                return
            self.handle(connection)

    def close(self):
        self._listener.close()


class GatewayStandIn(LoopbackListener):
    """A plaintext gateway, for servers that forward."""

    def handle(self, connection):
        threading.Thread(target=self._serve, args=(connection,), daemon=True).start()

    @staticmethod
    def _serve(connection):
        data = b""
        with connection:
            connection.settimeout(30)
            try:
                while chunk := connection.recv(65536):
                    data = answer(data + chunk, connection.sendall)
            except OSError:
                return


class StunnelServer(Peer):
    """stunnel4 in front of a GatewayStandIn."""

    RESUMED = r"previous session reused"

    def __init__(self, certs, version=None, tickets=True, cert="gateway", sni_cert=None):
        self.port = free_port()
        self.gateway = GatewayStandIn()
        self._config = certs.path("stunnel-%d.conf" % self.port)
        low, high = ("TLSv" + version,) * 2 if version else ("TLSv1.2", "TLSv1.3")
        common = ["CAfile = " + certs.ca, "verifyChain = yes", "requireCert = yes",
                  "sslVersionMin = " + low, "sslVersionMax = " + high,
                  "connect = 127.0.0.1:%d" % self.gateway.port] + ([] if tickets else ["options = NO_TICKET"])
        lines = ["foreground = yes", "pid =", "debug = info", "syslog = no", "[gateway]",
                 "accept = 127.0.0.1:%d" % self.port, "cert = " + certs.path(cert + ".pem"),
                 "key = " + certs.path(cert + "-key.pem")] + common
        if sni_cert:
            # Clients naming localhost reach this service; every other one
            # gets the [gateway] service's certificate.
            lines += ["[named]", "sni = gateway:localhost", "cert = " + certs.path(sni_cert + ".pem"),
                      "key = " + certs.path(sni_cert + "-key.pem")] + common
        pathlib.Path(self._config).write_text("\n".join(lines) + "\n")
        super().__init__(["stunnel4", self._config], r"Configuration successful")

    def stop(self):
        super().stop()
        self.gateway.close()
        if os.path.exists(self._config):
            os.unlink(self._config)


class GnutlsServer(Peer):
    """gnutls-serv --echo: the request carries the reply fields."""

    RESUMED = r"This is a resumed session"
    # The client drops RESULT from the bundle once connected, so no echo
    # carries it back; an approval shows in the other fields alone.
    RESULT = None
    REPLY_FIELDS = ["TXNREFERENCE=ZG000001", "AUTHCODE=A00001", "RESPONSECODE=00", "RESPONSETEXT=APPROVED"]

    def __init__(self, certs, version=None, tickets=True, cert="gateway", sni_cert=None):
        self.port = free_port()
        versions = {"1.2": ":-VERS-ALL:+VERS-TLS1.2", "1.3": ":-VERS-ALL:+VERS-TLS1.3", None: ""}
        command = ["gnutls-serv", "--port", str(self.port), "--echo", "--crlf",
                   "--x509certfile", certs.path((sni_cert or cert) + ".pem"),
                   "--x509keyfile", certs.path((sni_cert or cert) + "-key.pem"),
                   "--x509cafile", certs.ca, "--require-client-cert", "--verify-client-cert",
                   "--priority", "NORMAL:-VERS-TLS1.1:-VERS-TLS1.0" + versions[version]]
        if not tickets:
            command.append("--noticket")
        if sni_cert:
            # One certificate only: sni_cert, refused to clients naming
            # another host; the server reports the name it was given.
            command += ["--sni-hostname", "localhost", "--sni-hostname-fatal"]
        super().__init__(command, r"Echo Server listening on IPv4")


def private_loopback():
    """Moves this process into a network namespace of its own with lo up.

    Returns False, changing nothing, when the system does not allow it.
    """
    libc = ctypes.CDLL(None, use_errno=True)
    clone_newnet, clone_newuser = 0x40000000, 0x10000000
    uid, gid = os.getuid(), os.getgid()
    if libc.unshare(clone_newnet) != 0:
        if libc.unshare(clone_newuser | clone_newnet) != 0:
            return False
        # Stay who we are inside the new user namespace.
        for name, text in (("setgroups", "deny"), ("uid_map", "%d %d 1" % (uid, uid)),
                           ("gid_map", "%d %d 1" % (gid, gid))):
            with open("/proc/self/" + name, "w") as out:
                out.write(text)
    siocgifflags, siocsifflags, iff_up = 0x8913, 0x8914, 0x1
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as control:
        flags = struct.unpack("16sH14x", fcntl.ioctl(control, siocgifflags, struct.pack("16sH14x", b"lo", 0)))[1]
        fcntl.ioctl(control, siocsifflags, struct.pack("16sH14x", b"lo", flags | iff_up))
    return True


class StallFirstConnection(LoopbackListener):
    """A server whose first connection completes TCP and then hears
    nothing, as behind a stuck load balancer; later connections are
    relayed to the healthy server at target_port."""

    def __init__(self, target_port):
        self._target = target_port
        self._held = []
        super().__init__()

    def handle(self, client):
        self._held.append(client)
        if len(self._held) == 1:
            return
        server = socket.create_connection(("127.0.0.1", self._target))
        self._held.append(server)
        for source, sink in ((client, server), (server, client)):
            threading.Thread(target=self._pump, args=(source, sink), daemon=True).start()

    @staticmethod
    def _pump(source, sink):
        try:
            while data := source.recv(65536):
                sink.sendall(data)
            sink.shutdown(socket.SHUT_WR)
        except OSError:
            pass

    def close(self):
        super().close()
        for connection in self._held:
            connection.close()


def available(program):
    return shutil.which(program) is not None
