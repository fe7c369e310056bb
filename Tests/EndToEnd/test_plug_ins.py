"""Plug-ins by others, here one in Python under a name of its own: found, asked, and no fault of theirs costs more than
the one request that it happens in."""

import fcntl
import json
import os
import re
import select
import signal
import subprocess

from hosting import HOST, PATIENCE, HostTest, main

NAME = "org.example.Snap"
EXAMPLE = os.path.join(os.path.dirname(os.path.abspath(__file__)),
                       "../../Examples/python-plug-in/org.qrb.Orlix.sourcecontrol.Git")
SHIPPED = os.path.join(os.path.dirname(HOST), "../libexec/qrbsourcecontrol/org.qrb.Orlix.sourcecontrol.Git")

PAGE = os.path.join(os.path.dirname(EXAMPLE), "../../Documentation/protocol.md")

with open(PAGE, encoding="utf-8") as file:
    SECTIONS = set(re.findall("^##+ (.*)$", file.read(), re.MULTILINE))
with open(EXAMPLE, encoding="ascii") as file:
    PLUG_IN = file.read()
# Isolated, and so begun sooner: whatever the check finds, it starts the program many times.
for old, new in (("/usr/bin/env python3", "/usr/bin/python3 -IS"), ('"Git", "version"', '"Snap", "version"'),
                 ('"org.qrb.Orlix.sourcecontrol.Git"', f'"{NAME}"'), ('".git"', '".snap"')):
    assert old in PLUG_IN, old
    PLUG_IN = PLUG_IN.replace(old, new)


def at(condition, action):
    """An edit: what is done with a request before it is served."""
    place = "    try:\n        answer"
    return place, f"    if {condition}: {action}\n{place}"


LISTING, OTHERS = (f'message[2] {test} b"sourceControlSystemWithCompletionBlock:"' for test in ("==", "!="))
CRASH = "os.kill(os.getpid(), 11)"
GARBAGE = 'connection.sendall(b"\\xc1")'
HALF = 'connection.sendall(b"\\x94\\x01"), sys.exit(3)'
BEGUN = "open(os.path.dirname(os.path.abspath(sys.argv[0])) + '/begun', 'w').write(str(os.getpid()))"
SPIN = f"{BEGUN}; any(iter(int, 1))"
BUSY = at(OTHERS, SPIN)
# A working copy as far as one that fails gets with it; its place is the only file: address among the arguments.
MAKE = ("place = repr(message[3]).split('file://')[1].split(\"'\")[0]; os.makedirs(place + '/.snap/history'); "
        "open(place + '/text', 'w').close(); ")
SILENT = at(LISTING, "continue")
LOCKS = "listLocksOfWorkingCopy:withRemoteLocks:completionBlock:"
TAGS = "listTagsOfRepository:branchAndTagLocations:completionBlock:"
HISTORY = ("historyOfWorkingCopy:fromRevision:toRevision:inclusionType:maximumLogItems:searchString:searchType:"
           "progressIdentifier:completionBlock:")

