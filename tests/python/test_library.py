"""How the binding finds libzelvanclient, and what it says when it cannot."""

import os
import tempfile
import unittest

from zelvan import LibraryNotFoundError, _library


class LibraryLocationTest(unittest.TestCase):
    def test_environment_variable_then_package_directory_then_loader_path(self):
        with tempfile.TemporaryDirectory() as package:
            self.assertEqual(_library.candidates({}, package)[0], _library.SONAME)
            beside = os.path.join(package, "libzelvanclient.so.1")
            open(beside, "w").close()
            self.assertEqual(_library.candidates({}, package)[:2], [beside, _library.SONAME])
            named = {_library.LIBRARY_VARIABLE: "/opt/zelvan/lib/libzelvanclient.so"}
            self.assertEqual(_library.candidates(named, package), ["/opt/zelvan/lib/libzelvanclient.so"])

    def test_a_missing_library_or_one_without_the_client_functions_is_refused(self):
        # libc loads fine but exports none of the client's functions.
        for name, shown in [("/nonexistent/libzelvanclient.so", ["/nonexistent/libzelvanclient.so",
                                                                  _library.LIBRARY_VARIABLE]),
                            ("libc.so.6", ["newBundle"])]:
            with self.assertRaises(LibraryNotFoundError) as raised:
                _library.load({_library.LIBRARY_VARIABLE: name})
            for text in shown:
                self.assertIn(text, str(raised.exception))


if __name__ == "__main__":
    unittest.main()
