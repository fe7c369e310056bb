"""What qrbscm does to a working copy is what git does to its twin."""

import os
import shutil
import signal
import subprocess

from awkward import AWKWARD_NAMES
from hosting import HostTest, main, path_of, within_patience


class ChangesTest(HostTest):
    def twin(self, repository):
        path = repository + ".twin"
        shutil.copytree(repository, path, symlinks=True)
        return path

    def state(self, repository):
        """Files, staging area and history, but for the names of commits, which depend on the time."""
        files = {}
        for folder, folders, names in os.walk(os.fsencode(repository)):
            if b".git" in folders:
                folders.remove(b".git")
            for name in names:
                path = os.path.join(folder, name)
                with open(path, "rb") as file:
                    files[os.path.relpath(path, os.fsencode(repository))] = file.read()
        head = self.git(repository, "symbolic-ref", "--quiet", "HEAD", check=False)
        return {"files": files, "head": head, "index": self.git(repository, "ls-files", "--stage", "-z"),
                "status": self.git(repository, "status", "--porcelain=v2", "-z", "--untracked-files=all")
                .replace(b".twin", b""),
                "history": self.git(repository, "log", "--all", "--topo-order", "--format=%T%x00%an%x00%ae%x00%B%x00%D")}

    def orchard(self):
        path = self.repository()
        self.commit(path, "first", apple="1\n", pear="1\n", **{"trees/oak": "1\n", "trees/ash": "1\n"})
        self.git(path, "tag", "v1")
        self.git(path, "checkout", "--quiet", "-b", "topic")
        self.commit(path, "on topic", plum="1\n", pear="topic\n")
        self.git(path, "checkout", "--quiet", "main")
        return path

    def assert_same(self, host_commands, git_commands, prepare=lambda path: None, status=0):
        self.setUp()
        ours = self.orchard()
        prepare(ours)
        git = self.twin(ours)
        results = [self.run_host(*command, cwd=ours) for command in host_commands]
        self.assertEqual(results[-1].returncode, status, results[-1].stderr)
        for command in git_commands:
            subprocess.run(["git", *command], cwd=git, env=self.environment, capture_output=True, check=False)
        self.assertEqual(self.state(ours), self.state(git))
        return results[-1]


