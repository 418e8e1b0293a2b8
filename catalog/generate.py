#!/usr/bin/env python3
"""Checks the message catalog's files and turns them into the arrays that the library exports.

    generate.py --output FILE [--data DIR]   write the arrays as C++, from all files of the catalog
    generate.py --check                      check all files, and the table of README.md
    generate.py --check FILE...              check single files, complete or not, and the table
    generate.py --similar FILE...            list similar rows
    generate.py --similar --words 2 FILE...  ... that differ in up to two words

Lists faults on standard error as FILE:LINE: FAULT, and then exits with status 1. README.md has the rules.
"""

import argparse
import collections
import itertools
import pathlib
import re
import sys

HERE = pathlib.Path(__file__).resolve().parent

FIELDS = ("application", "level", "category", "number", "template")
RESERVED = "[reserved]"
LONGEST_TEMPLATE = 400
HIGHEST_PLACEHOLDER = 20
UNIT_PREFIX = {"A049": "[{0}]"}  # hardware messages name the unit, main unit or enclosure, in their brackets

CATEGORY = re.compile(r"C[0-9]{3}")
HEADING = re.compile(r"#\s*(C[0-9]{3})\s+\S")
NUMBER = re.compile(r"[1-9][0-9]{0,5}")
TOKEN = re.compile(r"%V[0-9]{3}%")
NAME = re.compile(r"A[0-9]{3}")
FIGURE = re.compile(r"[0-9]{1,6}")
NUMBER_SET = re.compile(r"-|[0-9]{1,6}(-[0-9]{1,6})?(,[0-9]{1,6}(-[0-9]{1,6})?)*")
PLACEHOLDER = re.compile(r"\{(0|[1-9][0-9]{0,5})\}")
FOREIGN = re.compile(r"[^ -~℃]")

WORDING = (
    (re.compile(r"!"), "an exclamation mark"),
    (re.compile(r"\bplease\b", re.I), "the word please"),
    (re.compile(r"\bsuccessful(ly)?\b", re.I), "the word successfully: the past tense says it"),
    (re.compile(r"\berror occurred\b|\boccurred an error\b", re.I), "the words error occurred: say which"),
    (re.compile(r"\b(can|don|won|isn|couldn|didn|doesn|wasn|aren)'t\b", re.I), "a contraction"),
    (re.compile(r'"'), "a quotation mark"),
    (re.compile(r"cancelled|cancelling|synchronis|initialis|unrecognis|authoris|\bcolour", re.I), "a spelling other than American"),
)

# Nouns that templates count, and the words that may come between the amount and its noun. "{1} of {2} disks" has a
# total, "a limit of {1} disks" a limit, and "{0} files per second" a rate.
COUNTED = ("adapter|application|attempt|block|bucket|cable|client|cluster|code|connection|container|core|day|device|disk|"
           "enclosure|error|failure|file|folder|fragment|frame|group|hour|image|item|job|key|lane|login|LUN|message|minute|"
           "month|node|notification|object|packet|page|part|password|path|replica|request|reset|result|role|rule|second|"
           "sector|service|session|shock|sign-in|slot|snapshot|source|stream|stripe|takeover|target|task|test|thumbnail|tier|"
           "time|user|volume|week|year")
COUNTED_AS = (r"access|allowed|bad|bind|correctable|CRC|damaged|data|deny|encrypted|external|failed|internal|key|link|"
              r"log|M\.2|mirrored|necessary|open|other|parity|predefined|RAID|read|reallocated|redundant|reservation|"
              r"search|self-encrypting|shared|simultaneous|snapshot|solid-state|source|system|transmission|unknown|"
              r"unreadable|verification|watched|wrong|write")
TURNED_BY_POWER = r"NAS|unit|enclosure|light|power|port|machine"

