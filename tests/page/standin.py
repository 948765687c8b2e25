"""A machine that the page can be shown without a machine: answers of the gateway's form, changed by the test.

The answers are kept in `Machine`: what a test puts there is what the page hears of next. It serves the page's files itself.
"""

import json
import re
import threading
import urllib.parse
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from pathlib import Path

KINDS = {".html": "text/html; charset=utf-8", ".css": "text/css", ".js": "text/javascript", ".svg": "image/svg+xml"}

POLICY = "default-src 'self'; base-uri 'none'; form-action 'self'; frame-ancestors 'none'; object-src 'none'"


def plain():
    """The views of a machine with something of everything."""
    return {
        "machine": {
            "name": "IPC-4711",
            "serialNumber": "SN-0815-4711",
            "hardwareVersion": "v1.4",
            "softwareVersion": "13.2.0.4711",
            "operatingSystem": "FreeBSD 13.2",
            "uptimeSeconds": 93784,
            "modules": [],
            "health": {
                "state": "critical",
                "findings": [
                    {
                        "id": "drive-nearly-worn-out",
                        "severity": "critical",
                        "subject": "MSA18470001A2F3B",
                        "text": "The drive is nearly worn out: 3 % of its life are left.",
                        "view": "drives",
                    },
                    {
                        "id": "drive-unreadable-sectors",
                        "severity": "warning",
                        "subject": "Z1N4711KX",
                        "text": "One sector of the drive cannot be read.",
                        "view": "drives",
                    },
                ],
            },
            "gateway": {"version": "1.0.0"},
        },
        "sensors": {
            "temperatures": [
                {"name": "CPU0", "celsius": 47, "lowestCelsius": None, "highestCelsius": None},
                {"name": "Mainboard", "celsius": 38, "lowestCelsius": -4, "highestCelsius": 71},
            ],
            "voltages": [
                {"name": "Vcore", "volts": 1.08, "nominalVolts": 1.08},
                {"name": "12V", "volts": 12.04, "nominalVolts": 12},
            ],
            "fans": [{"name": "CPU fan", "rpm": 2310}, {"name": "Case fan", "rpm": None}],
        },
        "system": {
            "processors": [{"name": "CPU0", "frequencyMegahertz": 2596, "loadPercent": 12, "celsius": 47}],
            "memory": {"totalBytes": 8589934592, "availableBytes": 5368709120},
            "operatingSystem": {"name": "FreeBSD", "version": "13.2", "uptimeSeconds": 93784},
            "mainboard": {
                "name": "CB3064",
                "serialNumber": "0815",
                "revision": 3,
                "biosVersion": "0.47",
                "productionDate": "2026-03-17",
                "bootCount": 212,
                "operatingHours": 4711,
            },
        },
        "network": {
            "adapters": [
                {
                    "index": "0x8001",
                    "name": "em0",
                    "mac": "02:00:00:00:10:20",
                    "address": "192.168.10.20",
                    "mask": "255.255.255.0",
                    "dhcp": False,
                    "gateway": "192.168.10.1",
                    "dns": "",
                    "activeDns": "192.168.10.1",
                },
                {
                    "index": "0x8011",
                    "name": "em1",
                    "mac": "02:00:00:00:20:20",
                    "address": None,
                    "mask": None,
                    "dhcp": True,
                    "gateway": None,
                    "dns": "",
                    "activeDns": None,
                },
            ]
        },
        "drives": {
            "drives": [
                {
                    "serial": "MSA18470001A2F3B",
                    "model": "Micron 1100 256 GB",
                    "kind": "flash",
                    "lifeLeftPercent": 3,
                    "spareLeftPercent": 16,
                    "reallocatedSectors": None,
                    "spinRetries": None,
                    "pendingSectors": None,
                    "crcErrors": None,
                    "state": "nearly-worn-out",
                    "severity": "critical",
                    "text": "nearly worn out",
                },
                {
                    "serial": "Z1N4711KX",
                    "model": "Seagate Constellation ES.3 1 TB",
                    "kind": "hard disk",
                    "lifeLeftPercent": None,
                    "spareLeftPercent": None,
                    "reallocatedSectors": 16,
                    "spinRetries": 0,
                    "pendingSectors": 1,
                    "crcErrors": 0,
                    "state": "unreadable-sectors",
                    "severity": "warning",
                    "text": "unreadable sectors",
                },
            ]
        },
        "discs": {
            "discs": [
                {
                    "path": "/",
                    "name": "tank",
                    "kind": "pool",
                    "fileSystem": "ZFS",
                    "sizeBytes": 249108103168,
                    "freeBytes": 187904819200,
                }
            ]
        },
        "time": {
            "index": "0x80C1",
            "utcSeconds": 1795320761,
            "local": "2026-11-22T05:12:41.532+01:00",
            "zone": "Europe/Berlin",
            "zoneNumber": 2,
            "zoneLists": ["0x80C2"],
            "ntpServer": "ntp.example.net",
            "ntpRefreshSeconds": 64,
        },
        "gpio": {
            "pins": [
                {"index": "0x80F3", "sub": 1, "pin": 1, "direction": "in", "value": 1},
                {"index": "0x80F3", "sub": 5, "pin": 5, "direction": "out", "value": 0},
            ],
            "supplies": [{"index": "0x8101", "sub": 1, "name": "Us1", "on": True}],
        },
        "users": {
            "users": [{"name": "Administrator", "groups": ["wheel", "panels"]}, {"name": "alice", "groups": []}],
            "groups": ["wheel", "panels"],
        },
        "packages": {"packages": [{"name": "runtime-core", "manufacturer": "Sylvarin", "version": "3.1.4024"}]},
        "ups": {
            "supplies": [
                {
                    "name": "UPS0",
                    "model": "K-UPS",
                    "manufacturer": "Kestrel",
                    "revision": "1.4.27",
                    "power": "mains",
                    "chargePercent": 90,
                    "runtimeSeconds": 810,
                    "powerFailures": 3,
                    "batteryError": False,
                    "fanError": None,
                }
            ]
        },
        "runtime": {
            "runtime": {
                "index": "0x8021",
                "version": "3.1.4024",
                "revision": 41,
                "netId": "5.8.15.47.1.1",
                "systemId": "6F2F5C1F-1D2B-4C3A-9A7E-0815471113AA",
                "state": 5,
                "running": True,
                "secondsSinceChange": None,
                "figures": [{"name": "Router value 1", "value": 16777216}],
            }
        },
        "routes": {
            "routes": [
                {
                    "name": "press",
                    "address": "press.example",
                    "netId": "5.8.15.60.1.1",
                    "transport": 1,
                    "timeoutMilliseconds": 5000,
                    "flags": 0,
                }
            ]
        },
    }


