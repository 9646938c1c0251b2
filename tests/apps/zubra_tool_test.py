#!/usr/bin/env python3
"""End-to-end tests of the built `zubra` tool.

Usage: zubra_tool_test.py --zubra PATH --data FOLDER INVESTIGATION...

Every investigation named on the command line is designed, checked, shown, converted and
listed; the fixtures in FOLDER (unsound.json, no_design.json, long_search.json) drive the
failures: usage errors, unsound investigations, missing files and Ctrl-C.
"""

import argparse
import csv
import io
import json
import os
import pty
import re
import select
import signal
import subprocess
import sys
import tempfile
import time
import unittest
import xml.etree.ElementTree as ElementTree
import zipfile

ZUBRA = ""
DATA = ""
INVESTIGATIONS = []

SEED_LINE = re.compile(r"^Seed: (\d+)$", re.MULTILINE)
SHEET_NS = {"m": "http://schemas.openxmlformats.org/spreadsheetml/2006/main"}


def run(*args, timeout=300):
    return subprocess.run([ZUBRA, *args], capture_output=True, timeout=timeout, check=False)


def summary_value(text, label):
    match = re.search(r"^" + re.escape(label) + r"\s*: (.*)$", text, re.MULTILINE)
    return match.group(1) if match else None


def read_csv(path):
    with open(path, newline="", encoding="utf-8") as handle:
        return list(csv.reader(handle))


def read_xlsx_sheet(path, sheet):
    """The cells of one sheet as rows of Python values (str, float, or None for no cell)."""
    with zipfile.ZipFile(path) as book:
        strings = []
        if "xl/sharedStrings.xml" in book.namelist():
            root = ElementTree.fromstring(book.read("xl/sharedStrings.xml"))
            strings = ["".join(t.text or "" for t in si.iter(f"{{{SHEET_NS['m']}}}t"))
                       for si in root.findall("m:si", SHEET_NS)]
        root = ElementTree.fromstring(book.read(f"xl/worksheets/{sheet}.xml"))
    rows = []
    for row in root.find("m:sheetData", SHEET_NS).findall("m:row", SHEET_NS):
        cells = {}
        for cell in row.findall("m:c", SHEET_NS):
            column = re.match(r"[A-Z]+", cell.get("r")).group(0)
            index = 0
            for letter in column:
                index = index * 26 + ord(letter) - ord("A") + 1
            value = cell.find("m:v", SHEET_NS)
            if value is None:
                continue
            cells[index - 1] = strings[int(value.text)] if cell.get("t") == "s" else float(
                value.text)
        width = max(cells) + 1 if cells else 0
        rows.append([cells.get(i) for i in range(width)])
    return rows


class ScratchTest(unittest.TestCase):
    def setUp(self):
        self._folder = tempfile.TemporaryDirectory(prefix="zubra_tool_")
        self.folder = self._folder.name

    def tearDown(self):
        self._folder.cleanup()

    def path(self, name):
        return os.path.join(self.folder, name)

    def entries(self):
        return sorted(os.listdir(self.folder))

    def design(self, source, *args, expect=0):
        result = run("design", source, *args)
        self.assertEqual(result.returncode, expect, result.stderr.decode())
        return result


