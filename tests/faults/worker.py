"""Carries out jobs inside one sandbox: a line of JSON for each job on standard input, one for its outcome on standard
output. A job is a session of the service with something that goes wrong, or a chain of kills."""
import collections
import json
import os
import random
import re
import resource
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time
import traceback
import xml.etree.ElementTree

from judge import RESOLVER_FILE, Judge

STAGES = {b"s": "save", b"u": "update", b"p": "push", b"l": "load", b"r": "restoration"}  # of save-and-push
BUILD = os.environ["QUORVANE_BUILD"]  # the folder
BINARIES, MODULES = BUILD + "/bin", BUILD + "/modules"
CLIENT_ID = "11111111-2222-3333-4444-555555555555"
ACCOUNT, PASSWORD = "13800000001", "faults-secret"
PUSHED_SERVER = "198.51.100.53"
RESOLVER_TEXTS = (
    "nameserver 198.51.100.1\n",
    "# mine\nsearch campus.example\nnameserver 127.0.0.53\noptions edns0 trust-ad\n",
    "nameserver 198.51.100.1\nnameserver 198.51.100.2\nnameserver 198.51.100.3\nsearch a.example\n",
)
KNOWN_FILES = {"conf/conf.xml", "zxmAlogic.zxm", "serverpipe", "clientpipe"}
SETTINGS = """<settings>
<version>1.0.0</version><redirect>%s</redirect><redirectipv6>%s</redirectipv6><clientId>%s</clientId>
<messageEngine>waiting</messageEngine><campus note="kept">north</campus>
</settings>
"""
LATEST_KILL = 0.05  # seconds; a round of save-and-push takes about 20 ms
MOST_REQUESTS = 40  # besides pulses, that a portal sees in one session, a usual one takes 9; more is a storm
MOST_SECONDS = 150  # for a step that takes one or two, on a very busy machine
END_SECONDS = 2  # for a service that has said its last word
SHORT_PATIENCE = 10  # while something keeps failing


def container(number):
    with open("%s/sample-%d.zxm" % (MODULES, number), "rb") as file:
        return file.read()


def may_be_silent(job):
    """Whether a front end may hear nothing: as long as a fault stays, or of a service that is gone before it comes."""
    return job.get("count", 1) > 1 or any(key in job for key in ("full", "descriptors", "kill_at"))


def within(seconds, condition):
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            return False
        time.sleep(0.02)
    return True


