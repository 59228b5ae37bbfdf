#!/usr/bin/env python3
"""A collection server on loopback that records raw requests and sends scripted answers.

As a program: `collector.py --answers OK,REFUSE --out FOLDER` prints its port on the first line,
sends each answer on a connection of its own, writes what it received into FOLDER and ends.
"""

from __future__ import annotations

import argparse
import base64
import enum
import random
import re
import socket
import ssl
import struct
import sys
import threading
import time
from collections.abc import Sequence
from contextlib import AbstractContextManager
from dataclasses import dataclass, field
from pathlib import Path

LOOPBACK = "127.0.0.1"

# No test may hang on a client that stops talking.
PATIENCE = 60.0
DRAIN_PATIENCE = 5.0
PIECE = 1 << 20


def reply(
    status: str = "200 OK", body: bytes = b"", headers: Sequence[str] = (), length: bool = True
) -> bytes:
    """An ordinary answer; without `length` the end of the connection ends its body."""
    lines = [f"HTTP/1.1 {status}", "Content-Type: text/plain", "Connection: close", *headers]
    if length:
        lines.append(f"Content-Length: {len(body)}")
    return "\r\n".join([*lines, "", ""]).encode("latin-1") + body


def chunked_reply(*chunks: bytes, status: str = "200 OK") -> bytes:
    """An answer with a body in these chunks."""
    head = f"HTTP/1.1 {status}\r\nTransfer-Encoding: chunked\r\nConnection: close\r\n\r\n"
    pieces = [b"%x\r\n%s\r\n" % (len(chunk), chunk) for chunk in chunks]
    return head.encode("ascii") + b"".join(pieces) + b"0\r\n\r\n"


class Ending(enum.Enum):
    """What follows the answer on its connection."""

    CLOSE = "the rest of the request is read, then the connection is closed"
    RESET = "the connection is reset at once"
    HOLD = "the connection stays open until the server releases it"


@dataclass(frozen=True)
class Answer:
    """What the server does with one connection.

    It reads the request's head and `body_limit` bytes of its body (None: all that the head
    declares), waits for `delay` seconds, sends `data` as it is, and then does what `ending` says.
    A blunt answer follows the first bytes that arrive, whatever they are.
    """

    data: bytes = b""
    body_limit: int | None = None
    delay: float = 0.0
    ending: Ending = Ending.CLOSE
    is_blunt: bool = False


OK = Answer(reply())
REFUSE = Answer(reply("500 Internal Server Error", b"Try again later."))
NAMED_ANSWERS = {"OK": OK, "REFUSE": REFUSE}


class RequestError(Exception):
    """A request in an unexpected form."""


@dataclass
class Exchange:
    """One connection to the server's port: all bytes that arrived, inside TLS if the server speaks
    it, and the errors."""

    port: int
    received: bytearray = field(default_factory=bytearray)
    # Of a TLS server only: whether the handshake was completed, and its error.
    is_secured: bool = False
    tls_error: str = ""
    # What ended the reading early: a reset, or a client that sent nothing more.
    read_error: str = ""

    @property
    def raw(self) -> bytes:
        """All bytes that the client sent."""
        return bytes(self.received)

    @property
    def request_line(self) -> bytes:
        """The first line."""
        return self.raw.split(b"\r\n")[0]

    @property
    def head(self) -> bytes:
        """The request line and the header lines, with the empty line that ends them."""
        end = self.received.find(b"\r\n\r\n")
        if end < 0:
            raise RequestError(f"no end of the head in {self.received[:200]!r}")
        return bytes(self.received[: end + 4])

    @property
    def body(self) -> bytes:
        """Everything after the head."""
        return bytes(self.received[len(self.head):])

    @property
    def declared_length(self) -> int:
        """The body's length as the head declares it."""
        return declared_length(self.head)

    def form(self) -> list[tuple[str, bytes]]:
        """The fields of a multipart form, in their order; any other byte is an error."""
        return parse_form(self.head, self.body)

    def payload(self) -> bytes:
        """The decoded report."""
        return base64.b64decode(dict(self.form())["peltorpt"], validate=True)


def declared_length(head: bytes) -> int:
    """The value of the one Content-Length line; without one the body is empty."""
    values = re.findall(rb"\r\ncontent-length: *(\d+)\r\n", head, re.IGNORECASE)
    if len(values) > 1:
        raise RequestError(f"{len(values)} lengths in {head!r}")
    return int(values[0]) if values else 0


