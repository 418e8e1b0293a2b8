#!/usr/bin/env python3
"""The generator takes a catalog that is right and refuses, with file and line, whatever breaks a rule.

    generate_test.py GENERATOR
"""

import pathlib
import subprocess
import sys
import tempfile
import unittest

GENERATOR = None

APPLICATIONS = (
    "# file, rows, phrases, numbered without a category, absent, order, name\n"
    "A011\t8\t2\t1\t2\tascending\tExternal Device\n"
    "A049\t4\t0\t0\t-\tmixed\tHardware Status\n")

README = """| File | Name in brackets | Rows | Phrases | Numbered | Message numbers | Absent |
|---|---|---|---|---|---|---|
| `A011` | External Device | 6 | 2 | 1 | 1 to 5 | 2 |
| `A049` | Hardware Status | 2 | 0 | 0 | 1 to 2, some out of order |  |

The rows with a category are 5, those with `[reserved]` 3 (2 phrases,
1 numbered). And so on.
"""

# What is written over a text of README.md, and what is then refused.
REFUSED_TABLES = (
    ("another name", "External Device", "Devices",
     "3: the table says 'Devices' for Name in brackets of A011, not 'External Device'"),
    ("another number of rows", "| 6 |", "| 7 |", "3: the table says '7' for Rows in the file of A011, not '6'"),
    ("another number of phrases", "| 6 | 2 |", "| 6 | 3 |",
     "3: the table says '3' for of these phrase rows of A011, not '2'"),
    ("another number without a category", "| 2 | 1 |", "| 2 | 0 |",
     "3: the table says '0' for of these numbered, \"[reserved]\" of A011, not '1'"),
    ("other message numbers", "1 to 5", "1 to 4", "3: the table says '1 to 4' for Message numbers of A011, not '1 to 5'"),
    ("an order that is not so", ", some out of order", "",
     "4: the table says '1 to 2' for Message numbers of A049, not '1 to 2, some out of order'"),
    ("absent numbers left out", "| 1 to 5 | 2 |", "| 1 to 5 |  |", "3: the table says '' for Absent of A011, not '2'"),
    ("an application left out", "| `A049` |", "| `A49` |", "7: the table lacks A049"),
    ("an application twice", "|---|---|---|---|---|---|---|", "| `A011` | External Device | 6 | 2 | 1 | 1 to 5 | 2 |",
     "3: the table has A011 twice"),
    ("an unknown application", "|---|---|---|---|---|---|---|", "| `A012` | Tapes | 6 | 2 | 1 | 1 to 5 | 2 |",
     "2: the table has A012, which applications.tsv does not list"),
    ("other totals", "category are 5", "category are 6",
     "7: the text does not say: The rows with a category are 5, those with `[reserved]` 3 (2 phrases, 1 numbered)."),
)

A011 = (
    "# Printers and UPS",
    "A011\t0\t[reserved]\t%V001%\tNetwork UPS",
    "# C001 Printers",
    "A011\t4\tC001\t1\t[External Device] Added printer {0}.",
    "",
    "# C002 UPS",
    "A011\t2\tC002\t3\t[External Device] UPS {0} is at {1}℃. Its limit is {2}℃.",
    "A011\t1\tC002\t4\t[External Device] Failed to reach %V001% {0}.",
    "A011\t0\t[reserved]\t%V999%\tUSB UPS",
    "A011\t4\t[reserved]\t5\t[External Device] Shut down {20} external device(s).",
)
A049 = (
    "# C001 Fans",
    "A049\t1\tC001\t2\t[{0}] System fan {1} failed.",
    "A049\t4\tC001\t1\t[Hardware Status] Changed fan speed.",
)

