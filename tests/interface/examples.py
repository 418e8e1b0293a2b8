#!/usr/bin/env python3
"""examples.py ROOT LIBRARIES APPLIANCE ANNALCTL CC CXX: every fenced example of the documents and headers works.

- A whole program in C or C++ is compiled without a warning and run twice on a private appliance.
- Any other piece of a program stands word for word in a file that is built and run elsewhere: under examples/ or tests/.
- Each line of a shell example that calls annalctl succeeds on a private appliance, in the order of the document, and each
  chore of ./dev that an example names is one.
"""
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT, LIBRARIES, APPLIANCE, ANNALCTL = (pathlib.Path(argument).resolve() for argument in sys.argv[1:5])
COMPILERS = {"c": [sys.argv[5], "-std=c99"], "cpp": [sys.argv[6], "-std=c++17"]}

SUFFIXES = {"c": (".c",), "cpp": (".cc",), "rust": (".rs",), "go": (".go",), "js": (".js",), "python": (".py",)}
# Tests of their own take these out of the document: how many, and which test.
HELD = {
    ("include/Corix_annal.h", "c"): (2, "Header.ExampleListsEachEntryOnceByPagesWhileTheLogChanges, Trust.BatchCheck"),
    ("docs/python.md", "python"): (None, "tests/python/examples_test.py"),
    ("docs/lnav.md", "sh"): (None, "packaging/lnav/check.sh"),
}
# What a command reads that no private appliance has.
ELSEWHERE = re.compile(r"/var/log/")
# What it writes that has another place there.
PLACES = (("/mnt/elsewhere/", "/etc/logs/"),)
# What a reader has who has read what comes before: logs, sealed ones.
BEFORE = """annalctl event create && annalctl conn create && annalctl notice create &&
annalctl event add 'Volume 1 is nearly full.' --user ann && annalctl seal || exit 1"""

FENCE = re.compile(r"^( *)```(\w*)\n(.*?)^ *```$", re.MULTILINE | re.DOTALL)

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
    for line in body.splitlines():
        if language == "console":
            if not line.startswith("$ "):
                continue
            line = line[2:]
        yield re.sub(r"\s+#.*", "", line).strip()


def check_commands(what, language, body):
    chores = re.findall(r"^  ([a-z-]+) ", subprocess.run([ROOT / "dev", "help"], capture_output=True, text=True,
                                                        check=True).stdout, re.MULTILINE)
    lines = []
    for line in commands(language, body):
        chore = re.search(r"(?:^|\s)\./dev ([\w-]+)", line)
        if chore and chore[1] not in chores:
            failures.append(f"{what}: ./dev has no chore {chore[1]}")
        if line.startswith("annalctl ") and not ELSEWHERE.search(line):
            for there, here in PLACES:
                line = line.replace(there, here)
            lines.append(f"{line} >/dev/null || {{ echo 'fails: {line.replace(chr(39), '')}' >&2; exit 1; }}")
    if lines:
        if not any(" create" in line for line in lines):
            lines.insert(0, f"{{ {BEFORE}; }} >/dev/null 2>&1")
        run(what, [APPLIANCE, "env", f"PATH={ANNALCTL.parent}:/usr/bin:/bin", "ANNAL_SEAL_KEY=/etc/logs/seal.key", "sh", "-c",
                   "\n".join(lines)])


def check(path, folder):
    name = path.relative_to(ROOT).as_posix()
    numbers = {}
    for language, body in examples(path):
        numbers[language] = numbers.get(language, 0) + 1
        what = f"{name}, example {numbers[language]} in {language}"
        if (name, language) in HELD:
            continue
        if language in ("sh", "console"):
            check_commands(what, language, body)
        elif language in COMPILERS and re.search(r"^int main\(", body, re.MULTILINE) and not stands(language, body):
            check_program(what, language, body, folder)
        elif language in SUFFIXES and not stands(language, body):
            failures.append(f"{what}: it stands in no file that is built and run")
    for (document, language), (number, test) in HELD.items():
        if document == name and number is not None and numbers.get(language, 0) != number:
            failures.append(f"{name}: {test} holds {number} examples in {language}, and there are others")
    return sum(numbers.values())


def stands(language, body):
    return any(body in text for text in sources(language))


def main():
    with tempfile.TemporaryDirectory() as folder:
        found = sum(check(path, pathlib.Path(folder)) for path in documents())
    for failure in failures:
        print(f"FAILED: {failure}")
    print(f"{found} examples")
    return 1 if failures or found < 10 else 0


if __name__ == "__main__":
    sys.exit(main())