class Place:
    """A working folder, the user's resolver file, and what must be so whatever happened."""

    def __init__(self, seed, probe="http://127.0.0.1:9/", full=None, free=0):
        self.folder = tempfile.mkdtemp(prefix="quorvane-faults-")
        self.resolver = RESOLVER_TEXTS[seed % len(RESOLVER_TEXTS)]
        self.mounts, self.filler = [], None
        if full == "folder":
            self.mount(self.folder, "-t", "tmpfs", "-o", "size=1m", "full")
        elif full == "resolver":
            self.move_resolver_file()
        os.mkdir(self.path("conf"))
        self.write("conf/conf.xml", (SETTINGS % (probe, probe, CLIENT_ID)).encode())
        self.write("zxmAlogic.zxm", container(1))
        self.write(RESOLVER_FILE, self.resolver.encode())
        if full:
            self.fill(self.mounts[0], free * 1024)

    def mount(self, target, *source):
        subprocess.run(["mount", *source, target], check=True)
        self.mounts.append(target)

    def move_resolver_file(self):
        """To a file system of its own. The text ends shortly before a page does, so that a push needs another one."""
        disk = tempfile.mkdtemp(prefix="quorvane-faults-")
        self.mount(disk, "-t", "tmpfs", "-o", "size=64k", "full")
        self.resolver += "#" * (resource.getpagesize() - len(self.resolver) - 2) + "\n"
        self.write(disk + "/resolv.conf", b"")
        self.mount(RESOLVER_FILE, "--bind", disk + "/resolv.conf")

    def fill(self, disk, free):
        status = os.statvfs(disk)
        self.filler = disk + "/filler"
        self.write(self.filler, bytes(max(0, status.f_bavail * status.f_bsize - free)))

    def make_room(self):
        if self.filler:
            os.unlink(self.filler)

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, content):
        with open(self.path(name), "wb") as file:
            file.write(content)

    def read(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def damage(self):
        """What is lost at any moment, even that of a kill."""
        lost = []
        try:
            root = xml.etree.ElementTree.fromstring(self.read("conf/conf.xml"))
            if root.findtext("clientId") != CLIENT_ID or root.findtext("campus") != "north":
                lost.append("the settings lost what they held")
        except xml.etree.ElementTree.ParseError:
            lost.append("the settings are no document")
        except FileNotFoundError:
            lost.append("there are no settings")
        if self.read("zxmAlogic.zxm") not in (container(1), container(2)):
            lost.append("the module is neither the old nor the new one")
        return lost

    def traces(self):
        """What is left by a run and is gone after the next start at the latest."""
        files = {os.path.relpath(os.path.join(folder, name), self.folder)
                 for folder, _, names in os.walk(self.folder) for name in names}
        left = ["%s is left" % name for name in sorted(files - KNOWN_FILES) if not name.endswith("_Info.log")]
        if self.read(RESOLVER_FILE).decode() != self.resolver:
            left.append("the resolver file reads %r" % self.read(RESOLVER_FILE))
        return left

    def remove(self):
        for target in reversed(self.mounts):
            subprocess.run(["umount", "--lazy", target], check=True)
            if os.path.isdir(target):
                os.rmdir(target)
        shutil.rmtree(self.folder, ignore_errors=True)


class Session:
    """One life of the service: attach, network check, login with a push and a new module, pulse, log-out, stop."""

    def __init__(self, job):
        self.job = job
        self.output = tempfile.TemporaryFile()
        self.clock = tempfile.NamedTemporaryFile(prefix="quorvane-clock-", buffering=0)
        self.clock.write(struct.pack("l", 0))  # seconds that the service's clock is ahead
        self.portal_log = tempfile.TemporaryFile()
        self.portal = subprocess.Popen(
            [BINARIES + "/portal-sim", "--listen", "127.0.0.1:0"] +
            [word for line in (
                "account %s %s" % (ACCOUNT, PASSWORD), "dns1 " + PUSHED_SERVER, "pulse-seconds 1",
                "statistics-interval 600", 'answer ticket module "%s/sample-2.zxm"' % os.path.abspath(MODULES),
            ) for word in ("--set", line)],
            stdin=subprocess.PIPE, stdout=self.portal_log)
        within(10, lambda: b"probe address: " in self.seen())
        probe = self.seen().split(b"probe address: ")[1].split()[0].decode()
        self.place = Place(job.get("seed", 0), probe, job.get("full"), job.get("free", 0))
        self.service = None

    def seen(self, log=None):
        return os.pread((log or self.portal_log).fileno(), 1 << 20, 0)

    def requests(self, path):
        return self.seen().count(b" %s  ok" % path)

    def requests_besides_pulses(self):
        """Pulses come every second for as long as a step waits."""
        return len(re.findall(rb" (?:GET|POST) (?!/keep )", self.seen()))

    def start(self, faulty):
        job, environment, limits = self.job, dict(os.environ), []
        if faulty and "clock" in job:
            environment["LD_PRELOAD"] = os.path.abspath(BUILD + "/lib/clock-step.so")
            environment["QUORVANE_CLOCK"] = self.clock.name
        if faulty and "descriptors" in job:
            limits.append((resource.setrlimit, (resource.RLIMIT_NOFILE, (job["descriptors"], 1024))))
        if self.service:
            self.service.end()  # or the new process would begin with the old one's listener
        keys = ("name", "first", "count", "choice", "kill_at") if faulty else ()
        self.service = Judge([os.path.abspath(BINARIES + "/QuorvaneSvr")], self.place.folder, environment,
                             self.output.fileno(), limits=limits, **{key: job[key] for key in keys if key in job})
        self.status = None
        self.patience = SHORT_PATIENCE if faulty and may_be_silent(self.job) else MOST_SECONDS

    def has_ended(self):
        if self.status is None:
            process, status = os.waitpid(self.service.process, os.WNOHANG)
            self.status = status if process else None
        return self.status is not None

    def kill(self, number=signal.SIGTERM):
        """The service's end; false when it has to be forced."""
        if not self.has_ended():
            os.kill(self.service.process, number)
        if within(MOST_SECONDS, self.has_ended):
            return True
        os.kill(self.service.process, signal.SIGKILL)
        within(MOST_SECONDS, self.has_ended)
        return False

    def front_end(self, *words):
        """The exit status of pipe-client: 0 done, 1 failed with a report, 3 nothing came."""
        command = [BINARIES + "/pipe-client", "--dir", self.place.folder, "--timeout", str(self.patience), *words]
        with subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=self.output, stderr=self.output) as client:
            within(self.patience + END_SECONDS, lambda: client.poll() is not None or self.has_ended())
            if not within(END_SECONDS, lambda: client.poll() is not None):
                client.kill()  # it waits for a service that ended before it came
        return client.returncode

    def log_out(self):
        """One that comes while statistics are being taken is lost; users ask again."""
        usual, self.patience = self.patience, SHORT_PATIENCE
        status = self.front_end("logout", "1")
        self.patience = usual
        return status if status in (0, 1) or self.has_ended() else self.front_end("logout", "1")

    def pulses(self, more):
        wanted = self.requests(b"/keep") + more
        return within(self.patience, lambda: self.requests(b"/keep") >= wanted or self.has_ended())

    def talk(self, disturb=lambda: None):
        """Empty when everything went well, or the step that failed and how."""
        steps = (("login", lambda: self.front_end("start", "check", "login", ACCOUNT, PASSWORD)),
                 ("pulse", lambda: 0 if self.pulses(1) else 3),
                 ("disturbance", disturb),
                 ("log-out", self.log_out))
        for name, step in steps:
            status = step()
            if status or self.has_ended():
                return "%s %s" % (name, "ended" if self.has_ended() else {1: "told"}.get(status, "silent"))
        return ""

    def mend(self):
        """Takes the lasting faults away."""
        self.patience = MOST_SECONDS
        self.service.pardon()
        if "descriptors" in self.job and not self.has_ended():
            resource.prlimit(self.service.process, resource.RLIMIT_NOFILE, (1024, 1024))
        self.place.make_room()

    def words(self):
        """The last of what pipe-client printed, the service logged and the portal saw."""
        logs = [os.path.join(folder, name) for folder, _, names in os.walk(self.place.folder)
                for name in names if name.endswith("_Info.log")]
        texts = [self.seen(self.output), *(self.place.read(log) for log in logs), self.seen()]
        return "".join(text.decode(errors="replace")[-1500:] + "\n" for text in texts)

    def close(self):
        self.kill()
        self.service.end()
        self.portal.kill()
        self.portal.wait()
        self.place.remove()


