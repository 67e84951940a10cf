"""A portal that means harm: it stands between the service and the simulated portal, hands everything on, and does
what the present case says at the stages that the case names."""
import collections
import re
import socket
import struct
import threading
import time

STAGES = {"/forward.cgi": "probe", "/entry": "entry", "/gate": "gate", "/index.cgi": "page", "/ticket": "ticket",
          "/auth": "login", "/state": "state", "/keep": "pulse", "/term": "term", "/query": "query",
          "/statistics": "statistics"}
LARGEST_REQUEST = 16 * 1024 * 1024
KEY_PERIOD = 256


def key_stream(length):
    """The key of the first sample module, which repeats."""
    key, keys = 0x5A, bytearray()
    for _ in range(KEY_PERIOD):
        keys.append(key)
        key = (key * 5 + 113) & 255
    return (bytes(keys) * (length // KEY_PERIOD + 1))[:length]


def cipher(text):
    number = int.from_bytes(text, "big") ^ int.from_bytes(key_stream(len(text)), "big")
    return number.to_bytes(len(text), "big")


def encode(document):
    return cipher(document).hex().encode()


def decode(body):
    return cipher(bytes.fromhex(body.decode("ascii")))


def read_message(connection):
    """One request or answer: its head and body."""
    message = b""
    while b"\r\n\r\n" not in message:
        part = connection.recv(65536)
        if not part:
            return message, b""
        message += part
    head, _, body = message.partition(b"\r\n\r\n")
    named = re.search(rb"(?i)^content-length: *(\d+)", head, re.M)
    length = min(int(named.group(1)), LARGEST_REQUEST) if named else 0
    while len(body) < length and (part := connection.recv(65536)):
        body += part
    return head, body


class Visit:
    """One request of the service, and the connection on which it waits."""

    def __init__(self, connection, portal):
        self.connection, self.portal = connection, portal
        self.head, self.body = read_message(connection)
        self.path = self.head.split(b" ")[1].split(b"?")[0].decode() if b" " in self.head else ""
        self.stage = STAGES.get(self.path)

    def send(self, data):
        self.connection.sendall(data)

    def good(self):
        """What the simulated portal answers: its head, without the empty line, and its body."""
        with socket.create_connection(self.portal.behind) as behind:
            behind.sendall(self.head + b"\r\n\r\n" + self.body)
            return read_message(behind)

    def reset(self):
        self.connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        self.connection.close()


class Portal:
    def __init__(self, behind):
        self.behind = behind
        self.turn({})
        self.listener = socket.create_server(("127.0.0.1", 0), backlog=64)
        self.server = "127.0.0.1:%d" % self.listener.getsockname()[1]
        threading.Thread(target=self.serve, daemon=True).start()

    def turn(self, malice):
        """From now on each stage does what `malice` has for it. Counts anew how often each was begun and met, and
        how often each pattern of an edit was found."""
        self.malice, self.met = malice, {stage: 0 for stage in malice}
        self.begun, self.found = collections.Counter(), collections.Counter()

    def serve(self):
        while True:
            connection, _ = self.listener.accept()
            threading.Thread(target=self.answer, args=(connection,), daemon=True).start()

    def answer(self, connection):
        try:
            with connection:
                visit = Visit(connection, self)
                act = self.malice.get(visit.stage) or self.malice.get("other")
                if act:
                    self.act(act, visit)
                else:
                    head, body = visit.good()
                    visit.send(head + b"\r\n\r\n" + body)
        except OSError:
            pass  # the service went first, which is its right

    def act(self, malice, visit):
        met, stage = self.met, visit.stage if visit.stage in self.met else "other"
        self.begun[stage] += 1
        visit.number, visit.found = self.begun[stage], self.found
        try:
            malice(visit)
        finally:
            met[stage] += 1


def whole(status, headers, body):
    head = b"HTTP/1.1 %d Whatever\r\nContent-Length: %d\r\nConnection: close\r\n" % (status, len(body))
    return head + b"".join(b"%s: %s\r\n" % header for header in headers) + b"\r\n" + body


# What a case can do at a stage. Each returns a function of the visit.

def says(status=200, headers=(), body=b""):
    return lambda visit: visit.send(whole(status, headers, body))


def leads(form, target, times=10**9):
    """A redirect in one of its forms, so many times; `target` has {server}, {n} counts the visits."""
    forms = {"location": lambda url: whole(302, [(b"Location", url)], b""),
             "other": lambda url: whole(303, [(b"location", url)], b""),
             "refresh": lambda url: whole(200, [], b'<html><meta http-equiv="refresh" content="0;url=%s">' % url),
             "script": lambda url: whole(200, [], b'<head><script>location.href="%s"</script></head>' % url)}

    def act(visit):
        if visit.number > times:
            return says(404)(visit)
        visit.send(forms[form](target.format(server=visit.portal.server, n=visit.number).encode("latin-1")))
    return act


def portal_says(code=b"0", document=b"", headers=(), encoded=True):
    body = encode(document) if encoded else document
    return says(200, [(b"Error-Code", code), (b"Server-Tag", b"x"), *headers], body)


def edited(*changes):
    """The good answer with each (pattern, replacement) applied, to the document that the body holds."""
    def act(visit):
        head, body = visit.good()
        is_encoded = b"\r\nError-Code: 0" in head
        document = decode(body) if is_encoded else body
        for pattern, replacement in changes:
            document, times = re.subn(pattern, lambda _, text=replacement: text, document, flags=re.S)
            visit.found[pattern] += times
        body = encode(document) if is_encoded else document
        head = re.sub(rb"(?i)content-length: *\d+", b"Content-Length: %d" % len(body), head)
        visit.send(head + b"\r\n\r\n" + body)
    return act


def headed(*headers):
    """The good answer with these headers in front of its own."""
    def act(visit):
        head, body = visit.good()
        status, _, rest = head.partition(b"\r\n")
        visit.send(b"\r\n".join([status, *headers, rest]) + b"\r\n\r\n" + body)
    return act


def cut(share):
    """The connection ends when that share of the good answer is out."""
    def act(visit):
        head, body = visit.good()
        answer = head + b"\r\n\r\n" + body
        visit.send(answer[:int(len(answer) * share)])
    return act


def drips(seconds):
    """The good answer, one byte a second for so long; then the connection ends."""
    def act(visit):
        head, body = visit.good()
        answer = head + b"\r\n\r\n" + body
        for place in range(min(seconds, len(answer))):
            visit.send(answer[place:place + 1])
            time.sleep(1)
    return act


def resets(after=0):
    def act(visit):
        if after:
            head, body = visit.good()
            visit.send((head + b"\r\n\r\n" + body)[:after])
        visit.reset()
    return act
