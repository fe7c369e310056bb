"""All working copies of a folder at once: what git says of each, and a failure of one leaves the others alone."""

import json
import os
import signal
import socket

from hosting import PATIENCE, main
from workspaces import WorkspaceTest


class Workspaces(WorkspaceTest):
    def places(self, orchard):
        return {name: os.path.join(orchard, name) for name in ("app", "libs/core", "libs/Büche rei")}

    def test_an_update_goes_on_when_nobody_reads_of_it(self):
        orchard = self.orchard()
        newest = self.publish("core", "later")
        self.publish("paint", "later", file="theirs")
        self.commit(self.places(orchard)["libs/Büche rei"], "ours", file="ours")
        result = self.run_unread("workspace", "update", orchard)
        self.assertEqual(result.returncode, 1)
        self.assertIn("1 of 3", result.stderr.decode())
        self.assertEqual(self.head(self.places(orchard)["libs/core"]), newest)

    def test_the_status_is_that_of_every_working_copy(self):
        orchard = self.orchard()
        self.write(orchard, "app/new file")
        self.write(orchard, "libs/core/file", b"changed\n")
        listed = {entry["path"]: entry for entry in self.json_of("workspace", "status", orchard)}
        self.assertEqual({path: [change["path"] for change in entry["changes"]] for path, entry in listed.items()},
                         {"app": ["new file"], "libs/core": ["file"], "libs/Büche rei": []})
        for path, entry in listed.items():
            self.assertEqual(entry["location"], {"kind": "branch", "name": self.branch(os.path.join(orchard, path))})
        plain = self.run_host("workspace", "status", cwd=os.path.join(orchard, "libs")).stdout.decode()
        self.assertIn("core  branch main\n    modified  file\n", plain)
        self.assertIn("Büche rei  branch winter  clean\n", plain)
        self.assertNotIn("new file", plain)

    def test_a_working_copy_that_cannot_be_read_is_told_beside_the_others(self):
        orchard = self.orchard()
        self.write(orchard, "libs/core/.git/index", b"not an index")
        self.write(orchard, "app/new")
        result = self.run_host("workspace", "status", orchard)
        self.assertEqual(result.returncode, 1)
        self.assertIn("    untracked  new\n", result.stdout.decode())
        self.assertIn("\nlibs/core:\n", result.stderr.decode())

    def test_where_there_is_no_working_copy_that_is_said(self):
        os.mkdir(self.path("bare"))
        for arguments in (["status"], ["log"], ["update"]):
            result = self.run_host("workspace", *arguments, "bare")
            self.assertEqual((result.returncode, result.stdout), (1, b""))
            self.assertIn("bare", result.stderr.decode())

    def merged_history(self, orchard, *options):
        lines = []
        for name, path in self.places(orchard).items():
            log = self.git(path, "log", "--format=%ct %H", *options).decode().splitlines()
            lines += [(int(line.split()[0]), name, line.split()[1]) for line in log]
        return [line[1:] for line in sorted(lines, key=lambda line: -line[0])]

    def dated_orchard(self):
        """With commits of the repositories between each other."""
        orchard = self.orchard()
        for hour, name in enumerate(["libs/core", "app", "libs/Büche rei", "app", "libs/core"], start=10):
            for kind in ("AUTHOR", "COMMITTER"):
                self.environment[f"GIT_{kind}_DATE"] = f"2030-01-01T{hour}:00:00Z"
            self.commit(self.places(orchard)[name], f"change {hour} of {name}")
        for kind in ("AUTHOR", "COMMITTER"):
            del self.environment[f"GIT_{kind}_DATE"]
        return orchard

    def test_the_histories_come_in_one_newest_first(self):
        orchard = self.dated_orchard()
        expected = self.merged_history(orchard)
        listed = [(entry["workingCopy"], entry["revision"]) for entry in self.json_of("workspace", "log", orchard)]
        self.assertEqual(listed[:5], expected[:5])
        self.assertEqual(sorted(listed), sorted(expected))
        for options, wanted in [(["-n", "3"], expected[:3]), (["--search", "change 1"], expected[:5]),
                                (["--search", "OF APP"], [entry for entry in expected[:5] if entry[0] == "app"]),
                                (["--author", "nobody"], [])]:
            with self.subTest(options):
                listed = self.json_of("workspace", "log", *options, orchard)
                self.assertEqual([(entry["workingCopy"], entry["revision"]) for entry in listed], wanted)
        plain = self.run_host("workspace", "log", "-n", "1", orchard).stdout.decode()
        self.assertTrue(plain.startswith("libs/core  " + expected[0][1]), plain)

    def test_the_history_since_a_blueprint_is_what_came_after_it(self):
        orchard = self.orchard()
        file = self.created()
        made = [(name, self.head(path)) for name, path in self.places(orchard).items()
                if not self.commit(path, "since")]
        listed = self.json_of("workspace", "log", "--since", file, orchard)
        self.assertEqual(sorted((entry["workingCopy"], entry["revision"]) for entry in listed), sorted(made))

    def test_a_recorded_revision_that_is_not_here_yet_is_told_with_what_brings_it(self):
        orchard = self.orchard()
        self.git(self.folder, "clone", "--quiet", "--no-local", self.path("orchard", "libs", "core"), self.path("old"))
        self.git(self.path("old"), "remote", "set-url", "origin", self.address("core"))
        self.publish("core", "later")
        self.git(os.path.join(orchard, "libs", "core"), "pull", "--quiet")
        file = self.created()
        early = self.run_host("workspace", "log", "--since", file, "old")
        self.assertEqual((early.returncode, early.stdout), (1, b""))
        self.assertIn("workspace update", early.stderr.decode())
        self.assertEqual(self.run_host("workspace", "update", "old").returncode, 0)
        self.assertEqual(self.json_of("workspace", "log", "--since", file, "old"), [])

    def test_an_update_brings_each_to_its_remote_and_tells_of_those_that_cannot_be(self):
        orchard = self.orchard()
        places = self.places(orchard)
        before = self.head(places["app"])
        newest = self.publish("core", "later")
        self.publish("paint", "later", file="theirs")
        self.commit(places["libs/Büche rei"], "ours", file="ours")
        result = self.run_host("workspace", "update", orchard, "--json")
        self.assertEqual(result.returncode, 1)
        listed = {entry["path"]: (entry["outcome"], entry["after"]) for entry in json.loads(result.stdout)}
        self.assertEqual(listed, {"app": ("up to date", before), "libs/core": ("updated", newest),
                                  "libs/Büche rei": ("failed", None)})
        self.assertEqual(self.head(places["libs/core"]), newest)
        self.assertIn("1 of 3", result.stderr.decode())
        self.assertIn("\nlibs/Büche rei:\n", result.stderr.decode())

    def test_an_update_lets_what_is_on_a_revision_alone_stay(self):
        orchard = self.orchard()
        core = self.places(orchard)["libs/core"]
        self.git(core, "checkout", "--quiet", "--detach")
        before = self.head(core)
        self.publish("core", "later")
        result = self.run_host("workspace", "update", orchard)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertRegex(result.stdout.decode(), rf"stays +libs/core +on revision {before[:10]}")
        self.assertEqual(self.head(core), before)

    def test_an_interrupted_update_stops(self):
        orchard = self.orchard()
        silence = socket.create_server(("127.0.0.1", 0))
        self.addCleanup(silence.close)
        silence.settimeout(PATIENCE)
        heads = {path: self.head(path) for path in self.places(orchard).values()}
        for path in heads:
            self.git(path, "remote", "set-url", "origin", f"git://127.0.0.1:{silence.getsockname()[1]}/x.git")
        host = self.start("workspace", "update", orchard)
        connection, _ = silence.accept()
        os.kill(host.pid, signal.SIGINT)
        result = self.finish(host)
        connection.close()
        self.assertEqual(result.returncode, -signal.SIGINT)
        self.assertIn("cancel", result.stderr.decode())
        self.assertEqual({path: self.head(path) for path in heads}, heads)

    def test_what_was_just_recorded_is_as_recorded(self):
        """Also where two are of one repository, a branch has another name here than there, or is on a revision only."""
        orchard = self.orchard()
        self.publish("core", "later")
        self.clone("core", "orchard", "again")
        self.git(self.places(orchard)["app"], "checkout", "--quiet", "-b", "mine", "--track", "origin/main")
        self.git(os.path.join(orchard, "again"), "checkout", "--quiet", "--detach", "HEAD^")
        for number, options in enumerate([[], ["--no-revisions"]]):
            with self.subTest(options):
                file = self.path(f"{number}.oxscmblueprint")
                made = self.run_host("blueprint", "create", orchard, "--primary", os.path.join(orchard, "app"), "-o", file,
                                     *options)
                self.assertEqual(made.returncode, 0, made.stderr)
                self.assertEqual("again" in made.stderr.decode(), bool(options), made.stderr)
                comparison, = self.json_of("workspace", "compare", file, orchard)
                self.assertEqual({entry["state"] for entry in comparison["repositories"]}, {"same"}, comparison)
                self.assertEqual(comparison["result"], "same")

    def test_a_comparison_says_in_words_how_a_workspace_differs(self):
        orchard = self.orchard()
        file = self.created()
        places = self.places(orchard)
        extra = os.path.join(orchard, "extra")

        def compared():
            first, = self.json_of("workspace", "compare", file, orchard)
            second, = self.json_of("blueprint", "diff", file, orchard)
            self.assertEqual(first, second)
            return (first["result"], first["code"]), {entry["path"]: entry["state"] for entry in first["repositories"]}

        same = {"app": "same", "libs/core": "same", "libs/Büche rei": "same"}
        self.assertEqual(compared(), (("same", 1), same))
        self.git(places["libs/core"], "checkout", "--quiet", "-b", "topic")
        self.assertEqual(compared(), (("other-locations", 5), {**same, "libs/core": "changed"}))
        self.git(places["libs/core"], "checkout", "--quiet", "main")
        self.serve("extra")
        self.clone("extra", "orchard", "extra")
        self.assertEqual(compared(), (("more", 3), {**same, "extra": "extra"}))
        os.rename(places["app"], self.path("away"))
        (result, states) = compared()
        self.assertEqual(result, ("different", 2))
        self.assertEqual({path.strip("/"): state for path, state in states.items()},
                         {**same, "app": "missing", "extra": "extra"})
        os.rename(extra, self.path("away extra"))
        self.assertEqual(compared()[0], ("less", 4))
        for name in ("libs/core", "libs/Büche rei"):
            os.rename(places[name], self.path("away " + os.path.basename(name)))
        os.rename(self.path("away extra"), extra)
        self.assertEqual(compared()[0], ("unrelated", 0))


if __name__ == "__main__":
    main()
