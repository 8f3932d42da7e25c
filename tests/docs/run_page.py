#!/usr/bin/env python3
"""Runs the commands of a Markdown page and compares what they print: run_page.py [--accept] KIVTS PAGE

With --accept the outputs that differ are written into the page, to be read before they are kept; not those of commands
that fail.

A fence "console" holds commands, each behind "$ "; a line that ends with a backslash or a pipe goes on in the next one.
The lines up to the next command are what it prints, standard output before standard error. Each command is bash and
must exit with 0. All commands of a page run in one new directory that holds a copy of examples/, in the order of the
page, with standard output on a terminal of 100 columns. Comments in the page, in lines of their own, say what else
matters:

    <!-- now: 2014-02-20T09:00:00Z -->   the clock stands still at this time from here on
    <!-- exit: 5 -->                     the commands of the next fence exit with this code
    <!-- digits differ -->               numbers in the output of the next fence differ from run to run
    <!-- file: plot.svg docs/plot.svg -->   at the end, plot.svg of that directory is the project's docs/plot.svg
"""

import difflib
import errno
import fcntl
import os
import pathlib
import re
import select
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import termios
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
COLUMNS, LINES = 100, 30
TIMEOUT = 60  # seconds for one command

# How long an import took, wherever it stands.
RATE = re.compile(r", in [0-9.]+ s, [0-9.]+( [kM])? samples/s")
NUMBER = re.compile(r"[0-9][0-9.,]*( [kKMGT]i?B?\b)?")


class PageError(Exception):
    pass


class Command:
    def __init__(self, first, exit_code, digits_differ, now):
        self.text = ""
        self.first = first  # index of the first line of the output
        self.output = []
        self.exit_code = exit_code
        self.digits_differ = digits_differ
        self.now = now

    def agrees_with(self, output):
        def plain(lines):
            return [RATE.sub(", in T s, R samples/s", line.rstrip()) for line in lines]

        def without_digits(lines):
            # Columns are as wide as their numbers.
            return [re.sub(r"[ \-─]+", " ", NUMBER.sub("0", line)).strip() for line in plain(lines)]

        reduce = without_digits if self.digits_differ else plain
        return reduce(self.output) == reduce(output)


class PageReader:
    """The commands of a page, in its order."""

    def __init__(self, lines):
        self.lines = lines
        self.commands = []
        self.now = None
        self.files = []  # pairs of names, in the directory and in the project
        self.forget_directives()

    def forget_directives(self):
        self.exit_code, self.digits_differ = 0, False

    def read(self):
        position = 0
        while position < len(self.lines):
            line = self.lines[position]
            position += 1
            comment = re.fullmatch(r"<!-- (now|exit|file|digits differ)(?:: (.+))? -->", line)
            if comment:
                self.take_directive(*comment.groups())
            elif line.startswith("```"):
                position = self.read_fence(line[3:], position)

    def take_directive(self, name, value):
        if name == "now":
            self.now = value
        elif name == "exit":
            self.exit_code = int(value)
        elif name == "file":
            self.files.append(value.split())
        else:
            self.digits_differ = True

    def read_fence(self, language, position):
        """The position behind the fence."""
        end = position
        while end < len(self.lines) and self.lines[end] != "```":
            end += 1
        if end == len(self.lines):
            raise PageError(f"line {position}: a fence without an end")
        if language == "console":
            self.read_commands(position, end)
            self.forget_directives()
        return end + 1

    def read_commands(self, position, end):
        while position < end:
            line = self.lines[position]
            if not line.startswith("$ "):
                raise PageError(f"line {position + 1}: output without a command")
            text = line[2:]
            while text.endswith(("\\", "|")) and position + 1 < end:
                position += 1
                text += "\n" + self.lines[position]
            position += 1
            command = Command(position, self.exit_code, self.digits_differ, self.now)
            command.text = text
            while position < end and not self.lines[position].startswith("$ "):
                command.output.append(self.lines[position])
                position += 1
            # An empty line before the next command only sets it apart.
            while command.output and not command.output[-1].strip():
                command.output.pop()
            self.commands.append(command)