# What is written into which line of A011.tsv (None: the line is taken out), and all that is then refused.
REFUSED = (
    ("fewer fields", 4, "A011\t4\tC001\t1", [
        "4: the row has 4 fields, not 5 with one tab between them",
        "10: the file has 5 rows, it must have 6", "10: message numbers are missing: 1"]),
    ("more fields", 4, A011[3] + "\tx", [
        "4: the row has 6 fields, not 5 with one tab between them",
        "10: the file has 5 rows, it must have 6", "10: message numbers are missing: 1"]),
    ("another application", 4, "A049\t4\tC001\t1\t[External Device] Added printer {0}.", [
        "4: the application is 'A049', the file is for A011"]),
    ("a level that is none", 4, "A011\t3\tC001\t1\t[External Device] Added printer {0}.", [
        "4: the level '3' is not 1, 2 or 4"]),
    ("a message with a phrase's level", 4, "A011\t0\tC001\t1\t[External Device] Added printer {0}.", [
        "4: the level '0' is not 1, 2 or 4"]),
    ("a level with a zero in front", 4, "A011\t04\tC001\t1\t[External Device] Added printer {0}.", [
        "4: the level '04' is not 1, 2 or 4"]),
    ("a category that is none", 4, "A011\t4\tC1\t1\t[External Device] Added printer {0}.", [
        "4: the category 'C1' is neither C and three digits nor [reserved]"]),
    ("a category of four digits", 4, "A011\t4\tC0011\t1\t[External Device] Added printer {0}.", [
        "4: the category 'C0011' is neither C and three digits nor [reserved]"]),
    ("a category without a heading", 4, "A011\t4\tC002\t1\t[External Device] Added printer {0}.", [
        "4: no heading names the category C002 above its first row"]),
    ("a heading without words", 3, "# C001", [
        "4: no heading names the category C001 above its first row"]),
    ("a number in words", 4, "A011\t4\tC001\tone\t[External Device] Added printer {0}.", [
        "4: the message number 'one' is neither a decimal number nor a token",
        "10: message numbers are missing: 1"]),
    ("a number with a zero in front", 4, "A011\t4\tC001\t01\t[External Device] Added printer {0}.", [
        "4: the message number '01' is neither a decimal number nor a token",
        "10: message numbers are missing: 1"]),
    ("the number 0", 4, "A011\t4\tC001\t0\t[External Device] Added printer {0}.", [
        "4: the message number '0' is neither a decimal number nor a token",
        "10: message numbers are missing: 1"]),
    ("a number that is taken", 7, "A011\t2\tC002\t1\t[External Device] Low.", [
        "7: the number 1 is taken by line 4", "10: message numbers are missing: 3"]),
    ("a token that is taken", 9, "A011\t0\t[reserved]\t%V001%\tUSB UPS", [
        "9: the number %V001% is taken by line 2"]),
    ("a number that stays absent", 7, "A011\t2\tC002\t2\t[External Device] Low.", [
        "7: the number 2 is one that stays absent", "10: message numbers are missing: 3"]),
    ("a number that leaves others out", 10, "A011\t4\t[reserved]\t6\t[External Device] Low.", [
        "10: message numbers are missing: 5"]),
    ("numbers out of order", 4, "A011\t4\tC001\t9\t[External Device] Added printer {0}.", [
        "7: the number 3 stands after 9; this application's numbers ascend", "10: message numbers are missing: 1"]),
    ("a phrase with a category", 9, "A011\t0\tC002\t%V999%\tUSB UPS", [
        "9: the phrase %V999% has a category; a phrase has [reserved]"]),
    ("a phrase with a level", 9, "A011\t4\t[reserved]\t%V999%\tUSB UPS", [
        "9: the phrase %V999% has level 4; a phrase has level 0"]),
    ("an empty phrase", 9, "A011\t0\t[reserved]\t%V999%\t", ["9: the phrase is empty"]),
    ("a phrase with a placeholder", 9, "A011\t0\t[reserved]\t%V999%\tUPS {0}", [
        "9: a phrase has no placeholder, no brackets, no token and no full stop"]),
    ("a phrase with a full stop", 9, "A011\t0\t[reserved]\t%V999%\tUPS.", [
        "9: a phrase has no placeholder, no brackets, no token and no full stop"]),
    ("a phrase that names a token", 9, "A011\t0\t[reserved]\t%V999%\t%V001%", [
        "9: a phrase has no placeholder, no brackets, no token and no full stop"]),
    ("a phrase that is there already", 9, "A011\t0\t[reserved]\t%V999%\tNetwork UPS", [
        "9: the template repeats that of line 2"]),
    ("a placeholder above 20", 4, "A011\t4\tC001\t1\t[External Device] Added printer {21}.", [
        "4: the placeholder {21} is above {20}"]),
    ("a placeholder with a zero in front", 4, "A011\t4\tC001\t1\t[External Device] Added printer {00}.", [
        "4: a brace is not part of a placeholder {0} to {20}"]),
    ("a placeholder with a name", 4, "A011\t4\tC001\t1\t[External Device] Added printer {name}.", [
        "4: a brace is not part of a placeholder {0} to {20}"]),
    ("a brace alone", 4, "A011\t4\tC001\t1\t[External Device] Added printer {0.", [
        "4: a brace is not part of a placeholder {0} to {20}"]),
    ("a placeholder of more digits than a number has", 4,
     "A011\t4\tC001\t1\t[External Device] Added {" + "9" * 300 + "}.", [
        "4: a brace is not part of a placeholder {0} to {20}"]),
    ("a message number of more digits than there are messages", 4,
     "A011\t4\tC001\t" + "9" * 5000 + "\t[External Device] Added printer {0}.", [
        "4: the message number '" + "9" * 5000 + "' is neither a decimal number nor a token",
        "10: message numbers are missing: 1"]),
    ("placeholders out of order", 4, "A011\t4\tC001\t1\t[External Device] Added {1} {0}.", [
        "4: the placeholders are not numbered in the order in which they first appear"]),
    ("a token of no phrase", 4, "A011\t4\tC001\t1\t[External Device] Added %V002%.", [
        "4: the template names %V002%, which is no phrase of this application"]),
    ("a token cut short", 4, "A011\t4\tC001\t1\t[External Device] Added %V001.", [
        "4: the template names %V001, which is no phrase of this application"]),
    ("a template that is too long", 4, "A011\t4\tC001\t1\t[External Device] " + "℃" * 382 + ".", [
        "4: the template has 401 characters, at most 400 are allowed"]),
    ("another character beyond ASCII", 4, "A011\t4\tC001\t1\t[External Device] Added “{0}”.", [
        "4: the template holds '\\u201c'; the only character beyond printable ASCII is the degree sign"]),
    ("a carriage return", 4, A011[3] + "\r", [
        "4: the template holds '\\r'; the only character beyond printable ASCII is the degree sign",
        "4: the template does not end with a full stop"]),
    ("a control character", 4, "A011\t4\tC001\t1\t[External Device] Added\x1b{0}.", [
        "4: the template holds '\\x1b'; the only character beyond printable ASCII is the degree sign"]),
    ("a byte that is no UTF-8", 4, b"A011\t4\tC001\t1\t[External Device] Added \xff.", [
        "4: the line is not UTF-8",
        "10: the file has 5 rows, it must have 6", "10: message numbers are missing: 1"]),
    ("a byte order mark", 1, b"\xef\xbb\xbf# Printers", [
        "1: the file begins with a byte order mark"]),
    ("a blank at the end", 4, A011[3] + " ", [
        "4: the template has a blank at its start or end, or two in a row",
        "4: the template does not end with a full stop"]),
    ("two blanks in a row", 4, "A011\t4\tC001\t1\t[External Device] Added  {0}.", [
        "4: the template has a blank at its start or end, or two in a row"]),
    ("no full stop", 4, "A011\t4\tC001\t1\t[External Device] Added {0}", [
        "4: the template does not end with a full stop"]),
    ("another application's brackets", 4, "A011\t4\tC001\t1\t[Hardware Status] Added printer {0}.", [
        "4: the template does not begin with [External Device] and a blank"]),
    ("a unit's brackets", 4, "A011\t4\tC001\t1\t[{0}] Added printer.", [
        "4: the template does not begin with [External Device] and a blank"]),
    ("a template that is there already", 7, "A011\t2\tC002\t3\t[External Device] Added printer {0}.", [
        "7: the template repeats that of line 4"]),
    ("an exclamation mark", 4, "A011\t4\tC001\t1\t[External Device] Fire! Added {0}.", [
        "4: the template holds an exclamation mark"]),
    ("the word please", 4, "A011\t4\tC001\t1\t[External Device] Please check {0}.", [
        "4: the template holds the word please"]),
    ("the word successfully", 4, "A011\t4\tC001\t1\t[External Device] Successfully added {0}.", [
        "4: the template holds the word successfully: the past tense says it"]),
    ("an error that occurred", 4, "A011\t4\tC001\t1\t[External Device] An error occurred.", [
        "4: the template holds the words error occurred: say which"]),
    ("a contraction", 4, "A011\t4\tC001\t1\t[External Device] Couldn't add {0}.", [
        "4: the template holds a contraction"]),
    ("a quotation mark", 4, "A011\t4\tC001\t1\t[External Device] Added \"{0}\".", [
        "4: the template holds a quotation mark"]),
    ("another spelling", 4, "A011\t4\tC001\t1\t[External Device] Cancelled {0}.", [
        "4: the template holds a spelling other than American"]),
    ("a row missing", 4, None, [
        "9: the file has 5 rows, it must have 6", "9: message numbers are missing: 1"]),
    ("a row too many", 10, A011[9] + "\nA011\t4\tC001\t6\t[External Device] Low.", [
        "11: the file has 7 rows, it must have 6"]),
    ("a phrase too few", 9, "A011\t4\tC001\t6\t[External Device] Low.", [
        "10: the number 5 stands after 6; this application's numbers ascend",
        "10: the file has 1 phrase rows, it must have 2"]),
    ("a category too many", 10, "A011\t4\tC001\t5\t[External Device] Low.", [
        "10: the file has 0 numbered rows with [reserved], it must have 1"]),
)

