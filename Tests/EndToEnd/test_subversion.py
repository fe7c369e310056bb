"""qrbscm in Subversion working copies says what svn says, and does what svn shows afterwards."""

import os
import random
import re
import shlex
import shutil
import subprocess
import tempfile
from urllib.parse import unquote

import servers
from hosting import PATIENCE, main, path_of
from subversions import NAMES, SubversionTest, pegged
from workspaces import WorkspaceTest

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
            if "both-deleted" in words:
                words.discard("missing")  # svn's sign for what nothing is left of
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

    def svn_locks(self, place, *options):
        """Path to who holds the lock, why and since when: somebody else's where the working copy lost its own."""
        expected = {}
        for entry in self.xml(place, "status", *options).iter("entry"):
            locks = [entry.find(side + "/lock") for side in ("repos-status", "wc-status")]
            for lock in [lock for lock in locks if lock is not None][:1]:
                expected[entry.get("path")] = {"owner": lock.findtext("owner"), "comment": lock.findtext("comment") or "",
                                               "created": lock.findtext("created")[:19] + "Z"}
        return expected

    def assert_agrees(self, place, remote=False):
        entries = self.json_of("status", "--ignored", *(["--remote"] if remote else []), place)
        listed = {entry["path"]: set(entry["status"]) for entry in entries}
        options = ["--show-updates"] if remote else []
        expected = self.svn_status(place, *options)
        with self.subTest(remote=remote):
            self.assertEqual(self.differing(listed, expected), {}, "what is listed and what svn says")
            self.assertEqual({entry["path"]: entry["lock"] for entry in entries if "lock" in entry},
                             self.svn_locks(place, *options))
        return listed

    @staticmethod
    def differing(listed, expected):
        return {path: (listed.get(path), expected.get(path)) for path in listed.keys() | expected.keys()
                if listed.get(path) != expected.get(path)}

    def test_every_kind_of_change_agrees_with_svn(self):
        url, trunk = self.grown()
        self.svn_all(trunk, "update --set-depth empty woods/deep", "propset svn:needs-lock '*' plum quince",
                     "propset svn:ignore '*.log' .", "propset svn:global-ignores '*.tmp' .")
        self.svn(trunk, "propset", "svn:externals", "^/proj/tags/v1.0/trees lib\n^/proj/tags/v1.0/plum file.txt", ".")
        self.write_all(trunk, ["missing", "missing folder/x", "obstructed", "switched/x", "two", "nested/x", "kept", "swapped"])
        self.svn_commit(trunk, "more")
        self.write_all(trunk, [name + end for name in ["apple", *NAMES] for end in ("", ".new")], b"changed\n")
        os.remove(os.path.join(trunk, "missing"))
        shutil.rmtree(os.path.join(trunk, "missing folder"))
        os.remove(os.path.join(trunk, "obstructed"))
        os.mkdir(os.path.join(trunk, "obstructed"))
        os.symlink("nowhere", os.path.join(trunk, "link"))
        self.svn_all(trunk, "lock plum", "switch --ignore-ancestry ^/proj/tags/v1.0/trees switched",
                     "changelist mine quince", "propset colour blue two woods apple", "move 'moved pear' again",
                     "copy quince 'copy of quince'", "copy woods 'copied woods'", "move nested 'moved folder'",
                     "remove --keep-local kept", "remove swapped cherry", "copy plum swapped")
        self.write_all(trunk, ["copy of quince", "moved folder/x", "cherry", "new/x"], b"changed\n")
        self.svn_all(trunk, "add cherry new", "propset colour blue new")
        self.write_all(trunk, ["x.o", "x.log", "x.tmp", "new/y.tmp", "untracked folder/y", "ignored.o/x", "lib/here"])
        self.assert_agrees(trunk)
        other = self.check_out(url + "/proj/trunk", "other")
        self.svn_all(other, "propset colour pink quince .", "remove two missing",
                     "remove 'copied plum'", "copy apple 'copied plum'")
        self.svn_commit(other, "elsewhere", apple="other\n", **{"arriving/x": "1\n", "cherry": "3\n", "woods/oak": "2\n"})
        self.svn(other, "lock", "--force", "--message", "It is\nmine.", "plum", author="ada")
        self.svn_all(other, "lock woods/oak")  # after the commit, which would release them
        self.assert_agrees(trunk, remote=True)
        self.assertIn(b"plum  (locked by ada: It is)\n", self.run_host("status", "--remote", trunk).stdout)

    def test_conflicts_agree_with_svn(self):
        url, trunk = self.grown()
        self.write_all(trunk, ["edited", "gone there", "gone here", "gone", "property", "both", "moved", "folder/x"])
        self.svn_commit(trunk, "base")
        other = self.check_out(url + "/proj/trunk", "other")
        self.svn_all(other, "remove 'gone there' gone folder", "propset colour theirs property both")
        self.svn_commit(other, "theirs", **{name: "theirs\n" for name in
                                            ("edited", "gone here", "both", "moved", "new", "untracked")})
        self.svn_all(trunk, "propset colour ours property both", "remove 'gone here' gone", "move moved elsewhere")
        self.write_all(trunk, ["edited", "gone there", "both", "new", "untracked", "folder/x"], b"ours\n")
        self.svn_all(trunk, "add new")
        result = self.run_host("update", cwd=trunk)
        self.assertEqual(result.returncode, 1)
        self.assertIn(b"The update has left conflicts.", result.stderr)
        listed = self.assert_agrees(trunk)
        self.assertGreaterEqual(set().union(*listed.values()), {
            "both-modified", "both-added", "both-deleted", "deleted-by-us", "deleted-by-them", "properties-conflicted",
            "tree-conflict"})
        conflicted = [path for path, words in listed.items() if "conflicted" in words]
        for command, status in [(["commit", "-m", "not yet", "edited"], 1), (["resolve", *conflicted], 0),
                                (["commit", "-m", "resolved"], 0)]:
            self.assertEqual(self.run_host(*command, cwd=trunk).returncode, status)
        self.assertEqual(self.svn(trunk, "cat", "edited"), self.read(trunk, "edited"))
        self.assertEqual([words for words in self.assert_agrees(trunk).values() if "conflicted" in words], [])

    def test_sparse_and_interrupted_working_copies_agree_with_svn(self):
        url, _ = self.grown("")
        sparse = self.check_out(url + "/trunk", "sparse", "--depth", "files")
        self.svn(sparse, "update", "--quiet", "--set-depth", "files", "woods")
        self.assertEqual(self.assert_agrees(sparse), {})
        self.assert_agrees(sparse, remote=True)
        self.alter(sparse, "INSERT INTO wc_lock (wc_id, local_dir_relpath, locked_levels) VALUES (1, '', 0)")
        self.alter(sparse, "UPDATE nodes SET presence = 'incomplete' WHERE local_relpath = 'woods'")
        self.assertEqual(self.assert_agrees(sparse), {".": {"administrative-lock"}, "woods": {"incomplete"}})


