"""One life of the service and the agent in a hurry, inside scripts/sandbox; scripts/soak starts it.

  soak-life.py BUILD_FOLDER WORK_FOLDER SECONDS RATE NUMBER

Both run by a clock that is RATE times as fast, against a simulated portal that asks for a pulse as soon as the last
one is answered. Meanwhile what happens to a machine in months happens to them every second or so, until SECONDS have
passed, or twice the time that it took until all of it had happened once. WORK_FOLDER/samples.csv gets what both hold
at each moment, WORK_FOLDER/events how often what happened and how long it took until the machine was online again. Ends
with 1, saying why, when it does not come back.
"""

import csv
import json
import os
import random
import re
import shutil
import signal
import socket
import subprocess
import sys
import threading
import time

ACCOUNT, PASSWORD = "13800000001", "secret"
PORTAL, PORTAL_LINK, OWN_LINK = "192.0.2.1", "portal0", "campus0"

# Nothing has to come back sooner: the agent's longest pause is 300 s and it may take several, by the fast clock.
COMEBACK_SECONDS = 3000
STANDING_SECONDS = 70  # by the fast clock: a login that stood for 60 begins its pauses anew
ANSWER_SECONDS = 60  # by the true clock; the agent is asked to answer within 300 by the fast one
GOOD_PULSES = 5  # more than any event has answers for
MESSAGE = "<M><OpS>client</OpS><OpT>Portal</OpT><OpC>%s</OpC><P></P></M>\0"
SCENARIO = (
    f"account {ACCOUNT} {PASSWORD}", "pulse-seconds 0", "pulse-retries 2", "ticket-seconds 3600",
    "statistics-interval 600", "sharing-seconds 300", "sharing-logout-seconds 60",
    "forbid-process no-such-program none", "terminal laptop T-laptop",
)


class Failed(Exception):
    pass


class Portal:
    """The simulator in the neighbour's network, its scenario, and how much it was asked."""

    def __init__(self, build):
        self.build = build
        self.exchanges = 0
        self.good_pulses = 0
        self.process = None
        self.complaints = {}

    def start(self):
        command = ["nsenter", "--net=" + os.environ["QUORVANE_SANDBOX_PEER"], f"{self.build}/bin/portal-sim",
                   "--listen", f"{PORTAL}:80"]
        for line in SCENARIO:
            command += ["--set", line]
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        serves = threading.Event()
        self.reader = threading.Thread(target=self.count, args=(self.process.stdout, serves), daemon=True)
        self.reader.start()
        if not serves.wait(30):
            raise Failed("the portal does not start")

    def count(self, lines, serves):
        for line in lines:
            if line.startswith("probe address"):  # a request may be told before it
                serves.set()
                continue
            self.exchanges += 1
            self.good_pulses += " /keep  ok" in line
            if "COMPLAINT: " in line:
                # The numbers differ from one to the next.
                kind = re.sub(r"[0-9]+", "N", line.split("COMPLAINT: ")[1].strip())
                self.complaints[kind] = self.complaints.get(kind, 0) + 1

    def say(self, *lines):
        self.process.stdin.writelines(line + "\n" for line in lines)
        self.process.stdin.flush()

    def stop(self):
        self.process.kill()
        self.process.wait()
        self.reader.join()


