"""The examples of the package and of docs/python.md do what they say."""

from __future__ import annotations

import contextlib
import io
import re
import signal
import subprocess
import sys
import time
import unittest

import annal
from annal import ActionResult, Level, NewConnection
from support import SOURCES, ApplianceTest

EXAMPLES = SOURCES / "python" / "examples"


def run(name: str, *arguments: str, text: str = "") -> str:
    done = subprocess.run(
        [sys.executable, str(EXAMPLES / name), *arguments], input=text, capture_output=True, text=True, check=False
    )
    if done.returncode != 0:
        raise AssertionError(done.stderr)
    return done.stdout


class Examples(ApplianceTest):
    def test_recent_warnings(self) -> None:
        annal.events.create()
        annal.events.add("Volume 1 is nearly full.", level=Level.WARNING, app="Storage")
        annal.events.add("All is well.")
        self.assertRegex(run("recent_warnings.py"), r"^\d{4}-\d\d-\d\d [\d:]{8}  Storage: Volume 1 is nearly full.\n$")

    def test_failed_log_ins(self) -> None:
        annal.connections.create()
        for i in range(5):
            annal.connections.add(NewConnection(user="root", address=f"10.0.0.{i // 3}", result=ActionResult.FAILED))
        self.assertEqual(run("failed_log_ins.py"), "    3  10.0.0.0\n    2  10.0.0.1\n")

    def test_import_connections(self) -> None:
        annal.connections.create()
        names = ["admin,10.0.0.5,no", "x'); DROP TABLE ANNAL_CONN; --,10.0.0.6,yes", "x,nowhere,no"]
        printed = run("import_connections.py", text="\n".join(["user,address,failed", *names]))
        self.assertEqual(printed, "line 4: address is not an IPv4 or IPv6 address: 'nowhere'\n2 stored\n")
        self.assertEqual(
            [(row.user, row.result) for row in annal.connections.list()],
            [("x'); DROP TABLE ANNAL_CONN; --", ActionResult.FAILED), ("admin", ActionResult.SUCCEEDED)],
        )

    def test_logging_handler(self) -> None:
        run("logging_handler.py")
        self.assertEqual(
            [(event.level, event.app, event.message) for event in annal.events.list()],
            [(Level.ERROR, "backup", "Job 7 failed."), (Level.WARNING, "backup", "Job 7 is late.")],
        )

    def follows(self, name: str) -> None:
        annal.events.create()
        for number in (signal.SIGTERM, signal.SIGINT):
            annal.events.clear()
            program = [sys.executable, str(EXAMPLES / name)]
            with self.subTest(number), subprocess.Popen(program, stdout=subprocess.PIPE, text=True) as process:
                assert process.stdout is not None
                annal.events.add("Fan 1 failed.")
                self.assertIn("Fan 1 failed.", process.stdout.readline())
                annal.events.add("Fan 2 failed.")
                self.assertIn("Fan 2 failed.", process.stdout.readline())
                time.sleep(0.1)
                process.send_signal(number)
                try:
                    self.assertEqual(process.wait(30), 0)
                finally:
                    process.kill()

    def test_a_cancelled_task_ends_the_thread_that_follows(self) -> None:
        annal.events.create()
        annal.events.add("Fan 1 failed.")
        example = (EXAMPLES / "follow_with_asyncio.py").read_text().replace("asyncio.run(main())", "")
        cancels = """
async def cancelled() -> None:
    task = asyncio.create_task(main())
    await asyncio.sleep(0.5)
    task.cancel()

asyncio.run(cancelled())
"""
        done = subprocess.run([sys.executable, "-c", example + cancels], capture_output=True, timeout=30, check=False)
        self.assertEqual((done.returncode, done.stderr), (0, b""))

    def test_follow(self) -> None:
        self.follows("follow.py")

    def test_follow_with_asyncio(self) -> None:
        self.follows("follow_with_asyncio.py")

    def test_every_example_has_a_test(self) -> None:
        tested = {name.removeprefix("test_") + ".py" for name in dir(self) if name.startswith("test_")}
        self.assertLessEqual({path.name for path in EXAMPLES.glob("*.py")}, tested)


class Page(ApplianceTest):
    def test_its_examples_print_what_stands_below_them(self) -> None:
        page = (SOURCES / "docs" / "python.md").read_text()
        names: dict[str, object] = {}
        examples = re.findall(r"```python\n(.*?)```\n(?:\n```text\n(.*?)```\n)?", page, re.DOTALL)
        self.assertGreater(len(examples), 5)
        for source, expected in examples:
            with self.subTest(source):
                printed = io.StringIO()
                with contextlib.redirect_stdout(printed):
                    exec(compile(source, "docs/python.md", "exec"), names)
                # Dates are those of the day on which it was written.
                self.assertEqual(
                    re.sub(r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d", "TIME", printed.getvalue()),
                    re.sub(r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d", "TIME", expected),
                )


if __name__ == "__main__":
    unittest.main()
