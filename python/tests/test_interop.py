"""The Python client beside the C++ library: same pushes from one gateway,
same bytes for the same requests."""

import datetime
import os
import socket
import subprocess
import threading
import uuid

import oru_client
from oru_client.frames import FrameSplitter, socket_path

PROBE = os.environ.get("ORU_PROBE_BIN")


def test_both_clients_see_the_same_pushes(sim):
    wanted = (oru_client.MessageType.PushSearchedDevsMsg, oru_client.MessageType.PushBroadcastSearchedDevsMsg)
    with oru_client.Client(sim.message_server) as client, client.subscribe(*wanted, timeout=10) as pushes:
        probe = subprocess.Popen([PROBE, "pushes", sim.message_server], stdout=subprocess.PIPE, text=True)
        assert probe.stdout.readline().strip() == "connected"
        client.search_devs()  # the probe answers the first push with a broadcast search
        ours = {p.type: p.payload for p in (next(pushes), next(pushes))}
        out, _ = probe.communicate(timeout=20)
    theirs = {}
    for line in out.splitlines():
        code, _, payload = line.partition(" ")
        theirs.setdefault(int(code), bytes.fromhex(payload))
    assert probe.returncode == 0
    assert set(ours) == set(wanted)
    assert {t: theirs[t] for t in wanted} == ours


class Recorder:
    """A gateway stand-in on one name that keeps every byte of its one connection."""

    def __init__(self, prefix):
        self.name = f"{prefix}-{uuid.uuid4().hex[:8]}"
        self.server = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.server.bind(socket_path(self.name))
        self.server.listen()
        self.data = bytearray()
        self.thread = threading.Thread(target=self._record, daemon=True)
        self.thread.start()

    def _record(self):
        conn, _ = self.server.accept()
        while chunk := conn.recv(65536):
            self.data += chunk
        conn.close()

    def frames(self):
        self.thread.join(10)
        self.server.close()
        os.unlink(socket_path(self.name))
        splitter = FrameSplitter()
        splitter.feed(self.data)
        return list(splitter.frames()), bytes(self.data)


def python_requests(control, stream):
    c = oru_client.Client(control, timeout=0.5, request_id_prefix="probe")
    s = oru_client.StreamClient(stream)
    c.hello()
    c.request("get_dev_net", dev_id="cam1")
    c.request("get_presets", dev_id="cam1", channel=2)
    c.request("get_dev_platform_tav", dev_id="nvr1")
    c.request("set_osd", dev_id="cam1", channel=1, osd="Gate 1")
    c.request("modify_dev_name", dev_id="cam2", dev_name="Yard")
    c.request("common", dev_id="cam1", channel=1, req_json='{"method":"getDeviceInfo"}')
    c.request("get_dev_secret_questions", dev_sn="SIM-IPC-0001", account="admin")
    c.search_devs()
    c.reboot_devs(devs_id=["cam1", "cam2"])
    c.set_devs_time(devs_id=["cam1"], time=datetime.datetime(2024, 5, 1, 10, 0, 0, 250000))
    c.restore_factory(devs_id=["nvr1"], simple=True)
    c.get_dev_channels_info("cam1")
    c.saas_logout()
    c.exit()
    s.open_live(dev_id="cam1", channel=1, param_2=1)
    s.skip_by_offset_time(30)
    s.skip_to_time(datetime.datetime(2024, 5, 1, 10, 5))
    s.set_speed("2X")
    s.control(s.PAUSE)
    c.close()
    s.close()


def test_frames_are_byte_identical():
    recorded = {}
    for side in ("cpp", "python"):
        control, stream = Recorder(f"oru-py-{side}-msg"), Recorder(f"oru-py-{side}-stream")
        if side == "cpp":
            assert subprocess.run([PROBE, "requests", control.name, stream.name], timeout=30).returncode == 0
        else:
            python_requests(control.name, stream.name)
        recorded[side] = (control.frames(), stream.frames())
    (cpp_control, cpp_stream), (py_control, py_stream) = recorded["cpp"], recorded["python"]
    assert len(cpp_control[0]) == 15 and len(cpp_stream[0]) == 5
    assert py_control[0] == cpp_control[0] and py_stream[0] == cpp_stream[0]
    assert py_control[1] == cpp_control[1] and py_stream[1] == cpp_stream[1]