# A template in another voice, what is refused of it, and the wording to use.
REFUSED_WORDINGS = (
    ("Changed the alias of {0}.", "Changed the", "no article after Changed and Failed to change"),
    ("Failed to change the alias of {0}.", "Failed to change the", "no article after Changed and Failed to change"),
    ("Turned on sharing of {0}.", "Turned on", "enable and disable: only what has power is turned on and off"),
    ("Lost {0}. Sharing was turned off.", "Sharing was turned off", "enable and disable: only what has power is turned on and off"),
    ("Lost {0}. Turn it on there.", "Turn it on", "enable and disable: only what has power is turned on and off"),
    ("Expansion unit {0} is off.", "Expansion unit", "expansion enclosure"),
    ("Removed {0} by request.", "by request", "on request"),
    ("Removed {0} by order of an administrator.", "by order", "on request"),
    ("Copied {0} anew.", "anew", "again"),
    ("Printer {0} does not answer any more.", "any more", "no longer"),
    ("Start {0} by hand.", "by hand", "manually"),
    ("Failed to find {0} at start-up.", "start-up", "startup"),
    ("Replace {0} at once.", "at once", "immediately"),
    ("Deleted {0} for good.", "for good", "permanently"),
    ("Skipped space reclaim of {0}.", "space reclaim", "space reclamation"),
    ("Group {0} is rebuilding.", "is rebuilding", "is being rebuilt"),
    ("Free up space on {0}.", "Free up", "free"),
    ("Printer {0} failed. Contact support.", "Contact support", "contact technical support"),
    ("User {0} has a mail address.", "mail address", "email address"),
    ("Disk {0} was put to standby.", "put to standby", "put into standby"),
    ("The queue of {0} reaches nobody.", "nobody", "no one"),
    ("Printing on {0} goes on.", "goes on", "continue"),
    ("NAS does not know printer {0}.", "does not know", "does not recognize or does not support"),
    ("Device {0} is no printer.", "is no", "is not a"),
    ("Pages after {0} are not contained.", "not contained", "not included"),
    ("Printed {0}. Pages concerned: {1}.", "concerned", "affected"),
    ("Printed by connection profile {0}.", "by connection profile", "with connection profile"),
    ("Limited {0} to {1} operations per second.", "operations per second", "IOPS"),
    ("Printing {0}. Expected end: {1}.", "Expected end", "estimated duration, estimated time left or estimated end"),
    ("Printing {0}. Estimated time: {1}.", "Estimated time", "estimated duration, estimated time left or estimated end"),
    ("Temperature of {0} is high.", "Temperature of", "the: a singular noun takes its article"),
    ("Lost {0}. Link to {1} dropped.", "Link to", "the: a singular noun takes its article"),
    ("Certificate of {0} expires.", "Certificate of", "the: a singular noun takes its article"),
    ("Reset {0}. Clock of {1} was wrong.", "Clock of", "the: a singular noun takes its article"),
    ("Do not remove {0} and restart it.", "Do not remove {0} and", "a comma or a second sentence after what is not to be done"),
    ("Scheduled {0} every {1} at {2}.", "every {1}", "Frequency: before the label of a schedule"),
    ("Printer {0} stopped; restart it.", ";", "two sentences"),
    ("Removed {0} printers. Lost {1} pages.", "{1} pages", "(s) after a noun that a placeholder counts"),
    ("Lost {0} after a timeout of {1} seconds.", "{1} seconds", "(s) after a noun that a placeholder counts"),
    ("Lost {0} unreadable sectors.", "{0} unreadable sectors", "(s) after a noun that a placeholder counts"),
    ("Lost job(s) of printer {0}.", "Lost job(s)", "the plural where no placeholder counts"),
    ("Printer {0} stopped. Check its cable(s).", "Check its cable(s)", "the plural where no placeholder counts"),
)

