#!/usr/bin/env python3
"""Breaks the sources one small way at a time and says which breaks the tests don't see.

Each mutant is built in a copy of the tree under build/mutation and run through the tests, those
first that killed mutants of its file before. A mutant that gives the same machine code is left out,
and so are those in scripts/equivalents.txt, each with the reason why no test can see it. Exits with 1
if too many others survive.
"""
import argparse
import collections
import difflib
import fnmatch
import functools
import hashlib
import json
import os
import pathlib
import queue
import re
import resource
import shutil
import signal
import subprocess
import sys
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
SOURCES = ["extension/*.cpp", "support/*", "generation/*.cpp", "include/zoeavl/*",
           "include/zoeavl_order.h", "inspect/*.cpp", "host/*.cpp", "host/formatted.h"]
SLOW = re.compile("embedding|reproducible|package|examples|cookbook|debugger|refusals|fuzz|"  # tests of other things
                  "selects|lockstep|host_checked")
# Tests that never run what stands there; and a digest, which sees every change but not what it does.
BLIND = {"*/engine.c": "Text.*:Engine.*:Keys.*", "generation/driver.cpp": "Engine.*:Keys.*",
         "support/*": "Engine.*:Keys.*:Generated.*", "host/*": "Engine.*:Walking.*:Keys.[!A]*",
         "extension/[egrsz]*": "Engine.*:Walking.*:Generated.O*", "extension/tree.cpp": "Engine.*:Generated.O*"}

# ---- Mutants ------------------------------------------------------------------------------------

Mutant = collections.namedtuple("Mutant", "path operator start end text")
TWINS = [("left", "right"), ("tall", "low"), ("llink", "rlink"), ("goLeft", "goRight"),
         ("previous", "next"), ("reading", "writing"), ("true", "false"), ("break", "continue"),
         ("TRUE", "FALSE"), ("begin", "end"), ("before", "after"), ("first", "last")]
SWAPS = {" == ": [" != "], " != ": [" == "], " < ": [" <= ", " > "], " > ": [" >= ", " < "],
         " <= ": [" < "], " >= ": [" > "], " && ": [" || "], " || ": [" && "], " + ": [" - "],
         " - ": [" + "], " | ": [" & "], " & ": [" | "], " ^ ": [" | "], " += ": [" -= "],
         " -= ": [" += "], "++": ["--"], "--": ["++"], " |= ": [" &= "], " * ": [" + "],
         " / ": [" * "], " << ": [" >> "], " >> ": [" << "]}
TYPES = {"int32_t": "int64_t", "int64_t": "int32_t", "uint32_t": "int32_t", "uint64_t": "uint32_t",
         "uint8_t": "int8_t", "size_t": "uint32_t", "ptrdiff_t": "int32_t", "uintptr_t": "uint32_t",
         "unsigned char": "signed char", "intptr_t": "int"}
NOT_DELETED = re.compile(
    r"(using|typedef|template|namespace|static_assert|ZO_ASSERT\w*|extern|struct|class|enum|union|friend|"
    r"return|const|auto|constexpr|static|inline|case|default|public|private|protected|co_\w+|#.*)\b|\[\[")
DECLARATION = re.compile(r"(?!(?:delete|goto|throw|else|if|while|for|do|new|asm)\b)[\w:<>, ]+[&*\s]+(?:const )?([\w:]+)\s*"
                         r"([=({;\[]|$)")


def masked(text):
    """The text with comments, strings and directives that aren't definitions blanked out."""
    def blank(match):
        return re.sub(r"[^\n]", " ", match.group())
    text = re.sub(r'//[^\n]*|/\*.*?\*/|R"\(.*?\)"|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'', blank, text,
                  flags=re.S)
    return re.sub(r"(?m)^[ \t]*#[ \t]*(?!define)\w+.*$", blank, text)


