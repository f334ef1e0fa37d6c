// The control channel's dispatcher fed (code, payload) pairs, with the host's
// answers and pushes interleaved. Each record of the input starts with an op
// byte:
//  op % 8 in 0..4: one inbound frame: code (signed byte), 16-bit length,
//                  payload; bits 3-4 of op pick the socket name it comes from
//                  (two real connections, -1, or a name nobody has);
//  op % 8 == 5:    one call of an exported answer or push function;
//  op % 8 == 6:    raw bytes through the server's own frame reader;
//  op % 8 == 7:    let the event loop run (frames reach the clients).
#include "fuzz_host.h"

#include "message_hamal.h"

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
    while (!in.empty()) {
        const quint8 op = in.byte();
        switch (op % 8) {
        case 5:
            hostCall(in);
            break;
        case 6:
            sendRaw(Channel::Control, in.bytes(in.u16() % 4096));
            break;
        case 7:
            pump();
            break;
        default: {
            const auto type = oru_sdk::MessageType(qint8(in.byte()));
            const QByteArray payload = in.bytes(in.u16());
            const int pick = (op >> 3) & 3;
            const qintptr name = pick < 2 ? g.controlNames[pick] : pick == 2 ? -1 : 0x7fff0000;
            oru_sdk::MessageHamal::instance().slotMessageComing(name, type, payload);
            break;
        }
        }
    }
    pump();
    tick();
    return 0;
}
