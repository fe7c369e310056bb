"""What the tests of blueprints and workspaces share: repositories behind a server, clones of them, and files by hand."""

import atexit
import json
import os
import shutil
import tempfile

import servers
from hosting import HostTest

BLUEPRINT = "QRBSourceControlWorkspaceBlueprint"
REMOTE = BLUEPRINT + "RemoteRepository"
GIT = "org.qrb.Orlix.sourcecontrol.Git"


class WorkspaceTest(HostTest):
    def setUp(self):
        super().setUp()
        self.environment["XDG_CONFIG_HOME"] = os.path.join(self.folder, "config")
        self.served = os.path.join(self.folder, "served")
        os.mkdir(self.served)
        self.server = servers.GitServer(self.served, self.environment)
        self.addCleanup(self.server.close)

    def path(self, *names):
        return os.path.join(self.folder, *names)

    def serve(self, name, message="first"):
        """A repository behind the server with one commit, and the one that it was pushed from."""
        source = self.path("sources", name)
        bare = os.path.join(self.served, name + ".git")
        self.git(self.folder, "init", "--quiet", source)
        self.commit(source, f"{name}: {message}", file=name)
        self.git(self.folder, "init", "--quiet", "--bare", bare)
        self.git(source, "remote", "add", "origin", bare)
        self.git(source, "push", "--quiet", "--mirror", "origin")
        return source

    def publish(self, name, message, **files):
        source = self.path("sources", name)
        self.commit(source, f"{name}: {message}", **files)
        self.git(source, "push", "--quiet", "--mirror", "origin")
        return self.head(source)

    def address(self, name):
        return f"{self.server.address}/{name}.git"

    def clone(self, name, *place, options=()):
        path = self.path(*place)
        self.git(self.folder, "clone", "--quiet", *options, self.address(name), path)
        return path

    def head(self, repository):
        return self.git(repository, "rev-parse", "HEAD").decode().strip()

    def branch(self, repository):
        return self.git(repository, "branch", "--show-current").decode().strip()

    # Made once, and copied for each test.
    _template = None
    PARTS = ("sources", "served", "orchard")

    def orchard(self):
        """A workspace of three clones below "orchard"."""
        if self._template is None:
            self.make_orchard()
            WorkspaceTest._template = tempfile.mkdtemp(prefix="qrbscm-orchard-")
            atexit.register(shutil.rmtree, self._template)
            for part in self.PARTS:
                shutil.copytree(self.path(part), os.path.join(self._template, part))
            WorkspaceTest._template_at = (self.folder, self.server.address)
            return self.path("orchard")
        for part in self.PARTS:
            shutil.copytree(os.path.join(self._template, part), self.path(part), dirs_exist_ok=True)
        for place, folders, files in os.walk(self.folder):
            if "config" in files and "HEAD" in files:
                self.replace(os.path.join(place, "config"), self._template_at, (self.folder, self.server.address))
        return self.path("orchard")

    @staticmethod
    def replace(file, old, new):
        with open(file, encoding="utf-8") as text:
            text = text.read()
        for before, after in zip(old, new):
            text = text.replace(before, after)
        with open(file, "w", encoding="utf-8") as written:
            written.write(text)

    def make_orchard(self):
        for name in ("app", "core", "paint"):
            self.serve(name)
        self.git(self.path("sources", "paint"), "checkout", "--quiet", "-b", "winter")
        self.publish("paint", "snow", file="white")
        self.clone("app", "orchard", "app")
        self.clone("core", "orchard", "libs", "core")
        self.clone("paint", "orchard", "libs", "Büche rei", options=["--branch", "winter"])

    def created(self, *options, name="orchard"):
        """The file of a blueprint of that workspace."""
        file = self.path(name + ".oxscmblueprint")
        result = self.run_host("blueprint", "create", self.path("orchard"), "--primary", self.path("orchard", "app"), "-o",
                               file, *options)
        self.assertEqual((result.returncode, result.stderr), (0, b""), result.stderr)
        return file

    def blueprint(self, *repositories, name="by-hand", authentication=None, **keys):
        """A file of repositories: a path, a URL and, where wanted, a branch and more of the entry; the first is the
        primary one."""
        entries, paths, locations = [], {}, {}
        for number, (path, url, *more) in enumerate(repositories):
            identifier = f"id{number}"
            entries.append({REMOTE + "IdentifierKey": identifier, REMOTE + "URLKey": url, REMOTE + "SystemKey": GIT,
                            **(more[1] if len(more) > 1 else {})})
            paths[identifier] = path
            if more and more[0]:
                locations[identifier] = {BLUEPRINT + "LocationTypeKey": "QRBSourceControlBranch",
                                         "QRBSourceControlBranchIdentifierKey": more[0],
                                         "QRBSourceControlBranchOptionsKey": 4}
        value = {BLUEPRINT + "Version": 204, BLUEPRINT + "IdentifierKey": "blueprint", BLUEPRINT + "NameKey": name,
                 BLUEPRINT + "RelativePathToProjectKey": "project", BLUEPRINT + "PrimaryRemoteRepositoryKey": "id0",
                 REMOTE.replace("Repository", "Repositories") + "Key": entries, BLUEPRINT + "WorkingCopyPathsKey": paths,
                 BLUEPRINT + "LocationsKey": locations, **keys}
        if authentication:
            value[REMOTE + "AuthenticationStrategiesKey"] = authentication
        file = self.path(name + ".oxscmblueprint")
        with open(file, "w", encoding="utf-8") as text:
            json.dump(value, text)
        return file

    def checkout(self, *arguments, status=0):
        """What a checkout did with each path, and what it told of failures."""
        result = self.run_host("blueprint", "checkout", *arguments, "--json")
        self.assertEqual(result.returncode, status, result.stderr)
        self.assertEqual(bool(result.stderr), status != 0, result.stderr)
        entries = json.loads(result.stdout) if result.stdout else []
        return {entry["path"].strip("/"): entry["outcome"] for entry in entries}, result.stderr.decode()

    def tree(self, folder):
        """Every name below a folder, but for what is in the metadata of working copies."""
        found = set()
        for place, folders, files in os.walk(folder):
            relative = os.path.relpath(place, folder)
            found |= {os.path.normpath(os.path.join(relative, name)) for name in folders + files}
            folders[:] = [name for name in folders if name != ".git"]
        return found
