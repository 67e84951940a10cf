"""The table of malices. A case names its stages and what happens there; "in_slice" are those of a short run."""
import gzip
import zlib
from dataclasses import dataclass

from portal import (cut, drips, edited, headed, leads, portal_says, resets, says)

NEW_FUNCTION_LOOKS = 60  # of 3 MB each, were the names kept
MIB = 1024 * 1024
LARGE = 500000  # bytes of a document that is still read; above 512 KiB none is
NUMBERS = [b"0", b"-1", b"2147483647", b"2147483648", b"-2147483649", b"4294967296", b"9223372036854775808",
           b"1" + b"0" * 30, b"", b"text", b" 7x", b"0x7f", b"1e9"]
ELEMENTS_WITH_NUMBERS = [b"state-interval", b"expire", b"keep-retry", b"interval", b"level", b"against-interval",
                         b"logout-delay", b"ipforward"]
JUNK = {"NUL": b"a\0b", "control bytes": bytes(range(1, 32)) + b"\x7f", "no GB18030": b"\xff\xfe\x80\x81\xa0\xff",
        "cut UTF-8": b"\xe4\xb8", "format": b"%s%n%1000000d%", "markup": b"]]><!--<a b='&&#0;&#x110000;\"",
        "lines": b"\r\nError-Code: 200\r\n\r\n", "long": b"A" * 60000}
TEXTS = {"page": [b"type", b"value", b"register", b"option", b"query-url"], "ticket": [b"ticket"],
         "login": [b"userid", b"process", b"dns1", b"dns2"], "query": [b"host", b"ticket"]}
SERVER_LIST = (b"<FunCfg>", b'<server-clusters servers=""/><FunCfg>')  # which the simulated portal has none of
ADDRESSES = {"page": [b"ticket-url", b"auth-url", b"state-url"], "login": [b"keep-url", b"term-url"]}
STAGES = ["probe", "entry", "gate", "page", "ticket", "login", "state", "pulse", "query", "statistics", "term"]


@dataclass
class Case:
    what: str
    malice: dict
    seconds: float = 4          # how much longer than usual it may take until the malice is met
    in_slice: bool = True
    module: str = ""            # how the module named so misbehaves, see run.py
    end: str = ""               # what comes of it, for one that may end the service
    stays: float = 1            # seconds that the service is left alone with it then
    looks: int = 1              # how often the service is sent to look at the network meanwhile


def set_text(name, value):
    return b"(?<=>)[^<>]*(?=</%s>)" % name, value


def set_attribute(name, value):
    return b'(?<= %s=")[^"]*' % name, value


