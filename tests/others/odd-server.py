# Python's HTTP server as a portal that answers in odd ways, and as a listener in front of the simulated portal.
#   python3 odd-server.py PORT FOLDER PORTAL
# Paths below /files/ are served from the folder, as HTTP/1.0. What is none of these and none of ODD_ANSWERS is asked of
# the portal, HOST:PORT; head and body of a POST are kept in the folder. The page of the odd answers is page.html there.
import functools
import gzip
import http.client
import http.server
import pathlib
import sys

port, folder, portal = int(sys.argv[1]), pathlib.Path(sys.argv[2]), sys.argv[3]


def page():
    return (folder / "page.html").read_bytes()


def chunked():
    chunks = b"".join(b"1;odd=yes\r\n%c\r\n" % byte for byte in page())
    return b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n" + chunks + b"0\r\nTrailer: x\r\n\r\n"


def moved(status):
    return b"HTTP/1.1 %d Elsewhere\r\nLocation: http://%s/files/page.html\r\nContent-Length: 0\r\n\r\n" % (status, me())


def me():
    return b"192.0.2.1:%d" % port


ODD_ANSWERS = {
    "/until-close": lambda: b"HTTP/1.0 200 OK\r\n\r\n" + page(),
    "/bare-line-feeds": lambda: b"HTTP/1.1 200\nconnection:close\n\n" + page(),
    "/chunked": chunked,
    "/early-hints": lambda: b"HTTP/1.1 103 Early Hints\r\nLink: </x>\r\n\r\nHTTP/1.1 200 OK\r\n\r\n" + page(),
    "/gzip": lambda: b"HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\n\r\n" + gzip.compress(page()),
    "/no-head": page,
    "/too-short": lambda: b"HTTP/1.1 200 OK\r\nContent-Length: 99999\r\n\r\n" + page(),
    "/too-long": lambda: b"HTTP/1.1 200 OK\r\nContent-Length: 20\r\n\r\n" + page(),
    "/silence": lambda: b"",
    **{f"/moved-{status}": functools.partial(moved, status) for status in (301, 302, 303, 307, 308)},
    "/login-required": lambda: b"HTTP/1.1 511 Network Authentication Required\r\n\r\n" + page(),
    "/no-content": lambda: b"HTTP/1.1 204 No Content\r\n\r\n",
}


class Handler(http.server.SimpleHTTPRequestHandler):
    def do_GET(self):
        path = self.path.split("?")[0]
        if path in ODD_ANSWERS:
            self.wfile.write(ODD_ANSWERS[path]())
        elif path.startswith("/files/"):
            self.path = path.removeprefix("/files")
            super().do_GET()
        else:
            self.pass_on()

    def do_POST(self):
        body = self.rfile.read(int(self.headers["Content-Length"]))
        (folder / f"{self.path[1:]}.head").write_text(str(self.headers))
        (folder / f"{self.path[1:]}.body").write_bytes(body)
        self.pass_on(body)

    # The portal writes its addresses as the head names it, so that all that follows comes here, too.
    def pass_on(self, body=None):
        connection = http.client.HTTPConnection(portal)
        connection.request(self.command, self.path, body, dict(self.headers))
        answer = connection.getresponse()
        self.send_response(answer.status)
        for name, value in answer.getheaders():
            self.send_header(name, value)
        self.end_headers()
        self.wfile.write(answer.read())


http.server.ThreadingHTTPServer(("", port), functools.partial(Handler, directory=folder)).serve_forever()
