"""Where new versions come from: a web server with an authority of its own, and a maintainer's key."""

import base64
import http.server
import ssl
import subprocess
import threading

from waiting import eventually

_FEED = """\
<?xml version="1.0" encoding="utf-8"?>
<rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle">
  <channel>
    <item>
      <sparkle:version>{version}</sparkle:version>
      <description>Draws everything twice as well.</description>
      <enclosure url="/bleedwise.deb" sparkle:os="linux" type="application/octet-stream"
                 length="{length}" sparkle:edSignature="{signature}"/>
    </item>
  </channel>
</rss>
"""
_EC = ("-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes")
_PUBLIC_KEY_LENGTH = 32  # the last bytes of its DER form (RFC 8410)


class UpdateServer:
    """Serves from the beginning to the end of its `with` block."""

    def __init__(self, desktop):
        self._folder = desktop.folder / "update-server"
        self._folder.mkdir()
        self._pages = {}
        self._held = set()
        self._released = threading.Event()
        self.requests = []
        self._make_keys()

    def __enter__(self):
        server = self

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                server._answer(self)

            def log_message(self, *_):
                pass

        self._http = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self._http.daemon_threads = True
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(self._folder / "server.pem", self._folder / "server.key")
        self._http.socket = context.wrap_socket(self._http.socket, server_side=True)
        threading.Thread(target=self._http.serve_forever, daemon=True).start()
        return self

    def __exit__(self, *_):
        self._released.set()
        self._http.shutdown()
        self._http.server_close()

    @property
    def authority(self):
        """The file of its certificate."""
        return self._folder / "authority.pem"

    @property
    def information(self):
        """What a release that updates itself from here has in its information dictionary."""
        return {"SUFeedURL": f"{self.address}/feed.xml",
                "SUPublicEDKey": self._public_key}

    @property
    def address(self):
        return f"https://localhost:{self._http.server_port}"

    def offer(self, version, package=b"a package", signed=None):
        """A version, with a signature of its package or of something else."""
        signature = self._sign(package if signed is None else signed)
        self._pages["/bleedwise.deb"] = package
        self._pages["/feed.xml"] = _FEED.format(
            version=version, length=len(package), signature=signature).encode()

    def publish(self, feed, path, package=b"a package"):
        """A feed, after LENGTH and SIGNATURE in it have been replaced, and its package."""
        self._pages[path] = package
        self._pages["/feed.xml"] = feed.replace("LENGTH", str(len(package))).replace(
            "SIGNATURE", self._sign(package)).encode()

    def hold(self, path):
        """Sends only the first half of what is there, and keeps the rest."""
        self._held.add(path)

    def await_request(self, path):
        eventually(lambda: path in self.requests, f"a request for {path}")

    def _answer(self, request):
        self.requests.append(request.path)
        page = self._pages[request.path]
        request.send_response(200)
        request.send_header("Content-Length", str(len(page)))
        request.end_headers()
        if request.path in self._held:
            request.wfile.write(page[:len(page) // 2])
            self._released.wait()
        else:
            request.wfile.write(page)

    def _sign(self, package):
        (self._folder / "package").write_bytes(package)
        return _base64(self._openssl("pkeyutl", "-sign", "-rawin", "-inkey",
                                     self._folder / "key.pem", "-in", self._folder / "package"))

    def _make_keys(self):
        folder = self._folder
        self._openssl("req", "-x509", *_EC, "-subj", "/CN=Authority of one test", "-days", "1",
                      "-keyout", folder / "authority.key", "-out", self.authority)
        self._openssl("req", *_EC, "-subj", "/CN=server", "-keyout", folder / "server.key",
                      "-out", folder / "server.csr")
        (folder / "extensions").write_text("subjectAltName=DNS:localhost\n")
        self._openssl("x509", "-req", "-in", folder / "server.csr", "-CA", self.authority,
                      "-CAkey", folder / "authority.key", "-CAcreateserial", "-days", "1",
                      "-extfile", folder / "extensions", "-out", folder / "server.pem")
        self._openssl("genpkey", "-algorithm", "ed25519", "-out", folder / "key.pem")
        public = self._openssl("pkey", "-in", folder / "key.pem", "-pubout", "-outform", "DER")
        self._public_key = _base64(public[-_PUBLIC_KEY_LENGTH:])

    def _openssl(self, *arguments):
        return subprocess.run(["openssl", *arguments], check=True, capture_output=True).stdout


def _base64(data):
    return base64.b64encode(data).decode()
