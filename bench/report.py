#!/usr/bin/python3
"""Writes the figures of one `bench/run` into docs/PERFORMANCE.md.

    bench/report.py machine RESULTS COMPILER   records the machine, compiler and peers in RESULTS/machine.json
    bench/report.py write RESULTS DOCUMENT     rewrites the document's generated blocks from RESULTS

A generated block follows a marker line `<!-- figures: NAME -->` and runs to the next blank line; the
function NAME below (dashes as underscores) makes it from the results. A block whose results are missing
(its program was not run) is left as it stands, so a partial run refreshes only its own sections, and each
section's "-run" block says which run, machine and load its tables come from.

RESULTS holds one Google Benchmark JSON file per program (PROGRAM.json, medians of the repetitions),
PROGRAM.load (the load average before and after the program), and the peers' own results: croniter.json,
pandas.json, kern-list.txt, kern-table.txt and kern-table-check.json.
"""
import json
import os
import platform
import re
import statistics
import subprocess
import sys
import textwrap


def number(x):
    """Three significant figures, thousands separated; no trailing exponent."""
    if x >= 1000:
        return f"{x:,.0f}"
    if x >= 100:
        return f"{x:.0f}"
    if x >= 10:
        return f"{x:.1f}"
    return f"{x:.2f}"


def ratio(a, b):
    return f"{a / b:.2f}" if a is not None and b else ""


def met(ok):
    return "yes" if ok else "**no**"


TEXT_COLUMNS = {"goal", "figure", "met", "size", "zone", "Peer", "peer", "ratio", "example"}


def table(header, rows):
    lines = ["| " + " | ".join(header) + " |",
             "|" + "|".join("---" if i == 0 or header[i] in TEXT_COLUMNS else "---:" for i in range(len(header))) + "|"]
    lines += ["| " + " | ".join(str(c) for c in row) + " |" for row in rows]
    return "\n".join(lines)


def paragraph(text):
    return "\n".join(textwrap.wrap(text, 110, break_on_hyphens=False))


class Results:
    def __init__(self, folder):
        self.folder = folder
        self.machine = self.json("machine.json") or {}

    def path(self, name):
        return os.path.join(self.folder, name)

    def json(self, name):
        try:
            with open(self.path(name)) as f:
                return json.load(f)
        except FileNotFoundError:
            return None

    def bench(self, program):
        """run name -> (median CPU time, median real time, counters) in the program's time units."""
        data = self.json(program + ".json")
        if data is None:
            return None
        runs = {}
        for b in data["benchmarks"]:
            name = re.sub(r"/(iterations|repeats):\d+", "", b.get("run_name", b["name"]))
            if b.get("run_type") == "aggregate" and b.get("aggregate_name") != "median":
                continue
            if b.get("run_type") == "iteration" and name in runs:
                continue  # a program run without aggregates: keep the first repetition
            counters = {k: v for k, v in b.items() if isinstance(v, (int, float)) and k not in (
                "cpu_time", "real_time", "iterations", "repetitions", "repetition_index", "threads",
                "family_index", "per_family_instance_index")}
            runs[name] = (b["cpu_time"], b["real_time"], counters)
        return runs

    def load(self, program):
        try:
            with open(self.path(program + ".load")) as f:
                return [line.split()[:3] for line in f if line.strip()]
        except FileNotFoundError:
            return None

    def run_sentence(self, program, what=None):
        m = self.machine
        load = self.load(program)
        loads = ""
        if load and len(load) >= 2:
            loads = (f" Load average {' / '.join(load[0])} (1, 5, 15 minutes) when it started and "
                     f"{' / '.join(load[1])} when it ended.")
        return paragraph(
            f"One run of `bench/run` on {m.get('date', '?')}: {what or program + ' (bench preset, -O3)'} on an {m.get('cpu', '?')}, "
            f"{m.get('cores', '?')} cores{m.get('virtual', '')}; {m.get('compiler', '?')}, glibc "
            f"{m.get('glibc', '?')}.{loads}")


# --- cron ---------------------------------------------------------------------------------------------