TAKEN_WORDINGS = (
    "Changed alias of {0}. Tell the users to change the name, too.",
    "Certificate {0} expired. Clients refuse it.",
    "NAS turned off {0}. Turn on the unit, the light and the virtual machine.",
    "Added {0} of {1} disks and all of its {2} disk(s) in {3} second(s).",
    "Printed {0} pages per minute on {1}, which has a limit of {2} pages.",
    "Printer {0} is no longer there. There is no paper.",
    "Failed to lock {0}. It holds files that are open.",
    "Printer {0} writes slowly.",
    "Printing {0} every {1} hour(s). Estimated time left: {2} hour(s).",
    "The temperature of {0} is high. Do not touch it, and call for help.",
)


class Catalog:
    """A small catalog in a folder of its own."""

    def __init__(self, folder):
        self.folder = pathlib.Path(folder).resolve()
        self.data = self.folder / "data"
        self.output = self.folder / "catalog.cc"
        self.data.mkdir()
        (self.folder / "applications.tsv").write_text(APPLICATIONS, encoding="utf-8")
        (self.folder / "README.md").write_text(README, encoding="utf-8")
        self.write("A011", A011)
        self.write("A049", A049)

    def write(self, name, lines, end=b"\n"):
        lines = [line if isinstance(line, bytes) else line.encode() for line in lines]
        (self.data / f"{name}.tsv").write_bytes(b"\n".join(lines) + end)

    def run(self, *arguments):
        return subprocess.run([sys.executable, GENERATOR, "--applications", str(self.folder / "applications.tsv"), "--data",
                               str(self.data), *map(str, arguments)], capture_output=True, encoding="utf-8", check=False)

    def generate(self):
        return self.run("--output", self.output)


class GeneratorTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.catalog = Catalog(folder.name)

    def expect_refused(self, finished, file, faults):
        self.assertEqual(finished.returncode, 1)
        self.assertEqual(finished.stderr.splitlines(), [f"{(self.catalog.data / file).resolve()}:{fault}" for fault in faults])
        self.assertFalse(self.catalog.output.exists())


class Generating(GeneratorTest):
    def test_writes_the_rows_of_each_file_in_order_between_a_blank_row_and_a_terminator(self):
        finished = self.catalog.generate()
        self.assertEqual((finished.returncode, finished.stderr, finished.stdout), (0, "", ""))
        text = self.catalog.output.read_text(encoding="ascii")
        self.assertEqual([line for line in text.splitlines() if line[:1] not in ("/", "#", "")], [
            "const CatalogEntry A011_list[8] = {",
            '    {"", 0, "", "", ""},',
            '    {"A011", 0, "[reserved]", "%V001%", "Network UPS"},',
            '    {"A011", 4, "C001", "1", "[External Device] Added printer {0}."},',
            '    {"A011", 2, "C002", "3", "[External Device] UPS {0} is at {1}\\342\\204\\203. Its limit is {2}\\342\\204\\203."},',
            '    {"A011", 1, "C002", "4", "[External Device] Failed to reach %V001% {0}."},',
            '    {"A011", 0, "[reserved]", "%V999%", "USB UPS"},',
            '    {"A011", 4, "[reserved]", "5", "[External Device] Shut down {20} external device(s)."},',
            "    {nullptr, 0, nullptr, nullptr, nullptr},",
            "};",
            "const CatalogEntry A049_list[4] = {",
            '    {"", 0, "", "", ""},',
            '    {"A049", 1, "C001", "2", "[{0}] System fan {1} failed."},',
            '    {"A049", 4, "C001", "1", "[Hardware Status] Changed fan speed."},',
            "    {nullptr, 0, nullptr, nullptr, nullptr},",
            "};",
        ])

    def test_keeps_backslashes_and_question_marks_from_meaning_anything_to_the_compiler(self):
        lines = list(A011)
        lines[3] = "A011\t4\tC001\t1\t[External Device] Why??/n \\n {0}."
        self.catalog.write("A011", lines)
        self.assertEqual(self.catalog.generate().returncode, 0)
        self.assertIn('"[External Device] Why\\077\\077/n \\134n {0}."', self.catalog.output.read_text(encoding="ascii"))

    def test_takes_a_template_of_400_characters(self):
        lines = list(A011)
        lines[3] = "A011\t4\tC001\t1\t[External Device] " + "℃" * 381 + "."
        self.catalog.write("A011", lines)
        self.assertEqual(self.catalog.generate().stderr, "")

    def test_takes_placeholders_twice_and_with_one_left_out(self):
        lines = list(A011)
        lines[3] = "A011\t4\tC001\t1\t[External Device] Added {1} and {3} and {1}."
        self.catalog.write("A011", lines)
        self.assertEqual(self.catalog.generate().stderr, "")

    def test_refuses_what_breaks_a_rule_with_file_and_line(self):
        for what, line, text, faults in REFUSED:
            with self.subTest(what):
                lines = list(A011)
                lines[line - 1:line] = [] if text is None else [text]
                self.catalog.write("A011", lines)
                self.expect_refused(self.catalog.generate(), "A011.tsv", faults)

    def test_refuses_another_voice_and_tells_the_wording_to_use(self):
        for text, said, use in REFUSED_WORDINGS:
            with self.subTest(text):
                lines = list(A011)
                lines[3] = f"A011\t4\tC001\t1\t[External Device] {text}"
                self.catalog.write("A011", lines)
                self.expect_refused(self.catalog.generate(), "A011.tsv", [f"4: the template says {said!a}: write {use}"])

    def test_takes_wordings_that_only_look_like_refused_ones(self):
        for text in TAKEN_WORDINGS:
            with self.subTest(text):
                lines = list(A011)
                lines[3] = f"A011\t4\tC001\t1\t[External Device] {text}"
                self.catalog.write("A011", lines)
                self.assertEqual(self.catalog.generate().stderr, "")
                self.catalog.output.unlink()

    def test_judges_a_row_whose_token_is_none_as_a_message(self):
        lines = list(A011)
        lines[8] = "A011\t0\t[reserved]\t%V99%\tUSB UPS"
        self.catalog.write("A011", lines)
        finished = self.catalog.generate()
        self.assertIn("A011.tsv:9: the message number '%V99%' is neither a decimal number nor a token", finished.stderr)
        self.assertIn("A011.tsv:10: the file has 1 phrase rows, it must have 2", finished.stderr)
        self.assertEqual(finished.returncode, 1)

    def test_refuses_a_last_line_without_its_end(self):
        self.catalog.write("A011", A011, end=b"")
        self.expect_refused(self.catalog.generate(), "A011.tsv", ["10: the last line has no line feed"])

    def test_refuses_ascending_numbers_where_some_rows_stand_out_of_order(self):
        self.catalog.write("A049", (A049[0], A049[2], A049[1]))
        self.expect_refused(self.catalog.generate(), "A049.tsv", [
            "3: every message number ascends; some rows of this application stand out of order"])

    def test_refuses_a_catalog_that_lacks_an_application(self):
        (self.catalog.data / "A049.tsv").unlink()
        self.expect_refused(self.catalog.generate(), "A049.tsv", ["1: the file is missing"])

    def test_refuses_a_file_of_no_application(self):
        for name in ("A012.tsv", "A011.txt", "notes"):
            with self.subTest(name):
                (self.catalog.data / name).write_text("", encoding="utf-8")
                self.expect_refused(self.catalog.generate(), name, [
                    "1: the file is none of the catalog's, which applications.tsv lists"])
                (self.catalog.data / name).unlink()

    def test_tells_everything_that_is_wrong_at_once(self):
        self.catalog.write("A011", [line.replace("[External Device]", "[Device]") for line in A011])
        (self.catalog.data / "A049.tsv").unlink()
        self.assertEqual(len(self.catalog.generate().stderr.splitlines()), 5)


    def test_refuses_what_is_wrong_with_the_list_of_applications(self):
        for what, line, fault in (
                ("a field too few", "A012\t8\t2\t1\t2\tascending", "the line has 6 fields, not 7 with one tab between them"),
                ("a name that is none", "A11\t8\t2\t1\t2\tascending\tx", "the application 'A11' is not A and three digits"),
                ("a figure that is none", "A012\t-8\t2\t1\t2\tascending\tx", "'-8' is no number of rows"),
                ("fewer rows than kinds of them", "A012\t4\t2\t1\t2\tascending\tx",
                 "4 rows have no room for a blank one, 2 phrases, 1 messages and a last one"),
                ("a list of numbers that is none", "A012\t8\t2\t1\t2-\tascending\tx", "'2-' is no list of numbers"),
                ("an order that is none", "A012\t8\t2\t1\t2\tup\tx", "the order 'up' is neither ascending nor mixed"),
                ("an application that is there already", "A049\t4\t0\t0\t-\tmixed\tx", "the application A049 stands here twice"),
                ("a byte that is no UTF-8", b"A012\t8\t2\t1\t2\tascending\t\xff", "the line is not UTF-8")):
            with self.subTest(what):
                lines = APPLICATIONS.encode().split(b"\n")
                lines[3:] = [line if isinstance(line, bytes) else line.encode(), b""]
                (self.catalog.folder / "applications.tsv").write_bytes(b"\n".join(lines))
                finished = self.catalog.generate()
                self.assertEqual(finished.returncode, 1)
                self.assertEqual(finished.stderr, f"{self.catalog.folder / 'applications.tsv'}:4: {fault}\n")
                self.assertFalse(self.catalog.output.exists())


