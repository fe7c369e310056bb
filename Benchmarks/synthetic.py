"""Repositories made up for measuring: the same bytes every time, made once and kept in a folder."""

import os
import pathlib
import random
import shutil
import subprocess
import time

WORDS = ("archive branch cache delta engine filter graph handle index journal kernel lookup merge network object "
         "parser queue render schema table update vector window").split()


def git(folder, *arguments, **options):
    return subprocess.run(["git", "-C", str(folder), *arguments], check=True, **options)


def make(cache, name, build):
    """The folder of that name in the cache; `build` fills it where it is not there yet."""
    folder = pathlib.Path(cache) / name
    if folder.exists():
        return folder
    unfinished = folder.with_suffix(".unfinished")
    shutil.rmtree(unfinished, ignore_errors=True)
    unfinished.mkdir(parents=True)
    subprocess.run(["git", "init", "-q", "-b", "main", str(unfinished)], check=True)
    build(unfinished)
    unfinished.rename(folder)
    return folder


def fast_import(folder, chunks):
    process = subprocess.Popen(["git", "-C", str(folder), "fast-import", "--quiet"], stdin=subprocess.PIPE)
    for chunk in chunks:
        process.stdin.write(chunk)
    process.stdin.close()
    if process.wait() != 0:
        raise RuntimeError("git fast-import failed")


def data(content):
    return b"data %d\n%s\n" % (len(content), content)


def person(role, number, seconds):
    name = f"{WORDS[number % len(WORDS)].title()} {WORDS[number // 3 % len(WORDS)].title()}"
    return f"{role} {name} <person{number}@example.org> {seconds} +0000\n".encode()


