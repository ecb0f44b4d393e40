"""The application developer's guide keeps up with the code: it documents
every exported function and every ERROR text that the library stores."""

import glob
import os
import re
import unittest

SOURCE_DIR = os.environ["ZV_SOURCE_DIR"]


def read(path):
    with open(os.path.join(SOURCE_DIR, path), encoding="utf-8") as f:
        return f.read()


def exported_functions():
    """The names of the functions that zelvanclient.h declares."""
    header = read("include/zelvan/zelvanclient.h")
    return re.findall(r"^[A-Za-z][\w ]*?\**\s*\**(\w+)\([^)]*\);", header, re.M)


def error_texts():
    """The ERROR texts that the library stores: its upper-case sentences, and
    the one exception text stored with put("ERROR", ...) directly."""
    texts = set()
    for path in glob.glob(os.path.join(SOURCE_DIR, "src", "client", "*.cpp")):
        with open(path, encoding="utf-8") as f:
            source = f.read()
        texts |= {t for t in re.findall(r'"([A-Z][A-Z0-9 .\-]*[A-Z.])"', source) if " " in t}
        texts |= set(re.findall(r'put\("ERROR",\s*"([^"]+)"', source))
    return texts


class GuideTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.guide = read("docs/guide.md")

    def test_every_exported_function_is_documented(self):
        functions = exported_functions()
        self.assertGreaterEqual(len(functions), 13)
        missing = [name for name in functions if not re.search(r"`[^`]*\b%s\(" % name, self.guide)]
        self.assertEqual(missing, [], "functions without a signature in docs/guide.md")

    def test_every_error_text_of_the_library_is_documented(self):
        texts = error_texts()
        self.assertGreaterEqual(len(texts), 17)
        missing = sorted(t for t in texts if "`%s`" % t not in self.guide)
        self.assertEqual(missing, [], "ERROR texts missing from docs/guide.md")


if __name__ == "__main__":
    unittest.main()
