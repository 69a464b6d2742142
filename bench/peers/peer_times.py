"""The time of a stage, measured as dump_stages does it."""

import time


def time_stage(work, runs):
    """Milliseconds; low and high are the 10th and the 90th percentile of the runs."""
    for _ in range(runs // 10 + 1):
        work()
    times = []
    for _ in range(runs):
        start = time.perf_counter()
        work()
        times.append(1e3 * (time.perf_counter() - start))
    times.sort()
    return {
        "median": times[len(times) // 2],
        "low": times[len(times) // 10],
        "high": times[len(times) * 9 // 10],
    }
