"""What the shells are told of annalctl's commands, and what bash makes of it."""
import json
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

from support import annalctl

TREE = json.loads(annalctl("completion", "json"))


def commands():
    """Each command: its path, itself, and the options of those above it."""
    for command in TREE:
        path = tuple(command["path"])
        above = [option for other in TREE if len(other["path"]) < len(path) and other["path"] == list(path[: len(other["path"])])
                 for option in other["options"]]
        yield path, command, above


def names(options):
    return {name for option in options for name in option["names"]}


class Bash(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.script = pathlib.Path(cls.folder.name, "annalctl")
        cls.script.write_text(annalctl("completion", "bash"), encoding="utf-8")

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def complete_all(self, lines):
        """What bash offers in place of the last word of each line."""
        program = f'set -u +u; . "{self.script}"\n'
        for line in lines:
            words = " ".join("'" + word.replace("'", "'\\''") + "'" for word in line)
            program += (
                f"COMP_WORDS=({words}); COMP_CWORD={len(line) - 1}; COMPREPLY=(); _annalctl\n"
                "printf '%s\\n' \"${COMPREPLY[@]}\"; echo .\n"
            )
        done = subprocess.run(["bash", "--norc", "-c", program], capture_output=True, text=True, timeout=60, check=False,
                              cwd=self.folder.name)
        self.assertEqual(done.stderr, "")
        return [sorted(part.split()) for part in done.stdout.split(".\n")[:-1]]

    def complete(self, *line):
        return self.complete_all([("annalctl", *line)])[0]

    def test_commands_are_completed(self):
        self.assertEqual(self.complete("ev"), ["event"])
        self.assertEqual(self.complete("event", "li"), ["limit", "list"])
        self.assertEqual(self.complete("catalog", "se"), ["search"])
        self.assertEqual(self.complete("help", "con"), ["conn"])
        self.assertIn("event", self.complete(""))

    def test_options_before_a_command_are_passed_over(self):
        self.assertEqual(self.complete("--dir", "event", "conn", "li"), ["limit", "list"])
        self.assertEqual(self.complete("--json", "conn", "li"), ["limit", "list"])
        self.assertEqual(self.complete("--dir=event", "conn", "li"), ["limit", "list"])

    def test_values_that_are_known_are_completed(self):
        self.assertEqual(self.complete("event", "list", "--type", "w"), ["warning"])
        self.assertEqual(self.complete("event", "list", "-p", "e"), ["error"])
        self.assertEqual(self.complete("event", "list", "--type", "=", "e"), ["error"])
        self.assertEqual(self.complete("event", "list", "--type", "="), ["error", "information", "warning"])
        self.assertEqual(self.complete("-o", ""), ["csv", "full", "json", "table"])
        self.assertEqual(self.complete("event", "list", "-o", "c"), ["csv"])
        self.assertEqual(self.complete("notice", "list", "--severity", "e"), ["emergency", "error"])
        self.assertEqual(self.complete("notice", "import", "--format", ""), ["auto", "csv", "jsonl"])
        self.assertIn("syslog5424", self.complete("event", "import", "--format", "sys"))
        self.assertEqual(self.complete("completion", ""), ["bash", "fish", "zsh"])
        self.assertEqual(self.complete("event", "list", "--limit", ""), [])

    def test_files_and_folders_are_completed(self):
        pathlib.Path(self.folder.name, "operations.db").touch()
        pathlib.Path(self.folder.name, "operators").mkdir(exist_ok=True)
        self.assertEqual(self.complete("fileop", "--db", "oper"), ["operations.db", "operators"])
        self.assertEqual(self.complete("event", "import", "operations"), ["operations.db"])
        self.assertEqual(self.complete("--dir", "oper"), ["operators"])

    def test_every_option_of_every_command_is_offered_and_no_other(self):
        every = list(commands())
        self.assertGreater(len(every), 70)
        offered = self.complete_all([(*path, "-") for path, _, _ in every])
        for (path, command, above), found in zip(every, offered):
            self.assertEqual(set(found), names(command["options"]) | names(above), path)

    def test_every_command_is_offered_and_no_other(self):
        groups = [(path, command) for path, command, _ in commands() if command["commands"]]
        for (path, command), found in zip(groups, self.complete_all([(*path, "") for path, _ in groups])):
            self.assertEqual(set(found), set(command["commands"]), path)


class OtherShells(unittest.TestCase):
    def test_zsh_has_every_option_of_every_command(self):
        script = annalctl("completion", "zsh")
        functions = dict(re.findall(r"^(_annalctl[\w-]*)\(\) \{\n(.*?)^\}", script, re.M | re.S))
        for path, command, above in commands():
            text = functions["_" + "_".join(path)]
            found = {name.rstrip("=+") for name in re.findall(r"^ +'(?:\*|\([^)]*\))?(-[\w-]+[=+]?)\[", text, re.M)}
            self.assertEqual(found, names(command["options"]) | names(above), path)
            for one in command["commands"]:
                self.assertIn(f"{one}) _{'_'.join(path)}_{one} ;;", text)

    def test_fish_has_every_option_of_every_command(self):
        found = {}
        for line in annalctl("completion", "fish").split("\n"):
            where = re.match(r"complete -c annalctl(?: -n '__annalctl_in ([^']*)')? (-[ls] .*)", line)
            if where:
                flags = re.match(r"(?:-[ls] \S+ ?)+", where.group(2)).group(0).split()
                path = ("annalctl", *(where.group(1) or "").split())
                for kind, name in zip(flags[::2], flags[1::2]):
                    found.setdefault(path, set()).add(("--" if kind == "-l" else "-") + name)
        self.assertEqual(found, {path: names(command["options"]) for path, command, _ in commands() if command["options"]})

    def test_zsh_understands_it(self):
        self.require("zsh")
        done = subprocess.run(["zsh", "-fn"], input=annalctl("completion", "zsh"), capture_output=True, text=True, check=False)
        self.assertEqual((done.returncode, done.stderr), (0, ""))

    def test_fish_completes_commands_options_and_values(self):
        self.require("fish")
        for line, expected in (
            ("annalctl event li", ["limit", "list"]),
            ("annalctl event list --typ", ["--type"]),
            ("annalctl --dir event conn li", ["limit", "list"]),
            ("annalctl event list --type w", ["warning"]),
            ("annalctl completion f", ["fish"]),
        ):
            program = annalctl("completion", "fish") + f"\ncomplete -C '{line}'\n"
            done = subprocess.run(["fish", "--no-config"], input=program, capture_output=True, text=True, timeout=60, check=False)
            self.assertEqual(done.stderr, "")
            self.assertEqual(sorted(one.split("\t")[0] for one in done.stdout.split("\n") if one), expected, line)

    def require(self, shell):
        if not shutil.which(shell):
            self.skipTest(f"there is no {shell} here: see ./dev man-check")


if __name__ == "__main__":
    unittest.main()