class History(SubversionTest):
    def svn_log(self, place, *arguments):
        """What svn tells of each revision, newest first, with paths as seen from the working copy."""
        prefix = self.xml(place, "info").findtext("entry/relative-url")[1:]
        entries = []
        for entry in self.xml(place, "log", "--verbose", *arguments).iter("logentry"):
            changes, renames = {}, {}
            paths = list(entry.iter("path"))
            gone = {path.text for path in paths if path.get("action") in "DR"}

            def relative(path):
                return os.path.relpath(path, prefix)

            for path in paths:
                action, origin = path.get("action"), path.get("copyfrom-path")
                if relative(path.text).startswith(".."):
                    continue
                if action == "A" and origin in gone:
                    words = {"renamed"}
                    renames[relative(origin)] = relative(path.text)
                elif action == "M":
                    words = {word for key, word in [("text-mods", "modified"), ("prop-mods", "properties-modified")]
                             if path.get(key) == "true"}
                else:
                    words = {{"A": "added", "D": "deleted", "R": "replaced"}[action]} | ({"copied"} if origin else set())
                changes[relative(path.text)] = words
            entries.append((entry.get("revision"), entry.findtext("author") or "(no author)", entry.findtext("date"),
                            (entry.findtext("msg") or "").rstrip("\n"), changes, renames))
        return entries

    def log(self, place, *arguments):
        return [(entry["revision"], entry["author"], entry["date"], entry["message"],
                 {path_of(path).decode(): set(path["status"]) for path in entry["paths"]},
                 {path_of(rename, "from").decode(): path_of(rename, "to").decode() for rename in entry.get("renames", [])})
                for entry in self.json_of("log", *arguments, cwd=place)]

    def test_a_long_history_with_branches_agrees_with_svn(self):
        """5,000 revisions, every 500th of which copies the trunk; the working copy is of the last branch."""
        # Thousands of revisions are thousands of files: in memory, where there is room, no disk is waited for.
        memory = "/dev/shm"
        has_room = os.access(memory, os.W_OK) and shutil.disk_usage(memory).free > 500_000_000
        folder = tempfile.mkdtemp(prefix="qrbscm-test-", dir=memory if has_room else None)
        self.addCleanup(shutil.rmtree, folder, ignore_errors=True)
        url = self.new_repository(os.path.join(folder, "long"))
        with open(os.path.join(url[len("file://"):], "db", "fsfs.conf"), "a", encoding="ascii") as file:
            file.write("[rep-sharing]\nenable-rep-sharing = false\n")  # which makes each revision wait for the disk
        revisions, source = 5000, random.Random(5)
        dump = [b"SVN-fs-dump-format-version: 2\n\n"]

        def node(number, path, action, content=None, origin=None):
            head = f"Node-path: {path}\nNode-kind: {'dir' if content is None else 'file'}\nNode-action: {action}\n"
            if origin:
                head += f"Node-copyfrom-rev: {number - 1}\nNode-copyfrom-path: {origin}\n"
            body = (f"Text-content-length: {len(content)}\nContent-length: {len(content)}\n\n{content}" if content is not None
                    else "\n" if origin else "Prop-content-length: 10\nContent-length: 10\n\nPROPS-END\n")
            dump.append((head + body + "\n\n").encode())

        for number in range(1, revisions + 1):
            values = f"K 7\nsvn:log\nV 6\nr {number:04}\nK 10\nsvn:author\nV 3\nann\nPROPS-END\n"
            dump.append(f"Revision-number: {number}\nProp-content-length: {len(values)}\nContent-length: {len(values)}\n\n"
                        f"{values}\n".encode())
            if number == 1:
                for name in ("trunk", "branches"):
                    node(number, name, "add")
                for name in range(20):
                    node(number, f"trunk/{name}", "add", "begun\n")
            elif number % 500 == 0:
                node(number, f"branches/{number}", "add", origin="trunk")
            else:
                place = f"branches/{number // 500 * 500}" if number > 500 and number % 3 == 0 else "trunk"
                node(number, f"{place}/{source.randrange(20)}", "change", f"{number}\n")
        subprocess.run(["svnadmin", "load", "-q", "--no-flush-to-disk", url[len("file://"):]], input=b"".join(dump), check=True,
                       timeout=5 * PATIENCE)
        place = self.check_out(f"{url}/branches/{revisions - 500}", "long work")
        listed = self.json_of("log", "-n", "0", cwd=place)
        told = list(self.xml(place, "log", "--verbose").iter("logentry"))
        self.assertGreater(len(told), 3000)
        self.assertEqual([(entry["revision"], entry["message"]) for entry in listed],
                         [(entry.get("revision"), entry.findtext("msg")) for entry in told])
        line = re.compile(f"/(trunk|branches/{revisions - 500})/?")
        self.assertEqual([{path_of(path).decode() for path in entry["paths"]} for entry in listed],
                         [{line.sub("", path.text, count=1) or "." for path in entry.iter("path") if line.match(path.text)}
                          for entry in told])

    def test_logs_agree_with_svn(self):
        url, trunk = self.grown()
        self.hook(url, "pre-revprop-change", "exit 0\n")
        self.svn_all(trunk, "propdel --revprop -r 7 svn:author", "update -r 10")
        for ours, svn in [
                ([], ["-r", "BASE:1"]), (["-n", "3"], ["-r", "BASE:1", "-l", "3"]), (["-n", "0"], ["-r", "BASE:1"]),
                *[(["--file", name], ["-r", "BASE:1", pegged(name)])
                  for name in ["moved pear", "cherry", "woods/oak", "copied plum", *NAMES]],
                (["--file", "apple", "-n", "2"], ["-r", "BASE:1", "-l", "2", "apple"]),
                (["--search", "PLANT"], ["-r", "BASE:1", "--search", "plant"]),
                (["--search", "\u00dcMLAUTS", "-n", "1"], ["-r", "BASE:1", "--search", "\u00fcmlauts"])]:
            with self.subTest(ours):
                self.assertEqual(self.log(trunk, *ours), self.svn_log(trunk, *svn))
        for author in ("BERT", "ada", "nobody"):
            listed = [entry[0] for entry in self.log(trunk, "--author", author)]
            self.assertEqual(listed, [entry[0] for entry in self.svn_log(trunk, "-r", "BASE:1")
                                      if author.lower() in entry[1].lower()])
        for revision in ("9", "2", "BASE"):
            shown, = self.json_of("show", revision, cwd=trunk)
            told, = self.svn_log(trunk, "-r", revision)
            self.assertEqual((shown["revision"], shown["author"], shown["date"], shown["message"]), told[:4])
        for elsewhere, says in [("topic", b"Revision 6 changed nothing"), ("5", b"Revision 5 changed nothing")]:
            self.assertIn(says, self.run_host("show", elsewhere, cwd=trunk).stderr)
        whole = self.check_out(url, "whole")
        self.assertEqual(self.log(whole), self.svn_log(whole))

    def test_blame_agrees_with_svn(self):
        _, trunk = self.grown()
        lines = self.read(trunk, "apple").splitlines(keepends=True)
        self.write(trunk, "apple", "".join([*lines[:20], "here\n", *lines[20:]]).encode())
        for ours, svn in [(["apple"], ["apple"]), (["apple", "BASE"], ["apple@BASE"]), (["apple", "r8"], ["-r8", "apple"]),
                          (["moved pear"], ["moved pear"]), (["moved pear", "3"], ["-r3", "moved pear"]),
                          (["apple", "v1.0"], ["^/proj/tags/v1.0/apple"]),
                          *[([name], [pegged(name)]) for name in NAMES if not name.startswith("-")]]:
            with self.subTest(ours):
                listed = {}
                for run in self.json_of("blame", *ours, cwd=trunk):
                    for line in range(run["firstLine"], run["firstLine"] + run["lineCount"]):
                        listed[line] = (run["revision"], run.get("author"), run.get("date"))
                expected = {}
                for line in self.xml(trunk, "blame", *svn).iter("entry"):
                    made = line.find("commit")
                    expected[int(line.get("line-number"))] = (None, None, None) if made is None else (
                        made.get("revision"), made.findtext("author"), made.findtext("date"))
                self.assertEqual(listed, expected)

    def test_info_branches_and_tags_agree_with_svn(self):
        def folders(url):
            """Name to the revision that changed it last, of the folders in one."""
            return {entry.findtext("name"): entry.find("commit").get("revision")
                    for entry in self.xml(self.folder, "list", pegged(url)).iter("entry") if entry.get("kind") == "dir"}

        for project in ("proj", "", "deep/\u00fcber @1"):
            self.setUp()
            url, trunk = self.grown(project)
            below = f"{url}/{project}".rstrip("/")
            for place, kind, name in [("trunk", "branch", "trunk"), ("branches/topic", "branch", "topic"),
                                      ("tags/v1.0", "tag", "v1.0"),
                                      ("trunk/woods", "path", f"{project}/trunk/woods/".lstrip("/"))]:
                with self.subTest(f"{project} {place}"):
                    self.svn(trunk, "switch", "--quiet", "--ignore-ancestry", pegged(f"{below}/{place}"))
                    told = self.xml(trunk, "info").find("entry")
                    info, = self.json_of("info", trunk)
                    self.assertEqual(
                        (info["path"], info["location"], info["revision"], info["repositoryIdentifier"], info["system"]),
                        (trunk, {"kind": kind, "name": name}, told.get("revision"), told.findtext("repository/uuid"),
                         "Subversion"))
                    branches = self.json_of("branches", trunk)
                    self.assertEqual(self.json_of("branch", "list", "--all", cwd=trunk), branches)
                    self.assertEqual({branch["name"]: branch["revision"] for branch in branches},
                                     {**folders(below + "/branches"), "trunk": folders(below)["trunk"]})
                    self.assertEqual([branch["name"] for branch in branches if branch["current"]],
                                     [name] if kind == "branch" else [])
                    tags = {tag["name"]: tag["revision"] for tag in self.json_of("tag", cwd=trunk)}
                    self.assertEqual(tags, folders(below + "/tags"))
        flat = self.check_out(self.new_repository("flat"), "flat copy")
        self.svn_commit(flat, apple="1\n")
        info, = self.json_of("info", flat)
        self.assertEqual((info["location"]["kind"], info["revision"]), ("path", "1"))
        self.assertEqual(self.run_host("branches", flat).returncode, 1)

    def test_diffs_agree_with_svn_and_lead_from_one_side_to_the_other(self):
        url, trunk = self.grown()
        base, tag, topic = (f"{url}/proj/{place}" for place in ("trunk", "tags/v1.0@11", "branches/topic@11"))
        self.write_all(trunk, ["apple", *NAMES], b"changed\nno newline at the end")
        self.svn_all(trunk, "remove quince woods/deep", "move plum 'moved plum'")
        self.write_all(trunk, ["moved plum", "empty"], b"")
        self.write(trunk, "binary", bytes(range(256)))
        self.svn_all(trunk, "add empty binary")
        for number, (ours, old, new, *options) in enumerate([
                ([], base + "@11", trunk), (["3"], base + "@3", trunk, "-r", "3"),
                *[(ours, old, new, "--old", old, "--new", new) for ours, old, new in [
                    (["2", "11"], base + "@2", base + "@11"), (["11", "2"], base + "@11", base + "@2"),
                    (["trunk", "topic"], base + "@11", topic), (["v1.0", "trunk"], tag, base + "@11"),
                    (["9", "10"], base + "@9", base + "@10"), (["8", "9"], base + "@8", base + "@9")]]]):
            with self.subTest(ours):
                expected = []
                for path in self.xml(trunk, "diff", "--summarize", *options).iter("path"):
                    name = path.text if new == trunk else unquote(path.text.removeprefix(old.partition("@")[0]).lstrip("/"))
                    expected.append((name or ".", path.get("item").replace("none", "properties")))
                listed = self.json_of("diff", *ours, cwd=trunk)
                patches = "".join(entry["patch"] for entry in listed if not entry["binary"])
                sides = [self.export(side, f"{number} {name}") for side, name in [(old, "old"), (new, "new")]]
                self.git(sides[0], "init", "--quiet")
                self.git(sides[0], "apply", "-", data=patches.encode())
                shutil.rmtree(os.path.join(sides[0], ".git"))
                binaries = {entry["path"]: bytes(range(256)) for entry in listed if entry["binary"]}
                self.assertEqual({**self.files(sides[0]), **binaries}, self.files(sides[1]))
                self.assertEqual(sorted((entry["path"], entry["change"]) for entry in listed), sorted(expected))


