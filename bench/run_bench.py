#!/usr/bin/env python3
"""make bench: measures libzelvanclient against the TLS reference on 127.0.0.1.

Starts zelvan-gateway-sim, runs the library's transactions beside
`openssl s_time` and an OpenSSL-only client of the same protocol, a batch of
short zelvan-txn processes, one resumed transaction under callgrind and the
bundle micro-benchmarks, and prints one table, also written as results.md and
results.json. bench/README.md explains every row.
"""

import argparse
import collections
import datetime
import json
import os
import platform
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time

# openssl s_server plays a TLS 1.2 gateway (the simulator offers 1.2 and
# 1.3, and the library takes 1.3): the interoperability tests' relay.
_HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [os.path.join(_HERE, "..", "tests", "interop"), os.path.join(_HERE, "..", "tests", "support")]
import interop_support  # noqa: E402

CLIENT_PEM = "client-plain.pem"  # certificate and unencrypted key: s_time takes no password
CLIENT_P12 = "client.p12"  # the same certificate and key, PKCS#12 with PASSWORD
CA_PEM = "ca.pem"
PASSWORD = "zelvan-test"
PURCHASE = ["CLIENTID=10000001", "TRANSACTIONTYPE=PURCHASE", "CARDDATA=4111111111111111",
            "CARDEXPIRYDATE=1230", "CVC2=123", "AMOUNT=12.50", "CURRENCY=EUR"]
PROFILED_FUNCTION = "zvbenchProfiledPurchase"
PROFILED_REFERENCE = "zvbenchProfiledReference"
CERTIFICATE_TYPES = {"PEM": (CLIENT_PEM, ""), "PKCS#12": (CLIENT_P12, PASSWORD)}

# What one run measures. In a full run each program of a serial row gets
# about a second per round, so that the load of other processes on the
# machine falls on all of them alike; the smoke settings run everything
# once, quickly.
FULL_RUN = dict(rounds=8, repeat=["--seconds", "1"], stime_seconds=1, processes=300, concurrency=4,
                warmup=2, bundle_min_time="0.5", profiled=5, threads=[1, 2, 4, 16], thread_purchases=2000,
                instruction_cases=[(v, r, t) for v in ("1.3", "1.2") for r in (False, True)
                                   for t in CERTIFICATE_TYPES],
                process_types=list(CERTIFICATE_TYPES))
# The smoke run goes through every kind of instruction count once: both
# servers, both handshakes, both file types.
SMOKE_RUN = dict(rounds=1, repeat=["--count", "3"], stime_seconds=1, processes=4, concurrency=2,
                 warmup=2, bundle_min_time="0.001", profiled=1, threads=[1, 2], thread_purchases=4,
                 instruction_cases=[("1.3", False, "PEM"), ("1.2", True, "PKCS#12")], process_types=["PEM"])

# Warm-up purchases before the profiled ones: more than the refusals after
# which the library stops offering sessions to a gateway that never
# resumes, so that the profiled ones show the steady state.
PROFILE_WARMUP = 4

TARGETS = {"full": 1.10, "resumed": 1.5, "processes_resumed": 0.99, "library_share": 0.05,
           "instructions_full": 1.05, "instructions_resumed": 1.15, "process": 1.10, "threads": 1.15}


class BenchError(Exception):
    pass


class Programs:
    """Paths of the programs one build made."""

    def __init__(self, build):
        self.sim = os.path.join(build, "zelvan-gateway-sim")
        self.certgen = os.path.join(build, "zelvan-certgen")
        self.txn = os.path.join(build, "zelvan-txn")
        self.zvbench = os.path.join(build, "bench", "zvbench")
        self.bundle = os.path.join(build, "bench", "zvbench-bundle")
        for path in (self.sim, self.certgen, self.txn, self.zvbench):
            if not os.access(path, os.X_OK):
                raise BenchError(f"{path} is missing: build it first")


