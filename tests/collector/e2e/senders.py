"""What a sender sends: a report's text, the form around it, and the request."""

from __future__ import annotations

import base64
import os
import socket
import ssl
import uuid
from dataclasses import dataclass, field
from xml.sax.saxutils import escape, quoteattr

BOUNDARY = "AaB03x5fs1045fcc7"
# Seconds. Some sanitizers take longer.
PATIENCE = float(os.environ.get("PELTO_PATIENCE", "120"))


@dataclass
class Report:
    """A report; its text has the form in which a sender saves it."""

    installation: str = field(default_factory=lambda: str(uuid.uuid4()))
    commands: dict[str, tuple[int, int]] = field(default_factory=dict)  # name: (uses, order)
    file_types: dict[str, tuple[int, int]] = field(default_factory=dict)  # name: (opened, saved)
    machine: dict[tuple[str, str], str] = field(default_factory=dict)  # (category, name): value
    application: str = "Example Designer"
    version: str = "1.0.0.0"
    email: str = ""

    def text(self) -> str:
        lines = ["<PeltoRpt>", "    <cmd_stat>", "        <cmds>"]
        lines += [f'            <cmd id="{order}" name={quoteattr(name)} count="{uses}" />'
                  for name, (uses, order) in self.commands.items()]
        lines += ["        </cmds>", "    </cmd_stat>", "    <ftype_stat>", "        <ftypes>"]
        lines += [f'            <ftype name={quoteattr(name)} ocnt="{opened}" scnt="{saved}" />'
                  for name, (opened, saved) in self.file_types.items()]
        lines += ["        </ftypes>", "    </ftype_stat>", "    <sys_info>"]
        lines += [f"        <prop name={quoteattr(name)} cat={quoteattr(category)}>"
                  f"{escape(value)}</prop>"
                  for (category, name), value in self.machine.items()]
        lines += [f'        <prop name="ID">{escape(self.installation)}</prop>', "    </sys_info>",
                  "    <app_info>",
                  f'        <prop name="app_name">{escape(self.application)}</prop>',
                  f'        <prop name="app_ver">{escape(self.version)}</prop>', "    </app_info>"]
        if self.email:
            lines += ["    <cust_info>",
                      f'        <prop name="Email">{escape(self.email)}</prop>', "    </cust_info>"]
        return "\n".join([*lines, "</PeltoRpt>", ""])


def payload(report: bytes) -> bytes:
    """The form field of a report: Base64, the last byte twice."""
    return base64.b64encode(report + report[-1:])


def form(delivery: str, field_value: bytes) -> bytes:
    """The body of a request."""
    return b"".join([
        f"--{BOUNDARY}\r\nContent-disposition: form-data; name=\"Id\"\r\n\r\n{delivery}\r\n"
        f"--{BOUNDARY}\r\nContent-disposition: form-data; name=\"peltorpt\"\r\n\r\n".encode(),
        field_value, f"\r\n--{BOUNDARY}--\r\n".encode()])


def request(body: bytes, path: str = "/collect", host: str = "127.0.0.1") -> bytes:
    """The bytes of a sender's request."""
    return (f"POST {path} HTTP/1.1\r\nAccept: */*\r\nHost: {host}\r\n"
            f"Content-Length: {len(body)}\r\nUser-Agent: CrashRpt\r\nCache-Control: no-cache\r\n"
            f"Content-type: multipart/form-data; boundary={BOUNDARY}\r\n\r\n").encode() + body


def exchange(port: int, data: bytes, context: ssl.SSLContext | None = None) -> tuple[int, str]:
    """Sends bytes on a connection of their own; returns the status and the body of the response. An
    end of the connection without a response is a `ConnectionError`."""
    with socket.create_connection(("127.0.0.1", port), PATIENCE) as plain:
        plain.settimeout(PATIENCE)
        with (context.wrap_socket(plain, server_hostname="localhost") if context else plain) as link:
            link.sendall(data)
            return read_response(link)


def read_response(link: socket.socket) -> tuple[int, str]:
    """The status and the body of the next response, whose length its header tells."""
    received = b""
    while b"\r\n\r\n" not in received:
        received += receive(link)
    head, _, body = received.partition(b"\r\n\r\n")
    lines = head.decode("latin-1").split("\r\n")
    length = next(int(value) for name, _, value in (line.partition(":") for line in lines[1:])
                  if name.lower() == "content-length")
    while len(body) < length:
        body += receive(link)
    return int(lines[0].split()[1]), body.decode()


def receive(link: socket.socket) -> bytes:
    piece = link.recv(65536)
    if not piece:
        raise ConnectionError("the connection ended before the response did")
    return piece


def deliver(port: int, report: Report, delivery: str | None = None, path: str = "/collect",
            code_page: str = "cp1252", context: ssl.SSLContext | None = None) -> tuple[int, str]:
    """Sends a report as a sender does."""
    body = form(delivery or str(uuid.uuid4()), payload(report.text().encode(code_page)))
    return exchange(port, request(body, path), context)