class Changes(SubversionTest):
    def ours(self, place, command, status=0, says=""):
        result = self.run_host(*shlex.split(command), cwd=place)
        self.assertEqual(result.returncode, status, result.stderr)
        self.assertIn(says, result.stderr.decode())

    def state(self, place):
        """What svn tells of a working copy, and its files."""
        files = {path: data for path, data in self.files(place).items() if not path.startswith(".svn")}
        return sorted(self.svn(place, "status", "--no-ignore").splitlines()), files

    def told(self, place, item, *options):
        return self.svn(place, "info", "--show-item", item, *options).strip()

    def newest(self, place):
        """Paths, as seen from the trunk, that the newest revision changed, with svn's letters."""
        entry = self.xml(place, "log", "--verbose", "--revision", "HEAD", "^/").find("logentry")
        return {os.path.relpath(path.text, "/proj/trunk"): path.get("action") for path in entry.iter("path")}

    def test_what_is_done_to_files_is_what_svn_does(self):
        url, _ = self.grown()
        new = [name + ".new" for name in NAMES]
        for number, (ours, svn) in enumerate([
                ("add new/leaf", "add --parents new/leaf"), ("add new", "add new"), ("add .", "add --force ."),
                ("add new/x.o", "add --parents new/x.o"), ("rm plum woods/deep", "remove plum woods/deep"),
                ("add -- " + shlex.join(new), "add " + shlex.join(map(pegged, new))),
                ("rm -- " + shlex.join(NAMES), "remove " + shlex.join(map(pegged, NAMES))),
                ("mv plum prune", "move plum prune"), ("mv plum cherry woods/", "move plum cherry woods"),
                ("mv woods wood", "move woods wood"), ("mv at@ 50% woods", "move at@@ 50% woods"),
                ("mv apple at@new", "move apple at@new"), ("cp apple copy", "copy apple copy"),
                ("cp woods copies", "copy woods copies"), ("mkdir a 'b @1'", "mkdir a 'b @1@'"),
                ("mkdir -p c/d/e", "mkdir --parents c/d/e"), ("discard apple", "revert apple"),
                ("discard woods", "revert -R woods"), ("discard --all", "revert -R .")]):
            with self.subTest(ours):
                places = [self.check_out(url + "/proj/trunk", f"{side} {number}") for side in ("our", "their")]
                for place in places:
                    self.write_all(place, ["apple", "woods/oak", "new/leaf", "new/x.o", *new], b"new\n")
                self.ours(places[0], ours)
                self.svn_all(places[1], svn)
                self.assertEqual(self.state(places[0]), self.state(places[1]))

    def test_a_move_is_undone_as_a_whole(self):
        _, trunk = self.grown()
        before = self.state(trunk)
        for half in ("plum", "woods/plum"):
            self.ours(trunk, "mv plum woods")
            self.ours(trunk, "discard " + half)
            self.assertEqual(self.state(trunk), before)

    def test_what_cannot_be_done_is_refused_and_changes_nothing(self):
        _, trunk = self.grown()
        self.write(trunk, "apple", b"changed\n")
        self.write(trunk, "untracked")
        self.write(self.folder, "outside")
        for command, says in [
                *[(command, command.split()[-1]) for command in [
                    "add nothing", "add ../outside", "add .svn/wc.db", "rm apple", "rm plum untracked", "mv plum apple",
                    "mv plum untracked", "cp plum untracked", "mkdir woods", "discard untracked", "discard plum nothing",
                    "resolve untracked", "commit -m x ../outside", "switch nope", "merge nope", "branch add topic",
                    "branch remove nope", "branch add ../x", "switch -c topic", "tag nope", "show 4711", "diff nope",
                    "blame untracked", "blame apple 1", "log --file nope", "commit -m x untracked nothing",
                    "branch remove trunk"]],
                *[(command, "does not support distributed remote repositories") for command in [
                    "fetch", "push", "remote", "remote add far https://example.org/", "remote remove far", "update far"]],
                ("rm .", ""), ("mv untracked tracked", "untracked"), ("mv plum untracked woods", "untracked"),
                ("mkdir untracked/x", "untracked"), ("commit -m x plum", "There is nothing to commit.")]:
            with self.subTest(command):
                before = self.state(trunk), self.told(trunk, "revision", "^/")
                self.ours(trunk, command, status=1, says=says)
                self.assertEqual((self.state(trunk), self.told(trunk, "revision", "^/")), before)

    def test_commits_are_exactly_what_is_named(self):
        _, trunk = self.grown()
        self.write_all(trunk, ["apple", "cherry", "new/deep/leaf", "new/deep/other", "new/sibling", *NAMES], b"changed\n")
        self.svn_all(trunk, "move plum prune", "remove quince", "propset colour blue woods 'moved pear'",
                     "copy woods 'copied woods'")
        self.write(trunk, "copied woods/oak", b"changed\n")
        os.remove(os.path.join(trunk, "copied plum"))
        for revision, (named, expected) in enumerate([
                ("apple", {"apple": "M"}), ("new/deep/leaf", {"new": "A", "new/deep": "A", "new/deep/leaf": "A"}),
                ("prune", {"plum": "D", "prune": "A"}), ("quince 'copied plum'", {"quince": "D", "copied plum": "D"}),
                ("woods", {"woods": "M"}), ("'copied woods'", {"copied woods": "A", "copied woods/oak": "M"}),
                (shlex.join(["--", *NAMES]), dict.fromkeys(NAMES, "M")),
                ("new", {"new/deep/other": "A", "new/sibling": "A"}), ("", {"cherry": "M", "moved pear": "M"})], 12):
            with self.subTest(named):
                self.ours(trunk, f"commit -m 'Grow\n\n\u00fc' {named}")
                self.assertEqual((self.newest(trunk), self.told(trunk, "revision", "^/")), (expected, str(revision)))
        self.assertEqual(self.state(trunk)[0], [])
        self.ours(trunk, "commit -m again", status=1, says="There is nothing to commit.")

    def test_what_the_server_refuses_or_says_is_told(self):
        url, trunk = self.grown()
        refusal = "No commits on Sundays, f\u00fcr niemanden."
        self.hook(url, "pre-commit", f"echo '{refusal}' >&2\nexit 1\n")
        self.write_all(trunk, ["apple", "new/leaf"], b"changed\n")
        before = self.state(trunk)
        self.ours(trunk, "commit -m x apple new/leaf", status=1, says=refusal)
        self.ours(trunk, "branch add spring", status=1, says=refusal)
        self.assertEqual(self.state(trunk), before)
        self.hook(url, "pre-commit", "exit 0\n")
        self.hook(url, "post-commit", "echo 'The mail did not go out.' >&2\nexit 1\n")
        self.ours(trunk, "commit -m x apple", says="The mail did not go out.")
        self.assertEqual(self.newest(trunk), {"apple": "M"})
        self.hook(url, "post-commit", "exit 0\n")
        other = self.check_out(url + "/proj/trunk", "other")
        self.svn_commit(other, "theirs", apple="theirs\n")
        self.svn_all(other, "lock cherry")
        self.write_all(trunk, ["apple", "cherry"], b"ours\n")
        for name, says in [("apple", "apple"), ("cherry", "lock")]:
            self.ours(trunk, "commit -m late " + name, status=1, says=says)
            self.assertIn("M       " + name, self.state(trunk)[0])

    def test_updates_switches_and_merges_are_those_of_svn(self):
        url, trunk = self.grown()
        other = self.check_out(url + "/proj/trunk", "other")
        self.svn_commit(other, "theirs", apple="theirs\n", **{"new/leaf": "1\n"})
        self.write(trunk, "cherry", b"kept\n")
        self.ours(trunk, "update")
        self.assertEqual((self.read(trunk, "apple"), self.read(trunk, "cherry")), ("theirs\n", "kept\n"))
        self.ours(trunk, "discard --all")
        for name, path, *options in [("topic", "branches/topic"), ("v1.0", "tags/v1.0"), ("trunk", "trunk"),
                                     ("10", "trunk", "-r", "10"), ("HEAD", "trunk")]:
            self.ours(trunk, "switch " + name)
            self.assertEqual(self.told(trunk, "url"), f"{url}/proj/{path}")
            self.assertEqual(self.state(trunk), ([], self.files(self.export(f"{url}/proj/{path}", "at " + name, *options))))
        self.write(trunk, "cherry", b"kept\n")
        self.ours(trunk, "switch -c 'winter @1'")
        self.assertEqual(self.told(trunk, "relative-url"), "^/proj/branches/winter%20@1")
        self.assertEqual(self.state(trunk)[0], ["M       cherry"])
        self.ours(trunk, "commit -m 'on winter'")
        self.ours(trunk, "branch add spring")
        self.ours(trunk, "branch add summer --from topic")
        self.assertEqual(self.svn(trunk, "cat", "^/proj/branches/spring/cherry"), "kept\n", "begins where the user is")
        self.assertIn("quince", self.svn(trunk, "list", "^/proj/branches/summer"))
        self.ours(trunk, "branch remove summer")
        self.assertEqual(self.svn(trunk, "list", "^/proj/branches").split("/\n"), ["spring", "topic", "winter @1", ""])
        for changes in ([" M      .", "M       cherry"], [" M      ."]):
            self.ours(trunk, "switch trunk")
            self.ours(trunk, "merge 'winter @1'")
            self.assertEqual(self.state(trunk)[0], changes, "the second time only that it was merged")
            self.ours(trunk, "commit -m merged")
            self.ours(trunk, "update")
        self.assertIn("/proj/branches/winter @1", self.svn(trunk, "propget", "svn:mergeinfo"))
        for branch in ("'winter @1'", "trunk"):
            self.ours(trunk, "switch " + branch)
            self.svn_commit(trunk, "on " + branch, apple=branch + "\n")
        self.ours(trunk, "merge 'winter @1'", status=1, says="The merge has conflicts.")
        self.assertIn("C       apple", self.state(trunk)[0])
        self.ours(trunk, "commit -m 'not yet'", status=1, says="apple")
        self.write(trunk, "apple", b"both\n")
        self.ours(trunk, "resolve apple")
        self.ours(trunk, "commit -m 'merged again'")
        self.assertEqual(self.svn(trunk, "cat", "apple"), "both\n")

    def test_working_copies_files_and_repositories_are_made(self):
        url, trunk = self.grown()
        for number, (place, options, path, *pin) in enumerate([
                ("/proj", [], "/proj"), ("/proj/trunk", [], "/proj/trunk"),
                ("/proj", ["--branch", "topic"], "/proj/branches/topic"),
                ("/proj/trunk", ["--tag", "v1.0"], "/proj/tags/v1.0"),
                ("/proj/trunk", ["--revision", "3"], "/proj/trunk", "-r", "3")]):
            made, = self.json_of("clone", "--system", "Subversion", url + place, f"made {number}", *options)
            self.assertEqual((self.told(made["path"], "url"), self.told(made["path"], "revision"), self.state(made["path"])),
                             (url + path, pin[-1] if pin else "11",
                              ([], self.files(self.export(url + path, f"export {number}", *pin)))))
        for command in ("/nope never", "/proj never --branch nope"):
            self.ours(self.folder, f"clone --system Subversion {url}{command}", status=1, says="nope")
            self.assertFalse(os.path.lexists(os.path.join(self.folder, "never")))
        for command, source in [("apple HEAD", "trunk/apple@11"), ("apple 2", "trunk/apple@2"),
                                ("apple topic", "branches/topic/apple"), ("apple --parent-of 8", "trunk/apple@7"),
                                ("'moved pear' 3", "trunk/pear@3"), ("at@ 11", "trunk/at@@11")]:
            with self.subTest(command):
                made, = self.json_of("export", "-o", self.folder, *shlex.split(command), cwd=trunk)
                self.assertEqual(self.read(self.folder, made["path"]), self.svn(trunk, "cat", f"{url}/proj/{source}"))
                os.remove(made["path"])
        self.ours(self.folder, "init --system Subversion 'fresh \u00fc'")
        fresh = self.check_out("file://" + os.path.join(self.folder, "fresh \u00fc"), "of fresh")
        self.svn_commit(fresh, apple="1\n")
        # The form of the release before.
        self.alter(fresh, "ALTER TABLE nodes DROP COLUMN inherited_props", "PRAGMA user_version = 30")
        self.ours(fresh, "status", status=1, says="needs to be upgraded")
        self.ours(fresh, "upgrade")
        self.assertEqual(self.state(fresh), ([], {"apple": b"1\n"}))


