"""Every example of the manual's pages is run, and succeeds. Those in C are the header's, which other tests run."""
import gzip
import os
import pathlib
import re
import shutil
import sqlite3
import subprocess
import tempfile
import unittest

from support import ANNALCTL, PAGES, annalctl, create_logs

ROOT = pathlib.Path(__file__).resolve().parents[2]
LOGS = pathlib.Path("/etc/logs")
NOTIFY = pathlib.Path("/usr/local/sbin/notify")

# What an example names that is elsewhere here.
ELSEWHERE = (
    ("/var/log/", "var-log/"),
    ("/var/lib/report/", ""),
    ("/mnt/customer/logs", "customer"),
    ("/mnt/elsewhere/", ""),
    ("/usr/local/share/zsh/site-functions/", ""),
    ("--db FILE", "--db operations.db"),
)
# What would go on until it is interrupted.
FOLLOWS = re.compile(r"\b(?:tail(?!.*--no-follow)|log -f)\b")

AUTH = "Nov 21 10:00:00 host sshd[1]: Failed password for root from 203.0.113.7 port 22 ssh2\n"
DPKG = "2026-11-20 10:00:00 install foo:amd64 <none> 1.0\n"
HDFS = "081109 203615 148 INFO dfs.DataNode: PacketResponder 1 for block blk_38 terminating\n"
JOURNAL = (
    '{"__REALTIME_TIMESTAMP":"1795255200000000","PRIORITY":"4","SYSLOG_IDENTIFIER":"sshd","_HOSTNAME":"host",'
    '"MESSAGE":"Failed password for root from 203.0.113.7 port 22 ssh2"}\n'
)


def literal_blocks(text):
    for block in re.findall(r"^\.Bd .*?\n(.*?)^\.Ed", text, re.M | re.S):
        yield block.replace("\\e", "\\").replace("\\&", "")


def examples():
    """Each example with the page it is in."""
    for page in sorted(pathlib.Path(PAGES).glob("*.[157]")):
        text = page.read_text(encoding="utf-8")
        for part in re.findall(r"^\.Sh EXAMPLES\n(.*?)^\.Sh ", text, re.M | re.S):
            for lines in literal_blocks(part):
                lines = re.sub(r"\\\n\s*|(?<=\|)\n\s*", " ", lines)
                for line in filter(str.strip, lines.split("\n")):
                    yield page.name, line.strip()


