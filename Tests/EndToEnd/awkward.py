"""Repositories that are unlike the usual. Each function of AWKWARD makes one and returns its path."""

import os

AWKWARD_NAMES = [b"plain.txt", b"two  blanks ", b'a "quoted" name', b"it's", b"line\nend", b"tab\tname", b"-leading-dash",
                 b"--help", b"back\\slash", b"not\xffutf8\xfe", b"\xc3\xbcmlaut", b"\x1b[31mred", b"folder/\xe2\x82\xac uro",
                 b"-folder/-file", b"a -> b", b"*", b":(top)x", b"\xc2\x9b31m"]


def empty(test):
    return test.repository()


def empty_with_files(test):
    path = test.repository()
    test.write(path, "staged")
    test.git(path, "add", "staged")
    test.write(path, "staged", b"and changed\n")
    test.write(path, "new")
    return path


def detached(test):
    path = test.repository()
    test.commit(path, "one", a="1")
    test.commit(path, "two", a="2")
    test.git(path, "checkout", "--quiet", "--detach", "HEAD~1")
    test.write(path, "a", b"3")
    return path


def every_kind_of_change(test):
    path = test.repository()
    names = ["kept", "modified", "staged", "both", "gone", "removed", "link", "mode"]
    test.commit(path, "first", **{name: name for name in names})
    test.commit(path, "ignore", **{".gitignore": "*.o\nbuild/\n"})
    test.write(path, "modified", b"changed")
    for name in ("staged", "both"):
        test.write(path, name, b"changed")
        test.git(path, "add", name)
    test.write(path, "both", b"changed again")
    os.remove(os.path.join(path, "gone"))
    test.git(path, "rm", "--quiet", "removed")
    os.remove(os.path.join(path, "link"))
    os.symlink("kept", os.path.join(path, "link"))
    os.chmod(os.path.join(path, "mode"), 0o755)
    test.write(path, "added")
    test.git(path, "add", "added")
    test.write(path, "untracked folder/deep/file")
    test.write(path, "build/x")
    test.write(path, "x.o")
    return path


def conflicts(test):
    path = test.repository()
    test.commit(path, "base", both="base\n", ours_deleted="1\n", theirs_deleted="1\n", quiet="x")
    test.git(path, "checkout", "--quiet", "-b", "other")
    test.commit(path, "theirs", both="theirs\n", ours_deleted="2\n", added="theirs\n")
    test.git(path, "rm", "--quiet", "theirs_deleted")
    test.commit(path, "theirs gone")
    test.git(path, "checkout", "--quiet", "main")
    test.commit(path, "ours", both="ours\n", theirs_deleted="2\n", added="ours\n")
    test.git(path, "rm", "--quiet", "ours_deleted")
    test.commit(path, "ours gone")
    test.git(path, "merge", "other", check=False)
    return path


def renames_with_changes(test):
    path = test.repository()
    text = "".join(f"line {number}\n" for number in range(100))
    test.commit(path, "first", one=text, two=text.replace("line", "row"), three=text.replace("line", "word"))
    test.git(path, "mv", "one", "new one")
    test.write(path, "new one", (text + "more\n").encode())
    test.git(path, "add", "--all")
    test.git(path, "mv", "two", "new two")
    test.write(path, "new two", b"changed after that\n")
    return path


def renamed_in_history(test):
    path = test.repository()
    text = "".join(f"line {number}\n" for number in range(100))
    test.commit(path, "first", one=text)
    test.git(path, "mv", "one", "two")
    test.write(path, "two", (text + "more\n").encode())
    test.commit(path, "renamed and changed")
    test.commit(path, "after", two=text)
    return path


def merged(test):
    path = test.repository()
    test.commit(path, "base", a="1")
    test.git(path, "checkout", "--quiet", "-b", "side")
    test.commit(path, "side", b="1")
    test.git(path, "checkout", "--quiet", "main")
    test.commit(path, "main\n\nwith a body\n\n  and an indented line", c="1")
    test.git(path, "merge", "--quiet", "--no-ff", "--message", "merge", "side")
    return path


def submodule(test):
    inner = test.repository("inner")
    test.commit(inner, "inner", x="1")
    path = test.repository()
    for name in ("changed", "ahead", "clean"):
        test.git(path, "submodule", "--quiet", "add", inner, name)
    test.commit(path, "with submodules")
    test.write(path, "changed/x", b"2")
    test.write(path, "changed/new", b"2")
    test.commit(os.path.join(path, "ahead"), "ahead", x="3")
    return path


def inside_submodule(test):
    path = os.path.join(submodule(test), "ahead")
    test.write(path, "more")
    return path


def worktree(test):
    path = test.repository("main tree")
    test.commit(path, "first", a="1")
    other = os.path.join(test.folder, "other tree")
    test.git(path, "worktree", "add", "--quiet", "-b", "side", other)
    test.write(other, "a", b"2")
    return other


def shallow(test):
    origin = test.repository("origin")
    for number in range(5):
        test.commit(origin, f"change {number}", a=str(number))
    path = os.path.join(test.folder, "shallow")
    test.git(test.folder, "clone", "--quiet", "--depth", "2", "file://" + origin, path)
    test.write(path, "new")
    return path


def awkward_names(test):
    path = test.repository()
    for name in AWKWARD_NAMES:
        test.write(path, name)
    test.commit(path, "awkward names")
    for name in AWKWARD_NAMES:
        test.write(path, name, b"changed\n")
        test.write(path, name + b".new")
    return path


def awkward_messages(test):
    path = test.repository()
    for message in (b"not \xff UTF-8\n", b"\x1b[31mred \x07\n\n\n\nlate line", b"\xe2\x82\xac \xf0\x9f\x8d\x8f", b"quote \" \\ end"):
        test.git(path, "commit", "--quiet", "--allow-empty", "--file=-", data=message)
    test.git(path, "commit", "--quiet", "--allow-empty", "--allow-empty-message", "--message", "")
    test.git(path, "-c", "user.name=B\xfcrt <the> Great", "commit", "--quiet", "--allow-empty", "--message", "by another")
    return path


def many_files(test):
    """50,000 files, a thousand of them changed, and as many untracked ones."""
    path = test.repository()
    stream = [b"commit refs/heads/main\ncommitter Ada <ada@example.org> 1700000000 +0000\ndata 4\nmany\n"]
    for number in range(50_000):
        stream.append(b"M 100644 inline d%d/f%d\ndata 1\nx\n" % (number % 100, number))
    test.git(path, "fast-import", "--quiet", data=b"".join(stream))
    test.git(path, "reset", "--quiet", "--hard", "main")
    for number in range(0, 50_000, 50):
        test.write(path, f"d{number % 100}/f{number}", b"y")
        test.write(path, f"d{number % 100}/new{number}")
    return path


AWKWARD = [empty, empty_with_files, detached, every_kind_of_change, conflicts, renames_with_changes, renamed_in_history,
           merged, submodule, inside_submodule, worktree, shallow, awkward_names, awkward_messages, many_files]