def tree_of_files(cache, count, modified):
    """A working copy of `count` files three folders deep, `modified` of them changed since."""

    def build(folder):
        def chunks():
            yield b"commit refs/heads/main\n" + person("committer", 0, 1700000000) + data(b"All files\n")
            for number in range(count):
                yield f"M 100644 inline {path(number)}\n".encode() + data(f"file {number}\n".encode())

        def path(number):
            folders = f"area{number // 5000:03}/{WORDS[number // 200 % 23]}{number // 200 % 25:02}/part{number // 20 % 10}"
            return f"{folders}/file{number:06}.txt"

        fast_import(folder, chunks())
        git(folder, "reset", "-q", "--hard")
        for number in range(modified):
            (folder / path(number * (count // modified))).write_text("changed by hand\n")

    folder = make(cache, f"files-{count}-{modified}", build)
    # Files as new as the index are read again by every status; let a second go by and write the index once more.
    if time.time() - os.stat(folder / ".git/index").st_mtime < 3:
        time.sleep(1.5)
        (folder / ".git/index").touch()
    git(folder, "status", "--porcelain", stdout=subprocess.DEVNULL)
    return folder


def history(cache, count):
    """`count` commits of two or three files each in a tree of 3,375, four folders deep; every tenth renames a file."""

    def build(folder):
        source = random.Random(1)
        paths = [f"src/{WORDS[a]}/{WORDS[b]}_part/{WORDS[c]}_{a}_{b}.cpp"
                 for a in range(15) for b in range(15) for c in range(15)]
        renames = [0] * len(paths)

        def chunks():
            seconds = 1500000000
            yield b"commit refs/heads/main\n" + person("committer", 0, seconds) + data(b"The beginning\n")
            for path in paths:
                yield f"M 100644 inline {path}\n".encode() + data((f"// {path}\n" + "line\n" * 20).encode())
            for number in range(1, count):
                seconds += source.randrange(60, 3600)
                author = int(200 * source.random() ** 3)
                text = " ".join(source.choices(WORDS, k=source.randrange(3, 9)))
                if number % 3 == 0:
                    text += "\n\n" + " ".join(source.choices(WORDS, k=20))
                yield (b"commit refs/heads/main\n" + person("author", author, seconds) +
                       person("committer", 0, seconds) + data(text.encode() + b"\n"))
                touched = source.sample(range(len(paths)), source.randrange(2, 4))
                if number % 10 == 0:
                    renamed = touched.pop()
                    renames[renamed] += 1
                    stem = paths[renamed].split(".")[0]
                    new = f"{stem}.{renames[renamed] % 4}.cpp"
                    yield f"R {paths[renamed]} {new}\n".encode() if new != paths[renamed] else b""
                    paths[renamed] = new
                for index in touched:
                    yield (f"M 100644 inline {paths[index]}\n".encode() +
                           data((f"// {paths[index]}\n" + "line\n" * 20 + f"change {number}\n").encode()))

        fast_import(folder, chunks())

    return make(cache, f"history-{count}", build)


def blamed(cache, lines, commits):
    """One file of about `lines` lines that `commits` commits have grown: each changes some lines, adds some and takes
    some away; every twentieth moves a block, and twice the file itself gets a new name. The last one is the working
    copy's."""

    def build(folder):
        source = random.Random(3)
        text = [f"{number} {' '.join(source.choices(WORDS, k=6))}" for number in range(lines // 2)]
        names = ["source.txt", "renamed.txt", "file.txt"]

        def chunks():
            name = names[0]
            for number in range(commits):
                author = int(50 * source.random() ** 2)
                words = " ".join(source.choices(WORDS, k=5))
                yield (b"commit refs/heads/main\n" + person("author", author, 1500000000 + number * 3600) +
                       person("committer", 0, 1500000000 + number * 3600) + data(f"{words}\n\n{words}\n".encode()))
                for change in range(5):
                    place = source.randrange(len(text))
                    text[place] = f"{number} changed {change} {source.choice(WORDS)}"
                place = source.randrange(len(text))
                added = max(2, lines // 2 // commits + 2)
                text[place:place] = [f"{number} added {line} {source.choice(WORDS)}" for line in range(added)]
                place = source.randrange(len(text) - 2)
                del text[place:place + 2]
                if number % 20 == 0:
                    place = source.randrange(len(text) - 30)
                    block = text[place:place + 20]
                    del text[place:place + 20]
                    place = source.randrange(len(text))
                    text[place:place] = block
                if number > 0 and number % (commits // 3 + 1) == 0:
                    yield f"R {name} {names[names.index(name) + 1]}\n".encode()
                    name = names[names.index(name) + 1]
                yield f"M 100644 inline {name}\n".encode() + data("\n".join(text).encode() + b"\n")

        fast_import(folder, chunks())
        git(folder, "reset", "-q", "--hard")

    return make(cache, f"blamed-{lines}-{commits}", build)


def small(cache):
    """Ten files, five commits, two files changed."""

    def build(folder):
        def chunks():
            for number in range(5):
                yield (b"commit refs/heads/main\n" + person("committer", number, 1700000000 + number) +
                       data(f"Commit {number}\n".encode()))
                for file in range(10):
                    yield f"M 100644 inline file{file}.txt\n".encode() + data(f"{number} {file}\n".encode())

        fast_import(folder, chunks())
        git(folder, "reset", "-q", "--hard")
        (folder / "file1.txt").write_text("changed\n")
        (folder / "file2.txt").write_text("changed\n")

    return make(cache, "small", build)


def large(cache, megabytes):
    """A working copy of files of 100,000 bytes each that do not compress, `megabytes` together."""

    def build(folder):
        noise = random.Random(megabytes)

        def chunks():
            yield b"commit refs/heads/main\n" + person("committer", 0, 1700000000) + data(b"All files\n")
            for number in range(megabytes * 10):
                yield f"M 100644 inline part{number % 20}/{number}\n".encode() + data(noise.randbytes(100000))

        fast_import(folder, chunks())
        git(folder, "reset", "-q", "--hard")

    return make(cache, f"large-{megabytes}", build)


def served(cache, number):
    """One of many libraries to serve: 200 files, 100 commits, no two alike."""

    def build(folder):
        def chunks():
            seconds = 1600000000
            for commit in range(100):
                yield (b"commit refs/heads/main\n" + person("committer", commit % 7, seconds + commit * 3600) +
                       data(f"Commit {commit} of library {number}\n".encode()))
                for file in range(200) if commit == 0 else [commit, commit + 50]:
                    text = "".join(f"line {line} of {file} in library {number}, {commit}\n" for line in range(60))
                    yield f"M 100644 inline src/part{file % 9}/file{file}.txt\n".encode() + data(text.encode())

        fast_import(folder, chunks())
        git(folder, "repack", "-a", "-d", "-q")

    return make(cache, f"served-{number}", build)


def make_subversion(cache, name, build):
    """A folder with a repository and a working copy of its trunk; `build` gets both places, the latter not there yet."""
    folder = pathlib.Path(cache) / name
    if not folder.exists():
        unfinished = folder.with_suffix(".unfinished")
        shutil.rmtree(unfinished, ignore_errors=True)
        unfinished.mkdir(parents=True)
        subprocess.run(["svnadmin", "create", str(unfinished / "repository")], check=True)
        build(unfinished / "repository", unfinished / "import")
        shutil.rmtree(unfinished / "import", ignore_errors=True)
        unfinished.rename(folder)
        # By the address that it has from now on.
        subprocess.run(["svn", "checkout", "-q", f"file://{(folder / 'repository').resolve()}/trunk", str(folder / "work")],
                       check=True)
    return folder


def load_revisions(repository, revisions):
    """Loads a dump of revisions, each a message and a list of (kind of action, path, content)."""
    process = subprocess.Popen(["svnadmin", "load", "-q", "--no-flush-to-disk", str(repository)],
                               stdin=subprocess.PIPE)

    def properties(pairs):
        text = "".join(f"K {len(key)}\n{key}\nV {len(value.encode())}\n{value}\n" for key, value in pairs.items())
        return (text + "PROPS-END\n").encode()

    process.stdin.write(b"SVN-fs-dump-format-version: 2\n\n")
    for number, (message, changes) in enumerate(revisions, 1):
        date = time.strftime("%Y-%m-%dT%H:%M:%S.000000Z", time.gmtime(1500000000 + number * 600))
        values = properties({"svn:log": message, "svn:author": f"person{number % 40}", "svn:date": date})
        process.stdin.write(f"Revision-number: {number}\nProp-content-length: {len(values)}\n"
                            f"Content-length: {len(values)}\n\n".encode() + values + b"\n")
        for action, path, content in changes:
            head = f"Node-path: {path}\nNode-kind: {'dir' if content is None else 'file'}\nNode-action: {action}\n"
            if content is None:
                process.stdin.write(head.encode() + b"Prop-content-length: 10\nContent-length: 10\n\nPROPS-END\n\n\n")
                continue
            process.stdin.write(head.encode() + f"Text-content-length: {len(content)}\nContent-length: {len(content)}\n\n"
                                .encode() + content + b"\n\n")
    process.stdin.close()
    if process.wait() != 0:
        raise RuntimeError("svnadmin load failed")


LAYOUT = ("layout", [("add", name, None) for name in ("trunk", "branches", "tags")])


def subversion_files(cache, count):
    """A working copy of `count` files."""

    def build(repository, place):
        for number in range(count):
            file = place / f"area{number // 1000:03}/part{number // 50 % 20:02}/file{number:06}.txt"
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_text(f"file {number}\n")
        subprocess.run(["svn", "import", "-q", "-m", "all files", str(place), f"file://{repository.resolve()}/trunk"],
                       check=True)

    return make_subversion(cache, f"subversion-files-{count}", build)


def subversion_history(cache, count):
    """`count` revisions of two files each."""

    def build(repository, _):
        def revisions():
            yield LAYOUT
            yield ("files", [("add", f"trunk/file{number:03}.txt", b"begun\n") for number in range(300)])
            source = random.Random(2)
            for number in range(3, count + 1):
                yield (" ".join(source.choices(WORDS, k=7)),
                       [("change", f"trunk/file{index:03}.txt", f"{number}\n".encode())
                        for index in sorted(source.sample(range(300), 2))])

        load_revisions(repository, revisions())

    return make_subversion(cache, f"subversion-history-{count}", build)


def subversion_blamed(cache, lines, revisions):
    """One file of `lines` lines that every revision changes in some places."""

    def build(repository, _):
        def all_revisions():
            source = random.Random(3)
            text = [f"{number} {' '.join(source.choices(WORDS, k=6))}" for number in range(lines)]
            yield LAYOUT
            for number in range(revisions):
                yield (f"change {number}", [("change" if number else "add", "trunk/file.txt",
                                             ("\n".join(text) + "\n").encode())])
                for _ in range(max(1, 2 * lines // revisions)):
                    text[source.randrange(lines)] = f"{number} {source.choice(WORDS)}"

        load_revisions(repository, all_revisions())

    return make_subversion(cache, f"subversion-blamed-{lines}-{revisions}", build)