class Simulator:
    """zelvan-gateway-sim on a free port of 127.0.0.1; stop() returns its counters."""

    def __init__(self, programs, certs, extra=()):
        self.process = subprocess.Popen(
            [programs.sim, "--cert", os.path.join(certs, "server.pem"),
             "--key", os.path.join(certs, "server-key.pem"), "--ca", os.path.join(certs, CA_PEM),
             "--port", "0", *extra],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        ready, _, _ = select.select([self.process.stdout], [], [], 10)
        line = self.process.stdout.readline() if ready else ""
        if not line.startswith("LISTENING "):
            self.stop()
            raise BenchError("the gateway simulator did not start")
        self.port = int(line.split()[1])
        self.counters = None

    def stop(self):
        if self.counters is None:
            self.process.send_signal(signal.SIGTERM)
            try:
                output, _ = self.process.communicate(timeout=15)
            except subprocess.TimeoutExpired:
                self.process.kill()
                output, _ = self.process.communicate()
            self.counters = {}
            for line in output.splitlines():
                name, _, value = line.partition("=")
                if value.isdigit():
                    self.counters[name] = int(value)
        return self.counters

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()


def run_samples(command):
    """Runs a zvbench subcommand and returns the JSON line it printed."""
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=300)
    lines = [line for line in result.stdout.splitlines() if line.startswith("{")]
    if result.returncode != 0 or not lines:
        raise BenchError(f"{' '.join(command)} failed ({result.returncode}): {result.stderr.strip()[-500:]}")
    return json.loads(lines[-1])


def percentile(sorted_values, share):
    """Nearest-rank percentile of an ascending list."""
    if not sorted_values:
        return float("nan")
    rank = max(1, int(round(share * len(sorted_values) + 0.5)))
    return sorted_values[min(rank, len(sorted_values)) - 1]


def summary(samples):
    values = sorted(samples)
    return {"count": len(values), "mean_us": sum(values) / len(values) if values else float("nan"),
            "p50_us": percentile(values, 0.50), "p99_us": percentile(values, 0.99)}


def handshakes(counters):
    full, resumed = counters.get("handshakes_full", 0), counters.get("handshakes_resumed", 0)
    return {"full": full, "resumed": resumed, "share_resumed": resumed / (full + resumed) if full + resumed else 0.0}


def serial_row(programs, certs, settings, resumed):
    """Rows 1 and 2: the library's purchases, one after another in one process,
    beside s_time and the OpenSSL-only client, in interleaved rounds."""
    pem, ca = os.path.join(certs, CLIENT_PEM), os.path.join(certs, CA_PEM)
    sim_options = [] if resumed else ["--no-resume"]
    target = ["--cert", pem, "--ca", ca, *settings["repeat"], "--warmup", str(settings["warmup"])]
    collected = collections.defaultdict(list)
    # The library has a simulator of its own, so that its counters hold only
    # the library's handshakes; both run with the same options.
    with Simulator(programs, certs, sim_options) as reference_sim, \
            Simulator(programs, certs, sim_options) as library_sim:
        # s_time negotiates TLS 1.3 like the library, except when resuming:
        # it reads nothing after the handshake, so it never sees the TLS 1.3
        # tickets that a resumption needs, and resumes by TLS 1.2 instead.
        version = ["-tls1_2"] if resumed else []
        stime = ["openssl", "s_time", "-connect", f"127.0.0.1:{reference_sim.port}",
                 "-reuse" if resumed else "-new", *version, "-cert", pem, "-CAfile", ca,
                 "-no-CApath", "-no-CAstore", "-time", str(settings["stime_seconds"])]
        resume = ["--resume"] if resumed else []
        runs = [
            ("s_time", [programs.zvbench, "stime", "--", *stime]),
            ("library", [programs.zvbench, "library", "--port", str(library_sim.port), *target]),
            ("openssl_1_exchange", [programs.zvbench, "reference", "--port", str(reference_sim.port),
                                    "--exchanges", "1", *resume, *target]),
            ("openssl_2_exchanges", [programs.zvbench, "reference", "--port", str(reference_sim.port),
                                     "--exchanges", "2", *resume, *target]),
        ]
        for round_number in range(settings["rounds"]):
            # A different order each round, so that no program always runs
            # right after the same other one.
            shift = round_number % len(runs)
            for name, command in runs[shift:] + runs[:shift]:
                collected[name].extend(run_samples(command)["samples_us"])
        counters = library_sim.stop()
    row = {name: summary(values) for name, values in collected.items()}
    for name in ("library", "openssl_1_exchange", "openssl_2_exchanges"):
        row[name]["ratio_mean"] = row[name]["mean_us"] / row["s_time"]["mean_us"]
        row[name]["ratio_p50"] = row[name]["p50_us"] / row["s_time"]["p50_us"]
    row["library_handshakes"] = handshakes(counters)
    row["target_ratio"] = TARGETS["resumed" if resumed else "full"]
    return row


