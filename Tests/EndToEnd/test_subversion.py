"""qrbscm in Subversion working copies says what svn says, and does what svn shows afterwards."""

import os
import shutil
import subprocess

from hosting import PATIENCE, main, path_of
from subversions import NAMES, SubversionTest, pegged

ITEMS = {"added": "added", "deleted": "deleted", "replaced": "replaced", "missing": "missing",
         "unversioned": "untracked", "ignored": "ignored", "external": "external", "obstructed": "obstructed",
         "incomplete": "incomplete", "modified": "modified", "conflicted": "modified"}
FOR_CONTENTS = {"added", "renamed", "copied", "deleted", "replaced", "missing", "untracked", "ignored", "external",
                "obstructed"}
GONE, NEW = {"delete", "missing", "moved-away"}, {"add", "moved-here", "unversioned"}


def conflict_words(entry):
    """What "svn info" tells of the conflicts of one path."""
    words = set()
    for conflict in entry.iter("conflict"):
        kinds = {"text": {"both-modified"}, "property": {"properties-conflicted"}, "tree": set()}
        words |= kinds[conflict.get("type")]
    for tree in entry.iter("tree-conflict"):
        here, coming = tree.get("reason"), tree.get("action")
        words.add("tree-conflict")
        if here in NEW and coming == "add":
            words.add("both-added")
        elif here in GONE and coming == "delete":
            words.add("both-deleted")
        elif here in GONE:
            words.add("deleted-by-us")
        elif coming == "delete":
            words.add("deleted-by-them")
        elif here in NEW:
            words.add("added-by-us")
        elif coming == "add":
            words.add("added-by-them")
    return words


