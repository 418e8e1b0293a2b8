"""Corix_annal_files(5) says of each log's table what the library makes."""
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


class FilesPage(unittest.TestCase):
    def test_columns_are_those_of_the_tables(self):
        create_logs(FILEOP)
        page = pathlib.Path(PAGES, "Corix_annal_files.5").read_text(encoding="utf-8")
        described = {}
        for part in page.split("\n.Ss ")[1:]:
            table = re.search(r"^\.Li (\w+) \.$", part, re.M)
            if table:
                described[table.group(1)] = re.findall(r"^\.It Va (\w+) (INTEGER|TEXT)$", part, re.M)
                if table.group(1) != "PAVO2LOG_EVENT":
                    self.assertIn(f".Pa {FILES[table.group(1)]} ,", part)
        self.assertEqual(set(described), set(FILES))
        for table, file in FILES.items():
            with sqlite3.connect(f"file:{file}?mode=ro", uri=True) as log:
                columns = [(row[1], row[2]) for row in log.execute(f"PRAGMA table_info({table})")]
                self.assertEqual(described[table], columns, table)
                for pragma, value in (("journal_mode", "delete"), ("encoding", "UTF-8"), ("user_version", 0)):
                    self.assertEqual(log.execute(f"PRAGMA {pragma}").fetchone()[0], value, table)


if __name__ == "__main__":
    unittest.main()
