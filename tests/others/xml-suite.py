# Has the program ReadDocuments read the documents of the W3C's XML suite, and compares with what expat makes of each.
#   python3 xml-suite.py SUITE-FOLDER PROGRAM
# A well-formed document has to be read, with the same elements, texts and attributes, and to read the same as part of
# another one. One that is not has to be refused, but for the kinds of faults that the parser lets pass by design. Of
# what kind a fault is shows when taking all of that kind out of the text leaves a document that expat reads.
# Of a DOCTYPE the service knows where it ends. So documents with one are only read, and compared when they declare
# neither entities nor attributes there.
import collections
import pathlib
import re
import subprocess
import sys
from xml.parsers import expat

folder, program = pathlib.Path(sys.argv[1]), sys.argv[2]
FIELD_END, RECORD_END = "\x1f", "\x1e"  # of the program
TEXT = 2  # the fields of an element are depth, name, text, and name and value of each attribute
XML_1_1 = re.compile(rb"<\?xml version=.1\.1")
NO_CHARACTER = "[\0-\x08\x0b\x0c\x0e-\x1f\ud800-\udfff\ufffe\uffff]"

# What the parser lets pass, each with the pattern that finds it and what takes its place.
LET_PASS = [
    ("no fault by XML 1.0 without namespaces", "$^", ""),
    ("characters that XML has not", NO_CHARACTER, " "),
    ('"&" that starts no known reference', "&(?!(amp|lt|gt|quot|apos|#[0-9]+|#x[0-9a-fA-F]+);)", "&amp;"),
    ("references to characters that XML has not", "&#(5|x[dD]8..|x[dD][cC]..|x[fF]{3}[eE]|x[fF]{4});", " "),
    ("what an XML declaration says, and where it stands", r"(?i)(^[\udc80-\udcff]+)?<\?xml\b.*?\?>", ""),
    ("no blank behind the name of an instruction", r"(<\?[A-Za-z_:][-\w:.]*)(?=[^-\w:.\s?])", r"\1 "),
    ('"--" in comments', "<!--.*?-->", ""),
    ('"]]>" in texts', r"(<!\[CDATA\[.*?\]\]>)|\]\]>", r"\1"),
    ('"<" in values of attributes', r'(?<==")[^"]*', ""),
    ("text around the root", r"^[^<]*|(?<=>)[^<]+(?=<doc)|[^>]*$", ""),
    ("characters in names", r"(?<=[</])[^\s<>/!?]+", "name"),
]


def tests():
    found, bases = [], []

    def start(name, attributes):
        if name == "TESTCASES":
            bases.append(attributes.get("xml:base", ""))
        elif name == "TEST":
            path = "".join(bases) + attributes["URI"]
            found.append((attributes["TYPE"], attributes["ID"], folder / "xmlconf" / path))

    reader = expat.ParserCreate()
    reader.StartElementHandler = start
    reader.EndElementHandler = lambda name: name == "TESTCASES" and bases.pop()
    reader.Parse((folder / "cleaned/xmlconf-flattened.xml").read_bytes(), True)
    return found


# Line ends and blanks of attributes are the bytes of the document to the service.
def plain(element):
    element = [re.sub("[\r\n]+", "\n", field) for field in element]
    return element[: TEXT + 1] + [re.sub("[\t\n]", " ", field) for field in element[TEXT + 1 :]]


def elements_by_expat(document):
    found, opened = [], []

    def start(name, attributes):
        opened.append([str(len(opened)), name, "", *attributes])
        found.append(opened[-1])

    def text(part):
        opened[-1][TEXT] += part

    reader = expat.ParserCreate()
    reader.ordered_attributes = True
    reader.StartElementHandler, reader.CharacterDataHandler = start, text
    reader.EndElementHandler = lambda name: opened.pop()
    reader.Parse(document, True)
    return [plain(element) for element in found]


def is_read_by_expat(document):
    try:
        return bool(elements_by_expat(document))
    except (expat.ExpatError, ValueError):  # the second for encodings that it does not know
        return False


def kind_of_fault(document):
    utf16 = document[:2] in (b"\xff\xfe", b"\xfe\xff") and b"\0" in document
    text = document.decode("utf-16" if utf16 else "utf-8-sig", "surrogateescape" if not utf16 else "surrogatepass")
    if is_read_by_expat(document):
        return LET_PASS[0][0]
    for kind, pattern, instead in LET_PASS[1:]:
        repaired = re.sub(pattern, instead, text, flags=re.DOTALL)
        if is_read_by_expat(repaired.encode("utf-8", "replace")):
            return kind
    return None


class Service:
    def __init__(self):
        self.process = subprocess.Popen([program], stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    # None, or what the elements hold and the document that its root was put into.
    def read(self, path):
        self.process.stdin.write(f"{path}\n".encode())
        self.process.stdin.flush()
        verdict, *lengths = self.process.stdout.readline().split()
        return [self.process.stdout.read(int(length)) for length in lengths] if verdict == b"read" else None


def elements_by_service(text):
    return [plain(record.split(FIELD_END)[:-1]) for record in text.decode().split(RECORD_END)[:-1]]


def difference(document, elements, another):
    expected = elements_by_expat(document)
    if elements_by_service(elements) != expected:
        return "read otherwise"
    deeper = [[str(int(element[0]) + 1), *element[1:]] for element in expected]
    return None if elements_by_expat(another)[1:] == deeper else "otherwise as part of another"


def judge(kind_of_test, path, answer):
    document = path.read_bytes()
    letters = document.replace(b"\0", b"")
    has_doctype = b"<!DOCTYPE" in letters
    group = "with" if has_doctype else "without"
    if kind_of_test == "not-wf":
        if answer is None:
            return f"{group} DOCTYPE, faulty: refused", None
        if has_doctype:
            return "with DOCTYPE, faulty: read", None
        kind = kind_of_fault(document)
        return f"without DOCTYPE, faulty: read, {kind}", None if kind else "let pass"
    if answer is None and XML_1_1.search(document):
        return f"{group} DOCTYPE, well formed by XML 1.1 alone: refused", None
    if answer is None:
        return f"{group} DOCTYPE, well formed: refused", "refused"
    if re.search(b"<!ENTITY|<!ATTLIST|SYSTEM|PUBLIC", letters) or not is_read_by_expat(document):
        return f"{group} DOCTYPE, well formed: read", None
    return f"{group} DOCTYPE, well formed: read and the same", difference(document, *answer)


service, results, faults = Service(), collections.Counter(), []
for kind_of_test, name, path in tests():
    if kind_of_test == "error":  # either answer is right
        continue
    result, fault = judge(kind_of_test, path, service.read(path))
    results[result] += 1
    if fault:
        faults.append(f"not so: {name} ({path.relative_to(folder)}): {fault}")
print("\n".join(f"{count:6} {result}" for result, count in sorted(results.items())))
print("\n".join(faults) or "no fault")
sys.exit(bool(faults))
