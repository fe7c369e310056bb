"""Whom a server refuses is asked on the terminal, told what to do elsewhere, and his secrets go nowhere else."""

import json
import os
import pwd
import signal
import subprocess
from urllib.parse import quote

import servers
from hosting import PATIENCE, HostTest, main

SECRET = "hidden-correct horse"


class AuthenticationTest(HostTest):
    def setUp(self):
        super().setUp()
        self.environment["XDG_CONFIG_HOME"] = os.path.join(self.folder, "config")
        self.file = os.path.join(self.folder, "config", "qrbscm", "accounts.json")
        self.work = self.repository("work")
        self.commit(self.work, "first", apple="1\n")
        self.root = os.path.join(self.folder, "root")
        self.git(self.folder, "clone", "--quiet", "--bare", self.work, os.path.join(self.root, "orchard.git"))
        self.git(os.path.join(self.root, "orchard.git"), "config", "http.receivepack", "true")

    def web(self, **options):
        server = servers.GitWebServer(self.root, self.environment, **options)
        self.addCleanup(server.close)
        return server

    def accounts(self, *arguments):
        result = subprocess.run([os.environ["QRBSCM"], "accounts", *arguments], env=self.environment, cwd=self.folder,
                                stdin=subprocess.DEVNULL, capture_output=True, timeout=PATIENCE, start_new_session=True)
        self.assertEqual(result.returncode, 0, result.stderr)

    def clone(self, address, *answers, status=0):
        """All that the terminal showed; the clone is there afterwards or it is not, as the status says."""
        ended, shown = self.converse("clone", address + "/orchard.git", "clone", answers=answers)
        self.assertEqual(ended, status, shown)
        self.assertNotIn("hidden", shown)
        clone = os.path.join(self.folder, "clone")
        self.assertEqual(os.path.isdir(clone), status == 0)
        if status == 0:
            self.assertEqual(self.git(clone, "rev-parse", "HEAD"), self.git(self.work, "rev-parse", "HEAD"))
            for folder, _, names in os.walk(clone):
                for name in names:
                    with open(os.path.join(folder, name), "rb") as file:
                        self.assertNotIn(SECRET.encode(), file.read(), name)
        return shown


