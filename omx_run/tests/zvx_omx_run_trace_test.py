#!/usr/bin/env python3
"""Runs zvx_omx_run with --trace and reads the file back as a trace viewer would: valid JSON in the
trace-event format, timestamps in order, every span closed, and the calls and callbacks of the flow."""

import collections
import json
import subprocess
import sys
import tempfile
import unittest

PROGRAM = sys.argv.pop(1)
FRAMES = 300
PHASES = {"M", "i", "b", "e", "C"}
CLIENT, COMPONENT = 1, 2


class Trace(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        with tempfile.NamedTemporaryFile(suffix=".json") as trace:
            cls.program = subprocess.run([PROGRAM, "--trace=" + trace.name, "--frames=%d" % FRAMES,
                                          "--change=150:640x360"], capture_output=True, text=True, check=False)
            with open(trace.name, encoding="utf-8") as written:
                cls.events = json.load(written)["traceEvents"]
        cls.timed = [event for event in cls.events if event["ph"] != "M"]

    def test_run_went_through_and_the_trace_is_well_formed(self):
        self.assertEqual(self.program.returncode, 0, self.program.stdout + self.program.stderr)
        for event in self.events:
            self.assertIsInstance(event["name"], str)
            self.assertIn(event["ph"], PHASES)
            self.assertIsInstance(event["ts"], (int, float))
            self.assertEqual(event["pid"], 1)
            self.assertIn(event["tid"], (CLIENT, COMPONENT))
        stamps = [event["ts"] for event in self.timed]
        self.assertTrue(stamps, "the trace holds no timed event")
        self.assertEqual(stamps, sorted(stamps))
        open_spans = collections.Counter()
        for event in self.timed:
            if event["ph"] in ("b", "e"):
                key = (event["cat"], event["id"])
                open_spans[key] += 1 if event["ph"] == "b" else -1
                self.assertIn(open_spans[key], (0, 1), "span %s ended before it began or began twice" % (key,))
        self.assertEqual([key for key, count in open_spans.items() if count], [])

    def test_calls_callbacks_commands_frames_and_counters_are_the_flows(self):
        threads = {event["name"]: event["tid"] for event in self.timed if event["ph"] == "i"}
        for call in ("SendCommand", "AllocateBuffer", "FreeBuffer", "EmptyThisBuffer", "FillThisBuffer"):
            self.assertEqual(threads[call], CLIENT, call)
        for callback in ("EmptyBufferDone", "FillBufferDone", "EventHandler CmdComplete",
                         "EventHandler PortSettingsChanged", "EventHandler BufferFlag"):
            self.assertEqual(threads[callback], COMPONENT, callback)
        # Commands are spans from the call to their completion.
        spans = collections.Counter(event["name"] for event in self.timed
                                    if event["ph"] == "b" and event["cat"] == "command")
        self.assertEqual(spans["StateSet Idle"], 2)
        self.assertEqual(spans["StateSet Executing"], 1)
        self.assertEqual(spans["StateSet Loaded"], 1)
        self.assertEqual(spans["PortEnable port 1"], 2, "the stream's first resolution and its change")
        sent = sum(1 for event in self.timed if event["name"] == "SendCommand")
        self.assertEqual(sum(spans.values()), sent)
        pictures = [event for event in self.timed
                    if event["name"] == "FillBufferDone" and event["args"]["filled"] > 0]
        self.assertEqual(len(pictures), FRAMES)
        self.assertEqual(sum(1 for event in self.timed
                             if event["name"] == "EmptyThisBuffer" and event["args"]["filled"] > 0), FRAMES)
        counters = [event for event in self.timed if event["ph"] == "C"]
        self.assertEqual(counters[-1]["args"], {"input": 0, "output": 0})


if __name__ == "__main__":
    unittest.main()
