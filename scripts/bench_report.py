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
import statistics

START, END = "<!-- figures -->", "<!-- /figures -->"


def load(results, name):
    path = os.path.join(results, name)
    if not os.path.exists(path):
        return []
    with open(path) as f:
        if name == "memory.json":  # one line a run: the median of each figure
            runs = [json.loads(line) for line in f if line.strip()]
            if not runs:
                return []
            return {key: (statistics.median(run[key] for run in runs) if isinstance(runs[0][key], (int, float))
                          and not isinstance(runs[0][key], bool) else runs[0][key]) for key in runs[0]}
        if name.endswith(".json") and name != "machine.json":
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


# The figures the goals were set from, measured before the store held one connection and grouped its commits.
BEFORE = {
    "refused": "0.43x (975/s vs 3,963/s fdatasync)",
    "working": "1,542/s",
    "cpu": "~1,900 µs",
    "sync": "91 ms",
    "memory": "33.2 / 9.6 MB",
    "host": (0.13, 0.81),  # µs, p50 / p99 of reportActionWithMetaData
}
# "Unchanged" for the host thread: within this factor of before, the spread of repeated runs on this machine.
HOST_SPREAD = 1.5


def main():
    results, target = sys.argv[1], sys.argv[2]
    machine = load(results, "machine.json")
    recording = load(results, "bench_recording.json")
    store = load(results, "bench_store.json")
    service = load(results, "bench_service.json")
    layouts = load(results, "bench_layouts.json")
    memory = load(results, "memory.json")

    lines = [f"Measured {machine['date']} with `{machine.get('command', 'scripts/bench.sh')}` on {machine['cores']} "
             f"cores, {machine['cpu']}, {machine['disk']}; kernel {machine['kernel']}; load average "
             f"{machine['load_before']} before the run, {machine['load_after']} after. Medians: of three runs for "
             "`bench_recording` and the memory host, of 20 for the report and the sync.",
             "", "| figure | before | now | goal | met |", "|---|---|---|---|---|"]
    others = []

    def main_row(figure, before, now, goal, met):
        lines.append(f"| {figure} | {before} | {now} | {goal} | {verdict(met) if met is not None else '—'} |")

    def row(figure, value, goal, met):
        others.append(f"| {figure} | {value} | {goal} | {verdict(met) if met is not None else '—'} |")

    fsync = pick(recording, "BM_FdatasyncWrites")
    fsync_rate = fsync["writes_per_s"] if fsync else 0
    runs = {mode: pick(recording, f"BM_StoreRate/reports:{mode}") for mode in (0, 1, 2)}

    refused, working = runs[2], runs[1]
    if refused and fsync_rate and refused["first_rows_per_s"]:
        rate = refused["first_rows_per_s"]
        main_row("first 1,000 rows stored, reports refused (999: the most the table keeps while reports fail), "
                 "as a multiple of this machine's fdatasync'd 1 KB writes/s", BEFORE["refused"],
                 f"{rate / fsync_rate:.2f}x ({rate:,.0f}/s vs {fsync_rate:,.0f}/s fdatasync)",
                 ">= 3x, every row durable", rate >= 3 * fsync_rate)
    else:
        main_row("first 1,000 rows stored, reports refused", BEFORE["refused"], "failed", ">= 3x", False)
    if working and fsync_rate and working["first_rows_per_s"]:
        rate = working["first_rows_per_s"]
        main_row("the same with a working service", BEFORE["working"],
                 f"{rate:,.0f}/s ({rate / fsync_rate:.2f}x the fsync rate)", ">= 3x the fsync rate",
                 rate >= 3 * fsync_rate)
    else:
        main_row("the same with a working service", BEFORE["working"], "failed", ">= 3x the fsync rate", False)
    if refused:
        cpu = refused["cpu_us_per_event"]
        main_row("CPU per stored event (user+sys of the process / actions recorded), reports refused, "
                 "10,000 actions of 3 keys", BEFORE["cpu"], f"{cpu:.0f} µs", "<= 50 µs", cpu <= 50)
    else:
        main_row("CPU per stored event, reports refused", BEFORE["cpu"], "failed", "<= 50 µs", False)

    sync = pick(service, "BM_Sync50CachedCampaigns")
    if sync:
        main_row("sync of 50 cached campaigns to the trigger table rebuilt (median)", BEFORE["sync"],
                 f"{sync['median_ms']:.1f} ms (p90 {sync['p90_ms']:.1f} ms; the service's answer in at "
                 f"{sync['answer_median_ms']:.1f} ms)", "< 30 ms", sync["median_ms"] < 30)
    else:
        main_row("sync of 50 cached campaigns", BEFORE["sync"], "failed", "< 30 ms", False)

    if memory:
        peak, anon = memory["peak_rss_kb"] / 1024, memory["rss_anon_end_kb"] / 1024
        main_row("peak RSS / RssAnon after the 10,000-action burst drains", BEFORE["memory"],
                 f"{peak:.1f} / {anon:.1f} MB (anonymous before the first action: "
                 f"{memory['rss_anon_after_start_kb'] / 1024:.1f} MB)", "<= 20 / <= 4 MB", peak <= 20 and anon <= 4)
    else:
        main_row("peak RSS / RssAnon after the burst", BEFORE["memory"], "failed", "<= 20 / <= 4 MB", False)

    calls = [("`reportActionWithMetaData` (3 detail keys)", "BM_HostThread_reportActionWithMetaData", ""),
             ("`startSession`", "BM_HostThread_startSessionEndSession", "startSession_"),
             ("`endSession`", "BM_HostThread_startSessionEndSession", "endSession_"),
             ("`associateLead`", "BM_HostThread_associateLead", "")]
    host = []
    for call, prefix, k in calls:
        b = pick(recording, prefix)
        if not b:
            row(f"host thread per call, {call}", "failed", "p50 < 2 µs, p99 < 10 µs", False)
            continue
        mean, p50, p99 = b[k + "mean_ns"], b[k + "p50_ns"], b[k + "p99_ns"]
        host.append((call, p50 / 1000, p99 / 1000))
        row(f"host thread per call, {call}: mean / p50 / p99 of {int(b[k + 'calls'])} calls",
            f"{us(mean)} / {us(p50)} / {us(p99)}", "p50 < 2 µs, p99 < 10 µs", p50 < 2000 and p99 < 10000)
    if host and host[0][0].startswith("`reportAction"):
        _, p50, p99 = host[0]
        rest = ", ".join(f"{call} {a:.2f} / {b:.2f}" for call, a, b in host[1:])
        before50, before99 = BEFORE["host"]
        main_row("host thread per call, p50 / p99: `reportActionWithMetaData` with 3 keys (the other calls)",
                 f"{before50:.2f} / {before99:.2f} µs", f"{p50:.2f} / {p99:.2f} µs ({rest})",
                 f"unchanged (within {HOST_SPREAD}x)",
                 p50 <= HOST_SPREAD * before50 and p99 <= HOST_SPREAD * before99)
    else:
        main_row("host thread per call, p50 / p99", "0.13 / 0.81 µs", "failed", "unchanged", False)

    if fsync:
        row(f"fdatasync'd 1 KB appends in the data folder ({int(fsync['writes'])} writes)",
            f"{fsync_rate:,.0f} /s", "—", None)
    for mode, what in [(1, "reports working"), (2, "reports refused"), (0, "reports held back (never sent)")]:
        b = runs[mode]
        if not b:
            row(f"10,000 actions stored ({what})", "failed", ">= 5,000 /s", False)
            continue
        dropped = int(b["dropped_by_limit"])
        row(f"10,000 actions stored, {what}: whole burst; first {int(b['first_rows'])} rows durable; "
            "CPU per action; reports sent",
            f"{b['events_per_s']:,.0f} /s; {b['first_rows_ms']:.0f} ms ({b['first_rows_per_s']:,.0f} /s); "
            f"{b['cpu_us_per_event']:.0f} µs; {b['reports_sent']:.0f}"
            + (f" ({dropped} dropped by the row limit)" if dropped else ""),
            ">= 5,000 /s", b["events_per_s"] >= 5000)

    b = pick(service, "BM_Report1000Events")
    if b:
        row("report of 1,000 stored events over loopback HTTPS, to the rows deleted: median / p90",
            f"{b['median_ms']:.1f} ms / {b['p90_ms']:.1f} ms (the service's answer in at {b['answer_median_ms']:.1f} ms)",
            "< 100 ms", b["median_ms"] < 100)
    else:
        row("report of 1,000 stored events", "failed", "< 100 ms", False)

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
        row(f"memory of the host recording 10,000 events and reporting them ({memory['rows_left']} rows left at the end)",
            f"after start-up {memory['rss_after_start_kb'] / 1024:.1f} MB resident; at the end "
            f"{memory['rss_end_kb'] / 1024:.1f} MB: {memory['rss_anon_end_kb'] / 1024:.1f} MB anonymous, "
            f"{memory['rss_file_end_kb'] / 1024:.1f} MB pages of library files", "—", None)
    row("size of the stripped shared library", f"{machine['stripped_bytes'] / 1024 / 1024:.2f} MB "
        f"(unstripped {machine['library_bytes'] / 1024 / 1024:.2f} MB)", "—", None)

    lines += ["", "Everything else the benchmarks report:", "", "| figure | value | goal | goal met |",
              "|---|---|---|---|"] + others

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
        lines += ["", "The store's pieces, called from outside the SDK's queues (each save, insert and delete "
                  "commits and syncs on its own):", "",
                  "| piece | time |", "|---|---|"] + pieces

    settings = [b for b in store if b["name"].startswith("BM_StoreSettings") and not b.get("error_occurred")]
    if settings:
        lines += ["", "The store's statements for 2,000 events (999 kept, 1,001 written and dropped by the limit) "
                  "under each setting, on raw connections, a connection per statement:", "",
                  "| setting | events per second |", "|---|---|"]
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
