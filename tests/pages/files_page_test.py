"""Corix_annal_files(5) says of each log's table what the library makes."""
import contextlib
import pathlib
import re
import sqlite3
import unittest

from support import PAGES, create_logs

FILEOP = "/etc/logs/operations.db"
FILES = {
    "ANNAL_EVENT": "/etc/logs/event.log",
    "ANNAL_CONN": "/etc/logs/conn.log",
    "ANNAL_NOTICE": "/etc/logs/notice.log",
    "PAVO2LOG_EVENT": FILEOP,
}


def described():
    """The part of the page about each table."""
    page = pathlib.Path(PAGES, "Corix_annal_files.5").read_text(encoding="utf-8")
    parts = ((re.search(r"^\.Li (\w+) \.$", part, re.M), part) for part in page.split("\n.Ss ")[1:])
    return {table.group(1): part for table, part in parts if table}


def columns_of(part):
    return re.findall(r"^\.It Va (\w+) (INTEGER|TEXT)$", part, re.M)


class FilesPage(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        create_logs(FILEOP)
        cls.page = described()

    def logs(self):
        """Each table with what the page says of it, and its file."""
        self.assertEqual(set(self.page), set(FILES))
        for table, file in FILES.items():
            with contextlib.closing(sqlite3.connect(f"file:{file}?mode=ro", uri=True)) as log:
                yield table, self.page[table], log

    def test_columns_are_those_of_the_tables(self):
        for table, part, log in self.logs():
            columns = [(row[1], row[2]) for row in log.execute(f"PRAGMA table_info({table})")]
            self.assertEqual(columns_of(part), columns, table)
            if table != "PAVO2LOG_EVENT":
                self.assertIn(f".Pa {FILES[table]} ,", part)

    def test_files_are_as_they_are_said_to_be(self):
        for table, _, log in self.logs():
            for pragma, value in (("journal_mode", "delete"), ("encoding", "UTF-8"), ("user_version", 0)):
                self.assertEqual(log.execute(f"PRAGMA {pragma}").fetchone()[0], value, (table, pragma))

    def test_indexes_are_those_of_the_tables(self):
        for table, part, log in self.logs():
            without = re.findall(r"^\.Va (\w+)", part.split("\nNo index:\n")[1].split("\nTrigger:\n")[0], re.M)
            self.assertLessEqual(set(without), {name for name, _ in columns_of(part)}, table)
            said = {f"idx_{name}": [name] for name, _ in columns_of(part) if name not in without}
            # The primary key's own has no statement.
            names = [row[0] for row in log.execute("SELECT name FROM sqlite_master WHERE type = 'index' AND sql IS NOT NULL")]
            self.assertEqual(said, {name: [row[2] for row in log.execute(f"PRAGMA index_info({name})")] for name in names},
                             table)

    def test_triggers_are_those_of_the_tables(self):
        for table, part, log in self.logs():
            said = part.split("\nTrigger:\n")[1]
            triggers = dict(log.execute("SELECT name, sql FROM sqlite_master WHERE type = 'trigger'"))
            self.assertEqual(list(triggers), re.findall(r"^\.Li (\w+) ,$", said, re.M), table)
            order = re.findall(r"ORDER BY (.*?)\s+LIMIT", *triggers.values())
            self.assertEqual(order, [", ".join(re.findall(r"^\.Va (\w+)", said, re.M))], table)


if __name__ == "__main__":
    unittest.main()