class Workspaces(SubversionTest, WorkspaceTest):
    def state_of(self, place):
        told = self.xml(place, "info").find("entry")
        return told.find("commit").get("revision"), told.findtext("url"), self.svn(place, "status")

    def test_a_workspace_of_both_systems_is_made_again_elsewhere(self):
        self.grown()
        server = servers.SubversionServer(self.folder, self.environment)
        self.addCleanup(server.close)
        self.serve("fruit")
        self.clone("fruit", "place", "of git")
        far = server.address + "/orchard/proj/"
        paths = {"app": "trunk", "a topic": "branches/topic", "tag": "tags/v1.0", "deep/folder": "trunk/woods"}
        for name, path in paths.items():
            self.svn(self.folder, "checkout", "--quiet", far + path, self.path("place", name))
        self.svn(self.path("place", "app"), "update", "--quiet", "-r", "9")
        file = self.path("both.oxscmblueprint")
        made = self.run_host("blueprint", "create", self.path("place"), "--primary", self.path("place", "app"), "-o", file)
        self.assertEqual((made.returncode, made.stderr), (0, b""))
        updates = {entry["path"].strip("/"): entry["update"] for entry in self.json_of("blueprint", "check-updates", file)}
        self.assertEqual(updates, {**dict.fromkeys([*paths, "of git"]), "app": "11"})
        outcomes, _ = self.checkout(file, "again")
        self.assertEqual(set(outcomes), {*paths, "of git"})
        comparison, = self.json_of("workspace", "compare", file, "again")
        self.assertEqual(comparison["result"], "same", comparison)
        for name in paths:
            self.assertEqual(self.state_of(self.path("again", name)), self.state_of(self.path("place", name)))
        self.assertEqual(self.head(self.path("again", "of git")), self.head(self.path("place", "of git")))
        self.write(self.path("again"), "app/plum", b"changed\n")
        status = {entry["path"]: entry for entry in self.json_of("workspace", "status", "again")}
        self.assertEqual(set(status), {*paths, "of git"})
        self.assertIn("plum", str(status["app"]))
        log = self.json_of("workspace", "log", "again")
        dates = [entry["date"][:19] for entry in log]
        self.assertEqual(dates, sorted(dates, reverse=True))
        self.assertLessEqual({"fruit: first", "on topic", "moves"}, {entry["message"].strip() for entry in log})
        updated = {entry["path"]: (entry["outcome"], entry["after"])
                   for entry in self.json_of("workspace", "update", "again")}
        self.assertEqual(updated["app"], ("updated", "11"))
        self.svn(self.path("again", "app"), "switch", "--quiet", "^/proj/branches/topic")
        comparison, = self.json_of("workspace", "compare", file, "again")
        self.assertEqual({entry["path"]: entry["state"] for entry in comparison["repositories"]}["app"], "changed")

    def test_a_server_that_wants_a_login_asks_on_the_terminal(self):
        self.grown()
        server = servers.SubversionServer(self.folder, self.environment, login=("ann", "s3cret"))
        self.addCleanup(server.close)
        login = [("User name:", "ann\n"), ("Password of ann:", "s3cret\n")]
        far = server.address + "/orchard/proj/trunk"
        status, shown = self.converse("clone", far, "clone", "--system", "Subversion", answers=login)
        self.assertEqual(status, 0, shown)
        clone = self.path("clone")
        self.write(clone, "apple", b"changed\n")
        status, shown = self.converse("commit", "-m", "ours", cwd=clone, answers=login)
        self.assertEqual(status, 0, shown)
        self.assertIn("12", self.svn(clone, "info", "--show-item", "revision", "apple"))
        refused = self.run_host("status", "--remote", cwd=clone)
        self.assertEqual(refused.returncode, 1)
        self.assertIn(b"uthentication", refused.stderr)


if __name__ == "__main__":
    main()
