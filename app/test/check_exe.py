#!/usr/bin/env python3
"""Checks the finished quorlen.exe, read as a file.

  check_exe.py imports FILE VERSION    imports only libraries that every 64-bit Windows 10 has
  check_exe.py resources FILE VERSION  carries its icon, manifest and version
  check_exe.py header FILE VERSION     is small, without symbols, and asks for all protection that the system offers
  check_exe.py traces FILE VERSION     tells neither where nor when it was built, nor do its symbols in quorlen.debug
"""
import os
import re
import struct
import sys
import zlib

# Parts of Windows 10 itself, in every edition. Anything else would have to be shipped beside the program.
ALLOWED = {
    "advapi32.dll", "bcrypt.dll", "comctl32.dll", "comdlg32.dll", "dnsapi.dll", "gdi32.dll", "imm32.dll",
    "iphlpapi.dll", "kernel32.dll", "msvcrt.dll", "ole32.dll", "oleaut32.dll", "shell32.dll", "shlwapi.dll",
    "user32.dll", "uxtheme.dll", "version.dll", "winmm.dll", "ws2_32.dll",
}
MAX_SIZE = 4 << 20
RELOCS_STRIPPED = 0x0001
PROTECTION = {"HIGH_ENTROPY_VA": 0x0020, "DYNAMIC_BASE": 0x0040, "NX_COMPAT": 0x0100}
DIRECTORY_RELOCATIONS = 5
# Directories whose first structure has the time of its making as its second number.
DIRECTORIES_WITH_TIME = {"exports": 0, "resources": 2, "debug": 6}
DEBUG_FILE, DEBUG_LINK = "quorlen.debug", ".gnu_debuglink"
RT_ICON, RT_GROUP_ICON, RT_VERSION, RT_MANIFEST = 3, 14, 16, 24
WINDOWS_10_AND_11 = "{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}"


class Image:
    """The parts of a 64-bit PE file that are looked at here."""

    def __init__(self, path):
        self.path = path
        with open(path, "rb") as file:
            self.data = file.read()
        (pe,) = struct.unpack_from("<I", self.data, 0x3C)
        signature, self.machine, n_sections, self.time, self.symbols, self.n_symbols, optional_size, self.flags = (
            struct.unpack_from("<4sHHIIIHH", self.data, pe))
        if signature != b"PE\0\0":
            raise ValueError("no PE file")
        optional = pe + 24
        (self.magic,) = struct.unpack_from("<H", self.data, optional)
        self.subsystem, self.protection = struct.unpack_from("<HH", self.data, optional + 68)
        self.directories = [struct.unpack_from("<II", self.data, optional + 112 + 8 * i) for i in range(16)]
        self.sections, self.section_names = [], {}
        for i in range(n_sections):
            name, size, address, raw_size, raw = struct.unpack_from(
                "<8sIIII", self.data, optional + optional_size + 40 * i)
            self.sections.append((address, max(size, raw_size), raw))
            self.section_names[self._section_name(name)] = (raw, raw_size)

    def _section_name(self, name):
        """Names of more than eight letters stand behind the symbols, even if there are none."""
        if not name.startswith(b"/"):
            return name.rstrip(b"\0").decode("ascii")
        start = self.symbols + 18 * self.n_symbols + int(name[1:].rstrip(b"\0"))
        return self.data[start : self.data.index(b"\0", start)].decode("ascii")

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


def check_imports(image, _version):
    names = image.imports()
    if not names:
        yield "imports nothing: the import table was not understood"
    for name in names:
        if name.lower() not in ALLOWED:
            yield "imports %s, which not every 64-bit Windows 10 has" % name
    print("imports: " + ", ".join(sorted(names)))


def check_icon(resources):
    groups = {str(name).upper(): data for kind, name, data in resources if kind == RT_GROUP_ICON}
    if "APPLICATION" not in groups:
        yield 'has no icon "application"'
        return
    (count,) = struct.unpack_from("<H", groups["APPLICATION"], 4)
    sizes = {groups["APPLICATION"][6 + 14 * i] or 256 for i in range(count)}
    if len(sizes) < 3 or not {16, 32} <= sizes:
        yield "has its icon only in the sizes %s" % sorted(sizes)


def version_value(resource, key):
    """The text of a key, which stands behind it, after a zero, from the next number of four bytes on."""
    found = re.search(re.escape(key) + "\0\0?([^\0]*)\0", resource)
    return found.group(1) if found else None


def check_version(resources, version):
    versions = [data.decode("utf-16-le", "replace") for kind, _, data in resources if kind == RT_VERSION]
    if len(versions) != 1:
        yield "has %d version resources, not one" % len(versions)
        return
    for key in ("FileDescription", "OriginalFilename", "ProductName"):
        if not version_value(versions[0], key):
            yield "has no %s in its version resource" % key
    for key in ("FileVersion", "ProductVersion"):
        if version_value(versions[0], key) != version:
            yield "is of %s %s, not %s" % (key, version_value(versions[0], key), version)
    # In numbers: the signature, the structure's version, then twice the four numbers, the higher of a pair behind.
    data = next(data for kind, _, data in resources if kind == RT_VERSION)
    numbers = struct.unpack_from("<8H", data, data.index(struct.pack("<I", 0xFEEF04BD)) + 8)
    for n in (0, 4):
        if "%d.%d.%d.%d" % (numbers[n + 1], numbers[n], numbers[n + 3], numbers[n + 2]) != version + ".0":
            yield "has the numbers %s for the version %s" % (numbers, version)


