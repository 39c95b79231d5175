#!/usr/bin/env python3
"""detection_table.py JSON: the results of detection_bench --json as a table for docs/performance.md.

A cell has the library's milliseconds, those of the accelerated detection, and the ratios of wall and processor time.
"""

import json
import sys

with open(sys.argv[1], encoding="utf-8") as file:
    results = json.load(file)

print("| picture | markers | content | one thread: ms | ratio | processor time | two threads: ms | ratio | processor time |")
print("|---|---|---|---|---|---|---|---|---|")
for one in (line for line in results if line["threads"] == 1):
    keys = ("width", "height", "markers", "content")
    two = next(line for line in results if line["threads"] == 2 and all(line[key] == one[key] for key in keys))
    cells = [f"{one['width']}x{one['height']}", str(one["markers"]), one["content"]]
    for line in (one, two):
        cells += [
            f"{line['stock_ms']:.1f} to {line['accelerated_ms']:.1f}",
            f"{line['ratio']:.2f}",
            f"{line['processor_time_ratio']:.2f}",
        ]
    print("| " + " | ".join(cells) + " |")
