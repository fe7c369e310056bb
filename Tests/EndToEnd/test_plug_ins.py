"""Plug-ins by others, here one in Python under a name of its own: found, asked, and no fault of theirs costs more than
the one request that it happens in."""

import fcntl
import json
import os
import select
import signal
import subprocess

from hosting import HOST, PATIENCE, HostTest, main

NAME = "org.example.Snap"

# Answers what it is; whatever else it is asked, it does what the file "mode" beside it says.
PLUG_IN = """#!/usr/bin/env python3
import os, signal, socket, sys

def text(words):
    return b"\\xd9" + bytes([len(words)]) + words.encode()

host = socket.socket(fileno=os.dup(0))
request = host.recv(1 << 16)
reply = b"\\x94\\x01" + request[2:3] + b"\\xc0\\x91"
descriptor = dict(name="Snap", plugInIdentifier=IDENTIFIER, version="7", workingCopyFolderIdentifier=".snap")
system = bytes([0x81 + len(descriptor)]) + b"\\xc0" + text("QRBSourceControlSystem")
system += b"".join(text(key) + text(value) for key, value in descriptor.items())
folder = os.path.dirname(os.path.abspath(sys.argv[0]))
mode = open(folder + "/mode").read()
if b"createWorkingCopyFromRepository:" in request:
    start = request.rindex(b"file://")
    place = request[start + 7:start + request[start - 1]]
    os.makedirs(place + b"/.snap/history")
    open(place + b"/text", "w").close()
if b"sourceControlSystemWithCompletionBlock:" in request and mode != "silent":
    host.sendall(reply + system)
elif mode == "crash":
    os.kill(os.getpid(), signal.SIGSEGV)
elif mode == "garbage":
    host.sendall(b"\\xc1")
elif mode == "half":
    host.sendall(reply[:4])
    sys.exit(3)
elif mode == "other":
    host.sendall(reply + text("status"))
elif mode == "busy":
    with open(folder + "/begun", "w") as begun:
        begun.write(str(os.getpid()))
    while True:
        pass
host.recv(1)
"""


