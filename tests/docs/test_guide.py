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


def outcome_values():
    """The ZELVAN_OUTCOME_* names of the C header with their values."""
    header = read("include/zelvan/zelvanclient.h")
    return {name: int(value) for name, value in re.findall(r"(ZELVAN_OUTCOME_\w+) = (\d+)", header)}


def section(guide, number):
    start = guide.index("## %d. " % number)
    return guide[start:guide.index("## %d. " % (number + 1), start)]


def table_rows(text):
    """The body rows of the markdown tables in text, as lists of cells."""
    rows = [line.strip("|").split(" | ") for line in text.splitlines() if line.startswith("| ")]
    return [[cell.strip() for cell in row] for row in rows if not row[0].strip().startswith(("Outcome", "`ERROR`"))]


class GuideTest(unittest.TestCase):
    """Every exported function, and section 5's table from outcome to what the
    merchant does, against the header; section 6 gives every ERROR text of
    the library its outcome."""

    @classmethod
    def setUpClass(cls):
        cls.guide = read("docs/guide.md")
        cls.rows = {row[0].strip("`"): row for row in table_rows(section(cls.guide, 5))}

    def test_every_exported_function_is_documented(self):
        functions = exported_functions()
        self.assertGreaterEqual(len(functions), 13)
        missing = [name for name in functions if not re.search(r"`[^`]*\b%s\(" % name, self.guide)]
        self.assertEqual(missing, [], "functions without a signature in docs/guide.md")

    def test_one_row_per_outcome_with_the_header_value(self):
        values = outcome_values()
        self.assertEqual(len(values), 5)
        self.assertEqual(sorted(self.rows), sorted(values))
        self.assertEqual({name: int(row[1]) for name, row in self.rows.items()}, values)

    def test_rows_give_each_outcome_its_rule(self):
        # A final decision needs a completed exchange with RESULT and no ERROR;
        # everything else splits on whether the gateway opened the transaction
        # (a TXNREFERENCE). The transaction cases check the code's side.
        when = {name: row[2] for name, row in self.rows.items()}
        for decided in ("ZELVAN_OUTCOME_APPROVED", "ZELVAN_OUTCOME_DECLINED"):
            self.assertIn("no `ERROR`", when[decided])
            self.assertIn("`RESULT`", when[decided])
        self.assertIn("no `TXNREFERENCE`", when["ZELVAN_OUTCOME_NO_DECISION"])
        self.assertIn("a `TXNREFERENCE` was given", when["ZELVAN_OUTCOME_UNKNOWN"])
        self.assertIn("without `RESULT`", when["ZELVAN_OUTCOME_UNKNOWN"])
        # Only no decision may be run again; only unknown may have charged unseen.
        again = {name: row[4] for name, row in self.rows.items()}
        self.assertEqual(again["ZELVAN_OUTCOME_NO_DECISION"], "yes")
        self.assertEqual(again["ZELVAN_OUTCOME_UNKNOWN"], "**never**")
        self.assertEqual(self.rows["ZELVAN_OUTCOME_UNKNOWN"][3], "maybe")

    def test_error_sections_give_every_text_an_outcome_and_defer_to_section_5(self):
        outcomes = ("no decision", "unknown")
        rows = table_rows(section(self.guide, 6))
        self.assertGreaterEqual(len(rows), 20)
        for row in rows:
            outcome = row[2] if len(row) == 4 else row[1]
            self.assertTrue(outcome.startswith(outcomes), row[0])
        documented = " ".join(row[0] for row in rows)
        texts = error_texts()
        self.assertGreaterEqual(len(texts), 17)
        self.assertEqual(sorted(t for t in texts if "`%s`" % t not in documented), [], "ERROR texts missing")
        for number in (6, 7):
            self.assertIn("(section 5)", section(self.guide, number))
        # The reading the issue was about: a gateway ERROR after a status check.
        self.assertRegex(section(self.guide, 7), r"`TRANSACTIONTYPE` reads `STATUS`\),\s+\*\*and the outcome is unknown")
        self.assertNotIn("Nothing was decided", self.guide)


if __name__ == "__main__":
    unittest.main()
