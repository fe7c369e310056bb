"""Shells complete what the help lists, and the manual explains it."""

import os
import re
import subprocess

from hosting import PATIENCE, HostTest, main

FOLDER = os.environ["QRBSCM_COMPLETIONS"]


class Completion(HostTest):
    def completed(self, *words):
        """What bash offers for the last of the words."""
        script = ('source "$0"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _qrbscm; '
                  'printf "%s\\n" "${COMPREPLY[@]}"')
        result = subprocess.run(["bash", "-c", script, os.path.join(FOLDER, "qrbscm.bash"), "qrbscm", *words],
                                cwd=self.folder, env=self.environment, capture_output=True, timeout=PATIENCE, check=True)
        return set(result.stdout.decode().split())

    def help_of(self, *command):
        return self.run_host(*command, "--help").stdout.decode()

    def options_of(self, *command):
        """The options that the help explains, not those that it mentions beside one."""
        listed = self.help_of(*command).split("\nOptions:")[1].split("\n\n")[0]
        return set(re.findall(r"^  (?:-[A-Za-z],)?(--[a-z-]+)", listed, re.MULTILINE))

    def commands(self):
        listed = re.findall(r"^  ([a-z]+) ", self.help_of().split("Subcommands:")[1].split("\n\n")[0], re.MULTILINE)
        self.assertIn("status", listed)
        return listed

    def test_bash_offers_exactly_what_the_help_lists(self):
        self.assertEqual(self.completed(""), set(self.commands()) | {"--help", "--version"})
        for command in self.commands():
            with self.subTest(command):
                self.assertEqual(self.completed(command, "--"), self.options_of(command))

    def test_bash_offers_folders_and_files_where_they_are_wanted(self):
        self.write(self.folder, "a file")
        self.write(self.folder, "some/thing")
        self.assertEqual(self.completed("status", "so"), {"some"})
        self.assertEqual(self.completed("status", "a"), set())
        self.assertEqual(self.completed("log", "--file", "so"), {"some"})
        self.assertEqual(self.completed("log", "-n", ""), set())
        self.assertEqual(self.completed("add", "a"), {"a", "file"})
        self.assertEqual(self.completed("commit", "-C", ""), {"some", "home"})
        self.assertEqual(self.completed("commit", "-m", ""), set())

    def test_bash_offers_what_there_is_to_do_with_commands_that_have_actions(self):
        for command, actions in [("accounts", {"list", "add", "remove", "test"}),
                                 ("branch", {"list", "add", "remove"}), ("remote", {"list", "add", "remove"}),
                                 ("blueprint", {"create", "show", "validate", "diff", "merge", "convert", "checkout",
                                                "check-updates"}),
                                 ("workspace", {"status", "log", "update", "compare"})]:
            self.assertEqual(self.completed(command, ""), actions)
            for action in actions:
                with self.subTest(command=command, action=action):
                    self.assertEqual(self.completed(command, action, "--"),
                                     self.options_of(command) | self.options_of(command, action))

    def test_zsh_and_the_manual_know_every_command_and_option(self):
        for file in ("_qrbscm", "../qrbscm.1"):
            with open(os.path.join(FOLDER, file), encoding="utf-8") as text:
                known = text.read().replace("\\-", "-")
            for command in self.commands():
                self.assertIn(command, known)
                for option in self.options_of(command):
                    self.assertIn(option, known, f"{command} in {file}")


if __name__ == "__main__":
    main()