class EveryInvestigation(ScratchTest):
    """What must hold for every investigation of the list."""

    def test_the_same_seed_gives_the_same_worksheet_in_every_form(self):
        for source in INVESTIGATIONS:
            for form in ("tsv", "csv", "json", "xlsx"):
                with self.subTest(source=source, form=form):
                    outputs = []
                    for attempt in ("first", "second"):
                        output = self.path(f"{attempt}.{form}")
                        result = self.design(source, "-o", output, "--seed", "4242")
                        self.assertEqual(SEED_LINE.findall(result.stdout.decode()), ["4242"])
                        if form == "xlsx":
                            outputs.append((read_xlsx_sheet(output, "sheet1"),
                                            read_xlsx_sheet(output, "sheet2")))
                        else:
                            with open(output, "rb") as handle:
                                outputs.append(handle.read())
                    self.assertEqual(outputs[0], outputs[1])

    def test_a_run_without_a_seed_prints_the_seed_that_repeats_it(self):
        for source in INVESTIGATIONS:
            with self.subTest(source=source):
                first = self.design(source)
                seeds = SEED_LINE.findall(first.stderr.decode())
                self.assertEqual(len(seeds), 1, first.stderr.decode())
                again = self.design(source, "--seed", seeds[0])
                self.assertEqual(again.stdout, first.stdout)
                self.assertEqual(self.entries(), [])  # without -o nothing is written

    def test_the_xlsx_file_holds_the_header_and_one_row_per_run_as_the_csv_does(self):
        for source in INVESTIGATIONS:
            with self.subTest(source=source):
                self.design(source, "-o", self.path("runs.csv"), "--seed", "31")
                result = self.design(source, "-o", self.path("runs.xlsx"), "--seed", "31",
                                     "--save", self.path("study.json"))
                table = read_csv(self.path("runs.csv"))
                sheet = read_xlsx_sheet(self.path("runs.xlsx"), "sheet1")
                self.assertEqual(sheet[0], table[0])
                self.assertEqual(len(sheet), len(table))
                self.assertEqual([row[0] for row in sheet[1:]], list(range(1, len(sheet))))
                for cells, fields in zip(sheet[1:], table[1:]):
                    # The response cells are empty: absent from the sheet, empty in the CSV.
                    self.assertLess(len(cells), len(fields))
                    self.assertEqual(fields[len(cells):], [""] * (len(fields) - len(cells)))
                    for cell, field in zip(cells, fields):
                        if isinstance(cell, float):
                            self.assertAlmostEqual(cell, float(field), places=6)
                        else:
                            self.assertEqual(cell if cell is not None else "", field)
                summary = {row[0]: row[1] for row in read_xlsx_sheet(self.path("runs.xlsx"),
                                                                      "sheet2")}
                self.assertEqual(summary["Runs"], len(table) - 1)
                self.assertEqual(summary["Seed"], 31)
                self.assertEqual(summary["Design"],
                                 summary_value(result.stdout.decode(), "Design").split(" (")[0])

    def test_the_saved_investigation_holds_the_design_and_the_seed(self):
        for source in INVESTIGATIONS:
            with self.subTest(source=source):
                self.design(source, "-o", self.path("first.tsv"), "--seed", "99")
                self.assertEqual(self.entries(), ["first.tsv", "first.xml"])
                checked = run("check", self.path("first.xml"))
                self.assertEqual(checked.returncode, 0, checked.stderr.decode())
                again = self.design(self.path("first.xml"), "-o", self.path("again.tsv"))
                self.assertEqual(SEED_LINE.findall(again.stdout.decode()), ["99"])
                with open(self.path("first.tsv"), "rb") as a, open(self.path("again.tsv"),
                                                                   "rb") as b:
                    self.assertEqual(a.read(), b.read())
                for name in self.entries():
                    os.remove(self.path(name))

    def test_convert_round_trips_between_json_and_xml(self):
        for source in INVESTIGATIONS:
            with self.subTest(source=source):
                steps = [(source, "a.xml"), ("a.xml", "b.json"), ("b.json", "c.xml"),
                         ("c.xml", "d.json")]
                for origin, target in steps:
                    origin = origin if origin == source else self.path(origin)
                    result = run("convert", origin, self.path(target))
                    self.assertEqual(result.returncode, 0, result.stderr.decode())
                    self.assertEqual(result.stdout, b"")
                with open(self.path("b.json"), encoding="utf-8") as b, open(
                        self.path("d.json"), encoding="utf-8") as d:
                    self.assertEqual(json.load(b), json.load(d))
                sheets = set()
                for form in (source, self.path("a.xml"), self.path("d.json")):
                    sheets.add(self.design(form, "--seed", "5").stdout)
                self.assertEqual(len(sheets), 1)
                for name in self.entries():
                    os.remove(self.path(name))

    def test_check_show_and_catalogue_describe_the_investigation(self):
        for source in INVESTIGATIONS:
            with self.subTest(source=source):
                checked = run("check", source)
                self.assertEqual(checked.returncode, 0, checked.stderr.decode())
                self.assertIn(b"is sound", checked.stdout)
                shown = run("show", source)
                self.assertEqual(shown.returncode, 0, shown.stderr.decode())
                text = shown.stdout.decode()
                for heading in ("== Factors ==", "== Responses ==", "== Model specification =="):
                    self.assertIn(heading, text)
                self.assertGreater(text.count("Factor name     : "), 0)
                self.assertIn("Current Objective : ", text)
                listed = run("catalogue", source)
                self.assertEqual(listed.returncode, 0, listed.stderr.decode())
                lines = listed.stdout.decode().splitlines()
                self.assertEqual(lines[1].split(), ["Type", "Name", "Runs", "Blocks"])
                best = [line for line in lines[2:] if re.search(r"\bbest\b", line)]
                self.assertEqual(len(best), 1, lines)
                self.assertEqual(len([line for line in lines if line.endswith("chosen")]), 1)
                # The design the tool generates is the one marked chosen.
                designed = self.design(source, "--seed", "1").stderr.decode()
                chosen = [line for line in lines if line.endswith("chosen")][0]
                self.assertEqual(chosen.split()[0],
                                 summary_value(designed, "Design").split(" (")[0])


