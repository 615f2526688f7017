#!/usr/bin/env python3
"""Ratio lines for zvx_omx_flow_bench's pairs, from its JSON output (--benchmark_out=FILE
--benchmark_out_format=json): the decoder against the peer framework's volume component, and each
round trip against the pipe+poll floor. Usage: zvx_flow_ratios.py FILE [LABEL]."""
import json
import sys


def main():
    with open(sys.argv[1], encoding="utf-8") as out:
        report = json.load(out)
    label = sys.argv[2] if len(sys.argv) > 2 else ""
    runs = {}
    for run in report["benchmarks"]:
        name = run["name"].split("/iterations")[0].split("/min_time")[0]
        runs[name] = run

    def figure(name, key):
        run = runs.get(name)
        return None if run is None or "error_message" in run else run.get(key)

    def ratio(what, ours, theirs, key, inverse=False, hops=1):
        a, b = figure(ours, key), figure(theirs, key)
        b = None if b is None else b * hops
        if a is None or b is None or a == 0 or b == 0:
            print(f"ratio{label} {what}: not measured (no {ours if a is None else theirs})")
            return
        value = b / a if inverse else a / b
        print(f"ratio{label} {what}: {value:.2f} x ({key} {a:.1f} against {b:.1f})")

    ratio("state cycle, decoder / peer at 5 buffers", "BM_StateCycle", "BM_PeerStateCycle/5", "median_us")
    ratio("seek (Pause, both ports flushed, Executing), decoder / peer", "BM_SeekFlush", "BM_PeerSeekFlush",
          "median_us")
    ratio("EmptyThisBuffer round trip, decoder / peer", "BM_EmptyBufferRoundTrip", "BM_PeerEmptyBufferRoundTrip",
          "median_us")
    ratio("FillThisBuffer round trip, decoder / peer", "BM_FillBufferRoundTrip", "BM_PeerFillBufferRoundTrip",
          "median_us")
    # A buffer crosses two threads on its way back (client -> device -> command thread): two hops.
    ratio("EmptyThisBuffer round trip, decoder / two pipe+poll hops", "BM_EmptyBufferRoundTrip", "BM_PipePollFloor",
          "median_us", hops=2)
    ratio("FillThisBuffer round trip, decoder / two pipe+poll hops", "BM_FillBufferRoundTrip", "BM_PipePollFloor",
          "median_us", hops=2)
    ratio("buffers per second, one in flight, decoder / peer", "BM_Throughput/1", "BM_PeerThroughput/1",
          "buffers_per_s")
    ratio("buffers per second, all in flight, decoder / peer", "BM_Throughput/0", "BM_PeerThroughput/0",
          "buffers_per_s")


if __name__ == "__main__":
    main()
