"""The main client's side of the control channel."""

import collections
import concurrent.futures
import datetime
import itertools
import logging
import os
import queue
import select
import socket
import threading
import time
import uuid

from google.protobuf.message import DecodeError

from . import oru_message_pb2 as pb
from .frames import FrameSplitter, MessageType as T, encode_frame, socket_path

DATE_TIME_FORMAT = "%Y-%m-%d %H:%M:%S"


class CallError(Exception):
    """A call that ended without a successful answer."""


class NotConnected(CallError, ConnectionError):
    """There is no connection to the gateway; nothing was sent."""


def connect_socket(server_name, timeout, failure):
    """A blocking Unix socket connected to the local server `server_name`
    within `timeout` seconds; NotConnected, starting with `failure`, if none
    answers."""
    sock = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    sock.settimeout(timeout)
    try:
        sock.connect(socket_path(server_name))
    except OSError as e:
        sock.close()
        raise NotConnected(f"{failure} on '{server_name}': {e.strerror or e}") from None
    sock.settimeout(None)
    return sock


class Disconnected(CallError, ConnectionError):
    """The connection closed while the call waited for its answer."""


class CallTimeout(CallError, TimeoutError):
    """The request was sent but no answer came in time."""


class GatewayError(CallError):
    """The gateway answered with a non-zero error code."""

    def __init__(self, what, code, text, answer):
        super().__init__(f"{what}: the gateway answered error {code}" + (f" ({text})" if text else ""))
        self.code = code
        self.text = text
        self.answer = answer