class Files(ChangesTest):
    def test_what_is_done_to_files_is_what_git_does(self):
        def edit(path):
            self.write(path, "apple", b"changed\n")
            self.write(path, "trees/oak", b"changed\n")
            self.write(path, "new/leaf", b"new\n")

        def edit_and_stage(path):
            edit(path)
            self.git(path, "add", "trees")

        def awkward(path):
            for name in AWKWARD_NAMES:
                self.write(path, name)

        for name, ours, git, prepare in [
                ("add a file", ["add", "apple"], [["add", "apple"]], edit),
                ("add folders", ["add", "new", "trees"], [["add", "new", "trees"]], edit),
                ("add all", ["add", "."], [["add", "."]], edit),
                ("add awkward names", ["add", "--", *AWKWARD_NAMES], [["add", "."]], awkward),
                ("remove", ["rm", "pear", "trees"], [["rm", "-r", "pear", "trees"]], lambda path: None),
                ("rename", ["mv", "pear", "quince"], [["mv", "pear", "quince"]], lambda path: None),
                ("move several", ["mv", "pear", "apple", "trees/"], [["mv", "pear", "apple", "trees/"]],
                 lambda path: None),
                ("move a folder", ["mv", "trees", "woods"], [["mv", "trees", "woods"]], lambda path: None),
                ("discard one", ["discard", "apple"], [["checkout", "HEAD", "--", "apple"]], edit_and_stage),
                ("discard all", ["discard", "--all"], [["reset", "--hard"]], edit_and_stage)]:
            with self.subTest(name):
                self.assert_same([ours], git, prepare)

    def test_a_copy_is_a_new_file_of_the_same_content(self):
        ours = self.orchard()
        self.assertEqual(self.run_host("cp", "pear", "trees", cwd=ours).returncode, 0)
        self.assertIn(b"trees/pear", self.git(ours, "ls-files"))
        refused = self.run_host("cp", "apple", "trees/pear", cwd=ours)
        self.assertEqual(refused.returncode, 1)
        with open(os.path.join(ours, "trees/pear"), encoding="ascii") as file:
            self.assertEqual(file.read(), "1\n", "a file was overwritten")

    def test_folders_are_made_one_or_all_of_a_path(self):
        ours = self.orchard()
        self.assertEqual(self.run_host("mkdir", "a", "b", cwd=ours).returncode, 0)
        self.assertEqual(self.run_host("mkdir", "c/d", cwd=ours).returncode, 1)
        self.assertEqual(self.run_host("mkdir", "-p", "c/d", cwd=ours).returncode, 0)
        self.assertTrue(all(os.path.isdir(os.path.join(ours, name)) for name in ("a", "b", "c/d")))

    def test_files_are_relative_to_where_the_user_is(self):
        ours = self.orchard()
        for name, arguments, cwd in [("trees/new", ["add", "new"], os.path.join(ours, "trees")),
                                     ("other", ["add", "../other"], os.path.join(ours, "trees")),
                                     ("trees/third", ["add", "-C", os.path.join(ours, "trees"), "third"], self.folder)]:
            with self.subTest(name):
                self.write(ours, name)
                self.assertEqual(self.run_host(*arguments, cwd=cwd).returncode, 0)
                self.assertIn(name, self.git(ours, "ls-files").decode().split("\n"))

    def test_what_cannot_be_done_is_refused_and_changes_nothing(self):
        ours = self.orchard()
        self.write(ours, "apple", b"changed\n")
        self.write(self.folder, "outside")
        before = self.state(ours)
        for arguments, status, text in [
                (["add"], 2, "--help"), (["add", "nothing"], 1, "nothing"), (["add", "../outside"], 1, "outside"),
                (["add", ".git/config"], 1, ".git"), (["add", ""], 1, "path"), (["rm", "apple"], 1, "apple"),
                (["mv", "apple"], 2, "--help"), (["mv", "apple", "pear", "plum"], 1, "not a folder"),
                (["mv", "nothing", "plum"], 1, "nothing"), (["mv", "pear", "apple"], 1, "apple"),
                (["discard"], 2, "--all"), (["discard", "--all", "apple"], 2, "--all"), (["mkdir", "trees"], 1, "trees"),
                (["resolve", "nothing"], 1, "nothing"), (["commit", "-m", ""], 1, "message"),
                (["commit", "-m", "x", "-F", "y"], 2, "--file"), (["commit", "-F", "no such file"], 1, "no such file"),
                (["commit"], 1, "--message"), (["commit", "-m", "x", "pear"], 1, "nothing to commit"),
                (["switch"], 2, "where to"), (["switch", "nowhere"], 1, "nowhere"), (["switch", "-c", "main"], 1, "main"),
                (["switch", "--", "-x"], 1, "-x"), (["merge", "nothing"], 1, "nothing"), (["blame", "nothing"], 1, "nothing"),
                (["export", "apple"], 2, "REVISION"), (["export", "apple", "v1", "-o", "nothing"], 1, "nothing")]:
            with self.subTest(arguments):
                result = self.run_host(*arguments, cwd=ours)
                errors = result.stderr.decode()
                self.assertEqual(result.returncode, status, errors)
                self.assertTrue(errors.startswith("qrbscm: "), errors)
                self.assertIn(text, errors)
                self.assertEqual(self.state(ours), before)