SCHEDULES = ["every15", "weekdays", "feb29", "entries20"]
ZONES = ["Europe/Moscow", "America/New_York"]


def cron_run(r):
    return r.bench("Cron_bench") and r.run_sentence("Cron_bench", "Cron_bench, then bench/cron_croniter.py")


def cron_nearest(r):
    ours, peer = r.bench("Cron_bench"), r.json("croniter.json")
    if not ours or not peer:
        return None
    rows = []
    for s, schedule in enumerate(SCHEDULES):
        for z, zone in enumerate(ZONES):
            mine = ours[f"BM_CronNearest/{s}/{z}"][0]
            walk = ours[f"BM_CronNearestPlainMktime/{s}/{z}"][0]
            theirs = peer[f"nearest/{schedule}/{zone}"]
            rows.append([schedule, zone, number(mine), number(walk), number(theirs), f"{theirs / mine:,.0f}x"])
    return table(["schedule", "zone", "kern83", "plain mktime walk", "croniter", "kern83 faster by"], rows)


def cron_parse(r):
    ours, peer = r.bench("Cron_bench"), r.json("croniter.json")
    if not ours or not peer:
        return None
    rows = [[s, number(ours[f"BM_CronParse/{i}"][0]), number(peer[f"parse/{s}"])] for i, s in enumerate(SCHEDULES)]
    return table(["parse", "kern83", f"croniter {peer.get('version', '')}".strip()], rows)


# --- locks --------------------------------------------------------------------------------------------

UNCONTENDED = [
    ("`IMutexImpl`", "BM_IMutexImpl", "`pthread_mutex` (recursive)", "BM_PthreadRecursiveMutex"),
    ("`RWMutex` exclusive", "BM_RWMutexExclusive", "`std::shared_mutex` lock", "BM_StdSharedMutexExclusive"),
    ("`RWMutex` shared", "BM_RWMutexShared", "`std::shared_mutex` lock_shared", "BM_StdSharedMutexShared"),
    ("`RWMutex` shared, static form on a plain word (no monitor)", "BM_RWMutexStaticShared",
     "`std::shared_mutex` lock_shared", "BM_StdSharedMutexShared"),
    ("`RWRMutex` exclusive", "BM_RWRMutexExclusive", "`std::shared_mutex` lock", "BM_StdSharedMutexExclusive"),
    ("`RWRMutex` shared (first read of the thread)", "BM_RWRMutexShared", "`std::shared_mutex` lock_shared",
     "BM_StdSharedMutexShared"),
    ("`RWRMutex` shared, re-entrant (thread already reads)", "BM_RWRMutexRecursiveShared",
     "`std::shared_mutex` lock_shared", "BM_StdSharedMutexShared"),
    ("`IRWMutexSimpleImpl` reader", "BM_IRWMutexSimpleReader", "`pthread_rwlock` rdlock", "BM_PthreadRwlockRead"),
    ("`IRWMutexSimpleImpl` writer", "BM_IRWMutexSimpleWriter", "`pthread_rwlock` wrlock", "BM_PthreadRwlockWrite"),
]
READ_MOSTLY = [("`RWMutex`", "RWMutex"), ("`IRWMutexSimpleImpl`", "IRWMutexSimple"), ("`RWRMutex`", "RWRMutex"),
               ("`std::shared_mutex`", "StdSharedMutex"), ("`pthread_rwlock`", "PthreadRwlock")]


def read_mostly(runs, name):
    return runs[f"BM_ReadMostly{name}/real_time/threads:2"][1]


def preemptions(runs, name):
    return runs[f"BM_ReadMostly{name}/real_time/threads:2"][2].get("preemptions_per_s", float("inf"))


# Above this many preemptions per second and thread, the two threads took turns on a core too often for
# the figure to show two threads contending.
SIDE_BY_SIDE = 50


def locks_run(r):
    return r.bench("Locks_bench") and r.run_sentence("Locks_bench")