# One voice: alternative wordings, and the one to use.
VOICE = (
    (r"(?:^Changed|\bFailed to change) the\b", "no article after Changed and Failed to change"),
    (rf"(?:^|\. )(?![^.]*\b(?:{TURNED_BY_POWER})\b)[^.]*\bturn(?:s|ed|ing)?(?: it| them)? (?:on|off)\b",
     "enable and disable: only what has power is turned on and off"),
    (r"\bexpansion unit", "expansion enclosure"),
    (r"\bby (?:request|order)\b", "on request"),
    (r"\banew\b", "again"),
    (r"\bany more\b", "no longer"),
    (r"\bby hand\b", "manually"),
    (r"\bstart-up\b", "startup"),
    (r"\bat once\b", "immediately"),
    (r"\bfor good\b", "permanently"),
    (r"\bspace reclaim\b", "space reclamation"),
    (r"\b(?:is|are) rebuilding\b", "is being rebuilt"),
    (r"\bfree up\b", "free"),
    (r"\bcontact support\b", "contact technical support"),
    (r"(?<!e)\bmail address", "email address"),
    (r"\bput to standby\b", "put into standby"),
    (r"\bnobody\b", "no one"),
    (r"\b(?:goes|go|going|gone) on\b", "continue"),
    (r"\b(?:do|does|did) not know\b", "does not recognize or does not support"),
    (r"(?<!there )\bis no (?!longer\b)", "is not a"),
    (r"\bnot contained\b", "not included"),
    (r"\bconcerned\b", "affected"),
    (r"\bby connection profile\b", "with connection profile"),
    (r"\boperations per second\b", "IOPS"),
    (r"\bexpected (?:end|time|duration)\b|\bestimated time\b(?! left)",
     "estimated duration, estimated time left or estimated end"),
    (r"(?:^|\. )(?:cable|certificate|checksum|clock|command|controller|cover|database|fragment|guest|hardware|health|"
     r"license|link|load|policy|recall|remaining life|serial number|temperature|time window|transceiver|tray|upload) "
     r"(?:between|for|in|of|on|over|to)\b",
     "the: a singular noun takes its article"),
    (r"\bdo not [^.,]* and\b", "a comma or a second sentence after what is not to be done"),
    (r"\bevery \{[0-9]+\}(?! \w+\(s\))", "Frequency: before the label of a schedule"),
    (r";", "two sentences"),
    (r"(?<!\} of )(?<!\} of its )(?<!\} of the )(?<!limit of )(?<!maximum of )"
     rf"\{{[0-9]+\}}(?: (?:{COUNTED_AS}))* (?:{COUNTED})s\b(?! per )", "(s) after a noun that a placeholder counts"),
    (r"(?:^|[.:] )[^.:{}]*\(s\)", "the plural where no placeholder counts"),
)
VOICE = tuple((re.compile(pattern, re.I), use) for pattern, use in VOICE)

# The columns of README.md's table after an application's name.
TABLE = ("Name in brackets", "Rows in the file", "of these phrase rows", "of these numbered, \"[reserved]\"", "Message numbers",
         "Absent")

Application = collections.namedtuple("Application", "name rows phrases uncategorized absent mixed title")
Row = collections.namedtuple("Row", "line application level category number template")


class Faults:
    """Collects faults in the order in which they are found."""

    def __init__(self):
        self.lines = []

    def add(self, path, line, text):
        self.lines.append(f"{path}:{line}: {text}")

    def report(self):
        for line in self.lines:
            print(line, file=sys.stderr)
        return 1 if self.lines else 0


def number_set(text):
    """Returns the numbers in a text such as "4,7-10"; "-" is the empty set."""
    numbers = set()
    if text != "-":
        for part in text.split(","):
            first, _, last = part.partition("-")
            numbers.update(range(int(first), int(last or first) + 1))
    return numbers


def ranges(numbers):
    """Formats numbers for a message; the reverse of number_set."""
    parts = []
    for _, group in itertools.groupby(enumerate(sorted(numbers)), lambda pair: pair[1] - pair[0]):
        run = [number for _, number in group]
        parts.append(str(run[0]) if len(run) == 1 else f"{run[0]}-{run[-1]}")
    return ", ".join(parts)


def read_lines(path, faults):
    """Yields the file's lines with their numbers, from 1. A line that is not UTF-8 is a fault and empty."""
    content = path.read_bytes().split(b"\n")
    if content[0].startswith(b"\xef\xbb\xbf"):
        faults.add(path, 1, "the file begins with a byte order mark")
        content[0] = content[0][3:]
    if content[-1]:
        faults.add(path, len(content), "the last line has no line feed")
    else:
        content.pop()
    lines = []
    for number, line in enumerate(content, 1):
        try:
            lines.append((number, line.decode("utf-8")))
        except UnicodeDecodeError:
            faults.add(path, number, "the line is not UTF-8")
            lines.append((number, ""))
    return lines


