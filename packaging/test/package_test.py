#!/usr/bin/env python3
"""package_test.py BUILD PREFIX VERSION: packs what was built, twice, into BUILD/packaging and looks at the packages."""
import hashlib
import os
import re
import sys
import time
import unittest
import zipfile

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(ROOT, "packaging"))
sys.dont_write_bytecode = True
import components  # noqa: E402
import link_map  # noqa: E402
import make_package  # noqa: E402

EPOCH = 1700000001
EPOCH_IN_ZIP = (2023, 11, 14, 22, 13, 20)
MAP = """Archive member included to satisfy reference by file (symbol)

velgui/libvelgui.a(vel_gui.cpp.obj)
                              app/main.cpp.obj (vel_gui_init)
/prefix/lib/libglib-2.0.a(gmem.c.obj)
                              velgui/libvelgui.a(vel_gui.cpp.obj) (g_free)
/prefix/lib/libglib-2.0.a(gutf8.c.obj)
                              velgui/libvelgui.a(vel_gui.cpp.obj) (g_utf8_validate)

Discarded input sections

 .text          0x0000000000000000        0x0 /prefix/lib/libffi.a(ffi.o)

LOAD /usr/lib/crt2.o
LOAD app/main.cpp.obj
"""


class LinkMap(unittest.TestCase):
    def test_tells_the_members_that_were_taken_and_the_objects(self):
        self.assertEqual(link_map.linked_files(MAP), {
            "velgui/libvelgui.a": {"vel_gui.cpp.obj"},
            "/prefix/lib/libglib-2.0.a": {"gmem.c.obj", "gutf8.c.obj"},
            "/usr/lib/crt2.o": set(),
            "app/main.cpp.obj": set(),
        })

    def test_that_says_nothing_is_refused(self):
        with self.assertRaises(ValueError):
            link_map.linked_files("Memory Configuration\n")


class Components(unittest.TestCase):
    def test_a_library_that_nobody_has_described_is_refused(self):
        with self.assertRaisesRegex(ValueError, "has code of base-files"):
            components.components({"/usr/share/common-licenses/GPL-3"}, prefix)

    def test_a_file_of_no_package_is_refused(self):
        with self.assertRaisesRegex(ValueError, "libnobody.a"):
            components.components({"/usr/lib/libnobody.a"}, prefix)