def locks_uncontended(r):
    runs = r.bench("Locks_bench")
    if not runs:
        return None
    rows = [[ours, number(runs[a][0]), peer, number(runs[b][0]), ratio(runs[a][0], runs[b][0])]
            for ours, a, peer, b in UNCONTENDED]
    rows.append(["one compare-and-swap + one release store, inline (reference)",
                 number(runs["BM_ReferenceCasAndStore"][0]), "", "", ""])
    return table(["Lock", "ns", "Peer", "ns", "Ratio"], rows)


def locks_readmostly(r):
    runs = r.bench("Locks_bench")
    if not runs:
        return None
    return table(["Lock", "ns per operation", "preemptions per second"],
                 [[title, number(read_mostly(runs, name)), f"{preemptions(runs, name):.0f}"] for title, name in READ_MOSTLY])


def locks_goals(r):
    runs = r.bench("Locks_bench")
    if not runs:
        return None
    ratios = [(ours, runs[a][0] / runs[b][0]) for ours, a, _, b in UNCONTENDED if "static form" not in ours]
    worst = max(ratios, key=lambda x: x[1])
    reentrant = runs["BM_RWRMutexRecursiveShared"][0] / runs["BM_StdSharedMutexShared"][0]
    std = read_mostly(runs, "StdSharedMutex")
    rw, rwr = read_mostly(runs, "RWMutex"), read_mostly(runs, "RWRMutex")
    preempted = max(preemptions(runs, name) for name in ("RWMutex", "RWRMutex", "StdSharedMutex"))
    throughput = met(rw <= std and rwr <= std) if preempted <= SIDE_BY_SIDE else \
        f"not judged: {preempted:.0f} preemptions per second"
    return table(["goal", "figure", "met"], [
        ["every lock uncontended within 1.2x of the matching standard operation",
         f"highest {worst[1]:.2f} ({worst[0]})", met(worst[1] <= 1.2)],
        ["`RWRMutex` re-entrant read no slower than `std::shared_mutex::lock_shared`", f"{reentrant:.2f}",
         met(reentrant <= 1.0)],
        ["read-mostly, 2 threads: `RWMutex` and `RWRMutex` at least the throughput of `std::shared_mutex`",
         f"{number(rw)} and {number(rwr)} ns against {number(std)}", throughput],
    ])


# --- values -------------------------------------------------------------------------------------------

def values_run(r):
    return r.bench("Value_bench") and r.run_sentence("Value_bench")


def values_table(r):
    runs = r.bench("Value_bench")
    if not runs:
        return None

    def t(name):
        return runs[name][0]

    def row(what, ours, peer=None, peer_name="", note=""):
        cells = [what, number(t(ours))]
        cells += [f"{number(t(peer))} ({peer_name})", ratio(t(ours), t(peer))] if peer else ["", note]
        return cells

    return table(["operation", "kern83", "peer", "ratio"], [
        row("copy + destroy a handle, 1 thread", "BM_ValueCopy/threads:1", "BM_SharedPtrCopy/threads:1",
            "`shared_ptr`"),
        row("copy + destroy, 2 threads on one object", "BM_ValueCopy/threads:2", "BM_SharedPtrCopy/threads:2",
            "`shared_ptr`"),
        row("copy + destroy a singleton (True), 1 thread", "BM_ValueCopySingleton/threads:1",
            note="no shared write"),
        row("copy + destroy a singleton (True), 2 threads", "BM_ValueCopySingleton/threads:2",
            note="no shared write"),
        row("wrap a borrowed value in `WeakValue`", "BM_WeakValueBorrow", note="no count touched"),
        row("`create_numeric_value` 0-9 (no allocation)", "BM_CreateNumberSmall"),
        row("`create_numeric_value(long long)` >= 10 (1 allocation)", "BM_CreateNumberLarge",
            "BM_MakeSharedNumericPeer", "`make_shared<long long>`"),
        row("number from a 36-digit `Numeric` (1 allocation)", "BM_CreateNumberFromNumeric36"),
        row("`equals` of two equal numbers (different objects)", "BM_NumberEquals"),
        row("`hashCode` of a number", "BM_NumberHash"),
        row("`equals` of two equal strings (different objects)", "BM_StringEquals", "BM_StdU16StringEqualsPeer",
            "`std::u16string ==`"),
        row("hash a string's text, every time on both sides", "BM_StringHashText", "BM_StdHashU16StringPeer",
            "`std::hash<u16string_view>`"),
        row("`hashCode` of a string, a kept hash on both sides", "BM_StringHashCached", "BM_StdHashCachedPeer",
            "a string keeping its `std::hash`"),
        row("create a string value and hash it (2 allocations)", "BM_StringCreateAndHash"),
    ])


