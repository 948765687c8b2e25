"""The gateway at a real service: what it answers is what the machine has and what its description promises."""

import grp
import http.client
import json
import os
import pwd
import re
import shutil
import signal
import socket
import ssl
import subprocess
import threading
import time
import unittest
from pathlib import Path

import jsonschema
import yaml

HERE = Path(__file__).resolve().parent
ROOT = HERE.parent.parent
BUILD = Path(os.environ["GATEWAY_BUILD"])
PROMTOOL = Path("/var/cache/sylvarin-machine/prometheus/usr/bin/promtool")
SOCKET = "/tmp/MDP0"
PATIENCE = 60  # seconds, for what happens at once on a machine that has nothing else to do

ACCOUNT = "sylvarin-gateway"  # which the gateway runs as
PASSWORD = "Quiet-Harbour-7"


def wait_until(condition, what):
    until = time.monotonic() + PATIENCE
    while not condition():
        if time.monotonic() > until:
            raise AssertionError(f"still not: {what}")
        time.sleep(0.05)


class SystemLog:
    """Takes the place of the system's log."""

    def __init__(self):
        self.lines = []
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.socket.bind("/dev/log")
        os.chmod("/dev/log", 0o666)
        threading.Thread(target=self.read, daemon=True).start()

    def read(self):
        while True:
            self.lines.append(self.socket.recv(65536).decode("utf-8", "replace"))

    def has(self, text):
        return any(text in line for line in self.lines)


