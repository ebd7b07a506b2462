#!/usr/bin/env python3
"""The metrics of simulated routers, taken by Prometheus' own programs: prometheus_test.py <repository> <build folder>

Exit status 77, skipped, without prometheus and its node exporter (tools/setup.sh fleet unpacks them into the build folder)."""

import http.server
import itertools
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile
import threading
import time
import urllib.error
import urllib.parse
import urllib.request

SOURCE = pathlib.Path(sys.argv[1])
BUILD = pathlib.Path(sys.argv[2])
ROUTERS = 1000
DEADLINE_S = 240


def program(name):
    unpacked = BUILD / "prometheus/usr/bin" / name
    return str(unpacked) if unpacked.exists() else shutil.which(name)


PROMETHEUS, PROMTOOL, NODE_EXPORTER = map(program, ("prometheus", "promtool", "prometheus-node-exporter"))
if not (PROMETHEUS and PROMTOOL and NODE_EXPORTER):
    print("prometheus or its node exporter is missing: tools/setup.sh fleet fetches them")
    sys.exit(77)


def metrics_of(modem, *options):
    run = subprocess.run([BUILD / "simrouter", "--modem", modem, *options, "--", "modemctl", "metrics"],
                         capture_output=True, text=True, timeout=120, check=True)
    return run.stdout


def check(condition, *what):
    if not condition:
        print("FAILED:", *what)
        sys.exit(1)


def check_rules():
    rules = SOURCE / "packaging/prometheus/modemctl.rules.yml"
    subprocess.run([PROMTOOL, "check", "rules", rules], check=True)
    subprocess.run([PROMTOOL, "test", "rules", SOURCE / "tests/packaging/prometheus_rules.yml"], check=True)
    dashboard = json.loads((SOURCE / "packaging/prometheus/modemctl-dashboard.json").read_text())
    text = rules.read_text()
    for panel in dashboard["panels"]:
        for target in panel["targets"]:
            for name in (word for word in target["expr"].replace("(", " ").replace("{", " ").split()
                         if word.startswith("modem_")):
                check(f"`{name}`" in (SOURCE / "docs/fleets.md").read_text(), "the dashboard asks for", name)
            if "modem:" in target["expr"]:
                check("record: modem:data_bytes:increase30d" in text, target["expr"])


def modem_states():
    """What `modemctl metrics` prints for every profile, and for one modem in trouble of each kind."""
    listed = subprocess.run([BUILD / "simrouter", "--list"], capture_output=True, text=True, check=True).stdout
    healthy = {}
    for name in (line.split()[0] for line in listed.splitlines()):
        healthy[name] = metrics_of(name)
        lint = subprocess.run([PROMTOOL, "check", "metrics"], input=healthy[name], capture_output=True, text=True)
        check(lint.returncode == 0 and not lint.stderr, name, lint.stdout, lint.stderr)
    faulty = {
        "locked": metrics_of("EC25,pin=SIM PIN"),
        "silent": metrics_of("EC25", "--fault", "silence"),
    }
    check('modem_sim_state{bus="1-1.2",state="pin"} 1\n' in faulty["locked"], faulty["locked"])
    check('modem_up{bus="1-1.2"} 0\n' in faulty["silent"], faulty["silent"])
    return healthy, faulty


class Routers(http.server.BaseHTTPRequestHandler):
    """A thousand routers at one address: /7/metrics is the file of the seventh."""
    pages = {}

    def do_GET(self):
        page = self.pages.get(self.path)
        self.send_response(404 if page is None else 200)
        self.send_header("Content-Type", "text/plain; version=0.0.4")
        self.end_headers()
        self.wfile.write(page or b"")

    def log_message(self, *_):
        pass


def ask(port, query):
    url = f"http://127.0.0.1:{port}/api/v1/query?" + urllib.parse.urlencode({"query": query})
    with urllib.request.urlopen(url, timeout=10) as answer:
        return {result["metric"].get("instance", ""): float(result["value"][1])
                for result in json.load(answer)["data"]["result"]}