# --- list streams -------------------------------------------------------------------------------------

def liststream_run(r):
    return r.bench("ListStream_bench") and r.run_sentence("ListStream_bench")


def liststream_table(r):
    runs = r.bench("ListStream_bench")
    if not runs:
        return None

    def ms(name):
        return runs[name][0]

    def mb(name):
        return runs[name][2].get("MB", 0)

    text, dom, sax, simd = ms("BM_ListText_ReadEveryItem"), ms("BM_RapidJson_Dom"), ms("BM_RapidJson_Sax"), \
        ms("BM_Simdjson_Dom")
    floor, packed = ms("BM_Floor_ScanUtf16"), ms("BM_ListPacked_ReadEveryItem")
    write, rj_write = ms("BM_ListText_Write"), ms("BM_RapidJson_Writer")
    return table(["operation", "ms", "ratio"], [
        ["floor: scan of the UTF-16 text", number(floor), ""],
        [f"`ListInStream`, text ({mb('BM_ListText_ReadEveryItem'):.1f} MB), every item read", number(text),
         f"{text / dom:.2f}x RapidJSON DOM, {text / sax:.2f}x SAX, {text / simd:.2f}x simdjson, "
         f"{text / floor:.1f}x the floor"],
        ["`ListInStream`, text, `skipListContent` over the whole set", number(ms("BM_ListText_SkipContent")), ""],
        [f"RapidJSON DOM parse ({mb('BM_RapidJson_Dom'):.1f} MB of JSON)", number(dom), ""],
        ["RapidJSON SAX parse, empty handler", number(sax), ""],
        ["simdjson DOM parse", number(simd), ""],
        [f"`ListInStream`, packed ({mb('BM_ListPacked_ReadEveryItem'):.1f} MB), every item read", number(packed),
         f"{text / packed:.2f}x faster than the text reader"],
        ["`ListOutStream`, text, into a `MemoryWriter`", number(write), f"{write / rj_write:.2f}x RapidJSON Writer"],
        ["RapidJSON Writer into a StringBuffer", number(rj_write), ""],
        ["`ListOutStream`, packed, into a memory file", number(ms("BM_ListPacked_Write")), ""],
    ])


def kern_list_runs(r):
    """command -> list of (cpu seconds, wall seconds, max resident kB) from kern-list.txt."""
    try:
        with open(r.path("kern-list.txt")) as f:
            lines = [line.rstrip("\n").split("\t") for line in f if line.strip()]
    except FileNotFoundError:
        return None
    runs = {}
    for command, user, system, wall, rss in lines:
        runs.setdefault(command, []).append((float(user) + float(system), float(wall), int(rss)))
    return runs


def kern_list_table(r):
    runs = kern_list_runs(r)
    if not runs:
        return None
    compact = statistics.median(c for c, _, _ in runs["fmt --compact"])
    rows = []
    for command, figures in runs.items():
        cpu = statistics.median(c for c, _, _ in figures)
        wall = statistics.median(w for _, w, _ in figures)
        rss = max(m for _, _, m in figures) / 1024
        rows.append([f"`{command}`", f"{cpu:.3f}", f"{cpu / compact:.2f}", f"{wall:.3f}", f"{rss:.1f}"])
    return table(["command", "CPU s", "CPU / `fmt --compact`", "wall s", "maximum resident MB"], rows)


def kern_list_run(r):
    runs = kern_list_runs(r)
    return runs and r.run_sentence("kern-list", f"each command {len(next(iter(runs.values())))} times, release preset")


# --- exact decimals -----------------------------------------------------------------------------------

