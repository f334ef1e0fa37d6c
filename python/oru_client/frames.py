"""Frames of both gateway channels and the message-type codes.

A frame is: int64 length (payload size + 1), int8 message type, uint32 payload
size (0xFFFFFFFF for "no payload at all"), payload bytes; big-endian.
"""

import enum
import os
import struct

HEADER = struct.Struct(">qbI")
HEADER_SIZE = HEADER.size  # 13
NULL_PAYLOAD = 0xFFFFFFFF


class MessageType(enum.IntEnum):
    """Message-type codes; names follow the C++ library's MessageType."""

    InitDgwReq = 1
    InitDgwRes = 2
    MainClientHello = 3
    MainClientExit = 4
    SetSearchDevsConfigCmd = 5
    SearchDevsCmd = 6
    SetManagedDevsCmd = 7
    BroadcastSearchDevsCmd = 8
    AddManagedDevsCmd = 9
    DelManagedDevsCmd = 10
    EditManagedDevsCmd = 11
    SetDevsTimeCmd = 12
    RebootDevsCmd = 13
    RestoreFactoryCmd = 14
    ReconnectDevsCmd = 15
    ActivateDevsCmd = 16
    GetDevChannelsInfoCmd = 17
    ActivateDevRes = 18
    ClearFaceTemperatureCountCmd = 19
    GetDevNetReq = 20
    GetDevNetRes = 21
    SetDevNetReq = 22
    GetDevPlatformReq = 23
    GetDevPlatformRes = 24
    SetDevPlatformReq = 25
    SetDevPlatformRes = 26
    GetDevPlatformTavReq = 27
    GetDevPlatformTavRes = 28
    SetDevPlatformTavReq = 29
    SetDevPlatformTavRes = 30
    ImportDevCertReq = 31
    ImportDevCertRes = 32
    SetDevNetRes = 33
    SetSaasTokenCmd = 36
    SaasLogoutCmd = 37
    PushSearchedDevsMsg = 38
    PushBroadcastSearchedDevsMsg = 39
    PushDevStatusMsg = 40
    PushDevP2PSuccess = 41
    PushDevInfo = 42
    PushDevTempUserCodeMsg = 44
    PushDevChannelsInfoMsg = 45
    PushPlaybackByFileProgressMsg = 46
    PushPlaybackByTimeProgressMsg = 47
    PushFaceDetectMsg = 48
    PushFaceTemperatureCountMsg = 49
    PushAlarmMsg = 50
    PushTlvData = 51
    SearchVideoRecordingsReq = 52
    GetRtspUrlReq = 53
    GetRtspUrlRes = 54
    SearchVideoRecordingsRes = 55
    PTZCtrlReq = 56
    PTZCtrlRes = 57
    GetPresetsReq = 58
    GetPresetsRes = 59
    OperPresetReq = 60
    OperPresetRes = 61
    GetPatrolsReq = 62
    GetPatrolsRes = 63
    OperPatrolReq = 64
    OperPatrolRes = 65
    OperPatrolPresetReq = 66
    OperPatrolPresetRes = 67
    SetPatrolPresetsReq = 68
    SetPatrolPresetsRes = 69
    SetOSDReq = 70
    ModifyDevNameReq = 71
    DevConfigRes = 72
    AddFaceReq = 73
    AddFaceRes = 74
    GetFacesReq = 75
    GetFacesRes = 76
    DelFaceReq = 77
    DelFaceRes = 78
    GetFaceDetectRecordsReq = 79
    GetFaceDetectRecordsRes = 80
    OpenDevRemoteConfigReq = 81
    CheckDevUpgradeReq = 82
    CheckDevUpgradeRes = 83
    UploadUpgradeFileFinished = 84
    DoDevUpgradeCmd = 85
    GetDevUpgradeProgressReq = 86
    GetDevUpgradeProgressRes = 87
    ModifyDevAccountReq = 88
    ModifyDevAccountRes = 89
    GetDevSecretQuestionsCmd = 90
    GetDevSecretQuestionsRes = 91
    ResetDevPwdCmd = 92
    ResetDevPwdRes = 93
    TalkOperReq = 94
    TalkOperRes = 95
    SpeakOperReq = 96
    SpeakOperRes = 97
    PushTalkEventMsg = 98
    PushSpeakEventMsg = 99
    CommonReq = 100
    CommonRes = 101
    StreamData = 102
    PushStreamEventMsg = 103
    LiveVideoConnReq = 104
    PlaybackByFileReq = 105
    PlaybackByTimeReq = 106
    SkipByOffsetTimeReq = 107
    SkipByAppointedTimeReq = 108
    PlaybackCtrlReq = 109
    PlaybackSpeedSetReq = 110
    UploadFileReq = 111
    DownloadFileReq = 112
    PushFileTransferProgress = 113


def message_type(code):
    """The MessageType of a code, or the plain int for a code not in the table."""
    try:
        return MessageType(code)
    except ValueError:
        return code


def encode_frame(msg_type, payload=None):
    """One whole frame. `payload=None` is "no payload" (size 0xFFFFFFFF), as the
    C++ library sends for hello, exit and the other payload-less commands."""
    if payload is None:
        return HEADER.pack(1, int(msg_type), NULL_PAYLOAD)
    payload = bytes(payload)
    return HEADER.pack(len(payload) + 1, int(msg_type), len(payload)) + payload


class FrameSplitter:
    """Splits a received byte stream into (type, payload) frames; a frame is
    taken only once all of its bytes are there."""

    def __init__(self):
        self._buffer = bytearray()

    def feed(self, data):
        self._buffer += data

    def frames(self):
        while len(self._buffer) >= HEADER_SIZE:
            _, msg_type, size = HEADER.unpack_from(self._buffer)
            size = 0 if size == NULL_PAYLOAD else size
            if len(self._buffer) - HEADER_SIZE < size:
                return
            payload = bytes(self._buffer[HEADER_SIZE:HEADER_SIZE + size])
            del self._buffer[:HEADER_SIZE + size]
            yield message_type(msg_type), payload


def socket_path(server_name):
    """Where a named local server listens: Qt puts relative names in the
    temporary folder (TMPDIR, else /tmp)."""
    if os.path.isabs(server_name):
        return server_name
    return os.path.join(os.environ.get("TMPDIR") or "/tmp", server_name)
