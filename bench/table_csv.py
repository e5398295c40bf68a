#!/usr/bin/env python3
"""Writes the CSV that scripts/bench-kern-table gives `kern table` and its peers.

    bench/table_csv.py --rows 1000000 --out build/bench-table/rows.csv

Columns: id (the row number from 1), group (g000 to g999, uniformly drawn), amount (0.01 to 99999.99 with
two decimals, a tenth of them negative), qty (1 to 100) and name (8 letters a to z). The draws come from
Python's random.Random seeded with 42, so the file is the same on every run. Prints the name of the row
in the middle, which the benchmark finds.
"""
import argparse
import random
import string


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--rows", type=int, default=1000000)
    parser.add_argument("--out", required=True)
    args = parser.parse_args()
    rng = random.Random(42)
    letters = string.ascii_lowercase
    middle = None
    with open(args.out, "w", newline="") as out:
        out.write("id,group,amount,qty,name\n")
        lines = []
        for row in range(1, args.rows + 1):
            cents = rng.randint(1, 9999999)
            sign = "-" if rng.random() < 0.1 else ""
            name = "".join(rng.choice(letters) for _ in range(8))
            if row == args.rows // 2:
                middle = name
            lines.append(f"{row},g{rng.randrange(1000):03d},{sign}{cents // 100}.{cents % 100:02d},"
                         f"{rng.randint(1, 100)},{name}\n")
            if len(lines) == 10000:
                out.write("".join(lines))
                lines.clear()
        out.write("".join(lines))
    print(middle)


if __name__ == "__main__":
    main()
