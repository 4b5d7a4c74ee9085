"""What all tests of the package start from: its files, unpacked into a folder of their own."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

SOURCE = pathlib.Path(__file__).resolve().parents[2]


def output_of(*command, **options):
    """Standard output of a program that must succeed."""
    result = subprocess.run([str(part) for part in command], capture_output=True, text=True, check=False,
                            **options)
    if result.returncode != 0:
        raise AssertionError(f"{command} ended with {result.returncode}:\n{result.stdout}{result.stderr}")
    return result.stdout


class InstalledTest(unittest.TestCase):
    build = None  # set by the command line

    def setUp(self):
        packages = list((self.build / "package").glob("*.deb"))
        self.assertEqual(len(packages), 1, packages)
        self.package = packages[0]
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="bleedwise-package-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.root = self.folder / "root"
        output_of("dpkg-deb", "--extract", self.package, self.root)

    def installed(self, path):
        return self.root / "usr" / path

    def environment(self, **variables):
        """The installed program comes first on the search path; settings are not the user's."""
        return os.environ | {"PATH": f"{self.installed('bin')}:{os.environ['PATH']}",
                             "XDG_CONFIG_HOME": str(self.folder / "configuration"),
                             "TMPDIR": str(self.folder)} | variables