def date_time_text(value):
    """The wire's date-time text, "yyyy-MM-dd hh:mm:ss.zzz"."""
    return value.strftime(DATE_TIME_FORMAT) + ".%03d" % (value.microsecond // 1000)


def parse_date_time(text):
    """A wire date-time text as a naive datetime; None when it does not parse."""
    try:
        return datetime.datetime.strptime(text, DATE_TIME_FORMAT + ".%f")
    except ValueError:
        return None


def build_message(cls, fields):
    """A protobuf message from keyword fields. Datetimes become wire text; for a
    message with a `channel_id`, plain `dev_id` and `channel` go into it."""
    fields = {k: date_time_text(v) if isinstance(v, datetime.datetime) else v for k, v in fields.items()}
    names = cls.DESCRIPTOR.fields_by_name
    if "channel_id" in names and "channel_id" not in fields:
        channel = {k: fields.pop(k) for k in ("dev_id", "channel") if k in fields and k not in names}
        if channel:
            fields["channel_id"] = channel
    return cls(**fields)


# name: (request type, request message, answer type, answer message, what)
REQUESTS = {
    "init_dgw": (T.InitDgwReq, pb.InitDgwReq, T.InitDgwRes, pb.Response, "init gateway"),
    "get_dev_net": (T.GetDevNetReq, pb.DevNetGetReq, T.GetDevNetRes, pb.DevNetGetRes, "get device network"),
    "set_dev_net": (T.SetDevNetReq, pb.DevNetSetReq, T.SetDevNetRes, pb.DevNetSetRes, "set device network"),
    "get_dev_platform": (T.GetDevPlatformReq, pb.DevPlatformGetReq, T.GetDevPlatformRes, pb.DevPlatformGetRes,
                         "get device platform"),
    "set_dev_platform": (T.SetDevPlatformReq, pb.DevPlatformSetReq, T.SetDevPlatformRes, pb.Response,
                         "set device platform"),
    "get_dev_platform_tav": (T.GetDevPlatformTavReq, pb.DeviceReq, T.GetDevPlatformTavRes, pb.DevPlatform_tavGetRes,
                             "get device platform_tav"),
    "set_dev_platform_tav": (T.SetDevPlatformTavReq, pb.DevPlatform_tavSetReq, T.SetDevPlatformTavRes, pb.Response,
                             "set device platform_tav"),
    "import_dev_cert": (T.ImportDevCertReq, pb.DevCertImportReq, T.ImportDevCertRes, pb.Response,
                        "import device certificate"),
    "search_video_recordings": (T.SearchVideoRecordingsReq, pb.SearchVideoRecordingsReq, T.SearchVideoRecordingsRes,
                                pb.SearchVideoRecordingsRes, "search recordings"),
    "get_rtsp_url": (T.GetRtspUrlReq, pb.GetRtspUrlReq, T.GetRtspUrlRes, pb.GetRtspUrlRes, "get RTSP address"),
    "ptz_ctrl": (T.PTZCtrlReq, pb.PTZCtrlReq, T.PTZCtrlRes, pb.PTZCtrlRes, "PTZ control"),
    "get_presets": (T.GetPresetsReq, pb.ChannelReq, T.GetPresetsRes, pb.GetPresetRes, "get presets"),
    "oper_preset": (T.OperPresetReq, pb.PresetOperReq, T.OperPresetRes, pb.PresetOperRes, "preset operation"),
    "get_patrols": (T.GetPatrolsReq, pb.ChannelReq, T.GetPatrolsRes, pb.GetPatrolRes, "get patrols"),
    "oper_patrol": (T.OperPatrolReq, pb.PatrolOperReq, T.OperPatrolRes, pb.PatrolOperRes, "patrol operation"),
    "oper_patrol_preset": (T.OperPatrolPresetReq, pb.PatrolPresetOperReq, T.OperPatrolPresetRes,
                           pb.PatrolPresetOperRes, "patrol stop operation"),
    "set_patrol_presets": (T.SetPatrolPresetsReq, pb.SetPatrolPresetsReq, T.SetPatrolPresetsRes, pb.Response,
                           "set patrol stops"),
    "set_osd": (T.SetOSDReq, pb.SetOSDReq, T.DevConfigRes, pb.Response, "set OSD"),
    "modify_dev_name": (T.ModifyDevNameReq, pb.ModifyDevNameReq, T.DevConfigRes, pb.Response, "rename device"),
    "add_face": (T.AddFaceReq, pb.AddFaceReq, T.AddFaceRes, pb.Response, "add face"),
    "get_faces": (T.GetFacesReq, pb.GetFacesReq, T.GetFacesRes, pb.GetFacesRes, "get faces"),
    "del_face": (T.DelFaceReq, pb.DelFaceReq, T.DelFaceRes, pb.Response, "delete face"),
    "get_face_detect_records": (T.GetFaceDetectRecordsReq, pb.GetFaceDetectRecordsReq, T.GetFaceDetectRecordsRes,
                                pb.GetFaceDetectRecordsRes, "get face-detection records"),
    "check_dev_upgrade": (T.CheckDevUpgradeReq, pb.DevUpgradeReq, T.CheckDevUpgradeRes, pb.DevUpgradeRes,
                          "check upgrade"),
    "get_dev_upgrade_progress": (T.GetDevUpgradeProgressReq, pb.DeviceReq, T.GetDevUpgradeProgressRes,
                                 pb.DevUpgradeRes, "get upgrade progress"),
    "modify_dev_account": (T.ModifyDevAccountReq, pb.ModifyDevAccountReq, T.ModifyDevAccountRes, pb.Response,
                           "modify account"),
    "talk_oper": (T.TalkOperReq, pb.TalkOperReq, T.TalkOperRes, pb.Response, "talk"),
    "speak_oper": (T.SpeakOperReq, pb.TalkOperReq, T.SpeakOperRes, pb.Response, "speak"),
    "common": (T.CommonReq, pb.CommonReq, T.CommonRes, pb.CommonRes, "common request"),
    # Answered by the transfer's first progress report.
    "upload_file": (T.UploadFileReq, pb.UploadFileReq, T.PushFileTransferProgress, pb.FileTransferProgress,
                    "upload file"),
    "download_file": (T.DownloadFileReq, pb.DownloadFileReq, T.PushFileTransferProgress, pb.FileTransferProgress,
                      "download file"),
    # Results sent to every connection, matched by the device's serial number.
    "activate_dev": (T.ActivateDevsCmd, pb.DevActivateCmd, T.ActivateDevRes, pb.ActivateDevRes, "activate device"),
    "get_dev_secret_questions": (T.GetDevSecretQuestionsCmd, pb.DevSecretQuestionsGetReq, T.GetDevSecretQuestionsRes,
                                 pb.DevSecretQuestionsGetRes, "get secret questions"),
    "reset_dev_pwd": (T.ResetDevPwdCmd, pb.DevPwdResetReq, T.ResetDevPwdRes, pb.ResetDevPwdRes, "reset password"),
}

# name: (type, payload message; None for no payload, str for one UTF-8 text)
COMMANDS = {
    "set_search_devs_config": (T.SetSearchDevsConfigCmd, pb.SetSearchDevsConfigCmd),
    "search_devs": (T.SearchDevsCmd, None),
    "broadcast_search_devs": (T.BroadcastSearchDevsCmd, None),
    "set_managed_devs": (T.SetManagedDevsCmd, pb.SetManagedDevsCmd),
    "add_managed_devs": (T.AddManagedDevsCmd, pb.AddManagedDevsCmd),
    "del_managed_devs": (T.DelManagedDevsCmd, pb.DevList),
    "edit_managed_devs": (T.EditManagedDevsCmd, pb.EditManagedDevsCmd),
    "set_devs_time": (T.SetDevsTimeCmd, pb.DevTimingCmd),
    "reboot_devs": (T.RebootDevsCmd, pb.DevList),
    "restore_factory": (T.RestoreFactoryCmd, pb.RestoreFactoryCmd),
    "reconnect_devs": (T.ReconnectDevsCmd, pb.DevList),
    "activate_devs": (T.ActivateDevsCmd, pb.DevActivateCmd),
    "get_dev_channels_info": (T.GetDevChannelsInfoCmd, str),
    "clear_face_temperature_count": (T.ClearFaceTemperatureCountCmd, str),
    "set_saas_token": (T.SetSaasTokenCmd, str),
    "saas_logout": (T.SaasLogoutCmd, None),
    "open_dev_remote_config": (T.OpenDevRemoteConfigReq, pb.OpenRemoteConfigReq),
    "do_dev_upgrade": (T.DoDevUpgradeCmd, pb.DevUpgradeReq),
}

# type: (name, payload message; str for UTF-8 text)
PUSHES = {
    T.PushSearchedDevsMsg: ("searched_devs", pb.SearchedDevsPush),
    T.PushBroadcastSearchedDevsMsg: ("broadcast_searched_devs", pb.SearchedDevsPush),
    T.PushDevStatusMsg: ("dev_status", pb.DevStatusPush),
    T.PushDevP2PSuccess: ("dev_p2p_success", str),
    T.PushDevInfo: ("dev_info", pb.DevInfoFromDgw),
    T.PushDevTempUserCodeMsg: ("dev_temp_user_codes", pb.DevTempUserCodePush),
    T.PushDevChannelsInfoMsg: ("dev_channels_info", pb.DevChannelsInfoPush),
    T.PushFaceDetectMsg: ("face_detect", pb.FaceDetectLiveInfo),
    T.PushFaceTemperatureCountMsg: ("face_temperature_count", pb.FaceCountInfo),
    T.PushAlarmMsg: ("alarm", pb.AlarmInfo),
    T.PushTlvData: ("tlv_data", pb.TlvInfo),
    T.UploadUpgradeFileFinished: ("upload_upgrade_file_finished", str),
    T.PushTalkEventMsg: ("talk_event", pb.TalkEventPush),
    T.PushSpeakEventMsg: ("speak_event", pb.TalkEventPush),
    T.ActivateDevRes: ("activate_result", pb.ActivateDevRes),
    T.GetDevSecretQuestionsRes: ("secret_questions", pb.DevSecretQuestionsGetRes),
    T.ResetDevPwdRes: ("reset_password_result", pb.ResetDevPwdRes),
    T.PushFileTransferProgress: ("file_transfer_progress", pb.FileTransferProgress),
}

Push = collections.namedtuple("Push", "type name message payload")
Push.__doc__ = """A message the gateway sent unasked: its MessageType, its name (e.g.
"alarm"), the decoded message (a protobuf message, or str for the text pushes)
and the raw payload."""


def _result(answer):
    """(error code, error text) of an answer."""
    if answer.DESCRIPTOR.fields_by_name.get("error") is not None:
        return answer.error.err_code, answer.error.err_msg
    if answer.DESCRIPTOR.fields_by_name.get("err_code") is not None:
        return answer.err_code, ""
    return 0, ""


class _Waiting:
    def __init__(self, what, answer_type, answer_cls, key_field, key, deadline, check):
        self.future = concurrent.futures.Future()
        self.what, self.answer_type, self.answer_cls = what, answer_type, answer_cls
        self.key_field, self.key, self.deadline, self.check = key_field, key, deadline, check


class PushSubscription:
    """Pushes as an iterator, from the moment of subscribing. Iteration ends
    when the connection closes or the subscription is closed; waiting longer
    than `timeout` seconds for the next push raises CallTimeout."""

    _END = object()

    def __init__(self, client, names, timeout):
        self._client, self._names, self.timeout = client, names, timeout
        self._queue = queue.Queue()

    def _offer(self, push):
        if not self._names or push.name in self._names or push.type in self._names:
            self._queue.put(push)

    def get(self, timeout=None):
        """The next push; waits up to `timeout` (default: the subscription's)."""
        try:
            item = self._queue.get(timeout=self.timeout if timeout is None else timeout)
        except queue.Empty:
            raise CallTimeout("no push within %s s" % (self.timeout if timeout is None else timeout)) from None
        if item is self._END:
            self._queue.put(item)
            raise StopIteration
        return item

    def __iter__(self):
        return self

    def __next__(self):
        return self.get()

    def close(self):
        self._client._unsubscribe(self)
        self._queue.put(self._END)

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()


class Client:
    """One control connection to a gateway.

    Requests are methods named after the C++ Client's calls in snake_case
    (get_presets, set_dev_net, ...). They take the request message's fields as
    keyword arguments (the request id is filled in) and return the answer
    message, or raise GatewayError, CallTimeout, Disconnected or NotConnected.
    `request(name, **fields)` sends one without waiting and returns a Future.
    Commands (search_devs, reboot_devs, ...) get no answer.

    Connecting does not make this the main client: hello() does, and the
    gateway closes its servers for good when its main client leaves.
    """

    def __init__(self, server_name="oru_dgw_message", timeout=5.0, connect_timeout=3.0, request_id_prefix=None):
        self.timeout = timeout
        self._prefix = request_id_prefix or uuid.uuid4().hex[:8]
        self._ids = itertools.count(1)
        self._lock = threading.Lock()
        self._send_lock = threading.Lock()
        self._waiting = []
        self._callbacks = []
        self._subscriptions = []
        self._connected = False
        self._sock = connect_socket(server_name, connect_timeout, "no gateway listening")
        self._connected = True
        # Wakes the reader when a call with an earlier deadline is added.
        self._wake_r, self._wake_w = os.pipe()
        self._reader = threading.Thread(target=self._read, name="oru_client reader", daemon=True)
        self._reader.start()

    # ---- connection ----

    @property
    def connected(self):
        return self._connected

    def close(self):
        """Closes the connection; calls still waiting fail with Disconnected."""
        if self._connected:
            self._connected = False
            try:
                self._sock.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass
        if threading.current_thread() is not self._reader:
            self._reader.join()
            with self._lock:
                if self._wake_w is not None:
                    os.close(self._wake_r)
                    os.close(self._wake_w)
                    self._wake_r = self._wake_w = None

    def __del__(self):
        if getattr(self, "_reader", None) is not None:
            self.close()

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def hello(self):
        """Become the main client."""
        self.send_frame(T.MainClientHello)

    def exit(self):
        """Leave as the main client: the gateway closes its servers for good."""
        self.send_frame(T.MainClientExit)

    def send_frame(self, msg_type, payload=None):
        """One frame in one write (the gateway's reader expects no less)."""
        if not self._connected:
            raise NotConnected("not connected to the gateway")
        with self._send_lock:
            try:
                self._sock.sendall(encode_frame(msg_type, payload))
            except OSError as e:
                raise Disconnected(f"sending failed: {e}") from None

    # ---- requests ----

    def next_request_id(self):
        return "%s-%d" % (self._prefix, next(self._ids))

    def request(self, name, *, timeout=None, check=True, **fields):
        """Sends request `name` and returns a concurrent.futures.Future of its
        answer. With check=False an answer with an error code is returned, not
        raised."""
        req_type, req_cls, answer_type, answer_cls, what = REQUESTS[name]
        key_field = "request_id" if "request_id" in req_cls.DESCRIPTOR.fields_by_name else "dev_sn"
        if key_field == "request_id":
            fields["request_id"] = self.next_request_id()
        if name == "activate_dev" and "dev_sn" in fields:
            fields["devs_sn"] = [fields.pop("dev_sn")]
        message = build_message(req_cls, fields)
        if name == "activate_dev":
            key = message.devs_sn[0] if len(message.devs_sn) == 1 else None
            if key is None:
                raise ValueError("activate_dev takes exactly one serial number in devs_sn")
        else:
            key = getattr(message, key_field)
        timeout = self.timeout if timeout is None else timeout
        waiting = _Waiting(what, answer_type, answer_cls, key_field, key, time.monotonic() + timeout, check)
        if not self._connected:
            waiting.future.set_exception(NotConnected(f"{what}: not connected to the gateway"))
            return waiting.future
        with self._lock:
            self._waiting.append(waiting)
        with self._lock:
            if self._wake_w is not None:
                os.write(self._wake_w, b"w")
        try:
            self.send_frame(req_type, message.SerializeToString())
        except CallError as e:
            self._finish(waiting, exception=e)
        return waiting.future

    def command(self, name, *args, **fields):
        """Sends command `name` (no answer)."""
        cmd_type, cls = COMMANDS[name]
        if cls is None:
            payload = None
        elif cls is str:
            (text,) = args
            payload = text.encode("utf-8")
        else:
            if "request_id" in cls.DESCRIPTOR.fields_by_name:
                fields["request_id"] = self.next_request_id()
            payload = build_message(cls, fields).SerializeToString()
        self.send_frame(cmd_type, payload)

    # ---- pushes ----

    def on_push(self, callback, *names):
        """Calls callback(push) for every push (or only those named, by name or
        MessageType), on the client's reader thread. Returns a function that
        unsubscribes."""
        entry = (callback, frozenset(names))
        with self._lock:
            self._callbacks.append(entry)
        return lambda: self._remove_callback(entry)

    def subscribe(self, *names, timeout=None):
        """A PushSubscription for every push (or only those named)."""
        sub = PushSubscription(self, frozenset(names), timeout)
        with self._lock:
            self._subscriptions.append(sub)
            if not self._connected:
                sub._queue.put(sub._END)
        return sub

    def _remove_callback(self, entry):
        with self._lock:
            if entry in self._callbacks:
                self._callbacks.remove(entry)

    def _unsubscribe(self, sub):
        with self._lock:
            if sub in self._subscriptions:
                self._subscriptions.remove(sub)

    # ---- reading ----

    def _read(self):
        splitter = FrameSplitter()
        while True:
            with self._lock:
                deadline = min((w.deadline for w in self._waiting), default=None)
            wait = None if deadline is None else max(0.0, deadline - time.monotonic())
            try:
                readable, _, _ = select.select([self._sock, self._wake_r], [], [], wait)
                if self._wake_r in readable:
                    os.read(self._wake_r, 4096)
                data = self._sock.recv(1 << 16) if self._sock in readable else None
            except OSError:
                break
            if data == b"":
                break
            splitter.feed(data or b"")
            for msg_type, payload in splitter.frames():
                self._frame(msg_type, payload)
            self._expire()
        self._connected = False
        with self._lock:
            waiting, self._waiting = self._waiting, []
            subscriptions = list(self._subscriptions)
        for w in waiting:
            self._finish(w, exception=Disconnected(f"{w.what}: the gateway closed the connection"))
        for sub in subscriptions:
            sub._queue.put(sub._END)
        self._sock.close()

    def _frame(self, msg_type, payload):
        answered = None
        with self._lock:
            for w in self._waiting:
                if w.answer_type != msg_type:
                    continue
                try:
                    answer = w.answer_cls.FromString(payload)
                except DecodeError:
                    break
                if getattr(answer, w.key_field) == w.key:
                    self._waiting.remove(w)
                    answered = (w, answer)
                    break
        if answered:
            w, answer = answered
            code, text = _result(answer)
            if code and w.check:
                self._finish(w, exception=GatewayError(w.what, code, text, answer))
            else:
                self._finish(w, result=answer)
        if msg_type in PUSHES:
            self._push(msg_type, payload)

    def _push(self, msg_type, payload):
        name, cls = PUSHES[msg_type]
        try:
            message = payload.decode("utf-8", "replace") if cls is str else cls.FromString(payload)
        except DecodeError:
            return
        push = Push(msg_type, name, message, payload)
        with self._lock:
            callbacks = list(self._callbacks)
            subscriptions = list(self._subscriptions)
        for callback, names in callbacks:
            if not names or name in names or msg_type in names:
                try:
                    callback(push)
                except Exception:  # a failing callback must not stop the reader
                    logging.getLogger("oru_client").exception("push callback for %s failed", name)
        for sub in subscriptions:
            sub._offer(push)

    def _expire(self):
        now = time.monotonic()
        with self._lock:
            expired = [w for w in self._waiting if w.deadline <= now]
            self._waiting = [w for w in self._waiting if w.deadline > now]
        for w in expired:
            self._finish(w, exception=CallTimeout(f"{w.what}: no answer in time"))

    @staticmethod
    def _finish(w, result=None, exception=None):
        if w.future.done():
            return
        if exception is not None:
            w.future.set_exception(exception)
        else:
            w.future.set_result(result)


def _request_method(name):
    def method(self, *, timeout=None, check=True, **fields):
        return self.request(name, timeout=timeout, check=check, **fields).result()

    req_cls, answer_cls = REQUESTS[name][1], REQUESTS[name][3]
    method.__name__ = name
    method.__doc__ = (f"{REQUESTS[name][4]}: fields of {req_cls.DESCRIPTOR.name} as keywords; "
                      f"returns the {answer_cls.DESCRIPTOR.name} answer.")
    return method


def _command_method(name):
    def method(self, *args, **fields):
        self.command(name, *args, **fields)

    cls = COMMANDS[name][1]
    method.__name__ = name
    method.__doc__ = ("no payload" if cls is None else "one text argument" if cls is str
                      else f"fields of {cls.DESCRIPTOR.name} as keywords") + "; no answer."
    return method


for _name in REQUESTS:
    setattr(Client, _name, _request_method(_name))
for _name in COMMANDS:
    setattr(Client, _name, _command_method(_name))
