#!/usr/bin/env python3
"""feedparser's side of bench_feed_parse. Reads each file into memory once, then times REPS calls of
feedparser.parse() on the bytes, each followed by reading the title, link, description and content of
every entry, as the other sides do. The clock runs inside this process, so starting Python and
importing feedparser are not counted.

    feedparser_bench.py REPS FILE...

Prints one line per file: "<file>\t<median ms>\t<entries>\t<characters read>". Exits with 3 when
feedparser cannot be imported (Debian: python3-feedparser).
"""

import statistics
import sys
import time

try:
    import feedparser
except ImportError:
    print("feedparser_bench.py: feedparser is not installed (python3-feedparser)", file=sys.stderr)
    sys.exit(3)


def parse_and_read(data):
    feed = feedparser.parse(data)
    characters = 0
    for entry in feed.entries:
        characters += len(entry.get("title", "")) + len(entry.get("link", "")) + len(entry.get("description", ""))
        for content in entry.get("content", ()):
            characters += len(content.get("value", ""))
    return len(feed.entries), characters


def main(argv):
    if len(argv) < 3 or not argv[1].isdigit() or int(argv[1]) < 1:
        print("usage: feedparser_bench.py REPS FILE...", file=sys.stderr)
        return 2
    reps = int(argv[1])
    for path in argv[2:]:
        with open(path, "rb") as f:
            data = f.read()
        times = []
        entries = characters = 0
        for _ in range(reps):
            start = time.perf_counter()
            entries, characters = parse_and_read(data)
            times.append((time.perf_counter() - start) * 1000.0)
        print(f"{path}\t{statistics.median(times):.3f}\t{entries}\t{characters}", flush=True)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