def drop_store(programs, certs, name=CLIENT_PEM):
    subprocess.run([programs.zvbench, "drop-store", "--cert", os.path.join(certs, name)], check=False)


def processes_row(programs, certs, settings):
    """Row 3: short zelvan-txn processes, a few at a time, one purchase each."""
    drop_store(programs, certs)
    env = dict(os.environ, ZELVAN_CERT_PASSWORD=PASSWORD)
    with Simulator(programs, certs) as sim:
        command = [programs.txn, "-s", "127.0.0.1", "-p", str(sim.port), "-c", os.path.join(certs, CLIENT_PEM),
                   "-a", os.path.join(certs, CA_PEM), *PURCHASE]

        def start():
            return subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, env=env)

        # The first process finds no session and stores the one it makes.
        failed = 0 if start().wait() == 0 else 1
        running, started = [], 0
        begin = time.monotonic()
        while started < settings["processes"] or running:
            while started < settings["processes"] and len(running) < settings["concurrency"]:
                running.append(start())
                started += 1
            finished = running.pop(0)
            failed += 0 if finished.wait() == 0 else 1
        elapsed = time.monotonic() - begin
        counters = sim.stop()
    drop_store(programs, certs)
    counts = handshakes(counters)
    after_first = counts["full"] - 1 + counts["resumed"]
    return {"processes": settings["processes"], "concurrency": settings["concurrency"], "failed": failed,
            "seconds": elapsed, "per_second": settings["processes"] / elapsed,
            "handshakes": counts, "share_resumed_after_first": counts["resumed"] / after_first if after_first else 0.0,
            "target_share": TARGETS["processes_resumed"]}


def callgrind_objects(path):
    """Instructions per object file in a callgrind profile: each function's
    own cost, calls' inclusive costs left out."""
    names, totals = {}, collections.Counter()
    current, after_call = "?", False
    with open(path, errors="replace") as profile:
        for line in profile:
            key, _, value = line.rstrip("\n").partition("=")
            if key in ("ob", "cob"):
                # "(id) name" names an object once; later "(id)" alone refers to it.
                ident, _, name = value.partition(" ")
                if name:
                    names[ident] = name
                if key == "ob":
                    current = names.get(ident, value)
            elif key == "calls":
                after_call = True
            elif line[:1].isdigit() or line[:1] in "+-*":
                fields = line.split()
                if not after_call and len(fields) > 1:
                    totals[os.path.basename(current)] += int(fields[1])
                after_call = False
    return totals


OBJECT_GROUPS = [("libzelvanclient", "libzelvanclient.so"), ("libssl", "libssl.so"),
                 ("libcrypto", "libcrypto.so"), ("libc", "libc.so"), ("libstdc++", "libstdc++.so"),
                 ("ld.so", "ld-linux")]


def callgrind_row(programs, certs, settings, out_dir):
    """Row 4: one resumed purchase under callgrind, instructions by object."""
    if shutil.which("valgrind") is None:
        return {"skipped": "valgrind is not installed"}
    profile = os.path.join(out_dir, "callgrind.out")
    drop_store(programs, certs)
    with Simulator(programs, certs) as sim:
        result = subprocess.run(
            ["valgrind", "--tool=callgrind", f"--callgrind-out-file={profile}",
             f"--toggle-collect={PROFILED_FUNCTION}", programs.zvbench, "profile", "--port", str(sim.port),
             "--cert", os.path.join(certs, CLIENT_PEM), "--ca", os.path.join(certs, CA_PEM),
             "--warmup", str(settings["warmup"]), "--count", "1"],
            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True, timeout=600)
        counters = sim.stop()
    drop_store(programs, certs)
    if result.returncode != 0:
        raise BenchError(f"the profiled purchase failed: {result.stderr.strip()[-500:]}")
    grouped = collections.Counter()
    for name, instructions in callgrind_objects(profile).items():
        group = next((label for label, prefix in OBJECT_GROUPS if name.startswith(prefix)), "other")
        grouped[group] += instructions
    total = sum(grouped.values())
    # Only the warm-up that found no session makes a full handshake.
    counts = handshakes(counters)
    resumed = counts["full"] == 1 and counts["resumed"] >= 1
    return {"instructions": total, "profiled_resumed": resumed,
            "objects": {name: {"instructions": n, "share": n / total} for name, n in grouped.most_common()},
            "library_share": grouped["libzelvanclient"] / total if total else 0.0,
            "target_share": TARGETS["library_share"], "profile": profile}


