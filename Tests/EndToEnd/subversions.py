"""What the tests of Subversion share: svn in a home of one's own, repositories of every kind of history and change, and
what svn tells of them, in the words of qrbscm."""

import contextlib
import os
import shlex
import shutil
import sqlite3
import subprocess
from xml.etree import ElementTree

from hosting import HostTest, PATIENCE

NAMES = ["two  blanks", "at@sign", "at@", "per%20cent", "50%", "\u00fcml\u00e4ut", "#hash", "it's", "a&b <c>", "semi;colon",
         "-dash", "back\\slash", "folder @1/%file"]


def pegged(name):
    """The name as svn takes it: what follows an "@" would be a revision, and after a dash an option."""
    return ("./" if name.startswith("-") else "") + name + ("@" if "@" in name else "")


class SubversionTest(HostTest):
    def setUp(self):
        super().setUp()
        config = os.path.join(self.environment["HOME"], ".subversion")
        os.mkdir(config)
        with open(os.path.join(config, "config"), "w", encoding="ascii") as file:
            file.write("[miscellany]\nglobal-ignores = *.o\n")

    def svn(self, place, *arguments, check=True, author=None):
        identity = ["--username", author] if author else []
        result = subprocess.run(["svn", "--non-interactive", *identity, *arguments], cwd=place, env=self.environment,
                                capture_output=True, timeout=PATIENCE)
        if check and result.returncode != 0:
            self.fail(f"svn {arguments} failed: {result.stderr.decode()}")
        return result.stdout.decode()

    def svn_all(self, place, *lines):
        for line in lines:
            self.svn(place, *shlex.split(line), "--quiet")

    def write_all(self, place, names, content=b"text\n"):
        for name in names:
            self.write(place, name, content)

    def xml(self, place, *arguments):
        return ElementTree.fromstring(self.svn(place, *arguments, "--xml"))

    def new_repository(self, name="orchard"):
        """A new repository's URL."""
        path = os.path.join(self.folder, name)
        subprocess.run(["svnadmin", "create", path], env=self.environment, check=True, timeout=PATIENCE)
        return "file://" + path

    def hook(self, url, name, text):
        path = os.path.join(url[len("file://"):], "hooks", name)
        with open(path, "w", encoding="utf-8") as file:
            file.write("#!/bin/sh\n" + text)
        os.chmod(path, 0o755)

    def check_out(self, url, name, *options):
        path = os.path.join(self.folder, name)
        self.svn(self.folder, "checkout", "--quiet", *options, url, path)
        return path

    def read(self, place, name):
        with open(os.path.join(place, name), encoding="utf-8", newline="") as file:
            return file.read()

    def svn_commit(self, place, message="a change", author=None, **files):
        for name, content in files.items():
            self.write(place, name, content.encode())
        self.svn(place, "add", "--force", "--quiet", ".")
        self.svn(place, "commit", "--quiet", "--message", message, author=author)
        self.svn(place, "update", "--quiet")

    def grown(self, project="proj"):
        """A repository with a layout below a folder, or at its root, and a history of every kind of change: its URL and
        the trunk of it, checked out."""
        url = self.new_repository()
        below = f"{url}/{project}".rstrip("/")
        self.svn(self.folder, "mkdir", "--quiet", "--parents", "--message", "the layout", below + "/trunk",
                 below + "/branches", below + "/tags")
        trunk = self.check_out(below + "/trunk", "trunk")
        lines = "".join(f"line {number}\n" for number in range(40))
        self.svn_commit(trunk, "Plant\n\nwith a body\n  and \u00fcmlauts", author="ada", apple=lines, pear="1\n", plum="1\n",
                    cherry="1\n", **{"trees/oak": lines, "trees/ash": "1\n", "trees/deep/elm": "1\n"})
        self.write_all(trunk, NAMES)
        self.svn_commit(trunk, "names", author="bert")
        self.svn(self.folder, "copy", "--quiet", "--message", "branch", below + "/trunk", below + "/branches/topic")
        self.svn(self.folder, "copy", "--quiet", "--message", "tag", below + "/trunk", below + "/tags/v1.0")
        topic = self.check_out(below + "/branches/topic", "topic")
        self.svn_commit(topic, "on topic", author="Bert", apple="first\n" + lines, quince="1\n")
        shutil.rmtree(topic)
        self.svn(trunk, "propset", "--quiet", "colour", "red", "apple")
        self.svn_commit(trunk, "a property")
        self.svn(trunk, "propset", "--quiet", "colour", "green", "apple")
        self.svn_commit(trunk, "", author="ada", apple=lines + "last\n")
        self.svn_all(trunk, "move pear 'moved pear'", "copy plum 'copied plum'", "remove trees/ash")
        self.svn_commit(trunk, "moves", author="bert", **{"copied plum": "2\n"})
        self.svn(trunk, "remove", "--quiet", "cherry")
        self.write(trunk, "cherry", b"another\n")
        self.svn(trunk, "move", "--quiet", "trees", "woods")
        self.svn_commit(trunk, "replaced")
        self.svn(trunk, "merge", "--quiet", below + "/branches/topic")
        self.svn_commit(trunk, "merged")
        return url, trunk

    def export(self, target, name, *options):
        path = os.path.join(self.folder, name)
        self.svn(self.folder, "export", "--quiet", "--force", "--ignore-externals", *options, target, path)
        return path

    @staticmethod
    def alter(place, *statements):
        """Changes the database of a working copy, to what svn itself leaves only when it is interrupted or old."""
        with contextlib.closing(sqlite3.connect(os.path.join(place, ".svn", "wc.db"))) as database:
            for statement in statements:
                database.execute(statement)
            database.commit()

    @staticmethod
    def files(folder):
        found = {}
        for place, _, names in os.walk(folder):
            for name in names:
                with open(os.path.join(place, name), "rb") as file:
                    found[os.path.relpath(os.path.join(place, name), folder)] = file.read()
        return found

    def is_folder(self, place, path):
        told = self.svn(place, "info", "--show-item", "kind", pegged(path), check=False).strip()
        return told == "dir" if told else os.path.isdir(os.path.join(place, path))
