"""oru-dgw-sim as a real process per test, on server names of its own."""

import os
import socket
import subprocess
import time
import uuid

import pytest

from oru_client.frames import socket_path


def wait_until(condition, timeout=10.0):
    """Polls condition() until it holds; False after timeout seconds."""
    deadline = time.monotonic() + timeout
    while not condition():
        if time.monotonic() > deadline:
            return False
        time.sleep(0.01)
    return True


def accepts(server_name):
    """Whether the local server takes connections: its socket file exists
    a moment before it listens."""
    with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as sock:
        try:
            sock.connect(socket_path(server_name))
            return True
        except OSError:
            return False


class Sim:
    def __init__(self, tmp_path):
        tag = uuid.uuid4().hex[:8]
        self.message_server = f"oru-py-msg-{tag}"
        self.stream_server = f"oru-py-stream-{tag}"
        env = dict(os.environ, XDG_DATA_HOME=str(tmp_path), HOME=str(tmp_path))
        self.process = subprocess.Popen(
            [os.environ["ORU_SIM_BIN"], "--message-server", self.message_server, "--stream-server",
             self.stream_server, "--alarm-interval", "0", "--fps", "20", "--quiet"],
            env=env, stdout=subprocess.DEVNULL)
        if not wait_until(lambda: accepts(self.message_server) and accepts(self.stream_server)):
            self.stop()
            raise RuntimeError("oru-dgw-sim did not start")

    def stop(self):
        if self.process.poll() is None:
            self.process.terminate()
        self.process.wait(10)


@pytest.fixture
def sim(tmp_path):
    s = Sim(tmp_path)
    yield s
    s.stop()
