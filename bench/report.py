#!/usr/bin/env python3
"""Writes the table of bench/compare.sh from what the benchmarks have measured.

    report.py FOLDER    prints the table of FOLDER/*.json and writes it to FOLDER/../results.md

Every number is the median of a benchmark's repetitions. Work that nobody else takes part in is compared by
the time of the processor, which other programs on the machine disturb least; transfers and whole programs by
the time on the wall.
"""

import collections
import json
import pathlib
import statistics
import sys

NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}

CPU, WALL = "cpu_time", "real_time"


class Results:
    def __init__(self, folder):
        self.runs = collections.defaultdict(list)
        for file in sorted(folder.glob("*.json")):
            for run in json.loads(file.read_text(encoding="utf-8"))["benchmarks"]:
                if run.get("run_type") != "iteration":
                    continue
                if run.get("error_occurred"):
                    sys.exit(f"report.py: {run['name']} failed: {run.get('error_message')}")
                name = run["name"]
                for ending in ("/manual_time", "/real_time"):
                    name = name.removesuffix(ending)
                self.runs[name.split("/iterations:")[0]].append(run)

    def time(self, name, kind):
        """Nanoseconds."""
        return statistics.median(run[kind] * NANOSECONDS[run["time_unit"]] for run in self.runs[name])

    def counter(self, name, counter):
        return statistics.median(run[counter] for run in self.runs[name])


def shown(nanoseconds):
    for unit, factor in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if nanoseconds >= factor:
            return f"{nanoseconds / factor:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def limit(ratio, most):
    return "yes" if ratio <= most else "no"


# Work, kind of time, floor and its name, ours, peers and their names, most of the floor that the goal allows, if there is one.
COMPARED = [
    ("fresh hit, 50 entries", CPU, "Fresh_Hit_Floor/50/50", "the system calls alone", "Fresh_Hit/50/50",
     {"Qt": "Qt_Fresh_Hit/served/50", "Qt, known to be fresh": "Qt_Fresh_Hit/known/50",
      "fsspec": "Fsspec_Fresh_Hit/50", "PROJ": "Proj_Fresh_Hit/50"}, 2.0),
    ("fresh hit, 10,000 entries, 50 asked for", CPU, "Fresh_Hit/50/50", "ours with 50 entries",
     "Fresh_Hit/10000/50", {}, 1.5),
    ("fresh hit, 10,000 entries, all asked for", CPU, "Fresh_Hit/50/50", "ours with 50 entries",
     "Fresh_Hit/10000/10000", {"the floor at 10,000": "Fresh_Hit_Floor/10000/10000"}, 1.5),
    ("local file", CPU, "Local_File_Floor", "one stat", "Local_File", {}, 2.0),
    ("disabled messages of a fresh hit", CPU, "Fresh_Hit/50/50", "the fresh hit",
     "Disabled_Messages_Of_A_Fresh_Hit", {}, 1 / 3),
    ("load of 10,000 entries", CPU, "Load_Floor/10000", "lines and stats", "Load/10000", {}, 1.4),
    ("sweep, 10,000 files", CPU, "Sweep_Floor/10000", "directory and set look-ups", "Sweep/10000", {}, 3.0),
    ("sweep, 20,000 files", CPU, "Sweep/10000", "ours with 10,000", "Sweep/20000",
     {"the floor at 20,000": "Sweep_Floor/20000", "the floor at 10,000": "Sweep_Floor/10000"}, 2.3),
    ("one change among 10,000 entries", CPU, "Persist_Floor/10000", "one write a line", "Persist/10000", {}, 1.15),
    ("download of 200 MB", WALL, "Download_Curl", "curl -o", "Download",
     {"wget -N": "Download_Wget", "fsspec": "Download_Fsspec", "PROJ": "Download_Proj", "Qt": "Download_Qt"}, 1.15),
    ("download of 50 KB, whole process", WALL, "Download_50K_Curl", "curl -o", "Download_50K", {}, None),
    ("download of 10 GB", WALL, "Download_10G_Curl", "curl -o", "Download_10G", {}, 1.3),
    ("1,000 freshness checks over TLS", WALL, "Checks_Libcurl", "libcurl, one handle", "Checks",
     {"libcurl and the list": "Checks_Libcurl_List", "curl -I": "Checks_Curl", "wget -N": "Checks_Wget"}, 1.3),
    ("the same, beside libcurl and the list", WALL, "Checks_Libcurl_List", "libcurl, rewriting the list", "Checks",
     {}, 1.3),
    ("share copy of 200 MB", WALL, "Share_Copy_Smbclient", "smbclient get, fsync", "Share_Copy", {}, 1.2),
    ("trace line at level 4", CPU, "Stdio_Line", "fprintf and fflush", "Trace_Line", {"spdlog": "Spdlog_Line"}, 1.3),
    ("the tool's fresh hit, whole process", WALL, "Curl_Version", "curl --version", "Tool_Fresh_Hit", {}, 1.3),
]