NUMERIC_ROWS = [("parse", "Parse"), ("print, reused text", "Print"), ("print, new text", "PrintNew"), ("add", "Add"),
                ("multiply", "Multiply"), ("divide", "Divide"), ("compare", "Compare"), ("round", "Round")]
NUMERIC_PEERS = ["Numeric", "mpdec", "boost", "gmp", "int128"]


def numeric_figures(r):
    runs = r.bench("Numeric_bench")
    if not runs:
        return None
    figures = {}
    for name, (cpu, _, _) in runs.items():
        op, size, peer = name.removeprefix("BM_").split("/")
        figures[op, size, peer] = cpu
    return figures


def numeric_run(r):
    return r.bench("Numeric_bench") and r.run_sentence("Numeric_bench")


def numeric_table(r):
    f = numeric_figures(r)
    if not f:
        return None
    rows = []
    for size in ["business", "d36", "d36sum", "d300"]:
        for title, op in NUMERIC_ROWS:
            cells = [f.get((op, size, p)) for p in NUMERIC_PEERS]
            if all(c is None for c in cells):
                continue
            ours, mpdec, int128 = cells[0], cells[1], cells[4]
            rows.append([title, size] + [number(c) if c is not None else "" for c in cells] +
                        [bold_above(ours, mpdec, 1.0), ratio(ours, int128)])
    return table(["operation", "size", "Numeric", "libmpdec", "Boost", "GMP", "`__int128`", "Numeric / libmpdec",
                  "Numeric / `__int128`"], rows)


def bold_above(a, b, limit):
    if a is None or not b:
        return ""
    text = f"{a / b:.2f}"
    return f"**{text}**" if a / b > limit else text


def numeric_goals(r):
    f = numeric_figures(r)
    if not f or not any(p == "mpdec" for (_, _, p) in f):
        return None

    def against(op, size):
        ours, theirs = f.get((op, size, "Numeric")), f.get((op, size, "mpdec"))
        return ours / theirs if ours and theirs else None

    rows = []
    for size in ["business", "d36", "d300"]:
        pairs = [(title, against(op, size)) for title, op in NUMERIC_ROWS if op != "Print"]
        pairs = [(t, x) for t, x in pairs if x is not None]
        worst = max(pairs, key=lambda p: p[1])
        slower = [f"{t} {x:.2f}" for t, x in pairs if x > 1.0]
        rows.append([f"{size}: no operation slower than libmpdec",
                     "slower: " + ", ".join(slower) if slower else f"highest {worst[1]:.2f} ({worst[0]})",
                     met(not slower)])
    for title, op in [("add", "Add"), ("multiply", "Multiply"), ("print, new text", "PrintNew")]:
        x = against(op, "business")
        rows.append([f"business {title} at least 2x faster than libmpdec", f"{x:.2f}", met(x <= 0.5)])
    return table(["goal", "figure", "met"], rows)


# --- value tables -------------------------------------------------------------------------------------

PEERS = [("ValueTable", "value table"), ("Peer<std::vector<Row>>", "vector of rows"),
         ("Peer<std::deque<Row>>", "deque of rows")]


def table_figures(r):
    runs = r.bench("ValueTable_bench")
    if not runs:
        return None

    def get(prefix, which, suffix=""):
        return runs.get(f"BM_{prefix}_{which}{suffix}")

    return runs, get


def valuetables_run(r):
    return r.bench("ValueTable_bench") and r.run_sentence("ValueTable_bench", "ValueTable_bench, then "
                                                          "bench/table_pandas.py")


