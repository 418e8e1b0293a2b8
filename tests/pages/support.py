"""annalctl as a program, for tests of what is made from it."""
import os
import subprocess

ANNALCTL = os.environ["ANNALCTL"]
PAGES = os.environ["ANNAL_PAGES"]


def annalctl(*words, status=0):
    done = subprocess.run([ANNALCTL, *words], capture_output=True, text=True, timeout=60, check=False)
    assert done.returncode == status, (words, done.returncode, done.stderr)
    return done.stdout


def create_logs(fileop):
    for log in (["event"], ["conn"], ["notice"], ["fileop", "--db", fileop]):
        annalctl(*log, "create")