def application_faults(name, figures, absent, order):
    """Finds faults in an application's figures."""
    if not NAME.fullmatch(name):
        yield f"the application {name!a} is not A and three digits"
    for figure in figures:
        if not FIGURE.fullmatch(figure):
            yield f"{figure!a} is no number of rows"
    if all(map(FIGURE.fullmatch, figures)):
        rows, phrases, uncategorized = map(int, figures)
        if rows < 2 + phrases + uncategorized:
            yield f"{rows} rows have no room for a blank one, {phrases} phrases, {uncategorized} messages and a last one"
    if not NUMBER_SET.fullmatch(absent):
        yield f"{absent!a} is no list of numbers"
    if order not in ("ascending", "mixed"):
        yield f"the order {order!a} is neither ascending nor mixed"


def read_applications(path, faults):
    """Reads the applications by name and adds their faults to faults."""
    applications = {}
    for line, text in read_lines(path, faults):
        if not text or text.startswith("#"):
            continue
        fields = text.split("\t")
        if len(fields) != len(Application._fields):
            faults.add(path, line, f"the line has {len(fields)} fields, not {len(Application._fields)} with one tab between them")
            continue
        name, rows, phrases, uncategorized, absent, order, title = fields
        found = list(application_faults(name, (rows, phrases, uncategorized), absent, order))
        if name in applications:
            found.append(f"the application {name} stands here twice")
        for fault in found:
            faults.add(path, line, fault)
        if not found:
            applications[name] = Application(name, int(rows), int(phrases), int(uncategorized), number_set(absent),
                                             order == "mixed", title)
    return applications


def template_faults(row, application, tokens):
    """Finds faults in a message's template, or a phrase."""
    text = row.template
    if len(text) > LONGEST_TEMPLATE:
        yield f"the template has {len(text)} characters, at most {LONGEST_TEMPLATE} are allowed"
    if FOREIGN.search(text):
        yield f"the template holds {FOREIGN.search(text).group()!a}; the only character beyond printable ASCII is the degree sign"
    if text != text.strip(" ") or "  " in text:
        yield "the template has a blank at its start or end, or two in a row"
    if TOKEN.fullmatch(row.number):
        if not text:
            yield "the phrase is empty"
        if re.search(r"[{}\[\]%]|\.$", text):
            yield "a phrase has no placeholder, no brackets, no token and no full stop"
        return

    placeholders = PLACEHOLDER.findall(text)
    if re.search(r"[{}]", PLACEHOLDER.sub("", text)):
        yield "a brace is not part of a placeholder {0} to {%d}" % HIGHEST_PLACEHOLDER
    for number in placeholders:
        if int(number) > HIGHEST_PLACEHOLDER:
            yield "the placeholder {%s} is above {%d}" % (number, HIGHEST_PLACEHOLDER)
    first_seen = list(dict.fromkeys(map(int, placeholders)))
    if first_seen != sorted(first_seen):
        yield "the placeholders are not numbered in the order in which they first appear"
    for token in re.findall(r"%V[0-9]{0,3}%?", text):
        if token not in tokens:
            yield f"the template names {token}, which is no phrase of this application"
    prefixes = [f"[{application.title}]", UNIT_PREFIX.get(application.name)]
    if not any(prefix and text.startswith(prefix + " ") for prefix in prefixes):
        yield "the template does not begin with " + " or ".join(prefix for prefix in prefixes if prefix) + " and a blank"
    if not text.endswith("."):
        yield "the template does not end with a full stop"
    for pattern, what in WORDING:
        if pattern.search(text):
            yield f"the template holds {what}"
    sentences = re.sub(r"^\[[^]]*\] ", "", text)
    for pattern, use in VOICE:
        said = pattern.search(sentences)
        if said:
            yield f"the template says {said.group().strip(' .:')!a}: write {use}"


def row_faults(row, application, headings):
    """Finds faults in a row's first four fields."""
    if row.application != application.name:
        yield f"the application is {row.application!a}, the file is for {application.name}"
    if row.category != RESERVED:
        if not CATEGORY.fullmatch(row.category):
            yield f"the category {row.category!a} is neither C and three digits nor {RESERVED}"
        elif row.category not in headings:
            yield f"no heading names the category {row.category} above its first row"
    if TOKEN.fullmatch(row.number):
        if row.category != RESERVED:
            yield f"the phrase {row.number} has a category; a phrase has {RESERVED}"
        if row.level != "0":
            yield f"the phrase {row.number} has level {row.level}; a phrase has level 0"
    elif not NUMBER.fullmatch(row.number):
        yield f"the message number {row.number!a} is neither a decimal number nor a token"
    elif row.level not in ("1", "2", "4"):
        yield f"the level {row.level!a} is not 1, 2 or 4"


