#!/usr/bin/env python3
"""nats_say.py PORT AUTHORITY USER SUBJECT [BODY] [--field PATH] [--inbox SUBJECT]: a request to a NATS server on loopback.

Prints the answer, or one field of it such as cluster.leader. AUTHORITY is the certificate that signs the server's, or
"none" without TLS. The user's password is USER-word.
"""
import argparse
import json
import socket
import ssl
import sys

SECONDS = 10


def ask(port: int, authority: str, user: str, subject: str, body: bytes, inbox: str) -> bytes:
    plain = socket.create_connection(("localhost", port), timeout=SECONDS)
    plain.recv(65536)  # the greeting comes before TLS
    tls = authority != "none"
    with ssl.create_default_context(cafile=authority).wrap_socket(plain, server_hostname="localhost") if tls else plain as server:
        words = json.dumps({"verbose": False, "tls_required": tls, "user": user, "pass": f"{user}-word"})
        server.sendall(f"CONNECT {words}\r\nSUB {inbox}.say 1\r\nPUB {subject} {inbox}.say {len(body)}\r\n".encode() +
                       body + b"\r\n")
        answers = server.makefile("rb")
        while line := answers.readline():
            if line.startswith(b"MSG "):
                return answers.read(int(line.split()[-1]))
            if line.startswith(b"-ERR"):
                break
        raise OSError(f"no answer but {line.decode().strip()!r}")


def main() -> int:
    options = argparse.ArgumentParser()
    options.add_argument("port", type=int)
    options.add_argument("authority")
    options.add_argument("user")
    options.add_argument("subject")
    options.add_argument("body", nargs="?", default="")
    options.add_argument("--field")
    options.add_argument("--inbox", default="_INBOX", help="in front of the answer's subject")
    given = options.parse_args()
    try:
        answer = ask(given.port, given.authority, given.user, given.subject, given.body.encode(), given.inbox)
    except OSError as failure:
        print(failure, file=sys.stderr)
        return 1
    if given.field is None:
        print(answer.decode())
        return 0
    value = json.loads(answer)
    for name in given.field.split("."):
        value = value.get(name, {}) if isinstance(value, dict) else {}
    print(value or "")
    return 0 if value else 1


if __name__ == "__main__":
    sys.exit(main())
