"""The manual pages render without warnings and keep up with the code:
zelvanclient(3) documents every exported function, every bundle field of
the guide and every ERROR text of the library."""

import glob
import os
import re
import subprocess
import unittest

from test_guide import SOURCE_DIR, error_texts, exported_functions, read

PAGES = ["zelvan-txn.1", "zelvan-gateway-sim.1", "zelvan-certgen.1", "zelvan-session-key.1", "zelvanclient.3"]


def plain(troff):
    """The page's source without font changes and escapes, so that texts
    can be looked for as they read."""
    text = re.sub(r"\\f[BIRP]", "", troff).replace("\\-", "-").replace("\\&", "").replace("\\(dq", '"')
    return re.sub(r"\s+", " ", text)


class ManPageTest(unittest.TestCase):
    def test_every_page_renders_without_warnings(self):
        found = sorted(os.path.basename(p) for p in glob.glob(os.path.join(SOURCE_DIR, "docs", "man", "*.[13]")))
        self.assertEqual(found, sorted(PAGES))
        env = dict(os.environ, MANWIDTH="80", LC_ALL="C.UTF-8")
        for page in PAGES:
            done = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-l", "-P", "cat",
                                   os.path.join(SOURCE_DIR, "docs", "man", page)],
                                  stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, env=env)
            self.assertEqual((done.returncode, done.stderr), (0, ""), page)
            self.assertIn("NAME", done.stdout)

    def test_pages_carry_the_package_version(self):
        version = re.search(r'#define ZELVANCLIENT_VERSION "(.*)"', read("include/zelvan/zelvanclient.h")).group(1)
        for page in PAGES:
            self.assertIn('"libzelvanclient %s"' % version, read("docs/man/" + page).splitlines()[0], page)

    def test_library_page_covers_functions_fields_and_errors(self):
        page = plain(read("docs/man/zelvanclient.3"))
        missing = [name for name in exported_functions() if not re.search(r"\b%s\(" % name, page)]
        self.assertEqual(missing, [], "functions missing from zelvanclient(3)")
        self.assertEqual(sorted(t for t in error_texts() if t not in page), [],
                         "ERROR texts missing from zelvanclient(3)")
        guide = read("docs/guide.md")
        fields_section = guide[guide.index("## 4. Bundle fields"):guide.index("## 5. ")]
        fields = set(re.findall(r"^\| `([A-Z_][A-Z0-9_]*)`", fields_section, re.M))
        self.assertGreaterEqual(len(fields), 20)
        self.assertEqual(sorted(f for f in fields if not re.search(r"\b%s\b" % f, page)), [],
                         "bundle fields missing from zelvanclient(3)")


if __name__ == "__main__":
    unittest.main()