def numbers(application):
    """Returns the message numbers of an application's file: one for each message, from 1, skipping the absent ones."""
    highest, count = 0, application.rows - 2 - application.phrases
    while count:
        highest += 1
        count -= highest not in application.absent
    return set(range(1, highest + 1)) - application.absent


def total_faults(rows, application):
    """Finds faults of the file as a whole."""
    phrases = sum(1 for row in rows if TOKEN.fullmatch(row.number))
    uncategorized = sum(1 for row in rows if row.category == RESERVED and not TOKEN.fullmatch(row.number))
    for what, found, wanted in (("rows", len(rows), application.rows - 2), ("phrase rows", phrases, application.phrases),
                                (f"numbered rows with {RESERVED}", uncategorized, application.uncategorized)):
        if found != wanted:
            yield f"the file has {found} {what}, it must have {wanted}"

    found = [int(row.number) for row in rows if NUMBER.fullmatch(row.number)]
    missing = numbers(application) - set(found)
    if missing:
        yield f"message numbers are missing: {ranges(missing)}"
    if application.mixed and len(found) > 1 and found == sorted(found):
        yield "every message number ascends; some rows of this application stand out of order"


def read_file(path, application, faults):
    """Reads the file's rows and adds their faults to faults."""
    rows, headings, seen, templates = [], set(), {}, {}
    previous = 0
    lines = read_lines(path, faults)
    tokens = {fields[3] for fields in (line.split("\t") for _, line in lines) if len(fields) == len(FIELDS)}
    for line, text in lines:
        if text.startswith("#") or not text:
            heading = HEADING.match(text)
            if heading:
                headings.add(heading.group(1))
            continue
        fields = text.split("\t")
        if len(fields) != len(FIELDS):
            faults.add(path, line, f"the row has {len(fields)} fields, not {len(FIELDS)} with one tab between them")
            continue
        row = Row(line, *fields)
        rows.append(row)
        for fault in itertools.chain(row_faults(row, application, headings), template_faults(row, application, tokens)):
            faults.add(path, line, fault)
        if row.number in seen:
            faults.add(path, line, f"the number {row.number} is taken by line {seen[row.number]}")
        seen.setdefault(row.number, line)
        kind_and_text = bool(TOKEN.fullmatch(row.number)), row.template
        if kind_and_text in templates:
            faults.add(path, line, f"the template repeats that of line {templates[kind_and_text]}")
        templates.setdefault(kind_and_text, line)
        if NUMBER.fullmatch(row.number):
            number = int(row.number)
            if number in application.absent:
                faults.add(path, line, f"the number {number} is one that stays absent")
            if number < previous and not application.mixed:
                faults.add(path, line, f"the number {number} stands after {previous}; this application's numbers ascend")
            previous = number
    for fault in total_faults(rows, application):
        faults.add(path, max(len(lines), 1), fault)
    return rows


def check(paths, applications, faults):
    """Returns the rows of each file by application."""
    catalog = {}
    for path in paths:
        application = applications.get(path.stem)
        if application is None or path.suffix != ".tsv":
            faults.add(path, 1, "the file is none of the catalog's, which applications.tsv lists")
        elif not path.is_file():
            faults.add(path, 1, "the file is missing")
        else:
            catalog[application.name] = read_file(path, application, faults)
    return catalog


def table_cells(application):
    """Returns the row of README.md's table for an application."""
    highest = max(numbers(application), default=0)
    return (application.title, str(application.rows - 2), str(application.phrases), str(application.uncategorized),
            f"1 to {highest}" + (", some out of order" if application.mixed else ""), ranges(application.absent))


def check_table(path, applications, faults):
    """Compares README.md's table and its sentence of totals with the applications."""
    lines = read_lines(path, faults) if path.is_file() else []
    told = set()
    for line, text in lines:
        cells = [cell.strip() for cell in text.strip().strip("|").split("|")]
        name = cells[0].strip("`")
        if not text.startswith("| `") or not NAME.fullmatch(name) or len(cells) != 1 + len(TABLE):
            continue
        if name not in applications or name in told:
            faults.add(path, line, f"the table has {name} twice" if name in told else f"the table has {name}, which applications.tsv does not list")
            continue
        told.add(name)
        for column, said, wanted in zip(TABLE, cells[1:], table_cells(applications[name])):
            if said != wanted:
                faults.add(path, line, f"the table says {said!a} for {column} of {name}, not {wanted!a}")
    if set(applications) - told:
        faults.add(path, max(len(lines), 1), f"the table lacks {', '.join(sorted(set(applications) - told))}")

    rows, phrases, uncategorized = (sum(figures) for figures in zip(*(
        (application.rows - 2, application.phrases, application.uncategorized) for application in applications.values())))
    reserved = phrases + uncategorized
    totals = (f"The rows with a category are {rows - reserved:,}, those with `{RESERVED}` {reserved:,} ({phrases:,} phrases, "
              f"{uncategorized:,} numbered).")
    if totals not in " ".join(text for _, text in lines):
        faults.add(path, max(len(lines), 1), f"the text does not say: {totals}")


