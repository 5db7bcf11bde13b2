#!/usr/bin/env python3
"""Writes the figures of a scripts/reliability.sh run into docs/RELIABILITY.md, between its figure markers.

    reliability_report.py FIGURES_DIR DOC
"""
import datetime
import json
import os
import platform
import re
import subprocess
import sys
import xml.etree.ElementTree as ET

START, END = "<!-- figures:start -->", "<!-- figures:end -->"


def load(folder, name):
    path = os.path.join(folder, name)
    if not os.path.exists(path):
        return None
    with open(path, encoding="utf-8") as f:
        return json.load(f) if name.endswith(".json") else f.read().strip()


def cpu_model():
    try:
        with open("/proc/cpuinfo", encoding="utf-8") as f:
            for line in f:
                if line.startswith("model name"):
                    return line.split(":", 1)[1].strip()
    except OSError:
        pass
    return platform.processor() or "unknown CPU"


def main(folder, doc):
    log = load(folder, "test.log") or ""
    stages = re.findall(r"(\d+)% tests passed, (\d+) tests? failed out of (\d+)", log)
    reports = len(re.findall(r"ERROR: AddressSanitizer|ERROR: LeakSanitizer|runtime error:|WARNING: ThreadSanitizer", log))
    commit = subprocess.run(["git", "rev-parse", "--short", "HEAD"], capture_output=True, text=True).stdout.strip()

    lines = [START, "",
             f"Last run: {datetime.date.today().isoformat()}, commit `{commit or 'unknown'}`, "
             f"{os.cpu_count()} cores ({cpu_model()}), {int(load(folder, 'seconds') or 0) // 60} min in all.", "",
             "| figure | value |", "|---|---|"]
    names = ["normal build", "normal build, the clock 400 days ahead", "ASan + UBSan build", "ThreadSanitizer build"]
    for name, (_, failed, total) in zip(names, stages):
        lines.append(f"| tests passed, {name} | {int(total) - int(failed)} of {total} |")
    lines.append(f"| sanitizer reports | {reports} |")

    faults = os.path.join(folder, "faults.xml")
    if os.path.exists(faults):
        cases = ET.parse(faults).getroot().iter("testcase")
        results = [(c.get("name"), c.find("failure") is None and c.get("status", "run") == "run") for c in cases]
        passed = sum(ok for _, ok in results)
        lines.append(f"| fault, security and stress scenarios survived | {passed} of {len(results)} |")

    kill = load(folder, "kill.json")
    if kill:
        lines += [f"| kill test: rounds killed with SIGKILL | {kill['rounds']} (seed {kill['seed']}) |",
                  f"| events recorded (the call returned) | {kill['recorded']} |",
                  f"| events stored (committed, seen in the database after a kill, or delivered) | {kill['stored']} |",
                  f"| events delivered | {kill['delivered']} |",
                  f"| events delivered more than once | {kill['duplicated']} |",
                  f"| events lost once stored | {kill['lost']} |",
                  f"| events recorded but never stored (killed while still queued) | {kill['never_stored']} |"]
    power = load(folder, "power.json")
    if power:
        lines += [f"| power-cut test: rounds, the power failing inside a commit or between statements | "
                  f"{power['rounds']} ({power['cuts']} cuts) |",
                  f"| rows of returned commits checked after a cut | {power['durable_rows_checked']} |",
                  f"| rounds where the commit under way at the cut was kept whole | {power['commit_under_way_kept']} |",
                  f"| committed events lost, or confirmed deletions back | {power['lost']} |"]
    stress = load(folder, "stress.json")
    if stress:
        lines.append(f"| stress: {stress['threads']} threads, {stress['calls']} calls of {stress['operations']} "
                     f"operations | {stress['actions_recorded']} actions recorded, all delivered, "
                     f"{stress['actions_duplicated']} more than once |")
    lock = load(folder, "lock-order.json")
    if lock:
        lines.append(f"| lock order: rounds of {lock['threads']} entry points at once | {lock['rounds']}, "
                     f"{lock['deadlocks']} deadlocks |")
    fuzz = load(folder, "fuzz.json")
    if fuzz:
        lines += ["", f"Fuzzing, {fuzz['seconds_per_target']} s per target (build {fuzz['build_seconds']} s):", "",
                  "| target | executions | seconds | corpus files | crashes |", "|---|---|---|---|---|"]
        for t in fuzz["targets"]:
            lines.append(f"| {t['target']} | {t['executions']} | {t['seconds']} | {t['corpus_files']} | "
                         f"{t['crashes']} |")
    statuses = {name: load(folder, f"{name}.status") for name in ("test", "faults", "kill", "power")}
    failed = [name for name, status in statuses.items() if status not in (None, "0")]
    lines += ["", "Every stage passed." if not failed else f"Failed stages: {', '.join(failed)}.", "", END]

    with open(doc, encoding="utf-8") as f:
        text = f.read()
    if START in text and END in text:
        text = text[: text.index(START)] + "\n".join(lines) + text[text.index(END) + len(END):]
    else:
        text += "\n" + "\n".join(lines) + "\n"
    with open(doc, "w", encoding="utf-8") as f:
        f.write(text)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], sys.argv[2]))