class Status(SubversionTest):
    maxDiff = None

    def svn_status(self, place, *options):
        """Path to words, from what svn prints for programs."""
        expected = {}
        for entry in self.xml(place, "status", "--no-ignore", "--ignore-externals", *options).iter("entry"):
            path, here, there = entry.get("path"), entry.find("wc-status"), entry.find("repos-status")
            item, copied = here.get("item"), here.get("copied") == "true"
            words = {ITEMS[item]} if item in ITEMS else set()
            if copied and item in ("added", "replaced"):
                words.add("copied")
            if item == "added" and here.get("moved-from"):
                words = {"renamed"}
            if copied and item == "added" and not self.is_folder(place, path) and (
                    "\n@@ " in self.svn(place, "diff", pegged(path))):
                words.add("modified")
            if here.get("moved-to"):
                words.add("moved-away")
            if here.get("props") in ("modified", "conflicted") and (item != "added" or copied):
                words.add("properties-modified")
            if item == "conflicted" or "conflicted" in (here.get("props"), here.get("tree-conflicted") and "conflicted"):
                words |= {"conflicted"} | conflict_words(self.xml(place, "info", pegged(path)))
            for attribute, word in [("switched", "switched"), ("file-external", "external"),
                                    ("wc-locked", "administrative-lock")]:
                if here.get(attribute) == "true":
                    words.add(word)
            if here.find("lock") is not None:
                words.add("locked")
            if words & FOR_CONTENTS and self.is_folder(place, path):
                words.add("directory")
            if there is not None:
                item = there.get("item")
                if item in ("added", "deleted", "replaced", "modified"):
                    words.add("remote-" + item)
                if there.get("props") == "modified" and item not in ("added", "deleted", "replaced"):
                    words.add("remote-properties-modified")
                if there.find("lock/token") is not None and (
                        here.find("lock/token") is None or here.findtext("lock/token") != there.findtext("lock/token")):
                    words.add("remote-locked")
            if words:
                expected[path] = words
        return expected

    def assert_agrees(self, place, remote=False):
        listed = {entry["path"]: set(entry["status"])
                  for entry in self.json_of("status", "--ignored", *(["--remote"] if remote else []), place)}
        expected = self.svn_status(place, *(["--show-updates"] if remote else []))
        with self.subTest(remote=remote):
            self.assertEqual(self.differing(listed, expected), {}, "what is listed and what svn says")
        return listed

    @staticmethod
    def differing(listed, expected):
        return {path: (listed.get(path), expected.get(path)) for path in listed.keys() | expected.keys()
                if listed.get(path) != expected.get(path)}

    def changed(self):
        """A trunk with every kind of change."""
        url, trunk = self.orchard()
        self.svn(trunk, "update", "--quiet", "--set-depth", "empty", "woods/deep")
        self.svn(trunk, "propset", "--quiet", "svn:needs-lock", "*", "plum", "quince")
        self.svn(trunk, "propset", "--quiet", "svn:ignore", "*.log\nbuild", ".")
        self.svn(trunk, "propset", "--quiet", "svn:global-ignores", "*.tmp", ".")
        self.svn(trunk, "propset", "--quiet", "svn:externals",
                 "^/proj/tags/v1.0/trees lib\n^/proj/tags/v1.0/plum file.txt", ".")
        for name in ("missing", "missing folder/x", "obstructed", "switched/x", "two", "nested/x", "binary", "swapped"):
            self.write(trunk, name)
        self.commit(trunk, "more")
        self.svn(trunk, "lock", "--quiet", "plum")
        self.svn(trunk, "switch", "--quiet", "--ignore-ancestry", "^/proj/tags/v1.0/trees", "switched")
        self.svn(trunk, "changelist", "--quiet", "mine", "quince")
        for name in ["apple", *NAMES]:
            self.write(trunk, name, b"changed\n")
            self.write(trunk, name + ".new")
        self.svn(trunk, "propset", "--quiet", "colour", "blue", "two")
        self.svn(trunk, "propset", "--quiet", "colour", "blue", "woods")
        self.svn(trunk, "propset", "--quiet", "colour", "blue", "apple")
        os.remove(os.path.join(trunk, "missing"))
        shutil.rmtree(os.path.join(trunk, "missing folder"))
        os.remove(os.path.join(trunk, "obstructed"))
        os.mkdir(os.path.join(trunk, "obstructed"))
        self.svn(trunk, "move", "--quiet", "moved pear", "again")
        self.svn(trunk, "copy", "--quiet", "quince", "copy of quince")
        self.write(trunk, "copy of quince", b"changed\n")
        self.svn(trunk, "copy", "--quiet", "woods", "copied woods")
        self.svn(trunk, "move", "--quiet", "nested", "moved folder")
        self.write(trunk, "moved folder/x", b"changed\n")
        self.svn(trunk, "remove", "--quiet", "--keep-local", "binary")
        self.svn(trunk, "remove", "--quiet", "swapped")
        self.svn(trunk, "copy", "--quiet", "plum", "swapped")
        self.svn(trunk, "remove", "--quiet", "cherry")
        self.write(trunk, "cherry")
        self.svn(trunk, "add", "--quiet", "cherry")
        self.write(trunk, "new/x")
        self.svn(trunk, "add", "--quiet", "new")
        self.svn(trunk, "propset", "--quiet", "colour", "blue", "new")
        for name in ("x.o", "x.log", "x.tmp", "build/x", "new/y.tmp", "untracked folder/y", "lib/here"):
            self.write(trunk, name)
        os.symlink("apple", os.path.join(trunk, "link"))
        os.symlink("nowhere", os.path.join(trunk, "dangling"))
        return url, trunk

    def test_agrees_with_svn_on_the_last_detail(self):
        url, trunk = self.changed()
        self.assert_agrees(trunk)
        other = self.check_out(url + "/proj/trunk", "other")
        self.svn(other, "lock", "--quiet", "--force", "plum")
        self.svn(other, "lock", "--quiet", "woods/oak")
        self.svn(other, "propset", "--quiet", "colour", "pink", "quince")
        self.svn(other, "remove", "--quiet", "two", "missing")
        self.svn(other, "remove", "--quiet", "copied plum")
        self.svn(other, "copy", "--quiet", "apple", "copied plum")
        self.commit(other, "elsewhere", apple="other\n", **{"arriving/x": "1\n", "cherry": "3\n", "woods/oak": "2\n"})
        self.svn(other, "propset", "--quiet", "colour", "pink", ".")
        self.commit(other, "the root")
        self.assert_agrees(trunk, remote=True)

    def test_conflicts_agree_with_svn(self):
        url, trunk = self.orchard()
        for name in ("edit-edit", "edit-delete", "delete-edit", "delete-delete", "property", "both", "move-edit", "folder/x"):
            self.write(trunk, name, b"base\n")
        self.commit(trunk, "base")
        other = self.check_out(url + "/proj/trunk", "other")
        self.svn(other, "remove", "--quiet", "edit-delete", "delete-delete", "folder")
        for name in ("property", "both"):
            self.svn(other, "propset", "--quiet", "colour", "theirs", name)
            self.svn(trunk, "propset", "--quiet", "colour", "ours", name)
        self.commit(other, "theirs", **{name: "theirs\n" for name in
                                        ("edit-edit", "delete-edit", "both", "move-edit", "new", "unversioned")})
        self.svn(trunk, "remove", "--quiet", "delete-edit", "delete-delete")
        self.svn(trunk, "move", "--quiet", "move-edit", "moved")
        for name in ("edit-edit", "edit-delete", "both", "new", "unversioned", "folder/x"):
            self.write(trunk, name, b"ours\n")
        self.svn(trunk, "add", "--quiet", "new")
        result = self.run_host("update", cwd=trunk)
        self.assertEqual(result.returncode, 1)
        self.assertIn(b"The update has left conflicts.", result.stderr)
        listed = self.assert_agrees(trunk)
        kinds = set().union(*listed.values())
        self.assertGreaterEqual(kinds, {"both-modified", "both-added", "both-deleted", "deleted-by-us", "deleted-by-them",
                                        "properties-conflicted", "tree-conflict"})
        self.assertEqual(self.run_host("commit", "-m", "not yet", "edit-edit", cwd=trunk).returncode, 1)
        conflicted = [path for path, words in listed.items() if "conflicted" in words]
        result = self.run_host("resolve", *conflicted, cwd=trunk)
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        self.assertEqual([words for words in self.assert_agrees(trunk).values() if "conflicted" in words], [])
        self.assertEqual(self.run_host("commit", "-m", "resolved", cwd=trunk).returncode, 0)
        self.assertEqual(self.svn(trunk, "cat", "edit-edit"), self.read(trunk, "edit-edit"))

    def test_a_working_copy_on_its_way_is_told_so(self):
        """Sparse, incomplete, locked by an operation that ended half-way."""
        url, _ = self.orchard("")
        sparse = self.check_out(url + "/trunk", "sparse", "--depth", "files")
        self.svn(sparse, "update", "--quiet", "--set-depth", "empty", "woods")
        self.assertEqual(self.assert_agrees(sparse), {})
        self.assertIn("woods/oak", self.assert_agrees(sparse, remote=True) or ["woods/oak"])


if __name__ == "__main__":
    main()