def check_manifest(resources, version):
    manifests = [data.decode("utf-8-sig") for kind, _, data in resources if kind == RT_MANIFEST]
    if len(manifests) != 1:
        yield "has %d manifests, not one" % len(manifests)
        return
    text = re.sub(r"<!--.*?-->", "", manifests[0], flags=re.S)
    controls = re.search(r"<assemblyIdentity[^>]*Microsoft\.Windows\.Common-Controls[^>]*>", text)
    if not controls or 'version="6.0.0.0"' not in controls.group():
        yield "asks for no common controls version 6"
    if not re.search(r'<assemblyIdentity[^>]*"Halvorine\.Quorlen" version="%s\.0"' % re.escape(version), text):
        yield "has another version than %s in its manifest" % version
    if not re.search(r'<requestedExecutionLevel[^>]*level="asInvoker"', text):
        yield "is not asInvoker"
    if not re.search(r"<(\w+:)?longPathAware[^>]*>true<", text):
        yield "is not longPathAware"
    if not re.search(r"<(\w+:)?dpiAware[^>]*>false<", text) or not re.search(r"<(\w+:)?dpiAwareness[^>]*>unaware<", text):
        yield "promises to draw in the display's own pixels"
    if WINDOWS_10_AND_11 not in text.lower():
        yield "does not support Windows 10 and 11"
    if "activeCodePage" in text:
        yield "takes the user's code page away"


def check_resources(image, version):
    if (image.machine, image.magic, image.subsystem) != (0x8664, 0x20B, 2):
        yield "is no 64-bit program with windows"
    resources = image.resources()
    yield from check_icon(resources)
    yield from check_version(resources, version)
    yield from check_manifest(resources, version)


def check_debug_link(image):
    """The section has the name of the file with the symbols, filled up with zeros, and that file's checksum."""
    if DEBUG_LINK not in image.section_names:
        yield "does not tell where its symbols are"
        return
    raw, size = image.section_names[DEBUG_LINK]
    name = image.data[raw : raw + size].partition(b"\0")[0]
    (checksum,) = struct.unpack_from("<I", image.data, raw + (len(name) + 4 & ~3))
    with open(os.path.join(os.path.dirname(image.path), DEBUG_FILE), "rb") as file:
        if name != DEBUG_FILE.encode("ascii") or checksum != zlib.crc32(file.read()):
            yield "has its symbols in another file than the %s beside it" % DEBUG_FILE


def check_header(image, _version):
    print("%d bytes" % len(image.data))
    if len(image.data) > MAX_SIZE:
        yield "is larger than %d bytes" % MAX_SIZE
    for name, flag in PROTECTION.items():
        if not image.protection & flag:
            yield "has no " + name
    # Without relocations the system cannot put it anywhere else, whatever the flags say.
    if image.flags & RELOCS_STRIPPED or not image.directories[DIRECTORY_RELOCATIONS][1]:
        yield "has no relocations"
    if image.n_symbols or any(name.startswith(".debug") for name in image.section_names):
        yield "has symbols inside: %s" % ", ".join(image.section_names)
    yield from check_debug_link(image)


def check_traces(image, _version):
    if image.time:
        yield "tells when it was linked"
    for name, directory in DIRECTORIES_WITH_TIME.items():
        address, size = image.directories[directory]
        if size and struct.unpack_from("<I", image.data, image.offset(address) + 4) != (0,):
            yield "tells when its %s were made" % name
    for path in re.findall(rb"/(?:home|root|tmp|usr|build)/[ -~]{3,}", image.data):
        yield "names a path of the building machine: %s" % path.decode("ascii")
    # The compiler's own headers have names there that are the same everywhere. A checkout may be at /src, and app/src is
    # not below it.
    checkout = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", "..")).encode()
    with open(os.path.join(os.path.dirname(image.path), DEBUG_FILE), "rb") as file:
        symbols = file.read()
    for path in set(re.findall(rb"(?<![\w.-])" + re.escape(checkout) + rb"(?=[/\0])", symbols) or
                    re.findall(rb"/(?:home|root|tmp)/[ -~]{3,}", symbols)):
        yield "has symbols that name a path of the building machine: %s" % path.decode("utf-8", "replace")


def main():
    checks = {"imports": check_imports, "resources": check_resources, "header": check_header, "traces": check_traces}
    if len(sys.argv) != 4 or sys.argv[1] not in checks:
        sys.exit(__doc__)
    image = Image(sys.argv[2])
    problems = list(checks[sys.argv[1]](image, sys.argv[3]))
    for problem in problems:
        print("%s %s" % (sys.argv[2], problem))
    sys.exit(1 if problems else 0)


if __name__ == "__main__":
    main()