def valuetables_table(r):
    figures, pandas = table_figures(r), r.json("pandas.json")
    if not figures:
        return None
    runs, get = figures

    def cells(prefix, suffix="", scale=1.0, key=0):
        out = []
        for which, _ in PEERS:
            v = get(prefix, which, suffix)
            out.append(number(v[key] * scale) if v else "")
        return out

    def pd(name):
        if not pandas:
            return ["", ""]
        return [number(pandas[kind][name]) for kind in ("float64", "Decimal")]

    def group(what):
        return [number(runs[f"BM_GroupBy_ValueTable/{what}"][0]), number(runs[f"BM_GroupBy_UnorderedMap/{what}"][0]),
                ""]

    def sort(what):
        return [number(runs[f"BM_Sort_ValueTable/{what}"][0]), number(runs[f"BM_Sort_VectorOfRows/{what}"][0]), ""]

    def memory():
        out = []
        for which, _ in PEERS:
            c = get("Memory", which)[2]
            out.append(f"{c['bytes_per_row']:.0f} ({c['values_bytes_per_row']:.0f} + "
                       f"{c['structure_bytes_per_row']:.0f})")
        return out + ([f"{pandas[k]['bytes per row']:.0f}" for k in ("float64", "Decimal")] if pandas else ["", ""])

    insert = cells("InsertErase")
    insert[1:] = [number(get("InsertErase", w)[0] * 1000) for w, _ in PEERS[1:]]  # peers run in microseconds
    rows = [
        ["build from values, then destroy (ms)"] + cells("Build") + ["", ""],
        ["walk every row, copying every value (ms)"] + cells("Walk") + ["", ""],
        ["row by random number, 65,536 numbers (ns)"] + cells("RowByIndex", "/65536") + ["", ""],
        ["row by random number, 4,096 numbers (ns)"] + cells("RowByIndex", "/4096") + ["", ""],
        ["insert + erase at random rows (ns)"] + insert + ["", ""],
        ["group by Group (1,000 groups), two exact sums (ms)"] + group("Group") + pd("GroupBy/Group"),
        ["group by Name (about 980,000 groups), two exact sums (ms)"] + group("Name") + pd("GroupBy/Name"),
        ["stable sort by Amount (ms)"] + sort("Amount") + pd("Sort/Amount"),
        ["stable sort by Name (ms)"] + sort("Name") + pd("Sort/Name"),
        ["stable sort by Group, Amount descending (ms)"] + sort("Group_AmountDesc") + pd("Sort/Group_AmountDesc"),
        ["memory per row, heap bytes (values + structure)"] + memory(),
    ]
    return table(["operation", "value table", "vector of rows", "deque of rows", "pandas float64", "pandas Decimal"],
                 rows)


def valuetables_goals(r):
    figures, pandas = table_figures(r), r.json("pandas.json")
    if not figures or not pandas:
        return None
    runs, get = figures
    ours_ie, vec_ie = get("InsertErase", "ValueTable")[0], get("InsertErase", PEERS[1][0])[0] * 1000
    cached, uncached = get("RowByIndex", "ValueTable", "/4096")[0], get("RowByIndex", "ValueTable", "/65536")[0]
    walk = get("Walk", "ValueTable")[0] / get("Walk", PEERS[1][0])[0]
    build = get("Build", "ValueTable")[0] / get("Build", PEERS[1][0])[0]
    group = runs["BM_GroupBy_ValueTable/Group"][0]
    name_group = runs["BM_GroupBy_ValueTable/Name"][0]
    dec, flt = pandas["Decimal"]["GroupBy/Group"], pandas["float64"]["GroupBy/Group"]
    ndec, nflt = pandas["Decimal"]["GroupBy/Name"], pandas["float64"]["GroupBy/Name"]
    s_amount, s_name = runs["BM_Sort_ValueTable/Amount"][0], runs["BM_Sort_ValueTable/Name"][0]
    s_two = runs["BM_Sort_ValueTable/Group_AmountDesc"][0]
    p_name = min(pandas[k]["Sort/Name"] for k in ("float64", "Decimal"))
    p_two = min(pandas[k]["Sort/Group_AmountDesc"] for k in ("float64", "Decimal"))
    memory = get("Memory", "ValueTable")[2]["bytes_per_row"]
    return table(["goal", "figure", "met"], [
        ["insert + erase at random rows at most 1 us, at least 1,000x faster than a vector of rows",
         f"{ours_ie / 1000:.2f} us, {vec_ie / ours_ie:,.0f}x", met(ours_ie <= 1000 and vec_ie / ours_ie >= 1000)],
        ["row by random number at most 100 ns", f"{number(cached)} ns cached, {number(uncached)} ns uncached",
         met(uncached <= 100)],
        ["walk within 2x of a vector of rows", f"{walk:.2f}x", met(walk <= 2)],
        ["group by 1,000 groups at most 60 ms, 3x faster than pandas Decimal, within 5x of pandas float",
         f"{number(group)} ms against Decimal {number(dec)} and float {number(flt)} (ratios {group / dec:.2f}, "
         f"{group / flt:.1f})",
         met(group <= 60 and dec / group >= 3 and group / flt <= 5)],
        ["group by a string column likewise",
         f"{number(name_group)} ms against Decimal {number(ndec)} and float {number(nflt)} (ratios "
         f"{name_group / ndec:.2f}, {name_group / nflt:.1f})",
         met(ndec / name_group >= 3 and name_group / nflt <= 5)],
        ["stable sort by a number at most 400 ms; by a string and by two keys at most pandas' time",
         f"{number(s_amount)} ms; {number(s_name)} against {number(p_name)} ms; {number(s_two)} against "
         f"{number(p_two)} ms", met(s_amount <= 400 and s_name <= p_name and s_two <= p_two)],
        ["memory at most 300 bytes per row", f"{memory:.0f}", met(memory <= 300)],
        ["build and destroy within 2x of a vector of rows", f"{build:.2f}x", met(build <= 2)],
    ])


