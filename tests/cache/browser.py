"""A headless Chromium that a test drives over two pipes, and pictures as it hands them out."""

import base64
import fcntl
import json
import os
import select
import shutil
import struct
import subprocess
import tempfile
import time
import zlib

FLAGS = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
         "--disable-background-networking", "--disable-component-update", "--disable-sync",
         "--disable-extensions", "--hide-scrollbars", "--disable-dev-shm-usage",
         # WebGL without a graphics card.
         "--use-gl=angle", "--use-angle=swiftshader", "--enable-unsafe-swiftshader"]


def find_browser():
    return shutil.which("chromium") or shutil.which("chromium-browser") or shutil.which("google-chrome")


def move_up(fd):
    moved = fcntl.fcntl(fd, fcntl.F_DUPFD, 10)
    os.close(fd)
    return moved


class Browser:
    """One page. Collects console messages, exceptions and every request that the page makes."""

    def __init__(self, program, width=1280, height=800, timeout=120, more=()):
        self.deadline = timeout
        self.profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        to_read, self.to = os.pipe()
        self.of, of_write = os.pipe()
        # Out of the way of the two numbers that they become.
        to_read, of_write = (move_up(fd) for fd in (to_read, of_write))
        # The browser reads descriptor 3 and writes 4, whatever numbers the pipes got here.
        script = 'exec "$@" 3<&%d 4>&%d' % (to_read, of_write)
        self.process = subprocess.Popen(
            ["bash", "-c", script, "browser", program, *FLAGS, *more, "--remote-debugging-pipe",
             "--user-data-dir=" + self.profile.name, "--window-size=%d,%d" % (width, height), "about:blank"],
            pass_fds=(to_read, of_write), stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL)
        os.close(to_read)
        os.close(of_write)
        self.buffer = b""
        self.serial = 0
        self.session = None
        self.console = []
        self.requests = []
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self.session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Network", "Log"):
            self.call(domain + ".enable")
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1,
                  mobile=False)

    def close(self):
        try:
            self.session = None
            self.call("Browser.close")
            self.process.wait(20)
        except (OSError, RuntimeError, subprocess.TimeoutExpired):
            self.process.kill()
            self.process.wait()
        os.close(self.to)
        os.close(self.of)
        self.profile.cleanup()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def message(self, until):
        while b"\0" not in self.buffer:
            ready, _, _ = select.select([self.of], [], [], max(0, until - time.monotonic()))
            if not ready:
                raise RuntimeError("the browser does not answer")
            data = os.read(self.of, 1 << 20)
            if not data:
                raise RuntimeError("the browser has ended")
            self.buffer += data
        text, _, self.buffer = self.buffer.partition(b"\0")
        message = json.loads(text)
        kind = message.get("method")
        if kind == "Runtime.consoleAPICalled":
            self.console.append((message["params"]["type"],
                                 " ".join(str(a.get("value", a.get("description")))
                                          for a in message["params"]["args"])))
        elif kind == "Runtime.exceptionThrown":
            self.console.append(("exception", json.dumps(message["params"]["exceptionDetails"])))
        elif kind == "Log.entryAdded":
            entry = message["params"]["entry"]
            self.console.append((entry["level"], entry["text"]))
        elif kind == "Network.requestWillBeSent":
            self.requests.append(message["params"]["request"]["url"])
        return message

    def call(self, method, **params):
        self.serial += 1
        request = {"id": self.serial, "method": method, "params": params}
        if self.session:
            request["sessionId"] = self.session
        data = json.dumps(request).encode() + b"\0"
        while data:
            data = data[os.write(self.to, data):]
        until = time.monotonic() + self.deadline
        while True:
            answer = self.message(until)
            if answer.get("id") == self.serial:
                if "error" in answer:
                    raise RuntimeError("%s: %s" % (method, answer["error"]))
                return answer["result"]

    def run(self, expression):
        """The value of a JavaScript expression; waits for a promise."""
        done = self.call("Runtime.evaluate", expression=expression, returnByValue=True, awaitPromise=True)
        if "exceptionDetails" in done:
            raise RuntimeError(json.dumps(done["exceptionDetails"]))
        return done["result"].get("value")

    def open(self, path, ready="window.vxReady === true"):
        self.call("Page.navigate", url="file://" + path)
        until = time.monotonic() + self.deadline
        while not self.run(ready):
            if time.monotonic() > until:
                raise RuntimeError("the page is not ready: " + str(self.run("document.body.innerText")))
            time.sleep(0.05)

    def settle(self):
        """Waits until what was asked for has been drawn."""
        self.run("new Promise((f) => requestAnimationFrame(() => requestAnimationFrame(() => f(1))))")

    def click(self, x, y):
        for kind in ("mousePressed", "mouseReleased"):
            self.call("Input.dispatchMouseEvent", type=kind, x=x, y=y, button="left", buttons=1, clickCount=1)

    def drag(self, x0, y0, x1, y1, steps=5):
        mouse = dict(button="left", buttons=1, clickCount=1)
        self.call("Input.dispatchMouseEvent", type="mousePressed", x=x0, y=y0, **mouse)
        for k in range(1, steps + 1):
            self.call("Input.dispatchMouseEvent", type="mouseMoved", x=x0 + (x1 - x0) * k / steps,
                      y=y0 + (y1 - y0) * k / steps, **mouse)
        self.call("Input.dispatchMouseEvent", type="mouseReleased", x=x1, y=y1, **mouse)

    def key(self, key):
        for kind in ("keyDown", "keyUp"):
            text = key if kind == "keyDown" and len(key) == 1 else ""
            self.call("Input.dispatchKeyEvent", type=kind, key=key, text=text)

    def screenshot(self):
        return base64.b64decode(self.call("Page.captureScreenshot", format="png")["data"])


class Picture:
    """The pixels of a PNG of 8 bits per channel without interlace."""

    def __init__(self, png):
        assert png[:8] == b"\x89PNG\r\n\x1a\n"
        at, packed = 8, b""
        while at < len(png):
            length, kind = struct.unpack_from(">I4s", png, at)
            if kind == b"IHDR":
                self.width, self.height, depth, color, _, _, interlace = struct.unpack_from(">2I5B", png, at + 8)
                assert depth == 8 and color in (2, 6) and interlace == 0
                self.channels = 3 if color == 2 else 4
            elif kind == b"IDAT":
                packed += png[at + 8:at + 8 + length]
            at += 12 + length
        raw = zlib.decompress(packed)
        stride, c = self.width * self.channels, self.channels
        self.rows = []
        before = bytearray(stride)
        for y in range(self.height):
            kind = raw[y * (stride + 1)]
            row = bytearray(raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
            for i in range(stride) if kind else ():
                left = row[i - c] if i >= c else 0
                up = before[i]
                corner = before[i - c] if i >= c else 0
                if kind == 1:
                    row[i] = (row[i] + left) & 255
                elif kind == 2:
                    row[i] = (row[i] + up) & 255
                elif kind == 3:
                    row[i] = (row[i] + (left + up) // 2) & 255
                else:
                    p = left + up - corner
                    a, b, d = abs(p - left), abs(p - up), abs(p - corner)
                    row[i] = (row[i] + (left if a <= b and a <= d else up if b <= d else corner)) & 255
            self.rows.append(row)
            before = row

    def at(self, x, y):
        i = int(x) * self.channels
        return tuple(self.rows[int(y)][i:i + 3])