def wait_for(port, query, expected):
    deadline = time.monotonic() + DEADLINE_S
    found = None
    while time.monotonic() < deadline:
        try:
            found = ask(port, query)
            if found == expected:
                return
        except (urllib.error.URLError, ConnectionError, TimeoutError):
            pass
        time.sleep(0.5)
    check(False, query, "is", found, "and not", expected)


def free_port():
    with http.server.HTTPServer(("127.0.0.1", 0), Routers) as server:
        return server.server_address[1]


def check_fleet(folder, healthy, faulty):
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Routers)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    address = f"127.0.0.1:{server.server_address[1]}"
    # One in twenty routers has each fault.
    texts = itertools.cycle(list(healthy.values()))
    names = {number: "locked" if number % 20 == 3 else "silent" if number % 20 == 7 else "" for number in range(ROUTERS)}
    targets = []
    for number, fault in names.items():
        text = faulty[fault] if fault else next(texts)
        Routers.pages[f"/{number}/metrics"] = text.encode()
        targets.append({"targets": [address],
                        "labels": {"__metrics_path__": f"/{number}/metrics", "instance": f"router{number}"}})
    (folder / "routers.json").write_text(json.dumps(targets))
    # The node exporter publishes one more router's file, as it would on the router.
    textfiles = folder / "textfile"
    textfiles.mkdir()
    (textfiles / "modemctl.prom").write_text(healthy["EC25"])
    exporter_port, port = free_port(), free_port()
    (folder / "prometheus.yml").write_text(f"""
global: {{scrape_interval: 20s, scrape_timeout: 20s, evaluation_interval: 5s}}
rule_files: ["{SOURCE}/packaging/prometheus/modemctl.rules.yml"]
scrape_configs:
  - job_name: routers
    file_sd_configs: [{{files: ["{folder}/routers.json"]}}]
  - job_name: exporter
    static_configs: [{{targets: ["127.0.0.1:{exporter_port}"], labels: {{instance: exporter}}}}]
""")
    with open(folder / "log", "w") as log:
        running = [
            subprocess.Popen([NODE_EXPORTER, "--collector.disable-defaults", "--collector.textfile",
                              f"--collector.textfile.directory={textfiles}",
                              f"--web.listen-address=127.0.0.1:{exporter_port}"], stdout=log, stderr=log),
            subprocess.Popen([PROMETHEUS, f"--config.file={folder}/prometheus.yml", f"--storage.tsdb.path={folder}/data",
                              f"--web.listen-address=127.0.0.1:{port}"], stdout=log, stderr=log)]
    try:
        locked = {f"router{number}": 1.0 for number, fault in names.items() if fault == "locked"}
        silent = {f"router{number}": 0.0 for number, fault in names.items() if fault == "silent"}
        wait_for(port, 'count(up{job="routers"} == 1)', {"": float(ROUTERS)})
        wait_for(port, "count(modem_up)", {"": ROUTERS + 1.0})
        wait_for(port, "modem_up == 0", silent)
        wait_for(port, 'modem_sim_state{state="pin"} == 1', locked)
        rsrp = next(line for line in healthy["EC25"].splitlines() if line.startswith("modem_rsrp_dbm")).split()[-1]
        wait_for(port, 'modem_rsrp_dbm{instance="exporter",carrier="pcc"}', {"exporter": float(rsrp)})
        # An alert that waits is pending: exactly the faulty routers have one.
        wait_for(port, 'sum by (instance) (ALERTS{alertname="ModemSilent"})', {name: 1.0 for name in silent})
        wait_for(port, 'sum by (instance) (ALERTS{alertname="ModemSimTrouble"})', locked)
    finally:
        for process in running:
            process.terminate()
            process.wait(timeout=30)
    sizes = [len(page) for page in Routers.pages.values()]
    print(f"{ROUTERS} routers, {min(sizes)} to {max(sizes)} bytes each")


check_rules()
with tempfile.TemporaryDirectory() as scratch:
    check_fleet(pathlib.Path(scratch), *modem_states())
