"""End-to-end tests of uploads over TLS: certificates of a test authority, servers on port 443.

The servers use a random loopback address, whose well-known ports are free. The Wine prefix is a
copy that trusts the test authority.
"""

from __future__ import annotations

import hashlib
import shutil
import ssl
import struct
import subprocess
import tempfile
import unittest
from datetime import datetime, timedelta, timezone
from pathlib import Path
from typing import ClassVar

import documents
import harness
import test_upload
from collector import OK, Answer, Collector, Exchange, private_host, reply

HTTP_PORT = 80
TLS_PORT = 443
OPENSSL_TIMEOUT = 60.0

ROOT_STORE = r"HKCU\Software\Microsoft\SystemCertificates\Root\Certificates"
# The property of a stored certificate that holds the certificate itself.
CERT_CERT_PROP_ID = 32

# One address for all servers, which listen there one after the other.
HOST = private_host()


class Authority:
    """A certificate authority in a folder."""

    def __init__(self, folder: Path, name: str) -> None:
        self._folder = folder / name
        self._folder.mkdir()
        self._serial = 0
        self.certificate = self._folder / "authority.pem"
        (self._folder / "index.txt").touch()
        (self._folder / "ca.cnf").write_text(
            "[ca]\ndefault_ca=here\n[here]\ndatabase=index.txt\nrand_serial=yes\nnew_certs_dir=.\n"
            "default_md=sha256\npolicy=any\nunique_subject=no\n[any]\ncommonName=supplied\n"
        )
        # RSA signatures have one length. Of those over an elliptic curve, Wine refuses the ones
        # whose numbers begin with a zero byte, about one in 128.
        self._openssl(
            "req", "-x509", "-newkey", "rsa:2048", "-nodes",
            "-keyout", "authority.key", "-out", "authority.pem", "-days", "30",
            "-subj", f"/CN=Test authority {name}",
            "-addext", "keyUsage=critical,keyCertSign,cRLSign",
        )

    def server(
        self,
        name: str = HOST,
        valid_from: timedelta = timedelta(days=-1),
        valid_to: timedelta = timedelta(days=30),
        purpose: str = "serverAuth",
    ) -> ssl.SSLContext:
        """The TLS context of a server with a new certificate of this authority."""
        self._serial += 1
        stem = f"server-{self._serial}"
        # An address is given as a DNS name: Wine compares only those.
        (self._folder / f"{stem}.ext").write_text(
            f"subjectAltName=DNS:{name}\nbasicConstraints=CA:FALSE\n"
            f"keyUsage=digitalSignature\nextendedKeyUsage={purpose}\n"
        )
        self._openssl(
            "req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
            "-keyout", f"{stem}.key", "-out", f"{stem}.csr", "-subj", f"/CN={name}",
        )
        now = datetime.now(timezone.utc)
        self._openssl(
            "ca", "-batch", "-config", "ca.cnf", "-cert", "authority.pem",
            "-keyfile", "authority.key", "-in", f"{stem}.csr", "-out", f"{stem}.pem",
            "-notext", "-extfile", f"{stem}.ext",
            "-startdate", (now + valid_from).strftime("%Y%m%d%H%M%SZ"),
            "-enddate", (now + valid_to).strftime("%Y%m%d%H%M%SZ"),
        )
        return self._context(f"{stem}.pem", f"{stem}.key")

    def own_certificate(self) -> ssl.SSLContext:
        """The TLS context of a server with the authority's own, self-signed certificate."""
        return self._context("authority.pem", "authority.key")

    def _context(self, certificate: str, key: str) -> ssl.SSLContext:
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(self._folder / certificate, self._folder / key)
        return context

    def _openssl(self, *args: str) -> None:
        made = subprocess.run(
            ["openssl", *args], cwd=self._folder, stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, timeout=OPENSSL_TIMEOUT,
            check=False,
        )
        if made.returncode != 0:
            raise AssertionError(f"openssl {args[0]}: {made.stderr.decode('utf-8', 'replace')}")


def trust(certificate: Path) -> None:
    """Puts an authority into the root store of the prefix's user, as its certificate manager
    would."""
    der = ssl.PEM_cert_to_DER_cert(certificate.read_text())
    blob = struct.pack("<III", CERT_CERT_PROP_ID, 1, len(der)) + der
    key = ROOT_STORE + "\\" + hashlib.sha1(der).hexdigest().upper()
    harness.set_registry(key, "Blob", blob.hex(), kind="REG_BINARY")


