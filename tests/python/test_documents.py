# SPDX-License-Identifier: GPL-3.0-or-later
"""The examples run, the types hold, the stubs tell what is there."""
import doctest
import importlib
import os
import pkgutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import orphia
from rig import EXAMPLES

PACKAGE = Path(orphia.__file__).parent


class DocumentsTest(unittest.TestCase):
    def test_examples_give_what_they_show(self):
        attempted = 0
        for module in pkgutil.walk_packages(orphia.__path__, "orphia."):
            if module.name.endswith(("__main__", "._core", ".liborphia_vx")):
                continue
            result = doctest.testmod(importlib.import_module(module.name))
            self.assertEqual(result.failed, 0, module.name)
            attempted += result.attempted
        self.assertEqual(doctest.testmod(orphia).failed, 0)
        self.assertGreater(attempted, 15)

    def test_the_document_tells_what_is_so(self):
        document = EXAMPLES.parent / "docs" / "python.md"
        self.addCleanup(os.chdir, os.getcwd())
        with tempfile.TemporaryDirectory() as folder:
            os.chdir(folder)
            os.symlink(EXAMPLES, "examples")
            self.assertEqual(doctest.testfile(str(document), module_relative=False).failed, 0)
            os.chdir("/")

    def test_types_hold(self):
        try:
            import mypy  # noqa: F401
        except ImportError:
            self.skipTest("mypy is not installed")
        with tempfile.TemporaryDirectory() as cache:
            environment = {**os.environ, "MYPYPATH": str(PACKAGE.parent), "MYPY_CACHE_DIR": cache}
            environment.pop("PYTHONPATH")
            config = Path(cache) / "mypy.ini"
            config.write_text("[mypy]\nstrict = True\nignore_missing_imports = True\nwarn_return_any = False\n"
                              "disallow_untyped_calls = False\nfollow_imports_for_stubs = False\n")
            checked = subprocess.run([sys.executable, "-m", "mypy", "--config-file", config, "-p", "orphia"], cwd=cache,
                                     env=environment, capture_output=True, text=True, check=False)
            self.assertEqual(checked.returncode, 0, checked.stdout + checked.stderr)
            # Of what pybind11 makes of every class the stub says nothing.
            allowed = Path(cache) / "allowed"
            allowed.write_text(r"orphia\.native\._core\.[A-Z]\w*(\.__init__)?" + "\n")
            environment["PYTHONPATH"] = str(PACKAGE.parent)
            checked = subprocess.run([sys.executable, "-m", "mypy.stubtest", "orphia.native._core",
                                      "--ignore-missing-stub", "--allowlist", allowed,
                                      "--ignore-unused-allowlist", "--mypy-config-file", config], cwd=cache,
                                     env=environment, capture_output=True, text=True, check=False)
            self.assertEqual(checked.returncode, 0, checked.stdout + checked.stderr)


if __name__ == "__main__":
    unittest.main()