def literal(text):
    """Returns a C string literal; an octal escape of three digits ends by itself, whatever follows it."""
    return '"' + "".join(chr(byte) if 32 <= byte < 127 and byte not in b'"\\?' else f"\\{byte:03o}"
                         for byte in text.encode("utf-8")) + '"'


def arrays(catalog, applications):
    """Returns the C++ text of the arrays. The header declares linkage and length; the compiler compares them."""
    lines = ["// Generated by catalog/generate.py from catalog/data/. Change the data.", '#include "Corix_annal.h"', ""]
    for name, rows in sorted(catalog.items()):
        lines.append(f"const CatalogEntry {name}_list[{applications[name].rows}] = {{")
        lines.append('    {"", 0, "", "", ""},')
        for row in rows:
            texts = [literal(text) for text in (row.application, row.category, row.number, row.template)]
            lines.append(f"    {{{texts[0]}, {row.level}, {texts[1]}, {texts[2]}, {texts[3]}}},")
        lines += ["    {nullptr, 0, nullptr, nullptr, nullptr},", "};", ""]
    return "\n".join(lines)


def all_files(data, applications):
    return sorted(set(data.iterdir()) | {data / f"{name}.tsv" for name in applications})


def generate(data, output, applications, faults):
    catalog = check(all_files(data, applications), applications, faults)
    if not faults.lines:
        output.write_text(arrays(catalog, applications), encoding="ascii")


def similar(paths, words):
    """Prints groups of templates that differ in at most N words, ignoring brackets and placeholders' numbers."""
    groups = collections.defaultdict(dict)
    for path in paths:
        for line, text in enumerate(path.read_text(encoding="utf-8", errors="replace").splitlines(), 1):
            fields = text.split("\t")
            if len(fields) != len(FIELDS) or text.startswith("#") or TOKEN.fullmatch(fields[3]):
                continue
            template = re.sub(r"^\[[^]]*\] ", "", fields[4])
            parts = PLACEHOLDER.sub("{}", template).lower().split()
            for places in itertools.combinations(range(len(parts)), min(words, len(parts))):
                pattern = " ".join("_" if place in places else part for place, part in enumerate(parts))
                if re.search(r"[a-z]", pattern):
                    groups[pattern][(path.name, line)] = f"{path.name}:{line}: {fields[4]}"
    shown = set()
    for pattern, members in sorted(groups.items(), key=lambda item: -len(item[1])):
        key = frozenset(members)
        if len(members) > 1 and not any(key <= other for other in shown):
            shown.add(key)
            print(f"{len(members)} alike: {pattern}")
            for member in members.values():
                print("    " + member)
    print(f"{len(shown)} groups")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--applications", type=pathlib.Path, default=HERE / "applications.tsv")
    parser.add_argument("--data", type=pathlib.Path, default=HERE / "data", help="the folder of the files")
    parser.add_argument("--words", type=int, default=1, help="how many words similar rows may differ in")
    mode = parser.add_mutually_exclusive_group(required=True)
    mode.add_argument("--output", type=pathlib.Path, metavar="FILE")
    mode.add_argument("--check", action="store_true")
    mode.add_argument("--similar", action="store_true")
    parser.add_argument("files", type=pathlib.Path, nargs="*")
    arguments = parser.parse_args()

    if arguments.similar:
        similar(arguments.files, arguments.words)
        return 0
    faults = Faults()
    applications = read_applications(arguments.applications, faults)
    if faults.lines:
        return faults.report()
    if arguments.check:
        check(arguments.files or all_files(arguments.data, applications), applications, faults)
        check_table(arguments.applications.with_name("README.md"), applications, faults)
    else:
        generate(arguments.data, arguments.output, applications, faults)
    return faults.report()


if __name__ == "__main__":
    sys.exit(main())
