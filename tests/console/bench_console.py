"""oru-console's cost per live view: four channels read at once straight from
the gateway's stream server (the baseline) and, in the same run, through the
console's MJPEG responses, as a browser reads them. Both see the same stream,
so each picture is matched by its bytes: the difference of arrival times is
the delay the console adds. Headless Chromium shows the page's 2x2 grid of the
same four channels meanwhile and counts the pictures it draws (a picture is
new when its bottom band, which holds the time and frame number, changes); the
console's own count says how many it sent. Prints a Markdown table.

    python3 tests/console/bench_console.py --build build [--fps 25] [--seconds 20]
"""
import argparse
import hashlib
import http.client
import json
import os
import socket
import statistics
import subprocess
import sys
import tempfile
import threading
import time
import urllib.request

CHANNELS = [("cam1", 1), ("cam1", 2), ("cam2", 1), ("nvr1", 1)]


def cpu_seconds(pid):
    fields = open(f"/proc/{pid}/stat").read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def read_direct(stream_server, dev, channel, seen, stop):
    from oru_client.stream import StreamClient
    with StreamClient(stream_server) as s:
        s.open_live(dev_id=dev, channel=channel)
        while not stop.is_set():
            f = s.next_frame()
            if f and f.kind == "data":
                seen[hashlib.blake2b(f.data, digest_size=8).digest()] = time.monotonic()


def read_console(port, dev, channel, seen, stop):
    conn = http.client.HTTPConnection("127.0.0.1", port, timeout=10)
    conn.request("GET", f"/video?devId={dev}&channel={channel}")
    r = conn.getresponse()
    while not stop.is_set():
        length = 0
        while (line := r.readline()) not in (b"\r\n", b""):
            if line.lower().startswith(b"content-length:"):
                length = int(line.split(b":")[1])
        jpeg = r.read(length)
        seen[hashlib.blake2b(jpeg, digest_size=8).digest()] = time.monotonic()
        r.readline()
    conn.close()


# Runs in the page: counts, per grid view, the pictures whose bottom band differs
# from the one drawn before, checked at every animation frame.
COUNT_PICTURES = """
window.counts = [0, 0, 0, 0, 0]; // the last: animation frames looked at
const canvas = document.createElement('canvas');
canvas.width = 640;
canvas.height = 40;
const ctx = canvas.getContext('2d', {willReadFrequently: true});
const last = [];
const look = () => {
  document.querySelectorAll('#views img').forEach((img, i) => {
    if (!img.naturalWidth) return;
    ctx.drawImage(img, 0, 320, 640, 40, 0, 0, 640, 40);
    const px = ctx.getImageData(0, 0, 640, 40).data;
    let sum = 0;
    for (let k = 0; k < px.length; k += 7) sum = (sum * 31 + px[k]) | 0;
    if (sum !== last[i]) window.counts[i]++;
    last[i] = sum;
  });
  window.counts[4]++;
  requestAnimationFrame(look);
};
requestAnimationFrame(look);
"""


def pictures_sent(port):
    """Pictures the console has written to the viewers of each channel."""
    req = urllib.request.Request(f"http://127.0.0.1:{port}/api/stats", data=b"{}")
    stats = json.load(urllib.request.urlopen(req, timeout=10))["value"]
    return [stats.get(f"{dev}/{ch}", {}).get("sent", 0) for dev, ch in CHANNELS]


def open_browser(port):
    from selenium import webdriver
    from selenium.webdriver.chrome.service import Service
    opts = webdriver.ChromeOptions()
    for flag in ("--headless", "--no-sandbox", "--disable-gpu", "--window-size=1400,900"):
        opts.add_argument(flag)
    driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=opts)
    driver.get(f"http://127.0.0.1:{port}/")
    deadline = time.monotonic() + 30
    while not driver.execute_script("return document.querySelectorAll('#tree li.channel').length >= 8"):
        if time.monotonic() > deadline:
            raise RuntimeError("the page shows no channels")
        time.sleep(0.2)
    driver.find_element("id", "grid").click()
    driver.execute_script(COUNT_PICTURES)
    return driver


