"""Lets the service meet each malice of the table and proves after each that the same process still logs in at the
simulated portal, within its bounds of memory, processor time and log. Called by scripts/hostile, in the sandbox.

  run.py BUILD_FOLDER [--full] [--only TEXT]"""
import glob
import lzma
import os
import queue
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import threading
import time

import cases
from portal import Portal, portal_says

BUILD, FULL = os.path.abspath(sys.argv[1]), "--full" in sys.argv
ONLY = sys.argv[sys.argv.index("--only") + 1] if "--only" in sys.argv else ""
SANITIZED = BUILD.endswith(("asan", "tsan"))
WORKERS = 16
ACCOUNT, PASSWORD = "13800000001", "hostile-secret"
LARGEST_MEMORY_MB = 320 if SANITIZED else 64  # a sanitizer has its own map, three times as large
KEPT_FREED_MB = 16                            # of the address sanitizer; its usual 256 would hide what is taken
LARGEST_LOG_KB = 4300                         # the burst that the log allows, and its rate for a case of two minutes
BUSY = 0.5                                    # more of a core than that is a loop
PROOF_SECONDS = 150                           # a service that was sent on too often rests 30 s at each of 4 hops
PATIENCE_SECONDS = 45                         # until a service that a module has to itself counts as hanging
READY, CONNECTED = "31", "2"
NOT_MET = "a stage was not reached:"
NO_ALGORITHM = b"00000000-0000-0000-0000-000000000000"
MODULES = {
    "crashes": "char* Code(const char* t) { (void)t; *(volatile char*)8 = 1; return 0; }",
    "forks": "char* Code(const char* t) { (void)t; if (fork() == 0) _exit(0); return (char*)\"x\"; }",
    "closes descriptors": "char* Code(const char* t) { (void)t; closefrom(3); return (char*)\"x\"; }",
    "never returns": "char* Code(const char* t) { (void)t; for (;;) pause(); }"}


def wait_until(condition, seconds):
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        if condition():
            return True
        time.sleep(0.05)
    return False


def read(path):
    with open(path, "rb") as file:
        return file.read()


def make_containers(folder):
    """The containers of the modules that misbehave. They have the empty id, so the simulated portal replaces them."""
    def pack(module):
        packed = lzma.compress(module, format=lzma.FORMAT_ALONE)  # properties, size in 8 bytes, stream
        stream = bytearray(packed[13:])
        for place in range(len(stream) - 1):
            stream[place] ^= stream[place + 1]
        return b"BAD\0\x24" + NO_ALGORITHM + packed[:5] + struct.pack("<I", len(module)) + stream

    containers = {"again and again": read(BUILD + "/modules/sample-1.zxm"), "unpacks to much": pack(bytes(60 << 20)),
                  "unpacks to the limit": pack(bytes(16 << 20))}
    for name, code in MODULES.items():
        subprocess.run(["cc", "-shared", "-fPIC", "-O1", "-D_GNU_SOURCE", "-include", "unistd.h", "-x", "c", "-", "-o",
                        folder + "/module.so"], input=code.encode(), check=True)
        containers[name] = pack(read(folder + "/module.so"))
    return containers


class Simulator:
    def __init__(self):
        lines = [f"account {ACCOUNT} {PASSWORD}", "school-id s", "domain d", "area a", "pulse-seconds 600",
                 "statistics-interval 600", "terminal other T-9", "sharing-seconds 600", "state-interval 2",
                 "register one", "option two", "account-type none", "account-value none", "dns1 198.51.100.53",
                 "dns2 198.51.100.54", "forbid-process nothing-like-it shown"]
        self.process = subprocess.Popen([BUILD + "/bin/portal-sim", "--listen", "127.0.0.1:0"] +
                                        [word for line in lines for word in ("--set", line)],
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, errors="replace")
        for line in self.process.stdout:
            if line.startswith("probe address: "):
                self.address = re.search(r"//([^/:]*):(\d+)/", line).groups()
                break
        self.logins = 0
        threading.Thread(target=self.count, daemon=True).start()

    def count(self):
        for line in self.process.stdout:
            self.logins += " /auth  ok" in line


