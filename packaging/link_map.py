"""Reads the map that the linker writes: which archives and objects a program is really made of."""
import re

MEMBER = re.compile(r"(?P<archive>.+\.a)\((?P<member>[^()]+)\)")
LOADED = re.compile(r"LOAD (?P<path>.+\.o(bj)?)$")


def linked_files(text):
    """The archives of which members were taken, and the single objects, as {path: set of members}."""
    files = {}
    in_members = False
    for line in text.splitlines():
        if line.startswith("Archive member included"):
            in_members = True
        elif in_members and line and not line[0].isspace():
            # The list has two lines a member, the second one indented, and ends at the next heading.
            found = MEMBER.match(line)
            if found:
                files.setdefault(found.group("archive"), set()).add(found.group("member"))
            else:
                in_members = False
        if LOADED.match(line):
            files.setdefault(LOADED.match(line).group("path"), set())
    if not files:
        raise ValueError("the link map names no file")
    return files