class Failures(ScratchTest):
    """Each kind of failure ends with its exit status, its messages and no file written."""

    def fixture(self, name):
        return os.path.join(DATA, name)

    def test_usage_errors_exit_with_2_and_write_nothing(self):
        source = INVESTIGATIONS[0]
        rows = [
            [],
            ["frobnicate"],
            ["design"],
            ["design", source, "--bogus"],
            ["design", source, "--seed", "-1"],
            ["design", source, "--seed", "4294967296"],
            ["design", source, "--seed", "twelve"],
            ["design", source, "--format", "pdf"],
            ["design", source, "-o", self.path("same.xml"), "--format", "tsv"],
            ["design", source, "-o", self.path("w.tsv"), "--save", self.path("w.tsv")],
            ["show"],
            ["check", source, "extra"],
            ["convert", source],
            ["convert", source, self.path("study.txt")],
            ["catalogue"],
            ["evaluate"],
            ["evaluate", source, "--plots"],
            ["evaluate", source, "--json", "--bogus"],
            ["augment", source],
            ["augment", source, "--foldover", "--axial"],
            ["augment", source, "--axial", "--runs", "3"],
            ["augment", source, "--runs", "0"],
            ["augment", source, "--runs", "3", "--model", "cubic"],
            ["augment", source, "--factor", "Temp"],
            ["augment", source, "--runs", "3", "--star", "face"],
            ["augment", source, "--axial", "--star", "face", "--star-distance", "1.5"],
            ["augment", source, "--axial", "--star-distance", "7"],
            ["augment", source, "--foldover", "--save", self.path("grown.json")],
            ["augment", source, "--foldover", "--factor", "Nobody", "-o", self.path("g.tsv")],
        ]
        for args in rows:
            with self.subTest(args=args):
                result = run(*args)
                self.assertEqual(result.returncode, 2, result.stderr.decode())
                self.assertNotEqual(result.stderr, b"")
                self.assertEqual(self.entries(), [])

    def test_help_and_version_exit_with_0_and_name_the_exit_statuses(self):
        for args in (["--help"], ["design", "--help"], ["show", "--help"], ["check", "--help"],
                     ["convert", "--help"], ["catalogue", "--help"], ["evaluate", "--help"],
                     ["augment", "--help"]):
            with self.subTest(args=args):
                result = run(*args)
                self.assertEqual(result.returncode, 0)
                text = result.stdout.decode()
                for status in ("0 success", "1 ", "2 usage", "3 a file", "130 cancelled"):
                    self.assertIn(status, text)
        version = run("--version")
        self.assertEqual(version.returncode, 0)
        self.assertRegex(version.stdout.decode(), r"^zubra \d+\.\d+\.\d+\n$")

    def test_an_unsound_investigation_exits_with_1_and_every_problem(self):
        messages = [
            "factor 2 ('Temperature'): The factor name already exists.",
            "factor 3 ('Pressure'): The abbreviation is too long. The limit is 5 characters.",
            "factor 4 ('Speed'): The unit is too long. The limit is 25 characters.",
            "factor 5: Parse error: illegal factor type.",
            "design: the design cannot be divided into 7 blocks; it offers 1.",
        ]
        source = self.fixture("unsound.json")
        for command in (["check", source], ["design", source, "-o", self.path("w.csv")],
                        ["show", source], ["catalogue", source],
                        ["convert", source, self.path("c.xml")]):
            with self.subTest(command=command[0]):
                result = run(*command)
                self.assertEqual(result.returncode, 1)
                self.assertEqual(result.stdout, b"")
                for message in messages:
                    self.assertIn(message, result.stderr.decode())
                self.assertEqual(self.entries(), [])

    def test_an_investigation_that_gives_no_design_exits_with_1(self):
        source = self.fixture("no_design.json")
        for command in (["check", source], ["design", source, "-o", self.path("w.csv")]):
            with self.subTest(command=command[0]):
                result = run(*command)
                self.assertEqual(result.returncode, 1)
                self.assertIn("The design 'Full Factorial' cannot have 5 runs.",
                              result.stderr.decode())
                self.assertEqual(self.entries(), [])

    def test_a_file_that_does_not_read_as_an_investigation_exits_with_1(self):
        for name, content in (("garbage.json", b"{ not json"), ("empty.xml", b""),
                              ("cut.xml", b"<root><Factors>")):
            with self.subTest(name=name):
                with open(self.path(name), "wb") as handle:
                    handle.write(content)
                result = run("check", self.path(name))
                self.assertEqual(result.returncode, 1, result.stderr.decode())
                self.assertIn(name, result.stderr.decode())

    def test_files_that_cannot_be_read_or_written_exit_with_3(self):
        source = INVESTIGATIONS[0]
        missing = self.path("missing.json")
        rows = [
            ["check", missing],
            ["show", missing],
            ["catalogue", missing],
            ["convert", missing, self.path("x.xml")],
            ["design", missing, "-o", self.path("w.csv")],
            ["check", self.folder],
            ["design", source, "-o", self.path("no/such/folder/w.csv")],
            ["design", source, "-o", self.path("w.csv"), "--save", self.path("no/study.xml")],
            ["convert", source, self.path("no/such/folder/x.json")],
            ["evaluate", missing],
            ["evaluate", source, "--plots", self.path("no/such/folder")],
            ["augment", missing, "--foldover"],
            ["augment", source, "--axial", "-o", self.path("no/such/folder/w.csv")],
        ]
        for args in rows:
            with self.subTest(args=args):
                result = run(*args)
                self.assertEqual(result.returncode, 3, result.stderr.decode())
                self.assertTrue(result.stderr.startswith(b"zubra: "))
                self.assertEqual(self.entries(), [])

    def test_ctrl_c_during_generation_exits_with_130_and_writes_nothing(self):
        # Standard error is a terminal, so the progress bar shows when the search has begun.
        master, slave = pty.openpty()
        process = subprocess.Popen(
            [ZUBRA, "design", self.fixture("long_search.json"), "-o", self.path("w.xlsx")],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=slave)
        os.close(slave)
        seen = b""
        deadline = time.monotonic() + 120
        try:
            while b"Generating the design" not in seen and time.monotonic() < deadline:
                ready, _, _ = select.select([master], [], [], 1.0)
                if ready:
                    seen += os.read(master, 4096)
            self.assertIn(b"Generating the design", seen)
            process.send_signal(signal.SIGINT)
            status = process.wait(timeout=120)
            while True:
                ready, _, _ = select.select([master], [], [], 0.5)
                if not ready:
                    break
                try:
                    chunk = os.read(master, 4096)
                except OSError:  # the terminal closed with the process
                    break
                if not chunk:
                    break
                seen += chunk
        finally:
            if process.poll() is None:
                process.kill()
                process.wait()
            os.close(master)
        self.assertEqual(status, 130, seen.decode(errors="replace"))
        self.assertIn(b"\x1b[K", seen)  # the bar was erased
        self.assertIn(b"zubra: Cancelled; no file was written.", seen)
        self.assertEqual(process.stdout.read(), b"")
        process.stdout.close()
        self.assertEqual(self.entries(), [])


