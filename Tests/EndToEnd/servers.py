"""Servers on loopback for the end-to-end tests: git over http and https, with a login, git over ssh, and svn."""

import base64
import hashlib
import http.server
import os
import shutil
import socket
import ssl
import subprocess
import threading

from hosting import PATIENCE


def make_certificate(folder, name):
    """A certificate that nobody has signed, and its key."""
    certificate, key = (os.path.join(folder, name + end) for end in (".pem", ".key"))
    subprocess.run(["openssl", "req", "-x509", "-batch", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-keyout", key,
                    "-out", certificate, "-subj", "/CN=" + name, "-addext", "subjectAltName=IP:127.0.0.1"],
                   check=True, capture_output=True, timeout=PATIENCE)
    return certificate, key


def fingerprint_of(certificate, digest="sha1"):
    with open(certificate, encoding="ascii") as text:
        der = ssl.PEM_cert_to_DER_cert(text.read())
    return hashlib.new(digest, der).hexdigest().upper()


class GitHandler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, format, *args):  # pylint: disable=redefined-builtin
        pass

    def do_GET(self):  # pylint: disable=invalid-name
        self.serve()

    def do_POST(self):  # pylint: disable=invalid-name
        self.serve()

    def body(self):
        if self.headers.get("Transfer-Encoding", "").lower() != "chunked":
            return self.rfile.read(int(self.headers.get("Content-Length", 0)))
        pieces = []
        while size := int(self.rfile.readline().strip(), 16):
            pieces.append(self.rfile.read(size))
            self.rfile.readline()
        self.rfile.readline()
        return b"".join(pieces)

    def serve(self):
        body = self.body()
        server = self.server.owner
        login = self.headers.get("Authorization", "")
        if server.login is not None:
            server.logins.append(base64.b64decode(login.removeprefix("Basic ")).decode() if login else None)
            if server.logins[-1] != ":".join(server.login):
                return self.answer(401, [("WWW-Authenticate", 'Basic realm="fruit"')], b"")
        path, _, query = self.path.partition("?")
        environment = dict(server.environment, GIT_PROJECT_ROOT=server.root, GIT_HTTP_EXPORT_ALL="1", PATH_INFO=path,
                           QUERY_STRING=query, REQUEST_METHOD=self.command, REMOTE_ADDR="127.0.0.1", REMOTE_USER="ann",
                           CONTENT_TYPE=self.headers.get("Content-Type", ""), CONTENT_LENGTH=str(len(body)),
                           HTTP_CONTENT_ENCODING=self.headers.get("Content-Encoding", ""),
                           GIT_PROTOCOL=self.headers.get("Git-Protocol", ""))
        made = subprocess.run(["git", "http-backend"], env=environment, input=body, capture_output=True,
                              timeout=PATIENCE, check=False).stdout
        head, _, content = made.partition(b"\r\n\r\n")
        headers = [tuple(line.split(": ", 1)) for line in head.decode().split("\r\n") if line]
        status = next((int(value.split()[0]) for name, value in headers if name == "Status"), 200)
        return self.answer(status, [header for header in headers if header[0] != "Status"], content)

    def answer(self, status, headers, content):
        self.send_response(status)
        for name, value in headers:
            self.send_header(name, value)
        self.send_header("Content-Length", str(len(content)))
        self.end_headers()
        self.wfile.write(content)


class GitWebServer:
    """Serves the repositories below a folder; with a login (user, password) to nobody else."""

    def __init__(self, root, environment, login=None, certificate=None):
        self.root, self.environment, self.login, self.logins = root, environment, login, []
        self._server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), GitHandler)
        self._server.owner = self
        self._server.daemon_threads = True
        self._server.handle_error = lambda *_: None  # who leaves is no fault of the server
        self.context = None
        if certificate:
            self.context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            self.context.load_cert_chain(*certificate)
            self._server.socket = self.context.wrap_socket(self._server.socket, server_side=True,
                                                           do_handshake_on_connect=False)
        self.address = f"http{'s' if certificate else ''}://127.0.0.1:{self._server.server_address[1]}"
        self._thread = threading.Thread(target=self._server.serve_forever, args=(0.02,))
        self._thread.start()

    def close(self):
        self._server.shutdown()
        self._thread.join(PATIENCE)
        self._server.server_close()


class ConnectionServer:
    """Runs a command for each connection, which is its input and output, as inetd would."""

    def __init__(self, command, environment=None):
        self._command, self._environment = command, environment
        self._listener = socket.create_server(("127.0.0.1", 0))
        self.port = self._listener.getsockname()[1]
        self._running = []
        self._thread = threading.Thread(target=self._serve)
        self._thread.start()

    def _serve(self):
        while True:
            try:
                connection, _ = self._listener.accept()
            except OSError:
                return
            with connection:
                self._running.append(subprocess.Popen(self._command, stdin=connection, stdout=connection,
                                                      stderr=subprocess.DEVNULL, env=self._environment))

    def close(self):
        self._listener.shutdown(socket.SHUT_RDWR)
        self._listener.close()
        self._thread.join(PATIENCE)
        for process in self._running:
            if process.poll() is None:
                process.kill()
            process.wait(PATIENCE)


class GitServer(ConnectionServer):
    """Serves the repositories below a folder to anyone, by git's own protocol."""

    def __init__(self, root, environment):
        super().__init__(["git", "daemon", "--inetd", "--export-all", "--base-path=" + root, root], environment)
        self.address = f"git://127.0.0.1:{self.port}"


class SubversionServer(ConnectionServer):
    """Serves the repositories below a folder: to anyone, or with a login (user, password) to nobody else."""

    def __init__(self, root, environment, login=None):
        settings = os.path.join(root, "svnserve.conf")
        with open(settings, "w", encoding="utf-8") as file:
            file.write("[general]\nrealm = fruit\n" + ("anon-access = none\nauth-access = write\npassword-db = logins\n"
                                                       if login else "anon-access = write\n"))
        with open(os.path.join(root, "logins"), "w", encoding="utf-8") as file:
            file.write("[users]\n" + (" = ".join(login) if login else ""))
        super().__init__(["svnserve", "--inetd", "--root", root, "--config-file", settings], environment)
        self.address = f"svn://127.0.0.1:{self.port}"


class SSHServer(ConnectionServer):
    """Lets in whoever has one of the keys: a process of sshd for each connection."""

    def __init__(self, folder, authorized_keys, environment):
        self.key = os.path.join(folder, "server key")
        subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-C", "", "-f", self.key], check=True,
                       timeout=PATIENCE)
        settings = os.path.join(folder, "sshd_config")
        with open(settings, "w", encoding="utf-8") as file:
            file.write(f'HostKey "{self.key}"\nAuthorizedKeysFile "{authorized_keys}"\nStrictModes no\nUsePAM no\n'
                       "PidFile none\nPasswordAuthentication no\nKbdInteractiveAuthentication no\nLogLevel QUIET\n"
                       f'SetEnv HOME={environment["HOME"]} GIT_CONFIG_NOSYSTEM=1\n')
        if os.geteuid() == 0:
            # Where the server shuts itself in; its package makes it only when the system starts.
            os.makedirs("/run/sshd", mode=0o755, exist_ok=True)
        super().__init__([shutil.which("sshd", path="/usr/sbin:" + environment["PATH"]), "-i", "-f", settings])

    def fingerprint(self):
        line = subprocess.run(["ssh-keygen", "-l", "-f", self.key + ".pub"], check=True, capture_output=True,
                              timeout=PATIENCE).stdout.decode()
        return line.split()[1]
