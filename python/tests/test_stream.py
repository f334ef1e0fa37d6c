"""Live video and playback through the Python stream client."""

import datetime

import oru_client


def test_live_video_frames(sim):
    with oru_client.StreamClient(sim.stream_server) as stream:
        stream.open_live(dev_id="cam1", channel=1)
        pictures = [f for _, f in zip(range(3), (f for f in stream if f.kind == "data"))]
    assert all(p.type == oru_client.MessageType.StreamData and p.data.startswith(b"\xff\xd8") for p in pictures)


def test_playback_with_progress_skip_and_speed(sim):
    with oru_client.Client(sim.message_server) as client:
        now = datetime.datetime.now()
        found = client.search_video_recordings(dev_id="cam1", channel=1, begin_time=now - datetime.timedelta(hours=2),
                                               end_time=now)
    recording = found.recordings[0]
    with oru_client.StreamClient(sim.stream_server) as stream:
        stream.open_playback_by_file(dev_id="cam1", channel=1, file_name=recording.file_name)
        stream.set_speed("4X")
        stream.skip_by_offset_time(300)
        progress = next(f for f in stream if f.kind == "file_progress" and f.message.offset_time >= 300)
        assert progress.message.duration == 600
        stream.control(stream.PAUSE)
        stream.control(stream.RESUME)
        assert next(f for f in stream if f.kind == "data").data
