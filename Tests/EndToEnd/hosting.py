"""What the end-to-end tests share: a home of one's own, git in it, and qrbscm, which must leave nothing running."""

import base64
import ctypes
import json
import os
import pty
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import termios
import unittest

HOST = os.environ["QRBSCM"]
PATIENCE = 120  # seconds until something that ought to end counts as hanging
PR_SET_CHILD_SUBREAPER = 36
C_LIBRARY = ctypes.CDLL(None, use_errno=True)


def within_patience(descriptor):
    if not select.select([descriptor], [], [], PATIENCE)[0]:
        raise AssertionError("nothing came")
    return descriptor


def command_line(process):
    with open(f"/proc/{process}/cmdline", "rb") as line:
        return line.read().replace(b"\0", b" ").decode(errors="replace")


def running_children():
    with open(f"/proc/self/task/{os.getpid()}/children", encoding="ascii") as children:
        return children.read().split()


def supervise(report, prepare):
    """Returns in a child that is to become the program. What calls it stays to the end and reports: a line with the
    program's number and, when that has ended, one with its status and what of it still runs. Orphans of the program
    become its children, as they would become the system's, and are waited for."""
    if C_LIBRARY.prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) != 0:
        raise OSError(ctypes.get_errno(), "prctl")
    process = os.fork()
    if process == 0:
        prepare()
        return
    # The program alone holds what it prints to, so that its readers see it end.
    os.closerange(3, report)
    os.closerange(report + 1, os.sysconf("SC_OPEN_MAX"))
    for standard in (1, 2):
        os.dup2(os.open("/dev/null", os.O_WRONLY), standard)
    os.write(report, b"%d\n" % process)
    ended, status = os.waitpid(-1, 0)
    while ended != process:
        ended, status = os.waitpid(-1, 0)
    left = []
    try:
        while os.waitpid(-1, os.WNOHANG) != (0, 0):
            pass
        left = [command_line(child) for child in running_children()]
        for child in running_children():
            os.kill(int(child), signal.SIGKILL)
    except ChildProcessError:
        pass
    os.write(report, json.dumps({"status": os.waitstatus_to_exitcode(status), "left": left}).encode() + b"\n")
    os._exit(0)


class Host:
    """A running qrbscm, and, when it has ended, its status and what it left behind."""

    def __init__(self, arguments, preexec_fn=lambda: None, **options):
        self._report, write = os.pipe()
        self._reported = b""
        # Forked from here, since starting an interpreter takes far longer than what it would look after.
        self._supervisor = subprocess.Popen([HOST, *arguments], stdin=subprocess.DEVNULL, bufsize=0,
                                            preexec_fn=lambda: supervise(write, preexec_fn), **options)
        os.close(write)
        self.stdout, self.stderr = self._supervisor.stdout, self._supervisor.stderr
        self.pid = int(self._report_line())
        self.returncode = self.left = None

    def _report_line(self):
        while b"\n" not in self._reported:
            piece = os.read(within_patience(self._report), 4096)
            assert piece, "the supervisor ended early"
            self._reported += piece
        line, self._reported = self._reported.split(b"\n", 1)
        return line

    def children(self):
        """Processes of its own that it has started."""
        found = []
        for thread in os.listdir(f"/proc/{self.pid}/task"):
            with open(f"/proc/{self.pid}/task/{thread}/children", encoding="ascii") as children:
                found += children.read().split()
        return found

    def wait(self):
        report = json.loads(self._report_line())
        self.returncode, self.left = report["status"], report["left"]
        return self.returncode

    def communicate(self):
        output = self._supervisor.communicate(timeout=PATIENCE)
        self.wait()
        return output

    def close(self):
        if self.returncode is None:
            os.kill(self.pid, signal.SIGKILL)
        self._supervisor.wait(timeout=PATIENCE)
        os.close(self._report)
        for pipe in (self.stdout, self.stderr):
            if pipe:
                pipe.close()