def main():
    a = argparse.ArgumentParser()
    a.add_argument("--build", default="build")
    a.add_argument("--fps", type=int, default=25)
    a.add_argument("--seconds", type=float, default=20)
    o = a.parse_args()
    sys.path.insert(0, os.path.join(o.build, "python"))
    names = f"bench_console_{os.getpid()}"
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        port = s.getsockname()[1]
    logs = tempfile.TemporaryDirectory()
    sim = subprocess.Popen([os.path.join(o.build, "tools/oru-dgw-sim/oru-dgw-sim"), "--message-server", names + "_m",
                            "--stream-server", names + "_s", "--quiet", "--alarm-interval", "0", "--fps", str(o.fps),
                            "--log-dir", logs.name])
    console = subprocess.Popen([os.path.join(o.build, "tools/oru-console/oru-console"), "--server", names + "_m",
                                "--stream-server", names + "_s", "--listen", f"127.0.0.1:{port}"],
                               stderr=subprocess.DEVNULL)
    try:
        time.sleep(2)  # both up; not part of any figure
        stop = threading.Event()
        direct = [{} for _ in CHANNELS]
        served = [{} for _ in CHANNELS]
        threads = [threading.Thread(target=read_direct, args=(names + "_s", *c, direct[i], stop), daemon=True)
                   for i, c in enumerate(CHANNELS)]
        threads += [threading.Thread(target=read_console, args=(port, *c, served[i], stop), daemon=True)
                    for i, c in enumerate(CHANNELS)]
        for t in threads:
            t.start()
        browser = open_browser(port)
        time.sleep(3)  # warm-up: every stream running
        for d in direct + served:
            d.clear()
        shown0 = browser.execute_script("return window.counts")
        sent0 = pictures_sent(port)
        cpu0 = {p.pid: cpu_seconds(p.pid) for p in (sim, console)}
        time.sleep(o.seconds)
        cpu = {p.pid: cpu_seconds(p.pid) - cpu0[p.pid] for p in (sim, console)}
        got_direct = [dict(d) for d in direct]
        got_served = [dict(d) for d in served]
        sent = [b - a for a, b in zip(sent0, pictures_sent(port))]
        shown = [b - a for a, b in zip(shown0, browser.execute_script("return window.counts"))]
        browser.quit()
        stop.set()
    finally:
        console.terminate()
        sim.terminate()
        console.wait(10)
        sim.wait(10)
        logs.cleanup()
    frames_direct = sum(len(d) for d in got_direct)
    frames_served = sum(len(d) for d in got_served)
    delays = sorted(1000 * (s[h] - d[h]) for d, s in zip(got_direct, got_served) for h in s if h in d)
    per_s = lambda n, base: f"{n / o.seconds:.2f} ({n / max(1, base):.3f})"
    print(f"| {o.fps} fps, {o.seconds:.0f} s | from the gateway (baseline) | HTTP reader | sent to Chromium "
          "| drawn by Chromium |")
    print("|---|---:|---:|---:|---:|")
    for (dev, ch), d, s, n, b in zip(CHANNELS, got_direct, got_served, sent, shown):
        print(f"| {dev}/{ch} frames/s (/ baseline) | {len(d) / o.seconds:.2f} | {per_s(len(s), len(d))} | "
              f"{per_s(n - len(s), len(d))} | {per_s(b, len(d))} |")
    print(f"| Chromium's animation frames/s (the most it can count) | | | | {shown[4] / o.seconds:.2f} |")
    sim_ms = 1000 * cpu[sim.pid] / max(1, frames_direct)
    con_ms = 1000 * cpu[console.pid] / max(1, sum(sent))
    print(f"| console CPU per picture sent / simulator CPU per picture drawn | | {con_ms:.3f} / {sim_ms:.3f} ms "
          f"({con_ms / sim_ms:.3f}) | | |")
    if delays:
        print(f"| added delay gateway to HTTP reader, median / p95 / max ({len(delays)} frames) | | "
              f"{statistics.median(delays):.2f} / {delays[int(0.95 * (len(delays) - 1))]:.2f} / {delays[-1]:.2f} ms"
              " | | |")


if __name__ == "__main__":
    main()