class Service:
    """The service with the simulated board and runtime; its socket is the gateway's group's, as what starts it with the
    machine sees to."""

    def start(self):
        environment = dict(os.environ, LD_PRELOAD=str(BUILD / "lib/libsylvarin_simulated_devices.so"))
        environment["ASAN_OPTIONS"] = "verify_asan_link_order=0"
        environment["PATH"] = f"{ROOT}/tests/machine/devices/pools:{environment['PATH']}"
        self.process = subprocess.Popen([BUILD / "bin/sylvarin", "-nofork"], env=environment,
                                        stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        wait_until(lambda: Path(SOCKET).exists(), "the service listens")
        shutil.chown(SOCKET, group="sylvarin")
        os.chmod(SOCKET, 0o770)

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        if self.process.wait(PATIENCE) != 0:
            raise AssertionError(f"the service ended with {self.process.returncode}")


class Gateway:
    """A gateway without any privilege, listening on a free port."""

    def __init__(self, *options, listen="127.0.0.1:0", account=ACCOUNT):
        command = [BUILD / "bin/sylvarin-gateway", "--listen", listen, *options]
        if account:
            group = grp.getgrgid(pwd.getpwnam(account).pw_gid).gr_name
            command = ["setpriv", "--reuid", account, "--regid", group, "--init-groups", "--no-new-privs",
                       "--inh-caps=-all", "--bounding-set=-all", *command]
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.address = self.process.stdout.readline().strip()
        if not self.address:
            raise AssertionError(self.process.communicate()[1])
        self.tls = self.address.startswith("https")
        self.port = int(re.search(r":(\d+)/$", self.address).group(1))
        self.cookie = None

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.send_signal(signal.SIGTERM)
        _, errors = self.process.communicate(timeout=PATIENCE)
        if self.process.returncode != 0 or errors:
            raise AssertionError(f"the gateway ended with {self.process.returncode}: {errors}")

    def connect(self, version=None):
        if not self.tls:
            return http.client.HTTPConnection("localhost", self.port, timeout=PATIENCE)
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
        context.check_hostname = False
        context.load_verify_locations(HERE / "certificate.pem")
        if version:
            context.minimum_version = context.maximum_version = version
        return http.client.HTTPSConnection("localhost", self.port, timeout=PATIENCE, context=context)

    def ask(self, method, path, body=None, headers=None):
        connection = self.connect()
        sent = {"Content-Type": "application/json", **(headers or {})}
        if self.cookie:
            sent["Cookie"] = self.cookie
        connection.request(method, path, None if body is None else json.dumps(body), sent)
        response = connection.getresponse()
        content = response.read().decode()
        connection.close()
        kind = response.getheader("Content-Type", "")
        return response.status, json.loads(content) if "json" in kind else content, response

    def get(self, path):
        status, content, _ = self.ask("GET", path)
        if status != 200:
            raise AssertionError(f"{path}: {status} {content}")
        return content

    def sign_in(self, user, password=PASSWORD):
        status, content, response = self.ask("POST", "/api/v1/session", {"user": user, "password": password})
        if status == 200:
            self.cookie = response.getheader("Set-Cookie").split(";")[0]
        return status, content


class Stream:
    """Server-sent events, one after the other."""

    def __init__(self, gateway, path):
        self.connection = gateway.connect()
        self.connection.request("GET", path)
        self.response = self.connection.getresponse()

    def next(self, kind):
        while True:
            event, data = None, None
            while (line := self.response.readline().decode().rstrip("\n")):
                name, _, value = line.partition(": ")
                event, data = (value, data) if name == "event" else (event, value)
            if event == kind:
                return json.loads(data)

    def close(self):
        self.connection.close()


def schema_of(description, schema):
    """As JSON Schema: "nullable" and references resolved, so that each can be checked alone."""
    if isinstance(schema, list):
        return [schema_of(description, part) for part in schema]
    if not isinstance(schema, dict):
        return schema
    if "$ref" in schema:
        return schema_of(description, description["components"]["schemas"][schema["$ref"].rsplit("/", 1)[1]])
    plain = {name: schema_of(description, part) for name, part in schema.items() if name != "nullable"}
    if schema.get("nullable"):
        return {"anyOf": [plain, {"type": "null"}]}
    return plain


def check(description, operation, status, content, kind):
    responses = operation["responses"]
    response = responses.get(str(status), responses["default"])
    if "$ref" in response:
        response = description["components"]["responses"][response["$ref"].rsplit("/", 1)[1]]
    if "content" not in response:
        return
    documented = response["content"][kind.split(";")[0]]
    if kind.split(";")[0].endswith("json"):
        jsonschema.validate(content, schema_of(description, documented["schema"]))


class GatewayTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.log = SystemLog()
        for file in (BUILD / "bin").glob("*.xml"):
            shutil.copy(file, "/usr/local/bin")
        shutil.copy(ROOT / "tests/machine/devices/board.scenario", "/run/machine/scenario")
        subprocess.run([ROOT / "tests/machine/devices/enter-drives", "/run/machine/scenario"], check=True)
        shutil.copy(BUILD / "lib/runtime/plain/libZmKorDll.so", "/usr/lib")
        shutil.copy(ROOT / "packaging/linux/sylvarin-gateway.pam", "/etc/pam.d/sylvarin-gateway")
        for group in ("sylvarin", "lookers", "changers"):
            subprocess.run(["groupadd", group], check=True)
        subprocess.run(["useradd", "--system", "--user-group", "--groups", "sylvarin,shadow", ACCOUNT], check=True)
        for user, groups in (("alice", "changers"), ("bob", "lookers"), ("carol", "users")):
            subprocess.run(["useradd", "--groups", groups, user], check=True)
            subprocess.run(["chpasswd"], input=f"{user}:{PASSWORD}", text=True, check=True)
        cls.service = Service()
        cls.service.start()

    @classmethod
    def tearDownClass(cls):
        cls.service.stop()

    def test_every_documented_path_answers_as_documented(self):
        with Gateway("--editors", "changers") as gateway:
            description = yaml.safe_load(gateway.get("/api/v1/openapi.yaml"))
            self.assertEqual(gateway.sign_in("alice")[0], 200)
            examples = {"{index}": "8001", "{sub}": "2", "{id}": "0" * 32}
            bodies = {"/api/v1/objects/{index}/{sub}": {"old": "192.168.10.20", "new": "192.168.10.20"},
                      "/api/v1/services/{index}": {}, "/api/v1/session": {"user": "alice", "password": PASSWORD}}
            answered = []
            # Signing out comes last.
            operations = sorted(((method, path) for path, item in description["paths"].items() for method in item),
                                key=lambda pair: pair[0] == "delete")
            for method, path in operations:
                if path == "/api/v1/events":
                    continue  # has no end; its events are looked at elsewhere
                asked = path.replace("services/{index}", "services/B000")
                for name, value in examples.items():
                    asked = asked.replace(name, value)
                for language in ("en", "de"):
                    status, content, response = gateway.ask(method.upper(), f"{asked}?lang={language}",
                                                            bodies.get(path) if method in ("put", "post") else None)
                    expected = {"delete": (204, 204), "get": (200, 404 if "{id}" in path else 200)}.get(method, (200, 202))
                    self.assertIn(status, expected, f"{method} {asked}: {content}")
                    check(description, description["paths"][path][method], status, content,
                          response.getheader("Content-Type", ""))
                answered.append(path)
            self.assertGreater(len(answered), 20)

    def test_every_object_of_the_dictionary_answers_as_documented(self):
        with Gateway() as gateway:
            description = yaml.safe_load(gateway.get("/api/v1/openapi.yaml"))
            schema = schema_of(description, {"$ref": "#/components/schemas/Object"})
            objects = gateway.get("/api/v1/objects")["objects"]
            self.assertGreater(len(objects), 100)
            for head in objects:
                told = gateway.get(f"/api/v1/objects/{head['index'][2:]}")
                jsonschema.validate(told, schema)
                self.assertEqual(len(told["entries"]), head["entries"], head)
                self.assertEqual(told["name"], head["name"])

    def test_no_path_is_answered_that_is_not_documented(self):
        program = (ROOT / "gateway/Api.cpp").read_text()
        routes = re.findall(r'\{"([A-Z]+)", "(/[^"]*)", Access::', program)
        description = yaml.safe_load((ROOT / "docs/gateway/openapi.yaml").read_text())
        views = re.findall(r'\{"([a-z]+)", [A-Z]\w+Json\}', (ROOT / "gateway/ViewsJson.cpp").read_text())
        served = set()
        for method, path in routes:
            if "{view}" in path:
                served |= {(method, path.replace("{view}", view)) for view in views if view != "machine"}
            else:
                served.add((method, path))
        documented = {(method.upper(), path) for path, item in description["paths"].items() for method in item}
        self.assertGreater(len(served), 20)
        self.assertEqual(served, documented)
        with Gateway() as gateway:
            for path in ("/api", "/api/v1", "/api/v1/", "/api/v1/users", "/openapi.yaml", "/etc/passwd", "/metrics/"):
                self.assertEqual(gateway.ask("GET", path)[0], 404, path)

    def test_metrics_are_clean_and_tell_the_machine(self):
        with Gateway() as gateway:
            page = gateway.get("/metrics")
            checked = subprocess.run([PROMTOOL, "check", "metrics"], input=page, capture_output=True, text=True)
            self.assertEqual((checked.returncode, checked.stdout, checked.stderr), (0, "", ""))
            for line in ('sylvarin_up 1', 'sylvarin_scrape_errors_total 0',
                         'sylvarin_drive_life_left_ratio{drive="4",model="Micron 1100 256 GB",serial="MSA18470001A2F3B"} 0.03',
                         'sylvarin_voltage_nominal_volts{sensor="12V"} 12',
                         'sylvarin_runtime_running 1', 'sylvarin_runtime_routes 4', 'sylvarin_ups_on_battery{ups="UPS0"} 0',
                         'sylvarin_ups_charge_ratio{ups="UPS0"} 0.9',
                         'sylvarin_filesystem_size_bytes{path="/",name="tank",fstype="ZFS",kind="pool"} 249108103168'):
                self.assertIn(line + "\n", page)
            # The board's figures change all the time.
            self.assertRegex(page, r'\nsylvarin_temperature_celsius\{sensor="Mainboard"\} \d\d\n')
            self.assertRegex(page, r'\nsylvarin_voltage_volts\{sensor="12V"\} 1[12](\.\d+)?\n')
            self.assertRegex(page, r'\nsylvarin_fan_speed_rpm\{fan="CPU fan"\} \d+\n')
            self.assertNotIn("NaN", page)
            self.assertNotIn('sylvarin_drive_life_left_ratio{drive="3"', page)

    def test_only_chosen_modules_are_asked_for_metrics(self):
        with Gateway("--modules", "CPU,FAN") as gateway:
            page = gateway.get("/metrics")
            self.assertIn("sylvarin_processor_load_ratio", page)
            self.assertNotIn("sylvarin_drive", page)

    def test_an_edit_reaches_the_machine_and_the_log(self):
        with Gateway("--viewers", "lookers", "--editors", "changers") as gateway:
            self.assertEqual(gateway.ask("GET", "/api/v1/views/network")[0], 401)
            self.assertEqual(gateway.sign_in("bob")[0], 200)
            adapter = gateway.get("/api/v1/views/network")["adapters"][1]
            path = f"/api/v1/objects/{adapter['index'][2:]}/2"
            self.assertEqual(gateway.ask("PUT", path, {"new": "192.168.20.20"})[0], 403)
            self.assertEqual(gateway.sign_in("alice")[0], 200)
            status, content, _ = gateway.ask("PUT", path, {"old": "10.9.9.9", "new": "192.168.20.20"})
            self.assertEqual((status, content["current"]), (409, adapter["address"]))
            status, content, _ = gateway.ask("PUT", path, {"old": adapter["address"], "new": "192.168.20.20"})
            self.assertEqual(status, 200, content)
            wait_until(lambda: "192.168.20.20" in Path("/etc/rc.conf").read_text(), "the address is in rc.conf")
            entry = f"{adapter['index']}:2"
            wait_until(lambda: self.log.has(f'"alice" from 127.0.0.1: {entry} from "{adapter["address"]}" to "192.168.20.20"'),
                       "the change is in the log")
            self.assertTrue(self.log.has('"bob" signed in from 127.0.0.1'))
            self.assertFalse(self.log.has(PASSWORD))
            self.assertEqual(gateway.ask("PUT", path, {"new": "nonsense"})[0], 422)

    def test_accounts_of_the_machine_sign_in_and_wrong_passwords_wait(self):
        with Gateway("--viewers", "lookers", "--editors", "changers") as gateway:
            status, session = gateway.sign_in("alice")
            self.assertEqual((status, session["user"], session["mayChange"]), (200, "alice", True))
            self.assertEqual(gateway.ask("DELETE", "/api/v1/session")[0], 204)
            self.assertEqual(gateway.ask("GET", "/api/v1/machine")[0], 401)
            self.assertEqual(gateway.sign_in("carol")[0], 401)  # neither looks nor changes
            self.assertEqual(gateway.sign_in("nobody-at-all")[0], 401)
            statuses = [gateway.sign_in("bob", "wrong")[0] for _ in range(6)]
            self.assertEqual(statuses[0], 401)
            self.assertEqual(statuses[-1], 429)
            self.assertEqual(gateway.sign_in("bob")[0], 429)

    def test_tls_is_spoken_from_1_2_on(self):
        with Gateway("--certificate", str(HERE / "certificate.pem"), "--key", str(HERE / "key.pem"),
                     "--editors", "changers", account=None) as gateway:
            self.assertEqual(gateway.get("/api/v1/session")["signIn"], "offered")
            status, _ = gateway.sign_in("alice")
            self.assertEqual(status, 200)
            self.assertTrue(gateway.cookie.startswith("__Host-sylvarin="))
            self.assertTrue(gateway.get("/api/v1/session")["mayChange"])
            for version, works in ((ssl.TLSVersion.TLSv1_2, True), (ssl.TLSVersion.TLSv1_3, True),
                                   (ssl.TLSVersion.TLSv1_1, False)):
                connection = gateway.connect(version)
                try:
                    connection.request("GET", "/api/v1/session")
                    self.assertTrue(works and connection.getresponse().status == 200, version)
                except (ssl.SSLError, ConnectionError, http.client.HTTPException):
                    self.assertFalse(works, version)
                connection.close()
            # A client that never finishes its handshake, and one that speaks no TLS, hold nobody up.
            idle = socket.create_connection(("localhost", gateway.port))
            plain = socket.create_connection(("localhost", gateway.port))
            plain.sendall(b"GET / HTTP/1.1\r\n\r\n")
            self.assertEqual(gateway.get("/api/v1/session")["signIn"], "offered")
            plain.close()
            idle.close()

    def test_a_restart_of_the_service_is_told_and_everything_comes_back(self):
        with Gateway() as gateway:
            stream = Stream(gateway, "/api/v1/events?views=sensors&objects=8041")
            self.assertEqual(stream.next("state")["service"], "up")
            self.assertEqual(stream.next("view")["view"], "sensors")
            self.service.stop()
            told = stream.next("state")
            self.assertEqual(told["service"], "down")
            self.assertIn("/tmp/MDP0", told["text"])
            status, problem, _ = gateway.ask("GET", "/api/v1/machine")
            self.assertEqual((status, problem["type"]), (503, "urn:sylvarin:problem:service-down"))
            page = gateway.get("/metrics")
            self.assertIn("sylvarin_up 0\n", page)
            self.assertNotIn("sylvarin_fan", page)
            self.service.start()
            self.assertEqual(stream.next("state")["service"], "up")
            self.assertEqual(stream.next("view")["view"], "sensors")
            self.assertIn("sylvarin_up 1\n", gateway.get("/metrics"))
            stream.close()

    def test_a_value_that_changes_is_told(self):
        with Gateway("--period", "0.1") as gateway:
            stream = Stream(gateway, "/api/v1/events?objects=1008")
            self.assertEqual(stream.next("object")["entries"], [{"sub": 0, "value": "IPC-4711"}])
            subprocess.run([BUILD / "bin/mdp", "write", "1008", "IPC-0815"], check=True, stdout=subprocess.DEVNULL)
            self.assertEqual(stream.next("object")["entries"], [{"sub": 0, "value": "IPC-0815"}])
            subprocess.run([BUILD / "bin/mdp", "write", "1008", "IPC-4711"], check=True, stdout=subprocess.DEVNULL)
            self.assertEqual(stream.next("object")["entries"], [{"sub": 0, "value": "IPC-4711"}])
            stream.close()

    def test_many_pages_are_served_at_once_and_one_too_many_is_told(self):
        with Gateway("--streams", "40") as gateway:
            streams = [Stream(gateway, "/api/v1/events?views=sensors,system") for _ in range(40)]
            for stream in streams:
                self.assertEqual(stream.next("view")["view"], "sensors")
            status, problem, response = gateway.ask("GET", "/api/v1/events?views=sensors")
            self.assertEqual((status, problem["type"]), (503, "urn:sylvarin:problem:too-many"))
            self.assertEqual(response.getheader("Retry-After"), "10")
            for stream in streams:
                stream.close()

    def test_it_does_not_listen_on_the_network_by_mistake(self):
        for options, words in ((["--listen", "0.0.0.0:0"], "--allow-plain-http"),
                               (["--listen", "0.0.0.0:0", "--allow-plain-http"], "--allow-anyone"),
                               (["--listen", "[::]:0", "--allow-anyone"], "--allow-plain-http"),
                               (["--listen", "nonsense"], "ADDRESS:PORT"), (["--listen", "127.0.0.1:99999"], "ADDRESS:PORT"),
                               (["--key", "x"], "belong together"), (["--modules", "NONE"], "NONE")):
            ran = subprocess.run([BUILD / "bin/sylvarin-gateway", *options], capture_output=True, text=True, timeout=PATIENCE)
            self.assertEqual(ran.returncode, 2, options)
            self.assertIn(words, ran.stderr)

    def test_who_is_not_of_the_group_reaches_no_service(self):
        with Gateway(account="nobody") as gateway:
            status, problem, _ = gateway.ask("GET", "/api/v1/machine")
            self.assertEqual(status, 503)
            self.assertIn("Permission denied", problem["detail"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
