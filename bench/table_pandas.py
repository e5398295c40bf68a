#!/usr/bin/python3
# The grouping, sorting and memory questions of ValueTable_bench.cpp asked of pandas, on the same
# 1,000,000 rows: Id, Group (0 to 999), Amount and Amount2 (0.00 to 99999.99), Name (8 letters), drawn
# from the same 64-bit LCG in the same order. Two frames: amounts as float64 (pandas' own numbers) and
# as decimal.Decimal objects (exact, like the table's numbers). Times are medians of 5 runs (3 for a run
# over a second), in ms; memory is memory_usage(deep=True) per row.
# Run with Debian's python3 (python3-pandas): /usr/bin/python3 bench/table_pandas.py [--json FILE]
# (--json also writes {"versions": ..., "check": ..., "float64"|"Decimal": {operation: ms, "bytes per row": n}}).
import json
import statistics
import sys
import time
from decimal import Decimal

import numpy
import pandas

ROWS = 1_000_000


def draws(seed):
    state = seed
    while True:
        state = (state * 6364136223846793005 + 1442695040888963407) & 0xFFFFFFFFFFFFFFFF
        yield state >> 33


def make_columns():
    draw = draws(42)
    groups, cents, cents2, names = [], [], [], []
    for _ in range(ROWS):
        groups.append(next(draw) % 1000)
        cents.append(next(draw) % 10_000_000)
        cents2.append(next(draw) % 10_000_000)
        names.append("".join(chr(97 + next(draw) % 26) for _ in range(8)))
    check = (f"Group sum {sum(groups)}, Amount cents {sum(cents)}, Amount2 cents {sum(cents2)}, "
             f"last Name {names[-1]}")
    return groups, cents, cents2, names, check


def make_frame(groups, cents, cents2, names, amount):
    return pandas.DataFrame({
        "Id": numpy.arange(ROWS, dtype=numpy.int64),
        "Group": numpy.array(groups, dtype=numpy.int64),
        "Amount": amount(cents),
        "Amount2": amount(cents2),
        "Name": names,
    })


def as_float(cents):
    # The division rounds once, to the double nearest the decimal amount.
    return numpy.array(cents, dtype=numpy.float64) / 100


def as_decimal(cents):
    return numpy.array([Decimal(c).scaleb(-2) for c in cents], dtype=object)


def median_ms(fn):
    first = time.perf_counter()
    fn()
    times = [time.perf_counter() - first]
    for _ in range(2 if times[0] > 1.0 else 4):
        start = time.perf_counter()
        fn()
        times.append(time.perf_counter() - start)
    return statistics.median(times) * 1000


# sort=False keeps the groups in order of first appearance, as the table's groupBy does. Several sort
# keys go through pandas' lexsort, which is stable whatever `kind` says.
OPERATIONS = [
    ("GroupBy/Group", lambda df: df.groupby("Group", sort=False)[["Amount", "Amount2"]].sum()),
    ("GroupBy/Name", lambda df: df.groupby("Name", sort=False)[["Amount", "Amount2"]].sum()),
    ("Sort/Amount", lambda df: df.sort_values("Amount", kind="stable")),
    ("Sort/Name", lambda df: df.sort_values("Name", kind="stable")),
    ("Sort/Group_AmountDesc", lambda df: df.sort_values(["Group", "Amount"], ascending=[True, False], kind="stable")),
]


def main():
    start = time.perf_counter()
    groups, cents, cents2, names, check = make_columns()
    frames = {
        "float64": make_frame(groups, cents, cents2, names, as_float),
        "Decimal": make_frame(groups, cents, cents2, names, as_decimal),
    }
    del groups, cents, cents2, names
    print(f"pandas {pandas.__version__}, numpy {numpy.__version__}, Python {sys.version.split()[0]}")
    print(f"data: {check} (made in {time.perf_counter() - start:.1f} s)")
    print(f"{'operation':<24}{'float64 ms':>14}{'Decimal ms':>14}")
    figures = {kind: {} for kind in frames}
    for name, operation in OPERATIONS:
        for kind, df in frames.items():
            figures[kind][name] = median_ms(lambda: operation(df))
        print(f"{name:<24}" + "".join(f"{figures[kind][name]:>14,.1f}" for kind in frames))
    for kind, df in frames.items():
        figures[kind]["bytes per row"] = df.memory_usage(deep=True).sum() / ROWS
    print(f"{'bytes per row':<24}" + "".join(f"{figures[kind]['bytes per row']:>14,.1f}" for kind in frames))
    if len(sys.argv) == 3 and sys.argv[1] == "--json":
        versions = {"pandas": pandas.__version__, "numpy": numpy.__version__, "python": sys.version.split()[0]}
        with open(sys.argv[2], "w") as out:
            json.dump({"versions": versions, "check": check, **figures}, out, indent=1)

if __name__ == "__main__":
    main()
