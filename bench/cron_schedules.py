# The schedules and start instants of the cron benchmarks, shared by Cron_bench.cpp (which repeats the
# same formulas) and cron_croniter.py.
SCHEDULES = {
    "every15": "*/15 * * * *",
    "weekdays": "0 9 * * Mon-Fri; 30 12 * * Sat",
    "feb29": "0 0 29 2 *",
    "entries20": "; ".join(
        f"{k * 7 % 60} {k * 5 % 24} {k % 28 + 1} * *" if k % 3 == 0 else f"{k * 7 % 60} {k * 5 % 24} * * {k % 7}"
        for k in range(20)),
}
ZONES = ["Europe/Moscow", "America/New_York"]
# 256 instants spread over 2026 and 2027.
STARTS = [1767225600 + (i * 2654435761) % 63072000 for i in range(256)]
