#!/usr/bin/env python3
"""Checks the finished quorlen.exe, read as a file.

  check_exe.py imports FILE    imports only libraries that every 64-bit Windows 10 has, and names no path of the
                               machine that built it
  check_exe.py resources FILE  carries its icon, version and manifest
"""
import re
import struct
import sys

# Parts of Windows 10 itself, in every edition. Anything else would have to be shipped beside the program.
ALLOWED = {
    "advapi32.dll", "bcrypt.dll", "comctl32.dll", "comdlg32.dll", "dnsapi.dll", "gdi32.dll", "imm32.dll",
    "iphlpapi.dll", "kernel32.dll", "msvcrt.dll", "ole32.dll", "oleaut32.dll", "shell32.dll", "shlwapi.dll",
    "user32.dll", "uxtheme.dll", "version.dll", "winmm.dll", "ws2_32.dll",
}
RT_ICON, RT_GROUP_ICON, RT_VERSION, RT_MANIFEST = 3, 14, 16, 24
WINDOWS_10_AND_11 = "{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}"


class Image:
    """The parts of a 64-bit PE file that are looked at here."""

    def __init__(self, path):
        with open(path, "rb") as file:
            self.data = file.read()
        (pe,) = struct.unpack_from("<I", self.data, 0x3C)
        signature, self.machine, n_sections = struct.unpack_from("<4sHH", self.data, pe)
        if signature != b"PE\0\0":
            raise ValueError("no PE file")
        (optional_size,) = struct.unpack_from("<H", self.data, pe + 20)
        optional = pe + 24
        (self.magic,) = struct.unpack_from("<H", self.data, optional)
        (self.subsystem,) = struct.unpack_from("<H", self.data, optional + 68)
        self.directories = [struct.unpack_from("<II", self.data, optional + 112 + 8 * i) for i in range(16)]
        self.sections = []
        for i in range(n_sections):
            size, address, raw_size, raw = struct.unpack_from("<IIII", self.data, optional + optional_size + 40 * i + 8)
            self.sections.append((address, max(size, raw_size), raw))

    def offset(self, address):
        for start, size, raw in self.sections:
            if start <= address < start + size:
                return raw + address - start
        raise ValueError("address %#x lies in no section" % address)

    def text(self, address):
        start = self.offset(address)
        return self.data[start : self.data.index(b"\0", start)].decode("ascii")

    def imports(self):
        """Names of the imported libraries, the delayed ones included."""
        names = []
        for directory, entry_size, name_field in ((1, 20, 12), (13, 32, 4)):
            address = self.directories[directory][0]
            while address:
                entry = self.offset(address)
                (name,) = struct.unpack_from("<I", self.data, entry + name_field)
                if not name:
                    break
                names.append(self.text(name))
                address += entry_size
        return names

    def resources(self):
        """(type, name, bytes) of every resource; types and names are numbers or strings."""
        address = self.directories[2][0]
        return list(self._resources(self.offset(address), 0, ())) if address else []

    def _resources(self, root, node, path):
        n_named, n_numbered = struct.unpack_from("<HH", self.data, root + node + 12)
        for i in range(n_named + n_numbered):
            name, child = struct.unpack_from("<II", self.data, root + node + 16 + 8 * i)
            key = path + (self._resource_name(root, name),)
            if child & 0x80000000:
                yield from self._resources(root, child & 0x7FFFFFFF, key)
            else:
                address, size = struct.unpack_from("<II", self.data, root + child)
                start = self.offset(address)
                yield key[0], key[1], self.data[start : start + size]

    def _resource_name(self, root, name):
        if not name & 0x80000000:
            return name
        start = root + (name & 0x7FFFFFFF)
        (length,) = struct.unpack_from("<H", self.data, start)
        return self.data[start + 2 : start + 2 + 2 * length].decode("utf-16-le")


def check_imports(image):
    names = image.imports()
    if not names:
        yield "imports nothing: the import table was not understood"
    for name in names:
        if name.lower() not in ALLOWED:
            yield "imports %s, which not every 64-bit Windows 10 has" % name
    # Debug paths and assertions name files relative to the repository.
    for path in re.findall(rb"/(?:home|root|tmp|usr|build)/[ -~]{3,}", image.data):
        yield "names a path of the building machine: %s" % path.decode("ascii")


def check_icon(resources):
    groups = {str(name).upper(): data for kind, name, data in resources if kind == RT_GROUP_ICON}
    if "APPLICATION" not in groups:
        yield 'has no icon "application"'
        return
    (count,) = struct.unpack_from("<H", groups["APPLICATION"], 4)
    sizes = {groups["APPLICATION"][6 + 14 * i] or 256 for i in range(count)}
    if len(sizes) < 3 or not {16, 32} <= sizes:
        yield "has its icon only in the sizes %s" % sorted(sizes)


def check_version(resources):
    versions = [data.decode("utf-16-le", "replace") for kind, _, data in resources if kind == RT_VERSION]
    if len(versions) != 1:
        yield "has %d version resources, not one" % len(versions)
        return
    for key in ("FileDescription", "FileVersion", "OriginalFilename", "ProductName", "ProductVersion"):
        if key not in versions[0]:
            yield "has no %s in its version resource" % key


def check_manifest(resources):
    manifests = [data.decode("utf-8-sig") for kind, _, data in resources if kind == RT_MANIFEST]
    if len(manifests) != 1:
        yield "has %d manifests, not one" % len(manifests)
        return
    text = re.sub(r"<!--.*?-->", "", manifests[0], flags=re.S)
    controls = re.search(r"<assemblyIdentity[^>]*Microsoft\.Windows\.Common-Controls[^>]*>", text)
    if not controls or 'version="6.0.0.0"' not in controls.group():
        yield "asks for no common controls version 6"
    if not re.search(r'<requestedExecutionLevel[^>]*level="asInvoker"', text):
        yield "is not asInvoker"
    if not re.search(r"<(\w+:)?longPathAware[^>]*>true<", text):
        yield "is not longPathAware"
    if WINDOWS_10_AND_11 not in text.lower():
        yield "does not support Windows 10 and 11"
    if "activeCodePage" in text:
        yield "takes the user's code page away"


def check_resources(image):
    if (image.machine, image.magic, image.subsystem) != (0x8664, 0x20B, 2):
        yield "is no 64-bit program with windows"
    resources = image.resources()
    yield from check_icon(resources)
    yield from check_version(resources)
    yield from check_manifest(resources)


def main():
    checks = {"imports": check_imports, "resources": check_resources}
    if len(sys.argv) != 3 or sys.argv[1] not in checks:
        sys.exit(__doc__)
    image = Image(sys.argv[2])
    problems = list(checks[sys.argv[1]](image))
    for problem in problems:
        print("%s %s" % (sys.argv[2], problem))
    if sys.argv[1] == "imports":
        print("imports: " + ", ".join(sorted(image.imports())))
    sys.exit(1 if problems else 0)


if __name__ == "__main__":
    main()
