"""qrbscm log tells the history that git log tells."""

import os
from datetime import datetime, timezone

import awkward
from hosting import HostTest, main, path_of

WORDS = {"A": "added", "M": "modified", "D": "deleted", "T": "type-changed", "R": "renamed", "C": "copied"}


def changes_of(test, repository, revision):
    """Path to words, and old path to new, of one commit; of a merge none, as git log shows it."""
    if len(test.git(repository, "rev-list", "--parents", "-n1", revision).split()) > 2:
        return {}, {}
    fields = iter(test.git(repository, "diff-tree", "--root", "-r", "-z", "-M", "--no-commit-id", "--name-status",
                           revision).split(b"\0")[:-1])
    changes, renames = {}, {}
    for kind in fields:
        letter, path = kind[:1].decode(), next(fields)
        if letter in "RC":
            original, path = path, next(fields)
            renames[original] = path
        changes[path] = {WORDS[letter]}
    return changes, renames


def git_log(test, repository, *options):
    fields = test.git(repository, "log", "-z", "--encoding=UTF-8", "--format=%H%x00%an%x00%at%x00%B", *options,
                      check=False).split(b"\0")
    text = [field.decode("utf-8", "replace") for field in fields]
    entries = []
    for revision, author, seconds, message in zip(*[iter(text)] * 4):
        date = datetime.fromtimestamp(int(seconds), timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ")
        entries.append((revision, author, date, message.rstrip("\n")))
    return entries


class Log(HostTest):
    def entries(self, *arguments, **options):
        listed = self.json_of("log", *arguments, **options)
        return listed, [(entry["revision"], entry["author"], entry["date"], entry["message"].rstrip("\n"))
                        for entry in listed]

    def test_agrees_with_git_on_every_commit(self):
        for make in awkward.AWKWARD:
            with self.subTest(make.__name__):
                self.setUp()
                repository = make(self)
                listed, entries = self.entries(repository)
                self.assertEqual(entries, git_log(self, repository))
                for entry in listed:
                    changes = {path_of(change): set(change["status"]) for change in entry["paths"]}
                    renames = {path_of(rename, "from"): path_of(rename, "to") for rename in entry.get("renames", [])}
                    self.assertEqual((changes, renames), changes_of(self, repository, entry["revision"]))

    def test_selections_agree_with_git(self):
        repository = self.repository()
        for number in range(40):
            author = "Bert" if number % 3 else "Ada"
            self.git(repository, "commit", "--quiet", "--allow-empty", "--author", f"{author} <{author}@example.org>",
                     "--message", f"change {number}{' FIX (it)' if number % 4 == 0 else ''}")
        for host_options, git_options in [
                (["-n", "7"], ["-n7"]), (["-n", "0"], []), (["-n", "1000"], []),
                (["--search", "fix (it)"], ["--grep=FIX (it)", "-F"]),
                (["--search", "fix", "-n", "3"], ["--grep=FIX", "-n3"]),
                (["--search", ".*"], ["--grep=no such text"]),
                (["--author", "bert"], ["--author=Bert"]),
                (["--author", "Ada@example"], ["--author=Ada@example"])]:
            with self.subTest(host_options):
                self.assertEqual(self.entries(*host_options, repository)[1], git_log(self, repository, *git_options))

    def test_the_history_of_a_file_goes_on_under_its_old_name(self):
        repository = awkward.renamed_in_history(self)
        self.write(repository, "other")
        self.commit(repository, "another file")
        self.assertEqual([entry["message"].strip() for entry in self.json_of("log", "--file", "two", repository)],
                         ["after", "renamed and changed", "first"])

    def test_a_file_that_a_merge_brought_from_elsewhere_has_a_history(self):
        repository = self.repository()
        self.commit(repository, "ours", one="1\n")
        self.git(repository, "switch", "--quiet", "--orphan", "theirs")
        self.commit(repository, "theirs", two="2\n")
        self.git(repository, "switch", "--quiet", "main")
        self.git(repository, "merge", "--quiet", "-s", "ours", "--no-commit", "--allow-unrelated-histories", "theirs")
        self.git(repository, "read-tree", "--prefix=sub/", "-u", "theirs")
        self.commit(repository, "merged")
        for options, messages in [([], ["merged"]), (["--search", "merg"], ["merged"]), (["--author", "bert"], [])]:
            listed = self.json_of("log", "--file", "sub/two", *options, repository)
            self.assertEqual([entry["message"].strip() for entry in listed], messages)

    def test_a_file_is_named_as_seen_from_the_folder(self):
        repository = self.repository()
        self.write(repository, "a/x")
        self.commit(repository, "a")
        self.write(repository, "x", b"nothing like the other\n")
        self.commit(repository, "top")
        inner = os.path.join(repository, "a")
        for file, folder, message in [("x", inner, "a"), ("../x", inner, "top"), ("a/../x", repository, "top"),
                                      (os.path.join(repository, "a", "x"), inner, "a")]:
            with self.subTest(file):
                entry, = self.json_of("log", "--file", file, cwd=folder)
                self.assertEqual(entry["message"].strip(), message)

    def test_plain_output_cannot_disturb_a_terminal(self):
        repository = awkward.awkward_messages(self)
        result = self.run_host("log", "--paths", repository)
        self.assertEqual(result.returncode, 0)
        text = result.stdout.decode("utf-8")
        self.assertFalse([sign for sign in text if (sign < " " and sign != "\n") or "\x7f" <= sign < "\xa0"])
        self.assertIn("\\033[31mred \\a", text)

    def test_branches_and_info_follow_the_checkout(self):
        repository = awkward.merged(self)
        tips = dict(line.split() for line in
                    self.git(repository, "for-each-ref", "--format=%(refname:short) %(objectname)",
                             "refs/heads").decode().splitlines())
        for current, kind in [("main", "branch"), ("side", "branch"), ("side~1", "revision")]:
            with self.subTest(current):
                self.git(repository, "checkout", "--quiet", current)
                revision = self.git(repository, "rev-parse", "HEAD").decode().strip()
                branches = self.json_of("branches", repository)
                self.assertEqual({branch["name"]: branch["revision"] for branch in branches}, tips)
                self.assertEqual([branch["name"] for branch in branches if branch["current"]],
                                 [current] if kind == "branch" else [])
                info, = self.json_of("info", os.path.join(repository))
                self.assertEqual((info["path"], info["revision"], info["location"]["kind"]), (repository, revision, kind))
        worktree = os.path.join(self.folder, "tree")
        self.git(repository, "worktree", "add", "--quiet", worktree, "main")
        info, = self.json_of("info", worktree)
        self.assertEqual((info["path"], info["location"]["name"]), (worktree, "main"))

    def test_info_and_branches_of_a_repository_without_commits(self):
        repository = self.repository()
        info, = self.json_of("info", repository)
        self.assertEqual((info["revision"], info["location"]["name"]), (None, "main"))
        self.assertEqual(self.json_of("branches", repository), [])


if __name__ == "__main__":
    main()