def statements(code):
    """Spans of the statements that end in a semicolon, each with the block that it stands in."""
    frames, found, blocks = [[None, 0, 0]], [], 0
    for at, c in enumerate(code):
        if c in "({[":
            blocks += 1
            frames.append([c, at + 1, blocks])
        elif c in ")}]" and len(frames) > 1:
            kind = frames.pop()[0]
            follows = code[at + 1:at + 40].lstrip()
            if kind == "{" and frames[-1][0] != "(" and not re.match(r"[;,)(.]", follows):
                frames[-1][1] = at + 1
        elif c == ";" and frames[-1][0] in (None, "{"):
            start = frames[-1][1] + len(code[frames[-1][1]:at]) - len(code[frames[-1][1]:at].lstrip())
            if start < at:
                found.append((start, at + 1, frames[-1][2]))
            frames[-1][1] = at + 1
    return found


def independent(one, other):
    """Can the two statements change places without a change of meaning, or not at all?"""
    if re.match("(if|for|while|else|do|return)", other):
        return True
    name = DECLARATION.match(one)
    if name and re.search(r"\b%s\b" % name[1], other):
        return True
    sides = [re.match(r"(?:[\w:]+ )*\**([^=]+?)(?: = (.*))?;$", s, re.S) for s in (one, other)]
    return all(s and not re.search(r"(->|\.)\w+\(|asm", s[2] or "") for s in sides) and not (
        "(" in (sides[0][1] + sides[1][1]) or sides[0][1] in other or sides[1][1] in one)


def mutants_of(path):
    text = text_of(path)
    code = masked(text)
    seen = set()

    def mutant(operator, start, end, replacement):
        if replacement != text[start:end] and (start, end, replacement) not in seen:
            seen.add((start, end, replacement))
            yield Mutant(path, operator, start, end, replacement)

    spans = statements(code)
    for n, (start, end, block) in enumerate(spans):
        body = code[start:end].strip()
        plain = not NOT_DELETED.match(body) and not DECLARATION.match(body)
        if plain:
            yield from mutant("statement deleted", start, end, ";")
        hold = re.match(r"(const )?(\w*(Hold\w*|Lock|guard|lock_guard|scoped_lock|unique_lock)\b[\w:<> ]*) \w+\(", body)
        if hold:
            yield from mutant("lock let go at once", start, end, "{ " + text[start:end] + " }")
        if n + 1 < len(spans) and spans[n + 1][2] == block and not code[end:spans[n + 1][0]].strip():
            after = spans[n + 1]
            if not independent(body, code[after[0]:after[1]]):
                yield from mutant("neighbours swapped", start, after[1],
                                  text[after[0]:after[1]] + text[end:after[0]] + text[start:end])
            here = re.match(r"([^=]+ = )(.+;)$", text[start:end], re.S)
            there = re.match(r"([^=]+ = )(.+;)$", text[after[0]:after[1]], re.S)
            if here and there and plain:
                yield from mutant("assignments crossed", start, after[1],
                                  here[1] + there[2] + text[end:after[0]] + there[1] + here[2])
        if (what := re.match(r"(?:if \(.*?\)\s+)?return (.+);$", body, re.S)) and what[1] not in ("{}", "0"):
            value = end - 1 - len(what[1])
            for other in ["{}"] if "template" not in path and not path.endswith(".c") else ["0"]:
                yield from mutant("return changed", value, end - 1, other)
    for old, news in SWAPS.items():
        for at in (m.start() for m in re.finditer(re.escape(old), code)):
            for new in news:
                yield from mutant("operator changed", at, at + len(old), new)
    for match in re.finditer(r"(?<![\w.])(0x[0-9A-Fa-f]+|\d+)(?=[uUlL]*\b)(?!\.)", code):
        value = int(match[1], 0 if match[1][1:2] in "xX" else 8 if match[1][0] == "0" else 10)
        for other in {value + 1, max(value - 1, 0)} - {value}:
            yield from mutant("constant shifted", match.start(), match.end(1), str(other))
    for one, other in TWINS + [(b, a) for a, b in TWINS]:
        for match in re.finditer(r"\b%s\b(?!\()" % one, code):
            owner = re.search(r"(\w+|[>*&])[*&\s]*$", code[max(match.start() - 60, 0):match.start()])
            near = code[max(match.start() - 900, 0):match.end() + 900]
            if (owner and owner[1] not in ("return", "case", "goto")) or not re.search(r"\b%s\b" % other, near):
                continue  # declares it, or there is no such thing
            yield from mutant("side flipped", match.start(), match.end(), other)
    for match in re.finditer(r"\bopposite\((\w+)\)|!(?=[\w(])|~(?=\w)", code):
        yield from mutant("side flipped", match.start(), match.end(), match[1] or "")
    for one, other in TYPES.items():
        for match in re.finditer(r"(?<!\w)%s\b" % one, code):
            yield from mutant("type changed", match.start(), match.end(), other)
    for match in re.finditer(r"\bif (?:constexpr )?\((.*)\)(?= \{?$| return| continue)", code, re.M):
        for truth in ("true", "false") if not path.endswith(".c") else ("1", "0"):
            yield from mutant("condition decided", match.start(1), match.end(1), truth)
    for match in re.finditer(r"[({]([&\w.:>-]+), ([&\w.:>-]+)(?=[,)}])", code):
        yield from mutant("arguments swapped", match.start(1), match.end(2), match[2] + ", " + match[1])
    for match in re.finditer(r'"([^"\\\n]*[A-Za-z%][^"\\\n]*)"', text):
        line = text[text.rfind("\n", 0, match.start()) + 1:match.start()]
        sentence = path.startswith("inspect/") and " " in match[1]  # is for readers
        if not (sentence or re.search(r"#|//|\*|asm|static_assert|gnu::|extern", line)
                or code[match.start():match.end()].strip()):
            yield from mutant("text changed", match.start(), match.end(), '"' + match[1][1:] + '"')


