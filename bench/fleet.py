#!/usr/bin/env python3
"""What a fleet of pads asks of a web server: the peak in the morning, and how much in a day.

    fleet.py [PADS]

Each pad requests five files when it starts, half a second apart, over one connection. Its copies have expired overnight,
so each request is a check (HEAD). One of the files is new, so a download (GET) follows at once. The starts are normally
distributed: 95 of 100 lie within ten minutes. An HTTP cache in front answers for a minute by itself, then passes one
request a file on; 20 of them share the pads. The seed is fixed: each run prints the same.
"""

import collections
import random
import sys

FILES = 5
STARTS_WITHIN = 600  # seconds
FRONTS = 20
FRONT_ANSWERS_FOR = 60  # seconds
WORKING_DAY = 8 * 60  # minutes that a pad runs
REQUESTED_EVERY = 10  # minutes


def starts(pads):
    chance = random.Random(1)
    return [chance.gauss(STARTS_WITHIN, STARTS_WITHIN / 3.92) for _ in range(pads)]


def requests(moments):
    """Moment, cache in front, method and file of each request of all pads, in order."""
    for pad, moment in enumerate(moments):
        yield moment, pad % FRONTS, "GET", 0
        for file in range(FILES):
            yield moment + file / 2, pad % FRONTS, "HEAD", file


def passed_on(ordered):
    """The moments at which caches in front ask the server."""
    known_until = {}
    for moment, front, _, file in ordered:
        if moment >= known_until.get((front, file), moment):
            known_until[front, file] = moment + FRONT_ANSWERS_FOR
            yield moment


def peak(moments):
    return max(collections.Counter(int(moment) for moment in moments).values())


def checks_in_a_day(period):
    """Of one file, when the pad requests it again and again; a copy is valid up to its period, the end included."""
    checks, last = 0, None
    for minute in range(0, WORKING_DAY + 1, REQUESTED_EVERY):
        if last is None or minute - last > period or period == 0:
            checks, last = checks + 1, minute
    return checks


def main():
    pads = int(sys.argv[1]) if len(sys.argv) > 1 else 100_000
    moments = starts(pads)
    ordered = sorted(requests(moments))
    print(f"{pads} pads")
    print(f"peak a second: {peak(moments)} new connections, {peak(moment for moment, *_ in ordered)} requests, "
          f"of them {peak(moment for moment, _, method, _ in ordered if method == 'GET')} downloads")
    print(f"the same behind {FRONTS} HTTP caches: {peak(passed_on(ordered))} requests")
    for period in (0, 15, 60, 240, 960):
        print(f"expiry period {period:4} minutes: {FILES * checks_in_a_day(period)} checks a pad and day")


if __name__ == "__main__":
    main()