def parse_form(head: bytes, body: bytes) -> list[tuple[str, bytes]]:
    """Splits a form of text fields, strictly."""
    declared = re.search(
        rb"\r\ncontent-type: multipart/form-data; boundary=([^\r\n]+)\r\n", head, re.IGNORECASE
    )
    if declared is None:
        raise RequestError(f"no multipart form: {head!r}")
    delimiter = b"--" + declared[1]
    parts = body.split(delimiter)
    if len(parts) < 2 or parts[0] != b"" or parts[-1] != b"--\r\n":
        raise RequestError(f"the form begins {body[:80]!r} and ends {body[-80:]!r}")
    fields = []
    for part in parts[1:-1]:
        header = re.match(
            rb"\r\nContent-disposition: form-data; name=\"([^\"\r\n]*)\"\r\n\r\n", part
        )
        if header is None or not part.endswith(b"\r\n", header.end()):
            raise RequestError(f"a field begins {part[:80]!r} and ends {part[-80:]!r}")
        fields.append((header[1].decode("ascii"), part[header.end():-2]))
    return fields


class Collector(AbstractContextManager["Collector"]):
    """A server that sends the n-th answer on the n-th connection, and closes any further one.

    With a TLS context it speaks TLS. It records every connection, also one that sent nothing.
    """

    def __init__(
        self,
        *answers: Answer,
        host: str = LOOPBACK,
        port: int = 0,
        tls: ssl.SSLContext | None = None,
    ) -> None:
        self._answers = answers
        self._tls = tls
        self._exchanges: list[Exchange] = []
        self._threads: list[threading.Thread] = []
        self._progress = threading.Condition()
        self._released = threading.Event()
        self._is_stopping = False
        self._listener = socket.create_server((host, port), backlog=64)
        self._address = self._listener.getsockname()
        self._acceptor = threading.Thread(target=self._accept_all, daemon=True)
        self._acceptor.start()

    def __exit__(self, *error: object) -> None:
        self.finish()

    @property
    def port(self) -> int:
        """The port on which this server listens."""
        return int(self._address[1])

    @property
    def host(self) -> str:
        """The loopback address on which this server listens."""
        return str(self._address[0])

    @property
    def url(self) -> str:
        """An address that reaches this server."""
        return f"http://{self.host}:{self.port}/collect"

    def release(self) -> None:
        """Closes the connections that are held open."""
        self._released.set()

    def wait_for_text(self, text: bytes, timeout: float = PATIENCE) -> None:
        """Returns once a connection has sent bytes that end in `text`."""
        with self._progress:
            arrived = self._progress.wait_for(
                lambda: any(each.received.endswith(text) for each in self._exchanges), timeout
            )
        if not arrived:
            raise AssertionError(f"{text!r} did not arrive within {timeout} s")

    def finish(self) -> list[Exchange]:
        """Stops the server; returns every connection that was made, in their order."""
        if not self._is_stopping:
            self._is_stopping = True
            self._listener.shutdown(socket.SHUT_RDWR)
            self._acceptor.join(PATIENCE)
            self._listener.close()
        self.release()
        for thread in self._threads:
            thread.join(2 * PATIENCE)
            if thread.is_alive():
                raise AssertionError("a connection of the collection server did not end")
        return self._exchanges

    def wait_served(self, timeout: float) -> bool:
        """Waits until every answer has been sent; returns whether that was in time."""
        deadline = time.monotonic() + timeout
        with self._progress:
            if not self._progress.wait_for(
                lambda: len(self._exchanges) >= len(self._answers), timeout
            ):
                return False
        for thread in self._threads[: len(self._answers)]:
            thread.join(max(deadline - time.monotonic(), 0.0))
        return not any(thread.is_alive() for thread in self._threads)

    def _accept_all(self) -> None:
        while True:
            try:
                connection, _ = self._listener.accept()
            except OSError:
                return
            self._begin(connection)

    def _begin(self, connection: socket.socket) -> None:
        exchange = Exchange(self.port)
        with self._progress:
            number = len(self._exchanges)
            # An unexpected connection is closed at once, so that nothing waits for it.
            is_expected = number < len(self._answers)
            answer = self._answers[number] if is_expected else Answer(is_blunt=True)
            thread = threading.Thread(
                target=self._serve, args=(connection, answer, exchange), daemon=True
            )
            self._threads.append(thread)
            self._exchanges.append(exchange)
            # Started before the notification: a thread that is joined must have begun.
            thread.start()
            self._progress.notify_all()

    def _serve(self, connection: socket.socket, answer: Answer, exchange: Exchange) -> None:
        connection.settimeout(PATIENCE)
        try:
            if self._tls is not None:
                connection = self._tls.wrap_socket(connection, server_side=True)
                exchange.is_secured = True
            self._converse(connection, answer, exchange)
        except ssl.SSLError as error:
            exchange.tls_error = str(error)
        except (OSError, RequestError) as error:
            exchange.read_error = f"{type(error).__name__}: {error}"
        finally:
            connection.close()

    def _converse(self, connection: socket.socket, answer: Answer, exchange: Exchange) -> None:
        if answer.is_blunt:
            self._read_piece(connection, exchange, PIECE)
            connection.sendall(answer.data)
            self._part(connection, exchange)
            return
        self._read_head(connection, exchange)
        whole = len(exchange.head) + exchange.declared_length
        target = whole
        if answer.body_limit is not None:
            target = min(whole, len(exchange.head) + answer.body_limit)
        self._read_to(connection, exchange, target)
        time.sleep(answer.delay)
        connection.sendall(answer.data)
        if answer.ending is Ending.RESET:
            # With a linger time of 0 the close is a reset.
            connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
            return
        if answer.ending is Ending.HOLD:
            self._released.wait(PATIENCE)
            return
        self._read_to(connection, exchange, whole)
        self._part(connection, exchange)

    def _read_head(self, connection: socket.socket, exchange: Exchange) -> None:
        while b"\r\n\r\n" not in exchange.received:
            # Few bytes at a time, so that a reset in the middle of the body finds unread ones.
            self._read_piece(connection, exchange, 256)

    def _read_to(self, connection: socket.socket, exchange: Exchange, count: int) -> None:
        while len(exchange.received) < count:
            self._read_piece(connection, exchange, min(count - len(exchange.received), PIECE))

    def _read_piece(self, connection: socket.socket, exchange: Exchange, limit: int) -> None:
        piece = connection.recv(limit)
        if not piece:
            raise RequestError("the client closed the connection before the end of its request")
        with self._progress:
            exchange.received += piece
            self._progress.notify_all()

    def _part(self, connection: socket.socket, exchange: Exchange) -> None:
        """Closes this side first and waits for the other: a close with unread bytes is a reset,
        which could overtake the answer. Bytes after the declared length are recorded too."""
        connection.settimeout(DRAIN_PATIENCE)
        try:
            if isinstance(connection, ssl.SSLSocket):
                connection = connection.unwrap()
            connection.shutdown(socket.SHUT_WR)
            while piece := connection.recv(PIECE):
                exchange.received += piece
        except OSError:
            pass  # The answer has been sent; how the client closes does not matter.


