#!/usr/bin/env python3
"""Save-to-list latency of `vantry watch`: files written one by one in a watched temporary home, timed until the
printed list shows each of them. Prints p50 and p99 in seconds.

usage: watch_latency.py VANTRY [--saves 50] [--gap 2.0]
The gap between saves decides whether a save starts a quiet period (delivered at once) or falls within the
coalescing latency of the previous one (delivered when it ends)."""
import argparse
import json
import os
import queue
import statistics
import subprocess
import sys
import tempfile
import threading
import time


def temporary_home():
    home = tempfile.mkdtemp(prefix="vantry-bench-")
    environment = dict(os.environ, HOME=home, XDG_DATA_HOME=f"{home}/.local/share",
                       XDG_CONFIG_HOME=f"{home}/.config", XDG_CACHE_HOME=f"{home}/.cache")
    for folder in ("Documents", ".local/share", ".config", ".cache"):
        os.makedirs(os.path.join(home, folder), exist_ok=True)
    return home, environment


def start_watch(vantry, environment):
    process = subprocess.Popen([vantry, "watch", "--json"], env=environment, stdout=subprocess.PIPE,
                               stderr=subprocess.DEVNULL, text=True, bufsize=1)
    lines = queue.Queue()

    def read():
        for line in process.stdout:
            lines.put((time.monotonic(), line))

    threading.Thread(target=read, daemon=True).start()
    lines.get(timeout=30)  # the first list: the engine is running
    return process, lines


def percentile(values, fraction):
    ordered = sorted(values)
    return ordered[min(len(ordered) - 1, int(round(fraction * (len(ordered) - 1))))]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("vantry")
    parser.add_argument("--saves", type=int, default=50)
    parser.add_argument("--gap", type=float, default=2.0)
    arguments = parser.parse_args()

    home, environment = temporary_home()
    process, lines = start_watch(arguments.vantry, environment)
    latencies = []
    try:
        for number in range(arguments.saves):
            path = os.path.join(home, "Documents", f"draft-{number}.txt")
            started = time.monotonic()
            with open(path, "w") as handle:
                handle.write("text\n")
            while True:
                when, line = lines.get(timeout=30)
                if any(entry["path"] == path for entry in json.loads(line)):
                    latencies.append(when - started)
                    break
            time.sleep(max(0.0, arguments.gap - (time.monotonic() - started)))
    finally:
        process.terminate()
        process.wait(timeout=30)
        subprocess.run(["rm", "-rf", home])
    print(f"saves={len(latencies)} gap={arguments.gap}s p50={statistics.median(latencies):.3f}s "
          f"p99={percentile(latencies, 0.99):.3f}s max={max(latencies):.3f}s")


if __name__ == "__main__":
    sys.exit(main())
