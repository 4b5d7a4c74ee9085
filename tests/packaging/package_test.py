"""The Debian package: what is in it, and that the tools that judge packages are content."""

import gzip
import io
import json
import os
import pathlib
import re
import subprocess
import tarfile
import xml.etree.ElementTree

from installation import SOURCE, InstalledTest, output_of

APPLICATION = "app.bleedwise.Bleedwise"
ICON_SIZES = [16, 22, 24, 32, 48, 64, 128, 256, 512]
FILES = {
    "bin/bleedwise",
    "lib/bleedwise/bleedwise-desktop.so",
    "lib/bleedwise/bleedwise-renderer",
    "lib/bleedwise/bleedwise-updater.so",
    "lib/bleedwise/stand-ins/libnspr4.so",
    "lib/bleedwise/stand-ins/libnss3.so",
    "lib/bleedwise/stand-ins/libplc4.so",
    "lib/bleedwise/stand-ins/libsmime3.so",
    "lib/bleedwise/stand-ins/libtiff.so.6",
    f"share/applications/{APPLICATION}.desktop",
    "share/bash-completion/completions/bleedwise",
    "share/bleedwise/ISOcoated_v2_eci.LICENSE.txt",
    "share/bleedwise/ISOcoated_v2_eci.icc",
    "share/bleedwise/ISOcoated_v2_eci.icc.zlib",
    "share/bleedwise/Info.json",
    "share/doc/bleedwise/changelog.gz",
    "share/doc/bleedwise/copyright",
    "share/doc/bleedwise/many-files.md",
    f"share/icons/hicolor/scalable/apps/{APPLICATION}.svg",
    "share/man/man1/bleedwise.1.gz",
    f"share/metainfo/{APPLICATION}.metainfo.xml",
    "share/zsh/vendor-completions/_bleedwise",
} | {f"share/icons/hicolor/{size}x{size}/apps/{APPLICATION}.png" for size in ICON_SIZES}
OPTIONS = {"--convert", "--width", "--height", "--bleed", "--trim-only", "--no-ghostscript", "--output"}
SAMPLE = SOURCE / "samples/poster 105x148mm+3.pdf"


def options_in(text):
    return set(re.findall(r"--[a-z][a-z-]+", text))


