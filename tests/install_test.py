#!/usr/bin/env python3
"""Installs the build into a folder of its own and uses it from there.

Usage: install_test.py CMAKE BUILD VERSION
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

CMAKE, BUILD, VERSION = sys.argv[1:4]
SOURCE = pathlib.Path(__file__).resolve().parent.parent
APPLETS = ["hdiutil", "newfs_hfs", "diskutil", "mount", "umount", "mdutil", "purge"]
LANGUAGES = ["de", "en", "es", "fr", "ja"]
TABLES = ["Localizable", "QVFunctions", "QVRamDiskLocalizable"]
SIZES = [16, 22, 24, 32, 48, 64, 128, 256]


def target_exists(program):
    return any((pathlib.Path(BUILD) / folder / program).exists()
               for folder in ("bin", "libexec/tarnvale"))


def expected_files():
    yield from ["bin/tarnvale", "bin/tarnvale-helper", "libexec/tarnvale/tarnvale-disktools"]
    for program in ("bin/tarnvale-settings", "libexec/tarnvale/tarnvale-tray"):
        if target_exists(pathlib.Path(program).name):
            yield program
    yield from (f"libexec/tarnvale/{applet}" for applet in APPLETS)
    for language in LANGUAGES:
        yield from (f"share/tarnvale/{language}.lproj/{table}.strings" for table in TABLES)
    for picture in (SOURCE / "resources/pictures").glob("*.svg"):
        yield f"share/tarnvale/images/{picture.stem}.png"
        yield f"share/tarnvale/images/{picture.stem}@2x.png"
    icon = "apps/com.tarnvale.Tarnvale"
    yield from (f"share/icons/hicolor/{size}x{size}/{icon}.png" for size in SIZES)
    yield f"share/icons/hicolor/scalable/{icon}.svg"
    yield from (f"share/man/man1/{page.name}" for page in (SOURCE / "packaging/man").iterdir())
    for entry in (SOURCE / "packaging").rglob("*.desktop"):
        yield f"share/applications/{entry.name}"
    yield from ["share/bash-completion/completions/tarnvale", "share/zsh/site-functions/_tarnvale",
                "share/fish/vendor_completions.d/tarnvale.fish",
                "lib/systemd/user/tarnvale-helper.service"]


def png_size(path):
    header = path.read_bytes()[:24]
    assert header.startswith(b"\x89PNG\r\n"), path
    return int.from_bytes(header[16:20], "big"), int.from_bytes(header[20:24], "big")


class Installed(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scratch = tempfile.TemporaryDirectory()
        cls.prefix = pathlib.Path(cls.scratch.name) / "a place"
        subprocess.run([CMAKE, "--install", BUILD, "--prefix", str(cls.prefix)], check=True,
                       stdout=subprocess.DEVNULL)

    @classmethod
    def tearDownClass(cls):
        cls.scratch.cleanup()

    def run_program(self, *command, language="C"):
        """What it says, in an environment that knows nothing of the build."""
        home = pathlib.Path(self.scratch.name) / "home"
        home.mkdir(exist_ok=True)
        return subprocess.run([str(self.prefix / command[0]), *command[1:]], text=True, timeout=60,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, cwd=home,
                              env={"HOME": str(home), "PATH": "/usr/bin:/bin", "LC_ALL": language})

    def assert_says(self, text, *command, **options):
        done = self.run_program(*command, **options)
        self.assertEqual(done.returncode, 0, done.stdout)
        self.assertIn(text, done.stdout)

    def test_every_file_is_in_its_place_and_nothing_else(self):
        found = {path.relative_to(self.prefix).as_posix() for path in self.prefix.rglob("*")
                 if path.is_symlink() or path.is_file()}
        self.assertEqual(found, set(expected_files()))

    def test_programs_run_with_what_they_were_installed_with(self):
        self.assert_says(f"tarnvale {VERSION}", "bin/tarnvale", "--version")
        self.assert_says(f"tarnvale-helper {VERSION}", "bin/tarnvale-helper", "--version")
        self.assert_says("firefox", "bin/tarnvale", "kinds")
        self.assert_says("<plist", "libexec/tarnvale/hdiutil", "info", "-plist")

    def test_texts_are_found_in_the_language_of_the_session(self):
        refusals = {"C": "The mount directory can not be a system directory.",
                    "fr_CA.UTF-8": "Le dossier de montage ne peut pas être un dossier système."}
        for language, refusal in refusals.items():
            done = self.run_program("bin/tarnvale", "add", "/etc", language=language)
            self.assertNotEqual(done.returncode, 0)
            self.assertIn(refusal.rstrip("."), done.stdout)

    def test_nothing_points_out_of_the_prefix(self):
        for path in self.prefix.rglob("*"):
            if path.is_symlink():
                self.assertEqual(path.resolve().parent, path.parent.resolve(), path)
        for program in (self.prefix / "bin").iterdir():
            self.assertNotIn(os.fsencode(SOURCE / "resources"), program.read_bytes(), program)

    def test_the_unit_starts_the_installed_helper(self):
        unit = (self.prefix / "lib/systemd/user/tarnvale-helper.service").read_text()
        started = re.search(r'^ExecStart="?([^"\n]*?)"? --service$', unit, re.MULTILINE)[1]
        self.assertTrue(os.access(started, os.X_OK), started)
        self.assertEqual(unit.count("\n"), (SOURCE / "packaging/systemd/tarnvale-helper.service")
                         .read_text().count("\n"))

    def test_pictures_have_the_sizes_of_their_names(self):
        images = self.prefix / "share/tarnvale/images"
        for double in images.glob("*@2x.png"):
            width, height = png_size(images / double.name.replace("@2x", ""))
            self.assertEqual(width, height)
            self.assertEqual(png_size(double), (2 * width, 2 * height), double)
            points = re.search(r"_(\d+)@", double.name)
            self.assertEqual(width, int(points[1]) if points else width, double)
        for icon in (self.prefix / "share/icons/hicolor").glob("*x*/apps/*.png"):
            size = int(icon.parts[-3].split("x")[0])
            self.assertEqual(png_size(icon), (size, size), icon)

    @unittest.skipUnless(shutil.which("desktop-file-validate"), "no validator here")
    def test_desktop_entries_are_valid(self):
        for entry in (self.prefix / "share/applications").glob("*"):
            subprocess.run(["desktop-file-validate", str(entry)], check=True)


unittest.main(argv=sys.argv[:1])
