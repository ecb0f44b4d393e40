"""Every package names the same version and licence.

The package version is defined once, as ZELVANCLIENT_VERSION in
zelvanclient.h, and the licence once, as ZV_LICENSE in CMakeLists.txt
(LICENSE holds its text); the build passes both in ZV_VERSION and
ZV_LICENSE. The Debian packages and the C tarball take them from the build.
The metadata files of the language packages must carry them as their
ecosystems read them from the source tree, so they hold copies, and this
test fails when a copy differs. Composer takes a package's version from
the repository's tag, so composer.json names none; make dist writes the
version into the copy in its Composer artifact.
"""

import json
import os
import re
import unittest
import xml.etree.ElementTree as ElementTree

SOURCE_DIR = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
VERSION = os.environ["ZV_VERSION"]
LICENSE = os.environ["ZV_LICENSE"]


def read(path):
    with open(os.path.join(SOURCE_DIR, path), encoding="utf-8") as f:
        return f.read()


class PackageMetadataTest(unittest.TestCase):
    def test_license_file_holds_the_named_licence(self):
        self.assertEqual(LICENSE, "Apache-2.0")
        self.assertRegex(read("LICENSE"), r"^\s*Apache License\s+Version 2\.0")

    def test_python_package(self):
        pyproject = read("bindings/python/pyproject.toml")
        self.assertIn('license = {text = "%s"}' % LICENSE, pyproject)
        self.assertRegex(read("bindings/python/zelvan/_version.py"),
                         r'\n__version__ = "%s"\n' % re.escape(VERSION))

    def test_node_package_and_its_lock(self):
        package = json.loads(read("bindings/node/package.json"))
        lock = json.loads(read("bindings/node/package-lock.json"))
        root = lock["packages"][""]
        self.assertEqual((package["version"], package["license"]), (VERSION, LICENSE))
        self.assertEqual((lock["version"], root["version"], root["license"]), (VERSION, VERSION, LICENSE))

    def test_composer_package(self):
        composer = json.loads(read("bindings/php/composer.json"))
        self.assertEqual(composer["license"], LICENSE)
        self.assertNotIn("version", composer)

    def test_install_commands_name_the_package_version(self):
        for readme in ("README.md", "bindings/python/README.md", "bindings/node/README.md",
                       "bindings/php/README.md", "bindings/java/README.md", "bindings/go/README.md"):
            block = re.search(r"^# Offline install from make dist's files in \$DIST\n.*?^```", read(readme),
                              re.M | re.S)
            self.assertIsNotNone(block, readme)
            self.assertEqual(set(re.findall(r"\d+\.\d+\.\d+", block.group(0))) - {VERSION}, set(), readme)

    def test_maven_artifact_has_the_package_version_not_the_protocol_version(self):
        ns = {"m": "http://maven.apache.org/POM/4.0.0"}
        pom = ElementTree.fromstring(read("bindings/java/pom.xml"))
        self.assertEqual(pom.find("m:version", ns).text, VERSION)
        self.assertEqual([name.text for name in pom.findall("m:licenses/m:license/m:name", ns)], [LICENSE])


if __name__ == "__main__":
    unittest.main()
