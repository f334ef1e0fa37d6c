"""oru-console against oru-dgw-sim, driven in headless Chromium."""
import json
import os
import socket
import subprocess
import tempfile
import unittest
import urllib.error
import urllib.request

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import Select, WebDriverWait

ALARM_INTERVAL = 3


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


class ConsoleTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.tmp = tempfile.TemporaryDirectory()
        names = f"console_{os.getpid()}"
        cls.servers = ["--server", names + "_m", "--stream-server", names + "_s"]
        cls.sim = subprocess.Popen([os.environ["ORU_SIM_BIN"], "--message-server", names + "_m", "--stream-server",
                                    names + "_s", "--log-dir", cls.tmp.name, "--quiet", "--alarm-interval",
                                    str(ALARM_INTERVAL)])
        cls.port = free_port()
        cls.url = f"http://127.0.0.1:{cls.port}/"
        cls.console = subprocess.Popen([os.environ["ORU_CONSOLE_BIN"], *cls.servers, "--listen",
                                        f"127.0.0.1:{cls.port}"])
        opts = webdriver.ChromeOptions()
        for flag in ("--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                     "--disable-background-networking", "--disable-component-update", "--disable-sync",
                     "--window-size=1400,900", f"--user-data-dir={cls.tmp.name}/chromium"):
            opts.add_argument(flag)
        cls.driver = webdriver.Chrome(service=Service(os.environ["ORU_CHROMEDRIVER"]), options=opts)
        cls.wait = WebDriverWait(cls.driver, 30)
        cls.wait.until(lambda d: cls.reachable())
        cls.driver.get(cls.url)

    @classmethod
    def tearDownClass(cls):
        cls.driver.quit()
        for p in (cls.console, cls.sim):
            p.terminate()
            p.wait(10)
        cls.tmp.cleanup()

    @classmethod
    def reachable(cls):
        try:
            return urllib.request.urlopen(cls.url, timeout=2).status == 200
        except OSError:
            return False

    def status_with(self, header, value):
        req = urllib.request.Request(self.url + "api/presets", data=b"{}", headers={header: value})
        try:
            return urllib.request.urlopen(req, timeout=5).status
        except urllib.error.HTTPError as e:
            return e.code

    def js(self, script):
        return self.driver.execute_script(script)

    def test_foreign_host_and_origin_are_refused(self):
        self.assertEqual(self.status_with("Host", f"evil.example:{self.port}"), 403)
        self.assertEqual(self.status_with("Origin", "http://evil.example"), 403)
        self.assertEqual(self.status_with("Origin", f"http://127.0.0.1:{self.port}"), 200)

    def test_z_gateway_gone_shows_banner(self):
        self.wait.until(lambda d: d.find_elements(By.CSS_SELECTOR, "#tree li.sel"))
        self.sim.terminate()
        self.sim.wait(10)
        self.wait.until(lambda d: d.find_element(By.ID, "banner").is_displayed())

    def test_tree_live_view_and_events(self):
        self.wait.until(lambda d: len(d.find_elements(By.CSS_SELECTOR, "#tree > li")) == 4)
        # cam1 2, cam2 1, nvr1 4 and cam3 1 channel, from the pushed lists.
        self.wait.until(lambda d: len(d.find_elements(By.CSS_SELECTOR, "#tree li.channel")) == 8)
        size = "const i = document.querySelector('#views img'); return [i.naturalWidth, i.naturalHeight];"
        self.wait.until(lambda d: self.js(size) == [640, 360])
        grab = ("const i = document.querySelector('#views img'); const c = document.createElement('canvas');"
                "c.width = 640; c.height = 360; c.getContext('2d').drawImage(i, 0, 0); return c.toDataURL();")
        first = self.js(grab)
        self.wait.until(lambda d: self.js(grab) != first)
        # Every second alarm comes with a face detection.
        for kind in ("alarm", "face"):
            WebDriverWait(self.driver, ALARM_INTERVAL * 4).until(
                lambda d: d.find_elements(By.CSS_SELECTOR, f"#events li.{kind}"))
        self.driver.save_screenshot(os.path.join(os.environ["ORU_SHOTS"], "console.png"))

    def test_ptz_hold_and_presets(self):
        self.wait.until(lambda d: d.find_elements(By.CSS_SELECTOR, "#tree li.sel"))
        for op, axis in ((3, "pan"), (8, "zoom")):  # right, zoom in
            start = self.ptz_position()[axis]
            arrow = self.driver.find_element(By.CSS_SELECTOR, f"#pad button[data-op='{op}']")
            ptz = '{"devId":"cam1","channel":1,"operation":%d,"action":%d} → code 0'
            ActionChains(self.driver).click_and_hold(arrow).perform()
            try:
                self.wait.until(lambda d: ptz % (op, 0) in d.find_element(By.ID, "inspector").text)
                self.wait.until(lambda d: self.ptz_position()[axis] != start)
            finally:
                ActionChains(self.driver).release(arrow).perform()
            self.wait.until(lambda d: ptz % (op, 1) in d.find_element(By.ID, "inspector").text)
        self.driver.find_element(By.ID, "presetName").send_keys("from-page")
        self.driver.find_element(By.ID, "presetAdd").click()
        self.wait.until(lambda d: "from-page" in d.find_element(By.ID, "presets").text)
        self.assertIn("from-page", self.oru_client("presets", "--dev", "cam1", "--json"))

    def oru_client(self, *args):
        return subprocess.run([os.environ["ORU_CLIENT_BIN"], *args, *self.servers], capture_output=True, text=True,
                              timeout=30).stdout

    def ptz_position(self):
        """cam1/1's pan, tilt and zoom as the simulator reports them to oru-client."""
        return json.loads(self.oru_client("common", "--dev", "cam1", "--channel", "1", "--json",
                                          '{"method":"getPtzPosition"}'))

    def test_device_status_in_tree_and_events(self):
        self.wait.until(lambda d: d.find_elements(By.CSS_SELECTOR, "#tree > li[data-dev-id='cam2']"))
        # A reboot takes cam2 offline for 1.5 s: watch the tree rather than poll it.
        self.js("window.seenOff = false; new MutationObserver(() => { window.seenOff ||= "
                "!!document.querySelector(\"#tree > li[data-dev-id='cam2'].off\"); })"
                ".observe(document.getElementById('tree'), {subtree: true, childList: true, attributes: true});")
        self.oru_client("reboot", "--dev", "cam2")
        events = lambda d: d.find_element(By.ID, "events").text
        for status in (0, 1):
            self.wait.until(lambda d: '"devId":"cam2","status":%d' % status in events(d))
        self.assertTrue(self.js("return window.seenOff"))
        self.assertFalse(self.driver.find_elements(By.CSS_SELECTOR, "#tree > li[data-dev-id='cam2'].off"))

    def test_rates_snapshot_and_grid(self):
        self.wait.until(lambda d: "fps" in d.find_element(By.CSS_SELECTOR, "#views .rate").text)
        snap = self.driver.find_element(By.CSS_SELECTOR, "#views a.snapshot").get_attribute("href")
        with urllib.request.urlopen(snap, timeout=10) as r:
            self.assertEqual(r.headers["Content-Type"], "image/jpeg")
            self.assertEqual(r.read(2), b"\xff\xd8")
        self.driver.find_element(By.ID, "grid").click()
        sizes = "return [...document.querySelectorAll('#views img')].map(i => i.naturalWidth);"
        feeds = "return [...document.querySelectorAll('#views .rate')].map(r => r.dataset.feed);"
        try:
            self.wait.until(lambda d: self.js(sizes) == [640] * 4)
            self.assertEqual(self.js(feeds), ["cam1/1", "cam1/2", "cam2/1", "nvr1/1"])
            self.wait.until(lambda d: all("fps" in r.text for r in d.find_elements(By.CSS_SELECTOR, "#views .rate")))
        finally:
            self.driver.find_element(By.ID, "grid").click()

    def test_name_osd_presets_and_filter(self):
        self.wait.until(lambda d: d.find_elements(By.CSS_SELECTOR, "#tree li.sel"))
        for field, button, text in (("devName", "nameSave", "Renamed door"), ("osd", "osdSave", "Gate 7")):
            self.driver.find_element(By.ID, field).clear()
            self.driver.find_element(By.ID, field).send_keys(text)
            self.driver.find_element(By.ID, button).click()
        self.wait.until(lambda d: "Renamed door" in d.find_element(By.ID, "tree").text)
        self.wait.until(lambda d: '"osd":"Gate 7"} → code 0' in d.find_element(By.ID, "inspector").text)
        self.wait.until(lambda d: d.find_elements(By.CSS_SELECTOR, "#presets li button"))
        self.driver.find_element(By.CSS_SELECTOR, "#presets li button").click()  # call the first
        self.wait.until(lambda d: '"oper":2} → code 0' in d.find_element(By.ID, "inspector").text)
        count = len(self.driver.find_elements(By.CSS_SELECTOR, "#presets li"))
        self.driver.find_element(By.CSS_SELECTOR, "#presets li:last-child button:last-child").click()
        self.wait.until(lambda d: len(d.find_elements(By.CSS_SELECTOR, "#presets li")) == count - 1)
        WebDriverWait(self.driver, ALARM_INTERVAL * 3).until(
            lambda d: d.find_elements(By.CSS_SELECTOR, "#events li.alarm"))
        self.driver.find_element(By.ID, "filter").send_keys("no-such-event")
        # Events that arrive later are filtered too.
        count = len(self.driver.find_elements(By.CSS_SELECTOR, "#events li"))
        WebDriverWait(self.driver, ALARM_INTERVAL * 3).until(
            lambda d: len(d.find_elements(By.CSS_SELECTOR, "#events li")) > count)
        self.assertTrue(all(not li.is_displayed() for li in self.driver.find_elements(By.CSS_SELECTOR, "#events li")))
        self.driver.find_element(By.ID, "filter").clear()
        self.driver.find_element(By.ID, "filter").send_keys(" ")

    def test_recordings_and_playback(self):
        self.wait.until(lambda d: d.find_elements(By.CSS_SELECTOR, "#tree li.sel"))
        self.driver.find_element(By.ID, "recSearch").click()
        self.wait.until(lambda d: d.find_elements(By.CSS_SELECTOR, "#timeline .rec"))
        segments = self.driver.find_elements(By.CSS_SELECTOR, "#timeline .rec")
        # segments[0] may be clipped by the span start; segments[1] is whole.
        ActionChains(self.driver).move_to_element(segments[1]).click().perform()
        self.wait.until(lambda d: '"start":' in d.find_element(By.ID, "inspector").text)
        progress = lambda d: d.find_element(By.ID, "progress").text
        self.wait.until(progress)
        first = progress(self.driver)
        self.wait.until(lambda d: progress(d) > first)
        self.wait.until(lambda d: self.js("return document.getElementById('playImg').naturalWidth") == 640)
        self.driver.find_element(By.ID, "pause").click()
        self.driver.find_element(By.ID, "play").click()
        Select(self.driver.find_element(By.ID, "speed")).select_by_visible_text("2X")
        ActionChains(self.driver).move_to_element(segments[-1]).click().perform()
        later = segments[-1].get_attribute("title").split("_")[2]  # yyyyMMdd-hhmmss of that file
        start = f"{later[:4]}-{later[4:6]}-{later[6:8]} {later[9:11]}:{later[11:13]}"
        self.wait.until(lambda d: progress(d) >= start)
        for req in ('"ctrl":0} → code 0', '"ctrl":1} → code 0', '"speed":"2X"} → code 0', '"seek":'):
            self.assertIn(req, self.driver.find_element(By.ID, "inspector").text)

    def test_token_off_loopback(self):
        port = free_port()
        console = [os.environ["ORU_CONSOLE_BIN"], *self.servers, "--listen", f"127.0.0.2:{port}"]
        self.assertEqual(subprocess.run(console, capture_output=True, timeout=30).returncode, 2)
        guarded = subprocess.Popen(console + ["--token", "s3cret"])
        try:
            url = f"http://127.0.0.2:{port}/"
            WebDriverWait(self.driver, 30).until(lambda d: self.status(url + "?token=s3cret") == 200)
            self.assertEqual(self.status(url), 403)
            self.assertEqual(self.status(url + "?token=wrong"), 403)
        finally:
            guarded.terminate()
            guarded.wait(10)

    def test_open_starts_the_browser(self):
        opened = os.path.join(self.tmp.name, "opened")
        browser = os.path.join(self.tmp.name, "browser")
        with open(browser, "w") as f:
            f.write(f'#!/bin/sh\necho "$1" > {opened}.part && mv {opened}.part {opened}\n')
        os.chmod(browser, 0o755)
        port = free_port()
        console = subprocess.Popen([os.environ["ORU_CONSOLE_BIN"], *self.servers, "--listen", f"127.0.0.1:{port}",
                                    "--open"], env={**os.environ, "BROWSER": browser})
        try:
            WebDriverWait(self.driver, 30).until(lambda d: os.path.exists(opened))
            with open(opened) as f:
                self.assertEqual(f.read().strip(), f"http://127.0.0.1:{port}/")
        finally:
            console.terminate()
            console.wait(10)

    def status(self, url):
        try:
            return urllib.request.urlopen(url, timeout=5).status
        except urllib.error.HTTPError as e:
            return e.code
        except OSError:
            return None

    def test_refused_request_shows_its_code(self):
        self.js("api('presets', {devId: 'no-such-dev', channel: 1});")
        self.wait.until(lambda d: "code 1001" in d.find_element(By.CSS_SELECTOR, "#inspector li.err").text)


if __name__ == "__main__":
    unittest.main(verbosity=2)
