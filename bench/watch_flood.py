#!/usr/bin/env python3
"""A flood of file creations in a tree that `vantry watch` watches: peak memory growth of the process, whether it
keeps answering, and whether the list is right afterwards.

usage: watch_flood.py VANTRY [--files 100000]"""
import argparse
import json
import os
import queue
import subprocess
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from watch_latency import start_watch, temporary_home  # noqa: E402


def memory_kib(pid, field):
    with open(f"/proc/{pid}/status") as status:
        for line in status:
            if line.startswith(field + ":"):
                return int(line.split()[1])
    return 0


def wait_for(lines, path, timeout):
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline:
        try:
            _, line = lines.get(timeout=max(0.1, deadline - time.monotonic()))
        except queue.Empty:
            break
        if any(entry["path"] == path for entry in json.loads(line)):
            return True
    return False


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("vantry")
    parser.add_argument("--files", type=int, default=100000)
    arguments = parser.parse_args()

    home, environment = temporary_home()
    process, lines = start_watch(arguments.vantry, environment)
    try:
        time.sleep(0.5)
        baseline = memory_kib(process.pid, "VmRSS")
        flood = os.path.join(home, "Documents", "flood")
        started = time.monotonic()
        for number in range(arguments.files):
            folder = os.path.join(flood, f"batch-{number // 1000}")
            if number % 1000 == 0:
                os.makedirs(folder)
            with open(os.path.join(folder, f"file-{number}.dat"), "w") as handle:
                handle.write("x")
        flood_seconds = time.monotonic() - started

        # Responsive and right afterwards: a file saved after the flood shows up.
        marker = os.path.join(home, "Documents", "after-the-flood.txt")
        time.sleep(2.0)
        saved = time.monotonic()
        with open(marker, "w") as handle:
            handle.write("text\n")
        shown = wait_for(lines, marker, 60)
        answer = time.monotonic() - saved
        peak = memory_kib(process.pid, "VmHWM")
        alive = process.poll() is None
    finally:
        process.terminate()
        status = process.wait(timeout=60)
        subprocess.run(["rm", "-rf", home])
    print(f"files={arguments.files} flood={flood_seconds:.1f}s rss_baseline={baseline / 1024:.1f}MB "
          f"peak={peak / 1024:.1f}MB growth={(peak - baseline) / 1024:.1f}MB alive={alive} "
          f"marker_shown={shown} marker_latency={answer:.2f}s exit_status={status}")
    return 0 if shown and alive and status == 0 else 1


if __name__ == "__main__":
    sys.exit(main())
