"""What it takes to link the program again: the files of ours, the libraries, and the command."""
import os
import shlex
import subprocess


class LinkCommand:
    """The compiler's name, its arguments, the files these name, as {name in the package: path here}, and of these the
    paths of the libraries that are not ours."""

    def __init__(self, compiler):
        self.compiler, self.arguments, self.files, self.libraries = compiler, [], {}, set()

    def add_file(self, name, path):
        self.files[name] = path
        self.arguments.append(name)

    def shell_words(self):
        """The arguments as a list in a shell script, one a line."""
        return "\n".join("    " + shlex.quote(argument) for argument in self.arguments)


def build_words(build):
    """The words of the command that linked the program, as the build has it."""
    done = subprocess.run(["ninja", "-C", build, "-t", "commands", "-s", "app/quorlen.exe"],
                          capture_output=True, text=True, check=True)
    command = " ".join(line for line in done.stdout.splitlines() if not line.startswith("ninja: "))
    words = []
    for word in shlex.split(command) + ["&&"]:
        if word != "&&":
            words.append(word)
        elif words and "-o" in words and "++" in os.path.basename(words[0]):
            return words
        else:
            words = []
    raise ValueError("the build has no command that links the program: %s" % command)


def object_name(word):
    """Without the folders that only the build has."""
    folders = [part.removesuffix(".dir") for part in word.split("/") if part != "CMakeFiles"]
    return "/".join(["objects"] + folders)


def link_command(build, prefix):
    words = build_words(build)
    link = LinkCommand(os.path.basename(words[0]))
    libraries = os.path.join(prefix, "lib")
    arguments = iter(words[1:])
    for word in arguments:
        if word == "-o":
            next(arguments)
        elif word.startswith(("-Wl,-Map", "-Wl,--out-implib")):
            continue
        elif word.startswith("-L"):
            if "-Llibraries" not in link.arguments:
                link.arguments.append("-Llibraries")
        elif word.endswith((".obj", ".res", ".a")):
            link.add_file(object_name(word), os.path.join(build, word))
        else:
            link.arguments.append(word)
            name = "lib%s.a" % word[2:]
            path = os.path.join(libraries, name)
            if word.startswith("-l") and os.path.exists(path):
                link.files["libraries/" + name] = path
                link.libraries.add(path)
    return link