def example(name):
    """The investigation of the list whose file is called `name`."""
    matches = [path for path in INVESTIGATIONS if os.path.basename(path) == name]
    if not matches:
        raise unittest.SkipTest(f"{name} is not among the investigations")
    return matches[0]


def with_power(source, target, noise, signal=5.0):
    """Writes `source` with every response's noise level and signal to detect set."""
    with open(source, encoding="utf-8") as handle:
        study = json.load(handle)
    for response in study["responses"]:
        response["power"] = {"estimatedNoiseLevel": noise, "signalToDetect": signal}
    with open(target, "w", encoding="utf-8") as handle:
        json.dump(study, handle)
    return target


def png_size(data):
    """The width and height of a PNG file's bytes, or None when they are no PNG file."""
    if data[:8] != b"\x89PNG\r\n\x1a\n" or data[12:16] != b"IHDR":
        return None
    return int.from_bytes(data[16:20], "big"), int.from_bytes(data[20:24], "big")


class Evaluate(ScratchTest):
    """`zubra evaluate`: the report, the JSON document and the plots."""

    def evaluate(self, source, *args):
        result = run("evaluate", source, *args)
        self.assertEqual(result.returncode, 0, result.stderr.decode())
        return result

    def test_every_investigation_is_evaluated_as_text_and_as_json(self):
        for source in INVESTIGATIONS:
            with self.subTest(source=source):
                text = self.evaluate(source).stdout.decode()
                for heading in ("== Power ==", "== Aliasing ==", "== Prediction variance ==",
                                "== Coefficients =="):
                    self.assertIn(heading, text)
                report = json.loads(self.evaluate(source, "--json").stdout)
                self.assertEqual(str(report["design"]["runs"]), summary_value(text, "Runs"))
                with open(source, encoding="utf-8") as handle:
                    study = json.load(handle) if source.endswith(".json") else None
                if study is not None:
                    self.assertEqual([p["response"] for p in report["power"]],
                                     [r["name"] for r in study["responses"]])
                variance = report["predictionVariance"]
                if variance["singular"]:
                    continue
                curve = [v for _, v in variance["fds"]]
                self.assertEqual(len(curve), 101)
                self.assertEqual(curve, sorted(curve))
                self.assertAlmostEqual(curve[0], variance["minimum"])
                self.assertLessEqual(curve[-1], variance["maximum"] * (1 + 1e-9))
                self.assertTrue(variance["minimum"] <= variance["mean"] <= variance["maximum"])
                self.assertTrue(0 < variance["gEfficiency"] <= 100 + 1e-9)
                self.assertTrue(0 < report["coefficients"]["aEfficiency"] <= 100 + 1e-9)
                terms = [t["term"] for t in report["coefficients"]["terms"]]
                self.assertEqual(terms, report["aliasing"]["aliasMatrix"]["modelTerms"])

    def test_power_falls_as_the_noise_grows_and_the_runs_to_reach_the_target_follow(self):
        for name in ("screening-suzuki-coupling.json", "qualitative-protein-expression.json"):
            with self.subTest(name=name):
                reports = []
                for noise in (2.0, 6.0):
                    path = with_power(example(name), self.path(f"noise{noise}.json"), noise)
                    reports.append(json.loads(self.evaluate(path, "--json").stdout)["power"][0])
                quiet, loud = reports
                self.assertEqual([t["term"] for t in quiet["terms"]],
                                 [t["term"] for t in loud["terms"]])
                for a, b in zip(quiet["terms"], loud["terms"]):
                    self.assertGreater(a["power"], b["power"], a["term"])
                runs = json.loads(self.evaluate(example(name), "--json").stdout)["design"]["runs"]
                for entry in reports:
                    target = entry["settings"]["target"]
                    lowest = min(t["power"] for t in entry["terms"])
                    self.assertAlmostEqual(entry["lowestPower"], lowest)
                    self.assertEqual(entry["reachesTarget"], lowest >= target)
                    copies = entry["byReplicating"]
                    self.assertTrue(copies["reached"])
                    self.assertEqual(copies["runs"], copies["copies"] * runs)
                    self.assertGreaterEqual(copies["lowestPower"], target)
                    self.assertEqual(copies["copies"] == 1, entry["reachesTarget"])
                self.assertLessEqual(quiet["byReplicating"]["runs"],
                                     loud["byReplicating"]["runs"])
                text = self.evaluate(self.path("noise6.0.json")).stdout.decode()
                self.assertIn("Runs that reach the target by replicating the design: "
                              f"{loud['byReplicating']['runs']} ", text)
                without = self.evaluate(example(name)).stdout.decode()
                self.assertIn("no power analysis: The estimated noise level must be a positive "
                              "number.", without)

    def test_a_regular_fraction_has_an_alias_structure_and_a_full_factorial_none(self):
        fraction = json.loads(
            self.evaluate(example("screening-suzuki-coupling.json"), "--json").stdout)
        structure = fraction["aliasing"]["structure"]
        self.assertEqual(structure["resolution"], 4)
        self.assertEqual(len(structure["letters"]), 7)
        for effect in structure["effects"]:
            if len(effect["effect"]) == 1:  # no main effect is aliased with a pair
                self.assertTrue(all(len(word) >= 3 for word in effect["aliases"]), effect)
        self.assertIn("Regular two-level fraction of resolution 4", self.evaluate(
            example("screening-suzuki-coupling.json")).stdout.decode())
        full = json.loads(self.evaluate(example("first-design.json"), "--json").stdout)
        self.assertIsNone(full["aliasing"]["structure"])
        matrix = full["aliasing"]["aliasMatrix"]
        self.assertEqual(len(matrix["potentialTerms"]), 3)
        self.assertTrue(all(abs(v) < 1e-9 for row in matrix["matrix"] for v in row))

    def test_the_plots_are_png_and_svg_files_labelled_with_every_term(self):
        for name in ("screening-suzuki-coupling.json", "qualitative-protein-expression.json"):
            with self.subTest(name=name):
                plots = self.path("plots")
                os.mkdir(plots)
                report = json.loads(self.evaluate(example(name), "--json", "--plots",
                                                  plots).stdout)
                stems = ("fds", "correlation")
                expected = sorted(f"{stem}.{form}" for stem in stems for form in ("png", "svg"))
                self.assertEqual(sorted(os.listdir(plots)), expected)  # no temporary file left
                self.assertEqual(sorted(os.path.basename(p) for p in report["plots"]), expected)
                for stem in stems:
                    with open(os.path.join(plots, stem + ".png"), "rb") as handle:
                        size = png_size(handle.read())
                    self.assertIsNotNone(size)
                    self.assertGreaterEqual(min(size), 300)
                    root = ElementTree.parse(os.path.join(plots, stem + ".svg")).getroot()
                    self.assertEqual(root.tag, "{http://www.w3.org/2000/svg}svg")
                    labels = {t.text for t in root.iter("{http://www.w3.org/2000/svg}text")}
                    if stem == "correlation":
                        names = report["aliasing"]["correlations"]["names"]
                        self.assertGreater(len(names), 0)
                        self.assertLessEqual(set(names), labels)
                    else:
                        self.assertIn("Fraction of the region", labels)
                text = self.evaluate(example(name), "--plots", plots).stdout.decode()
                self.assertIn("== Plots ==\n" + os.path.join(plots, "fds.png"), text)
                for entry in os.listdir(plots):
                    os.remove(os.path.join(plots, entry))
                os.rmdir(plots)