class Checking(GeneratorTest):
    def test_looks_at_the_named_files_only(self):
        self.catalog.write("A049", ())
        finished = self.catalog.run("--check", self.catalog.data / "A011.tsv")
        self.assertEqual((finished.returncode, finished.stderr), (0, ""))
        finished = self.catalog.run("--check", self.catalog.data / "A049.tsv")
        self.expect_refused(finished, "A049.tsv", [
            "1: the file has 0 rows, it must have 2", "1: message numbers are missing: 1-2"])


    def test_looks_at_all_files_when_none_is_named(self):
        self.assertEqual(self.catalog.run("--check").stderr, "")
        (self.catalog.data / "A049.tsv").unlink()
        self.expect_refused(self.catalog.run("--check"), "A049.tsv", ["1: the file is missing"])

    def test_refuses_a_table_that_differs_from_what_the_files_hold(self):
        for what, old, new, fault in REFUSED_TABLES:
            with self.subTest(what):
                self.assertEqual(README.count(old), 1)
                (self.catalog.folder / "README.md").write_text(README.replace(old, new), encoding="utf-8")
                self.expect_refused(self.catalog.run("--check"), "../README.md", [fault])

    def test_refuses_a_catalog_without_a_table(self):
        (self.catalog.folder / "README.md").unlink()
        finished = self.catalog.run("--check")
        self.assertEqual(finished.returncode, 1)
        self.assertIn("README.md:1: the table lacks A011, A049\n", finished.stderr)