class Login(AuthenticationTest):
    USER = ("User name:", "ann\n")
    PASSWORD = ("Password of ann:", SECRET + "\n")

    def test_who_is_refused_is_asked_until_he_is_let_in_or_gives_up(self):
        wrong = ("Password of ann:", "hidden wrong\n")
        again = ("User name [ann]:", "\n")
        for name, answers, status, told in [
                ("at once", [self.USER, self.PASSWORD], 0, "wants to know who you are"),
                ("at the second time", [self.USER, wrong, again, self.PASSWORD], 0, "password was incorrect"),
                ("another user", [("User name:", "bob\n"), ("Password of bob:", "hidden\n"), ("User name [bob]:", "ann\n"),
                                  self.PASSWORD], 0, "password was incorrect"),
                ("never", [self.USER, wrong, again, wrong, again, wrong], 1, "password was incorrect"),
                ("gives up at the name", [("User name:", "\x03")], -signal.SIGINT, "canceled"),
                ("gives up at the password", [self.USER, ("Password of ann:", "hidden\x03")], -signal.SIGINT, "canceled"),
                ("ends the input", [("User name:", "\x04")], 1, "canceled")]:
            with self.subTest(name):
                self.setUp()
                server = self.web(login=("ann", SECRET))
                self.assertIn(told, self.clone(server.address, *answers, status=status))
                self.assertFalse(os.path.exists(self.file), "something was kept")

    def test_fetch_push_and_update_ask_as_well(self):
        server = self.web(login=("ann", SECRET))
        self.clone(server.address, self.USER, self.PASSWORD)
        clone = os.path.join(self.folder, "clone")
        self.commit(clone, "mine", pear="1\n")
        for command in ("push", "fetch", "update"):
            with self.subTest(command):
                status, shown = self.converse(command, cwd=clone, answers=[self.USER, self.PASSWORD])
                self.assertEqual(status, 0, shown)
                self.assertNotIn("hidden", shown)
        self.assertEqual(self.git(os.path.join(self.root, "orchard.git"), "rev-parse", "main"),
                         self.git(clone, "rev-parse", "main"))

    def test_a_name_that_is_known_is_not_asked_for(self):
        server = self.web(login=("ann", SECRET))
        self.clone(server.address.replace("://", "://ann@"), self.PASSWORD)
        subprocess.run(["rm", "-r", os.path.join(self.folder, "clone")], check=True)
        self.accounts("add", "web", server.address, "--user", "ann")
        self.clone(server.address, ("User name [ann]:", "\n"), self.PASSWORD)

    def test_an_account_is_tried_at_its_server_or_at_a_repository_there(self):
        server = self.web(login=("ann", SECRET))
        opened = self.web()
        self.accounts("add", "web", server.address + "/", "--user", "ann")
        self.accounts("add", "open", opened.address + "/", "--user", "ann")
        self.accounts("add", "anyone", opened.address)
        repository = opened.address + "/orchard.git"
        for arguments, password, ends, told in [
                (["web"], SECRET, 0, "accepts"), (["web"], "hidden", 1, "password was incorrect"),
                (["web", server.address + "/orchard.git"], SECRET, 0, "accepts"),
                (["web", server.address + "/none.git"], SECRET, 1, "could not be found"),
                (["web", repository], None, 1, "not for"), (["open"], SECRET, 1, "accounts test open URL"),
                (["open", repository], SECRET, 0, "accepts"), (["anyone"], None, 0, "accepts")]:
            with self.subTest(arguments, ends=ends):
                status, shown = self.converse("accounts", "test", *arguments, answers=[
                    ("Password of ann at " + (server if "web" in arguments else opened).address + "/:", password + "\n")]
                    if password else [])
                self.assertIn(told, shown)
                self.assertEqual(status, ends)

    def test_an_account_without_a_password_leaves_the_users_helper_its_work(self):
        server = self.web(login=("ann", SECRET))
        self.write(self.folder, "logins", server.address.replace("://", "://ann:" + quote(SECRET) + "@").encode() + b"\n")
        self.git(self.folder, "config", "--global", "credential.helper",
                 "store --file=" + os.path.join(self.folder, "logins"))
        self.accounts("add", "web", server.address, "--user", "ann")
        result = self.run_host("clone", server.address + "/orchard.git")
        self.assertEqual(result.returncode, 0, result.stderr)

    def test_where_nobody_can_be_asked_it_fails_and_says_what_to_do(self):
        server = self.web(login=("ann", SECRET))
        result = self.run_host("clone", server.address + "/orchard.git")
        self.assertEqual((result.returncode, result.stdout), (1, b""))
        for text in (b"no authentication credentials", b"qrbscm accounts add"):
            self.assertIn(text, result.stderr)
        self.assertEqual([login for login in server.logins if login], [])

    def test_who_is_not_allowed_is_not_asked_but_told_what_to_do(self):
        self.git(os.path.join(self.root, "orchard.git"), "config", "http.receivepack", "false")
        server = self.web(login=("ann", SECRET))
        self.clone(server.address, self.USER, self.PASSWORD)
        clone = os.path.join(self.folder, "clone")
        self.commit(clone, "mine", pear="1\n")
        status, shown = self.converse("push", cwd=clone, answers=[self.USER, self.PASSWORD])
        self.assertEqual(status, 1, shown)
        for text in ("does not permit this", "Log in as a user who is allowed", "403"):
            self.assertIn(text, shown)
        self.assertEqual(shown.count("Password of"), 1, "another password would not help")


