#!/usr/bin/env python3
"""The example plug-in in Python: through qrbscm it lists what the shipped plug-in lists, and it keeps the protocol.

Usage: PythonPlugInTests.py <qrbscm> <folder of the example>
"""
import json
import os
import pathlib
import select
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import unittest

QRBSCM, EXAMPLE = map(os.path.abspath, sys.argv[1:3])
PLUG_IN = os.path.join(EXAMPLE, "org.qrb.Orlix.sourcecontrol.Git")
ODD_NAME = b"odd \xc3\xa9 \xff %41 'name'\n#?"
STATUS = "filesAndStatusOfWorkingCopy:withRemoteStatus:completionBlock:"
FINISHED = [2, "operationsFinished", []]


def pack(value):
    """The message as a host may send it: short forms, numbers for keys given as numbers."""
    if value is None or isinstance(value, bool):
        return {None: b"\xc0", False: b"\xc2", True: b"\xc3"}[value]
    if isinstance(value, int):
        return bytes([value])
    if isinstance(value, str):
        return b"\xd9" + bytes([len(value)]) + value.encode()
    if isinstance(value, bytes):
        return value
    if isinstance(value, list):
        return bytes([0x90 | len(value)]) + b"".join(map(pack, value))
    return bytes([0x80 | len(value)]) + b"".join(pack(part) for entry in value.items() for part in entry)