class HostTest(unittest.TestCase):
    def setUp(self):
        self.folder = os.path.realpath(tempfile.mkdtemp(prefix="qrbscm-test-"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        home = os.path.join(self.folder, "home")
        os.mkdir(home)
        keep = {name: os.environ[name] for name in ("PATH", "TMPDIR") if name in os.environ}
        self.environment = dict(keep, HOME=home, LC_ALL="C.UTF-8", TZ="UTC", GIT_CONFIG_NOSYSTEM="1",
                                GIT_CONFIG_GLOBAL=os.path.join(home, "gitconfig"))
        with open(os.path.join(home, "gitconfig"), "w", encoding="ascii") as config:
            config.write("[user]\n\tname = Ada\n\temail = ada@example.org\n[init]\n\tdefaultBranch = main\n"
                         "[protocol \"file\"]\n\tallow = always\n")

    def git(self, repository, *arguments, check=True, data=None):
        result = subprocess.run(["git", "-C", repository, *arguments], env=self.environment, input=data,
                                capture_output=True, timeout=PATIENCE)
        if check and result.returncode != 0:
            self.fail(f"git {arguments} failed: {result.stderr.decode()}")
        return result.stdout

    def repository(self, name="orchard"):
        path = os.path.join(self.folder, name)
        os.mkdir(path)
        self.git(path, "init", "--quiet")
        return path

    def write(self, repository, name, content=b"text\n"):
        path = os.path.join(os.fsencode(repository), os.fsencode(name))
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as file:
            file.write(content)

    def commit(self, repository, message="a change", **files):
        for name, content in files.items():
            self.write(repository, name, content.encode())
        self.git(repository, "add", "--all")
        self.git(repository, "commit", "--quiet", "--allow-empty", "--message", message)

    def start(self, *arguments, cwd=None, environment=None, **options):
        """A running host; its output is piped unless said otherwise."""
        options.setdefault("stdout", subprocess.PIPE)
        options.setdefault("stderr", subprocess.PIPE)
        host = Host(arguments, cwd=cwd or self.folder, env=environment or self.environment, **options)
        self.addCleanup(host.close)
        return host

    def finish(self, host):
        """Waits for a host and checks what holds of each: it ends, and nothing of it is left."""
        output, errors = host.communicate()
        self.assertEqual(host.left, [], "processes were left behind")
        return subprocess.CompletedProcess([], host.returncode, output, errors)

    def run_host(self, *arguments, **options):
        return self.finish(self.start(*arguments, **options))

    def run_unread(self, *arguments, **options):
        """Runs a host whose output nobody takes."""
        reading, writing = os.pipe()
        os.close(reading)
        try:
            return self.run_host(*arguments, stdout=writing, **options)
        finally:
            os.close(writing)

    def converse(self, *arguments, answers=(), cwd=None, environment=None):
        """Runs a host on a terminal of its own and types each answer when its question is shown: pairs of the end of
        the question and what is typed, or of a pattern and what is called then. Gives the exit status and all that the
        terminal showed."""
        process, terminal = pty.fork()
        if process == 0:
            os.chdir(cwd or self.folder)
            os.execve(HOST, [HOST, *arguments], dict(environment or self.environment, TERM="dumb"))
        shown, asked, answers = b"", 0, list(answers)
        try:
            while True:
                try:
                    piece = os.read(within_patience(terminal), 4096)
                except OSError:  # how a terminal says that the other side is closed
                    break
                if not piece:
                    break
                shown += piece
                if answers and self.is_asked(shown[asked:], answers[0][0]):
                    question, answer = answers.pop(0)
                    asked = len(shown)
                    if callable(answer):
                        answer()
                        continue
                    # The mode is read at the other end, which is the same terminal.
                    hidden = not termios.tcgetattr(terminal)[3] & termios.ECHO
                    self.assertEqual(hidden, "Pass" in question, f"hidden: {hidden}, after {shown}")
                    os.write(terminal, answer.encode())
        finally:
            os.close(terminal)
            status = os.waitstatus_to_exitcode(os.waitpid(process, 0)[1])
        self.assertEqual(answers, [], "was not asked: " + shown.decode(errors="replace"))
        return status, shown.decode(errors="replace")

    @staticmethod
    def is_asked(shown, question):
        if isinstance(question, str):
            return shown.rstrip().endswith(question.encode())
        return question.search(shown.decode(errors="replace"))

    def json_of(self, *arguments, **options):
        """What a command lists, which must succeed without a word of complaint."""
        result = self.run_host(*arguments, "--json", **options)
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        return json.loads(result.stdout.decode("utf-8"))


def path_of(entry, key="path"):
    """The bytes of a listed path."""
    encoded = entry.get(key + "Bytes")
    return base64.b64decode(encoded, validate=True) if encoded is not None else entry[key].encode("utf-8")


def main():
    unittest.main(argv=[sys.argv[0], *sys.argv[1:]])
