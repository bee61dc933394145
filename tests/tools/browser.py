# SPDX-License-Identifier: Apache-2.0
"""A browser without a window, and a folder that it may read.

Speaks to chromedriver as https://www.w3.org/TR/webdriver1/ says.
"""

import functools
import http.server
import json
import os
import shutil
import signal
import subprocess
import threading
import time
import urllib.error
import urllib.request

ARGUMENTS = (
    "--headless", "--no-sandbox", "--disable-gpu", "--enable-unsafe-swiftshader",
    "--disable-quic", "--no-first-run", "--disable-background-networking",
    "--disable-component-update", "--disable-sync", "--disable-dev-shm-usage",
    "--window-size=1200,800")


class Browser:
    """Chromium with nothing in its profile, which is in a folder that must be empty."""

    def __init__(self, profile_folder):
        self.driver = subprocess.Popen(
            [shutil.which("chromedriver"), "--port=0"], stdout=subprocess.PIPE, text=True,
            start_new_session=True)
        self.address = f"http://127.0.0.1:{self.port()}/session"
        arguments = [*ARGUMENTS, f"--user-data-dir={profile_folder}"]
        session = self.call("POST", "", {"capabilities": {"alwaysMatch": {
            "goog:chromeOptions": {"binary": shutil.which("chromium"), "args": arguments},
            "goog:loggingPrefs": {"browser": "ALL"}}}})
        self.address += "/" + session["sessionId"]

    def port(self):
        """What the driver says when it has started."""
        for line in self.driver.stdout:
            if "on port " in line and "successfully" in line:
                return int(line.rstrip(".\n").rsplit(" ", 1)[1])
        raise OSError("chromedriver does not start")

    def call(self, method, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(
            self.address + path, data, {"Content-Type": "application/json"}, method=method)
        try:
            with urllib.request.urlopen(request) as response:
                return json.load(response)["value"]
        except urllib.error.HTTPError as error:
            raise OSError(f"{path}: {json.load(error)['value']['message']}") from error

    def close(self):
        """With all that the driver has started."""
        try:
            self.call("DELETE", "")
        finally:
            os.killpg(self.driver.pid, signal.SIGKILL)
            self.driver.wait()
            self.driver.stdout.close()

    def open(self, address):
        self.call("POST", "/url", {"url": address})

    def run(self, script):
        """What a script returns; of a promise, what it promises."""
        return self.call("POST", "/execute/sync", {"script": script, "args": []})

    def wait_for(self, script):
        while not self.run(script):
            time.sleep(0.05)

    def messages(self):
        """What pages have written to the console since the last call."""
        return [entry["message"] for entry in self.call("POST", "/se/log", {"type": "browser"})]


class FolderServer:
    """Serves a folder to this machine."""

    def __init__(self, folder):
        handler = functools.partial(Handler, directory=folder)
        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler)
        self.address = f"http://127.0.0.1:{self.server.server_port}"
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def close(self):
        self.server.shutdown()
        self.server.server_close()


class Handler(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *_):
        """Nobody reads it."""