class Home(unittest.TestCase):
    """Each test has a home of its own, so that no configuration of the user's or the system's takes part."""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)
        kept = {key: value for key, value in os.environ.items() if not key.startswith("GIT_")}
        self.environment = {**kept, "HOME": str(self.folder), "XDG_CONFIG_HOME": str(self.folder / "config"),
                            "GIT_CONFIG_NOSYSTEM": "1", "LC_ALL": "C.UTF-8"}
        self.root = os.path.join(os.fsencode(self.folder), ODD_NAME)

    def git(self, *arguments, check=True):
        identity = ["-c", "user.name=Ann", "-c", "user.email=ann@example.com"]
        subprocess.run(["git", *identity, "-C", self.root, *arguments], check=check, env=self.environment,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def write(self, path, text):
        path = os.path.join(self.root, path)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w") as file:
            file.write(text)

    def make_repository(self):
        os.mkdir(self.root)
        self.git("init", "-q", "-b", "main")
        for path in (b"modified", b"deleted", b"moved", b"copied", b"linked", b"caf\xe9", b"both", b"staged"):
            self.write(path, f"{path}\n" * 5)
        self.git("add", ".")
        self.git("commit", "-q", "-m", "first")


class ThroughTheHost(Home):
    def qrbscm(self, *arguments):
        return subprocess.run([QRBSCM, *arguments], cwd=self.root, env=self.environment, capture_output=True)

    def listing(self, *arguments):
        done = self.qrbscm("status", "--json", *arguments)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        return json.loads(done.stdout)

    def assertListsTheSame(self, *arguments):
        listing = self.listing("--plug-in-directory", EXAMPLE, *arguments)
        self.assertEqual(listing, self.listing(*arguments))
        return {word for entry in listing for word in entry["status"]}

    def test_it_is_this_plug_in_that_answers(self):
        os.mkdir(self.root)
        done = self.qrbscm("systems", "--plug-in-directory", EXAMPLE)
        self.assertIn(b"Git 1.0 ", done.stdout)

    def test_a_clean_working_copy(self):
        self.make_repository()
        self.assertEqual(self.assertListsTheSame(), set())

    def test_changes_of_all_kinds(self):
        self.make_repository()
        self.git("mv", "moved", 'now -> "here"\n')
        self.write(b"moved", "another of the old name")
        os.remove(os.path.join(self.root, b"deleted"))
        for path in (b"modified", b"caf\xe9", b"staged", b"untracked", b"folder/inside", b"a.o", b"out/file", b"intended"):
            self.write(path, "new text")
        self.git("add", "staged")
        self.git("add", "--intent-to-add", "intended")
        self.write(b"staged", "newer text")
        os.remove(os.path.join(self.root, b"linked"))
        os.symlink("modified", os.path.join(self.root, b"linked"))
        self.write(b".gitignore", "*.o\nout\n")
        words = self.assertListsTheSame("--ignored")
        self.assertLessEqual({"added", "modified", "deleted", "type-changed", "staged-modified", "staged-renamed", "moved-away",
                              "untracked", "ignored", "directory"}, words)

    def test_conflicts(self):
        self.make_repository()
        self.git("checkout", "-q", "-b", "theirs")
        self.write(b"both", "theirs")
        self.write(b"added", "theirs")
        self.git("rm", "-q", "modified")
        self.git("add", ".")
        self.git("commit", "-q", "-m", "theirs")
        self.git("checkout", "-q", "main")
        self.write(b"both", "ours")
        self.write(b"added", "ours")
        self.write(b"modified", "ours")
        self.git("add", ".")
        self.git("commit", "-q", "-m", "ours")
        self.git("merge", "theirs", check=False)
        words = self.assertListsTheSame()
        self.assertEqual(words, {"conflicted", "both-modified", "both-added", "deleted-by-them"})

    def test_submodules(self):
        self.make_repository()
        allowed = "protocol.file.allow=always"
        for path in ("moved-on", "touched", "littered", "new"):
            self.git("-c", allowed, "submodule", "add", "--", self.root, path)
            if path != "new":
                self.git("commit", "-q", "-a", "-m", path)
        self.write(b"touched/modified", "new")
        self.write(b"littered/untracked", "new")
        self.git("-C", "moved-on", "commit", "-q", "--allow-empty", "-m", "further")
        words = self.assertListsTheSame()
        self.assertLessEqual({"submodule", "submodule-new-commits", "submodule-modified-content", "submodule-untracked-content",
                              "staged-added"}, words)

    def test_what_was_fetched_and_is_not_here_yet(self):
        self.make_repository()
        origin, self.root = self.root, os.path.join(os.fsencode(self.folder), b"clone")
        subprocess.run(["git", "clone", "-q", origin, self.root], env=self.environment, check=True)
        clone, self.root = self.root, origin
        self.write(b"theirs", "new")
        self.git("rm", "-q", "staged")
        self.write(b"both", "theirs")
        self.git("add", ".")
        self.git("commit", "-q", "-m", "second")
        self.root = clone
        self.git("fetch", "-q")
        self.write(b"both", "ours")
        self.assertEqual(self.assertListsTheSame("--remote"), {"modified", "remote-added", "remote-modified", "remote-deleted"})

    def test_gits_own_message_reaches_the_user(self):
        self.make_repository()
        self.write(b".git/index", "no index")
        done = self.qrbscm("status", "--plug-in-directory", EXAMPLE)
        self.assertEqual((done.returncode, done.stdout), (1, b""))
        self.assertIn(b"index file smaller than expected", done.stderr)


class OnTheWire(Home):
    """The test is the host here, so it can do what hosts should not and die when it likes."""

    def start(self):
        self.connection, its_end = socket.socketpair()
        self.plug_in = subprocess.Popen([PLUG_IN], stdin=its_end, stdout=its_end, stderr=subprocess.PIPE, env=self.environment)
        its_end.close()
        self.addCleanup(self.connection.close)
        self.addCleanup(self.plug_in.stderr.close)
        self.addCleanup(self.plug_in.kill)

    def converse(self, *messages, closes=False):
        """Sends the messages; what it answered, said and ended with."""
        self.start()
        self.connection.sendall(b"".join(map(pack, messages)))
        if closes:
            self.connection.shutdown(socket.SHUT_WR)
        answers = b"".join(iter(lambda: self.connection.recv(1 << 16), b""))
        return answers, self.plug_in.stderr.read(), self.plug_in.wait()

    def status_request(self, root):
        url = "file://" + "".join(f"%{byte:02X}" for byte in root)
        return [0, 7, STATUS, [{None: "QRBSourceControlWorkingCopy", "fileURL": b"\xda" + struct.pack(">H", len(url)) + url.encode()},
                               False]]

    def use_tool_instead_of_git(self, script):
        tools = self.folder / "tools"
        tools.mkdir()
        (tools / "git").write_text("#!/bin/sh\n" + script)
        (tools / "git").chmod(0o755)
        self.environment["PATH"] = f"{tools}:{os.environ['PATH']}"

    def test_the_end(self):
        whole = pack(self.status_request(b"/"))
        for sent, closes in ((pack(FINISHED), False), (b"", True), (whole[:40], True)):
            with self.subTest(sent):
                self.assertEqual(self.converse(sent, closes=closes), (b"", b"", 0))

    def test_what_it_does_not_serve(self):
        answer, _, _ = self.converse([0, 7, "baseRevisionOfWorkingCopy:completionBlock:", [None]], FINISHED)
        self.assertIn(struct.pack(">q", -700), answer)
        messages = {"notification": [2, "more", []], "response": [1, 7, None, []]}
        for name, message in messages.items():
            with self.subTest(name):
                answers, said, status = self.converse(message)
                self.assertEqual(answers, b"")
                self.assertRegex(said, rb"\A[^\n]+\n\Z")
                self.assertNotEqual(status, 0)

    def test_numbers_of_keys_and_references_mean_what_they_stand_for(self):
        self.make_repository()
        self.write(b"modified", "new")
        first, elsewhere = self.status_request(self.root), self.status_request(b"/")[3][0]["fileURL"]
        second = [0, 7, STATUS, [{None: 0, 1: elsewhere}, False]]
        ones, _, _ = self.converse(first, FINISHED)
        both, _, _ = self.converse(first, second, FINISHED)
        self.assertIn(b"modified", ones)
        self.assertIn(b"not a git repository", both[len(ones):])
        for number in (b"\xd4\x01\x00", b"\xd5\x01\x00\x00", b"\xd6\x01\x00\x00\x00\x00"):
            with self.subTest(number.hex()):
                self.assertEqual(self.converse(first, second, [0, 7, STATUS, [number, False]], FINISHED), (both + ones, b"", 0))

    def test_a_request_that_comes_byte_by_byte(self):
        self.make_repository()
        whole, _, _ = self.converse(self.status_request(self.root), FINISHED)
        self.start()
        for byte in pack(self.status_request(self.root)) + pack(FINISHED):
            self.connection.sendall(bytes([byte]))
        self.assertEqual(b"".join(iter(lambda: self.connection.recv(1 << 16), b"")), whole)
        self.assertEqual(self.plug_in.wait(), 0)

    def test_git_does_not_inherit_the_connection(self):
        self.use_tool_instead_of_git('ls -l /proc/$$/fd > "$HOME/descriptors"\n')
        self.converse(self.status_request(b"/"), FINISHED)
        descriptors = (self.folder / "descriptors").read_text()
        self.assertIn("pipe:", descriptors)
        self.assertNotIn("socket:", descriptors)

    def test_git_ends_with_a_host_that_dies(self):
        os.mkfifo(self.folder / "begun")
        os.mkfifo(self.folder / "never")
        self.use_tool_instead_of_git('echo $$ > "$HOME/begun"; exec cat "$HOME/never"\n')
        self.start()
        self.connection.sendall(pack(self.status_request(b"/")))
        with os.fdopen(os.pidfd_open(int((self.folder / "begun").read_text())), "rb") as git:
            self.connection.close()
            try:
                self.assertEqual(self.plug_in.wait(), 0)
                self.assertTrue(select.select([git], [], [], 60)[0], "git runs on without its host")
            except AssertionError:
                signal.pidfd_send_signal(git.fileno(), signal.SIGKILL)
                raise


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
