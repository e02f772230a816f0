#!/usr/bin/env python3
"""Uses the HTML page of `tmx log export` as a person does, in a headless browser.

usage: log_page.py PAGE TEXT [SCREENSHOT_PREFIX]

TEXT is the same log exported as text.
Speaks the WebDriver protocol to chromedriver. Exit code 77 says that it was skipped.
"""
import base64
import json
import pathlib
import shutil
import socket
import subprocess
import sys
import tempfile
import time
import urllib.error
import urllib.request


class Browser:
    def __init__(self):
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            port = probe.getsockname()[1]
        self.driver = subprocess.Popen([shutil.which("chromedriver"), f"--port={port}"],
                                       stdout=subprocess.DEVNULL)
        self.base = f"http://127.0.0.1:{port}"
        options = {"args": ["--headless=new", "--no-sandbox", "--disable-gpu"]}
        for _ in range(100):
            try:
                session = self.call("POST", "/session", {"capabilities": {"alwaysMatch": {
                    "browserName": "chrome", "goog:chromeOptions": options,
                    "goog:loggingPrefs": {"browser": "ALL"}}}})
                break
            except (urllib.error.URLError, ConnectionError):
                time.sleep(0.2)
        else:
            raise RuntimeError("chromedriver does not answer")
        self.base += "/session/" + session["sessionId"]

    def call(self, method, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self.base + path, data, method=method)
        with urllib.request.urlopen(request, timeout=120) as answer:
            return json.load(answer)["value"]

    def run(self, script, *arguments):
        return self.call("POST", "/execute/sync", {"script": script, "args": list(arguments)})

    def find(self, css):
        return next(iter(self.call("POST", "/element", {"using": "css selector",
                                                        "value": css}).values()))

    def cdp(self, command, **parameters):
        self.call("POST", "/goog/cdp/execute", {"cmd": command, "params": parameters})

    def click(self, css):
        self.call("POST", f"/element/{self.find(css)}/click", {})

    def type(self, css, text):
        self.call("POST", f"/element/{self.find(css)}/clear", {})
        self.call("POST", f"/element/{self.find(css)}/value", {"text": text})

    def shot(self, path):
        pathlib.Path(path).write_bytes(base64.b64decode(self.call("GET", "/screenshot")))

    def size(self, width, height):
        self.call("POST", "/window/rect", {"width": width, "height": height})

    def close(self):
        try:
            self.call("DELETE", "")
        finally:
            self.driver.terminate()
            self.driver.wait()


def check(holds, what):
    if not holds:
        sys.exit("failed: " + what)


def saved(browser, folder):
    """The bytes of the one file that a click on the button saves."""
    browser.cdp("Browser.setDownloadBehavior", behavior="allow", downloadPath=folder)
    browser.click("#save")
    for _ in range(100):
        files = list(pathlib.Path(folder).iterdir())
        if files and not any(file.suffix == ".crdownload" for file in files):
            check(len(files) == 1 and files[0].suffix == ".txt", f"other files are saved: {files}")
            return files[0].read_bytes()
        time.sleep(0.1)
    sys.exit("failed: nothing is saved")


def use(browser, page, text, shots):
    browser.size(1100, 900)
    browser.call("POST", "/url", {"url": pathlib.Path(page).resolve().as_uri()})
    current = "return (document.querySelector('.current') || {}).textContent || ''"
    in_view = """const box = document.querySelector('.current').getBoundingClientRect();
        const bar = document.querySelector('header').getBoundingClientRect();
        return box.top >= bar.bottom - 1 && box.top < innerHeight"""
    if shots:
        browser.shot(shots + "-wide.png")

    # Nothing of the log became a part of the page, and nothing is fetched.
    check(browser.run("return document.scripts.length") == 1, "there is a script of the log's")
    check(browser.run("return document.querySelectorAll('main script, main b b, main img').length")
          == 0, "markup of the log became markup of the page")
    check(browser.run("return performance.getEntriesByType('resource').length") == 0,
          "the page fetches something")
    check("<script>alert(1)</script>" in browser.run("return document.body.textContent"),
          "markup of the log is not shown as text")

    # Find the transfer that was sent.
    browser.type("#search", "hkccs")
    check("HKCCS:3:1" in browser.run(current), "the transfer is not found")
    check(browser.run(in_view), "the transfer is not scrolled to")
    check(browser.run("return document.getElementById('count').value").startswith("1 / "),
          "the hits are not counted")
    if shots:
        browser.shot(shots + "-search.png")
    # Jump to its answer.
    browser.click("#received")
    check("received" in browser.run(current), "the answer is not jumped to")
    check("Auftrag empfangen" in browser.run(
        "return document.querySelector('.current').closest('details').textContent"),
        "another message than the answer is jumped to")
    # Search a code, forwards and around.
    browser.type("#search", "0030::")
    first = browser.run(current)
    check("Auftrag empfangen" in first, "the code is not found")
    browser.click("#next")
    check(browser.run(in_view), "the next hit is not scrolled to")
    browser.type("#search", "gibt es nicht")
    check(browser.run("return document.getElementById('count').value") == "nothing found",
          "a search without a hit does not say so")
    # Fold, and find in what is folded.
    opened = "return document.querySelectorAll('details[open]').length"
    browser.click("#fold")
    check(browser.run(opened) == 0, "folding leaves something open")
    if shots:
        browser.shot(shots + "-folded.png")
    browser.type("#search", "hkccs")
    check(browser.run(opened) == 1, "a hit in a folded message is not unfolded")
    browser.click("#unfold")
    check(browser.run(opened) == browser.run("return document.querySelectorAll('details').length"),
          "unfolding leaves something folded")
    browser.click("#sent")
    check("sent" in browser.run(current), "the next sent message is not jumped to")

    # Save all as text, also what is folded.
    for button in ("#unfold", "#fold"):
        browser.click(button)
        with tempfile.TemporaryDirectory() as folder:
            check(saved(browser, folder) == pathlib.Path(text).read_bytes(),
                  "another text than that of the export is saved")
    browser.click("#unfold")

    # On a phone nothing is wider than the screen.
    browser.cdp("Emulation.setDeviceMetricsOverride", width=390, height=844, deviceScaleFactor=2,
                mobile=True)
    browser.run("scrollTo(0, 0)")
    check(browser.run("return document.documentElement.scrollWidth <= 390"),
          "the page is wider than a phone")
    check(browser.run("return parseFloat(getComputedStyle(document.querySelector('.segment'))"
                      ".fontSize) >= 12"), "the text is too small for a phone")
    if shots:
        browser.shot(shots + "-phone.png")
    problems = [entry for entry in browser.call("POST", "/se/log", {"type": "browser"})
                if entry["level"] == "SEVERE"]
    check(not problems, f"the browser complains: {problems}")


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    if not shutil.which("chromedriver"):
        print("skipped: there is no chromedriver")
        sys.exit(77)
    browser = Browser()
    try:
        use(browser, *sys.argv[1:3], sys.argv[3] if len(sys.argv) > 3 else "")
    finally:
        browser.close()
    print("every task was done")


if __name__ == "__main__":
    main()
