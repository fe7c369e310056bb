"""Shells complete what the help lists, and the manual explains it."""

import os
import re
import shutil
import subprocess
import unittest

from hosting import HOST, PATIENCE, HostTest, main

FOLDER = os.environ["QRBSCM_COMPLETIONS"]
BASH = """source "$0"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _qrbscm; printf "%s\\n" "${COMPREPLY[@]}" """
# With what zsh has only at its prompt.
ZSH = """_files() { print _files $* }; compset() { print compset $* }; _describe() { print -rl -- ${${(P)2}%%:*} }
words=("$@"); CURRENT=$#; PREFIX=$words[-1]; source "$0" """


class Completion(HostTest):
    def completed(self, *words, shell=("bash", "-c", BASH, "qrbscm.bash")):
        """What the shell offers for the last of the words."""
        result = subprocess.run([*shell[:-1], os.path.join(FOLDER, shell[-1]), HOST, *words], cwd=self.folder,
                                env=self.environment, capture_output=True, timeout=PATIENCE, check=True)
        self.assertEqual(result.stderr, b"")
        return set(result.stdout.decode().split())

    def help_of(self, *command):
        return self.run_host(*command, "--help").stdout.decode()

    def options_of(self, *command):
        """The options that the help explains, not those that it mentions beside one."""
        listed = self.help_of(*command).split("\nOptions:")[1].split("\n\n")[0]
        return set(re.findall(r"^  (?:-[A-Za-z],)?(--[a-z-]+)", listed, re.MULTILINE))

    def commands(self):
        listed = re.findall(r"^  ([a-z-]+) ", self.help_of().split("Subcommands:")[1].split("\n\n")[0], re.MULTILINE)
        self.assertIn("status", listed)
        return listed

    def test_bash_offers_exactly_what_the_help_lists(self):
        self.assertEqual(self.completed(""), set(self.commands()) | {"--help", "--version"})
        for command in self.commands():
            with self.subTest(command):
                self.assertEqual(self.completed(command, "--"), self.options_of(command))

    def test_bash_offers_what_fits_where_the_line_has_come_to(self):
        self.write(self.folder, "a file")
        self.write(self.folder, "some/thing")
        for words, offered in [
                (("status", "so"), {"some"}), (("status", "a"), set()), (("log", "--file", "so"), {"some"}),
                (("log", "--file", "="), {"a", "file", "some", "home"}), (("log", "--file", "=", "so"), {"some"}),
                (("log", "-n", ""), set()), (("log", "-vn", ""), set()), (("log", "-n1", "so"), {"some"}),
                (("add", "a"), {"a", "file"}), (("add", "--", "-"), set()), (("commit", "-C", ""), {"some", "home"}),
                (("commit", "-m", ""), set()), (("blame", "a file", ""), set()), (("clone", "--b"), {"--branch"}),
                (("clone", "--tag", "x", "--b"), set()), (("log", "--paths", "--pa"), set()),
                (("export", "-o", "so"), {"some"}), (("blueprint", "create", "-o", "a"), {"a", "file"}),
                (("blueprint", "create", "a"), set()), (("branch", "-C", "list", "l"), {"list"}),
                (("bogus", "sta"), {"status"})]:
            with self.subTest(words):
                self.assertEqual(self.completed(*words), offered)

    @unittest.skipUnless(shutil.which("zsh"), "zsh is not installed")
    def test_zsh_offers_the_same(self):
        for words, offered in [
                (("sta",), {"status"}), (("status", "--ig"), {"--ignored"}), (("accounts", "l"), {"list"}),
                (("commit", "-m", "'a b'", "--js"), {"--json"}), (("add", ""), {"_files"}),
                (("status", ""), {"_files", "-/"}), (("log", "-n", ""), set()),
                (("log", "--file=a"), {"compset", "-P", "*=", "_files"})]:
            with self.subTest(words):
                self.assertEqual(self.completed(*words, shell=("zsh", "-fc", ZSH, "_qrbscm")), offered)

    def test_bash_offers_what_there_is_to_do_with_commands_that_have_actions(self):
        for command, actions in [("accounts", {"list", "add", "remove", "test"}),
                                 ("branch", {"list", "add", "remove"}), ("remote", {"list", "add", "remove"}),
                                 ("blueprint", {"create", "show", "validate", "diff", "merge", "convert", "checkout",
                                                "check-updates"}),
                                 ("workspace", {"status", "log", "update", "compare"}), ("plug-in", {"check"})]:
            self.assertEqual(self.completed(command, ""), actions)
            for action in actions:
                with self.subTest(command=command, action=action):
                    self.assertEqual(self.completed(command, action, "--"),
                                     self.options_of(command) | self.options_of(command, action))

    def test_the_manual_knows_every_command_and_option(self):
        with open(os.environ["QRBSCM_MANUAL"], encoding="utf-8") as text:
            known = text.read().replace("\\-", "-")
        for command in self.commands():
            self.assertIn(f"\n.SS {command}\n", known)
            for option in self.options_of(command):
                self.assertIn(f"\\fB{option}\\fR", known, command)


if __name__ == "__main__":
    main()