def objects():
    """A few objects of the dictionary, with every kind of value."""
    not_supported = {"code": "0xECA60106", "name": "OBJ_E_NOTSUPPORTED", "text": "not supported"}

    def entry(index, sub, name, kind, access, value=None, error=None):
        told = {"index": index, "sub": sub, "name": name, "type": kind, "access": access}
        told.update({"error": error} if error else {} if value is None else {"value": value})
        return told

    def made(index, name, kind, module, entries):
        return {"index": index, "name": name, "kind": kind, "module": module, "entries": entries}

    return [
        made(
            "0x1008",
            "Device name",
            "variable",
            None,
            [entry("0x1008", 0, "Device name", "VISIBLE_STRING", "rw", "IPC-4711")],
        ),
        made(
            "0x8001",
            "Network settings",
            "record",
            "0x8000",
            [
                entry("0x8001", 0, "Number of entries", "UNSIGNED8", "r-", 8),
                entry("0x8001", 2, "IPv4 address", "VISIBLE_STRING", "rw", "192.168.10.20"),
                entry("0x8001", 4, "DHCP enabled", "BOOLEAN", "rw", False),
                entry("0x8001", 7, "Reserved 7", "VISIBLE_STRING", "rw", None, not_supported),
            ],
        ),
        made(
            "0x80C1",
            "Time settings",
            "record",
            "0x80C0",
            [
                entry("0x80C1", 1, "NTP server", "VISIBLE_STRING", "rw", "ntp.example.net"),
                entry("0x80C1", 2, "NTP refresh interval", "UNSIGNED32", "rw", 64),
                entry("0x80C1", 5, "Time zone", "UNSIGNED16", "rw", 2),
            ],
        ),
        made(
            "0x80C2",
            "Time zones",
            "array",
            "0x80C0",
            [
                entry("0x80C2", 0, "Number of entries", "UNSIGNED8", "r-", 3),
                *[
                    entry("0x80C2", n + 1, "Time zone", "VISIBLE_STRING", "r-", zone)
                    for n, zone in enumerate(["UTC", "America/New_York", "Europe/Berlin"])
                ],
            ],
        ),
        made(
            "0x80F3",
            "GPIO",
            "array",
            "0x80F0",
            [
                entry("0x80F3", 1, "Pin", "UNSIGNED8", "r-", 1),
                entry("0x80F3", 5, "Pin", "UNSIGNED8", "rw", 0),
            ],
        ),
        made(
            "0x8029",
            "Router status",
            "record",
            "0x8020",
            [
                entry("0x8029", 1, "Router value 1", "UNSIGNED64", "r-", "18446744073709551615"),
                entry("0x8029", 2, "Octets", "OCTET_STRING", "r-", {"hex": "00ff10"}),
            ],
        ),
    ]


