#!/usr/bin/env python3
"""examples.py ROOT LIBRARIES APPLIANCE ANNALCTL CC CXX: every fenced example of the documents and headers works.

- A whole program in C or C++ is compiled without a warning and run twice on a private appliance.
- Any other piece of a program stands word for word in a file that is built and run elsewhere: under examples/ or tests/.
- Each line of a shell example succeeds on a private appliance, in the order of the document, and each chore of ./dev that
  an example names is one.
- A configuration is sound.

What cannot run here is listed, with the test that runs it.
"""
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile

ROOT, LIBRARIES, APPLIANCE, ANNALCTL = (pathlib.Path(argument).resolve() for argument in sys.argv[1:5])
COMPILERS = {"c": [sys.argv[5], "-std=c99"], "cpp": [sys.argv[6], "-std=c++17"]}

SUFFIXES = {"c": (".c",), "cpp": (".cc",), "rust": (".rs",), "go": (".go",), "js": (".js",), "python": (".py",)}
# Tests of their own take these out of the document, or print what is below them: how many, and which test.
HELD = {
    ("include/Corix_annal.h", "c"): (2, "Header.ExampleListsEachEntryOnceByPagesWhileTheLogChanges, Trust.BatchCheck"),
    ("docs/python.md", "python"): (None, "tests/python/examples_test.py"),
    ("docs/python.md", "text"): (None, "tests/python/examples_test.py"),
    # Pictures.
    ("docs/architecture.md", ""): (1, "no example"),
    ("docs/catalog.md", ""): (1, "no example"),
    # Pictures, an example of output, and configurations of servers.
    ("docs/fleet.md", ""): (5, "tests/fleet/streams.sh, tests/fleet/rsyslog.sh"),
    # What is typed in lnav.
    ("docs/lnav.md", ""): (1, "packaging/lnav/check.sh"),
}
# Lines of shell examples that need what is not here, and what runs the same.
ELSEWHERE = {
    "docs/fleet.md": (r"createdb |annal-database print \| psql |psql ", "tests/fleet/postgresql.sh"),
    "docs/languages.md": (r"bindgen |OUT_DIR=\. rustc ", "examples/check.sh"),
}
# What runs here.
PROGRAMS = re.compile(r"(annalctl|annal-export|sqlite3|mkdir|cat) ")
# What has another place on a private appliance.
PLACES = (
    ("./dev appliance ", "rm -f /etc/logs/*.log; "),  # it would be an empty one
    ("/mnt/elsewhere/", "/etc/logs/"),
    ("/var/backups", "/etc/logs/backups"),
    ("/var/log/auth.log", "/etc/logs/auth.log"),
    ("/tmp/try", "/etc/logs/try"),
    ("/etc/annal-export/", "/etc/logs/"),
    ("/etc/annal-export.", "/etc/logs/"),
)
# What a reader has who has read what comes before: logs, sealed ones; a file of log-ins; in lnav's place, a reader that
# ends after a line.
BEFORE = """annalctl event create && annalctl conn create && annalctl notice create &&
annalctl fileop --db /etc/logs/operations.db create &&
for i in 1 2 3 4; do annalctl event add 'Volume 1 is nearly full.' --user ann; done && annalctl seal || exit 1"""
LOG_INS = "Nov 22 06:25:01 nas sshd[7]: Failed password for root from 10.0.0.5 port 22 ssh2"
LNAV = """#!/bin/sh
head -n 1 "$@" | grep -q '"log":"event"' && : >/etc/logs/lnav.saw"""
# What a configuration names.
FILES = """cd /etc/logs && mkdir state && echo secret >password && cp password token && openssl req -x509 -newkey ed25519 -nodes \
-subj /CN=nas1 -keyout appliance.key -out appliance.pem 2>openssl.err && cp appliance.pem authority.pem || exit 1"""

FENCE = re.compile(r"^( *)```(\w*)\n(.*?)^ *```$", re.MULTILINE | re.DOTALL)

CHORES = re.findall(r"^  ([a-z-]+) ", subprocess.run([ROOT / "dev", "help"], capture_output=True, text=True,
                                                     check=True).stdout, re.MULTILINE)

failures = []


def documents():
    for pattern in ("*.md", "docs/*.md", "catalog/*.md", "tests/*.md", "include/*.h", "include/*.hpp"):
        yield from sorted(ROOT.glob(pattern))


def examples(path):
    text = path.read_text(encoding="utf-8")
    if path.suffix != ".md":
        text = re.sub(r"^ \*(?: |$)", "", text, flags=re.MULTILINE)
    for match in FENCE.finditer(text):
        indent, language, body = match.groups()
        yield language, re.sub(rf"^{indent}", "", body, flags=re.MULTILINE)


def sources(language):
    for folder in ("examples", "tests"):
        for path in sorted((ROOT / folder).rglob("*")):
            if path.suffix in SUFFIXES[language]:
                yield path.read_text(encoding="utf-8")


