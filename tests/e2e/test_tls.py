"""End-to-end tests of uploads over TLS: certificates of a test authority, servers on port 443.

Every server stands on a loopback address of its own, whose well-known ports are free. The Wine
prefix is one of its own too: it trusts the test authority, and no other test should.
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
from unittest import mock

import harness
import test_upload
from collector import OK, Answer, Collector, Exchange, private_host, reply

HTTP_PORT = 80
TLS_PORT = 443
OPENSSL_TIMEOUT = 60.0
WINESERVERS = ("/usr/lib/wine/wineserver64", "/usr/lib/wine/wineserver", "wineserver")

ROOT_STORE = r"HKCU\Software\Microsoft\SystemCertificates\Root\Certificates"
# The property of a stored certificate that is the certificate itself.
CERT_CERT_PROP_ID = 32

# One address for all servers, which therefore stand there one after the other.
HOST = private_host()


class Authority:
    """A certificate authority that lives in a folder."""

    def __init__(self, folder: Path, name: str) -> None:
        self._folder = folder / name
        self._folder.mkdir()
        self._name = name
        self._serial = 0
        self.certificate = self._folder / "authority.pem"
        (self._folder / "index.txt").touch()
        (self._folder / "ca.cnf").write_text(
            "[ca]\ndefault_ca=here\n[here]\ndatabase=index.txt\nrand_serial=yes\nnew_certs_dir=.\n"
            "default_md=sha256\npolicy=any\nunique_subject=no\n[any]\ncommonName=supplied\n"
        )
        # RSA: each of its signatures has the same length. Of the elliptic curve's, Wine refuses those
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
        """The TLS side of a server with a fresh certificate of this authority."""
        self._serial += 1
        stem = f"server-{self._serial}"
        # A name that is an address stands as a name of the DNS: Wine compares only those.
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
        """The TLS side of a server that shows the authority's own, self-signed certificate."""
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
    would. The machine's own store stays as it is."""
    der = ssl.PEM_cert_to_DER_cert(certificate.read_text())
    blob = struct.pack("<III", CERT_CERT_PROP_ID, 1, len(der)) + der
    key = ROOT_STORE + "\\" + hashlib.sha1(der).hexdigest().upper()
    process = subprocess.Popen(
        ["wine", "reg", "add", key, "/v", "Blob", "/t", "REG_BINARY", "/d", blob.hex(), "/f"],
        env=harness.wine_environment(),
        stdin=subprocess.DEVNULL,
        stdout=subprocess.DEVNULL,
        stderr=subprocess.DEVNULL,
    )
    if harness.wait(process, harness.RUN_TIMEOUT) != 0:
        raise AssertionError("the test authority did not get into the root store")


def end_wine() -> None:
    """Ends the server of the prefix that is in use, and waits until it has let go of its files."""
    server = next((found for name in WINESERVERS if (found := shutil.which(name))), None)
    if server is None:
        raise AssertionError("no wineserver")
    for option in ("-k", "-w"):
        process = subprocess.Popen(
            [server, option], env=harness.wine_environment(), stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
        )
        harness.wait(process, harness.RUN_TIMEOUT)


TRUSTED: Authority
UNKNOWN: Authority
# A server with nothing amiss.
GOOD: ssl.SSLContext


def setUpModule() -> None:
    """Makes the authorities and the prefix that trusts one of them."""
    global TRUSTED, UNKNOWN, GOOD
    folder = Path(tempfile.mkdtemp(prefix="pelto-tls-"))
    unittest.addModuleCleanup(shutil.rmtree, folder)
    TRUSTED = Authority(folder, "trusted")
    UNKNOWN = Authority(folder, "unknown")
    GOOD = TRUSTED.server()
    prefix = mock.patch.object(harness, "WINE_PREFIX", folder / "prefix")
    prefix.start()
    unittest.addModuleCleanup(prefix.stop)
    unittest.addModuleCleanup(end_wine)
    harness.ensure_prefix()
    trust(TRUSTED.certificate)