def private_host() -> str:
    """A random loopback address, whose well-known ports are therefore free."""
    return f"127.{random.randint(1, 254)}.{random.randint(0, 255)}.{random.randint(1, 254)}"


def unused_port(host: str = LOOPBACK) -> socket.socket:
    """A socket bound to a port without listening: connections to the port are refused until the
    socket is closed."""
    holder = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
    holder.bind((host, 0))
    return holder


def write_received(folder: Path, exchanges: Sequence[Exchange]) -> None:
    """Writes each request, and the report in it, into files of their own."""
    folder.mkdir(parents=True, exist_ok=True)
    for number, exchange in enumerate(exchanges, 1):
        (folder / f"request-{number}.txt").write_bytes(exchange.raw)
        (folder / f"report-{number}.xml").write_bytes(exchange.payload())


def main() -> int:
    """The server as a program."""
    parser = argparse.ArgumentParser(description="A collection server on loopback.")
    parser.add_argument("--answers", default="OK", help="names by comma: "
                        + ", ".join(NAMED_ANSWERS))
    parser.add_argument("--out", type=Path, required=True, help="folder for what arrives")
    parser.add_argument("--timeout", type=float, default=600.0, help="seconds to wait at most")
    arguments = parser.parse_args()
    names = arguments.answers.split(",")
    unknown = [name for name in names if name not in NAMED_ANSWERS]
    if unknown:
        parser.error(f"no such answer: {', '.join(unknown)}")
    with Collector(*(NAMED_ANSWERS[name] for name in names)) as server:
        print(server.port, flush=True)
        is_served = server.wait_served(arguments.timeout)
        exchanges = server.finish()
    if not is_served:
        print("fewer connections than answers", file=sys.stderr)
    try:
        write_received(arguments.out, exchanges)
    except (RequestError, KeyError, ValueError) as error:
        print(f"not the form of a report: {error}", file=sys.stderr)
        return 1
    return 0 if is_served else 1


if __name__ == "__main__":
    sys.exit(main())