class PlugIns(HostTest):
    def install(self, mode, folder="plug-ins", identifier=NAME):
        place = os.path.join(self.folder, folder)
        os.makedirs(place, exist_ok=True)
        path = os.path.join(place, NAME)
        with open(path, "w", encoding="ascii") as file:
            file.write(PLUG_IN.replace("IDENTIFIER", repr(identifier)))
        os.chmod(path, 0o755)
        with open(os.path.join(place, "mode"), "w", encoding="ascii") as file:
            file.write(mode)
        return "--plug-in-directory", place

    def working_copy(self):
        path = os.path.join(self.folder, "work")
        os.makedirs(os.path.join(path, ".snap"), exist_ok=True)
        return path

    def test_it_works_under_its_own_name(self):
        # Names of two parts are those of scripts, and nobody calls a copy by another's name.
        options = self.install("good")
        for other in ("snap.py", "org.example.Snap.old"):
            os.symlink(NAME, os.path.join(self.folder, "plug-ins", other))
        result = self.run_host("systems", "--json", *options)
        systems = {each["identifier"]: each["name"] for each in json.loads(result.stdout)}
        self.assertEqual(systems[NAME], "Snap")
        self.assertEqual(sorted(systems), sorted({NAME, "org.qrb.Orlix.sourcecontrol.Git"}))
        self.assertIn(f'org.example.Snap.old: its descriptor has the plugInIdentifier "{NAME}"', result.stderr.decode())

    def test_each_fault_costs_its_request_and_is_told(self):
        asked = "filesAndStatusOfWorkingCopy:withRemoteStatus:completionBlock:"
        faults = {"crash": f'the process ended (signal 11 (SIGSEGV, Segmentation fault)) before it answered "{asked}"',
                  "half": f'the process ended (exit code 3) before it answered "{asked}"',
                  "garbage": "what is not understood: a byte that begins no value, at byte 0 of the message",
                  "other": f'the reply to "{asked}", value 1: a dictionary was expected, and a string found, at byte 5'}
        for mode, told in faults.items():
            with self.subTest(mode):
                result = self.run_host("status", *self.install(mode), cwd=self.working_copy())
                self.assertEqual(result.returncode, 1)
                self.assertIn(f"{NAME}: ", result.stderr.decode())
                self.assertIn(told, result.stderr.decode())

    def test_one_that_is_silent_is_left_out_where_it_has_no_say_and_named_elsewhere(self):
        options = self.install("silent")
        repository = self.repository()
        self.assertEqual(self.json_of("status", *options, cwd=repository), [])
        result = self.run_host("systems", *options)
        self.assertEqual(result.returncode, 0)
        self.assertIn(b"Git", result.stdout)
        self.assertIn(f"{NAME}: it did not", result.stderr.decode())

    def test_a_helper_that_is_not_there_is_named(self):
        place = os.path.join(self.folder, "helpers")
        self.commit(self.repository())
        self.write(place, "org.qrb.Orlix.sourcecontrol.WorkingCopyScanner", b"#!/bin/sh\nexit 3\n")
        faults = {0o755: "WorkingCopyScanner: the process ended (exit code 3)", 0o644: "could not be executed: Permission denied"}
        for mode, told in faults.items():
            os.chmod(os.path.join(place, "org.qrb.Orlix.sourcecontrol.WorkingCopyScanner"), mode)
            for command in (["workspace", "status"], ["blueprint", "create"]):
                with self.subTest(command=command, mode=oct(mode)):
                    result = self.run_host(*command, "--plug-in-directory", place)
                    self.assertEqual(result.returncode, 1)
                    self.assertIn(told, result.stderr.decode())

    def test_the_users_own_folder_counts_where_only_he_may_write(self):
        for data, variables in ((".local/share", {}), ("data", {"XDG_DATA_HOME": f"{self.folder}/home/data"})):
            folder = f"home/{data}/qrbsourcecontrol/plug-ins"
            self.install("good", folder)
            for mode, found in ((0o755, True), (0o775, False), (0o757, False)):
                with self.subTest(folder=folder, mode=oct(mode)):
                    os.chmod(os.path.join(self.folder, folder), mode)
                    result = self.run_host("systems", environment={**self.environment, **variables})
                    self.assertEqual(b"Snap" in result.stdout, found)
                    self.assertEqual(b"may be written by others" in result.stderr, not found)

    def end_when_begun(self, arguments, begun, ending, place):
        with subprocess.Popen([HOST, *arguments], cwd=self.folder, env=self.environment, stderr=subprocess.PIPE) as host:
            with open(begun, encoding="ascii") as file:
                file.read()
            os.remove(begun)
            folder = os.open(place, os.O_RDONLY | os.O_DIRECTORY)
            self.assertIn("text", os.listdir(folder))
            host.send_signal(ending)
            self.assertEqual(host.wait(PATIENCE), -ending)
        # Who removes it may outlive the host, and has the folder locked as long as it lives.
        fcntl.flock(folder, fcntl.LOCK_EX)
        os.close(folder)

    def test_what_a_new_working_copy_that_failed_has_left_is_removed(self):
        """Whoever's plug-in made it, however it or its host ended; what was there before stays."""
        address = ["clone", "https://snap.example.org/repository"]
        os.makedirs(os.path.join(self.folder, "mine"))
        begun = os.path.join(self.folder, "plug-ins", "begun")
        for mode, ending in (("crash", None), ("half", None), ("busy", signal.SIGINT), ("busy", signal.SIGKILL)):
            for place in ("new/deep/work", "mine"):
                with self.subTest(mode=mode, ending=ending, place=place):
                    arguments = [*address, place, "--system", "Snap", *self.install(mode)]
                    if ending:
                        os.mkfifo(begun)
                        self.end_when_begun(arguments, begun, ending, os.path.join(self.folder, place))
                    else:
                        self.assertEqual(self.run_host(*arguments).returncode, 1)
                    self.assertEqual(os.listdir(os.path.join(self.folder, "mine")), [])
                    self.assertFalse(os.path.exists(os.path.join(self.folder, "new")))
        self.write(self.folder, "mine/text")
        self.assertEqual(self.run_host(*address, "mine", "--system", "Snap", *self.install("crash")).returncode, 1)
        self.assertTrue(os.path.exists(os.path.join(self.folder, "mine/text")), "what was there is not the request's")

    def test_one_that_never_looks_up_ends_with_its_host(self):
        begun = os.path.join(self.folder, "plug-ins", "begun")
        options = self.install("busy")
        os.mkfifo(begun)
        with subprocess.Popen([HOST, "status", *options], cwd=self.working_copy(), env=self.environment) as host:
            with open(begun, encoding="ascii") as file:
                plug_in = os.pidfd_open(int(file.read()))
            host.kill()
        try:
            self.assertTrue(select.select([plug_in], [], [], PATIENCE)[0], "it runs on without its host")
        except AssertionError:
            signal.pidfd_send_signal(plug_in, signal.SIGKILL)
            raise
        finally:
            os.close(plug_in)


if __name__ == "__main__":
    main()