class PackageTest(InstalledTest):
    def field(self, name):
        return output_of("dpkg-deb", "--field", self.package, name).strip()

    def built_again(self):
        """The path of another package of the same build."""
        return output_of(SOURCE / "packaging/build-package", self.build, self.folder / "again").strip()

    def completions(self, *words):
        """What bash offers for the last word."""
        script = """. /usr/share/bash-completion/bash_completion && . "$1" && shift
            COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); COMP_LINE="$*"; COMP_POINT=${#COMP_LINE}
            _bleedwise "$1" "${@: -1}" "${@: -2:1}" && printf '%s\\n' "${COMPREPLY[@]}" """
        said = output_of("bash", "--norc", "-c", script, "bash",
                         self.installed("share/bash-completion/completions/bleedwise"), "bleedwise", *words,
                         cwd=self.folder)
        return set(said.split())

    def testHasTheseFilesAndNoOthers(self):
        found = {str(path.relative_to(self.installed(""))) for path in self.root.rglob("*")
                 if not path.is_dir()}
        self.assertEqual(found, FILES)

    def testBelongsToRootAndIsWrittenByNobodyElse(self):
        for line in output_of("dpkg-deb", "--contents", self.package).splitlines():
            self.assertRegex(line, r"^[-d]rw.r-.r-. root/root ")

    def testSatisfiesLintian(self):
        said = output_of("lintian", "--allow-root", "--fail-on", "error,warning", self.package)
        self.assertEqual(said, "")

    def testHasAValidDesktopEntry(self):
        said = output_of("desktop-file-validate", self.installed(f"share/applications/{APPLICATION}.desktop"))
        self.assertEqual(said, "")

    def testHasValidMetadata(self):
        output_of("appstreamcli", "validate", "--no-net",
                  self.installed(f"share/metainfo/{APPLICATION}.metainfo.xml"))

    def testSaysTheSameVersionEverywhere(self):
        metadata = xml.etree.ElementTree.parse(
            self.installed(f"share/metainfo/{APPLICATION}.metainfo.xml"))
        manual = gzip.open(self.installed("share/man/man1/bleedwise.1.gz"), "rt").read()
        versions = {
            "package": self.field("Version"),
            "project": re.search(r"project\(Bleedwise VERSION (\S+)",
                                 (SOURCE / "CMakeLists.txt").read_text())[1],
            "Info.json": json.loads(self.installed("share/bleedwise/Info.json").read_text())["version"],
            "metadata": metadata.find("releases/release").get("version"),
            "manual": re.search(r'"Bleedwise (\S+)"', manual)[1],
            "CHANGELOG.md": re.search(r"^## (\S+)", (SOURCE / "CHANGELOG.md").read_text(), re.M)[1],
        }
        self.assertEqual(set(versions.values()), {self.field("Version")}, versions)

    def testConfiguresNoUpdates(self):
        information = json.loads(self.installed("share/bleedwise/Info.json").read_text())
        self.assertEqual([key for key in information if key.startswith("SU")], [])

    def testNeedsWhatTheListOfPackagesSays(self):
        listed = (SOURCE / "packaging/debian-packages.txt").read_text()
        run = re.search(r"^\[run\]\n(.*?)\n\n", listed, re.M | re.S)[1].split()
        needed = {name.split()[0] for name in self.field("Depends").split(", ")}
        self.assertLessEqual(set(run), needed)

    def testOffersNoLibrariesToOthers(self):
        control = subprocess.run(["dpkg-deb", "--ctrl-tarfile", self.package], stdout=subprocess.PIPE,
                                 check=True).stdout
        with tarfile.open(fileobj=io.BytesIO(control)) as archive:
            self.assertEqual(set(archive.getnames()), {".", "./control", "./md5sums"})

    def testHasIconsOfTheirSizes(self):
        for size in ICON_SIZES:
            with self.subTest(size):
                icon = self.installed(f"share/icons/hicolor/{size}x{size}/apps/{APPLICATION}.png")
                self.assertEqual(output_of("identify", "-format", "%w %h", icon), f"{size} {size}")

    def testKnowsNoFolderOfTheMachineThatBuiltIt(self):
        for file in self.root.rglob("*"):
            if file.is_file():
                self.assertNotIn(str(SOURCE).encode(), file.read_bytes(), file)

    def testIsTheSameWhenBuiltAgain(self):
        self.assertEqual(pathlib.Path(self.built_again()).read_bytes(), self.package.read_bytes())

    def testDatesEveryEntryByTheChangelog(self):
        os.utime(self.build / "packaging/Info.json", (0, 0))  # older than any release
        package = self.built_again()
        released = output_of("dpkg-parsechangelog", "--file", SOURCE / "packaging/debian/changelog",
                             "--show-field", "Timestamp").strip()
        for part in ["--ctrl-tarfile", "--fsys-tarfile"]:
            packed = subprocess.run(["dpkg-deb", part, package], capture_output=True, check=True).stdout
            with tarfile.open(fileobj=io.BytesIO(packed)) as archive:
                for entry in archive:
                    with self.subTest(entry.name):
                        self.assertEqual(entry.mtime, int(released))

    def testConverts(self):
        roads = {"Raster": ["--no-ghostscript"], "Native": []}
        for road, options in roads.items():
            with self.subTest(road):
                result = self.folder / f"{road}.pdf"
                said = output_of("bleedwise", "--convert", SAMPLE, "--width", "105", "--height", "148",
                                 "--output", result, *options, env=self.environment())
                self.assertEqual(said.splitlines()[-1], f"Output: {result}")

    def testConvertsWhenStartedThroughALink(self):
        link = self.folder / "link"
        link.symlink_to(self.installed("bin/bleedwise"))
        output_of(link, "--convert", SAMPLE, "--width", "105", "--height", "148", "--no-ghostscript",
                  "--output", self.folder / "result.pdf", env=self.environment())

    def testFindsItsWindow(self):
        result = subprocess.run(["bleedwise"], capture_output=True, text=True, check=False,
                                env=self.environment(QT_QPA_PLATFORM="none"))
        self.assertIn('platform plugin "none"', result.stderr)  # got as far as to look for a display

    def testDescribesEveryOptionInTheManual(self):
        manual = output_of("man", "--local-file", self.installed("share/man/man1/bleedwise.1.gz"),
                           env=self.environment(MANWIDTH="200", LC_ALL="C.UTF-8"))
        self.assertEqual(options_in(manual.replace("\u2010", "-")), OPTIONS)

    def testCompletesOptionsInBash(self):
        self.assertEqual(self.completions("--"), OPTIONS)

    def testCompletesPDFsInBash(self):
        for name in ["art.pdf", "ART.PDF", "text.odt"]:
            (self.folder / name).touch()
        self.assertEqual(self.completions("--convert", "a") | self.completions("--convert", "A"),
                         {"art.pdf", "ART.PDF"})

    def testCompletesOptionsInZsh(self):
        script = """
            zmodload zsh/zpty
            zpty shell zsh -f -i
            zpty -w shell "PS1=; fpath=(${(q)1} \\$fpath); autoload -U compinit; compinit -u -D; \\
                zstyle ':completion:*' list-grouped false; LISTMAX=0; print READY"
            zpty -r shell line '*READY*READY*'
            zpty -w -n shell $'bleedwise --\\t\\t'
            zpty -r shell line '*--width*'
            print -r -- $line
        """
        said = output_of("zsh", "-f", "-c", script, "zsh", self.installed("share/zsh/vendor-completions"),
                         timeout=60, env=self.environment(COLUMNS="200", LINES="50", TERM="dumb",
                                                          HOME=str(self.folder)))
        self.assertEqual(options_in(said), OPTIONS)