def callgrind_total(path):
    """The instructions a callgrind profile counted in all."""
    with open(path, errors="replace") as profile:
        for line in profile:
            if line.startswith(("summary:", "totals:")):
                return int(line.split()[1])
    raise BenchError(f"{path} holds no total")


def callgrind_instructions(command, profile, toggle=None):
    """Runs command under callgrind; the instructions counted, all of the
    process's or only those inside the function toggle."""
    options = [f"--toggle-collect={toggle}"] if toggle else []
    result = subprocess.run(["valgrind", "--tool=callgrind", f"--callgrind-out-file={profile}", *options, *command],
                            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True, timeout=600)
    if result.returncode != 0:
        raise BenchError(f"{' '.join(command)} failed under callgrind: {result.stderr.strip()[-500:]}")
    return callgrind_total(profile)


class CertificateFiles:
    """The run's certificate directory as interop_support's servers read it."""

    def __init__(self, certs):
        self.directory, self.ca = certs, os.path.join(certs, CA_PEM)

    def path(self, name):
        return os.path.join(self.directory, name)


def gateway(programs, certs, version, resumed):
    """A gateway on 127.0.0.1 that speaks TLS version alone ("1.3": the
    simulator, which the library and the reference both take to 1.3;
    "1.2": openssl s_server) and resumes sessions or not. Returns (port,
    stop)."""
    if version == "1.3":
        sim = Simulator(programs, certs, [] if resumed else ["--no-resume"])
        return sim.port, sim.stop
    server = interop_support.OpenSslServer(CertificateFiles(certs), version="1.2", cert="server", resume=resumed)
    return server.port, server.stop


def instructions_row(programs, certs, settings, out_dir):
    """Row 6: instructions per purchase, library against the OpenSSL-only
    client with the same certificate file, TLS 1.2 and 1.3, full and
    resumed."""
    if shutil.which("valgrind") is None:
        return {"skipped": "valgrind is not installed"}
    cases = []
    for version, resumed, file_type in settings["instruction_cases"]:
        name, password = CERTIFICATE_TYPES[file_type]
        target = ["--cert", os.path.join(certs, name), "--password", password, "--ca", os.path.join(certs, CA_PEM),
                  "--warmup", str(PROFILE_WARMUP), "--count", str(settings["profiled"])]
        profile = os.path.join(out_dir, f"callgrind-{version}-{'resumed' if resumed else 'full'}-"
                                        f"{file_type.replace('#', '')}")
        drop_store(programs, certs, name)
        port, stop = gateway(programs, certs, version, resumed)
        try:
            port_option = ["--port", str(port)]
            library = callgrind_instructions([programs.zvbench, "profile", *port_option, *target],
                                             profile + "-library.out", PROFILED_FUNCTION)
            reference = callgrind_instructions(
                [programs.zvbench, "profile-reference", *port_option, *target, "--exchanges", "2",
                 *(["--resume"] if resumed else [])], profile + "-reference.out", PROFILED_REFERENCE)
        finally:
            stop()
            drop_store(programs, certs, name)
        count = settings["profiled"]
        cases.append({"version": version, "resumed": resumed, "file_type": file_type,
                      "library": library / count, "reference": reference / count, "ratio": library / reference,
                      "target": TARGETS["instructions_resumed" if resumed else "instructions_full"],
                      "profiles": [profile + "-library.out", profile + "-reference.out"]})
    return {"cases": cases}