class Examples(unittest.TestCase):
    def setUp(self):
        # Not below the logs' folder, which is small.
        self.home = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.home)
        os.chdir(self.home)
        os.environ["ANNAL_SEAL_KEY"] = str(self.home / "seal.key")
        self.make_logs()
        self.make_files()

    def make_logs(self):
        create_logs(self.home / "operations.db")
        for log, table, columns in (
            (LOGS / "event.log", "ANNAL_EVENT", "event_id, event_type, event_date, event_time"),
            (LOGS / "conn.log", "ANNAL_CONN", "conn_id, conn_type, conn_date, conn_time"),
            (LOGS / "notice.log", "ANNAL_NOTICE", "id, severity, time, endtime"),
            (self.home / "operations.db", "PAVO2LOG_EVENT", "event_id, event_type, event_date, event_time"),
        ):
            rows = [(1, 1), (2, 2), (4711, 1), (4712, 0)]
            when = (1795255200, 1795255200) if table == "ANNAL_NOTICE" else ("2026-11-21", "10:00:00")
            with sqlite3.connect(log) as database:
                database.executemany(f"INSERT INTO {table} ({columns}) VALUES (?, ?, ?, ?)", [(*row, *when) for row in rows])
                if table == "PAVO2LOG_EVENT":
                    database.execute(f"UPDATE {table} SET event_action = 4, event_filepath = '/share/photos/a.jpg'")
            database.close()

    def logs(self):
        """With the chains beside them."""
        return (*LOGS.iterdir(), *self.home.glob("operations.db*"))

    def make_files(self):
        listed = annalctl("fileop", "--db", "operations.db", "list", "--json")
        files = {
            "messages": AUTH,
            "auth.log": AUTH,
            "HDFS.log": HDFS,
            "notices.jsonl": annalctl("notice", "list", "--json"),
            "var-log/auth.log": AUTH,
            "var-log/dpkg.log": DPKG,
        }
        packed = {"var-log/auth.log.2.gz": AUTH, "var-log/dpkg.log.1.gz": DPKG, "operations.jsonl.gz": listed}
        commands = {
            "annalctl": f'exec {ANNALCTL} "$@"',
            "ssh": 'shift; exec "$@"',
            "journalctl": f"printf '%s' '{JOURNAL}'",
        }
        for folder in ("bin", "customer", "var-log", ".config/fish/completions", ".local/share/bash-completion/completions"):
            (self.home / folder).mkdir(parents=True)
        for name, text in files.items():
            (self.home / name).write_text(text, encoding="utf-8")
        for name, text in packed.items():
            (self.home / name).write_bytes(gzip.compress(text.encode()))
        for name, text in commands.items():
            (self.home / "bin" / name).write_text(f"#!/bin/sh\n{text}\n", encoding="utf-8")
            (self.home / "bin" / name).chmod(0o755)
        # Sealed logs, and their key.
        annalctl("seal")
        annalctl("seal", "--db", "operations.db")
        annalctl("seal", "event", "--heads", "heads")
        self.seeds = {path: path.read_bytes() for path in self.logs() if path.is_file()}
        # The device's notification command.
        NOTIFY.write_text("#!/bin/sh\n", encoding="utf-8")
        NOTIFY.chmod(0o755)
        for path in LOGS.glob("event.log*"):
            shutil.copy(path, "customer")
        shutil.copy("operations.db", "old.db")
        annalctl("fileop", "--db", "new.db", "create")

    def run_example(self, example):
        for path in self.logs():
            if path.is_file():
                path.unlink()
        for path, content in self.seeds.items() if " create" not in example else ():
            path.write_bytes(content)
        for there, here in ELSEWHERE:
            example = example.replace(there, here)
        program = example.replace("annalctl", "timeout --preserve-status -s INT 0.3 annalctl") if FOLLOWS.search(example) else example
        environment = {"PATH": f"{self.home}/bin:{os.environ['PATH']}", "HOME": str(self.home), "TZ": "UTC", "PAGER": "cat",
                       "ANNAL_SEAL_KEY": os.environ["ANNAL_SEAL_KEY"]}
        return subprocess.run(
            ["bash", "-o", "pipefail", "-c", program], capture_output=True, text=True, timeout=60, env=environment,
            stdin=subprocess.DEVNULL, check=False)

    def test_every_example_succeeds(self):
        found = list(examples())
        self.assertGreater(len(found), 120)
        self.assertGreater(len({page for page, _ in found}), 10)
        for page, example in found:
            with self.subTest(page=page, example=example):
                done = self.run_example(example)
                self.assertEqual((done.returncode, done.stderr if done.returncode else ""), (0, ""))


class Programs(unittest.TestCase):
    """What is shown in C is a declaration of the header, or one of its two examples."""

    # Header.ExampleListsEachEntryOnceByPagesWhileTheLogChanges and Trust.BatchCheck compile and run them.
    RUN = {"Corix_annal.3": "1", "Corix_annal_conn.3": "2"}

    def test_every_program_is_one_that_a_test_runs(self):
        interface = ROOT / "tests/interface"
        header = ROOT / "include/Corix_annal.h"
        declared = " ".join(re.sub(r"/\*.*?\*/", "", header.read_text(encoding="utf-8"), flags=re.S).split())
        found = {}
        for page in sorted(pathlib.Path(PAGES).glob("*.3")):
            for block in literal_blocks(page.read_text(encoding="utf-8")):
                if "{" in block and " ".join(block.split()) not in declared:
                    found[page.name] = block
        self.assertEqual(set(found), set(self.RUN))
        for page, number in self.RUN.items():
            example = subprocess.run([interface / "example_of.sh", header, number], capture_output=True, text=True, check=True)
            self.assertEqual(found[page].strip(), example.stdout.strip(), page)


if __name__ == "__main__":
    unittest.main()