class ListingWhatIsSimilar(GeneratorTest):
    def similar(self, *arguments):
        return self.catalog.run("--similar", *arguments, *sorted(self.catalog.data.iterdir())).stdout.splitlines()

    def test_shows_rows_that_differ_in_a_word_within_and_across_applications(self):
        lines = list(A011)
        lines[7] = "A011\t1\tC002\t4\t[External Device] Removed printer {1}."
        self.catalog.write("A011", lines)
        self.catalog.write("A049", ("A049\t1\tC001\t2\t[{0}] Renamed printer {1}.",))
        self.assertEqual(self.similar(), [
            "3 alike: _ printer {}.",
            "    A011.tsv:4: [External Device] Added printer {0}.",
            "    A011.tsv:8: [External Device] Removed printer {1}.",
            "    A049.tsv:1: [{0}] Renamed printer {1}.",
            "1 groups"])

    def test_shows_rows_that_differ_in_two_words_when_asked(self):
        lines = list(A011)
        lines[7] = "A011\t1\tC002\t4\t[External Device] Removed scanner {0}."
        self.catalog.write("A011", lines)
        self.assertEqual(self.similar(), ["0 groups"])
        self.assertEqual(self.similar("--words", "2")[-1], "0 groups")
        lines[3] = "A011\t4\tC001\t1\t[External Device] Added printer {0} for good."
        lines[7] = "A011\t1\tC002\t4\t[External Device] Removed scanner {0} for good."
        self.catalog.write("A011", lines)
        self.assertEqual(self.similar("--words", "2")[-1], "1 groups")


if __name__ == "__main__":
    GENERATOR = sys.argv.pop(1)
    unittest.main()