def fill(part):
    return part * (LARGE // len(part))


def redirects():
    for form in ("location", "other", "refresh", "script"):
        for times in (190, 10**9):  # from the 201st on the service rests
            yield Case(f"redirect without an end, {form}, {times} times",
                       {"probe": leads(form, "http://{server}/forward.cgi", times)}, in_slice=times == 190)
    yield Case("a redirect that grows", {"probe": leads("location", "http://{server}/index.cgi?a=" + "b" * 8000),
                                         "page": leads("refresh", "http://{server}/index.cgi?n={n}", 150)})
    yield Case("redirects to nowhere", {"probe": leads("location", "http://127.0.0.1:1/index.cgi")})
    yield Case("a redirect to a file", {"probe": leads("script", "file:///etc/passwd?http://")})
    yield Case("a redirect with 100,000 parameters",
               {"probe": leads("location", "http://{server}/entry?" + "&".join(f"{n}=" for n in range(1000))),
                "entry": leads("refresh", "http://{server}/gate?" + "a=b&" * 100000)})


def sizes():
    for size in (MIB - 1, MIB, MIB + 1, 4 * MIB):
        lines = [b"X-%d: %s" % (n, b"h" * 1000) for n in range(size // 1000)]
        for stage in ("probe", "ticket", "login"):
            yield Case(f"{stage}: head of {size} bytes", {stage: headed(*lines)}, in_slice=size == MIB)
    yield Case("header of 8 MiB without an end", {"probe": lambda visit: visit.send(b"HTTP/1.1 200 " + b"x" * 8 * MIB)})
    for size in (0, 1, 4 * MIB - 1, 4 * MIB, 4 * MIB + 1, 64 * MIB):
        for stage in ("probe", "page", "ticket", "login", "pulse", "statistics", "term"):
            is_page = stage in ("probe", "page", "statistics")
            malice = says(body=b"<" * size) if is_page else portal_says(document=b"5" * size, encoded=False)
            yield Case(f"{stage}: body of {size} bytes", {stage: malice}, in_slice=size in (0, 4 * MIB))
    yield Case("a ticket of 500 KB of &", {"ticket": edited(set_text(b"ticket", fill(b"&amp;")))})
    yield Case("a body without an end", {"page": lambda visit: endless(visit, b"HTTP/1.1 200 OK\r\n\r\n", b"x" * MIB)})
    yield Case("chunks without an end", {"page": lambda visit: endless(
        visit, b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n", b"1\r\nx\r\n" * 10000)})
    yield Case("trailers without an end", {"ticket": lambda visit: endless(
        visit, b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n", b"X: %s\r\n" % (b"y" * 8000))})
    yield Case("interim answers without an end", {"login": lambda visit: endless(
        visit, b"", b"HTTP/1.1 100 Continue\r\n\r\n")})


def endless(visit, head, part):
    visit.send(head)
    for _ in range(100 * MIB // len(part)):
        visit.send(part)


def junk():
    for what, text in JUNK.items():
        is_worst = what in ("NUL", "no GB18030", "long")
        for stage, names in TEXTS.items():
            yield Case(f"{stage}: {what} in texts", {stage: edited(*(set_text(name, text) for name in names))},
                       in_slice=is_worst)
        for stage, names in ADDRESSES.items():
            for name in names:
                for place in (b"", b"http://"):
                    yield Case(f"{stage}: {what} in {place.decode()}{name.decode()}",
                               {stage: edited(set_text(name, place + text))},
                               in_slice=place != b"" and is_worst)
        attributes = [set_attribute(name, text) for name in (b"servers", b"interval", b"url")]
        shown = set_attribute(b"displayname", text)
        yield Case(f"page: {what} in attributes", {"page": edited(SERVER_LIST, shown, *attributes)}, in_slice=is_worst)
        yield Case(f"login: {what} in a shown name", {"login": edited(shown)}, in_slice=is_worst)
        if what != "long":
            school = [b"%s: %s" % (name, text) for name in (b"schoolid", b"domain", b"area")]
            refusal = [(b"Last-Login", text), (b"Sub-Error", text)]
            address = "http://{server}/index.cgi?wlanacip=" + text.decode("latin-1")
            yield Case(f"{what} in the school's headers", {"probe": headed(*school)}, in_slice=is_worst)
            portal = [b"%s: %s" % (name, text) for name in (b"Server-Tag", b"Sub-Error", b"X")]
            yield Case(f"{what} in the portal's headers", {"ticket": headed(*portal)}, in_slice=is_worst)
            yield Case(f"{what} in the portal's Error-Code", {"ticket": portal_says(text)}, in_slice=is_worst)
            yield Case(f"{what} in the headers of a refusal", {"login": portal_says(b"105", headers=refusal)},
                       in_slice=is_worst)
            yield Case(f"{what} in a header's address", {"probe": leads("location", address)}, in_slice=is_worst)
            yield Case(f"{what} in a script's address", {"gate": leads("script", address)}, in_slice=is_worst)
        for stage in ("ticket", "state", "login", "pulse"):
            yield Case(f"{stage}: {what} for an answer", {stage: portal_says(document=text, encoded=False)},
                       in_slice=is_worst and stage in ("ticket", "pulse"))


def transport():
    for stage in STAGES:
        yield Case(f"{stage}: half an answer", {stage: cut(0.6)}, in_slice=stage in ("gate", "page", "login", "term"))
        yield Case(f"{stage}: reset", {stage: resets()})
        yield Case(f"{stage}: reset in the head", {stage: resets(20)}, in_slice=False)
        yield Case(f"{stage}: no answer", {stage: cut(0)}, in_slice=False)
        yield Case(f"{stage}: one byte a second", {stage: drips(6)}, seconds=10,
                   in_slice=stage in ("probe", "page", "ticket", "pulse"))
        for status in (100, 204, 304, 399, 400, 404, 500, 503, 599, 999):
            yield Case(f"{stage}: status {status}", {stage: says(status)},
                       in_slice=status in (204, 503) and stage in ("page", "ticket", "login", "pulse"))
    yield Case("every connection is reset", {"other": resets()})


def bombs():
    packed = gzip.compress(b"<" * 100 * MIB)
    for name, body in (("gzip", packed), ("deflate", zlib.compress(b"<" * 100 * MIB))):
        header = (b"Content-Encoding", name.encode())
        yield Case(f"page: {name} bomb", {"page": says(headers=[header], body=body)})
        yield Case(f"login: {name} bomb", {"login": portal_says(document=body, headers=[header], encoded=False)})


def configurations():
    def page(what, elements, place=b"<FunCfg>"):
        return Case(what, {"page": edited((place, elements + place))})

    yield page("configuration of 4 MiB, one comment", b"<!--" + b"c" * (4 * MIB - 4096) + b"-->")
    yield page("configuration of 500 KB, one comment", b"<!--" + fill(b"c") + b"-->")
    yield page("configuration of 500 KB, small elements", fill(b"<e/>"))
    yield page("configuration of 500 KB, notices", fill(b"<register>n</register>"), b"</notify>")
    yield page("configuration of 500 KB, ways to log in", fill(b"<auth><type>t</type></auth>"))
    yield page("configuration of 500 KB, deep", b"<d>" * (LARGE // 7) + b"</d>" * (LARGE // 7))
    yield page("configuration of 500 KB, not well formed", fill(b"<d>"))
    yield page("10,000 servers", b'<server-clusters servers="' + b",".join(
        b"127.9.%d.%d:1" % (n >> 8, n & 255) for n in range(10000)) + b'"/>')
    yield page("a server of 500 KB", b'<server-clusters servers="' + fill(b"s") + b',x"/>')
    half = b"A" * (LARGE // 2 - 10000)
    yield Case("documents as large as may be", {
        "page": edited(set_text(b"value", fill(b"A"))),
        "login": edited((b"<against>", b"<against><process>%s</process>" % half), set_text(b"userid", half))})
    yield page("entities", b'<!DOCTYPE a [<!ENTITY a "&a;&a;">]><a>&a;</a>')
    yield Case("256 new functions with each look", {"page": names_functions_anew}, looks=NEW_FUNCTION_LOOKS)
    names = b"".join(b"<process>p%d</process>" % n for n in range(15000))
    yield Case("15,000 sharing rules, checked each second", {"login": edited(
        (b"<against>", b"<against>" + names), set_text(b"against-interval", b"1"))}, stays=5)
    yield page("sharing rules of 500 KB", fill(b"<process>p</process>"), b"</against>")


def names_functions_anew(visit):
    """As many as the service keeps, as large as they fit, under names that it has not seen."""
    name = b"F%d_%%d" % visit.number
    functions = b"".join(b"<%s>%s</%s>" % (name % n, b"<a/>" * 470, name % n) for n in range(256))
    edited((b"</FunCfg>", functions + b"</FunCfg>"))(visit)


def numbers():
    for number in NUMBERS:
        fields = [set_text(name, number) for name in ELEMENTS_WITH_NUMBERS]
        fields += [set_attribute(b"interval", number)]
        yield Case(f"'{number.decode()}' in every number", {stage: edited(*fields) for stage in (
            "page", "ticket", "login", "pulse")})
        elements = b"".join(b"<%s>%s</%s>" % (name, number, name) for name in ELEMENTS_WITH_NUMBERS)
        document = b"<response>%s<user-config>%s</user-config></response>" % (elements, elements)
        yield Case(f"state: '{number.decode()}' in every number", {"state": portal_says(document=document)})
        for stage in ("ticket", "state", "login", "pulse", "query", "term"):
            yield Case(f"{stage}: Error-Code '{number.decode()}'", {stage: portal_says(number, b"<response/>")},
                       in_slice=stage == "login")


def loops():
    """What the service asks for again and again by itself, for two minutes."""
    rows = {"pulses without a pause": {"pulse": edited(set_text(b"interval", b"0"))},
            "a ticket that is never logged in": {"state": portal_says(b"5")},
            "long tickets that end at once": {"ticket": edited(set_text(b"ticket", b"T" * 8000),
                                                              set_text(b"expire", b"0")), "state": portal_says(b"5")},
            "an unreadable configuration": {"page": edited((b"<FunCfg>", b"<broken>" + fill(b"x")))},
            "an open network": {"probe": says(body=b"open")}}
    for what, malice in rows.items():
        yield Case("left alone: " + what, malice, stays=120, in_slice=False)


def modules():
    ends = {"crashes": "ends by itself, status -11", "forks": "goes on",
            "closes descriptors": "ends by itself, status -9",
            "never returns": "hangs until it is told to end, status -15"}
    for kind, end in ends.items():
        yield Case(f"a module that {kind}", {"ticket": None}, module=kind, end=end)
    for size in (0, 1, 15 * MIB, 16 * MIB + 1, 65 * MIB):
        yield Case(f"a module of {size} bytes", {"ticket": portal_says(b"200", b"M" * size, encoded=False)}, seconds=2)
    yield Case("modules without an end", {"ticket": None}, module="again and again")
    yield Case("a module that unpacks to much", {"ticket": None}, module="unpacks to much")
    yield Case("a module that unpacks to the limit", {"ticket": None}, module="unpacks to the limit")


def all_cases():
    """Those that take long come first, so that the others run beside them."""
    for group in (loops, modules, configurations, redirects, sizes, junk, transport, bombs, numbers):
        for case in group():
            case.group = group.__name__
            yield case
