"""The commands of docs/many-files.md, run as they are written there on a handful of files."""

import re
import shutil
import subprocess

from installation import SOURCE, InstalledTest

GUIDE = (SOURCE / "docs/many-files.md").read_text()
NAMES = ["flyer 85x55mm+3.pdf", "it's 148,5x55mm.pdf", "-a $(b) 55x85mm+2.5.pdf", "LEAFLET 85x55mm.PDF"]

# Runs the command on this machine, in a home folder of the host's own.
SSH = """#!/bin/sh
while [ "${1#-}" != "$1" ]; do
    case $1 in -[loSpi]) shift ;; esac
    shift
done
home=$HOSTS/$1
shift
[ "$1" != -- ] || shift
mkdir -p "$home" && cd "$home" && HOME=$home exec sh -c "$*"
"""


def commands(heading):
    """The commands below a heading of the guide, as one text each."""
    section = re.search(rf"^## {heading}\n(.*?)(?=^## |\Z)", GUIDE, re.M | re.S)[1]
    return re.findall(r"^```sh\n(.*?)^```", section, re.M | re.S)


class ManyFilesTest(InstalledTest):
    def setUp(self):
        super().setUp()
        (self.folder / "artwork").mkdir()
        for name in NAMES:
            self.add(name)
        self.assertEqual(self.run_command(commands("The size in the name")[0]).returncode, 0)

    def add(self, name):
        shutil.copy(SOURCE / "samples/business card 85x55mm+3.pdf", self.folder / "artwork" / name)

    def add_damaged(self, name):
        (self.folder / "artwork" / name).write_text("no PDF")

    def run_command(self, command, **variables):
        return subprocess.run(["sh", "-c", command], cwd=self.folder, capture_output=True, text=True, check=False,
                              env=self.environment(SHELL="/bin/sh", HOME=str(self.folder), **variables))

    def run_night(self, heading="One night", number=0, **variables):
        return self.run_command(commands(heading)[number], **variables)

    def finished(self):
        return sorted(path.name for path in (self.folder / "finished").iterdir())

    def trim_box(self, name):
        boxes = subprocess.run(["pdfinfo", "-box", self.folder / "finished" / name], capture_output=True,
                               text=True, check=True).stdout
        return re.search(r"TrimBox: *(.*)", boxes)[1].split()

    def log(self, name="night.log"):
        lines = [line.split("\t") for line in (self.folder / name).read_text().splitlines()[1:]]
        return [(line[1], int(line[6])) for line in lines]

    def testConvertsEveryFile(self):
        night = self.run_night()
        self.assertEqual(night.returncode, 0, night.stderr)
        self.assertEqual(self.finished(), sorted(NAMES))

    def testTakesTheSizeFromTheName(self):
        self.run_night()
        boxes = {name: self.trim_box(name) for name in NAMES}
        self.assertEqual(boxes, {
            "flyer 85x55mm+3.pdf": ["8.50", "8.50", "249.45", "164.41"],
            "it's 148,5x55mm.pdf": ["8.50", "8.50", "429.45", "164.41"],
            "-a $(b) 55x85mm+2.5.pdf": ["7.09", "7.09", "162.99", "248.03"],
            "LEAFLET 85x55mm.PDF": ["8.50", "8.50", "249.45", "164.41"]})

    def testCountsTheFilesThatFail(self):
        self.add("without a size.pdf")
        self.add_damaged("damaged 85x55mm.pdf")
        self.assertEqual(self.run_night().returncode, 2)
        self.assertEqual(self.finished(), sorted(NAMES))

    def testSaysWhatFailedAndWhy(self):
        self.add("without a size.pdf")
        self.add_damaged("damaged 85x55mm.pdf")
        self.run_night()
        statuses = [line.split("\t")[0] for line in self.run_night("What failed").stdout.splitlines()]
        self.assertEqual(sorted(statuses), ["1", "2"])
        reasons = self.run_night("What failed", 1).stdout
        self.assertIn("ERROR: artwork/without a size.pdf has no size in its name", reasons)
        self.assertRegex(reasons, "artwork/damaged 85x55mm.pdf.*ERROR: ")

    def testTakesUpWhatWasNotBegun(self):
        self.run_night()
        log = (self.folder / "night.log").read_text().splitlines(keepends=True)
        (self.folder / "night.log").write_text("".join(log[:-1]))
        shutil.rmtree(self.folder / "finished")
        (self.folder / "finished").mkdir()
        again = self.run_night("Going on")
        self.assertEqual(again.returncode, 0, again.stderr)
        self.assertEqual(len(self.finished()), 1)

    def testTakesUpWhatFailed(self):
        self.add_damaged("mended 85x55mm.pdf")
        self.run_night()
        self.add("mended 85x55mm.pdf")
        shutil.rmtree(self.folder / "finished")
        (self.folder / "finished").mkdir()
        again = self.run_night("Going on", 1)
        self.assertEqual(again.returncode, 0, again.stderr)
        self.assertEqual(self.finished(), ["mended 85x55mm.pdf"])

    def testSharesTheWorkWithOtherMachines(self):
        for number in range(9):
            self.add(f"more {number} 85x55mm+3.pdf")
        (self.folder / "bin").mkdir()
        (self.folder / "bin/ssh").write_text(SSH)
        (self.folder / "bin/ssh").chmod(0o755)
        self.run_night()  # writes files.txt
        shutil.rmtree(self.folder / "finished")
        (self.folder / "finished").mkdir()
        path = f"{self.folder / 'bin'}:{self.environment()['PATH']}"
        night = self.run_night("Several machines", PATH=path, HOSTS=str(self.folder / "hosts"))
        self.assertEqual(night.returncode, 0, night.stderr)
        self.assertEqual(len(self.finished()), len(NAMES) + 9)
        self.assertEqual({host for host, _ in self.log("hosts.log")}, {":", "press1", "press2"})
        left = [path for path in (self.folder / "hosts").rglob("*.pdf")]
        self.assertEqual(left, [])