MODULES = [
    {"index": "0x8000", "slot": 0, "type": 2, "typeName": "Nic", "name": "em0"},
    {"index": "0x8020", "slot": 2, "type": 8, "typeName": "Zelmora", "name": "Zelmora"},
    {"index": "0x80C0", "slot": 12, "type": 3, "typeName": "Time", "name": "Time"},
    {"index": "0x80F0", "slot": 15, "type": 28, "typeName": "MAINBOARD", "name": "MAINBOARD"},
]


def with_text_everywhere(value, hostile):
    """The same answers, with a text put behind every text that the machine gives."""
    kept = {
        "index",
        "severity",
        "view",
        "id",
        "state",
        "kind",
        "power",
        "direction",
        "type",
        "access",
        "module",
        "code",
        "zoneLists",
    }
    if isinstance(value, dict):
        return {
            key: one
            if key in kept and not isinstance(one, (dict, list)) or key == "zoneLists"
            else with_text_everywhere(one, hostile)
            for key, one in value.items()
        }
    if isinstance(value, list):
        return [with_text_everywhere(one, hostile) for one in value]
    return value + hostile if isinstance(value, str) else value


class Machine:
    """What the stand-in answers. Change it under `changing()`; the page is told at once."""

    def __init__(self):
        self.views = plain()
        self.objects = objects()
        self.modules = [dict(one) for one in MODULES]
        self.session = {"signedIn": True, "user": "alice", "mayLook": True, "mayChange": True, "signIn": "offered"}
        self.password = "secret"
        self.up = True
        self.written = []
        self.condition = threading.Condition()
        self.version = 0
        self.streams = 0  # that are open

    def changed(self):
        with self.condition:
            self.version += 1
            self.condition.notify_all()

    def entry(self, index, sub):
        for one in self.objects:
            if one["index"] == index:
                return next((entry for entry in one["entries"] if entry["sub"] == sub), None)
        return None


