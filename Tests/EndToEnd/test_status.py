"""qrbscm status says of every path what git status says."""

import os
import unittest

import awkward
from hosting import HostTest, main, path_of

KINDS = {"M": "modified", "A": "added", "D": "deleted", "R": "renamed", "C": "copied", "T": "type-changed"}
CONFLICTS = {"UU": "both-modified", "AA": "both-added", "DD": "both-deleted", "AU": "added-by-us",
             "UA": "added-by-them", "DU": "deleted-by-us", "UD": "deleted-by-them"}
SUBMODULE = {"C": "submodule-new-commits", "M": "submodule-modified-content", "U": "submodule-untracked-content"}


def words_of(letters, module):
    words = set()
    if letters[0] in KINDS:
        words.add("staged-" + KINDS[letters[0]])
    if letters[1] in KINDS:
        words.add(KINDS[letters[1]])
    if module[0] == "S":
        words |= {"submodule"} | {SUBMODULE[letter] for letter in module[1:] if letter != "."}
    return words


def git_status(test, repository, *options):
    """Path to words, from what git prints for programs."""
    expected = {}
    records = iter(test.git(repository, "status", "--porcelain=v2", "-z", *options).split(b"\0"))
    for record in records:
        if not record:
            continue
        kind = record[:1].decode()
        if kind in "?!":
            path, words = record[2:], {"untracked" if kind == "?" else "ignored"}
            if path.endswith(b"/"):
                path, words = path[:-1], words | {"directory"}
        else:
            fields = record.split(b" ", {"1": 8, "2": 9, "u": 10}[kind])
            letters, module, path = fields[1].decode(), fields[2].decode(), fields[-1]
            words = words_of(letters, module) if kind != "u" else {"conflicted", CONFLICTS[letters]}
            if kind == "2":
                expected.setdefault(next(records), set()).add("moved-away")
        expected.setdefault(path, set()).update(words)
    return expected


class Status(HostTest):
    def assert_agrees(self, repository, host_options=(), git_options=()):
        entries = self.json_of("status", *host_options, repository)
        listed = {path_of(entry): set(entry["status"]) for entry in entries}
        self.assertEqual(len(listed), len(entries), "a path is listed twice")
        self.assertEqual(listed, git_status(self, repository, *git_options))
        return entries

    def test_agrees_with_git_on_the_last_detail(self):
        for make in awkward.AWKWARD:
            with self.subTest(make.__name__):
                self.setUp()
                self.assert_agrees(make(self))

    def test_shows_ignored_paths_only_when_asked(self):
        repository = awkward.every_kind_of_change(self)
        entries = self.assert_agrees(repository, ["--ignored"], ["--ignored"])
        self.assertIn("x.o", [entry["path"] for entry in entries])

    def test_a_path_that_is_not_text_is_shown_and_told_exactly(self):
        repository = self.repository()
        self.write(repository, b"not\xffutf8")
        entry, = self.json_of("status", repository)
        self.assertEqual((entry["path"], path_of(entry)), ("not\ufffdutf8", b"not\xffutf8"))

    def test_a_rename_tells_the_old_name_where_there_is_no_doubt(self):
        repository = self.repository()
        self.commit(repository, "first", old="text\n" * 20)
        self.git(repository, "mv", "old", "new")
        renamed = {entry["path"]: entry.get("originalPath") for entry in self.json_of("status", repository)}
        self.assertEqual(renamed, {"old": None, "new": "old"})

    def test_remote_status_shows_what_the_upstream_has(self):
        origin = self.repository("origin")
        self.commit(origin, "first", kept="1", changed="1")
        clone = os.path.join(self.folder, "clone")
        self.git(self.folder, "clone", "--quiet", origin, clone)
        self.commit(origin, "second", changed="2", new="1")
        self.git(clone, "fetch", "--quiet")
        self.write(clone, "changed", b"here, too")
        self.assert_agrees(clone)
        words = {entry["path"]: set(entry["status"]) for entry in self.json_of("status", "--remote", clone)}
        self.assertEqual(words, {"changed": {"modified", "remote-modified"}, "new": {"remote-added"}})

    def test_the_whole_working_copy_is_shown_from_any_folder_in_it(self):
        repository = awkward.awkward_names(self)
        self.assertEqual(self.json_of("status", cwd=os.path.join(repository, "folder")),
                         self.json_of("status", repository))

    def test_plain_output_has_one_harmless_line_for_each_path(self):
        repository = self.repository()
        for name in awkward.AWKWARD_NAMES:
            self.write(repository, name)
        result = self.run_host("status", repository)
        lines = result.stdout.decode("utf-8").splitlines()
        self.assertEqual(len(lines), len(self.json_of("status", repository)))
        self.assertFalse([byte for byte in result.stdout.replace(b"\n", b"") if byte < 0x20])
        self.assertIn('untracked  "line\\nend"', lines)
        self.assertIn('untracked  "not\\377utf8\\376"', lines)
        self.assertIn("untracked  \u00fcmlaut", lines)
        self.assertIn("untracked  folder/", lines)

    def test_inherited_git_variables_do_not_lead_elsewhere(self):
        repository, other = self.repository(), self.repository("other")
        self.write(repository, "here")
        misled = dict(self.environment, GIT_DIR=os.path.join(other, ".git"), GIT_WORK_TREE=other)
        self.assertEqual([entry["path"] for entry in self.json_of("status", repository, environment=misled)], ["here"])


if __name__ == "__main__":
    main()
