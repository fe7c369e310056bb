"""However a run ends, early or late, the user sees what there was in time and nothing stays behind."""

import array
import fcntl
import json
import os
import pty
import shutil
import signal
import termios

from hosting import HostTest, main, within_patience

F_SETPIPE_SZ = 1031

# A git that stops in the middle of a history until the test lets it go on.
SLOW_GIT = """#!/bin/sh
case " $* " in
*" log "*)
  "{git}" "$@" | (
    head -c {first}
    read -r _ <"{folder}/gate"
    cat
  ) ;;
*) exec "{git}" "$@" ;;
esac
"""


class Ending(HostTest):
    COUNT = 3000

    def history(self):
        repository = self.repository()
        stream = []
        for number in range(self.COUNT):
            stream.append(b"commit refs/heads/main\ncommitter Ada <ada@example.org> %d +0000\ndata <<.\nchange %d\n.\n"
                          b"M 100644 inline f%d\ndata 1\nx\n" % (1_700_000_000 + number, number, number))
        self.git(repository, "fast-import", "--quiet", data=b"".join(stream))
        return repository

    def slow_git(self, first):
        """An environment whose git prints that many bytes of a history and then waits for the gate."""
        folder = os.path.join(self.folder, "slow")
        os.mkdir(folder)
        os.mkfifo(os.path.join(folder, "gate"))
        script = os.path.join(folder, "git")
        with open(script, "w", encoding="ascii") as file:
            file.write(SLOW_GIT.format(folder=folder, git=shutil.which("git"), first=first))
        os.chmod(script, 0o755)
        return folder, dict(self.environment, PATH=folder + ":" + self.environment["PATH"])

    def read_line(self, pipe):
        """The next line, waiting for it no longer than a hang needs to be told."""
        line = b""
        while not line.endswith(b"\n"):
            byte = os.read(within_patience(pipe), 1)
            self.assertTrue(byte, "the output ended early")
            line += byte
        return line

    def test_first_entries_appear_while_git_still_runs(self):
        repository = self.history()
        for options in ([], ["--json"]):
            with self.subTest(options):
                folder, environment = self.slow_git(200_000)
                host = self.start("log", *options, repository, environment=environment)
                first = [self.read_line(host.stdout.fileno()) for _ in range(3)]
                self.assertIn(b"change %d" % (self.COUNT - 1), b"".join(first))
                self.assertTrue(host.children(), "git has ended already")
                with open(os.path.join(folder, "gate"), "w", encoding="ascii") as gate:
                    gate.write("go on\n")
                result = self.finish(host)
                self.assertEqual((result.returncode, result.stderr), (0, b""))
                text = b"".join(first) + result.stdout
                if options:
                    messages = [entry["message"].strip() for entry in json.loads(text)]
                    self.assertEqual(messages, [f"change {number}" for number in reversed(range(self.COUNT))])
                else:
                    self.assertEqual(text.count(b"    change "), self.COUNT)
                shutil.rmtree(folder)

    def test_interruption_cancels_and_leaves_nothing(self):
        repository = self.history()
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            for options in ([], ["--json"]):
                with self.subTest(signal=number, options=options):
                    folder, environment = self.slow_git(200_000)
                    host = self.start("log", *options, repository, environment=environment)
                    line = self.read_line(host.stdout.fileno())
                    self.assertTrue(host.children(), "there is no plug-in to be left behind")
                    os.kill(host.pid, number)
                    result = self.finish(host)
                    self.assertEqual(result.returncode, -number, "a shell's loop would go on")
                    self.assertIn(b"cancel", result.stderr)
                    if options:
                        self.assertTrue(json.loads(line + result.stdout), "what was printed is not readable")
                    shutil.rmtree(folder)

    def test_interruption_ends_a_host_whose_reader_has_stopped_reading(self):
        """The output is full and nobody takes it; the host is inside a write then."""
        repository = self.history()
        reading, writing = os.pipe()
        self.addCleanup(os.close, reading)
        fcntl.fcntl(reading, F_SETPIPE_SZ, 4096)
        host = self.start("log", "--json", repository, stdout=writing)
        os.close(writing)
        self.wait_until_full(reading)
        os.kill(host.pid, signal.SIGINT)
        host.wait()
        self.assertEqual((host.returncode, host.left), (-signal.SIGINT, []))

    def wait_until_full(self, pipe):
        """Until a pipe, made as small as can be, holds something: there is no room for more then."""
        held = array.array("i", [0])
        fcntl.ioctl(within_patience(pipe), termios.FIONREAD, held)
        self.assertGreater(held[0], 0)

    def test_a_reader_that_has_enough_ends_the_log_quietly(self):
        repository = self.history()
        for options in ([], ["--json"], ["--paths"]):
            with self.subTest(options):
                host = self.start("log", *options, repository)
                self.read_line(host.stdout.fileno())
                host.stdout.close()
                errors = host.stderr.read()
                host.wait()
                self.assertEqual((host.returncode, errors, host.left), (0, b"", []))

    def test_a_reader_that_goes_while_git_is_silent_ends_the_log(self):
        """Nothing has been or is being written, so no write can tell."""
        repository = self.history()
        folder, environment = self.slow_git(0)
        host = self.start("log", repository, environment=environment)
        with open(os.path.join(folder, "gate"), "wb"):  # which waits until git is there
            host.stdout.close()
            host.wait()
        self.assertEqual((host.returncode, host.left), (0, []))

    def test_an_ignored_interruption_stays_ignored(self):
        """As under nohup: the signal that the program was started to ignore does not end it."""
        repository = self.history()
        folder, environment = self.slow_git(200_000)
        host = self.start("log", "--json", repository, environment=environment,
                          preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        line = self.read_line(host.stdout.fileno())
        os.kill(host.pid, signal.SIGHUP)
        with open(os.path.join(folder, "gate"), "w", encoding="ascii") as gate:
            gate.write("go on\n")
        result = self.finish(host)
        self.assertEqual(result.returncode, 0)
        self.assertEqual(len(json.loads(line + result.stdout)), self.COUNT)

    def on_terminal(self, *arguments, **variables):
        """What a run shows when everything it prints goes to a terminal."""
        master, slave = pty.openpty()
        environment = dict(self.environment, TERM="xterm", **variables)
        host = self.start(*arguments, environment=environment, stdout=slave, stderr=slave)
        os.close(slave)
        shown = b""
        try:
            while True:
                piece = os.read(master, 65536)
                if not piece:
                    break
                shown += piece
        except OSError:  # how a terminal says that the other side is closed
            pass
        os.close(master)
        host.wait()
        self.assertEqual(host.left, [])
        return host.returncode, shown

    def test_colour_only_where_it_is_wanted(self):
        repository = self.repository()
        self.write(repository, "new")
        self.assertNotIn(b"\033", self.run_host("status", repository).stdout)
        self.assertIn(b"\033[", self.on_terminal("status", repository)[1])
        self.assertNotIn(b"\033", self.on_terminal("status", repository, NO_COLOR="1")[1])

    def test_a_terminal_gets_the_newest_entries_and_is_told_so(self):
        repository = self.history()
        status, shown = self.on_terminal("log", repository, NO_COLOR="1")
        self.assertEqual((status, shown.count(b"    change ")), (0, 30))
        self.assertIn(b"-n 0 shows all", shown)


if __name__ == "__main__":
    main()
