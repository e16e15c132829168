"""Drives Debian's headless chromium over the DevTools protocol on a pipe.

Standard library only: chromium reads commands from its file descriptor 3 and
writes answers and events to 4, each a JSON text ended by a NUL byte. The
browser runs with a new empty profile and every background service off, so
that it makes no connection of its own (the machine has no network).
"""

import base64
import json
import os
import shutil
import subprocess
import tempfile
import time

FLAGS = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
         "--disable-background-networking", "--disable-component-update", "--disable-sync",
         "--disable-extensions", "--hide-scrollbars", "--remote-debugging-pipe"]

SHIFT = 8  # the protocol's modifier bit for the shift key


def find_chromium():
    return shutil.which("chromium") or shutil.which("chromium-browser")


class Chromium:
    """One browser with one page; use as a context manager."""

    def __init__(self, width=1400, height=900):
        self.profile = tempfile.mkdtemp(prefix="chromium-profile.")
        to_browser, self._commands = os.pipe()
        self._answers, from_browser = os.pipe()

        def give_pipes():
            # Copies first: a pipe end may itself sit on 3 or 4.
            read_end, write_end = os.dup(to_browser), os.dup(from_browser)
            os.dup2(read_end, 3)
            os.dup2(write_end, 4)

        self.process = subprocess.Popen(
            [find_chromium(), *FLAGS, f"--user-data-dir={self.profile}",
             f"--window-size={width},{height}", "about:blank"],
            preexec_fn=give_pipes, close_fds=False, stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(to_browser)
        os.close(from_browser)
        self._buffer = b""
        self._next_id = 0
        self.events = []
        page = next(t for t in self.send("Target.getTargets")["targetInfos"] if t["type"] == "page")
        self.session = self.send("Target.attachToTarget",
                                 {"targetId": page["targetId"], "flatten": True})["sessionId"]
        self.send("Page.enable", session=True)
        self.send("Runtime.enable", session=True)
        self.send("Log.enable", session=True)

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def close(self):
        try:
            self.send("Browser.close")
        except (OSError, EOFError, RuntimeError):
            pass
        try:
            self.process.wait(timeout=30)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        for fd in (self._commands, self._answers):
            try:
                os.close(fd)
            except OSError:
                pass
        shutil.rmtree(self.profile, ignore_errors=True)

    def _read_message(self):
        while b"\0" not in self._buffer:
            chunk = os.read(self._answers, 1 << 20)
            if not chunk:
                raise EOFError("chromium closed its pipe")
            self._buffer += chunk
        message, _, self._buffer = self._buffer.partition(b"\0")
        return json.loads(message)

    def send(self, method, params=None, session=False):
        self._next_id += 1
        message = {"id": self._next_id, "method": method, "params": params or {}}
        if session:
            message["sessionId"] = self.session
        os.write(self._commands, json.dumps(message).encode() + b"\0")
        while True:
            answer = self._read_message()
            if answer.get("id") != self._next_id:
                self.events.append(answer)
                continue
            if "error" in answer:
                raise RuntimeError(f"{method}: {answer['error']}")
            return answer["result"]

    def complaints(self):
        """Uncaught exceptions and the browser's error log entries (a blocked
        script or load among them) seen so far."""
        found = []
        for event in self.events:
            params = event.get("params", {})
            if event.get("method") == "Runtime.exceptionThrown":
                found.append(params["exceptionDetails"].get("exception", {}).get("description", ""))
            elif event.get("method") == "Log.entryAdded" and params["entry"]["level"] == "error":
                found.append(params["entry"]["text"])
        return found

    def open(self, path):
        self.send("Page.navigate", {"url": "file://" + os.path.abspath(path)}, session=True)

    def evaluate(self, expression):
        result = self.send("Runtime.evaluate", {"expression": expression, "returnByValue": True,
                                                "awaitPromise": True}, session=True)
        if "exceptionDetails" in result:
            raise RuntimeError(f"{expression}: {result['exceptionDetails']}")
        return result["result"].get("value")

    def wait_for(self, expression, timeout=120):
        """Polls until `expression` is truthy; returns its value. Errors count
        as not yet: the page may still be loading."""
        deadline = time.monotonic() + timeout
        while True:
            try:
                value = self.evaluate(expression)
            except RuntimeError:
                value = None
            if value:
                return value
            if time.monotonic() > deadline:
                raise TimeoutError(f"waited {timeout} s for {expression}")
            time.sleep(0.05)

    def click(self, x, y, modifiers=0):
        for kind in ("mouseMoved", "mousePressed", "mouseReleased"):
            self.send("Input.dispatchMouseEvent", {"type": kind, "x": x, "y": y, "button": "left",
                                                   "clickCount": 1, "modifiers": modifiers},
                      session=True)

    def screenshot(self, path, selector=None):
        """A PNG of the page, or of the element `selector` only."""
        params = {"format": "png", "captureBeyondViewport": selector is not None}
        if selector:
            box = self.evaluate(f"(() => {{ const b = document.querySelector({json.dumps(selector)})"
                                ".getBoundingClientRect(); return [b.x + scrollX, b.y + scrollY, "
                                "b.width, b.height]; })()")
            params["clip"] = {"x": box[0], "y": box[1], "width": box[2], "height": box[3], "scale": 1}
        data = self.send("Page.captureScreenshot", params, session=True)["data"]
        with open(path, "wb") as out:
            out.write(base64.b64decode(data))