@functools.cache
def text_of(path):
    return (ROOT / path).read_text()


def key_of(mutant):
    """The lines of the file before and after, without line numbers."""
    text = text_of(mutant.path)
    start = text.rfind("\n", 0, mutant.start) + 1
    end = text.find("\n", mutant.end)
    after = text[start:mutant.start] + mutant.text + text[mutant.end:end]
    return re.sub(r"\s+", " ", mutant.path + ": " + text[start:end] + " => " + after)


def changed(mutant):
    """The file after it, and the difference."""
    text = text_of(mutant.path)
    after = text[:mutant.start] + mutant.text + text[mutant.end:]
    return after, "\n".join(difflib.unified_diff(text.splitlines(), after.splitlines(), mutant.path,
                                                 mutant.operator, "", "", 1, ""))


def equivalents():
    """Patterns of keys, each with its reason: the comment lines above it."""
    table, reason = [], ""
    for line in (ROOT / "scripts/equivalents.txt").read_text().splitlines():
        if line.startswith("#"):
            reason = line[1:].strip()
        elif line:
            table.append((line.replace("[", "[[]"), reason))
    return table


# ---- Running them -------------------------------------------------------------------------------

def files():
    """The paths of the tree, wherever it came from."""
    for folder, below, names in os.walk(ROOT):
        if folder == str(ROOT):
            below[:] = set(below) - {"build", ".git"}
        yield from (os.path.relpath(os.path.join(folder, name), ROOT) for name in names)


