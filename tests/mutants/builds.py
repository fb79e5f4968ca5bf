"""The builds of the unchanged sources, and the places where mutants are compiled and linked with the other objects."""
import json
import os
import shlex
import shutil
import subprocess
import sys

FLAGS = {  # quick to compile; warnings about changed code mean nothing
    "host": "-O0 -g0 -w",
    "host-tsan": "-g1 -w",
}
# Headers that most sources include, precompiled. The preset host ensures that each source still includes what it needs.
COMMON = ("algorithm array atomic cstring functional list map memory mutex string utility vector boost/shared_ptr.hpp "
          "boost/make_shared.hpp boost/algorithm/string/trim.hpp common/Platform.h cryptoki/Pkcs11.h").split()


def run(command, **options):
    return subprocess.run(command, check=True, **options)


def copy_tree(source, target):
    """Copies the current files of the repository. An unchanged file keeps its modification time."""
    listed = run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=source, capture_output=True).stdout
    names = [name for name in listed.decode().split("\0") if name and (source / name).is_file()]
    for name in names:
        old, new = source / name, target / name
        if not new.exists() or new.read_bytes() != old.read_bytes():
            new.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(old, new)
    for path in [path for path in target.rglob("*") if path.is_file()]:
        if str(path.relative_to(target)) not in set(names):
            path.unlink()


class Build:
    """The unchanged sources of a tree, built with a preset, and the commands that compile and link a mutant."""

    def __init__(self, preset, tree, folder, programs, environment):
        self.preset, self.tree, self.folder, self.environment = preset, tree, folder, environment
        self.make(programs)
        self.read_compile_commands()
        self.includes = self.read_includes()
        self.links = {program: self.read_link(program) for program in programs}

    def run(self, *command):
        try:
            return run([str(word) for word in command], cwd=self.tree, env=self.environment, capture_output=True, text=True).stdout
        except subprocess.CalledProcessError as error:
            output = (error.stdout + error.stderr).splitlines()[-40:]
            sys.exit("\n".join([*output, f"mutants: the unchanged sources cannot be built: {' '.join(error.cmd)}"]))

    def make(self, programs):
        linker = ["-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld"] if shutil.which("ld.lld") and self.preset == "host" else []
        self.run("cmake", "--preset", self.preset, "-B", self.folder, "-DCMAKE_BUILD_TYPE=", "-DTELVO_UNITY=OFF",
                 "-DTELVO_TEST_FLAGS=-O0;-g0", f"-DCMAKE_CXX_FLAGS={FLAGS[self.preset]}",
                 "-DCMAKE_C_COMPILER_LAUNCHER=", "-DCMAKE_CXX_COMPILER_LAUNCHER=", *linker)
        self.run("cmake", "--build", self.folder, "--target", *programs)

    def read_compile_commands(self):
        """Reads the object of each source in src/, and the command that compiles any of them."""
        self.objects = {}
        for entry in json.loads((self.folder / "compile_commands.json").read_text()):
            words, name = shlex.split(entry["command"]), os.path.relpath(entry["file"], self.tree)
            made = words[words.index("-o") + 1]
            if name.startswith("src/") and "/core.dir/" in made:
                self.objects[name] = made
                self.compiler = words[:words.index("-o")]

    def read_includes(self):
        """For each header in src/: the sources that include it, directly or indirectly."""
        found, target = {}, None
        objects = {self.objects[name]: name for name in self.objects}
        for line in self.run("ninja", "-C", self.folder, "-t", "deps").splitlines():
            if line and not line.startswith(" "):
                target = objects.get(line.split(":")[0])
            elif target:
                path = os.path.normpath(self.folder / line.strip())
                if path.startswith(f"{self.tree}/src/"):
                    found.setdefault(path[len(str(self.tree)) + 1:], []).append(target)
        return found

    def read_link(self, program):
        """The words of the command that links a program."""
        last = self.run("ninja", "-C", self.folder, "-t", "commands", program).strip().splitlines()[-1]
        return [word.replace("\\$", "$") for word in shlex.split(last.split("&&")[1])]


class Place:
    """A folder where one mutant at a time is built and run: a copy of src/ and of the libraries beside the programs."""

    def __init__(self, build, folder):
        self.build, self.folder = build, folder
        shutil.copytree(build.tree / "src", folder / "src")
        (folder / "programs").mkdir()
        for library in (build.folder / "tests/unit").glob("*.so"):
            shutil.copy(library, folder / "programs")
        self.compiler = [word.replace(f"{build.tree}/src", f"{folder}/src") for word in build.compiler]
        common = folder / "common.h"
        common.write_text("".join(f"#include <{name}>\n" for name in COMMON))
        run([*self.compiler, "-x", "c++-header", common, "-o", f"{common}{'.gch' if build.preset == 'host' else '.pch'}"],
            cwd=build.folder, env=build.environment)

    def program(self, name):
        return self.folder / "programs" / name

    def make(self, change, programs):
        """Builds the programs with a change. False when it does not compile or link."""
        sources = self.build.includes.get(change.file, [change.file])
        source = self.folder / change.file
        source.write_text(change.changed())
        try:
            objects = self.compile(sources)
            return objects is not None and all(self.link(program, sources, objects) for program in programs)
        finally:
            source.write_text(change.source.content)

    def compile(self, sources):
        """Compiles the sources, those of a folder as one. Returns the objects, or None when a source does not compile."""
        folders = {}
        for source in sources:
            folders.setdefault(os.path.dirname(source), []).append(source)
        objects = []
        for folder, members in folders.items():
            unit = self.folder / f"{folder.replace('/', '_')}.cpp"
            unit.write_text("".join(f'#include "{self.folder}/{member}"\n' for member in members))
            objects.append(str(unit.with_suffix(".o")))
            if not self.succeeds([*self.compiler, "-include", self.folder / "common.h", "-c", unit, "-o", objects[-1]]):
                return None
        return objects

    def link(self, program, sources, objects):
        """Links the changed objects first, so that definitions from their headers replace those in the tests' objects."""
        dropped = {self.build.objects[source] for source in sources}
        words = [word for word in self.build.links[program] if word not in dropped]
        place = next(index for index, word in enumerate(words) if word.endswith(".o"))
        words[words.index("-o") + 1] = str(self.program(program))
        return self.succeeds(words[:place] + objects + words[place:])

    def succeeds(self, command):
        made = subprocess.run([str(word) for word in command], cwd=self.build.folder, env=self.build.environment,
                              capture_output=True, check=False)
        return made.returncode == 0
