"""The web server of examples/web, and a browser that looks at it."""
import json
import os
import pathlib
import shutil
import socket
import subprocess
import tempfile
import time
import urllib.error
import urllib.request

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service

TREE = pathlib.Path(__file__).resolve().parents[2]


def until(ready, seconds=30):
    """Waits for a condition; returns what it gave in the end."""
    for _ in range(seconds * 20):
        result = ready()
        if result:
            return result
        time.sleep(0.05)
    return ready()


class Site:
    def __init__(self, build, root):
        self.root, self.json = str(root), str(build / "vigil-json")
        self.work = tempfile.mkdtemp(prefix="vigil-web.")
        with socket.create_server(("127.0.0.1", 0)) as free:
            self.port = free.getsockname()[1]
        self.address = f"http://127.0.0.1:{self.port}"
        place = pathlib.Path(self.work) / "lighttpd.conf"
        place.write_text(f'var.tree = "{TREE}"\nvar.work = "{self.work}"\nvar.port = {self.port}\n'
                         f'include "{TREE}/examples/web/lighttpd.conf"\n')
        environment = {**os.environ, "VIGIL_ROOT": self.root, "TZ": "UTC0", "VIGIL_JSON": self.json, "VIGIL_SCHEMA": str(TREE / "schema")}
        server = shutil.which("lighttpd") or "/usr/sbin/lighttpd"
        self.server = subprocess.Popen([server, "-D", "-f", place], env=environment)
        if not until(lambda: self.get("/")[0] == 200):
            raise SystemExit("the web server does not serve")

    def close(self):
        self.server.terminate()
        self.server.wait()
        shutil.rmtree(self.work)

    def get(self, path, **headers):
        """Status and body."""
        try:
            with urllib.request.urlopen(urllib.request.Request(self.address + path, headers=headers), timeout=60) as answer:
                return answer.status, answer.read()
        except urllib.error.HTTPError as error:
            return error.code, error.read()
        except OSError:
            return 0, b""

    def ask(self, command):
        """What vigil-json says, asked without the web."""
        run = subprocess.run([self.json, *command.split()], stdout=subprocess.PIPE, check=False,
                             env={"VIGIL_ROOT": self.root, "TZ": "UTC0"})
        return json.loads(run.stdout)


def browser(width, dark=False):
    options = Options()
    for argument in ("--headless=new", "--disable-gpu", "--disable-dev-shm-usage", "--hide-scrollbars"):
        options.add_argument(argument)
    if os.geteuid() == 0:
        options.add_argument("--no-sandbox")  # which does not work for root
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    driver = webdriver.Chrome(options=options, service=Service("/usr/bin/chromedriver"))
    resize(driver, width, 1000)
    driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [
        {"name": "prefers-color-scheme", "value": "dark" if dark else "light"}, {"name": "prefers-reduced-motion", "value": "reduce"}]})
    return driver


def resize(driver, width, height):
    driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})