class Commits(ChangesTest):
    def staged(self, path):
        self.write(path, "apple", b"staged\n")
        self.git(path, "add", "apple")
        self.write(path, "trees/oak", b"not staged\n")
        self.write(path, "new", b"new\n")

    def test_a_commit_is_the_one_that_git_makes(self):
        for name, ours, git in [
                ("staged", ["commit", "-m", "water"], [["commit", "-m", "water"]]),
                ("paragraphs", ["commit", "-m", "one", "-m", "two\nlines"], [["commit", "-m", "one", "-m", "two\nlines"]]),
                ("files only", ["commit", "-m", "oak", "trees/oak"], [["commit", "-m", "oak", "--", "trees/oak"]]),
                ("a new file", ["commit", "-m", "new", "new"], [["add", "-N", "new"], ["commit", "-m", "new", "--", "new"]])]:
            with self.subTest(name):
                result = self.assert_same([ours], git, self.staged)
                ours_path = os.path.join(self.folder, "orchard")
                revision = self.git(ours_path, "rev-parse", "HEAD").decode().strip()
                self.assertEqual(result.stdout.decode().split()[0], revision)

    def test_the_message_comes_from_a_file_or_standard_input(self):
        ours = self.orchard()
        self.write(self.folder, "text", "trees \u20ac\n\nwith a body\n".encode())
        for name, arguments, options in [("file", ["-F", os.path.join(self.folder, "text")], {}),
                                         ("input", ["-F", "-"], {"input": "text"})]:
            with self.subTest(name):
                self.staged(ours)
                self.write(ours, "apple", name.encode())
                source = open(os.path.join(self.folder, "text"), "rb")  # pylint: disable=consider-using-with
                self.addCleanup(source.close)
                result = subprocess.run([os.environ["QRBSCM"], "commit", "--json", *arguments, "apple"], cwd=ours,
                                        env=self.environment, stdin=source if options else subprocess.DEVNULL,
                                        capture_output=True, timeout=60, check=True)
                self.assertIn(self.git(ours, "rev-parse", "HEAD").strip(), result.stdout)
                self.assertEqual(self.git(ours, "log", "-1", "--format=%B").decode().strip(),
                                 "trees \u20ac\n\nwith a body")

    def hook(self, repository, name, script):
        path = os.path.join(repository, ".git", "hooks", name)
        self.write(repository, path, b"#!/bin/sh\n" + script)
        os.chmod(path, 0o755)

    def test_what_hooks_say_is_shown_whether_they_let_the_commit_pass_or_not(self):
        ours = self.orchard()
        self.staged(ours)
        self.hook(ours, "pre-commit", b"echo 'looks \033[31mripe' >&2; echo 'second word'\nexit 0\n")
        result = self.run_host("commit", "-m", "pass", cwd=ours)
        self.assertEqual(result.returncode, 0, result.stderr)
        for word in (b"looks \\033[31mripe", b"second word"):
            self.assertIn(word, result.stderr)
        self.write(ours, "apple", b"again\n")
        self.hook(ours, "pre-commit", b"echo 'not ripe' >&2\nexit 1\n")
        before = self.state(ours)
        result = self.run_host("commit", "-m", "stop", "apple", cwd=ours)
        self.assertEqual(result.returncode, 1)
        self.assertEqual(result.stderr.count(b"not ripe"), 1, result.stderr)
        self.assertEqual(self.state(ours), before)

    def test_an_interrupted_commit_leaves_everything_as_it_was(self):
        ours = self.orchard()
        self.staged(ours)
        gate = os.path.join(self.folder, "gate")
        os.mkfifo(gate)
        self.hook(ours, "pre-commit", f'echo there >"{gate}"\nread -r _ <"{gate}"\n'.encode())
        before = self.state(ours)
        for files in ([], ["trees/oak"]):
            with self.subTest(files):
                host = self.start("commit", "-m", "never", *files, cwd=ours)
                reading = os.open(gate, os.O_RDONLY | os.O_NONBLOCK)
                within_patience(reading)
                os.close(reading)
                os.kill(host.pid, signal.SIGINT)
                result = self.finish(host)
                self.assertEqual(result.returncode, -signal.SIGINT)
                self.assertIn(b"cancel", result.stderr)
                self.assertEqual([name for name in os.listdir(os.path.join(ours, ".git")) if "lock" in name], [])
                self.assertEqual(self.state(ours), before)
        os.remove(os.path.join(ours, ".git/hooks/pre-commit"))
        self.assertEqual(self.run_host("commit", "-m", "now", cwd=ours).returncode, 0)

    def edit(self, script, **options):
        editor = os.path.join(self.folder, "an editor")
        self.write(self.folder, editor, b"#!/bin/sh\n" + script)
        os.chmod(editor, 0o755)
        environment = dict(self.environment, EDITOR=f"'{editor}' --wait")
        return self.converse("commit", cwd=os.path.join(self.folder, "orchard"), environment=environment, **options)

    def test_without_a_message_the_editor_is_started(self):
        ours = self.orchard()
        self.staged(ours)
        seen = os.path.join(self.folder, "seen")
        status, shown = self.edit(b'[ "$1" = --wait ] || exit 7\nls -ld "$(dirname "$2")" >"%s.mode"\ncp "$2" "%s"\n'
                                  b'printf "\\n# no\\nfruit  \\n\\n\\nbody\\n" >>"$2"\n' % ((seen.encode(),) * 2))
        self.assertEqual(status, 0, shown)
        self.assertEqual(self.git(ours, "log", "-1", "--format=%B").decode(), "fruit\n\nbody\n\n")
        with open(seen, encoding="utf-8") as text:
            text = text.read()
        self.assertIn("#   apple\n", text)
        self.assertNotIn("oak", text)
        with open(seen + ".mode", encoding="ascii") as mode:
            self.assertTrue(mode.read().startswith("drwx------"), "others can read what is written")

    def test_an_interruption_that_is_meant_for_the_editor_does_not_stop_the_commit(self):
        ours = self.orchard()
        self.staged(ours)
        status, shown = self.edit(b'kill -INT "$(cut -d" " -f4 /proc/$PPID/stat)"\necho fruit >"$2"\n')
        self.assertEqual((status, self.git(ours, "log", "-1", "--format=%s")), (0, b"fruit\n"), shown)

    def test_a_message_that_is_not_written_commits_nothing(self):
        ours = self.orchard()
        self.staged(ours)
        before = self.state(ours)
        for script, ends, text in [(b"exit 0\n", 1, "empty"), (b"exit 3\n", 1, "exit code 3"),
                                   (b"kill -INT 0; sleep 100\n", -signal.SIGINT, "SIGINT"),
                                   (b"rm \"$2\"; exit 0\n", 1, "cannot be read")]:
            with self.subTest(script):
                status, shown = self.edit(script)
                self.assertEqual(status, ends)
                self.assertIn(text, shown)
                self.assertEqual(self.state(ours), before)


