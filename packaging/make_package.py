#!/usr/bin/env python3
"""make_package.py --build FOLDER --prefix FOLDER --version VERSION --epoch SECONDS --dist FOLDER

Makes what users and distributors get of a finished build: the program with its notices, its debug symbols, what is
needed to link it again, a manifest for winget, and the checksums of all. The same build makes the same bytes; every
time in them is SECONDS since 1970.
"""
import argparse
import hashlib
import os
import re
import shutil
import subprocess
import sys
import textwrap
import time
import zipfile

import components
import link_map
import relinking

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
WIDTH = 118


def read(*path):
    with open(os.path.join(*path), "rb") as file:
        return file.read()


def template(name, **values):
    """A text of this folder with each @NAME@ replaced."""
    text = read(HERE, name).decode("utf-8")
    for key, value in values.items():
        text = text.replace("@%s@" % key, value)
    return text


def windows_text(text):
    """As editors on Windows, the oldest too, want it."""
    return text.replace("\n", "\r\n").encode("utf-8")


def write_zip(path, folder, files, epoch):
    """Writes files, {name: bytes}, into one folder of a zip file; those that are run are marked so."""
    # Zip files count in steps of two seconds, from 1980 on.
    stamp = time.gmtime(max(epoch, 315532800))[:6]
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as archive:
        for name in sorted(files):
            entry = zipfile.ZipInfo("%s/%s" % (folder, name), stamp)
            entry.create_system = 3
            entry.external_attr = (0o100755 if name.endswith((".exe", ".sh")) else 0o100644) << 16
            entry.compress_type = zipfile.ZIP_DEFLATED
            archive.writestr(entry, files[name])


def licence_files(found):
    """{name: text} of the packages' copyright files and of the licences these refer to."""
    texts = {"%s.txt" % one.source: one.copyright for one in found}
    for name in {name for one in found for name in one.common_licences()}:
        texts["%s.txt" % name] = read(components.COMMON_LICENCES, name).decode("utf-8")
    return {"licences/" + name: windows_text(text) for name, text in texts.items()}


def wrapped(text, indent):
    """A paragraph below an indented key, without breaking names at their hyphens."""
    return textwrap.fill(text, WIDTH, initial_indent=indent, subsequent_indent=indent + "    ",
                         break_long_words=False, break_on_hyphens=False)


def notice(one):
    terms = "licences/%s.txt" % one.source
    referred = ", ".join("licences/%s.txt" % name for name in sorted(one.common_licences()))
    if referred:
        terms += ", which refers to " + referred
    lines = ["licence: " + one.licence, "terms and copyright: " + terms,
             "source: Debian source package %s %s" % (one.source, one.version), "linked: " + " ".join(sorted(one.files))]
    return "\n".join([one.title] + [wrapped(line, "    ") for line in lines]) + "\n"


def notices(found, version):
    """THIRD-PARTY-NOTICES: what is inside, by whom, and where the terms are."""
    lesser = " and ".join(one.title for one in found if one.is_lgpl())
    return template("THIRD-PARTY-NOTICES.in", VERSION=version, LESSER=lesser,
                    COMPONENTS="\n".join(notice(one) for one in found))


def source_list(found):
    """The source packages with their versions, and the files that came of them."""
    return "".join("%s %s: %s\n" % (one.source, one.version, " ".join(sorted(one.files))) for one in found)


def program_files(build, version, texts):
    return {
        **texts,
        "quorlen.exe": read(build, "app", "quorlen.exe"),
        "README.txt": windows_text(template("README.txt.in", VERSION=version)),
        "CHANGELOG": windows_text(read(ROOT, "CHANGELOG").decode("utf-8")),
    }


def relink_files(build, prefix, version, texts, linked):
    """Of the libraries there are also those that the program takes nothing of, because another GLib may."""
    link = relinking.link_command(build, prefix)
    found = components.components({*linked, *link.libraries}, prefix)
    files = {**licence_files(found), **{name: read(path) for name, path in link.files.items()}}
    files["relink.sh"] = template("relink.sh.in", COMPILER=link.compiler, ARGUMENTS=link.shell_words()).encode("utf-8")
    files["README.txt"] = windows_text(template("relink-README.txt.in", VERSION=version))
    files["SOURCES"] = windows_text(source_list(found))
    return {**texts, **files}


def write_winget(dist, version, epoch, archive):
    """The manifests for winget; where the package can be fetched and our own licence are left for the publisher."""
    os.makedirs(os.path.join(dist, "winget"))
    values = {
        "VERSION": version,
        "SHA256": hashlib.sha256(read(dist, archive)).hexdigest().upper(),
        "DATE": time.strftime("%Y-%m-%d", time.gmtime(epoch)),
        "ARCHIVE": archive,
        "FOLDER": archive[: -len(".zip")],
    }
    for name in sorted(os.listdir(os.path.join(HERE, "winget"))):
        with open(os.path.join(dist, "winget", name[: -len(".in")]), "w", encoding="utf-8", newline="\n") as file:
            file.write(template(os.path.join("winget", name), **values))


def write_checksums(dist, names):
    with open(os.path.join(dist, "SHA256SUMS"), "w", encoding="utf-8", newline="\n") as file:
        for name in names:
            file.write("%s  %s\n" % (hashlib.sha256(read(dist, name)).hexdigest(), name))


def check_changelog(version):
    newest = re.search(r"^## (\S+)", read(ROOT, "CHANGELOG").decode("utf-8"), re.M)
    if not newest or newest.group(1) != version:
        raise ValueError("CHANGELOG does not begin with version %s" % version)


def make_package(build, prefix, version, epoch, dist):
    """Everything, into a folder that is emptied first. Returns the names of the files there that are passed on."""
    check_changelog(version)
    map_text = read(build, "app", "quorlen.map").decode("utf-8", "replace")
    linked = link_map.linked_files(map_text)
    found = components.components(linked, prefix)
    texts = licence_files(found)
    texts["THIRD-PARTY-NOTICES"] = windows_text(notices(found, version))
    folder = "quorlen-%s" % version
    shutil.rmtree(dist, ignore_errors=True)
    os.makedirs(dist)
    packages = {
        folder + "-win64": program_files(build, version, texts),
        folder + "-relink": relink_files(build, prefix, version, texts, linked),
    }
    for name, files in packages.items():
        write_zip(os.path.join(dist, name + ".zip"), name, files, epoch)
    # It unpacks over the program's own folder, where debuggers look for it.
    write_zip(os.path.join(dist, folder + "-win64-debug.zip"), folder + "-win64",
              {"quorlen.debug": read(build, "app", "quorlen.debug")}, epoch)
    names = sorted(os.listdir(dist))
    write_checksums(dist, names)
    write_winget(dist, version, epoch, folder + "-win64.zip")
    return names


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    for name in ("build", "prefix", "version", "epoch", "dist"):
        parser.add_argument("--" + name, required=True)
    wanted = parser.parse_args()
    try:
        names = make_package(wanted.build, wanted.prefix, wanted.version, int(wanted.epoch), wanted.dist)
    except (OSError, ValueError, subprocess.CalledProcessError) as error:
        sys.exit("make_package.py: %s" % error)
    for name in names:
        print("%9d bytes  %s" % (os.path.getsize(os.path.join(wanted.dist, name)), name))


if __name__ == "__main__":
    main()
