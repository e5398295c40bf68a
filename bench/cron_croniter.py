#!/usr/bin/python3
# croniter's next-time search on the schedules and start instants of Cron_bench.cpp, in ns per search.
# Run with Debian's python3 (python3-croniter): /usr/bin/python3 bench/cron_croniter.py [--json FILE]
# (--json also writes the figures as {"parse/NAME": ns, "nearest/NAME/ZONE": ns, "version": ...}).
import json
import os
import sys
import time
from datetime import datetime
from zoneinfo import ZoneInfo

from croniter import croniter

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from cron_schedules import SCHEDULES, STARTS, ZONES  # noqa: E402


def nearest(iterators, start):
    # croniter takes one entry; a schedule's answer is the earliest of its entries'. The iterators are
    # parsed once and moved to each start, so parsing is not counted here.
    best = None
    for it in iterators:
        it.set_current(start, force=True)
        found = it.get_next(float)
        best = found if best is None or found < best else best
    return best


def measure(fn, minimum=0.5):
    count, elapsed = 0, 0.0
    begin = time.perf_counter()
    while elapsed < minimum:
        fn()
        count += 1
        elapsed = time.perf_counter() - begin
    return elapsed / count


def main():
    figures = {}
    for name, text in SCHEDULES.items():
        entries = [e.strip() for e in text.split(";")]
        figures[f"parse/{name}"] = measure(lambda: [croniter(e) for e in entries]) * 1e9
        for zone in ZONES:
            tz = ZoneInfo(zone)
            starts = [datetime.fromtimestamp(t, tz) for t in STARTS]
            iterators = [croniter(e, starts[0]) for e in entries]
            per = measure(lambda: [nearest(iterators, s) for s in starts]) / len(starts)
            figures[f"nearest/{name}/{zone}"] = per * 1e9
    for key, ns in figures.items():
        print(f"croniter {key}: {ns:,.0f} ns")
    if len(sys.argv) == 3 and sys.argv[1] == "--json":
        with open(sys.argv[2], "w") as out:
            json.dump({"version": croniter_version(), **figures}, out, indent=1)


def croniter_version():
    from importlib import metadata
    try:
        return metadata.version("croniter")
    except metadata.PackageNotFoundError:
        return "unknown"


if __name__ == "__main__":
    main()
