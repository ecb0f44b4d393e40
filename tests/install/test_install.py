"""Installs the library into a temporary prefix and builds the example
programs against the installed tree only: the C purchase through pkg-config
and the C++ CMake project through find_package(zelvanclient). Both run a
purchase against the installed gateway simulator, with certificates from
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

SOURCE_DIR = os.environ["ZV_SOURCE_DIR"]
EXAMPLES = os.path.join(SOURCE_DIR, "examples")
BUILD_DIR = os.environ["ZV_BUILD_DIR"]
CMAKE = os.environ.get("ZV_CMAKE", "cmake")
CC = os.environ.get("ZV_CC", "cc")
CXX = os.environ.get("ZV_CXX", "c++")
SANITIZE_FLAGS = ["-fsanitize=address,undefined"] if os.environ.get("ZV_SANITIZE") == "ON" else []

PROGRAMS = ["zelvan-txn", "zelvan-gateway-sim", "zelvan-certgen", "zelvan-session-key"]


def public_headers():
    """The header names of include/zelvan: every one of them is public."""
    folder = os.path.join(SOURCE_DIR, "include", "zelvan")
    return sorted(name for name in os.listdir(folder) if name.endswith(".h"))


# For each header whose class hands out objects for the caller to delete,
# code that deletes them: with only that header included, each delete must
# see a complete type (-Wdelete-incomplete) and so run the destructor.
DELETES = {
    "BObject.h": "void f(BObject* o) { delete o->toString(); }",
    "BString.h": "void f(BString* s) { delete s->substring(1); }",
    "BTokeniser.h": "void f(BTokeniser* t) { delete t->toString(); }",
    "BMemoryTable.h": "void f() { delete kMemoryTable->getKeys(); }",
    "BVector.h": "void f(BVector* v) { delete v->toString(); delete v->get(0, 1); }",
    "BMap.h": "void f(BMap* m) { delete m->getKeys(); delete m->toString(\"_\"); }",
    "BHashTable.h": "void f(BHashTable* m) { delete m->getValues(); delete m->getString(\"K\"); }",
    "BLinkMap.h": "void f(BLinkMap* m) { delete m->getEntry(nullptr); }",
    "BURLCodec.h": "void f(BURLCodec* c, BString* s) { delete c->encode(s); }",
    "BBase64Encoder.h": "void f() { delete kBase64Encoder.encode(nullptr, 0); delete kBase64Encoder.decode(\"\", 0); }",
    "BSimpleEncoder.h": "void f() { delete kHexEncoder.encode(nullptr, 0); delete kDecimalEncoder.decode(\"\", 0); }",
    "BByteArray.h": "void f(BByteArray* a) { delete a->toHexString(); delete a->toBase64String(); }",
    "BSocketAddress.h": "void f(BSocketAddress* a) { delete a->ipAddress(); }",
    "BSocket.h": "void f(BSocket* s) { delete s->toString(); }",
    "BServerSocket.h": "void f(BServerSocket* s) { delete s->accept(); }",
}


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
                       LD_LIBRARY_PATH=cls.libdir, ZELVAN_CERT_PASSWORD=TestCertificates.PASSWORD)

        cls.certs = TestCertificates(cls.program("zelvan-certgen"))
        cls.addClassCleanup(cls.certs.close)
        cls.sim = GatewaySim(cls.program("zelvan-gateway-sim"), cls.certs)
        cls.addClassCleanup(cls.sim.__exit__, None)

    @classmethod
    def program(cls, name):
        return os.path.join(cls.prefix, "bin", name)

    def gateway_args(self):
        return ["127.0.0.1", str(self.sim.port), self.certs.client_p12, self.certs.ca]

    def test_installs_library_headers_programs_and_versions(self):
        self.assertEqual(os.readlink(os.path.join(self.libdir, "libzelvanclient.so")), "libzelvanclient.so.1")
        self.assertTrue(os.readlink(os.path.join(self.libdir, "libzelvanclient.so.1")).startswith(
            "libzelvanclient.so.1."))
        self.assertIn("BServerSocket.h", public_headers())
        self.assertEqual(sorted(os.listdir(self.include)), public_headers())
        for name in PROGRAMS:
            self.assertTrue(os.access(self.program(name), os.X_OK), name)
        # pkg-config and CMake take their version from the header.
        with open(os.path.join(SOURCE_DIR, "include", "zelvan", "zelvanclient.h")) as header:
            version = re.search(r'#define ZELVANCLIENT_VERSION "(.*)"', header.read()).group(1)
        self.assertEqual(run(["pkg-config", "--modversion", "zelvanclient"], env=self.env).strip(), version)
        # A program linked against the shared library gets no OpenSSL on its link line.
        self.assertNotIn("ssl", run(["pkg-config", "--libs", "zelvanclient"], env=self.env))
        with open(os.path.join(self.libdir, "cmake", "zelvanclient", "zelvanclientConfigVersion.cmake")) as config:
            self.assertIn('set(PACKAGE_VERSION "%s")' % version, config.read())
        self.assertTrue(os.path.exists(os.path.join(self.libdir, "libzelvanclient.so." + version)))

    def test_each_installed_header_compiles_alone_and_completes_what_it_hands_out(self):
        flags = ["-std=c++17", "-fsyntax-only", "-Wall", "-Wextra", "-Werror", "-Wdelete-incomplete",
                 "-I" + os.path.join(self.prefix, "include")]
        for header in public_headers():
            with self.subTest(header=header):
                source = os.path.join(self.work, "alone_%s.cpp" % header[:-2])
                with open(source, "w") as out:
                    out.write("#include <zelvan/%s>\n%s\n" % (header, DELETES.get(header, "")))
                run([CXX, *flags, source])
        source = os.path.join(self.work, "alone_c.c")
        with open(source, "w") as out:
            out.write("#include <zelvan/zelvanclient.h>\n")
        run([CC, "-std=c99", "-pedantic", "-Wall", "-Wextra", "-Werror", "-fsyntax-only",
             "-I" + os.path.join(self.prefix, "include"), source])

    def test_c_program_built_through_pkg_config_runs_a_purchase(self):
        libdir = run(["pkg-config", "--variable=libdir", "zelvanclient"], env=self.env).strip()
        self.assertEqual(os.path.realpath(libdir), os.path.realpath(self.libdir))
        flags = run(["pkg-config", "--cflags", "--libs", "zelvanclient"], env=self.env).split()
        program = os.path.join(self.work, "purchase")
        run([CC, "-std=c99", "-Wall", "-Werror", *SANITIZE_FLAGS, "-o", program,
             os.path.join(EXAMPLES, "c", "purchase.c"), *flags], env=self.env)
        self.assertIn(self.libdir, run(["ldd", program], env=self.env))
        self.assertIn("approved: APPROVED", run([program, *self.gateway_args()], env=self.env))

    def test_installed_command_line_client_finds_its_library(self):
        # No LD_LIBRARY_PATH: the program's run path leads to the prefix.
        env = dict(self.env)
        env.pop("LD_LIBRARY_PATH")
        run([self.program("zelvan-txn"), "-s", "127.0.0.1", "-p", str(self.sim.port),
             "-c", self.certs.client_p12, "-a", self.certs.ca, "CLIENTID=10000001",
             "TRANSACTIONTYPE=PURCHASE", "CARDDATA=4111111111111111", "AMOUNT=1.00"], env=env)

    def test_cmake_project_built_through_find_package_runs_a_purchase(self):
        build = os.path.join(self.work, "example-cpp")
        flags = " ".join(SANITIZE_FLAGS)
        run([CMAKE, "-S", os.path.join(EXAMPLES, "cpp"), "-B", build, "-G", "Ninja",
             "-DCMAKE_PREFIX_PATH=" + self.prefix, "-DCMAKE_C_COMPILER=" + CC, "-DCMAKE_CXX_COMPILER=" + CXX,
             "-DCMAKE_C_FLAGS=" + flags, "-DCMAKE_CXX_FLAGS=" + flags, "-DCMAKE_EXE_LINKER_FLAGS=" + flags])
        with open(os.path.join(build, "CMakeCache.txt")) as cache:
            found = [line for line in cache if line.startswith("zelvanclient_DIR:")]
        self.assertEqual(found, ["zelvanclient_DIR:PATH=%s/cmake/zelvanclient\n" % self.libdir])
        run([CMAKE, "--build", build])
        self.assertIn("approved: APPROVED", run([os.path.join(build, "purchase_cpp"), *self.gateway_args()],
                                                env=self.env))

if __name__ == "__main__":
    unittest.main()