class Bench:
    """A copy of the tree with its build, in which one mutant at a time is tried."""

    def __init__(self, number, options):
        self.options = options
        self.base = ROOT / "build/mutation" / (("quick-%d" if options.quick else "%d") % number)
        self.source, self.build = self.base / "source", self.base / "build"
        self.environment = dict(os.environ, SOURCE_DATE_EPOCH="1700000000", TMPDIR=str(self.base / "tmp"),
                                LC_ALL="C", CCACHE_BASEDIR=str(self.base), CCACHE_NOHASHDIR="1")
        (self.base / "tmp").mkdir(parents=True, exist_ok=True)
        for name in files():
            here, there = ROOT / name, self.source / name
            if here.is_file() and (not there.is_file() or there.read_bytes() != here.read_bytes()):
                there.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(here, there)
        ccache = shutil.which("ccache")
        launcher = ["-DCMAKE_%s_COMPILER_LAUNCHER=%s" % (x, ccache) for x in ("C", "CXX")] if ccache else []
        self.run(["cmake", "-G", "Ninja", "-S", self.source, "-B", self.build, "-DCMAKE_BUILD_TYPE=Release",
                  "-DCMAKE_CXX_FLAGS_RELEASE=-O1", "-DCMAKE_CXX_FLAGS=-w", "-DCMAKE_C_FLAGS=-w",
                  "-DZOEAVL_BUILD_EXAMPLES=OFF", "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON", *launcher,
                  *(["-DZOEAVL_FACE_TEST_OPTIONS=-O0", "-DCMAKE_CXX_COMPILER=clang++"] if options.quick else [])],
                 600, check=True)
        if self.make("all") != 0:
            sys.exit((self.base / "log").read_text())
        shown = subprocess.run(["ctest", "--test-dir", self.build, "--show-only=json-v1"], check=True,
                               stdout=subprocess.PIPE).stdout
        self.programs = [Program(self, test["command"]) for test in json.loads(shown)["tests"]
                         if not SLOW.search(test["name"])]

    def run(self, command, seconds, check=False):
        """Gives the exit status, None after the time is up. What it says goes to the log."""
        def limits():
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
            resource.setrlimit(resource.RLIMIT_FSIZE, (1 << 28, 1 << 28))
            resource.setrlimit(resource.RLIMIT_AS, (1 << 33, 1 << 33))
        with open(self.base / "log", "w+b") as log:
            child = subprocess.Popen([str(x) for x in command], stdout=log, stderr=log, cwd=self.base,
                                     env=self.environment, start_new_session=True, preexec_fn=limits)
            try:
                status = child.wait(seconds)
            except subprocess.TimeoutExpired:
                os.killpg(child.pid, signal.SIGKILL)
                child.wait()
                status = None
        if check and status != 0:
            sys.exit((self.base / "log").read_text())
        return status

    def make(self, *targets):
        return self.run(["ninja", "-C", self.build, "-j", "2", *targets], 600)

    def code(self, program):
        """What the program consists of as machine code."""
        digest = hashlib.sha256()
        for file in [*program.libraries, program.executable]:
            digest.update(file.read_bytes())
        return digest.digest()

    def attempt(self, mutant, killers):
        """Gives "same", "unbuildable", "survived" or the killing tests."""
        after, _ = changed(mutant)
        place = self.source / mutant.path
        unchanged = place.read_text()
        place.write_text(after)
        stale = False
        try:
            if self.make("zoeavl", "zoeavl_host", "zoeavl_inspect") != 0:
                return "unbuildable"
            verdict, kills = "same", []
            programs = sorted(self.programs, key=lambda p: (-killers[mutant.path, p.name], p.size))
            for rebuilt in (False, True):  # what changes in the libraries shows without building tests
                for program in programs:
                    before = self.code(program)
                    stale = rebuilt
                    if rebuilt and self.make(program.target) != 0:
                        return "unbuildable"
                    if self.code(program) == (before if rebuilt else program.code):
                        continue
                    verdict = "survived"
                    kills += program.killers(killers, mutant.path, self.options)
                    if kills and not self.options.all_kills:
                        return kills
            return kills or verdict
        finally:
            place.write_text(unchanged)
            if stale:
                self.make("all")


def symbols(which, binary):
    """The names in its dynamic table: those that it defines, or has of others."""
    listed = subprocess.run(["nm", "-D", "-P", "--%s-only" % which, binary], check=True, stdout=subprocess.PIPE, text=True)
    return {line.split()[0].split("@")[0] for line in listed.stdout.splitlines()}