class Life:
    def __init__(self, build, work, rate, number):
        self.build, self.work, self.rate = build, work, rate
        self.replaces_agent = number % 2 == 0
        self.portal = Portal(build)
        self.random = random.Random(number)
        self.service = self.agent = None
        self.rounds = 0  # in which everything has happened
        self.log_of_agent = open(f"{work}/agent.log", "ab")
        self.start_of_day = int(time.time())
        self.module = 1

    # -- the programs

    def start(self):
        os.mkdir(f"{self.work}/conf")
        with open(f"{self.work}/conf/conf.xml", "w") as settings:
            settings.write(f"<settings><version>1.0.0</version><redirect>http://{PORTAL}/forward.cgi</redirect>"
                           "<redirectipv6></redirectipv6><messageEngine>waiting</messageEngine></settings>")
        with open(f"{self.work}/account", "w", opener=lambda path, flags: os.open(path, flags, 0o600)) as account:
            account.write(f"{ACCOUNT}\n{PASSWORD}\n")
        self.garbage = f"{self.work}/garbage.zxm"
        with open(self.garbage, "wb") as garbage:
            garbage.write(b"no module" * 1000)
        self.portal.start()
        self.service = self.run("QuorvaneSvr", stdout=open(f"{self.work}/service.out", "wb"))
        self.start_agent()
        self.wait_online()
        if self.replaces_agent:
            open(f"{self.work}/agent-is-replaced", "w").close()

    def run(self, program, *arguments, **options):
        environment = dict(os.environ, LD_PRELOAD=f"{self.build}/lib/fast-clock.so", FAST_CLOCK_RATE=str(self.rate),
                           FAST_CLOCK_START=str(self.start_of_day))
        return subprocess.Popen([f"{self.build}/bin/{program}", *arguments], cwd=self.work, env=environment,
                                stdin=subprocess.DEVNULL, stderr=subprocess.STDOUT, **options)

    def start_agent(self):
        self.agent = self.run("quorvane-agent", "--dir", ".", "--account-file", "account", stdout=self.log_of_agent)

    def stop(self):
        for process in (self.agent, self.service, self.portal.process):
            if process is not None:
                process.kill()
                process.wait()

    # -- what is asked of the agent

    def connect(self):
        client = socket.socket(socket.AF_UNIX)
        client.settimeout(ANSWER_SECONDS)
        client.connect(f"{self.work}/agent.sock")
        return client

    def ask(self, **request):
        with self.connect() as client, client.makefile() as answers:
            client.sendall(json.dumps(request).encode() + b"\n")
            return json.loads(answers.readline())

    def state(self):
        try:
            return self.ask(op="status")["state"]
        except OSError:  # it has just been started
            return "gone"

    def wait_online(self):
        """The true seconds that it took. Pulses have to go through as well: the state is that of the last report."""
        began = time.monotonic()
        enough = self.portal.good_pulses + GOOD_PULSES
        state = ""
        while time.monotonic() - began < COMEBACK_SECONDS / self.rate + 10:
            for process, name in ((self.service, "service"), (self.agent, "agent")):
                if process.poll() is not None:
                    raise Failed(f"the {name} has ended with {process.returncode}")
            state = self.state()
            if state == "online" and self.portal.good_pulses >= enough:
                return time.monotonic() - began
            if state == "refused":
                self.ask(op="login")
            time.sleep(0.1)
        raise Failed(f"the machine stays {state}, with {self.portal.good_pulses - enough + GOOD_PULSES} good pulses")

    def rest(self, fast_seconds):
        time.sleep(fast_seconds / self.rate)

    def tell_service(self, text):
        pipe = os.open(f"{self.work}/clientpipe", os.O_WRONLY | os.O_NONBLOCK)
        os.write(pipe, text.encode())
        os.close(pipe)

    # -- what happens; each leaves everything so that the machine can come back

    def pulse_finds_no_login(self):
        self.portal.say("answer pulse error 14")

    def login_is_gone(self):
        self.portal.say("answer pulse error 14", "answer state error 14")

    def login_is_undecided(self):
        self.portal.say("answer pulse error 14", "answer state error 300")

    def pulse_is_intercepted(self):
        self.portal.say(self.random.choice(("answer pulse redirect", "answer pulse page")))

    def network_check_while_online(self):
        self.tell_service(MESSAGE % "CheckEnv")

    def network_opens(self):
        self.portal.say("no-portal")
        self.tell_service(MESSAGE % "CheckEnv")
        self.rest(60)
        self.portal.say("portal")

    def module_changes(self):
        self.module = 3 - self.module
        endpoint = self.random.choice(("pulse", "ticket"))
        self.portal.say(f"answer {endpoint} module {self.build}/modules/sample-{self.module}.zxm",
                        "answer pulse usual", "answer pulse error 14", "answer state error 14")

    def module_is_damaged(self):
        self.portal.say(f"answer pulse module {self.garbage}")

    def servers_are_pushed(self):
        self.portal.say(f"dns1 198.51.100.{self.random.randint(1, 254)}", f"dns2 203.0.113.{self.random.randint(1, 9)}",
                        "answer pulse error 14", "answer state error 14")

    def answers_are_bad(self):
        for kind in self.random.choices(("garbage", "drop", "status 500", "status 404", "error 77", "page",
                                         "usual delay=30", f"usual delay={15000 // self.rate}"), k=4):
            self.portal.say(f"answer {self.random.choice(('pulse', 'pulse', 'state', 'ticket', 'login'))} {kind}")

    def password_is_refused(self):
        self.portal.say("answer pulse error 14", "answer state error 14",
                        "answer login error 105 Sub-Error=11")

    def portal_is_restarted(self):
        self.portal.stop()
        self.rest(self.random.randint(1, 200))
        self.portal.start()

    def link_is_lost(self):
        peer = ["nsenter", "--net=" + os.environ["QUORVANE_SANDBOX_PEER"], "ip", "link", "set", PORTAL_LINK]
        subprocess.run([*peer, "down"], check=True)
        self.rest(self.random.randint(1, 60))
        subprocess.run([*peer, "up"], check=True)

    def route_is_lost(self):
        subprocess.run(["ip", "link", "set", OWN_LINK, "down"], check=True)
        self.rest(self.random.randint(1, 60))
        subprocess.run(["ip", "link", "set", OWN_LINK, "up"], check=True)
        subprocess.run(["ip", "route", "add", "default", "via", PORTAL], check=True)

    def user_logs_out_and_in(self):
        self.ask(op="logout", timeout=60)
        self.rest(20)
        self.ask(op="login", timeout=300)

    def account_file_is_written(self):
        shutil.copy2(f"{self.work}/account", f"{self.work}/account.new")
        os.rename(f"{self.work}/account.new", f"{self.work}/account")

    def clients_come_in_crowds(self):
        """Some ask, some watch, some send half a line or nothing sensible, and all hang up at once."""
        lines = (b'{"op":"status"}\n', b'{"op":"watch"}\n', b'{"op":"history","since":3600}\n', b'{"op":"sta', b"[]\n",
                 b'{"op":"terminals"}\n', b'{"op":"check"}\n', b"x" * 70000)
        crowd = []
        for line in self.random.sample(lines * 7, len(lines) * 7):
            client = self.connect()
            client.setblocking(False)
            try:
                client.sendall(line)
            except OSError:  # it was refused, or does not take so much at a time
                pass
            crowd.append(client)
        self.rest(30)
        for client in crowd:
            client.close()

    def commands_are_run(self):
        ctl = [f"{self.build}/bin/quorvane-ctl", "--socket", f"{self.work}/agent.sock"]
        running = [subprocess.Popen([*ctl, *words], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
                   for words in (["status"], ["terminals"], ["watch"], ["history"], ["--json", "status"], ["watch"])]
        self.rest(100)
        for process in running:
            process.kill()
            process.wait()

    def others_write_to_the_service(self):
        for text in (MESSAGE % "ClientStart", MESSAGE % "GetTerminalData", MESSAGE % "NoSuchThing", "<M><OpS>half",
                     "\0\0\0", "<M>" * 1000 + "\0", MESSAGE % "ClientStart" * 20):
            self.tell_service(text)

    def agent_is_replaced(self):
        """Another front end in between, which leaves without a word."""
        self.agent.terminate()
        self.agent.wait()
        other = subprocess.Popen([f"{self.build}/bin/pipe-client", "--timeout", "10", "start", "watch"],
                                 cwd=self.work, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.rest(60)
        other.kill()
        other.wait()
        self.start_agent()

    EVENTS = (pulse_finds_no_login, login_is_gone, login_is_undecided, pulse_is_intercepted,
              network_check_while_online, network_opens, module_changes, module_is_damaged, servers_are_pushed,
              answers_are_bad, password_is_refused, portal_is_restarted, link_is_lost, route_is_lost,
              user_logs_out_and_in, account_file_is_written, clients_come_in_crowds, commands_are_run,
              others_write_to_the_service)

    # -- what is held

    def sample(self, began):
        row = {"seconds": round(time.monotonic() - began, 2), "rounds": self.rounds,
               "exchanges": self.portal.exchanges}
        for name, process in (("service", self.service), ("agent", self.agent)):
            row.update({f"{name}_{key}": value for key, value in held_by(process.pid).items()})
        logs = [entry.stat().st_size for entry in os.scandir(f"{self.work}/Log")]
        row["service_log"] = sum(logs) + os.path.getsize(f"{self.work}/service.out")
        row["agent_log"] = os.path.getsize(f"{self.work}/agent.log")
        row["history"] = os.path.getsize(f"{self.work}/history.jsonl")
        return row

    def sample_until(self, ended, began, interval):
        with open(f"{self.work}/samples.csv", "w", newline="") as file:
            table = None
            while not ended.wait(interval):
                try:
                    row = self.sample(began)
                except (OSError, KeyError):  # the agent is being replaced
                    continue
                if table is None:
                    table = csv.DictWriter(file, row.keys())
                    table.writeheader()
                table.writerow(row)
                file.flush()

    # -- the life

    def live(self, seconds):
        events = list(self.EVENTS) + ([Life.agent_is_replaced] if self.replaces_agent else [])
        coming = self.random.sample(events, len(events))
        happened = {}
        began = time.monotonic()
        ended = threading.Event()
        sampler = threading.Thread(target=self.sample_until, args=(ended, began, min(5, max(0.2, seconds / 400))))
        sampler.start()
        try:
            while self.rounds == 0 or time.monotonic() - began < seconds:
                event = coming.pop()
                event(self)
                took = self.wait_online() * self.rate
                count, longest = happened.get(event.__name__, (0, 0))
                happened[event.__name__] = (count + 1, max(longest, took))
                if not coming:
                    coming = self.random.sample(events, len(events))
                    self.rounds += 1
                    if self.rounds == 1:
                        seconds = max(seconds, 2 * (time.monotonic() - began))
                self.rest(STANDING_SECONDS)
            self.portal.say("portal")
            self.wait_online()
        except (Failed, OSError) as failure:
            raise Failed(f"{failure!r} after {event.__name__}, {time.monotonic() - began:.0f} s after the start")
        finally:
            ended.set()
            sampler.join()
            self.write_events(happened)

    def write_events(self, happened):
        with open(f"{self.work}/events", "w") as file:
            for name, (count, longest) in sorted(happened.items()):
                file.write(f"{name.replace('_', ' ')}\t{count}\t{longest:.0f}\n")
            for kind, count in sorted(self.portal.complaints.items()):
                file.write(f"complaint: {kind}\t{count}\t\n")


def held_by(process):
    with open(f"/proc/{process}/status") as file:
        status = dict(line.split(":", 1) for line in file)
    return {"rss": int(status["VmRSS"].split()[0]), "descriptors": len(os.listdir(f"/proc/{process}/fd")),
            "threads": int(status["Threads"])}


def main():
    build, work, seconds, rate, number = sys.argv[1:]
    life = Life(os.path.abspath(build), os.path.abspath(work), int(rate), int(number))
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    try:
        life.start()
        life.live(float(seconds))
    except Failed as failure:
        print(f"life {number}: {failure}", file=sys.stderr)
        sys.exit(1)
    finally:
        life.stop()


main()