class Trust(AuthenticationTest):
    QUESTION = "Trust this server? (yes, always or no):"

    def test_a_certificate_is_trusted_by_its_fingerprint_or_not_at_all(self):
        certificate = servers.make_certificate(self.folder, "fruit")
        server = self.web(certificate=certificate)
        fingerprint = servers.fingerprint_of(certificate[0])
        self.assertIn("cannot be trusted", self.clone(server.address, (self.QUESTION, "no\n"), status=1))
        shown = self.clone(server.address, (self.QUESTION, "perhaps\n"), (self.QUESTION, "yes\n"))
        self.assertIn(fingerprint, shown)
        self.assertIn(servers.fingerprint_of(certificate[0], "sha256"), shown)
        clone = os.path.join(self.folder, "clone")
        self.assertFalse(os.path.exists(self.file), "something was kept")
        self.assertEqual(self.converse("fetch", cwd=clone, answers=[(self.QUESTION, "always\n")])[0], 0)
        with open(self.file, encoding="utf-8") as file:
            kept, = json.load(file)["QRBSourceControlAccountDefaultsKey"]
        self.assertEqual(kept["trustedServerFingerprint"], fingerprint)
        self.assertEqual(self.run_host("fetch", cwd=clone).returncode, 0)
        # Whoever shows another certificate may be anybody.
        server.context.load_cert_chain(*servers.make_certificate(self.folder, "other"))
        status, shown = self.converse("fetch", cwd=clone)
        self.assertEqual(status, 1, shown)
        self.assertNotIn("Trust this server?", shown)

    def test_where_nobody_can_be_asked_the_fingerprint_is_told(self):
        certificate = servers.make_certificate(self.folder, "fruit")
        server = self.web(certificate=certificate, login=("ann", SECRET))
        result = self.run_host("clone", server.address + "/orchard.git")
        self.assertEqual(result.returncode, 1)
        self.assertIn(servers.fingerprint_of(certificate[0]).encode(), result.stderr)
        self.assertEqual(server.logins, [], "a server that is not trusted was told something")
        shown = self.clone(server.address, (self.QUESTION, "yes\n"), Login.USER, Login.PASSWORD)
        self.assertIn("wants to know who you are", shown)


class Keys(AuthenticationTest):
    def server(self):
        self.key = os.path.join(self.folder, "my key")
        subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", SECRET, "-C", "", "-f", self.key], check=True,
                       timeout=PATIENCE)
        server = servers.SSHServer(self.folder, self.key + ".pub", self.environment)
        self.addCleanup(server.close)
        user = pwd.getpwuid(os.geteuid()).pw_name
        return server, f"ssh://{user}@127.0.0.1:{server.port}{self.root}"

    def test_an_unknown_server_is_shown_and_a_key_is_asked_for(self):
        server, address = self.server()
        key = ('Private SSH key, or "password":', self.key + "\n")
        passphrase = f"Passphrase of {self.key} (empty if it has none):"
        shown = self.clone(address, (Trust.QUESTION, "no\n"), status=1)
        self.assertIn(server.fingerprint(), shown)
        shown = self.clone(address, (Trust.QUESTION, "yes\n"), ('Private SSH key, or "password":', "/no/such/key\n"), key,
                           (passphrase, "hidden wrong\n"), key, (passphrase, SECRET + "\n"))
        self.assertIn("is not there", shown)

    def test_a_server_whose_key_has_changed_is_not_offered(self):
        server, address = self.server()
        other = os.path.join(self.folder, "other key")
        subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-C", "", "-f", other], check=True, timeout=PATIENCE)
        with open(other + ".pub", encoding="ascii") as public:
            self.write(self.folder, "home/.ssh/known_hosts", f"[127.0.0.1]:{server.port} {public.read()}".encode())
        shown = self.clone(address, status=1)
        self.assertNotIn("Trust this server?", shown)
        self.assertIn("fingerprint", shown)

    def test_the_key_of_an_account_needs_its_passphrase_only(self):
        server, address = self.server()
        self.accounts("add", "ssh", address, "--key", self.key, "--fingerprint", server.fingerprint())
        self.clone(address, (f"Passphrase of {self.key} (empty if it has none):", SECRET + "\n"))
        result = self.run_host("fetch", cwd=os.path.join(self.folder, "clone"))
        self.assertEqual(result.returncode, 1)
        self.assertIn(b"qrbscm accounts add", result.stderr)


if __name__ == "__main__":
    main()