class Tls(test_upload.UploadTest):
    """Which servers get the report, and when TLS is used."""

    trusted: ClassVar[Authority]
    unknown: ClassVar[Authority]
    # A server with nothing wrong.
    good: ClassVar[ssl.SSLContext]

    @classmethod
    def setUpClass(cls) -> None:
        folder = Path(tempfile.mkdtemp(prefix="pelto-tls-"))
        cls.addClassCleanup(shutil.rmtree, folder)
        cls.trusted = Authority(folder, "trusted")
        cls.unknown = Authority(folder, "unknown")
        cls.good = cls.trusted.server()
        cls.enterClassContext(harness.own_prefix())
        trust(cls.trusted.certificate)

    def run_against(
        self, address: str, tls: ssl.SSLContext | None, *answers: Answer, port: int = TLS_PORT
    ) -> list[Exchange]:
        """One run against the server on this port; returns the connections to it."""
        with Collector(*answers or (OK,), host=HOST, port=port, tls=tls) as server:
            self.duty(address)
            return server.finish()

    def assert_arrived(self, exchanges: list[Exchange]) -> None:
        """One connection delivered the report."""
        self.assertEqual(len(exchanges), 1)
        self.assertEqual(exchanges[0].tls_error, "")
        self.assertEqual(exchanges[0].request_line, b"POST /collect HTTP/1.1")
        self.assert_delivered(exchanges)

    def assert_trusted(self, tls: ssl.SSLContext, address: str = f"https://{HOST}/collect") -> None:
        """A server with this certificate gets the report, inside TLS."""
        exchanges = self.run_against(address, tls)
        self.assert_arrived(exchanges)
        self.assertTrue(exchanges[0].is_secured)

    def assert_not_trusted(self, tls: ssl.SSLContext) -> None:
        """A server with this certificate gets no byte of the request, and nothing is lost."""
        settings = self.box.settings_path.read_bytes()
        exchanges = self.run_against(f"https://{HOST}/collect", tls)
        self.assertNotEqual(exchanges, [])
        for exchange in exchanges:
            self.assertEqual(exchange.raw, b"")
        self.assert_nothing_lost(settings)
        # Only the certificate was at fault: the same address delivers with a good one.
        self.assert_trusted(self.good)

    def assert_in_clear(self, address: str, port: int) -> None:
        """A server without TLS on this port gets the report."""
        self.assert_arrived(self.run_against(address, None, port=port))


    def test_a_certificate_of_a_trusted_authority_delivers(self) -> None:
        self.assert_trusted(self.good)

    def test_a_certificate_that_does_not_fit_loses_nothing(self) -> None:
        day = timedelta(days=1)
        for about, certificate in (
            ("of an unknown authority", self.unknown.server()),
            ("signed by itself", self.unknown.own_certificate()),
            ("expired", self.trusted.server(valid_from=-30 * day, valid_to=-day)),
            ("not valid yet", self.trusted.server(valid_from=2 * day)),
            ("for clients", self.trusted.server(purpose="clientAuth")),
            ("of another name", self.trusted.server(name="other.example")),
            ("of a part of the name", self.trusted.server(name=HOST[: HOST.rindex(".")])),
        ):
            with self.case(about):
                self.assert_not_trusted(certificate)

    def test_a_refusal_inside_tls_loses_nothing(self) -> None:
        settings = self.box.settings_path.read_bytes()
        refusal = Answer(reply("500 Internal Server Error"))
        exchanges = self.run_against(f"https://{HOST}/collect", self.good, refusal)
        self.assertEqual(len(exchanges), 1)
        self.assert_form(exchanges[0], documents.sent(self.saved))
        self.assert_nothing_lost(settings)
        self.assert_trusted(self.good)

    def test_a_large_report_goes_through_tls(self) -> None:
        self.use_large_report()
        self.assert_trusted(self.good)

    def test_a_server_without_tls_on_the_port_of_tls_loses_nothing(self) -> None:
        settings = self.box.settings_path.read_bytes()
        blunt = Answer(reply("400 Bad Request", b"200"), is_blunt=True)
        # After a failed handshake, the system tries once more with an older version of TLS.
        exchanges = self.run_against(f"https://{HOST}/collect", None, blunt, blunt)
        self.assertIn(len(exchanges), (1, 2))
        for exchange in exchanges:
            # A handshake record of TLS, and nothing of the request.
            self.assertEqual(exchange.raw[:2], b"\x16\x03")
            self.assertNotIn(b"POST", exchange.raw)
        self.assert_nothing_lost(settings)
        self.assert_trusted(self.good)

    # The port decides, and not the scheme (docs/compatibility.md, 42).
    def test_http_with_port_443_goes_with_tls(self) -> None:
        for address in (f"http://{HOST}:443/collect", f"https://{HOST}:443/collect",
                        f"{HOST}:443/collect"):
            with self.case(address):
                self.assert_trusted(self.good, address)

    def test_https_with_another_port_goes_without_tls(self) -> None:
        for address, port in (
            (f"https://{HOST}:8443/collect", 8443),
            (f"HTTPS://{HOST}/collect", HTTP_PORT),
            (f"http://{HOST}/collect", HTTP_PORT),
        ):
            with self.case(address):
                self.assert_in_clear(address, port)


if __name__ == "__main__":
    unittest.main(verbosity=2)