def datasource_table(r):
    runs = r.bench("ValueTable_bench")
    if not runs or "BM_CellWindow_ValueTableDS" not in runs:
        return None
    # Each iteration reads a whole window; items are its cells.
    window, peer = (1e9 / runs[f"BM_CellWindow_{side}"][2]["items_per_second"] for side in ("ValueTableDS", "Peer"))
    lookup = runs["BM_BookmarkLookup_ValueTableDS"][0]
    return table(["operation", "ValueTableDS", "vector of rows", "goal", "met"], [
        ["window of 50 lines x 5 cells, per cell (ns)", number(window), number(peer), "under 100 ns",
         met(window < 100)],
        ["bookmark lookup after 100,000 inserts (ns)", number(lookup), "", "under 500 ns, O(log n)",
         met(lookup < 500)],
    ])


# --- kern table ---------------------------------------------------------------------------------------

TOOLS = [("kern", "kern table"), ("mlr", "Miller"), ("pandas-float", "pandas float64"),
         ("pandas-decimal", "pandas Decimal"), ("sqlite3", "sqlite3"), ("csvkit", "csvkit")]
OPERATIONS = [("group", "group-by group, totals of amount and qty"), ("sort", "sort by amount DESC, name"),
              ("find", "find one name")]


def kern_table_runs(r):
    try:
        with open(r.path("kern-table.txt")) as f:
            lines = [line.split() for line in f if line.strip()]
    except FileNotFoundError:
        return None
    return {(l[0], l[1]): None if l[2] == "failed" else (float(l[2]), float(l[3]), int(l[4]) / 1024)
            for l in lines}


def kern_table_run(r):
    return kern_table_runs(r) and r.run_sentence("kern-table", "scripts/bench-kern-table, release preset (-O2)")


def kern_table_times(r):
    runs = kern_table_runs(r)
    if not runs:
        return None

    def cell(tool, op):
        if (tool, op) not in runs:
            return "-"
        run = runs[tool, op]
        return "failed" if run is None else f"{run[0]:.2f} / {run[1]:.2f} / {run[2]:.0f}"

    return table(["operation"] + [t for _, t in TOOLS], [[title] + [cell(t, op) for t, _ in TOOLS]
                                                        for op, title in OPERATIONS])


def kern_table_ratios(r):
    runs = kern_table_runs(r)
    if not runs:
        return None

    def cell(tool, op):
        mine, theirs = runs.get(("kern", op)), runs.get((tool, op))
        if not mine or not theirs:
            return "-"
        return " / ".join(f"{a / b:.2f}" if b > 0 else "-" for a, b in zip(mine, theirs))

    return table(["operation"] + [t for _, t in TOOLS[1:]], [[title] + [cell(t, op) for t, _ in TOOLS[1:]]
                                                            for op, title in OPERATIONS])