def process_row(programs, certs, settings, out_dir):
    """Row 7: a whole process that makes one purchase, under callgrind:
    the library finding the session another process stored, the
    OpenSSL-only client (which has no store to find one in) making a full
    handshake; TLS 1.3, same certificate file for both."""
    if shutil.which("valgrind") is None:
        return {"skipped": "valgrind is not installed"}
    cases = []
    for file_type in settings["process_types"]:
        name, password = CERTIFICATE_TYPES[file_type]
        target = ["--cert", os.path.join(certs, name), "--password", password, "--ca", os.path.join(certs, CA_PEM),
                  "--warmup", "0", "--count", "1"]
        drop_store(programs, certs, name)
        with Simulator(programs, certs) as sim:
            port_option = ["--port", str(sim.port)]
            # An earlier process stores the session, as in a merchant's
            # system that runs one process per payment.
            run_samples([programs.zvbench, "library", *port_option, *target])
            profile = os.path.join(out_dir, f"callgrind-process-{file_type.replace('#', '')}")
            library = callgrind_instructions([programs.zvbench, "library", *port_option, *target],
                                             profile + "-library.out")
            reference = callgrind_instructions([programs.zvbench, "reference", *port_option, *target,
                                                "--exchanges", "2"], profile + "-reference.out")
            counters = sim.stop()
        drop_store(programs, certs, name)
        cases.append({"file_type": file_type, "library": library, "reference": reference,
                      "ratio": library / reference, "target": TARGETS["process"],
                      "library_resumed": counters.get("handshakes_resumed", 0) >= 1})
    return {"cases": cases}


