"""Runs a program and tells what it leaves behind: supervise.py DESCRIPTOR PROGRAM ARGUMENT...

Orphans of the program become children of this process, as they would become the system's, and are waited for. The
descriptor gets a line with the program's number and, when the program has ended, one with its status and what of it
still runs.
"""

import ctypes
import json
import os
import signal
import sys

PR_SET_CHILD_SUBREAPER = 36


def command_line(process):
    with open(f"/proc/{process}/cmdline", "rb") as line:
        return line.read().replace(b"\0", b" ").decode(errors="replace")


def running_children():
    with open(f"/proc/self/task/{os.getpid()}/children", encoding="ascii") as children:
        return children.read().split()


def main():
    if ctypes.CDLL(None, use_errno=True).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) != 0:
        raise OSError(ctypes.get_errno(), "prctl")
    descriptor, program = int(sys.argv[1]), sys.argv[2:]
    os.set_inheritable(descriptor, False)
    process = os.fork()
    if process == 0:
        signal.signal(signal.SIGPIPE, signal.SIG_DFL)
        os.execv(program[0], program)
    # The program alone holds what it prints to, so that its readers see it end.
    for standard in (1, 2):
        os.dup2(os.open("/dev/null", os.O_WRONLY), standard)
    os.write(descriptor, b"%d\n" % process)
    status = None
    while status is None:
        ended, how = os.waitpid(-1, 0)
        if ended == process:
            status = os.waitstatus_to_exitcode(how)
    left = []
    try:
        while os.waitpid(-1, os.WNOHANG) != (0, 0):
            pass
        left = [command_line(child) for child in running_children()]
        for child in running_children():
            os.kill(int(child), signal.SIGKILL)
    except ChildProcessError:
        pass
    os.write(descriptor, json.dumps({"status": status, "left": left}).encode() + b"\n")


if __name__ == "__main__":
    main()