class TlsTest(test_upload.UploadTest):
    """Runs against servers with one certificate or another."""

    def run_against(
        self, address: str, tls: ssl.SSLContext | None, port: int = TLS_PORT
    ) -> list[Exchange]:
        """One duty run; gives the connections that were made to the server on this port."""
        with Collector(OK, host=HOST, port=port, tls=tls) as server:
            self.duty(address)
            return server.finish()

    def assert_trusted(self, tls: ssl.SSLContext, address: str = f"https://{HOST}/collect") -> None:
        """A server with this certificate gets the report, inside TLS."""
        exchanges = self.run_against(address, tls)
        self.assertEqual(len(exchanges), 1)
        self.assertEqual(exchanges[0].tls_error, "")
        self.assertTrue(exchanges[0].is_secured)
        self.assertEqual(exchanges[0].raw.split(b"\r\n")[0], b"POST /collect HTTP/1.1")
        self.assert_form(exchanges[0], test_upload.sent(self.saved))
        self.assert_delivered()

    def assert_not_trusted(self, tls: ssl.SSLContext) -> None:
        """A server with this certificate gets not one byte of the request, and nothing is lost."""
        settings = self.box.settings_path.read_bytes()
        exchanges = self.run_against(f"https://{HOST}/collect", tls)
        self.assertNotEqual(exchanges, [])
        for exchange in exchanges:
            self.assertEqual(exchange.raw, b"")
        self.assert_nothing_lost(settings)
        # The certificate alone was at fault: the same address delivers with a good one.
        self.assert_trusted(GOOD)

    def assert_in_clear(self, address: str, port: int) -> None:
        """A server without TLS on this port gets the report."""
        exchanges = self.run_against(address, None, port)
        self.assertEqual(len(exchanges), 1)
        self.assertEqual(exchanges[0].raw.split(b"\r\n")[0], b"POST /collect HTTP/1.1")
        self.assert_form(exchanges[0], test_upload.sent(self.saved))
        self.assert_delivered()


class Certificate(TlsTest):
    """Which servers get the report."""

    def test_a_certificate_of_a_trusted_authority_delivers(self) -> None:
        self.assert_trusted(GOOD)

    def test_an_authority_that_is_not_known_loses_nothing(self) -> None:
        self.assert_not_trusted(UNKNOWN.server())

    def test_a_certificate_that_signs_itself_loses_nothing(self) -> None:
        self.assert_not_trusted(UNKNOWN.own_certificate())

    def test_a_certificate_that_is_over_loses_nothing(self) -> None:
        self.assert_not_trusted(
            TRUSTED.server(valid_from=timedelta(days=-30), valid_to=timedelta(days=-1))
        )

    def test_a_certificate_that_is_not_valid_yet_loses_nothing(self) -> None:
        self.assert_not_trusted(TRUSTED.server(valid_from=timedelta(days=2)))

    def test_a_certificate_for_clients_loses_nothing(self) -> None:
        self.assert_not_trusted(TRUSTED.server(purpose="clientAuth"))

    def test_a_certificate_of_another_name_loses_nothing(self) -> None:
        self.assert_not_trusted(TRUSTED.server(name="other.example"))

    def test_a_certificate_of_a_part_of_the_name_loses_nothing(self) -> None:
        self.assert_not_trusted(TRUSTED.server(name=HOST[: HOST.rindex(".")]))

    def test_a_refusal_inside_tls_loses_nothing(self) -> None:
        settings = self.box.settings_path.read_bytes()
        refusal = Answer(reply("500 Internal Server Error"))
        with Collector(refusal, host=HOST, port=TLS_PORT, tls=GOOD) as server:
            self.duty(f"https://{HOST}/collect")
            exchanges = server.finish()
        self.assertEqual(len(exchanges), 1)
        self.assert_form(exchanges[0], test_upload.sent(self.saved))
        self.assert_nothing_lost(settings)
        self.assert_trusted(GOOD)

    def test_a_large_report_goes_through_tls(self) -> None:
        self.use_large_report()
        self.assert_trusted(GOOD)

    def test_a_server_without_tls_on_the_port_of_tls_loses_nothing(self) -> None:
        settings = self.box.settings_path.read_bytes()
        blunt = Answer(reply("400 Bad Request", b"200"), is_blunt=True)
        # After a handshake that failed, the system tries once more with an older version of TLS.
        with Collector(blunt, blunt, host=HOST, port=TLS_PORT) as server:
            self.duty(f"https://{HOST}/collect")
            exchanges = server.finish()
        self.assertIn(len(exchanges), (1, 2))
        for exchange in exchanges:
            # A handshake record of TLS, and nothing of the request.
            self.assertEqual(exchange.raw[:2], b"\x16\x03")
            self.assertNotIn(b"POST", exchange.raw)
        self.assert_nothing_lost(settings)
        self.assert_trusted(GOOD)


class Port(TlsTest):
    """The port decides on TLS, and not the scheme."""

    def test_https_with_port_443_goes_with_tls(self) -> None:
        self.assert_trusted(GOOD, f"https://{HOST}:443/collect")

    def test_http_with_port_443_goes_with_tls(self) -> None:
        self.assert_trusted(GOOD, f"http://{HOST}:443/collect")

    def test_no_scheme_with_port_443_goes_with_tls(self) -> None:
        self.assert_trusted(GOOD, f"{HOST}:443/collect")

    def test_https_with_port_8443_goes_without_tls(self) -> None:
        self.assert_in_clear(f"https://{HOST}:8443/collect", 8443)

    def test_a_scheme_in_capitals_goes_without_tls(self) -> None:
        self.assert_in_clear(f"HTTPS://{HOST}/collect", HTTP_PORT)

    def test_http_without_a_port_goes_without_tls(self) -> None:
        self.assert_in_clear(f"http://{HOST}/collect", HTTP_PORT)


if __name__ == "__main__":
    unittest.main()