def threads_row(programs, certs, settings):
    """Row 8: threads of one process buying at once, resumed TLS 1.3, each
    thread taking turns between the library and an OpenSSL-only client of
    its own: CPU per purchase of each side, and the time the library
    waited for the session store's lock."""
    threads_program = os.path.join(os.path.dirname(programs.zvbench), "zvbench-threads")
    pem = os.path.join(certs, CLIENT_PEM)
    lines = []
    drop_store(programs, certs, CLIENT_PEM)
    with Simulator(programs, certs) as sim:
        for threads in settings["threads"]:
            count = max(2, settings["thread_purchases"] // threads)
            both = run_samples([threads_program, "compare", "--port", str(sim.port), "--cert", pem,
                                "--ca", os.path.join(certs, CA_PEM), "--threads", str(threads),
                                "--count", str(count), "--warmup", str(settings["warmup"])])
            lines.append({"threads": threads, "purchases": both["purchases"], "failed": both["failed"],
                          "library_us": both["library_cpu_us_per_purchase"],
                          "reference_us": both["reference_cpu_us_per_purchase"],
                          "ratio": both["library_cpu_us_per_purchase"] / both["reference_cpu_us_per_purchase"],
                          "waited_ms": both["store_lock_waited_ms"]})
    drop_store(programs, certs, CLIENT_PEM)
    return {"lines": lines, "target": TARGETS["threads"]}


BUNDLE_PAIRS = [("Fill a 40-field bundle", "BM_FillBundle", "BM_FillStdMap", "std::unordered_map"),
                ("Text form without \"_\" fields", "BM_TextFormBundle", "BM_TextFormStdString",
                 "std::string appends"),
                ("Merge a 10-field reply", "BM_MergeReplyBundle", "BM_MergeReplyStdMap", "std::unordered_map")]


def bundle_row(programs, settings):
    """Row 5: the Google Benchmark pairs."""
    if not os.access(programs.bundle, os.X_OK):
        return {"skipped": "Google Benchmark (libbenchmark-dev) was not installed when the build was configured"}
    result = subprocess.run([programs.bundle, "--benchmark_format=json",
                             f"--benchmark_min_time={settings['bundle_min_time']}"],
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=300)
    if result.returncode != 0:
        raise BenchError(f"zvbench-bundle failed: {result.stderr.strip()[-500:]}")
    scale = {"ns": 1.0, "us": 1e3, "ms": 1e6}
    times = {b["name"]: b["real_time"] * scale[b["time_unit"]] for b in json.loads(result.stdout)["benchmarks"]}
    return {"pairs": [{"what": what, "bundle_ns": times[ours], "standard_ns": times[theirs], "standard": standard,
                       "ratio": times[ours] / times[theirs]} for what, ours, theirs, standard in BUNDLE_PAIRS]}


def fmt_times(s):
    return f"{s['mean_us']:.0f} / {s['p50_us']:.0f} / {s['p99_us']:.0f}"


def verdict(met):
    return "**met**" if met else "**missed**"


def cells(row, measurement, ours="", reference="", ratio="", target=""):
    """One line of the table."""
    return f"| {row} | {measurement} | {ours} | {reference} | {ratio} | {target} |"


def ratio_text(r):
    return f"{r['ratio_mean']:.2f} (p50 {r['ratio_p50']:.2f})"


def serial_lines(number, title, row, reference_name):
    lib, ref, hs, target = row["library"], row["s_time"], row["library_handshakes"], row["target_ratio"]
    lines = [
        cells(number, f"{title}: library purchase vs `{reference_name}` connection, µs mean / p50 / p99 "
                      f"({lib['count']} vs {ref['count']})", fmt_times(lib), fmt_times(ref), ratio_text(lib),
              f"≤ {target:.2f}: mean {verdict(lib['ratio_mean'] <= target)}, "
              f"p50 {verdict(lib['ratio_p50'] <= target)}"),
        cells(number, "… simulator-counted resumed handshakes of the library",
              f"{hs['resumed']} of {hs['full'] + hs['resumed']} ({100 * hs['share_resumed']:.1f}%)"),
    ]
    for name, label in (("openssl_1_exchange", "handshake + 1 exchange"),
                        ("openssl_2_exchanges", "handshake + 2 exchanges, a purchase's protocol")):
        lines.append(cells(number, f"… OpenSSL-only client, {label}", "", fmt_times(row[name]),
                           ratio_text(row[name])))
    return lines


def instruction_lines(per_purchase, process):
    lines = []
    if "skipped" in per_purchase:
        return [cells(6, f"Instructions per purchase: skipped, {per_purchase['skipped']}")]
    for c in per_purchase["cases"]:
        handshake = "resumed" if c["resumed"] else "full"
        lines.append(cells(6, f"Instructions per purchase, TLS {c['version']} {handshake}, {c['file_type']} for both",
                           f"{c['library']:,.0f}", f"{c['reference']:,.0f}", f"{c['ratio']:.2f}",
                           f"≤ {c['target']:.2f}: {verdict(c['ratio'] <= c['target'])}"))
    if "skipped" in process:
        return lines + [cells(7, f"One-purchase process: skipped, {process['skipped']}")]
    for c in process["cases"]:
        note = "" if c["library_resumed"] else " (the library did not resume)"
        lines.append(cells(7, f"Instructions of a one-purchase process, TLS 1.3, {c['file_type']} for both; "
                              f"library resumes from the store, reference handshakes in full{note}",
                           f"{c['library']:,.0f}", f"{c['reference']:,.0f}", f"{c['ratio']:.2f}",
                           f"≤ {c['target']:.2f}: {verdict(c['ratio'] <= c['target'])}"))
    return lines


def thread_lines(row):
    lines = []
    for line in row["lines"]:
        failed = line["failed"]
        last = line is row["lines"][-1]
        target = ""
        if last:
            met = line["ratio"] <= row["target"] and line["waited_ms"] == 0
            target = f"≤ {row['target']:.2f} and no wait: {verdict(met)}"
        lines.append(cells(8, f"{line['threads']} threads at once, resumed TLS 1.3: CPU µs per purchase "
                              f"({line['purchases']} purchases a side{f', {failed} failed' if failed else ''}); "
                              f"store lock waited {line['waited_ms']} ms",
                           f"{line['library_us']:.0f}", f"{line['reference_us']:.0f}",
                           f"{line['ratio']:.2f}", target))
    return lines


def table(results):
    rows = results["rows"]
    lines = [cells("Row", "Measurement", "libzelvanclient", "Reference", "Ratio", "Target"), cells(*["---"] * 6)]
    lines += serial_lines(1, "Serial, full handshake", rows["full"], "s_time -new")
    lines += serial_lines(2, "Serial, resumed", rows["resumed"], "s_time -reuse")
    p = rows["processes"]
    hs, share = p["handshakes"], p["share_resumed_after_first"]
    failures = f" ({p['failed']} failed)" if p["failed"] else ""
    lines.append(cells(3, f"Many short processes: {p['processes']} zelvan-txn, {p['concurrency']} at a time, "
                          f"one purchase each{failures}", f"{p['per_second']:.1f} transactions/s"))
    lines.append(cells(3, "… handshakes resumed through the shared store, after the first",
                       f"{hs['resumed']} of {hs['full'] - 1 + hs['resumed']} ({100 * share:.1f}%)", "", "",
                       f"≥ {100 * p['target_share']:.0f}%: {verdict(share >= p['target_share'])}"))
    c, b = rows["callgrind"], rows["bundle"]
    if "skipped" in c:
        lines.append(cells(4, f"Library CPU share: skipped, {c['skipped']}"))
    else:
        others = ", ".join(f"{name} {100 * o['share']:.1f}%" for name, o in c["objects"].items()
                           if name != "libzelvanclient")
        note = "" if c["profiled_resumed"] else " (the profiled handshake was not resumed)"
        lines.append(cells(4, f"Library CPU share: instructions of one resumed purchase{note}, "
                              f"{c['instructions']:,} in all", f"{100 * c['library_share']:.1f}%", others, "",
                           f"< {100 * c['target_share']:.0f}%: {verdict(c['library_share'] < c['target_share'])}"))
    if "skipped" in b:
        lines.append(cells(5, f"Bundle operations: skipped, {b['skipped']}"))
    else:
        for pair in b["pairs"]:
            lines.append(cells(5, f"{pair['what']}, ns per operation", f"{pair['bundle_ns']:.0f}",
                               f"{pair['standard']}: {pair['standard_ns']:.0f}", f"{pair['ratio']:.2f}"))
    lines += instruction_lines(rows["instructions"], rows["process"])
    lines += thread_lines(rows["threads"])
    return "\n".join(lines)


def make_certificates(programs, work):
    certs = os.path.join(work, "certs")
    subprocess.run([programs.certgen, certs], check=True, stdout=subprocess.DEVNULL)
    return certs


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", required=True, help="build directory holding the programs")
    parser.add_argument("--results", required=True, help="directory for results.md and results.json")
    parser.add_argument("--smoke", action="store_true", help="run every row once with tiny counts")
    parser.add_argument("--no-callgrind", action="store_true", help="leave out row 4 (sanitizer builds)")
    args = parser.parse_args()
    settings = SMOKE_RUN if args.smoke else FULL_RUN
    programs = Programs(args.build)
    os.makedirs(args.results, exist_ok=True)
    work = tempfile.mkdtemp(prefix="zvbench-", dir=args.results)
    certs = None
    try:
        certs = make_certificates(programs, work)
        rows = {}
        print("Serial purchases with full handshakes...", flush=True)
        rows["full"] = serial_row(programs, certs, settings, resumed=False)
        print("Serial purchases with resumed sessions...", flush=True)
        rows["resumed"] = serial_row(programs, certs, settings, resumed=True)
        print("Many short processes...", flush=True)
        rows["processes"] = processes_row(programs, certs, settings)
        print("One resumed purchase under callgrind...", flush=True)
        rows["callgrind"] = ({"skipped": "not run in this build (--no-callgrind)"} if args.no_callgrind
                             else callgrind_row(programs, certs, settings, args.results))
        print("Instructions per purchase under callgrind...", flush=True)
        rows["instructions"] = ({"skipped": "not run in this build (--no-callgrind)"} if args.no_callgrind
                                else instructions_row(programs, certs, settings, args.results))
        print("One-purchase processes under callgrind...", flush=True)
        rows["process"] = ({"skipped": "not run in this build (--no-callgrind)"} if args.no_callgrind
                           else process_row(programs, certs, settings, args.results))
        print("Threads at once...", flush=True)
        rows["threads"] = threads_row(programs, certs, settings)
        print("Bundle operations...", flush=True)
        rows["bundle"] = bundle_row(programs, settings)
    except (BenchError, RuntimeError, subprocess.SubprocessError, OSError) as error:
        print(f"run_bench: {error}", file=sys.stderr)
        return 1
    finally:
        if certs:
            for name, _ in CERTIFICATE_TYPES.values():
                drop_store(programs, certs, name)
        shutil.rmtree(work, ignore_errors=True)

    results = {"date": datetime.datetime.now().isoformat(timespec="seconds"), "host": platform.node(),
               "cpus": os.cpu_count(), "smoke": args.smoke, "settings": settings, "rows": rows}
    text = table(results)
    heading = (f"libzelvanclient benchmarks, {results['date']}, {results['cpus']} CPUs, "
               f"{'smoke run' if args.smoke else 'full run'}")
    with open(os.path.join(args.results, "results.md"), "w") as out:
        out.write(f"{heading}\n\n{text}\n")
    with open(os.path.join(args.results, "results.json"), "w") as out:
        json.dump(results, out, indent=2)
    print(f"\n{heading}\n\n{text}\n\nWritten to {os.path.join(args.results, 'results.md')} and results.json")
    return 0


if __name__ == "__main__":
    sys.exit(main())
