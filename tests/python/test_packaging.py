"""pip installs bindings/python into a fresh virtual environment, where a
purchase then runs against the simulator with the installed package.

CI has no PyPI, so nothing may be downloaded: the package is built with
--no-build-isolation by the environment's own setuptools. That setuptools
(older than 70.1) needs the wheel package to build any wheel, which a new
environment lacks; it is installed offline from Debian's wheel file
(python3-wheel-whl). The package is built from a copy, since pip writes
its build files beside pyproject.toml.

Environment: ZELVAN_LIBRARY, ZV_GATEWAY_SIM, ZV_CERTGEN, ZV_SOURCE_DIR.
"""

import glob
import os
import re
import shutil
import sys
import tempfile
import unittest

from commands import run
from gateway_sim import GatewaySim, TestCertificates

SOURCE_DIR = os.environ["ZV_SOURCE_DIR"]
DEBIAN_WHEELS = "/usr/share/python-wheels"

PURCHASE = """
import sys, zelvan
port, certificate, password, ca_file = sys.argv[1:]
print("module", zelvan.__file__)
print("versions", zelvan.__version__, zelvan.library_version())
with zelvan.Transaction() as t:
    t.set_servers("127.0.0.1")
    t.set_port(port)
    t.set_client_id("10000001")
    t.set_certificate(certificate, password)
    t.set_ca_file(ca_file)
    t["TRANSACTIONTYPE"] = "PURCHASE"
    t["CARDDATA"] = "4111111111111111"
    t["AMOUNT"] = "9.99"
    print("approved", t.execute().approved)
"""


class PipInstallTest(unittest.TestCase):
    def test_pip_installs_the_package_into_a_fresh_environment(self):
        self.assertTrue(glob.glob(os.path.join(DEBIAN_WHEELS, "wheel-*.whl")),
                        "install python3-wheel-whl (scripts/ensure-deps.sh does)")
        work = tempfile.mkdtemp(prefix="zv-pip-")
        self.addCleanup(shutil.rmtree, work, ignore_errors=True)
        source = shutil.copytree(os.path.join(SOURCE_DIR, "bindings", "python"), os.path.join(work, "src"),
                                 ignore=shutil.ignore_patterns("build", "*.egg-info", "__pycache__"))
        venv = os.path.join(work, "venv")
        env = dict(os.environ)
        env.pop("PYTHONPATH", None)
        env.pop("PIP_FIND_LINKS", None)
        run([sys.executable, "-m", "venv", venv], env=env)
        pip = [os.path.join(venv, "bin", "python"), "-m", "pip", "--disable-pip-version-check", "install",
               "--no-index", "--isolated"]
        run([*pip, "--find-links", DEBIAN_WHEELS, "wheel"], env=env)
        run([*pip, "--no-build-isolation", source], env=env)

        with TestCertificates(os.environ["ZV_CERTGEN"]) as certs, \
                GatewaySim(os.environ["ZV_GATEWAY_SIM"], certs) as sim:
            out = run([os.path.join(venv, "bin", "python"), "-c", PURCHASE, str(sim.port), certs.client_p12,
                       TestCertificates.PASSWORD, certs.ca], env=env, cwd=work)
        self.assertIn(os.path.join(venv, "lib"), out)
        with open(os.path.join(SOURCE_DIR, "include", "zelvan", "zelvanclient.h")) as header:
            version = re.search(r'#define ZELVANCLIENT_VERSION "(.*)"', header.read()).group(1)
        self.assertIn("versions %s %s\n" % (version, version), out)
        self.assertIn("approved True", out)
        # The installed package carries its type information.
        self.assertTrue(glob.glob(os.path.join(venv, "lib", "python*", "site-packages", "zelvan", "py.typed")))


if __name__ == "__main__":
    unittest.main()
