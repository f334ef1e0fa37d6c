// The stream channel's dispatcher fed (code, payload) pairs on real server
// sockets, with the host's stream data, events and progress interleaved.
// Each record of the input starts with an op byte:
//  op % 8 in 0..4: one inbound frame on stream socket (op >> 3) & 1: code
//                  (signed byte), 16-bit length, payload;
//  op % 8 == 5:    one call of an exported function (stream ones included);
//  op % 8 == 6:    raw bytes through the server's own frame reader;
//  op % 8 == 7:    stream socket (op >> 3) & 1 leaves and a new one comes.
#include "fuzz_host.h"

#include "stream_worker.h"

using namespace oru_fuzz;

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    gateway();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const Gateway &g = gateway();
    Input in(data, size);
    int reconnects = 0;
    while (!in.empty()) {
        const quint8 op = in.byte();
        switch (op % 8) {
        case 5:
            hostCall(in);
            break;
        case 6:
            sendRaw(Channel::Stream, in.bytes(in.u16() % 4096));
            break;
        case 7:
            // Each costs a connection: a few per input are enough.
            if (reconnects++ < 2)
                reconnectStream((op >> 3) & 1);
            pump();
            break;
        default: {
            const auto type = oru_sdk::MessageType(qint8(in.byte()));
            const QByteArray payload = in.bytes(in.u16());
            oru_sdk::StreamWorker::instance()->slotMessageComing(g.streamPeers[(op >> 3) & 1], type, payload);
            break;
        }
        }
    }
    pump();
    tick();
    return 0;
}