class Service:
    """The service in a folder of its own, and its front end."""

    def __init__(self, folder, portal):
        self.folder, self.portal, self.process, self.heard = folder, portal, None, 0
        os.makedirs(folder + "/conf")
        os.mkfifo(folder + "/serverpipe")
        os.mkfifo(folder + "/clientpipe")
        with open(folder + "/conf/conf.xml", "w") as file:
            file.write(f"<settings><version>1</version><redirect>http://{portal.server}/forward.cgi</redirect>"
                       "<messageEngine>waiting</messageEngine></settings>")
        self.states = []
        self.reports = os.open(folder + "/serverpipe", os.O_RDWR)
        self.orders = os.open(folder + "/clientpipe", os.O_RDWR)
        threading.Thread(target=self.listen, daemon=True).start()

    def start(self):
        shutil.copy(BUILD + "/modules/sample-1.zxm", self.folder + "/zxmAlogic.zxm")
        self.output = open(self.folder + "/output", "ab")
        options = f"{os.environ.get('ASAN_OPTIONS', '')}:quarantine_size_mb={KEPT_FREED_MB}"
        self.process = subprocess.Popen([BUILD + "/bin/QuorvaneSvr"], cwd=self.folder, stdin=subprocess.DEVNULL,
                                        stdout=self.output, stderr=self.output,
                                        env=os.environ | {"ASAN_OPTIONS": options})
        self.ask("ClientStart")

    def listen(self):
        rest = b""
        while True:
            *messages, rest = (rest + os.read(self.reports, 65536)).split(b"\0")
            for message in messages:
                state = re.search(rb"<newState>(\d+)</newState>", message)
                if state:
                    self.states.append(state.group(1).decode())

    def ask(self, operation, parameters=""):
        message = f"<M><OpS>client</OpS><OpT>Portal</OpT><OpC>{operation}</OpC><P>{parameters}</P></M>\0"
        os.write(self.orders, message.encode())

    def log_in(self):
        self.ask("PortalConnect", f"<user>{ACCOUNT}</user><password>{PASSWORD}</password>")

    def lives(self):
        return self.process is not None and self.process.poll() is None

    def end(self):
        """Its exit status; 15 seconds are more than any log-out of its own takes."""
        if not self.lives():
            return self.process.returncode
        self.process.terminate()
        try:
            return self.process.wait(15)
        except subprocess.TimeoutExpired:
            self.process.kill()
            return self.process.wait()

    def last_words(self):
        """What its sanitizer says while it ends."""
        self.heard = os.path.getsize(self.folder + "/output")
        self.end()
        return self.complaint()

    def status(self, name):
        return int(re.search(name.encode() + rb":\s*(\d+)", read(f"/proc/{self.process.pid}/status")).group(1))

    def forget(self):
        """Its peak of memory, and what its sanitizer has said."""
        with open(f"/proc/{self.process.pid}/clear_refs", "w") as file:
            file.write("5")
        self.heard = os.path.getsize(self.folder + "/output")

    def processor_seconds(self):
        fields = read(f"/proc/{self.process.pid}/stat").rsplit(b")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def log_size(self):
        return sum(os.path.getsize(name) for name in glob.glob(self.folder + "/Log/*"))

    def log_count(self, text):
        return sum(read(name).count(text) for name in glob.glob(self.folder + "/Log/*"))

    def complaint(self):
        """The first line of what a sanitizer has said; empty without one."""
        lines = read(self.folder + "/output")[self.heard:].decode("latin-1").splitlines()
        return next((line[:200] for line in lines if "Sanitizer" in line or "runtime error" in line), "")


class Worker(threading.Thread):
    def __init__(self, folder, work, results, containers):
        super().__init__()
        self.work, self.results, self.containers = work, results, containers
        self.simulator = Simulator()
        self.portal = Portal(self.simulator.address)
        self.service = Service(folder, self.portal)
        self.service.start()

    def run(self):
        while True:
            try:
                case = self.work.get_nowait()
            except queue.Empty:
                break
            try:
                self.results.put((case, self.withstand(case)))
            except Exception as fault:  # a case must not take the others with it
                self.results.put((case, {"fault": repr(fault)}))
                self.revive()
        self.last_words = self.service.last_words()
        self.simulator.process.terminate()
        self.simulator.process.wait()

    def revive(self):
        self.service.end()
        self.service.start()

    def withstand(self, case):
        """Once more where a busy machine kept the malice from its stage."""
        result = self.try_case(case)
        return self.try_case(case) if result["fault"].startswith(NOT_MET) else result

    def try_case(self, case):
        service, began = self.service, time.monotonic()
        if not service.lives():
            service.start()
        service.forget()
        before = service.log_size(), service.processor_seconds()
        self.meet(case)
        result = {"met": dict(self.portal.met), "found": dict(self.portal.found)}
        self.portal.turn({})
        if case.end:
            result["story"] = self.tell_end()
        result["fault"] = self.prove()
        result["seconds"] = time.monotonic() - began
        if service.lives():
            result["peak"] = service.status("VmHWM") / 1024
            result["log"] = (service.log_size() - before[0]) / 1024
            result["busy"] = max(0, service.processor_seconds() - before[1]) / result["seconds"]
        result["fault"] = result["fault"] or self.find_fault(case, result)
        if result["fault"]:
            self.revive()
        return result

    def meet(self, case):
        """Goes as far along the chain as the malice lets it, and stays a little."""
        service, malice = self.service, dict(case.malice)
        if case.module:
            malice["ticket"] = portal_says(b"200", self.containers[case.module], encoded=False)
        self.portal.turn(malice)
        seen = len(service.states)
        service.ask("CheckEnv")
        if wait_until(lambda: READY in service.states[seen:] or self.is_met(), case.seconds + 16) and not self.is_met():
            seen = len(service.states)
            wait_until(lambda: self.portal.met.get("state", 1), 15)  # a login comes before the question for its state
            counted = service.log_count(b"NetworkTraffic]") + 2  # a log-out counts once the traffic is counted
            service.log_in()
            wait_until(lambda: CONNECTED in service.states[seen:] or self.is_met(), case.seconds + 16)
            if {"statistics", "term"} & set(malice):
                wait_until(lambda: service.log_count(b"NetworkTraffic]") >= counted, 20)
            for stage, operation in (("query", "GetTerminalData"), ("statistics", "PortalDisConnect"),
                                     ("term", "PortalDisConnect")):
                self.ask_until_met(stage, operation)
        wait_until(self.is_met, case.seconds)
        self.look_again(case)
        wait_until(lambda: not service.lives(), case.stays)

    def ask_until_met(self, stage, operation):
        """A log-out is dropped while the statistics travel."""
        deadline = time.monotonic() + 25
        while not self.portal.met.get(stage, 1) and time.monotonic() < deadline:
            self.service.ask(operation, "<src>1</src>")
            wait_until(lambda: self.portal.met[stage], 2)

    def look_again(self, case):
        for looks in range(2, case.looks + 1):
            self.service.ask("CheckEnv")
            wait_until(lambda: self.portal.met["page"] >= looks or not self.service.lives(), 16)

    def is_met(self):
        return all(self.portal.met.values())

    def tell_end(self):
        if not self.prove(PATIENCE_SECONDS):
            return "goes on"
        ends = not self.service.lives()
        status = self.service.end()
        self.service.start()
        return f"ends by itself, status {status}" if ends else f"hangs until it is told to end, status {status}"

    def prove(self, seconds=PROOF_SECONDS):
        """A login that the simulated portal accepts. Empty, or what is missing."""
        service, logins = self.service, self.simulator.logins
        deadline = time.monotonic() + seconds
        while service.lives() and time.monotonic() < deadline:
            seen = len(service.states)
            service.ask("CheckEnv")
            if wait_until(lambda: READY in service.states[seen:] or not service.lives(), 8):
                service.log_in()
                if wait_until(lambda: self.simulator.logins > logins and CONNECTED in service.states[seen:], 6):
                    return ""
        return "does not log in any more" if service.lives() else f"ended with {service.process.returncode}"

    def find_fault(self, case, result):
        complaint = self.service.complaint()
        if complaint and case.module != "crashes":
            return complaint
        if told(result.get("story", "")) != told(case.end):
            return f"{result['story']}; expected was: {case.end}"
        if min(result["met"].values()) < case.looks:
            return f"{NOT_MET} {result['met']}"
        idle = [pattern for pattern, times in result["found"].items() if not times]
        if idle:
            return f"an edit met nothing: {idle}"
        if result.get("peak", 0) > LARGEST_MEMORY_MB:
            return "too much memory"
        if result.get("log", 0) > LARGEST_LOG_KB:
            return "too much log"
        if result.get("busy", 0) > BUSY and not SANITIZED:
            return "too busy"
        return ""


def told(end):
    """What can be compared of an end: a sanitizer makes a status its own."""
    return end.partition(",")[0] if SANITIZED else end


def main():
    chosen = [case for case in cases.all_cases() if (FULL or ONLY or case.in_slice) and ONLY in case.what]
    if not chosen:
        sys.exit(f"hostile: no malice has '{ONLY}' in its name; tests/hostile/cases.py lists them")
    work, results = queue.Queue(), queue.Queue()
    for case in chosen:
        work.put(case)
    began = time.monotonic()
    with tempfile.TemporaryDirectory(prefix="quorvane-hostile.") as folder:
        containers = make_containers(folder)
        workers = [Worker(f"{folder}/{number}", work, results, containers)
                   for number in range(min(WORKERS, len(chosen)))]
        for worker in workers:
            worker.start()
        faults = [show(*results.get()) for _ in chosen]
        for worker in workers:
            worker.join()
            if worker.last_words:
                print("BAD  the end of the service: " + worker.last_words)
                faults.append(True)
    print(f"{len(chosen)} malices in {time.monotonic() - began:.0f} s, {sum(faults)} not withstood")
    return 1 if any(faults) else 0


def show(case, result):
    print("%-4s %-52s %5.1f s %6.1f MB  log %7.1f KB  busy %3.0f %%  %s" % (
        "BAD" if result["fault"] else "ok", case.what, result.get("seconds", 0), result.get("peak", 0),
        result.get("log", 0), 100 * result.get("busy", 0), result["fault"] or result.get("story", "")), flush=True)
    return bool(result["fault"])


sys.exit(main())