def handler(machine, files):
    class Handler(BaseHTTPRequestHandler):
        protocol_version = "HTTP/1.1"
        disable_nagle_algorithm = True  # a body would wait for the receipt of its headers

        def log_message(self, *arguments):
            pass

        def answer(self, status, body, kind="application/json"):
            data = body if isinstance(body, bytes) else json.dumps(body).encode()
            self.send_response(status)
            self.send_header("Content-Type", kind)
            self.send_header("Content-Length", str(len(data)))
            self.send_header("Content-Security-Policy", POLICY)
            self.end_headers()
            self.wfile.write(data)

        def problem(self, status, title, **more):
            self.answer(
                status, {"type": "about:blank", "title": title, "status": status, **more}, "application/problem+json"
            )

        def do_GET(self):
            address = urllib.parse.urlsplit(self.path)
            if address.path == "/api/v1/events":
                return self.events(urllib.parse.parse_qs(address.query))
            if address.path.startswith("/api/v1/"):
                return self.api(address.path[len("/api/v1/") :])
            path = files / ("index.html" if address.path == "/" else address.path.lstrip("/"))
            if not path.is_file():
                return self.problem(404, "not found")
            self.answer(200, path.read_bytes(), KINDS.get(path.suffix, "application/octet-stream"))

        def api(self, path):
            if path == "session":
                return self.answer(200, machine.session)
            if not machine.up:
                return self.problem(503, "the service does not answer")
            if path == "objects":
                return self.answer(
                    200, {"objects": [{**one, "entries": len(one["entries"])} for one in machine.objects]}
                )
            if path == "modules":
                return self.answer(200, {"modules": machine.modules})
            if path.startswith("views/") and path[6:] in machine.views:
                return self.answer(200, machine.views[path[6:]])
            if match := re.fullmatch(r"objects/([0-9A-F]{4})(?:/(\d+))?", path):
                index = "0x" + match[1]
                found = next((one for one in machine.objects if one["index"] == index), None)
                entry = machine.entry(index, int(match[2])) if match[2] else None
                if found is not None and (match[2] is None or entry is not None):
                    return self.answer(200, entry or found)
            self.problem(
                404,
                "there is no such thing",
                code="0xECA60100",
                name="OBJ_E_INVALIDIDX",
                text="the object or entry does not exist",
            )

        def body(self):
            return json.loads(self.rfile.read(int(self.headers["Content-Length"])))

        def do_PUT(self):
            match = re.fullmatch(r"/api/v1/objects/([0-9A-F]{4})/(\d+)", urllib.parse.urlsplit(self.path).path)
            wish = self.body()
            index, sub = "0x" + match[1], int(match[2])
            entry = machine.entry(index, sub)
            if "old" in wish and wish["old"] != entry.get("value"):
                return self.problem(409, "changed meanwhile", current=entry.get("value"))
            entry.pop("error", None)
            entry["value"] = wish["new"]
            machine.written.append((index, sub, wish["new"]))
            self.answer(200, entry)
            machine.changed()

        def do_POST(self):
            path = urllib.parse.urlsplit(self.path).path
            wish = self.body()
            if path == "/api/v1/session":
                if wish["password"] != machine.password:
                    return self.problem(401, "wrong name or password")
                machine.session = {
                    "signedIn": True,
                    "user": wish["user"],
                    "mayLook": True,
                    "mayChange": True,
                    "signIn": "offered",
                }
                return self.answer(200, machine.session)
            machine.written.append((path.rsplit("/", 1)[1], None, wish))
            self.answer(200, {"id": "0" * 32, "index": "0x" + path.rsplit("/", 1)[1], "state": "done"})

        def do_DELETE(self):
            machine.session = {
                "signedIn": False,
                "user": None,
                "mayLook": True,
                "mayChange": False,
                "signIn": "offered",
            }
            self.send_response(204)
            self.send_header("Content-Length", "0")
            self.end_headers()

        def event(self, name, data):
            self.wfile.write(f"event: {name}\ndata: {json.dumps(data)}\n\n".encode())
            self.wfile.flush()

        def events(self, query):
            views = [name for name in query.get("views", [""])[0].split(",") if name]
            indexes = ["0x" + name for name in query.get("objects", [""])[0].split(",") if name]
            self.send_response(200)
            self.send_header("Content-Type", "text/event-stream")
            self.send_header("Connection", "close")
            self.end_headers()
            told = {}
            machine.streams += 1
            try:
                while True:
                    with machine.condition:
                        version = machine.version
                    if told.get("state") != machine.up:
                        told = {"state": machine.up}
                        self.event(
                            "state",
                            {"service": "up", "text": None}
                            if machine.up
                            else {"service": "down", "text": "no service answers"},
                        )
                    if machine.up:
                        for name in views:
                            data = json.dumps(machine.views[name])
                            if told.get(name) != data:
                                told[name] = data
                                self.event("view", {"view": name, "data": machine.views[name]})
                        for one in machine.objects:
                            if one["index"] in indexes:
                                entries = [
                                    {
                                        "sub": entry["sub"],
                                        **(
                                            {"error": entry["error"]}
                                            if "error" in entry
                                            else {"value": entry.get("value")}
                                        ),
                                    }
                                    for entry in one["entries"]
                                ]
                                if told.get(one["index"]) != entries:
                                    told[one["index"]] = entries
                                    self.event("object", {"index": one["index"], "entries": entries})
                    with machine.condition:
                        if machine.version == version and not machine.condition.wait(timeout=1):
                            self.wfile.write(b": still here\n\n")
                            self.wfile.flush()
            except OSError:
                pass
            finally:
                machine.streams -= 1

    return Handler


class Server(ThreadingHTTPServer):
    daemon_threads = True
    request_queue_size = 128  # what a page opens at once, and those of the page before


def serve(machine, files, port=0):
    """Serves on a port of the loopback until the process ends; gives the port."""
    server = Server(("127.0.0.1", port), handler(machine, Path(files)))
    threading.Thread(target=server.serve_forever, daemon=True).start()
    return server.server_address[1]


if __name__ == "__main__":
    import sys

    print(f"http://127.0.0.1:{serve(Machine(), sys.argv[1], 8099)}/", flush=True)
    threading.Event().wait()
