"""Runs the installed example client and README's Python snapshot example
against oru-dgw-sim.

    run_examples.py <oru-dgw-sim> <oru_example_client> <installed Python path> <work dir>
"""

import os
import pathlib
import shutil
import subprocess
import sys
import time
import uuid

sim_bin, example_bin, python_path, work = sys.argv[1:5]
work = pathlib.Path(work)
shutil.rmtree(work, ignore_errors=True)
work.mkdir(parents=True)
tag = uuid.uuid4().hex[:8]
control, stream = f"oru-example-msg-{tag}", f"oru-example-stream-{tag}"
tmp = os.environ.get("TMPDIR") or "/tmp"

sim = subprocess.Popen([sim_bin, "--message-server", control, "--stream-server", stream, "--alarm-interval", "0",
                        "--quiet"], env=dict(os.environ, XDG_DATA_HOME=str(work), HOME=str(work)),
                       stdout=subprocess.DEVNULL)
try:
    deadline = time.monotonic() + 10
    while not os.path.exists(os.path.join(tmp, stream)):
        assert time.monotonic() < deadline, "oru-dgw-sim did not start"
        time.sleep(0.01)

    video = work / "live.mjpeg"
    run = subprocess.run([example_bin, control, stream, "2", str(video)], capture_output=True, text=True, timeout=30)
    print(run.stdout, run.stderr)
    assert run.returncode == 0
    for line in ("device cam1 'Front door' 192.0.2.11 sn SIM-IPC-0001", "preset 1 'Home'", "preset 3 'Parking'"):
        assert line in run.stdout, line
    assert video.read_bytes().startswith(b"\xff\xd8")

    # README's five lines, as printed there, on this simulator's stream server.
    readme = (pathlib.Path(__file__).parents[2] / "README.md").read_text()
    block = readme.split("A snapshot of camera `cam1` in five lines:\n\n", 1)[1].split("\n\n", 1)[0]
    snippet = "\n".join(line[4:] for line in block.splitlines()).replace('"oru_dgw_stream"', repr(stream))
    assert len(snippet.splitlines()) == 5
    subprocess.run([sys.executable, "-c", snippet], cwd=work, env=dict(os.environ, PYTHONPATH=python_path),
                   check=True, timeout=30)
    assert (work / "snapshot.jpg").read_bytes().startswith(b"\xff\xd8")
    print("example client and Python snapshot example ran")
finally:
    sim.terminate()
    sim.wait(10)