class Packages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.dist = os.path.join(build, "packaging", "dist")
        cls.names = make_package.make_package(build, prefix, version, EPOCH, cls.dist)
        cls.base = "quorlen-" + version
        cls.program = cls.unpacked("-win64", cls.base + "-win64")
        cls.relink = cls.unpacked("-relink", cls.base + "-relink")
        cls.debug = cls.unpacked("-win64-debug", cls.base + "-win64")

    @classmethod
    def unpacked(cls, suffix, folder):
        """{name below the package's one folder: bytes}; a name outside of it is an error."""
        files = {}
        with zipfile.ZipFile(os.path.join(cls.dist, cls.base + suffix + ".zip")) as archive:
            for name in archive.namelist():
                head, _, rest = name.partition("/")
                if head != folder or rest in files or ".." in rest:
                    raise ValueError(name)
                files[rest] = archive.read(name)
        return files

    def text(self, package, name):
        return package[name].decode("utf-8")

    def linked(self):
        with open(os.path.join(build, "app", "quorlen.map"), encoding="utf-8", errors="replace") as file:
            return link_map.linked_files(file.read())

    def test_are_the_same_to_the_byte_when_made_again_in_another_time_zone(self):
        again = os.path.join(build, "packaging", "dist again")
        os.environ["TZ"] = "NZST-13"
        time.tzset()
        make_package.make_package(build, prefix, version, EPOCH, again)
        del os.environ["TZ"]
        time.tzset()
        for folder, _, names in os.walk(self.dist):
            for name in names:
                path = os.path.join(folder, name)
                self.assertEqual(make_package.read(path),
                                 make_package.read(again, os.path.relpath(path, self.dist)), name)

    def test_have_no_time_but_the_one_given(self):
        for name in self.names:
            with zipfile.ZipFile(os.path.join(self.dist, name)) as archive:
                self.assertEqual({entry.date_time for entry in archive.infolist()}, {EPOCH_IN_ZIP}, name)

    def test_name_no_path_of_this_machine(self):
        # A checkout may be at /src, and app/src is not below it.
        checkout = re.compile(rb"(?<![\w.-])" + re.escape(os.path.join(ROOT, "").encode()))
        for package in (self.program, self.relink, self.debug):
            for name, data in package.items():
                self.assertIsNone(checkout.search(data), name)

    def test_are_named_by_their_version_with_their_checksums_beside_them(self):
        self.assertEqual(self.names, [self.base + end for end in ("-relink.zip", "-win64-debug.zip", "-win64.zip")])
        lines = make_package.read(self.dist, "SHA256SUMS").decode("ascii").splitlines()
        self.assertEqual(lines, ["%s  %s" % (hashlib.sha256(make_package.read(self.dist, name)).hexdigest(), name)
                                 for name in self.names])

    def test_have_the_program_as_it_was_built_and_what_belongs_to_it(self):
        self.assertEqual({name for name in self.program if not name.startswith("licences/")},
                         {"quorlen.exe", "README.txt", "CHANGELOG", "THIRD-PARTY-NOTICES"})
        self.assertEqual(self.program["quorlen.exe"], make_package.read(build, "app", "quorlen.exe"))
        self.assertEqual(set(self.debug), {"quorlen.debug"})

    def test_tell_the_version_and_leave_no_gap_in_a_text(self):
        for package, name in ((self.program, "README.txt"), (self.program, "THIRD-PARTY-NOTICES"),
                              (self.relink, "README.txt")):
            text = self.text(package, name)
            self.assertIn(version, text.splitlines()[0])
            self.assertNotRegex(text, "@[A-Z0-9]+@")
            self.assertNotRegex(text, "[^\r]\n")
        self.assertNotRegex(self.text(self.relink, "relink.sh"), "@[A-Z0-9]+@|\r")

    def test_name_every_library_that_was_linked(self):
        text = self.text(self.program, "THIRD-PARTY-NOTICES")
        for path in self.linked():
            if os.path.isabs(path):
                self.assertRegex(text, r"[ \n]%s[ \r]" % re.escape(os.path.basename(path)))
        for name in ("libglib-2.0.a", "libintl.a", "libsqlite3.a", "libstdc++.a", "libmingwex.a", "crt2.o"):
            self.assertIn(" %s" % name, text)
        # It is there to be linked, but nothing of the program uses it.
        self.assertNotIn("libgtest.a", text)

    def test_have_every_licence_that_the_notices_name(self):
        for package in (self.program, self.relink):
            named = set(re.findall(r"licences/[\w.+-]+\.txt", self.text(package, "THIRD-PARTY-NOTICES")))
            texts = {name for name in package if name.startswith("licences/")}
            self.assertEqual(named - texts, set())
            for name in texts:
                self.assertGreater(len(package[name]), 500, name)
                for referred in re.findall(r"common-licenses/([A-Z]+-[\d.]*\d)", self.text(package, name)):
                    self.assertIn("licences/%s.txt" % referred, package)
        for library in ("libffi", "pcre2", "libz-mingw-w64"):
            self.assertIn("licences/%s.txt" % library, self.relink)
        self.assertIn("GNU LESSER GENERAL PUBLIC LICENSE", self.text(self.program, "licences/LGPL-2.1.txt"))
        self.assertIn("GCC RUNTIME LIBRARY EXCEPTION", self.text(self.program, "licences/gcc-mingw-w64.txt"))

    def test_have_what_linking_again_takes(self):
        for name in ("objects/app/quorlen/src/main.cpp.obj", "objects/velcommon/libvelcommon.a",
                     "libraries/libglib-2.0.a", "libraries/libintl.a", "libraries/libsqlite3.a"):
            self.assertIn(name, self.relink)
        for word in re.findall(r"^    '?(objects/[^'\n]*)", self.text(self.relink, "relink.sh"), re.M):
            self.assertIn(word, self.relink)
        self.assertRegex(self.text(self.relink, "SOURCES"), r"(?m)^glib2\.0 \d[\w.+~-]+: .*libglib-2\.0\.a")

    def test_have_manifests_for_winget_that_name_the_program_in_the_package(self):
        manifests = {name: make_package.read(self.dist, "winget", name).decode("utf-8")
                     for name in os.listdir(os.path.join(self.dist, "winget"))}
        self.assertEqual(len(manifests), 3)
        for text in manifests.values():
            self.assertIn("PackageVersion: %s\n" % version, text)
            self.assertNotIn("@", text)
        installer = manifests["Halvorine.Quorlen.installer.yaml"]
        archive = make_package.read(self.dist, self.base + "-win64.zip")
        self.assertIn("InstallerSha256: %s\n" % hashlib.sha256(archive).hexdigest().upper(), installer)
        self.assertIn("RelativeFilePath: %s-win64\\quorlen.exe\n" % self.base, installer)
        self.assertIn("/%s-win64.zip'" % self.base, installer)
        self.assertEqual(set(re.findall(r"\{\w+\}", "".join(manifests.values()))), {"{ADDRESS}", "{LICENCE}"})

    def test_of_a_version_that_the_changes_do_not_tell_of_are_refused(self):
        with self.assertRaisesRegex(ValueError, "CHANGELOG"):
            make_package.make_package(build, prefix, "77.7.7", EPOCH, self.dist)


if __name__ == "__main__":
    build, prefix, version = sys.argv[1:]
    unittest.main(argv=sys.argv[:1])