class Locations(ChangesTest):
    def test_switching_is_what_git_does(self):
        def changed(path):
            self.write(path, "apple", b"changed\n")

        def in_the_way(path):
            self.write(path, "pear", b"changed\n")

        def with_remote(path):
            self.git(path, "clone", "--quiet", "--bare", path, path + ".origin")
            self.git(path, "remote", "add", "origin", path + ".origin")
            self.git(path, "fetch", "--quiet", "origin")
            self.git(path, "branch", "-D", "topic")

        for name, ours, git, prepare, status in [
                ("branch", ["switch", "topic"], ["switch", "topic"], changed, 0),
                ("new branch", ["switch", "-c", "new"], ["switch", "-c", "new"], changed, 0),
                ("new branch from a tag", ["switch", "-c", "new", "v1"], ["switch", "-c", "new", "v1"], changed, 0),
                ("tag", ["switch", "v1"], ["switch", "--detach", "v1"], changed, 0),
                ("revision", ["switch", "topic~1"], ["switch", "--detach", "topic~1"], changed, 0),
                ("branch of a remote", ["switch", "topic"], ["switch", "topic"], with_remote, 0),
                ("changes in the way", ["switch", "topic"], ["switch", "topic"], in_the_way, 1)]:
            with self.subTest(name):
                result = self.assert_same([ours], [git], prepare, status)
                if status:
                    self.assertIn(b"pear", result.stderr)

    def test_merging_is_what_git_does(self):
        def ahead(path):
            self.commit(path, "on main", cherry="1\n")

        def conflict(path):
            self.commit(path, "on main", pear="main\n")

        for name, prepare, status in [("fast-forward", lambda path: None, 0), ("true merge", ahead, 0),
                                      ("conflict", conflict, 1)]:
            with self.subTest(name):
                result = self.assert_same([["merge", "topic"]], [["merge", "topic"]], prepare, status)
        self.assertIn(b"pear", result.stderr)
        ours = os.path.join(self.folder, "orchard")
        self.write(ours, "pear", b"both\n")
        self.assertEqual(self.run_host("resolve", "pear", cwd=ours).returncode, 0)
        self.assertEqual(self.git(ours, "diff", "--name-only", "--diff-filter=U"), b"")
        self.assertEqual(self.run_host("commit", "-m", "merged", cwd=ours).returncode, 0)
        self.assertEqual(len(self.git(ours, "log", "-1", "--format=%P").split()), 2)

    def test_blame_names_the_commits_that_git_names(self):
        ours = self.repository()
        lines = [f"line {number}\n" for number in range(40)]
        self.commit(ours, "first\n\nbody", old="".join(lines))
        lines[5:7] = ["five\n", "six\n"]
        self.commit(ours, "second", old="".join(lines))
        self.git(ours, "mv", "old", "new")
        self.commit(ours, "renamed")
        self.write(ours, "new", "".join(lines[:-1] + ["not committed\n"]).encode())
        for arguments in (["new"], ["new", "HEAD"], ["new", "main"]):
            with self.subTest(arguments):
                expected = []
                git = ["blame", "--line-porcelain", *(["HEAD"] if len(arguments) > 1 else []), "--", "new"]
                for line in self.git(ours, *git).decode().split("\n"):
                    if len(line.split(" ")[0]) == 40:
                        expected.append(line.split(" ")[0].strip("0") and line.split(" ")[0])
                found = []
                for entry in self.json_of("blame", *arguments, cwd=ours):
                    self.assertEqual(entry["firstLine"], len(found) + 1)
                    found += [entry["revision"] or ""] * entry["lineCount"]
                self.assertEqual(found, expected)
        plain = self.run_host("blame", "new", cwd=ours).stdout.decode()
        self.assertIn("not committed yet", plain)
        self.assertIn("second", plain)

    def test_an_exported_file_is_what_the_revision_has(self):
        ours = self.orchard()
        revision = self.git(ours, "rev-parse", "topic").decode().strip()
        target = os.path.join(self.folder, "out")
        os.mkdir(target)
        for arguments, content in [(["pear", "topic"], b"topic\n"), (["pear", "v1"], b"1\n"),
                                   (["pear", revision], b"topic\n"), (["pear", "--parent-of", revision], b"1\n")]:
            with self.subTest(arguments):
                entry, = self.json_of("export", *arguments, "-o", target, cwd=ours)
                self.assertEqual(path_of(entry), os.fsencode(os.path.join(target, "pear")))
                with open(path_of(entry), "rb") as file:
                    self.assertEqual(file.read(), content)
                refused = self.run_host("export", *arguments, "-o", target, cwd=ours)
                self.assertEqual((refused.returncode, refused.stdout), (1, b""), "a file was overwritten")
                os.remove(path_of(entry))


if __name__ == "__main__":
    main()
