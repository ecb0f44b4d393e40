"""How the binding finds libzelvanclient."""

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

    def test_unloadable_library_names_what_was_tried(self):
        missing = {_library.LIBRARY_VARIABLE: "/nonexistent/libzelvanclient.so"}
        with self.assertRaises(LibraryNotFoundError) as raised:
            _library.load(missing)
        self.assertIn("/nonexistent/libzelvanclient.so", str(raised.exception))
        self.assertIn(_library.LIBRARY_VARIABLE, str(raised.exception))

    def test_library_without_the_client_functions_is_refused(self):
        # libc loads fine but exports none of the client's functions.
        with self.assertRaises(LibraryNotFoundError) as raised:
            _library.load({_library.LIBRARY_VARIABLE: "libc.so.6"})
        self.assertIn("newBundle", str(raised.exception))


if __name__ == "__main__":
    unittest.main()
