"""Installs every artifact of make dist the way its README says, without a
package index, and runs a purchase with the installed package.

Run from the source tree after make dist (.ci/run does this):

    PYTHONPATH=tests/support python3 -m unittest -v tests/packaging/test_dist.py

Each README holds its offline install as a shell block that begins with
OFFLINE_MARK; the test runs that block, word for word, with bash in a new
directory whose HOME is that directory too (so npm's cache, Composer's home
and Go's module cache start empty), with DIST set to the artifacts'
directory. The binding's example then purchases against the simulator with
the environment the block left (an activated virtual environment, GOPROXY,
...) and must exit 0, approved. The C library comes from the C tarball,
installed as the top-level README says, and the simulator and certificates
from its programs. The Debian packages are tests/packaging/test_deb.py's.
"""

import glob
import os
import re
import shutil
import subprocess
import tempfile
import unittest

from gateway_sim import GatewaySim, TestCertificates

SOURCE_DIR = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
DIST = os.path.abspath(os.environ.get("ZV_DIST_DIR", os.path.join(SOURCE_DIR, "build", "dist")))
with open(os.path.join(SOURCE_DIR, "include", "zelvan", "zelvanclient.h"), encoding="utf-8") as header:
    VERSION = re.search(r'#define ZELVANCLIENT_VERSION "(.*)"', header.read()).group(1)
OFFLINE_MARK = "# Offline install from make dist's files in $DIST"
# What a developer's shell might carry that would make an install use
# something other than the artifacts.
UNSET = ("PYTHONPATH", "PIP_FIND_LINKS", "PIP_INDEX_URL", "VIRTUAL_ENV", "NODE_PATH", "GOPROXY", "GOFLAGS",
         "GOPATH", "GONOSUMDB", "COMPOSER_HOME", "MAVEN_OPTS", "ZELVAN_LIBRARY", "PKG_CONFIG_PATH",
         "LD_LIBRARY_PATH")


def offline_install(readme):
    """The offline install block of a README, relative to the source tree."""
    with open(os.path.join(SOURCE_DIR, readme), encoding="utf-8") as f:
        blocks = re.findall(r"^```sh\n(%s\n.*?)^```" % re.escape(OFFLINE_MARK), f.read(), re.M | re.S)
    if len(blocks) != 1:
        raise AssertionError("%s should hold one ```sh block beginning %r" % (readme, OFFLINE_MARK))
    return blocks[0]


def run(command, env, cwd):
    """Runs command; returns its output (standard error included) and exit status."""
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL,
                          text=True, env=env, cwd=cwd, timeout=600)
    return done.stdout, done.returncode


class DistInstallTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        if not os.path.isfile(os.path.join(DIST, "SHA256SUMS")):
            raise AssertionError("%s holds no artifacts: run make dist first" % DIST)
        cls.root = tempfile.mkdtemp(prefix="zv-dist-")
        cls.addClassCleanup(cls.remove_root)
        env = {name: value for name, value in os.environ.items() if name not in UNSET}
        cls.base_env = dict(env, DIST=DIST, ZELVAN_CERT_PASSWORD=TestCertificates.PASSWORD,
                            # Go's build cache is a cache: the binding's test shares it.
                            GOCACHE=os.path.join(SOURCE_DIR, "build", "go-cache"))
        cls.c_env = cls.install("README.md", "c", cls.base_env)
        prefix = glob.glob(os.path.join(cls.root, "c", "zelvanclient-*"))[0]
        cls.certs = TestCertificates(os.path.join(prefix, "bin", "zelvan-certgen"))
        cls.addClassCleanup(cls.certs.close)
        cls.sim = GatewaySim(os.path.join(prefix, "bin", "zelvan-gateway-sim"), cls.certs)
        cls.addClassCleanup(cls.sim.__exit__, None)

    @classmethod
    def remove_root(cls):
        # Go leaves its module cache read-only.
        for directory, _, _ in os.walk(cls.root):
            os.chmod(directory, 0o755)
        shutil.rmtree(cls.root, ignore_errors=True)

    @classmethod
    def install(cls, readme, name, env):
        """Runs readme's offline block in a new directory ROOT/name, that is
        also HOME; returns the environment the block left."""
        home = os.path.join(cls.root, name)
        os.mkdir(home)
        env_file = os.path.join(cls.root, name + ".env")
        script = "set -euo pipefail\n%s\nenv -0 >%s\n" % (offline_install(readme), env_file)
        out, status = run(["bash", "-c", script], dict(env, HOME=home, PWD=home), home)
        if status != 0:
            raise AssertionError("the offline install of %s failed (%d):\n%s" % (readme, status, out))
        with open(env_file, encoding="utf-8") as f:
            return dict(entry.split("=", 1) for entry in f.read().split("\0") if entry)

    def purchase(self, command, env, cwd):
        """Runs an example's purchase against the simulator: approved."""
        out, status = run([*command, *self.gateway_options(), "4111111111111111", "12.50"], env, cwd)
        self.assertEqual(status, 0, out)
        self.assertRegex(out, "(?i)approved")
        self.assertNotIn("4111111111111111", out)
        return out

    def gateway_options(self):
        return ["--server", "127.0.0.1", "--port", str(self.sim.port), "--certificate", self.certs.client_p12,
                "--ca-file", self.certs.ca]

    def test_c_program_built_with_pkg_config_from_the_tarball(self):
        work = os.path.join(self.root, "c")
        flags, status = run(["pkg-config", "--cflags", "--libs", "zelvanclient"], self.c_env, work)
        self.assertEqual(status, 0, flags)
        out, status = run(["cc", "-std=c99", "-Wall", "-Werror", "-o", "purchase",
                           os.path.join(SOURCE_DIR, "examples", "c", "purchase.c"), *flags.split()], self.c_env, work)
        self.assertEqual(status, 0, out)
        out, status = run(["./purchase", "127.0.0.1", str(self.sim.port), self.certs.client_p12, self.certs.ca],
                          self.c_env, work)
        self.assertIn("approved: APPROVED", out)

    def test_python_wheel_into_a_virtual_environment(self):
        env = self.install("bindings/python/README.md", "python", self.c_env)
        home = env["HOME"]
        out = self.purchase(["python", os.path.join(SOURCE_DIR, "bindings", "python", "examples", "purchase.py")],
                            env, home)
        module, _ = run(["python", "-c", "import zelvan; print(zelvan.__file__); print(zelvan.library_version())"],
                        env, home)
        path, version = module.split()
        self.assertTrue(path.startswith(os.path.join(home, "venv", "lib")), module + out)
        self.assertTrue(os.path.isfile(os.path.join(os.path.dirname(path), "py.typed")), path)
        self.assertEqual(version, VERSION)
        self.assertEqual(glob.glob(os.path.join(SOURCE_DIR, "bindings", "python", "*.egg-info")), [])

    def test_npm_tarball_with_its_koffi(self):
        env = self.install("bindings/node/README.md", "node", self.c_env)
        self.purchase(["node", "node_modules/zelvan/examples/purchase.js"], env, env["HOME"])

    def test_composer_artifact_with_the_default_minimum_stability(self):
        env = self.install("bindings/php/README.md", "php", self.c_env)
        home = env["HOME"]
        out, _ = run(["php", "-r", 'require "vendor/autoload.php"; echo Zelvan\\Transaction::class, "\\n";'],
                     env, home)
        self.assertEqual(out, "Zelvan\\Transaction\n")
        self.purchase(["php", "vendor/zelvan/zelvanclient/examples/purchase.php"], env, home)

    def test_maven_jar_in_the_local_repository_with_debians_jna(self):
        home = os.path.join(self.root, "java")
        repository = os.path.join(home, ".m2", "repository")
        # Java takes the home directory from the password database, not HOME.
        env = self.install("bindings/java/README.md", "java",
                           dict(self.c_env, MAVEN_OPTS="-Dmaven.repo.local=" + repository))
        jar = os.path.join(repository, "com", "zelvan", "zelvanclient", VERSION, "zelvanclient-%s.jar" % VERSION)
        self.purchase(["java", "-cp", "/usr/share/java/jna.jar:" + jar,
                       os.path.join(SOURCE_DIR, "bindings", "java", "examples", "Purchase.java")], env, home)

    def test_go_module_from_the_file_proxy(self):
        env = self.install("bindings/go/README.md", "go", self.c_env)
        home = env["HOME"]
        with open(os.path.join(home, "go.mod"), encoding="utf-8") as go_mod:
            self.assertRegex(go_mod.read(), r"\nrequire zelvan\.com/go/zelvan v%s\b" % re.escape(VERSION))
        out, status = run(["go", "build", "-o", "purchase", "zelvan.com/go/zelvan/examples/purchase"], env, home)
        self.assertEqual(status, 0, out)
        self.purchase(["./purchase"], env, home)


if __name__ == "__main__":
    unittest.main()
