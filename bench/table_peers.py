#!/usr/bin/python3
"""The pandas side of scripts/bench-kern-table, and the check of every tool's group totals.

    bench/table_peers.py pandas float|decimal group|sort|find FILE [NAME]   one operation, CSV to stdout
    bench/table_peers.py check FILE OUTPUT...                              totals that differ from exact
    bench/table_peers.py report RESULTS                                    the Markdown tables

pandas reads the file with its C parser and the column types given (so nothing is inferred), the group
column as a category. "float" keeps amounts as float64, "decimal" reads them into decimal.Decimal objects
(exact, summed and compared by Python). The operations are the documented ones: groupby(sort=False) with
sum, sort_values(kind="stable"), a boolean mask.

check sums amount and qty per group of FILE with Decimal, then reads each OUTPUT (a CSV whose first
column is the group and whose next two are the two totals, under any header) and prints, per output, how
many groups it has and for how many of them a total's text, read as a Decimal, is not the exact sum.

report reads the lines "TOOL OPERATION WALL-SECONDS CPU-SECONDS MAX-RSS-KB OUTPUT-LINES" that
scripts/bench-kern-table writes and prints the times and memory of each tool, and kern's as a fraction
of each peer's.
"""
import csv
import sys
from decimal import Decimal

DTYPES = {"id": "int64", "group": "category", "amount": "float64", "qty": "int64", "name": "object"}


def pandas_operation(kind, operation, path, name=None):
    import pandas

    if kind == "decimal":
        dtypes = {k: v for k, v in DTYPES.items() if k != "amount"}
        frame = pandas.read_csv(path, dtype=dtypes, converters={"amount": Decimal})
    else:
        frame = pandas.read_csv(path, dtype=DTYPES)
    if operation == "group":
        result = frame.groupby("group", sort=False, observed=True)[["amount", "qty"]].sum(numeric_only=False)
        result.to_csv(sys.stdout)
    elif operation == "sort":
        frame.sort_values(["amount", "name"], ascending=[False, True], kind="stable").to_csv(sys.stdout, index=False)
    else:
        frame[frame["name"] == name].to_csv(sys.stdout, index=False)


def exact_totals(path):
    totals = {}
    with open(path, newline="") as data:
        for row in csv.DictReader(data):
            amount, qty = totals.get(row["group"], (Decimal(0), 0))
            totals[row["group"]] = (amount + Decimal(row["amount"]), qty + int(row["qty"]))
    return totals


def check(path, outputs):
    exact = exact_totals(path)
    for output in outputs:
        groups = differing = 0
        with open(output, newline="") as data:
            rows = csv.reader(data)
            next(rows)
            for row in rows:
                groups += 1
                amount, qty = exact[row[0]]
                if Decimal(row[1]) != amount or Decimal(row[2]) != qty:
                    differing += 1
        print(f"{output}: {groups} groups, {differing} with a total other than the exact sum")


TOOLS = [("kern", "kern table"), ("mlr", "Miller"), ("pandas-float", "pandas float64"),
         ("pandas-decimal", "pandas Decimal"), ("sqlite3", "sqlite3"), ("csvkit", "csvkit")]
OPERATIONS = [("group", "group-by group, totals of amount and qty"), ("sort", "sort by amount DESC, name"),
              ("find", "find one name")]


def report(path):
    runs = {}
    with open(path) as results:
        for line in results:
            fields = line.split()
            if fields[2] != "failed":
                runs[fields[0], fields[1]] = (float(fields[2]), float(fields[3]), int(fields[4]) / 1024, int(fields[5]))
            else:
                runs[fields[0], fields[1]] = None
    header = "| operation | " + " | ".join(title for _, title in TOOLS) + " |"
    rule = "|---|" + "---:|" * len(TOOLS)

    def table(caption, cell):
        print(f"{caption}\n\n{header}\n{rule}")
        for op, title in OPERATIONS:
            cells = []
            for tool, _ in TOOLS:
                if (tool, op) not in runs:
                    cells.append("-")
                elif runs[tool, op] is None:
                    cells.append("failed")
                else:
                    cells.append(cell(tool, op, runs[tool, op]))
            print(f"| {title} | " + " | ".join(cells) + " |")
        print()

    table("Wall seconds / CPU seconds (user + system) / maximum resident set in MB:",
          lambda tool, op, run: f"{run[0]:.2f} / {run[1]:.2f} / {run[2]:.0f}")

    def ratio(tool, op, run):
        mine = runs.get(("kern", op))
        if tool == "kern" or not mine:
            return "-"
        return " / ".join(f"{a / b:.2f}" if b > 0 else "-" for a, b in zip(mine[:3], run[:3]))

    table("kern table / peer, the same three figures:", ratio)
    print("Output lines: " + ", ".join(f"{tool} {op} {run[3]}" for (tool, op), run in runs.items() if run))


def main():
    if sys.argv[1] == "pandas":
        pandas_operation(*sys.argv[2:])
    elif sys.argv[1] == "check":
        check(sys.argv[2], sys.argv[3:])
    elif sys.argv[1] == "report":
        report(sys.argv[2])
    else:
        sys.exit("usage: table_peers.py pandas KIND OPERATION FILE [NAME] | check FILE OUTPUT... | report RESULTS")


if __name__ == "__main__":
    main()