def rows(results):
    for work, kind, floor, floor_name, ours, peers, most in COMPARED:
        if ours not in results.runs:  # no room for it
            continue
        own, least = results.time(ours, kind), results.time(floor, kind)
        others = ", ".join(f"{name} {shown(time)} ({time / own:.2f} x ours)"
                           for name, time in ((name, results.time(peer, kind)) for name, peer in peers.items()))
        goal, met = (f"at most {most:.3g}", limit(own / least, most)) if most else ("none", "")
        yield (work, f"{shown(least)} ({floor_name})", shown(own), f"{own / least:.2f}", goal, met, others)

    hit = results.time("Fresh_Hit/50/50", CPU)
    peer = min(results.time(name, CPU)
               for name in ("Qt_Fresh_Hit/served/50", "Fsspec_Fresh_Hit/50", "Proj_Fresh_Hit/50"))
    yield ("fresh hit, beside the fastest peer", f"{shown(peer)} (the peer)", shown(hit), f"{hit / peer:.2f}",
           "at most 0.2", limit(hit / peer, 0.2), "")
    spdlog, line = results.time("Spdlog_Line", CPU), results.time("Trace_Line", CPU)
    yield ("trace line, beside spdlog", f"{shown(spdlog)} (spdlog, flushed)", shown(line), f"{line / spdlog:.2f}",
           "at most 1", limit(line / spdlog, 1), "")
    for size in ("200 MB", "10 GB"):
        ours = "Download" if size == "200 MB" else "Download_10G"
        if ours not in results.runs:
            continue
        peak, least = results.counter(ours, "peak_mib"), results.counter(ours + "_Curl", "peak_mib")
        peers = (("fsspec", "Download_Fsspec"), ("Qt", "Download_Qt")) if ours == "Download" else ()
        yield (f"memory of the download of {size}", f"{least:.1f} MiB (curl -o)", f"{peak:.1f} MiB", f"{peak / least:.2f}",
               "at most 16 MB", limit(peak * 2**20, 16e6),
               ", ".join(f"{name} {results.counter(peer, 'peak_mib'):.0f} MiB" for name, peer in peers))
    for case, who, most in (("Dead_Server", "server that drops packets", 1), ("Dead_Silent", "silent server", 2),
                            ("Dead_Name", "server whose name server never responds", 1),
                            ("Dead_Host", "host that is switched off", 1)):
        if f"{case}/ours" not in results.runs:  # a network of one's own is not allowed on every machine
            continue
        timeouts = {name: results.counter(f"{case}/{name}", "timeouts") for name in ("ours", "curl", "wget", "fsspec")}
        yield (f"time-outs for five files of a {who}", "1", f"{timeouts['ours']:.0f}", f"{timeouts.pop('ours'):.2f}",
               f"at most {most}", limit(results.counter(f"{case}/ours", "timeouts"), most),
               ", ".join(f"{name} {count:.0f}" for name, count in timeouts.items()))
    connections = results.counter("Check_And_Download", "connections")
    requests = results.counter("Check_And_Download", "requests")
    yield ("check followed by download", "1 connection, 1 handshake", f"{connections:.0f} for {requests:.0f} requests",
           f"{connections:.2f}", "1", "yes" if (connections, requests) == (1, 2) else "no", "")


def main():
    folder = pathlib.Path(sys.argv[1])
    table = [("work", "floor", "ours", "ratio", "goal", "met", "peers"), *rows(Results(folder))]
    lines = ["| " + " | ".join(row) + " |" for row in table]
    lines.insert(1, "|---" * len(table[0]) + "|")
    (folder.parent / "results.md").write_text("\n".join(lines) + "\n", encoding="utf-8")

    widths = [max(len(row[column]) for row in table) for column in range(6)]
    for row in table:
        print("  ".join(cell.ljust(width) for cell, width in zip(row, widths)) + "  " + row[6])


if __name__ == "__main__":
    main()
