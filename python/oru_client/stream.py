"""The main client's side of one stream socket."""

import collections
import socket

from google.protobuf.message import DecodeError

from . import oru_message_pb2 as pb
from .client import CallTimeout, build_message, connect_socket, date_time_text
from .frames import FrameSplitter, MessageType as T, encode_frame

StreamFrame = collections.namedtuple("StreamFrame", "kind type data message")
StreamFrame.__doc__ = """One frame of a stream: kind is "data" (media bytes in data),
"event" (message: StreamEventPush), "file_progress" (PlaybackPosProgressPush)
or "time_progress" (PlaybackTimeProgressPush); type is the MessageType."""

_KINDS = {
    T.StreamData: ("data", None),
    T.PushStreamEventMsg: ("event", pb.StreamEventPush),
    T.PushPlaybackByFileProgressMsg: ("file_progress", pb.PlaybackPosProgressPush),
    T.PushPlaybackByTimeProgressMsg: ("time_progress", pb.PlaybackTimeProgressPush),
}


class StreamClient:
    """Opens a live video or a playback on its own stream socket; iterating it
    yields StreamFrames until the gateway closes the socket. Waiting longer
    than `timeout` seconds for a frame raises CallTimeout. Skip, control and
    speed act on the stream this socket opened last.

        with StreamClient("oru_dgw_stream") as s:
            s.open_live(dev_id="cam1", channel=1)
            for frame in s:
                ...
    """

    # Playback control values.
    PAUSE, RESUME, STOP = 0, 1, 2

    def __init__(self, server_name="oru_dgw_stream", timeout=5.0, connect_timeout=3.0):
        self.timeout = timeout
        self._splitter = FrameSplitter()
        self._ready = collections.deque()
        self._closed = False
        self._sock = connect_socket(server_name, connect_timeout, "no gateway stream server")

    def _send(self, msg_type, cls, **fields):
        self._sock.sendall(encode_frame(msg_type, build_message(cls, fields).SerializeToString()))

    def open_live(self, **fields):
        """dev_id, channel, param_2 (stream type: 0 main, 1 sub)."""
        self._send(T.LiveVideoConnReq, pb.LiveVideoConnReq, **fields)

    def open_playback_by_file(self, **fields):
        """dev_id, channel, file_name (from search_video_recordings), param_3, param_4."""
        self._send(T.PlaybackByFileReq, pb.PlaybackByFileReq, **fields)

    def open_playback_by_time(self, **fields):
        """dev_id, channel, start_time (datetime or wire text), param_3."""
        self._send(T.PlaybackByTimeReq, pb.PlaybackByTimeReq, **fields)

    def skip_by_offset_time(self, seconds):
        self._send(T.SkipByOffsetTimeReq, pb.SkipByPosReq, offset_time=seconds)

    def skip_to_time(self, when):
        self._send(T.SkipByAppointedTimeReq, pb.SkipByTimeReq,
                   skip_time=when if isinstance(when, str) else date_time_text(when))

    def control(self, ctrl):
        """StreamClient.PAUSE, RESUME or STOP."""
        self._send(T.PlaybackCtrlReq, pb.PlaybackCtrlReq, ctrl=ctrl)

    def set_speed(self, speed):
        """"1/8X" ... "1X" ... "8X"."""
        self._send(T.PlaybackSpeedSetReq, pb.PlaybackSpeedSetReq, playback_speed=speed)

    def next_frame(self, timeout=None):
        """The next StreamFrame; None once the gateway has closed the socket."""
        while not self._ready:
            if self._closed:
                return None
            self._sock.settimeout(self.timeout if timeout is None else timeout)
            try:
                data = self._sock.recv(1 << 16)
            except socket.timeout:
                raise CallTimeout("no stream frame in time") from None
            except OSError:
                data = b""
            if not data:
                self._closed = True
                continue
            self._splitter.feed(data)
            for msg_type, payload in self._splitter.frames():
                if msg_type not in _KINDS:
                    continue
                kind, cls = _KINDS[msg_type]
                try:
                    message = cls.FromString(payload) if cls else None
                except DecodeError:
                    continue
                self._ready.append(StreamFrame(kind, msg_type, payload if cls is None else b"", message))
        return self._ready.popleft()

    def __iter__(self):
        return self

    def __next__(self):
        frame = self.next_frame()
        if frame is None:
            raise StopIteration
        return frame

    def close(self):
        self._closed = True
        self._sock.close()

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()
