"""The real thing for the page's tests: the service with simulated devices and the gateway, in the throw-away machine."""

import os
import shutil
import subprocess
import time
from pathlib import Path

BUILD = Path(os.environ["PAGE_BUILD"])
EQUIPMENT = Path(__file__).resolve().parents[1] / "machine"
SCENARIO = Path("/run/machine/scenario")
SOCKET = Path("/tmp/MDP0")
EDITOR, PASSWORD = "alice", "a secret of 24 letters !"


def wait(promise, what, seconds=30):
    end = time.monotonic() + seconds
    while not promise():
        if time.monotonic() > end:
            raise TimeoutError(what)
        time.sleep(0.05)


class RealMachine:
    """Service and gateway, started once; the account EDITOR may change things."""

    def __init__(self):
        for name in ["mdpmessage.xml", "mdpdrive.xml"]:
            shutil.copy(BUILD / "bin" / name, "/usr/local/bin")
        shutil.copy(EQUIPMENT / "devices/board.scenario", SCENARIO)
        subprocess.run([EQUIPMENT / "devices/enter-drives", SCENARIO], check=True)
        shutil.copy(BUILD / "lib/runtime/plain/libZmKorDll.so", "/usr/lib")
        subprocess.run(["groupadd", "editors"], check=True)
        subprocess.run(["useradd", "-m", "-G", "editors", EDITOR], check=True)
        subprocess.run(["chpasswd"], input=f"{EDITOR}:{PASSWORD}\n", text=True, check=True)
        self.service = None
        self.start_service()
        self.gateway = subprocess.Popen(
            [BUILD / "bin/sylvarin-gateway", "--listen", "127.0.0.1:0", "--editors", "editors", "--period", "0.5"],
            stdout=subprocess.PIPE,
            text=True,
        )
        self.address = self.gateway.stdout.readline().split()[-1]

    def start_service(self):
        environment = dict(
            os.environ,
            LD_PRELOAD=str(BUILD / "lib/libsylvarin_simulated_devices.so"),
            ASAN_OPTIONS="verify_asan_link_order=0",
            PATH=f"{EQUIPMENT / 'devices/pools'}:{os.environ['PATH']}",
        )
        self.service = subprocess.Popen([BUILD / "bin/sylvarin", "-nofork"], env=environment, stdout=subprocess.DEVNULL)
        wait(lambda: SOCKET.exists() or self.service.poll() is not None, "no socket")

    def stop_service(self):
        self.service.terminate()
        self.service.wait(30)

    def change_scenario(self, old, new):
        text = SCENARIO.read_text()
        assert old in text
        beside = SCENARIO.with_suffix(".new")
        beside.write_text(text.replace(old, new))
        beside.rename(SCENARIO)

    def stop(self):
        """The exit statuses of gateway and service."""
        self.gateway.terminate()
        self.stop_service()
        return self.gateway.wait(30), self.service.returncode