def kern_table_exact(r):
    check = r.json("kern-table-check.json")
    if not check:
        return None
    rows = []
    for tool, title in TOOLS:
        found = [v for k, v in check.items() if os.path.basename(k) == f"{tool}-group.csv"]
        if not found:
            continue
        v = found[0]
        example = f"{v['example'][0]}: {v['example'][1]} for {v['example'][2]}" if v["example"] else ""
        rows.append([title, f"{v['differing']:,} of {v['groups']:,}", example])
    return table(["tool", "groups with a total other than the exact sum", "example"], rows)


def kern_table_goals(r):
    runs = kern_table_runs(r)
    if not runs or not runs.get(("kern", "group")):
        return None
    wall, cpu, rss = runs["kern", "group"]
    beaten = all(runs["kern", op] and all(runs["kern", op][i] < theirs[i] for i in (0, 1))
                 for (tool, op), theirs in runs.items() if tool != "kern" and theirs)
    return table(["goal", "figure", "met"], [
        ["load + group-by under 1 s", f"{wall:.2f} s wall, {cpu:.2f} s CPU", met(wall < 1)],
        ["load + group-by under 300 MB resident", f"{rss:.0f} MB", met(rss < 300)],
        ["faster than every peer on every operation", "wall and CPU seconds of the tables above", met(beaten)],
    ])


# --- the document -------------------------------------------------------------------------------------

MARKER = re.compile(r"^<!-- figures: ([a-z0-9-]+) -->$")


def write(folder, document):
    results = Results(folder)
    with open(document) as f:
        lines = f.read().split("\n")
    out, i, refreshed, kept = [], 0, [], []
    while i < len(lines):
        out.append(lines[i])
        m = MARKER.match(lines[i])
        i += 1
        if not m:
            continue
        end = i
        while end < len(lines) and lines[end].strip():
            end += 1
        maker = globals().get(m.group(1).replace("-", "_"))
        if maker is None:
            sys.exit(f"report.py: {document}: no maker for the block {m.group(1)}")
        block = maker(results)
        if block:
            out.extend(block.split("\n"))
            refreshed.append(m.group(1))
        else:
            out.extend(lines[i:end])
            kept.append(m.group(1))
        i = end
    with open(document, "w") as f:
        f.write("\n".join(out))
    print(f"report.py: {len(refreshed)} blocks written" + (f", {len(kept)} kept (no results): {' '.join(kept)}"
                                                           if kept else ""))


def command_output(*command):
    try:
        return subprocess.run(command, capture_output=True, text=True, check=False).stdout
    except OSError:
        return ""


def machine(folder, compiler):
    cpuinfo = open("/proc/cpuinfo").read()

    def field(name):
        m = re.search(rf"^{name}\s*: (.*)$", cpuinfo, re.M)
        return m.group(1).strip() if m else "?"

    cpu = f"{field('model name')} (family {field('cpu family')}, model {field('model')})"
    if "GenuineIntel" not in cpuinfo and "AuthenticAMD" not in cpuinfo:
        cpu += f" from {field('vendor_id')}"
    flags = field("flags").split()
    info = {
        "date": subprocess.run(["date", "-u", "+%Y-%m-%d"], capture_output=True, text=True).stdout.strip(),
        "cpu": cpu,
        "cores": os.cpu_count(),
        "virtual": ", a virtual machine" if "hypervisor" in flags else "",
        "compiler": (command_output(compiler, "--version").split("\n") or ["?"])[0],
        "glibc": platform.libc_ver()[1] or "?",
        "kernel": platform.release(),
    }
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, "machine.json"), "w") as f:
        json.dump(info, f, indent=1)


def main():
    if len(sys.argv) == 4 and sys.argv[1] == "machine":
        machine(sys.argv[2], sys.argv[3])
    elif len(sys.argv) == 4 and sys.argv[1] == "write":
        write(sys.argv[2], sys.argv[3])
    else:
        sys.exit("usage: report.py machine RESULTS COMPILER | write RESULTS DOCUMENT")


if __name__ == "__main__":
    main()
