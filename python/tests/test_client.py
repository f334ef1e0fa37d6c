"""The Python client's control channel against oru-dgw-sim and against a
silent or closing gateway."""

import os
import socket
import threading
import types
import uuid

import pytest

import oru_client
from oru_client.frames import socket_path
from conftest import wait_until


@pytest.fixture
def client(sim):
    with oru_client.Client(sim.message_server, timeout=5.0) as c:
        yield c


def test_typed_answers(client):
    presets = client.get_presets(dev_id="cam1", channel=1)
    assert isinstance(presets, oru_client.messages.GetPresetRes)
    assert [(p.param_1, p.preset_name) for p in presets.presets] == [(1, "Home"), (2, "Gate"), (3, "Parking")]
    net = client.get_dev_net(dev_id="cam2")
    assert (net.dev_net_info.ip, net.dev_net_info.sub_net_Mask) == ("192.0.2.12", "255.255.255.0")
    assert client.common(dev_id="cam1", channel=1, req_json='{"method":"getDeviceInfo"}').res_json
    assert list(client.get_dev_secret_questions(dev_sn="SIM-IPC-0001", account="admin").questions)


def test_calls_in_flight_together(client):
    futures = [client.request("get_presets", dev_id="nvr1", channel=ch) for ch in (1, 2, 3, 4)]
    assert [len(f.result().presets) for f in futures] == [3, 1, 1, 1]


def test_gateway_error(client):
    with pytest.raises(oru_client.GatewayError) as e:
        client.get_dev_net(dev_id="no-such-device")
    assert e.value.code == 1001 and e.value.answer.error.err_code == 1001
    assert client.get_dev_net(dev_id="no-such-device", check=False).error.err_code == 1001


@pytest.fixture
def silent_gateway():
    """A listening socket that accepts one connection and never answers."""
    name = f"oru-py-silent-{uuid.uuid4().hex[:8]}"
    server = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    server.bind(socket_path(name))
    server.listen()
    accepted = []
    threading.Thread(target=lambda: accepted.append(server.accept()[0]), daemon=True).start()
    yield types.SimpleNamespace(name=name, accepted=accepted)
    for s in accepted:
        s.close()
    server.close()
    os.unlink(socket_path(name))


def test_transport_failures(silent_gateway):
    with pytest.raises(oru_client.NotConnected):
        oru_client.Client(f"oru-py-nobody-{uuid.uuid4().hex[:8]}")
    c = oru_client.Client(silent_gateway.name, timeout=0.2)
    with pytest.raises(oru_client.CallTimeout):
        c.get_presets(dev_id="cam1", channel=1)
    pending = c.request("get_presets", dev_id="cam1", channel=1, timeout=30)
    assert wait_until(lambda: silent_gateway.accepted)
    silent_gateway.accepted[0].close()
    with pytest.raises(oru_client.Disconnected):
        pending.result(10)
    with pytest.raises(oru_client.NotConnected):
        c.get_presets(dev_id="cam1", channel=1)
    c.close()


def test_pushes_by_callback_and_iterator(client):
    seen = []
    client.on_push(lambda push: 1 / 0)  # a failing callback stops nothing
    unsubscribe = client.on_push(seen.append, "searched_devs")
    with client.subscribe(oru_client.MessageType.PushSearchedDevsMsg, timeout=5) as pushes:
        client.search_devs()
        push = next(pushes)
    assert push.name == "searched_devs"
    assert [d.id for d in push.message.devs] == ["cam1", "cam2", "nvr1", "cam3"]
    assert wait_until(lambda: seen) and seen[0].payload == push.payload
    unsubscribe()


def test_exit_of_the_main_client_stops_the_gateway(sim, client):
    with client.subscribe() as pushes:
        client.hello()
        client.exit()
        for _ in pushes:  # ends when the gateway closes the connection
            pass
    assert sim.process.wait(10) == 0
    assert not client.connected
