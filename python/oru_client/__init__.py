"""Python client of an oru_dgw_sdk gateway: the control channel (Client) and
the stream channel (StreamClient), speaking the same frames as the C++
oru_client library."""

from .client import (Client, CallError, CallTimeout, Disconnected, GatewayError, NotConnected, Push,
                     PushSubscription, date_time_text, parse_date_time)
from .frames import MessageType, encode_frame
from .stream import StreamClient, StreamFrame
from . import oru_message_pb2 as messages

__all__ = ["Client", "StreamClient", "StreamFrame", "Push", "PushSubscription", "MessageType", "CallError",
           "CallTimeout", "Disconnected", "GatewayError", "NotConnected", "date_time_text", "parse_date_time",
           "encode_frame", "messages"]
