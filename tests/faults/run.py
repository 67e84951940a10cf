"""Plans the faults, has workers in sandboxes carry them out, and tells what was found.
   python3 -B tests/faults/run.py [quick] [SEED]      from the project's folder, with the folder of the build in
   QUORVANE_BUILD; scripts/faults builds what it needs
A single job that is shown in braces is repeated by
   echo '{"first": 7, "choice": 1}' | QUORVANE_BUILD=build scripts/sandbox python3 -B tests/faults/worker.py"""
import collections
import json
import os
import random
import subprocess
import sys
import threading
import time

from judge import errors_of
from worker import STAGES

DAY = 24 * 60 * 60
WORKERS = 8 * os.cpu_count()  # sessions mostly wait
OWN_PROCESSES = ("unshare", "--pid", "--fork", "--kill-child", "--mount-proc")  # they end with the worker
MANY = 1 << 30
PROGRESS = 50  # runs between two lines on how far it is, where nobody watches
FREE_KIBIBYTES = (0, 4, 8, 12, 16, 32, 64)
WATCHED = ("resolv.conf", ".conf.xml.", "serverpipe")  # beginnings of names; every session writes to these files
LOWEST_DESCRIPTORS, HIGHEST_DESCRIPTORS = 4, 21  # watching the service takes the one behind the standard three


class Plan:
    """How much is done; the quick one fits into two minutes."""

    def __init__(self, quick, seed):
        self.dice = random.Random(seed)
        self.call_step, self.kills, self.kill_chain = (24, 100, 10) if quick else (1, 1000, 25)
        self.service_kills, self.every = (4, 4) if quick else (48, 1)
        self.stages = () if quick else tuple(STAGES.values())  # where kills must have come; few may miss a short one

    def calls(self, calls):
        """One run a call and error."""
        jobs = [{"first": place + 1, "choice": choice, "seed": place}
                for place, (name, what) in enumerate(calls) for choice in range(len(errors_of(name, what)))]
        jobs = jobs[self.dice.randrange(self.call_step)::self.call_step]
        self.dice.shuffle(jobs)  # a run that is broken off has seen something of everything
        return jobs

    def kill_chains(self):
        return [{"kills": self.kill_chain, "seed": self.seed()} for _ in range(self.kills // self.kill_chain)]

    def kills_of_the_service(self, calls):
        return [{"kill_at": self.dice.randrange(len(calls)) + 1, "seed": self.seed()}
                for _ in range(self.service_kills)]

    def lasting(self):
        """What stays wrong until the second try."""
        jobs = [{"full": "folder", "free": free} for free in FREE_KIBIBYTES]
        jobs += [{"full": "resolver", "seed": seed} for seed in range(3)]
        jobs += [{"descriptors": limit} for limit in range(LOWEST_DESCRIPTORS, HIGHEST_DESCRIPTORS + 1)]
        jobs += [{"name": "clone3", "first": first, "count": MANY} for first in range(1, 8)]
        jobs += [{"clock": step, "seed": seed} for step in (DAY, -DAY) for seed in range(4)]
        return jobs[::self.every]

    def seed(self):
        return self.dice.randrange(1 << 30)


class Crew:
    """Workers that each carry out one job at a time."""

    def __init__(self):
        command = ["scripts/sandbox", *OWN_PROCESSES, sys.executable, "-B", "tests/faults/worker.py"]
        self.workers = [subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
                        for _ in range(WORKERS)]

    def carry_out(self, jobs):
        """The jobs with their outcomes, in any order."""
        waiting, done = collections.deque(jobs), []

        def serve(worker):
            while waiting:
                try:
                    job = waiting.popleft()
                except IndexError:
                    return
                print(json.dumps(job), file=worker.stdin, flush=True)
                line = worker.stdout.readline()
                if not line:
                    return
                outcome = json.loads(line)
                done.append((job, outcome))
                watched = sys.stderr.isatty()
                if watched or len(done) % PROGRESS == 0:
                    print("  %d of %d" % (len(done), len(jobs)), end="\r" if watched else "\n", file=sys.stderr)
                if outcome["found"]:
                    show(job, outcome)

        threads = [threading.Thread(target=serve, args=(worker,)) for worker in self.workers]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        if len(done) < len(jobs):
            sys.exit("faults: a worker ended early; its message is above")
        return done

    def dismiss(self):
        for worker in self.workers:
            worker.stdin.close()
            worker.wait()


def show(job, outcome):
    print("  %s\n    failed: %s\n    found: %s" % (json.dumps(job), "; ".join(outcome["failed"][:3]) or "-",
                                                "; ".join(outcome["found"])))
    print("".join("      | %s\n" % line for line in outcome["output"].splitlines()), end="", flush=True)


def tell(title, done, began, expected):
    """A line on a group of runs. Returns in how many something was found, one more when an outcome that is expected
    did not come, and the number of faults."""
    outcomes = collections.Counter()
    for _, outcome in done:
        outcomes.update(outcome.get("stages", [outcome["outcome"]]))
    words = ", ".join("%d %s" % (count, name) for name, count in outcomes.most_common())
    faults = sum(job.get("kills", max(1, len(outcome["failed"]))) for job, outcome in done)
    print("%-24s %5d runs, %5d faults, %4d s: %s" % (title, len(done), faults, time.monotonic() - began, words),
          flush=True)
    missing = [name for name in expected if name not in outcomes]
    if missing:
        print("  found: none in %s" % ", ".join(missing))
    return sum(bool(outcome["found"]) for _, outcome in done) + bool(missing), faults


def expect_watched(calls):
    """A file that has another name to the kernel would never be made to fail."""
    for file in WATCHED:
        if not any(name == "write" and what.startswith(file) for name, what in calls):
            sys.exit("faults: no write to %s was seen in a session, so none can fail" % file)


def main():
    words = sys.argv[1:]
    quick = "quick" in words
    seed = int(next((word for word in words if word != "quick"), time.time_ns() % (1 << 30)))
    print("seed %d (scripts/faults %s%d repeats it)" % (seed, "quick " if quick else "", seed))
    plan, crew, began = Plan(quick, seed), Crew(), time.monotonic()
    _, usual = crew.carry_out([{"count": 0}])[0]
    if usual["found"]:
        sys.exit("faults: a session without a fault goes wrong: %s\n%s" % (usual["found"], usual["output"]))
    expect_watched(usual["calls"])
    print("%d calls in a session of %d s" % (len(usual["calls"]), time.monotonic() - began))
    groups = (("kill -9, dense moments", plan.kill_chains(), plan.stages),
              ("kill -9 of the service", plan.kills_of_the_service(usual["calls"]), ()),
              ("lasting faults", plan.lasting(), ()), ("one call fails", plan.calls(usual["calls"]), ()))
    bad = runs = faults = 0
    for title, jobs, expected in groups:
        began = time.monotonic()
        more = tell(title, crew.carry_out(jobs), began, expected)
        bad, faults, runs = bad + more[0], faults + more[1], runs + len(jobs)
    crew.dismiss()
    print("%d runs, %d faults: %s" % (runs, faults, "findings in %d runs" % bad if bad else "nothing was found"))
    sys.exit(1 if bad else 0)


if __name__ == "__main__":
    main()