class Program:
    """A test program of the build: one of GoogleTest, whose tests count one by one, or a script."""

    def __init__(self, bench, command):
        self.bench, self.command = bench, command
        self.executable = pathlib.Path(command[0])
        self.name = self.executable.name
        self.target = "zoeavl" if self.executable.suffix == ".sh" else self.name
        self.libraries = sorted(bench.build.glob("*.so"))
        self.times = {}
        self.size = self.executable.stat().st_size  # as are the times to build and run it, roughly
        if self.executable.suffix != ".sh":
            imports = symbols("undefined", self.executable)
            self.libraries = [library for library in self.libraries if imports & symbols("defined", library)]
            report = bench.base / "report.json"
            bench.run([*command, "--gtest_output=json:%s" % report], 300, check=True)
            for suite in json.loads(report.read_text())["testsuites"]:
                for test in suite["testsuite"]:
                    self.times[suite["name"] + "." + test["name"]] = float(test["time"][:-1])
        else:
            bench.run(command, 300, check=True)
        self.code = bench.code(self)

    def killers(self, known, path, options):
        if not self.times:
            return [] if self.bench.run(self.command, 60) == 0 else [self.name]
        blind = ":".join([options.without, *(tests for where, tests in BLIND.items() if fnmatch.fnmatch(path, where))])
        left = [test for test in sorted(self.times, key=lambda t: (-known[path, t], self.times[t]))
                if not any(fnmatch.fnmatch(test, pattern) for pattern in blind.split(":"))]
        if options.all_kills:
            rounds = [left]
        else:
            likely = [test for test in left if known[path, test]][:4]
            fast = [test for test in left if test not in likely and self.times[test] < 0.1]
            rounds = [likely, fast, [test for test in left if test not in likely + fast]]
        kills = []
        while rounds:
            tests = rounds.pop(0)
            if not tests:
                continue
            stop = [] if options.all_kills else ["--gtest_fail_fast"]
            status = self.bench.run([*self.command, *stop, "--gtest_filter=" + ":".join(tests)],
                                    10 + 5 * sum(self.times[test] for test in tests))
            if status == 0:
                continue
            said = (self.bench.base / "log").read_text(errors="replace")
            started = re.findall(r"\[ RUN      \] (\S+)", said)
            failed = list(dict.fromkeys(re.findall(r"\[  FAILED  \] (\w[\w/]*\.[\w/]+)", said)))
            ended = re.search(r"tests? from \d+ test suites? ran\.", said)
            failed += [] if ended or not started or started[-1] in failed else [started[-1]]
            kills += failed or [self.name]
            if not options.all_kills:
                break
            if not ended and failed:  # it crashed or hung: go on with those that it didn't get to
                rounds.append([test for test in tests if test not in started])
        return kills


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--whole", action="store_true", help="every mutant instead of a sample")
    parser.add_argument("--sample", type=int, default=80, metavar="N", help="so many mutants (%(default)s)")
    parser.add_argument("--seed", type=int, default=1, help="which sample (%(default)s)")
    parser.add_argument("--minutes", type=float, default=1e9, help="start none after so many minutes")
    parser.add_argument("--at-least", type=float, default=100, metavar="PERCENT",
                        help="how many of those that build and differ must be killed (%(default)s)")
    parser.add_argument("--quick", action="store_true", help="build by clang++, and tests of the face without "
                        "optimisation: some survivors give the same code otherwise (see --again)")
    parser.add_argument("--jobs", type=int, default=2, help="at once (%(default)s)")
    parser.add_argument("--files", default="*", help="patterns of paths, separated by colons")
    parser.add_argument("--all-kills", action="store_true", help="go on to all tests that kill a mutant")
    parser.add_argument("--without", default="", metavar="TESTS", help="leave out these tests (patterns, colons)")
    parser.add_argument("--again", metavar="FILE", help="those that survived in this report, or ...")
    parser.add_argument("--killed-by", metavar="TEST", help="... those that this test killed in it")
    parser.add_argument("--report", default="build/mutation/report.json", help="where it goes (%(default)s)")
    parser.add_argument("--list", action="store_true", help="list the mutants and stop")
    options = parser.parse_args()

    table = equivalents()
    todo, listed = [], 0
    for path in sorted(files()):
        if all(any(fnmatch.fnmatch(path, pattern) for pattern in patterns)
               for patterns in (SOURCES, options.files.split(":"))):
            todo += mutants_of(path)
    # By a digest, so that a change of the sources leaves most of a sample as it was.
    todo.sort(key=lambda mutant: hashlib.sha256((str(options.seed) + key_of(mutant)).encode()).digest())
    if options.again:
        wanted = {key for key, verdict in json.loads(pathlib.Path(options.again).read_text()).items()
                  if (options.killed_by in verdict if options.killed_by else verdict == "survived")}
        todo = [mutant for mutant in todo if key_of(mutant) in wanted]
    elif not options.whole:
        todo = todo[:options.sample]
    if options.list:
        todo.sort(key=lambda mutant: (mutant.path, mutant.start))
        print("\n".join("%-20s %s" % (m.operator, key_of(m)) for m in todo), len(todo), sep="\n")
        return 0

    work, results, killers = queue.Queue(), {}, collections.Counter()
    counts = collections.defaultdict(collections.Counter)
    for mutant in todo:
        key = key_of(mutant)
        if any(fnmatch.fnmatchcase(key, pattern) for pattern, _ in table):
            counts[mutant.path]["listed"] += 1
        else:
            work.put((mutant, key))
    total, said, building = work.qsize(), threading.Lock(), threading.Lock()
    print("%d mutants, %d of them listed as equivalent" % (len(todo), len(todo) - total), flush=True)

    def work_off(number):
        with building:  # one after the other, so that the compiler cache serves all but the first
            bench = Bench(number, options)
        began = time.time()
        while time.time() < began + 60 * options.minutes:
            try:
                mutant, key = work.get_nowait()
            except queue.Empty:
                return
            verdict = bench.attempt(mutant, killers)
            with said:
                results[key] = verdict
                counts[mutant.path]["killed" if isinstance(verdict, list) else verdict] += 1
                if isinstance(verdict, list):
                    killers.update((mutant.path, test) for test in verdict)
                    killers.update((mutant.path, p.name) for p in bench.programs
                                   if set(verdict) & ({p.name} | set(p.times)))
                if verdict == "survived":
                    print("\nsurvived (%s):\n%s" % (mutant.operator, changed(mutant)[1]), flush=True)
                if len(results) % 50 == 0:
                    print("%d of %d after %d s" % (len(results), total, time.time() - began), flush=True)
                (ROOT / options.report).write_text(json.dumps(results, indent=0))

    workers = [threading.Thread(target=work_off, args=[n]) for n in range(options.jobs)]
    for worker in workers:
        worker.start()
    for worker in workers:
        worker.join()

    columns = ["killed", "survived", "listed", "same", "unbuildable"]
    print("\n%-42s" % "file" + "".join("%12s" % c for c in columns))
    for path in [*sorted(counts), "all"]:
        of = counts[path] if path != "all" else sum(counts.values(), collections.Counter())
        print("%-42s" % path + "".join("%12d" % of[c] for c in columns))
    by_test = collections.Counter(test for verdict in results.values() if isinstance(verdict, list) for test in verdict)
    alone = collections.Counter(verdict[0] for verdict in results.values()
                                if isinstance(verdict, list) and len(verdict) == 1)
    print("\n%6s %6s  %s" % ("kills", "alone", "test" if options.all_kills else "test (the first to kill)"))
    for test, kills in by_test.most_common():
        print("%6d %6d  %s" % (kills, alone[test], test))
    alive = sum(verdict == "survived" for verdict in results.values())
    tried = alive + sum(isinstance(verdict, list) for verdict in results.values())
    share = 100 * (tried - alive) / max(tried, 1)
    print("\nkilled %d of %d, %.1f %%" % (tried - alive, tried, share))
    return 1 if share < options.at_least else 0


if __name__ == "__main__":
    sys.exit(main())
