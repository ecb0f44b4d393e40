"""Installs the library into a temporary prefix and builds two merchant
programs against the installed tree only: a C program through pkg-config
and a C++ CMake project through find_package(zelvanclient). Both run a
transaction against the installed gateway simulator, with certificates from
the installed zelvan-certgen.

Environment: ZV_BUILD_DIR (the build to install), ZV_SOURCE_DIR, ZV_CMAKE,
ZV_CC, ZV_CXX, and ZV_SANITIZE=ON when that build is instrumented: the
consumers are then instrumented too, since an ASan library can only be
loaded by a program that starts the ASan runtime first.
"""

import glob
import os
import re
import shutil
import tempfile
import unittest

from commands import run
from gateway_sim import GatewaySim, TestCertificates

CONSUMER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "consumer")
SOURCE_DIR = os.environ["ZV_SOURCE_DIR"]
BUILD_DIR = os.environ["ZV_BUILD_DIR"]
CMAKE = os.environ.get("ZV_CMAKE", "cmake")
CC = os.environ.get("ZV_CC", "cc")
CXX = os.environ.get("ZV_CXX", "c++")
SANITIZE_FLAGS = ["-fsanitize=address,undefined"] if os.environ.get("ZV_SANITIZE") == "ON" else []

PROGRAMS = ["zelvan-txn", "zelvan-gateway-sim", "zelvan-certgen"]




class InstalledTreeTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.work = tempfile.mkdtemp(prefix="zv-install-")
        cls.addClassCleanup(shutil.rmtree, cls.work, ignore_errors=True)
        cls.prefix = os.path.join(cls.work, "prefix")
        run([CMAKE, "--install", BUILD_DIR, "--prefix", cls.prefix])
        cls.libdir = os.path.dirname(glob.glob(os.path.join(cls.prefix, "lib*", "**", "libzelvanclient.so"),
                                               recursive=True)[0])
        cls.include = os.path.join(cls.prefix, "include", "zelvan")
        cls.env = dict(os.environ, PKG_CONFIG_PATH=os.path.join(cls.libdir, "pkgconfig"),
                       LD_LIBRARY_PATH=cls.libdir)

        cls.certs = TestCertificates(cls.program("zelvan-certgen"))
        cls.addClassCleanup(cls.certs.close)
        cls.sim = GatewaySim(cls.program("zelvan-gateway-sim"), cls.certs)
        cls.addClassCleanup(cls.sim.__exit__, None)

    @classmethod
    def program(cls, name):
        return os.path.join(cls.prefix, "bin", name)

    def consumer_args(self):
        return [str(self.sim.port), self.certs.client_p12, TestCertificates.PASSWORD, self.certs.ca]

    def test_installs_library_public_headers_and_programs(self):
        self.assertEqual(os.readlink(os.path.join(self.libdir, "libzelvanclient.so")), "libzelvanclient.so.1")
        self.assertTrue(os.readlink(os.path.join(self.libdir, "libzelvanclient.so.1")).startswith(
            "libzelvanclient.so.1."))
        for header in ["zelvanclient.h", "BString.h", "BHashTable.h", "BURLCodec.h", "BSocket.h",
                       "BSSLContext.h", "sslPool.h"]:
            self.assertTrue(os.path.isfile(os.path.join(self.include, header)), header)
        # The engine's own headers stay out of the installed tree.
        for internal in glob.glob(os.path.join(SOURCE_DIR, "src", "client", "*.h")):
            name = os.path.basename(internal)
            if name != "zelvanclient.h":
                self.assertFalse(os.path.exists(os.path.join(self.include, name)), name)
        for name in PROGRAMS:
            self.assertTrue(os.access(self.program(name), os.X_OK), name)

    def test_every_installed_header_compiles_with_pkg_config_flags(self):
        # A public header that includes an internal one fails here.
        source = os.path.join(self.work, "all_headers.cpp")
        with open(source, "w") as out:
            for header in sorted(os.listdir(self.include)):
                out.write('#include <zelvan/%s>\n' % header)
        cflags = run(["pkg-config", "--cflags", "zelvanclient"], env=self.env).split()
        run([CXX, "-std=c++17", "-fsyntax-only", *cflags, source], env=self.env)

    def test_c_program_built_through_pkg_config_runs_a_purchase(self):
        libdir = run(["pkg-config", "--variable=libdir", "zelvanclient"], env=self.env).strip()
        self.assertEqual(os.path.realpath(libdir), os.path.realpath(self.libdir))
        flags = run(["pkg-config", "--cflags", "--libs", "zelvanclient"], env=self.env).split()
        program = os.path.join(self.work, "purchase")
        sources = [os.path.join(CONSUMER, name) for name in ("purchase.c", "run_transaction.c")]
        run([CC, "-std=c99", "-Wall", "-Werror", *SANITIZE_FLAGS, "-o", program, *sources, *flags],
            env=self.env)
        self.assertIn(self.libdir, run(["ldd", program], env=self.env))
        self.assertIn("purchase approved", run([program, *self.consumer_args()], env=self.env))

    def test_installed_command_line_client_finds_its_library(self):
        # No LD_LIBRARY_PATH: the program's run path leads to the prefix.
        env = dict(os.environ, ZELVAN_CERT_PASSWORD=TestCertificates.PASSWORD)
        env.pop("LD_LIBRARY_PATH", None)
        run([self.program("zelvan-txn"), "-s", "127.0.0.1", "-p", str(self.sim.port),
             "-c", self.certs.client_p12, "-a", self.certs.ca, "CLIENTID=10000001",
             "TRANSACTIONTYPE=PURCHASE", "CARDDATA=4111111111111111", "AMOUNT=1.00"], env=env)

    def test_cmake_project_built_through_find_package_runs_a_refund(self):
        build = os.path.join(self.work, "consumer-cmake")
        flags = " ".join(SANITIZE_FLAGS)
        run([CMAKE, "-S", CONSUMER, "-B", build, "-G", "Ninja",
             "-DCMAKE_PREFIX_PATH=" + self.prefix, "-DCMAKE_C_COMPILER=" + CC, "-DCMAKE_CXX_COMPILER=" + CXX,
             "-DCMAKE_C_FLAGS=" + flags, "-DCMAKE_CXX_FLAGS=" + flags, "-DCMAKE_EXE_LINKER_FLAGS=" + flags])
        with open(os.path.join(build, "CMakeCache.txt")) as cache:
            found = [line for line in cache if line.startswith("zelvanclient_DIR:")]
        self.assertEqual(found, ["zelvanclient_DIR:PATH=%s/cmake/zelvanclient\n" % self.libdir])
        run([CMAKE, "--build", build])
        self.assertIn("refund approved", run([os.path.join(build, "refund"), *self.consumer_args()]))

    def test_pkg_config_and_cmake_versions_come_from_the_header(self):
        with open(os.path.join(SOURCE_DIR, "src", "client", "zelvanclient.h")) as header:
            version = re.search(r'#define ZELVANCLIENT_VERSION "(.*)"', header.read()).group(1)
        self.assertEqual(run(["pkg-config", "--modversion", "zelvanclient"], env=self.env).strip(), version)
        # A program linked against the shared library gets no OpenSSL on its link line.
        self.assertNotIn("ssl", run(["pkg-config", "--libs", "zelvanclient"], env=self.env))
        with open(os.path.join(self.libdir, "cmake", "zelvanclient", "zelvanclientConfigVersion.cmake")) as config:
            self.assertIn('set(PACKAGE_VERSION "%s")' % version, config.read())
        self.assertTrue(os.path.exists(os.path.join(self.libdir, "libzelvanclient.so." + version)))


if __name__ == "__main__":
    unittest.main()
