"""Whose code is in the program: from the files that were linked to source packages, their versions and licences."""
import os
import re
import subprocess

COMMON_LICENCES = "/usr/share/common-licenses"

# What a reader wants to know first of each source package. The packages' copyright files tell all of it.
KNOWN = {
    "gcc-mingw-w64": ("The run-time libraries of GCC", "GNU GPL 3 or later with the GCC Runtime Library Exception"),
    "gettext": ("libintl of GNU gettext", "GNU LGPL 2.1 or later"),
    "glib2.0": ("GLib", "GNU LGPL 2.1 or later"),
    "libffi": ("libffi", "MIT"),
    "libz-mingw-w64": ("zlib", "zlib"),
    "mingw-w64": ("The run-time libraries of Mingw-w64", "Zope Public License 2.1, MIT and others"),
    "pcre2": ("PCRE2", "BSD, three clauses"),
    "sqlite3": ("SQLite", "in the public domain"),
}


class Component:
    """A source package with the files of it that were linked, and the text of its copyright file."""

    def __init__(self, source, version, copyright_path):
        if source not in KNOWN:
            raise ValueError("the program has code of %s: say in components.py what that is" % source)
        self.source, self.version, self.files = source, version, set()
        self.title, self.licence = KNOWN[source]
        with open(copyright_path, encoding="utf-8") as file:
            self.copyright = file.read()

    def is_lgpl(self):
        return "LGPL" in self.licence

    def common_licences(self):
        """The names of the licences that the copyright file refers to instead of having their texts."""
        names = re.findall(re.escape(COMMON_LICENCES) + r"/([A-Z][\w.-]*\w)", self.copyright)
        return {os.path.basename(os.path.realpath(os.path.join(COMMON_LICENCES, name))) for name in names}


def dpkg_query(*arguments):
    done = subprocess.run(["dpkg-query", *arguments], capture_output=True, text=True, check=False)
    if done.returncode != 0:
        raise ValueError("dpkg-query %s: %s" % (" ".join(arguments), done.stderr.strip()))
    return done.stdout


def of_installed_package(path):
    """(source package, version, copyright file) of a file that a Debian package has brought."""
    package = dpkg_query("-S", os.path.realpath(path)).split(":")[0]
    source, version, installed = dpkg_query("-W", "-f=${source:Package} ${source:Version} ${Version}", package).split()
    if installed != version:
        # It has the compiler's own version in it.
        version += " (installed: %s)" % installed
    return source, version, "/usr/share/doc/%s/copyright" % package


def of_built_library(prefix):
    """{library: (source package, version, copyright file)} of the libraries that were built for the program."""
    notes = os.path.join(prefix, "share", "quorlen")
    with open(os.path.join(notes, "libraries"), encoding="utf-8") as file:
        lines = [line.split() for line in file]
    return {name: (source, version, os.path.join(notes, "copyright", source)) for name, source, version in lines}


def components(linked, prefix):
    """The components among linked files, in the order of their titles. A relative path is one of the build itself, and so
    of our own code."""
    built = of_built_library(prefix)
    found = {}
    for path in linked:
        name = os.path.basename(path)
        if not os.path.isabs(path):
            continue
        if os.path.realpath(path) == os.path.realpath(os.path.join(prefix, "lib", name)):
            origin = built[name]
        else:
            origin = of_installed_package(path)
        if origin[0] not in found:
            found[origin[0]] = Component(*origin)
        found[origin[0]].files.add(name)
    return [found[source] for source in sorted(found, key=lambda source: KNOWN[source][0].lower())]