# Faults that can be in one plug-in at once: the edits that make each, and the checks that name it by what they tell.
FAULTS = [
    [([SILENT], {"listing": "did not answer .* within 4 s"})],
    [([at(LISTING, CRASH)], {"listing": r"signal 11 \(SIGSEGV"})],
    [([at(LISTING, HALF)], {"listing": r"exit code 3\), in the middle of a message"})],
    [([at(LISTING, GARBAGE)], {"messages": "a byte that begins no value, at byte 0"})],
    [([("os.dup2(2, 1)", 'print("found: git", flush=True)')], {"messages": '"found: git'})],
    [([("[1, message[1], *answer]", "[1, 7, *answer]")], {"response": "a response with the id 7 to the request with the id 1"})],
    [([("[1, message[1], *answer]", "[1, message[1], answer[0], 5]")], {"response": "an array of the reply values was expected"})],
    [([at(LISTING, 'connection.sendall(pack([2, "more", []]))')], {"response": 'the call "more": no host serves it'})],
    [([('"version": "1.0"', '"version": 1')],
      {"descriptor": r'key "version": a string was expected, and an integer found, at byte \d+ of'})],
    [([at("message[2] not in REQUESTS", "assert False")], {"unknown-request": r"exit code 1\).*AssertionError"})],
    [([("-700", "-701")], {"unknown-request": "the error -701"})],
    [([(f'"{NAME}"', '"org.example.Snip"')], {"identifier": '"org.example.Snip", the file is "org.example.Snap"'}),
     ([('"version": "1.0", ', "")], {"shown-names": "version is missing"}),
     ([('".snap",', '"a/b",')], {"folder-name": '"a/b"'}),
     ([('"hasLocalRepository": True', '"hasLocalRepository": True, "supportedAuthenticationTypes": 8')],
      {"authentication": "are 8"}),
     ([('"plugInIdentifier"', f'"additionalRequests": ["{TAGS}", "addFiles:inWorkingCopy:completionBlock:"], "plugInIdentifier"')],
      {"additional-requests": "addFiles:", TAGS: "-700", "addFiles:inWorkingCopy:completionBlock:": "-700"}),
     ([("request(*(arguments + [None] * 2)[:request.__code__.co_argcount])", "request(*arguments)")],
      {"more-arguments": "TypeError"}),
     ([("[1, message[1], *answer]))", "[1, message[1], *answer]) * 2)")], {"one-answer": "another message"}),
     ([("reader = Reader()", "reader = Reader()\nimport atexit\natexit.register(os._exit, 3)")], {"finished": "exit code 3"})],
    [([("sys.exit()  # the host is gone", "threading.Event().wait()")],
      {f"end-{when}": "runs on" for when in ("before-request", "in-request", "after-answer")})],
    [([('sys.exit(f"not understood: {message[-2]}")', "continue")], {"not-understood": "unknown notification it runs on"}),
     ([at("message[3][:1] == [-1]", "connection.sendall(pack([1, message[1], None, []])); continue")],
      {"wrong-types": "scanForWorkingCopies.* as if it had understood"}),
     ([at('message[2].startswith(b"files") and not message[3]', CRASH)], {"missing-arguments": "signal 11"}),
     ([("local, remote = folder", 'local, remote = b"keyOfALaterVersion" in working_copy and os.abort() or folder')],
      {"unknown-keys": "signal 6"}),
     ([("[1, message[1], *answer]", "[1, message[1] & 0xFFFF, *answer]")], {"largest-id": "id 65535"}),
     ([at('message[2].startswith(b"scanForWorkingCopiesInP") and message[3] == [[]]',
          'connection.sendall(pack([1, message[1], None, ["none"]])); continue')],
      {"scanForWorkingCopiesInPotentialWorkingCopies:completionBlock:": "value 1: an array was expected, and a string found"})],
    [([('".snap"', '".git"'), ("local[path.removesuffix(b\"/\")]", "local[path]")], {"status": '"new/" ends in a /'}),
     ([("REQUESTS = {", f'REQUESTS = {{b"{HISTORY}": lambda copy: copy[b"fileURL"] and connection.sendall('
        'pack([2, "progressStatus:withDictionary:progressIdentifier:", [9, {}, "another"]])) or [[]],\n            ')],
      {"callbacks": 'the progress identifier "another"'})],
]


