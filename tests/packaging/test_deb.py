"""Installs the Debian packages of make deb, uses them as a merchant would,
and removes them.

Run as root on a Debian machine with nothing of libzelvanclient installed,
from the source tree, after make deb (.ci/run does this):

    PYTHONPATH=tests/support python3 -m unittest -v tests/packaging/test_deb.py

A C example is built with pkg-config alone (no PKG_CONFIG_PATH, no -I or
-L of our own) and the C++ example with CMake's find_package, and both run
a purchase against the installed simulator with certificates from the
installed zelvan-certgen. Removal (dpkg -r) must leave no package behind,
not even in state "rc", and take the library out of the loader's cache.
Not a ctest test: it changes the machine.
"""

import glob
import os
import shutil
import subprocess
import tempfile
import unittest

from commands import run
from gateway_sim import GatewaySim, TestCertificates

SOURCE_DIR = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
DEB_DIR = os.environ.get("ZV_DEB_DIR", os.path.join(SOURCE_DIR, "build-deb"))
PACKAGES = ["zelvan-tools", "libzelvanclient-dev", "libzelvanclient1"]


def status(package):
    """dpkg's two-letter state of the package ("ii", "rc", ...), "" when it has none."""
    done = subprocess.run(["dpkg-query", "-W", "-f=${db:Status-Abbrev}", package], stdout=subprocess.PIPE,
                          stderr=subprocess.DEVNULL, text=True)
    return done.stdout.strip()


def installed(package):
    return status(package) == "ii"


@unittest.skipUnless(os.geteuid() == 0, "installs packages: run as root")
class DebianPackagesTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        debs = sorted(glob.glob(os.path.join(DEB_DIR, "*.deb")))
        names = [run(["dpkg-deb", "-f", deb, "Package"]).strip() for deb in debs]
        if sorted(names) != sorted(PACKAGES):
            raise AssertionError("make deb should give %s, %s holds %s" % (PACKAGES, DEB_DIR, names))
        already = [name for name in PACKAGES if installed(name)]
        if already:
            raise AssertionError("remove %s first: this test must not replace what the machine has" % already)
        cls.debs = debs
        cls.addClassCleanup(lambda: run(["dpkg", "--purge", *PACKAGES]))
        run(["dpkg", "-i", *debs])
        cls.work = tempfile.mkdtemp(prefix="zv-deb-")
        cls.addClassCleanup(shutil.rmtree, cls.work, ignore_errors=True)
        cls.certs = TestCertificates("/usr/bin/zelvan-certgen")
        cls.addClassCleanup(cls.certs.close)
        cls.sim = GatewaySim("/usr/bin/zelvan-gateway-sim", cls.certs)
        cls.addClassCleanup(cls.sim.__exit__, None)
        cls.env = dict(os.environ, ZELVAN_CERT_PASSWORD=TestCertificates.PASSWORD)
        for variable in ("PKG_CONFIG_PATH", "LD_LIBRARY_PATH", "CMAKE_PREFIX_PATH"):
            cls.env.pop(variable, None)

    def gateway_args(self):
        return ["127.0.0.1", str(self.sim.port), self.certs.client_p12, self.certs.ca]

    def test_c_program_built_with_pkg_config_alone_runs_a_purchase(self):
        flags = run(["pkg-config", "--cflags", "--libs", "zelvanclient"], env=self.env).split()
        program = os.path.join(self.work, "purchase")
        run(["cc", "-std=c99", "-Wall", "-Werror", "-o", program,
             os.path.join(SOURCE_DIR, "examples", "c", "purchase.c"), *flags], env=self.env)
        self.assertIn("x86_64-linux-gnu/libzelvanclient.so.1 ", run(["ldd", program]))  # /lib is /usr/lib
        self.assertIn("approved: APPROVED", run([program, *self.gateway_args()], env=self.env))

    def test_cpp_example_built_with_find_package(self):
        build = os.path.join(self.work, "cpp")
        run(["cmake", "-S", os.path.join(SOURCE_DIR, "examples", "cpp"), "-B", build], env=self.env)
        run(["cmake", "--build", build], env=self.env)
        self.assertIn("approved: APPROVED",
                      run([os.path.join(build, "purchase_cpp"), *self.gateway_args()], env=self.env))

    def test_tools_and_manual_pages_are_installed(self):
        out = run(["zelvan-txn", "-s", "127.0.0.1", "-p", str(self.sim.port), "-c", self.certs.client_p12,
                   "-a", self.certs.ca, "--json", "CLIENTID=10000001", "TRANSACTIONTYPE=PURCHASE",
                   "CARDDATA=4111111111111111", "AMOUNT=1.00"], env=self.env)
        self.assertIn('"RESULT": "0"', out)
        for page in ("zelvan-txn", "zelvan-gateway-sim", "zelvan-certgen", "zelvan-session-key", "zelvanclient"):
            self.assertIn(page.upper(), run(["man", "-P", "cat", page], env=dict(self.env, MANWIDTH="80")))

    def test_removal_leaves_nothing_configured_and_reinstall_works(self):
        self.assertIn("libzelvanclient.so.1 ", run(["ldconfig", "-p"]))  # the ldconfig trigger ran
        run(["dpkg", "-r", *PACKAGES])
        try:
            self.assertEqual({name: status(name) for name in PACKAGES}, {name: "" for name in PACKAGES})
            self.assertNotIn("libzelvanclient", run(["ldconfig", "-p"]))
            self.assertEqual(glob.glob("/usr/lib/*/libzelvanclient*") + glob.glob("/usr/share/doc/*zelvan*"), [])
        finally:
            run(["dpkg", "-i", *self.debs])  # for the other tests, whatever their order
        self.assertTrue(all(installed(name) for name in PACKAGES))


if __name__ == "__main__":
    unittest.main()
