"""What is wrong is told: on standard error, for people, and by the exit status."""

import json
import os
import shutil
import re
import subprocess

from hosting import HOST, PATIENCE, HostTest, main


class BadInput(HostTest):
    def assert_told(self, result, status, *texts):
        self.assertEqual(result.returncode, status, result.stderr)
        errors = result.stderr.decode("utf-8")
        self.assertTrue(errors.startswith("qrbscm: "), errors)
        for text in texts:
            self.assertIn(text, errors)

    def test_wrong_usage_is_explained_and_ends_with_2(self):
        for arguments, text in [
                ([], "subcommand"), (["bogus"], '"bogus"'), (["--bogus"], "--bogus"), (["status", "--bogus"], "--bogus"),
                (["log", "-n"], "--max-count"), (["log", "-n", "many"], '"many"'), (["log", "-n", "-1"], '"-1"'),
                (["log", "-n", "99999999999999999999"], "99999999999999999999"), (["log", "--file"], "--file"),
                (["log", "--search", "a", "--author", "b"], "--author"), (["status", ".", "."], "."),
                (["status", "--plug-in-directory", "/no/such/folder"], "/no/such/folder")]:
            with self.subTest(arguments):
                result = self.run_host(*arguments)
                self.assert_told(result, 2, text, "--help")
                self.assertEqual(result.stdout, b"")

    def test_help_and_version_succeed_on_standard_output(self):
        listed = self.run_host("--help").stdout.decode().split("Subcommands:")[1].split("\n\n")[0]
        commands = re.findall(r"^  ([a-z-]+) ", listed, re.MULTILINE)
        self.assertGreater(len(commands), 20)
        for arguments in (["--help"], ["--version"], *([command, "--help"] for command in commands)):
            with self.subTest(arguments):
                result = self.run_host(*arguments)
                self.assertEqual((result.returncode, result.stderr), (0, b""))
                self.assertIn(b"qrbscm", result.stdout)
                if "--help" in arguments:
                    self.assertIn(b"Examples:", result.stdout)

    def test_a_place_that_is_no_working_copy(self):
        repository = self.repository()
        self.write(repository, "a file")
        os.mkdir(os.path.join(self.folder, "no copy"))
        unreachable = os.path.join(repository, "a file", "below")
        for command in ("status", "log", "branches", "info"):
            for path, text in [(os.path.join(self.folder, "no copy"), "no copy"), ("/no/such/place", "/no/such/place"),
                               (os.path.join(repository, "a file"), "not a folder"), (unreachable, "below"),
                               ("\x1b[2J", "\\033")]:
                with self.subTest(command=command, path=path):
                    result = self.run_host(command, path)
                    self.assert_told(result, 1, "no working copy could be found", text)
                    self.assertEqual(result.stdout, b"")
                    self.assertNotIn(b"\x1b", result.stderr)

    def test_what_is_no_repository_does_not_hide_the_one_around_it(self):
        repository = self.repository()
        self.commit(repository, "first", a="1")
        self.repository("orchard/headless")
        os.remove(os.path.join(repository, "headless/.git/HEAD"))
        os.makedirs(os.path.join(repository, "empty/.git"))
        self.repository("orchard/damaged")
        self.write(repository, "damaged/.git/HEAD", b"1" * 40 + b"\n")
        for folder in ("empty", "headless"):
            self.write(repository, folder + "/deep/new")
            for place in (folder, folder + "/deep"):
                with self.subTest(place):
                    entry, = self.json_of("log", cwd=os.path.join(repository, place))
                    self.assertEqual(entry["message"].strip(), "first")
        self.assertEqual(self.run_host("add", "new", cwd=os.path.join(repository, "empty/deep")).returncode, 0)
        self.assertEqual(self.git(repository, "ls-files"), b"a\nempty/deep/new\n")
        self.assertEqual(self.run_host("log", cwd=os.path.join(repository, "damaged")).returncode, 1)

    def test_a_machine_without_git(self):
        repository = self.repository()
        empty = os.path.join(self.folder, "empty")
        os.mkdir(empty)
        for command in ("status", "log", "branches", "info"):
            with self.subTest(command):
                result = self.run_host(command, repository, environment=dict(self.environment, PATH=empty))
                self.assert_told(result, 1, '"git"')

    def test_a_damaged_repository_is_reported_as_what_it_is(self):
        def remove_object(path, name):
            name = self.git(path, "rev-parse", name).decode().strip()
            os.remove(os.path.join(path, ".git/objects", name[:2], name[2:]))

        def cut_index(path):
            with open(os.path.join(path, ".git/index"), "r+b") as index:
                index.truncate(20)

        def index_is_a_folder(path):
            os.remove(os.path.join(path, ".git/index"))
            os.mkdir(os.path.join(path, ".git/index"))

        def broken_pointer(path):
            os.rename(os.path.join(path, ".git"), os.path.join(self.folder, "elsewhere"))
            self.write(path, ".git", b"gitdir: /no/such/place\n")

        def head_astray(path):
            self.write(path, head, b"1" * 40 + b"\n")

        def unknown_extension(path):
            self.git(path, "config", "core.repositoryformatversion", "1")
            self.git(path, "config", "extensions.foo", "true")

        index, config, head = ".git/index", ".git/config", ".git/HEAD"
        for number, (damage, command, headline) in enumerate([
                (lambda path: self.write(path, index, b"not an index at all, only text\n"), "status", "staging area"),
                (lambda path: self.write(path, index, b""), "status", "staging area"),
                (cut_index, "diff", "staging area"), (index_is_a_folder, "status", "staging area"),
                (lambda path: os.remove(os.path.join(path, head)), "status", "no working copy"),
                (broken_pointer, "status", "no working copy"),
                (head_astray, "status", "revision that “HEAD”"), (head_astray, "diff", "revision that “HEAD”"),
                (head_astray, "blame a", "revision that “HEAD”"),
                (lambda path: remove_object(path, "HEAD~"), "log", "damaged: “"),
                (lambda path: remove_object(path, "HEAD:a"), "show", "damaged: “"),
                (lambda path: remove_object(path, "HEAD:a"), "commit -m x b", "damaged: “"),
                (lambda path: remove_object(path, "topic"), "show topic", "revision that “topic” stands for is missing"),
                (lambda path: self.write(path, config, b"[core\n"), "status", "configuration"),
                (unknown_extension, "status", "format"),
                (lambda path: self.git(path, "config", "core.repositoryformatversion", "99"), "status", "format")]):
            with self.subTest(number=number, command=command):
                repository = self.repository(f"damaged{number}")
                self.commit(repository, "first", a="1")
                self.git(repository, "branch", "topic")
                self.commit(repository, "second", a="2")
                self.write(repository, "b")
                if command.startswith("commit"):
                    self.git(repository, "add", "b")
                damage(repository)
                result = self.run_host(*command.split(), cwd=repository)
                self.assertEqual(result.returncode, 1)
                self.assertIn(headline, result.stderr.decode())
                if command == "status":
                    self.assert_told(result, 1, self.git_complaint(repository))

    def test_what_git_meets_is_the_headline(self):
        repository = self.repository()
        self.commit(repository, "first", a="1")
        self.git(repository, "remote", "add", "origin", "https://example.org/a.git")
        self.write(self.folder, "bin/git", b"""#!/bin/sh
case " $* " in *" $FAILING "*) printf %s "$WORDS" >&2; exit "$STATUS" ;; esac
exec """ + os.fsencode(shutil.which("git")) + b""" "$@"
""")
        os.chmod(os.path.join(self.folder, "bin/git"), 0o755)
        for command, status, words, headline in [
                ("add a", 128, "fatal: Unable to create '/r/index.lock': Read-only file system", "cannot be written to"),
                ("commit -m x --", 1, "error: a: failed to write: No space left on device", "The disk is full"),
                ("commit -m x --", 1, "error: unable to create a file: Read-only file system", "cannot be written"),
                ("fetch", 128, "fatal: unable to access 'https://x/': Could not resolve x", "could not be reached"),
                ("fetch", 128, "fatal: unable to look up x (port 9418) (Name unknown)", "could not be reached"),
                ("merge main", 1, "hint: use 'git add'\nfatal: Exiting because of an unresolved conflict.", "uncompleted"),
                ("merge main", 128, "fatal: x while merging\nConsider \"git merge --quit\" or a hint.", "failed"),
                ("add a", 128, "fatal: Unable to create '/r/index.lock': File exists.\n\nAnother git process seems to "
                 "be running in this repository, e.g.\nan editor opened by 'git commit'. Hint: make sure\nhint\n"
                 "hint\nremove the hint manually.", "locked"),
                ("add a", 1, "The following paths are ignored by one of your .gitignore files:\na\nhint: Use -f\n",
                 "leave these files out")]:
            with self.subTest(words):
                environment = dict(self.environment, FAILING=command.split()[0], STATUS=str(status), WORDS=words,
                                   PATH=os.path.join(self.folder, "bin") + ":" + self.environment["PATH"])
                if command.startswith("commit"):
                    self.write(repository, "a", words.encode())
                    command += " a"
                result = self.run_host(*command.split(), cwd=repository, environment=environment)
                errors = result.stderr.decode().split("qrbscm: ", 1)[-1]
                self.assertEqual((result.returncode, "hint" in errors), (1, False), errors)
                self.assertIn(headline, errors.splitlines()[0])
                self.assertNotIn(b"hint:", result.stderr)

    def test_a_full_disk_is_told_where_git_only_says_that_it_could_not_write(self):
        full = os.path.join(self.folder, "full")
        os.mkdir(full)
        script = """mount -t tmpfs -o size=512k none full || exit 77
cd full && git init -q && git commit -q --allow-empty -m first || exit 78
dd if=/dev/zero of=fill bs=4096 2>/dev/null
exec "$0" branch add topic
"""
        result = subprocess.run(["unshare", "--user", "--map-root-user", "--mount", "sh", "-c", script, HOST],
                                cwd=self.folder, env=self.environment, capture_output=True, timeout=PATIENCE)
        if result.returncode == 77 or b"unshare" in result.stderr:
            self.skipTest("no file system can be mounted here")
        self.assertEqual(result.returncode, 1, result.stderr)
        self.assertIn(b"The disk is full", result.stderr)

    def test_what_is_of_another_kind_is_told_as_that(self):
        repository = self.repository()
        self.commit(repository, "first", a="1", **{"d/b": "2"})
        self.git(repository, "tag", "file", "HEAD:a")
        self.git(repository, "tag", "-m", "folder", "folder", "HEAD:d")
        self.repository("orchard/inner")
        self.commit(os.path.join(repository, "inner"), "inner")
        self.commit(repository, "with a submodule")
        os.remove(os.path.join(repository, "a"))
        for arguments, headline in [("tag file", 'The tag "file" is the contents of a file'),
                                    ("show file", 'The tag "file" is the contents of a file'),
                                    ("diff folder", 'The tag "folder" is the contents of a folder'),
                                    ("blame a", "“a” is not in the working copy any more"),
                                    ("blame inner", "“inner” is a folder or a submodule"),
                                    ("blame d HEAD", "“d” is a folder or a submodule"),
                                    ("blame no", 'path "no" could not be found')]:
            with self.subTest(arguments):
                self.assert_told(self.run_host(*arguments.split(), cwd=repository), 1, headline)

    def git_complaint(self, repository):
        """The last words of git on the same repository, without its address: 'fatal: '."""
        result = subprocess.run(["git", "status", "--porcelain=v2"], cwd=repository, env=self.environment,
                                capture_output=True, timeout=60, stdin=subprocess.DEVNULL)
        self.assertNotEqual(result.returncode, 0)
        return result.stderr.decode().strip().splitlines()[-1].removeprefix("fatal: ")

    def test_a_file_that_no_history_knows(self):
        repository = self.repository()
        self.commit(repository, "first", a="1")
        self.write(repository, "untracked")
        for file in ("untracked", "no such file", "../outside", "/etc/passwd"):
            with self.subTest(file):
                self.assert_told(self.run_host("log", "--file", file, repository), 1, "path", file)

    def test_no_plug_in_answers(self):
        """Programs that are no plug-ins stand where these are looked for first."""
        for system in ("Git", "Subversion"):
            false = os.path.join(self.folder, "plug-ins", "org.qrb.Orlix.sourcecontrol." + system)
            self.write(self.folder, false, b"#!/bin/sh\nexit 3\n")
            os.chmod(false, 0o755)
        option = ["--plug-in-directory", os.path.dirname(false)]
        result = self.run_host("systems", "--json", *option)
        self.assertEqual((result.returncode, json.loads(result.stdout)), (0, []))
        self.assertIn(b"the process ended (exit code 3)", result.stderr)
        self.assert_told(self.run_host("status", *option, self.repository()), 1, "plug-ins were looked for in",
                         os.path.dirname(false))

    def test_output_that_cannot_be_written_is_a_failure(self):
        repository = self.repository()
        self.commit(repository, "first", a="1")
        for command in ("systems", "log"):
            with open("/dev/full", "wb") as full, self.subTest(command):
                self.assert_told(self.run_host(command, cwd=repository, stdout=full), 1, "No space left on device")
        result = self.run_host("log", cwd=repository, stdout=None, preexec_fn=lambda: os.close(1))
        self.assert_told(result, 1, "Bad file descriptor")


if __name__ == "__main__":
    main()