class PlugIns(HostTest):
    def install(self, *edits, folder="plug-ins", mode=0o755):
        place = os.path.join(self.folder, folder)
        os.makedirs(place, exist_ok=True)
        source = PLUG_IN
        for old, new in edits:
            self.assertIn(old, source)
            source = source.replace(old, new)
        path = os.path.join(place, NAME)
        with open(path, "w", encoding="ascii") as file:
            file.write(source)
        os.chmod(path, mode)
        return "--plug-in-directory", place

    def working_copy(self):
        path = os.path.join(self.folder, "work")
        os.makedirs(os.path.join(path, ".snap"), exist_ok=True)
        return path

    def test_it_works_under_its_own_name(self):
        # Names of two parts are those of scripts, and nobody calls a copy by another's name.
        options = self.install()
        for other in ("snap.py", "org.example.Snap.old"):
            os.symlink(NAME, os.path.join(self.folder, "plug-ins", other))
        result = self.run_host("systems", "--json", *options)
        systems = {each["identifier"]: each["name"] for each in json.loads(result.stdout)}
        self.assertEqual(systems[NAME], "Snap")
        self.assertEqual(sorted(systems), sorted([NAME, *("org.qrb.Orlix.sourcecontrol." + each for each in ("Git", "Subversion"))]))
        self.assertIn(f'org.example.Snap.old: its descriptor has the plugInIdentifier "{NAME}"', result.stderr.decode())

    def test_each_fault_costs_its_request_and_is_told(self):
        asked = "filesAndStatusOfWorkingCopy:withRemoteStatus:completionBlock:"
        faults = {CRASH: f'the process ended (signal 11 (SIGSEGV, Segmentation fault)) before it answered "{asked}"',
                  HALF: f'the process ended (exit code 3) before it answered "{asked}"',
                  GARBAGE: "what is not understood: a byte that begins no value, at byte 0 of the message",
                  'connection.sendall(pack([1, message[1], None, ["status"]]))':
                  f'the reply to "{asked}", value 1: a dictionary was expected, and a string found, at byte 29'}
        for action, told in faults.items():
            with self.subTest(action):
                result = self.run_host("status", *self.install(at(OTHERS, action)), cwd=self.working_copy())
                self.assertEqual(result.returncode, 1)
                self.assertIn(f"{NAME}: ", result.stderr.decode())
                self.assertIn(told, result.stderr.decode())

    def test_one_that_is_silent_is_left_out_where_it_has_no_say_and_named_elsewhere(self):
        options = self.install(SILENT)
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
            self.install(folder=folder)
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
        for action, ending in ((CRASH, None), (HALF, None), (SPIN, signal.SIGINT), (SPIN, signal.SIGKILL)):
            for place in ("new/deep/work", "mine"):
                with self.subTest(action=action, ending=ending, place=place):
                    arguments = [*address, place, "--system", "Snap", *self.install(at(OTHERS, MAKE + action))]
                    if ending:
                        os.mkfifo(begun)
                        self.end_when_begun(arguments, begun, ending, os.path.join(self.folder, place))
                    else:
                        self.assertEqual(self.run_host(*arguments).returncode, 1)
                    self.assertEqual(os.listdir(os.path.join(self.folder, "mine")), [])
                    self.assertFalse(os.path.exists(os.path.join(self.folder, "new")))
        self.write(self.folder, "mine/text")
        self.assertEqual(self.run_host(*address, "mine", "--system", "Snap", *self.install(at(OTHERS, MAKE + CRASH))).returncode, 1)
        self.assertTrue(os.path.exists(os.path.join(self.folder, "mine/text")), "what was there is not the request's")

    def test_one_that_never_looks_up_ends_with_its_host(self):
        begun = os.path.join(self.folder, "plug-ins", "begun")
        options = self.install(BUSY)
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

    def checked(self, *arguments, path=None, **options):
        """What the check says: its exit status, and its entries by their names."""
        path = path or os.path.join(self.folder, "plug-ins", NAME)
        result = self.run_host("plug-in", "check", "--json", path, *arguments, **options)
        return result.returncode, {each["check"]: each for each in json.loads(result.stdout.decode())}

    def test_the_check_finds_nothing_wrong_where_nothing_is(self):
        self.install()
        repository = self.repository()
        self.commit(repository, apple="red\n")
        for path, arguments, served in (
                (os.path.join(self.folder, "plug-ins", NAME), [], 2),
                (SHIPPED, ["--working-copy", repository, "--url", repository], 47)):
            status, checks = self.checked(*arguments, path=path)
            self.assertEqual([each for each in checks.values() if each["result"] == "wrong"], [])
            self.assertEqual(status, 0)
            self.assertLessEqual({each["section"] for each in checks.values()}, SECTIONS)
            answered = [name for name, each in checks.items() if ":" in name and each["result"] == "ok"]
            self.assertEqual(len(answered), served, answered)
            self.assertEqual([name for name in ("status", "history", "blame", "callbacks") if name in checks and
                              checks[name]["result"] != "ok"], [])
        # Where a tool that looks above its folder would find a working copy, it is not asked for what changes one.
        _, checks = self.checked(path=SHIPPED, environment={**self.environment, "TMPDIR": repository})
        self.assertEqual({name: each["result"] for name, each in checks.items() if ":" in name and each["result"] != "skipped"},
                         {LOCKS: "not served"})
        self.assertEqual(self.git(repository, "status", "--porcelain"), b"")

    def test_the_check_names_each_fault(self):
        repository = self.repository()
        self.write(repository, "new/apple")
        # Most of each is waiting for what does not come, so a few go on side by side.
        for begin in range(0, len(FAULTS), 5):
            started = []
            for number, group in enumerate(FAULTS[begin:begin + 5]):
                wanted = {name: detail for _, names in group for name, detail in names.items()}
                _, place = self.install(*(edit for edits, _ in group for edit in edits), folder=f"plug-ins {number}")
                example = ["--working-copy", repository] if "callbacks" in wanted else []
                started.append((wanted, self.start("plug-in", "check", "--json", os.path.join(place, NAME), "--timeout", "4",
                                                   *example)))
            for wanted, host in started:
                with self.subTest(wanted):
                    result = self.finish(host)
                    told = {each["check"]: each["detail"] for each in json.loads(result.stdout) if each["result"] == "wrong"}
                    self.assertEqual(sorted(told), sorted(wanted), told)
                    for name, detail in wanted.items():
                        self.assertRegex(told[name], detail)
                    self.assertEqual(result.returncode, 1)

    def test_the_check_looks_at_the_file(self):
        self.install(mode=0o664)
        status, checks = self.checked()
        self.assertEqual((status, {name for name, each in checks.items() if each["result"] == "wrong"}),
                         (1, {"file", "name", "owner", "start"}))

    def test_a_check_that_is_stopped_leaves_nothing(self):
        self.install(BUSY)
        begun = os.path.join(self.folder, "plug-ins", "begun")
        os.mkfifo(begun)
        host = self.start("plug-in", "check", os.path.join(self.folder, "plug-ins", NAME))
        with open(begun, encoding="ascii") as file:
            self.assertTrue(file.read())
        os.kill(host.pid, signal.SIGINT)
        self.assertEqual(self.finish(host).returncode, -signal.SIGINT)

    def test_a_check_of_nothing_is_wrong_usage(self):
        self.install()
        path = os.path.join(self.folder, "plug-ins", NAME)
        for arguments in ([], [self.folder], [path + "s"], [path, "--timeout", "0"], [path, "--working-copy", path]):
            with self.subTest(arguments):
                result = self.run_host("plug-in", "check", *arguments)
                self.assertEqual((result.returncode, result.stdout), (2, b""))


if __name__ == "__main__":
    main()
