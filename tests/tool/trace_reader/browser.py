"""A headless Chromium, driven through the pipe that it offers for that."""

import json
import os
import subprocess
import tempfile


class Browser:
    """One browser with a profile of its own. Use it in a "with" statement."""

    def __init__(self, program):
        self.profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        to_browser, self.to_browser = os.pipe()
        self.from_browser, from_browser = os.pipe()

        def place_pipes():
            # The browser expects them as descriptors 3 and 4.
            copies = os.dup(to_browser), os.dup(from_browser)
            os.dup2(copies[0], 3)
            os.dup2(copies[1], 4)

        self.process = subprocess.Popen(
            [program, "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
             "--disable-background-networking", "--disable-component-update", "--disable-sync",
             f"--user-data-dir={self.profile.name}", "--remote-debugging-pipe"],
            preexec_fn=place_pipes, close_fds=False, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(to_browser)
        os.close(from_browser)
        self.received = b""
        self.last_id = 0

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()
        os.close(self.to_browser)
        os.close(self.from_browser)
        self.profile.cleanup()

    def receive(self):
        while b"\0" not in self.received:
            part = os.read(self.from_browser, 1 << 20)
            if not part:
                raise EOFError("the browser has ended")
            self.received += part
        message, _, self.received = self.received.partition(b"\0")
        return json.loads(message)

    def send(self, method, session=None, **parameters):
        self.last_id += 1
        command = {"id": self.last_id, "method": method, "params": parameters}
        if session:
            command["sessionId"] = session
        message = json.dumps(command).encode() + b"\0"
        while message:
            message = message[os.write(self.to_browser, message):]
        return self.last_id


class Page:
    """A tab. Remembers what it asked the network for and what it complained of."""

    def __init__(self, browser):
        self.browser = browser
        self.session = None
        self.events = []
        target = self.do("Target.createTarget", url="about:blank")["targetId"]
        self.session = self.do("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Network", "Log"):
            self.do(domain + ".enable")

    def do(self, method, **parameters):
        """Gives a command and waits for its result."""
        number = self.browser.send(method, self.session, **parameters)
        while True:
            message = self.browser.receive()
            if message.get("id") == number:
                if "error" in message:
                    raise RuntimeError(f"{method}: {message['error']}")
                return message["result"]
            self.events.append(message)

    def wait_for(self, event):
        while not any(message.get("method") == event for message in self.events):
            self.events.append(self.browser.receive())

    def open(self, path, fragment=""):
        # From an empty page: a fragment alone would load nothing.
        for address in ("about:blank", "file://" + path + fragment):
            self.events.clear()
            self.do("Page.navigate", url=address)
            self.wait_for("Page.loadEventFired")
        self.do("Page.captureScreenshot")  # calls have a visible text from the first frame on

    def run(self, expression):
        """The value of a JavaScript expression on the page."""
        evaluated = self.do("Runtime.evaluate", expression=expression, returnByValue=True, awaitPromise=True)
        if "exceptionDetails" in evaluated:
            raise RuntimeError(evaluated["exceptionDetails"])
        return evaluated["result"].get("value")

    def resize(self, width, height=900):
        self.do("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False)

    def press(self, key, text=None):
        codes = {"Enter": 13, "Escape": 27, "/": 191}
        for kind in ("keyDown", "keyUp"):
            parameters = {"type": kind, "key": key, "windowsVirtualKeyCode": codes[key]}
            if text and kind == "keyDown":
                parameters["text"] = text
            self.do("Input.dispatchKeyEvent", **parameters)

    def of_kind(self, method):
        return [message["params"] for message in self.events if message.get("method") == method]

    def requested(self):
        """The addresses that the page asked for."""
        return [event["request"]["url"] for event in self.of_kind("Network.requestWillBeSent")]

    def complaints(self):
        """Errors of scripts, and what the browser refused."""
        errors = [str(event["exceptionDetails"]) for event in self.of_kind("Runtime.exceptionThrown")]
        return errors + [event["entry"]["text"] for event in self.of_kind("Log.entryAdded")]