def step_clock(session):
    os.pwrite(session.clock.fileno(), struct.pack("l", session.job["clock"]), 0)
    return 0 if session.pulses(3) else 3


def session_outcome(job):
    """What came of a session with its fault, and of a second try without."""
    session = Session(job)
    session.start(True)
    outcome = session.talk((lambda: step_clock(session)) if "clock" in job else lambda: 0)
    calls, failed = session.service.calls, session.service.failed
    within(MOST_SECONDS if "kill_at" in job and failed else END_SECONDS if outcome else 0, session.has_ended)
    session.mend()
    found = judge_first_try(session, outcome)
    found += try_again(session) if outcome else []
    found += stop_and_clean_up(session)
    text = session.words() if found else ""
    session.close()
    return {"outcome": outcome or "good", "found": found, "failed": failed, "output": text,
            "calls": calls if job.get("count") == 0 else []}


def judge_first_try(session, outcome):
    found, requests = [], session.requests_besides_pulses()
    if outcome.endswith("silent") and not may_be_silent(session.job):
        found.append("the front end was told nothing")
    if requests > MOST_REQUESTS:
        found.append("a storm of %d requests" % requests)
    return found + session.place.damage()


def try_again(session):
    if session.has_ended():
        session.start(False)
    outcome = session.talk()
    if outcome and may_be_silent(session.job):
        outcome = session.talk()  # the look at the network ended a login that came after all, as it may
    return ["the second try failed, too: " + outcome] if outcome else []


def stop_and_clean_up(session):
    """The stop, and the next start, which removes what is left."""
    found = [] if session.kill() else ["the stop had to be forced"]
    if session.place.traces():
        session.start(False)
        session.front_end("start")
        within(MOST_SECONDS, lambda: not session.place.traces())
        found += session.place.traces()
        session.kill()
    return found + session.place.damage()


def kills_outcome(job):
    """So many kills of save-and-push, one start after the other in one folder, and in which stage each came."""
    place, found, dice = Place(job["seed"]), [], random.Random(job["seed"])
    stages = collections.Counter()
    command = [os.path.abspath(BINARIES + "/save-and-push"),
               *(os.path.abspath("%s/sample-%d.zxm" % (MODULES, number)) for number in (1, 2))]
    for number in range(job["kills"] + 1):
        with subprocess.Popen(command, cwd=place.folder, stdin=subprocess.PIPE, stdout=subprocess.PIPE) as child:
            child.stdout.readline()
            found += ["kill %d: %s" % (number, what) for what in place.damage() + place.traces()]
            child.stdin.write(b"\n")
            child.stdin.flush()
            time.sleep(dice.uniform(0, LATEST_KILL))
            child.kill()
            stage = STAGES.get(child.stdout.read()[-1:], "start")
        stages[stage] += 1
        if child.returncode != -signal.SIGKILL:
            found.append("kill %d: it ended by itself with %d, %s failed" % (number, child.returncode, stage))
            break
    place.remove()
    return {"outcome": "killed", "found": found, "failed": [], "output": "", "calls": [], "stages": stages}


def main():
    for line in sys.stdin:
        job = json.loads(line)
        outcome = kills_outcome(job) if "kills" in job else session_outcome(job)
        print(json.dumps(outcome), flush=True)


if __name__ == "__main__":
    try:
        main()
    except Exception:  # threads that answer the kernel would keep the process alive
        traceback.print_exc()
        os._exit(1)
