#!/usr/bin/env python3
"""Writes the figures of a scripts/bench.sh run into docs/PERFORMANCE.md.

    bench_report.py RESULTS_DIR PERFORMANCE_MD

The figures go between the markers "<!-- figures -->" and "<!-- /figures -->"; the rest of the file (what the
figures mean, the trade-offs) is kept as it is. A file without the markers gets them appended.
"""
import json
import os
import re
import sys

START, END = "<!-- figures -->", "<!-- /figures -->"


def load(results, name):
    path = os.path.join(results, name)
    if not os.path.exists(path):
        return []
    with open(path) as f:
        if name.endswith(".json") and name != "memory.json" and name != "machine.json":
            return json.load(f).get("benchmarks", [])
        return json.load(f)


def pick(benchmarks, prefix):
    """The run of the benchmark whose name starts with prefix: its median aggregate when repeated."""
    runs = [b for b in benchmarks if b["name"].startswith(prefix)]
    medians = [b for b in runs if b.get("aggregate_name") == "median"]
    chosen = medians or [b for b in runs if b.get("run_type", "iteration") == "iteration"]
    if not chosen or chosen[0].get("error_occurred"):
        return None
    return chosen[0]


def us(ns):
    return f"{ns / 1000:.2f} µs"


def verdict(ok):
    return "met" if ok else "**not met**"


def main():
    results, target = sys.argv[1], sys.argv[2]
    machine = load(results, "machine.json")
    recording = load(results, "bench_recording.json")
    store = load(results, "bench_store.json")
    service = load(results, "bench_service.json")
    layouts = load(results, "bench_layouts.json")
    memory = load(results, "memory.json")

    where = (f"{machine['cores']} cores, {machine['cpu']}, {machine['disk']}; "
             f"load {machine['load_before']} before, {machine['load_after']} after")
    when = machine["date"]
    rows = []

    def row(figure, value, goal, met):
        rows.append(f"| {figure} | {value} | {goal} | {verdict(met) if met is not None else '—'} | {where} | {when} |")

    for call, prefix, keys in [
        ("`reportActionWithMetaData` (3 detail keys)", "BM_HostThread_reportActionWithMetaData", [""]),
        ("`startSession`", "BM_HostThread_startSessionEndSession", ["startSession_"]),
        ("`endSession`", "BM_HostThread_startSessionEndSession", ["endSession_"]),
        ("`associateLead`", "BM_HostThread_associateLead", [""]),
    ]:
        b = pick(recording, prefix)
        if not b:
            row(f"host thread per call, {call}", "failed", "p50 < 2 µs, p99 < 10 µs", False)
            continue
        k = keys[0]
        mean, p50, p99 = b[k + "mean_ns"], b[k + "p50_ns"], b[k + "p99_ns"]
        row(f"host thread per call, {call}: mean / p50 / p99 of {int(b[k + 'calls'])} calls",
            f"{us(mean)} / {us(p50)} / {us(p99)}", "p50 < 2 µs, p99 < 10 µs", p50 < 2000 and p99 < 10000)

    for reporting, what in [(1, "reports to the service running"), (0, "reports held back: the table at its limit")]:
        b = pick(recording, f"BM_StoreRate/reporting:{reporting}")
        if not b:
            row(f"events stored per second ({what})", "failed", ">= 5,000 /s", False)
            continue
        dropped = int(b["dropped_by_limit"])
        why = "the table at its limit" if not reporting else "the table full while a report was in flight"
        row(f"events stored per second, 10,000 actions ({what})",
            f"{b['events_per_s']:,.0f} /s ({dropped} dropped by the row limit: {why})" if dropped
            else f"{b['events_per_s']:,.0f} /s (none dropped)",
            ">= 5,000 /s", b["events_per_s"] >= 5000)

    for name, what, label, goal_ms in (
            ("BM_Report1000Events", "report of 1,000 stored events over loopback HTTPS, to the rows deleted",
             "report of 1,000 stored events", 100),
            ("BM_Sync50CachedCampaigns", "sync of 50 campaigns with cached images, to the trigger table rebuilt",
             "sync of 50 cached campaigns", 50)):
        b = pick(service, name)
        if not b:
            row(label, "failed", f"< {goal_ms} ms", False)
            continue
        row(f"{what}: median / p90",
            f"{b['median_ms']:.1f} ms / {b['p90_ms']:.1f} ms (the service's answer in at {b['answer_median_ms']:.1f} ms)",
            f"< {goal_ms} ms", b["median_ms"] < goal_ms)

    for n in range(1, 7):
        b = pick(layouts, f"BM_RenderLayoutToPng/layout:{n}")
        if b:
            total = b["real_time"]
            row(f"layout{n} drawn to a 750 x 1334 PNG (drawing + PNG file; CPU time of the thread)",
                f"{total:.1f} ms ({b['draw_ms']:.1f} + {b['png_ms']:.1f}; CPU {b['cpu_time']:.1f} ms)", "< 20 ms",
                total < 20)
        else:
            row(f"layout{n} drawn to PNG", "failed", "< 20 ms", False)

    if memory:
        peak = memory["peak_rss_kb"] / 1024
        row("peak resident memory, host recording 10,000 events and reporting them "
            f"({memory['rows_left']} rows left at the end)",
            f"{peak:.1f} MB (after start-up {memory['rss_after_start_kb'] / 1024:.1f} MB; at the end "
            f"{memory['anonymous_end_kb'] / 1024:.1f} MB anonymous, {memory['file_backed_end_kb'] / 1024:.1f} MB "
            "pages of library files)", "< 12 MB", peak < 12)
    row("size of the stripped shared library", f"{machine['stripped_bytes'] / 1024 / 1024:.2f} MB "
        f"(unstripped {machine['library_bytes'] / 1024 / 1024:.2f} MB)", "—", None)

    lines = ["| figure | value | goal | goal met | machine | date |", "|---|---|---|---|---|---|"] + rows

    pieces = []
    for rows_before in (0, 500, 999):
        b = pick(store, f"BM_SaveEventInDB/rows_before:{rows_before}")
        if b:
            pieces.append(f"| one `saveEventInDB`, table at {rows_before} rows | {b['real_time']:.0f} µs |")
    for piece in range(3):
        b = pick(store, f"BM_StorePieces/piece:{piece}")
        if b:
            pieces.append(f"| {b.get('label', piece)} (table at 999 rows) | {b['real_time']:.0f} µs |")
    if pieces:
        lines += ["", "The store's pieces, each with its own open and close:", "",
                  "| piece | time |", "|---|---|"] + pieces

    settings = [b for b in store if b["name"].startswith("BM_StoreSettings") and not b.get("error_occurred")]
    if settings:
        lines += ["", "The store's statements for 2,000 events (999 kept, 1,001 written and dropped by the limit) "
                  "under each setting, on raw connections:", "", "| setting | events per second |", "|---|---|"]
        for b in settings:
            lines.append(f"| {b.get('label', b['name'])} | {b['events_per_s']:,.0f} |")

    block = "\n".join([START, ""] + lines + ["", END])
    text = open(target).read() if os.path.exists(target) else "# Performance\n\n"
    if START in text and END in text:
        text = re.sub(re.escape(START) + ".*?" + re.escape(END), lambda _: block, text, flags=re.S)
    else:
        text = text.rstrip("\n") + "\n\n" + block + "\n"
    with open(target, "w") as f:
        f.write(text)


if __name__ == "__main__":
    main()