def sheet_rows(path):
    """The rows of a CSV worksheet as dictionaries by heading."""
    rows = read_csv(path)
    return [dict(zip(rows[0], row)) for row in rows[1:]]


class Augment(ScratchTest):
    """`zubra augment`: the old runs stay as they were, the new ones follow."""

    def grow(self, source, *how):
        plain = self.design(source, "--seed", "4242", "-o", self.path("plain.csv"))
        grown = run("augment", source, *how, "--seed", "4242", "-o", self.path("grown.csv"))
        self.assertEqual(grown.returncode, 0, grown.stderr.decode())
        self.assertEqual(self.entries(), ["grown.csv", "grown.xml", "plain.csv", "plain.xml"])
        return (sheet_rows(self.path("plain.csv")), sheet_rows(self.path("grown.csv")),
                grown.stdout.decode(), plain.stdout.decode())

    def test_each_growth_keeps_the_old_runs_and_orders_and_adds_new_runs_after_them(self):
        # (investigation, how, factors, the runs added as a function of the old runs)
        rows = [
            ("first-design.json", ["--foldover"], 3, lambda n: n),
            ("screening-suzuki-coupling.json", ["--foldover", "--factor", "Temp"], 7,
             lambda n: n),
            ("first-design.json", ["--axial"], 3, lambda n: 2 * 3 + 2),
            ("first-design.json", ["--axial", "--star", "face", "--center-points", "0"], 3,
             lambda n: 2 * 3),
            ("rsm-enzymatic-hydrolysis.json", ["--runs", "4"], 3, lambda n: 4),
            ("first-design.json", ["--runs", "5", "--model", "quadratic"], 3, lambda n: 5),
        ]
        for name, how, factor_count, added in rows:
            with self.subTest(name=name, how=how):
                old, new, summary, before = self.grow(example(name), *how)
                runs = len(old)
                self.assertEqual(len(new), runs + added(runs))
                self.assertEqual(summary_value(summary, "Runs"), str(len(new)))
                self.assertEqual(SEED_LINE.findall(summary), ["4242"])
                for was, now in zip(old, new):
                    self.assertEqual({k: v for k, v in now.items() if k != "Block"}, was)
                fresh = new[runs:]
                self.assertEqual(sorted(int(r["RunOrder"]) for r in fresh),
                                 list(range(runs + 1, len(new) + 1)))
                self.assertEqual(sorted(int(r["ExpNo"]) for r in fresh),
                                 list(range(runs + 1, len(new) + 1)))
                old_blocks = {int(r.get("Block", 1)) for r in new[:runs]}
                self.assertEqual({int(r["Block"]) for r in fresh}, {max(old_blocks) + 1})
                grown = json.loads(run("evaluate", self.path("grown.xml"), "--json").stdout)
                self.assertEqual(grown["design"]["runs"], len(new))
                if "--model" in how or "--axial" in how:
                    self.assertEqual(grown["design"]["modelTerms"], 10)  # quadratic in 3
                else:
                    self.assertEqual(summary_value(summary, "Terms"),
                                     summary_value(before, "Terms"))
                factors = list(old[0])[3:3 + factor_count]
                if how[0] == "--foldover":
                    mirrored = factors if len(how) == 1 else factors[:1]
                    by_number = {int(r["ExpNo"]): r for r in new}
                    for number in range(1, runs + 1):  # run i is mirrored by run runs + i
                        was, now = by_number[number], by_number[runs + number]
                        for factor in factors:
                            values = [float(r[factor]) for r in old]
                            mirror = min(values) + max(values) - float(was[factor])
                            expected = mirror if factor in mirrored else float(was[factor])
                            self.assertAlmostEqual(float(now[factor]), expected, places=4)
                if how[0] == "--axial":
                    centre = {f: (min(float(r[f]) for r in old) + max(float(r[f]) for r in old))
                              / 2 for f in factors}
                    moved = sorted(sum(abs(float(r[f]) - centre[f]) > 1e-6 for f in factors)
                                   for r in fresh)
                    self.assertEqual(moved.count(1), 2 * factor_count)
                    self.assertEqual(moved.count(0), len(fresh) - 2 * factor_count)
                for entry in self.entries():
                    os.remove(self.path(entry))

    def test_a_design_that_cannot_grow_so_exits_with_1_and_writes_nothing(self):
        for how in (["--foldover"], ["--axial"]):
            with self.subTest(how=how):
                result = run("augment", example("mixture-tablet-blend.json"), *how, "-o",
                             self.path("grown.csv"))
                self.assertEqual(result.returncode, 1)
                self.assertRegex(result.stderr.decode(), r"^zubra: .*factor")
                self.assertEqual(self.entries(), [])


def main():
    global ZUBRA, DATA, INVESTIGATIONS
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--zubra", required=True)
    parser.add_argument("--data", required=True)
    parser.add_argument("investigations", nargs="+")
    options, rest = parser.parse_known_args()
    ZUBRA, DATA, INVESTIGATIONS = options.zubra, options.data, options.investigations
    unittest.main(argv=[sys.argv[0], *rest], verbosity=2)


if __name__ == "__main__":
    main()