class Scratch:
    """The directory in which the commands of one page run."""

    def __init__(self, directory, kivts):
        self.directory = directory
        shutil.copytree(ROOT / "examples", directory / "examples")
        self.environment = {
            "PATH": f"{kivts.parent}:{os.environ['PATH']}", "HOME": str(directory), "TERM": "xterm", "NO_COLOR": "1",
            "TZ": "UTC", "LANG": "C.UTF-8", "LC_ALL": "C.UTF-8",
            # What waits must go on waiting while the clock stands still, and files are older than that clock.
            "FAKETIME_DONT_FAKE_MONOTONIC": "1", "NO_FAKE_STAT": "1"}

    def run(self, command):
        """The lines that it prints, and its exit code."""
        printed, code = self.run_once(command)
        # A faketime that was killed leaves a semaphore behind, which one of the same process number stumbles over.
        while command.now and b"faketime: sem_open: File exists" in printed:
            printed, code = self.run_once(command)
        return [line.rstrip() for line in printed.decode(errors="replace").splitlines()], code

    def run_once(self, command):
        words = ["bash", "-c", command.text]
        if command.now:
            words = ["faketime", "-f", command.now.replace("T", " ").removesuffix("Z")] + words
        terminal, other_end = os.openpty()
        fcntl.ioctl(other_end, termios.TIOCSWINSZ, struct.pack("HHHH", LINES, COLUMNS, 0, 0))
        modes = termios.tcgetattr(other_end)
        modes[1] &= ~termios.OPOST
        termios.tcsetattr(other_end, termios.TCSANOW, modes)
        process = subprocess.Popen(words, cwd=self.directory, env=self.environment, stdin=subprocess.DEVNULL,
                                   stdout=other_end, stderr=subprocess.PIPE, start_new_session=True)
        os.close(other_end)
        try:
            printed = read_all([terminal, process.stderr.fileno()], time.monotonic() + TIMEOUT)
            code = process.wait(TIMEOUT)
        except (TimeoutError, subprocess.TimeoutExpired):
            os.killpg(process.pid, signal.SIGKILL)
            process.wait()
            raise PageError(f"no end within {TIMEOUT} s: {command.text}") from None
        finally:
            os.close(terminal)
            process.stderr.close()
        return printed, code


def read_all(files, deadline):
    """Everything from the files, one behind the other."""
    parts = {file: b"" for file in files}
    open_files = list(files)
    while open_files:
        ready = select.select(open_files, [], [], max(0.0, deadline - time.monotonic()))[0]
        if not ready:
            raise TimeoutError
        for file in ready:
            try:
                part = os.read(file, 65536)
            except OSError as error:  # how a terminal ends
                if error.errno != errno.EIO:
                    raise
                part = b""
            parts[file] += part
            if not part:
                open_files.remove(file)
    return b"".join(parts[file] for file in files)


class Run:
    """One run of a page."""

    def __init__(self, page, kivts):
        self.page = page
        self.lines = page.read_text(encoding="utf-8").split("\n")
        reader = PageReader(self.lines)
        reader.read()
        self.commands, self.files = reader.commands, reader.files
        self.kivts = kivts
        self.changes = []  # commands whose output differs, with the output
        self.changed_files = []  # paths of the project, with their new content
        self.failures = []

    def run(self):
        with tempfile.TemporaryDirectory() as directory:
            scratch = Scratch(pathlib.Path(directory), self.kivts)
            for command in self.commands:
                output, code = scratch.run(command)
                if code != command.exit_code:
                    self.failures.append(f"{self.place(command)}: exit code {code}, not {command.exit_code}: "
                                         f"{command.text}\n" + "\n".join(output))
                elif not command.agrees_with(output):
                    self.changes.append((command, output))
            for made, kept in self.files:
                self.compare_file(scratch.directory / made, ROOT / kept)

    def compare_file(self, made, kept):
        if not made.exists():
            self.failures.append(f"{self.page.name}: no command makes {made.name}")
        elif not kept.exists() or kept.read_bytes() != made.read_bytes():
            self.changed_files.append((kept, made.read_bytes()))

    def place(self, command):
        return f"{self.page.name}:{command.first}"

    def tell(self):
        for failure in self.failures:
            print(failure)
        for command, output in self.changes:
            print(f"{self.place(command)}: prints something else: {command.text}")
            print("\n".join(difflib.unified_diff(command.output, output, "page", "output", lineterm="")))
        for path, _ in self.changed_files:
            print(f"{path.relative_to(ROOT)}: is not what the page makes")

    def succeeds(self):
        return not self.failures and not self.changes and not self.changed_files

    def accept(self):
        for command, output in reversed(self.changes):
            self.lines[command.first:command.first + len(command.output)] = output
        self.page.write_text("\n".join(self.lines), encoding="utf-8")
        for path, content in self.changed_files:
            path.write_bytes(content)
        self.changes, self.changed_files = [], []


def main(arguments):
    accepts = arguments[:1] == ["--accept"]
    kivts, page = (pathlib.Path(argument) for argument in arguments[accepts:])
    try:
        run = Run(page, kivts.resolve())
        run.run()
    except PageError as error:
        print(f"{page.name}: {error}")
        return 1
    if not run.commands:
        run.failures.append(f"{page.name}: no commands")
    if accepts:
        run.accept()
    run.tell()
    print(f"{page.name}: {len(run.commands)} commands")
    return 0 if run.succeeds() else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
