"""Judges what scripts/soak has measured, and prepares the picture of it.

  soak-judge.py FOLDER RATE      FOLDER/life-N/samples.csv are the lives; FOLDER/curves gets what gnuplot draws

Prints what every life held after its first hour's worth and in the end. Ends with 1 when something has grown.
"""

import csv
import glob
import os
import sys

FIRST_HOUR, FIRST_SHARE = 3600, 0.05  # in exchanges: a pulse a second, or this share of the life when that is more
SHORT_LIFE = 1 / 3                    # ... but no more than this share, unless not everything has happened by then
WINDOW = 0.1                          # of the exchanges: what is compared is the beginning and the end of the rest
GROWTH = 0.01
SHORT_GROWTH_KB = 512                 # in lives that are hardly longer than the first hour; pages that are new to it
LOG_BYTES_PER_HOUR = 1_000_000        # by the fast clock; a pulse a second alone writes 80,000
HISTORY_BYTES = 1 << 20
HISTORY_IN_MEMORY = 3                 # bytes of the agent for each of the file, so it grows until the file is full
AGENT_GRAIN_KB = 128                  # what malloc keeps before it gives back any; more than 1 % of the small agent
POINTS = 36                           # of a curve

# What may not grow, and the quantile that counts: the least of what comes and goes with each exchange, for a busy
# machine is hardly ever found at rest.
HELD = (("rss", 0.5, "kB resident"), ("descriptors", 0, "descriptors"), ("threads", 0, "threads"))


def read(file):
    with open(file) as lines:
        return [{key: float(value) for key, value in row.items()} for row in csv.DictReader(lines)]


def quantile(values, share):
    return sorted(values)[int(share * (len(values) - 1))]


def between(rows, begin, end):
    return [row for row in rows if begin <= row["exchanges"] <= end]


def first_hour(rows):
    total = rows[-1]["exchanges"]
    first_round = next(row["exchanges"] for row in rows if row["rounds"] > 0)
    return max(first_round, FIRST_SHARE * total, min(FIRST_HOUR, SHORT_LIFE * total))


def slack_of(key, before, early, late):
    """How much more than `before` may be held in the end."""
    is_short = late[-1]["exchanges"] < 10 * FIRST_HOUR
    slack = SHORT_GROWTH_KB if key.endswith("rss") and is_short else GROWTH * before
    if key == "agent_rss":
        history = max(0, late[-1]["history"] - early[-1]["history"]) / 1024
        slack = max(slack, AGENT_GRAIN_KB) + HISTORY_IN_MEMORY * history
    return slack


def judge_held(name, rows, faults):
    total, hour = rows[-1]["exchanges"], first_hour(rows)
    window = WINDOW * (total - hour)
    early, late = between(rows, hour, hour + window), between(rows, total - window, total)
    for program in ("service", "agent"):
        is_judged = program == "service" or not os.path.exists(f"{name}/agent-is-replaced")
        for what, share, words in HELD:
            key = f"{program}_{what}"
            before, after = (quantile([row[key] for row in part], share) for part in (early, late))
            slack = slack_of(key, before, early, late)
            print(f"  {program:8} {words:12} {before:8.0f} -> {after:8.0f}  {(after / before - 1):+.2%}"
                  + (f"  at most {before + slack:.0f}" if is_judged else "  (replaced meanwhile)"))
            if is_judged and after - before > slack:
                faults.append(f"{name}: {program}: {words} grew from {before:.0f} to {after:.0f}")


def judge_logs(name, rows, hours, faults):
    for log in ("service_log", "agent_log"):
        grown = (rows[-1][log] - rows[0][log]) / hours
        print(f"  {log.replace('_', ' '):21} {grown / 1000:8.0f} kB an hour")
        if grown > LOG_BYTES_PER_HOUR:
            faults.append(f"{name}: the {log.replace('_', ' ')} grows by {grown:.0f} bytes an hour")
    if max(row["history"] for row in rows) > HISTORY_BYTES:
        faults.append(f"{name}: the history is longer than {HISTORY_BYTES} bytes")


def write_curves(file, rows):
    """Medians of stretches of equal length, in the units of the panels."""
    total = rows[-1]["exchanges"]
    for step in range(POINTS):
        part = between(rows, step * total / POINTS, (step + 1) * total / POINTS)
        if not part:
            continue
        middle = {key: quantile([row[key] for row in part], 0.5) for key in part[0]}
        file.write(" ".join(f"{value:.4g}" for value in (
            middle["exchanges"] / 1000, middle["service_rss"] / 1024, middle["agent_rss"] / 1024,
            middle["service_descriptors"], middle["agent_descriptors"],
            middle["service_threads"], middle["agent_threads"],
            middle["service_log"] / 1e6, middle["agent_log"] / 1e6)) + "\n")
    file.write("\n\n")


def main():
    folder, rate = sys.argv[1], int(sys.argv[2])
    os.chdir(folder)
    faults, exchanges, hours = [], 0, 0
    with open("curves", "w") as curves:
        for name in sorted(glob.glob("life-*")):
            rows = read(f"{name}/samples.csv")
            lived = (rows[-1]["seconds"] - rows[0]["seconds"]) * rate / 3600
            print(f"{name}: {rows[-1]['exchanges']:.0f} exchanges")
            judge_held(name, rows, faults)
            judge_logs(name, rows, lived, faults)
            exchanges, hours = exchanges + rows[-1]["exchanges"], hours + lived
            write_curves(curves, rows)
    print(f"{exchanges:.0f} exchanges in {hours:.0f} hours of life ({hours / 24 / 7:.1f} weeks)")
    for fault in faults:
        print(fault, file=sys.stderr)
    sys.exit(1 if faults else 0)


main()