def run(what, command, **options):
    try:
        done = subprocess.run(command, capture_output=True, text=True, timeout=120, check=False, **options)
    except subprocess.TimeoutExpired:
        failures.append(f"{what}: does not end")
        return
    if done.returncode != 0:
        failures.append(f"{what}: exit status {done.returncode}\n{done.stdout}{done.stderr}")


def check_program(what, language, program, folder):
    source = folder / f"example{SUFFIXES[language][0]}"
    source.write_text(program, encoding="utf-8")
    binary = folder / "example"
    binary.unlink(missing_ok=True)
    run(what, COMPILERS[language] + ["-x", {"c": "c", "cpp": "c++"}[language], "-Wall", "-Wextra", "-pedantic", "-Werror",
                                     "-I", ROOT / "include", source, "-o", binary, "-x", "none", "-L", LIBRARIES,
                                     "-lCorix_annal", f"-Wl,-rpath,{LIBRARIES}"])
    if binary.exists():
        run(what, [APPLIANCE, "sh", "-c", '"$1" && "$1"', "-", binary])


def commands(language, body):
    """The commands of an example, each with what it is shown to print."""
    found = []
    for line in re.sub(r"\\\n\s*", "", body).splitlines():
        if language == "sh" or line.startswith("$ "):
            found.append([re.sub(r"\s+#\s.*", "", line.removeprefix("$ ")).strip(), []])
        elif found:
            found[-1][1].append(line)
    return [(line, printed) for line, printed in found if line]


def here(text):
    for there, place in PLACES:
        text = text.replace(there, place)
    return text


def on_appliance(what, lines):
    run(what, [APPLIANCE, "env", f"PATH=/etc/logs/bin:{ANNALCTL.parent}:/usr/bin:/bin",
               "ANNAL_SEAL_KEY=/etc/logs/seal.key", "sh", "-c", "\n".join(lines)])


def in_shell(line, printed):
    """A line of an example as it runs here."""
    if line.startswith("cat "):
        return [f"cat >{line[4:]} <<'END'", *(here(part) for part in printed), "END"]
    run_here = here(line)
    if line.endswith("lnav"):
        run_here = f"timeout 1 sh -c {shlex.quote(run_here)}; [ -e /etc/logs/lnav.saw ] && rm /etc/logs/lnav.saw"
    if any("NOT INTACT" in part for part in printed):
        run_here += "; [ $? = 1 ]"
    return [f"{{ {run_here}; }} >/dev/null || {{ echo {shlex.quote('fails: ' + line)} >&2; exit 1; }}"]


def lines_of(what, name, language, body):
    lines = []
    for line, printed in commands(language, body):
        chore = re.search(r"(?:^|\s)\./dev ([\w-]+)", line)
        if chore and chore[1] not in CHORES:
            failures.append(f"{what}: ./dev has no chore {chore[1]}")
        if PROGRAMS.match(line) or "lnav" in line or line.startswith("./dev appliance "):
            lines += in_shell(line, printed)
        elif not chore and not line.startswith("build/") and not re.match(ELSEWHERE.get(name, ("$^",))[0], line):
            failures.append(f"{what}: nothing runs '{line}'")
    return lines


def check_lines(name, lines):
    """Those of a whole document, whose later examples go on where the earlier ones ended."""
    before = ["cd /etc/logs && mkdir bin backups"]
    if not any(" create" in line for line in lines):
        before.append(f"{{ {BEFORE}; }} >/dev/null 2>&1")
    before += [f"cat >/etc/logs/auth.log <<'END'\n{LOG_INS}\nEND", f"cat >bin/lnav <<'END'\n{LNAV}\nEND", "chmod +x bin/lnav"]
    on_appliance(name, before + lines)


def check_configuration(what, body):
    on_appliance(what, [FILES, "cat >it.toml <<'END'", 'state = "/etc/logs/state"', here(body), "END",
                        "annal-export --config it.toml --check"])


def check(path, folder):
    name = path.relative_to(ROOT).as_posix()
    numbers = {}
    lines = []
    for language, body in examples(path):
        numbers[language] = numbers.get(language, 0) + 1
        what = f"{name}, example {numbers[language]} in {language}"
        if (name, language) in HELD:
            continue
        if language in ("sh", "console"):
            lines += lines_of(what, name, language, body)
        elif language == "toml":
            check_configuration(what, body)
        elif language in COMPILERS and re.search(r"^int main\(", body, re.MULTILINE) and not stands(language, body):
            check_program(what, language, body, folder)
        elif not stands(language, body):
            failures.append(f"{what}: it stands in no file that is built and run")
    if lines:
        check_lines(name, lines)
    for (document, language), (number, test) in HELD.items():
        if document == name and number is not None and numbers.get(language, 0) != number:
            failures.append(f"{name}: {test} holds {number} examples in {language}, and there are others")
    return sum(numbers.values())


def stands(language, body):
    return language in SUFFIXES and any(body in text for text in sources(language))


def main():
    with tempfile.TemporaryDirectory() as folder:
        found = sum(check(path, pathlib.Path(folder)) for path in documents())
    for failure in failures:
        print(f"FAILED: {failure}")
    print(f"{found} examples")
    return 1 if failures or found < 10 else 0


if __name__ == "__main__":
    sys.exit(main())
